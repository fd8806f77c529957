// What zylqx.hpp adds to the operations: ownership, views, failures, tiles.
#include "samples.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

namespace {

using support::imageOf;
using support::samplesOf;
using Numbers = std::vector<std::int64_t>;

// 0, 1, 2 ... in every sample of a shape.
zyl::Image counting(const zyl::Shape &shape) {
    Numbers numbers(static_cast<std::size_t>(shape.width) * shape.height * shape.channels);
    std::iota(numbers.begin(), numbers.end(), 0);
    for (auto &each : numbers) each %= 251;
    return imageOf(shape, numbers);
}

// A tiled image over the pixels of another one, of 8 bits in pixel order.
zyl::TileFunction reading(const zyl::Image &from) {
    return [&from](const zyl::Tile &tile) {
        for (int y = 0; y < tile.place.height; ++y)
            std::copy_n(from.row(tile.place.y + y) + tile.place.x * from.channels(),
                        tile.place.width * from.channels(), tile.samples<unsigned char>(y));
    };
}
zyl::TileFunction writing(zyl::Image &to) {
    return [&to](const zyl::Tile &tile) {
        for (int y = 0; y < tile.place.height; ++y)
            std::copy_n(tile.samples<unsigned char>(y), tile.place.width,
                        to.row(tile.place.y + y) + tile.place.x);
    };
}

// The text of what a call throws.
template <class Call>
std::string failure(Call call) {
    try {
        call();
    } catch (const std::exception &thrown) {
        return thrown.what();
    }
    return "nothing";
}

TEST(Image, keeps_its_shape_and_fill) {
    zyl::Shape shape = zyl::makeShape(5, 3, 4, ZYL_DEPTH_16S);
    shape.order = ZYL_DATA_ORDER_PLANE;
    shape.origin = ZYL_ORIGIN_BL;
    shape.align = ZYL_ALIGN_8;
    const zyl::Image image(shape, 7);
    EXPECT_EQ(image.shape(), shape);
    EXPECT_EQ(image.header()->widthStep, 16);
    EXPECT_EQ(samplesOf(image), Numbers(60, 7));
    EXPECT_TRUE(image.shape().color());
    EXPECT_EQ(image.samples<std::int16_t>(2, 3).size(), 5U);
    EXPECT_EQ(zyl::Image(9, 2, 1, ZYL_DEPTH_1U).samples<std::uint8_t>(1).size(), 2U);
    EXPECT_FALSE(zyl::Image());
}

TEST(Image, copies_samples_in_and_out) {
    zyl::Shape shape = zyl::makeShape(3, 2, 3);
    for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
        shape.order = order;
        std::vector<std::uint8_t> numbers(18), back(18);
        std::iota(numbers.begin(), numbers.end(), std::uint8_t{0});
        const auto image = zyl::Image::from(std::span<const std::uint8_t>(numbers), shape);
        image.copyTo(std::span(back));
        EXPECT_EQ(back, numbers);
        EXPECT_EQ(image.samples<std::uint8_t>(1)[0], order == ZYL_DATA_ORDER_PIXEL ? 9 : 3);
        std::span<std::uint8_t> less(back.data(), 17);
        EXPECT_THROW(image.copyTo(less), zyl::Error);
        EXPECT_THROW(static_cast<void>(zyl::Image::from<std::uint8_t>(less, shape)), zyl::Error);
    }
}

