#include "engine/reports.h"

#include <optional>

namespace tool {

namespace {

struct Report {
    ZylStatus status;
    std::string context;
};

// The first one counts: others follow from it.
thread_local std::optional<Report> report;

ZylStatus ZYL_CALL keepReport(ZylStatus status, const char *, const char *context, const char *,
                              int) {
    if (!report) report = {status, context ? context : ""};
    return status;
}

} // namespace

LibraryFailure::LibraryFailure(const std::string &operation_, ZylStatus reported, std::string told)
    : Failure(operation_ + ": " + zylErrorStr(reported) + ", " + told), operation(operation_),
      status(reported), context(std::move(told)) {}

QuietLibrary::QuietLibrary() : callBack_(zylRedirectError(keepReport)), mode_(zylGetErrMode()) {
    zylSetErrMode(ZYL_ErrModeSilent);
    clearReport();
}

QuietLibrary::~QuietLibrary() {
    clearReport();
    zylSetErrMode(mode_);
    zylRedirectError(callBack_);
}

void clearReport() {
    report.reset();
    zylSetErrStatus(ZYL_StsOk);
}

void throwReport(const std::string &operation) {
    if (!report) return;
    const Report told = std::move(*report);
    clearReport();
    throw LibraryFailure(operation, told.status, told.context);
}

} // namespace tool
