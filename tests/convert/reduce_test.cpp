#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

#include "tests/support/images.h"

using namespace support;

namespace {

// A channel as plain numbers, row by row.
struct Plane {
    int width, height;
    std::vector<std::int64_t> samples;
    std::int64_t &at(int x, int y) { return samples[static_cast<std::size_t>(y * width + x)]; }
};

struct Weight {
    int dx, dy;
    std::int64_t weight;
};

// The dithers as they are defined, error by error.
void ditherSlowly(Plane &plane, std::uint32_t depth, int type, std::int64_t step) {
    const std::int64_t top = highest(depth);
    const int bits = depth == ZYL_DEPTH_8U ? 8 : 16;
    static const std::int64_t ORDER[4][4] = {
        {0, 120, 30, 150}, {180, 60, 210, 90}, {45, 165, 15, 135}, {225, 105, 195, 75}};
    std::vector<Weight> weights;
    const auto wide = [&](std::initializer_list<std::int64_t> list) {
        auto w = list.begin();
        for (int dx = 1; dx <= 2; ++dx) weights.push_back({dx, 0, *w++});
        for (int dy = 1; dy <= 2; ++dy) {
            for (int dx = -2; dx <= 2; ++dx) weights.push_back({dx, dy, *w++});
        }
    };
    int shift = bits;
    if (type == 2) {
        weights = {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}};
        shift = 4;
    } else if (type == 4 && bits == 8) {
        wide({37, 26, 15, 26, 37, 26, 15, 5, 15, 26, 15, 5});
    } else if (type == 4) {
        wide({9557, 6826, 4095, 6826, 9557, 6826, 4095, 1365, 4095, 6826, 4095, 1365});
    } else if (type == 8 && bits == 8) {
        wide({48, 24, 12, 24, 48, 24, 12, 6, 12, 24, 12, 6});
    } else if (type == 8) {
        wide({12482, 6241, 3120, 6241, 12482, 6241, 3120, 1560, 3120, 6241, 3120, 1560});
    }
    for (int y = 0; y < plane.height; ++y) {
        for (int x = 0; x < plane.width; ++x) {
            const std::int64_t v = plane.at(x, y);
            const std::int64_t base = v / step * step;
            if (type == 16) {
                const std::int64_t matrix = ORDER[x % 4][y % 4] * (bits == 8 ? 1 : 257);
                const bool up = v - base > (step * matrix) >> bits && base + step <= top;
                plane.at(x, y) = up ? base + step : base;
                continue;
            }
            const std::int64_t q = std::min(2 * (v - base) > step ? base + step : base, top);
            plane.at(x, y) = q;
            for (const Weight &w : weights) {
                const int nx = x + w.dx;
                const int ny = y + w.dy;
                if (nx < 0 || nx >= plane.width || ny >= plane.height) continue;
                const std::int64_t sum = plane.at(nx, ny) + (((v - q) * w.weight) >> shift);
                plane.at(nx, ny) = std::clamp<std::int64_t>(sum, 0, top);
            }
        }
    }
}

std::int64_t stepFor(std::uint32_t depth, int bits) {
    const int sampleBits = depth == ZYL_DEPTH_8U ? 8 : 16;
    if (bits < 0) bits = 0;
    if (bits > sampleBits) bits = sampleBits / 2;
    return std::max<std::int64_t>(highest(depth) >> bits, 1);
}

Shape shapeOf(std::uint32_t depth, const char *sequence, int width, int height, int order) {
    Shape shape{.depth = depth, .width = width, .height = height, .order = order};
    shape.channels = sequence[0] == 'G' ? 1 : sequence[3] == ' ' ? 3 : sequence[3] == 'X' ? 5 : 4;
    shape.sequence = sequence;
    return shape;
}

