#include <gtest/gtest.h>

#include "tests/support/failing_calls.h"

using namespace support;

namespace {

constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S,
                                    ZYL_DEPTH_32S};

TEST(Threshold, EqualsTheReference) {
    const Reports reports;
    unsigned seed = 1;
    for (const std::uint32_t depth : DEPTHS) {
        for (const std::int64_t limit :
             {lowest(depth) - 1, lowest(depth), lowest(depth) + 1, std::int64_t{-1},
              std::int64_t{0}, std::int64_t{40}, highest(depth), highest(depth) + 1,
              std::int64_t{INT32_MIN}, std::int64_t{INT32_MAX}}) {
            if (limit < INT32_MIN || limit > INT32_MAX) continue;
            TestImage src({.depth = depth, .channels = 3, .width = 45, .height = 5});
            TestImage dst(src.shape());
            src.randomise(++seed);
            src.set(7, 2, 1, std::clamp(limit, lowest(depth), highest(depth)));
            zylThreshold(src, dst, static_cast<std::int32_t>(limit), nullptr);
            for (int c = 1; c <= 3; ++c) {
                for (int y = 0; y < 5; ++y) {
                    for (int x = 0; x < 45; ++x) {
                        ASSERT_EQ(dst.at(x, y, c),
                                  src.at(x, y, c) < limit ? lowest(depth) : highest(depth))
                            << depthName(depth) << ", limit " << limit << ", seed " << seed;
                    }
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(Threshold, WritesTheCommonBlockAndNoPadding) {
    const Reports reports;
    TestImage src({.width = 9, .height = 4});
    TestImage dst({.width = 5, .height = 7});
    src.fill(200);
    dst.fill(3);
    const auto before = dst.bytes();
    zylThreshold(src, dst, 100, nullptr);
    for (std::size_t i = 0; i < before.size(); ++i) {
        if (dst.bytes()[i] == before[i]) continue;
        EXPECT_EQ(dst.bytes()[i], 255);
    }
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 5; ++x) EXPECT_EQ(dst.at(x, y), y < 4 ? 255 : 3);
    }
    // Equal sizes: the padding stays.
    TestImage same({.width = 5, .height = 7});
    auto expected = same.fill(0).bytes();
    dst.fill(0);
    zylThreshold(dst, same, 1, nullptr);
    EXPECT_EQ(same.bytes(), expected);
}

TEST(Threshold, AChannelGoesIntoAnImageOfOneChannel) {
    const Reports reports;
    for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
        TestImage colour({.channels = 3, .width = 11, .height = 3, .order = order});
        TestImage gray({.width = 11, .height = 3, .order = order});
        colour.randomise(3).region(2, 0, 0, 11, 3);
        zylThreshold(colour, gray, 100, nullptr);
        for (int x = 0; x < 11; ++x) {
            EXPECT_EQ(gray.at(x, 1), colour.at(x, 1, 2) < 100 ? 0 : 255) << x;
        }
    }
}

TEST(Threshold, ReportsInOrder) {
    Reports reports;
    TestImage src({.width = 20, .height = 20});
    TestImage dst({.width = 20, .height = 20});
    FailingCalls calls("zylThreshold", "zylthres");
    calls.watch(dst);
    const auto expectReport = [&](ZylImage *from, ZylImage *to, const char *text,
                                  const std::int32_t *tile = nullptr) {
        calls.expect(text, [&] { zylThreshold(from, to, 10, tile); });
    };
    TestImage wide(
        {.depth = ZYL_DEPTH_16U, .width = 20, .height = 20, .order = ZYL_DATA_ORDER_PLANE});
    TestImage planar({.channels = 3, .width = 20, .height = 20, .order = ZYL_DATA_ORDER_PLANE});
    TestImage bits({.depth = ZYL_DEPTH_1U, .width = 20, .height = 20});
    TestImage colour({.channels = 3, .width = 20, .height = 20});
    expectReport(src, wide, "(srcImage->depth!=dstImage->depth)");
    expectReport(src, planar, "(srcImage->dataOrder!=dstImage->dataOrder)");
    expectReport(bits, bits, "(srcImage->depth==1)");
    expectReport(colour, dst, "The mismath of number channels");

    dst.region(0, INT32_MAX, 0, 2, 2);
    expectReport(colour, dst, "The fields of ROI has error");
    dst.region(0, 0, 30, 5, INT32_MAX);
    expectReport(colour, dst, "The fields of ROI has error");

    dst.noRegion().tiles(8, 8);
    dst.region(0, 8, 8, 8, 8);
    const std::int32_t tiles[][2] = {{3, 1}, {1, 3}, {-1, 1}, {1, -1}};
    const char *texts[] = {"(dTile.begX > dRoi.endX)", "(dTile.begY > dRoi.endY)",
                           "(dTile.endX < dRoi.begX)", "(dTile.endY < dRoi.begY)"};
    for (int i = 0; i < 4; ++i) expectReport(src, dst, texts[i], tiles[i]);

    dst.noRegion();
    expectReport(colour, dst, "The mismath of number channels");
    EXPECT_EQ(dst.tilesHeld(), 0);
    dst.clearTileCalls();
    zylThreshold(colour, dst, 1, nullptr);
    EXPECT_EQ(dst.tileCalls().size(), 2u) << "the first mismatch ends the call";

    dst.failTileRequest(1);
    expectReport(src, dst, "(dstImage->tileInfo->tileData == ((void*)(0)))");
    src.tiles(8, 8).keepTiles();
    expectReport(src, TestImage({.width = 20, .height = 20}),
                 "(srcImage->tileInfo->tileData != ((void*)(0)))");
}

} // namespace
