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

void count8Row(const std::uint8_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
               std::uint32_t *counts) {
    std::ptrdiff_t i = 0;
    for (; i + TABLES_8 <= n; i += TABLES_8, s += TABLES_8 * step) {
        for (int k = 0; k < TABLES_8; ++k) ++counts[k * 256 + s[k * step]];
    }
    for (; i < n; ++i, s += step) ++counts[*s];
}

void count16Row(const std::uint16_t *s, std::ptrdiff_t step, std::ptrdiff_t n,
                std::uint32_t *counts) {
#pragma GCC unroll 4
    for (std::ptrdiff_t i = 0; i < n; ++i) ++counts[s[i * step]];
}

// Eight pixels: their sample K, which comes next in the word, and those behind it.
template <int CHANNELS, int K = 0>
inline void countEight(const std::uint8_t *s, std::uint64_t word, std::uint32_t *counts) {
    if constexpr (K < 8 * CHANNELS) {
        constexpr int TABLE = K % CHANNELS * TABLES_8 + K / CHANNELS % TABLES_8;
        if constexpr (K % 8 == 0) word = loadLowestFirst(s + K);
        ++counts[TABLE * 256 + static_cast<int>(word & 0xFF)];
        countEight<CHANNELS, K + 1>(s, word >> 8, counts);
    }
}

template <int CHANNELS>
void countPixels(const std::uint8_t *s, std::ptrdiff_t n, std::uint32_t *counts) {
    std::ptrdiff_t i = 0;
    for (; i + 8 <= n; i += 8) countEight<CHANNELS>(s + i * CHANNELS, 0, counts);
    for (std::ptrdiff_t k = i * CHANNELS; k < n * CHANNELS; ++k) {
        ++counts[k % CHANNELS * TABLES_8 * 256 + s[k]];
    }
}

void countPixelsRow(const std::uint8_t *s, int channels, std::ptrdiff_t n, std::uint32_t *counts) {
    if (channels == 1) return countPixels<1>(s, n, counts);
    if (channels == 3) return countPixels<3>(s, n, counts);
    if (channels == 4) return countPixels<4>(s, n, counts);
    for (int c = 0; c < channels; ++c) {
        count8Row(s + c, channels, n, counts + std::ptrdiff_t{c} * TABLES_8 * 256);
    }
}

// --- look-ups ---

template <class T>
void lookUpRow(const T *s, std::ptrdiff_t sStep, T *d, std::ptrdiff_t dStep, std::ptrdiff_t n,
               const T *table) {
#pragma GCC unroll 4
    for (std::ptrdiff_t i = 0; i < n; ++i) d[i * dStep] = table[s[i * sStep]];
}

#if defined(__AVX2__)

using Bytes16 = SizedVector<std::uint8_t, 16>;
using Bytes32 = SizedVector<std::uint8_t, 32>;
using SignedBytes32 = SizedVector<std::int8_t, 32>;
using Chars32 = SizedVector<char, 32>;

// A look-up in 256 bytes, 32 samples at once. An instruction looks up 16 bytes by
// the low half of a sample and gives zero where the sample's top bit is set. The
// table's 16 parts are kept as differences (exclusive or) from the part before,
// and the result is the sum of all parts up to the sample's own. Subtracting 16
// from the samples for every part sets the top bit of those whose own part has
// been reached.
class ByteTable {
  public:
    ByteTable() = default;
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

// Pixels of three or four samples by a table for each channel, PIXELS at a time.
//
// Three vectors of three-sample pixels have three different channels at every
// position, and so have four vectors of four-sample pixels once the j-th has been
// rotated by j. Blending by position then gives vectors of one channel each, and
// blending these gives the results in place.
template <int CHANNELS>
class PixelTables {
  public:
    static constexpr std::ptrdiff_t PIXELS = 32;

    explicit PixelTables(const std::uint8_t *tables) {
        for (int c = 0; c < CHANNELS; ++c) channels_[c] = ByteTable(tables + c * 256);
        for (int i = 0; i < 32; ++i) {
            for (int p = 0; p < CHANNELS; ++p) masks_[p][i] = i % CHANNELS == p ? 0xFF : 0;
        }
    }

