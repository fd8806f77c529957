#include <algorithm>
#include <gtest/gtest.h>

#include "core/image.h"
#include "tests/filter/reference.h"
#include "tests/support/failing_calls.h"
#include "tests/support/laws.h"

using namespace support;
using namespace filters;

namespace {

constexpr int MODES[] = {ZYL_BORDER_CONSTANT, ZYL_BORDER_REPLICATE, ZYL_BORDER_REFLECT,
                         ZYL_BORDER_WRAP};

// A different border on every side.
void setBorders(TestImage &image, unsigned seed) {
    for (unsigned side = 0; side < 4; ++side) {
        zylSetBorderMode(image, MODES[(seed >> (2 * side)) % 4], 1 << side,
                         static_cast<int>(seed * 7919 % 300) - 100);
    }
}

// Destinations that a convolution of the depth may have; others keep the depth.
std::vector<std::uint32_t> destinationsOf(const Case &c, std::uint32_t depth) {
    if (c.reportedName != "zylConvolve2D") return {depth};
    switch (depth) {
    case ZYL_DEPTH_1U:
        return {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_8S};
    case ZYL_DEPTH_8U:
        return {ZYL_DEPTH_8U, ZYL_DEPTH_8S};
    case ZYL_DEPTH_8S:
        return {ZYL_DEPTH_8S};
    case ZYL_DEPTH_16U:
        return {ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};
    case ZYL_DEPTH_16S:
        return {ZYL_DEPTH_16S, ZYL_DEPTH_32S};
    default:
        return {ZYL_DEPTH_32S};
    }
}

class Filter : public testing::TestWithParam<Case> {};

std::string caseName(const testing::TestParamInfo<Case> &info) {
    return info.param.name;
}

// Regions inside, past the edge, and with channels of interest that differ.
void setRegions(TestImage &source, TestImage &destination, int which) {
    if (which == 1) {
        source.region(0, 3, 2, 12, 9);
        destination.region(0, 5, 1, 30, 30);
    }
    if (which == 2) source.region(1, 0, 0, 100, 5);
    if (which == 2) destination.region(1, 9, 3, 7, 100);
}

TEST_P(Filter, EqualsTheReference) {
    const Case &c = GetParam();
    const Reports reports;
    unsigned seed = 0;
    const bool large = c.name.find("x200") != std::string::npos;
    for (const std::uint32_t depth : c.depths) {
        for (const std::uint32_t destinationDepth : destinationsOf(c, depth)) {
            for (int variant = 0; variant < 7; ++variant) {
                Shape shape;
                shape.depth = depth;
                shape.channels = variant >= 3 && depth != ZYL_DEPTH_1U ? 3 : 1;
                // Once wider and once higher than what is computed at a time.
                const bool wide = variant == 3;
                const bool high = variant == 6;
                shape.width = large  ? 6
                              : wide ? (depth == ZYL_DEPTH_1U ? 1109 : 347)
                              : high ? 5
                                     : 41;
                shape.height = large ? 4 : wide ? 5 : high ? 71 : 17;
                shape.order = variant == 4 ? ZYL_DATA_ORDER_PLANE : ZYL_DATA_ORDER_PIXEL;
                TestImage source(shape);
                source.randomise(++seed);
                setBorders(source, seed * 37);
                shape.depth = destinationDepth;
                shape.channels = destinationDepth == ZYL_DEPTH_1U ? 1 : shape.channels;
                TestImage destination(shape);
                destination.randomise(seed + 1000);
                if (!large) setRegions(source, destination, variant % 3);
                const TestImage before(destination);
                c.run(source, destination, nullptr);

                const ZylROI whole = {0, 0, 0, shape.height, shape.width};
                const ZylROI from = source.header()->roi ? *source.header()->roi : whole;
                const ZylROI to = destination.header()->roi ? *destination.header()->roi : whole;
                const int width = std::min(
                    {from.width, to.width, shape.width - from.xOffset, shape.width - to.xOffset});
                const int height = std::min({from.height, to.height, shape.height - from.yOffset,
                                             shape.height - to.yOffset});
                for (int channel = 1; channel <= shape.channels; ++channel) {
                    for (int y = 0; y < shape.height; ++y) {
                        for (int x = 0; x < shape.width; ++x) {
                            const int bx = x - to.xOffset;
                            const int by = y - to.yOffset;
                            const bool inside = bx >= 0 && by >= 0 && bx < width && by < height &&
                                                (to.coi == 0 || to.coi == channel);
                            const std::int64_t expected =
                                inside ? c.expected(source, destinationDepth, from.xOffset + bx,
                                                    from.yOffset + by, channel)
                                       : before.at(x, y, channel);
                            ASSERT_EQ(destination.at(x, y, channel), expected)
                                << describe(source.shape()) << " to " << depthName(destinationDepth)
                                << ", seed " << seed << ", variant " << variant << " at (" << x
                                << ", " << y << ") channel " << channel;
                        }
                    }
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty()) << reports.texts().front();
}

INSTANTIATE_TEST_SUITE_P(Filters, Filter, testing::ValuesIn(filterCases()), caseName);

// One operation for the laws, with borders that look at the far side of the image.
Operation lawful(const Case &c, int mode) {
    Operation operation{c.name + (mode == ZYL_BORDER_WRAP ? "_wrap" : "_reflect"), c.reportedName,
                        1, [c, mode](ZylImage *const *images, const std::int32_t *tile) {
                            for (ZylImage *image : {images[0], images[1]}) {
                                if (image != nullptr)
                                    zylSetBorderMode(image, mode, ZYL_SIDE_ALL, 0);
                            }
                            const ZylImage *to = images[1];
                            if (tile == nullptr || to == nullptr || to->tileInfo == nullptr) {
                                c.run(images[0], images[1], nullptr);
                                return;
                            }
                            const ZylTileMapping mapping = {tile[0] * to->tileInfo->width,
                                                            tile[1] * to->tileInfo->height};
                            c.run(images[0], images[1], &mapping);
                        }};
    operation.shapes = usualShapes(c.depths);
    operation.pointwise = false;
    operation.tileArgument = c.mapping;
    operation.mixesChannels = c.reportedName != "zylBlur" && c.reportedName != "zylConvolveSep2D";
    return operation;
}

// Repeated once; the passes read each other's results.
Case morphology(const std::string &name, const std::string &reportedName,
                void (*run)(ZylImage *, ZylImage *, std::int32_t, const ZylTileMapping *)) {
    return {name,
            reportedName,
            [run](ZylImage *s, ZylImage *d, const ZylTileMapping *) { run(s, d, 2, nullptr); },
            nullptr,
            {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U},
            false};
}

std::vector<Operation> lawTable() {
    const std::vector<std::string> names = {
        "ConvolveGauss0", "ConvolveFour2",     "SepGauss",         "SepLong",
        "Blur5x5at2_2",   "Blur128x40at10_31", "Max11x11at5_5",    "Min2x2at0_1",
        "Median3x3at1_1", "Median9x9at8_0",    "Median11x11at5_5", "Median18x18at3_17"};
    std::vector<Operation> table;
    for (const int mode : {ZYL_BORDER_REFLECT, ZYL_BORDER_WRAP}) {
        for (const Case &c : chosen(filterCases(), names, [](const Case &e) { return e.name; })) {
            table.push_back(lawful(c, mode));
            // A blur takes no channel into a channel of another number.
            table.back().regions = c.reportedName != "zylBlur";
        }
        for (const Case &c :
             {morphology("Erode", "zylErode", zylErode),
              morphology("Dilate", "zylDilate", zylDilate), morphology("Open", "zylOpen", zylOpen),
              morphology("Close", "zylClose", zylClose)}) {
            table.push_back(lawful(c, mode));
            table.back().headersReported = false;
        }
    }
    return table;
}

ZYLQX_RUN_LAWS(Filters, lawTable());

// A part of a block of pixels as an image of its own.
ZylImage partOf(TestImage &block, int x, int y, int width, int height) {
    ZylImage part = *block.header();
    part.imageData = zylqx::sampleAt(part, x, y, 1);
    part.width = width;
    part.height = height;
    part.imageSize = part.widthStep * height;
    return part;
}

// Two headers over one block, the destination before, behind, beside and inside the
// source; and two regions of it.
TEST(Filters, ReadPixelsThatTheyShareBeforeTheyWriteThem) {
    struct Place {
        int x, y, width, height;
    };
    constexpr Place source = {8, 20, 24, 300};
    constexpr Place places[] = {{8, 23, 24, 300}, {8, 13, 24, 300}, {12, 20, 24, 300},
                                {4, 21, 20, 297}, {8, 319, 24, 20}, {8, 20, 24, 300}};
    for (const Case &c : chosen(filterCases(), {"Blur5x5at2_2", "Max11x11at5_5", "Median3x3at1_1"},
                                [](const Case &e) { return e.name; })) {
        for (const Place &place : places) {
            for (const bool regions : {false, true}) {
                SCOPED_TRACE(c.name + " at (" + std::to_string(place.x) + ", " +
                             std::to_string(place.y) + "), regions " + std::to_string(regions));
                TestImage block({.width = 40, .height = 400});
                block.randomise(5).border(ZYL_BORDER_REFLECT);
                TestImage other(block);
                ZylImage from = partOf(block, source.x, source.y, source.width, source.height);
                ZylImage to = partOf(block, place.x, place.y, place.width, place.height);
                ZylImage apart = partOf(other, place.x, place.y, place.width, place.height);
                ZylROI fromRegion = {0, 1, 2, 290, 20}, toRegion = {0, 3, 1, 290, 20};
                if (regions) {
                    from.roi = &fromRegion;
                    to.roi = apart.roi = &toRegion;
                }
                c.run(&from, &apart, nullptr);
                c.run(&from, &to, nullptr);
                EXPECT_EQ(difference(other, block), "");
            }
        }
    }
}

// Morphology repeated, on bits and samples, equals its steps one by one.
TEST(Morphology, RepeatsStepByStep) {
    const Reports reports;
    for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (const bool tiled : {false, true}) {
            for (const bool close : {false, true}) {
                const auto first = close ? zylDilate : zylErode;
                const auto second = close ? zylErode : zylDilate;
                const auto both = close ? zylClose : zylOpen;
                Shape shape;
                shape.depth = depth;
                shape.width = 150;
                shape.height = 20;
                TestImage source(shape);
                source.randomise(5).border(ZYL_BORDER_WRAP).region(0, 3, 2, 140, 15);
                TestImage destination(shape);
                destination.randomise(6).border(ZYL_BORDER_REFLECT).region(0, 5, 1, 140, 15);
                TestImage expected(destination);
                TestImage result(destination);
                if (tiled) result.tiles(16, 8);
                first(source, expected, 1, nullptr);
                second(expected, expected, 1, nullptr);
                first(expected, expected, 1, nullptr);
                second(expected, expected, 1, nullptr);
                both(source, result, 2, nullptr);
                EXPECT_EQ(difference(expected, result), "") << depthName(depth);
                EXPECT_EQ(result.tilesHeld(), 0);
            }
        }
    }
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsOk);
}

TEST(Morphology, LeavesSignedImagesAlone) {
    Reports reports;
    for (const std::uint32_t depth : {ZYL_DEPTH_8S, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        Shape shape;
        shape.depth = depth;
        shape.width = shape.height = 9;
        TestImage source(shape);
        source.randomise(1);
        TestImage destination(shape);
        destination.randomise(2);
        const TestImage before(destination);
        zylSetErrStatus(ZYL_StsError);
        zylOpen(source, destination, 3, nullptr);
        EXPECT_EQ(difference(before, destination), "");
        EXPECT_EQ(zylGetErrStatus(), ZYL_StsOk);
    }
    EXPECT_TRUE(reports.all().empty());
}

Shape gray(int width = 9, int height = 9, std::uint32_t depth = ZYL_DEPTH_8U) {
    Shape shape;
    shape.depth = depth;
    shape.width = width;
    shape.height = height;
    return shape;
}

TEST(Morphology, ChecksInItsOrder) {
    // The arguments that are no fields of a header.
    struct Arguments {
        ZylImage *src, *dst;
        std::int32_t iterations;
        const ZylTileMapping *mapping;
    };
    using S = ZylImage &;
    using A = Arguments &;
    static const ZylTileMapping mapping = {0, 0};
    static ZylTileInfo none = {nullptr, nullptr, nullptr, 8, 8};
    const std::vector<Fault<ZylImage, ZylImage, Arguments>> faults = {
        {"Null SRC image header", [](S, S, A a) { a.src = nullptr; }},
        {"Null DST image header", [](S, S, A a) { a.dst = nullptr; }},
        {"Specify exactly SRC image mode (non-tile/tile)",
         [](S s, S, A) { s.imageData = reinterpret_cast<unsigned char *>(&s); }},
        {"Specify exactly DST image mode (non-tile/tile)",
         [](S, S d, A) { d.imageData = reinterpret_cast<unsigned char *>(&d); }},
        {"Illegal SRC tile info contents",
         [](S s, S, A) {
             s.tileInfo = &none;
             s.imageData = nullptr;
         }},
        {"Illegal DST tile info contents",
         [](S, S d, A) {
             d.tileInfo = &none;
             d.imageData = nullptr;
         }},
        {"Illegal number of of iterations", [](S, S, A a) { a.iterations = 0; }},
        {"Mapping must be NULL", [](S, S, A a) { a.mapping = &mapping; }},
        {"Illegal SRC image header contents", [](S s, S, A) { s.align = 3; }},
        {"Illegal DST image header contents", [](S, S d, A) { d.nChannels = 0; }},
        {"SRC and DST depth are not compatible", [](S, S d, A) { d.depth = ZYL_DEPTH_16U; }},
        {"SRC and DST order are not compatible",
         [](S, S d, A) { d.dataOrder = ZYL_DATA_ORDER_PLANE; }},
        {"SRC and DST orign are not compatible", [](S, S d, A) { d.origin = ZYL_ORIGIN_BL; }},
        {"SRC and DST number of channels are not compatible", [](S, S d, A) { d.nChannels = 3; }}};
    TestImage source(gray());
    TestImage destination(gray());
    ZylImage src = *source.header();
    ZylImage dst = *destination.header();
    Arguments arguments = {&src, &dst, 1, nullptr};
    FailingCalls("zylErode", "zylErode")
        .watch(destination)
        .expectInOrder(
            faults,
            [&] {
                const Arguments &a = arguments;
                zylErode(a.src, a.dst, a.iterations, a.mapping);
            },
            src, dst, arguments);
}

// As many samples as narrow counters hold, and more: 255 in a column, 65535 in a box.
TEST(Median, OfBoxesBeyondNarrowCounters) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16S, ZYL_DEPTH_32S}) {
        TestImage source(gray(11, 5, depth));
        source.randomise(depth).border(ZYL_BORDER_WRAP);
        TestImage result(gray(11, 5, depth));
        for (const Box &box : {Box{255, 257, 100, 9}, Box{255, 258, 0, 254}, Box{256, 3, 1, 200}}) {
            zylMedianFilter(source, result, box.rows, box.columns, box.anchorX, box.anchorY,
                            nullptr);
            for (int i = 0; i < 11 * 5; i += 7) {
                EXPECT_EQ(result.at(i % 11, i / 11), median(source, box, i % 11, i / 11, 1));
            }
        }
    }
}

