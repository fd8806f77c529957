// One source: a constant added, subtracted or multiplied, shifts, square and
// absolute value.

#include <algorithm>
#include <cstdlib>

#include "arith/pointwise.h"
#include "core/image.h"

using namespace zylqx;

namespace {

// The largest number of a depth's bits: the range of its samples once they
// count from 0.
std::int64_t span(std::uint32_t depth) {
    return (std::int64_t{1} << depthBits(depth)) - 1;
}

bool isSigned(std::uint32_t depth) {
    return (depth & ZYL_DEPTH_SIGN) != 0;
}

// Flipping these bits makes samples count from 0.
std::uint32_t bias(std::uint32_t depth) {
    return isSigned(depth) ? std::uint32_t{1} << (depthBits(depth) - 1) : 0;
}

// s + value, saturated; or value - s, which is ~s + value + 1 for signed samples
// and (span - s) + value - span for unsigned ones.
UnaryOperation addition(std::uint32_t depth, std::int64_t value, bool negated) {
    if (negated) value += isSigned(depth) ? 1 : -span(depth);
    UnaryConstant constant;
    constant.value = static_cast<std::uint32_t>(std::min(std::abs(value), span(depth)));
    constant.before = negated ? ~bias(depth) : bias(depth);
    constant.after = bias(depth);
    const ArithmeticKernels &kernels = ZYLQX_KERNELS(arithmeticKernels);
    return {Rows::Kernel, value < 0 ? kernels.subtractConstant : kernels.addConstant, constant,
            BITS_KEPT};
}

// A factor beyond the depth's maximum wraps on unsigned depths, and saturates
// every sample but 0 on signed ones.
UnaryOperation multiplication(std::uint32_t depth, std::uint32_t value) {
    const bool exact = value <= (isSigned(depth) ? bias(depth) - 1 : span(depth));
    const ArithmeticKernels &kernels = ZYLQX_KERNELS(arithmeticKernels);
    const UnaryRows &beyond = isSigned(depth) ? kernels.limitOfSign : kernels.multiplyModulo;
    return {Rows::Kernel, exact ? kernels.multiplyExact : beyond, {value}, BITS_KEPT};
}

} // namespace

void zylAddS(ZylImage *srcImage, ZylImage *dstImage, std::int32_t value,
             const std::int32_t *dstTile) {
    const Call call("zylAddS", "zyladds");
    if (badImages(call, srcImage, dstImage)) return;
    UnaryOperation operation = addition(dstImage->depth, value, false);
    operation.bits = (value & 1) != 0 ? BITS_SET : BITS_KEPT;
    processUnary(call, srcImage, dstImage, dstTile, operation);
}

void zylSubtractS(ZylImage *srcImage, ZylImage *dstImage, std::int32_t value, std::int32_t reverse,
                  const std::int32_t *dstTile) {
    const Call call("zylSubtractS", "zylsubs");
    if (badImages(call, srcImage, dstImage)) return;
    const bool one = (value & 1) != 0;
    UnaryOperation operation = reverse != 0
                                   ? addition(dstImage->depth, value, true)
                                   : addition(dstImage->depth, -std::int64_t{value}, false);
    if (reverse != 0) {
        operation.bits = one ? BITS_INVERTED : BITS_CLEARED;
    } else {
        operation.bits = one ? BITS_CLEARED : BITS_KEPT;
    }
    processUnary(call, srcImage, dstImage, dstTile, operation);
}

void zylMultiplyS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
                  const std::int32_t *dstTile) {
    const Call call("zylMultiplyS", "zylmuls");
    if (badImages(call, srcImage, dstImage)) return;
    UnaryOperation operation = multiplication(dstImage->depth, value);
    operation.bits = (value & 1) != 0 ? BITS_KEPT : BITS_CLEARED;
    processUnary(call, srcImage, dstImage, dstTile, operation);
}

void zylLShiftS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t shift,
                const std::int32_t *dstTile) {
    const Call call("zylLShiftS", "zyllshs");
    if (badImages(call, srcImage, dstImage)) return;
    const auto bits = static_cast<std::uint32_t>(depthBits(dstImage->depth));
    if (shift >= bits) return zylAndS(srcImage, dstImage, 0, dstTile);
    if (bits == 1) return zylCopy(srcImage, dstImage, dstTile);
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::Logic, ZYLQX_KERNELS(shiftKernels).left, {shift}, BITS_KEPT});
}

void zylRShiftS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t shift,
                const std::int32_t *dstTile) {
    const Call call("zylRShiftS", "zylshfts");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = shift == 0 ? BITS_KEPT : BITS_CLEARED;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::Kernel,
                  ZYLQX_KERNELS(shiftKernels).right,
                  {shift % 32},
                  bits,
                  NULL_POINTER_TEXT_SHIFT});
}

void zylSquare(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    const Call call("zylSquare", "zylsqr");
    if (badImages(call, srcImage, dstImage)) return;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::Kernel, ZYLQX_KERNELS(arithmeticKernels).square, {}, BITS_KEPT});
}

void zylAbs(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    const Call call("zylAbs", "zylabs");
    if (badImages(call, srcImage, dstImage)) return;
    if (!isSigned(dstImage->depth)) return zylCopy(srcImage, dstImage, dstTile);
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::Logic, ZYLQX_KERNELS(arithmeticKernels).absolute, {}, BITS_KEPT});
}
