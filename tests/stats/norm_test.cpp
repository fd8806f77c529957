#include <cmath>
#include <gtest/gtest.h>

#include "core/levels.h"
#include "tests/support/failing_calls.h"

using namespace support;

namespace {

constexpr std::int32_t TYPES[] = {ZYL_NORM_C,          ZYL_NORM_L1,          ZYL_NORM_L2,
                                  ZYL_NORM_RELATIVE_C, ZYL_NORM_RELATIVE_L1, ZYL_NORM_RELATIVE_L2};

// A norm in 64-bit integers and long double.
struct Sums {
    std::uint64_t largest = 0;
    long double sum = 0, squares = 0;

    void add(std::int64_t value) {
        const auto size = static_cast<std::uint64_t>(value < 0 ? -value : value);
        largest = std::max(largest, size);
        sum += static_cast<long double>(size);
        squares += static_cast<long double>(size) * static_cast<long double>(size);
    }
    long double of(std::int32_t plainType) const {
        if (plainType == ZYL_NORM_C) return static_cast<long double>(largest);
        return plainType == ZYL_NORM_L1 ? sum : std::sqrt(squares);
    }
};

double reference(const TestImage &a, const TestImage *b, std::int32_t type, int coi, int x0, int y0,
                 int width, int height) {
    Sums first, second;
    for (int c = 1; c <= a.shape().channels; ++c) {
        if (coi != 0 && c != coi) continue;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const std::int64_t sample = a.at(x0 + x, y0 + y, c);
                const std::int64_t other = b != nullptr ? b->at(x, y, c) : 0;
                first.add(sample - other);
                second.add(other);
            }
        }
    }
    if (b == nullptr) return static_cast<double>(first.of(type == 2 || type == 1 ? type : 4));
    if (type < 8) return static_cast<double>(first.of(type));
    return static_cast<double>(first.of(type - 8)) / static_cast<double>(second.of(type - 8));
}

