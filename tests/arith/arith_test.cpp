#include <gtest/gtest.h>

#include "tests/arith/operations.h"
#include "tests/support/failing_calls.h"

using namespace support;

namespace {

// The laws run over one set of arguments of each operation and kernel.
std::vector<Operation> lawTable() {
    const std::vector<std::string> names = {
        "Add",
        "Subtract",
        "SubtractReverse",
        "Multiply",
        "And",
        "Or",
        "Xor",
        "AddS_minus_20",
        "SubtractS_100",
        "SubtractSReverse_100",
        "AddS_255",
        "MultiplyS_2",
        "MultiplyS_65537",
        "LShiftS_5",
        "LShiftS_8",
        "RShiftS_5",
        "Square",
        "Abs",
        "Not",
        "AndS_3",
        "OrS_4660",
        "XorS_4294967295",
    };
    std::vector<Operation> table;
    const auto nameOf = [](const ArithCase &c) { return c.operation.name; };
    for (const ArithCase &c : chosen(arithCases(), names, nameOf)) table.push_back(c.operation);
    return table;
}

class Arith : public testing::TestWithParam<ArithCase> {};

std::string caseName(const testing::TestParamInfo<ArithCase> &info) {
    return info.param.operation.name;
}

// The first samples that differ from what the case expects, over the block that
// the smallest image leaves.
void expectCase(const ArithCase &c, const TestImage &a, const TestImage &b, const TestImage &before,
                const TestImage &result) {
    const std::uint32_t depth = result.shape().depth;
    const int width = std::min(a.shape().width, b.shape().width);
    const int height = std::min(a.shape().height, b.shape().height);
    for (int channel = 1; channel <= result.shape().channels; ++channel) {
        for (int y = 0; y < result.shape().height; ++y) {
            for (int x = 0; x < result.shape().width; ++x) {
                const bool inside = x < width && y < height;
                const std::int64_t expected =
                    inside ? c.expected(depth, a.at(x, y, channel), b.at(x, y, channel))
                           : before.at(x, y, channel);
                ASSERT_EQ(result.at(x, y, channel), expected)
                    << describe(result.shape()) << " (" << x << ", " << y << ") channel " << channel
                    << ", a = " << a.at(x, y, channel) << ", b = " << b.at(x, y, channel);
            }
        }
    }
}

// Every depth and order, in whole buffers, in rows, and by a channel of interest.
TEST_P(Arith, EqualsTheReference) {
    const ArithCase &c = GetParam();
    const Reports reports;
    unsigned seed = 10;
    for (Shape shape : usualShapes({std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)})) {
        for (const int order : {ZYL_DATA_ORDER_PIXEL, ZYL_DATA_ORDER_PLANE}) {
            for (const bool sameSize : {true, false}) {
                shape.order = order;
                Shape larger = shape;
                larger.width += 3;
                larger.height += 2;
                TestImage a(shape);
                TestImage b(sameSize ? shape : larger);
                TestImage d(sameSize ? shape : larger);
                a.randomise(++seed);
                b.randomise(++seed);
                d.randomise(++seed);
                const TestImage before(d);
                ZylImage *images[] = {a, b, d};
                if (c.operation.sources == 1) images[1] = d;
                c.operation.run(images, nullptr);
                expectCase(c, a, c.operation.sources == 1 ? a : b, before, d);
                EXPECT_TRUE(d.guardsIntact());
                if (HasFailure()) return;
            }
        }
    }
    EXPECT_TRUE(reports.all().empty());
}

