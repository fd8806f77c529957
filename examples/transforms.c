/* A spectrum and back, and what a cosine transform keeps of a picture in few numbers. */
#include <stdio.h>
#include <zylqx.h>

enum { SIDE = 8 };

static ZylImage *gray(uint32_t depth) {
    ZylImage *image =
        zylCreateImageHeader(1, 0, depth, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
                             ZYL_ALIGN_4, SIDE, SIDE, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, 0);
    return image;
}

int main(void) {
    ZylImage *picture = gray(ZYL_DEPTH_8U), *spectrum = gray(ZYL_DEPTH_32S),
             *back = gray(ZYL_DEPTH_8U);
    if (!picture || !spectrum || !back) return 1;
    for (int y = 0; y < SIDE; ++y) /* bright and dark columns in turn, and a ramp down */
        for (int x = 0; x < SIDE; ++x)
            picture->imageData[y * picture->widthStep + x] =
                (unsigned char)((x % 2 ? 20 : 120) + 4 * y);

    zylRealFft2D(picture, spectrum, ZYL_FFT_FORWARD, NULL);
    const int32_t *numbers = (const int32_t *)(void *)spectrum->imageData;
    printf("packed spectrum, row 0: ");
    for (int x = 0; x < SIDE; ++x) printf(" %d", numbers[x]);
    printf("\n  the sum of all pixels:      %d\n", numbers[0]);
    printf("  columns that alternate:     %d\n", numbers[SIDE - 1]);

    zylCcsFft2D(spectrum, back, ZYL_FFT_INVERSE, NULL);
    printf("largest difference after the way back: %.0f\n", zylNorm(picture, back, ZYL_NORM_C));

    zylDCT2D(picture, spectrum, ZYL_DCT_FORWARD);
    spectrum->roi = zylCreateROI(0, 0, 2, SIDE - 2, SIDE); /* all rows but two */
    zylSet(spectrum, 0, NULL);
    zylDeallocate(spectrum, ZYL_DEALLOC_ROI);
    zylDCT2D(spectrum, back, ZYL_DCT_INVERSE);
    printf("the same with a quarter of the cosines: %.0f\n", zylNorm(picture, back, ZYL_NORM_C));

    zylDCT2D(NULL, NULL, ZYL_DCT_RELEASE); /* tables are kept until then */
    zylDeallocate(picture, ZYL_DEALLOC_ALL);
    zylDeallocate(spectrum, ZYL_DEALLOC_ALL);
    zylDeallocate(back, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
