// The Fourier transform and the packed spectrum.

#include <cfenv>
#include <cmath>
#include <complex>
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

using Term = std::complex<double>;
using Matrix = std::vector<std::vector<Term>>; // [row][column]

// Sums over every row, then over every column.
Matrix naive(const Matrix &f, int sign) {
    const auto along = [sign](const Matrix &m) {
        const std::size_t n = m[0].size();
        Matrix sums(n, std::vector<Term>(m.size())); // transposed
        std::vector<Term> roots(n);
        for (std::size_t k = 0; k < n; ++k) {
            roots[k] = std::polar(1.0, sign * 2 * std::numbers::pi * double(k) / double(n));
        }
        for (std::size_t row = 0; row < m.size(); ++row) {
            for (std::size_t u = 0; u < n; ++u) {
                for (std::size_t x = 0; x < n; ++x) sums[u][row] += m[row][x] * roots[u * x % n];
            }
        }
        return sums;
    };
    return along(along(f));
}

// Where the term (u, v) of an N x M spectrum is packed: its real and its imaginary
// part; the latter is -1 where there is none.
struct Place {
    int column, row;
};
struct Places {
    Place re, im;
};
Places placesOf(int u, int v, int n, int m) {
    if (u != 0 && 2 * u != n) return {{2 * u - 1, v}, {2 * u, v}};
    const int column = u == 0 ? 0 : n - 1;
    if (v == 0) return {{column, 0}, {-1, -1}};
    if (2 * v == m) return {{column, m - 1}, {-1, -1}};
    return {{column, 2 * v - 1}, {column, 2 * v}};
}

// The terms that are packed: u up to N / 2, and of the two edges half the column.
void eachPackedTerm(int n, int m, const std::function<void(int u, int v, Places)> &visit) {
    for (int u = 0; u <= n / 2; ++u) {
        const bool edge = u == 0 || 2 * u == n;
        for (int v = 0; v <= (edge ? m / 2 : m - 1); ++v) visit(u, v, placesOf(u, v, n, m));
    }
}

Matrix samplesOf(const TestImage &image, int channel = 1) {
    Matrix f(image.shape().height, std::vector<Term>(image.shape().width));
    for (int y = 0; y < image.shape().height; ++y) {
        for (int x = 0; x < image.shape().width; ++x) f[y][x] = double(image.at(x, y, channel));
    }
    return f;
}

// Root of the sum of squares: the usual size of a term, times the root of 2.
double energy(const Matrix &f) {
    double sum = 0;
    for (const auto &row : f) {
        for (const Term &value : row) sum += std::norm(value);
    }
    return std::sqrt(sum);
}

// Passes when `sample` is `exact` cut toward zero, or what is cut from a number
// that is wrong by no more than `bound`.
testing::AssertionResult cutFrom(double exact, double bound, std::int64_t sample) {
    if (double(sample) >= std::trunc(exact - bound) &&
        double(sample) <= std::trunc(exact + bound)) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << sample << " instead of " << exact << " +- " << bound;
}

// What single precision explains: each of the log2(n m) stages adds a rounding
// error of half of 2^-23 of its values, and so do roots and conversions.
double singlePrecision(double size, int n, int m, double scale) {
    return std::ldexp(size, -23) * (std::log2(double(n) * m) + 4) * scale;
}

// What fixed point explains: roots that are cut to 14 bits in every stage, and
// products that lose up to one of 64 parts in every sum of n m samples.
double fixedPoint(double size, int n, int m, double scale) {
    const double roots = std::ldexp(size, -14) * (std::log2(double(n) * m) + 1);
    return (roots + n * m / 64.0) * scale + 1;
}

// Of all samples together, so that sums fit: in 32 bits, less the fixed point's
// 6 fraction bits and a bit for the split of real signals.
int largestSum(int arithmetic) {
    return arithmetic == ZYL_FFT_FIXED_POINT ? 1 << 23 : 1 << 30;
}

