// Saturating sums, differences and products of two rows, or of a row and a
// constant; square and absolute value.
//
// Sums and differences need no wider type: the second operand is first cut to what
// the first one leaves of the range, so that the result is exact. Constants work on
// samples that count from 0, signed ones with their top bit flipped, so that one
// unsigned loop serves both. Products of n bits are exact in 2n bits: 8-bit ones in
// words, of which the packing instruction saturates; 16-bit ones as two halves, of
// which the high one tells whether the low one is the product.
#include "arith/row_loops.h"
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Loads and stores are the limit.
using namespace narrow_vectors;

// The type of twice the width, in which products are exact.
template <class T>
struct Wide;
template <>
struct Wide<u8> {
    using Type = u16;
};
template <>
struct Wide<s8> {
    using Type = s16;
};
template <>
struct Wide<u16> {
    using Type = u32;
};
template <>
struct Wide<s16> {
    using Type = s32;
};
template <>
struct Wide<s32> {
    using Type = s64;
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
u16 multiply16(u16 a, u16 b) {
    const auto high = u16((u32{a} * b) >> 16);
    const auto low = u16(s16(a) * int{s16(b)});
    return u16(low | -smaller<u16>(high, 1));
}

s16 multiply16(s16 a, s16 b) {
    const auto high = s16((int{a} * b) >> 16);
    const auto low = s16(u16(a) * u32{u16(b)});
    return high == s16(low >> 15) ? low : s16(0x7FFF ^ high >> 15);
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
using Words = Vector<u16>;

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
    const Words values = Words{} + u16((c.value & 0xFF) * 0x101);
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
    const u32 value = c.value;
    map<T>(s, d, n, [value](T x) { return T(smaller<u32>(x * value, HIGHEST<T>)); });
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

} // namespace

const ArithmeticKernels arithmeticKernels = {
    BY_DEPTH(binaryRow, Add),
    BY_DEPTH(binaryRow, Subtract),
    {nullptr, multiplyBytesRow<u8>, multiplyBytesRow<s8>, binaryRow<u16, Multiply>,
     binaryRow<s16, Multiply>, binaryRow<s32, Multiply>},
    BY_SIZE(biasedRow, Add),
    BY_SIZE(biasedRow, Subtract),
    {nullptr, multiplyBytesByConstant<u8>, multiplyBytesByConstant<s8>, multiplyConstantRow<u16>,
     multiplyConstantRow<s16>, constantRow<s32, Multiply>},
    {nullptr, multiplyModuloRow<u8>, nullptr, multiplyModuloRow<u16>, nullptr, nullptr},
    {nullptr, nullptr, limitOfSignRow<s8>, nullptr, limitOfSignRow<s16>, limitOfSignRow<s32>},
    {nullptr, squareBytesRow<u8>, squareBytesRow<s8>, squareRow<u16>, squareRow<s16>,
     squareRow<s32>},
    {nullptr, nullptr, absoluteRow<u8, s8>, nullptr, absoluteRow<u16, s16>, absoluteRow<u32, s32>}};

} // namespace zylqx::ZYLQX_LEVEL
