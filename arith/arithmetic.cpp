// Two sources: add, subtract, multiply.

#include "arith/pointwise.h"

using namespace zylqx;

void zylAdd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
            const std::int32_t *dstTile) {
    const Call call("zylAdd", "zyladd");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile,
                  ZYLQX_KERNELS(arithmeticKernels).add, ZYLQX_KERNELS(logicKernels).bitOr);
}

void zylSubtract(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage, std::int32_t reverse,
                 const std::int32_t *dstTile) {
    const Call call("zylSubtract", "zylsub");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile,
                  ZYLQX_KERNELS(arithmeticKernels).subtract, ZYLQX_KERNELS(logicKernels).bitAndNot,
                  reverse != 0);
}

void zylMultiply(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                 const std::int32_t *dstTile) {
    const Call call("zylMultiply", "zylmul");
    if (badImages(call, srcImageA, srcImageB, dstImage)) return;
    processBinary(call, srcImageA, srcImageB, dstImage, dstTile,
                  ZYLQX_KERNELS(arithmeticKernels).multiply, ZYLQX_KERNELS(logicKernels).bitAnd);
}
