#include "tests/support/failing_calls.h"

#include <gtest/gtest.h>

namespace support {

void FailingCalls::expect(const Texts &texts, const std::function<void()> &call, ZylStatus status,
                          int line) {
    SCOPED_TRACE(function_ + ", expected in line " + std::to_string(line) + ": " +
                 (texts.empty() ? "no report" : texts.front()));
    std::vector<Report> expected;
    for (const std::string &text : texts) expected.push_back({status, function_, text, file_});
    std::vector<Bytes> before;
    for (const auto &bytes : watched_) before.push_back(bytes());

    Reports reports;
    call();
    EXPECT_EQ(reports.all(), expected);
    EXPECT_EQ(zylGetErrStatus(), texts.empty() ? ZYL_StsOk : status);
    for (std::size_t i = 0; i < watched_.size(); ++i) EXPECT_EQ(watched_[i](), before[i]);
}

} // namespace support
