// Loops over one row of samples, for arithmetic, logic and copying.
#ifndef ZYLQX_ARITH_KERNELS_H
#define ZYLQX_ARITH_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/bits.h"
#include "core/levels.h"

namespace zylqx {

enum class Binary { Add, Subtract, Multiply, And, Or, Xor };
constexpr int BINARY_COUNT = 6;

// Operations with a constant. The two additions work on unsigned numbers, which
// signed samples become when their top bit is flipped.
enum class Unary {
    AddConstant,      // ((s ^ before) + value, saturated) ^ after
    SubtractConstant, // ((s ^ before) - value, saturated) ^ after
    MultiplyExact,    // s * value, saturated; value at most the depth's maximum
    MultiplyModulo,   // s * value modulo 2^32, saturated; unsigned depths
    LimitOfSign,      // 0 for 0, else the lowest or the highest value; signed depths
    ShiftLeft,        // value is the shift, below the depth's bits
    ShiftRight,       // value is the shift, below 32
    Square,           // saturated
    Absolute,         // signed depths
    And,
    Or,
    Xor
};
constexpr int UNARY_COUNT = 12;

struct UnaryConstant {
    std::uint32_t value = 0;
    std::uint32_t before = 0;
    std::uint32_t after = 0;
};

// Results of one bit: (s & mask) ^ flip, or of two.
struct BitConstant {
    std::uint64_t mask; // all ones or all zeros
    std::uint64_t flip;
};
enum class BitBinary { And, Or, Xor, AndNot };
constexpr int BIT_BINARY_COUNT = 4;

struct ArithKernels {
    using BinaryRow = void (*)(const void *a, const void *b, void *d, std::ptrdiff_t n);
    using UnaryRow = void (*)(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c);
    using FillRow = void (*)(void *d, std::ptrdiff_t step, std::ptrdiff_t n, std::uint32_t value);

    // By operation and core/image.h's depthIndex(); null where there is none.
    BinaryRow binary[BINARY_COUNT][6];
    UnaryRow unary[UNARY_COUNT][6];

    // Bytes of a row. Where rows overlap other than wholly, the result is not
    // specified.
    void (*copy)(const void *s, void *d, std::ptrdiff_t bytes);
    void (*exchange)(void *a, void *b, std::ptrdiff_t bytes);

    // The low bits of a value into every step-th sample of a row, for samples of 1, 2
    // and 4 bytes.
    FillRow fill[3];

    // Rows of bits at any offset. Bits of d outside the row keep their values.
    void (*bitBinary[BIT_BINARY_COUNT])(ConstBits a, ConstBits b, Bits d, std::ptrdiff_t n);
    void (*bitUnary)(ConstBits s, Bits d, std::ptrdiff_t n, const BitConstant &c);
};

ZYLQX_DECLARE_KERNELS(ArithKernels, arithKernels)

inline const ArithKernels &currentArithKernels() {
    return ZYLQX_KERNELS(arithKernels);
}

} // namespace zylqx

#endif
