#include "arith/kernels.h"

#define ZYLQX_NARROW_VECTORS
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
constexpr bool SIGNED = T(-1) < T(0);
template <class T>
constexpr int BITS = static_cast<int>(sizeof(T) * 8);
template <class T>
constexpr T LOWEST = SIGNED<T> ? T(T(1) << (BITS<T> - 1)) : T(0);
template <class T>
constexpr T HIGHEST = T(~LOWEST<T>);

// The type of twice the width, in which products are exact.
template <class T>
struct Wide;
template <>
struct Wide<std::uint8_t> {
    using Type = std::uint16_t;
};
template <>
struct Wide<std::int8_t> {
    using Type = std::int16_t;
};
template <>
struct Wide<std::uint16_t> {
    using Type = std::uint32_t;
};
template <>
struct Wide<std::int16_t> {
    using Type = std::int32_t;
};
template <>
struct Wide<std::int32_t> {
    using Type = std::int64_t;
};

// Sums and differences stay in the sample's own type: one operand is limited
// first so that the result cannot leave the range.
struct Add {
    template <class T>
    static T of(T a, T b) {
        if constexpr (SIGNED<T>) {
            const T low = T(LOWEST<T> - smaller<T>(a, 0));
            const T high = T(HIGHEST<T> - larger<T>(a, 0));
            return T(a + smaller(larger(b, low), high));
        } else {
            return T(a + smaller(b, T(~a)));
        }
    }
};

struct Subtract {
    template <class T>
    static T of(T a, T b) {
        if constexpr (SIGNED<T>) {
            const T low = T(larger<T>(a, -1) - HIGHEST<T>);
            const T high = T(smaller<T>(a, -1) - LOWEST<T>);
            return T(a - smaller(larger(b, low), high));
        } else {
            return T(a - smaller(a, b));
        }
    }
};

// 16-bit products come in halves, each by an expression of its own: so the
// compiler uses the instructions that processors have for either half.
std::uint16_t multiply16(std::uint16_t a, std::uint16_t b) {
    const auto high = std::uint16_t((std::uint32_t{a} * b) >> 16);
    const auto low = std::uint16_t(std::int16_t(a) * int{std::int16_t(b)});
    return std::uint16_t(low | -smaller<std::uint16_t>(high, 1));
}

std::int16_t multiply16(std::int16_t a, std::int16_t b) {
    const auto high = std::int16_t((int{a} * b) >> 16);
    const auto low = std::int16_t(std::uint16_t(a) * std::uint32_t{std::uint16_t(b)});
    return high == std::int16_t(low >> 15) ? low : std::int16_t(0x7FFF ^ high >> 15);
}

struct Multiply {
    template <class T>
    static T of(T a, T b) {
        using W = typename Wide<T>::Type;
        if constexpr (sizeof(T) == 2) {
            return multiply16(a, b);
        } else if constexpr (SIGNED<T>) {
            return T(smaller<W>(larger<W>(W(W(a) * W(b)), LOWEST<T>), HIGHEST<T>));
        } else {
            return T(smaller<W>(W(W(a) * W(b)), HIGHEST<T>));
        }
    }
};

struct And {
    template <class T>
    static T of(T a, T b) {
        return T(a & b);
    }
};
struct Or {
    template <class T>
    static T of(T a, T b) {
        return T(a | b);
    }
};
struct Xor {
    template <class T>
    static T of(T a, T b) {
        return T(a ^ b);
    }
};
struct AndNot {
    template <class T>
    static T of(T a, T b) {
        return T(a & ~b);
    }
};

template <class T, class Operation>
void binaryRow(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = Operation::of(first[i], second[i]);
}

// Runs `operation` over a row; it takes a sample and gives a sample.
template <class T, class F>
void map(const void *s, void *d, std::ptrdiff_t n, F operation) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = operation(in[i]);
}