// More samples than counters of 32 bits hold: as without memory, nothing is written.
TEST(Median, OfBoxesBeyondAllCountersIsNotMade) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16S}) {
        TestImage source(gray(3, 2, depth)), destination(gray(3, 2, depth));
        source.randomise(1);
        destination.randomise(2);
        const std::vector<unsigned char> before = destination.bytes();
        zylMedianFilter(source, destination, 65536, 65536, 0, 0, nullptr);
        EXPECT_EQ(destination.bytes(), before) << depth;
        EXPECT_TRUE(destination.guardsIntact()) << depth;
    }
}

TEST(Kernels, AreCopiedReadAndChecked) {
    Reports reports;
    const std::int8_t values[] = {1, -2, 3, -4, 5, -6};
    ZylConvKernel *kernel = zylCreateConvKernel(2, 3, 2, 1, values, 40);
    std::int8_t read[6] = {};
    std::int8_t *buffer = read;
    std::int32_t f[5] = {};
    zylGetConvKernel(kernel, &f[0], &f[1], &f[2], &f[3], &buffer, &f[4]);
    EXPECT_TRUE(std::equal(std::begin(values), std::end(values), read));
    EXPECT_TRUE(f[0] == 2 && f[1] == 3 && f[2] == 2 && f[3] == 1 && f[4] == 40);
    EXPECT_TRUE(reports.all().empty());

    EXPECT_EQ(zylCreateConvKernel(0, 0, 9, 9, nullptr, 0), nullptr);
    EXPECT_EQ(zylCreateConvKernel(0, 0, 9, 9, values, 0), nullptr);
    EXPECT_EQ(zylCreateConvKernel(2, 3, 3, 0, values, 0), nullptr);
    for (const int n : {1, 2}) {
        const AllocationFault fault(n);
        EXPECT_EQ(zylCreateConvKernel(2, 3, 0, 0, values, 0), nullptr);
    }
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{
                                   "(values == 0)", "(nRows<=0 || nCols<=0)",
                                   "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)",
                                   "Allocation failure", "Allocation failure"}));
    reports.clear();
    ZylConvKernel wrong = *kernel;
    wrong.anchorY = 2;
    zylGetConvKernel(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    zylSetErrStatus(ZYL_StsOk);
    zylGetConvKernel(&wrong, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"kernel==0", "ownBadKernel(kernel)"}));
    reports.clear();
    zylGetConvKernel(kernel, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"nRows==0", "nCols==0"}));
    reports.clear();
    zylGetConvKernel(kernel, f, f, nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"anchorX==0", "anchorY==0"}));
    reports.clear();
    std::int8_t *nowhere = nullptr;
    zylGetConvKernel(kernel, f, f, f, f, nullptr, nullptr);
    zylSetErrStatus(ZYL_StsOk);
    zylGetConvKernel(kernel, f, f, f, f, &nowhere, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"values==0", "values==0"}));
    reports.clear();
    zylGetConvKernel(kernel, f, f, f, f, &buffer, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"nShiftR==0"}));
    reports.clear();
    zylDeleteConvKernel(kernel);
    zylDeleteConvKernel(nullptr);
    ZylConvKernel empty = {1, 1, 0, 0, 0, nullptr};
    zylDeleteConvKernel(&empty);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"kernel==0", "kernel->values==0"}));
}

