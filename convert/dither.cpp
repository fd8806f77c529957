#include "convert/dither.h"

#include <algorithm>
#include <type_traits>

namespace zylqx {

namespace {

template <class T>
constexpr std::int32_t HIGHEST = sizeof(T) == 1 ? 255 : 65535;
template <class T>
constexpr int BITS = 8 * static_cast<int>(sizeof(T));

// Sums and errors of 8-bit samples and their products with weights fit in 16
// bits.
template <class T>
using ErrorSum = std::conditional_t<sizeof(T) == 1, std::int16_t, std::int32_t>;

template <class T, class S>
S clamped(S v) {
    return std::min<S>(std::max<S>(v, 0), HIGHEST<T>);
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

// How an error is spread over the neighbours up to REACH columns to the right and
// to both sides in REACH rows below: their parts of 2^shift, from left to right.
template <int REACH>
struct Diffusion {
    std::int32_t right[REACH];
    std::int32_t below[REACH][2 * REACH + 1];
    int shift;
};

constexpr Diffusion<1> FLOYD_STEINBERG = {{7}, {{3, 5, 1}}, 4};

// 48ths for Jarvis, Judice and Ninke, 42nds for Stucki, as parts of 2^8 and 2^16.
constexpr Diffusion<2> JARVIS_8 = {{37, 26}, {{15, 26, 37, 26, 15}, {5, 15, 26, 15, 5}}, 8};
constexpr Diffusion<2> JARVIS_16 = {
    {9557, 6826}, {{4095, 6826, 9557, 6826, 4095}, {1365, 4095, 6826, 4095, 1365}}, 16};
constexpr Diffusion<2> STUCKI_8 = {{48, 24}, {{12, 24, 48, 24, 12}, {6, 12, 24, 12, 6}}, 8};
constexpr Diffusion<2> STUCKI_16 = {
    {12482, 6241}, {{3120, 6241, 12482, 6241, 3120}, {1560, 3120, 6241, 3120, 1560}}, 16};

// Samples that are quantised before their errors go to the rows below.
constexpr std::ptrdiff_t RUN = 512;

// Quantises n samples. The errors of those before them stand before `errors`.
template <class T, int REACH>
void quantiseRun(const Quantiser<T> &quantise, const Diffusion<REACH> &diffusion, T *row,
                 std::ptrdiff_t step, ErrorSum<T> *errors, std::ptrdiff_t n) {
    std::int32_t before[REACH]; // the last errors, not to wait for memory
    for (int k = 0; k < REACH; ++k) before[k] = errors[-1 - k];
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        std::int32_t sum = row[i * step];
        for (int k = REACH - 1; k >= 0; --k) {
            if (k < REACH - 1) sum = clamped<T>(sum);
            sum += (before[k] * diffusion.right[k]) >> diffusion.shift;
            if (k > 0) before[k] = before[k - 1];
        }
        const Quantised sample = quantise(sum);
        row[i * step] = static_cast<T>(sample.value);
        errors[i] = static_cast<ErrorSum<T>>(sample.error);
        before[0] = sample.error;
    }
}

// Adds parts of errors to n samples of a row below, in the order in which the
// errors were made: `errors` starts REACH columns to the left of the samples.
template <class T, int WIDTH>
void spreadRun(const std::int32_t (&weights)[WIDTH], int shift, const ErrorSum<T> *errors, T *row,
               std::ptrdiff_t step, std::ptrdiff_t n) {
    const auto spread = [&](T *samples, std::ptrdiff_t sampleStep) {
        ErrorSum<T> w[WIDTH];
        for (int k = 0; k < WIDTH; ++k) w[k] = static_cast<ErrorSum<T>>(weights[WIDTH - 1 - k]);
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            ErrorSum<T> sum = samples[i * sampleStep];
            for (int k = 0; k < WIDTH; ++k) {
                const ErrorSum<T> part = static_cast<ErrorSum<T>>(
                    static_cast<ErrorSum<T>>(errors[i + k] * w[k]) >> shift);
                sum = clamped<T>(static_cast<ErrorSum<T>>(sum + part));
            }
            samples[i * sampleStep] = static_cast<T>(sum);
        }
    };
    if (step == 1) return spread(row, 1);
    spread(row, step);
}

// Rows from top to bottom and each from left to right. A sum that leaves the
// sample's range is set to its end.
template <class T, int REACH>
void diffuse(const View<T> &view, const Diffusion<REACH> &diffusion, std::int32_t step) {
    const Quantiser<T> quantise(step);
    constexpr std::ptrdiff_t BEFORE = 2 * REACH; // errors kept from the run before
    ErrorSum<T> errors[BEFORE + RUN + REACH];
    for (std::ptrdiff_t y = 0; y < view.rows; ++y) {
        std::fill_n(errors, BEFORE, ErrorSum<T>{0});
        for (std::ptrdiff_t x = 0; x < view.columns; x += RUN) {
            std::ptrdiff_t n = std::min(RUN, view.columns - x);
            quantiseRun(quantise, diffusion, view.row(y) + x * view.step, view.step,
                        errors + BEFORE, n);
            if (x + n == view.columns) {
                std::fill_n(errors + BEFORE + n, REACH, ErrorSum<T>{0});
                n += REACH;
            }
            // The samples below from REACH columns further left on have all their
            // errors now.
            const std::ptrdiff_t first = std::max<std::ptrdiff_t>(x - REACH, 0);
            const std::ptrdiff_t skipped = first - (x - REACH);
            for (int k = 0; k < REACH && y + 1 + k < view.rows; ++k) {
                spreadRun(diffusion.below[k], diffusion.shift, errors + skipped,
                          view.row(y + 1 + k) + first * view.step, view.step, n - skipped);
            }
            std::copy_n(errors + RUN, BEFORE, errors);
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
        return diffuse(view, FLOYD_STEINBERG, step);
    case DITHER_JARVIS:
        return diffuse(view, NARROW ? JARVIS_8 : JARVIS_16, step);
    case DITHER_STUCKI:
        return diffuse(view, NARROW ? STUCKI_8 : STUCKI_16, step);
    default:
        return ditherOrdered(view, step);
    }
}

template void ditherChannel(const View<std::uint8_t> &, int, std::int32_t);
template void ditherChannel(const View<std::uint16_t> &, int, std::int32_t);

} // namespace zylqx
