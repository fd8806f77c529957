// Loops over one row of samples, for arithmetic, logic and copying.
#ifndef ZYLQX_ARITH_KERNELS_H
#define ZYLQX_ARITH_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/bits.h"
#include "core/levels.h"

namespace zylqx {

// d = a operation b for n samples; a, b and d may be the same row.
using BinaryRow = void (*)(const void *a, const void *b, void *d, std::ptrdiff_t n);

// d = s operation value. Sums and differences of a constant are taken of
// s ^ before, and then ^ after: so samples count from 0.
struct UnaryConstant {
    std::uint32_t value = 0;
    std::uint32_t before = 0;
    std::uint32_t after = 0;
};
using UnaryRow = void (*)(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c);

// Loops by core/image.h's depthIndex(); null where there is none.
using BinaryRows = BinaryRow[6];
using UnaryRows = UnaryRow[6];

struct ArithmeticKernels {
    // Saturated.
    BinaryRows add, subtract, multiply;

    // ((s ^ before) + or - value, saturated) ^ after, on unsigned numbers
    UnaryRows addConstant, subtractConstant;
    UnaryRows multiplyExact;  // s * value, saturated; value at most the depth's maximum
    UnaryRows multiplyModulo; // s * value modulo 2^32, saturated; unsigned depths
    UnaryRows limitOfSign;    // 0 for 0, else the lowest or the highest value; signed depths
    UnaryRows square;         // saturated
    UnaryRows absolute;       // signed depths
};

struct ShiftKernels {
    UnaryRows left;  // value is the shift, below the depth's bits
    UnaryRows right; // value is the shift, below 32
};

// Results of one bit: (s & mask) ^ flip.
struct BitConstant {
    std::uint64_t mask; // all ones or all zeros
    std::uint64_t flip;
};

// Rows of bits at any offset. Bits of d outside the row keep their values.
using BitBinaryRow = void (*)(ConstBits a, ConstBits b, Bits d, std::ptrdiff_t n);
using BitUnaryRow = void (*)(ConstBits s, Bits d, std::ptrdiff_t n, const BitConstant &c);

struct LogicKernels {
    BinaryRows bothAnd, bothOr, bothXor;
    UnaryRows constantAnd, constantOr, constantXor;
    BitBinaryRow bitAnd, bitOr, bitXor, bitAndNot;
    BitUnaryRow bitUnary;
};

struct CopyKernels {
    using FillRow = void (*)(void *d, std::ptrdiff_t step, std::ptrdiff_t n, std::uint32_t value);

    // Bytes of a row. Where rows overlap other than wholly, the result is not
    // specified.
    void (*copy)(const void *s, void *d, std::ptrdiff_t bytes);
    void (*exchange)(void *a, void *b, std::ptrdiff_t bytes);

    // The low bits of a value into every step-th sample of a row, for samples of 1, 2
    // and 4 bytes.
    FillRow fill[3];
};

ZYLQX_DECLARE_KERNELS(ArithmeticKernels, arithmeticKernels)
ZYLQX_DECLARE_KERNELS(ShiftKernels, shiftKernels)
ZYLQX_DECLARE_KERNELS(LogicKernels, logicKernels)
ZYLQX_DECLARE_KERNELS(CopyKernels, copyKernels)

} // namespace zylqx

#endif
