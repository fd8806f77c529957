/* Draws a square, softens it and writes it as a picture: first_picture > square.pgm */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *newImage(int32_t width, int32_t height) {
    ZylImage *image =
        zylCreateImageHeader(1, 0, ZYL_DEPTH_8U, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL,
                             ZYL_ORIGIN_TL, ZYL_ALIGN_4, height, width, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, 0); /* black */
    return image;
}

static void writePgm(const ZylImage *image) {
    printf("P2 %d %d 255\n", image->width, image->height);
    for (int32_t y = 0; y < image->height; ++y) {
        const unsigned char *row = image->imageData + (size_t)y * (size_t)image->widthStep;
        for (int32_t x = 0; x < image->width; ++x) printf("%4d", row[x]);
        printf("\n");
    }
}

int main(void) {
    ZylImage *square = newImage(10, 8), *soft = newImage(10, 8);
    int done = 0;
    if (square && soft && square->imageData && soft->imageData) {
        square->roi = zylCreateROI(0, 3, 2, 4, 4); /* channel, x, y, height, width */
        zylSet(square, 240, NULL);                 /* white, in the region alone */
        zylDeallocate(square, ZYL_DEALLOC_ROI);
        zylBlur(square, soft, 3, 3, 1, 1, NULL); /* 3 x 3, its anchor in the middle */
        writePgm(soft);
        done = zylGetErrStatus() == ZYL_StsOk;
    }
    zylDeallocate(square, ZYL_DEALLOC_ALL);
    zylDeallocate(soft, ZYL_DEALLOC_ALL);
    return done ? 0 : 1;
}
