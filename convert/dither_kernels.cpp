// Dithers: samples become multiples of a step, and their errors are spread over the
// neighbourhood, or thresholds decide by place.
//
// An error reaches the samples to the right and those of the rows below up to REACH
// columns to the left. So when every row of a band runs SKEW columns behind the one
// above it, a vector takes one sample of each row, and all errors that it needs are
// there: those of the rows above are its own errors of some steps ago, moved by one or
// two lanes. What leaves the band goes to the rows below in memory.
//
// Every sum is set to the end of the sample's range that it leaves, so the order of the
// additions counts: upper rows first, in each of them from left to right.
//
// Steps are 2^n - 1. The highest sample is no more than half a step above a multiple, so
// none is rounded up past the range. Quotients of bytes come from a product with 2^16 /
// step, rounded up to the next whole number: it is too large by less than the next
// multiple is away for all sums up to 255 + step / 2. Those of 16-bit samples come from
// single precision, and the half keeps them farther from whole numbers than that errs.
#include "convert/kernels.h"
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using namespace narrow_vectors;

template <class T>
constexpr s32 HIGHEST = T(~T(0));

// ---- error diffusion ------------------------------------------------------------

// Sums and errors of bytes and their products with weights fit in 16 bits.
template <class T>
struct LaneOf;
template <>
struct LaneOf<u8> {
    using Type = s16;
};
template <>
struct LaneOf<u16> {
    using Type = s32;
};
template <class T>
using Lane = typename LaneOf<T>::Type;

template <class T>
using Sums = Vector<Lane<T>>;
// The rows of a band.
template <class T>
constexpr std::ptrdiff_t ROWS = LANES<Lane<T>>;

// How an error is spread over the neighbours up to REACH columns to the right and to
// both sides in REACH rows below: their parts of 2^SHIFT, from left to right.
template <class T>
struct FloydSteinberg {
    static constexpr int REACH = 1, SHIFT = 4;
    static constexpr Lane<T> RIGHT[] = {7}, BELOW[][3] = {{3, 5, 1}};
};

// 48ths of Jarvis, Judice and Ninke, 42nds of Stucki, as parts of 2^8 and 2^16.
template <class T>
struct Jarvis;
template <>
struct Jarvis<u8> {
    static constexpr int REACH = 2, SHIFT = 8;
    static constexpr s16 RIGHT[] = {37, 26};
    static constexpr s16 BELOW[][5] = {{15, 26, 37, 26, 15}, {5, 15, 26, 15, 5}};
};
template <>
struct Jarvis<u16> {
    static constexpr int REACH = 2, SHIFT = 16;
    static constexpr s32 RIGHT[] = {9557, 6826};
    static constexpr s32 BELOW[][5] = {{4095, 6826, 9557, 6826, 4095},
                                       {1365, 4095, 6826, 4095, 1365}};
};

template <class T>
struct Stucki;
template <>
struct Stucki<u8> {
    static constexpr int REACH = 2, SHIFT = 8;
    static constexpr s16 RIGHT[] = {48, 24};
    static constexpr s16 BELOW[][5] = {{12, 24, 48, 24, 12}, {6, 12, 24, 12, 6}};
};
template <>
struct Stucki<u16> {
    static constexpr int REACH = 2, SHIFT = 16;
    static constexpr s32 RIGHT[] = {12482, 6241};
    static constexpr s32 BELOW[][5] = {{3120, 6241, 12482, 6241, 3120},
                                       {1560, 3120, 6241, 3120, 1560}};
};

// Adds a part of an error, in lanes or alone.
template <class T, int SHIFT, class Sum>
inline Sum withPart(Sum sum, Sum error, Lane<T> weight) {
    const auto moved = static_cast<Sum>(sum + (static_cast<Sum>(error * weight) >> SHIFT));
    const Sum zero = {}, highest = static_cast<Sum>(zero + static_cast<Lane<T>>(HIGHEST<T>));
    return smaller(larger(moved, zero), highest);
}

// For quotients of bytes, in a function as GCC's sanitizers take a cast in an expression of
// vectors apart.
inline u16 byteReciprocal(s32 step) {
    return static_cast<u16>((1 << 16) / step + 1);
}

template <class T>
class Quantiser;

template <>
class Quantiser<u8> {
  public:
    explicit Quantiser(s32 step)
        : step_(Sums<u8>{} + static_cast<s16>(step)), half_(step_ >> 1),
          reciprocal_(Vector<u16>{} + byteReciprocal(step)) {}
    Sums<u8> operator()(Sums<u8> v) const {
        return Sums<u8>(highProducts(Vector<u16>(v + half_), reciprocal_)) * step_;
    }

