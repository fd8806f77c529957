// The cosine transform.

#include <cfenv>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

#include "core/memory.h"
#include "tests/support/failing_calls.h"
#include "tests/transform/pictures.h"

using namespace support;

namespace {

constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S,
                                    ZYL_DEPTH_32S};

using Matrix = std::vector<std::vector<double>>; // [row][column]

// Sums over every row, then over every column.
Matrix naive(const Matrix &f, bool forward) {
    const auto along = [forward](const Matrix &m) {
        const std::size_t n = m[0].size();
        Matrix sums(n, std::vector<double>(m.size())); // transposed
        for (std::size_t u = 0; u < n; ++u) {
            const double factor = std::sqrt((u == 0 ? 1.0 : 2.0) / double(n));
            for (std::size_t x = 0; x < n; ++x) {
                const double angle = double((2 * x + 1) * u % (4 * n)) * std::numbers::pi;
                const double weight = factor * std::cos(angle / double(2 * n));
                for (std::size_t row = 0; row < m.size(); ++row) {
                    if (forward) sums[u][row] += weight * m[row][x];
                    if (!forward) sums[x][row] += weight * m[row][u];
                }
            }
        }
        return sums;
    };
    return along(along(f));
}

Matrix samplesOf(const TestImage &image) {
    Matrix f(image.shape().height, std::vector<double>(image.shape().width));
    for (int y = 0; y < image.shape().height; ++y) {
        for (int x = 0; x < image.shape().width; ++x) f[y][x] = double(image.at(x, y));
    }
    return f;
}

// What single precision explains. The recursion for powers of two multiplies by
// secants of up to n / 3, so its error grows with the root of the length: each of
// the two passes adds half of 2^-23 of the block's energy, times that root.
double singlePrecision(const Matrix &f) {
    double squares = 0;
    for (const auto &row : f) {
        for (const double value : row) squares += value * value;
    }
    const double length = double(std::max(f.size(), f[0].size()));
    return std::ldexp(std::sqrt(squares), -23) * (std::sqrt(length) + 4);
}

class DctTest : public testing::Test {
  protected:
    DctTest() : src(shapeOf(ZYL_DEPTH_8U, 9, 7, 3)), dst(shapeOf(ZYL_DEPTH_16S, 9, 7, 3)) {
        src.randomise(1);
        dst.randomise(2);
    }
    ~DctTest() override { zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE); }

    using Texts = std::vector<std::string>;
    static constexpr auto INCOMPATIBLE = "Images are not compatible";

    // A call that gives these texts and writes nothing.
    void refused(const Texts &texts, ZylImage *a, ZylImage *b, int flags = ZYL_DCT_FORWARD,
                 int line = __builtin_LINE()) {
        SCOPED_TRACE(line);
        FailingCalls("zylDCT2D", "zyldct2d").watch(dst).expect(texts, [&] {
            zylDCT2D(a, b, flags);
        });
        EXPECT_TRUE(dst.guardsIntact());
    }
    // A call that goes through.
    void accepted(ZylImage *a, ZylImage *b, int flags = ZYL_DCT_FORWARD,
                  int line = __builtin_LINE()) {
        SCOPED_TRACE(line);
        Reports reports;
        zylDCT2D(a, b, flags);
        EXPECT_EQ(Texts{}, reports.texts());
        EXPECT_TRUE(dst.guardsIntact());
    }

    TestImage src, dst;
};

TEST_F(DctTest, IsThatOfNaiveSums) {
    std::mt19937 random(1);
    constexpr struct {
        int width, height;
    } SIZES[] = {{1, 1},   {1, 2},   {2, 2},   {4, 4},   {8, 8},    {8, 4},   {16, 8},  {6, 10},
                 {3, 5},   {1, 9},   {17, 16}, {12, 33}, {32, 32},  {64, 13}, {70, 70}, {128, 4},
                 {35, 38}, {1, 256}, {512, 7}, {257, 2}, {16, 128}, {8, 7},   {19, 8},  {2, 1024}};
    for (const auto [n, m] : SIZES) {
        for (const bool forward : {true, false}) {
            TestImage f(shapeOf(ZYL_DEPTH_32S, n, m));
            TestImage terms(shapeOf(ZYL_DEPTH_32S, n, m));
            randomiseSmall(f, random, 100000);
            accepted(f, terms, forward ? ZYL_DCT_FORWARD : ZYL_DCT_INVERSE);
            const Matrix samples = samplesOf(f);
            const Matrix expected = naive(samples, forward);
            const double bound = 0.5 + singlePrecision(samples);
            for (int y = 0; y < m; ++y) {
                for (int x = 0; x < n; ++x) {
                    ASSERT_NEAR(expected[y][x], double(terms.at(x, y)), bound)
                        << "(" << x << ", " << y << ") of " << n << " x " << m << ", forward "
                        << forward;
                }
            }
        }
    }
}

