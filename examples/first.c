#include <zylqx.h>

int main(void) {
    ZylImage *image = zylCreateImageHeader(3, 0, ZYL_DEPTH_8U, "RGB ", "RGB ", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 480, 640, NULL, NULL, NULL);
    zylAllocateImage(image, 100);     /* every sample 100 */
    zylAddS(image, image, 200, NULL); /* saturates: 255 */
    int failed = zylGetErrStatus() != ZYL_StsOk || image->imageData[0] != 255;
    zylDeallocate(image, ZYL_DEALLOC_ALL);
    return failed;
}
