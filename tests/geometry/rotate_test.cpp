// Rotation against a reference that computes one pixel at a time.

#include <gtest/gtest.h>
#include <numbers>

#include "tests/geometry/reference.h"

using namespace reference;
using support::Report;
using support::Reports;

namespace {

struct Turn {
    int angle, xShift, yShift, interpolate;
};

std::string describe(const Turn &turn, unsigned seed) {
    return "angle " + std::to_string(turn.angle) + " about (" + std::to_string(turn.xShift) + ", " +
           std::to_string(turn.yShift) + "), interpolation " + std::to_string(turn.interpolate) +
           ", seed " + std::to_string(seed);
}

std::int64_t nearest(double value) {
    return std::llrint(value + TOLERANCE);
}

double sampled(const std::function<double(std::int64_t, std::int64_t)> &at, double sx, double sy,
               int width, int height, int interpolate) {
    if (interpolate == ZYL_INTER_NN) {
        const std::int64_t x = nearest(sx), y = nearest(sy);
        if (sx < -0.5 - TOLERANCE || sy < -0.5 - TOLERANCE || x > width - 1 || y > height - 1) {
            return 0;
        }
        return at(x, y);
    }
    if (!(sx > -TOLERANCE && sx <= width - 1 && sy > -TOLERANCE && sy <= height - 1)) return 0;
    std::int64_t x = index(sx), y = index(sy);
    if (x == width - 1) --x;
    if (y == height - 1) --y;
    const double fx = sx - static_cast<double>(x), fy = sy - static_cast<double>(y);
    if (interpolate == ZYL_INTER_LINEAR) {
        const double a = at(x, y), b = at(x + 1, y), c = at(x, y + 1), d = at(x + 1, y + 1);
        const double top = a + (b - a) * fx, bottom = c + (d - c) * fx;
        return static_cast<double>(nearest(top + fy * (bottom - top)));
    }
    auto start = [](std::int64_t base, int size) {
        return base == 0 ? 0 : base < size - 2 ? base - 1 : std::int64_t{size} - 4;
    };
    const std::int64_t x0 = start(x, width), y0 = start(y, height);
    double rows[4];
    for (int r = 0; r < 4; ++r) {
        double p[4];
        for (int k = 0; k < 4; ++k) p[k] = at(x0 + k, y0 + r);
        rows[r] = cubic(p, sx - static_cast<double>(x0) - 1);
    }
    return static_cast<double>(nearest(cubic(rows, sy - static_cast<double>(y0) - 1)));
}

void rotateReference(TestImage &src, TestImage &dst, Turn turn) {
    const Part to(dst), from(src);
    if (from.channels != to.channels) return;
    const int w = src.shape().width, h = src.shape().height;
    int angle = (turn.angle % 36000 + 36000) % 36000;
    int interpolate = turn.interpolate == ZYL_INTER_NN || turn.interpolate == ZYL_INTER_LINEAR
                          ? turn.interpolate
                          : ZYL_INTER_CUBIC;
    if (std::min(w, h) < 4 && interpolate == ZYL_INTER_CUBIC) interpolate = ZYL_INTER_LINEAR;
    if (std::min(w, h) < 2 || src.shape().depth == ZYL_DEPTH_1U) interpolate = ZYL_INTER_NN;
    if (src.shape().origin == ZYL_ORIGIN_BL) {
        angle = 36000 - angle;
        turn.yShift = h - 1 - turn.yShift;
    }
    const ZylROI *roi = src.header()->roi;
    const int left = roi != nullptr ? roi->xOffset : 0, top = roi != nullptr ? roi->yOffset : 0;
    const int columns = std::min(to.width, roi != nullptr ? roi->width : w);
    const int rows = std::min(to.height, roi != nullptr ? roi->height : h);
    const double theta = angle * 0.01 * std::numbers::pi / 180;
    const bool exact = angle % 9000 == 0;
    const double c = exact ? std::round(std::cos(theta)) : std::cos(theta);
    const double s = exact ? std::round(std::sin(theta)) : std::sin(theta);
    const double xs = turn.xShift, ys = turn.yShift;
    for (int channel = 0; channel < to.channels; ++channel) {
        auto at = [&](std::int64_t x, std::int64_t y) {
            return static_cast<double>(
                src.at(static_cast<int>(x), static_cast<int>(y), from.firstChannel + channel));
        };
        for (int j = 0; j < rows; ++j) {
            for (int i = 0; i < columns; ++i) {
                const double x = left + i, y = top + j;
                const double sx = c * x - s * y + (xs - c * xs + s * ys);
                const double sy = s * x + c * y + (ys - s * xs - c * ys);
                const double value =
                    sampled(at, sx, sy, w, h, exact ? int{ZYL_INTER_NN} : interpolate);
                dst.set(to.x + i, to.y + j, to.firstChannel + channel,
                        saturate(value, dst.shape().depth));
            }
        }
    }
}

TEST(Rotate, RandomCallsMatchTheReference) {
    const Reports reports;
    for (unsigned seed = 1; seed <= 3000; ++seed) {
        Random random(seed);
        const auto depth = random.of({ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U});
        const int largest = random.of({3, 12, 45, 90});
        Shape shape = randomShape(random, depth, random(0, 1), largest);
        shape.origin = random(0, 1);
        TestImage src(shape);
        // Of every four calls one is a quarter turn, and one is about a far point.
        const int angle = random(0, 3) == 0 ? 9000 * random(-5, 5) : random(-80000, 80000);
        const int far = random(0, 3) == 0 ? 1000 : 0;
        const Turn turn = {angle, random(-far, shape.width + far), random(-far, shape.height + far),
                           random.of({0, 1, 2, 7})};
        SCOPED_TRACE(describe(turn, seed));
        shape.width = random(1, largest);
        shape.height = random(1, largest);
        TestImage dst(shape);
        const int coi = random(0, shape.channels);
        src.randomise(seed);
        dst.randomise(seed + 1);
        if (angle % 36000 == 0) continue; // a copy
        randomRegion(random, src, coi);
        randomRegion(random, dst, coi == 0 ? 0 : random(1, shape.channels));
        randomTiles(random, src);
        randomTiles(random, dst);
        TestImage expected(dst);
        rotateReference(src, expected, turn);
        zylRotate(src, dst, turn.angle, turn.xShift, turn.yShift, turn.interpolate, nullptr);
        ASSERT_EQ(support::difference(expected, dst), "");
        ASSERT_TRUE(dst.guardsIntact() && src.guardsIntact());
        ASSERT_EQ(src.breaches() + dst.breaches(), "");
        ASSERT_EQ(src.tilesHeld() + dst.tilesHeld(), 0);
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(Rotate, WorkedCases) {
    const Reports reports;
    TestImage src({.width = 3, .height = 2}), dst({.width = 3, .height = 2});
    src.assign({1, 2, 3, 4, 5, 6});
    auto turned = [&](int angle, int x, int y) {
        dst.fill(99);
        zylRotate(src, dst, angle, x, y, ZYL_INTER_CUBIC, nullptr);
        std::vector<std::int64_t> samples;
        for (int i = 0; i < 6; ++i) samples.push_back(dst.at(i % 3, i / 3));
        return samples;
    };
    using Samples = std::vector<std::int64_t>;
    EXPECT_EQ(turned(9000, 0, 0), (Samples{1, 4, 0, 0, 0, 0}));
    EXPECT_EQ(turned(27000, 0, 0), (Samples{1, 0, 0, 2, 0, 0}));
    EXPECT_EQ(turned(-9000, 0, 0), (Samples{1, 0, 0, 2, 0, 0}));
    EXPECT_EQ(turned(18000, 1, 0), (Samples{3, 2, 1, 0, 0, 0}));
    EXPECT_EQ(turned(9000, 1, 0), (Samples{0, 2, 5, 0, 1, 4}));
    for (int angle : {0, 36000, -36000, 72000}) {
        EXPECT_EQ(turned(angle, 1, 1), (Samples{1, 2, 3, 4, 5, 6}));
    }
    // Far away, and with products past 2^31.
    EXPECT_EQ(turned(9000, 2147483647, 2147483647), (Samples(6, 0)));
    EXPECT_EQ(turned(18000, -2147483647 - 1, 2147483647), (Samples(6, 0)));
    EXPECT_EQ(turned(1234, 2147483647, -2147483647), (Samples(6, 0)));
}

TEST(Rotate, HalfATurnAboutTheMiddleMirrorsBothAxes) {
    const Reports reports;
    for (int interpolate : {0, 1, 2}) {
        TestImage src({.channels = 3, .width = 19, .height = 7}), dst(src), mirrored(src);
        src.randomise(5);
        zylRotate(src, dst, 18000, 9, 3, interpolate, nullptr);
        zylMirror(src, mirrored, -1);
        EXPECT_EQ(support::difference(mirrored, dst), "");
    }
}

// The picture as it is on screen, the other way up in memory.
TestImage withOtherOrigin(const TestImage &image) {
    Shape shape = image.shape();
    shape.origin = ZYL_ORIGIN_BL - shape.origin;
    TestImage other(shape);
    for (int c = 1; c <= shape.channels; ++c) {
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.width; ++x) {
                other.set(x, y, c, image.at(x, shape.height - 1 - y, c));
            }
        }
    }
    return other;
}

TEST(Rotate, BottomLeftImagesTurnTheSameWayOnScreen) {
    const Reports reports;
    for (int angle : {9000, 18000, 27000, 3000, 12345}) {
        TestImage src({.width = 21, .height = 17}), dst(src);
        src.randomise(static_cast<unsigned>(angle));
        TestImage bottomSrc = withOtherOrigin(src), bottomDst(bottomSrc);
        zylRotate(src, dst, angle, 8, 5, ZYL_INTER_LINEAR, nullptr);
        zylRotate(bottomSrc, bottomDst, angle, 8, 5, ZYL_INTER_LINEAR, nullptr);
        // Mirrored positions are rounded differently in their last bits.
        EXPECT_EQ(support::difference(withOtherOrigin(bottomDst), dst), "");
        EXPECT_EQ(bottomSrc.header()->origin, ZYL_ORIGIN_BL);
        EXPECT_EQ(bottomDst.header()->origin, ZYL_ORIGIN_BL);
    }
}

// Half way between two columns, as far as a cosine of 60 degrees can say: halves go up.
TEST(Rotate, HalvesThatAreAHairTooSmallGoUp) {
    TestImage src({.width = 41, .height = 41});
    TestImage dst({.width = 41, .height = 41});
    for (int i = 0; i < 41 * 41; ++i) src.set(i % 41, i / 41, 1, i % 41 % 2);
    zylRotate(src, dst, 6000, 20, 20, ZYL_INTER_LINEAR, nullptr);
    for (int x = 1; x < 41; x += 2) EXPECT_EQ(dst.at(x, 20), 1) << x;
}

} // namespace
