/* What an operation reads to the left and right of a row 1 2 3 4. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *row(int32_t width) {
    ZylImage *image = zylCreateImageHeader(1, 0, ZYL_DEPTH_8U, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 1, width, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, 0);
    return image;
}

int main(void) {
    static const char *const names[] = {"constant 9", "replicate", "reflect", "wrap"};
    const int8_t one[9] = {0, 0, 0, 0, 1, 0, 0, 0, 0};
    ZylConvKernel *across = zylCreateConvKernel(1, 9, 0, 0, one, 0);
    ZylConvKernel *down = zylCreateConvKernel(1, 1, 0, 0, one + 4, 0);
    ZylImage *src = row(4), *dst = row(12);
    if (!across || !down || !src || !dst || !src->imageData || !dst->imageData) return 1;
    for (int32_t x = 0; x < 4; ++x) src->imageData[x] = (unsigned char)(x + 1);
    dst->roi = zylCreateROI(0, 0, 0, 1, 4);

    for (int32_t mode = ZYL_BORDER_CONSTANT; mode <= ZYL_BORDER_WRAP; ++mode) {
        zylSetBorderMode(src, mode, ZYL_SIDE_ALL, 9);
        printf("%-12s", names[mode]);
        for (int32_t part = 0; part < 3; ++part) { /* left of the row, the row, right of it */
            across->anchorX = 8 - 4 * part;        /* the 1 reads column x - 4, x or x + 4 */
            dst->roi->xOffset = 4 * part;
            zylConvolveSep2D(src, dst, across, down);
            printf("%s", part ? " |" : "");
            for (int32_t x = 0; x < 4; ++x) printf(" %d", dst->imageData[4 * part + x]);
        }
        printf("\n");
    }
    zylDeleteConvKernel(across);
    zylDeleteConvKernel(down);
    zylDeallocate(src, ZYL_DEALLOC_ALL);
    zylDeallocate(dst, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
