// Zoom and decimation against references that compute one pixel at a time.

#include <gtest/gtest.h>

#include "tests/geometry/reference.h"

using namespace reference;
using support::Report;
using support::Reports;

namespace {

struct Factors {
    int xU, xL, yU, yL, interpolate;
};

std::string describe(const Factors &f, unsigned seed) {
    std::string text = " xU xL yU yL interpolate:";
    for (int value : {f.xU, f.xL, f.yU, f.yL, f.interpolate}) {
        text += ' ';
        text += std::to_string(value);
    }
    return text + ", seed " + std::to_string(seed);
}

// --- zoom ---

// The first of two or four samples, moved into the region or the image.
std::int64_t linearBase(double position, int length) {
    const std::int64_t base = index(position);
    return base == length - 1 ? base - 1 : base;
}
std::int64_t cubicBase(double position, int begin, int size) {
    const std::int64_t base = begin + index(position);
    if (base == 0) return 0;
    if (base == size - 1) return base - 3;
    if (base == size - 2) return base - 2;
    return base - 1;
}

double newton(const double *p, double s) {
    const double d1 = p[1] - p[0], d2 = p[2] - 2 * p[1] + p[0];
    const double d3 = p[3] - 3 * p[2] + 3 * p[1] - p[0];
    return p[0] + s * d1 + s * (s - 1) / 2 * d2 + s * (s - 1) * (s - 2) / 2 * (1.0 / 3) * d3;
}

// index() of positions in 14-bit fixed point, counted from the start of a tile. A
// factor a hair above 1 has a step of exactly 1, which may lead past the end.
int nearestZoomed(int i, int start, double f, int length) {
    const std::int64_t position = index(start * f * 16384) + (i - start) * index(f * 16384);
    return std::min(static_cast<int>(position >> 14), length - 1);
}

int zoomedCount(int wanted, int length, double f) {
    int count = 0;
    while (count < wanted && index(count * f) <= length - 1) ++count;
    return count;
}

void zoomReference(TestImage &src, TestImage &dst, const Factors &factors) {
    const Part from(src), to(dst);
    const double fx = static_cast<double>(factors.xL) / factors.xU;
    const double fy = static_cast<double>(factors.yL) / factors.yU;
    const int least = std::min(src.shape().width, src.shape().height);
    int interpolate = factors.interpolate;
    if (least < 4 && interpolate == ZYL_INTER_CUBIC) interpolate = ZYL_INTER_LINEAR;
    if (least < 2 || src.shape().depth == ZYL_DEPTH_1U) interpolate = ZYL_INTER_NN;
    const int width = zoomedCount(to.width, from.width, fx);
    const int height = zoomedCount(to.height, from.height, fy);
    for (int c = 0; c < std::min(from.channels, to.channels); ++c) {
        auto at = [&](std::int64_t x, std::int64_t y) {
            return static_cast<double>(
                src.at(static_cast<int>(x), static_cast<int>(y), from.firstChannel + c));
        };
        auto value = [&](int i, int j) -> double {
            const double x = i * fx, y = j * fy;
            if (interpolate == ZYL_INTER_NN) {
                const int firstX = std::max(tileBegin(dst, to.x + i, true) - to.x, 0);
                const int firstY = std::max(tileBegin(dst, to.y + j, false) - to.y, 0);
                return at(from.x + nearestZoomed(i, firstX, fx, from.width),
                          from.y + nearestZoomed(j, firstY, fy, from.height));
            }
            if (interpolate == ZYL_INTER_LINEAR) {
                // A region of one pixel has nothing to go on to.
                const std::int64_t a = from.width == 1 ? 0 : linearBase(x, from.width);
                const std::int64_t b = from.height == 1 ? 0 : linearBase(y, from.height);
                auto h = [&](std::int64_t row) {
                    const double left = at(from.x + a, from.y + row);
                    if (from.width == 1) return static_cast<float>(left);
                    const double right = at(from.x + a + 1, from.y + row);
                    return static_cast<float>(left + (x - a) * (right - left));
                };
                if (from.height == 1) return static_cast<double>(index(h(0)));
                const double above = h(b), below = h(b + 1);
                return static_cast<double>(index((y - b) * (below - above) + above));
            }
            const std::int64_t a = cubicBase(x, from.x, src.shape().width);
            const std::int64_t b = cubicBase(y, from.y, src.shape().height);
            double rows[4];
            for (int r = 0; r < 4; ++r) {
                double p[4];
                for (int k = 0; k < 4; ++k) p[k] = at(a + k, b + r);
                rows[r] = static_cast<float>(newton(p, x - (a + 1 - from.x) + 1));
            }
            return static_cast<double>(index(newton(rows, y - (b + 1 - from.y) + 1)));
        };
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                dst.set(to.x + i, to.y + j, to.firstChannel + c,
                        saturate(value(i, j), dst.shape().depth));
            }
        }
    }
}