// A view shares the samples; rows that lie as no image has them are refused.
TEST(Image, views) {
    std::vector<std::uint16_t> samples = {1, 2, 3, 4, 5, 6, 7, 8};
    const zyl::Shape shape = zyl::makeShape(4, 2, 1, ZYL_DEPTH_16U);
    zyl::Image image = zyl::Image::view(std::span(samples), shape);
    zyl::addS(image, image, 10);
    EXPECT_EQ(samples, (std::vector<std::uint16_t>{11, 12, 13, 14, 15, 16, 17, 18}));
    const auto reader = zyl::ConstImage::view(std::span<const std::uint16_t>(samples), shape);
    EXPECT_EQ(zyl::norm(reader, {}, zyl::Norm::l1), 116);
    static_assert(!std::is_convertible_v<const zyl::Image &, zyl::Target>);
    static_assert(!std::is_convertible_v<zyl::ConstImage, zyl::Target>);
    std::vector<std::uint8_t> tight(6);
    EXPECT_EQ(failure([&] { zyl::Image::view(std::span(tight), zyl::makeShape(3, 2)); }),
              "zyl::Image::view: 2 rows of 4 bytes are wanted, not 6 bytes; Image::from() copies "
              "rows that lie otherwise (Bad argument)");
}

TEST(Image, refuses_sizes_that_no_image_has) {
    EXPECT_THROW(zyl::Image(0, 5), std::length_error);
    EXPECT_THROW(zyl::Image(5, -1), std::length_error);
    EXPECT_THROW(zyl::Image(70000, 70000), std::length_error);
    EXPECT_THROW(zyl::Image(2147483647, 1, 3, ZYL_DEPTH_32S), std::length_error);
    EXPECT_THROW(zyl::Image::tiled(zyl::makeShape(9, 9), {9, 8}, {}), zyl::Error);
    EXPECT_THROW(zyl::Image(zyl::makeShape(9, 9, 1, 7)), zyl::Error);
    std::vector<std::uint16_t> words(18);
    EXPECT_THROW(zyl::Image::view(std::span(words), zyl::makeShape(9, 3)), zyl::Error);
}

// A part has a region and borders of its own, over the same pixels.
TEST(Image, parts) {
    zyl::Image image = counting(zyl::makeShape(4, 3));
    image.setBorder(zyl::Border::replicate);
    zyl::set(image.part({1, 1, 2, 1}), 99);
    EXPECT_EQ(samplesOf(image), (Numbers{0, 1, 2, 3, 4, 99, 99, 7, 8, 9, 10, 11}));
    EXPECT_EQ(image.header()->roi, nullptr);
    zyl::ConstImage corner = image.part({0, 0, 2, 1});
    EXPECT_EQ(samplesOf(zyl::maxFilter(corner, 3, 3)), (Numbers{99, 99}));
    corner.setBorder(zyl::Border::constant, 200, ZYL_SIDE_TOP);
    EXPECT_EQ(samplesOf(zyl::maxFilter(corner, 3, 3)), (Numbers{200, 200}));
    EXPECT_EQ(image.header()->borderMode[0], ZYL_BORDER_REPLICATE);
}