struct Size {
    int width, height;
};
constexpr Size SIZES[] = {{1, 2},    {2, 1},   {2, 2},   {3, 5},   {4, 4},   {1, 7},    {8, 8},
                          {9, 1},    {16, 8},  {16, 16}, {5, 64},  {17, 16}, {12, 33},  {32, 32},
                          {64, 13},  {70, 70}, {128, 4}, {35, 38}, {1, 256}, {512, 17}, {257, 2},
                          {16, 128}, {143, 2}, {4, 254}, {75, 1}};

std::vector<std::int64_t> allOf(const TestImage &image) {
    std::vector<std::int64_t> samples;
    for (int y = 0; y < image.shape().height; ++y) {
        for (int x = 0; x < image.shape().width; ++x) samples.push_back(image.at(x, y));
    }
    return samples;
}

constexpr int DIRECTIONS[] = {ZYL_FFT_FORWARD, ZYL_FFT_INVERSE, ZYL_FFT_INVERSE | ZYL_FFT_NO_SCALE};

class FftTest : public testing::Test {
  protected:
    ~FftTest() override {
        zylRealFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
        EXPECT_EQ(std::vector<std::string>{}, reports.texts());
    }
    Reports reports;
};

TEST_F(FftTest, SpectrumIsThatOfNaiveSums) {
    std::mt19937 random(1);
    for (const Size extent : SIZES) {
        const int n = extent.width;
        const int m = extent.height;
        for (const int direction : DIRECTIONS) {
            for (const int arithmetic : {ZYL_FFT_FLOATING, ZYL_FFT_FIXED_POINT}) {
                TestImage f(shapeOf(ZYL_DEPTH_32S, n, m));
                TestImage spectrum(shapeOf(ZYL_DEPTH_32S, n, m));
                randomiseSmall(f, random, largestSum(arithmetic) / (n * m));
                zylRealFft2D(f, spectrum, direction | arithmetic, nullptr);

                const Matrix samples = samplesOf(f);
                const Matrix terms = naive(samples, direction == ZYL_FFT_FORWARD ? -1 : 1);
                const double scale = direction == ZYL_FFT_INVERSE ? 1.0 / (n * m) : 1.0;
                const double size = energy(samples);
                const double bound = arithmetic == ZYL_FFT_FLOATING
                                         ? singlePrecision(size, n, m, scale)
                                         : fixedPoint(size, n, m, scale);
                eachPackedTerm(n, m, [&](int u, int v, Places at) {
                    const Term term = terms[v][u] * scale;
                    EXPECT_TRUE(cutFrom(term.real(), bound, spectrum.at(at.re.column, at.re.row)))
                        << "Re F(" << u << ", " << v << ") of " << n << " x " << m << ", flags "
                        << (direction | arithmetic);
                    if (at.im.column < 0) return;
                    EXPECT_TRUE(cutFrom(term.imag(), bound, spectrum.at(at.im.column, at.im.row)))
                        << "Im F(" << u << ", " << v << ") of " << n << " x " << m << ", flags "
                        << (direction | arithmetic);
                });
            }
        }
    }
}

// A line of samples whose terms single precision can hold with some bits of their
// fractions: every length gives the rounded sum, whichever way it is computed.
TEST_F(FftTest, EveryLengthGivesRoundedSums) {
    std::mt19937 random(11);
    std::vector<int> lengths = {1000, 1021, 1080, 1331, 1690};
    for (int n = 3; n <= 140; ++n) {
        if ((n & (n - 1)) != 0) lengths.push_back(n);
    }
    for (const int n : lengths) {
        TestImage line(shapeOf(ZYL_DEPTH_16S, n, 1));
        TestImage spectrum(shapeOf(ZYL_DEPTH_32S, n, 1));
        randomiseSmall(line, random, 2048);
        zylRealFft2D(line, spectrum, ZYL_FFT_FORWARD | ZYL_FFT_FLOATING, nullptr);
        std::vector<std::int64_t> expected;
        for (int k = 0; k <= n / 2; ++k) {
            long double re = 0;
            long double im = 0;
            for (int j = 0; j < n; ++j) {
                const long double angle = 2 * std::numbers::pi_v<long double> * (j * k % n) / n;
                re += static_cast<long double>(line.at(j, 0)) * std::cos(angle);
                im -= static_cast<long double>(line.at(j, 0)) * std::sin(angle);
            }
            expected.push_back(static_cast<std::int64_t>(static_cast<float>(re)));
            if (k == 0 || 2 * k == n) continue;
            expected.push_back(static_cast<std::int64_t>(static_cast<float>(im)));
        }
        EXPECT_EQ(expected, allOf(spectrum)) << n;
    }
}