TEST(ReduceBits, DithersAsDefined) {
    // Rows are taken in bands, of up to 16, and columns in parts.
    constexpr struct Size {
        int width, height;
    } sizes[] = {{1, 1}, {1, 40}, {2, 9}, {3, 17}, {35, 8}, {150, 35}, {513, 3}};
    const Reports reports;
    unsigned seed = 0;
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        const std::uint32_t from = depth == ZYL_DEPTH_8U ? ZYL_DEPTH_16U : ZYL_DEPTH_32S;
        for (const int type : {2, 4, 8, 16}) {
            for (const int bits : {-3, 0, 1, 2, 3, 4, 7, 8, 11, 20}) {
                for (const char *sequence : {"GRAY", "RGB ", "BGRA", "BGRX"}) {
                    for (const Size &size : sizes) {
                        const int width = size.width;
                        const int height = size.height;
                        const int order = static_cast<int>(++seed % 2);
                        TestImage source(shapeOf(from, sequence, width, height, order));
                        source.randomise(seed);
                        TestImage reduced(shapeOf(depth, sequence, width, height, order));
                        TestImage result(reduced);
                        zylReduceBits(source, reduced, 0, 1, bits, nullptr);
                        zylReduceBits(source, result, 0, type, bits, nullptr);
                        for (int c = 1; c <= source.shape().channels; ++c) {
                            Plane plane{width, height, {}};
                            for (int i = 0; i < height * width; ++i) {
                                plane.samples.push_back(reduced.at(i % width, i / width, c));
                            }
                            if (c < 4) ditherSlowly(plane, depth, type, stepFor(depth, bits));
                            for (int i = 0; i < height * width; ++i) {
                                ASSERT_EQ(result.at(i % width, i / width, c),
                                          plane.samples[static_cast<std::size_t>(i)])
                                    << describe(source.shape()) << ", type " << type << ", bits "
                                    << bits << ", sample " << i << " of channel " << c;
                            }
                        }
                    }
                }
            }
        }
    }
}

// Every tile is dithered as an image of its own.
TEST(ReduceBits, DithersEachTileByItself) {
    TestImage source(shapeOf(ZYL_DEPTH_16U, "RGB ", 48, 24, ZYL_DATA_ORDER_PIXEL));
    source.randomise(3);
    TestImage result(shapeOf(ZYL_DEPTH_8U, "RGB ", 48, 24, ZYL_DATA_ORDER_PIXEL));
    result.tiles(16, 8);
    TestImage tiled(source);
    tiled.tiles(24, 16);
    zylReduceBits(tiled, result, 0, 8, 2, nullptr);
    for (int ty = 0; ty < 3; ++ty) {
        for (int tx = 0; tx < 3; ++tx) {
            TestImage part(shapeOf(ZYL_DEPTH_16U, "RGB ", 16, 8, ZYL_DATA_ORDER_PIXEL));
            for (int i = 0; i < 3 * 128; ++i) {
                const int x = i / 3 % 16;
                const int y = i / 48;
                part.set(x, y, i % 3 + 1, source.at(16 * tx + x, 8 * ty + y, i % 3 + 1));
            }
            TestImage expected(shapeOf(ZYL_DEPTH_8U, "RGB ", 16, 8, ZYL_DATA_ORDER_PIXEL));
            zylReduceBits(part, expected, 0, 8, 2, nullptr);
            for (int i = 0; i < 3 * 128; ++i) {
                const int x = i / 3 % 16;
                const int y = i / 48;
                ASSERT_EQ(result.at(16 * tx + x, 8 * ty + y, i % 3 + 1),
                          expected.at(x, y, i % 3 + 1));
            }
        }
    }
}

// Images in memory: without jitter and dither the smaller size decides.
TEST(ReduceBits, LeavesTheRestOfALargerImageAlone) {
    TestImage source(shapeOf(ZYL_DEPTH_16U, "GRAY", 10, 6, ZYL_DATA_ORDER_PIXEL));
    source.fill(0xABCD);
    TestImage result(shapeOf(ZYL_DEPTH_8U, "GRAY", 12, 5, ZYL_DATA_ORDER_PIXEL));
    result.fill(9);
    zylReduceBits(source, result, 0, 1, 7, nullptr);
    EXPECT_EQ(result.at(9, 4), 0xAB);
    EXPECT_EQ(result.at(10, 4), 9);
}

