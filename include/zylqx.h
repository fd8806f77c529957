/* zylqx: image processing on six integer depths, in memory or tile by tile.
 *
 * The whole interface, for C99 and C++. Chapters:
 *
 *    1  Status codes, error modes and reports
 *    2  Images: records, constants, memory
 *    3  Pixel arithmetic
 *    4  Logic
 *    5  Copy, set and exchange
 *    6  Conversion and colour
 *    8  Filters: convolution, blur, rank filters, morphology
 *    9  Geometry
 *   10  Transforms
 *   11  Histograms, threshold and norms
 *   12  Scaled products and alpha compositing
 *
 * What holds for every operation:
 *
 *  - An operation returns nothing. A failure is kept as the calling thread's
 *    status and handed to its report callback (chapter 1). A bad argument is
 *    reported as ZYL_StsBadArg with the failed condition as text, and nothing
 *    is written.
 *  - Every image passes zylBadImageHeader() first.
 *  - `dstTile`, where an operation has it, points to two int32_t, the column
 *    and the row of one tile of the destination; only this tile is produced.
 *    It may be null, and it is not looked at unless the destination is tiled.
 *  - The destination may be one of the sources.
 *  - Pixels of images that overlap otherwise give unspecified samples.
 */
#ifndef ZYLQX_H
#define ZYLQX_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
#define ZYL_CALL __cdecl
#if defined(ZYL_BUILD)
#define ZYL_API __declspec(dllexport)
#elif defined(ZYL_STATIC)
#define ZYL_API
#else
#define ZYL_API __declspec(dllimport)
#endif
#else
#define ZYL_CALL
#define ZYL_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ======================================================================== */
/* 1  Status codes, error modes and reports                                 */
/* ======================================================================== */

typedef int32_t ZylStatus;

enum {
    ZYL_StsOk = 0,
    ZYL_StsBackTrace = -1, /* a trace report, never kept as a status */
    ZYL_StsError = -2,
    ZYL_StsInternal = -3,
    ZYL_StsNoMem = -4,
    ZYL_StsBadArg = -5,
    ZYL_StsBadFunc = -6,
    ZYL_StsNoConv = -7,
    ZYL_StsAutoTrace = -8 /* a trace report, never kept as a status */
};

/* What a report callback does after it has shown a report. */
enum {
    ZYL_ErrModeLeaf = 0,   /* offer to terminate; a thread's first mode */
    ZYL_ErrModeParent = 1, /* offer to continue */
    ZYL_ErrModeSilent = 2  /* report nothing */
};

/* A report callback. `context` is the failed condition or another detail;
 * any text may be null. The result is returned by zylError(). */
typedef ZylStatus(ZYL_CALL *ZylErrorCallBack)(ZylStatus status, const char *funcName,
                                              const char *context, const char *file, int line);

/* What the library keeps for each thread. */
typedef struct ZylContext {
    ZylStatus status;
    int32_t mode;
    ZylErrorCallBack callBack;
    char text[80]; /* zylErrorStr() formats unknown codes here */
} ZylContext;

typedef struct ZylLibVersion {
    int32_t majorVersion;
    int32_t minorVersion;
    int32_t buildNumber;
    const char *moduleName;
    const char *versionText;
    const char *internalVersionText;
    const char *buildDateText;
    const char *callingConventionText;
} ZylLibVersion;

/* The calling thread's status: that of its last report or zylSetErrStatus().
 * A success does not reset it. */
ZYL_API ZylStatus ZYL_CALL zylGetErrStatus(void);
ZYL_API void ZYL_CALL zylSetErrStatus(ZylStatus status);

/* The calling thread's error mode, one of ZYL_ErrMode...; any value is kept. */
ZYL_API int32_t ZYL_CALL zylGetErrMode(void);
ZYL_API void ZYL_CALL zylSetErrMode(int32_t mode);

/* Installs the calling thread's report callback and returns the one before.
 * Null installs zylGuiBoxReport(), the callback that a thread starts with. */
ZYL_API ZylErrorCallBack ZYL_CALL zylRedirectError(ZylErrorCallBack callBack);

/* Keeps `status` as the thread's status (but not the two trace codes) and,
 * unless it is ZYL_StsOk, calls the report callback and returns its result.
 * Returns 0 for ZYL_StsOk. */
ZYL_API ZylStatus ZYL_CALL zylError(ZylStatus status, const char *funcName, const char *context,
                                    const char *file, int line);

/* The text of a status code. For a code outside ZYL_StsAutoTrace..ZYL_StsOk the
 * text lives in the thread's context until the next such call. */
ZYL_API const char *ZYL_CALL zylErrorStr(ZylStatus status);

/* Report callbacks; each returns `status` unless it ends the process.
 *
 * zylGuiBoxReport asks a question in a message box: whether to terminate
 * (ZYL_ErrModeLeaf) or to continue (ZYL_ErrModeParent). Without a window system
 * it asks on the controlling terminal, when the process is in its foreground and
 * standard input and standard error are terminals, and waits a minute for the
 * answer; without one it writes the message to standard error. Where nobody
 * answers it continues.
 * zylStdErrReport writes to standard error, zylNulDevReport writes nothing;
 * both end the process with exit code 1 in ZYL_ErrModeLeaf. */
ZYL_API ZylStatus ZYL_CALL zylGuiBoxReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);
ZYL_API ZylStatus ZYL_CALL zylStdErrReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);
ZYL_API ZylStatus ZYL_CALL zylNulDevReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);

/* The calling thread's context. */
ZYL_API ZylContext *ZYL_CALL zylUndContext(void);

/* The version of the library, a constant record. */
ZYL_API const ZylLibVersion *ZYL_CALL zylGetLibVersion(void);

/* ======================================================================== */
/* 2  Images: records, constants, memory                                    */
/* ======================================================================== */

/* Depths. The low 31 bits are the bits of a sample; the top bit marks signed
 * samples. A ZYL_DEPTH_1U image has one channel; its pixels are packed eight to
 * a byte, the leftmost in the most significant bit. */
#define ZYL_DEPTH_SIGN 0x80000000u
#define ZYL_DEPTH_1U 1u
#define ZYL_DEPTH_8U 8u
#define ZYL_DEPTH_8S (ZYL_DEPTH_SIGN | 8u)
#define ZYL_DEPTH_16U 16u
#define ZYL_DEPTH_16S (ZYL_DEPTH_SIGN | 16u)
#define ZYL_DEPTH_32S (ZYL_DEPTH_SIGN | 32u)

/* Order of the samples: the channels of a pixel together, or one plane of
 * height * widthStep bytes for each channel. */
enum { ZYL_DATA_ORDER_PIXEL = 0, ZYL_DATA_ORDER_PLANE = 1 };

/* Which row of the picture is row 0 in memory: the top or the bottom one. */
enum { ZYL_ORIGIN_TL = 0, ZYL_ORIGIN_BL = 1 };

/* Row alignment, in bytes. */
enum { ZYL_ALIGN_4 = 4, ZYL_ALIGN_8 = 8 };

/* What a neighbourhood operation reads outside the image: the side's constant,
 * the nearest edge sample, the image mirrored with its edge sample repeated, or
 * the image repeated. A corner follows its top or bottom side. */
enum {
    ZYL_BORDER_CONSTANT = 0,
    ZYL_BORDER_REPLICATE = 1,
    ZYL_BORDER_REFLECT = 2,
    ZYL_BORDER_WRAP = 3
};

/* Sides of an image; bit i belongs to entry i of borderMode and borderConst. */
enum {
    ZYL_SIDE_TOP = 1,
    ZYL_SIDE_BOTTOM = 2,
    ZYL_SIDE_LEFT = 4,
    ZYL_SIDE_RIGHT = 8,
    ZYL_SIDE_ALL = 15
};

/* What zylDeallocate() frees; combine with |. */
enum {
    ZYL_DEALLOC_HEADER = 1,
    ZYL_DEALLOC_DATA = 2, /* pixels, if zylAllocateImage() obtained them */
    ZYL_DEALLOC_ROI = 4,
    ZYL_DEALLOC_TILE = 8,
    ZYL_DEALLOC_MASK = 16, /* the mask image with all its parts */
    ZYL_DEALLOC_ALL = 31
};

/* What a tile callback is asked to do. */
enum {
    ZYL_GET_TILE_TO_READ = 1,  /* point tileInfo->tileData to the tile's pixels */
    ZYL_GET_TILE_TO_WRITE = 2, /* the same, for a tile that will be written */
    ZYL_RELEASE_TILE = 4       /* take the tile back, set tileData to null */
};

