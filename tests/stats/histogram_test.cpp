#include <gtest/gtest.h>

#include "tests/stats/lut.h"
#include "tests/support/failing_calls.h"

using namespace support;

namespace {

using Values = std::vector<std::int32_t>;

// Keys at 0, 1, 2 ...: the whole histogram.
TestLut fullLut(std::int32_t histSize) {
    Values keys;
    for (std::int32_t v = 0; v <= histSize; ++v) keys.push_back(v);
    return TestLut(std::move(keys), {});
}

TEST(ComputeHisto, CountsEverySample) {
    const Reports reports;
    unsigned seed = 1;
    const struct {
        std::uint32_t depth;
        int channels;
    } cases[] = {{ZYL_DEPTH_8U, 1},
                 {ZYL_DEPTH_8U, 2},
                 {ZYL_DEPTH_8U, 3},
                 {ZYL_DEPTH_8U, 4},
                 {ZYL_DEPTH_16U, 3}};
    for (const auto &[depth, channels] : cases) {
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const int coi : {0, 2}) {
                if (coi > channels) continue;
                for (const bool tiled : {false, true}) {
                    TestImage image({.depth = depth,
                                     .channels = channels,
                                     .width = 53,
                                     .height = 31,
                                     .order = order});
                    image.randomise(++seed).region(coi, 3, 5, 100, 20);
                    if (tiled) image.tiles(16, 8);
                    const std::int32_t size = 1 << depth;
                    TestLut lut = fullLut(size);
                    std::vector<TestLut> luts(4, lut);
                    ZylLUT *pointers[] = {luts[0], luts[1], luts[2], luts[3]};
                    if (coi == 2) pointers[0] = pointers[2] = pointers[3] = nullptr;
                    zylComputeHisto(image, pointers, nullptr);
                    for (int c = 1; c <= channels; ++c) {
                        Values expected(static_cast<std::size_t>(size) + 1);
                        for (int y = 5; y < 25 && (coi == 0 || coi == c); ++y) {
                            for (int x = 3; x < 53; ++x) {
                                ++expected[static_cast<std::size_t>(image.at(x, y, c))];
                            }
                        }
                        EXPECT_EQ(luts[static_cast<std::size_t>(c) - 1].value, expected)
                            << "seed " << seed << ", channel " << c;
                    }
                    EXPECT_EQ(image.tilesHeld(), 0);
                }
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(ComputeHisto, CountsBitsAtEveryOffset) {
    const Reports reports;
    TestImage image({.depth = ZYL_DEPTH_1U, .width = 211, .height = 3});
    image.randomise(9);
    for (const bool tiled : {false, true}) {
        if (tiled) image.tiles(24, 8);
        for (int from = 0; from < 9; ++from) {
            for (const int width : {1, 6, 64, 130, 202}) {
                image.region(0, from, 0, width, 3);
                int set = 0;
                for (int y = 0; y < 3; ++y) {
                    for (int x = from; x < from + width; ++x) {
                        set += static_cast<int>(image.at(x, y));
                    }
                }
                TestLut lut({0, 1, 2}, {});
                ZylLUT *luts[] = {lut};
                zylComputeHisto(image, luts, nullptr);
                EXPECT_EQ(lut.value, (Values{3 * width - set, set, 0})) << from << " " << width;
            }
        }
    }
}

TEST(ComputeHisto, FillsIntervalsAndClearsInterpolate) {
    const Reports reports;
    TestImage image({.width = 4, .height = 1});
    image.assign({0, 127, 128, 255});
    TestLut lut({0, 128, 256}, {10, 20, 30}, {1, 1, 1}, true);
    ZylLUT *luts[] = {lut};
    zylComputeHisto(image, luts, nullptr);
    EXPECT_EQ(lut.value, (Values{2, 2, 30}));
    EXPECT_EQ(lut.lut.interpolate, 0);

    // Wide intervals before and between single values, and as many values as there are
    // intervals although not all are single.
    TestLut mixed({0, 127, 128, 255, 256}, {0, 0, 0, 0, 30});
    TestLut repeated({126, 126, 128, 129}, {0, 0, 0, 30});
    ZylLUT *mixedLuts[] = {mixed};
    ZylLUT *repeatedLuts[] = {repeated};
    zylComputeHisto(image, mixedLuts, nullptr);
    zylComputeHisto(image, repeatedLuts, nullptr);
    EXPECT_EQ(mixed.value, (Values{1, 1, 1, 1, 30}));
    EXPECT_EQ(repeated.value, (Values{0, 1, 1, 30}));

    // Samples below the first key belong to no interval, nor to an empty one.
    image.assign({126, 127, 128, 129});
    TestLut narrow({127, 127, 129, 129, 256}, {9, 9, 9, 9, 9});
    ZylLUT *narrows[] = {narrow};
    zylComputeHisto(image, narrows, nullptr);
    EXPECT_EQ(narrow.value, (Values{0, 2, 0, 1, 9}));

    // One tile, and a tile that the region does not touch.
    TestImage tiled({.width = 20, .height = 20});
    tiled.fill(3).tiles(8, 8);
    const std::int32_t last[] = {2, 2};
    const std::int32_t outside[] = {3, 0};
    zylComputeHisto(tiled, luts, last);
    EXPECT_EQ(lut.value, (Values{16, 0, 30}));
    zylComputeHisto(tiled, luts, outside);
    EXPECT_EQ(lut.value, (Values{0, 0, 30}));
    EXPECT_EQ(tiled.tileCalls().size(), 2u);
}

// What a stretch makes of one 8-bit sample.
int stretched(TestLut lut, int sample) {
    TestImage image({.width = 1, .height = 1});
    image.assign({sample});
    ZylLUT *luts[] = {lut};
    zylContrastStretch(image, image, luts, nullptr);
    return static_cast<int>(image.at(0, 0));
}

TEST(ContrastStretch, WorkedCases) {
    const Reports reports;
    const TestLut steps({64, 192}, {0, 255});
    EXPECT_EQ(stretched(steps, 63), 63);
    EXPECT_EQ(stretched(steps, 64), 0);
    EXPECT_EQ(stretched(steps, 191), 0);
    EXPECT_EQ(stretched(steps, 192), 255);
    EXPECT_EQ(stretched(steps, 255), 255);

    // 400 and -10 keep their low 8 bits.
    EXPECT_EQ(stretched(TestLut({0, 256}, {0, 0}, {2, 0}, true), 200), 144);
    EXPECT_EQ(stretched(TestLut({0, 256}, {0, 0}, {-1, 0}, true), 10), 246);
    EXPECT_EQ(stretched(TestLut({0, 256}, {0, 0}, {INT32_MAX, 0}, true), 3), 253);

    // A last key below the end goes on with its own slope.
    EXPECT_EQ(stretched(TestLut({0, 100}, {7, 10}, {0, 2}, true), 110), 30);

    // A repeated key holds the table in the interval before it for ever.
    const TestLut repeated({0, 0, 128, 256}, {5, 6, 7, 8}, {1, 0, 0, 0}, true);
    EXPECT_EQ(stretched(repeated, 0), 5);
    EXPECT_EQ(stretched(repeated, 200), 205);
    EXPECT_TRUE(zylGetErrStatus() == ZYL_StsOk);
}

// Every 8-bit sample at every position of a row, and 16-bit samples, by a table of
// its own for each channel.
TEST(ContrastStretch, LooksUpEverySample) {
    const Reports reports;
    const struct {
        std::uint32_t depth;
        int channels;
    } cases[] = {{ZYL_DEPTH_8U, 1},
                 {ZYL_DEPTH_8U, 2},
                 {ZYL_DEPTH_8U, 3},
                 {ZYL_DEPTH_8U, 4},
                 {ZYL_DEPTH_16U, 1}};
    for (const auto &[depth, channels] : cases) {
        const std::int32_t size = 1 << depth;
        TestImage src({.depth = depth, .channels = channels, .width = 700, .height = 300});
        TestImage dst(src.shape());
        std::vector<TestLut> luts;
        std::vector<ZylLUT *> pointers;
        for (int c = 1; c <= channels; ++c) {
            for (int y = 0; y < 300; ++y) {
                for (int x = 0; x < 700; ++x) src.set(x, y, c, (y * 256 + x * 255 + 7 * c) % size);
            }
            // Multiplying by an odd number reaches every value once.
            luts.push_back(TestLut({0, size}, {13 * c, 0}, {171 + 2 * c, 0}, true));
        }
        for (TestLut &lut : luts) pointers.push_back(lut);
        zylContrastStretch(src, dst, pointers.data(), nullptr);
        for (int c = 1; c <= channels; ++c) {
            for (int y = 0; y < 300; ++y) {
                for (int x = 0; x < 700; ++x) {
                    ASSERT_EQ(dst.at(x, y, c), (13 * c + (171 + 2 * c) * src.at(x, y, c)) % size)
                        << x << ", " << y << ", channel " << c << " of " << channels;
                }
            }
        }
    }
}

// Equalises an image of the samples 0, 1, 2 ...: what the table is.
Values equalised(TestLut &lut, int samples) {
    TestImage image({.width = samples, .height = 1});
    for (int x = 0; x < samples; ++x) image.set(x, 0, 1, x);
    ZylLUT *luts[] = {lut};
    zylHistoEqualize(image, image, luts, nullptr);
    Values result;
    for (int x = 0; x < samples; ++x) result.push_back(static_cast<std::int32_t>(image.at(x, 0)));
    return result;
}

TEST(HistoEqualize, SpreadsIntervalsAndPutsTheRemainderLast) {
    const Reports reports;
    // Bins 2 2 2 1, and 0 elsewhere: the sums are 2 4 6 7 of 7.
    TestLut lut({0, 4}, {9});
    EXPECT_EQ(equalised(lut, 6), (Values{2 * 255 / 7, 4 * 255 / 7, 6 * 255 / 7, 255, 255, 255}));
    EXPECT_EQ(lut.value, (Values{0, 0}));

    // The output histogram: bins 3 and 1 go to 191 and 255.
    TestLut two({0, 1, 2, 200, 256}, {3, 1, 0, 0});
    EXPECT_EQ(equalised(two, 3), (Values{191, 255, 255}));
    EXPECT_EQ(two.value, (Values{0, 0, 3, 1, 0}));

    // Repeated keys move the cursor on; more of them than bins stay inside.
    TestLut repeated({0, 0, 0, 256}, {4, 4, 0});
    EXPECT_EQ(equalised(repeated, 2), (Values{127, 255}));
    TestLut many(Values(600, 256), Values(600, 1));
    equalised(many, 1);
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsInternal);
}

TEST(HistoEqualize, LevelsTheImageItWasCountedFrom) {
    const Reports reports;
    TestImage image({.depth = ZYL_DEPTH_16U, .channels = 3, .width = 64, .height = 64});
    for (int c = 1; c <= 3; ++c) {
        for (int y = 0; y < 64; ++y) {
            for (int x = 0; x < 64; ++x) image.set(x, y, c, 1000 * c + x + y * y % 97);
        }
    }
    TestLut lut = fullLut(65536);
    std::vector<TestLut> luts(3, lut);
    ZylLUT *pointers[] = {luts[0], luts[1], luts[2]};
    zylComputeHisto(image, pointers, nullptr);
    zylHistoEqualize(image, image, pointers, nullptr);
    std::vector<TestLut> after(3, lut);
    ZylLUT *afterPointers[] = {after[0], after[1], after[2]};
    zylComputeHisto(image, afterPointers, nullptr);
    for (std::size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(luts[c].value, after[c].value) << "the LUT holds the result's histogram";
        std::int64_t sum = 0;
        for (std::size_t v = 0; v < 65536; ++v) {
            sum += after[c].value[v];
            if (after[c].value[v] == 0) continue;
            EXPECT_EQ(static_cast<std::int64_t>(v), sum * 65535 / 4096);
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST(HistoEqualize, RewritesTheEntriesOfTheDestination) {
    Reports reports;
    TestImage src({.channels = 3, .width = 2, .height = 1});
    TestImage dst({.channels = 3, .width = 2, .height = 1});
    src.region(1, 0, 0, 2, 1);
    dst.region(3, 0, 0, 2, 1);
    TestLut first({0, 256}, {512});
    TestLut third({0, 128, 256}, {7, 7});
    ZylLUT *luts[] = {first, nullptr, third};
    zylHistoEqualize(src, dst, luts, nullptr);
    EXPECT_EQ(first.value[0], 512);
    EXPECT_EQ(third.value[0] + third.value[1], 2 * 255) << "the last bin gets the remainder, 0";
    luts[2] = nullptr;
    zylHistoEqualize(src, dst, luts, nullptr);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"lut[k]==0"});
}

struct Mapping {
    const char *name;
    void(ZYL_CALL *run)(ZylImage *, ZylImage *, ZylLUT *const *, const std::int32_t *);
};

TEST(Histogram, ReportsInOrder) {
    for (const Mapping &mapping : {Mapping{"zylContrastStretch", zylContrastStretch},
                                   Mapping{"zylHistoEqualize", zylHistoEqualize}}) {
        SCOPED_TRACE(mapping.name);
        TestImage odd({.depth = ZYL_DEPTH_8S, .width = 4, .height = 4});
        TestImage other(
            {.width = 4, .height = 4, .order = ZYL_DATA_ORDER_PLANE, .origin = ZYL_ORIGIN_BL});
        FailingCalls calls(mapping.name, "zylHist");
        calls.expect(
            {"srcImage->depth != dstImage->depth", "srcImage->dataOrder != dstImage->dataOrder",
             "srcImage->origin != dstImage->origin",
             "srcImage->depth != ZYL_DEPTH_8U && srcImage->depth != ZYL_DEPTH_16U", "lut==0"},
            [&] { mapping.run(odd, other, nullptr, nullptr); });
        // Different numbers of channels end the call without a look at the LUTs.
        TestImage gray({.width = 4, .height = 4});
        TestImage colour({.channels = 3, .width = 4, .height = 4});
        ZylLUT *none[] = {nullptr, nullptr, nullptr};
        calls.expect(FailingCalls::Texts{}, [&] { mapping.run(gray, colour, none, nullptr); });

        // A stale status ends the call quietly.
        TestLut lut({0, 256}, {1});
        ZylLUT *luts[] = {lut};
        const Reports reports;
        zylSetErrStatus(ZYL_StsError);
        gray.fill(9);
        mapping.run(gray, gray, luts, nullptr);
        EXPECT_EQ(gray.at(0, 0), 9);
        EXPECT_TRUE(reports.all().empty());
    }

    TestImage odd({.depth = ZYL_DEPTH_32S, .width = 4, .height = 4});
    FailingCalls("zylComputeHisto", "zylHist")
        .expect({"lut==0", "srcImage->depth & ZYL_DEPTH_SIGN"},
                [&] { zylComputeHisto(odd, nullptr, nullptr); });
}

TEST(Histogram, ReportsTheFirstFaultOfALut) {
    Reports reports;
    TestImage image({.width = 4, .height = 4});
    image.fill(7);
    const auto expect = [&](const char *text, auto spoil) {
        for (const int operation : {0, 1, 2}) {
            TestLut lut({0, 3, 256}, {1, 1}, {0, 0, 0});
            ZylLUT *luts[] = {lut};
            spoil(lut, luts[0]);
            reports.clear();
            if (operation == 0) zylComputeHisto(image, luts, nullptr);
            if (operation == 1) zylContrastStretch(image, image, luts, nullptr);
            if (operation == 2) zylHistoEqualize(image, image, luts, nullptr);
            EXPECT_EQ(reports.texts(), std::vector<std::string>{text}) << operation;
            EXPECT_EQ(image.at(1, 1), 7);
        }
    };
    expect("lut[k]==0", [](TestLut &, ZylLUT *&pointer) { pointer = nullptr; });
    expect("lut[k]->key==0", [](TestLut &lut, ZylLUT *&) {
        lut.lut.key = lut.lut.value = nullptr;
        lut.lut.num = 1;
    });
    expect("lut[k]->value==0", [](TestLut &lut, ZylLUT *&) {
        lut.lut.value = nullptr;
        lut.lut.num = 1;
    });
    expect("lut[k]->num < 2", [](TestLut &lut, ZylLUT *&) {
        lut.lut.num = 1;
        lut.key[0] = -1;
    });
    expect("lut[k]->key[0] < 0", [](TestLut &lut, ZylLUT *&) { lut.key = {-1, 3, 257}; });
    expect("lut[k]->key[lut[k]->num-1] > histSize", [](TestLut &lut, ZylLUT *&) {
        lut.key[1] = 300;
        lut.key[2] = 257;
    });
    expect("lut[k]->key[i] > lut[k]->key[i+1]", [](TestLut &lut, ZylLUT *&) { lut.key[1] = 300; });

    TestLut lut({0, 256}, {1, 1}, {}, true);
    ZylLUT *luts[] = {lut};
    reports.clear();
    zylContrastStretch(image, image, luts, nullptr);
    EXPECT_EQ(reports.texts(), std::vector<std::string>{"lut[k]->factor==0"});
}

TEST(Histogram, ReportsFailuresInTheMiddle) {
    Reports reports;
    TestLut lut({0, 256}, {512, 1});
    ZylLUT *luts[] = {lut};
    const Report readFailed = {ZYL_StsError, "zylMap", "Error get tile to read", "zylHist"};
    const Report writeFailed = {ZYL_StsError, "zylMap", "Error get tile to write", "zylHist"};
    const auto trace = [](const char *name) {
        return Report{ZYL_StsBackTrace, name, "", "zylHist"};
    };
    TestImage src({.width = 20, .height = 20});
    TestImage dst({.width = 20, .height = 20});
    src.tiles(8, 8).failTileRequest(2);
    zylComputeHisto(src, luts, nullptr);
    EXPECT_EQ(reports.all(), (std::vector<Report>{{ZYL_StsError, "zylComputeHisto",
                                                   "Error get tile to read", "zylHist"},
                                                  trace("zylComputeHisto")}));
    EXPECT_EQ(zylGetErrStatus(), ZYL_StsError);
    EXPECT_EQ(lut.value[0], 512);
    reports.clear();
    zylContrastStretch(src, dst, luts, nullptr);
    dst.tiles(8, 8).failTileRequest(1);
    EXPECT_EQ(reports.all().size(), 0u) << "only the second request fails";
    zylContrastStretch(src, dst, luts, nullptr);
    EXPECT_EQ(reports.all(), (std::vector<Report>{writeFailed, trace("zylContrastStretch")}));
    reports.clear();
    src.failTileRequest(1);
    dst.failTileRequest(0);
    zylHistoEqualize(src, dst, luts, nullptr);
    EXPECT_EQ(reports.all(), (std::vector<Report>{readFailed, trace("zylHistoEqualize")}));
    EXPECT_EQ(src.tilesHeld() + dst.tilesHeld(), 0);

    reports.clear();
    lut.value[0] = 0;
    zylHistoEqualize(src, dst, luts, nullptr);
    EXPECT_EQ(reports.all(),
              (std::vector<Report>{{ZYL_StsInternal, "zylHistoEqualize",
                                    "All values in histogram are zeroes", "zylHist"}}));
    lut.value[0] = 512;

    for (int n = 1; n <= 3; ++n) {
        for (const int operation : {0, 1, 2}) {
            if (operation < 2 && n > 1) continue;
            reports.clear();
            const auto before = dst.bytes();
            const AllocationFault fault(n);
            if (operation == 0) zylComputeHisto(src, luts, nullptr);
            if (operation == 1) zylContrastStretch(src, dst, luts, nullptr);
            if (operation == 2) zylHistoEqualize(src, dst, luts, nullptr);
            ASSERT_EQ(reports.all().size(), 1u);
            EXPECT_EQ(reports.all()[0].status, ZYL_StsNoMem);
            EXPECT_EQ(reports.all()[0].text, "");
            EXPECT_EQ(dst.bytes(), before);
        }
    }
}

// 2^16 tables of 2^16 entries: as many as 32 bits cannot count.
TEST(Histogram, ReportsMoreTablesThanCanBeCounted) {
    if (sizeof(std::size_t) > 4) GTEST_SKIP() << "they can be counted";
    Reports reports;
    TestImage image({.depth = ZYL_DEPTH_16U, .channels = 65536});
    TestLut lut({0, 65536}, {1, 1});
    const std::vector<ZylLUT *> luts(65536, lut);
    zylComputeHisto(image, luts.data(), nullptr);
    EXPECT_EQ(reports.all(),
              (std::vector<Report>{{ZYL_StsNoMem, "zylComputeHisto", "", "zylHist"}}));
    reports.clear();
    zylContrastStretch(image, image, luts.data(), nullptr);
    EXPECT_EQ(reports.all(),
              (std::vector<Report>{{ZYL_StsNoMem, "zylContrastStretch", "", "zylHist"}}));
    reports.clear();
    zylHistoEqualize(image, image, luts.data(), nullptr);
    EXPECT_EQ(reports.all(),
              (std::vector<Report>{{ZYL_StsNoMem, "zylHistoEqualize", "", "zylHist"}}));
}

// Only the source is tiled: `dstTile` names one of its tiles.
TEST(Histogram, ATileOfTheSource) {
    const Reports reports;
    TestImage src({.width = 20, .height = 20});
    TestImage dst({.width = 20, .height = 20});
    src.fill(7).tiles(8, 8);
    dst.fill(9);
    TestLut lut({0, 256}, {1});
    ZylLUT *luts[] = {lut};
    const std::int32_t tile[] = {1, 2};
    zylContrastStretch(src, dst, luts, tile);
    for (int y = 0; y < 20; ++y) {
        for (int x = 0; x < 20; ++x) {
            EXPECT_EQ(dst.at(x, y), x / 8 == 1 && y / 8 == 2 ? 1 : 9) << x << ", " << y;
        }
    }
}

} // namespace
