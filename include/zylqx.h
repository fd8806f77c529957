/** \file zylqx.h
 * zylqx: image processing on six integer depths, in memory or tile by tile.
 *
 * The whole interface, for C99 and C++. Chapters:
 *
 *    1  Status, reports and version
 *    2  Images: records and memory
 *    3  Pixel arithmetic
 *    4  Logic
 *    5  Copy, set and exchange
 *    6  Conversion and colour
 *    7  Filters
 *    8  Geometry
 *    9  Transforms
 *   10  Histograms, threshold and norms
 *   11  Scaled products and alpha compositing
 *
 * What follows holds for every operation, that is for every function that works
 * on pixels (chapters 3 to 11), but for the exceptions named here. The head of a
 * chapter says what holds for its functions, a function's comment what is its own.
 *
 * Checks and reports
 * ------------------
 * An operation returns nothing (zylTranslateDIB() an image, zylNorm() a number).
 * It checks its arguments before anything is written, in the order in which the
 * comments list the checks. What is wrong is reported (chapter 1): as
 * ZYL_StsBadArg with the failed condition as text unless another status is
 * named. The first report ends the call, except where several are said to be
 * made before it ends.
 *
 * First come, as a rule, the images in the order of the arguments, each with the
 * faults that zylBadImageHeader() finds, null among them: one line of text for
 * each. The comments call this "the faults of a header".
 *
 * A report has the function's exported name and the name of the source file that
 * the function is known by, such as "zyladd": neither changes from version to
 * version, nor do the texts, so that programs may compare them. The file name is
 * no path, and no such file need exist. The line is where this version of the
 * library makes the check; it says nothing to a program. Some operations call
 * others and then report under their names; the comments say which.
 *
 * Status
 * ------
 * A report leaves its code as the thread's status. Success does not reset it; only
 * zylErode(), zylDilate(), zylOpen() and zylClose() set ZYL_StsOk, once their
 * arguments are found good. So a call that is tested looks like this:
 *
 *     zylSetErrStatus(ZYL_StsOk);
 *     zylAdd(a, b, dst, NULL);
 *     if (zylGetErrStatus() < 0) ...
 *
 * A negative status that an earlier call has left ends these calls, at the latest
 * after their checks, with nothing written and no report of it: zylCopy(),
 * zylAbs() of unsigned depths, zylExchange(), zylConvolve2D(), zylConvolveSep2D(),
 * zylMaxFilter(), zylMinFilter(), zylMedianFilter(), zylZoom(), zylDecimate(),
 * zylRotate(), zylRealFft2D(), zylCcsFft2D(), zylDCT2D(), zylComputeHisto(),
 * zylContrastStretch(), zylHistoEqualize() and zylNorm(). So it does to
 * zylGetConvKernel(), and to zylLShiftS() of 1-bit images by 0. All others go on.
 *
 * Regions and channels
 * --------------------
 * A region of interest (ZylImage::roi) is cut to its image. Every image is taken
 * from the corner of its own region, and the smallest region decides how much is
 * processed; nothing is processed, and nothing reported, where nothing is left.
 * Pixels of the destination outside its region stay as they are. With a channel of
 * interest (ZylROI::coi) only this channel is processed. Which operations look at
 * regions and channels of interest in another way, or not at all, their chapters
 * say.
 *
 * In place
 * --------
 * The destination may be one of the sources: the same header. Only zylDCT2D() wants
 * two. Images that share pixels in any other way (two headers over one block of
 * memory, two regions of one block) give unspecified samples; in chapter 7 they give
 * right ones if both are in memory.
 *
 * Tiles
 * -----
 * Images may be delivered in tiles (ZylTileCallBack), each one tiled or in memory,
 * with tiles of any size. Results do not depend on it, but for zylReduceBits() with
 * noise or a dither and zylZoom() by nearest neighbour. Only the operations on
 * device-independent bitmaps and the transforms take images in memory alone.
 *
 * `dstTile` points to two int32_t, the column and the row of one tile of the
 * destination; `mapping` to a pixel of such a tile. Only this tile is then produced,
 * with the samples that it has in the whole. Both may be null, for all tiles, and
 * are not looked at unless the destination is tiled. A tile that the region does not
 * touch ends the call without a report. Where it is otherwise, the comments say so.
 *
 * A tile that is not delivered ends the call; the report, if there is one, is named
 * by the chapter. Tiles that are held then are given back, except by arithmetic
 * (chapter 3), logic (chapter 4) and zylThreshold(): they leave the tiles that
 * they hold, of every image, with the application, which takes them back itself
 * when the call has returned.
 *
 * When a call ends early
 * ----------------------
 * Where a tile fails or memory is exhausted, what is finished stays: every pixel of
 * the destination is as it was or as it should be. What is finished together are
 * tiles or parts of tiles; of a destination in memory rows, or nothing. Exceptions:
 * zylErode(), zylDilate(), zylOpen() and zylClose(), which go over the destination
 * several times, and zylExchange() between tiled images.
 *
 * Exhausted memory is reported as ZYL_StsNoMem where the comments name the report.
 * These calls end without one: zylCopy() and zylExchange() between tiled images,
 * zylConvolveSep2D(), zylBlur(), zylMaxFilter(), zylMinFilter(),
 * zylMedianFilter(), zylZoom(), zylDecimate(), zylRotate(), zylMirror() and
 * zylDCT2D(). Arithmetic, logic, zylSet(), zylConvert(), zylBitonalToGray(),
 * zylApplyColorTwist(), zylThreshold() and zylNorm() need no memory.
 *
 * Threads
 * -------
 * Status, error mode and report callback belong to the thread. Calls may run at the
 * same time in several threads if none of them writes what another one uses:
 *  - an image in memory may be a source of several calls at once, and so may a
 *    kernel, a colour twist, a region and the tables of zylContrastStretch();
 *  - an image that is written, and a tiled image, even as a source, belong to one
 *    call at a time (tiles are handed over in the header);
 *  - the tables that the transforms keep belong to the process: calls one after the other
 *    use the same ones in whatever threads, calls at the same time have their own;
 *  - ZYL_FFT_REPEAT goes on with the Fourier transform that ended last, whichever
 *    thread called it, and so with its images: a program that gives it keeps other
 *    threads from calling zylRealFft2D() and zylCcsFft2D() between the two calls.
 *
 * Callbacks are called in the thread of the call. A tile callback may call the
 * library for other images.
 *
 * On Windows, load zylqx.dll before the threads start that call it: the first call of
 * an older thread ends the process. The static library has no such rule.
 *
 * Examples are lines of C with images a, b, src and dst of the kind that the function
 * takes.
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
/** \defgroup status 1  Status, reports and version
 *
 * A function that finds a fault calls zylError(), which keeps the code as the
 * thread's status and calls the thread's report callback. A thread starts with
 * ZYL_StsOk, ZYL_ErrModeLeaf and zylGuiBoxReport(), which asks whether to end the
 * process. A program that tests the status itself begins with
 *
 *     zylRedirectError(zylNulDevReport);
 *     zylSetErrMode(ZYL_ErrModeParent);
 *
 * in every thread. Functions of this chapter make no reports of their own.
 * \{ */
/* ======================================================================== */

/** A status code. */
typedef int32_t ZylStatus;

enum {
    ZYL_StsOk = 0,         /**< "No Error" */
    ZYL_StsBackTrace = -1, /**< "Backtrace": a trace report, never kept as a status */
    ZYL_StsError = -2,     /**< "Unknown error": a tile was not delivered */
    ZYL_StsInternal = -3,  /**< "Internal error (bad state)" */
    ZYL_StsNoMem = -4,     /**< "Out of memory" */
    ZYL_StsBadArg = -5,    /**< "Bad argument" */
    ZYL_StsBadFunc = -6,   /**< "Unsupported function": not used by the library */
    ZYL_StsNoConv = -7,    /**< "Iteration convergence failed": not used by the library */
    ZYL_StsAutoTrace = -8  /**< "Autotrace call": a trace report, never kept as a status */
};

/** What the library's report callbacks do after they have shown a report. */
enum {
    ZYL_ErrModeLeaf = 0,   /**< end the process, or ask whether to; a thread's first mode */
    ZYL_ErrModeParent = 1, /**< go on, or ask whether to */
    ZYL_ErrModeSilent = 2  /**< show nothing and go on */
};

/** A report callback: the five arguments of zylError(). Any text may be null, but for
 * reports of the library, which have all of them; they may be empty. The texts may be
 * gone when the callback has returned. The result is that of zylError(); the library does
 * not look at it. */
typedef ZylStatus(ZYL_CALL *ZylErrorCallBack)(ZylStatus status, const char *funcName,
                                              const char *context, const char *file, int line);

/** What the library keeps for each thread. */
typedef struct ZylContext {
    ZylStatus status;          /**< as zylGetErrStatus() tells it */
    int32_t mode;              /**< ZYL_ErrMode... */
    ZylErrorCallBack callBack; /**< never null */
    char text[80];             /**< zylErrorStr() formats unknown codes here */
} ZylContext;

/** A version, as numbers and as texts. */
typedef struct ZylLibVersion {
    int32_t majorVersion;              /**< 1 */
    int32_t minorVersion;              /**< 3 */
    int32_t buildNumber;               /**< 3 */
    const char *moduleName;            /**< "zylqx.dll" */
    const char *versionText;           /**< "v1.0 Beta 3" */
    const char *internalVersionText;   /**< "[1.03.03, 06/30/97]" */
    const char *buildDateText;         /**< "Jul  7 1997" */
    const char *callingConventionText; /**< "DLL" */
} ZylLibVersion;

/** The calling thread's status: that of its last report or zylSetErrStatus().
 * \code if (zylGetErrStatus() < 0) return; \endcode */
ZYL_API ZylStatus ZYL_CALL zylGetErrStatus(void);

/** Sets the calling thread's status, to any value, without a report.
 * \code zylSetErrStatus(ZYL_StsOk); \endcode */
ZYL_API void ZYL_CALL zylSetErrStatus(ZylStatus status);

/** The calling thread's error mode.
 * \code int32_t before = zylGetErrMode(); \endcode */
ZYL_API int32_t ZYL_CALL zylGetErrMode(void);

/** Sets the calling thread's error mode.
 * \param mode  one of ZYL_ErrMode...; other values are kept, and mean that the
 *              library's callbacks go on, zylGuiBoxReport() without showing anything
 * \code zylSetErrMode(ZYL_ErrModeParent); \endcode */
ZYL_API void ZYL_CALL zylSetErrMode(int32_t mode);

/** Installs a report callback for the calling thread and returns the one before.
 * \param callBack  null installs zylGuiBoxReport()
 * \code zylRedirectError(zylStdErrReport); \endcode */
ZYL_API ZylErrorCallBack ZYL_CALL zylRedirectError(ZylErrorCallBack callBack);

/** Makes a report: keeps `status` as the thread's status, but not the two trace codes,
 * and calls the report callback with the arguments, unchanged.
 * \return  the callback's result; 0, without a call, for ZYL_StsOk
 * \param status    ZYL_StsOk sets the status and reports nothing
 * \param funcName  who reports
 * \param context   the failed condition or another detail
 * \param file,line where
 * \code zylError(ZYL_StsBadArg, "load", "no such file", __FILE__, __LINE__); \endcode */
ZYL_API ZylStatus ZYL_CALL zylError(ZylStatus status, const char *funcName, const char *context,
                                    const char *file, int line);

/** The text of a status code, as listed above; for any other code "Unknown error code
 * -9" or "Unknown status code 9", which lives in the thread's context until the next
 * such call.
 * \code const char *text = zylErrorStr(zylGetErrStatus()); \endcode */
ZYL_API const char *ZYL_CALL zylErrorStr(ZylStatus status);

/** The report callback that a thread starts with: asks a question in a message box,
 * whether to terminate (ZYL_ErrModeLeaf) or to continue (ZYL_ErrModeParent), and ends
 * the process with exit code 1 or returns `status`. In other modes it shows nothing.
 *
 * Without a window system it asks on the controlling terminal, when the process is in
 * its foreground and standard input and standard error are terminals, and waits a
 * minute for the answer; without one it writes the message to standard error. Where
 * nobody answers it continues.
 * \param status,funcName,context,file,line  as zylError() got them; any text may be null
 * \code zylGuiBoxReport(ZYL_StsBadArg, "load", "no such file", "load.c", 12); \endcode */
