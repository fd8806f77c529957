// The thread's status, mode and callback; what the report callbacks write and
// when they end the process.

#include <climits>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <thread>

#include "tests/support/images.h"

namespace {

using support::AllocationFault;
using support::Report;
using support::Reports;

// Restores the thread's mode and status after a test.
class Error : public testing::Test {
  protected:
    void TearDown() override {
        zylSetErrMode(ZYL_ErrModeLeaf);
        zylSetErrStatus(ZYL_StsOk);
        zylRedirectError(nullptr);
    }
};
using ErrorDeathTest = Error;

struct ReportArguments {
    ZylStatus status;
    const char *funcName, *context, *file;
    int line;
};

// What a callback writes to standard error, which is no terminal meanwhile.
std::string written(ZylErrorCallBack callBack, const ReportArguments &a) {
    testing::internal::CaptureStderr();
    const ZylStatus result = callBack(a.status, a.funcName, a.context, a.file, a.line);
    std::string text = testing::internal::GetCapturedStderr();
    EXPECT_EQ(result, a.status);
    return text;
}

const ReportArguments BAD_ARGUMENT = {ZYL_StsBadArg, "zylAdd", "(a != b)", "zyladd", 42};

TEST_F(Error, EveryThreadStartsAfreshAndKeepsItsOwnState) {
    const Reports reports;
    zylSetErrMode(ZYL_ErrModeParent);
    zylError(ZYL_StsNoMem, "f", "here", "file", 1);
    const ZylContext *mine = zylUndContext();
    std::thread([&] {
        EXPECT_NE(zylUndContext(), mine);
        EXPECT_EQ(zylGetErrStatus(), ZYL_StsOk);
        EXPECT_EQ(zylGetErrMode(), ZYL_ErrModeLeaf);
        EXPECT_EQ(zylUndContext()->callBack, zylGuiBoxReport);
        EXPECT_EQ(zylRedirectError(zylStdErrReport), zylGuiBoxReport);
        zylSetErrMode(ZYL_ErrModeSilent);
        EXPECT_EQ(zylError(ZYL_StsBadArg, "f", "there", "file", 1), ZYL_StsBadArg);
        EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
    }).join();
    EXPECT_EQ(zylUndContext(), mine);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsNoMem);
    EXPECT_EQ(zylGetErrMode(), ZYL_ErrModeParent);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"here"});
}

TEST_F(Error, StatusIsStoredExceptForTraces) {
    const Reports reports;
    EXPECT_EQ(zylError(ZYL_StsBadArg, "f", "c", "s", 7), ZYL_StsBadArg);
    for (const ZylStatus trace : {ZYL_StsBackTrace, ZYL_StsAutoTrace}) {
        EXPECT_EQ(zylError(trace, nullptr, nullptr, nullptr, 0), trace);
        EXPECT_EQ(zylGetErrStatus(), ZYL_StsBadArg);
    }
    EXPECT_EQ(zylError(17, "f", "d", "s", 7), 17);
    EXPECT_EQ(zylGetErrStatus(), 17);
    EXPECT_EQ(zylError(ZYL_StsOk, "f", "e", "s", 7), 0);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsOk);
    const std::vector<Report> expected = {{ZYL_StsBadArg, "f", "c", "s"},
                                          {ZYL_StsBackTrace, "(null)", "(null)", "(null)"},
                                          {ZYL_StsAutoTrace, "(null)", "(null)", "(null)"},
                                          {17, "f", "d", "s"}};
    EXPECT_EQ(reports.all(), expected);
}

TEST_F(Error, CallBackIsReplacedAndItsResultReturned) {
    const ZylErrorCallBack answer = [](ZylStatus, const char *, const char *, const char *,
                                       int line) { return ZylStatus{line}; };
    EXPECT_EQ(zylRedirectError(answer), zylGuiBoxReport);
    EXPECT_EQ(zylError(ZYL_StsError, "f", "c", "s", 123), 123);
    EXPECT_EQ(zylRedirectError(nullptr), answer);
    EXPECT_EQ(zylRedirectError(nullptr), zylGuiBoxReport);
}

TEST_F(Error, TextsOfCodes) {
    const char *const texts[] = {
        "No Error",      "Backtrace",    "Unknown error",        "Internal error (bad state)",
        "Out of memory", "Bad argument", "Unsupported function", "Iteration convergence failed",
        "Autotrace call"};
    for (int i = 0; i <= 8; ++i) EXPECT_STREQ(zylErrorStr(-i), texts[i]);
    EXPECT_STREQ(zylErrorStr(-9), "Unknown error code -9");
    EXPECT_STREQ(zylErrorStr(5), "Unknown status code 5");
    EXPECT_STREQ(zylErrorStr(INT_MIN), "Unknown error code -2147483648");
    EXPECT_STREQ(zylErrorStr(INT_MAX), "Unknown status code 2147483647");
    EXPECT_EQ(zylErrorStr(5), zylUndContext()->text);
}

TEST_F(Error, StandardErrorReport) {
    struct {
        ReportArguments arguments;
        const char *text;
    } const cases[] = {
        {BAD_ARGUMENT,
         "\nZYL Library Error: Bad argument \n\tin function [zyladd:42]:zylAdd(): (a != b)\n"},
        {{ZYL_StsBackTrace, "f", "c", "s", 1}, "\tcalled from [s:1]:f(): c\n"},
        {{ZYL_StsAutoTrace, "f", "c", "s", 1}, "\tcalled from [s:1]:f(c)\n"},
        {{-9, nullptr, nullptr, nullptr, 0},
         "\nZYL Library Error: Unknown error code -9 \n\tin function:<unknown>\n"},
        {{ZYL_StsError, "f", "", "s", -1},
         "\nZYL Library Error: Unknown error \n\tin function [s:-1]:f(): \n"},
        {{ZYL_StsError, "f", nullptr, nullptr, 3},
         "\nZYL Library Error: Unknown error \n\tin function [:3]:f\n"},
    };
    for (const auto &c : cases) {
        for (const int mode : {int{ZYL_ErrModeParent}, 3, -1}) {
            zylSetErrMode(mode);
            EXPECT_EQ(written(zylStdErrReport, c.arguments), c.text);
        }
    }
}