// With a dither the source's borders fill a larger destination, and their errors
// spread like those of the other samples.
TEST(ReduceBits, DithersTheWholeOfALargerImage) {
    constexpr int CONSTANT = 0x4321;
    const auto padded = [](const TestImage &source, int mode, const Shape &larger) {
        const Shape &shape = source.shape();
        TestImage image(larger);
        for (int y = 0; y < larger.height; ++y) {
            for (int x = 0; x < larger.width; ++x) {
                const bool outside = x >= shape.width || y >= shape.height;
                const bool wrap = mode == ZYL_BORDER_WRAP;
                const int fromX = wrap ? x % shape.width : std::min(x, shape.width - 1);
                const int fromY = wrap ? y % shape.height : std::min(y, shape.height - 1);
                for (int c = 1; c <= shape.channels; ++c) {
                    const bool constant = outside && mode == ZYL_BORDER_CONSTANT;
                    image.set(x, y, c, constant ? CONSTANT : source.at(fromX, fromY, c));
                }
            }
        }
        return image;
    };
    // Wider, higher, or both.
    constexpr int SIZES[][2] = {{19, 7}, {11, 12}, {19, 12}};
    unsigned seed = 0;
    for (const int mode : {ZYL_BORDER_CONSTANT, ZYL_BORDER_REPLICATE, ZYL_BORDER_WRAP}) {
        for (const int type : {2, 4, 8, 16}) {
            for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
                TestImage source(shapeOf(ZYL_DEPTH_16U, "RGB ", 11, 7, order));
                source.randomise(++seed);
                source.border(mode, CONSTANT);
                const auto &[width, height] = SIZES[seed % 3];
                TestImage larger =
                    padded(source, mode, shapeOf(ZYL_DEPTH_16U, "RGB ", width, height, order));
                TestImage expected(shapeOf(ZYL_DEPTH_8U, "RGB ", width, height, order));
                TestImage result(expected);
                zylReduceBits(larger, expected, 0, type, 2, nullptr);
                zylReduceBits(source, result, 0, type, 2, nullptr);
                EXPECT_EQ(difference(expected, result), "") << "type " << type << ", mode " << mode;
            }
        }
    }
    // Jitter leaves samples alone that are this large.
    TestImage source(shapeOf(ZYL_DEPTH_16U, "GRAY", 10, 6, ZYL_DATA_ORDER_PIXEL));
    source.fill(0xFFFF);
    source.border(ZYL_BORDER_REPLICATE);
    for (const int jitter : {0, 3}) {
        TestImage result(shapeOf(ZYL_DEPTH_8U, "GRAY", 12, 8, ZYL_DATA_ORDER_PIXEL));
        result.fill(9);
        zylReduceBits(source, result, jitter, 1, 0, nullptr);
        EXPECT_EQ(result.at(9, 5), 0xFF);
        EXPECT_EQ(result.at(11, 7), jitter == 0 ? 9 : 0xFF);
    }
}

// The last tiles of a source go on behind the image, but its borders count there.
TEST(ReduceBits, TakesBordersInsteadOfWhatTilesHaveBehindTheImage) {
    TestImage source(shapeOf(ZYL_DEPTH_16U, "GRAY", 11, 13, ZYL_DATA_ORDER_PIXEL));
    source.randomise(5).border(ZYL_BORDER_REPLICATE);
    TestImage expected(shapeOf(ZYL_DEPTH_8U, "GRAY", 16, 16, ZYL_DATA_ORDER_PIXEL));
    expected.fill(9).tiles(8, 8);
    TestImage result = expected;
    zylReduceBits(source, expected, 0, 1, 0, nullptr);
    source.tiles(8, 8);
    zylReduceBits(source, result, 0, 1, 0, nullptr);
    EXPECT_EQ(difference(expected, result), "");
    EXPECT_EQ(result.at(15, 15), source.at(10, 12) >> 8);
}