ZYL_API ZylStatus ZYL_CALL zylGuiBoxReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);

/** A report callback that writes to standard error; in ZYL_ErrModeLeaf it then ends the
 * process with exit code 1, in ZYL_ErrModeSilent it does nothing. Returns `status`.
 * \param status,funcName,context,file,line  as zylError() got them; any text may be null
 * \code zylRedirectError(zylStdErrReport); \endcode */
ZYL_API ZylStatus ZYL_CALL zylStdErrReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);

/** A report callback that writes nothing; in ZYL_ErrModeLeaf it ends the process with
 * exit code 1. Returns `status`.
 * \param status,funcName,context,file,line  as zylError() got them; any text may be null
 * \code zylRedirectError(zylNulDevReport); \endcode */
ZYL_API ZylStatus ZYL_CALL zylNulDevReport(ZylStatus status, const char *funcName,
                                           const char *context, const char *file, int line);

/** The calling thread's context, valid until the thread ends.
 * \code ZylErrorCallBack installed = zylUndContext()->callBack; \endcode */
ZYL_API ZylContext *ZYL_CALL zylUndContext(void);

/** The version of the library, a constant record.
 * \code const char *version = zylGetLibVersion()->versionText; \endcode */
ZYL_API const ZylLibVersion *ZYL_CALL zylGetLibVersion(void);

/** \} */

/* ======================================================================== */
/** \defgroup images 2  Images: records and memory
 *
 * An image is a header, made by zylCreateImageHeader(), with pixels in memory
 * (zylAllocateImage(), or the application's own in ZylImage::imageData) or in tiles
 * (ZylTileInfo). Header, region and tile descriptor are three records: the library makes
 * and frees them, between that they are the application's, which may change their fields.
 * One region or descriptor may serve several headers. Height stands before width
 * everywhere.
 *
 * Functions of this chapter report nothing: creation returns null when it fails, and
 * where a record is taken null is ignored.
 * \{ */
/* ======================================================================== */

/** Depths. The low 31 bits are the bits of a sample; the top bit marks signed
 * samples. A ZYL_DEPTH_1U image has one channel; its pixels are packed eight to
 * a byte, the leftmost in the most significant bit. Other samples lie in the
 * processor's byte order. Comments write 1U, 8U, 8S, 16U, 16S and 32S. */
#define ZYL_DEPTH_SIGN 0x80000000u
#define ZYL_DEPTH_1U 1u                      /**< bits */
#define ZYL_DEPTH_8U 8u                      /**< 0 to 255 */
#define ZYL_DEPTH_8S (ZYL_DEPTH_SIGN | 8u)   /**< -128 to 127 */
#define ZYL_DEPTH_16U 16u                    /**< 0 to 65535 */
#define ZYL_DEPTH_16S (ZYL_DEPTH_SIGN | 16u) /**< -32768 to 32767 */
#define ZYL_DEPTH_32S (ZYL_DEPTH_SIGN | 32u) /**< -2147483648 to 2147483647 */

/** Order of the samples: the channels of a pixel together, or one plane of
 * height * widthStep bytes for each channel. */
enum { ZYL_DATA_ORDER_PIXEL = 0, ZYL_DATA_ORDER_PLANE = 1 };

/** Which row of the picture is row 0 in memory: the top or the bottom one. */
enum { ZYL_ORIGIN_TL = 0, ZYL_ORIGIN_BL = 1 };

/** Row alignment, in bytes. */
enum { ZYL_ALIGN_4 = 4, ZYL_ALIGN_8 = 8 };

/** What an operation that looks around a pixel reads outside the image. A corner
 * follows its top or bottom side. Another value counts as ZYL_BORDER_CONSTANT. */
enum {
    ZYL_BORDER_CONSTANT = 0,  /**< the side's constant, of which the low bits count */
    ZYL_BORDER_REPLICATE = 1, /**< the nearest sample of the edge */
    ZYL_BORDER_REFLECT = 2,   /**< the image mirrored, its edge sample repeated: cba|abcd|dcb */
    ZYL_BORDER_WRAP = 3       /**< the image repeated: bcd|abcd|abc */
};

/** Sides of an image; bit i belongs to entry i of borderMode and borderConst. */
enum {
    ZYL_SIDE_TOP = 1,
    ZYL_SIDE_BOTTOM = 2,
    ZYL_SIDE_LEFT = 4,
    ZYL_SIDE_RIGHT = 8,
    ZYL_SIDE_ALL = 15
};

/** What zylDeallocate() frees; combine with |. */
enum {
    ZYL_DEALLOC_HEADER = 1,
    ZYL_DEALLOC_DATA = 2, /**< pixels, if zylAllocateImage() obtained them */
    ZYL_DEALLOC_ROI = 4,
    ZYL_DEALLOC_TILE = 8,
    ZYL_DEALLOC_MASK = 16, /**< the mask image with all its parts */
    ZYL_DEALLOC_ALL = 31
};

/** What a tile callback is asked to do. */
enum {
    ZYL_GET_TILE_TO_READ = 1,  /**< point tileInfo->tileData to the tile's pixels */
    ZYL_GET_TILE_TO_WRITE = 2, /**< the same, for a tile that will be written */
    ZYL_RELEASE_TILE = 4       /**< take the tile back, set tileData to null */
};

/** An image, by its header. */
typedef struct ZylImage ZylImage;

/** Region of interest. A region that reaches past the image is cut by the operation
 * that uses it. */
typedef struct ZylROI {
    int32_t coi;     /**< channel of interest, from 1; 0 for all channels */
    int32_t xOffset; /**< first column, not negative */
    int32_t yOffset; /**< first row in memory, not negative */
    int32_t height;  /**< above 0 */
    int32_t width;   /**< above 0 */
} ZylROI;

/** Delivers a tile of `image`, the application's own header, or takes it back.
 *
 * Tile (xIndex, yIndex) starts at column xIndex * width and row yIndex * height of the
 * image. Every tile is delivered whole, also one that the image's edge cuts: its pixels
 * have the image's depth, channels and data order, and the row stride and plane size
 * that zylCreateImageHeader() gives to an image of the tile's size. A tile to write
 * holds the samples that it had: an operation may write a part of it.
 *
 * A tile cannot be had: set tileData to null. The call then ends; see "Tiles" above for
 * what it reports and which operations leave other tiles held. When tileData is not null
 * after ZYL_RELEASE_TILE, operations of chapters 3, 4 and 11 and zylThreshold() report it
 * and end, others take no notice.
 *
 * Of each image, one tile is held at a time. An image that is passed twice to an operation of
 * chapter 3 or 4 or to zylThreshold() is asked for the same tile twice, also to write one that
 * is held to read: deliver the same pixels, and take the tile back as often.
 *
 * \param image          the header, with the descriptor whose tileData is to be set
 * \param xIndex,yIndex  the tile's column and row, from 0
 * \param mode           ZYL_GET_TILE_TO_READ, ZYL_GET_TILE_TO_WRITE or ZYL_RELEASE_TILE */
typedef void(ZYL_CALL *ZylTileCallBack)(ZylImage *image, int32_t xIndex, int32_t yIndex,
                                        int32_t mode);

/** How an image is cut in tiles. */
typedef struct ZylTileInfo {
    ZylTileCallBack callBack; /**< delivers tiles and takes them back */
    void *id;                 /**< the application's, never interpreted */
    unsigned char *tileData;  /**< the tile last delivered; null when none is held */
    int32_t width;            /**< of a tile, in pixels: a positive multiple of 8 */
    int32_t height;           /**< the same */
} ZylTileInfo;

/** A pixel of a tiled destination: only the tile that holds it is produced. */
typedef struct ZylTileMapping {
    int32_t xDst; /**< column */
    int32_t yDst; /**< row in memory */
} ZylTileMapping;

/** The image header. Either imageData or tileInfo is set, never both. */
struct ZylImage {
    int32_t headerSize;             /**< sizeof(ZylImage) */
    int32_t headerId;               /**< 0 */
    int32_t nChannels;              /**< samples of a pixel, the alpha channel included */
    int32_t alphaChannel;           /**< 0 for none, else the channel's number, from 1 */
    uint32_t depth;                 /**< ZYL_DEPTH_... */
    char colorModel[4];             /**< "GRAY", "RGB", "RGBA" ...; not terminated */
    char channelSeq[4];             /**< "RGB", "BGRA" ...: the channels in memory order */
    int32_t dataOrder;              /**< ZYL_DATA_ORDER_... */
    int32_t origin;                 /**< ZYL_ORIGIN_... */
    int32_t align;                  /**< ZYL_ALIGN_... */
    int32_t height;                 /**< rows */
    int32_t width;                  /**< pixels in a row */
    ZylROI *roi;                    /**< null for the whole image and all channels */
    ZylImage *maskRoi;              /**< not used by any operation */
    void *imageTag;                 /**< the application's, never interpreted */
    ZylTileInfo *tileInfo;          /**< null for an image in memory */
    int32_t imageSize;              /**< bytes of pixels */
    unsigned char *imageData;       /**< row 0 (of plane 1), aligned to the sample's size */
    int32_t widthStep;              /**< bytes from row to row, a multiple of the sample's size */
    int32_t borderMode[4];          /**< ZYL_BORDER_..., top, bottom, left, right */
    int32_t borderConst[4];         /**< those of ZYL_BORDER_CONSTANT, in this order */
    unsigned char *imageDataOrigin; /**< the block of zylAllocateImage(), else null */
};

/** Makes a header without pixels, its borders constant 0. A row's bits raised to the next
 * multiple of `align` bytes are its stride (widthStep); stride times height, times the
 * planes, is imageSize.
 *
 * \return null when memory is exhausted or an argument has no valid value; free it with
 *         zylDeallocate()
 * \param nChannels     at least 1
 * \param alphaChannel  0 to nChannels
 * \param depth         ZYL_DEPTH_...
 * \param colorModel,channelSeq  four characters each, copied
 * \param dataOrder,origin,align ZYL_DATA_ORDER_..., ZYL_ORIGIN_..., ZYL_ALIGN_...
 * \param height,width  pixels, not negative
 * \param roi,tileInfo  or null; kept, not copied
 * \param imageTag      anything
 * \code
 * ZylImage *image = zylCreateImageHeader(3, 0, ZYL_DEPTH_8U, "RGB", "RGB", ZYL_DATA_ORDER_PIXEL,
 *                                        ZYL_ORIGIN_TL, ZYL_ALIGN_4, 480, 640, NULL, NULL, NULL);
 * \endcode */
ZYL_API ZylImage *ZYL_CALL zylCreateImageHeader(int32_t nChannels, int32_t alphaChannel,
                                                uint32_t depth, const char *colorModel,
                                                const char *channelSeq, int32_t dataOrder,
                                                int32_t origin, int32_t align, int32_t height,
                                                int32_t width, ZylROI *roi, void *imageTag,
                                                ZylTileInfo *tileInfo);

/** Gives the header pixel memory, aligned to `align`, and computes widthStep and imageSize
 * anew. A block from an earlier call is freed first. imageDataOrigin is null afterwards
 * when memory is exhausted, a row or the image does not fit in 31 bits, or a field has no
 * valid value (imageData is null then too).
 *
 * \param image      what gets pixels
 * \param fillValue  every sample gets its low bits; -1 leaves the memory as it comes
 * \code zylAllocateImage(image, 0); \endcode */
ZYL_API void ZYL_CALL zylAllocateImage(ZylImage *image, int32_t fillValue);

/** Frees the pixels that zylAllocateImage() obtained and sets imageData to null,
 * also when it points to the application's own pixels. Does nothing when a field has no
 * valid value.
 * \code zylDeallocateImage(image); \endcode */
ZYL_API void ZYL_CALL zylDeallocateImage(ZylImage *image);

/** Frees parts of an image and sets their pointers to null; the header last.
 *
 * \param image  whose parts are freed
 * \param flags  ZYL_DEALLOC_..., combined with |. ZYL_DEALLOC_DATA leaves imageData alone
 *               when it points to the application's own pixels
 * \code zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA); \endcode */
ZYL_API void ZYL_CALL zylDeallocate(ZylImage *image, int32_t flags);

/** zylDeallocate(image, ZYL_DEALLOC_HEADER).
 * \code zylDeallocateHeader(image); \endcode */
ZYL_API void ZYL_CALL zylDeallocateHeader(ZylImage *image);