// The result of a region and a channel is an image of its own, without them: what it would be
// of a picture that has that channel alone.
TEST(Operations, make_results_of_regions_and_channels) {
    const zyl::Image color = counting(zyl::makeShape(21, 19, 3));
    const zyl::Image channel = zyl::copy(color.part({0, 0, 21, 19}, 2));
    const zyl::Image tiles = zyl::Image::tiled(color.shape(), {8, 8}, reading(color));
    const zyl::Rect part = {3, 2, 30, 12};
    const zyl::Kernel sharpen(3, 3, {0, -1, 0, -1, 5, -1, 0, -1, 0}), row(1, 3, {1, 2, 1}, 2),
        one(1, 1, {1});
    zyl::Tables tables = zyl::Tables::ofValues(3);
    for (int c = 0; c < 3; ++c) std::iota(tables.values(c).begin(), tables.values(c).end(), 3);
    const std::pair<const char *, std::function<zyl::Image(const zyl::ConstImage &)>> forms[] = {
        {"add", [](auto &a) { return zyl::add(a, a); }},
        {"addS", [](auto &a) { return zyl::addS(a, 1); }},
        {"lShiftS", [](auto &a) { return zyl::lShiftS(a, 1); }},
        {"abs", [](auto &a) { return zyl::abs(a); }},
        {"and_", [](auto &a) { return zyl::and_(a, a); }},
        {"xorS", [](auto &a) { return zyl::xorS(a, 1); }},
        {"copy", [](auto &a) { return zyl::copy(a); }},
        {"convolve2d", [&](auto &a) { return zyl::convolve2d(a, sharpen); }},
        {"convolveSep2d", [&](auto &a) { return zyl::convolveSep2d(a, row, one); }},
        {"blur", [](auto &a) { return zyl::blur(a); }},
        {"medianFilter", [](auto &a) { return zyl::medianFilter(a); }},
        {"erode", [](auto &a) { return zyl::erode(a, 2); }},
        {"zoom", [](auto &a) { return zyl::zoom(a, 3, 2, 2, 1); }},
        {"decimate", [](auto &a) { return zyl::decimate(a, 2, 3, 1, 2); }},
        {"rotate", [](auto &a) { return zyl::rotate(a, 2000); }},
        {"mirror", [](auto &a) { return zyl::mirror(a, zyl::Axis::vertical); }},
        {"contrastStretch", [&](auto &a) { return zyl::contrastStretch(a, tables); }},
        {"threshold", [](auto &a) { return zyl::threshold(a, 70); }},
        {"multiplySScale", [](auto &a) { return zyl::multiplySScale(a, 99); }},
        {"multiplyScale", [](auto &a) { return zyl::multiplyScale(a, a); }},
        {"alphaCompositeC",
         [](auto &a) { return zyl::alphaCompositeC(a, a, zyl::Composite::in, 99, 88); }}};
    for (const auto &[name, form] : forms) {
        const zyl::Image of = form(color.part(part, 2)), alone = form(channel.part(part));
        EXPECT_EQ(of.shape(), alone.shape()) << name;
        EXPECT_EQ(of.header()->roi, nullptr) << name;
        EXPECT_EQ(samplesOf(of), samplesOf(alone)) << name;
        EXPECT_EQ(samplesOf(form(tiles.part(part, 2))), samplesOf(alone)) << name << " in tiles";
        EXPECT_EQ(samplesOf(form(tiles)), samplesOf(form(color))) << name << " in tiles";
    }
    // Operations on whole images do not look at them.
    EXPECT_EQ(samplesOf(zyl::colorToGray(color.part(part, 2), zyl::makeShape(21, 19))),
              samplesOf(zyl::colorToGray(color, zyl::makeShape(21, 19))));
}

// Where an operation leaves alpha alone, its result has that of the source.
TEST(Operations, keep_alpha) {
    const zyl::Image image = counting(zyl::makeShape(2, 2, 4));
    const zyl::Image result = zyl::convolve2d(image, zyl::Kernel(1, 1, {2}));
    EXPECT_EQ(samplesOf(result),
              (Numbers{0, 2, 4, 3, 8, 10, 12, 7, 16, 18, 20, 11, 24, 26, 28, 15}));
}

TEST(Operations, combine_kernels) {
    const zyl::Image image = imageOf(zyl::makeShape(3, 1), {10, 20, 30});
    const zyl::Kernel left(1, 2, {1, 0}, 0, zyl::Kernel::Anchor{1, 0}), itself(1, 1, {1});
    EXPECT_EQ(samplesOf(zyl::convolve2d(image, {left, itself})), (Numbers{10, 30, 50}));
    const zyl::Kernel more[] = {zyl::Kernel(1, 1, {1}), zyl::Kernel(1, 1, {2})};
    EXPECT_EQ(samplesOf(zyl::convolve2d(image, more, zyl::Combine::max)), (Numbers{20, 40, 60}));
    EXPECT_THROW(zyl::Kernel(2, 2, {1, 2, 3}), zyl::Error);
    EXPECT_EQ(failure([] {
                  zyl::Kernel(1, 1, {1}, 0, zyl::Kernel::Anchor{1, 0});
              }),
              "zylCreateConvKernel: (anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX) "
              "(Bad argument)");
}

