/* A picture that is computed tile by tile, and one tile of a result. */
#include <stdio.h>
#include <string.h>
#include <zylqx.h>

enum { SIDE = 16 };

typedef struct Picture {
    const char *name;
    unsigned char tile[SIDE][SIDE]; /* rows of 16 bytes need no padding */
} Picture;

/* A tile is delivered whole, also at the right and lower edge of the picture. */
static void ZYL_CALL deliver(ZylImage *image, int32_t column, int32_t row, int32_t mode) {
    Picture *picture = image->tileInfo->id;
    image->tileInfo->tileData = NULL;
    if (mode == ZYL_RELEASE_TILE) return;
    printf("%s: %s tile %d, %d\n", picture->name, mode == ZYL_GET_TILE_TO_READ ? "read" : "write",
           column, row);
    if (mode == ZYL_GET_TILE_TO_READ) {
        for (int y = 0; y < SIDE; ++y)
            for (int x = 0; x < SIDE; ++x) /* brighter to the right */
                picture->tile[y][x] = (unsigned char)(4 * (column * SIDE + x));
    } else {
        memset(picture->tile, 0, sizeof picture->tile);
    }
    image->tileInfo->tileData = &picture->tile[0][0];
}

static ZylImage *tiled(Picture *picture) {
    return zylCreateImageHeader(1, 0, ZYL_DEPTH_8U, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL,
                                ZYL_ORIGIN_TL, ZYL_ALIGN_4, 20, 60, NULL, NULL,
                                zylCreateTileInfo(deliver, picture, SIDE, SIDE));
}

int main(void) {
    Picture from = {.name = "source"}, to = {.name = "result"};
    ZylImage *src = tiled(&from), *dst = tiled(&to);
    if (!src || !dst || !src->tileInfo || !dst->tileInfo) return 1;

    printf("All tiles of a negative:\n");
    zylNot(src, dst, NULL);

    printf("The second tile of a blur, made alone:\n");
    const ZylTileMapping second = {SIDE, 0}; /* a pixel of it */
    zylBlur(src, dst, 3, 3, 1, 1, &second);
    printf("its first pixels: %d %d %d\n", to.tile[8][0], to.tile[8][1], to.tile[8][2]);

    zylDeallocate(src, ZYL_DEALLOC_ALL);
    zylDeallocate(dst, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