/** Makes a region; null when memory is exhausted. Values are kept as given: header
 * faults tell which are not valid.
 *
 * \param coi              channel of interest, from 1, or 0
 * \param xOffset,yOffset  first column and row
 * \param height,width     pixels
 * \code image->roi = zylCreateROI(0, 10, 20, 100, 200); \endcode */
ZYL_API ZylROI *ZYL_CALL zylCreateROI(int32_t coi, int32_t xOffset, int32_t yOffset, int32_t height,
                                      int32_t width);

/** Sets all fields of a region.
 * \param roi  what is changed
 * \param coi,xOffset,yOffset,height,width  as for zylCreateROI()
 * \code zylSetROI(image->roi, 2, 0, 0, image->height, image->width); \endcode */
ZYL_API void ZYL_CALL zylSetROI(ZylROI *roi, int32_t coi, int32_t xOffset, int32_t yOffset,
                                int32_t height, int32_t width);

/** Frees a region. Headers that point to it have to be told.
 * \code zylDeleteROI(image->roi), image->roi = NULL; \endcode */
ZYL_API void ZYL_CALL zylDeleteROI(ZylROI *roi);

/** Makes a tile descriptor; null when memory is exhausted. Values are kept as given:
 * header faults tell which are not valid.
 *
 * \param callBack      delivers the tiles
 * \param id            anything
 * \param width,height  of a tile
 * \code image->tileInfo = zylCreateTileInfo(deliver, NULL, 256, 256); \endcode */
ZYL_API ZylTileInfo *ZYL_CALL zylCreateTileInfo(ZylTileCallBack callBack, void *id, int32_t width,
                                                int32_t height);

/** Sets all fields of a tile descriptor, tileData to null.
 * \param tileInfo  what is changed
 * \param callBack,id,width,height  as for zylCreateTileInfo()
 * \code zylSetTileInfo(image->tileInfo, deliver, NULL, 64, 64); \endcode */
ZYL_API void ZYL_CALL zylSetTileInfo(ZylTileInfo *tileInfo, ZylTileCallBack callBack, void *id,
                                     int32_t width, int32_t height);

/** Frees a tile descriptor.
 * \code zylDeleteTileInfo(image->tileInfo), image->tileInfo = NULL; \endcode */
ZYL_API void ZYL_CALL zylDeleteTileInfo(ZylTileInfo *tileInfo);

/** Sets the border mode and its constant for some sides. Values are kept as given.
 *
 * \param image  whose borders are set
 * \param mode   ZYL_BORDER_...
 * \param sides  ZYL_SIDE_..., combined with |
 * \param value  the constant
 * \code zylSetBorderMode(src, ZYL_BORDER_REPLICATE, ZYL_SIDE_ALL, 0); \endcode */
ZYL_API void ZYL_CALL zylSetBorderMode(ZylImage *image, int32_t mode, int32_t sides, int32_t value);

/** The faults of a header, in the order in which their lines are reported. */
enum {
    ZYL_FAULT_NULL = 0x1,              /**< the header is null; no other bit is set */
    ZYL_FAULT_DATA = 0x2,              /**< pixels and tiles, or neither */
    ZYL_FAULT_SIZE = 0x4,              /**< no rows, columns or, in memory, bytes */
    ZYL_FAULT_ROI_OFFSET = 0x8,        /**< negative; reported last */
    ZYL_FAULT_WIDTH_STEP = 0x10,       /**< below 1, in memory */
    ZYL_FAULT_CHANNELS = 0x20,         /**< below 1 */
    ZYL_FAULT_BITONAL_CHANNELS = 0x40, /**< 1U with several channels */
    ZYL_FAULT_DEPTH = 0x80,
    ZYL_FAULT_ALPHA = 0x100, /**< outside 0..nChannels */
    ZYL_FAULT_DATA_ORDER = 0x200,
    ZYL_FAULT_ORIGIN = 0x400,
    ZYL_FAULT_ALIGN = 0x800,
    ZYL_FAULT_CALLBACK = 0x1000,  /**< null */
    ZYL_FAULT_TILE_SIZE = 0x2000, /**< no positive multiple of 8 */
    ZYL_FAULT_COI = 0x4000,       /**< outside 0..nChannels */
    ZYL_FAULT_ROI_SIZE = 0x8000   /**< below 1 */
};

/** What is wrong with a header: 0 when nothing is, else bits of ZYL_FAULT_... A region is
 * not compared with the image's size, nor widthStep with its width.
 * \code if (zylBadImageHeader(src) & ZYL_FAULT_DATA) return; \endcode */
ZYL_API int32_t ZYL_CALL zylBadImageHeader(const ZylImage *image);

/** Memory for n bytes, aligned to 8 bytes; null when it is exhausted or n is negative.
 * Free it with zylFree().
 * \code void *bytes = zylMalloc(1000); \endcode */
ZYL_API void *ZYL_CALL zylMalloc(int32_t n);

/** The same for n integers of 16 bits.
 * \code int16_t *numbers = zylwMalloc(1000); \endcode */
ZYL_API int16_t *ZYL_CALL zylwMalloc(int32_t n);

/** The same for n integers of 32 bits.
 * \code int32_t *numbers = zyliMalloc(1000); \endcode */
ZYL_API int32_t *ZYL_CALL zyliMalloc(int32_t n);

/** The same for n floats.
 * \code float *numbers = zylsMalloc(1000); \endcode */
ZYL_API float *ZYL_CALL zylsMalloc(int32_t n);

/** The same for n doubles.
 * \code double *numbers = zyldMalloc(1000); \endcode */
ZYL_API double *ZYL_CALL zyldMalloc(int32_t n);

/** Frees the memory that one of these five gave; ignores null.
 * \code zylFree(bytes); \endcode */
ZYL_API void ZYL_CALL zylFree(void *p);

/** \} */

/* ======================================================================== */
/** \defgroup arithmetic 3  Pixel arithmetic
 *
 * All depths. All images have the same depth, data order and number of channels to
 * process: 1 with a channel of interest, else nChannels. Origins and sizes may differ. An
 * alpha channel is a channel like any other.
 *
 * Images of equal size and stride, in memory and without regions, are processed as flat
 * buffers, padding of the rows included. A mix of images with and without a channel of
 * interest writes nothing (but see zylLShiftS() and zylAbs()). The first row of a region
 * is found by the stride that zylCreateImageHeader() gives; rows are widthStep apart.
 *
 * Reports: the faults of a header; "(srcImageA->depth != dstImage->depth)", the same for
 * srcImageB; "(srcImageA->dataOrder != dstImage->dataOrder)", the same for srcImageB;
 * "(nChSrcA != nChDst)", "(nChSrcB != nChDst)". With one source it is "srcImage" and
 * "(nChSrc != nChDst)". Then, of a `dstTile` outside the destination's region,
 * "(dTile.begX > dRoi.endX)", "(dTile.begY > dRoi.endY)", "(dTile.endX < dRoi.begX)" or
 * "(dTile.endY < dRoi.begY)". Then, of a tile that is not delivered,
 * "(srcImageA->tileInfo->tileData == ((void*)(0)))" with the argument's name, and of one
 * that is not taken back the same with "!=". Tiles that are held then stay with the
 * application.
 *
 * Parameters of all functions: sources; dstImage, which may be a source; and last
 * dstTile, column and row of one of its tiles, or null for all.
 * \{ */
/* ======================================================================== */

/** dst = A + B, saturated to the depth. 1-bit: A or B.
 * \param srcImageA,srcImageB,dstImage,dstTile  see above
 * \code zylAdd(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylAdd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);

/** dst = A - B, saturated. 1-bit: A and not B.
 * \param srcImageA,srcImageB,dstImage,dstTile  see above
 * \param reverse  not 0: B - A
 * \code zylSubtract(a, b, dst, 0, NULL); \endcode */
ZYL_API void ZYL_CALL zylSubtract(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                  int32_t reverse, const int32_t *dstTile);

/** dst = A * B, saturated. 1-bit: A and B. (zylMultiplyScale() takes samples as fractions.)
 * \param srcImageA,srcImageB,dstImage,dstTile  see above
 * \code zylMultiply(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylMultiply(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                  const int32_t *dstTile);

/** dst = src + value, saturated. 1-bit: src or bit 0 of `value`.
 * \param srcImage,dstImage,dstTile  see above
 * \param value  any
 * \code zylAddS(src, dst, -20, NULL); \endcode */
ZYL_API void ZYL_CALL zylAddS(ZylImage *srcImage, ZylImage *dstImage, int32_t value,
                              const int32_t *dstTile);

/** dst = src - value, saturated. 1-bit: src and not bit 0 of `value`.
 * \param srcImage,dstImage,dstTile  see above
 * \param value    any
 * \param reverse  not 0: value - src
 * \code zylSubtractS(src, dst, 255, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylSubtractS(ZylImage *srcImage, ZylImage *dstImage, int32_t value,
                                   int32_t reverse, const int32_t *dstTile);

/** dst = src * value. Unsigned depths: the product modulo 2^32, then at most the depth's
 * maximum. Signed depths: the exact product, saturated. 1-bit: src and bit 0 of `value`.
 * \param srcImage,dstImage,dstTile  see above
 * \param value  any
 * \code zylMultiplyS(src, dst, 3, NULL); \endcode */
ZYL_API void ZYL_CALL zylMultiplyS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                                   const int32_t *dstTile);

/** dst = the low bits of src * 2^shift. A shift of the depth's bits or more clears the
 * region: this is zylAndS() with 0; 1-bit images and 0: zylCopy(); both report under their
 * own names. A channel of interest goes together with an image of one channel.
 * \param srcImage,dstImage,dstTile  see above
 * \param shift  any
 * \code zylLShiftS(src, dst, 2, NULL); \endcode */
ZYL_API void ZYL_CALL zylLShiftS(ZylImage *srcImage, ZylImage *dstImage, uint32_t shift,
                                 const int32_t *dstTile);

/** dst = src shifted right by `shift` modulo 32. Signed samples are extended to 32 bits
 * first and zeros enter at the top, so that 8S keeps its sign up to a shift of 24, 16S up
 * to 16; 32S always does. 1-bit: a shift other than 0 clears the region. Reports write
 * the null pointer as "((void *)0)".
 * \param srcImage,dstImage,dstTile  see above
 * \param shift  any
 * \code zylRShiftS(src, dst, 4, NULL); \endcode */
ZYL_API void ZYL_CALL zylRShiftS(ZylImage *srcImage, ZylImage *dstImage, uint32_t shift,
                                 const int32_t *dstTile);

/** dst = src * src, at most the depth's maximum. 1-bit: a copy.
 * \param srcImage,dstImage,dstTile  see above
 * \code zylSquare(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylSquare(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** dst = |src|; the smallest value of a signed depth stays itself. Unsigned depths are
 * copied by zylCopy(), with its rules and under its name. A channel of interest goes
 * together with an image of one channel.
 * \param srcImage,dstImage,dstTile  see above
 * \code zylAbs(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylAbs(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** \} */

/* ======================================================================== */
/** \defgroup logic 4  Logic
 *
 * Bit by bit, on all depths, signed samples as the bits that they are. Rules, reports and
 * parameters are those of chapter 3, except that with a constant a channel of interest
 * goes together with an image of one channel, and the padding of tiles is left as it is.
 * \{ */
/* ======================================================================== */

/** dst = A and B.
 * \param srcImageA,srcImageB,dstImage,dstTile  as in chapter 3
 * \code zylAnd(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylAnd(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);

/** dst = A or B.
 * \param srcImageA,srcImageB,dstImage,dstTile  as in chapter 3
 * \code zylOr(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylOr(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                            const int32_t *dstTile);

/** dst = A or B, but not both.
 * \param srcImageA,srcImageB,dstImage,dstTile  as in chapter 3
 * \code zylXor(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylXor(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                             const int32_t *dstTile);

/** dst = src and value.
 * \param srcImage,dstImage,dstTile  as in chapter 3
 * \param value  the low bits count, as many as a sample has
 * \code zylAndS(src, dst, 0xF0, NULL); \endcode */
ZYL_API void ZYL_CALL zylAndS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                              const int32_t *dstTile);

/** dst = src or value.
 * \param srcImage,dstImage,dstTile  as in chapter 3
 * \param value  the low bits count
 * \code zylOrS(src, dst, 0x0F, NULL); \endcode */
ZYL_API void ZYL_CALL zylOrS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                             const int32_t *dstTile);