// A random spectrum, and all terms of it as the packing means them.
TEST_F(FftTest, ImageIsThatOfNaiveSums) {
    std::mt19937 random(2);
    for (const Size extent : SIZES) {
        const int n = extent.width;
        const int m = extent.height;
        for (const int direction : DIRECTIONS) {
            for (const int arithmetic : {ZYL_FFT_FLOATING, ZYL_FFT_FIXED_POINT}) {
                TestImage spectrum(shapeOf(ZYL_DEPTH_32S, n, m));
                TestImage f(shapeOf(ZYL_DEPTH_32S, n, m));
                randomiseSmall(spectrum, random, largestSum(arithmetic) / (n * m));
                zylCcsFft2D(spectrum, f, direction | arithmetic, nullptr);

                Matrix terms(m, std::vector<Term>(n));
                eachPackedTerm(n, m, [&](int u, int v, Places at) {
                    const Term term(
                        double(spectrum.at(at.re.column, at.re.row)),
                        at.im.column < 0 ? 0.0 : double(spectrum.at(at.im.column, at.im.row)));
                    terms[v][u] = term;
                    terms[(m - v) % m][(n - u) % n] = std::conj(term);
                });
                const Matrix samples = naive(terms, direction == ZYL_FFT_FORWARD ? -1 : 1);
                const double scale = direction == ZYL_FFT_INVERSE ? 1.0 / (n * m) : 1.0;
                const double size = energy(terms);
                const double bound = arithmetic == ZYL_FFT_FLOATING
                                         ? singlePrecision(size, n, m, scale)
                                         : fixedPoint(size, n, m, scale);
                for (int y = 0; y < m; ++y) {
                    for (int x = 0; x < n; ++x) {
                        EXPECT_TRUE(cutFrom(samples[y][x].real() * scale, bound, f.at(x, y)))
                            << "at (" << x << ", " << y << ") of " << n << " x " << m << ", flags "
                            << (direction | arithmetic);
                    }
                }
            }
        }
    }
}

// Every size from 1 x 2 to 70 x 70, with depth, orders, channels and regions
// drawn for each.
TEST_F(FftTest, ForwardAndInverseGiveTheImageBack) {
    std::mt19937 random(3);
    const auto pick = [&](int low, int high) {
        return std::uniform_int_distribution<int>(low, high)(random);
    };
    for (int n = 1; n <= 70; ++n) {
        for (int m = n == 1 ? 2 : 1; m <= 70; ++m) {
            const int channels = pick(1, 2);
            const int left = pick(0, 1) * pick(0, 3);
            const int top = pick(0, 1) * pick(0, 3);
            TestImage f(shapeOf(DEPTHS[pick(0, 4)], n + left, m + top, channels, pick(0, 1)));
            TestImage spectrum(shapeOf(ZYL_DEPTH_32S, n + left, m + top, channels, pick(0, 1)));
            TestImage back(shapeOf(f.shape().depth, n + left, m + top, channels, pick(0, 1)));
            // Single precision keeps 24 bits of a spectrum, fixed point 13.
            const bool small = n * m <= 128;
            randomiseSmall(f, random, small ? 255 : 65535);
            const int coi = pick(0, channels);
            const bool region = coi != 0 || left != 0 || top != 0 || pick(0, 1) != 0;
            if (region) {
                for (TestImage *image : {&f, &spectrum, &back}) {
                    image->region(coi, left, top, n, m);
                }
            }
            back.randomise(n * 100 + m);
            const TestImage untouched(back);
            zylRealFft2D(f, spectrum, ZYL_FFT_FORWARD, nullptr);
            zylCcsFft2D(spectrum, back, ZYL_FFT_INVERSE, nullptr);
            for (int c = 1; c <= channels; ++c) {
                for (int y = 0; y < m + top; ++y) {
                    for (int x = 0; x < n + left; ++x) {
                        const bool inside = x >= left && y >= top && (coi == 0 || coi == c);
                        const std::int64_t expected =
                            inside ? f.at(x, y, c) : untouched.at(x, y, c);
                        ASSERT_NEAR(expected, back.at(x, y, c), inside ? 1 : 0)
                            << describe(f.shape()) << " at (" << x << ", " << y << "), channel "
                            << c << " of interest " << coi;
                    }
                }
            }
            ASSERT_TRUE(back.guardsIntact() && spectrum.guardsIntact()) << describe(f.shape());
        }
    }
}

