// Bitwise operations, with a second image or a constant.

#include "arith/pointwise.h"

using namespace zylqx;

void zylAnd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylAnd", "zyland");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    const LogicKernels &kernels = ZYLQX_KERNELS(logicKernels);
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, kernels.bothAnd, kernels.bitAnd);
}

void zylOr(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
           const std::int32_t *dstTile) {
    const Call call("zylOr", "zylor");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    const LogicKernels &kernels = ZYLQX_KERNELS(logicKernels);
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, kernels.bothOr, kernels.bitOr);
}

void zylXor(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylXor", "zylxor");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    const LogicKernels &kernels = ZYLQX_KERNELS(logicKernels);
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, kernels.bothXor, kernels.bitXor);
}

void zylAndS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
             const std::int32_t *dstTile) {
    const Call call("zylAndS", "zylands");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_KEPT : BITS_CLEARED;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, ZYLQX_KERNELS(logicKernels).constantAnd, {value}, bits});
}

void zylOrS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
            const std::int32_t *dstTile) {
    const Call call("zylOrS", "zylors");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_SET : BITS_KEPT;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, ZYLQX_KERNELS(logicKernels).constantOr, {value}, bits});
}

void zylXorS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
             const std::int32_t *dstTile) {
    const Call call("zylXorS", "zylxors");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_INVERTED : BITS_KEPT;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, ZYLQX_KERNELS(logicKernels).constantXor, {value}, bits});
}

void zylNot(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    zylXorS(srcImage, dstImage, 0xFFFFFFFFu, dstTile);
}
