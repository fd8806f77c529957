#include <gtest/gtest.h>
#include <random>

#include "tests/support/failing_calls.h"

using namespace support;

namespace {

TEST(ScaledProduct, IsTheFloorForEveryPairOf8Bits) {
    const Reports reports;
    TestImage a({.width = 256, .height = 256});
    TestImage b(a.shape());
    TestImage d(a.shape());
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            a.set(x, y, 1, x);
            b.set(x, y, 1, y);
        }
    }
    zylMultiplyScale(a, b, d, nullptr);
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) ASSERT_EQ(d.at(x, y), x * y / 255) << x << " * " << y;
    }
    TestImage pixels({.channels = 4, .width = 256, .height = 256, .alpha = 4});
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            for (int c = 1; c <= 4; ++c) pixels.set(x, y, c, c == 4 ? y : x);
        }
    }
    zylPreMultiplyAlpha(pixels, -1, nullptr);
    for (int y = 0; y < 256; ++y) {
        for (int x = 0; x < 256; ++x) {
            for (int c = 1; c <= 4; ++c) {
                ASSERT_EQ(pixels.at(x, y, c), c == 4 ? y : x * y / 255) << x << " * " << y;
            }
        }
    }
    TestImage row({.width = 256, .height = 1});
    for (int x = 0; x < 256; ++x) row.set(x, 0, 1, x);
    for (std::uint32_t scale = 0; scale < 256; ++scale) {
        TestImage out(row.shape());
        zylMultiplySScale(row, out, scale, nullptr);
        for (int x = 0; x < 256; ++x) {
            ASSERT_EQ(out.at(x, 0), x * static_cast<int>(scale) / 255) << x << " * " << scale;
        }
    }
}

TEST(ScaledProduct, EndsAfter99999RowsAndColumns) {
    for (const bool wide : {true, false}) {
        TestImage src({.width = wide ? 100001 : 1, .height = wide ? 1 : 100001});
        TestImage out(src.shape());
        src.fill(255);
        out.fill(9);
        zylMultiplySScale(src, out, 255, nullptr);
        const auto at = [&](int i) { return wide ? out.at(i, 0) : out.at(0, i); };
        EXPECT_EQ(at(99998), 255);
        EXPECT_EQ(at(99999), 9);
    }
}

// Samples at both ends with everything, products around multiples of 65535,
// where the floor steps, and a seeded million.
TEST(ScaledProduct, IsTheFloorForPairsOf16Bits) {
    const Reports reports;
    std::vector<std::pair<std::int64_t, std::int64_t>> pairs;
    for (const std::int64_t x : {0, 1, 2, 255, 256, 257, 32767, 32768, 65534, 65535}) {
        for (std::int64_t y = 0; y < 65536; ++y) pairs.emplace_back(x, y);
    }
    std::mt19937 random(5);
    for (int i = 0; i < 1000000; ++i) {
        const std::int64_t x = random() >> 16;
        std::int64_t y = random() >> 16;
        if (i % 2 == 0 && x != 0) y = 65535 * (random() % static_cast<unsigned>(x)) / x + i / 2 % 2;
        pairs.emplace_back(x, std::min<std::int64_t>(y, 65535));
    }
    const int width = 4096;
    const int height = static_cast<int>(pairs.size() / width);
    TestImage a({.depth = ZYL_DEPTH_16U, .width = width, .height = height});
    TestImage b(a.shape());
    TestImage d(a.shape());
    for (int i = 0; i < width * height; ++i) {
        a.set(i % width, i / width, 1, pairs[static_cast<std::size_t>(i)].first);
        b.set(i % width, i / width, 1, pairs[static_cast<std::size_t>(i)].second);
    }
    zylMultiplyScale(a, b, d, nullptr);
    for (int i = 0; i < width * height; ++i) {
        const auto [x, y] = pairs[static_cast<std::size_t>(i)];
        ASSERT_EQ(d.at(i % width, i / width), x * y / 65535) << x << " * " << y;
    }
}

TEST(MultiplySScale, CapsTheScale) {
    const Reports reports;
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        TestImage src({.depth = depth, .channels = 3, .width = 9, .height = 2});
        src.randomise(3);
        for (const std::uint32_t scale : {65535u, 1000000u, static_cast<std::uint32_t>(-1)}) {
            TestImage dst(src.shape());
            zylMultiplySScale(src, dst, scale, nullptr);
            EXPECT_EQ(difference(src, dst), "") << scale;
        }
    }
}

