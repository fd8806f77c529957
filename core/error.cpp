// The thread's context, reports and the version record.
#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "core/memory.h"
#include "platform/platform.h"
#include "zylqx.h"

namespace zylqx {

namespace {

constexpr const char *STATUS_TEXTS[] = {
    "No Error",       "Backtrace",    "Unknown error",        "Internal error (bad state)",
    "Out of memory",  "Bad argument", "Unsupported function", "Iteration convergence failed",
    "Autotrace call",
};

constexpr ZylLibVersion VERSION = {
    1, 3, 3, "zylqx.dll", "v1.0 Beta 3", "[1.03.03, 06/30/97]", "Jul  7 1997", "DLL",
};

constexpr bool isTrace(ZylStatus status) {
    return status == ZYL_StsBackTrace || status == ZYL_StsAutoTrace;
}

ZylContext &currentContext() {
    ZylContext *context = platform::threadContext();
    // Where every thread has its own memory, there is a context. GCOVR_EXCL_START
    if (context == nullptr) {
        platform::notify("pZylContext", "NULL");
        platform::fatalExit("ZYL Library error:\nBad ZYL Context\nTerminating the application",
                            "Win32S: Fatal Application Exit");
    }
    // GCOVR_EXCL_STOP
    return *context;
}

// The report of zylGuiBoxReport(), written as by snprintf().
int formatMessage(char *buffer, std::size_t size, ZylStatus status, const char *funcName,
                  const char *context, const char *file, int line, const char *tail) {
    if (status == ZYL_StsBackTrace) {
        return std::snprintf(buffer, size, "called from [%s:%d]:%s():\n%s%s", file, line, funcName,
                             context, tail);
    }
    if (status == ZYL_StsAutoTrace) {
        return std::snprintf(buffer, size, "called from [%s:%d]:\n%s(%s)%s", file, line, funcName,
                             context, tail);
    }
    return std::snprintf(buffer, size, "in function [%s:%d]:%s():\n%s%s", file, line, funcName,
                         context, tail);
}

} // namespace

} // namespace zylqx

using namespace zylqx;

ZylStatus zylGetErrStatus(void) {
    return currentContext().status;
}

void zylSetErrStatus(ZylStatus status) {
    currentContext().status = status;
}

std::int32_t zylGetErrMode(void) {
    return currentContext().mode;
}

void zylSetErrMode(std::int32_t mode) {
    currentContext().mode = mode;
}

ZylErrorCallBack zylRedirectError(ZylErrorCallBack callBack) {
    ZylContext &context = currentContext();
    const ZylErrorCallBack before = context.callBack;
    context.callBack = callBack != nullptr ? callBack : zylGuiBoxReport;
    return before;
}

ZylStatus zylError(ZylStatus status, const char *funcName, const char *context, const char *file,
                   int line) {
    ZylContext &thread = currentContext();
    if (!isTrace(status)) thread.status = status;
    if (status == ZYL_StsOk) return ZYL_StsOk;
    return thread.callBack(status, funcName, context, file, line);
}

const char *zylErrorStr(ZylStatus status) {
    if (status <= ZYL_StsOk && status >= ZYL_StsAutoTrace) return STATUS_TEXTS[-status];
    ZylContext &context = currentContext();
    std::snprintf(context.text, sizeof context.text, "Unknown %s code %d",
                  status < 0 ? "error" : "status", static_cast<int>(status));
    return context.text;
}

ZylStatus zylGuiBoxReport(ZylStatus status, const char *funcName, const char *context,
                          const char *file, int line) {
    const bool leaf = zylGetErrMode() == ZYL_ErrModeLeaf;
    if (!leaf && zylGetErrMode() != ZYL_ErrModeParent) return status;

    if (funcName == nullptr) funcName = "<unknown>";
    if (context == nullptr) context = "";
    if (file == nullptr) file = "";
    if (line < 0) line = 0;
    const char *tail = leaf ? "\n\nErrMode=ZYL_ErrorModeLeaf\n\nTerminate the application?"
                            : "\n\nErrMode=ZYL_ErrorModeParent\n\nContinue?";

    // The report of exhausted memory must not need memory: it may be cut short.
    char shortBuffer[512];
    std::size_t size = sizeof shortBuffer;
    const int length = formatMessage(nullptr, 0, status, funcName, context, file, line, tail);
    Scratch<char> longBuffer;
    if (length >= static_cast<int>(sizeof shortBuffer)) {
        longBuffer = Scratch<char>(static_cast<std::size_t>(length) + 1);
        if (longBuffer) size = static_cast<std::size_t>(length) + 1;
    }
    char *message = longBuffer ? longBuffer.data() : shortBuffer;
    formatMessage(message, size, status, funcName, context, file, line, tail);

    char caption[sizeof "ZYL Library Error: " + sizeof ZylContext::text];
    std::snprintf(caption, sizeof caption, "ZYL Library Error: %s", zylErrorStr(zylGetErrStatus()));

    const bool terminate = leaf ? platform::ask(message, caption, platform::Question::YesNo)
                                : !platform::ask(message, caption, platform::Question::OkCancel);
    if (terminate) {
        // The process ends before it writes counts. GCOVR_EXCL_START
        platform::fatalExit("ZYL Library:\nterminating the application",
                            "Win32S: Application exit");
        // GCOVR_EXCL_STOP
    }
    return status;
}

ZylStatus zylStdErrReport(ZylStatus status, const char *funcName, const char *context,
                          const char *file, int line) {
    const std::int32_t mode = zylGetErrMode();
    if (mode == ZYL_ErrModeSilent) return status;

    if (isTrace(status)) {
        std::fputs("\tcalled from", stderr);
    } else {
        std::fprintf(stderr, "\nZYL Library Error: %s \n\tin function", zylErrorStr(status));
    }
    if (line > 0 || file != nullptr) {
        std::fprintf(stderr, " [%s:%d]", file != nullptr ? file : "", line);
    }
    std::fprintf(stderr, ":%s", funcName != nullptr ? funcName : "<unknown>");
    if (context != nullptr) {
        std::fprintf(stderr, status == ZYL_StsAutoTrace ? "(%s)" : "(): %s", context);
    }
    std::fputs("\n", stderr);
    std::fflush(stderr);
    if (mode == ZYL_ErrModeLeaf) {
        std::fputs("ZYL Library Error\nErrMode=ZYL_ErrModeLeaf\nterminating the application",
                   stderr);
        std::fflush(stderr);
        std::exit(1);
    }
    return status;
}

ZylStatus zylNulDevReport(ZylStatus status, const char *, const char *, const char *, int) {
    if (zylGetErrMode() == ZYL_ErrModeLeaf) std::exit(1);
    return status;
}

ZylContext *zylUndContext(void) {
    return &currentContext();
}

const ZylLibVersion *zylGetLibVersion(void) {
    return &VERSION;
}
