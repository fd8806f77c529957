// Sums of boxes of samples, and means of them.
//
// Sums slide: a column takes in the row that enters and gives up the one that
// leaves, a box likewise with columns, so that a row costs the same for any box.
// Differences of unsigned sums may wrap and come back, since the sums themselves
// fit: the caller takes 32 bits when area * largest sample is below 2^31, else 64;
// columns of up to 128 bytes have 16. Along a row, a vector's boxes are the running sum
// of its changes. A mean is the product of a sum and a factor, truncated, in double
// precision; blur.cpp says when single precision gives the same.
#include "filter/kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T, class U>
void addRow(const void *entering, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i)
        sums[i] = static_cast<U>(sums[i] + static_cast<U>(in[i]));
}

template <class T, class U>
void slideRow(const void *entering, const void *leaving, void *d, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(entering);
    const T *out = static_cast<const T *>(leaving);
    U *sums = static_cast<U *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        sums[i] = static_cast<U>(sums[i] + static_cast<U>(in[i]) - static_cast<U>(out[i]));
    }
}

// Adds the last lane of every other group of K lanes to those of the next group.
template <int K, int... I>
inline Vector<u32> addToNext(Vector<u32> v, Indices<I...>) {
    const auto last = __builtin_shufflevector(v, v, (I / (2 * K) * 2 * K + K - 1)...);
    return v + (last & Vector<u32>{(I / K % 2 ? ~u32{0} : 0)...});
}
template <int... I>
inline Vector<u32> lastOf(Vector<u32> v, Indices<I...>) {
    return __builtin_shufflevector(v, v, (LANES<u32> - 1 + 0 * I)...);
}

// Each lane with all those before it.
inline Vector<u32> runningSum(Vector<u32> v) {
    using Lanes = typename IndicesTo<LANES<u32>>::Type;
    const auto pairs = (Vector<u64>)v;
    v += (Vector<u32>)(LOWEST_FIRST ? pairs << 32 : pairs >> 32);
    v = addToNext<2>(v, Lanes());
    if constexpr (LANES < u32 >> 4) v = addToNext<4>(v, Lanes());
    if constexpr (LANES < u32 >> 8) v = addToNext<8>(v, Lanes());
    return v;
}

// boxes[i] = boxes[i - 1] + columns[i - 1 + count] - columns[i - 1], a vector at a
// time. Returns how many were done.
std::ptrdiff_t slideVectors(const u32 *columns, std::ptrdiff_t count, u32 *boxes,
                            std::ptrdiff_t n) {
    using V = Vector<u32>;
    V before = V{} + boxes[0];
    std::ptrdiff_t i = 1;
    for (; i + LANES<u32> <= n; i += LANES<u32>) {
        const V change = runningSum(load<V>(columns + i - 1 + count) - load<V>(columns + i - 1));
        store(boxes + i, before + change);
        before += lastOf(change, typename IndicesTo<LANES<u32>>::Type());
    }
    return i;
}

// `column(i)` is the sum of column i; boxes before `first` are done.
template <class U, class F>
void slideBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t first,
                std::ptrdiff_t n) {
    const std::ptrdiff_t width = count * step;
    for (std::ptrdiff_t i = first; i < n; ++i) {
        boxes[i] = boxes[i - step] + column(i - step + width) - column(i - step);
    }
}

template <class U, class F>
void firstBoxes(F column, std::ptrdiff_t step, std::ptrdiff_t count, U *boxes, std::ptrdiff_t n) {
    for (std::ptrdiff_t c = 0; c < step && c < n; ++c) {
        boxes[c] = 0;
        for (std::ptrdiff_t k = 0; k < count; ++k) boxes[c] += column(c + k * step);
    }
}

void boxSums(const u32 *columns, std::ptrdiff_t step, std::ptrdiff_t count, u32 *boxes,
             std::ptrdiff_t n) {
    const auto column = [columns](std::ptrdiff_t i) { return columns[i]; };
    firstBoxes<u32>(column, step, count, boxes, n);
    const std::ptrdiff_t first = step == 1 ? slideVectors(columns, count, boxes, n) : step;
    slideBoxes<u32>(column, step, count, boxes, first, n);
}

// `single`: column sums are rounded to single precision.
void boxSumsWide(const s64 *columns, bool single, std::ptrdiff_t step, std::ptrdiff_t count,
                 s64 *boxes, std::ptrdiff_t n) {
    const auto column = [columns, single](std::ptrdiff_t i) {
        if (!single) return columns[i];
        // By way of double: some processors convert 64-bit integers to float with
        // more bits than a float has.
        return static_cast<s64>(static_cast<float>(static_cast<double>(columns[i])));
    };
    firstBoxes<s64>(column, step, count, boxes, n);
    slideBoxes<s64>(column, step, count, boxes, step, n);
}

// Sums of 32 bits come from samples of at most 16, so results are in the range.
template <class T>
void mean(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s32 *boxes = static_cast<const s32 *>(s);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i] = static_cast<T>(static_cast<s32>(static_cast<double>(boxes[i]) * factor));
    }
}

