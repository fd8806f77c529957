// Calls that fail on purpose: what they report, in which order, and that they
// leave the pixels alone.
#ifndef ZYLQX_TESTS_SUPPORT_FAILING_CALLS_H
#define ZYLQX_TESTS_SUPPORT_FAILING_CALLS_H

#include <functional>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/images.h"

namespace support {

// What makes an operation's call fail: a change of its arguments.
template <class... Arguments>
struct Fault {
    std::string text;
    std::function<void(Arguments &...)> put;
    ZylStatus status = ZYL_StsBadArg;
};

class FailingCalls {
  public:
    using Texts = std::vector<std::string>;
    using Bytes = std::vector<unsigned char>;

    // The names in the operation's reports.
    FailingCalls(std::string function, std::string file)
        : function_(std::move(function)), file_(std::move(file)) {}

    // What no call may change.
    FailingCalls &watch(const TestImage &image) {
        return watch([&image] { return image.bytes(); });
    }
    FailingCalls &watch(std::function<Bytes()> bytes) {
        watched_.push_back(std::move(bytes));
        return *this;
    }

    // The call gives exactly these reports.
    void expect(const Texts &texts, const std::function<void()> &call,
                ZylStatus status = ZYL_StsBadArg, int line = __builtin_LINE());
    void expect(const char *text, const std::function<void()> &call,
                ZylStatus status = ZYL_StsBadArg, int line = __builtin_LINE()) {
        expect(Texts{text}, call, status, line);
    }

    // Faults in the order of their checks. They are put into the arguments from the
    // last to the first, each on top of those after it, so that the reports prove
    // the order as well; then the arguments are what they were.
    template <class... Arguments>
    void expectInOrder(const std::vector<Fault<Arguments...>> &faults,
                       const std::function<void()> &call, Arguments &...arguments) {
        const std::tuple<Arguments...> before(arguments...);
        for (auto fault = faults.rbegin(); fault != faults.rend(); ++fault) {
            fault->put(arguments...);
            expect(Texts{fault->text}, call, fault->status);
        }
        std::tie(arguments...) = before;
    }

  private:
    std::string function_, file_;
    std::vector<std::function<Bytes()>> watched_;
};

} // namespace support

#endif