template <class T, class Operation>
void constantRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const T value = T(c.value);
    map<T>(s, d, n, [value](T x) { return Operation::of(x, value); });
}

// T is unsigned here, also for signed depths.
template <class T, class Operation>
void biasedRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const T value = T(c.value);
    const T before = T(c.before);
    const T after = T(c.after);
    map<T>(s, d, n, [=](T x) { return T(Operation::of(T(x ^ before), value) ^ after); });
}

// Products of samples in blocks, so that a constant is a row like any other: the
// instructions for halves of products take two rows.
template <class T>
void multiplyConstantRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    constexpr std::ptrdiff_t BLOCK = 512;
    T values[BLOCK];
    for (T &value : values) value = T(c.value);
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; i += BLOCK) {
        binaryRow<T, Multiply>(in + i, values, out + i, smaller(n - i, BLOCK));
    }
}

#if defined(__SSE2__)
// Bytes are multiplied as the halves of words and limited, as far as need be, by
// the instruction that packs words to bytes.
#if defined(__AVX2__)
#define ZYLQX_PACK(name) __builtin_ia32_pack##name##wb256
#define ZYLQX_INTERLEAVED                                                                          \
    0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15, 16, 24, 17, 25, 18, 26, 19, 27, 20, 28,  \
        21, 29, 22, 30, 23, 31
#else
#define ZYLQX_PACK(name) __builtin_ia32_pack##name##wb128
#define ZYLQX_INTERLEAVED 0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15
#endif
using Chars = Vector<char>;
using Shorts = Vector<short>;
using Words = Vector<std::uint16_t>;

// The limit must not be known to the compiler: it would compare with 254 instead
// and not see the minimum.
Words limitedToByte(Words v) {
    Words limit = Words{} + 255;
    asm("" : "+x"(limit));
    return v < limit ? v : limit;
}

template <class T>
Chars multiplyBytes(Words a, Words b) {
    Chars packed;
    if constexpr (SIGNED<T>) {
        const Shorts even = (Shorts(a << 8) >> 8) * (Shorts(b << 8) >> 8);
        const Shorts odd = (Shorts(a) >> 8) * (Shorts(b) >> 8);
        packed = Chars(ZYLQX_PACK(ss)(even, odd));
    } else {
        const Words even = limitedToByte((a & 255) * (b & 255));
        const Words odd = limitedToByte((a >> 8) * (b >> 8));
        packed = Chars(ZYLQX_PACK(us)(Shorts(even), Shorts(odd)));
    }
    return __builtin_shufflevector(packed, packed, ZYLQX_INTERLEAVED);
}

// As many bytes as whole vectors hold; gives their number. `other` gives the
// second factors of a vector from a position on.
template <class T, class F>
std::ptrdiff_t multiplyVectors(const T *in, T *out, std::ptrdiff_t n, F other) {
    std::ptrdiff_t i = 0;
    for (; i + VECTOR_BYTES <= n; i += VECTOR_BYTES) {
        store(out + i, multiplyBytes<T>(load<Words>(in + i), other(i)));
    }
    return i;
}
#endif

template <class T>
void multiplyBytesRow(const void *a, const void *b, void *d, std::ptrdiff_t n) {
    const T *first = static_cast<const T *>(a);
    const T *second = static_cast<const T *>(b);
    T *out = static_cast<T *>(d);
    std::ptrdiff_t i = 0;
#if defined(__SSE2__)
    i = multiplyVectors(first, out, n, [=](std::ptrdiff_t at) { return load<Words>(second + at); });
#endif
    for (; i < n; ++i) out[i] = Multiply::of(first[i], second[i]);
}

template <class T>
void multiplyBytesByConstant(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    const T value = T(c.value);
    std::ptrdiff_t i = 0;
#if defined(__SSE2__)
    const Words values = Words{} + std::uint16_t((c.value & 0xFF) * 0x101);
    i = multiplyVectors(in, out, n, [=](std::ptrdiff_t) { return values; });
#endif
    for (; i < n; ++i) out[i] = Multiply::of(in[i], value);
}

