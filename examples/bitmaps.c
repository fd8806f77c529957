/* A bitmap with a colour table becomes an image, and an image a bitmap of 16 colours. */
#include <stdio.h>
#include <string.h>
#include <zylqx.h>

typedef struct Entry {
    unsigned char blue, green, red, reserved;
} Entry;

/* 4 x 2 pixels of 8 bits with three colours: a row takes 4 bytes. */
static struct {
    ZylBitmapInfoHeader head;
    Entry table[3];
    unsigned char rows[2][4];
} flag = {
    {.biSize = 40, .biWidth = 4, .biHeight = 2, .biPlanes = 1, .biBitCount = 8, .biClrUsed = 3},
    {{0, 0, 255, 0}, {255, 255, 255, 0}, {255, 0, 0, 0}},
    {{2, 2, 2, 2}, {0, 1, 0, 1}}}; /* the bottom row first */

/* The same size with 4 bits. The table gets as many entries as it needs, and the rows
 * follow it. */
static struct {
    ZylBitmapInfoHeader head;
    unsigned char tableAndRows[16 * sizeof(Entry) + 2 * 4];
} small = {{.biSize = 40, .biWidth = 4, .biHeight = 2, .biPlanes = 1, .biBitCount = 4}, {0}};

int main(void) {
    int32_t shared = 0;
    ZylImage *image = zylTranslateDIB(&flag, &shared);
    if (!image) return 1;
    printf("%d channels %.3s, %s, %s\n", image->nChannels, image->channelSeq,
           image->dataOrder == ZYL_DATA_ORDER_PLANE ? "in planes" : "in pixels",
           shared ? "the bitmap's own memory" : "memory of its own");
    const size_t plane = (size_t)image->widthStep * (size_t)image->height;
    const unsigned char *top = image->imageData;
    if (image->origin == ZYL_ORIGIN_BL) top += image->widthStep;
    printf("first pixel: blue %d, green %d, red %d\n", top[0], top[plane], top[2 * plane]);

    zylConvertToDIB(image, &small, 1, 2); /* no dither; a table by median cut */
    const unsigned char *rows = small.tableAndRows + small.head.biClrUsed * sizeof(Entry);
    printf("%u colours; the bottom row is %02x %02x\n", small.head.biClrUsed, rows[0], rows[1]);

    zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    return zylGetErrStatus() != ZYL_StsOk;
}
