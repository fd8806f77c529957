#include <algorithm>
#include <gtest/gtest.h>

#include "core/borders.h"
#include "core/image.h"
#include "core/scratch_image.h"
#include "tests/support/images.h"

using namespace support;
using namespace zylqx;

namespace {

constexpr int MODES[] = {ZYL_BORDER_CONSTANT, ZYL_BORDER_REPLICATE, ZYL_BORDER_REFLECT,
                         ZYL_BORDER_WRAP};

// The coordinate inside an axis that an outside one stands for, found step by step.
std::int64_t mapped(int mode, std::int64_t c, std::int64_t size) {
    if (c >= 0 && c < size) return c;
    if (mode == ZYL_BORDER_REPLICATE) return c < 0 ? 0 : size - 1;
    const std::int64_t period = mode == ZYL_BORDER_REFLECT ? 2 * size : size;
    const std::int64_t lowest = mode == ZYL_BORDER_REFLECT ? -size : 0;
    while (c < lowest) c += period;
    while (c >= size) c -= period;
    return c < 0 ? -c - 1 : c;
}

std::int64_t expectedSample(TestImage &image, std::int64_t x, std::int64_t y, int channel) {
    const ZylImage &header = *image.header();
    int side = -1;
    if (x < 0) side = 2;
    if (x >= header.width) side = 3;
    if (y < 0) side = 0;
    if (y >= header.height) side = 1;
    if (side < 0) return image.at(static_cast<int>(x), static_cast<int>(y), channel);
    const int mode = header.borderMode[side];
    if (mode == ZYL_BORDER_CONSTANT) return header.borderConst[side];
    return image.at(static_cast<int>(mapped(mode, x, header.width)),
                    static_cast<int>(mapped(mode, y, header.height)), channel);
}

// A constant as a sample keeps it.
std::int64_t stored(std::uint32_t depth, std::int64_t value) {
    switch (depth) {
    case ZYL_DEPTH_1U:
        return value & 1;
    case ZYL_DEPTH_8U:
        return static_cast<std::uint8_t>(value);
    case ZYL_DEPTH_8S:
        return static_cast<std::int8_t>(value);
    case ZYL_DEPTH_16U:
        return static_cast<std::uint16_t>(value);
    case ZYL_DEPTH_16S:
        return static_cast<std::int16_t>(value);
    default:
        return value;
    }
}

Shape smallShape(std::uint32_t depth, int channels, int order) {
    Shape shape;
    shape.depth = depth;
    shape.channels = depth == ZYL_DEPTH_1U ? 1 : channels;
    shape.width = 21;
    shape.height = 13;
    shape.order = order;
    return shape;
}

// A different mode on every side, by the seed.
void setBorders(TestImage &image, unsigned seed) {
    for (int side = 0; side < 4; ++side) {
        const int mode = MODES[(seed + static_cast<unsigned>(side) * (seed / 4 + 1)) % 4];
        zylSetBorderMode(image, mode, 1 << side, 70000 + side * 131);
    }
}

struct Corner {
    std::int64_t x, y;
};
constexpr Corner CORNERS[] = {{-3, -2},  {2, 3},        {15, 9}, {-40, 5},
                              {30, -50}, {-1000, 1000}, {5, 40}, {INT32_MAX, INT32_MIN}};

TEST(Borders, RectanglesEqualTheReferenceAnywhere) {
    unsigned seed = 0;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const bool tiled : {false, true}) {
                for (const Corner &corner : CORNERS) {
                    TestImage image(smallShape(depth, 3, order));
                    image.randomise(++seed);
                    if (tiled) image.tiles(8, 8);
                    setBorders(image, seed);
                    const Corner reached = {std::clamp<std::int64_t>(corner.x, -2000, 2000),
                                            std::clamp<std::int64_t>(corner.y, -2000, 2000)};
                    ScratchImage rect(*image.header(), 31, 19);
                    ASSERT_TRUE(rect &&
                                rect.readRows(*image.header(), reached.x, reached.y, 0, 19));
                    for (int c = 1; c <= image.shape().channels; ++c) {
                        for (int y = 0; y < 19; ++y) {
                            for (int x = 0; x < 31; ++x) {
                                ASSERT_EQ(readSample(rect.image(), x, y, c),
                                          stored(depth, expectedSample(image, reached.x + x,
                                                                       reached.y + y, c)))
                                    << describe(image.shape()) << " seed " << seed << " at ("
                                    << reached.x + x << ", " << reached.y + y << ") channel " << c;
                            }
                        }
                    }
                    EXPECT_EQ(image.tilesHeld(), 0);
                    EXPECT_EQ(image.breaches(), "");
                }
            }
        }
    }
}

TEST(Borders, RowsOfOneChannel) {
    unsigned seed = 100;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        for (const bool tiled : {false, true}) {
            TestImage image(smallShape(depth, 3, ZYL_DATA_ORDER_PIXEL));
            image.randomise(++seed);
            if (tiled) image.tiles(16, 8);
            setBorders(image, seed);
            const int channel = image.shape().channels;
            ZylImage row = memoryHeader(*image.header(), 64, 1);
            row.nChannels = 1;
            for (const std::int64_t y : {-20, -1, 0, 7, 12, 13, 55}) {
                std::int32_t samples[64] = {};
                row.imageData = reinterpret_cast<unsigned char *>(samples);
                EXPECT_TRUE(readBorderedRect(*image.header(), -20, y, 64, 1, channel,
                                             {row.imageData, 0, 0}));
                for (int x = 0; x < 64; ++x) {
                    ASSERT_EQ(readSample(row, x, 0, 1),
                              stored(depth, expectedSample(image, x - 20, y, channel)))
                        << depthName(depth) << " at (" << x - 20 << ", " << y << ")";
                }
            }
            EXPECT_EQ(image.tilesHeld(), 0);
        }
    }
}

TEST(Borders, EveryTileIsRequestedOnce) {
    TestImage image(smallShape(ZYL_DEPTH_16U, 3, ZYL_DATA_ORDER_PLANE));
    image.randomise(3).tiles(8, 8);
    for (const int mode :
         {ZYL_BORDER_CONSTANT, ZYL_BORDER_REPLICATE, ZYL_BORDER_REFLECT, ZYL_BORDER_WRAP}) {
        image.border(mode, 5).clearTileCalls();
        ASSERT_TRUE(ScratchImage(*image.header(), 31, 23).readRows(*image.header(), -5, -5, 0, 23));
        EXPECT_EQ(image.tileCalls().size(), 2u * 3 * 2) << mode;
    }
}

TEST(Borders, FailuresHoldNothing) {
    TestImage image(smallShape(ZYL_DEPTH_8U, 1, ZYL_DATA_ORDER_PIXEL));
    image.randomise(4).tiles(8, 8);
    {
        const AllocationFault fault(1);
        EXPECT_FALSE(ScratchImage(*image.header(), 21, 13));
        EXPECT_TRUE(AllocationFault::struck());
    }
    image.failTileRequest(4);
    EXPECT_FALSE(ScratchImage(*image.header(), 21, 13).readRows(*image.header(), 0, 0, 0, 13));
    EXPECT_EQ(image.tilesHeld(), 0);
    EXPECT_FALSE(ScratchImage(*image.header(), INT32_MAX, INT32_MAX));
}

} // namespace