typedef struct ZylImage ZylImage;

/* Region of interest. Note that the height stands before the width. A region
 * that reaches past the image is clipped by the operation that uses it. */
typedef struct ZylROI {
    int32_t coi; /* channel of interest, from 1; 0 for all channels */
    int32_t xOffset;
    int32_t yOffset;
    int32_t height;
    int32_t width;
} ZylROI;

/* Delivers and takes back one tile of `image`, the application's own header.
 * Tile (xIndex, yIndex) starts at column xIndex * width and row
 * yIndex * height of the image. Every tile is delivered whole, also those that
 * the image's edge cuts, with the rows' stride that zylCreateImageHeader() gives
 * to an image of the tile's size. */
typedef void(ZYL_CALL *ZylTileCallBack)(ZylImage *image, int32_t xIndex, int32_t yIndex,
                                        int32_t mode);

typedef struct ZylTileInfo {
    ZylTileCallBack callBack;
    void *id;                /* the application's, never interpreted */
    unsigned char *tileData; /* the tile last delivered; null when none is held */
    int32_t width;           /* positive multiples of 8 */
    int32_t height;
} ZylTileInfo;

/* A pixel of a tiled destination: only the tile that holds it is produced. */
typedef struct ZylTileMapping {
    int32_t xDst;
    int32_t yDst;
} ZylTileMapping;

/* The image header. Either imageData or tileInfo is set, never both. */
struct ZylImage {
    int32_t headerSize; /* sizeof(ZylImage) */
    int32_t headerId;   /* 0 */
    int32_t nChannels;
    int32_t alphaChannel; /* 0 for none, else the channel's number, from 1 */
    uint32_t depth;       /* ZYL_DEPTH_... */
    char colorModel[4];   /* "GRAY", "RGB", "RGBA" ...; not terminated */
    char channelSeq[4];   /* "RGB", "BGRA" ...: the channels in memory order */
    int32_t dataOrder;    /* ZYL_DATA_ORDER_... */
    int32_t origin;       /* ZYL_ORIGIN_... */
    int32_t align;        /* ZYL_ALIGN_... */
    int32_t height;       /* rows; note that the height stands before the width */
    int32_t width;        /* pixels in a row */
    ZylROI *roi;          /* null for the whole image and all channels */
    ZylImage *maskRoi;
    void *imageTag; /* the application's, never interpreted */
    ZylTileInfo *tileInfo;
    int32_t imageSize;        /* bytes of pixels */
    unsigned char *imageData; /* row 0 (of plane 1), aligned to the sample's size */
    int32_t widthStep;        /* bytes from row to row, a multiple of the sample's size */
    int32_t borderMode[4];    /* ZYL_BORDER_..., top, bottom, left, right */
    int32_t borderConst[4];
    unsigned char *imageDataOrigin; /* the block of zylAllocateImage(), else null */
};

/* Makes a header without pixels, its borders constant 0. Row stride and image
 * size follow from the other fields: a row's bits raised to the next multiple of
 * `align` bytes. colorModel and channelSeq point to four characters each.
 * Returns null when memory is exhausted, a text is null, nChannels < 1, `depth`
 * is none of the six, alphaChannel is outside 0..nChannels, dataOrder, origin or
 * `align` has no valid value, or height or width is negative. */
ZYL_API ZylImage *ZYL_CALL zylCreateImageHeader(int32_t nChannels, int32_t alphaChannel,
                                                uint32_t depth, const char *colorModel,
                                                const char *channelSeq, int32_t dataOrder,
                                                int32_t origin, int32_t align, int32_t height,
                                                int32_t width, ZylROI *roi, void *imageTag,
                                                ZylTileInfo *tileInfo);

/* Gives the header pixel memory, aligned to `align`, and fills every sample with
 * the low bits of fillValue; with -1 the memory is left as it comes. A block
 * from an earlier call is freed first. When memory is exhausted, or a row or the
 * image does not fit in 31 bits, imageDataOrigin is null afterwards. */
ZYL_API void ZYL_CALL zylAllocateImage(ZylImage *image, int32_t fillValue);

/* Frees the pixels that zylAllocateImage() obtained and sets imageData to null,
 * also when it points to the application's own pixels. */
ZYL_API void ZYL_CALL zylDeallocateImage(ZylImage *image);

/* Frees the parts that `flags` names (ZYL_DEALLOC_...). */
ZYL_API void ZYL_CALL zylDeallocate(ZylImage *image, int32_t flags);
ZYL_API void ZYL_CALL zylDeallocateHeader(ZylImage *image);

/* Regions of interest. Creation returns null when memory is exhausted; setting
 * and deleting ignore null. A record may serve several images. */
ZYL_API ZylROI *ZYL_CALL zylCreateROI(int32_t coi, int32_t xOffset, int32_t yOffset, int32_t height,
                                      int32_t width);
ZYL_API void ZYL_CALL zylSetROI(ZylROI *roi, int32_t coi, int32_t xOffset, int32_t yOffset,
                                int32_t height, int32_t width);
ZYL_API void ZYL_CALL zylDeleteROI(ZylROI *roi);

/* Tile descriptors, with the same rules. */
ZYL_API ZylTileInfo *ZYL_CALL zylCreateTileInfo(ZylTileCallBack callBack, void *id, int32_t width,
                                                int32_t height);
ZYL_API void ZYL_CALL zylSetTileInfo(ZylTileInfo *tileInfo, ZylTileCallBack callBack, void *id,
                                     int32_t width, int32_t height);
ZYL_API void ZYL_CALL zylDeleteTileInfo(ZylTileInfo *tileInfo);

/* Sets the border mode and its constant for every side in `sides`
 * (ZYL_SIDE_..., combined with |). Values are kept as given. */
ZYL_API void ZYL_CALL zylSetBorderMode(ZylImage *image, int32_t mode, int32_t sides, int32_t value);

/* What is wrong with a header: 0 when nothing is, else the bits of its faults. */
enum {
    ZYL_FAULT_NULL = 0x1,
    ZYL_FAULT_DATA = 0x2, /* pixels and tiles, or neither */
    ZYL_FAULT_SIZE = 0x4,
    ZYL_FAULT_ROI_OFFSET = 0x8,
    ZYL_FAULT_WIDTH_STEP = 0x10,
    ZYL_FAULT_CHANNELS = 0x20,
    ZYL_FAULT_BITONAL_CHANNELS = 0x40,
    ZYL_FAULT_DEPTH = 0x80,
    ZYL_FAULT_ALPHA = 0x100,
    ZYL_FAULT_DATA_ORDER = 0x200,
    ZYL_FAULT_ORIGIN = 0x400,
    ZYL_FAULT_ALIGN = 0x800,
    ZYL_FAULT_CALLBACK = 0x1000,
    ZYL_FAULT_TILE_SIZE = 0x2000,
    ZYL_FAULT_COI = 0x4000,
    ZYL_FAULT_ROI_SIZE = 0x8000
};
ZYL_API int32_t ZYL_CALL zylBadImageHeader(const ZylImage *image);

/* Memory for n bytes, 16-bit elements, 32-bit integers, floats or doubles,
 * aligned to 8 bytes; null when it is exhausted or n is negative. zylFree()
 * takes any of these back and ignores null. */
ZYL_API void *ZYL_CALL zylMalloc(int32_t n);
ZYL_API int16_t *ZYL_CALL zylwMalloc(int32_t n);
ZYL_API int32_t *ZYL_CALL zyliMalloc(int32_t n);
ZYL_API float *ZYL_CALL zylsMalloc(int32_t n);
ZYL_API double *ZYL_CALL zyldMalloc(int32_t n);
ZYL_API void ZYL_CALL zylFree(void *p);

/* ======================================================================== */
/* 3  Pixel arithmetic                                                      */
/* ======================================================================== */

/* All depths. Source and destination have the same depth and data order and
 * the same number of channels to process: 1 with a channel of interest, else
 * nChannels. The sizes may differ: every image is taken from the origin of its
 * own region, and the smallest region decides. An alpha channel is a channel
 * like any other. Images of equal size, without regions, are processed as flat
 * buffers, padding of the rows included. A mix of images with and without a
 * channel of interest writes nothing. Rows are widthStep apart; the first row of
 * a region is found by the stride that zylCreateImageHeader() gives.
 *
 * Reports: the fault of a header; "(srcImageA->depth != dstImage->depth)",
 * "(srcImageA->dataOrder != dstImage->dataOrder)", "(nChSrcA != nChDst)" and the
 * same for the other source; "(dTile.begX > dRoi.endX)" and its three sisters
 * for a tile outside the destination's region; and, for a tile that was not
 * delivered or not taken back,
 * "(srcImageA->tileInfo->tileData == ((void*)(0)))" or "... != ...". */

