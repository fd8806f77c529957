#include "stats/kernels.h"

#include "stats/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// --- threshold ---

template <class T>
void thresholdRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                  std::ptrdiff_t n, const ThresholdLevels &levels) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    const T limit = static_cast<T>(levels.limit);
    const T below = static_cast<T>(levels.below);
    const T others = static_cast<T>(levels.others);
    if (sStep == 1 && dStep == 1) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = in[i] < limit ? below : others;
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i * dStep] = in[i * sStep] < limit ? below : others;
    }
}

// --- histograms ---

template <class T, std::ptrdiff_t SIZE, int TABLES>
void countRow(const T *s, std::ptrdiff_t step, std::ptrdiff_t n, std::uint32_t *counts) {
    std::ptrdiff_t i = 0;
    for (; i + 4 <= n; i += 4, s += 4 * step) {
        const T a = s[0];
        const T b = s[step];
        const T c = s[2 * step];
        const T d = s[3 * step];
        ++counts[a];
        ++counts[1 % TABLES * SIZE + b];
        ++counts[2 % TABLES * SIZE + c];
        ++counts[3 % TABLES * SIZE + d];
    }
    for (; i < n; ++i, s += step) ++counts[*s];
}

// --- look-ups ---

template <class T>
void lookUpRow(const T *s, std::ptrdiff_t sStep, T *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
               const T *table) {
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i * dStep] = table[s[i * sStep]];
}

#if defined(__AVX2__)

using Bytes16 = std::uint8_t __attribute__((vector_size(16)));
using Bytes32 = std::uint8_t __attribute__((vector_size(32)));
using SignedBytes32 = std::int8_t __attribute__((vector_size(32)));
using Chars32 = char __attribute__((vector_size(32)));

// A look-up in 256 bytes, 32 samples at once. An instruction looks up 16 bytes by
// the low half of a sample and gives zero where the sample's top bit is set. The
// table's 16 parts are kept as differences (exclusive or) from the part before,
// and the result is the sum of all parts up to the sample's own. Subtracting 16
// from the samples for every part sets the top bit of those whose own part has
// been reached.
class ByteTable {
  public:
    explicit ByteTable(const std::uint8_t *table) {
        Bytes16 before = {};
        for (int part = 0; part < 16; ++part) {
            const Bytes16 own = load<Bytes16>(table + part * 16);
            // The second half of the table starts afresh.
            const Bytes16 change = part == 8 ? own : own ^ before;
            __builtin_memcpy(&parts_[part], &change, 16);
            __builtin_memcpy(reinterpret_cast<char *>(&parts_[part]) + 16, &change, 16);
            before = own;
        }
    }

    Bytes32 operator()(Bytes32 samples) const {
        return half(parts_, samples) ^ half(parts_ + 8, samples ^ 0x80);
    }

  private:
    // Samples below 128 by eight parts; zeros for the others.
    static Bytes32 half(const Chars32 *parts, Bytes32 samples) {
        // Far enough below zero that subtracting cannot come round.
        const SignedBytes32 outside = SignedBytes32{} - 1;
        SignedBytes32 index = reinterpret_cast<SignedBytes32>(samples);
        index = index > outside ? index : outside;
        Bytes32 result = {};
        for (int part = 0; part < 8; ++part) {
            if (part > 0) index -= 16;
            result ^= reinterpret_cast<Bytes32>(
                __builtin_ia32_pshufb256(parts[part], reinterpret_cast<Chars32>(index)));
        }
        return result;
    }

    Chars32 parts_[16];
};

void lookUp8Row(const std::uint8_t *s, std::ptrdiff_t sStep, std::uint8_t *d, std::ptrdiff_t dStep,
                std::ptrdiff_t n, const std::uint8_t *table) {
    std::ptrdiff_t i = 0;
    if (sStep == 1 && dStep == 1 && n >= 256) {
        const ByteTable bytes(table);
        for (; i + 32 <= n; i += 32) store(d + i, bytes(load<Bytes32>(s + i)));
    }
    lookUpRow(s + i * sStep, sStep, d + i * dStep, dStep, n - i, table);
}

