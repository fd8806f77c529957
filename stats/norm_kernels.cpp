// The largest absolute sample or difference of a row, their sum, and the sum of
// their squares, all exact.
//
// An absolute difference of n-bit samples fits in n unsigned bits. A vector's lanes
// hold sums of neighbours in elements of at least twice the samples' width: of
// SHORT_RUN = 2^16 samples, sums of bytes' squares, 2^16 * 255^2, and of words,
// 2^16 * (2^16 - 1), stay below 2^32. Squares of words add up in 64 bits; squares of
// 32-bit samples have 64 bits themselves, so their halves are summed apart.
#include "core/bits.h"
#include "core/vectors.h"
#include "stats/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Memory is the limit, not the width.
using namespace narrow_vectors;

template <class V>
u64 sumOf(V v) {
    u64 sum = 0;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(v[0]); ++i) sum += v[i];
    return sum;
}

// Sums of neighbours in wider elements.
inline Vector<u64> groupSums(Vector<u32> v) {
    const Vector<u64> pairs = reinterpret_cast<Vector<u64>>(v);
    return (pairs & 0xFFFFFFFFu) + (pairs >> 32);
}
inline Vector<u32> groupSums(Vector<u16> v) {
    const Vector<u32> pairs = reinterpret_cast<Vector<u32>>(v);
    return (pairs & 0xFFFFu) + (pairs >> 16);
}
inline Vector<u64> groupSums(Vector<u8> v) {
#if defined(__AVX2__)
    return reinterpret_cast<Vector<u64>>(
        __builtin_ia32_psadbw256(reinterpret_cast<Vector<char>>(v), Vector<char>{}));
#elif defined(__SSE2__)
    return reinterpret_cast<Vector<u64>>(
        __builtin_ia32_psadbw128(reinterpret_cast<Vector<char>>(v), Vector<char>{}));
#else
    const Vector<u16> pairs = reinterpret_cast<Vector<u16>>(v);
    return groupSums(groupSums((pairs & 0xFF) + (pairs >> 8)));
#endif
}

// Sums of the squares of neighbours, which are below 256.
inline Vector<u32> squareSums(Vector<u16> v) {
#if defined(__AVX2__)
    const Vector<s16> values = reinterpret_cast<Vector<s16>>(v);
    return reinterpret_cast<Vector<u32>>(__builtin_ia32_pmaddwd256(values, values));
#elif defined(__SSE2__)
    const Vector<s16> values = reinterpret_cast<Vector<s16>>(v);
    return reinterpret_cast<Vector<u32>>(__builtin_ia32_pmaddwd128(values, values));
#else
    return groupSums(v * v);
#endif
}

// What a norm makes of vectors of absolute samples or differences. Of SHORT_RUN
// samples, the sums of bytes' squares and of words stay below 2^32.
constexpr std::ptrdiff_t SHORT_RUN = 65536;

template <NormPart PART, class V>
class Total;

template <class V>
class Total<NormPart::Largest, V> {
  public:
    void add(V v) { most_ = larger(most_, v); }
    void addTo(NormSums &sums) const {
        for (std::size_t i = 0; i < sizeof(V) / sizeof(most_[0]); ++i) {
            if (most_[i] > sums.largest) sums.largest = most_[i];
        }
    }

  private:
    V most_ = {};
};

template <class V>
class Total<NormPart::Sum, V> {
  public:
    void add(V v) { sum_ += groupSums(v); }
    void addTo(NormSums &sums) const { sums.sum += sumOf(sum_); }

  private:
    decltype(groupSums(V{})) sum_ = {};
};

void addSquares(u64 squares, NormSums &sums) {
    sums.squaresLow += squares & 0xFFFFFFFFu;
    sums.squaresHigh += squares >> 32;
}

template <>
class Total<NormPart::Squares, Vector<u8>> {
  public:
    void add(Vector<u8> v) {
        const Vector<u16> pairs = reinterpret_cast<Vector<u16>>(v);
        sum_ += squareSums(pairs & 0xFF) + squareSums(pairs >> 8);
    }
    void addTo(NormSums &sums) const { addSquares(sumOf(sum_), sums); }

  private:
    Vector<u32> sum_ = {};
};

template <>
class Total<NormPart::Squares, Vector<u16>> {
  public:
    void add(Vector<u16> v) {
        const Vector<u32> pairs = reinterpret_cast<Vector<u32>>(v);
        const Vector<u32> even = pairs & 0xFFFFu;
        const Vector<u32> odd = pairs >> 16;
        sum_ += groupSums(even * even) + groupSums(odd * odd);
    }
    void addTo(NormSums &sums) const { addSquares(sumOf(sum_), sums); }

  private:
    Vector<u64> sum_ = {};
};

template <>
class Total<NormPart::Squares, Vector<u32>> {
  public:
    void add(Vector<u32> v) {
        const Vector<u64> pairs = reinterpret_cast<Vector<u64>>(v);
        const Vector<u64> even = (pairs & 0xFFFFFFFFu) * (pairs & 0xFFFFFFFFu);
        const Vector<u64> odd = (pairs >> 32) * (pairs >> 32);
        low_ += (even & 0xFFFFFFFFu) + (odd & 0xFFFFFFFFu);
        high_ += (even >> 32) + (odd >> 32);
    }
    void addTo(NormSums &sums) const {
        sums.squaresLow += sumOf(low_);
        sums.squaresHigh += sumOf(high_);
    }

