// Instruction levels. Kernels are compiled once per level, in a namespace named
// for the level; the best one that the processor has is chosen once.
#ifndef ZYLQX_CORE_LEVELS_H
#define ZYLQX_CORE_LEVELS_H

namespace zylqx {

enum class Level { Baseline, Avx2, Avx512 };

// The best level of this processor and build.
Level bestLevel();

// The level in use: the best one, unless a test asks for a lower one.
Level currentLevel();
void useLevel(Level level);

} // namespace zylqx

// ZYLQX_DECLARE_KERNELS(Table, name) declares the constant `name` of type Table
// in every level's namespace; ZYLQX_KERNELS(name) is that of the level in use.
#if ZYLQX_LEVEL_COUNT == 3
#define ZYLQX_DECLARE_KERNELS(Table, name)                                                         \
    namespace baseline {                                                                           \
    extern const Table name;                                                                       \
    }                                                                                              \
    namespace avx2 {                                                                               \
    extern const Table name;                                                                       \
    }                                                                                              \
    namespace avx512 {                                                                             \
    extern const Table name;                                                                       \
    }
#define ZYLQX_KERNELS(name)                                                                        \
    (::zylqx::currentLevel() == ::zylqx::Level::Avx512 ? ::zylqx::avx512::name                     \
     : ::zylqx::currentLevel() == ::zylqx::Level::Avx2 ? ::zylqx::avx2::name                       \
                                                       : ::zylqx::baseline::name)
#else
#define ZYLQX_DECLARE_KERNELS(Table, name)                                                         \
    namespace baseline {                                                                           \
    extern const Table name;                                                                       \
    }
#define ZYLQX_KERNELS(name) (::zylqx::baseline::name)
#endif

#endif
