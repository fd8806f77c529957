#include "convert/median_cut.h"

#include <algorithm>
#include <cstring>

#include "convert/palette.h"
#include "core/image.h"
#include "core/memory.h"
#include "core/words.h"

namespace zylqx {

namespace {

constexpr int MAX_BOXES = 256;

// Calls visit(sample) with a pointer to the first of `channels` samples of every
// pixel. Samples of a pixel are `channelStep` bytes apart.
template <class F>
void forEachPixel(const ZylImage &image, F visit) {
    const std::ptrdiff_t step = pixelStep(image) * sampleBytes(image.depth);
    for (std::ptrdiff_t y = 0; y < image.height; ++y) {
        const unsigned char *pixel = image.imageData + y * image.widthStep;
        for (std::ptrdiff_t x = 0; x < image.width; ++x, pixel += step) visit(pixel);
    }
}

// Where the upper byte of a sample is, for 8U and 16U.
std::ptrdiff_t upperByte(const ZylImage &image) {
    return LOWEST_FIRST ? sampleBytes(image.depth) - 1 : 0;
}

// Where the sum of counts from `low` on comes nearest to half of `total`: the
// last place of the lower part, and what it holds.
struct Cut {
    int last;
    std::uint32_t count;
};
Cut cutAtHalf(const std::uint32_t *counts, int low, std::uint32_t total) {
    const std::uint32_t half = total / 2;
    int place = low;
    std::uint32_t sum = counts[low];
    while (sum <= half) sum += counts[++place];
    const std::uint32_t before = sum - counts[place];
    if (half - before < sum - half) return {place - 1, before};
    return {place, sum};
}

// Splits boxes in passes until there are `wanted` of them; a pass goes through
// the boxes that were there when it began, and puts each upper part at the end.
// The boxes hold more than `wanted` places, so that there is always one to split.
template <class Box, class F>
void splitInPasses(Box *boxes, int wanted, F split) {
    int count = 1;
    while (count < wanted) {
        const int before = count;
        for (int i = 0; i < before && count < wanted; ++i) {
            if (boxes[i].single()) continue;
            boxes[count++] = split(boxes[i]);
        }
    }
}

// ---- gray -----------------------------------------------------------------------

struct GrayBox {
    int low, high; // both occupied
    std::uint32_t count;
    bool single() const { return low == high; }
};

void countGrays(const ZylImage &image, std::uint32_t *counts) {
    const std::ptrdiff_t byte = upperByte(image);
    forEachPixel(image, [&](const unsigned char *pixel) { ++counts[pixel[byte]]; });
}

int grayTable(const ZylImage &image, int wanted, std::uint8_t *table) {
    std::uint32_t counts[256] = {};
    countGrays(image, counts);
    const auto distinct = 256 - static_cast<int>(std::count(counts, counts + 256, 0u));
    if (distinct <= wanted) {
        std::size_t used = 0;
        for (unsigned v = 0; v < 256; ++v) {
            if (counts[v] != 0) setEntry(table, used++, v, v, v);
        }
        return distinct;
    }
    const auto firstFrom = [&](int v) {
        while (counts[v] == 0) ++v;
        return v;
    };
    const auto lastUpTo = [&](int v) {
        while (counts[v] == 0) --v;
        return v;
    };
    GrayBox boxes[MAX_BOXES];
    const auto pixels = static_cast<std::uint32_t>(std::int64_t{image.width} * image.height);
    boxes[0] = {firstFrom(0), lastUpTo(255), pixels};
    splitInPasses(boxes, wanted, [&](GrayBox &box) {
        const Cut cut = cutAtHalf(counts, box.low, box.count);
        const GrayBox upper{firstFrom(cut.last + 1), box.high, box.count - cut.count};
        box = {box.low, lastUpTo(cut.last), cut.count};
        return upper;
    });
    for (int i = 0; i < wanted; ++i) {
        std::uint64_t sum = 0;
        for (int v = boxes[i].low; v <= boxes[i].high; ++v) {
            sum += std::uint64_t{counts[v]} * static_cast<unsigned>(v);
        }
        // No box is empty. NOLINTNEXTLINE(clang-analyzer-core.DivideZero)
        const auto mean = static_cast<unsigned>(sum / boxes[i].count);
        setEntry(table, static_cast<std::size_t>(i), mean, mean, mean);
    }
    return wanted;
}

// ---- colour ---------------------------------------------------------------------

constexpr int SIDE = 64; // cells on each axis
constexpr std::size_t CELLS = std::size_t{SIDE} * SIDE * SIDE;

// Axes, in the order in which they win when they are equally long.
enum Axis { RED, GREEN, BLUE };

struct ColourBox {
    int low[3], high[3]; // both ends occupied, on every axis
    std::uint32_t count;
    bool single() const {
        return low[RED] == high[RED] && low[GREEN] == high[GREEN] && low[BLUE] == high[BLUE];
    }
    int length(Axis axis) const { return high[axis] - low[axis]; }
};

constexpr std::size_t cellIndex(int red, int green, int blue) {
    return (static_cast<std::size_t>(blue) * SIDE + static_cast<std::size_t>(green)) * SIDE +
           static_cast<std::size_t>(red);
}

// Calls visit(cell, count) for every occupied cell of the box.
template <class F>
void forEachCell(const std::uint32_t *counts, const ColourBox &box, F visit) {
    int cell[3];
    for (cell[BLUE] = box.low[BLUE]; cell[BLUE] <= box.high[BLUE]; ++cell[BLUE]) {
        for (cell[GREEN] = box.low[GREEN]; cell[GREEN] <= box.high[GREEN]; ++cell[GREEN]) {
            const std::uint32_t *row = counts + cellIndex(0, cell[GREEN], cell[BLUE]);
            for (cell[RED] = box.low[RED]; cell[RED] <= box.high[RED]; ++cell[RED]) {
                if (row[cell[RED]] != 0) visit(cell, row[cell[RED]]);
            }
        }
    }
}

void shrink(const std::uint32_t *counts, ColourBox &box) {
    ColourBox tight{{SIDE, SIDE, SIDE}, {-1, -1, -1}, box.count};
    forEachCell(counts, box, [&](const int *cell, std::uint32_t) {
        for (int axis = 0; axis < 3; ++axis) {
            tight.low[axis] = std::min(tight.low[axis], cell[axis]);
            tight.high[axis] = std::max(tight.high[axis], cell[axis]);
        }
    });
    box = tight;
}

Axis longestAxis(const ColourBox &box) {
    Axis longest = RED;
    if (box.length(GREEN) > box.length(longest)) longest = GREEN;
    if (box.length(BLUE) > box.length(longest)) longest = BLUE;
    return longest;
}

// Leaves the lower part in the box and returns the upper one.
ColourBox splitColours(const std::uint32_t *counts, ColourBox &box) {
    const Axis axis = longestAxis(box);
    std::uint32_t planes[SIDE] = {};
    forEachCell(counts, box,
                [&](const int *cell, std::uint32_t count) { planes[cell[axis]] += count; });
    const Cut cut = cutAtHalf(planes, box.low[axis], box.count);
    ColourBox upper = box;
    upper.low[axis] = cut.last + 1;
    upper.count = box.count - cut.count;
    box.high[axis] = cut.last;
    box.count = cut.count;
    shrink(counts, upper);
    shrink(counts, box);
    return upper;
}

// Occupied cells, and the box that they lie in, found while counting: most pixels are in a
// cell that is known already.
struct OccupiedCells {
    int count = 0;
    ColourBox box = {{SIDE, SIDE, SIDE}, {-1, -1, -1}, 0};