template <class T>
void meanWide(const void *s, double factor, void *d, std::ptrdiff_t n) {
    const s64 *boxes = static_cast<const s64 *>(s);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const double value = static_cast<double>(boxes[i]) * factor;
        out[i] = static_cast<T>(static_cast<s32>(clamp(value, -2147483648.0, 2147483647.0)));
    }
}

// The samples at even and at odd places apart: quicker than to widen them side by
// side.
void slideRowNarrow(const void *entering, const void *leaving, void *d, std::ptrdiff_t n) {
    using V = Vector<u16>;
    const u8 *in = static_cast<const u8 *>(entering);
    const u8 *out = static_cast<const u8 *>(leaving);
    u16 *sums = static_cast<u16 *>(d);
    std::ptrdiff_t i = 0;
    for (; i + LANES<u8> <= n; i += LANES<u8>) {
        const V a = load<V>(in + i);
        const V b = load<V>(out + i);
        const V low = (a & 0xFF) - (b & 0xFF);
        const V high = (a >> 8) - (b >> 8);
        const V even = LOWEST_FIRST ? low : high;
        const V odd = LOWEST_FIRST ? high : low;
        u16 *to = sums + i;
        store(to, load<V>(to) + zipLow<u16>(even, odd));
        to += LANES<u16>;
        store(to, load<V>(to) + zipHigh<u16>(even, odd));
    }
    slideRow<u8, u16>(in + i, out + i, sums + i, n - i);
}

// The sums of lanes and their neighbours.
inline Vector<s32> pairSums(Vector<s16> v) {
#if defined(__AVX2__) && !defined(__AVX512BW__)
    return (Vector<s32>)__builtin_ia32_pmaddwd256(v, Vector<s16>{} + 1);
#elif defined(__SSE2__) && !defined(__AVX512BW__)
    return (Vector<s32>)__builtin_ia32_pmaddwd128(v, Vector<s16>{} + 1);
#else
    const auto pairs = (Vector<s32>)v;
    return (pairs << 16 >> 16) + (pairs >> 16);
#endif
}

// Boxes of columns below 2^15, two to a lane: their changes are summed up together,
// and the first box of the two is the second without its change. A sum is added to the
// bits of 2^23, which makes it a number in single precision at once.
void meanNarrow(const u16 *columns, std::ptrdiff_t count, float factor, u32 less, u8 *d,
                std::ptrdiff_t n) {
    using V = Vector<u32>;
    using Signed = Vector<s32>;
    constexpr u32 BITS_OF_2_23 = 0x4B000000;
    const auto meanOf = [factor](V sum) {
        const auto value = (Vector<float>)sum - (0x1p23f - 0.5f);
        return (V) __builtin_convertvector(value * factor, Signed);
    };
    u32 first = BITS_OF_2_23 - less;
    for (std::ptrdiff_t k = 0; k < count - 1; ++k) first += columns[k];
    V before = V{} + first;
    const auto meansAt = [=, &before](std::ptrdiff_t i) {
        V means[2];
        for (int k = 0; k < 2; ++k) {
            const u16 *from = columns + i + k * LANES<u16>;
            const auto changes =
                (Vector<s16>)(load<Vector<u16>>(from + count - 1) - load<Vector<u16>>(from - 1));
            const auto pairs = (Signed)changes;
            const Signed second = LOWEST_FIRST ? pairs >> 16 : pairs << 16 >> 16;
            const V change = runningSum((V)pairSums(changes));
            const V sum = before + change;
            before += lastOf(change, typename IndicesTo<LANES<u32>>::Type());
            const V firstMean = meanOf(sum - (V)second);
            const V secondMean = meanOf(sum);
            means[k] = LOWEST_FIRST ? firstMean | secondMean << 16 : firstMean << 16 | secondMean;
        }
        return lowerHalves<u8>((Vector<u8>)means[0], (Vector<u8>)means[1]);
    };
    std::ptrdiff_t i = 0;
    for (; i + LANES<u8> <= n; i += LANES<u8>) store(d + i, meansAt(i));
    if (i < n) storePart(d + i, meansAt(i), n - i);
}

} // namespace

const BoxKernels boxKernels = {
    .addRow = ZYLQX_SAMPLES(addRow, , u32),
    .slideRow = ZYLQX_SAMPLES(slideRow, , u32),
    .addRowWide = ZYLQX_SAMPLES(addRow, , s64),
    .slideRowWide = ZYLQX_SAMPLES(slideRow, , s64),
    .boxSums = boxSums,
    .boxSumsWide = boxSumsWide,
    .mean = ZYLQX_SAMPLES(mean),
    .meanWide = ZYLQX_SAMPLES(meanWide),
    .addRowNarrow = addRow<u8, u16>,
    .slideRowNarrow = slideRowNarrow,
    .meanNarrow = meanNarrow,
};

} // namespace zylqx::ZYLQX_LEVEL