TEST(Operations, bitmaps) {
    struct {
        ZylBitmapInfoHeader header = {40, 2, 1, 1, 24, 0, 0, 0, 0, 0, 0};
        unsigned char rows[8] = {10, 20, 30, 40, 50, 60, 0, 0};
    } bitmap;
    bool shared = false;
    const zyl::Image view = zyl::translateDib(&bitmap, &shared);
    EXPECT_TRUE(shared);
    EXPECT_EQ(samplesOf(view), (Numbers{10, 20, 30, 40, 50, 60}));
    zyl::Image gray(2, 1);
    zyl::convertFromDib(&bitmap, gray);
    EXPECT_EQ(samplesOf(gray), (Numbers{21, 51}));
    zyl::convertToDib(gray, &bitmap);
    EXPECT_EQ(bitmap.rows[2], 21);
    bitmap.header.biPlanes = 2;
    EXPECT_THROW(static_cast<void>(zyl::translateDib(&bitmap)), zyl::Error);
    zyl::Image none;
    EXPECT_EQ(zyl::status::translateDib(&bitmap, none), ZYL_StsBadArg);
}

ZylStatus ZYL_CALL unexpected(ZylStatus status, const char *, const char *, const char *, int) {
    ADD_FAILURE() << "the thread's own callback was called";
    return status;
}

// A failure is thrown or returned, and the thread is left as it was.
TEST(Failures, leave_the_thread_as_it_was) {
    zylSetErrStatus(ZYL_StsNoConv);
    zylSetErrMode(ZYL_ErrModeLeaf);
    const ZylErrorCallBack before = zylRedirectError(unexpected);
    zyl::Image image(8, 8);
    EXPECT_EQ(failure([&] { zyl::zoom(image, image, 1, 2); }),
              "zylZoom: xU < xL || yU < yL (Bad argument)");
    EXPECT_EQ(zyl::status::zoom(image, image, 1, 2), ZYL_StsBadArg);
    EXPECT_EQ(zyl::status::set(image, 3), ZYL_StsOk);
    try {
        zyl::not_(nullptr, image);
        ADD_FAILURE();
    } catch (const zyl::Error &error) {
        EXPECT_EQ(error.status(), ZYL_StsBadArg);
        EXPECT_EQ(error.function(), "zylXorS");
        EXPECT_NE(error.text(), "");
    }
    // What a status left over ends in C does its work here.
    EXPECT_EQ(zyl::norm(image, {}, zyl::Norm::c), 3);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsNoConv);
    EXPECT_EQ(zylRedirectError(before), unexpected);
    zylSetErrStatus(ZYL_StsOk);
}

TEST(Failures, are_those_of_their_thread) {
    std::thread([] {
        EXPECT_EQ(zyl::status::set(nullptr, 1), ZYL_StsBadArg);
        EXPECT_EQ(zylGetErrStatus(), ZYL_StsOk);
    }).join();
}

// Sizes that tiles do not divide, sources and sinks, in place, and one tile alone.
TEST(Tiles, give_what_memory_gives) {
    const zyl::Image picture = counting(zyl::makeShape(37, 29));
    const zyl::Image expected = zyl::medianFilter(picture, 5, 3);
    const zyl::Shape shape = picture.shape();
    {
        zyl::Image result(shape);
        const zyl::Image source = zyl::Image::tiled(shape, {16, 8}, reading(picture));
        zyl::medianFilter(source, zyl::Image::tiled(shape, {8, 24}, {}, writing(result)), 5, 3);
        EXPECT_EQ(samplesOf(result), samplesOf(expected));
        EXPECT_EQ(samplesOf(zyl::medianFilter(source, 5, 3)), samplesOf(expected));
    }
    {
        zyl::Image pixels = counting(shape);
        zyl::Image both = zyl::Image::tiled(shape, {8, 8}, reading(pixels), writing(pixels));
        zyl::add(both, both, both);
        EXPECT_EQ(samplesOf(pixels), samplesOf(zyl::add(picture, picture)));
        zyl::erode(both, both, 3);
        EXPECT_EQ(samplesOf(pixels), samplesOf(zyl::erode(zyl::add(picture, picture), 3)));
    }
    {
        zyl::Image once(shape);
        zyl::Image sink = zyl::Image::tiled(shape, {8, 8}, {}, writing(once));
        zyl::addS(picture, sink, 5, zyl::TileIndex{2, 1});
        zyl::blur(picture, sink, 1, 1, {}, {}, zyl::TileIndex{4, 3});
        for (int y = 0; y < 29; ++y) {
            for (int x = 0; x < 37; ++x) {
                const int was = picture.row(y)[x], now = once.row(y)[x];
                const bool first = x / 8 == 2 && y / 8 == 1, second = x / 8 == 4 && y / 8 == 3;
                ASSERT_EQ(now, first ? std::min(was + 5, 255) : second ? was : 0) << x << ' ' << y;
            }
        }
    }
}