TEST_F(FftTest, WorkedNumbers) {
    for (const int arithmetic : {ZYL_FFT_FLOATING, ZYL_FFT_FIXED_POINT}) {
        TestImage square(shapeOf(ZYL_DEPTH_8U, 2, 2));
        TestImage squareSpectrum(shapeOf(ZYL_DEPTH_16S, 2, 2));
        square.assign({1, 2, 3, 4});
        zylRealFft2D(square, squareSpectrum, ZYL_FFT_FORWARD | arithmetic, nullptr);
        EXPECT_EQ((std::vector<std::int64_t>{10, -2, -4, 0}), allOf(squareSpectrum));

        // One row of 0, 1, 0, 0: exp(-2 pi i k / 4) is 1, -i, -1.
        TestImage row(shapeOf(ZYL_DEPTH_8S, 4, 1));
        TestImage rowSpectrum(shapeOf(ZYL_DEPTH_16S, 4, 1));
        row.assign({0, 100, 0, 0});
        zylRealFft2D(row, rowSpectrum, ZYL_FFT_FORWARD | arithmetic, nullptr);
        EXPECT_EQ((std::vector<std::int64_t>{100, 0, -100, -100}), allOf(rowSpectrum));
        zylRealFft2D(row, rowSpectrum, ZYL_FFT_INVERSE | ZYL_FFT_NO_SCALE | arithmetic, nullptr);
        EXPECT_EQ((std::vector<std::int64_t>{100, 0, 100, -100}), allOf(rowSpectrum));

        // A constant, saturated in 8 bits and not in 32.
        TestImage constant(shapeOf(ZYL_DEPTH_8U, 8, 8));
        constant.fill(7);
        for (const auto &[depth, sum] : {std::pair<std::uint32_t, int>{ZYL_DEPTH_32S, 7 * 64},
                                         {ZYL_DEPTH_8U, 255},
                                         {ZYL_DEPTH_8S, 127},
                                         {ZYL_DEPTH_16U, 7 * 64}}) {
            TestImage spectrum(shapeOf(depth, 8, 8));
            zylRealFft2D(constant, spectrum, ZYL_FFT_FORWARD | arithmetic, nullptr);
            std::vector<std::int64_t> expected(64, 0);
            expected[0] = sum;
            EXPECT_EQ(expected, allOf(spectrum)) << depthName(depth);
        }
    }
}