  private:
    Sums<u8> step_, half_;
    Vector<u16> reciprocal_;
};

template <>
class Quantiser<u16> {
  public:
    explicit Quantiser(s32 step)
        : step_(Sums<u16>{} + step), half_(static_cast<float>(step >> 1) + 0.5f),
          reciprocal_(1.0f / static_cast<float>(step)) {}
    Sums<u16> operator()(Sums<u16> v) const {
        const auto sums = __builtin_convertvector(v, Vector<float>) + half_;
        return __builtin_convertvector(sums * reciprocal_, Sums<u16>) * step_;
    }

  private:
    Sums<u16> step_;
    float half_, reciprocal_;
};

template <int... I>
struct Indices {};
template <int N, int... I>
struct IndicesTo : IndicesTo<N - 1, N - 1, I...> {};
template <int... I>
struct IndicesTo<0, I...> {
    using Type = Indices<I...>;
};

// Lanes moved by BY places to higher ones, with zeros behind them.
template <int BY, class V, int... I>
inline V movedLanes(V v, Indices<I...>) {
    constexpr int N = sizeof...(I);
    return __builtin_shufflevector(v, V{}, (I < BY ? N + I : I - BY)...);
}

// A band of up to ROWS rows, `steps` steps at a time. At step t row r is at column
// t - SKEW * r.
template <class T, class Diffusion>
class Band {
  public:
    Band(const DitherRect &rect, s32 step) : rect_(rect), quantise_(step) {}

    // Rows from y on of a channel.
    void run(T *channel, std::ptrdiff_t y) {
        first_ = reinterpret_cast<char *>(channel) + y * rect_.stride;
        rows_ = smaller<std::ptrdiff_t>(rect_.rows - y, N);
        below_ = smaller<std::ptrdiff_t>(rect_.rows - y - rows_, REACH);
        for (auto &errors : errors_) {
            for (std::ptrdiff_t i = 0; i < HISTORY; ++i) errors[i] = Sums<T>{};
        }
        // Past the last column errors are zero, but still have to get below.
        const std::ptrdiff_t last = rect_.columns + SKEW * (rows_ - 1) + REACH;
        for (std::ptrdiff_t t = 0; t < last; t += STEPS) {
            const std::ptrdiff_t steps = smaller<std::ptrdiff_t>(last - t, STEPS);
            forEachRow(t, steps, [](T &place, T &sample) { place = sample; });
            quantiseSteps(t, steps);
            forEachRow(t, steps, [](T &place, T &sample) { sample = place; });
            spreadBelow(t, steps);
            for (auto &errors : errors_) {
                for (std::ptrdiff_t i = 0; i < HISTORY; ++i) errors[i] = errors[steps + i];
            }
        }
    }

  private:
    static constexpr std::ptrdiff_t N = ROWS<T>;
    static constexpr int REACH = Diffusion::REACH;
    // One more than needed, so that moved errors have a step to get to memory and back.
    static constexpr std::ptrdiff_t SKEW = REACH + 2;
    static constexpr std::ptrdiff_t HISTORY = REACH * SKEW + REACH;
    static constexpr std::ptrdiff_t STEPS = 128;

    T *row(std::ptrdiff_t r) const { return reinterpret_cast<T *>(first_ + r * rect_.stride); }

    // Calls move(place, sample) for all samples of the steps from t on.
    template <class F>
    void forEachRow(std::ptrdiff_t t, std::ptrdiff_t steps, F move) {
        for (std::ptrdiff_t r = 0; r < rows_; ++r) {
            const std::ptrdiff_t x = t - SKEW * r;
            const std::ptrdiff_t begin = larger<std::ptrdiff_t>(-x, 0);
            const std::ptrdiff_t end = smaller(rect_.columns - x, steps);
            T *samples = row(r) + x * rect_.step;
            if (rect_.step == 1) {
                for (std::ptrdiff_t i = begin; i < end; ++i) move(places_[i][r], samples[i]);
            } else {
                for (std::ptrdiff_t i = begin; i < end; ++i) {
                    move(places_[i][r], samples[i * rect_.step]);
                }
            }
        }
    }

