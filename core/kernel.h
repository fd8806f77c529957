// What every kernels.cpp starts from. These files are compiled once per
// instruction level and emit no weak symbols: templates and helpers live in an
// unnamed namespace, and nothing but <cstddef> and <cstdint> is included.
#ifndef ZYLQX_CORE_KERNEL_H
#define ZYLQX_CORE_KERNEL_H

#include <cstddef>
#include <cstdint>

// Before a loop whose iterations do not depend on each other even when source
// and destination are the same memory, so that it is vectorised without checks.
#if defined(__clang__)
#define ZYLQX_VECTOR_LOOP _Pragma("clang loop vectorize(assume_safety)")
#else
#define ZYLQX_VECTOR_LOOP _Pragma("GCC ivdep")
#endif

#endif