// With a channel of interest in both, the numbers of channels may differ; samples then lie
// apart.
TEST(ReduceBits, TakesTheChannelsThatBothImagesHave) {
    for (const int jitter : {0, 1}) {
        TestImage source(shapeOf(ZYL_DEPTH_16U, "BGRA", 19, 6, ZYL_DATA_ORDER_PIXEL));
        source.fill(0xFFFF); // too large for jitter
        for (int x = 0; jitter == 0 && x < 19; ++x) source.set(x, 3, 1 + x % 4, 1000 * x);
        TestImage result(shapeOf(ZYL_DEPTH_8U, "RGB ", 19, 6, ZYL_DATA_ORDER_PIXEL));
        source.region(4, 2, 2, 3, 3);
        result.region(1, 2, 2, 3, 3);
        zylReduceBits(source, result, jitter, 1, 0, nullptr);
        for (int i = 0; i < 19 * 6 * 3; ++i) {
            const int x = i / 3 % 19;
            const int y = i / 57;
            ASSERT_EQ(result.at(x, y, i % 3 + 1), source.at(x, y, i % 3 + 1) >> 8) << i;
        }
    }
}

TEST(ReduceBits, JitterMovesSamplesByItsStrength) {
    struct Pair {
        std::uint32_t from, to;
        std::int64_t unit, cut;
    };
    for (const Pair &pair : {Pair{ZYL_DEPTH_16U, ZYL_DEPTH_8U, 256, 256},
                             Pair{ZYL_DEPTH_32S, ZYL_DEPTH_16U, 65536, 32768},
                             Pair{ZYL_DEPTH_32S, ZYL_DEPTH_8U, 1 << 24, 1 << 23}}) {
        for (const int jitter : {1, 8}) {
            TestImage source(shapeOf(pair.from, "GRAY", 64, 64, ZYL_DATA_ORDER_PIXEL));
            const std::int64_t value = highest(pair.from) / pair.unit / 2 * pair.unit + 100;
            source.fill(value);
            source.set(0, 0, 1, highest(pair.from) - pair.unit); // left alone from here up
            TestImage first(shapeOf(pair.to, "GRAY", 64, 64, ZYL_DATA_ORDER_PIXEL));
            TestImage second(first);
            zylReduceBits(source, first, jitter, 1, 0, nullptr);
            zylReduceBits(source, second, jitter, 1, 0, nullptr);
            EXPECT_NE(first.bytes(), second.bytes());
            EXPECT_EQ(first.at(0, 0), (highest(pair.from) - pair.unit) / pair.cut);
            std::int64_t low = INT64_MAX;
            std::int64_t high = INT64_MIN;
            double sum = 0;
            for (int i = 1; i < 64 * 64; ++i) {
                const std::int64_t moved = first.at(i % 64, i / 64) - value / pair.cut;
                low = std::min(low, moved);
                high = std::max(high, moved);
                sum += static_cast<double>(moved);
            }
            const std::int64_t scale = pair.unit / pair.cut;
            EXPECT_EQ(low, -jitter * scale);
            EXPECT_EQ(high, jitter * scale);
            EXPECT_LT(std::abs(sum / 4096), 0.5 * static_cast<double>(scale));
        }
    }
    // Near white in one bit: 128 + 16 units up and down crosses the middle.
    TestImage source(shapeOf(ZYL_DEPTH_8U, "GRAY", 64, 64, ZYL_DATA_ORDER_PIXEL));
    source.fill(130);
    TestImage bits(shapeOf(ZYL_DEPTH_1U, "GRAY", 64, 64, ZYL_DATA_ORDER_PIXEL));
    zylReduceBits(source, bits, 4, 1, 0, nullptr);
    int ones = 0;
    for (int i = 0; i < 64 * 64; ++i) ones += static_cast<int>(bits.at(i % 64, i / 64));
    EXPECT_GT(ones, 1000);
    EXPECT_LT(ones, 3500);
}