/* dst = A + B, saturated to the depth. 1-bit: A or B. */
ZYL_API void ZYL_CALL zylAdd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);

/* dst = A - B, or B - A when `reverse` is not 0, saturated. 1-bit: A and not B. */
ZYL_API void ZYL_CALL zylSubtract(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                  int32_t reverse, const int32_t *dstTile);

/* dst = A * B, saturated. 1-bit: A and B. */
ZYL_API void ZYL_CALL zylMultiply(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                  const int32_t *dstTile);

/* dst = src + value, saturated. 1-bit: only bit 0 of `value` counts, here and
 * in the next two. */
ZYL_API void ZYL_CALL zylAddS(ZylImage *srcImage, ZylImage *dstImage, int32_t value,
                              const int32_t *dstTile);

/* dst = src - value, or value - src when `reverse` is not 0, saturated. */
ZYL_API void ZYL_CALL zylSubtractS(ZylImage *srcImage, ZylImage *dstImage, int32_t value,
                                   int32_t reverse, const int32_t *dstTile);

/* dst = src * value. Unsigned depths: the product modulo 2^32, then at most the
 * depth's maximum. Signed depths: the exact product, saturated. */
ZYL_API void ZYL_CALL zylMultiplyS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                                   const int32_t *dstTile);

/* dst = the low bits of src * 2^shift; a shift of the depth's bits or more
 * clears the region. */
ZYL_API void ZYL_CALL zylLShiftS(ZylImage *srcImage, ZylImage *dstImage, uint32_t shift,
                                 const int32_t *dstTile);

/* dst = src shifted right by `shift` modulo 32. Signed samples are extended to
 * 32 bits first and zeros enter at the top; only 32-bit samples keep their sign
 * for every shift. 1-bit: a shift other than 0 clears the region. */
ZYL_API void ZYL_CALL zylRShiftS(ZylImage *srcImage, ZylImage *dstImage, uint32_t shift,
                                 const int32_t *dstTile);

/* dst = src * src, at most the depth's maximum. 1-bit: a copy. */
ZYL_API void ZYL_CALL zylSquare(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/* dst = |src|; the smallest value of a signed depth stays itself. Unsigned
 * depths are copied by zylCopy(), with its reports. */
ZYL_API void ZYL_CALL zylAbs(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/* ======================================================================== */
/* 4  Logic                                                                 */
/* ======================================================================== */

/* Bit by bit, on all depths, with the rules and reports of chapter 3. */
ZYL_API void ZYL_CALL zylAnd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);
ZYL_API void ZYL_CALL zylOr(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                            const int32_t *dstTile);
ZYL_API void ZYL_CALL zylXor(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);

/* With the low bits of a constant. Here a source with a channel of interest may
 * go into a destination of one channel, and the other way round, and the padding
 * of tiles is left as it is. */
ZYL_API void ZYL_CALL zylAndS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                              const int32_t *dstTile);
ZYL_API void ZYL_CALL zylOrS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                             const int32_t *dstTile);
ZYL_API void ZYL_CALL zylXorS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                              const int32_t *dstTile);