// --- decimation ---

std::int64_t sixCubic(const std::int64_t *p, std::int64_t f) {
    return 6 * p[1] + (((f * f * f >> 16) * (3 * p[1] - p[0] - 3 * p[2] + p[3]) +
                        (f * f >> 8) * (3 * p[0] - 6 * p[1] + 3 * p[2]) +
                        f * (6 * p[2] - 2 * p[0] - 3 * p[1] - p[3])) >>
                       8);
}

void decimateReference(TestImage &src, TestImage &dst, const Factors &factors) {
    const Part from(src), to(dst);
    const std::int64_t stepX = factors.xL * std::int64_t{256} / factors.xU;
    const std::int64_t stepY = factors.yL * std::int64_t{256} / factors.yU;
    const bool whole = factors.xL % factors.xU == 0 && factors.yL % factors.yU == 0;
    const bool small = std::min(src.shape().width, src.shape().height) < 4;
    const bool nearest =
        whole || small || src.shape().depth == ZYL_DEPTH_1U || factors.interpolate == ZYL_INTER_NN;
    const auto width =
        std::min<std::int64_t>(to.width, std::int64_t{from.width} * factors.xU / factors.xL);
    const auto height =
        std::min<std::int64_t>(to.height, std::int64_t{from.height} * factors.yU / factors.yL);
    for (int c = 0; c < std::min(from.channels, to.channels); ++c) {
        auto at = [&](std::int64_t x, std::int64_t y) {
            return src.at(static_cast<int>(std::clamp<std::int64_t>(x, 0, src.shape().width - 1)),
                          static_cast<int>(std::clamp<std::int64_t>(y, 0, src.shape().height - 1)),
                          from.firstChannel + c);
        };
        auto value = [&](int i, int j) -> std::int64_t {
            const std::int64_t a = from.x + (i * stepX >> 8), b = from.y + (j * stepY >> 8);
            const std::int64_t fx = i * stepX & 255, fy = j * stepY & 255;
            if (nearest) return at(a, b);
            if (factors.interpolate == ZYL_INTER_LINEAR) {
                const std::int64_t sum = (at(a, b) * (256 - fx) + at(a + 1, b) * fx) * (256 - fy) +
                                         (at(a, b + 1) * (256 - fx) + at(a + 1, b + 1) * fx) * fy;
                return ((sum >> 15) + 1) >> 1;
            }
            std::int64_t rows[4];
            for (int r = 0; r < 4; ++r) {
                std::int64_t p[4];
                for (int k = 0; k < 4; ++k) p[k] = at(a - 1 + k, b - 1 + r);
                rows[r] = sixCubic(p, fx);
            }
            return std::clamp<std::int64_t>(sixCubic(rows, fy) / 36, 0,
                                            support::highest(dst.shape().depth));
        };
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                dst.set(to.x + i, to.y + j, to.firstChannel + c, value(i, j));
            }
        }
    }
}

// --- random calls ---

struct Resampling {
    const char *name;
    decltype(&zylZoom) run;
    void (*reference)(TestImage &src, TestImage &dst, const Factors &factors);
    std::function<Factors(Random &random)> factors;
};

