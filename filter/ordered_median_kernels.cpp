// Medians of large boxes of 16 and 32 bits, from the order of the samples of a block of
// pixels and of all that their boxes hold.
//
// The samples are sorted once. Their places in that order, many to a bucket, are values
// of 8 bits, and histograms give the bucket of every median and its rank in there. Where
// the samples of a bucket stand is kept as sets of its places: those of the columns of a
// box, and those of its rows. What both have is in the box.
#include "filter/median_kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Sorts by one byte after the other, the highest last. T is unsigned; numbers with a
// sign come in order once their highest bit is turned.
template <class T>
void orderSamples(const void *samples, std::ptrdiff_t n, u32 flip, u32 *order, u32 *work) {
    constexpr int DIGITS = sizeof(T);
    static_assert(DIGITS % 2 == 0); // the last pass ends where the first one began
    const T *s = static_cast<const T *>(samples);
    const auto digit = [s, flip](u32 i, int d) { return (s[i] ^ flip) >> (8 * d) & 0xFF; };
    u32 next[DIGITS][256] = {};
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        for (int d = 0; d < DIGITS; ++d) ++next[d][digit(static_cast<u32>(i), d)];
    }
    for (int d = 0; d < DIGITS; ++d) {
        u32 sum = 0;
        for (int v = 0; v < 256; ++v) {
            const u32 count = next[d][v];
            next[d][v] = sum;
            sum += count;
        }
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        work[next[0][digit(static_cast<u32>(i), 0)]++] = static_cast<u32>(i);
    }
    u32 *from = work;
    u32 *to = order;
    for (int d = 1; d < DIGITS; ++d) {
        for (std::ptrdiff_t i = 0; i < n; ++i) to[next[d][digit(from[i], d)]++] = from[i];
        u32 *const swapped = from;
        from = to;
        to = swapped;
    }
}

// Where the bit of a word is that has n others below it.
inline int nthBit(u64 bits, std::ptrdiff_t n) {
#if defined(__BMI2__) && defined(__x86_64__)
    return __builtin_ctzll(__builtin_ia32_pdep_di(u64{1} << n, bits));
#else
    for (; n > 0; --n) bits &= bits - 1;
    return __builtin_ctzll(bits);
#endif
}

template <class T, class U>
void pick(const OrderedBuckets &b, const u8 *buckets, const void *ranks, std::ptrdiff_t y, void *d,
          std::ptrdiff_t n) {
    const T *samples = static_cast<const T *>(b.samples);
    const U *rankOf = static_cast<const U *>(ranks);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t x = 0; x < n; ++x) {
        const u64 *columns = b.columnSets + buckets[x] * b.columnSize + x * b.words;
        const u64 *rows = b.rowSets + buckets[x] * b.rowSize + y * b.words;
        std::ptrdiff_t rank = rankOf[x];
        std::ptrdiff_t word = 0;
        u64 both = columns[0] & rows[0];
        for (int here; (here = __builtin_popcountll(both)) <= rank;) {
            rank -= here;
            ++word;
            both = columns[word] & rows[word];
        }
        out[x] = samples[b.order[(buckets[x] * b.words + word) * 64 + nthBit(both, rank)]];
    }
}

} // namespace

const OrderedMedianKernels orderedMedianKernels = {
    .order = {orderSamples<u16>, orderSamples<u32>},
    .pickNarrow = {pick<u16, u16>, pick<u32, u16>},
    .pickWide = {pick<u16, u32>, pick<u32, u32>},
};

} // namespace zylqx::ZYLQX_LEVEL