// Every size from 1 x 1 to 70 x 70, with depth, order, channels and regions drawn
// for each; the source's region and the destination's have corners of their own.
// Rounding the terms puts noise of sqrt(1 / 12) on every sample, which among the
// millions here is more than 1.5 now and then.
TEST_F(DctTest, ForwardAndInverseGiveTheImageBack) {
    std::mt19937 random(3);
    const auto pick = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int n = 1; n <= 70; ++n) {
        for (int m = 1; m <= 70; ++m) {
            const int channels = pick(1, 2);
            const int order = pick(0, 1);
            const bool region = pick(0, 1) != 0;
            const int more = region ? 3 : 0;
            TestImage f(shapeOf(DEPTHS[pick(0, 4)], n + more, m + more, channels, order));
            TestImage terms(shapeOf(ZYL_DEPTH_32S, n + more, m + more, channels, order));
            TestImage back(shapeOf(f.shape().depth, n + more, m + more, channels, order));
            randomiseSmall(f, random, 65535);
            const int coi = region ? pick(0, channels) : 0;
            const int x0 = region ? pick(0, 3) : 0;
            const int y0 = region ? pick(0, 3) : 0;
            if (region) {
                f.region(coi, x0, y0, n, m);
                terms.region(coi, pick(0, 3), pick(0, 3), n, m);
                back.region(coi, x0, y0, n, m);
            }
            back.randomise(n * 100 + m);
            const TestImage untouched(back);
            accepted(f, terms, ZYL_DCT_FORWARD);
            accepted(terms, back, ZYL_DCT_INVERSE);
            for (int c = 1; c <= channels; ++c) {
                for (int y = 0; y < m + more; ++y) {
                    for (int x = 0; x < n + more; ++x) {
                        const bool inside = x >= x0 && x < x0 + n && y >= y0 && y < y0 + m &&
                                            (coi == 0 || coi == c);
                        const std::int64_t expected =
                            inside ? f.at(x, y, c) : untouched.at(x, y, c);
                        ASSERT_NEAR(expected, back.at(x, y, c), inside ? 2 : 0)
                            << describe(f.shape()) << " at (" << x << ", " << y << "), channel "
                            << c << " of interest " << coi;
                    }
                }
            }
            ASSERT_TRUE(back.guardsIntact() && terms.guardsIntact());
        }
    }
}

TEST_F(DctTest, WorkedNumbers) {
    // A constant block of k has sqrt(W H) k as its only term.
    for (const auto &[n, m, term] :
         {std::tuple{8, 8, 800}, {16, 4, 800}, {3, 12, 600}, {1, 1, 100}, {5, 5, 500}}) {
        TestImage block(shapeOf(ZYL_DEPTH_8U, n, m));
        TestImage terms(shapeOf(ZYL_DEPTH_16S, n, m));
        block.fill(100);
        accepted(block, terms);
        for (int y = 0; y < m; ++y) {
            for (int x = 0; x < n; ++x) {
                EXPECT_EQ(x == 0 && y == 0 ? term : 0, terms.at(x, y)) << n << " x " << m;
            }
        }
        TestImage saturated(shapeOf(ZYL_DEPTH_8U, n, m));
        accepted(block, saturated);
        EXPECT_EQ(std::min(term, 255), saturated.at(0, 0));
        block.fill(0);
        EXPECT_EQ(0, block.at(0, 0));
    }
    // Ties go to the even number: 2 x 2 blocks have half the sum of four samples.
    for (const auto &[sum, half] :
         {std::pair{1, 0}, {2, 1}, {3, 2}, {5, 2}, {7, 4}, {-1, 0}, {-3, -2}, {-5, -2}}) {
        TestImage block(shapeOf(ZYL_DEPTH_16S, 2, 2));
        TestImage terms(shapeOf(ZYL_DEPTH_16S, 2, 2));
        block.fill(0).set(1, 0, 1, sum);
        accepted(block, terms);
        EXPECT_EQ(half, terms.at(0, 0)) << sum;
    }
    // The ends of 32 bits.
    TestImage one(shapeOf(ZYL_DEPTH_32S, 2, 2));
    TestImage two(shapeOf(ZYL_DEPTH_32S, 2, 2));
    one.fill(INT32_MAX);
    accepted(one, two);
    EXPECT_EQ(INT32_MAX, two.at(0, 0));
    one.fill(INT32_MIN);
    accepted(one, two);
    EXPECT_EQ(INT32_MIN, two.at(0, 0));
}

