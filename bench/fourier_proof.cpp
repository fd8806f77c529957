// Holds random Fourier transforms of lengths that are no powers of two against direct
// sums in long double:
//
//     fourier_proof [TRANSFORMS [SEED]]
//
// prints how many samples differ from direct sums that are rounded to float where the
// library rounds, after the rows and after the columns; and the largest deviation from
// sums that are never rounded, beside what two roundings allow. The exit code is 1 when a
// sample is further off than that. 10,000 transforms take minutes.
#include <zylqx.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Real = long double;

// What every line of one length needs: cosines and sines of 2 pi k / n.
struct Circle {
    explicit Circle(int n) : length(n), c(std::size_t(n)), s(std::size_t(n)) {
        for (std::size_t k = 0; k < c.size(); ++k) {
            const Real angle = 2 * std::numbers::pi_v<Real> * Real(k) / n;
            c[k] = std::cos(angle);
            s[k] = std::sin(angle);
        }
    }
    int length;
    std::vector<Real> c, s;
};

template <class T>
using Line = std::vector<T>;

// Calls add(j, cosine, sine) for the angles of the term k.
template <class F>
void turn(const Circle &circle, int k, F add) {
    int at = 0;
    for (int j = 0; j < circle.length; ++j) {
        add(std::size_t(j), circle.c[std::size_t(at)], circle.s[std::size_t(at)]);
        at = (at + k) % circle.length;
    }
}

// Sums are stored as T. `sign` is that of the exponent.
template <class T>
Line<T> packedOfReal(const Circle &circle, const Line<T> &x, int sign) {
    const int n = circle.length;
    Line<T> packed(circle.c.size());
    for (int k = 0; k <= n / 2; ++k) {
        Real re = 0, im = 0;
        turn(circle, k, [&](std::size_t j, Real c, Real s) {
            re += x[j] * c;
            im += x[j] * s;
        });
        packed[std::size_t(k == 0 ? 0 : 2 * k - 1)] = T(re);
        if (k != 0 && 2 * k != n) packed[std::size_t(2 * k)] = T(sign * im);
    }
    return packed;
}

template <class T>
Line<T> realOfPacked(const Circle &circle, const Line<T> &packed, int sign) {
    const int n = circle.length;
    Line<T> x(circle.c.size());
    for (int j = 0; j < n; ++j) {
        Real sum = packed[0];
        if (n % 2 == 0) sum += (j % 2 == 0 ? 1 : -1) * Real(packed[std::size_t(n - 1)]);
        turn(circle, j, [&](std::size_t k, Real c, Real s) {
            if (k == 0 || 2 * k >= std::size_t(n)) return;
            sum += 2 * (packed[2 * k - 1] * c - sign * packed[2 * k] * s);
        });
        x[std::size_t(j)] = T(sum);
    }
    return x;
}

template <class T>
void complexLine(const Circle &circle, Line<T> &re, Line<T> &im, int sign) {
    Line<T> sumRe(re.size()), sumIm(re.size());
    for (int k = 0; k < circle.length; ++k) {
        Real a = 0, b = 0;
        turn(circle, k, [&](std::size_t j, Real c, Real s) {
            a += re[j] * c - sign * im[j] * s;
            b += im[j] * c + sign * re[j] * s;
        });
        sumRe[std::size_t(k)] = T(a);
        sumIm[std::size_t(k)] = T(b);
    }
    re = sumRe;
    im = sumIm;
}

// Rows by columns of numbers of type T.
template <class T>
struct Block {
    int width, height;
    std::vector<T> values;

    Line<T> row(int y) const {
        const auto from = values.begin() + std::ptrdiff_t{y} * width;
        return {from, from + width};
    }
    Line<T> column(int x) const {
        Line<T> line;
        for (int y = 0; y < height; ++y) line.push_back(values[std::size_t(y * width + x)]);
        return line;
    }
    void setRow(int y, const Line<T> &line) {
        std::copy(line.begin(), line.end(), values.begin() + std::ptrdiff_t{y} * width);
    }
    void setColumn(int x, const Line<T> &line) {
        for (int y = 0; y < height; ++y) values[std::size_t(y * width + x)] = line[std::size_t(y)];
    }
};

// The columns of a packed spectrum: pairs are complex, `edge` transforms the others.
template <class T, class F>
void everyColumn(Block<T> &block, const Circle &circle, int sign, F edge) {
    const int width = block.width;
    block.setColumn(0, edge(circle, block.column(0), sign));
    if (width % 2 == 0) block.setColumn(width - 1, edge(circle, block.column(width - 1), sign));
    for (int x = 1; x + 1 < width; x += 2) {
        Line<T> re = block.column(x), im = block.column(x + 1);
        complexLine(circle, re, im, sign);
        block.setColumn(x, re);
        block.setColumn(x + 1, im);
    }
}

