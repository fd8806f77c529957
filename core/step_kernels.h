// Rows of samples with a step between them, such as one channel of interleaved
// ones: brought side by side and put back.
#ifndef ZYLQX_CORE_STEP_KERNELS_H
#define ZYLQX_CORE_STEP_KERNELS_H

#include <cstddef>

#include "core/levels.h"

namespace zylqx {

// By core/image.h's sizeIndex(): samples of 1, 2 and 4 bytes. A step counts samples
// from one to the next, and may be negative or 0.
struct StepKernels {
    using GatherRow = void (*)(const void *s, std::ptrdiff_t step, void *d, std::ptrdiff_t n);
    using ScatterRow = void (*)(const void *s, void *d, std::ptrdiff_t step, std::ptrdiff_t n);
    GatherRow gather[3];
    ScatterRow scatter[3];
};

ZYLQX_DECLARE_KERNELS(StepKernels, stepKernels)

} // namespace zylqx

#endif
