/* What headers say of pictures of 5 x 4 pixels. */
#include <stdio.h>
#include <zylqx.h>

static void show(const char *text, int32_t channels, uint32_t depth, int32_t order, int32_t align) {
    const char *model = channels == 1 ? "GRAY" : "RGB";
    ZylImage *image = zylCreateImageHeader(channels, 0, depth, model, model, order, ZYL_ORIGIN_TL,
                                           align, 4, 5, NULL, NULL, NULL);
    if (!image) return;
    printf("%-28s %4d bytes a row, %4d in all\n", text, image->widthStep, image->imageSize);
    zylDeallocateHeader(image);
}

int main(void) {
    show("1U", 1, ZYL_DEPTH_1U, ZYL_DATA_ORDER_PIXEL, ZYL_ALIGN_4);
    show("8U", 1, ZYL_DEPTH_8U, ZYL_DATA_ORDER_PIXEL, ZYL_ALIGN_4);
    show("8U, rows of 8 bytes", 1, ZYL_DEPTH_8U, ZYL_DATA_ORDER_PIXEL, ZYL_ALIGN_8);
    show("16S", 1, ZYL_DEPTH_16S, ZYL_DATA_ORDER_PIXEL, ZYL_ALIGN_4);
    show("8U, RGB, pixel by pixel", 3, ZYL_DEPTH_8U, ZYL_DATA_ORDER_PIXEL, ZYL_ALIGN_4);
    show("8U, RGB, plane by plane", 3, ZYL_DEPTH_8U, ZYL_DATA_ORDER_PLANE, ZYL_ALIGN_4);
    return 0;
}