    void quantiseSteps(std::ptrdiff_t t, std::ptrdiff_t steps) {
        // The steps in which a row is inside the image.
        Sums<T> begin, end;
        for (std::ptrdiff_t r = 0; r < N; ++r) {
            const std::ptrdiff_t x = t - SKEW * r;
            begin[r] = static_cast<Lane<T>>(smaller(larger<std::ptrdiff_t>(-x, 0), steps));
            end[r] =
                static_cast<Lane<T>>(larger<std::ptrdiff_t>(smaller(rect_.columns - x, steps), 0));
        }
        Sums<T> now = {}, before[REACH]; // the last errors, not to wait for memory
        for (int k = 0; k < REACH; ++k) before[k] = errors_[0][HISTORY - 1 - k];
        for (std::ptrdiff_t i = 0; i < steps; ++i, now += 1) {
            Sums<T> sum = __builtin_convertvector(load<Places>(places_[i]), Sums<T>);
            for (std::ptrdiff_t up = REACH; up > 0; --up) {
                for (std::ptrdiff_t k = 0; k <= 2 * REACH; ++k) {
                    sum = withError(sum, errors_[up][HISTORY + i - SKEW * up + k - REACH],
                                    Diffusion::BELOW[up - 1][2 * REACH - k]);
                }
            }
            for (int k = REACH - 1; k >= 0; --k) {
                sum = withError(sum, before[k], Diffusion::RIGHT[k]);
                if (k > 0) before[k] = before[k - 1];
            }
            const Sums<T> value = quantise_(sum);
            before[0] = (sum - value) & ((now >= begin) & (now < end));
            store(places_[i], __builtin_convertvector(value, Places));
            keep(before[0], HISTORY + i);
        }
    }

    void keep(Sums<T> error, std::ptrdiff_t at) {
        using All = typename IndicesTo<N>::Type;
        errors_[0][at] = error;
        errors_[1][at] = movedLanes<1>(error, All());
        if constexpr (REACH > 1) errors_[2][at] = movedLanes<2>(error, All());
    }

    // The last rows' errors go to the rows below, upper ones first.
    void spreadBelow(std::ptrdiff_t t, std::ptrdiff_t steps) {
        for (std::ptrdiff_t r = rows_ - REACH; below_ > 0 && r < rows_; ++r) {
            const std::ptrdiff_t x = t - SKEW * r - REACH; // what has all its errors now
            const std::ptrdiff_t begin = larger<std::ptrdiff_t>(-x, 0);
            const std::ptrdiff_t end = smaller(rect_.columns - x, steps);
            Lane<T> errors[STEPS + 2 * REACH];
            for (std::ptrdiff_t i = 0; i < steps + 2 * REACH; ++i) {
                errors[i] = errors_[0][HISTORY - 2 * REACH + i][r];
            }
            const std::ptrdiff_t last = smaller<std::ptrdiff_t>(rows_ + below_ - 1 - r, REACH);
            for (std::ptrdiff_t down = rows_ - r; down <= last; ++down) {
                T *samples = row(r + down) + x * rect_.step;
                const Lane<T> *weights = Diffusion::BELOW[down - 1];
                if (rect_.step == 1) {
                    spread(weights, errors, samples, 1, begin, end);
                } else {
                    spread(weights, errors, samples, rect_.step, begin, end);
                }
            }
        }
    }
    static void spread(const Lane<T> *weights, const Lane<T> *errors, T *samples,
                       std::ptrdiff_t step, std::ptrdiff_t begin, std::ptrdiff_t end) {
        Lane<T> w[2 * REACH + 1];
        for (int k = 0; k <= 2 * REACH; ++k) w[k] = weights[2 * REACH - k];
        for (std::ptrdiff_t i = begin; i < end; ++i) {
            Lane<T> sum = samples[i * step];
            for (int k = 0; k <= 2 * REACH; ++k) {
                // There are `end` and 2 * REACH. NOLINTNEXTLINE(clang-analyzer-core.CallAndMessage)
                sum = withError(sum, errors[i + k], w[k]);
            }
            samples[i * step] = static_cast<T>(sum);
        }
    }

    template <class Sum>
    static Sum withError(Sum sum, Sum error, Lane<T> weight) {
        return withPart<T, Diffusion::SHIFT>(sum, error, weight);
    }

    using Places = SizedVector<T, N *static_cast<int>(sizeof(T))>;

    const DitherRect &rect_;
    const Quantiser<T> quantise_;
    char *first_ = nullptr;
    std::ptrdiff_t rows_ = 0, below_ = 0;
    // Samples, step by step, and errors: as they were made, and moved by some lanes.
    alignas(64) T places_[STEPS][N] = {};
    Sums<T> errors_[REACH + 1][HISTORY + STEPS];
};

template <class T, template <class> class Diffusion>
void diffuse(const DitherRect &rect, s32 step) {
    Band<T, Diffusion<T>> band(rect, step);
    for (int c = 0; c < rect.channels; ++c) {
        for (std::ptrdiff_t y = 0; y < rect.rows; y += ROWS<T>) {
            band.run(static_cast<T *>(rect.data) + c, y);
        }
    }
}

// ---- ordered dither -------------------------------------------------------------