TEST(Convolve2D, ReportsAndWritesNothing) {
    Reports reports;
    const std::int8_t one = 1;
    ZylConvKernel *kernel = zylCreateConvKernel(1, 1, 0, 0, &one, 0);
    std::vector<ZylConvKernel *> many(101, kernel);
    TestImage source(gray());
    source.randomise(1);
    TestImage destination(gray());
    destination.randomise(2);
    TestImage deep(gray(9, 9, ZYL_DEPTH_16U));
    Shape rgb = gray();
    rgb.channels = 4;
    TestImage four(rgb);
    FailingCalls calls("zylConvolve2D", "zylcnv2d");
    calls.watch(destination);
    calls.expect({"srcImage==0", "dstImage==0"},
                 [&] { zylConvolve2D(nullptr, nullptr, nullptr, 0, 9, nullptr); });
    calls.expect("kernel==0", [&] { zylConvolve2D(source, destination, nullptr, 0, 9, nullptr); });
    calls.expect("(nKernels<=0 || nKernels>100)",
                 [&] { zylConvolve2D(source, destination, many.data(), 101, 9, nullptr); });
    calls.expect("( combineMethod != 0 && combineMethod != 1 && combineMethod != 2 && "
                 "combineMethod != 3 && combineMethod != 4)",
                 [&] { zylConvolve2D(source, destination, many.data(), 1, 5, nullptr); });
    many[1] = nullptr;
    calls.expect("kernel[i]==0",
                 [&] { zylConvolve2D(source, destination, many.data(), 2, 0, nullptr); });
    ZylConvKernel bad = {1, 1, 1, 0, 0, nullptr};
    many[1] = &bad;
    calls.expect("ownBadKernel(kernel[i])",
                 [&] { zylConvolve2D(source, destination, many.data(), 2, 0, nullptr); });
    bad.anchorX = 0;
    calls.expect("kernel[i]->values==0",
                 [&] { zylConvolve2D(source, destination, many.data(), 2, 0, nullptr); });
    const ZylTileMapping outside = {9, 0};
    calls.expect("( mapping->xDst < 0 || mapping->xDst > dstImage->width-1 || "
                 "mapping->yDst < 0 || mapping->yDst > dstImage->height-1)",
                 [&] { zylConvolve2D(source, destination, many.data(), 1, 0, &outside); });
    calls.expect("Uncompatible images",
                 [&] { zylConvolve2D(four, destination, many.data(), 1, 0, nullptr); });
    calls.expect("Inadmissible images depths",
                 [&] { zylConvolve2D(deep, destination, many.data(), 1, 0, nullptr); });
    many[1] = kernel;
    zylConvolve2D(source, destination, many.data(), 100, ZYL_MAX, nullptr);
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ(difference(source, destination), "");
    zylDeleteConvKernel(kernel);
}