Factors zoomFactors(Random &random) {
    auto factor = [&](int &upper, int &lower) {
        lower = random.of({1, 1, 2, 3, 5, 7, 100, 32767});
        upper = random.of({lower, lower + 1, 2 * lower, 3 * lower, 5 * lower / 2 + 1, 32767});
        if (upper < lower) std::swap(upper, lower);
    };
    Factors f;
    factor(f.xU, f.xL);
    factor(f.yU, f.yL);
    f.interpolate = random(0, 2);
    return f;
}

Factors decimateFactors(Random &random) {
    Factors f = zoomFactors(random);
    std::swap(f.xU, f.xL);
    std::swap(f.yU, f.yL);
    return f;
}

const Resampling RESAMPLINGS[] = {{"zoom", zylZoom, zoomReference, zoomFactors},
                                  {"decimate", zylDecimate, decimateReference, decimateFactors}};

TEST(Resample, RandomCallsMatchTheReference) {
    const Reports reports;
    for (const Resampling &resampling : RESAMPLINGS) {
        for (unsigned seed = 1; seed <= 1500; ++seed) {
            Random random(seed);
            const Factors f = resampling.factors(random);
            SCOPED_TRACE(resampling.name + describe(f, seed));
            const auto depth = random.of({ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U});
            const int order = random(0, 1);
            TestImage src(randomShape(random, depth, order, random.of({3, 12, 45})));
            TestImage dst(randomShape(random, depth, order, random.of({12, 45, 70})));
            src.randomise(seed);
            dst.randomise(seed + 1);
            randomRegion(random, src, random(0, src.shape().channels));
            randomRegion(random, dst, random(0, dst.shape().channels));
            randomTiles(random, src);
            randomTiles(random, dst);
            TestImage expected(dst);
            resampling.reference(src, expected, f);
            resampling.run(src, dst, f.xU, f.xL, f.yU, f.yL, f.interpolate, nullptr);
            ASSERT_EQ(support::difference(expected, dst), "");
            ASSERT_TRUE(dst.guardsIntact() && src.guardsIntact());
            ASSERT_EQ(src.breaches() + dst.breaches(), "");
            ASSERT_EQ(src.tilesHeld() + dst.tilesHeld(), 0);
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// Rows of several strips, by factors of all arithmetics of linear zoom.
TEST(Resample, WideImagesMatchTheReference) {
    const Reports reports;
    for (const auto depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (int interpolate : {ZYL_INTER_LINEAR, ZYL_INTER_CUBIC}) {
            for (const bool fine : {false, true}) {
                const Factors up = {fine ? 7 : 2, fine ? 5 : 1, 4, 3, interpolate};
                const Factors down = {up.xL, up.xU, up.yL, up.yU, interpolate};
                TestImage src({.depth = depth, .channels = 3, .width = 2100, .height = 6});
                src.randomise(depth);
                for (const Resampling &resampling : RESAMPLINGS) {
                    const Factors &f = resampling.run == zylZoom ? up : down;
                    SCOPED_TRACE(resampling.name + describe(f, depth));
                    TestImage dst({.depth = depth, .channels = 3, .width = 4300, .height = 8});
                    TestImage expected(dst);
                    resampling.reference(src, expected, f);
                    resampling.run(src, dst, f.xU, f.xL, f.yU, f.yL, f.interpolate, nullptr);
                    ASSERT_EQ(support::difference(expected, dst), "");
                    ASSERT_TRUE(dst.guardsIntact() && src.guardsIntact());
                }
            }
        }
    }
}

// A pixel becomes many, or many become one; or one more or less of 256.
TEST(Resample, ExtremeFactorsMatchTheReference) {
    const Reports reports;
    // Of x and of y; 16-bit samples of the last one are too fine for single precision.
    constexpr std::int32_t RATIOS[][4] = {
        {256, 1, 3, 2}, {257, 256, 3, 2}, {70000, 3, 3, 2}, {128, 3, 32, 1}};
    for (const auto &[large, small, high, low] : RATIOS) {
        for (const auto depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            for (int interpolate : {ZYL_INTER_NN, ZYL_INTER_LINEAR, ZYL_INTER_CUBIC}) {
                for (const bool tiled : {false, true}) {
                    const Factors up = {large, small, high, low, interpolate};
                    const Factors down = {small, large, low, high, interpolate};
                    TestImage few({.depth = depth, .width = 45, .height = 7});
                    TestImage many({.depth = depth, .width = 1300, .height = 10});
                    few.randomise(depth);
                    many.randomise(depth);
                    if (tiled) few.tiles(8, 8), many.tiles(512, 8);
                    TestImage fewAfter(few), manyAfter(many);
                    TestImage expectedMany(many), expectedFew(few);
                    zoomReference(few, expectedMany, up);
                    decimateReference(many, expectedFew, down);
                    SCOPED_TRACE(describe(up, depth) + (tiled ? ", tiled" : ""));
                    zylZoom(few, manyAfter, large, small, high, low, interpolate, nullptr);
                    zylDecimate(many, fewAfter, small, large, low, high, interpolate, nullptr);
                    ASSERT_EQ(support::difference(expectedMany, manyAfter), "");
                    ASSERT_EQ(support::difference(expectedFew, fewAfter), "");
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// --- worked cases ---

// A row of 8-bit or other samples, repeated in `height` rows.
TestImage rowImage(const std::vector<std::int64_t> &row, int height,
                   std::uint32_t depth = ZYL_DEPTH_8U) {
    TestImage image({.depth = depth, .width = static_cast<int>(row.size()), .height = height});
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < image.shape().width; ++x) {
            image.set(x, y, 1, row[static_cast<std::size_t>(x)]);
        }
    }
    return image;
}

std::vector<std::int64_t> firstRow(const TestImage &image) {
    std::vector<std::int64_t> row;
    for (int x = 0; x < image.shape().width; ++x) row.push_back(image.at(x, 0));
    return row;
}

using Row = std::vector<std::int64_t>;

Row zoomedRow(const Row &row, int height, int width, int xU, int xL, int interpolate) {
    TestImage src = rowImage(row, height),
              dst = rowImage(Row(static_cast<std::size_t>(width), 9), height);
    zylZoom(src, dst, xU, xL, 1, 1, interpolate, nullptr);
    return firstRow(dst);
}

TEST(Zoom, WorkedRows) {
    // A step of 1/3 is 5461 of 16384, a little less than a third.
    EXPECT_EQ(zoomedRow({7, 8}, 1, 6, 3, 1, ZYL_INTER_NN), (Row{7, 7, 7, 7, 8, 8}));
    EXPECT_EQ(zoomedRow({7, 8}, 1, 4, 2, 1, ZYL_INTER_NN), (Row{7, 7, 8, 8}));
    EXPECT_EQ(zoomedRow({7, 8, 9}, 1, 3, 1, 1, ZYL_INTER_NN), (Row{7, 8, 9}));
    EXPECT_EQ(zoomedRow({0, 100}, 2, 4, 2, 1, ZYL_INTER_LINEAR), (Row{0, 50, 100, 150}));
    // What goes on past the last pixel is saturated.
    EXPECT_EQ(zoomedRow({0, 200}, 2, 4, 2, 1, ZYL_INTER_LINEAR), (Row{0, 100, 200, 255}));
    EXPECT_EQ(zoomedRow({200, 0}, 2, 4, 2, 1, ZYL_INTER_LINEAR), (Row{200, 100, 0, 0}));
    // Columns behind the source are left alone.
    EXPECT_EQ(zoomedRow({0, 100}, 2, 6, 2, 1, ZYL_INTER_LINEAR), (Row{0, 50, 100, 150, 9, 9}));
    // The cubic through 0, 1, 8, 27 and at 64 is x^3.
    EXPECT_EQ(zoomedRow({0, 1, 8, 27, 64}, 4, 10, 2, 1, ZYL_INTER_CUBIC),
              (Row{0, 0, 1, 3, 8, 15, 27, 42, 64, 91}));
    EXPECT_EQ(zoomedRow({0, 0, 255, 255}, 4, 4, 2, 1, ZYL_INTER_CUBIC), (Row{0, 0, 0, 127}));
    // Small images: cubic becomes linear, and everything nearest neighbour.
    EXPECT_EQ(zoomedRow({0, 100, 0}, 3, 4, 2, 1, ZYL_INTER_CUBIC), (Row{0, 50, 100, 50}));
    EXPECT_EQ(zoomedRow({5}, 4, 2, 2, 1, ZYL_INTER_CUBIC), (Row{5, 5}));
}

TEST(Zoom, NearestPositionsStartAnewInEveryTile) {
    TestImage src = rowImage({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}, 1);
    TestImage memory = rowImage(Row(27, 99), 1), tiled(memory);
    tiled.tiles(24, 8);
    zylZoom(src, memory, 3, 1, 1, 1, ZYL_INTER_NN, nullptr);
    zylZoom(src, tiled, 3, 1, 1, 1, ZYL_INTER_NN, nullptr);
    EXPECT_EQ(memory.at(24, 0), 7); // 24 * 5461 is 7.9995
    EXPECT_EQ(tiled.at(24, 0), 8);  // 24 / 3
    EXPECT_EQ(memory.at(23, 0), 7);
    EXPECT_EQ(tiled.at(23, 0), 7);

    // The same in place, where pixel 8 is the last one that any tile needs.
    Row wide(25, 99);
    for (int i = 0; i < 9; ++i) wide[static_cast<std::size_t>(i)] = i;
    TestImage same = rowImage(wide, 1);
    same.tiles(24, 8);
    zylZoom(same, same, 3, 1, 1, 1, ZYL_INTER_NN, nullptr);
    EXPECT_EQ(same.at(24, 0), 8);
}

TEST(Zoom, CubicReadsAroundTheRegionAndLinearDoesNot) {
    for (int interpolate : {ZYL_INTER_LINEAR, ZYL_INTER_CUBIC}) {
        TestImage src = rowImage({100, 10, 20, 10, 10, 100}, 4);
        TestImage dst = rowImage(Row(4, 0), 2);
        src.region(0, 1, 1, 2, 2);
        zylZoom(src, dst, 2, 1, 1, 1, interpolate, nullptr);
        // Half way from 20 to 10, which is outside the region: linear goes on upwards.
        EXPECT_EQ(dst.at(3, 0), interpolate == ZYL_INTER_LINEAR ? 25 : 15);
    }
}

Row decimatedRow(const Row &row, int width, int xU, int xL, int interpolate) {
    TestImage src = rowImage(row, 4), dst = rowImage(Row(static_cast<std::size_t>(width), 9), 4);
    zylDecimate(src, dst, xU, xL, 1, 1, interpolate, nullptr);
    return firstRow(dst);
}

TEST(Decimate, WorkedRows) {
    EXPECT_EQ(decimatedRow({10, 20, 30, 40, 50, 60}, 5, 2, 3, ZYL_INTER_NN),
              (Row{10, 20, 40, 50, 9}));
    EXPECT_EQ(decimatedRow({0, 100, 200, 50}, 2, 2, 3, ZYL_INTER_LINEAR), (Row{0, 150}));
    // Halves go up, and whole factors take pixels as they are.
    EXPECT_EQ(decimatedRow({0, 100, 101, 50}, 2, 2, 3, ZYL_INTER_LINEAR), (Row{0, 101}));
    EXPECT_EQ(decimatedRow({1, 2, 3, 4, 5, 6, 7}, 4, 1, 2, ZYL_INTER_LINEAR), (Row{1, 3, 5, 9}));
    // (-0 + 9 * 64 + 9 * 128 - 192) / 16 = 96
    EXPECT_EQ(decimatedRow({0, 64, 128, 192, 0, 0}, 2, 2, 3, ZYL_INTER_CUBIC), (Row{0, 96}));
    EXPECT_EQ(decimatedRow({0, 255, 255, 0, 0, 0}, 2, 2, 3, ZYL_INTER_CUBIC), (Row{0, 255}));
    // 3/4 is 341/256 and not 341.33: column 3 lies at 3.996.
    EXPECT_EQ(decimatedRow({0, 0, 0, 0, 200, 0, 0, 0}, 4, 3, 4, ZYL_INTER_NN), (Row{0, 0, 0, 0}));
    TestImage src = rowImage({5, 6, 7}, 3), dst = rowImage({0, 0}, 1);
    zylDecimate(src, dst, 2, 3, 2, 3, ZYL_INTER_CUBIC, nullptr);
    EXPECT_EQ(firstRow(dst), (Row{5, 6})) << "too small for a cubic";
}

// --- one tile, in place, extremes ---

TEST(Resample, AMappingProducesTheTileThatHoldsItsPoint) {
    const Reports reports;
    for (const bool zoom : {true, false}) {
        TestImage src({.width = 30, .height = 30});
        TestImage dst({.width = 40, .height = 40});
        src.randomise(1);
        dst.randomise(2).region(0, 12, 3, 28, 37).tiles(8, 8);
        auto run = [&](int x, int y) {
            TestImage part(dst);
            const ZylTileMapping point = {x, y};
            zoom ? zylZoom(src, part, 3, 2, 3, 2, ZYL_INTER_LINEAR, &point)
                 : zylDecimate(src, part, 2, 3, 2, 3, ZYL_INTER_LINEAR, &point);
            return part.tileCalls().size();
        };
        EXPECT_EQ(run(17, 9), 2u);
        EXPECT_EQ(run(13, 4), 2u);
        // In the tile of the region's corner, but not in the region.
        EXPECT_EQ(run(8, 0), zoom ? 2u : 0u);
        EXPECT_EQ(run(0, 20), 0u);
        EXPECT_EQ(run(-1, 20), 0u);
        EXPECT_EQ(run(1000000, 20), 0u);
    }
}

TEST(Resample, TheDestinationMayBeTheSource) {
    const Reports reports;
    for (const Resampling &resampling : RESAMPLINGS) {
        for (unsigned seed = 1; seed <= 60; ++seed) {
            Random random(seed);
            const Factors f = resampling.factors(random);
            SCOPED_TRACE(resampling.name + describe(f, seed));
            TestImage src(randomShape(random, ZYL_DEPTH_8U, random(0, 1), 40));
            src.randomise(seed);
            randomTiles(random, src);
            TestImage same(src), expected(src);
            resampling.reference(src, expected, f);
            resampling.run(same, same, f.xU, f.xL, f.yU, f.yL, f.interpolate, nullptr);
            ASSERT_EQ(support::difference(expected, same), "");
            ASSERT_EQ(same.breaches(), "");
        }
    }
}

TEST(Resample, ExtremeFactorsNeitherOverflowNorReadOutside) {
    const Reports reports;
    const int most = 2147483647;
    TestImage wide({.width = 70000, .height = 4}), line({.width = 70001, .height = 5});
    wide.randomise(1);
    for (int interpolate = 0; interpolate < 3; ++interpolate) {
        for (const auto &[upper, lower] :
             {std::pair{32767, 1}, {most, 1}, {most, most - 1}, {70001, 70000}, {1, 1}}) {
            SCOPED_TRACE(std::to_string(upper) + "/" + std::to_string(lower));
            const Factors up = {upper, lower, 3, 2, interpolate};
            const Factors down = {lower, upper, 2, 3, interpolate};
            TestImage expected(line);
            zoomReference(wide, expected, up);
            TestImage zoomed(line);
            zylZoom(wide, zoomed, upper, lower, 3, 2, interpolate, nullptr);
            EXPECT_EQ(support::difference(expected, zoomed), "");
            expected.fill(0);
            decimateReference(wide, expected, down);
            TestImage reduced(line);
            zylDecimate(wide, reduced, lower, upper, 2, 3, interpolate, nullptr);
            EXPECT_EQ(support::difference(expected, reduced), "");
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

} // namespace