    void operator()(const std::uint8_t *s, std::uint8_t *d) const {
        Bytes32 v[CHANNELS];
        for (int j = 0; j < CHANNELS; ++j) v[j] = rotate(load<Bytes32>(s + 32 * j), j);
        Bytes32 channel[CHANNELS];
        for (int c = 0; c < CHANNELS; ++c) {
            // v[j] has channel (p + SHIFT * j) % CHANNELS at position p.
            Bytes32 samples = {};
            for (int j = 0; j < CHANNELS; ++j) samples |= v[j] & mask(c - SHIFT * j);
            channel[c] = channels_[c](samples);
        }
        for (int j = 0; j < CHANNELS; ++j) {
            Bytes32 samples = {};
            for (int c = 0; c < CHANNELS; ++c) samples |= channel[c] & mask(c - SHIFT * j);
            store(d + 32 * j, rotate(samples, -j));
        }
    }

  private:
    static constexpr int SHIFT = CHANNELS == 3 ? 32 % 3 : 1;

    const Bytes32 &mask(int position) const {
        return masks_[(position + CHANNELS * CHANNELS) % CHANNELS];
    }
    // The samples of every four-sample pixel moved by `by` positions to the front.
    static Bytes32 rotate(Bytes32 v, int by) {
        if (CHANNELS == 3 || by == 0) return v;
        const Doubles pixels = reinterpret_cast<Doubles>(v);
        const int bits = by * 8 & 31;
        return reinterpret_cast<Bytes32>(pixels >> bits | pixels << (32 - bits));
    }

