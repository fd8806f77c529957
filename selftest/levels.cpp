#include "selftest/levels.h"

#include "core/levels.h"

namespace selftest {

int levelCount() {
    return static_cast<int>(zylqx::bestLevel()) + 1;
}

const char *levelName(int level) {
    static constexpr const char *NAMES[] = {"baseline", "avx2", "avx512"};
    return NAMES[level];
}

void useLevel(int level) {
    zylqx::useLevel(static_cast<zylqx::Level>(level));
}

} // namespace selftest