TEST_F(DctTest, ChannelsGoWhereTheyAreSent) {
    // From channel 1, its alpha or not, to channel 3.
    src.header()->alphaChannel = 1;
    src.region(1, 0, 0, 9, 7);
    dst.region(3, 0, 0, 9, 7);
    TestImage gray(shapeOf(ZYL_DEPTH_8U, 9, 7));
    TestImage grayTerms(shapeOf(ZYL_DEPTH_16S, 9, 7));
    TestImage expected(dst);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x) gray.set(x, y, 1, src.at(x, y, 1));
    }
    accepted(gray, grayTerms);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x) expected.set(x, y, 3, grayTerms.at(x, y));
    }
    accepted(src, dst);
    EXPECT_EQ("", difference(expected, dst));

    // Without a channel of interest, the source's alpha channel stays out.
    src.noRegion();
    dst.noRegion();
    const TestImage before(dst);
    accepted(src, dst);
    TestImage all(before);
    accepted(src, all, ZYL_DCT_FORWARD | ZYL_DCT_WITH_ALPHA);
    for (int y = 0; y < 7; ++y) {
        for (int x = 0; x < 9; ++x) {
            ASSERT_EQ(before.at(x, y, 1), dst.at(x, y, 1));
            ASSERT_EQ(grayTerms.at(x, y), all.at(x, y, 1));
            ASSERT_EQ(all.at(x, y, 2), dst.at(x, y, 2));
            ASSERT_EQ(all.at(x, y, 3), dst.at(x, y, 3));
        }
    }
}

TEST_F(DctTest, EveryRefusal) {
    refused({"src==0", "dst==0"}, nullptr, nullptr);
    refused({"dst==0"}, src, nullptr);
    refused({}, nullptr, nullptr, ZYL_DCT_RELEASE | ZYL_DCT_FORWARD);
    refused({}, src, dst, 0);
    refused({}, src, dst, ZYL_DCT_FORWARD | ZYL_DCT_INVERSE);

    refused({INCOMPATIBLE}, dst, dst);
    for (const Shape &shape :
         {shapeOf(ZYL_DEPTH_8U, 9, 7, 2), shapeOf(ZYL_DEPTH_8U, 8, 7, 3),
          shapeOf(ZYL_DEPTH_8U, 9, 6, 3), shapeOf(ZYL_DEPTH_8U, 9, 7, 3, ZYL_DATA_ORDER_PLANE)}) {
        TestImage other(shape);
        refused({INCOMPATIBLE}, other, dst);
    }
    TestImage tiled(src);
    tiled.tiles(8, 8);
    refused({INCOMPATIBLE}, tiled, dst);
    EXPECT_TRUE(tiled.tileCalls().empty());
    TestImage bits(shapeOf(ZYL_DEPTH_1U, 9, 7));
    TestImage gray(shapeOf(ZYL_DEPTH_8U, 9, 7));
    refused({INCOMPATIBLE}, bits, gray);
    refused({INCOMPATIBLE}, gray, bits);
    TestImage disordered(src);
    disordered.header()->dataOrder = 2;
    TestImage both(disordered);
    refused({INCOMPATIBLE}, disordered, both);

    src.region(0, 0, 0, 9, 7);
    refused({INCOMPATIBLE}, src, dst);
    dst.region(0, 0, 0, 9, 7);
    accepted(src, dst);
    dst.region(0, 1, 0, 8, 7); // smaller than the source's
    refused({INCOMPATIBLE}, src, dst);
    src.region(0, 0, 0, 8, 7);
    accepted(src, dst);
    src.region(0, 2, 0, 8, 7); // past the edge
    refused({INCOMPATIBLE}, src, dst);
    src.region(0, -1, 0, 8, 7);
    refused({INCOMPATIBLE}, src, dst);
    src.region(0, INT32_MAX, 0, INT32_MAX, 7);
    refused({INCOMPATIBLE}, src, dst);
    src.region(0, 0, 0, 0, 7);
    refused({INCOMPATIBLE}, src, dst);
    src.region(2, 0, 0, 8, 7); // into no channel
    refused({INCOMPATIBLE}, src, dst);
    dst.region(4, 0, 0, 8, 7);
    refused({INCOMPATIBLE}, src, dst);

    Reports reports;
    const TestImage before(dst);
    zylSetErrStatus(ZYL_StsNoMem);
    zylDCT2D(src, dst, ZYL_DCT_FORWARD);
    EXPECT_TRUE(reports.all().empty());
    EXPECT_EQ("", difference(before, dst));
}

