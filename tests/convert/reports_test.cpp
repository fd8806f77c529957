#include <algorithm>
#include <gtest/gtest.h>

#include "tests/support/failing_calls.h"

using namespace support;

namespace {

using Headers = std::vector<Fault<ZylImage, ZylImage>>;

// Faults of the two headers, in the order of their checks.
void expectReports(const char *function, const char *file, TestImage &src, TestImage &dst,
                   const Headers &faults, const std::function<void()> &call) {
    FailingCalls(function, file)
        .watch(dst)
        .expectInOrder(faults, call, *src.header(), *dst.header());
}

Shape shapeOf(std::uint32_t depth, int channels, int width = 12, int height = 7) {
    return {.depth = depth, .channels = channels, .width = width, .height = height};
}

TEST(ConvertReports, Convert) {
    std::int32_t mode = 1;
    TestImage src(shapeOf(ZYL_DEPTH_16U, 3));
    TestImage dst(shapeOf(ZYL_DEPTH_8U, 3));
    const Fault<ZylImage, ZylImage> sizes[] = {
        {"(srcImage->height != dstImage->height)", [](ZylImage &, ZylImage &d) { d.height = 6; }},
        {"(srcImage->width != dstImage->width)", [](ZylImage &s, ZylImage &) { s.width = 11; }}};
    const auto call = [&] { zylConvert(src, dst, mode, nullptr); };
    expectReports(
        "zylConvert", "zylcvrt", src, dst,
        {sizes[0],
         sizes[1],
         {"srcImage->nChannels != dstImage->nChannels",
          [](ZylImage &s, ZylImage &) { s.nChannels = 2; }},
         {"((ConvertMode != 1) && (ConvertMode != 0))", [&](ZylImage &, ZylImage &) { mode = 2; }}},
        call);

    TestImage bits(shapeOf(ZYL_DEPTH_1U, 1));
    expectReports("zylConvert", "zylcvrt", bits, dst,
                  {{"srcImage->nChannels != dstImage->nChannels",
                    [](ZylImage &, ZylImage &d) { d.nChannels = 3; }},
                   {"((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))",
                    [](ZylImage &, ZylImage &d) { d.nChannels = 1; }}},
                  [&] { zylConvert(bits, dst, 1, nullptr); });

    TestImage whole(src);
    src.region(0, 0, 0, 12, 7);
    expectReports("zylConvert", "zylcvrt", whole, bits,
                  {sizes[0],
                   sizes[1],
                   {"((srcImage->nChannels > 1) && (srcImage->roi == 0))",
                    [](ZylImage &s, ZylImage &) { s.roi = nullptr; }},
                   {"((srcImage->nChannels > 1) && (srcImage->roi->coi <= 0))",
                    [&](ZylImage &s, ZylImage &) { s.roi = src.header()->roi; }}},
                  [&] { zylConvert(whole, bits, 7, nullptr); });
}

TEST(ConvertReports, BitonalToGray) {
    std::int32_t zero = 0;
    std::int32_t one = 255;
    TestImage src(shapeOf(ZYL_DEPTH_1U, 1));
    TestImage dst(shapeOf(ZYL_DEPTH_8U, 1));
    const auto call = [&] { zylBitonalToGray(src, dst, zero, one, nullptr); };
    const auto values = [&](std::int32_t z, std::int32_t o) {
        return [&zero, &one, z, o](ZylImage &, ZylImage &) {
            zero = z;
            one = o;
        };
    };
    expectReports(
        "zylBitonalToGray", "zylbitnl", src, dst,
        {{"(srcImage->height != dstImage->height)", [](ZylImage &, ZylImage &d) { d.height = 6; }},
         {"(srcImage->width != dstImage->width)", [](ZylImage &, ZylImage &d) { d.width = 9; }},
         {"(srcImage->depth != 1)", [](ZylImage &s, ZylImage &) { s.depth = ZYL_DEPTH_8U; }},
         {"(dstImage->depth == 1)", [](ZylImage &, ZylImage &d) { d.depth = ZYL_DEPTH_1U; }},
         {"((dstImage->depth == 8) && (ZeroScale > 255))", values(256, -1)},
         {"((dstImage->depth == 8) && (ZeroScale < 0))", values(-1, 256)},
         {"((dstImage->depth == 8) && (OneScale > 255))", values(0, 256)},
         {"((dstImage->depth == 8) && (OneScale < 0))", values(255, -1)}},
        call);
    TestImage colour(shapeOf(ZYL_DEPTH_8U, 3));
    expectReports("zylBitonalToGray", "zylbitnl", colour, dst,
                  {{"(srcImage->nChannels != 1)", [](ZylImage &, ZylImage &) {}}},
                  [&] { zylBitonalToGray(colour, dst, 0, 1, nullptr); });

    struct Range {
        std::uint32_t depth;
        const char *text;
        std::int32_t zero, one;
    };
    for (const Range &range : {
             Range{ZYL_DEPTH_8S, "((dstImage->depth == (0x80000000| 8)) && (ZeroScale > 127))", 128,
                   0},
             Range{ZYL_DEPTH_8S, "((dstImage->depth == (0x80000000| 8)) && (OneScale < -128))",
                   -128, -129},
             Range{ZYL_DEPTH_16S, "((dstImage->depth == (0x80000000|16)) && (ZeroScale < -32768))",
                   -32769, 0},
             Range{ZYL_DEPTH_16S, "((dstImage->depth == (0x80000000|16)) && (OneScale > 32767))",
                   32767, 32768},
             Range{ZYL_DEPTH_16U, "((dstImage->depth == 16) && (ZeroScale > 65535))", 65536, 0},
             Range{ZYL_DEPTH_16U, "((dstImage->depth == 16) && (OneScale < 0))", 65535, -1},
         }) {
        TestImage deep(shapeOf(range.depth, 1));
        expectReports("zylBitonalToGray", "zylbitnl", src, deep,
                      {{range.text, [](ZylImage &, ZylImage &) {}}},
                      [&] { zylBitonalToGray(src, deep, range.zero, range.one, nullptr); });
    }
}

TEST(ConvertReports, ColourTwist) {
    std::int32_t data[16] = {1};
    ZylColorTwist record = {{7}, 3};
    const ZylColorTwist before = record;
    const auto set = [](ZylColorTwist *twist, const std::int32_t *values, std::int32_t scale) {
        const Reports reports;
        zylSetColorTwist(twist, values, scale);
        return reports.all();
    };
    const auto refused = [](const char *function, const char *text) {
        return std::vector<Report>{{ZYL_StsBadArg, function, text, "zyltwist"}};
    };
    EXPECT_EQ(set(nullptr, nullptr, 32), refused("zylSetColorTwist", "cTwist==0"));
    EXPECT_EQ(set(&record, nullptr, -1), refused("zylSetColorTwist", "(data == 0)"));
    EXPECT_EQ(set(&record, data, -1), refused("zylSetColorTwist", "(scalingValue < 0)"));
    EXPECT_EQ(set(&record, data, 32), refused("zylSetColorTwist", "(scalingValue > 31)"));
    EXPECT_EQ(record.data[0], before.data[0]);
    EXPECT_EQ(record.scalingValue, 3);
    EXPECT_TRUE(set(&record, data, 31).empty());
    EXPECT_EQ(record.scalingValue, 31);
    for (const std::int32_t scale : {-1, 32}) {
        const Reports reports;
        EXPECT_EQ(zylCreateColorTwist(data, scale), nullptr);
        EXPECT_EQ(reports.all(), refused("zylCreateColorTwist", "bad_argument"));
    }

    {
        const Reports reports;
        const AllocationFault fault(1);
        EXPECT_EQ(zylCreateColorTwist(data, 3), nullptr);
        EXPECT_EQ(reports.all(), (std::vector<Report>{{ZYL_StsNoMem, "zylCreateColorTwist",
                                                       "out_of_memory", "zyltwist"}}));
    }

    ZylColorTwist *created = zylCreateColorTwist(data, 5);
    ASSERT_NE(created, nullptr);
    EXPECT_TRUE(std::equal(data, data + 16, created->data));
    EXPECT_EQ(created->scalingValue, 5);
    zylDeleteColorTwist(created);
    zylDeleteColorTwist(nullptr);

    const ZylColorTwist *twist = &record;
    TestImage src(shapeOf(ZYL_DEPTH_8U, 4));
    TestImage dst(shapeOf(ZYL_DEPTH_8U, 4));
    expectReports(
        "zylApplyColorTwist", "zyltwist", src, dst,
        {{"cTwist==0", [&](ZylImage &, ZylImage &) { twist = nullptr; }},
         {"(srcImage->nChannels < 3)",
          [](ZylImage &s, ZylImage &) { s.nChannels = s.alphaChannel = 2; }},
         {"((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))",
          [](ZylImage &s, ZylImage &) { s.nChannels = 3; }},
         {"((srcImage->alphaChannel != 0) && (srcImage->alphaChannel < srcImage->nChannels))",
          [](ZylImage &s, ZylImage &) { s.alphaChannel = 2; }},
         {"(dstImage->nChannels < 3)",
          [](ZylImage &, ZylImage &d) { d.nChannels = d.alphaChannel = 1; }},
         {"((dstImage->alphaChannel != 0) && (dstImage->nChannels < 4))",
          [](ZylImage &, ZylImage &d) { d.nChannels = 3; }},
         {"((dstImage->alphaChannel != 0) && (dstImage->alphaChannel < dstImage->nChannels))",
          [](ZylImage &, ZylImage &d) { d.alphaChannel = 3; }},
         {"(srcImage->depth != dstImage->depth)",
          [](ZylImage &, ZylImage &d) { d.depth = ZYL_DEPTH_16U; }},
         {"((srcImage->depth != 8) && (srcImage->depth != 16))",
          [](ZylImage &s, ZylImage &d) { s.depth = d.depth = ZYL_DEPTH_8S; }},
         {"(srcImage->dataOrder != dstImage->dataOrder)",
          [](ZylImage &s, ZylImage &) { s.dataOrder = ZYL_DATA_ORDER_PLANE; }},
         {"(srcImage->origin != dstImage->origin)",
          [](ZylImage &, ZylImage &d) { d.origin = ZYL_ORIGIN_BL; }}},
        [&] { zylApplyColorTwist(src, dst, twist, 0, nullptr); });

    dst.tiles(8, 8).region(0, 1, 1, 3, 3);
    for (const auto &[at, text] :
         {std::pair{ZylTileMapping{8, 0},
                    "(((Mapping->xDst - Mapping->xDst % width_tile_d + width_tile_d) <= "
                    "coord_X_dst) || ((Mapping->xDst - Mapping->xDst % width_tile_d) >= max_X))"},
          std::pair{
              ZylTileMapping{7, 8},
              "(((Mapping->yDst - Mapping->yDst % height_tile_d + height_tile_d) <= "
              "coord_Y_dst) || ((Mapping->yDst - Mapping->yDst % height_tile_d) >= max_Y))"}}) {
        expectReports("zylApplyColorTwist", "zyltwist", src, dst,
                      {{text, [](ZylImage &, ZylImage &) {}}},
                      [&, place = at] { zylApplyColorTwist(src, dst, &record, 0, &place); });
    }
}

TEST(ConvertReports, ColourModels) {
    struct Model {
        const char *name, *from, *to;
        void (*call)(ZylImage *, ZylImage *, const std::int32_t *);
        const char *kernel;
    };
    for (const Model &model :
         {Model{"zylRGB2HSV", "RGB ", "HSV ", zylRGB2HSV, "ownRGB2HSV"},
          Model{"zylHSV2RGB", "HSV ", "RGB ", zylHSV2RGB, "ownRGB2HSV"},
          Model{"zylRGB2HLS", "RGB ", "HLS ", zylRGB2HLS, "ownRGB2HSV"},
          Model{"zylHLS2RGB", "HLS ", "RGB ", zylHLS2RGB, "ownRGB2HLS"},
          Model{"zylColorToGray", "RGB ", "GRAY", zylColorToGray, "ownColorToGray"},
          Model{"zylGrayToColor", "GRAY", "RGB ",
                [](ZylImage *src, ZylImage *dst, const std::int32_t *tile) {
                    zylGrayToColor(src, dst, 0, 0, 0, tile);
                },
                "ownGrayToColor"}}) {
        const bool toGray = model.to[0] == 'G';
        const bool fromGray = model.from[0] == 'G';
        Shape from = shapeOf(ZYL_DEPTH_8U, fromGray ? 1 : 3);
        from.model = from.sequence = model.from;
        Shape to = shapeOf(ZYL_DEPTH_8U, toGray ? 1 : 3);
        if (fromGray) to.model = to.sequence = model.to;
        TestImage src(from);
        TestImage dst(to);
        const auto call = [&] { model.call(src, dst, nullptr); };
        // One fault at a time: the text is the same for all.
        std::vector<std::function<void(ZylImage &, ZylImage &)>> puts = {
            [=](ZylImage &s, ZylImage &d) { (fromGray ? d : s).colorModel[0] = 'X'; },
            [](ZylImage &s, ZylImage &) { s.nChannels = 2; },
            [](ZylImage &, ZylImage &d) { d.origin = ZYL_ORIGIN_BL; },
        };
        if (!toGray) {
            puts.emplace_back([](ZylImage &, ZylImage &d) { d.nChannels = 2; });
            puts.emplace_back([](ZylImage &, ZylImage &d) { d.depth = ZYL_DEPTH_8S; });
        }
        if (!toGray && !fromGray) {
            puts.emplace_back([](ZylImage &, ZylImage &d) { d.dataOrder = ZYL_DATA_ORDER_PLANE; });
        }
        for (const auto &put : puts) {
            expectReports(model.name, "zylcolor", src, dst, {{"incomatibleimages", put}}, call);
        }
        expectReports(
            model.kernel, "owncolor", src, dst,
            {{"errInOutDepth", [](ZylImage &s, ZylImage &d) { s.depth = d.depth = ZYL_DEPTH_8S; }}},
            call);
    }
}

// Rows change places when the origins differ, in memory and through tiles.
TEST(ConvertDepth, KeepsThePictureUpright) {
    for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_16S}) {
        for (const bool tiled : {false, true}) {
            TestImage src(shapeOf(depth, 1, 21, 19));
            src.randomise(depth);
            Shape shape = shapeOf(depth == ZYL_DEPTH_1U ? depth : ZYL_DEPTH_32S, 1, 21, 19);
            shape.origin = ZYL_ORIGIN_BL;
            TestImage dst(shape);
            shape.depth = ZYL_DEPTH_8U;
            TestImage gray(shape);
            if (tiled) {
                src.tiles(16, 8);
                dst.tiles(8, 16);
                gray.tiles(8, 8);
            }
            zylConvert(src, dst, 0, nullptr);
            if (depth == ZYL_DEPTH_1U) zylBitonalToGray(src, gray, 0, 1, nullptr);
            if (tiled) {
                TestImage part(dst);
                part.fill(0);
                const ZylTileMapping point = {9, 17};
                zylConvert(src, part, 0, &point);
                EXPECT_EQ(part.at(9, 17), dst.at(9, 17));
                EXPECT_EQ(part.at(15, 16), dst.at(15, 16));
                EXPECT_EQ(part.at(16, 17), 0);
                EXPECT_EQ(part.at(9, 15), 0);
            }
            for (int i = 0; i < 21 * 19; ++i) {
                const int x = i % 21;
                const int y = i / 21;
                ASSERT_EQ(dst.at(x, 18 - y), src.at(x, y)) << describe(src.shape());
                if (depth != ZYL_DEPTH_1U) continue;
                ASSERT_EQ(gray.at(x, 18 - y), src.at(x, y));
            }
        }
    }
}