// 1-bit rows at every bit offset of source and destination.
TEST_P(Arith, EqualsTheReferenceAtEveryBitOffset) {
    const ArithCase &c = GetParam();
    const Reports reports;
    const Shape shape{.depth = ZYL_DEPTH_1U, .width = 173, .height = 2};
    TestImage a(shape);
    TestImage b(shape);
    TestImage d(shape);
    a.randomise(1);
    b.randomise(2);
    for (int from = 0; from < 9; ++from) {
        for (int to = 0; to < 9; ++to) {
            for (const int width : {1, 7, 64, 65, 139}) {
                d.randomise(3);
                const TestImage before(d);
                a.region(0, from, 0, width, 2);
                b.region(0, 8 - from, 0, width, 2);
                d.region(0, to, 0, width, 2);
                ZylImage *images[] = {a, c.operation.sources == 1 ? d : b, d};
                c.operation.run(images, nullptr);
                for (int y = 0; y < 2; ++y) {
                    for (int x = 0; x < shape.width; ++x) {
                        const int i = x - to;
                        const std::int64_t expected =
                            i >= 0 && i < width
                                ? c.expected(ZYL_DEPTH_1U, a.at(from + i, y), b.at(8 - from + i, y))
                                : before.at(x, y);
                        ASSERT_EQ(d.at(x, y), expected)
                            << "from " << from << " to " << to << " width " << width << " at " << x;
                    }
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Cases, Arith, testing::ValuesIn(arithCases()), caseName);

// Every pair of 8-bit samples.
TEST(ArithExhaustive, AllPairsOf8BitSamples) {
    for (const ArithCase &c : arithCases()) {
        if (c.operation.sources != 2) continue;
        for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_8S}) {
            const Shape shape{.depth = depth, .width = 256, .height = 256};
            TestImage a(shape);
            TestImage b(shape);
            TestImage d(shape);
            for (int y = 0; y < 256; ++y) {
                for (int x = 0; x < 256; ++x) {
                    a.set(x, y, 1, x);
                    b.set(x, y, 1, y);
                }
            }
            ZylImage *images[] = {a, b, d};
            c.operation.run(images, nullptr);
            for (int y = 0; y < 256; ++y) {
                for (int x = 0; x < 256; ++x) {
                    ASSERT_EQ(d.at(x, y), c.expected(depth, a.at(x, y), b.at(x, y)))
                        << c.operation.name << " " << depthName(depth);
                }
            }
        }
    }
}

// Samples of one channel, as a row.
std::vector<std::int64_t> row(const TestImage &image, int channel = 1) {
    std::vector<std::int64_t> samples;
    for (int x = 0; x < image.shape().width; ++x) samples.push_back(image.at(x, 0, channel));
    return samples;
}

using Row = std::vector<std::int64_t>;

TEST(ArithWorked, Numbers) {
    const Shape bytes{.depth = ZYL_DEPTH_8U, .width = 3, .height = 1};
    TestImage a(bytes);
    TestImage b(bytes);
    TestImage d(bytes);
    a.assign({200, 10, 16});
    b.assign({100, 20, 16});
    zylAdd(a, b, d, nullptr);
    EXPECT_EQ(row(d), (Row{255, 30, 32}));
    zylSubtract(a, b, d, 0, nullptr);
    EXPECT_EQ(row(d), (Row{100, 0, 0}));
    zylSubtract(a, b, d, 1, nullptr);
    EXPECT_EQ(row(d), (Row{0, 10, 0}));
    zylMultiply(a, b, d, nullptr);
    EXPECT_EQ(row(d), (Row{255, 200, 255}));
    zylLShiftS(a, d, 1, nullptr);
    EXPECT_EQ(row(d), (Row{144, 20, 32}));

    const Shape shortS{.depth = ZYL_DEPTH_8S, .width = 3, .height = 1};
    TestImage s(shortS);
    TestImage r(shortS);
    s.assign({-3, 0, -128});
    zylMultiplyS(s, r, 0xFFFFFFFEu, nullptr);
    EXPECT_EQ(row(r), (Row{-128, 0, -128}));
    zylRShiftS(s, r, 1, nullptr);
    EXPECT_EQ(row(r), (Row{-2, 0, -64}));
    zylAbs(s, r, nullptr);
    EXPECT_EQ(row(r), (Row{3, 0, -128}));
    zylNot(s, r, nullptr);
    EXPECT_EQ(row(r), (Row{2, -1, 127}));

    const Shape wide{.depth = ZYL_DEPTH_32S, .width = 3, .height = 1};
    TestImage x(wide);
    TestImage y(wide);
    x.assign({INT32_MAX, INT32_MIN, 65536});
    y.assign({1, -1, 65536});
    zylAdd(x, y, x, nullptr);
    EXPECT_EQ(row(x), (Row{INT32_MAX, INT32_MIN, 131072}));
    x.assign({INT32_MAX, INT32_MIN, 65536});
    zylMultiply(x, y, y, nullptr);
    EXPECT_EQ(row(y), (Row{INT32_MAX, INT32_MAX, INT32_MAX}));
}

TEST(ArithChecks, TextsInTheirOrder) {
    const Shape good{.depth = ZYL_DEPTH_8U, .channels = 3, .width = 8, .height = 8};
    Shape deep = good;
    deep.depth = ZYL_DEPTH_16S;
    Shape planes = good;
    planes.order = ZYL_DATA_ORDER_PLANE;
    Shape gray = good;
    gray.channels = 1;
    struct Images {
        Shape a, b, d;
        const char *text;
    };
    const Images two[] = {
        {deep, planes, gray, "(srcImageA->depth != dstImage->depth)"},
        {planes, deep, good, "(srcImageB->depth != dstImage->depth)"},
        {planes, gray, good, "(srcImageA->dataOrder != dstImage->dataOrder)"},
        {gray, planes, good, "(srcImageB->dataOrder != dstImage->dataOrder)"},
        {gray, gray, good, "(nChSrcA != nChDst)"},
        {good, gray, good, "(nChSrcB != nChDst)"},
    };
    const struct {
        const char *name, *file;
        void (*run)(ZylImage *, ZylImage *, ZylImage *);
    } operations[] = {
        {"zylAdd", "zyladd", [](auto *a, auto *b, auto *d) { zylAdd(a, b, d, nullptr); }},
        {"zylSubtract", "zylsub",
         [](auto *a, auto *b, auto *d) { zylSubtract(a, b, d, 0, nullptr); }},
        {"zylMultiply", "zylmul", [](auto *a, auto *b, auto *d) { zylMultiply(a, b, d, nullptr); }},
        {"zylAnd", "zyland", [](auto *a, auto *b, auto *d) { zylAnd(a, b, d, nullptr); }},
        {"zylOr", "zylor", [](auto *a, auto *b, auto *d) { zylOr(a, b, d, nullptr); }},
        {"zylXor", "zylxor", [](auto *a, auto *b, auto *d) { zylXor(a, b, d, nullptr); }},
    };
    for (const auto &operation : operations) {
        for (const Images &images : two) {
            TestImage a(images.a), b(images.b), d(images.d);
            FailingCalls(operation.name, operation.file).watch(d).expect(images.text, [&] {
                operation.run(a, b, d);
            });
        }
    }

    const struct {
        const char *name, *file;
        void (*run)(ZylImage *, ZylImage *);
    } constants[] = {
        {"zylAddS", "zyladds", [](auto *s, auto *d) { zylAddS(s, d, 1, nullptr); }},
        {"zylSubtractS", "zylsubs", [](auto *s, auto *d) { zylSubtractS(s, d, 1, 0, nullptr); }},
        {"zylMultiplyS", "zylmuls", [](auto *s, auto *d) { zylMultiplyS(s, d, 2, nullptr); }},
        {"zylLShiftS", "zyllshs", [](auto *s, auto *d) { zylLShiftS(s, d, 99, nullptr); }},
        {"zylRShiftS", "zylshfts", [](auto *s, auto *d) { zylRShiftS(s, d, 1, nullptr); }},
        {"zylSquare", "zylsqr", [](auto *s, auto *d) { zylSquare(s, d, nullptr); }},
        {"zylAbs", "zylabs", [](auto *s, auto *d) { zylAbs(s, d, nullptr); }},
        {"zylAndS", "zylands", [](auto *s, auto *d) { zylAndS(s, d, 1, nullptr); }},
        {"zylOrS", "zylors", [](auto *s, auto *d) { zylOrS(s, d, 1, nullptr); }},
        {"zylXorS", "zylxors", [](auto *s, auto *d) { zylXorS(s, d, 1, nullptr); }},
        {"zylXorS", "zylxors", [](auto *s, auto *d) { zylNot(s, d, nullptr); }},
    };
    const struct {
        Shape s, d;
        const char *text;
    } one[] = {{deep, planes, "(srcImage->depth != dstImage->depth)"},
               {planes, gray, "(srcImage->dataOrder != dstImage->dataOrder)"},
               {gray, good, "(nChSrc != nChDst)"}};
    for (const auto &operation : constants) {
        for (const auto &images : one) {
            TestImage s(images.s), d(images.d);
            FailingCalls(operation.name, operation.file).watch(d).expect(images.text, [&] {
                operation.run(s, d);
            });
        }
    }
}

TEST(ArithRegions, WholeBuffersIncludePadding) {
    const Shape shape{.width = 5, .height = 2}; // rows of 8 bytes
    TestImage a(shape);
    TestImage d(shape);
    for (int i = 0; i < a.header()->imageSize; ++i) a.header()->imageData[i] = 7;
    zylAddS(a, d, 1, nullptr);
    EXPECT_EQ(d.header()->imageData[7], 8);
    zylAndS(a, d, 3, nullptr);
    EXPECT_EQ(d.header()->imageData[7], 3);
    // The frame of left shifts has no such case.
    zylLShiftS(a, d, 1, nullptr);
    EXPECT_EQ(d.header()->imageData[4], 14);
    EXPECT_EQ(d.header()->imageData[7], 3);
}

// A tile that is covered whole is a whole buffer to arithmetic, but not to logic
// with a constant.
TEST(ArithRegions, LogicWithAConstantKeepsThePaddingOfTiles) {
    static unsigned char pixels[8 * 4]; // rows of 8 bits and 24 bits of padding
    std::fill(std::begin(pixels), std::end(pixels), 0);
    ZylTileInfo tiles{[](ZylImage *image, std::int32_t, std::int32_t, std::int32_t mode) {
                          image->tileInfo->tileData = mode == ZYL_RELEASE_TILE ? nullptr : pixels;
                      },
                      nullptr, nullptr, 8, 8};
    TestImage s({.depth = ZYL_DEPTH_1U, .width = 8, .height = 8});
    s.fill(1);
    ZylImage d = *s.header();
    d.imageData = nullptr;
    d.tileInfo = &tiles;
    zylOrS(s, &d, 1, nullptr);
    EXPECT_EQ(pixels[4], 0xFF);
    EXPECT_EQ(pixels[5], 0);
    zylNot(&d, &d, nullptr);
    EXPECT_EQ(pixels[4], 0);
    EXPECT_EQ(pixels[5], 0);
}

TEST(ArithRegions, ChannelsOfInterest) {
    Reports reports;
    const Shape colour{.channels = 3, .width = 2, .height = 1};
    const Shape gray{.width = 2, .height = 1};
    TestImage a(colour);
    TestImage g(gray);
    TestImage d(colour);
    a.assign({1, 2, 3, 4, 5, 6});
    a.region(2, 0, 0, 2, 1);
    d.region(3, 0, 0, 2, 1);
    zylAddS(a, d, 10, nullptr);
    EXPECT_EQ(row(d, 3), (Row{12, 15}));
    EXPECT_EQ(row(d, 1), (Row{0, 0}));
    // A one-channel image without a channel of interest does not go with one that
    // has: nothing is written, except by logic with a constant.
    zylAddS(a, g, 10, nullptr);
    EXPECT_EQ(row(g), (Row{0, 0}));
    zylXorS(a, g, 1, nullptr);
    EXPECT_EQ(row(g), (Row{3, 4}));
    g.region(1, 0, 0, 2, 1);
    zylAddS(a, g, 10, nullptr);
    EXPECT_EQ(row(g), (Row{12, 15}));
    EXPECT_TRUE(reports.all().empty());
}

TEST(ArithTiles, RequestsInOrder) {
    const Reports reports;
    const Shape shape{.width = 20, .height = 20};
    TestImage a(shape);
    TestImage d(shape);
    d.tiles(8, 8);
    zylAddS(a, d, 1, nullptr);
    std::vector<TileCall> expected;
    for (int row = 0; row < 3; ++row) {
        for (int column = 0; column < 3; ++column) {
            expected.push_back({column, row, ZYL_GET_TILE_TO_WRITE});
            expected.push_back({column, row, ZYL_RELEASE_TILE});
        }
    }
    EXPECT_EQ(d.tileCalls(), expected);
}

TEST(ArithTiles, Reports) {
    Reports reports;
    const Shape shape{.width = 30, .height = 30};
    TestImage a(shape);
    TestImage b(shape);
    TestImage d(shape);
    d.tiles(8, 8);
    d.region(0, 8, 8, 14, 14);
    const auto before = d.bytes();
    const struct {
        std::int32_t tile[2];
        const char *text;
    } outside[] = {{{5, 0}, "(dTile.begX > dRoi.endX)"},
                   {{1, 5}, "(dTile.begY > dRoi.endY)"},
                   {{-1, 1}, "(dTile.endX < dRoi.begX)"},
                   {{1, -1}, "(dTile.endY < dRoi.begY)"},
                   {{INT32_MAX, INT32_MIN}, "(dTile.begX > dRoi.endX)"}};
    for (const auto &fault : outside) {
        reports.clear();
        zylAdd(a, b, d, fault.tile);
        EXPECT_EQ(reports.texts(), std::vector<std::string>{fault.text});
        EXPECT_TRUE(d.tileCalls().empty());
    }
    EXPECT_EQ(d.bytes(), before);

    // Tiles that touch the region's edges from outside have nothing of it.
    d.region(0, 8, 8, 8, 8);
    for (const auto &[column, row] : {std::pair{2, 1}, {1, 2}, {0, 1}, {1, 0}}) {
        const std::int32_t tile[] = {column, row};
        reports.clear();
        d.clearTileCalls();
        zylAdd(a, b, d, tile);
        EXPECT_TRUE(reports.all().empty());
        EXPECT_TRUE(d.tileCalls().empty());
    }
    EXPECT_EQ(d.bytes(), before);
}

// Two images of equal size in bytes are one run of bytes, but not if their rows have
// other lengths; the padding tells.
TEST(ArithRows, PaddingGoesAlongInWholeBuffersAlone) {
    const Reports reports;
    TestImage source({.width = 4, .height = 2});
    source.assign({1, 2, 3, 4, 5, 6, 7, 8});
    TestImage padded({.width = 4, .height = 1, .align = 8});
    padded.fill(0);
    zylAddS(source, padded, 1, nullptr);
    const unsigned char *row = padded.header()->imageData;
    EXPECT_EQ((std::vector<int>{row[0], row[3], row[4], row[7]}), (std::vector<int>{2, 5, 0, 0}));

    Shape shape{.width = 5, .height = 2};
    TestImage a(shape), d(shape);
    a.header()->imageData[5] = 9;
    zylAddS(a, d, 1, nullptr);
    EXPECT_EQ(d.header()->imageData[5], 10);
    // The first row of a region is found by the usual stride, the others by the header's.
    a.fill(1).widen(8);
    for (int y = 0; y < 2; ++y) a.set(0, y, 1, 7);
    a.region(0, 0, 1, 5, 1);
    zylAddS(a, d, 0, nullptr);
    EXPECT_EQ(d.at(0, 0), a.header()->imageData[8]);
}

} // namespace

namespace support {
ZYLQX_RUN_LAWS(Arith, lawTable());
} // namespace support