// An alpha channel is left out, of either image; the others go in step.
TEST(Convolve2D, LeavesOutAlpha) {
    Reports reports;
    const std::int8_t one = 1;
    ZylConvKernel *kernel = zylCreateConvKernel(1, 1, 0, 0, &one, 0);
    Shape rgba = gray();
    rgba.channels = 4;
    rgba.alpha = 4;
    Shape rgb = gray();
    rgb.channels = 3;
    rgb.order = ZYL_DATA_ORDER_PLANE;
    TestImage source(rgba);
    source.randomise(3);
    TestImage destination(rgb);
    zylConvolve2D(source, destination, &kernel, 1, ZYL_SUM, nullptr);
    TestImage back(rgba);
    back.fill(7);
    zylConvolve2D(destination, back, &kernel, 1, ZYL_SUM, nullptr);
    for (int c = 1; c <= 4; ++c) {
        for (int i = 0; i < 81; ++i) {
            EXPECT_EQ(back.at(i % 9, i / 9, c), c == 4 ? 7 : source.at(i % 9, i / 9, c));
        }
    }
    EXPECT_TRUE(reports.all().empty());
    zylDeleteConvKernel(kernel);
}

TEST(ConvolveSep2D, ReportsAllFaults) {
    Reports reports;
    const std::int8_t one = 1;
    ZylConvKernel *kernel = zylCreateConvKernel(1, 1, 0, 0, &one, 0);
    TestImage source(gray());
    Shape other = gray(9, 9, ZYL_DEPTH_16U);
    other.channels = 3;
    other.order = ZYL_DATA_ORDER_PLANE;
    other.origin = ZYL_ORIGIN_BL;
    TestImage destination(other);
    destination.region(2, 0, 0, 9, 9);
    zylConvolveSep2D(source, destination, nullptr, nullptr);
    EXPECT_EQ(reports.texts(), (std::vector<std::string>{"Xkernel==0", "Ykernel==0"}));
    reports.clear();
    zylConvolveSep2D(source, destination, kernel, kernel);
    EXPECT_EQ(reports.texts(),
              (std::vector<std::string>{"srcImage->depth != dstImage->depth",
                                        "srcImage->origin != dstImage->origin",
                                        "srcImage->dataOrder != dstImage->dataOrder",
                                        "srcImage->nChannels != dstImage->nChannels",
                                        "nChannels in srcImage ROI != nChannels in dstImage ROI"}));
    reports.clear();
    const ZylConvKernel none = {0, 0, 0, 0, 0, nullptr};
    zylConvolveSep2D(source, source, &none, &none);
    EXPECT_EQ(reports.texts(),
              (std::vector<std::string>{"Xkernel->nCols <= 0", "Ykernel->nRows <= 0",
                                        "Xkernel->values==0", "Ykernel->values==0"}));
    reports.clear();
    // A region past the edge: the block is not cut to the source.
    TestImage result(gray());
    result.fill(0);
    source.fill(9).border(ZYL_BORDER_CONSTANT, 5).region(0, 6, 6, 9, 9);
    zylConvolveSep2D(source, result, kernel, kernel);
    EXPECT_EQ(result.at(2, 2), 9);
    EXPECT_EQ(result.at(3, 2), 5);
    EXPECT_EQ(result.at(8, 8), 5);
    zylDeleteConvKernel(kernel);
}

