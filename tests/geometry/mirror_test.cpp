// Mirroring against a reference, in every layout and in place.

#include <gtest/gtest.h>

#include "tests/geometry/reference.h"

using namespace reference;
using support::Report;
using support::Reports;

namespace {

void mirrorReference(TestImage &src, TestImage &dst, int flipAxis) {
    const TestImage source(src);
    const Part from(src), to(dst);
    const int width = std::min(from.width, to.width), height = std::min(from.height, to.height);
    for (int c = 0; c < to.channels; ++c) {
        for (int j = 0; j < height; ++j) {
            for (int i = 0; i < width; ++i) {
                const int x = flipAxis != 0 ? width - 1 - i : i;
                const int y = flipAxis != 1 ? height - 1 - j : j;
                dst.set(to.x + i, to.y + j, to.firstChannel + c,
                        source.at(from.x + x, from.y + y, from.firstChannel + c));
            }
        }
    }
}

TEST(Mirror, RandomCallsMatchTheReference) {
    const Reports reports;
    for (unsigned seed = 1; seed <= 4000; ++seed) {
        Random random(seed);
        const int flipAxis = random(-1, 1);
        SCOPED_TRACE("axis " + std::to_string(flipAxis) + ", seed " + std::to_string(seed));
        const auto depth = random.of({ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U,
                                      ZYL_DEPTH_16S, ZYL_DEPTH_32S});
        const int largest = random.of({5, 40, 90});
        Shape shape = randomShape(random, depth, random(0, 1), largest);
        const int coi = random(0, shape.channels);
        TestImage src(shape);
        shape.width = random(1, largest);
        shape.height = random(1, largest);
        shape.order = random(0, 1);
        TestImage dst(shape);
        src.randomise(seed);
        dst.randomise(seed + 1);
        randomRegion(random, src, coi);
        randomRegion(random, dst, coi);
        randomTiles(random, src);
        randomTiles(random, dst);
        TestImage &target = random(0, 2) == 0 ? src : dst; // in place, or not
        TestImage expected(target);
        mirrorReference(src, expected, flipAxis);
        zylMirror(src, target, flipAxis);
        ASSERT_EQ(support::difference(expected, target), "");
        ASSERT_EQ(src.breaches() + dst.breaches(), "");
        ASSERT_EQ(src.tilesHeld() + dst.tilesHeld(), 0);
        ASSERT_TRUE(src.guardsIntact() && dst.guardsIntact());
    }
    EXPECT_TRUE(reports.all().empty());
}

// Rows of several vectors, and of whole bytes of bits.
TEST(Mirror, WideImagesMatchTheReference) {
    const Reports reports;
    for (const auto depth : support::ALL_DEPTHS) {
        for (const int width : {256, 328, 1032}) {
            for (const int flipAxis : {0, 1, -1}) {
                TestImage src({.depth = depth, .width = width, .height = 3}), dst(src);
                src.randomise(static_cast<unsigned>(width));
                TestImage expected(dst);
                mirrorReference(src, expected, flipAxis);
                zylMirror(src, dst, flipAxis);
                ASSERT_EQ(support::difference(expected, dst), "");
                ASSERT_TRUE(src.guardsIntact() && dst.guardsIntact());
            }
        }
    }
}

TEST(Mirror, WorkedCases) {
    TestImage image({.width = 2, .height = 3});
    image.assign({1, 2, 3, 4, 5, 6});
    zylMirror(image, image, 0);
    EXPECT_EQ(support::difference(TestImage(image.shape()).assign({5, 6, 3, 4, 1, 2}), image), "");
    zylMirror(image, image, 1);
    EXPECT_EQ(support::difference(TestImage(image.shape()).assign({6, 5, 4, 3, 2, 1}), image), "");
    zylMirror(image, image, -1);
    EXPECT_EQ(support::difference(TestImage(image.shape()).assign({1, 2, 3, 4, 5, 6}), image), "");

    // The six bits behind a row of ten keep their values.
    TestImage bits({.depth = ZYL_DEPTH_1U, .width = 10, .height = 1});
    TestImage turned(bits);
    bits.assign({1, 1, 0, 0, 0, 0, 0, 0, 1, 0});
    turned.header()->imageData[1] = 0x2A;
    zylMirror(bits, turned, 1);
    EXPECT_EQ(turned.header()->imageData[0], 0x40);
    EXPECT_EQ(turned.header()->imageData[1], 0xEA);
}

} // namespace