// The sums of fixed point, written out term by term for sizes whose sides are no
// powers of two, and its shift and division.
TEST_F(FftTest, FixedPointFollowsItsIntegerRules) {
    // 5 x 1: a real line. Re(k) and Im(k) are sums of floor(64 x * root / 2^14).
    constexpr int LENGTH = 5;
    const std::int64_t x[LENGTH] = {3, -7, 100, 101, -50};
    TestImage line(shapeOf(ZYL_DEPTH_16S, LENGTH, 1));
    TestImage spectrum(shapeOf(ZYL_DEPTH_32S, LENGTH, 1));
    line.assign({x[0], x[1], x[2], x[3], x[4]});
    const auto finished = [](std::int64_t v) { return v < 0 && v > -64 ? 0 : v >> 6; };
    std::vector<std::int64_t> expected;
    for (int k = 0; k <= 2; ++k) {
        std::int64_t re = 0;
        std::int64_t im = 0;
        for (int j = 0; j < LENGTH; ++j) {
            const double angle = 2 * std::numbers::pi * ((j * k) % LENGTH) / LENGTH;
            const auto c = static_cast<std::int64_t>(16384 * std::cos(angle));
            const auto s = static_cast<std::int64_t>(16384 * std::sin(angle));
            re += (64 * x[j] * c) >> 14;
            im += (64 * x[j] * -s) >> 14;
        }
        expected.push_back(finished(re));
        if (k > 0) expected.push_back(finished(im));
    }
    zylRealFft2D(line, spectrum, ZYL_FFT_FORWARD, nullptr); // small, so in fixed point
    EXPECT_EQ(expected, allOf(spectrum));

    // A scaled inverse of powers of two is shifted: an amplitude of 1 / 64 becomes
    // 0 on both sides of it, and -1 - 1/64 becomes -2.
    TestImage terms(shapeOf(ZYL_DEPTH_32S, 8, 8));
    TestImage image(shapeOf(ZYL_DEPTH_32S, 8, 8));
    for (const auto &[mean, sample] :
         {std::pair{-5, 0}, {5, 0}, {-63, 0}, {-64, -1}, {-65, -2}, {65, 1}, {640, 10}}) {
        terms.fill(0).set(0, 0, 1, mean);
        zylCcsFft2D(terms, image, ZYL_FFT_INVERSE, nullptr);
        EXPECT_EQ(std::vector<std::int64_t>(64, sample), allOf(image)) << mean;
    }
    // Other sizes divide, and round to the nearest, ties to even.
    TestImage six(shapeOf(ZYL_DEPTH_32S, 3, 2));
    TestImage sixth(shapeOf(ZYL_DEPTH_32S, 3, 2));
    for (const auto &[mean, sample] : {std::pair{8, 1}, {9, 2}, {10, 2}, {-8, -1}, {-10, -2}}) {
        six.fill(0).set(0, 0, 1, mean);
        zylCcsFft2D(six, sixth, ZYL_FFT_INVERSE, nullptr);
        EXPECT_EQ(std::vector<std::int64_t>(6, sample), allOf(sixth)) << mean;
    }
}

TEST_F(FftTest, ArithmeticIsChosenBySize) {
    struct Case {
        int n, m;
        bool fixedPoint;
    };
    for (const Case c : {Case{16, 8, true}, {43, 3, false}, {127, 1, true}}) {
        const int n = c.n;
        const int m = c.m;
        TestImage f(shapeOf(ZYL_DEPTH_16S, n, m));
        f.randomise(5);
        const auto spectrum = [&](int flags) {
            TestImage result(shapeOf(ZYL_DEPTH_32S, n, m));
            zylRealFft2D(f, result, ZYL_FFT_FORWARD | flags, nullptr);
            return allOf(result);
        };
        EXPECT_NE(spectrum(ZYL_FFT_FIXED_POINT), spectrum(ZYL_FFT_FLOATING));
        EXPECT_EQ(spectrum(c.fixedPoint ? ZYL_FFT_FIXED_POINT : ZYL_FFT_FLOATING), spectrum(0))
            << n << " x " << m;
    }
}

// The part that the regions have in common, at the same place in both images.
// Of 2^26 pixels, the 6 fraction bits and the scale are more than 32 bits have.
TEST_F(FftTest, FixedPointOfHugeImagesScalesDownToNothing) {
    TestImage image(shapeOf(ZYL_DEPTH_8U, 8192, 8192));
    image.set(0, 0, 1, 255);
    zylCcsFft2D(image, image, ZYL_FFT_INVERSE | ZYL_FFT_FIXED_POINT, nullptr);
    for (int x = 0; x < 8192; ++x) ASSERT_EQ(image.at(x, 4095), 0);
}

