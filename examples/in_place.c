/* Results that overwrite their source, and an image over memory of the program. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *over(unsigned char *pixels, int32_t width) {
    ZylImage *image = zylCreateImageHeader(1, 0, ZYL_DEPTH_8U, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 1, width, NULL, NULL, NULL);
    if (image) image->imageData = pixels; /* zylDeallocate() leaves it alone */
    return image;
}

static void print(const char *text, const unsigned char *pixels) {
    printf("%-22s", text);
    for (int x = 0; x < 8; ++x) printf("%4d", pixels[x]);
    printf("\n");
}

int main(void) {
    unsigned char pixels[8] = {1, 2, 3, 90, 5, 6, 7, 8};
    ZylImage *all = over(pixels, 8), *left = over(pixels, 4), *right = over(pixels + 4, 4);
    if (!all || !left || !right) return 1;

    zylAddS(all, all, 10, NULL);
    print("10 added in place", pixels);

    zylMedianFilter(all, all, 1, 3, 1, 0, NULL); /* filters may, too */
    print("median in place", pixels);

    zylExchange(left, right, NULL); /* two headers, but no pixel in common */
    print("halves exchanged", pixels);

    zylDeallocate(all, ZYL_DEALLOC_ALL);
    zylDeallocate(left, ZYL_DEALLOC_ALL);
    zylDeallocate(right, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
