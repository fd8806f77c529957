// The Fourier transform and the packed spectrum.

#include <cfenv>
#include <cmath>
#include <complex>
#include <functional>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

#include "core/memory.h"
#include "tests/support/laws.h"

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

Shape shapeOf(std::uint32_t depth, int width, int height, int channels = 1,
              int order = ZYL_DATA_ORDER_PIXEL) {
    Shape shape;
    shape.depth = depth;
    shape.width = width;
    shape.height = height;
    shape.channels = channels;
    shape.order = order;
    return shape;
}

// Samples of at most this size, so that 32-bit spectra have room for them.
void randomiseSmall(TestImage &image, std::mt19937 &random, std::int64_t limit) {
    const std::int64_t low = std::max(lowest(image.shape().depth), -limit);
    const std::int64_t high = std::min(highest(image.shape().depth), limit);
    std::uniform_int_distribution<std::int64_t> value(low, high);
    for (int c = 1; c <= image.shape().channels; ++c) {
        for (int y = 0; y < image.shape().height; ++y) {
            for (int x = 0; x < image.shape().width; ++x) image.set(x, y, c, value(random));
        }
    }
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
constexpr Size SIZES[] = {{1, 2},   {2, 1},   {2, 2},   {3, 5},   {4, 4},    {1, 7},   {8, 8},
                          {9, 1},   {16, 8},  {5, 64},  {17, 16}, {12, 33},  {32, 32}, {64, 13},
                          {70, 70}, {128, 4}, {35, 38}, {1, 256}, {512, 17}, {257, 2}, {16, 128}};

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
    for (const auto [n, m] : SIZES) {
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

// A random spectrum, and all terms of it as the packing means them.
TEST_F(FftTest, ImageIsThatOfNaiveSums) {
    std::mt19937 random(2);
    for (const auto [n, m] : SIZES) {
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

} // namespace
