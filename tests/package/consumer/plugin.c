/* A user's DLL, which has the library within it and is told of threads itself. */
#include <windows.h>

#include <zylqx.h>

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID reserved) {
    (void)module;
    (void)reason;
    (void)reserved;
    return zylGetErrStatus() == ZYL_StsOk;
}
