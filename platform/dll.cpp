// Of the dynamic library alone: who links with the static one may have a DllMain()
// of their own.
#include <windows.h>

#include "platform/attach.h"

using namespace zylqx::platform;

BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    switch (reason) {
    case DLL_PROCESS_ATTACH:
        return attachProcess();
    case DLL_THREAD_ATTACH:
        return attachThread();
    case DLL_THREAD_DETACH:
        detachThread();
        return TRUE;
    case DLL_PROCESS_DETACH:
        detachProcess();
        return TRUE;
    default:
        return TRUE;
    }
}