TEST(Blur, WorkedCases) {
    Reports reports;
    TestImage image(gray());
    image.fill(25).border(ZYL_BORDER_REPLICATE);
    TestImage result(gray());
    zylBlur(image, result, 5, 5, 2, 2, nullptr);
    EXPECT_EQ(result.at(0, 0), 24);
    image.fill(9);
    zylBlur(image, result, 3, 3, 1, 1, nullptr);
    EXPECT_EQ(result.at(8, 8), 9);
    EXPECT_TRUE(reports.all().empty());
}

TEST(Blur, ReportsInOrder) {
    TestImage source(gray()), result(gray());
    struct Box {
        std::int32_t rows, columns, x, y;
    } box = {3, 3, 1, 1};
    const auto boxOf = [](const Box &wanted) {
        return [wanted](ZylImage &, ZylImage &, Box &b) { b = wanted; };
    };
    for (const bool first : {true, false}) {
        FailingCalls("zylBlur", "zylblur")
            .watch(result)
            .expectInOrder<ZylImage, ZylImage, Box>(
                {{"(srcImage->depth!=dstImage->depth)",
                  [](ZylImage &, ZylImage &d, Box &) { d.depth = ZYL_DEPTH_16U; }},
                 {"(srcImage->depth==1)",
                  [](ZylImage &s, ZylImage &d, Box &) { s.depth = d.depth = ZYL_DEPTH_1U; }},
                 {"(nRows<0||nCols<0)", boxOf(first ? Box{-1, 0, -1, 0} : Box{0, -1, 0, -1})},
                 {"(anchorX<0||anchorY<0)", boxOf(first ? Box{0, 3, -1, 0} : Box{3, 0, 0, -1})},
                 {"(nRows==0||nCols==0)", boxOf(first ? Box{0, 3, 0, 0} : Box{3, 0, 0, 0})}},
                [&] { zylBlur(source, result, box.rows, box.columns, box.x, box.y, nullptr); },
                *source.header(), *result.header(), box);
    }
}

