// Dithers: fewer levels, with the error spread over the neighbourhood.
#ifndef ZYLQX_CONVERT_DITHER_H
#define ZYLQX_CONVERT_DITHER_H

#include <cstddef>
#include <cstdint>

#include "core/view.h"

namespace zylqx {

enum {
    DITHER_NONE = 1,
    DITHER_FLOYD_STEINBERG = 2,
    DITHER_JARVIS = 4,
    DITHER_STUCKI = 8,
    DITHER_ORDERED = 16
};

// Makes every sample a multiple of `step`, in place. T is std::uint8_t or
// std::uint16_t; `type` is one of the above but DITHER_NONE.
template <class T>
void ditherChannel(const View<T> &view, int type, std::int32_t step);

} // namespace zylqx

#endif
