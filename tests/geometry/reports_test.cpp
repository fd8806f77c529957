// What the four operations report of their arguments. Zoom, decimation and rotation report
// every fault before they end.

#include <gtest/gtest.h>

#include "tests/support/failing_calls.h"

using namespace support;

namespace {

using Texts = FailingCalls::Texts;

struct Scale {
    std::int32_t xU, xL, yU, yL, interpolate;
};

// Factors that a scaling refuses, each with its texts.
struct RefusedScale {
    Texts texts;
    Scale scale;
};

Shape plainShape() {
    return {.channels = 3, .width = 9, .height = 9};
}

// Differs in all that two images can differ in.
TestImage otherImage() {
    return TestImage({.depth = ZYL_DEPTH_16U,
                      .channels = 3,
                      .width = 9,
                      .height = 9,
                      .order = ZYL_DATA_ORDER_PLANE,
                      .origin = ZYL_ORIGIN_BL});
}

constexpr const char *DEPTH = "srcImage->depth != dstImage->depth";
constexpr const char *ORDER = "srcImage->dataOrder != dstImage->dataOrder";
constexpr const char *ORIGIN = "srcImage->origin != dstImage->origin";

TEST(GeometryReports, Zoom) {
    TestImage src(plainShape()), dst(plainShape()), other = otherImage();
    const std::string interpolation = "interpolate != ZYL_INTER_NN && interpolate != "
                                      "ZYL_INTER_LINEAR && interpolate != ZYL_INTER_CUBIC";
    const std::string x = "xU <= 0 || xL <= 0", y = "yU <= 0 || yL <= 0",
                      less = "xU < xL || yU < yL";
    const RefusedScale refused[] = {
        {{interpolation}, {1, 1, 1, 1, 3}},
        {{interpolation}, {1, 1, 1, 1, -1}},
        {{x}, {0, 0, 1, 1, 0}},
        {{x}, {1, 0, 1, 1, 0}},
        {{x, less}, {-1, 1, 1, 1, 0}},
        {{y}, {1, 1, 0, 0, 0}},
        {{y}, {1, 1, 1, 0, 0}},
        {{y, less}, {1, 1, 0, 1, 0}},
        {{less}, {1, 2, 1, 1, 0}},
        {{less}, {1, 1, 1, 2, 0}},
        {{interpolation, x, y, less}, {-2, 0, -2, 0, 9}},
    };
    FailingCalls calls("zylZoom", "zylZoom");
    calls.watch(dst).watch(other);
    for (const auto &[texts, s] : refused) {
        calls.expect(texts, [&, f = s] {
            zylZoom(src, dst, f.xU, f.xL, f.yU, f.yL, f.interpolate, nullptr);
        });
    }
    calls.expect({interpolation, DEPTH, ORDER, x, less},
                 [&] { zylZoom(src, other, 0, 1, 1, 1, 5, nullptr); });
    // Depths that are not zoomed are left alone.
    TestImage deep({.depth = ZYL_DEPTH_16S, .width = 9, .height = 9}), result(deep);
    deep.fill(1);
    calls.watch(result).expect(Texts{}, [&] { zylZoom(deep, result, 1, 1, 1, 1, 0, nullptr); });
}

TEST(GeometryReports, Decimate) {
    TestImage src(plainShape()), dst(plainShape()), other = otherImage();
    const std::string interpolation =
        "interpolate != ZYL_INTER_NN, ZYL_INTER_LINEAR or ZYL_INTER_CUBIC";
    const RefusedScale refused[] = {
        {{interpolation}, {1, 1, 1, 1, 3}},
        {{interpolation}, {1, 1, 1, 1, -1}},
        {{"xU <= 0"}, {0, 1, 1, 1, 0}},
        {{"xU <= 0", "xL <= 0"}, {0, 0, 1, 1, 0}},
        {{"yU <= 0"}, {1, 1, 0, 1, 0}},
        {{"yU <= 0", "yL <= 0"}, {1, 1, 0, 0, 0}},
        {{"xU > xL"}, {2, 1, 1, 1, 0}},
        {{"yU > yL"}, {1, 1, 2, 1, 0}},
        {{"xL <= 0", "xU > xL"}, {1, 0, 1, 1, 0}},
        {{"yL <= 0", "yU > yL"}, {1, 1, 1, 0, 0}},
        {{interpolation, "xU <= 0", "xL <= 0", "yU <= 0", "yL <= 0", "xU > xL", "yU > yL"},
         {-1, -2, -1, -2, 9}},
    };
    FailingCalls calls("zylDecimate", "zyldecim");
    calls.watch(dst).watch(other);
    for (const auto &[texts, s] : refused) {
        calls.expect(texts, [&, f = s] {
            zylDecimate(src, dst, f.xU, f.xL, f.yU, f.yL, f.interpolate, nullptr);
        });
    }
    calls.expect({DEPTH, ORIGIN, ORDER, interpolation},
                 [&] { zylDecimate(src, other, 1, 1, 1, 1, 5, nullptr); });
    for (const std::uint32_t depth : {ZYL_DEPTH_8S, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        TestImage from({.depth = depth, .width = 9, .height = 9}), to(from);
        FailingCalls("zylDecimate", "zyldecim").watch(to).expect("srcImage->depth is wrong", [&] {
            zylDecimate(from, to, 1, 1, 1, 1, 0, nullptr);
        });
    }
}

TEST(GeometryReports, Rotate) {
    TestImage src(plainShape()), dst(plainShape()), other = otherImage();
    FailingCalls calls("zylRotate", "zylRotat");
    calls.watch(dst).watch(other);
    // Other origins are found twice, and end the call.
    calls.expect({DEPTH, ORDER, ORIGIN, ORIGIN},
                 [&] { zylRotate(src, other, 100, 0, 0, 1, nullptr); });
    for (const std::uint32_t depth : {ZYL_DEPTH_8S, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        TestImage from({.depth = depth, .channels = 3, .width = 9, .height = 9}), to(from);
        for (const int angle : {0, 4500}) {
            calls.expect("srcImage->depth & ZYL_DEPTH_SIGN",
                         [&] { zylRotate(from, to, angle, 0, 0, 1, nullptr); });
        }
        calls.expect({DEPTH, "srcImage->depth & ZYL_DEPTH_SIGN"},
                     [&] { zylRotate(from, dst, 100, 0, 0, 1, nullptr); });
    }
    // A copy that fails is traced back to the rotation.
    Reports reports;
    dst.tiles(8, 8).failTileRequest(1);
    zylRotate(src, dst, 36000, 0, 0, 1, nullptr);
    EXPECT_EQ(reports.all(),
              (std::vector<Report>{{ZYL_StsError, "zylCopy", "Error get tile to write", "zylSCE"},
                                   {ZYL_StsBackTrace, "zylRotate", "", "zylRotat"}}));
}

TEST(GeometryReports, Mirror) {
    TestImage src(plainShape()), dst(plainShape());
    src.region(0, 0, 0, 9, 9);
    dst.region(0, 0, 0, 9, 9);
    for (const int axis : {2, -2}) {
        std::int32_t flipAxis = 0;
        FailingCalls("zylMirror", "zylmirr")
            .watch(dst)
            .expectInOrder<ZylImage, std::int32_t>(
                {{"(srcImage->depth!=dstImage->depth)",
                  [](ZylImage &d, std::int32_t &) { d.depth = ZYL_DEPTH_8S; }},
                 {"(srcImage->nChannels!=dstImage->nChannels)",
                  [](ZylImage &d, std::int32_t &) { d.nChannels = 2; }},
                 {"((flipAxis>1)||(flipAxis<-1))",
                  [axis](ZylImage &, std::int32_t &f) { f = axis; }},
                 {"(coiSrc!=coiDst)", [](ZylImage &d, std::int32_t &) { d.roi->coi = 1; }}},
                [&] { zylMirror(src, dst, flipAxis); }, *dst.header(), flipAxis);
        dst.region(0, 0, 0, 9, 9);
    }
}

} // namespace