#if !defined(_WIN32) // a box waits for an answer there: see tests/platform/box_test.cpp
TEST_F(Error, BoxReportWithoutTerminalIsWrittenAndGoesOn) {
    const std::string leaf = "\n\nErrMode=ZYL_ErrorModeLeaf\n\nTerminate the application?\n";
    const std::string parent = "\n\nErrMode=ZYL_ErrorModeParent\n\nContinue?\n";
    struct {
        ReportArguments arguments;
        std::string text;
    } const cases[] = {
        {BAD_ARGUMENT, "in function [zyladd:42]:zylAdd():\n(a != b)"},
        {{ZYL_StsBackTrace, "f", "c", "s", 1}, "called from [s:1]:f():\nc"},
        {{ZYL_StsAutoTrace, "f", "c", "s", 1}, "called from [s:1]:\nf(c)"},
        {{ZYL_StsNoMem, nullptr, nullptr, nullptr, -5}, "in function [:0]:<unknown>():\n"},
    };
    // The caption names the stored status, not the reported one.
    zylSetErrStatus(ZYL_StsNoConv);
    const std::string caption = "ZYL Library Error: Iteration convergence failed\n";
    for (const auto &c : cases) {
        zylSetErrMode(ZYL_ErrModeLeaf);
        EXPECT_EQ(written(zylGuiBoxReport, c.arguments), caption + c.text + leaf);
        zylSetErrMode(ZYL_ErrModeParent);
        EXPECT_EQ(written(zylGuiBoxReport, c.arguments), caption + c.text + parent);
    }
}

TEST_F(Error, BoxReportTakesNamesOfAnyLength) {
    const std::string name(5000, 'n');
    const std::string file(5000, 'f');
    const std::string context(5000, 'c');
    const ReportArguments arguments = {ZYL_StsError, name.c_str(), context.c_str(), file.c_str(),
                                       1};
    const std::string expected = "in function [" + file + ":1]:" + name + "():\n" + context;
    EXPECT_NE(written(zylGuiBoxReport, arguments).find(expected), std::string::npos);

    // Around 512 bytes, which need no memory but for the last of them.
    const std::string rest = "\n\nErrMode=ZYL_ErrorModeParent\n\nContinue?\n";
    const std::string start = "in function [s:1]:f():\n";
    zylSetErrMode(ZYL_ErrModeParent);
    for (std::size_t length = 511; length <= 513; ++length) {
        const std::string text(length + 1 - start.size() - rest.size(), 't');
        const std::string report =
            written(zylGuiBoxReport, {ZYL_StsError, "f", text.c_str(), "s", 1});
        EXPECT_TRUE(report.ends_with(start + text + rest)) << length << report;
    }

    // Without memory the report is cut short.
    const AllocationFault fault(1);
    EXPECT_NE(written(zylGuiBoxReport, arguments).find("in function [fff"), std::string::npos);
    EXPECT_TRUE(AllocationFault::struck());
}
#endif

TEST_F(Error, SilentModesWriteNothingAndGoOn) {
    zylSetErrMode(ZYL_ErrModeSilent);
    for (const auto callBack : {zylGuiBoxReport, zylStdErrReport, zylNulDevReport}) {
        EXPECT_EQ(written(callBack, BAD_ARGUMENT), "");
    }
    zylSetErrMode(3);
    EXPECT_EQ(written(zylGuiBoxReport, BAD_ARGUMENT), "");
    EXPECT_EQ(written(zylNulDevReport, BAD_ARGUMENT), "");
    zylSetErrMode(ZYL_ErrModeParent);
    EXPECT_EQ(written(zylNulDevReport, BAD_ARGUMENT), "");
}

TEST_F(ErrorDeathTest, LeafModeEndsTheProcess) {
    EXPECT_EXIT(zylStdErrReport(ZYL_StsBadArg, "zylAdd", "condition", "zyladd", 42),
                testing::ExitedWithCode(1),
                "^\nZYL Library Error: Bad argument \n\tin function "
                "\\[zyladd:42\\]:zylAdd\\(\\): condition\n"
                "ZYL Library Error\nErrMode=ZYL_ErrModeLeaf\nterminating the application$");
    EXPECT_EXIT(zylNulDevReport(ZYL_StsBadArg, "f", "c", "s", 1), testing::ExitedWithCode(1), "^$");
}

TEST_F(Error, VersionRecord) {
    const ZylLibVersion *version = zylGetLibVersion();
    EXPECT_EQ(version->majorVersion, 1);
    EXPECT_EQ(version->minorVersion, 3);
    EXPECT_EQ(version->buildNumber, 3);
    EXPECT_STREQ(version->moduleName, "zylqx.dll");
    EXPECT_STREQ(version->versionText, "v1.0 Beta 3");
    EXPECT_STREQ(version->internalVersionText, "[1.03.03, 06/30/97]");
    EXPECT_STREQ(version->buildDateText, "Jul  7 1997");
    EXPECT_STREQ(version->callingConventionText, "DLL");
}

} // namespace
