/* Blurs a tiled TIFF file of any size into another one. At no time are more than
 * three rows of its tiles in memory.
 *
 *     larger_than_memory FROM.tif TO.tif
 *
 * The file has 8 bits per sample, gray or color, in tiles; `zyl PICTURE --tile 256
 * FROM.tif` makes one.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <tiffio.h>
#include <zylqx.h>

enum { ROWS_KEPT = 3 }; /* the row of the tile that is made, and those around it */

typedef struct Picture {
    TIFF *file;
    uint32_t width, height, tileWidth, tileHeight;
    uint16_t channels;
    uint32_t columns;     /* of tiles */
    size_t tileBytes;     /* a tile's rows need no padding: its width is a multiple of 16 */
    unsigned char *tiles; /* ROWS_KEPT rows of them to read, or the one to write */
    int32_t *rowKept;     /* of each place in `tiles`: the row of the tile there, or -1 */
    int failed;
} Picture;

/* Points the header to a tile of the file, which is read unless it is kept. */
static void ZYL_CALL readTile(ZylImage *image, int32_t column, int32_t row, int32_t mode) {
    Picture *picture = image->tileInfo->id;
    size_t place = (size_t)(row % ROWS_KEPT) * picture->columns + (size_t)column;
    unsigned char *tile = picture->tiles + place * picture->tileBytes;
    image->tileInfo->tileData = NULL;
    if (mode == ZYL_RELEASE_TILE) return;
    if (picture->rowKept[place] != row) {
        picture->rowKept[place] = -1;
        if (TIFFReadTile(picture->file, tile, (uint32_t)column * picture->tileWidth,
                         (uint32_t)row * picture->tileHeight, 0, 0) < 0) {
            picture->failed = 1; /* without a tile the library ends the call */
            return;
        }
        picture->rowKept[place] = row;
    }
    image->tileInfo->tileData = tile;
}

/* Lends memory for a tile, and writes it to the file when it comes back. */
static void ZYL_CALL writeTile(ZylImage *image, int32_t column, int32_t row, int32_t mode) {
    Picture *picture = image->tileInfo->id;
    if (mode != ZYL_RELEASE_TILE) {
        memset(picture->tiles, 0, picture->tileBytes);
        image->tileInfo->tileData = picture->tiles;
        return;
    }
    image->tileInfo->tileData = NULL;
    if (TIFFWriteTile(picture->file, picture->tiles, (uint32_t)column * picture->tileWidth,
                      (uint32_t)row * picture->tileHeight, 0, 0) < 0) {
        picture->failed = 1;
    }
}

static int openPicture(Picture *picture, const char *name) {
    uint16_t bits = 0, planes = 0;
    size_t places;
    picture->file = TIFFOpen(name, "r");
    if (!picture->file) return 0;
    TIFFGetField(picture->file, TIFFTAG_IMAGEWIDTH, &picture->width);
    TIFFGetField(picture->file, TIFFTAG_IMAGELENGTH, &picture->height);
    TIFFGetField(picture->file, TIFFTAG_TILEWIDTH, &picture->tileWidth);
    TIFFGetField(picture->file, TIFFTAG_TILELENGTH, &picture->tileHeight);
    TIFFGetFieldDefaulted(picture->file, TIFFTAG_SAMPLESPERPIXEL, &picture->channels);
    TIFFGetFieldDefaulted(picture->file, TIFFTAG_BITSPERSAMPLE, &bits);
    TIFFGetFieldDefaulted(picture->file, TIFFTAG_PLANARCONFIG, &planes);
    if (!TIFFIsTiled(picture->file) || bits != 8 || planes != PLANARCONFIG_CONTIG) {
        fprintf(stderr, "%s: has no tiles of 8-bit pixels\n", name);
        return 0;
    }
    picture->columns = (picture->width - 1) / picture->tileWidth + 1;
    picture->tileBytes = (size_t)TIFFTileSize(picture->file);
    places = (size_t)ROWS_KEPT * picture->columns;
    picture->tiles = malloc(places * picture->tileBytes);
    picture->rowKept = malloc(places * sizeof *picture->rowKept);
    if (!picture->tiles || !picture->rowKept) return 0;
    memset(picture->rowKept, -1, places * sizeof *picture->rowKept);
    return 1;
}

/* A file like another one, with 64-bit offsets. */
static int createPicture(Picture *picture, const char *name, const Picture *like) {
    uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(like->file, TIFFTAG_PHOTOMETRIC, &photometric);
    *picture = *like;
    picture->rowKept = NULL;
    picture->tiles = malloc(picture->tileBytes);
    picture->file = TIFFOpen(name, "w8");
    if (!picture->file || !picture->tiles) return 0;
    TIFFSetField(picture->file, TIFFTAG_IMAGEWIDTH, picture->width);
    TIFFSetField(picture->file, TIFFTAG_IMAGELENGTH, picture->height);
    TIFFSetField(picture->file, TIFFTAG_TILEWIDTH, picture->tileWidth);
    TIFFSetField(picture->file, TIFFTAG_TILELENGTH, picture->tileHeight);
    TIFFSetField(picture->file, TIFFTAG_SAMPLESPERPIXEL, picture->channels);
    TIFFSetField(picture->file, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(picture->file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(picture->file, TIFFTAG_PHOTOMETRIC, photometric);
    return 1;
}

static void closePicture(Picture *picture) {
    if (picture->file) TIFFClose(picture->file);
    free(picture->tiles);
    free(picture->rowKept);
}

/* A header whose pixels come tile by tile from the callback. */
static ZylImage *tiledHeader(Picture *picture, ZylTileCallBack callBack) {
    ZylTileInfo *tiles = zylCreateTileInfo(callBack, picture, (int32_t)picture->tileWidth,
                                           (int32_t)picture->tileHeight);
    const char *model = picture->channels < 3 ? "GRAY" : "RGBA";
    if (!tiles) return NULL;
    return zylCreateImageHeader(
        picture->channels, 0, ZYL_DEPTH_8U, model, model, ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
        ZYL_ALIGN_4, (int32_t)picture->height, (int32_t)picture->width, NULL, NULL, tiles);
}

static int blur(Picture *from, Picture *to) {
    ZylImage *source = tiledHeader(from, readTile);
    ZylImage *result = tiledHeader(to, writeTile);
    int done = 0;
    if (source && result) {
        zylSetErrMode(ZYL_ErrModeSilent);
        zylSetBorderMode(source, ZYL_BORDER_REPLICATE, ZYL_SIDE_ALL, 0);
        zylBlur(source, result, 5, 5, 2, 2, NULL);
        done = zylGetErrStatus() == ZYL_StsOk && !from->failed && !to->failed;
    }
    zylDeallocate(source, ZYL_DEALLOC_ALL);
    zylDeallocate(result, ZYL_DEALLOC_ALL);
    return done;
}

int main(int argc, char **argv) {
    Picture from = {0}, to = {0};
    int done, created;
    if (argc != 3) {
        fprintf(stderr, "usage: larger_than_memory FROM.tif TO.tif\n");
        return 2;
    }
    done = openPicture(&from, argv[1]) && createPicture(&to, argv[2], &from) && blur(&from, &to);
    created = to.file != NULL;
    closePicture(&to);
    closePicture(&from);
    if (done) return 0;
    fprintf(stderr, "%s: could not be made\n", argv[2]);
    if (created) remove(argv[2]);
    return 1;
}