// Planes of a tile, and parts of a tiled image.
TEST(Tiles, have_planes_and_parts) {
    zyl::Shape shape = zyl::makeShape(20, 10, 3);
    shape.order = ZYL_DATA_ORDER_PLANE;
    const zyl::Image source = zyl::Image::tiled(shape, {8, 8}, [](const zyl::Tile &tile) {
        for (int plane = 0; plane < 3; ++plane)
            for (int y = 0; y < tile.place.height; ++y)
                std::fill_n(tile.samples<unsigned char>(y, plane), tile.place.width,
                            static_cast<unsigned char>(100 * plane + tile.index.column));
    });
    EXPECT_EQ(samplesOf(zyl::copy(source.part({7, 0, 2, 1}))), (Numbers{0, 1, 100, 101, 200, 201}));
}

// What a callable throws comes out of the call; the image can be used again.
TEST(Tiles, throw_through_the_library) {
    const zyl::Image picture = counting(zyl::makeShape(40, 40));
    bool broken = true;
    const zyl::Image source =
        zyl::Image::tiled(picture.shape(), {8, 8}, [&](const zyl::Tile &tile) {
            if (broken && tile.index.column == 2) throw std::runtime_error("the disk is gone");
            reading(picture)(tile);
        });
    zyl::Image result(picture.shape());
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(failure([&] { zyl::addS(source, result, 1); }), "the disk is gone");
        EXPECT_EQ(failure([&] { zyl::blur(source, result); }), "the disk is gone");
        EXPECT_LT(zyl::status::addS(source, result, 1), 0);
        EXPECT_EQ(failure([&] {
                      zyl::addS(source.part({9, 9, 20, 9}), result, 1);
                  }),
                  "the disk is gone");
    }
    broken = false;
    zyl::addS(source, result, 1);
    EXPECT_EQ(samplesOf(result), samplesOf(zyl::addS(picture, 1)));
    // In a callback, other images may be worked on; their failures stay there.
    const zyl::Image nested =
        zyl::Image::tiled(picture.shape(), {8, 8}, [&](const zyl::Tile &tile) {
            EXPECT_EQ(zyl::status::zoom(picture, result, 1, 2), ZYL_StsBadArg);
            reading(picture)(tile);
        });
    EXPECT_EQ(zyl::norm(nested, picture), 0);
}

// A sink cannot be read, nor written in pieces; a source cannot be written.
TEST(Tiles, refuse_what_would_be_wrong) {
    const zyl::Image picture = counting(zyl::makeShape(40, 40));
    zyl::Image result(picture.shape());
    const auto sink = [&] {
        return zyl::Image::tiled(picture.shape(), {16, 16}, {}, writing(result));
    };
    EXPECT_NE(failure([&] { zyl::erode(picture, sink(), 2); }).find("that reads tiles too"),
              std::string::npos);
    EXPECT_NE(failure([&] {
                  zyl::Image parts = sink();
                  zyl::set(parts, 1);
                  zyl::set(parts.part({1, 1, 2, 2}), 2);
              }).find("written twice"),
              std::string::npos);
    zyl::Image source = zyl::Image::tiled(picture.shape(), {8, 8}, reading(picture));
    EXPECT_NE(failure([&] { zyl::set(source, 1); }).find("cannot be written"), std::string::npos);
}

} // namespace
