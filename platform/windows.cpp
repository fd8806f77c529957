#include <windows.h>

#include <atomic>

#include "platform/attach.h"
#include "platform/platform.h"

namespace zylqx::platform {

namespace {

// The slot that holds each thread's context, and how many times the library is
// attached. The system serialises the notifications that change them.
std::atomic<DWORD> slot = TLS_OUT_OF_INDEXES;
int attachCount = 0;

// One slot for the process; of several threads that ask at once, one is heard.
bool takeSlot() {
    if (slot != TLS_OUT_OF_INDEXES) return true;
    const DWORD taken = TlsAlloc();
    DWORD none = TLS_OUT_OF_INDEXES;
    if (taken != TLS_OUT_OF_INDEXES && !slot.compare_exchange_strong(none, taken)) TlsFree(taken);
    return slot != TLS_OUT_OF_INDEXES;
}

ZylContext *attachedContext() {
    return slot != TLS_OUT_OF_INDEXES ? static_cast<ZylContext *>(TlsGetValue(slot)) : nullptr;
}

// Windows 3.1 with the 32-bit extension, where FatalAppExit() is not to be used.
bool isWin32s() {
    return (GetVersion() & 0x80000000u) != 0;
}

} // namespace

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
    ZylContext *context = attachedContext();
    if (context == nullptr) return;
    TlsSetValue(slot, nullptr);
    LocalFree(context);
}

bool attachProcess() {
    if (!takeSlot()) return false;
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

// Programs that the static library is linked into are sent no notifications: their
// threads are attached here. A thread that ran before the dynamic library was loaded
// has no context.
ZylContext *threadContext() {
    ZylContext *context = attachedContext();
    if (context != nullptr || attachCount != 0) return context;
    return takeSlot() && attachThread() ? attachedContext() : nullptr;
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

// The end of a thread is told to programs as well, which have no DllMain().
static void NTAPI threadEnds(PVOID, DWORD reason, PVOID) {
    if (reason == DLL_THREAD_DETACH) zylqx::platform::detachThread();
}
extern "C" __attribute__((section(".CRT$XLC"), used)) const PIMAGE_TLS_CALLBACK zylqxThreadEnds =
    threadEnds;