/* dst = all bits of src inverted. Reports as "zylXorS". */
ZYL_API void ZYL_CALL zylNot(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/* ======================================================================== */
/* 5  Copy, set and exchange                                                */
/* ======================================================================== */

/* All depths. Every image is taken from the origin of its own region, cut to
 * the image, and the smaller region decides. A channel of interest may be copied
 * into or out of an image of one channel. Different numbers of channels to
 * process, an empty region and a tile argument outside the region end the call
 * quietly.
 *
 * Reports: the fault of a header; then, all of them before the call ends,
 * "srcImage->depth != dstImage->depth",
 * "srcImage->dataOrder != dstImage->dataOrder" and
 * "srcImage->origin != dstImage->origin". The call also ends when the thread's
 * status is still negative from an earlier call. A tile that is not delivered is
 * reported as ZYL_StsError, "Error get tile to read" or
 * "Error get tile to write".
 *
 * Rows are as far apart as the header's other fields say; widthStep is not read.
 * One tile is held at a time. Between two tiled images the samples of one tile
 * wait in memory of the library; without it the call ends quietly, the tiles
 * before being done. */

/* Copies the source's region into the destination's. */
ZYL_API void ZYL_CALL zylCopy(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/* Sets every sample of the region to fillValue, clamped to the depth's range.
 * `tile` names one tile of the image. */
ZYL_API void ZYL_CALL zylSet(ZylImage *image, int32_t fillValue, const int32_t *tile);

/* Swaps the samples of two regions. `tile` names one tile of imageB. All tiles
 * are requested for writing. Between two tiled images the first one is written by
 * zylCopy(), with its reports. */
ZYL_API void ZYL_CALL zylExchange(ZylImage *imageA, ZylImage *imageB, const int32_t *tile);

/* ======================================================================== */
/* 6  Conversion and colour                                                 */
/* ======================================================================== */

/* ---- Device-independent bitmaps ----
 *
 * A bitmap is one block of memory: this header, then the colour table (four bytes
 * an entry: blue, green, red, reserved) or the three masks of bit fields (red,
 * green, blue, 32 bits each), then the rows, each padded to 4 bytes. It has 1, 4,
 * 8, 16, 24 or 32 bits a pixel. The record has the layout of the platform's own
 * BITMAPINFOHEADER, a pointer to which may be given as well.
 *
 * The table has biClrUsed entries, or 2^biBitCount when that is 0; it is there
 * for up to 8 bits. The block ends where these fields say, and nobody can check
 * it: who reads files checks them first.
 *
 * Choices where a bitmap makes no sense: an index past the table means its last
 * entry; a table of one entry is no gray ramp; bit fields with a mask of 0 are
 * refused, "Bad dib color mask"; when a colour mask reaches the top bit, there is
 * no alpha mask, alpha is read as 0 and no bit is written for it. */
typedef struct ZylBitmapInfoHeader {
    uint32_t biSize; /* 40 */
    int32_t biWidth;
    int32_t biHeight;  /* above 0: the bottom row first; below 0: the top row first */
    uint16_t biPlanes; /* 1 */
    uint16_t biBitCount;
    uint32_t biCompression; /* 0, or 3 for bit fields */
    uint32_t biSizeImage;   /* this field and those not named below are not used */
    int32_t biXPelsPerMeter;
    int32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
} ZylBitmapInfoHeader;

/* Makes an image of a bitmap; null on failure. *cloneData becomes 1 when the
 * image uses the bitmap's own pixels: 24 bits, 32 bits without bit fields, and 1
 * and 8 bits with a gray ramp as table. It must then not outlive the bitmap, and
 * deallocating its data frees nothing. Else *cloneData becomes 0 and the image has
 * pixels of its own, converted by zylConvertFromDIB(): 8-bit gray for a gray ramp
 * of 4 bits, 8-bit "BGRA" planes for 32-bit fields, 8-bit "BGR" planes for the
 * rest. Freed by zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA).
 *
 * Reports, here and below: texts that name the header field, such as
 * "(dib->biPlanes != 1)"; "Bad dib->biBitCount"; "Create image header is failed";
 * "Allocate memory for ZYL image data is failed". */
ZYL_API ZylImage *ZYL_CALL zylTranslateDIB(const void *dib, int32_t *cloneData);

/* Converts a bitmap into an image at least as large, top rows and left columns
 * together; the rest of the image stays as it is. The image is in memory, has 1,
 * 3 or 4 channels of 8 or 16 bits, or is a 1-bit image; its channelSeq is "G" or
 * "GRAY", "BGR", "BGRA", "RGB" or "RGBA" (a text shorter than four characters
 * followed by zeros). Fields of fewer than 8 bits get zeros below, 16-bit samples
 * zeros in their lower byte. Gray is (28 B + 151 G + 77 R) >> 8, and a bit is set
 * above 127. Regions are not looked at, and rows have the stride that
 * zylCreateImageHeader() gives.
 *
 * Reports: "image size is too small", "image->channelSeq unsupport",
 * "image->imageData==0" for a tiled image, and ZYL_StsInternal with an empty text
 * for a bit count or an image that is not supported, unless the thread's status
 * is negative already. */
ZYL_API void ZYL_CALL zylConvertFromDIB(const void *dib, ZylImage *image);

/* Converts an image into a bitmap of its size whose header, table or masks, and
 * memory the caller provides; rows go bottom up, biHeight is above 0.
 *
 * With up to 8 bits every pixel becomes the index of the nearest table entry, the
 * first of equals. `paletteConversion`: 0, the table as it is; 1, a fixed table of
 * 2, 16 or 256 entries; 2, a table made for the image by median cut, which sets
 * biClrUsed, and so where the rows start; there is room for 2^biBitCount entries
 * then. `dither`: 1, 16-bit samples lose their lower byte; 8, they are
 * reduced by zylReduceBits() with ditherType 8 and ditherBits 1.
 *
 * Reports besides those above: "(dither != 8 && dither != 1)" and its like,
 * "create medcut palette error" (no memory for it, or channels in an unknown
 * order), "dib-<biBitCount is bad"; ZYL_StsNoMem, "Allocation failure". */
ZYL_API void ZYL_CALL zylConvertToDIB(ZylImage *image, void *dib, int32_t dither,
                                      int32_t paletteConversion);

/* ---- Depths ----
 *
 * Both operations take whole images of equal size; regions are not looked at,
 * but for the channel of interest named below. Data orders may differ. When the
 * origins differ, row 0 goes to the last row, so that the picture stays upright.
 * With `tilePoint`, a tiled destination is produced only in the tile that holds
 * this pixel (nothing when there is none).
 *
 * Reports: "(srcImage->height != dstImage->height)" and the like; a tile that is
 * not delivered, "(dstImage->tileInfo->tileData == NULL)", ends the call, and
 * the tiles held then are given back. */

/* Converts between depths.
 *
 * Up to an equal width, values are kept, but between signed and unsigned depths
 * half of the source's range is added or subtracted: 8U 0 becomes 8S -128. Down,
 * ConvertMode 1 keeps the high bits, toward zero, ConvertMode 0 the low bits and
 * the sign. The channels' number must be equal.
 *
 * Into a 1-bit image from a deeper one: a bit is set where the sample is above 0.
 * The source has one channel or a channel of interest. Between 1-bit images:
 * whole bytes are copied. */
ZYL_API void ZYL_CALL zylConvert(ZylImage *srcImage, ZylImage *dstImage, int32_t ConvertMode,
                                 const ZylTileMapping *tilePoint);

/* Makes a deeper image of a 1-bit image: all channels of a pixel become OneScale
 * where the bit is set, else ZeroScale. Both must fit the depth. */
ZYL_API void ZYL_CALL zylBitonalToGray(ZylImage *srcImage, ZylImage *dstImage, int32_t ZeroScale,
                                       int32_t OneScale, const ZylTileMapping *tilePoint);

/* ---- Colour models ----
 *
 * Whole images of equal origin; regions are not looked at, and of images in
 * memory the smaller size decides. A destination in tiles is produced tile by
 * tile, and what a tile has beyond the source comes from the source's borders; a
 * destination tile that is not delivered ends its row of tiles without a report.
 *
 * Red, green and blue are found by channelSeq. Pixel order: the first three
 * channels, R G B when it begins with 'R', else B G R. Plane order: the planes at
 * the letters' places; the first three in the order R G B when a letter is
 * missing. Other channels are left alone. A colour image has three channels or
 * more. Samples of signed images are not negative, or the results are within
 * range but otherwise unspecified.
 *
 * Reports: "incomatibleimages" for colour models, channels, depths, data orders or
 * origins that do not go together; then, for every tile, "errInOutDepth" for
 * depths that are not supported; ZYL_StsNoMem, "Allocation failure". */

/* Gray of RGB: 8U, 16U and 32S to 1U (set above the middle), 8U and 16U; roughly
 * 0.21 R + 0.72 G + 0.07 B. The destination has one channel; of planes, the first
 * is written. */
ZYL_API void ZYL_CALL zylColorToGray(ZylImage *srcImage, ZylImage *dstImage,
                                     const int32_t *dstTile);

/* RGB of gray: each colour is gray * Fract, in 8 bits (1/256), 16 bits (1/32768) or
 * double precision, and saturated. When all three are 0, the weights of
 * zylColorToGray() are used. 8U, 16U, 32S, and 1U to 8U as 0 and 255. */
ZYL_API void ZYL_CALL zylGrayToColor(ZylImage *srcImage, ZylImage *dstImage, float FractR,
                                     float FractG, float FractB, const int32_t *dstTile);

/* RGB to hue, saturation, value or to hue, lightness, saturation, and back. 8U,
 * 16U, 32S. Hue is in degrees, 8U: in halves, 0 to 179; the others have the full
 * range. The first three characters of the destination's colorModel and
 * channelSeq become "HSV", "HLS" or "RGB": its first three channels. */
ZYL_API void ZYL_CALL zylRGB2HSV(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);
ZYL_API void ZYL_CALL zylHSV2RGB(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);
ZYL_API void ZYL_CALL zylRGB2HLS(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);
ZYL_API void ZYL_CALL zylHLS2RGB(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/* Cuts 32S to 16U or 8U, 16U to 8U, 8U to 1U (above 127), keeping the high bits;
 * negative samples become 0. The same number of channels to process, data order
 * and origin; images and tiles as above.
 *
 * jitterType 1 to 8 adds noise before the cut, stronger with every step, another
 * one for every call; 0 adds none.
 *
 * ditherType: 1 none; 2 Floyd-Steinberg, 4 Jarvis-Judice-Ninke, 8 Stucki, 16 a
 * 4 x 4 order. Dithers leave multiples of the largest sample >> ditherBits (at
 * least 1) in a gray or three colour channels of 8U and 16U, each tile by itself.
 * A sum of sample and error that leaves the range is set to its end. ditherBits
 * below 0 counts as 0, above the sample's bits as half of these.
 *
 * Reports: "(0>jitterType)||(jitterType>8)", "incomatibleimages"; then, for every
 * tile, "errInOutDepth", "errOutDepth", "errDitherOption", "errInDepth". */
ZYL_API void ZYL_CALL zylReduceBits(ZylImage *srcImage, ZylImage *dstImage, int32_t jitterType,
                                    int32_t ditherType, int32_t ditherBits, const int32_t *dstTile);

/* ---- Colour twist ----
 *
 * Row i of the matrix gives channel i: (data[4i] c0 + data[4i + 1] c1 +
 * data[4i + 2] c2 + data[4i + 3]) / 2^scalingValue, for i = 0, 1, 2. */
typedef struct ZylColorTwist {
    int32_t data[16];
    int32_t scalingValue; /* 0 to 31 */
} ZylColorTwist;

/* Creation reports "bad_argument" or ZYL_StsNoMem, "out_of_memory", and returns
 * null; setting reports "cTwist==0", "(data == 0)", "(scalingValue < 0)" or
 * "(scalingValue > 31)". Deleting ignores null. */
ZYL_API ZylColorTwist *ZYL_CALL zylCreateColorTwist(const int32_t *data, int32_t scalingValue);
ZYL_API void ZYL_CALL zylSetColorTwist(ZylColorTwist *cTwist, const int32_t *data,
                                       int32_t scalingValue);
ZYL_API void ZYL_CALL zylDeleteColorTwist(ZylColorTwist *cTwist);

/* Twists the first three channels, in memory order, of the source's region into
 * the destination's. Both are 8U or both 16U, of equal data order and origin, with
 * three channels or more; an alpha channel is the last one. Regions are cut to
 * their images, the smaller size decides, and the channel of interest is not
 * looked at. Results are truncated and limited to the range; then `offset` is
 * added, and they are limited again. With `Mapping`, a tiled destination is
 * produced only in the tile that holds this pixel, which must meet the region.
 *
 * Reports: "cTwist==0", the texts of what does not go together, such as
 * "(srcImage->nChannels < 3)", and tiles as zylConvert() does. */
ZYL_API void ZYL_CALL zylApplyColorTwist(ZylImage *srcImage, ZylImage *dstImage,
                                         const ZylColorTwist *cTwist, int32_t offset,
                                         const ZylTileMapping *Mapping);

/* ======================================================================== */
/* 8  Filters                                                               */
/* ======================================================================== */

/* What holds for all of them:
 *
 *  - Every image is taken from the origin of its own region, cut to the image,
 *    and the smaller region decides.
 *  - A box or kernel is laid over the source with its anchor cell at the pixel
 *    that is computed. Pixels of the source are read whether or not they lie in
 *    its region; outside the source, its border modes give them.
 *  - The destination may be the source, and the tiling of either image never
 *    changes a result. `mapping`, where it is taken, restricts a tiled
 *    destination to the tile that holds its point; a tile outside the region
 *    writes nothing.
 *  - A tile that is not delivered is reported as ZYL_StsError,
 *    "Error get tile to read" or "Error get tile to write", and ends the call;
 *    so does a lack of memory. What was written before stays. */

/* An integer kernel. Made by zylCreateConvKernel(), its coefficients included. */
typedef struct ZylConvKernel {
    int32_t nRows;
    int32_t nCols;
    int32_t anchorX; /* the anchor's column, below nCols */
    int32_t anchorY; /* the anchor's row, below nRows */
    int32_t nShiftR; /* sums are shifted right by its low five bits */
    int8_t *values;  /* nRows * nCols coefficients, row by row */
} ZylConvKernel;

/* How the results of several kernels become one: their sum, the sum of their
 * squares, its square root, the largest, the smallest. */
enum { ZYL_SUM = 0, ZYL_SUMSQ = 1, ZYL_SUMSQROOT = 2, ZYL_MAX = 3, ZYL_MIN = 4 };

/* Copies the coefficients. Returns null after reporting "(values == 0)",
 * "(nRows<=0 || nCols<=0)",
 * "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)", or ZYL_StsNoMem
 * "Allocation failure". */
ZYL_API ZylConvKernel *ZYL_CALL zylCreateConvKernel(int32_t nRows, int32_t nCols, int32_t anchorX,
                                                    int32_t anchorY, const int8_t *values,
                                                    int32_t nShiftR);

/* Stores the kernel's fields, and its coefficients in the buffer that *values
 * points to. A null argument is reported: "kernel==0", "nRows==0" ... */
ZYL_API void ZYL_CALL zylGetConvKernel(const ZylConvKernel *kernel, int32_t *nRows, int32_t *nCols,
                                       int32_t *anchorX, int32_t *anchorY, int8_t **values,
                                       int32_t *nShiftR);

/* Reports "kernel==0", or "kernel->values==0" and frees nothing. */
ZYL_API void ZYL_CALL zylDeleteConvKernel(ZylConvKernel *kernel);

/* Convolves with nKernels (1 to 100) kernels, which are not mirrored: coefficient
 * (r, c) multiplies the pixel r - anchorY rows below and c - anchorX columns to
 * the right. Each kernel's sum is shifted right by its own nShiftR, rounding
 * toward minus infinity, and the results are combined.
 *
 * Depths, source to destination: 1U to 1U, 8U and 8S; 8U to 8U and 8S; 8S to 8S;
 * 16U to 16U and 16S; 16S to 16S: in 32 bits that wrap around, the root
 * truncated (0 for a sum of squares that wrapped below 0), the result saturated;
 * a 1-bit result is 1 above 0. 16U, 16S and 32S to 32S: in double precision,
 * rounded to nearest, saturated; a shift other than 0 first rounds and saturates
 * the sum to 32 bits.
 *
 * The channel of interest, or all channels but the last one of an image that has
 * an alpha channel. Data orders may differ.
 *
 * Reports: "srcImage==0", "dstImage==0", the fault of a header, "kernel==0",
 * "(nKernels<=0 || nKernels>100)", a combine method outside 0..4, "kernel[i]==0",
 * "ownBadKernel(kernel[i])", "kernel[i]->values==0", a mapping outside the destination,
 * "Uncompatible images" for different numbers of channels,
 * "Inadmissible images depths", and ZYL_StsNoMem "Allocation failure". */
ZYL_API void ZYL_CALL zylConvolve2D(ZylImage *srcImage, ZylImage *dstImage,
                                    ZylConvKernel *const *kernel, int32_t nKernels,
                                    int32_t combineMethod, const ZylTileMapping *mapping);

/* Convolves with the first nRows coefficients of Ykernel down the columns, and
 * the sums with the first nCols coefficients of Xkernel along the rows, in 32
 * bits that wrap around. The result is shifted right once, by the low five bits
 * of the sum of both shifts, and saturated; a 1-bit result is 1 above 0.
 *
 * All depths. The block is as large as the smallest of both images and both
 * regions; where a region reaches past the source, its border is read. All
 * channels, alpha included, or a channel of interest, of both images.
 *
 * Reports: the fault of a header; "Xkernel==0" and "Ykernel==0"; then, all of
 * them before the call ends, "srcImage->depth != dstImage->depth", the same for
 * origin, dataOrder and nChannels,
 * "nChannels in srcImage ROI != nChannels in dstImage ROI",
 * "Xkernel->nCols <= 0", "Ykernel->nRows <= 0", "Xkernel->values==0" and
 * "Ykernel->values==0". A lack of memory is not reported, here and in the
 * functions below unless they say so. */
ZYL_API void ZYL_CALL zylConvolveSep2D(ZylImage *srcImage, ZylImage *dstImage,
                                       const ZylConvKernel *Xkernel, const ZylConvKernel *Ykernel);

/* The mean of a box of nRows x nCols pixels: their sum times the single-precision
 * reciprocal of their number, multiplied in double precision and truncated. So a
 * result may lie one below the quotient: a 5 x 5 box of 25s gives 24. The anchor
 * may lie outside the box. In 32S images the sum of each column of a box is
 * rounded to single precision. A box of one pixel copies.
 *
 * All depths but 1U. The channels that both images process, each into the
 * channel of the same number.
 *
 * Reports: the fault of a header, "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->depth==1)", "(nRows<0||nCols<0)", "(anchorX<0||anchorY<0)", and
 * "(nRows==0||nCols==0)" for an empty box. */
ZYL_API void ZYL_CALL zylBlur(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows, int32_t nCols,
                              int32_t anchorX, int32_t anchorY, const ZylTileMapping *mapping);

/* The largest, smallest or middle value of a box of nRows x nCols pixels. The
 * median of an even number of values is the larger middle one; of bits it is 1
 * when at least half of them are 1. All depths, all channels or a channel of
 * interest, taken in step.
 *
 * Reports: the fault of a header, "(anchorX>=nCols)||(anchorX<0)",
 * "(anchorY>=nRows)||(anchorY<0)", "srcImage->depth!=dstImage->depth",
 * "srcImage->dataOrder!=dstImage->dataOrder", and
 * "Number of interset channel input and output Image is not equal.". */
ZYL_API void ZYL_CALL zylMaxFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                   int32_t nCols, int32_t anchorX, int32_t anchorY,
                                   const ZylTileMapping *mapping);
ZYL_API void ZYL_CALL zylMinFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                   int32_t nCols, int32_t anchorX, int32_t anchorY,
                                   const ZylTileMapping *mapping);
ZYL_API void ZYL_CALL zylMedianFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                      int32_t nCols, int32_t anchorX, int32_t anchorY,
                                      const ZylTileMapping *mapping);

