#ifndef ZYLQX_TESTS_TRANSFORM_PICTURES_H
#define ZYLQX_TESTS_TRANSFORM_PICTURES_H

#include <algorithm>
#include <random>

#include "tests/support/laws.h"

namespace support {

inline Shape shapeOf(std::uint32_t depth, int width, int height, int channels = 1,
                     int order = ZYL_DATA_ORDER_PIXEL) {
    return {.depth = depth, .channels = channels, .width = width, .height = height, .order = order};
}

// Samples of at most this size, so that results have room in their depth.
inline void randomiseSmall(TestImage &image, std::mt19937 &random, std::int64_t limit) {
    const std::int64_t low = std::max(lowest(image.shape().depth), -limit);
    const std::int64_t high = std::min(highest(image.shape().depth), limit);
    std::uniform_int_distribution<std::int64_t> value(low, high);
    for (int c = 1; c <= image.shape().channels; ++c) {
        for (int y = 0; y < image.shape().height; ++y) {
            for (int x = 0; x < image.shape().width; ++x) image.set(x, y, c, value(random));
        }
    }
}

} // namespace support

#endif