TEST_F(FftTest, RegionsAreIntersectedInImageCoordinates) {
    TestImage f(shapeOf(ZYL_DEPTH_8U, 20, 12, 3));
    TestImage spectrum(shapeOf(ZYL_DEPTH_32S, 15, 14, 3, ZYL_DATA_ORDER_PLANE));
    f.randomise(6).region(2, 3, 1, 17, 9);
    spectrum.randomise(7).region(2, 0, 4, 11, 10);
    TestImage expected(spectrum);

    TestImage cut(shapeOf(ZYL_DEPTH_8U, 8, 6));
    TestImage cutSpectrum(shapeOf(ZYL_DEPTH_32S, 8, 6));
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) cut.set(x, y, 1, f.at(x + 3, y + 4, 2));
    }
    zylRealFft2D(cut, cutSpectrum, ZYL_FFT_FORWARD, nullptr);
    for (int y = 0; y < 6; ++y) {
        for (int x = 0; x < 8; ++x) expected.set(x + 3, y + 4, 2, cutSpectrum.at(x, y));
    }
    zylRealFft2D(f, spectrum, ZYL_FFT_FORWARD, nullptr);
    EXPECT_EQ("", difference(expected, spectrum));
}

TEST_F(FftTest, AlphaIsLeftUnlessAskedFor) {
    Shape shape = shapeOf(ZYL_DEPTH_16S, 9, 17, 4);
    shape.alpha = 4;
    TestImage f(shape);
    f.randomise(8);
    TestImage without(shape);
    without.randomise(9);
    TestImage with(without);
    const TestImage before(without);
    zylRealFft2D(f, without, ZYL_FFT_FORWARD, nullptr);
    zylRealFft2D(f, with, ZYL_FFT_FORWARD | ZYL_FFT_WITH_ALPHA, nullptr);
    bool alphaChanged = false;
    for (int y = 0; y < 17; ++y) {
        for (int x = 0; x < 9; ++x) {
            for (int c = 1; c <= 3; ++c) ASSERT_EQ(with.at(x, y, c), without.at(x, y, c));
            ASSERT_EQ(before.at(x, y, 4), without.at(x, y, 4));
            alphaChanged |= with.at(x, y, 4) != before.at(x, y, 4);
        }
    }
    EXPECT_TRUE(alphaChanged);
}

class FftReports : public testing::Test {
  protected:
    FftReports() : src(shapeOf(ZYL_DEPTH_8U, 6, 5, 3)), dst(shapeOf(ZYL_DEPTH_32S, 6, 5, 3)) {
        src.randomise(10);
        dst.randomise(11);
    }
    ~FftReports() override { zylRealFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr); }

    using Texts = std::vector<std::string>;
    static constexpr auto ERROR = "Error in input data";
    static constexpr auto NOTHING = "No calculations! Looking input data!";

    void expect(const Texts &texts, ZylImage *a, ZylImage *b, int flags,
                const ZylTileMapping *map = nullptr, int line = __builtin_LINE()) {
        SCOPED_TRACE(line);
        for (const bool packed : {false, true}) {
            FailingCalls calls(packed ? "zylCcsFft2D" : "zylRealFft2D", "zylfft2d");
            if (!texts.empty()) calls.watch(dst);
            calls.expect(texts, [&] { (packed ? zylCcsFft2D : zylRealFft2D)(a, b, flags, map); });
            EXPECT_TRUE(dst.guardsIntact());
        }
    }

    TestImage src, dst;
};

TEST_F(FftReports, EveryText) {
    expect({"srcImage==0", "dstImage==0"}, nullptr, nullptr, ZYL_FFT_FORWARD);
    expect({"dstImage==0"}, src, nullptr, ZYL_FFT_FORWARD);
    expect({}, nullptr, nullptr, ZYL_FFT_RELEASE | ZYL_FFT_FORWARD);

    TestImage tiledSrc(src);
    TestImage tiledDst(dst);
    tiledSrc.tiles(8, 8);
    tiledDst.tiles(8, 8);
    expect({"srcImage->imageData==0", "dstImage->imageData==0"}, tiledSrc, tiledDst,
           ZYL_FFT_FORWARD);
    expect({"dstImage->imageData==0"}, src, tiledDst, ZYL_FFT_FORWARD);
    EXPECT_TRUE(tiledDst.tileCalls().empty());

    const ZylTileMapping map{0, 0};
    expect({"(map!=((void*)(0)))"}, src, dst, ZYL_FFT_FORWARD, &map);

    expect({ERROR}, src, dst, 0);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD | ZYL_FFT_INVERSE);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD | ZYL_FFT_FIXED_POINT | ZYL_FFT_FLOATING);
    expect({}, src, dst, ZYL_FFT_FORWARD);

    const auto withHeader = [&](auto change) {
        TestImage changed(src);
        change(*changed.header());
        expect({ERROR}, changed, dst, ZYL_FFT_FORWARD);
    };
    withHeader([](ZylImage &image) { image.align = 3; });
    withHeader([](ZylImage &image) { image.nChannels = 2; });
    withHeader([](ZylImage &image) { image.alphaChannel = 3; });
    withHeader([](ZylImage &image) { image.depth = ZYL_DEPTH_1U; });
    withHeader([](ZylImage &image) { image.dataOrder = 2; });
    TestImage bits(shapeOf(ZYL_DEPTH_1U, 6, 5));
    TestImage wide(shapeOf(ZYL_DEPTH_32S, 6, 5));
    expect({ERROR}, bits, wide, ZYL_FFT_FORWARD);
    expect({ERROR}, wide, bits, ZYL_FFT_FORWARD);
}

