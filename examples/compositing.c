/* Half-transparent red and three quarters of blue, by the six rules. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *pixel(int red, int green, int blue, int alpha) {
    ZylImage *image = zylCreateImageHeader(4, 4, ZYL_DEPTH_8U, "RGBA", "RGBA", ZYL_DATA_ORDER_PIXEL,
                                           ZYL_ORIGIN_TL, ZYL_ALIGN_4, 1, 1, NULL, NULL, NULL);
    if (!image) return NULL;
    zylAllocateImage(image, 0);
    if (!image->imageData) return NULL;
    image->imageData[0] = (unsigned char)red;
    image->imageData[1] = (unsigned char)green;
    image->imageData[2] = (unsigned char)blue;
    image->imageData[3] = (unsigned char)alpha;
    return image;
}

int main(void) {
    static const char *const rules[] = {"over", "in", "out", "atop", "xor", "plus"};
    ZylImage *a = pixel(255, 0, 0, 128), *b = pixel(0, 0, 255, 192), *dst = pixel(0, 0, 0, 0);
    if (!a || !b || !dst) return 1;
    printf("        multiplied by alpha    divided again\n");
    for (int32_t rule = ZYL_COMPOSITE_OVER; rule <= ZYL_COMPOSITE_PLUS; ++rule) {
        const unsigned char *p = dst->imageData;
        zylAlphaComposite(a, b, dst, rule, NULL, NULL, NULL, 0, 0, NULL);
        printf("%-6s  %3d %3d %3d  %3d", rules[rule], p[0], p[1], p[2], p[3]);
        zylAlphaComposite(a, b, dst, rule, NULL, NULL, NULL, 0, 1, NULL);
        printf("       %3d %3d %3d  %3d\n", p[0], p[1], p[2], p[3]);
    }
    zylDeallocate(a, ZYL_DEALLOC_ALL);
    zylDeallocate(b, ZYL_DEALLOC_ALL);
    zylDeallocate(dst, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