// All sums of boxes of many areas: each box has one value more than the one before.
TEST(Blur, RoundsEverySumAsItsFactorDoes) {
    for (const int area : {2, 3, 7, 9, 25, 121, 225, 257, 3969, 8191, 8192, 8193, 20000}) {
        const int width = 256 * area;
        TestImage source(gray(width, 1));
        for (int x = 0; x < width; ++x) source.set(x, 0, 1, x / area);
        TestImage result(gray(width, 1));
        zylBlur(source, result, 1, area, 0, 0, nullptr);
        const double factor = static_cast<float>(1.0 / area);
        for (int sum = 0; sum <= 255 * area; ++sum) {
            ASSERT_EQ(result.at(sum, 0), static_cast<int>(sum * factor)) << area << ", " << sum;
        }
    }
}

TEST(Blur, TakesTheChannelsThatBothImagesProcess) {
    Shape rgb = gray();
    rgb.channels = 3;
    for (const bool ofSource : {true, false}) {
        TestImage source(rgb), result(rgb);
        source.fill(100);
        result.fill(7);
        (ofSource ? source : result).region(2, 0, 0, 9, 9);
        zylBlur(source, result, 3, 3, 1, 1, nullptr);
        for (int c = 1; c <= 3; ++c) EXPECT_EQ(result.at(4, 4, c), c == 2 ? 100 : 7) << c;
    }
}