/* Erosion (the smallest of 3 x 3 pixels), dilation (the largest), opening
 * (erosion, then dilation) and closing (dilation, then erosion), each repeated
 * nIterations times: an opening of 2 erodes, dilates, erodes and dilates. The
 * first pass reads the source; later ones read the destination, around its region
 * and with its border modes, and write it in place.
 *
 * Depths 1U, 8U and 16U; images of signed depths are left as they are. All
 * channels or a channel of interest, taken in step. `mapping` must be null.
 *
 * Sets the thread's status to ZYL_StsOk when all went well. Reports, one of them:
 * "Null SRC image header", "Specify exactly SRC image mode (non-tile/tile)",
 * "Illegal SRC tile info contents", "Illegal number of of iterations",
 * "Mapping must be NULL", "Illegal SRC image header contents",
 * "SRC and DST depth are not compatible", "... order ...", "... orign ...",
 * "... number of channels ...", the same of the destination after each of the
 * source; and ZYL_StsNoMem "Not enough memory". */
ZYL_API void ZYL_CALL zylErode(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                               const ZylTileMapping *mapping);
ZYL_API void ZYL_CALL zylDilate(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                                const ZylTileMapping *mapping);
ZYL_API void ZYL_CALL zylOpen(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                              const ZylTileMapping *mapping);
ZYL_API void ZYL_CALL zylClose(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                               const ZylTileMapping *mapping);