// Thresholds of 4 x 4 samples, by column and row: the order in which a growing
// value adds levels, times 15 of 256.
constexpr u32 THRESHOLDS[4][4] = {
    {0, 120, 30, 150}, {180, 60, 210, 90}, {45, 165, 15, 135}, {225, 105, 195, 75}};

// What rows of pixels of up to MAX_STEP samples repeat after every PATTERN samples.
constexpr std::ptrdiff_t MAX_STEP = 4;
constexpr std::ptrdiff_t PATTERN = 4 * 3 * 2 * MAX_STEP;
template <class T>
struct Pattern {
    Lane<T> threshold[4][PATTERN]; // by row
    Lane<T> kept[PATTERN];         // all bits for samples of channels that stay

    Pattern(std::ptrdiff_t step, std::ptrdiff_t channels, s32 ditherStep) {
        constexpr u32 UNIT = sizeof(T) == 1 ? 1 : 257; // 16-bit thresholds
        for (std::ptrdiff_t i = 0, x = 0; i < PATTERN; i += step, ++x) {
            for (int y = 0; y < 4; ++y) {
                const u32 part = u32(ditherStep) * (THRESHOLDS[x % 4][y] * UNIT);
                for (std::ptrdiff_t c = 0; c < step; ++c) {
                    threshold[y][i + c] = Lane<T>(part >> BITS<T>);
                }
            }
            for (std::ptrdiff_t c = 0; c < step; ++c) kept[i + c] = Lane<T>(c < channels ? 0 : -1);
        }
    }
};

// The multiple of `step` at or below a sample. A 16-bit quotient by the reciprocal that
// was rounded down may be one too small.
inline s16 multipleBelow(u8 v, s16 step) {
    return s16(u16(u32{v} * byteReciprocal(step) >> 16) * step);
}
inline s32 multipleBelow(u16 v, s32 step) {
    const u32 reciprocal = (1 << 16) / u32(step);
    const auto low = s32(v * reciprocal >> 16) * step;
    return v - low >= step ? low + step : low;
}

template <class T>
void orderedRow(T *row, std::ptrdiff_t n, Lane<T> step, const Lane<T> *thresholds,
                const Lane<T> *kept) {
    const auto top = Lane<T>(HIGHEST<T> - step);
    for (std::ptrdiff_t begin = 0; begin < n; begin += PATTERN) {
        const std::ptrdiff_t count = smaller(n - begin, PATTERN);
        T *samples = row + begin;
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const T v = samples[i];
            const Lane<T> low = multipleBelow(v, step);
            // Above the highest multiple there is no other one.
            const bool up = (Lane<T>(v - low) > thresholds[i]) & (low <= top);
            const auto result = Lane<T>(up ? low + step : low);
            samples[i] = T((v & kept[i]) | (result & ~kept[i]));
        }
    }
}

template <class T>
void ditherOrdered(const DitherRect &rect, s32 step) {
    const bool together = rect.step <= MAX_STEP;
    const Pattern<T> pattern(together ? rect.step : 1, together ? rect.channels : 1, step);
    for (std::ptrdiff_t y = 0; y < rect.rows; ++y) {
        T *row = reinterpret_cast<T *>(static_cast<char *>(rect.data) + y * rect.stride);
        const Lane<T> *thresholds = pattern.threshold[y % 4];
        if (together) {
            // Nothing behind the last channel.
            const std::ptrdiff_t n = (rect.columns - 1) * rect.step + rect.channels;
            orderedRow<T>(row, n, Lane<T>(step), thresholds, pattern.kept);
            continue;
        }
        for (std::ptrdiff_t i = 0; i < rect.columns; i += PATTERN) {
            const std::ptrdiff_t n = smaller(rect.columns - i, PATTERN);
            for (int c = 0; c < rect.channels; ++c) {
                T *samples = row + i * rect.step + c;
                T gathered[PATTERN];
                for (std::ptrdiff_t k = 0; k < n; ++k) gathered[k] = samples[k * rect.step];
                orderedRow<T>(gathered, n, Lane<T>(step), thresholds, pattern.kept);
                for (std::ptrdiff_t k = 0; k < n; ++k) samples[k * rect.step] = gathered[k];
            }
        }
    }
}

} // namespace

const DitherKernels ditherKernels = {
    {diffuse<u8, FloydSteinberg>, diffuse<u16, FloydSteinberg>},
    {diffuse<u8, Jarvis>, diffuse<u16, Jarvis>},
    {diffuse<u8, Stucki>, diffuse<u16, Stucki>},
    {ditherOrdered<u8>, ditherOrdered<u16>},
};

} // namespace zylqx::ZYLQX_LEVEL