/** dst = src or value, but not both.
 * \param srcImage,dstImage,dstTile  as in chapter 3
 * \param value  the low bits count
 * \code zylXorS(src, dst, 0x80, NULL); \endcode */
ZYL_API void ZYL_CALL zylXorS(ZylImage *srcImage, ZylImage *dstImage, uint32_t value,
                              const int32_t *dstTile);

/** dst = all bits of src inverted. This is zylXorS(), and reports under its name.
 * \param srcImage,dstImage,dstTile  as in chapter 3
 * \code zylNot(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylNot(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** \} */

/* ======================================================================== */
/** \defgroup copy 5  Copy, set and exchange
 *
 * All depths. A channel of interest may be copied into or out of an image of one
 * channel; different numbers of channels to process end the call without a report. Rows
 * are as far apart as the header's other fields say; widthStep is not read.
 *
 * One tile is held at a time, of all images. Between two tiled images the samples of one
 * tile wait in memory of the library. When a tile callback has left a negative status,
 * zylCopy() and zylExchange() write nothing more.
 *
 * Reports: the faults of a header; then, but for zylSet(), all of these before the call
 * ends: "srcImage->depth != dstImage->depth", "srcImage->dataOrder != dstImage->dataOrder"
 * and "srcImage->origin != dstImage->origin" (these names for imageA and imageB, too); a
 * tile that is not delivered as ZYL_StsError, "Error get tile to read" or
 * "Error get tile to write".
 * \{ */
/* ======================================================================== */

/** Copies the source's region into the destination's.
 * \param srcImage,dstImage  of the same depth, data order and origin
 * \param dstTile  column and row of one tile of dstImage, or null for all
 * \code zylCopy(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylCopy(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** Sets every sample of the region.
 * \param image      what is filled
 * \param fillValue  clamped to the depth's range
 * \param tile       column and row of one tile of the image, or null for all
 * \code zylSet(dst, 255, NULL); \endcode */
ZYL_API void ZYL_CALL zylSet(ZylImage *image, int32_t fillValue, const int32_t *tile);

/** Swaps the samples of two regions. All tiles are requested for writing.
 *
 * Between two tiled images, the samples of a tile of imageB have been overwritten when
 * those of imageA are written, by zylCopy() and with its reports: if a tile of imageA is
 * not delivered then, the samples that it should have got are lost.
 * \param imageA,imageB  of the same depth, data order and origin
 * \param tile  column and row of one tile of imageB, or null for all
 * \code zylExchange(a, b, NULL); \endcode */
ZYL_API void ZYL_CALL zylExchange(ZylImage *imageA, ZylImage *imageB, const int32_t *tile);

/** \} */

/* ======================================================================== */
/** \defgroup convert 6  Conversion and colour
 * \{ */
/* ======================================================================== */

/** \name Device-independent bitmaps
 *
 * A bitmap is one block of memory: this header, then the colour table (four bytes
 * an entry: blue, green, red, reserved) or the three masks of bit fields (red,
 * green, blue, 32 bits each), then the rows, each padded to 4 bytes. It has 1, 4,
 * 8, 16, 24 or 32 bits a pixel. The table has biClrUsed entries, or 2^biBitCount when
 * that is 0; it is there for up to 8 bits. The block ends where these fields say, and
 * nobody can check it: who reads files checks them first.
 *
 * Images are whole and in memory; regions and channels of interest are not looked at, and
 * rows have the stride that zylCreateImageHeader() gives, not widthStep. Top rows go to
 * top rows, whatever the image's origin.
 *
 * Choices where a bitmap makes no sense: an index past the table means its last entry; a
 * table of one entry is no gray ramp; bit fields with a mask of 0 are refused; when a
 * colour mask reaches the top bit, there is no alpha mask, alpha is read as 0 and no bit
 * is written for it.
 *
 * Reports of all three on the bitmap: "(dib->biSize != sizeof(BITMAPINFOHEADER))",
 * "(dib->biPlanes != 1)", "(dib->biCompression != 0) && (dib->biCompression != 3)".
 * \{ */

/** The head of a bitmap. The record has the layout of the platform's own
 * BITMAPINFOHEADER, a pointer to which may be given as well. */
typedef struct ZylBitmapInfoHeader {
    uint32_t biSize;         /**< 40 */
    int32_t biWidth;         /**< pixels in a row */
    int32_t biHeight;        /**< above 0: the bottom row first; below 0: the top row first */
    uint16_t biPlanes;       /**< 1 */
    uint16_t biBitCount;     /**< of a pixel */
    uint32_t biCompression;  /**< 0, or 3 for bit fields */
    uint32_t biSizeImage;    /**< not used */
    int32_t biXPelsPerMeter; /**< not used */
    int32_t biYPelsPerMeter; /**< not used */
    uint32_t biClrUsed;      /**< entries of the colour table, 0 for all */
    uint32_t biClrImportant; /**< not used */
} ZylBitmapInfoHeader;

/** Makes an image of a bitmap.
 *
 * The image uses the bitmap's own pixels where it can: 24 bits ("BGR"), 32 bits without
 * bit fields ("BGRA"), and 1 and 8 bits with a gray ramp as table (1U and 8U, "G"). It
 * must then not outlive the bitmap, and deallocating its data frees nothing. Else it has
 * pixels of its own, converted by zylConvertFromDIB(): 8U gray for a gray ramp of 4 bits,
 * planes of 8U "BGRA" for 32-bit fields, planes of 8U "BGR" for the rest.
 *
 * \return null after a report. Free it with
 *         zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA)
 * \param dib        a ZylBitmapInfoHeader with what follows it
 * \param cloneData  becomes 1 when the image uses the bitmap's pixels, else 0
 *
 * Reports "(dib == ((void *)0))", "(cloneData == ((void *)0))"; those above; "Bad
 * dib->biBitCount", "Bad dib color mask", "Create image header is failed", "Allocate memory
 * for ZYL image data is failed".
 * \code ZylImage *image = zylTranslateDIB(dib, &cloned); \endcode */
ZYL_API ZylImage *ZYL_CALL zylTranslateDIB(const void *dib, int32_t *cloneData);

/** Converts a bitmap into an image at least as large, top rows and left columns
 * together; the rest of the image stays as it is. Fields of fewer than 8 bits get zeros
 * below, 16-bit samples zeros in their lower byte. Gray is (28 B + 151 G + 77 R) >> 8,
 * and a bit is set above 127.
 *
 * \param dib    a ZylBitmapInfoHeader with what follows it
 * \param image  1U; or 8U or 16U of 1, 3 or 4 channels. Its channelSeq is "G" or "GRAY",
 *               "BGR", "BGRA", "RGB" or "RGBA" (a text shorter than four characters is
 *               followed by zeros)
 *
 * Reports the faults of the image's header, "dib==0", "image->imageData==0" for a tiled
 * image; those above; "image size is too small"; ZYL_StsInternal, "", for a bit count that
 * is not supported; "Bad dib color mask"; "image->channelSeq unsupport"; ZYL_StsInternal,
 * "", for an image that is not supported. A status that is negative already keeps
 * ZYL_StsInternal from being reported.
 * \code zylConvertFromDIB(dib, dst); \endcode */
ZYL_API void ZYL_CALL zylConvertFromDIB(const void *dib, ZylImage *image);

/** Converts an image into a bitmap of its size; rows go bottom up. With up to 8 bits every
 * pixel becomes the index of the nearest table entry, the first of equals.
 *
 * \param image   1U; or 8U or 16U of 1, 3 or 4 channels, the fourth one being alpha;
 *                channelSeq as for zylConvertFromDIB()
 * \param dib     a bitmap whose header, table or masks, and memory the caller provides;
 *                biHeight is above 0
 * \param dither  1: 16-bit samples lose their lower byte; 8: they are reduced by
 *                zylReduceBits() with ditherType 8 and ditherBits 1
 * \param paletteConversion  of up to 8 bits: 0, the table as it is; 1, a fixed table of 2,
 *                16 or 256 entries; 2, a table made for the image by median cut, which
 *                sets biClrUsed, and so where the rows start: there is room for
 *                2^biBitCount entries then
 *
 * Reports the faults of the image's header, "dib==0", "image->imageData==0" for a tiled
 * image; "(image->nChannels <= 0 || image->nChannels > 4)", "(image->depth & 0x80000000)",
 * "(image->alphaChannel != 0 && image->alphaChannel != 4)", "(image->nChannels != 4)" with
 * an alpha channel, "(image->nChannels != 3 && image->nChannels != 1)" without one,
 * "(image->width != dib->biWidth || image->height != dib->biHeight)"; those above;
 * "(dither != 8 && dither != 1)", "(paletteConversion != 0 && paletteConversion != 1 &&
 * paletteConversion != 2)"; "create medcut palette error" (no memory for it, or channels
 * in an unknown order); ZYL_StsNoMem, "Allocation failure", or a report of
 * zylReduceBits(); ZYL_StsInternal, "", as above; "image->channelSeq unsupport";
 * "dib-<biBitCount is bad"; "Bad dib color mask".
 * \code zylConvertToDIB(src, dib, 1, 2); \endcode */
ZYL_API void ZYL_CALL zylConvertToDIB(ZylImage *image, void *dib, int32_t dither,
                                      int32_t paletteConversion);

/** \} */

/** \name Depths
 *
 * Both operations take whole images of equal size; regions are not looked at, but for the
 * channel of interest named below. Data orders may differ. When the origins differ, row 0
 * goes to the last row, so that the picture stays upright.
 *
 * Reports: the faults of a header; "(srcImage->height != dstImage->height)",
 * "(srcImage->width != dstImage->width)"; what the operation adds; a tile that is not
 * delivered, "(dstImage->tileInfo->tileData == NULL)" or
 * "(srcImage->tileInfo->tileData == NULL)".
 * \{ */

/** Converts between depths. Both images have the same number of channels.
 *
 * Up to an equal width, values are kept, but between signed and unsigned depths
 * half of the source's range is added or subtracted: 8U 0 becomes 8S -128. 8U 200 becomes
 * 16U 200: values are not scaled up. Into fewer bits, see ConvertMode.
 *
 * Into a 1-bit image from a deeper one: a bit is set where the sample is above 0. The
 * source has one channel or a channel of interest. Between 1-bit images: whole bytes are
 * copied, with the bits past the last pixel. From a 1-bit image into a deeper one: see
 * zylBitonalToGray().
 *
 * \param srcImage     all depths
 * \param dstImage     all depths; the same header, and so the same depth: nothing changes
 * \param ConvertMode  into fewer bits: 1 keeps the high bits, cut toward zero (16U 0x1234
 *                     becomes 8U 0x12), 0 the low bits and the sign (0x34)
 * \param tilePoint    a pixel of the one tile of dstImage to produce, or null
 *
 * Reports "((srcImage->nChannels > 1) && (srcImage->roi == 0))",
 * "((srcImage->nChannels > 1) && (srcImage->roi->coi <= 0))" and
 * "((srcImage->nChannels > 1) && (srcImage->roi->coi > srcImage->nChannels))" of a source
 * that becomes bits; else "srcImage->nChannels != dstImage->nChannels",
 * "((srcImage->depth == 1) && (srcImage->depth != dstImage->depth))" and, not between 1-bit
 * images, "((ConvertMode != 1) && (ConvertMode != 0))".
 * \code zylConvert(src, dst, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylConvert(ZylImage *srcImage, ZylImage *dstImage, int32_t ConvertMode,
                                 const ZylTileMapping *tilePoint);

/** Makes a deeper image of a 1-bit image: all channels of a pixel, alpha too, get one of
 * two values.
 * \param srcImage   1U
 * \param dstImage   8U, 8S, 16U, 16S or 32S, any channels
 * \param ZeroScale  for bits that are clear; within the range of dstImage's depth
 * \param OneScale   for bits that are set; the same
 * \param tilePoint  a pixel of the one tile of dstImage to produce, or null
 *
 * Reports "(srcImage->nChannels != 1)", "(srcImage->depth != 1)",
 * "(dstImage->depth == 1)" and, for values out of range, texts such as
 * "((dstImage->depth == 8) && (ZeroScale > 255))".
 * \code zylBitonalToGray(src, dst, 0, 255, NULL); \endcode */
ZYL_API void ZYL_CALL zylBitonalToGray(ZylImage *srcImage, ZylImage *dstImage, int32_t ZeroScale,
                                       int32_t OneScale, const ZylTileMapping *tilePoint);

