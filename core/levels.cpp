#include "core/levels.h"

namespace zylqx {

namespace {

Level current = bestLevel();

} // namespace

Level bestLevel() {
#if ZYLQX_LEVEL_COUNT == 3
    __builtin_cpu_init();
    const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi2");
    const bool avx512 = __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
                        __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl");
    if (avx2 && avx512) return Level::Avx512;
    if (avx2) return Level::Avx2;
#endif
    return Level::Baseline;
}

Level currentLevel() {
    return current;
}

void useLevel(Level level) {
    current = level;
}

} // namespace zylqx