/* ======================================================================== */
/* 9  Geometry                                                              */
/* ======================================================================== */

/* Every image is taken from the corner of its own region, cut to the image. The
 * destination may be the source. A tile that is not delivered ends the call; it
 * is reported as ZYL_StsError, "Error get tile to read" or
 * "Error get tile to write", unless said otherwise. Memory that is exhausted ends
 * the call without a report.
 *
 * How samples between pixels are made. A value other than these three is
 * reported, except by zylRotate(). */
enum {
    ZYL_INTER_NN = 0,     /* the nearest pixel, or the one at or before */
    ZYL_INTER_LINEAR = 1, /* between two pixels in each direction */
    ZYL_INTER_CUBIC = 2   /* a cubic through four pixels in each direction */
};

/* Enlarges the source's region by xU / xL horizontally and yU / yL vertically,
 * both at least 1. Depths 1U, 8U and 16U; others are left alone without a
 * report. Source and destination have the same depth and data order. Of the
 * channels to process, the smaller number counts.
 *
 * Corners of pixels coincide: column i of the destination's region lies at
 * source column i * xL / xU, counted from the region's corner. Columns that lie
 * behind the source's region are not written; rows likewise.
 *  - Nearest takes the pixel at or before the position. Steps between positions
 *    are multiples of 2^-14, rounded down, so that positions fall a little behind
 *    in wide images; every tile of a tiled destination starts at the exact
 *    position of its first pixel.
 *  - Linear reads the region alone. Behind its last pixel it goes on as between
 *    the last two. A region one pixel wide is as wide as it is: its pixel is
 *    repeated.
 *  - Cubic also reads the pixels around the region; next to the image's edge it
 *    goes on from the last four pixels.
 * Results are rounded down and saturated. 1-bit images and images narrower or
 * lower than 2 pixels are always enlarged by nearest neighbour; images narrower
 * or lower than 4 never by more than linear interpolation.
 *
 * Reports the fault of a header; then, all of them before the call ends:
 * "interpolate != ZYL_INTER_NN && interpolate != ZYL_INTER_LINEAR && interpolate !=
 * ZYL_INTER_CUBIC", "srcImage->depth != dstImage->depth", "srcImage->dataOrder !=
 * dstImage->dataOrder", "xU <= 0 || xL <= 0", "yU <= 0 || yL <= 0", "xU < xL || yU < yL". The call
 * also ends when the thread's status is still negative from an earlier call. `mapping` may be null.
 */
ZYL_API void ZYL_CALL zylZoom(ZylImage *srcImage, ZylImage *dstImage, int32_t xU, int32_t xL,
                              int32_t yU, int32_t yL, int32_t interpolate,
                              const ZylTileMapping *mapping);

/* Reduces the source's region by xU / xL horizontally and yU / yL vertically,
 * both at most 1. Channels as zylZoom().
 *
 * Column i of the destination's region lies at source column i * xL / xU, the
 * factor being a multiple of 1/256, rounded down. At most as many columns as the
 * width of the source's region times xU / xL are written; rows likewise. No
 * average is taken: pixels that lie between are skipped. Linear and cubic read
 * the image around the region too; behind the image's edge its last pixel is
 * repeated. Linear results are rounded to nearest, halves up, cubic ones toward
 * zero and saturated. Nearest takes the pixel at or before the position; it
 * stands in for the others when both factors are whole, for 1-bit images, and
 * for images narrower or lower than 4 pixels.
 *
 * Reports the fault of a header; then, all of them before the call ends:
 * "srcImage->depth != dstImage->depth",
 * "srcImage->origin != dstImage->origin",
 * "srcImage->dataOrder != dstImage->dataOrder",
 * "interpolate != ZYL_INTER_NN, ZYL_INTER_LINEAR or ZYL_INTER_CUBIC",
 * "xU <= 0", "xL <= 0", "yU <= 0", "yL <= 0", "xU > xL", "yU > yL". The call
 * also ends when the thread's status is still negative from an earlier call.
 * Then "srcImage->depth is wrong", unless the depth is 1U, 8U or 16U. With a
 * mapping outside the part that is written, nothing is. */
ZYL_API void ZYL_CALL zylDecimate(ZylImage *srcImage, ZylImage *dstImage, int32_t xU, int32_t xL,
                                  int32_t yU, int32_t yL, int32_t interpolate,
                                  const ZylTileMapping *mapping);

/* Turns the source's picture by `angle` hundredths of a degree about the point
 * (xShift, yShift) of the source; any angle, in whole turns of 36000. Depths 1U,
 * 8U and 16U. The picture turns counterclockwise on screen, whatever its origin.
 *
 * The destination's region is written, at most as far as the source's region is
 * wide and high. Its first pixel stands for the first pixel of the source's
 * region; a pixel (x, y) then comes from
 *     c * (x - xShift) - s * (y - yShift) + xShift,
 *     s * (x - xShift) + c * (y - yShift) + yShift
 * of the whole source, c and s being cosine and sine of the angle. Pixels that
 * come from outside the source become 0; between its last row or column and
 * half a pixel outside, only nearest neighbour gives pixels. Channels are those
 * of zylCopy(): nothing is written when their numbers differ. Results are rounded
 * to nearest and saturated. Angle 0 is zylCopy(); 9000, 18000 and 27000 move
 * pixels unchanged.
 *
 * `interpolate`: any value but ZYL_INTER_NN and ZYL_INTER_LINEAR is cubic. 1-bit
 * images and those with one row or column are always turned by nearest neighbour,
 * images narrower or lower than 4 pixels never by more than linear interpolation.
 *
 * Reports the fault of a header; then, all of them before the call ends:
 * "srcImage->depth != dstImage->depth",
 * "srcImage->dataOrder != dstImage->dataOrder",
 * "srcImage->origin != dstImage->origin" (which is reported twice and ends the
 * call) and "srcImage->depth & ZYL_DEPTH_SIGN". The call also ends when the
 * thread's status is still negative from an earlier call. */
ZYL_API void ZYL_CALL zylRotate(ZylImage *srcImage, ZylImage *dstImage, int32_t angle,
                                int32_t xShift, int32_t yShift, int32_t interpolate,
                                const int32_t *dstTile);

/* Flips the source's region: 0 turns it upside down, 1 exchanges left and right,
 * -1 does both. All depths, also from one data order to the other.
 *
 * Reports, each of which ends the call: the fault of a header,
 * "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->nChannels!=dstImage->nChannels)",
 * "((flipAxis>1)||(flipAxis<-1))", "(coiSrc!=coiDst)" for different channels of
 * interest, and for a tile that is not delivered
 * "(srcImage->tileInfo->tileData == ((void*)(0)))" or the same for dstImage. */
ZYL_API void ZYL_CALL zylMirror(ZylImage *srcImage, ZylImage *dstImage, int32_t flipAxis);

/* ======================================================================== */
/* 10  Transforms                                                           */
/* ======================================================================== */

/* Flags of the Fourier transform; combine with |. */
enum {
    ZYL_FFT_FORWARD = 1,      /* negative exponent */
    ZYL_FFT_INVERSE = 2,      /* positive exponent, results divided by the region's pixels */
    ZYL_FFT_NO_SCALE = 4,     /* with ZYL_FFT_INVERSE: not divided */
    ZYL_FFT_WITH_ALPHA = 8,   /* the alpha channel too */
    ZYL_FFT_FIXED_POINT = 16, /* 32-bit integers with 6 fraction bits */
    ZYL_FFT_FLOATING = 32,    /* single precision */
    ZYL_FFT_REPEAT = 64,      /* with the set-up of the call before */
    ZYL_FFT_RELEASE = 128,    /* only free what is kept */
    ZYL_FFT_KEEP_TABLES = 256 /* keep tables and buffers for the next call */
};