TEST(Norm, EqualsTheReference) {
    const Reports reports;
    unsigned seed = 1;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        const int channels = depth == ZYL_DEPTH_1U ? 1 : 3;
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const int coi : {0, 2}) {
                if (coi > channels) continue;
                const Shape shape{.depth = depth,
                                  .channels = channels,
                                  .width = 71,
                                  .height = 29,
                                  .order = order};
                TestImage a(shape);
                TestImage b({.depth = depth,
                             .channels = channels,
                             .width = 50,
                             .height = 40,
                             .order = order});
                a.randomise(++seed).region(coi, 3, 2, 100, 100);
                b.randomise(++seed).region(coi, 0, 0, 100, 100);
                for (const std::int32_t type : TYPES) {
                    SCOPED_TRACE(std::string(depthName(depth)) + ", seed " + std::to_string(seed) +
                                 ", type " + std::to_string(type));
                    const double one = zylNorm(a, nullptr, type);
                    EXPECT_DOUBLE_EQ(one, reference(a, nullptr, type, coi, 3, 2, 68, 27));
                    const double two = zylNorm(a, b, type);
                    EXPECT_DOUBLE_EQ(two, reference(a, &b, type, coi, 3, 2, 50, 27));
                    for (unsigned which = 1; which < 4; ++which) {
                        TestImage tiledA(a);
                        TestImage tiledB(b);
                        if ((which & 1) != 0) tiledA.tiles(16, 8);
                        if ((which & 2) != 0) tiledB.tiles(24, 16);
                        EXPECT_EQ(zylNorm(tiledA, nullptr, type), one);
                        EXPECT_EQ(zylNorm(tiledA, tiledB, type), two) << "tiled " << which;
                        EXPECT_EQ(tiledA.tilesHeld() + tiledB.tilesHeld(), 0);
                    }
                    zylqx::useLevel(zylqx::Level::Baseline);
                    EXPECT_EQ(zylNorm(a, nullptr, type), one);
                    EXPECT_EQ(zylNorm(a, b, type), two);
                    zylqx::useLevel(zylqx::bestLevel());
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(Norm, WorkedCases) {
    const Reports reports;
    TestImage tens({.width = 4, .height = 4});
    TestImage sevens({.width = 4, .height = 4});
    tens.fill(10);
    sevens.fill(7);
    const double alone[] = {10, 160, 40, 40, 40, 40};
    const double both[] = {3, 48, 12, 3.0 / 7, 48.0 / 112, 12.0 / 28};
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(zylNorm(tens, nullptr, TYPES[i]), alone[i]);
        EXPECT_EQ(zylNorm(tens, sevens, TYPES[i]), both[i]);
        EXPECT_EQ(zylNorm(tens, tens, TYPES[i]), 0.0);
    }
    // An image of zeros divides by the smallest float, and the result is cut.
    sevens.fill(0);
    EXPECT_EQ(zylNorm(tens, sevens, ZYL_NORM_RELATIVE_C), 3.4028234663852886e38);
    EXPECT_EQ(zylNorm(sevens, sevens, ZYL_NORM_RELATIVE_L2), 0.0);

    // The same image behind tiles, against itself.
    tens.tiles(8, 8);
    EXPECT_EQ(zylNorm(tens, tens, ZYL_NORM_RELATIVE_L1), 0.0);
    EXPECT_EQ(tens.breaches(), "");
    EXPECT_EQ(tens.tileCalls().size(), 2u);

    TestImage low({.depth = ZYL_DEPTH_8S, .width = 300, .height = 9});
    low.fill(-128);
    EXPECT_EQ(zylNorm(low, nullptr, ZYL_NORM_C), 128);
    EXPECT_EQ(zylNorm(low, nullptr, ZYL_NORM_L1), 128.0 * 2700);
}

// The largest samples over rows long enough to overflow 32-bit sums.
TEST(Norm, SumsDoNotOverflow) {
    const Reports reports;
    for (const std::uint32_t depth : ALL_DEPTHS) {
        const Shape shape{.depth = depth, .width = 1200000, .height = 1};
        TestImage a(shape);
        TestImage b(shape);
        a.fill(highest(depth));
        b.fill(lowest(depth));
        const double most = static_cast<double>(highest(depth) - lowest(depth));
        EXPECT_EQ(zylNorm(a, b, ZYL_NORM_C), most);
        EXPECT_EQ(zylNorm(a, b, ZYL_NORM_L1), most * shape.width);
        EXPECT_DOUBLE_EQ(zylNorm(a, b, ZYL_NORM_L2), most * std::sqrt(double{1200000}));
    }
}

TEST(Norm, ReportsInOrder) {
    TestImage a({.width = 4, .height = 4});
    FailingCalls calls("zylNorm", "zylnorm");
    const auto expect = [&](ZylImage *imageA, ZylImage *imageB, std::int32_t type,
                            const char *text) {
        calls.expect(text, [&] { EXPECT_EQ(zylNorm(imageA, imageB, type), 0.0); });
    };
    const char *null = "Image header is null                                                  \n";
    TestImage other({.depth = ZYL_DEPTH_16U,
                     .channels = 3,
                     .width = 4,
                     .height = 4,
                     .order = ZYL_DATA_ORDER_PLANE});
    other.region(2, 0, 0, 4, 4);
    for (const int type : {0, 3, 5, 8, 11, 13, -1})
        expect(nullptr, other, type, "normType unknown");
    expect(nullptr, other, 1, null);
    expect(a, other, 1, "(srcImageA->depth!=srcImageB->depth)");
    TestImage channel({.channels = 3, .width = 4, .height = 4, .order = ZYL_DATA_ORDER_PLANE});
    channel.region(2, 0, 0, 4, 4);
    expect(a, channel, 1, "(coiA!=coiB)");
    channel.noRegion();
    expect(a, channel, 1, "(srcImageA->dataOrder!=srcImageB->dataOrder)");
    TestImage colour({.channels = 3, .width = 4, .height = 4});
    expect(a, colour, 1, "(srcImageA->nChannels!=srcImageB->nChannels)");

    TestImage broken({.width = 4, .height = 4});
    broken.header()->imageData = nullptr;
    expect(a, broken, 1,
           "Image data and tileinfo is either null or not null                    \n");

    Reports reports;
    zylSetErrStatus(ZYL_StsError);
    EXPECT_EQ(zylNorm(a, nullptr, 1), 0.0);

    TestImage tiled({.width = 20, .height = 20});
    tiled.tiles(8, 8).failTileRequest(3);
    calls.expect(
        "Error get tile to read", [&] { EXPECT_EQ(zylNorm(tiled, nullptr, 1), -1.0); },
        ZYL_StsError);
    EXPECT_EQ(tiled.tilesHeld(), 0);
}

} // namespace