// Shifts beyond the bits that sums have.
TEST(Convolve, LongShiftsLeaveNothing) {
    const std::int8_t values[] = {127, 127};
    TestImage source(gray()), result(gray());
    source.fill(255);
    for (const int shift : {15, 16, 20}) { // of 255 * 254, in 16 bits
        ZylConvKernel *kernel = zylCreateConvKernel(1, 2, 0, 0, values, shift);
        zylConvolve2D(source, result, &kernel, 1, ZYL_SUM, nullptr);
        EXPECT_EQ(result.at(4, 4), 255 * 254 >> shift);
        zylDeleteConvKernel(kernel);
    }
    ZylConvKernel *across = zylCreateConvKernel(1, 2, 0, 0, values, 10);
    ZylConvKernel *down = zylCreateConvKernel(2, 1, 0, 0, values, 10);
    zylConvolveSep2D(source, result, across, down);
    EXPECT_EQ(result.at(4, 4), 255 * 254 * 254 >> 20);
    zylDeleteConvKernel(across);
    zylDeleteConvKernel(down);
}

TEST(Rank, ReportsInOrder) {
    Shape rgb = gray();
    rgb.channels = 3;
    TestImage source(rgb), result(rgb);
    struct Anchor {
        std::int32_t x, y;
    } anchor = {1, 1};
    const auto anchorAt = [](const Anchor &wanted) {
        return [wanted](ZylImage &, Anchor &a) { a = wanted; };
    };
    const struct {
        const char *name;
        void (*run)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t, std::int32_t,
                    const ZylTileMapping *);
    } filters[] = {{"zylMaxFilter", zylMaxFilter},
                   {"zylMinFilter", zylMinFilter},
                   {"zylMedianFilter", zylMedianFilter}};
    for (const auto &filter : filters) {
        for (const std::int32_t wrong : {-1, 5}) {
            FailingCalls(filter.name, "zylnlf")
                .watch(result)
                .expectInOrder<ZylImage, Anchor>(
                    {{"(anchorX>=nCols)||(anchorX<0)", anchorAt({wrong, wrong})},
                     {"(anchorY>=nRows)||(anchorY<0)", anchorAt({4, wrong < 0 ? wrong : 3})},
                     {"srcImage->depth!=dstImage->depth",
                      [](ZylImage &d, Anchor &) { d.depth = ZYL_DEPTH_16U; }},
                     {"srcImage->dataOrder!=dstImage->dataOrder",
                      [](ZylImage &d, Anchor &) { d.dataOrder = ZYL_DATA_ORDER_PLANE; }},
                     {"Number of interset channel input and output Image is not equal.",
                      [](ZylImage &d, Anchor &) { d.nChannels = 2; }}},
                    [&] { filter.run(source, result, 3, 5, anchor.x, anchor.y, nullptr); },
                    *result.header(), anchor);
        }
    }
}

TEST(Rank, TakesAChannelIntoAnImageOfOne) {
    Shape rgb = gray();
    rgb.channels = 3;
    TestImage colour(rgb);
    colour.randomise(8).region(2, 0, 0, 9, 9);
    TestImage one(gray());
    zylMaxFilter(colour, one, 1, 1, 0, 0, nullptr);
    for (int i = 0; i < 81; ++i) EXPECT_EQ(one.at(i % 9, i / 9), colour.at(i % 9, i / 9, 2));
}

} // namespace
