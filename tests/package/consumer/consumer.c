/* A user's program in C: adds 40 to an image. */
#include <stdio.h>

#include <zylqx.h>

int main(void) {
    int failed;
    ZylImage *image = zylCreateImageHeader(3, 0, ZYL_DEPTH_8U, "RGB", "RGB", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 5, 7, NULL, NULL, NULL);
    if (image == NULL) return 1;
    zylAllocateImage(image, 60);
    zylAddS(image, image, 40, NULL);
    failed = zylGetErrStatus() != ZYL_StsOk || image->imageData[3 * 7 - 1] != 100;
    zylDeallocate(image, ZYL_DEALLOC_ALL);
    printf("%s\n", zylGetLibVersion()->versionText);
    return failed;
}