#else

constexpr auto lookUp8Row = lookUpRow<std::uint8_t>;

#endif

// --- norms ---

// Absolute samples or differences, which fit in the unsigned type, in vectors
// that zeros fill up.
template <class T, class Samples, class V>
class Magnitudes {
  public:
    Magnitudes(const T *a, const T *b, std::ptrdiff_t n) : a_(a), b_(b), n_(n) {}

    std::ptrdiff_t vectors() const { return (n_ + PER_VECTOR - 1) / PER_VECTOR; }

    V operator[](std::ptrdiff_t vector) const {
        const std::ptrdiff_t at = vector * PER_VECTOR;
        const std::ptrdiff_t left = n_ - at;
        if (left >= PER_VECTOR) [[likely]] {
            return of(load<Samples>(a_ + at), b_ != nullptr ? load<Samples>(b_ + at) : Samples{});
        }
        const std::ptrdiff_t bytes = left * std::ptrdiff_t{sizeof(T)};
        return of(loadPart<Samples>(a_ + at, bytes),
                  b_ != nullptr ? loadPart<Samples>(b_ + at, bytes) : Samples{});
    }

  private:
    static constexpr std::ptrdiff_t PER_VECTOR = VECTOR_BYTES / std::ptrdiff_t{sizeof(T)};

    static V of(Samples a, Samples b) {
        const Samples low = smaller(a, b);
        const Samples high = larger(a, b);
        return reinterpret_cast<V>(high) - reinterpret_cast<V>(low);
    }

    const T *a_;
    const T *b_;
    std::ptrdiff_t n_;
};

template <class V>
std::uint64_t sumOf(V v) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(v[0]); ++i) sum += v[i];
    return sum;
}

// Sums of the two halves of every element.
inline Doubles pairSums(Words v) {
    const Doubles pairs = reinterpret_cast<Doubles>(v);
    return (pairs & 0xFFFFu) + (pairs >> 16);
}
inline Quads pairSums(Doubles v) {
    const Quads pairs = reinterpret_cast<Quads>(v);
    return (pairs & 0xFFFFFFFFu) + (pairs >> 32);
}

// Vectors whose 16- or 32-bit sums cannot overflow: 128 * 2 * 255 < 2^16, and
// 8192 * 4 * 255^2 and 8192 * 2 * 65535 < 2^32.
constexpr std::ptrdiff_t SHORT_RUN = 128;
constexpr std::ptrdiff_t LONG_RUN = 8192;

inline std::ptrdiff_t runEnd(std::ptrdiff_t from, std::ptrdiff_t length, std::ptrdiff_t end) {
    return end - from < length ? end : from + length;
}

template <class V, class M>
std::uint64_t largestOf(const M &m) {
    V most = {};
    for (std::ptrdiff_t i = 0; i < m.vectors(); ++i) most = larger(most, m[i]);
    std::uint64_t result = 0;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(most[0]); ++i) {
        if (most[i] > result) result = most[i];
    }
    return result;
}

template <class T, class Samples>
std::uint64_t sumOf(const Magnitudes<T, Samples, Bytes> &m) {
    std::uint64_t sum = 0;
    const std::ptrdiff_t end = m.vectors();
    for (std::ptrdiff_t i = 0; i < end;) {
        Words words = {};
        for (const std::ptrdiff_t stop = runEnd(i, SHORT_RUN, end); i < stop; ++i) {
            const Words pairs = reinterpret_cast<Words>(m[i]);
            words += (pairs & 0xFF) + (pairs >> 8);
        }
        sum += sumOf(words);
    }
    return sum;
}