TEST_F(FftReports, RegionsThatDoNotFit) {
    src.region(0, 1, 0, 6, 5);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD);
    src.region(0, 0, 2, 6, 4);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD);
    src.region(0, INT32_MAX, 0, INT32_MAX, 5);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD);
    src.region(4, 0, 0, 6, 5);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD);
    src.region(1, 0, 0, 6, 5);
    expect({ERROR}, src, dst, ZYL_FFT_FORWARD);

    // Nothing in common, or one pixel.
    src.region(0, 0, 0, 3, 5);
    dst.region(0, 3, 0, 3, 5);
    expect({NOTHING}, src, dst, ZYL_FFT_FORWARD);
    dst.region(0, 2, 4, 4, 1);
    expect({NOTHING}, src, dst, ZYL_FFT_FORWARD);
    expect({NOTHING}, src, dst, ZYL_FFT_FORWARD | ZYL_FFT_FLOATING);
}

TEST_F(FftReports, AnEarlierFailureEndsTheCall) {
    Reports reports;
    const TestImage before(dst);
    zylSetErrStatus(ZYL_StsNoMem);
    zylRealFft2D(src, dst, ZYL_FFT_FORWARD, nullptr);
    EXPECT_EQ("", difference(before, dst));
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(FftReports, RepeatTakesPixelsAndFlagsOfTheCallBefore) {
    expect({ERROR}, src, dst, 0); // a failed set-up cannot be repeated
    expect({ERROR}, src, dst, ZYL_FFT_REPEAT);

    Reports reports;
    TestImage other(dst);
    other.randomise(12);
    const TestImage otherBefore(other);
    zylRealFft2D(src, dst, ZYL_FFT_INVERSE | ZYL_FFT_NO_SCALE | ZYL_FFT_FLOATING, nullptr);
    const TestImage first(dst);
    dst.fill(0);
    // The images given only have the right shape; their pixels are not touched.
    zylRealFft2D(other, other, ZYL_FFT_REPEAT | ZYL_FFT_FORWARD | ZYL_FFT_FIXED_POINT, nullptr);
    EXPECT_EQ("", difference(first, dst));
    EXPECT_EQ("", difference(otherBefore, other));

    // Their regions and channels count, and the reverse operation may follow.
    dst.fill(0);
    other.region(2, 1, 1, 4, 4);
    zylRealFft2D(other, other, ZYL_FFT_REPEAT, nullptr);
    TestImage expected(dst);
    expected.fill(0).region(2, 1, 1, 4, 4);
    src.region(2, 1, 1, 4, 4);
    zylRealFft2D(src, expected, ZYL_FFT_INVERSE | ZYL_FFT_NO_SCALE | ZYL_FFT_FLOATING, nullptr);
    EXPECT_EQ("", difference(expected, dst));

    // A region that the recorded images do not have.
    TestImage larger(shapeOf(ZYL_DEPTH_8U, 7, 5, 3));
    TestImage deeper(shapeOf(ZYL_DEPTH_8U, 6, 5, 4));
    expect({ERROR}, larger, larger, ZYL_FFT_REPEAT);
    expect({ERROR}, deeper, deeper, ZYL_FFT_REPEAT);
    EXPECT_TRUE(reports.texts().size() == 0);
}

int allocations = 0;
int allowed = 0;

// Lets `allowed` allocations succeed.
bool refuseLater(std::size_t) {
    return allocations++ >= allowed;
}

// Counts the allocations of a call, of which the first `limit` succeed.
int allocationsOf(const std::function<void()> &call, int limit = INT32_MAX) {
    allocations = 0;
    allowed = limit;
    zylqx::refuseAllocations(refuseLater);
    call();
    zylqx::refuseAllocations(nullptr);
    return allocations;
}

TEST_F(FftReports, KeptTablesLeaveNothingToAllocate) {
    Reports reports;
    const auto transform = [&](int flags) {
        return allocationsOf([&] { zylRealFft2D(src, dst, ZYL_FFT_FORWARD | flags, nullptr); });
    };
    EXPECT_GT(transform(ZYL_FFT_KEEP_TABLES), 0);
    EXPECT_EQ(0, transform(ZYL_FFT_KEEP_TABLES));
    EXPECT_EQ(0, transform(ZYL_FFT_REPEAT | ZYL_FFT_KEEP_TABLES));
    // A call that reports leaves them; one that does not keep them frees them.
    const ZylTileMapping map{0, 0};
    zylRealFft2D(src, dst, ZYL_FFT_FORWARD, &map);
    zylRealFft2D(src, dst, 0, nullptr);
    reports.clear();
    EXPECT_EQ(0, transform(0));
    EXPECT_GT(transform(ZYL_FFT_KEEP_TABLES), 0);
    zylCcsFft2D(nullptr, nullptr, ZYL_FFT_RELEASE, nullptr);
    EXPECT_GT(transform(0), 0);
    // More lengths than are kept, one after the other, then the first again.
    for (int n = 2; n <= 150; ++n) {
        TestImage line(shapeOf(ZYL_DEPTH_32S, n, 1));
        TestImage spectrum(shapeOf(ZYL_DEPTH_32S, n, 1));
        line.fill(1);
        zylRealFft2D(line, spectrum, ZYL_FFT_FORWARD | ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES,
                     nullptr);
        ASSERT_EQ(n, spectrum.at(0, 0));
    }
    EXPECT_TRUE(reports.all().empty());
}

TEST_F(FftReports, AFailedAllocationIsTriedAgainAndThenReported) {
    for (const int arithmetic : {ZYL_FFT_FLOATING, ZYL_FFT_FIXED_POINT}) {
        const int flags = ZYL_FFT_FORWARD | arithmetic;
        TestImage expected(dst);
        zylRealFft2D(src, expected, flags, nullptr);
        const int count = allocationsOf([&] { zylRealFft2D(src, expected, flags, nullptr); });
        ASSERT_GT(count, 0);
        for (int n = 1; n <= count; ++n) {
            {
                Reports reports;
                const TestImage before(dst);
                allocationsOf([&] { zylRealFft2D(src, dst, flags, nullptr); }, n - 1);
                EXPECT_EQ(std::vector<std::string>{ERROR}, reports.texts()) << n;
                EXPECT_EQ("", difference(before, dst)) << n;
            }
            Reports reports;
            const AllocationFault fault(n);
            TestImage result(dst);
            zylRealFft2D(src, result, flags, nullptr);
            EXPECT_TRUE(AllocationFault::struck());
            EXPECT_TRUE(reports.all().empty()) << n;
            EXPECT_EQ("", difference(expected, result)) << n;
        }
    }
}

// The caller's rounding mode changes no result and stays as it was.
TEST_F(FftReports, RoundingModeOfTheCallerDoesNotMatter) {
    Reports reports;
    TestImage expected(dst);
    const int flags = ZYL_FFT_INVERSE | ZYL_FFT_KEEP_TABLES;
    zylRealFft2D(src, expected, flags, nullptr);
    std::fesetround(FE_UPWARD);
    zylRealFft2D(src, dst, flags, nullptr);
    const int mode = std::fegetround();
    std::fesetround(FE_TONEAREST);
    EXPECT_EQ(FE_UPWARD, mode);
    EXPECT_EQ("", difference(expected, dst));
}

} // namespace
