// Two sources: add, subtract, multiply.

#include "arith/pointwise.h"

using namespace zylqx;

void zylAdd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylAdd", "zyladd");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::Add, BitBinary::Or);
}

void zylSubtract(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage, std::int32_t reverse,
                 const std::int32_t *dstTile) {
    const Call call("zylSubtract", "zylsub");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::Subtract,
                  BitBinary::AndNot, reverse != 0);
}

void zylMultiply(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                 const std::int32_t *dstTile) {
    const Call call("zylMultiply", "zylmul");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile, Binary::Multiply, BitBinary::And);
}