template <class T, class Samples>
std::uint64_t sumOf(const Magnitudes<T, Samples, Words> &m) {
    std::uint64_t sum = 0;
    const std::ptrdiff_t end = m.vectors();
    for (std::ptrdiff_t i = 0; i < end;) {
        Doubles doubles = {};
        for (const std::ptrdiff_t stop = runEnd(i, LONG_RUN, end); i < stop; ++i) {
            doubles += pairSums(m[i]);
        }
        sum += sumOf(doubles);
    }
    return sum;
}

template <class T, class Samples>
std::uint64_t sumOf(const Magnitudes<T, Samples, Doubles> &m) {
    Quads sum = {};
    for (std::ptrdiff_t i = 0; i < m.vectors(); ++i) sum += pairSums(m[i]);
    return sumOf(sum);
}

void addSquares(std::uint64_t squares, NormSums &sums) {
    sums.squaresLow += squares & 0xFFFFFFFFu;
    sums.squaresHigh += squares >> 32;
}

template <class T, class Samples>
void addSquares(const Magnitudes<T, Samples, Bytes> &m, NormSums &sums) {
    const std::ptrdiff_t end = m.vectors();
    for (std::ptrdiff_t i = 0; i < end;) {
        Doubles doubles = {};
        for (const std::ptrdiff_t stop = runEnd(i, LONG_RUN, end); i < stop; ++i) {
            const Words pairs = reinterpret_cast<Words>(m[i]);
            const Words even = pairs & 0xFF;
            const Words odd = pairs >> 8;
            doubles += pairSums(even * even) + pairSums(odd * odd);
        }
        addSquares(sumOf(doubles), sums);
    }
}

template <class T, class Samples>
void addSquares(const Magnitudes<T, Samples, Words> &m, NormSums &sums) {
    Quads quads = {};
    for (std::ptrdiff_t i = 0; i < m.vectors(); ++i) {
        const Doubles pairs = reinterpret_cast<Doubles>(m[i]);
        const Doubles even = pairs & 0xFFFFu;
        const Doubles odd = pairs >> 16;
        quads += pairSums(even * even) + pairSums(odd * odd);
    }
    addSquares(sumOf(quads), sums);
}

template <class T, class Samples>
void addSquares(const Magnitudes<T, Samples, Doubles> &m, NormSums &sums) {
    Quads low = {};
    Quads high = {};
    for (std::ptrdiff_t i = 0; i < m.vectors(); ++i) {
        const Quads pairs = reinterpret_cast<Quads>(m[i]);
        const Quads even = (pairs & 0xFFFFFFFFu) * (pairs & 0xFFFFFFFFu);
        const Quads odd = (pairs >> 32) * (pairs >> 32);
        low += (even & 0xFFFFFFFFu) + (odd & 0xFFFFFFFFu);
        high += (even >> 32) + (odd >> 32);
    }
    sums.squaresLow += sumOf(low);
    sums.squaresHigh += sumOf(high);
}

template <class T, class Samples, class V, NormPart PART>
void addNorm(const T *a, const T *b, std::ptrdiff_t n, NormSums &sums) {
    const Magnitudes<T, Samples, V> m(a, b, n);
    if constexpr (PART == NormPart::Largest) {
        const std::uint64_t largest = largestOf<V>(m);
        if (largest > sums.largest) sums.largest = largest;
    } else if constexpr (PART == NormPart::Sum) {
        sums.sum += sumOf(m);
    } else {
        addSquares(m, sums);
    }
}

// Samples with a step between them are put side by side first.
constexpr std::ptrdiff_t GATHERED = 1024;

template <class T>
const T *gather(const T *s, std::ptrdiff_t step, std::ptrdiff_t n, T *gathered) {
    if (s == nullptr || step == 1) return s;
    for (std::ptrdiff_t i = 0; i < n; ++i) gathered[i] = s[i * step];
    return gathered;
}

