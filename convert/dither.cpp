#include "convert/dither.h"

#include <algorithm>

namespace zylqx {

namespace {

template <class T>
constexpr std::int32_t HIGHEST = sizeof(T) == 1 ? 255 : 65535;
template <class T>
constexpr int BITS = 8 * static_cast<int>(sizeof(T));

// Within 0 and the largest sample, without a branch: noise would make it wrong
// half of the time.
template <class T>
T clamped(std::int32_t v) {
    v &= ~(v >> 31);
    const std::int32_t above = v - HIGHEST<T>;
    return static_cast<T>(v - (above & ~(above >> 31)));
}

// The multiples of a step, by division with a reciprocal. It is exact: the sums
// have 17 bits and the step has 16.
class Levels {
  public:
    explicit Levels(std::int32_t step)
        : step_(step),
          reciprocal_((std::uint64_t{1} << SHIFT) / static_cast<std::uint64_t>(step) + 1) {}

    std::int32_t below(std::int32_t v) const {
        return static_cast<std::int32_t>((static_cast<std::uint64_t>(v) * reciprocal_) >> SHIFT) *
               step_;
    }
    // Steps are odd, so that one is nearer than the other.
    std::int32_t nearest(std::int32_t v) const { return below(v + step_ / 2); }

  private:
    static constexpr int SHIFT = 40;

    std::int32_t step_;
    std::uint64_t reciprocal_;
};

// What becomes of a sample that was limited to the range, and its error.
struct Quantised {
    std::int32_t value;
    std::int32_t error;
};

template <class T>
class Quantiser {
  public:
    explicit Quantiser(std::int32_t step) : levels_(step) {}
    Quantised operator()(std::int32_t sum) const {
        const std::int32_t v = clamped<T>(sum);
        const std::int32_t q = std::min(levels_.nearest(v), HIGHEST<T>);
        return {q, v - q};
    }

  private:
    Levels levels_;
};

// 8-bit results are looked up, which keeps the chain from sample to sample short.
template <>
class Quantiser<std::uint8_t> {
  public:
    explicit Quantiser(std::int32_t step) {
        const Levels levels(step);
        for (std::int32_t i = 0; i < SIZE; ++i) {
            const std::int32_t v = clamped<std::uint8_t>(i - MARGIN);
            const std::int32_t q = std::min(levels.nearest(v), 255);
            table_[i] = {q, v - q};
        }
    }
    Quantised operator()(std::int32_t sum) const { return table_[sum + MARGIN]; }