    void add(int red, int green, int blue) {
        const int cell[] = {red, green, blue};
        ++count;
        for (int axis = 0; axis < 3; ++axis) {
            box.low[axis] = std::min(box.low[axis], cell[axis]);
            box.high[axis] = std::max(box.high[axis], cell[axis]);
        }
    }
};

OccupiedCells countColours(const ZylImage &image, bool redFirst, std::uint32_t *counts) {
    const std::ptrdiff_t bytes = sampleBytes(image.depth);
    const std::ptrdiff_t channelStep = isPlanar(image) ? planeStep(image) : bytes;
    const std::ptrdiff_t first = upperByte(image);
    const std::ptrdiff_t red = first + (redFirst ? 0 : 2 * channelStep);
    const std::ptrdiff_t green = first + channelStep;
    const std::ptrdiff_t blue = first + (redFirst ? 2 * channelStep : 0);
    OccupiedCells occupied;
    forEachPixel(image, [=, &occupied](const unsigned char *pixel) {
        const int r = pixel[red] >> 2, g = pixel[green] >> 2, b = pixel[blue] >> 2;
        if (counts[cellIndex(r, g, b)]++ == 0) occupied.add(r, g, b);
    });
    occupied.box.count = static_cast<std::uint32_t>(std::int64_t{image.width} * image.height);
    return occupied;
}

int colourTable(const ZylImage &image, int wanted, std::uint8_t *table) {
    const bool redFirst = std::memcmp(image.channelSeq, "RGB\0", 4) == 0 ||
                          std::memcmp(image.channelSeq, "RGBA", 4) == 0;
    const bool blueFirst = std::memcmp(image.channelSeq, "BGR\0", 4) == 0 ||
                           std::memcmp(image.channelSeq, "BGRA", 4) == 0;
    if (!redFirst && !blueFirst) return 0;
    const Scratch<std::uint32_t> counts(CELLS);
    if (!counts) return 0;
    std::fill_n(counts.data(), CELLS, 0u);
    const OccupiedCells occupied = countColours(image, redFirst, counts.data());
    if (occupied.count <= wanted) {
        std::size_t used = 0;
        forEachCell(counts.data(), occupied.box, [&](const int *cell, std::uint32_t) {
            setEntry(table, used++, static_cast<unsigned>(cell[RED] * 4),
                     static_cast<unsigned>(cell[GREEN] * 4), static_cast<unsigned>(cell[BLUE] * 4));
        });
        return occupied.count;
    }
    ColourBox boxes[MAX_BOXES];
    boxes[0] = occupied.box;
    splitInPasses(boxes, wanted, [&](ColourBox &box) { return splitColours(counts.data(), box); });
    for (int i = 0; i < wanted; ++i) {
        std::uint64_t sums[3] = {};
        forEachCell(counts.data(), boxes[i], [&](const int *cell, std::uint32_t count) {
            for (int axis = 0; axis < 3; ++axis) {
                sums[axis] += std::uint64_t{count} * static_cast<unsigned>(cell[axis] * 4);
            }
        });
        const auto mean = [&](Axis axis) {
            return static_cast<unsigned>(sums[axis] / boxes[i].count);
        };
        setEntry(table, static_cast<std::size_t>(i), mean(RED), mean(GREEN), mean(BLUE));
    }
    return wanted;
}

} // namespace

int medianCutTable(const ZylImage &image, int bits, std::uint8_t *table) {
    if (bits > 8) return 0;
    if (image.depth == ZYL_DEPTH_1U) {
        setEntry(table, 0, 0, 0, 0);
        setEntry(table, 1, 255, 255, 255);
        return 2;
    }
    const int wanted = 1 << bits;
    return image.nChannels == 1 ? grayTable(image, wanted, table)
                                : colourTable(image, wanted, table);
}

} // namespace zylqx