TEST(MultiplySScale, ChannelsOfInterestAndOrders) {
    Reports reports;
    const Shape planes{.channels = 3, .width = 30, .height = 20, .order = ZYL_DATA_ORDER_PLANE};
    TestImage src(planes);
    TestImage dst({.channels = 4, .width = 20, .height = 30});
    src.randomise(1).region(3, 0, 0, 30, 20);
    dst.randomise(2).region(2, 0, 0, 20, 30);
    const TestImage before(dst);
    zylMultiplySScale(src, dst, 100, nullptr);
    for (int c = 1; c <= 4; ++c) {
        for (int y = 0; y < 30; ++y) {
            for (int x = 0; x < 20; ++x) {
                ASSERT_EQ(dst.at(x, y, c),
                          c == 2 && y < 20 ? src.at(x, y, 3) * 100 / 255 : before.at(x, y, c));
            }
        }
    }
    // A region of all channels: the source's channel is not looked at.
    TestImage all({.channels = 3, .width = 30, .height = 20});
    all.region(0, 0, 0, 30, 20);
    zylMultiplySScale(src, all, 255, nullptr);
    src.noRegion();
    all.noRegion();
    EXPECT_EQ(difference(src, all), "");
    EXPECT_TRUE(reports.all().empty());
}

std::vector<std::int64_t> pixel(const TestImage &image, int x = 0, int y = 0) {
    std::vector<std::int64_t> samples;
    for (int c = 1; c <= image.shape().channels; ++c) samples.push_back(image.at(x, y, c));
    return samples;
}

TEST(PreMultiplyAlpha, EqualsTheReference) {
    const Reports reports;
    unsigned seed = 1;
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        const std::int64_t most = highest(depth);
        for (const int channels : {1, 2, 3, 4, 5}) {
            for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
                for (const bool hasAlpha : {false, true}) {
                    for (const int alpha : {-1, 0, 77, 1000000}) {
                        if (!hasAlpha && alpha < 0) continue;
                        for (const int coi : {0, 1, channels}) {
                            TestImage image({.depth = depth,
                                             .channels = channels,
                                             .width = 37,
                                             .height = 19,
                                             .order = order,
                                             .alpha = hasAlpha ? channels : 0});
                            image.randomise(++seed);
                            const TestImage before(image);
                            image.region(coi, 2, 1, 33, 17);
                            if (seed % 2 == 0) image.tiles(16, 8);
                            zylPreMultiplyAlpha(image, alpha, nullptr);
                            const std::int64_t constant = std::min<std::int64_t>(alpha, most);
                            for (int c = 1; c <= channels; ++c) {
                                for (int y = 0; y < 19; ++y) {
                                    for (int x = 0; x < 37; ++x) {
                                        std::int64_t expected = before.at(x, y, c);
                                        const std::int64_t factor =
                                            alpha < 0 ? before.at(x, y, channels) : constant;
                                        const bool inside = x >= 2 && x < 35 && y >= 1 && y < 18;
                                        if (inside && hasAlpha && c == channels) {
                                            if (alpha >= 0) expected = constant;
                                        } else if (inside && (coi == 0 || coi == c)) {
                                            expected = expected * factor / most;
                                        }
                                        ASSERT_EQ(image.at(x, y, c), expected)
                                            << describe(image.shape()) << " alpha " << alpha
                                            << " coi " << coi << " at " << x << ", " << y;
                                    }
                                }
                            }
                        }
                    }
                }
            }
        }
    }
    TestImage worked({.channels = 4, .width = 1, .height = 1, .alpha = 4});
    for (const int alpha : {-1, 128}) {
        worked.assign({200, 100, 50, 128});
        zylPreMultiplyAlpha(worked, alpha, nullptr);
        EXPECT_EQ(pixel(worked), (std::vector<std::int64_t>{100, 50, 25, 128}));
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(PreMultiplyAlpha, OneTile) {
    const Reports reports;
    TestImage image({.width = 20, .height = 20});
    image.fill(200).region(0, 3, 3, 17, 17);
    image.tiles(8, 8);
    for (const ZylTileMapping outside :
         {ZylTileMapping{-1, 9}, {9, -1}, {24, 9}, {9, 1000}, {INT32_MAX, INT32_MAX}}) {
        zylPreMultiplyAlpha(image, 0, &outside);
    }
    EXPECT_TRUE(image.tileCalls().empty());
    const ZylTileMapping first = {0, 7};
    zylPreMultiplyAlpha(image, 0, &first);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            EXPECT_EQ(image.at(x, y), x >= 3 && x < 8 && y >= 3 && y < 8 ? 0 : 200);
        }
    }
}