  private:
    // 7/16 of an error of half a step, 127 at most.
    static constexpr std::int32_t MARGIN = 64;
    static constexpr std::int32_t SIZE = 256 + 2 * MARGIN;
    Quantised table_[SIZE];
};

// One row; the rows below it have got nothing from it but what is given here.
// The last row has no `below`.
template <class T>
void floydSteinbergRow(const Quantiser<T> &quantise, T *row, T *below, std::ptrdiff_t step,
                       std::ptrdiff_t columns) {
    std::int32_t fromLeft = 0;
    if (below == nullptr) {
        for (std::ptrdiff_t x = 0; x < columns; ++x) {
            const Quantised sample = quantise(row[x * step] + fromLeft);
            row[x * step] = static_cast<T>(sample.value);
            fromLeft = (7 * sample.error) >> 4;
        }
        return;
    }
    // The sums below left, below, and below right of the sample.
    std::int32_t left = 0;
    std::int32_t under = below[0];
    for (std::ptrdiff_t x = 0; x < columns; ++x) {
        const std::int32_t right = x + 1 < columns ? below[(x + 1) * step] : 0;
        const auto [value, e] = quantise(row[x * step] + fromLeft);
        row[x * step] = static_cast<T>(value);
        fromLeft = (7 * e) >> 4;
        if (x > 0) below[(x - 1) * step] = clamped<T>(left + ((3 * e) >> 4));
        left = clamped<T>(under + ((5 * e) >> 4));
        under = clamped<T>(right + (e >> 4));
    }
    below[(columns - 1) * step] = static_cast<T>(left);
}

// Rows from top to bottom and each from left to right. A sum that leaves the
// sample's range is set to its end.
template <class T>
void floydSteinberg(const View<T> &view, std::int32_t step) {
    const Quantiser<T> quantise(step);
    for (std::ptrdiff_t y = 0; y < view.rows; ++y) {
        T *below = y + 1 < view.rows ? view.row(y + 1) : nullptr;
        floydSteinbergRow(quantise, view.row(y), below, view.step, view.columns);
    }
}

// Where a part of the error goes.
struct Tap {
    std::ptrdiff_t dx, dy;
    std::int32_t weight; // of 2^bits
};
constexpr int TAPS = 12;
constexpr Tap TAP_PLACES[TAPS] = {{1, 0, 0},  {2, 0, 0}, {-2, 1, 0}, {-1, 1, 0},
                                  {0, 1, 0},  {1, 1, 0}, {2, 1, 0},  {-2, 2, 0},
                                  {-1, 2, 0}, {0, 2, 0}, {1, 2, 0},  {2, 2, 0}};

// 48ths for Jarvis, Judice and Ninke, 42nds for Stucki, as parts of 2^8 and 2^16.
constexpr std::int32_t JARVIS_8[TAPS] = {37, 26, 15, 26, 37, 26, 15, 5, 15, 26, 15, 5};
constexpr std::int32_t JARVIS_16[TAPS] = {9557, 6826, 4095, 6826, 9557, 6826,
                                          4095, 1365, 4095, 6826, 4095, 1365};
constexpr std::int32_t STUCKI_8[TAPS] = {48, 24, 12, 24, 48, 24, 12, 6, 12, 24, 12, 6};
constexpr std::int32_t STUCKI_16[TAPS] = {12482, 6241, 3120, 6241, 12482, 6241,
                                          3120,  1560, 3120, 6241, 3120,  1560};

// The same walk with twelve neighbours.
template <class T>
void diffuseWidely(const View<T> &view, const std::int32_t *weights, std::int32_t step) {
    const Quantiser<T> quantise(step);
    Tap taps[TAPS];
    std::ptrdiff_t offsets[TAPS]; // bytes
    for (int k = 0; k < TAPS; ++k) {
        taps[k] = {TAP_PLACES[k].dx, TAP_PLACES[k].dy, weights[k]};
        offsets[k] = taps[k].dy * view.stride +
                     taps[k].dx * view.step * static_cast<std::ptrdiff_t>(sizeof(T));
    }
    const auto at = [](T *sample, std::ptrdiff_t bytes) {
        return reinterpret_cast<T *>(reinterpret_cast<unsigned char *>(sample) + bytes);
    };
    for (std::ptrdiff_t y = 0; y < view.rows; ++y) {
        // Taps are in the order of their rows; those below the last row fall away.
        const std::ptrdiff_t rowsBelow = view.rows - 1 - y;
        const int count = rowsBelow == 0 ? 2 : rowsBelow == 1 ? 7 : TAPS;
        T *row = view.row(y);
        for (std::ptrdiff_t x = 0; x < view.columns; ++x) {
            T *sample = row + x * view.step;
            const auto [value, e] = quantise(*sample);
            *sample = static_cast<T>(value);
            if (e == 0) continue;
            const bool inside = x >= 2 && x + 2 < view.columns;
            for (int k = 0; k < count; ++k) {
                const std::ptrdiff_t column = x + taps[k].dx;
                if (!inside && (column < 0 || column >= view.columns)) continue;
                T *neighbour = at(sample, offsets[k]);
                *neighbour = clamped<T>(*neighbour + ((e * taps[k].weight) >> BITS<T>));
            }
        }
    }
}

// Thresholds of 4 x 4 samples, by column and row: the order in which a growing
// value adds levels, times 15 of 256.
constexpr std::int32_t THRESHOLDS[4][4] = {
    {0, 120, 30, 150}, {180, 60, 210, 90}, {45, 165, 15, 135}, {225, 105, 195, 75}};

template <class T>
void ditherOrdered(const View<T> &view, std::int32_t step) {
    const Levels levels(step);
    const std::uint32_t unit = sizeof(T) == 1 ? 1 : 257; // 16-bit thresholds
    std::int32_t thresholds[4][4];
    for (int x = 0; x < 4; ++x) {
        for (int y = 0; y < 4; ++y) {
            const std::uint32_t threshold = static_cast<std::uint32_t>(THRESHOLDS[x][y]) * unit;
            thresholds[x][y] = static_cast<std::int32_t>(
                (static_cast<std::uint32_t>(step) * threshold) >> BITS<T>);
        }
    }
    for (std::ptrdiff_t y = 0; y < view.rows; ++y) {
        T *row = view.row(y);
        for (std::ptrdiff_t x = 0; x < view.columns; ++x) {
            const std::int32_t v = row[x * view.step];
            const std::int32_t low = levels.below(v);
            // Above the highest multiple there is no other one.
            const bool up = (v - low > thresholds[x & 3][y & 3]) & (low + step <= HIGHEST<T>);
            row[x * view.step] = static_cast<T>(low + (step & -static_cast<std::int32_t>(up)));
        }
    }
}

} // namespace

template <class T>
void ditherChannel(const View<T> &view, int type, std::int32_t step) {
    constexpr bool NARROW = sizeof(T) == 1;
    switch (type) {
    case DITHER_FLOYD_STEINBERG:
        return floydSteinberg(view, step);
    case DITHER_JARVIS:
        return diffuseWidely(view, NARROW ? JARVIS_8 : JARVIS_16, step);
    case DITHER_STUCKI:
        return diffuseWidely(view, NARROW ? STUCKI_8 : STUCKI_16, step);
    default:
        return ditherOrdered(view, step);
    }
}

template void ditherChannel(const View<std::uint8_t> &, int, std::int32_t);
template void ditherChannel(const View<std::uint16_t> &, int, std::int32_t);

} // namespace zylqx