template <class T, class Samples, class V, NormPart PART>
void normRow(const void *a, std::ptrdiff_t aStep, const void *b, std::ptrdiff_t bStep,
             std::ptrdiff_t n, NormSums &sums) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    if (aStep == 1 && (b == nullptr || bStep == 1)) {
        addNorm<T, Samples, V, PART>(first, second, n, sums);
        return;
    }
    T gatheredA[GATHERED];
    T gatheredB[GATHERED];
    for (std::ptrdiff_t x = 0; x < n; x += GATHERED) {
        const std::ptrdiff_t count = runEnd(x, GATHERED, n) - x;
        const T *partB = second != nullptr ? second + x * bStep : nullptr;
        addNorm<T, Samples, V, PART>(gather(first + x * aStep, aStep, count, gatheredA),
                                     gather(partB, bStep, count, gatheredB), count, sums);
    }
}

// --- bits ---

// `count` bits (1 to 8) from a bit on, at the left of a byte; zeros behind them.
// Reads no byte that holds none of them.
unsigned loadBits(BitRow row, std::ptrdiff_t at, int count) {
    if (row.data == nullptr) return 0;
    const std::ptrdiff_t bit = row.bit + at;
    const std::uint8_t *byte = row.data + bit / 8;
    const int offset = static_cast<int>(bit % 8);
    unsigned bits = unsigned{byte[0]} << offset;
    if (offset + count > 8) bits |= unsigned{byte[1]} >> (8 - offset);
    return bits & (0xFF00u >> count) & 0xFFu;
}

// 64 bits from a bit on, the leftmost at the top.
std::uint64_t loadWord(BitRow row, std::ptrdiff_t at) {
    if (row.data == nullptr) return 0;
    const std::ptrdiff_t bit = row.bit + at;
    const std::uint8_t *byte = row.data + bit / 8;
    const int offset = static_cast<int>(bit % 8);
    std::uint64_t word;
    __builtin_memcpy(&word, byte, 8);
    word = __builtin_bswap64(word);
    return offset == 0 ? word : word << offset | std::uint64_t{byte[8]} >> (8 - offset);
}

std::uint64_t countBitsRow(BitRow a, BitRow b, std::ptrdiff_t n) {
    std::uint64_t count = 0;
    std::ptrdiff_t at = 0;
    for (; n - at >= 64; at += 64) {
        count +=
            static_cast<std::uint64_t>(__builtin_popcountll(loadWord(a, at) ^ loadWord(b, at)));
    }
    for (; at < n; at += 8) {
        const int bits = n - at < 8 ? static_cast<int>(n - at) : 8;
        count += static_cast<std::uint64_t>(
            __builtin_popcount(loadBits(a, at, bits) ^ loadBits(b, at, bits)));
    }
    return count;
}

} // namespace

// A row of the table for each NormPart, by depth.
#define NORM_ROWS(PART)                                                                            \
    {                                                                                              \
        nullptr, normRow<std::uint8_t, Bytes, Bytes, PART>,                                        \
            normRow<std::int8_t, SignedBytes, Bytes, PART>,                                        \
            normRow<std::uint16_t, Words, Words, PART>,                                            \
            normRow<std::int16_t, SignedWords, Words, PART>,                                       \
            normRow<std::int32_t, SignedDoubles, Doubles, PART>                                    \
    }

const StatsKernels statsKernels = {
    {nullptr, thresholdRow<std::uint8_t>, thresholdRow<std::int8_t>, thresholdRow<std::uint16_t>,
     thresholdRow<std::int16_t>, thresholdRow<std::int32_t>},
    {NORM_ROWS(NormPart::Largest), NORM_ROWS(NormPart::Sum), NORM_ROWS(NormPart::Squares)},
    countBitsRow,
    countRow<std::uint8_t, 256, TABLES_8>,
    countRow<std::uint16_t, 65536, TABLES_16>,
    lookUp8Row,
    lookUpRow<std::uint16_t>};

} // namespace zylqx::ZYLQX_LEVEL