template <class T>
Block<T> transformed(const std::vector<std::int32_t> &samples, int width, int height, bool toPacked,
                     int sign) {
    Block<T> block{width, height, {samples.begin(), samples.end()}};
    const Circle across(width), down(height);
    if (!toPacked) everyColumn(block, down, sign, realOfPacked<T>);
    for (int y = 0; y < height; ++y) {
        block.setRow(y, toPacked ? packedOfReal(across, block.row(y), sign)
                                 : realOfPacked(across, block.row(y), sign));
    }
    if (toPacked) everyColumn(block, down, sign, packedOfReal<T>);
    return block;
}

struct FreeImage {
    void operator()(ZylImage *image) const {
        zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    }
};
using Image = std::unique_ptr<ZylImage, FreeImage>;

Image makeImage(int width, int height) {
    Image image(zylCreateImageHeader(1, 0, ZYL_DEPTH_32S, "GRAY", "G   ", ZYL_DATA_ORDER_PIXEL,
                                     ZYL_ORIGIN_TL, ZYL_ALIGN_4, height, width, nullptr, nullptr,
                                     nullptr));
    zylAllocateImage(image.get(), 0);
    return image;
}

std::int32_t &sample(const Image &image, int i) {
    const int width = image->width;
    return reinterpret_cast<std::int32_t *>(image->imageData + std::ptrdiff_t{i / width} *
                                                                   image->widthStep)[i % width];
}

struct Findings {
    long samples = 0, different = 0, wrong = 0;
    Real worst = 0; // deviation beyond the cut, in parts of what is allowed
};

void hold(std::mt19937_64 &random, Findings &found) {
    const auto below = [&random](int limit) { return int(random() % std::uint64_t(limit)); };
    // Many short lines and some long ones, at most 4096 samples of either side.
    const auto length = [&](int most) {
        int n = 0;
        do {
            n = 1 + below(std::min(most, 1 << (3 + below(10))));
        } while (n > 1 && (n & (n - 1)) == 0);
        return n;
    };
    int width = length(4096), height = length(std::max(1, 4096 / width));
    if (below(2) == 0) std::swap(width, height);
    if (width * height < 2) return;
    const int pixels = width * height;
    const int limit = std::min(1 << 23, (1 << 30) / pixels / 2);
    const Image from = makeImage(width, height), to = makeImage(width, height);
    std::vector<std::int32_t> samples(static_cast<std::size_t>(pixels));
    Real energy = 0;
    for (int i = 0; i < pixels; ++i) {
        samples[std::size_t(i)] = sample(from, i) = below(2 * limit + 1) - limit;
        energy += Real(sample(from, i)) * sample(from, i);
    }
    const bool toPacked = below(2) == 0, forward = below(2) == 0;
    const int sign = forward ? -1 : 1;
    const int flags =
        (forward ? ZYL_FFT_FORWARD : ZYL_FFT_INVERSE | ZYL_FFT_NO_SCALE) | ZYL_FFT_FLOATING;
    (toPacked ? zylRealFft2D : zylCcsFft2D)(from.get(), to.get(), flags, nullptr);

    const Block<float> rounded = transformed<float>(samples, width, height, toPacked, sign);
    const Block<Real> exact = transformed<Real>(samples, width, height, toPacked, sign);
    // Each of two roundings is off by at most 2^-24 of its values, over all of which the second
    // pass sums; a pair of a packed spectrum counts twice.
    const Real allowed = std::ldexp(2 * std::sqrt(2 * energy * pixels), -24);
    for (int i = 0; i < pixels; ++i) {
        const std::int32_t got = sample(to, i);
        const Real deviation = std::abs(got - exact.values[std::size_t(i)]);
        found.different += got != std::int32_t(rounded.values[std::size_t(i)]);
        found.wrong += deviation > 1 + allowed;
        found.worst = std::max(found.worst, (deviation - 1) / allowed);
    }
    found.samples += pixels;
}

} // namespace

int main(int argc, char **argv) {
    const int transforms = argc > 1 ? std::atoi(argv[1]) : 10000;
    std::mt19937_64 random(argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1);
    Findings found;
    for (int i = 0; i < transforms; ++i) hold(random, found);
    std::printf("%d transforms, %ld samples: %ld differ from rounded direct sums; the largest "
                "deviation is %.2Lg of what rounding allows, %ld samples are beyond it\n",
                transforms, found.samples, found.different, found.worst, found.wrong);
    return found.wrong != 0;
}