template <class T>
void squareBytesRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &) {
    multiplyBytesRow<T>(s, s, d, n);
}

// What a product with a very large number saturates to.
template <class T>
void limitOfSignRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &) {
    map<T>(s, d, n, [](T x) { return x == 0 ? T(0) : x < 0 ? LOWEST<T> : HIGHEST<T>; });
}

template <class T>
void multiplyModuloRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const std::uint32_t value = c.value;
    map<T>(s, d, n, [value](T x) { return T(smaller<std::uint32_t>(x * value, HIGHEST<T>)); });
}

// One number in every sample of a word.
template <class T>
std::uint64_t repeated(std::uint32_t value) {
    return ~std::uint64_t{0} / static_cast<T>(~T(0)) * static_cast<T>(value);
}

// Runs `operation` over a row of bits, 64 at once: whole numbers of samples, and
// sample by sample at the end. T is unsigned.
template <class T, class F>
void mapWords(const void *s, void *d, std::ptrdiff_t n, F operation) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    constexpr std::ptrdiff_t perWord = 64 / BITS<T>;
    const std::ptrdiff_t words = n / perWord;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < words; ++i) {
        std::uint64_t word;
        __builtin_memcpy(&word, in + i * perWord, sizeof word);
        word = operation(word);
        __builtin_memcpy(out + i * perWord, &word, sizeof word);
    }
    for (std::ptrdiff_t i = words * perWord; i < n; ++i) out[i] = T(operation(in[i]));
}

template <class T>
void shiftLeftRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const std::uint32_t shift = c.value;
    const std::uint64_t kept = repeated<T>(0xFFFFFFFFu << shift);
    mapWords<T>(s, d, n, [=](std::uint64_t word) { return word << shift & kept; });
}

// Signed samples count from 0 while they are shifted: the top bit is flipped
// before, and what the shift has made of it is taken back after, by a sum that
// never carries into the next sample. The signed sample stands for its extension
// to 32 bits, so bits beyond 32 - shift are 0.
template <class T, bool IS_SIGNED>
void shiftRightRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    constexpr auto bits = static_cast<std::uint32_t>(BITS<T>);
    const std::uint32_t top = IS_SIGNED ? 1u << (bits - 1) : 0;
    const std::uint32_t shift = smaller(c.value, bits - 1);
    const bool gone = !IS_SIGNED && c.value >= bits;
    const std::uint64_t flip = repeated<T>(top);
    const std::uint64_t mask = gone ? 0 : repeated<T>(HIGHEST<T> >> shift);
    const std::uint64_t back = repeated<T>(top - (top >> shift));
    const std::uint64_t kept = repeated<T>(0xFFFFFFFFu >> c.value);
    mapWords<T>(s, d, n, [=](std::uint64_t word) {
        return ((((word ^ flip) >> shift & mask) + back) ^ flip) & kept;
    });
}

void shiftRight32Row(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const int shift = static_cast<int>(c.value);
    map<std::int32_t>(s, d, n, [shift](std::int32_t x) { return x >> shift; });
}

template <class T>
void squareRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &) {
    map<T>(s, d, n, [](T x) { return Multiply::of(x, x); });
}

// Two's complement: the smallest value stays itself.
template <class U, class T>
void absoluteRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &) {
    map<T>(s, d, n, [](T x) { return x < 0 ? T(U(0) - U(x)) : x; });
}

