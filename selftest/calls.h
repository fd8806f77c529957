// The operations of the library, each with its random call.
#ifndef ZYLQX_SELFTEST_CALLS_H
#define ZYLQX_SELFTEST_CALLS_H

#include <vector>

#include "selftest/case.h"

namespace selftest {

struct Operation {
    const char *name;
    void (*call)(Case &);
};

const std::vector<Operation> &operations();

} // namespace selftest

#endif