/* The two-dimensional Fourier transform, from an image to its packed spectrum
 * (zylRealFft2D) and from a packed spectrum to an image (zylCcsFft2D). All depths
 * but 1-bit; depths and data orders of the two images may differ. `map` must be
 * null: the images are not tiled.
 *
 * The region is what the regions of both images have in common: the same columns
 * and rows of either image, N columns by M rows. Both images have the same channel
 * of interest; without one, all channels are transformed but the alpha channel,
 * which is left as it is. With x, y, u and v counted from the region's corner,
 *
 *    F(u, v) = c * sum of f(x, y) * exp(s * 2 pi i * (u x / N + v y / M))
 *
 * where s is -1 for ZYL_FFT_FORWARD and 1 for ZYL_FFT_INVERSE, one of which is
 * given, and c is 1, or 1 / (N M) for a scaled inverse. zylCcsFft2D computes f from
 * F by the same rule. A forward zylRealFft2D and an inverse zylCcsFft2D give back
 * the image, up to rounding, if the spectrum's depth has room: 32 bits, as a rule.
 *
 * The packed spectrum fills the region with real numbers. A line of L real samples
 * has the terms G(0) .. G(L - 1) of which half are conjugates of the others. Packed
 * it is Re G(0); Re G(k), Im G(k) for k = 1 .. ceil(L / 2) - 1; and, when L is even,
 * Re G(L / 2). In the region,
 *
 *    column 0 holds F(0, v), packed over v;
 *    columns 2u - 1 and 2u hold Re and Im F(u, v) in row v, u = 1 .. ceil(N / 2) - 1;
 *    column N - 1, when N is even, holds F(N / 2, v), packed over v.
 *
 * Numbers: single precision, cut toward zero; or, for regions of up to 128 pixels
 * and with ZYL_FFT_FIXED_POINT, integers of 32 bits with 6 fraction bits and roots
 * of 14 bits. Fixed point is exact to about one part in 2^13 and wraps around when a
 * sum of samples reaches 2^25. Results are saturated to the destination's depth.
 * Sides that are powers of two are fast; other lengths take time in proportion to
 * their square.
 *
 * Tables and buffers, one set for the process, are freed at the end of a call unless
 * ZYL_FFT_KEEP_TABLES is given; a call that reports an error leaves them.
 * ZYL_FFT_RELEASE frees them and looks at nothing else. ZYL_FFT_REPEAT transforms
 * the pixels of the images of the call before, with its flags; from the images given
 * it takes the region and the channels only. Calls of these two functions from
 * several threads have to be serialised.
 *
 * Reports: "srcImage==0" and "dstImage==0"; "srcImage->imageData==0" and
 * "dstImage->imageData==0", also for tiled images; "(map!=((void*)(0)))";
 * "Error in input data" for a faulty header, flags that contradict each other,
 * different numbers of channels, alpha channels or channels of interest, a region
 * that reaches past its image, 1-bit samples, ZYL_FFT_REPEAT without a successful
 * set-up before or with a region that its images do not have, and when memory is
 * exhausted; "No calculations! Looking input data!" when the regions have nothing
 * or one pixel in common. Nothing is written in any of these cases. The call also
 * ends when the thread's status is still negative from an earlier call. */
ZYL_API void ZYL_CALL zylRealFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags,
                                   const ZylTileMapping *map);
ZYL_API void ZYL_CALL zylCcsFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags,
                                  const ZylTileMapping *map);

/* Flags of the cosine transform; combine with |. */
enum {
    ZYL_DCT_FORWARD = 1,
    ZYL_DCT_INVERSE = 2,
    ZYL_DCT_WITH_ALPHA = 4, /* the alpha channel too */
    ZYL_DCT_RELEASE = 8     /* only free the tables kept */
};

/* The orthonormal two-dimensional cosine transform (type II), or its inverse. All
 * depths but 1-bit; the depths of the two images may differ. The block is the
 * source's region, or the whole image; it goes to the corner of the destination's
 * region. With W columns and H rows, a(0) = sqrt(1 / n) and a(k) = sqrt(2 / n),
 *
 *    F(u, v) = a(u) * a(v) * sum of f(x, y) * cos((2x + 1) u pi / 2W)
 *                                           * cos((2y + 1) v pi / 2H)
 *
 * F(u, v) is stored at column u, row v. The inverse gives f back. Numbers are of
 * single precision; results are rounded to the nearest integer, ties to even, and
 * saturated. Without a channel of interest all channels are transformed but the
 * source's alpha channel, which is left as it is in the destination; with one, it
 * goes to the destination's channel of interest, alpha or not.
 *
 * Tables are kept until a call with ZYL_DCT_RELEASE, which looks at nothing else.
 * Calls from several threads have to be serialised. Without exactly one of
 * ZYL_DCT_FORWARD and ZYL_DCT_INVERSE, and when memory is exhausted, nothing is
 * written and nothing reported.
 *
 * Reports: "src==0" and "dst==0"; and "Images are not compatible" when both are the
 * same header, when the numbers of channels, the sizes or the data orders differ,
 * when one has a region and the other has none or a smaller one, when a region
 * reaches past its image or is empty, when the source has a channel of interest
 * and the destination has none, and for tiled images, 1-bit samples and unknown
 * depths or data orders. The call also ends when the thread's status is still
 * negative from an earlier call. */
ZYL_API void ZYL_CALL zylDCT2D(ZylImage *src, ZylImage *dst, int32_t flags);

/* ======================================================================== */
/* 11  Histograms, threshold and norms                                      */
/* ======================================================================== */

/* A function of the sample's value, given by intervals: [key[i], key[i+1]) is
 * interval i. The record and its arrays belong to the application. */
typedef struct ZylLUT {
    int32_t num;         /* keys, at least 2 */
    int32_t *key;        /* `num` bounds, not decreasing, within 0..256 or 0..65536 */
    int32_t *value;      /* `num` values or counts of the intervals */
    int32_t *factor;     /* `num` slopes; may be null unless interpolate is set */
    int32_t interpolate; /* 0: an interval has one value; else a slope as well */
} ZylLUT;

/* `lut` is an array of pointers, one for each channel of the image. With channel
 * of interest k only entry k - 1 is looked at.
 *
 * Reports: the fault of a header; "lut==0" and what the operations add, all of
 * them before the call ends; then, of the first LUT that is unfit, "lut[k]==0",
 * "lut[k]->key==0", "lut[k]->value==0", "lut[k]->num < 2", "lut[k]->key[0] < 0",
 * "lut[k]->key[lut[k]->num-1] > histSize", "lut[k]->key[i] > lut[k]->key[i+1]".
 * A tile that is not delivered is reported as ZYL_StsError, "Error get tile to
 * read" or "Error get tile to write", and then as ZYL_StsBackTrace; exhausted
 * memory as ZYL_StsNoMem. The calls also end when the thread's status is still
 * negative from an earlier call. */

/* Counts the samples of the region into value[0] .. value[num-2] of each LUT and
 * sets its `interpolate` to 0. ZYL_DEPTH_1U (whose values are 0 and 1),
 * ZYL_DEPTH_8U and ZYL_DEPTH_16U; a signed depth is reported as
 * "srcImage->depth & ZYL_DEPTH_SIGN". `tile` names one tile of a tiled source;
 * when it is none of the region's, all counts are 0. */
ZYL_API void ZYL_CALL zylComputeHisto(ZylImage *srcImage, ZylLUT *const *lut, const int32_t *tile);

/* Maps the source's region through a table made from each LUT: a sample below
 * key[0] keeps its value, another one becomes value[i] of its interval, plus,
 * with `interpolate`, factor[i] times its distance from key[i]. What lies at or
 * above the last key goes on with value[num-1]. Of a result outside the depth the
 * low bits are kept. The table moves on by one interval at a time, so a key given
 * twice stops it in the interval before.
 *
 * ZYL_DEPTH_8U and ZYL_DEPTH_16U. The images have the same depth, data order and
 * origin; different numbers of channels to process end the call quietly. Every
 * image is taken from the origin of its own region, and the smaller one decides.
 * `dstTile` names a tile of the source when only the source is tiled.
 * Reports, besides the above: "srcImage->depth != dstImage->depth",
 * "srcImage->dataOrder != dstImage->dataOrder",
 * "srcImage->origin != dstImage->origin", "srcImage->depth != ZYL_DEPTH_8U &&
 * srcImage->depth != ZYL_DEPTH_16U", and, after the LUTs' other faults,
 * "lut[k]->factor==0" when it is needed. */
ZYL_API void ZYL_CALL zylContrastStretch(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                                         const int32_t *dstTile);

/* Equalises the source's region by the histogram that `lut` holds, as
 * zylComputeHisto() left it, and replaces it with the result's histogram. The
 * count of an interval is spread evenly over its values, except that the last
 * value of an interval gets the remainder of the division alone. Counts are not
 * negative. Images and reports are those of zylContrastStretch(); the LUTs that
 * the result's histogram goes to are those of the destination's channels.
 * A histogram without counts is reported as ZYL_StsInternal, "All values in
 * histogram are zeroes". */