/** \} */

/** \name Colour models
 *
 * Whole images of equal origin; regions are not looked at, and channels of interest only
 * where they are compared. Of images in memory the smaller size decides. A destination in
 * tiles is produced tile by tile, and what a tile has beyond the source comes from the
 * source's border modes.
 *
 * Red, green and blue are found by channelSeq. Pixel order: the first three channels, R G B
 * when it begins with 'R', else B G R. Plane order: the planes at the letters' places; the
 * first three in the order R G B when a letter is missing. Other channels are left alone: an
 * alpha channel of the destination stays as it is. A colour image has three channels or
 * more. Samples of signed images are not negative, or the results are within range but
 * otherwise unspecified.
 *
 * Reports: the faults of a header; "incomatibleimages" for images that do not go together;
 * then, for every tile, from "owncolor" as "ownColorToGray", "ownGrayToColor",
 * "ownRGB2HSV" or "ownRGB2HLS", "errInOutDepth" for depths that are not supported;
 * ZYL_StsNoMem, "Allocation failure"; "(srcImage->tileInfo->tileData == ((void*)(0)))" for
 * a source tile. A destination tile that is not delivered ends its row of tiles without a
 * report, and the call when it is the row's first.
 * \{ */

/** Gray of RGB: roughly 0.21 R + 0.72 G + 0.07 B. 8U: (54 R + 183 G + 18 B) >> 8, so that
 * white becomes 254. From 8U to 16U the sum is not shifted.
 * \param srcImage  8U, 16U or 32S; colorModel begins with "RGB"
 * \param dstImage  1U (set above the middle), 8U or 16U; one channel, or planes, of which
 *                  the first is written
 * \param dstTile   column and row of one tile of dstImage, or null for all
 * \code zylColorToGray(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylColorToGray(ZylImage *srcImage, ZylImage *dstImage,
                                     const int32_t *dstTile);

/** RGB of gray: each colour is gray * Fract, saturated.
 * \param srcImage  8U, 16U, 32S, or 1U as 0 and 255; one channel, or planes, of which the
 *                  first is read
 * \param dstImage  the source's depth, 8U for 1U; colorModel begins with "RGB"
 * \param FractR,FractG,FractB  not negative; cut to multiples of 1/256 for 8U, 1/32768
 *                  for 16U. When all three are 0 (or below 1/32768 for 32S), the weights of
 *                  zylColorToGray() are used
 * \param dstTile   column and row of one tile of dstImage, or null for all
 * \code zylGrayToColor(src, dst, 1, 1, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylGrayToColor(ZylImage *srcImage, ZylImage *dstImage, float FractR,
                                     float FractG, float FractB, const int32_t *dstTile);

/** RGB to hue, saturation and value. Hue is in degrees, 0 to 359, of 8U in halves, 0 to 179;
 * the others have the depth's full range. The first three characters of the destination's
 * colorModel and channelSeq become "HSV", its first three channels, before pixels are
 * written: also when the call ends early.
 * \param srcImage  8U, 16U or 32S; colorModel begins with "RGB"
 * \param dstImage  the same depth, data order and number of channels to process
 * \param dstTile   column and row of one tile of dstImage, or null for all
 * \code zylRGB2HSV(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylRGB2HSV(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** The way back from zylRGB2HSV(); up to rounding. Sets "RGB".
 * \param srcImage  8U, 16U or 32S; colorModel begins with "HSV"
 * \param dstImage,dstTile  as for zylRGB2HSV()
 * \code zylHSV2RGB(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylHSV2RGB(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** RGB to hue, lightness and saturation. Sets "HLS".
 * \param srcImage,dstImage,dstTile  as for zylRGB2HSV()
 * \code zylRGB2HLS(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylRGB2HLS(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** The way back from zylRGB2HLS(); up to rounding. Sets "RGB".
 * \param srcImage  8U, 16U or 32S; colorModel begins with "HLS"
 * \param dstImage,dstTile  as for zylRGB2HSV()
 * \code zylHLS2RGB(src, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylHLS2RGB(ZylImage *srcImage, ZylImage *dstImage, const int32_t *dstTile);

/** Cuts samples to a lower depth, keeping the high bits; negative samples become 0. All
 * channels, alpha too. With noise or a dither, what a destination in memory has beyond the
 * source is made too, from the source's border modes. Each tile of a tiled destination is
 * treated as a picture by itself.
 *
 * \param srcImage  32S, 16U or 8U
 * \param dstImage  16U or 8U of 32S, 8U of 16U, 1U (set above 127) of 8U; the same data
 *                  order, origin and number of channels to process
 * \param jitterType  0, or 1 to 8: noise that is added before the cut, stronger with
 *                  every step, and another one for every call
 * \param ditherType  1: none. Dithers leave multiples of a step in a gray channel
 *                  (channelSeq begins with 'G') or three colour channels of 8U and 16U: 2,
 *                  Floyd-Steinberg; 4, Jarvis-Judice-Ninke; 8, Stucki; 16, 4 x 4 ordered. A
 *                  sum of sample and error that leaves the range is set to its end
 * \param ditherBits  the step is the largest sample >> ditherBits, at least 1; below 0
 *                  counts as 0, above the sample's bits as half of these
 * \param dstTile   column and row of one tile of dstImage, or null for all
 *
 * Reports, "(0>jitterType)||(jitterType>8)" before all others; "incomatibleimages"; then,
 * for every tile, from "owncolor": "errInOutDepth" or "errOutDepth" as "ownReduceBits", with
 * noise as "ownjitter_rect"; "errDitherOption" or "errInDepth", with the samples cut but not
 * dithered, as "own_dither_rect".
 * \code zylReduceBits(src, dst, 0, 2, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylReduceBits(ZylImage *srcImage, ZylImage *dstImage, int32_t jitterType,
                                    int32_t ditherType, int32_t ditherBits, const int32_t *dstTile);

/** \} */

/** \name Colour twist
 * \{ */

/** A matrix. Row i gives channel i: (data[4i] c0 + data[4i + 1] c1 + data[4i + 2] c2 +
 * data[4i + 3]) / 2^scalingValue, for i = 0, 1, 2. The last row is not used. */
typedef struct ZylColorTwist {
    int32_t data[16];     /**< four rows of four */
    int32_t scalingValue; /**< 0 to 31 */
} ZylColorTwist;

/** Makes a colour twist.
 * \return null after the report "bad_argument" (data is null or scalingValue out of range) or
 *         ZYL_StsNoMem, "out_of_memory"; free it with zylDeleteColorTwist()
 * \param data          16 numbers, copied
 * \param scalingValue  0 to 31
 * \code ZylColorTwist *twist = zylCreateColorTwist(matrix, 8); \endcode */
ZYL_API ZylColorTwist *ZYL_CALL zylCreateColorTwist(const int32_t *data, int32_t scalingValue);

/** Sets all fields of a colour twist.
 * \param cTwist        what is changed
 * \param data          16 numbers, copied
 * \param scalingValue  0 to 31
 *
 * Reports "cTwist==0", "(data == 0)", "(scalingValue < 0)", "(scalingValue > 31)".
 * \code zylSetColorTwist(twist, matrix, 8); \endcode */
ZYL_API void ZYL_CALL zylSetColorTwist(ZylColorTwist *cTwist, const int32_t *data,
                                       int32_t scalingValue);

/** Frees a colour twist; ignores null.
 * \code zylDeleteColorTwist(twist); \endcode */
ZYL_API void ZYL_CALL zylDeleteColorTwist(ZylColorTwist *cTwist);

/** Twists the first three channels, in memory order, of the source's region into the
 * destination's; other channels stay as they are. Channels of interest are not looked at.
 * Results are truncated and limited to the range; then `offset` is added, and they are
 * limited again.
 *
 * \param srcImage  8U or 16U; three channels or more, an alpha channel being the last one
 *                  and at least the fourth
 * \param dstImage  the same, of the source's depth, data order and origin
 * \param cTwist    the matrix
 * \param offset    any
 * \param Mapping   a pixel of the one tile of dstImage to produce, or null
 *
 * Reports the faults of a header, "cTwist==0", "(srcImage->nChannels < 3)",
 * "((srcImage->alphaChannel != 0) && (srcImage->nChannels < 4))",
 * "((srcImage->alphaChannel != 0) && (srcImage->alphaChannel < srcImage->nChannels))", the
 * same three of dstImage, "(srcImage->depth != dstImage->depth)",
 * "((srcImage->depth != 8) && (srcImage->depth != 16))",
 * "(srcImage->dataOrder != dstImage->dataOrder)", "(srcImage->origin != dstImage->origin)";
 * a tile of Mapping beside the region, with a text that begins "(((Mapping->xDst" or
 * "(((Mapping->yDst"; tiles as zylConvert() does.
 * \code zylApplyColorTwist(src, dst, twist, 0, NULL); \endcode */
ZYL_API void ZYL_CALL zylApplyColorTwist(ZylImage *srcImage, ZylImage *dstImage,
                                         const ZylColorTwist *cTwist, int32_t offset,
                                         const ZylTileMapping *Mapping);

/** \} */
/** \} */

/* ======================================================================== */
/** \defgroup filter 7  Filters
 *
 * A box or kernel is laid over the source with its anchor cell at the pixel that is
 * computed. Pixels of the source are read whether or not they lie in its region; outside the
 * source, its border modes give them. The tiling of either image never changes a result.
 * Kernels are not mirrored.
 *
 * `mapping`, where it is taken, is a pixel of the one tile of the destination to produce, or
 * null for all.
 *
 * A tile that is not delivered is reported as ZYL_StsError, "Error get tile to read" or
 * "Error get tile to write".
 * \{ */
/* ======================================================================== */

/** An integer kernel. Made by zylCreateConvKernel(), its coefficients included. */
typedef struct ZylConvKernel {
    int32_t nRows;   /**< its height */
    int32_t nCols;   /**< its width */
    int32_t anchorX; /**< the anchor's column, below nCols */
    int32_t anchorY; /**< the anchor's row, below nRows */
    int32_t nShiftR; /**< sums are shifted right by its low five bits */
    int8_t *values;  /**< nRows * nCols coefficients, row by row */
} ZylConvKernel;

/** How the results of several kernels become one. */
enum {
    ZYL_SUM = 0,       /**< their sum */
    ZYL_SUMSQ = 1,     /**< the sum of their squares */
    ZYL_SUMSQROOT = 2, /**< the root of this */
    ZYL_MAX = 3,       /**< the largest */
    ZYL_MIN = 4        /**< the smallest */
};

/** Makes a kernel.
 * \return null after the report "(values == 0)", "(nRows<=0 || nCols<=0)",
 *         "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)" or ZYL_StsNoMem,
 *         "Allocation failure"; free it with zylDeleteConvKernel()
 * \param nRows,nCols      its size, at least 1
 * \param anchorX,anchorY  its anchor, inside
 * \param values           nRows * nCols coefficients, row by row; copied
 * \param nShiftR          how far sums are shifted right: the low five bits
 * \code ZylConvKernel *kernel = zylCreateConvKernel(3, 3, 1, 1, values, 4); \endcode */
ZYL_API ZylConvKernel *ZYL_CALL zylCreateConvKernel(int32_t nRows, int32_t nCols, int32_t anchorX,
                                                    int32_t anchorY, const int8_t *values,
                                                    int32_t nShiftR);

/** Tells the fields of a kernel.
 * \param kernel  what is asked
 * \param nRows,nCols,anchorX,anchorY,nShiftR  get the fields
 * \param values  points to a buffer of nRows * nCols bytes, which gets the coefficients
 *
 * Reports "kernel==0", "ownBadKernel(kernel)" (size or anchor is out of range), "nRows==0"
 * and "nCols==0", "anchorX==0" and "anchorY==0", each two before the call ends, "values==0",
 * "nShiftR==0".
 * \code zylGetConvKernel(kernel, &rows, &cols, &x, &y, &buffer, &shift); \endcode */
ZYL_API void ZYL_CALL zylGetConvKernel(const ZylConvKernel *kernel, int32_t *nRows, int32_t *nCols,
                                       int32_t *anchorX, int32_t *anchorY, int8_t **values,
                                       int32_t *nShiftR);

/** Frees a kernel and its coefficients. Reports "kernel==0", or "kernel->values==0" and frees
 * nothing.
 * \code zylDeleteConvKernel(kernel); \endcode */
