// Bitwise operations, with a second image or a constant.

#include "arith/pointwise.h"

using namespace zylqx;

void zylAnd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylAnd", "zyland");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::And, BitBinary::And);
}

void zylOr(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
           const std::int32_t *dstTile) {
    const Call call("zylOr", "zylor");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::Or, BitBinary::Or);
}

void zylXor(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylXor", "zylxor");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::Xor, BitBinary::Xor);
}

void zylAndS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
             const std::int32_t *dstTile) {
    const Call call("zylAndS", "zylands");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_KEPT : BITS_CLEARED;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, Unary::And, {value}, bits});
}

void zylOrS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
            const std::int32_t *dstTile) {
    const Call call("zylOrS", "zylors");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_SET : BITS_KEPT;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, Unary::Or, {value}, bits});
}

void zylXorS(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t value,
             const std::int32_t *dstTile) {
    const Call call("zylXorS", "zylxors");
    if (badImages(call, srcImage, dstImage)) return;
    const BitConstant bits = (value & 1) != 0 ? BITS_INVERTED : BITS_KEPT;
    processUnary(call, srcImage, dstImage, dstTile,
                 {Rows::LogicWholeBuffer, Unary::Xor, {value}, bits});
}

void zylNot(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    zylXorS(srcImage, dstImage, 0xFFFFFFFFu, dstTile);
}