    ByteTable channels_[CHANNELS];
    Bytes32 masks_[CHANNELS];
};

// From here on it pays to prepare a table.
constexpr std::ptrdiff_t MANY_SAMPLES = 256;

void lookUp8Row(const std::uint8_t *s, std::ptrdiff_t sStep, std::uint8_t *d, std::ptrdiff_t dStep,
                std::ptrdiff_t n, const std::uint8_t *table) {
    std::ptrdiff_t i = 0;
    if (sStep == 1 && dStep == 1 && n >= MANY_SAMPLES) {
        const ByteTable bytes(table);
        for (; i + 32 <= n; i += 32) store(d + i, bytes(load<Bytes32>(s + i)));
    }
    lookUpRow(s + i * sStep, sStep, d + i * dStep, dStep, n - i, table);
}

// As many pixels as whole vectors hold; gives their number.
template <int CHANNELS>
std::ptrdiff_t lookUpPixels(const std::uint8_t *s, std::uint8_t *d, std::ptrdiff_t n,
                            const std::uint8_t *tables) {
    using Tables = PixelTables<CHANNELS>;
    if (n < MANY_SAMPLES) return 0;
    const Tables lookUp(tables);
    std::ptrdiff_t i = 0;
    for (; i + Tables::PIXELS <= n; i += Tables::PIXELS) lookUp(s + i * CHANNELS, d + i * CHANNELS);
    return i;
}

std::ptrdiff_t lookUpManyPixels(const std::uint8_t *s, std::uint8_t *d, int channels,
                                std::ptrdiff_t n, const std::uint8_t *tables) {
    if (channels == 3) return lookUpPixels<3>(s, d, n, tables);
    if (channels == 4) return lookUpPixels<4>(s, d, n, tables);
    return 0;
}

#else

constexpr auto lookUp8Row = lookUpRow<std::uint8_t>;

std::ptrdiff_t lookUpManyPixels(const std::uint8_t *, std::uint8_t *, int, std::ptrdiff_t,
                                const std::uint8_t *) {
    return 0;
}

#endif

void lookUpPixelsRow(const std::uint8_t *s, std::uint8_t *d, int channels, std::ptrdiff_t n,
                     const std::uint8_t *tables) {
    const std::ptrdiff_t done = lookUpManyPixels(s, d, channels, n, tables);
    for (int c = 0; c < channels; ++c) {
        const std::ptrdiff_t at = done * channels + c;
        lookUp8Row(s + at, channels, d + at, channels, n - done, tables + std::ptrdiff_t{c} * 256);
    }
}

// --- norms ---

template <class V>
std::uint64_t sumOf(V v) {
    std::uint64_t sum = 0;
    for (std::size_t i = 0; i < sizeof(V) / sizeof(v[0]); ++i) sum += v[i];
    return sum;
}

// Sums of neighbours in wider elements.
inline Quads groupSums(Doubles v) {
    const Quads pairs = reinterpret_cast<Quads>(v);
    return (pairs & 0xFFFFFFFFu) + (pairs >> 32);
}
inline Doubles groupSums(Words v) {
    const Doubles pairs = reinterpret_cast<Doubles>(v);
    return (pairs & 0xFFFFu) + (pairs >> 16);
}
inline Quads groupSums(Bytes v) {
#if defined(__AVX2__)
    return reinterpret_cast<Quads>(__builtin_ia32_psadbw256(reinterpret_cast<Chars>(v), Chars{}));
#elif defined(__SSE2__)
    return reinterpret_cast<Quads>(__builtin_ia32_psadbw128(reinterpret_cast<Chars>(v), Chars{}));
#else
    const Words pairs = reinterpret_cast<Words>(v);
    return groupSums(groupSums((pairs & 0xFF) + (pairs >> 8)));
#endif
}

// Sums of the squares of neighbours, which are below 256.
inline Doubles squareSums(Words v) {
#if defined(__AVX2__)
    const SignedWords values = reinterpret_cast<SignedWords>(v);
    return reinterpret_cast<Doubles>(__builtin_ia32_pmaddwd256(values, values));
#elif defined(__SSE2__)
    const SignedWords values = reinterpret_cast<SignedWords>(v);
    return reinterpret_cast<Doubles>(__builtin_ia32_pmaddwd128(values, values));
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

void addSquares(std::uint64_t squares, NormSums &sums) {
    sums.squaresLow += squares & 0xFFFFFFFFu;
    sums.squaresHigh += squares >> 32;
}

template <>
class Total<NormPart::Squares, Bytes> {
  public:
    void add(Bytes v) {
        const Words pairs = reinterpret_cast<Words>(v);
        sum_ += squareSums(pairs & 0xFF) + squareSums(pairs >> 8);
    }
    void addTo(NormSums &sums) const { addSquares(sumOf(sum_), sums); }

  private:
    Doubles sum_ = {};
};

template <>
class Total<NormPart::Squares, Words> {
  public:
    void add(Words v) {
        const Doubles pairs = reinterpret_cast<Doubles>(v);
        const Doubles even = pairs & 0xFFFFu;
        const Doubles odd = pairs >> 16;
        sum_ += groupSums(even * even) + groupSums(odd * odd);
    }
    void addTo(NormSums &sums) const { addSquares(sumOf(sum_), sums); }

  private:
    Quads sum_ = {};
};

template <>
class Total<NormPart::Squares, Doubles> {
  public:
    void add(Doubles v) {
        const Quads pairs = reinterpret_cast<Quads>(v);
        const Quads even = (pairs & 0xFFFFFFFFu) * (pairs & 0xFFFFFFFFu);
        const Quads odd = (pairs >> 32) * (pairs >> 32);
        low_ += (even & 0xFFFFFFFFu) + (odd & 0xFFFFFFFFu);
        high_ += (even >> 32) + (odd >> 32);
    }
    void addTo(NormSums &sums) const {
        sums.squaresLow += sumOf(low_);
        sums.squaresHigh += sumOf(high_);
    }

  private:
    Quads low_ = {};
    Quads high_ = {};
};

// Absolute differences, which fit in the unsigned type.
template <class V, class Samples>
inline V distance(Samples a, Samples b) {
    return reinterpret_cast<V>(larger(a, b)) - reinterpret_cast<V>(smaller(a, b));
}

template <class T, class Samples, class V, NormPart PART>
void addNorm(const T *a, const T *b, std::ptrdiff_t n, NormSums &sums) {
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

inline std::ptrdiff_t least(std::ptrdiff_t a, std::ptrdiff_t b) {
    return a < b ? a : b;
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
        for (std::ptrdiff_t x = 0; x < n; x += SHORT_RUN) {
            addNorm<T, Samples, V, PART>(first + x, second != nullptr ? second + x : nullptr,
                                         least(n - x, SHORT_RUN), sums);
        }
        return;
    }
    T gatheredA[GATHERED];
    T gatheredB[GATHERED];
    for (std::ptrdiff_t x = 0; x < n; x += GATHERED) {
        const std::ptrdiff_t count = least(n - x, GATHERED);
        const T *partB = second != nullptr ? second + x * bStep : nullptr;
        addNorm<T, Samples, V, PART>(gather(first + x * aStep, aStep, count, gatheredA),
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
    count8Row,
    countPixelsRow,
    count16Row,
    lookUp8Row,
    lookUpPixelsRow,
    lookUpRow<std::uint16_t>};

} // namespace zylqx::ZYLQX_LEVEL