// Of several channels, bits come from the channel of interest.
TEST(ConvertDepth, OneChannelOfManyBecomesBits) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const bool tiled : {false, true}) {
                Shape shape = shapeOf(depth, 3, 333, 9);
                shape.order = order;
                TestImage src(shape);
                src.randomise(depth).region(2, 7, 1, 3, 3);
                TestImage dst(shapeOf(ZYL_DEPTH_1U, 1, 333, 9));
                if (tiled) src.tiles(64, 8), dst.tiles(104, 8);
                zylConvert(src, dst, 0, nullptr);
                for (int i = 0; i < 333 * 9; ++i) {
                    const int x = i % 333;
                    const int y = i / 333;
                    ASSERT_EQ(dst.at(x, y), src.at(x, y, 2) > 0)
                        << describe(shape) << " (" << x << ", " << y << ")";
                }
            }
        }
    }
}

// Tiles of three columns in three rows: which of them are made when one is not delivered.
TEST(ColourTiles, OneThatIsMissingEndsItsRowAndTheFirstOfARowTheCall) {
    struct {
        int request; // of the tiles from the top left on; those after a missing one move up
        const char *made;
    } const cases[] = {{1, "---------"}, {2, "x--xxxxxx"}, {3, "xx-xxxxxx"}, {4, "xxx------"},
                       {6, "xxxxx-xxx"}, {7, "xxxxxx---"}, {9, "xxxxxxxx-"}};
    for (const auto &c : cases) {
        const Reports reports;
        Shape shape = shapeOf(ZYL_DEPTH_8U, 3, 48, 24);
        shape.model = shape.sequence = "RGB ";
        TestImage src(shape);
        TestImage dst(shape);
        src.fill(200);
        dst.fill(7).tiles(16, 8).failTileRequest(c.request);
        zylRGB2HSV(src, dst, nullptr);
        std::string made;
        for (int i = 0; i < 9; ++i) made += dst.at(i % 3 * 16, i / 3 * 8, 3) == 200 ? 'x' : '-';
        EXPECT_EQ(made, c.made) << "request " << c.request;
        EXPECT_TRUE(reports.all().empty());
    }
}

} // namespace
