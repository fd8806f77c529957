/* Works on a part of a picture, and on one of its channels. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *rgb(int32_t fill) {
    ZylImage *image = zylCreateImageHeader(3, 0, ZYL_DEPTH_8U, "RGB", "RGB", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 3, 4, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, fill);
    return image;
}

static void print(const char *text, const ZylImage *image) {
    printf("%s\n", text);
    for (int32_t y = 0; y < image->height; ++y) {
        const unsigned char *row = image->imageData + (size_t)y * (size_t)image->widthStep;
        for (int32_t x = 0; x < image->width; ++x, row += 3)
            printf("  %2d %2d %2d", row[0], row[1], row[2]);
        printf("\n");
    }
}

int main(void) {
    ZylImage *a = rgb(10), *b = rgb(50);
    if (!a || !b || !a->imageData || !b->imageData) return 1;

    a->roi = zylCreateROI(0, 1, 0, 2, 2); /* all channels; x 1, y 0; 2 rows, 2 columns */
    zylAddS(a, a, 5, NULL);
    print("5 added in a region:", a);

    /* The green channel of b's corner goes to the red one of a's. The region of b is larger
     * than that of a: the smaller one decides. */
    zylSetROI(a->roi, 1, 2, 1, 2, 2);
    b->roi = zylCreateROI(2, 0, 0, 3, 4);
    zylCopy(b, a, NULL);
    print("a channel copied:", a);

    const int failed = zylGetErrStatus() != ZYL_StsOk;
    zylDeallocate(a, ZYL_DEALLOC_ALL);
    zylDeallocate(b, ZYL_DEALLOC_ALL);
    return failed;
}
