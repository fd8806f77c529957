// Two values by a comparison with a limit of the samples' own type.
#include "core/kernel.h"
#include "stats/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
void thresholdRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                  std::ptrdiff_t n, const ThresholdLevels &levels) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    const T limit = static_cast<T>(levels.limit);
    const T below = static_cast<T>(levels.below);
    const T others = static_cast<T>(levels.others);
    if (sStep == 1 && dStep == 1) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = in[i] < limit ? below : others;
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i * dStep] = in[i * sStep] < limit ? below : others;
    }
}

} // namespace

const ThresholdKernels thresholdKernels = {{nullptr, thresholdRow<u8>, thresholdRow<s8>,
                                            thresholdRow<u16>, thresholdRow<s16>,
                                            thresholdRow<s32>}};

} // namespace zylqx::ZYLQX_LEVEL
