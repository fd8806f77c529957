// What geometric operations are checked against: one pixel at a time, straight
// from the rules, and a source of random calls.
#ifndef ZYLQX_TESTS_GEOMETRY_REFERENCE_H
#define ZYLQX_TESTS_GEOMETRY_REFERENCE_H

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>

#include "tests/support/images.h"

namespace reference {

using support::Shape;
using support::TestImage;

constexpr double TOLERANCE = 0.00001;

inline std::int64_t index(double position) {
    return std::llrint(position + TOLERANCE - 0.5);
}

// A region cut to its image, and its channels.
struct Part {
    int x, y, width, height, firstChannel, channels;

    explicit Part(TestImage &image) {
        const ZylImage &header = *image.header();
        const ZylROI whole = {0, 0, 0, header.height, header.width};
        const ZylROI &roi = header.roi != nullptr ? *header.roi : whole;
        x = roi.xOffset;
        y = roi.yOffset;
        width = std::min(roi.width, header.width - x);
        height = std::min(roi.height, header.height - y);
        firstChannel = std::max(roi.coi, 1);
        channels = roi.coi != 0 ? 1 : header.nChannels;
    }
};

// The tile that a pixel of an image lies in begins here; 0 in memory.
inline int tileBegin(TestImage &image, int coordinate, bool horizontal) {
    const ZylTileInfo *info = image.header()->tileInfo;
    if (info == nullptr) return 0;
    const int size = horizontal ? info->width : info->height;
    return coordinate / size * size;
}

inline std::int64_t saturate(double value, std::uint32_t depth) {
    return static_cast<std::int64_t>(
        std::clamp(value, 0.0, static_cast<double>(support::highest(depth))));
}

// The cubic through four samples at -1, 0, 1 and 2, for position t.
inline double cubic(const double *p, double t) {
    return p[1] + t * (-p[0] / 3 - p[1] / 2 + p[2] - p[3] / 6) +
           t * t * (p[0] / 2 - p[1] + p[2] / 2) +
           t * t * t * (-p[0] / 6 + p[1] / 2 - p[2] / 2 + p[3] / 6);
}

// --- random calls ---

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    int operator()(int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(engine_);
    }
    template <class T>
    T of(std::initializer_list<T> values) {
        return values.begin()[(*this)(0, static_cast<int>(values.size()) - 1)];
    }

  private:
    std::mt19937 engine_;
};

inline Shape randomShape(Random &random, std::uint32_t depth, int order, int largest) {
    Shape shape;
    shape.depth = depth;
    shape.channels = depth == ZYL_DEPTH_1U ? 1 : random(1, 5);
    shape.width = random(1, largest);
    shape.height = random(1, largest);
    shape.order = order;
    shape.align = random.of({4, 8});
    return shape;
}

inline void randomRegion(Random &random, TestImage &image, int coi) {
    const Shape &shape = image.shape();
    if (coi == 0 && random(0, 2) == 0) return;
    const int x = random(0, shape.width - 1), y = random(0, shape.height - 1);
    image.region(coi, x, y, random(1, shape.width + 3), random(1, shape.height + 3));
}

inline void randomTiles(Random &random, TestImage &image) {
    if (random(0, 1) == 0) image.tiles(8 * random(1, 3), 8 * random(1, 3));
}

} // namespace reference

#endif
