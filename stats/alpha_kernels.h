// Loops over one row of samples, for scaled products and compositing.
//
// Samples are fractions of the depth's maximum M. [x * y] is floor(x * y / M).
#ifndef ZYLQX_STATS_ALPHA_KERNELS_H
#define ZYLQX_STATS_ALPHA_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

constexpr int RULE_COUNT = 6;

// Where a pixel's alpha comes from: its own last sample, or a constant.
struct PixelAlpha {
    bool own;
    std::uint16_t constant;
};

struct AlphaKernels {
    using MultiplyRow = void (*)(const void *a, const void *b, void *d, std::ptrdiff_t n);
    using MultiplyConstantRow = void (*)(const void *s, std::uint16_t scale, void *d,
                                         std::ptrdiff_t n);
    // Pixels of four samples, the last one alpha: colours times alpha, which
    // becomes the pixel's alpha.
    using PreMultiplyPixels = void (*)(void *pixels, PixelAlpha alpha, std::ptrdiff_t n);

    // Colours of A and B with an alpha for each sample.
    using CompositeRow = void (*)(const void *a, const void *b, const void *alphaA,
                                  const void *alphaB, void *d, std::ptrdiff_t n);
    // Alphas of the result, as a CompositeRow without colours.
    using ResultAlphaRow = void (*)(const void *alphaA, const void *alphaB, void *d,
                                    std::ptrdiff_t n);
    // Pixels of four samples, the last one alpha. With keepAlpha that of d stays.
    using CompositePixels = void (*)(const void *a, PixelAlpha alphaA, const void *b,
                                     PixelAlpha alphaB, void *d, bool keepAlpha, std::ptrdiff_t n);

    struct Depth {
        MultiplyRow multiply;
        MultiplyConstantRow multiplyConstant;
        PreMultiplyPixels preMultiplyPixels;
        // By whether colours are pre-multiplied, and by rule.
        CompositeRow composite[2][RULE_COUNT];
        CompositePixels compositePixels[2][RULE_COUNT];
        // The same divided by the resulting alpha, in floating point.
        CompositeRow compositeDivided[2][RULE_COUNT];
        ResultAlphaRow resultAlpha[RULE_COUNT];
        ResultAlphaRow resultAlphaDivided[RULE_COUNT];

        // d = M - s
        void (*complement)(const void *s, void *d, std::ptrdiff_t n);
        // Every sample `times` times.
        void (*spread)(const void *s, std::ptrdiff_t times, void *d, std::ptrdiff_t n);
    };
    Depth bits8, bits16;
};

ZYLQX_DECLARE_KERNELS(AlphaKernels, alphaKernels)

inline const AlphaKernels::Depth &currentAlphaKernels(std::size_t sampleSize) {
    const AlphaKernels &kernels = ZYLQX_KERNELS(alphaKernels);
    return sampleSize == 1 ? kernels.bits8 : kernels.bits16;
}

} // namespace zylqx

#endif
