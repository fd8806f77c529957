#include <windows.h>

#include "platform/platform.h"

namespace zylqx::platform {

namespace {

// The slot that holds each thread's context, and how many times the library is
// attached. The system serialises the notifications that change them.
DWORD slot = TLS_OUT_OF_INDEXES;
int attachCount = 0;

bool attachThread() {
    auto *context = static_cast<ZylContext *>(LocalAlloc(LPTR, sizeof(ZylContext)));
    if (context == nullptr) return false;
    if (!TlsSetValue(slot, context)) {
        LocalFree(context);
        return false;
    }
    *context = FIRST_CONTEXT;
    return true;
}

void detachThread() {
    ZylContext *context = threadContext();
    if (context == nullptr) return;
    TlsSetValue(slot, nullptr);
    LocalFree(context);
}

bool attachProcess() {
    if (attachCount == 0) slot = TlsAlloc();
    if (slot == TLS_OUT_OF_INDEXES) return false;
    ++attachCount;
    return attachThread();
}

void detachProcess() {
    --attachCount;
    detachThread();
    if (attachCount != 0) return;
    TlsFree(slot);
    slot = TLS_OUT_OF_INDEXES;
}

// Windows 3.1 with the 32-bit extension, where FatalAppExit() is not to be used.
bool isWin32s() {
    return (GetVersion() & 0x80000000u) != 0;
}

} // namespace

ZylContext *threadContext() {
    return slot != TLS_OUT_OF_INDEXES ? static_cast<ZylContext *>(TlsGetValue(slot)) : nullptr;
}

bool ask(const char *message, const char *caption, Question question) {
    if (question == Question::YesNo) {
        return MessageBoxA(nullptr, message, caption, MB_YESNO | MB_SYSTEMMODAL) == IDYES;
    }
    return MessageBoxA(nullptr, message, caption, MB_OKCANCEL | MB_SYSTEMMODAL) != IDCANCEL;
}

void notify(const char *message, const char *caption) {
    MessageBoxA(nullptr, message, caption, MB_OK);
}

void fatalExit(const char *message, const char *caption) {
    if (isWin32s()) {
        MessageBoxA(nullptr, message, caption, MB_SYSTEMMODAL);
    } else {
        FatalAppExitA(0, message);
    }
    ExitProcess(1);
}

} // namespace zylqx::platform

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
