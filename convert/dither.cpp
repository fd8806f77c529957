#include "convert/dither.h"

#include <algorithm>

namespace zylqx {

namespace {

template <class T>
constexpr std::int32_t HIGHEST = sizeof(T) == 1 ? 255 : 65535;
template <class T>
constexpr int BITS = 8 * static_cast<int>(sizeof(T));

template <class T>
T clamped(std::int32_t v) {
    return static_cast<T>(std::clamp(v, 0, HIGHEST<T>));
}

// The multiples of a step, by division with a reciprocal: exact for 16 bits.
class Levels {
  public:
    explicit Levels(std::int32_t step)
        : step_(step),
          reciprocal_((std::uint64_t{1} << 32) / static_cast<std::uint64_t>(step) + 1) {}

    std::int32_t below(std::int32_t v) const {
        return static_cast<std::int32_t>((static_cast<std::uint64_t>(v) * reciprocal_) >> 32) *
               step_;
    }
    // The nearest one; the lower one of two.
    std::int32_t nearest(std::int32_t v) const {
        const std::int32_t low = below(v);
        return 2 * (v - low) > step_ ? low + step_ : low;
    }

  private:
    std::int32_t step_;
    std::uint64_t reciprocal_;
};

// What becomes of a sample.
template <class T>
class Quantiser {
  public:
    explicit Quantiser(std::int32_t step) : levels_(step) {}
    std::int32_t operator()(std::int32_t v) const {
        return std::min(levels_.nearest(v), HIGHEST<T>);
    }

  private:
    Levels levels_;
};

// Rows from top to bottom and each from left to right. A sum that leaves the
// sample's range is set to its end.
template <class T>
void floydSteinberg(const View<T> &view, std::int32_t step) {
    const Quantiser<T> quantise(step);
    for (std::ptrdiff_t y = 0; y < view.rows; ++y) {
        T *row = view.row(y);
        T *below = y + 1 < view.rows ? view.row(y + 1) : nullptr;
        std::int32_t fromLeft = 0;
        for (std::ptrdiff_t x = 0; x < view.columns; ++x) {
            T *sample = row + x * view.step;
            const std::int32_t v = clamped<T>(*sample + fromLeft);
            const std::int32_t q = quantise(v);
            const std::int32_t e = v - q;
            *sample = static_cast<T>(q);
            fromLeft = (7 * e) >> 4;
            if (below == nullptr) continue;
            T *under = below + x * view.step;
            if (x > 0) under[-view.step] = clamped<T>(under[-view.step] + ((3 * e) >> 4));
            *under = clamped<T>(*under + ((5 * e) >> 4));
            if (x + 1 < view.columns) under[view.step] = clamped<T>(under[view.step] + (e >> 4));
        }
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
            const std::int32_t q = quantise(*sample);
            const std::int32_t e = *sample - q;
            *sample = static_cast<T>(q);
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
            const bool up = v - low > thresholds[x & 3][y & 3] && low + step <= HIGHEST<T>;
            row[x * view.step] = static_cast<T>(up ? low + step : low);
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