  private:
    Vector<u64> low_ = {};
    Vector<u64> high_ = {};
};

// Absolute differences, which fit in the unsigned type.
template <int BYTES>
struct Unsigned;
template <>
struct Unsigned<1> {
    using Type = u8;
};
template <>
struct Unsigned<2> {
    using Type = u16;
};
template <>
struct Unsigned<4> {
    using Type = u32;
};

template <class V, class Samples>
inline V distance(Samples a, Samples b) {
    return reinterpret_cast<V>(larger(a, b)) - reinterpret_cast<V>(smaller(a, b));
}

template <class T, NormPart PART>
void addNorm(const T *a, const T *b, std::ptrdiff_t n, NormSums &sums) {
    using Samples = Vector<T>;
    using V = Vector<typename Unsigned<sizeof(T)>::Type>;
    constexpr std::ptrdiff_t PER_VECTOR = LANES<T>;
    Total<PART, V> total;
    std::ptrdiff_t i = 0;
    if (b == nullptr) {
        for (; i + PER_VECTOR <= n; i += PER_VECTOR) {
            total.add(distance<V>(load<Samples>(a + i), Samples{}));
        }
    } else {
        for (; i + PER_VECTOR <= n; i += PER_VECTOR) {
            total.add(distance<V>(load<Samples>(a + i), load<Samples>(b + i)));
        }
    }
    if (i < n) {
        const std::ptrdiff_t bytes = (n - i) * std::ptrdiff_t{sizeof(T)};
        total.add(distance<V>(loadPart<Samples>(a + i, bytes),
                              b != nullptr ? loadPart<Samples>(b + i, bytes) : Samples{}));
    }
    total.addTo(sums);
}

// Samples with a step between them are put side by side first.
constexpr std::ptrdiff_t GATHERED = 1024;

template <class T>
const T *gather(const T *s, std::ptrdiff_t step, std::ptrdiff_t n, T *gathered) {
    if (s == nullptr || step == 1) return s;
    for (std::ptrdiff_t i = 0; i < n; ++i) gathered[i] = s[i * step];
    return gathered;
}

template <class T, NormPart PART>
void normRow(const void *a, std::ptrdiff_t aStep, const void *b, std::ptrdiff_t bStep,
             std::ptrdiff_t n, NormSums &sums) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    if (aStep == 1 && (b == nullptr || bStep == 1)) {
        for (std::ptrdiff_t x = 0; x < n; x += SHORT_RUN) {
            addNorm<T, PART>(first + x, second != nullptr ? second + x : nullptr,
                             smaller(n - x, SHORT_RUN), sums);
        }
        return;
    }
    T gatheredA[GATHERED];
    T gatheredB[GATHERED];
    for (std::ptrdiff_t x = 0; x < n; x += GATHERED) {
        const std::ptrdiff_t count = smaller(n - x, GATHERED);
        const T *partB = second != nullptr ? second + x * bStep : nullptr;
        addNorm<T, PART>(gather(first + x * aStep, aStep, count, gatheredA),
                         gather(partB, bStep, count, gatheredB), count, sums);
    }
}

// --- bits ---

// Of a row that is missing, zeros.
std::uint64_t wordOf(ConstBits row, std::ptrdiff_t at) {
    return row.data != nullptr ? loadBitWord(row.data, row.bit + at) : 0;
}
unsigned bitsOf(ConstBits row, std::ptrdiff_t at, int count) {
    return row.data != nullptr ? loadBits(row.data, row.bit + at, count) : 0;
}

std::uint64_t countBitsRow(ConstBits a, ConstBits b, std::ptrdiff_t n) {
    std::uint64_t count = 0;
    std::ptrdiff_t at = 0;
    for (; n - at >= 64; at += 64) {
        count += static_cast<std::uint64_t>(__builtin_popcountll(wordOf(a, at) ^ wordOf(b, at)));
    }
    for (; at < n; at += 8) {
        const int bits = n - at < 8 ? static_cast<int>(n - at) : 8;
        const unsigned differ = (bitsOf(a, at, bits) ^ bitsOf(b, at, bits)) >> (8 - bits);
        count += static_cast<std::uint64_t>(__builtin_popcount(differ));
    }
    return count;
}

} // namespace

// A row of the table for each NormPart, by depth.
#define NORM_ROWS(PART)                                                                            \
    {                                                                                              \
        nullptr, normRow<u8, PART>, normRow<s8, PART>, normRow<u16, PART>, normRow<s16, PART>,     \
            normRow<s32, PART>                                                                     \
    }

const NormKernels normKernels = {
    {NORM_ROWS(NormPart::Largest), NORM_ROWS(NormPart::Sum), NORM_ROWS(NormPart::Squares)},
    countBitsRow};

} // namespace zylqx::ZYLQX_LEVEL