// The C library's copy is several times slower between rows whose addresses are a
// few bytes apart modulo 4096, as those of shifted regions often are. Loading far
// ahead of the stores avoids that.
void copyRow(const void *s, void *d, std::ptrdiff_t bytes) {
    using V = Vector<std::uint8_t>;
    constexpr std::ptrdiff_t SIZE = sizeof(V);
    const auto *in = static_cast<const std::uint8_t *>(s);
    auto *out = static_cast<std::uint8_t *>(d);
    for (; bytes >= 4 * SIZE; bytes -= 4 * SIZE, in += 4 * SIZE, out += 4 * SIZE) {
        const V v0 = load<V>(in), v1 = load<V>(in + SIZE);
        const V v2 = load<V>(in + 2 * SIZE), v3 = load<V>(in + 3 * SIZE);
        store(out, v0);
        store(out + SIZE, v1);
        store(out + 2 * SIZE, v2);
        store(out + 3 * SIZE, v3);
    }
    __builtin_memmove(out, in, static_cast<std::size_t>(bytes));
}

void exchangeRow(void *a, void *b, std::ptrdiff_t bytes) {
    auto *first = static_cast<std::uint8_t *>(a);
    auto *second = static_cast<std::uint8_t *>(b);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < bytes; ++i) {
        const std::uint8_t byte = first[i];
        first[i] = second[i];
        second[i] = byte;
    }
}

template <class T>
void fillRow(void *d, std::ptrdiff_t step, std::ptrdiff_t n, std::uint32_t value) {
    T *out = static_cast<T *>(d);
    if (step == 1) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = T(value);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i * step] = T(value);
}

// --- rows of bits ---

// Runs `operation` (from a word of each source to a word) over n bits. Sources
// give 1 to 8 bits through `load`, 64 through `word`, from a position on.
template <class Load, class Word, class F>
void mapBits(Bits d, std::ptrdiff_t n, Load load, Word word, F operation) {
    std::uint8_t *out = d.data;
    std::ptrdiff_t at = 0;
    const auto partial = [&](int offset, int count) {
        const unsigned mask = (0xFFu << (8 - count) & 0xFFu) >> offset;
        const unsigned bits = static_cast<unsigned>(operation(load(at, count))) & 0xFFu;
        *out = static_cast<std::uint8_t>((*out & ~mask) | (bits >> offset & mask));
        at += count;
    };
    if (d.bit != 0) {
        partial(d.bit, static_cast<int>(smaller<std::ptrdiff_t>(8 - d.bit, n)));
        ++out;
    }
    for (; n - at >= 64; at += 64, out += 8) storeHighestFirst(out, operation(word(at)));
    while (at < n) {
        partial(0, static_cast<int>(smaller<std::ptrdiff_t>(8, n - at)));
        ++out;
    }
}

struct Pair {
    std::uint64_t a, b;
};

template <class Operation>
void bitBinaryRow(ConstBits a, ConstBits b, Bits d, std::ptrdiff_t n) {
    if (a.bit == 0 && b.bit == 0 && d.bit == 0) {
        const std::ptrdiff_t bytes = n / 8;
        binaryRow<std::uint8_t, Operation>(a.data, b.data, d.data, bytes);
        a.data += bytes;
        b.data += bytes;
        d.data += bytes;
        n -= bytes * 8;
    }
    mapBits(
        d, n,
        [=](std::ptrdiff_t at, int count) {
            return Pair{loadBits(a.data, a.bit + at, count), loadBits(b.data, b.bit + at, count)};
        },
        [=](std::ptrdiff_t at) {
            return Pair{loadBitWord(a.data, a.bit + at), loadBitWord(b.data, b.bit + at)};
        },
        [](Pair pair) { return Operation::of(pair.a, pair.b); });
}

void bitUnaryRow(ConstBits s, Bits d, std::ptrdiff_t n, const BitConstant &c) {
    const BitConstant constant = c;
    if (s.bit == 0 && d.bit == 0) {
        const std::ptrdiff_t bytes = n / 8;
        const std::uint8_t mask = static_cast<std::uint8_t>(constant.mask);
        const std::uint8_t flip = static_cast<std::uint8_t>(constant.flip);
        map<std::uint8_t>(s.data, d.data, bytes,
                          [=](std::uint8_t x) { return std::uint8_t((x & mask) ^ flip); });
        s.data += bytes;
        d.data += bytes;
        n -= bytes * 8;
    }
    mapBits(
        d, n,
        [=](std::ptrdiff_t at, int count) -> std::uint64_t {
            return loadBits(s.data, s.bit + at, count);
        },
        [=](std::ptrdiff_t at) { return loadBitWord(s.data, s.bit + at); },
        [=](std::uint64_t bits) { return (bits & constant.mask) ^ constant.flip; });
}

} // namespace