ZYL_API void ZYL_CALL zylHistoEqualize(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                                       const int32_t *dstTile);

/* dst = the depth's minimum where src < threshold, its maximum elsewhere. All
 * depths but ZYL_DEPTH_1U. Images and regions are those of chapter 3, except that
 * a channel of interest goes together with an image of one channel, and that row
 * padding is never written.
 *
 * Reports: the fault of a header; "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->dataOrder!=dstImage->dataOrder)", "(srcImage->depth==1)"; those of
 * chapter 3 about tiles; "The fields of ROI has error" for a region that ends
 * beyond 2^31 - 1; "The mismath of number channels". */
ZYL_API void ZYL_CALL zylThreshold(ZylImage *srcImage, ZylImage *dstImage, int32_t threshold,
                                   const int32_t *dstTile);

/* Norms of an image or of the difference of two: the largest absolute sample,
 * the sum of absolute samples, the root of the sum of squares; the relative ones
 * are divided by the same norm of the second image. */
enum {
    ZYL_NORM_C = 1,
    ZYL_NORM_L1 = 2,
    ZYL_NORM_L2 = 4,
    ZYL_NORM_RELATIVE_C = 9,
    ZYL_NORM_RELATIVE_L1 = 10,
    ZYL_NORM_RELATIVE_L2 = 12
};

/* A norm of srcImageA - srcImageB, or of srcImageA alone when srcImageB is null;
 * every type but ZYL_NORM_C and ZYL_NORM_L1 is then ZYL_NORM_L2. All depths; the
 * sums are exact before the one rounding to a double. Every image is taken from
 * the origin of its own region, and the smaller one decides. A result is at most
 * 3.4028234663852886e38, also where the second image is all zeros.
 *
 * Returns 0 after a bad argument, which is reported: "normType unknown", the
 * fault of a header, "(srcImageA->depth!=srcImageB->depth)", "(coiA!=coiB)",
 * "(srcImageA->dataOrder!=srcImageB->dataOrder)",
 * "(srcImageA->nChannels!=srcImageB->nChannels)". Returns -1 when a tile is not
 * delivered, which is reported as ZYL_StsError, "Error get tile to read". Returns
 * 0 when the thread's status is still negative from an earlier call. */
ZYL_API double ZYL_CALL zylNorm(ZylImage *srcImageA, ZylImage *srcImageB, int32_t normType);

/* ======================================================================== */
/* 12  Scaled products and alpha compositing                                */
/* ======================================================================== */

/* ZYL_DEPTH_8U and ZYL_DEPTH_16U, whose samples are fractions of M, 255 or 65535.
 * The scaled product [x * y] is x * y / M, cut to an integer.
 *
 * Every image is taken from the origin of its own region, and the smallest one
 * decides; not more than 99999 columns and rows are processed. With a channel of
 * interest on the destination every source must have one, and these channels are
 * processed; with a region of all channels on the destination the sources'
 * channels of interest are not looked at. Data orders may differ.
 *
 * `mapping` may be null. When the destination is tiled, only the tile that holds
 * its point is produced, and nothing when that tile lies outside the region.
 * Blocks follow the tiles of the first tiled image, the destination before the
 * sources; pieces of images with other tiles are put together from theirs.
 *
 * Reports: of each image in turn, the destination first, "dstImage==0",
 * "zylBadImageHeader(dstImage) != 0" (which stands for all faults of a header),
 * "dstImage->roi->xOffset >= dstImage->width",
 * "dstImage->roi->yOffset >= dstImage->height", with the argument's own name; then
 * "dstImage->depth != 8 && dstImage->depth != 16",
 * "srcImage->depth != dstImage->depth",
 * "dstImage->roi->coi > 0 && srcImage->roi == 0",
 * "dstImage->roi->coi > 0 && srcImage->roi->coi == 0",
 * "srcImage->roi->coi > 0 && dstImage->roi == 0" and, when all channels are
 * processed, "srcImage->nChannels != dstImage->nChannels". A tile that is not
 * delivered or not taken back, and memory for a piece that cannot be had, are
 * reported as ZYL_StsError, "ERROR in Tiling callBack". */

/* dst = [src * scale]; a larger scale counts as M. */
ZYL_API void ZYL_CALL zylMultiplySScale(ZylImage *srcImage, ZylImage *dstImage, uint32_t scale,
                                        const ZylTileMapping *mapping);

/* dst = [A * B] */
ZYL_API void ZYL_CALL zylMultiplyScale(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                       const ZylTileMapping *mapping);

/* Multiplies the colours of an image, in place, by an alpha: with `alpha` below 0
 * by each pixel's own alpha, which stays; otherwise by the constant, at most M,
 * which also becomes the alpha of an image that has one. With a channel of
 * interest only this channel is multiplied, and never the alpha channel.
 * Reports besides the above: "image->alphaChannel > 0 && image->alphaChannel !=
 * image->nChannels", "image->alphaChannel < 1". */
ZYL_API void ZYL_CALL zylPreMultiplyAlpha(ZylImage *image, int32_t alpha,
                                          const ZylTileMapping *mapping);

/* Compositing rules. A' and B' are the colours times their alphas, a and b the
 * alphas; the result is at most M.        colour                     alpha      */
enum {
    ZYL_COMPOSITE_OVER = 0, /* A' + B' - [B' * a]                   a + b - [a * b] */
    ZYL_COMPOSITE_IN = 1,   /* [A' * b]                             [a * b] */
    ZYL_COMPOSITE_OUT = 2,  /* A' - [A' * b]                        a - [a * b] */
    ZYL_COMPOSITE_ATOP = 3, /* [A' * b] + B' - [B' * a]             b */
    ZYL_COMPOSITE_XOR = 4,  /* A' - [A' * b] + B' - [B' * a]        a + b - 2[a * b] */
    ZYL_COMPOSITE_PLUS = 5  /* A' + B'                              a + b */
};

/* Composites two images. An alpha channel is the last one of its image; without
 * it, all images have the same number of colours.
 *
 * The alpha of A is read from alphaImageA, or from srcImageA's alpha channel if
 * that is null. The alpha of B is read from alphaImageB; if that is null, it is M
 * less the alpha of A when alphaImageA is given, else srcImageB's alpha channel.
 * In an alpha image the alpha channel is read, channel 1 if it has none. The
 * resulting alpha goes to the alpha channel of alphaImageDst, else to that of
 * dstImage if it has one. The alpha channel of dstImage is never composited as a
 * colour; as channel of interest it leaves everything unchanged.
 *
 * premulAlpha: 1 when the colours of A and B have been multiplied by their alphas
 * already. divideMode: 0 computes in integers; 1 computes the same in floating
 * point, divides the colours by the resulting alpha where that is not 0, and
 * rounds to nearest, ties to even.
 *
 * Reports besides the above, with their names: "srcImageA->alphaChannel < 1",
 * "alphaImageA->depth != dstImage->depth", "srcImageA->alphaChannel > 0 &&
 * srcImageA->alphaChannel != srcImageA->nChannels", "(srcImageA->nChannels -
 * (srcImageA->alphaChannel != 0)) != (dstImage->nChannels -
 * (dstImage->alphaChannel != 0))", "compositeType != 0 && compositeType != 1 &&
 * compositeType != 2 && compositeType != 3 && compositeType != 4 &&
 * compositeType != 5", "premulAlpha != 0 && premulAlpha != 1",
 * "divideMode != 0 && divideMode != 1". */
ZYL_API void ZYL_CALL zylAlphaComposite(ZylImage *srcImageA, ZylImage *srcImageB,
                                        ZylImage *dstImage, int32_t compositeType,
                                        ZylImage *alphaImageA, ZylImage *alphaImageB,
                                        ZylImage *alphaImageDst, int32_t premulAlpha,
                                        int32_t divideMode, const ZylTileMapping *mapping);

/* The same with constant alphas, at most M; one below 0 stands for the source's
 * own alpha channel. No alpha is written. */
ZYL_API void ZYL_CALL zylAlphaCompositeC(ZylImage *srcImageA, ZylImage *srcImageB,
                                         ZylImage *dstImage, int32_t compositeType, int32_t aA,
                                         int32_t aB, int32_t premulAlpha, int32_t divideMode,
                                         const ZylTileMapping *mapping);

#ifdef __cplusplus
}
#endif

#endif