ZYL_API void ZYL_CALL zylDeleteConvKernel(ZylConvKernel *kernel);

/** Convolves with one or several kernels: coefficient (r, c) multiplies the pixel
 * r - anchorY rows below and c - anchorX columns to the right. Each kernel's sum is shifted
 * right by its own nShiftR, rounding toward minus infinity, and the results are combined.
 *
 * Depths, source to destination: 1U to 1U, 8U and 8S; 8U to 8U and 8S; 8S to 8S;
 * 16U to 16U and 16S; 16S to 16S: in 32 bits that wrap around, the root
 * truncated (0 for a sum of squares that wrapped below 0), the result saturated;
 * a 1-bit result is 1 above 0. 16U, 16S and 32S to 32S: in double precision,
 * rounded to nearest, saturated; a shift other than 0 first rounds and saturates
 * the sum to 32 bits.
 *
 * Channels: the channel of interest of each image, or all channels but the last one of an
 * image that has an alpha channel; these numbers must be equal. Data orders and origins may
 * differ.
 *
 * \param srcImage,dstImage  depths as above
 * \param kernel         an array of nKernels kernels
 * \param nKernels       1 to 100
 * \param combineMethod  ZYL_SUM ...; with one kernel and ZYL_SUM, the sum itself
 * \param mapping        as above; refused when it lies outside dstImage, tiled or not
 *
 * Reports "srcImage==0" and "dstImage==0" before the call ends; the faults of a header,
 * "kernel==0", "(nKernels<=0 || nKernels>100)", "( combineMethod != 0 && combineMethod != 1 &&
 * combineMethod != 2 && combineMethod != 3 && combineMethod != 4)"; of each kernel
 * "kernel[i]==0", "ownBadKernel(kernel[i])", "kernel[i]->values==0"; of mapping
 * "( mapping->xDst < 0 || mapping->xDst > dstImage->width-1 || mapping->yDst < 0 ||
 * mapping->yDst > dstImage->height-1)"; "Uncompatible images" for different numbers of
 * channels, "Inadmissible images depths"; ZYL_StsNoMem, "Allocation failure".
 * \code zylConvolve2D(src, dst, &kernel, 1, ZYL_SUM, NULL); \endcode */
ZYL_API void ZYL_CALL zylConvolve2D(ZylImage *srcImage, ZylImage *dstImage,
                                    ZylConvKernel *const *kernel, int32_t nKernels,
                                    int32_t combineMethod, const ZylTileMapping *mapping);

/** Convolves with the first nRows coefficients of Ykernel down the columns, and
 * the sums with the first nCols coefficients of Xkernel along the rows, in 32
 * bits that wrap around. The result is shifted right once, by the low five bits
 * of the sum of both shifts, and saturated; a 1-bit result is 1 above 0.
 *
 * All depths. The block is as large as the smallest of both images and both regions, which
 * are not cut to their images: where a region reaches past the source, its border is read.
 * All channels, alpha included, or a channel of interest of both images.
 *
 * \param srcImage,dstImage  of the same depth, origin, data order and number of channels
 * \param Xkernel  nCols, anchorX, nShiftR and its first row count
 * \param Ykernel  nRows, anchorY, nShiftR and its first nRows coefficients count
 *
 * Reports the faults of a header; "Xkernel==0" and "Ykernel==0" before the call ends; then,
 * all of them before it ends, "srcImage->depth != dstImage->depth", the same for origin,
 * dataOrder and nChannels, "nChannels in srcImage ROI != nChannels in dstImage ROI",
 * "Xkernel->nCols <= 0", "Ykernel->nRows <= 0", "Xkernel->values==0" and
 * "Ykernel->values==0".
 * \code zylConvolveSep2D(src, dst, kernel, kernel); \endcode */
ZYL_API void ZYL_CALL zylConvolveSep2D(ZylImage *srcImage, ZylImage *dstImage,
                                       const ZylConvKernel *Xkernel, const ZylConvKernel *Ykernel);

/** The mean of a box: the sum of its pixels times the single-precision reciprocal of their
 * number, multiplied in double precision and truncated. So a result may lie one below the
 * quotient: a 5 x 5 box of 25s gives 24. In 32S images the sum of each column of a box is
 * rounded to single precision. A box of one pixel copies.
 *
 * \param srcImage,dstImage  8U, 8S, 16U, 16S or 32S, both the same. The channels that both
 *                         images process, each into the channel of the same number
 * \param nRows,nCols      the box's size, at least 1
 * \param anchorX,anchorY  its anchor, not negative; may lie outside the box
 * \param mapping          as above
 *
 * Reports the faults of a header, "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->depth==1)", "(nRows<0||nCols<0)", "(anchorX<0||anchorY<0)",
 * "(nRows==0||nCols==0)".
 * \code zylBlur(src, dst, 5, 5, 2, 2, NULL); \endcode */
ZYL_API void ZYL_CALL zylBlur(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows, int32_t nCols,
                              int32_t anchorX, int32_t anchorY, const ZylTileMapping *mapping);

/** The largest value of a box. All depths; all channels or a channel of interest of each
 * image, taken in step.
 *
 * \param srcImage,dstImage  of the same depth, data order and number of channels to process
 * \param nRows,nCols      the box's size
 * \param anchorX,anchorY  its anchor, inside
 * \param mapping          as above
 *
 * Reports the faults of a header, "(anchorX>=nCols)||(anchorX<0)",
 * "(anchorY>=nRows)||(anchorY<0)", "srcImage->depth!=dstImage->depth",
 * "srcImage->dataOrder!=dstImage->dataOrder",
 * "Number of interset channel input and output Image is not equal.".
 * \code zylMaxFilter(src, dst, 3, 3, 1, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylMaxFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                   int32_t nCols, int32_t anchorX, int32_t anchorY,
                                   const ZylTileMapping *mapping);

/** The smallest value of a box; otherwise as zylMaxFilter().
 * \param srcImage,dstImage,nRows,nCols,anchorX,anchorY,mapping  as for zylMaxFilter()
 * \code zylMinFilter(src, dst, 3, 3, 1, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylMinFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                   int32_t nCols, int32_t anchorX, int32_t anchorY,
                                   const ZylTileMapping *mapping);

/** The middle value of a box, of an even number of values the larger middle one; of bits 1
 * when at least half of them are 1. Otherwise as zylMaxFilter().
 * \param srcImage,dstImage,nRows,nCols,anchorX,anchorY,mapping  as for zylMaxFilter()
 * \code zylMedianFilter(src, dst, 3, 3, 1, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylMedianFilter(ZylImage *srcImage, ZylImage *dstImage, int32_t nRows,
                                      int32_t nCols, int32_t anchorX, int32_t anchorY,
                                      const ZylTileMapping *mapping);

/** \name Morphology
 *
 * Passes of the smallest or the largest value of 3 x 3 pixels. The first pass reads the
 * source; later ones read the destination, around its region and with its border modes, and
 * write it in place. A call that fails in a later pass leaves what the passes before have
 * made of the destination, some of it a pass further.
 *
 * Depths 1U, 8U and 16U; images of signed depths are left as they are, without a report. All
 * channels or a channel of interest of each image, taken in step.
 *
 * Sets the thread's status to ZYL_StsOk when the arguments are good. Reports, one of them:
 * "Null SRC image header", "Null DST image header"; "Specify exactly SRC image mode
 * (non-tile/tile)", the same of DST; "Illegal SRC tile info contents", DST; "Illegal number of
 * of iterations"; "Mapping must be NULL"; "Illegal SRC image header contents", DST; "SRC and
 * DST depth are not compatible", "... order ...", "... orign ...", "... number of channels
 * ..."; a tile, as above; ZYL_StsNoMem, "Not enough memory".
 * \{ */

/** Erosion: the smallest values.
 * \param srcImage,dstImage  of the same depth, data order, origin and number of channels to
 *                     process
 * \param nIterations  how many passes, at least 1
 * \param mapping      must be null
 * \code zylErode(src, dst, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylErode(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                               const ZylTileMapping *mapping);

/** Dilation: the largest values.
 * \param srcImage,dstImage,nIterations,mapping  as for zylErode()
 * \code zylDilate(src, dst, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylDilate(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                                const ZylTileMapping *mapping);

/** Opening: erosion, then dilation, together repeated nIterations times. An opening of 2
 * erodes, dilates, erodes and dilates.
 * \param srcImage,dstImage,nIterations,mapping  as for zylErode()
 * \code zylOpen(src, dst, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylOpen(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                              const ZylTileMapping *mapping);

/** Closing: dilation, then erosion, together repeated nIterations times.
 * \param srcImage,dstImage,nIterations,mapping  as for zylErode()
 * \code zylClose(src, dst, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylClose(ZylImage *srcImage, ZylImage *dstImage, int32_t nIterations,
                               const ZylTileMapping *mapping);

/** \} */
/** \} */

/* ======================================================================== */
/** \defgroup geometry 8  Geometry
 *
 * Channels: the channel of interest of each image, or all of them. A tile that is not
 * delivered is reported as ZYL_StsError, "Error get tile to read" or "Error get tile to
 * write", unless said otherwise.
 * \{ */
/* ======================================================================== */

/** How samples between pixels are made. */
enum {
    ZYL_INTER_NN = 0,     /**< the nearest pixel, or the one at or before */
    ZYL_INTER_LINEAR = 1, /**< between two pixels in each direction */
    ZYL_INTER_CUBIC = 2   /**< a cubic through four pixels in each direction */
};

/** Enlarges the source's region by xU / xL horizontally and yU / yL vertically. Depths 1U,
 * 8U and 16U; others are left alone without a report. Of the channels to process, the smaller
 * number counts.
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
 *
 * Results are rounded down and saturated. 1-bit images and images narrower or
 * lower than 2 pixels are always enlarged by nearest neighbour; images narrower
 * or lower than 4 never by more than linear interpolation.
 *
 * \param srcImage,dstImage  of the same depth and data order; origins may differ
 * \param xU,xL        the horizontal factor, at least 1
 * \param yU,yL        the vertical factor, at least 1
 * \param interpolate  ZYL_INTER_...
 * \param mapping      a pixel of the one tile of dstImage to produce, or null
 *
 * Reports the faults of a header; then, all of them before the call ends:
 * "interpolate != ZYL_INTER_NN && interpolate != ZYL_INTER_LINEAR && interpolate !=
 * ZYL_INTER_CUBIC", "srcImage->depth != dstImage->depth", "srcImage->dataOrder !=
 * dstImage->dataOrder", "xU <= 0 || xL <= 0", "yU <= 0 || yL <= 0", "xU < xL || yU < yL".
 * \code zylZoom(src, dst, 3, 2, 3, 2, ZYL_INTER_CUBIC, NULL); \endcode */
ZYL_API void ZYL_CALL zylZoom(ZylImage *srcImage, ZylImage *dstImage, int32_t xU, int32_t xL,
                              int32_t yU, int32_t yL, int32_t interpolate,
                              const ZylTileMapping *mapping);

/** Reduces the source's region by xU / xL horizontally and yU / yL vertically. Depths 1U,
 * 8U and 16U. Of the channels to process, the smaller number counts.
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
 * \param srcImage,dstImage  of the same depth, origin and data order
 * \param xU,xL        the horizontal factor, above 0 and at most 1
 * \param yU,yL        the vertical factor, above 0 and at most 1
 * \param interpolate  ZYL_INTER_...
 * \param mapping      a pixel of the one tile of dstImage to produce, or null; outside the
 *                     part that is written, nothing is
 *
 * Reports the faults of a header; then, all of them before the call ends:
 * "srcImage->depth != dstImage->depth", "srcImage->origin != dstImage->origin",
 * "srcImage->dataOrder != dstImage->dataOrder",
 * "interpolate != ZYL_INTER_NN, ZYL_INTER_LINEAR or ZYL_INTER_CUBIC", "xU <= 0", "xL <= 0",
 * "yU <= 0", "yL <= 0", "xU > xL", "yU > yL"; then "srcImage->depth is wrong".
 * \code zylDecimate(src, dst, 1, 2, 1, 2, ZYL_INTER_NN, NULL); \endcode */
ZYL_API void ZYL_CALL zylDecimate(ZylImage *srcImage, ZylImage *dstImage, int32_t xU, int32_t xL,
                                  int32_t yU, int32_t yL, int32_t interpolate,
                                  const ZylTileMapping *mapping);