// Rows of a table by depth: 1U, 8U, 8S, 16U, 16S, 32S.
#define BY_DEPTH(row, Operation)                                                                   \
    {                                                                                              \
        nullptr, row<std::uint8_t, Operation>, row<std::int8_t, Operation>,                        \
            row<std::uint16_t, Operation>, row<std::int16_t, Operation>,                           \
            row<std::int32_t, Operation>                                                           \
    }
#define BY_SIZE(row, Operation)                                                                    \
    {                                                                                              \
        nullptr, row<std::uint8_t, Operation>, row<std::uint8_t, Operation>,                       \
            row<std::uint16_t, Operation>, row<std::uint16_t, Operation>,                          \
            row<std::uint32_t, Operation>                                                          \
    }

const ArithKernels arithKernels = {
    {BY_DEPTH(binaryRow, Add),
     BY_DEPTH(binaryRow, Subtract),
     {nullptr, multiplyBytesRow<std::uint8_t>, multiplyBytesRow<std::int8_t>,
      binaryRow<std::uint16_t, Multiply>, binaryRow<std::int16_t, Multiply>,
      binaryRow<std::int32_t, Multiply>},
     BY_SIZE(binaryRow, And),
     BY_SIZE(binaryRow, Or),
     BY_SIZE(binaryRow, Xor)},
    {
        BY_SIZE(biasedRow, Add),
        BY_SIZE(biasedRow, Subtract),
        {nullptr, multiplyBytesByConstant<std::uint8_t>, multiplyBytesByConstant<std::int8_t>,
         multiplyConstantRow<std::uint16_t>, multiplyConstantRow<std::int16_t>,
         constantRow<std::int32_t, Multiply>},
        {nullptr, multiplyModuloRow<std::uint8_t>, nullptr, multiplyModuloRow<std::uint16_t>,
         nullptr, nullptr},
        {nullptr, nullptr, limitOfSignRow<std::int8_t>, nullptr, limitOfSignRow<std::int16_t>,
         limitOfSignRow<std::int32_t>},
        {nullptr, shiftLeftRow<std::uint8_t>, shiftLeftRow<std::uint8_t>,
         shiftLeftRow<std::uint16_t>, shiftLeftRow<std::uint16_t>, shiftLeftRow<std::uint32_t>},
        {nullptr, shiftRightRow<std::uint8_t, false>, shiftRightRow<std::uint8_t, true>,
         shiftRightRow<std::uint16_t, false>, shiftRightRow<std::uint16_t, true>, shiftRight32Row},
        {nullptr, squareBytesRow<std::uint8_t>, squareBytesRow<std::int8_t>,
         squareRow<std::uint16_t>, squareRow<std::int16_t>, squareRow<std::int32_t>},
        {nullptr, nullptr, absoluteRow<std::uint8_t, std::int8_t>, nullptr,
         absoluteRow<std::uint16_t, std::int16_t>, absoluteRow<std::uint32_t, std::int32_t>},
        BY_SIZE(constantRow, And),
        BY_SIZE(constantRow, Or),
        BY_SIZE(constantRow, Xor),
    },
    copyRow,
    exchangeRow,
    {fillRow<std::uint8_t>, fillRow<std::uint16_t>, fillRow<std::uint32_t>},
    {bitBinaryRow<And>, bitBinaryRow<Or>, bitBinaryRow<Xor>, bitBinaryRow<AndNot>},
    bitUnaryRow};

} // namespace zylqx::ZYLQX_LEVEL
