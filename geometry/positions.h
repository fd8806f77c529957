// Where the pixels of a result come from, and how numbers become indices and
// samples. Corners of pixels coincide, not their centres: the first column of a
// result lies at the first column of the source's region. i counts columns (or
// rows) of the result.
//
//                    position          pixel at or before   between two pixels
//   zoom, nearest    14-bit integer    >> 14                -
//   zoom             double, i * f     index()              double
//   decimate         8-bit integer     >> 8                 & 255
//   rotate, nearest  double            nearest()            -
//   rotate           double            index()              double
//
//                    columns combined in  rows combined in  a sample is
//   zoom             double, kept as      double            index(), saturated
//                    single precision
//   decimate linear  integer, exact       integer, exact    the sum / 65536, halves up,
//                                                           modulo 2^16
//   decimate cubic   integer, times 6     integer, times 36 / 36 toward 0, saturated
//   rotate           double               double            nearest(), saturated
//
//   index(p)    p + TOLERANCE - 0.5 rounded to the nearest integer: floor(p), a
//               hair below an integer counting as that integer
//   nearest(p)  p + TOLERANCE rounded to the nearest integer
//
// 14-bit steps are rounded by index(), 8-bit steps are truncated, so positions
// fall behind i * f in wide images. A source that is too small for an
// interpolation is resampled by a simpler one; the image's size decides, not the
// region's.
//
// Samples that a position needs come from the region (zoom linear) or from the
// whole image. Positions next to an edge: zoom moves the samples inside and
// extrapolates from there, decimation repeats the image's last sample.
#ifndef ZYLQX_GEOMETRY_POSITIONS_H
#define ZYLQX_GEOMETRY_POSITIONS_H

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "geometry/kernels.h"

namespace zylqx {

// To the nearest integer, halves to the even one: sums with 1.5 * 2^52 have no
// room for a fraction. For positions below 2^51.
inline double roundedPosition(double position) {
    constexpr double NO_FRACTIONS = 1.5 * 4503599627370496.0;
    return (position + NO_FRACTIONS) - NO_FRACTIONS;
}

inline std::int64_t indexOf(double position) {
    return static_cast<std::int64_t>(roundedPosition(position + TOLERANCE - 0.5));
}

// The columns that one result column is made of, 2 or 4 of them in order and in
// coordinates of the image, and their weights (kernels.h). `alone` when the result
// is the first of two or the second of four, unchanged.
template <class Weight>
struct Taps {
    std::int32_t index[4];
    Weight weight[4];
    bool alone;
};

// One direction of a source: where its region begins, how much of it there is,
// and the image's size.
struct Extent {
    std::int32_t begin, length, size;

    std::int32_t inside(std::int64_t coordinate) const {
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(coordinate, 0, size - 1));
    }
};

// Zoom by upper / lower >= 1.
class ZoomAxis {
  public:
    ZoomAxis(const Extent &extent, std::int32_t upper, std::int32_t lower)
        : extent_(extent), factor_(static_cast<double>(lower) / upper),
          step_(indexOf(factor_ * ONE)) {}

    // As many result columns as there are places for and as lie inside the region.
    std::int32_t count(std::int32_t places) const {
        std::int32_t inside = 1, tooMany = places;
        if (indexOf((places - 1) * factor_) < extent_.length) return places;
        while (inside + 1 < tooMany) {
            const std::int32_t half = inside + (tooMany - inside) / 2;
            (indexOf((half - 1) * factor_) < extent_.length ? inside : tooMany) = half;
        }
        return inside;
    }

    // Positions count from the exact one of `first`, the first column of a tile.
    std::int32_t nearest(std::int32_t first, std::int32_t i) const {
        const std::int64_t start = indexOf(first * factor_ * ONE);
        const std::int64_t column = (start + (i - first) * step_) >> 14;
        return extent_.begin +
               static_cast<std::int32_t>(std::min<std::int64_t>(column, extent_.length - 1));
    }

    // h = p[0] + weight[0] * (p[1] - p[0])
    Taps<double> linear(std::int32_t i) const { return linearTaps<double>(i); }
    Taps<float> linearSingle(std::int32_t i) const { return linearTaps<float>(i); }
    // ZOOM_UNIT * h = p[0] * weight[0] + p[1] * weight[1], for factors that make it whole.
    Taps<std::int16_t> linearWhole(std::int32_t i) const {
        const Taps<double> taps = linearTaps<double>(i);
        const auto t = static_cast<std::int16_t>(taps.weight[0] * ZOOM_UNIT);
        return {{taps.index[0], taps.index[1], 0, 0},
                {static_cast<std::int16_t>(ZOOM_UNIT - t), t},
                false};
    }