TEST(ScaleReports, InOrder) {
    using Run = std::function<void(ZylImage * d, ZylImage * a, ZylImage * b)>;
    const auto expect = [](const Run &run, ZylImage *d, ZylImage *a, ZylImage *b,
                           const char *function, const std::string &text) {
        FailingCalls(function, "zylalpha").expect({text}, [&] { run(d, a, b); });
    };
    const Run scale = [](ZylImage *d, ZylImage *a, ZylImage *) {
        zylMultiplySScale(a, d, 7, nullptr);
    };
    const Run multiplyA = [](ZylImage *d, ZylImage *a, ZylImage *b) {
        zylMultiplyScale(a, b, d, nullptr);
    };
    const Run multiplyB = [](ZylImage *d, ZylImage *b, ZylImage *a) {
        zylMultiplyScale(a, b, d, nullptr);
    };
    const struct {
        const Run &run;
        const char *function, *source;
    } operations[] = {{scale, "zylMultiplySScale", "srcImage"},
                      {multiplyA, "zylMultiplyScale", "srcImageA"},
                      {multiplyB, "zylMultiplyScale", "srcImageB"}};
    for (const auto &[run, function, source] : operations) {
        SCOPED_TRACE(source);
        const std::string s = source;
        const Shape shape{.channels = 3, .width = 10, .height = 10};
        TestImage d(shape), a(shape), b(shape);
        TestImage signedImage({.depth = ZYL_DEPTH_8S, .width = 10, .height = 10});
        TestImage deep({.depth = ZYL_DEPTH_16U, .width = 10, .height = 10});
        TestImage gray({.width = 10, .height = 10});
        TestImage broken(shape);
        broken.header()->nChannels = 0;

        expect(run, nullptr, broken, b, function, "dstImage==0");
        expect(run, broken, nullptr, b, function, "zylBadImageHeader(dstImage) != 0");
        d.region(0, 10, 10, 1, 1);
        expect(run, d, nullptr, b, function, "dstImage->roi->xOffset >= dstImage->width");
        d.region(0, 9, 10, 1, 1);
        expect(run, d, nullptr, b, function, "dstImage->roi->yOffset >= dstImage->height");
        d.noRegion();
        expect(run, signedImage, nullptr, signedImage, function, s + "==0");
        expect(run, signedImage, broken, signedImage, function,
               "zylBadImageHeader(" + s + ") != 0");
        a.region(0, 10, 0, 1, 1);
        expect(run, signedImage, a, signedImage, function,
               s + "->roi->xOffset >= " + s + "->width");
        a.region(0, 0, 10, 1, 1);
        expect(run, signedImage, a, signedImage, function,
               s + "->roi->yOffset >= " + s + "->height");
        a.noRegion();
        expect(run, signedImage, a, b, function, "dstImage->depth != 8 && dstImage->depth != 16");
        expect(run, d, deep, b, function, s + "->depth != dstImage->depth");
        d.region(1, 0, 0, 10, 10);
        b.region(1, 0, 0, 10, 10);
        expect(run, d, a, b, function, "dstImage->roi->coi > 0 && " + s + "->roi == 0");
        a.region(0, 0, 0, 10, 10);
        expect(run, d, a, b, function, "dstImage->roi->coi > 0 && " + s + "->roi->coi == 0");
        a.region(1, 0, 0, 10, 10);
        d.noRegion();
        b.noRegion();
        expect(run, d, a, b, function, s + "->roi->coi > 0 && dstImage->roi == 0");
        expect(run, d, gray, b, function, s + "->nChannels != dstImage->nChannels");
    }

    const Run pre = [](ZylImage *image, ZylImage *, ZylImage *) {
        zylPreMultiplyAlpha(image, -1, nullptr);
    };
    TestImage deep({.depth = ZYL_DEPTH_32S, .channels = 4, .width = 3, .height = 3, .alpha = 1});
    TestImage first({.channels = 4, .width = 3, .height = 3, .alpha = 1});
    TestImage none({.channels = 4, .width = 3, .height = 3});
    const char *name = "zylPreMultiplyAlpha";
    expect(pre, nullptr, nullptr, nullptr, name, "image==0");
    expect(pre, deep, nullptr, nullptr, name, "image->depth != 8 && image->depth != 16");
    expect(pre, first, nullptr, nullptr, name,
           "image->alphaChannel > 0 && image->alphaChannel != image->nChannels");
    expect(pre, none, nullptr, nullptr, name, "image->alphaChannel < 1");
}

// Of the first image in tiles, each one under the region once, wherever the region begins.
TEST(ScaleTiles, AreRequestedOnce) {
    const Reports reports;
    TestImage src({.width = 60, .height = 40});
    TestImage dst({.width = 60, .height = 40});
    src.region(0, 1, 2, 30, 20);
    dst.tiles(16, 8).region(0, 13, 7, 30, 20);
    zylMultiplySScale(src, dst, 9, nullptr);
    std::vector<TileCall> expected;
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 3; ++column) {
            expected.push_back({column, row, ZYL_GET_TILE_TO_WRITE});
            expected.push_back({column, row, ZYL_RELEASE_TILE});
        }
    }
    EXPECT_EQ(dst.tileCalls(), expected);
}

} // namespace