TEST(ReduceBits, ReportsWhatItCannotDo) {
    Reports reports;
    const auto run = [&](std::uint32_t from, std::uint32_t to, int jitter, int dither) {
        TestImage source(shapeOf(from, "GRAY", 8, 8, ZYL_DATA_ORDER_PIXEL));
        TestImage result(shapeOf(to, "GRAY", 8, 8, ZYL_DATA_ORDER_PIXEL));
        source.fill(77);
        reports.clear();
        zylReduceBits(source, result, jitter, dither, 1, nullptr);
        return reports.all();
    };
    const auto kernel = [](const char *function, const char *text) {
        return std::vector<Report>{{ZYL_StsBadArg, function, text, "owncolor"}};
    };
    EXPECT_EQ(run(ZYL_DEPTH_16U, ZYL_DEPTH_8U, 9, 1),
              (std::vector<Report>{
                  {ZYL_StsBadArg, "zylReduceBits", "(0>jitterType)||(jitterType>8)", "zylcolor"}}));
    const auto unlike = [&](const std::function<void(ZylImage &)> &change) {
        TestImage source(shapeOf(ZYL_DEPTH_16U, "RGB ", 8, 8, ZYL_DATA_ORDER_PIXEL));
        TestImage result(shapeOf(ZYL_DEPTH_8U, "RGB ", 8, 8, ZYL_DATA_ORDER_PIXEL));
        source.fill(0x5678);
        result.fill(9);
        const auto before = result.bytes();
        ZylImage header = *result.header();
        change(header);
        reports.clear();
        zylReduceBits(source, &header, 0, 1, 0, nullptr);
        EXPECT_EQ(result.bytes(), before);
        return reports.all();
    };
    const std::vector<Report> refused = {
        {ZYL_StsBadArg, "zylReduceBits", "incomatibleimages", "zylcolor"}};
    EXPECT_EQ(unlike([](ZylImage &d) { d.nChannels = 4; }), refused);
    EXPECT_EQ(unlike([](ZylImage &d) { d.dataOrder = ZYL_DATA_ORDER_PLANE; }), refused);
    EXPECT_EQ(unlike([](ZylImage &d) { d.origin = ZYL_ORIGIN_BL; }), refused);
    EXPECT_EQ(run(ZYL_DEPTH_16U, ZYL_DEPTH_16U, 0, 2), kernel("ownReduceBits", "errOutDepth"));
    EXPECT_EQ(run(ZYL_DEPTH_8U, ZYL_DEPTH_8U, 1, 1), kernel("ownjitter_rect", "errOutDepth"));
    EXPECT_EQ(run(ZYL_DEPTH_32S, ZYL_DEPTH_1U, 0, 1), kernel("ownReduceBits", "errInOutDepth"));
    EXPECT_EQ(run(ZYL_DEPTH_16S, ZYL_DEPTH_8U, 0, 1), kernel("ownReduceBits", "errInOutDepth"));
    EXPECT_EQ(run(ZYL_DEPTH_16U, ZYL_DEPTH_8U, 0, 3), kernel("own_dither_rect", "errDitherOption"));
    EXPECT_EQ(run(ZYL_DEPTH_8U, ZYL_DEPTH_1U, 0, 2), kernel("own_dither_rect", "errInDepth"));

    // For every tile again.
    TestImage source(shapeOf(ZYL_DEPTH_16U, "GRAY", 16, 16, ZYL_DATA_ORDER_PIXEL));
    TestImage result(shapeOf(ZYL_DEPTH_8U, "GRAY", 16, 16, ZYL_DATA_ORDER_PIXEL));
    source.fill(0x1200);
    result.tiles(8, 8);
    reports.clear();
    zylReduceBits(source, result, 0, 3, 1, nullptr);
    EXPECT_EQ(reports.all().size(), 4u);
    EXPECT_EQ(result.at(15, 15), 0x12); // written all the same
}

} // namespace
