/* Where rounding shows: rules that hold on every machine, to the last bit. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *gray(uint32_t depth, int32_t fill) {
    ZylImage *image = zylCreateImageHeader(1, 0, depth, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 9, 9, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, fill);
    return image;
}

int main(void) {
    const int8_t minus[1] = {-1};
    ZylConvKernel *kernel = zylCreateConvKernel(1, 1, 0, 0, minus, 1); /* shifted right by 1 */
    ZylImage *a = gray(ZYL_DEPTH_8U, 25), *b = gray(ZYL_DEPTH_8U, 0), *s = gray(ZYL_DEPTH_8S, 0);
    ZylImage *wide = gray(ZYL_DEPTH_32S, 0);
    if (!kernel || !a || !b || !s || !wide) return 1;
    const int middle = 4 * a->widthStep + 4;

    zylBlur(a, b, 5, 5, 2, 2, NULL);
    printf("mean of 25 times 25:         %d\n", b->imageData[middle]);
    zylMultiplySScale(a, b, 128, NULL);
    printf("25 * 128 / 255, cut:         %d\n", b->imageData[middle]);
    zylConvolve2D(a, s, &kernel, 1, ZYL_SUM, NULL);
    printf("-25 shifted right by 1:      %d\n", (int8_t)s->imageData[middle]);
    zylAddS(a, b, 1000, NULL);
    printf("25 + 1000, saturated:        %d\n", b->imageData[middle]);
    zylSet(wide, INT32_MAX, NULL);
    printf("sum of 81 times 2147483647:  %.0f\n", zylNorm(wide, NULL, ZYL_NORM_L1));

    zylDeleteConvKernel(kernel);
    zylDeallocate(a, ZYL_DEALLOC_ALL);
    zylDeallocate(b, ZYL_DEALLOC_ALL);
    zylDeallocate(s, ZYL_DEALLOC_ALL);
    zylDeallocate(wide, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