/** Turns the source's picture about a point, counterclockwise on screen, whatever its origin.
 * Depths 1U, 8U and 16U.
 *
 * The destination's region is written, at most as far as the source's region is
 * wide and high. Its first pixel stands for the first pixel of the source's
 * region; a pixel (x, y) then comes from
 *
 *     c * (x - xShift) - s * (y - yShift) + xShift,
 *     s * (x - xShift) + c * (y - yShift) + yShift
 *
 * of the whole source, c and s being cosine and sine of the angle. Pixels that
 * come from outside the source become 0; between its last row or column and
 * half a pixel outside, only nearest neighbour gives pixels. Nothing is written when the
 * numbers of channels to process differ. Results are rounded to nearest and saturated.
 * Angle 0 is zylCopy(), with its reports and then ZYL_StsBackTrace, ""; 9000, 18000 and 27000
 * move pixels unchanged.
 *
 * \param srcImage,dstImage  of the same depth, data order and origin
 * \param angle          hundredths of a degree; any, in whole turns of 36000
 * \param xShift,yShift  the point, a column and a row of the source; may lie outside
 * \param interpolate    any value but ZYL_INTER_NN and ZYL_INTER_LINEAR is cubic. 1-bit
 *                       images and those with one row or column are always turned by nearest
 *                       neighbour, images narrower or lower than 4 pixels never by more than
 *                       linear interpolation
 * \param dstTile        column and row of one tile of dstImage, or null for all
 *
 * Reports the faults of a header; then, all of them before the call ends:
 * "srcImage->depth != dstImage->depth", "srcImage->dataOrder != dstImage->dataOrder",
 * "srcImage->origin != dstImage->origin" (which is reported twice and ends the
 * call) and "srcImage->depth & ZYL_DEPTH_SIGN".
 * \code zylRotate(src, dst, 4500, 320, 240, ZYL_INTER_LINEAR, NULL); \endcode */
ZYL_API void ZYL_CALL zylRotate(ZylImage *srcImage, ZylImage *dstImage, int32_t angle,
                                int32_t xShift, int32_t yShift, int32_t interpolate,
                                const int32_t *dstTile);

/** Flips the source's region as far as both regions reach. All depths, also from one data
 * order to the other.
 * \param srcImage,dstImage  of the same depth, number of channels and channel of interest
 * \param flipAxis  0 turns it upside down, 1 exchanges left and right, -1 does both
 *
 * Reports the faults of a header, "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->nChannels!=dstImage->nChannels)", "((flipAxis>1)||(flipAxis<-1))",
 * "(coiSrc!=coiDst)", and for a tile that is not delivered
 * "(srcImage->tileInfo->tileData == ((void*)(0)))" or the same for dstImage.
 * \code zylMirror(src, dst, 1); \endcode */
ZYL_API void ZYL_CALL zylMirror(ZylImage *srcImage, ZylImage *dstImage, int32_t flipAxis);

/** \} */

/* ======================================================================== */
/** \defgroup transform 9  Transforms
 *
 * Of images in memory, all depths but 1U, which may differ between the two images. What can
 * fail is obtained before anything is written.
 * \{ */
/* ======================================================================== */

/** Flags of the Fourier transform; combine with |. */
enum {
    ZYL_FFT_FORWARD = 1,      /**< negative exponent */
    ZYL_FFT_INVERSE = 2,      /**< positive exponent, results divided by the region's pixels */
    ZYL_FFT_NO_SCALE = 4,     /**< with ZYL_FFT_INVERSE: not divided */
    ZYL_FFT_WITH_ALPHA = 8,   /**< the alpha channel too */
    ZYL_FFT_FIXED_POINT = 16, /**< 32-bit integers with 6 fraction bits */
    ZYL_FFT_FLOATING = 32,    /**< single precision */
    ZYL_FFT_REPEAT = 64,      /**< with the set-up of the call before */
    ZYL_FFT_RELEASE = 128,    /**< only free what is kept */
    ZYL_FFT_KEEP_TABLES = 256 /**< keep tables and buffers for the next call */
};

/** \name The two-dimensional Fourier transform
 *
 * The region is what the regions of both images have in common: the same columns
 * and rows of either image, N columns by M rows. Both images have the same number of
 * channels, alpha channel and channel of interest; without one, all channels are
 * transformed but the alpha channel, which is left as it is. Data orders may differ. With x,
 * y, u and v counted from the region's corner,
 *
 *     F(u, v) = c * sum of f(x, y) * exp(s * 2 pi i * (u x / N + v y / M))
 *
 * where s is -1 for ZYL_FFT_FORWARD and 1 for ZYL_FFT_INVERSE, one of which is
 * given, and c is 1, or 1 / (N M) for a scaled inverse. zylCcsFft2D() computes f from
 * F by the same rule. A forward zylRealFft2D() and an inverse zylCcsFft2D() give back
 * the image, up to rounding, if the spectrum's depth has room: 32 bits, as a rule.
 *
 * The packed spectrum fills the region with real numbers. A line of L real samples
 * has the terms G(0) .. G(L - 1) of which half are conjugates of the others. Packed
 * it is Re G(0); Re G(k), Im G(k) for k = 1 .. ceil(L / 2) - 1; and, when L is even,
 * Re G(L / 2). In the region,
 *
 *     column 0 holds F(0, v), packed over v;
 *     columns 2u - 1 and 2u hold Re and Im F(u, v) in row v, u = 1 .. ceil(N / 2) - 1;
 *     column N - 1, when N is even, holds F(N / 2, v), packed over v.
 *
 * Numbers: single precision, cut toward zero; or, for regions of up to 128 pixels
 * and with ZYL_FFT_FIXED_POINT, integers of 32 bits with 6 fraction bits and roots
 * of 14 bits. Fixed point is exact to about one part in 2^13 and wraps around when a
 * sum of samples reaches 2^25. Results are saturated to the destination's depth.
 * Sides that are powers of two are fastest. In fixed point, other lengths take time in
 * proportion to their square.
 *
 * Tables and buffers of the process, but for those of calls that still run, are freed at the
 * end of a call unless ZYL_FFT_KEEP_TABLES is given; a call that reports an error
 * leaves them. ZYL_FFT_RELEASE frees them and looks at nothing else. ZYL_FFT_REPEAT
 * transforms the pixels of the images of the call before, which must still exist, with its
 * flags; from the images given it takes the region and the channels only (see "Threads"
 * above).
 *
 * Reports: "srcImage==0" and "dstImage==0" before the call ends; "srcImage->imageData==0"
 * and "dstImage->imageData==0", also for tiled images, before it ends;
 * "(map!=((void*)(0)))"; "Error in input data" for a faulty header, flags that contradict
 * each other, different numbers of channels, alpha channels or channels of interest, a region
 * that reaches past its image, 1-bit samples, ZYL_FFT_REPEAT without a successful
 * set-up before or with a region that its images do not have, and when memory is
 * exhausted; "No calculations! Looking input data!" when the regions have nothing
 * or one pixel in common.
 * \{ */

/** Transforms an image to its packed spectrum.
 * \param srcImage,dstImage  as above; 32S for the spectrum, as a rule
 * \param flags  ZYL_FFT_FORWARD, as a rule, and others
 * \param map    must be null
 * \code zylRealFft2D(src, dst, ZYL_FFT_FORWARD, NULL); \endcode */
ZYL_API void ZYL_CALL zylRealFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags,
                                   const ZylTileMapping *map);

/** Transforms a packed spectrum to an image.
 * \param srcImage,dstImage  as above; 32S for the spectrum, as a rule
 * \param flags  ZYL_FFT_INVERSE, as a rule, and others
 * \param map    must be null
 * \code zylCcsFft2D(src, dst, ZYL_FFT_INVERSE, NULL); \endcode */
ZYL_API void ZYL_CALL zylCcsFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags,
                                  const ZylTileMapping *map);

/** \} */

/** Flags of the cosine transform; combine with |. */
enum {
    ZYL_DCT_FORWARD = 1,
    ZYL_DCT_INVERSE = 2,
    ZYL_DCT_WITH_ALPHA = 4, /**< the alpha channel too */
    ZYL_DCT_RELEASE = 8     /**< only free the tables kept */
};

/** The orthonormal two-dimensional cosine transform (type II), or its inverse. The block is
 * the source's region, or the whole image; it goes to the corner of the destination's
 * region. With W columns and H rows, a(0) = sqrt(1 / n) and a(k) = sqrt(2 / n),
 *
 *     F(u, v) = a(u) * a(v) * sum of f(x, y) * cos((2x + 1) u pi / 2W)
 *                                            * cos((2y + 1) v pi / 2H)
 *
 * F(u, v) is stored at column u, row v. The inverse gives f back. Numbers are of
 * single precision; results are rounded to the nearest integer, ties to even, and
 * saturated. Without a channel of interest all channels are transformed but the
 * source's alpha channel, which is left as it is in the destination; with one, it
 * goes to the destination's channel of interest, alpha or not.
 *
 * Tables are kept until a call with ZYL_DCT_RELEASE, which frees those that no call
 * uses and looks at nothing else. Without
 * exactly one of ZYL_DCT_FORWARD and ZYL_DCT_INVERSE nothing is written and nothing
 * reported.
 *
 * \param src,dst  two headers, of the same size, number of channels and data order
 * \param flags    ZYL_DCT_...
 *
 * Reports "src==0" and "dst==0" before the call ends; and "Images are not compatible" when
 * both are the same header, when the numbers of channels, the sizes or the data orders differ,
 * when one has a region and the other has none or a smaller one, when a region
 * reaches past its image or is empty, when the source has a channel of interest
 * and the destination has none, and for tiled images, 1-bit samples and unknown
 * depths or data orders. Other faults of a header are not looked for.
 * \code zylDCT2D(src, dst, ZYL_DCT_FORWARD); \endcode */
ZYL_API void ZYL_CALL zylDCT2D(ZylImage *src, ZylImage *dst, int32_t flags);

/** \} */

/* ======================================================================== */
/** \defgroup statistics 10  Histograms, threshold and norms
 * \{ */
/* ======================================================================== */

/** \name Histograms and look-up tables
 *
 * `lut` is an array of pointers, one for each channel of the image. With channel
 * of interest k only entry k - 1 is looked at.
 *
 * Reports: the faults of a header; "lut==0" and what the functions add, all of
 * them before the call ends; then, of the first LUT that is unfit, "lut[k]==0",
 * "lut[k]->key==0", "lut[k]->value==0", "lut[k]->num < 2", "lut[k]->key[0] < 0",
 * "lut[k]->key[lut[k]->num-1] > histSize", "lut[k]->key[i] > lut[k]->key[i+1]" (the letters
 * stand in the texts as they are here); ZYL_StsNoMem, "". A tile that is not delivered is
 * reported as ZYL_StsError, "Error get tile to read" or "Error get tile to write", as
 * "zylComputeHisto" or "zylMap", and then as ZYL_StsBackTrace, ""; so is, alone, a negative
 * status that a tile callback has left. The LUTs are only written by a call that has done
 * all.
 * \{ */

/** A function of the sample's value, given by intervals: [key[i], key[i+1]) is
 * interval i. The record and its arrays belong to the application. */
typedef struct ZylLUT {
    int32_t num;         /**< keys, at least 2 */
    int32_t *key;        /**< `num` bounds, not decreasing, within 0..2, 0..256 or 0..65536 */
    int32_t *value;      /**< `num` values or counts of the intervals */
    int32_t *factor;     /**< `num` slopes; may be null unless interpolate is set */
    int32_t interpolate; /**< 0: an interval has one value; else a slope as well */
} ZylLUT;

/** Counts the samples of the region into value[0] .. value[num-2] of each LUT and
 * sets its `interpolate` to 0. Counts wrap around at 2^32.
 * \param srcImage  1U (whose values are 0 and 1), 8U or 16U
 * \param lut   gives the keys, gets the counts
 * \param tile  column and row of one tile of srcImage; when the region does not touch it, all
 *              counts are 0. Null for all
 *
 * Reports, with "lut==0", "srcImage->depth & ZYL_DEPTH_SIGN".
 * \code zylComputeHisto(src, luts, NULL); \endcode */
ZYL_API void ZYL_CALL zylComputeHisto(ZylImage *srcImage, ZylLUT *const *lut, const int32_t *tile);

