// Gathering and scattering of samples, loops without arithmetic. Steps of interleaved
// images of up to four channels are constants, so that the compiler makes vectors of
// shuffles.
#include "core/step_kernels.h"

#include "core/kernel.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// What is moved may be a pixel of smaller samples, and no more aligned than these.
template <class T>
struct ItemOf {
    typedef T Type __attribute__((aligned(1), may_alias));
};
template <class T>
using Item = typename ItemOf<T>::Type;

template <class T>
inline void gatherItems(const Item<T> *in, std::ptrdiff_t step, Item<T> *out, std::ptrdiff_t n) {
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = in[i * step];
}

template <class T>
void gatherRow(const void *s, std::ptrdiff_t step, void *d, std::ptrdiff_t n) {
    const auto *in = static_cast<const Item<T> *>(s);
    auto *out = static_cast<Item<T> *>(d);
    if (step == 1) return gatherItems<T>(in, 1, out, n);
    if (step == 2) return gatherItems<T>(in, 2, out, n);
    if (step == 3) return gatherItems<T>(in, 3, out, n);
    if (step == 4) return gatherItems<T>(in, 4, out, n);
    gatherItems<T>(in, step, out, n);
}

template <class T>
void scatterRow(const void *s, void *d, std::ptrdiff_t step, std::ptrdiff_t n) {
    const auto *in = static_cast<const Item<T> *>(s);
    auto *out = static_cast<Item<T> *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i * step] = in[i];
}

} // namespace

const StepKernels stepKernels = {{gatherRow<u8>, gatherRow<u16>, gatherRow<u32>},
                                 {scatterRow<u8>, scatterRow<u16>, scatterRow<u32>}};

} // namespace zylqx::ZYLQX_LEVEL
