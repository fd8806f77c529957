// Samples of one channel, or of all interleaved channels, of a rectangle.
#ifndef ZYLQX_CORE_VIEW_H
#define ZYLQX_CORE_VIEW_H

#include <cstddef>

#include "core/image.h"

namespace zylqx {

template <class T>
struct View {
    T *data = nullptr;          // first sample
    std::ptrdiff_t step = 1;    // samples from one column to the next
    std::ptrdiff_t stride = 0;  // bytes from one row to the next
    std::ptrdiff_t columns = 0; // samples taken from a row
    std::ptrdiff_t rows = 0;

    T *row(std::ptrdiff_t y) const {
        return reinterpret_cast<T *>(reinterpret_cast<unsigned char *>(data) + y * stride);
    }
};

// One channel (from 1) of the rectangle at (x, y). Not for 1-bit images.
template <class T>
View<T> channelView(const ZylImage &image, std::ptrdiff_t x, std::ptrdiff_t y, std::ptrdiff_t width,
                    std::ptrdiff_t height, int channel) {
    return {reinterpret_cast<T *>(sampleAt(image, x, y, channel)), pixelStep(image),
            image.widthStep, width, height};
}

} // namespace zylqx

#endif