/** Maps the source's region through a table made from each LUT: a sample below
 * key[0] keeps its value, another one becomes value[i] of its interval, plus,
 * with `interpolate`, factor[i] times its distance from key[i]. What lies at or
 * above the last key goes on with value[num-1]. Of a result outside the depth the
 * low bits are kept. The table moves on by one interval at a time, so a key given
 * twice stops it in the interval before.
 *
 * Different numbers of channels to process end the call without a report.
 * \param srcImage,dstImage  8U or 16U, both the same, of the same data order and origin
 * \param lut      the tables, chosen by the source's channel of interest
 * \param dstTile  column and row of one tile of dstImage, or of srcImage if only that is tiled;
 *                 null for all
 *
 * Reports, before "lut==0", "srcImage->depth != dstImage->depth",
 * "srcImage->dataOrder != dstImage->dataOrder", "srcImage->origin != dstImage->origin",
 * "srcImage->depth != ZYL_DEPTH_8U && srcImage->depth != ZYL_DEPTH_16U", and, after the LUTs'
 * other faults, "lut[k]->factor==0" when it is needed.
 * \code zylContrastStretch(src, dst, luts, NULL); \endcode */
ZYL_API void ZYL_CALL zylContrastStretch(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                                         const int32_t *dstTile);

/** Equalises the source's region by the histogram that `lut` holds, as zylComputeHisto() left
 * it, and replaces it with the result's histogram. The count of an interval is spread evenly
 * over its values, except that the last value of an interval gets the remainder of the
 * division alone.
 *
 * \param srcImage,dstImage,dstTile  as for zylContrastStretch()
 * \param lut  histograms, whose counts are not negative. They are read of the source's
 *             channels, written of the destination's
 *
 * Reports as zylContrastStretch(), but for "lut[k]->factor==0"; and ZYL_StsInternal, "All
 * values in histogram are zeroes".
 * \code zylHistoEqualize(src, dst, luts, NULL); \endcode */
ZYL_API void ZYL_CALL zylHistoEqualize(ZylImage *srcImage, ZylImage *dstImage, ZylLUT *const *lut,
                                       const int32_t *dstTile);

/** \} */

/** dst = the depth's minimum where src < threshold, its maximum elsewhere. Row padding is
 * never written. A channel of interest goes together with an image of one channel.
 *
 * \param srcImage,dstImage  8U, 8S, 16U, 16S or 32S, both the same, of the same data order and
 *                   number of channels to process; origins may differ
 * \param threshold  any; beyond the range, all samples go to one side
 * \param dstTile    column and row of one tile of dstImage, or null for all
 *
 * Reports the faults of a header; "(srcImage->depth!=dstImage->depth)",
 * "(srcImage->dataOrder!=dstImage->dataOrder)", "(srcImage->depth==1)"; tiles as in chapter 3;
 * "The fields of ROI has error" for a region that ends beyond 2^31 - 1; "The mismath of number
 * channels". Tiles that are held then stay with the application, if it was a tile that failed.
 * \code zylThreshold(src, dst, 128, NULL); \endcode */
ZYL_API void ZYL_CALL zylThreshold(ZylImage *srcImage, ZylImage *dstImage, int32_t threshold,
                                   const int32_t *dstTile);

/** Norms; the relative ones are divided by the same norm of the second image. */
enum {
    ZYL_NORM_C = 1,  /**< the largest absolute sample */
    ZYL_NORM_L1 = 2, /**< the sum of absolute samples */
    ZYL_NORM_L2 = 4, /**< the root of the sum of squares */
    ZYL_NORM_RELATIVE_C = 9,
    ZYL_NORM_RELATIVE_L1 = 10,
    ZYL_NORM_RELATIVE_L2 = 12
};

/** A norm of srcImageA - srcImageB, or of srcImageA alone. All depths; sums are exact before
 * the one rounding to a double.
 *
 * \return the norm, at most 3.4028234663852886e38, also where the second image is all zeros;
 *         0 when nothing is processed, after a bad argument and at a status left over; -1 after a
 *         tile failed
 * \param srcImageA  all depths
 * \param srcImageB  null, or of the same depth, data order, number of channels and channel of
 *                   interest
 * \param normType   ZYL_NORM_...; without srcImageB, every one but ZYL_NORM_C and ZYL_NORM_L1
 *                   is ZYL_NORM_L2
 *
 * Reports "normType unknown"; the faults of a header, "(srcImageA->depth!=srcImageB->depth)",
 * "(coiA!=coiB)", "(srcImageA->dataOrder!=srcImageB->dataOrder)",
 * "(srcImageA->nChannels!=srcImageB->nChannels)"; a tile that is not delivered as ZYL_StsError,
 * "Error get tile to read".
 * \code double distance = zylNorm(a, b, ZYL_NORM_L2); \endcode */
ZYL_API double ZYL_CALL zylNorm(ZylImage *srcImageA, ZylImage *srcImageB, int32_t normType);

/** \} */

/* ======================================================================== */
/** \defgroup alpha 11  Scaled products and alpha compositing
 *
 * 8U and 16U, whose samples are fractions of M, 255 or 65535. The scaled product [x * y] is
 * x * y / M, cut to an integer. All images of a call have the same depth; data orders and
 * origins may differ.
 *
 * Not more than 99999 columns and rows are processed. With a channel of interest on the
 * destination every source must have one, and these channels are processed; with a region of
 * all channels on the destination the sources' channels of interest are not looked at.
 *
 * `mapping` is a pixel of the one tile of the destination to produce, or null for all. Blocks
 * follow the tiles of the first tiled image, the destination before the sources; pieces of
 * images with other tiles are put together from theirs, in memory.
 *
 * Reports: of each image in turn, the destination first, "dstImage==0",
 * "zylBadImageHeader(dstImage) != 0" (which stands for all faults of a header),
 * "dstImage->roi->xOffset >= dstImage->width", "dstImage->roi->yOffset >= dstImage->height",
 * with the argument's own name; then "dstImage->depth != 8 && dstImage->depth != 16",
 * "srcImage->depth != dstImage->depth"; "dstImage->roi->coi > 0 && srcImage->roi == 0",
 * "dstImage->roi->coi > 0 && srcImage->roi->coi == 0",
 * "srcImage->roi->coi > 0 && dstImage->roi == 0", when all channels are processed
 * "srcImage->nChannels != dstImage->nChannels", of each source. A tile that is not delivered
 * or not taken back, and memory for a piece that cannot be had, are reported as
 * ZYL_StsError, "ERROR in Tiling callBack".
 * \{ */
/* ======================================================================== */

/** dst = [src * scale].
 * \param srcImage,dstImage  as above
 * \param scale    0 to M; larger counts as M
 * \param mapping  as above
 * \code zylMultiplySScale(src, dst, 128, NULL); \endcode */
ZYL_API void ZYL_CALL zylMultiplySScale(ZylImage *srcImage, ZylImage *dstImage, uint32_t scale,
                                        const ZylTileMapping *mapping);

/** dst = [A * B]
 * \param srcImageA,srcImageB,dstImage,mapping  as above
 * \code zylMultiplyScale(a, b, dst, NULL); \endcode */
ZYL_API void ZYL_CALL zylMultiplyScale(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                                       const ZylTileMapping *mapping);

/** Multiplies the colours of an image, in place, by an alpha. With a channel of interest only
 * this channel is multiplied, and never the alpha channel.
 * \param image    what is changed; an alpha channel is the last one
 * \param alpha    below 0: each pixel's own alpha, which stays; else a constant, at most M, that
 *                 also becomes the alpha of an image that has one
 * \param mapping  as above
 *
 * Reports those above of "image", then "image->alphaChannel > 0 && image->alphaChannel !=
 * image->nChannels" and, with alpha below 0, "image->alphaChannel < 1".
 * \code zylPreMultiplyAlpha(dst, -1, NULL); \endcode */
ZYL_API void ZYL_CALL zylPreMultiplyAlpha(ZylImage *image, int32_t alpha,
                                          const ZylTileMapping *mapping);

/** Compositing rules: the colour, then the alpha of the result, each at most M. A' and B'
 * are the colours times their alphas, a and b the alphas. */
enum {
    ZYL_COMPOSITE_OVER = 0, /**< A' + B' - [B' * a]                   a + b - [a * b] */
    ZYL_COMPOSITE_IN = 1,   /**< [A' * b]                             [a * b] */
    ZYL_COMPOSITE_OUT = 2,  /**< A' - [A' * b]                        a - [a * b] */
    ZYL_COMPOSITE_ATOP = 3, /**< [A' * b] + B' - [B' * a]             b */
    ZYL_COMPOSITE_XOR = 4,  /**< A' - [A' * b] + B' - [B' * a]        a + b - 2[a * b] */
    ZYL_COMPOSITE_PLUS = 5  /**< A' + B'                              a + b */
};

/** Composites two images by the alphas of their pixels.
 *
 * The alpha channel of dstImage is never composited as a colour; as channel of interest it
 * leaves everything unchanged.
 *
 * \param srcImageA,srcImageB,dstImage  an alpha channel is the last one; without it, all have
 *                       the same number of colours
 * \param compositeType  ZYL_COMPOSITE_...
 * \param alphaImageA    has the alpha of A in its alpha channel, in channel 1 if it has none;
 *                       null: srcImageA's alpha channel
 * \param alphaImageB    the same for B; null: srcImageB's alpha channel, but with an alphaImageA
 *                       M less the alpha of A
 * \param alphaImageDst  gets the resulting alpha in its alpha channel; null: dstImage's alpha
 *                       channel if it has one
 * \param premulAlpha    1: the colours of A and B have been multiplied by their alphas already;
 *                       else 0
 * \param divideMode     0 computes in integers; 1 computes the same in floating point, divides
 *                       the colours by the resulting alpha where that is not 0, and rounds to
 *                       nearest, ties to even
 * \param mapping        as above
 *
 * Reports those above of dstImage, srcImageA and srcImageB up to the depths; then
 * "srcImageA->alphaChannel < 1", or of alphaImageA those of an image and
 * "alphaImageA->depth != dstImage->depth"; the same for B, then for alphaImageDst, with
 * "alphaImageDst->alphaChannel < 1"; those above on channels of interest;
 * "srcImageA->alphaChannel > 0 && srcImageA->alphaChannel != srcImageA->nChannels" and its like
 * of srcImageB and dstImage; when all channels are processed "(srcImageA->nChannels -
 * (srcImageA->alphaChannel != 0)) != (dstImage->nChannels - (dstImage->alphaChannel != 0))", the
 * same of srcImageB; "compositeType != 0 && compositeType != 1 && compositeType != 2 &&
 * compositeType != 3 && compositeType != 4 && compositeType != 5", "premulAlpha != 0 &&
 * premulAlpha != 1", "divideMode != 0 && divideMode != 1".
 * \code zylAlphaComposite(a, b, dst, ZYL_COMPOSITE_OVER, NULL, NULL, NULL, 0, 1, NULL); \endcode */
ZYL_API void ZYL_CALL zylAlphaComposite(ZylImage *srcImageA, ZylImage *srcImageB,
                                        ZylImage *dstImage, int32_t compositeType,
                                        ZylImage *alphaImageA, ZylImage *alphaImageB,
                                        ZylImage *alphaImageDst, int32_t premulAlpha,
                                        int32_t divideMode, const ZylTileMapping *mapping);

/** The same with constant alphas. No alpha is written.
 * \param srcImageA,srcImageB,dstImage,compositeType  as for zylAlphaComposite()
 * \param aA  the alpha of A, at most M; below 0: srcImageA's alpha channel
 * \param aB  the alpha of B, at most M; below 0: srcImageB's alpha channel
 * \param premulAlpha,divideMode,mapping  as for zylAlphaComposite()
 *
 * Reports as zylAlphaComposite(), but of alphas only "srcImageA->alphaChannel < 1" and
 * "srcImageB->alphaChannel < 1".
 * \code zylAlphaCompositeC(a, b, dst, ZYL_COMPOSITE_OVER, 128, 255, 0, 0, NULL); \endcode */
ZYL_API void ZYL_CALL zylAlphaCompositeC(ZylImage *srcImageA, ZylImage *srcImageB,
                                         ZylImage *dstImage, int32_t compositeType, int32_t aA,
                                         int32_t aB, int32_t premulAlpha, int32_t divideMode,
                                         const ZylTileMapping *mapping);

/** \} */

#ifdef __cplusplus
}
#endif

#endif