    // h = p[0] + weight[0] * d1 + weight[1] * d2 + weight[2] * d3, with the forward
    // differences d1, d2 and d3 of the four samples.
    Taps<double> cubic(std::int32_t i) const {
        const double position = i * factor_;
        const std::int64_t column =
            std::clamp<std::int64_t>(extent_.begin + indexOf(position), 1, extent_.size - 3);
        const double s = position - static_cast<double>(column - extent_.begin) + 1;
        const auto c = static_cast<std::int32_t>(column);
        return {{c - 1, c, c + 1, c + 2},
                {s, s * (s - 1) / 2, s * (s - 1) * (s - 2) / 2 * (1.0 / 3)},
                s == 1};
    }

    static Combination combination(Interpolation interpolation, std::ptrdiff_t bytes);

  private:
    template <class Weight>
    Taps<Weight> linearTaps(std::int32_t i) const {
        if (extent_.length == 1) return {{extent_.begin, extent_.begin, 0, 0}, {}, true};
        const double position = i * factor_;
        const std::int64_t base = std::min<std::int64_t>(indexOf(position), extent_.length - 2);
        const double t = position - static_cast<double>(base);
        const auto column = static_cast<std::int32_t>(extent_.begin + base);
        return {{column, column + 1, 0, 0}, {static_cast<Weight>(t)}, t == 0};
    }

    static constexpr double ONE = 1 << 14;

    Extent extent_;
    double factor_;     // source columns per result column
    std::int64_t step_; // the same in 14 bits
};

// Decimation by upper / lower <= 1.
class DecimateAxis {
  public:
    DecimateAxis(const Extent &extent, std::int32_t upper, std::int32_t lower)
        : extent_(extent), upper_(upper), lower_(lower), step_(lower * std::int64_t{256} / upper) {}

    std::int32_t count(std::int32_t places) const {
        return static_cast<std::int32_t>(
            std::min<std::int64_t>(places, extent_.length * std::int64_t{upper_} / lower_));
    }

    // Positions carry on from tile to tile.
    std::int32_t nearest(std::int32_t, std::int32_t i) const { return base(i); }

    // (p[0] * weight[0] + p[1] * weight[1]) / 256
    Taps<std::int16_t> linear(std::int32_t i) const {
        const std::int32_t column = base(i);
        const auto f = static_cast<std::int16_t>(i * step_ & 255);
        if (f == 0) return {{column, column, 0, 0}, {256, 0}, true};
        return {{column, column + 1, 0, 0}, {static_cast<std::int16_t>(256 - f), f}, false};
    }

    // Six times the cubic through four samples, at f / 256, times 256: the powers of
    // f have 8 bits each.
    Taps<std::int16_t> cubic(std::int32_t i) const {
        const std::int32_t c = base(i);
        const auto f = static_cast<std::int32_t>(i * step_ & 255);
        const std::int32_t f2 = f * f >> 8, f3 = f * f * f >> 16;
        if (f == 0) return {{c, c, c, c}, {0, 6 * 256, 0, 0}, true};
        return {{extent_.inside(std::int64_t{c} - 1), c, extent_.inside(std::int64_t{c} + 1),
                 extent_.inside(std::int64_t{c} + 2)},
                {static_cast<std::int16_t>(3 * f2 - f3 - 2 * f),
                 static_cast<std::int16_t>(6 * 256 + 3 * f3 - 6 * f2 - 3 * f),
                 static_cast<std::int16_t>(3 * f2 - 3 * f3 + 6 * f),
                 static_cast<std::int16_t>(f3 - f)},
                false};
    }

    static Combination combination(Interpolation interpolation, std::ptrdiff_t bytes);

  private:
    std::int32_t base(std::int32_t i) const {
        return extent_.begin + static_cast<std::int32_t>(i * step_ >> 8);
    }

    Extent extent_;
    std::int32_t upper_, lower_;
    std::int64_t step_; // source columns per result column, times 256
};

} // namespace zylqx

#endif