int allocations = 0;
bool countAllocation(std::size_t) {
    ++allocations;
    return false;
}

TEST_F(DctTest, TablesStayUntilTheyAreReleased) {
    const auto allocationsOf = [&](TestImage &a, TestImage &b) {
        allocations = 0;
        zylqx::refuseAllocations(countAllocation);
        zylDCT2D(a, b, ZYL_DCT_FORWARD);
        zylqx::refuseAllocations(nullptr);
        return allocations;
    };
    Reports reports;
    TestImage large(shapeOf(ZYL_DEPTH_16S, 64, 128));
    TestImage largeTerms(large);
    const int first = allocationsOf(src, dst); // two tables of cosines
    const int again = allocationsOf(src, dst);
    EXPECT_EQ(first - 2, again);
    EXPECT_EQ(again + 1, allocationsOf(large, largeTerms)); // one of secants
    EXPECT_EQ(again, allocationsOf(large, largeTerms));
    EXPECT_EQ(again, allocationsOf(src, dst));
    zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
    EXPECT_EQ(first, allocationsOf(src, dst));
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(DctTest, AFailedAllocationWritesNothingAndSaysNothing) {
    for (const auto &[n, m] : {std::pair{9, 7}, {16, 32}, {16, 7}}) {
        TestImage f(shapeOf(ZYL_DEPTH_8U, n, m, 2));
        TestImage terms(shapeOf(ZYL_DEPTH_16S, n, m, 2));
        f.randomise(4);
        terms.randomise(5);
        const TestImage before(terms);
        TestImage expected(terms);
        accepted(f, expected);
        Reports reports;
        for (int failed = 1;; ++failed) {
            zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
            const AllocationFault fault(failed);
            zylDCT2D(f, terms, ZYL_DCT_FORWARD);
            if (!AllocationFault::struck()) break;
            ASSERT_EQ("", difference(before, terms)) << failed;
        }
        EXPECT_EQ("", difference(expected, terms));
        EXPECT_TRUE(reports.all().empty());
    }
}

TEST_F(DctTest, RoundingModeOfTheCallerDoesNotMatter) {
    TestImage expected(dst);
    accepted(src, expected);
    std::fesetround(FE_UPWARD);
    zylDCT2D(src, dst, ZYL_DCT_FORWARD);
    const int mode = std::fegetround();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(FE_UPWARD, mode);
    EXPECT_EQ("", difference(expected, dst));
}

// The laws of every operation that works on images in memory.
std::vector<Operation> operations() {
    std::vector<Operation> table;
    const auto add = [&](const char *name, const char *reported, auto function, int flags) {
        Operation operation;
        operation.name = name;
        operation.reportedName = reported;
        operation.sources = 1;
        operation.run = [=](ZylImage *const *images, const std::int32_t *) {
            function(images[0], images[1], flags);
        };
        operation.shapes = usualShapes({DEPTHS[0], DEPTHS[1], DEPTHS[2], DEPTHS[3], DEPTHS[4]});
        std::erase_if(operation.shapes, [](const Shape &shape) { return shape.width == 1; });
        operation.pointwise = false;
        operation.regions = false; // those that reach past the image are refused
        operation.inPlace = std::string(reported) != "zylDCT2D";
        operation.tileArgument = false;
        operation.headersReported = false;
        operation.tilesSupported = false;
        table.push_back(operation);
    };
    const auto real = [](ZylImage *a, ZylImage *b, int f) { zylRealFft2D(a, b, f, nullptr); };
    const auto ccs = [](ZylImage *a, ZylImage *b, int f) { zylCcsFft2D(a, b, f, nullptr); };
    const auto dct = [](ZylImage *a, ZylImage *b, int f) { zylDCT2D(a, b, f); };
    add("RealFft", "zylRealFft2D", real, ZYL_FFT_INVERSE);
    add("RealFftFixedPoint", "zylRealFft2D", real, ZYL_FFT_INVERSE | ZYL_FFT_FIXED_POINT);
    add("CcsFft", "zylCcsFft2D", ccs, ZYL_FFT_INVERSE);
    add("CcsFftFixedPoint", "zylCcsFft2D", ccs, ZYL_FFT_FORWARD | ZYL_FFT_FIXED_POINT);
    add("Dct", "zylDCT2D", dct, ZYL_DCT_FORWARD);
    add("InverseDct", "zylDCT2D", dct, ZYL_DCT_INVERSE);
    return table;
}

} // namespace

namespace support {
ZYLQX_RUN_LAWS(Transforms, operations());
}
