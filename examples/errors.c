/* Failures: by status, and through a report callback of the program's own. */
#include <stdio.h>
#include <zylqx.h>

static ZylStatus ZYL_CALL report(ZylStatus status, const char *function, const char *text,
                                 const char *file, int line) {
    (void)file; /* the name of a source file of the library, and a line of it */
    (void)line;
    printf("  report: %s: %s (%s)\n", function, text, zylErrorStr(status));
    return status;
}

static ZylImage *gray(int32_t width, int32_t height, uint32_t depth) {
    ZylImage *image =
        zylCreateImageHeader(1, 0, depth, "GRAY", "GRAY", ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
                             ZYL_ALIGN_4, height, width, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, 0);
    return image;
}

int main(void) {
    ZylImage *bytes = gray(8, 8, ZYL_DEPTH_8U), *words = gray(8, 8, ZYL_DEPTH_16U);
    zylRedirectError(report); /* for this thread */

    printf("two depths:\n");
    zylNot(bytes, words, NULL);
    printf("  status %d\n", zylGetErrStatus());

    printf("a factor below 1:\n");
    zylSetErrStatus(ZYL_StsOk); /* success does not reset it */
    zylZoom(bytes, bytes, 1, 2, 1, 2, ZYL_INTER_LINEAR, NULL);

    printf("with that status left over:\n");
    zylCopy(bytes, bytes, NULL); /* ends at once, and is silent */
    printf("  status %d\n", zylGetErrStatus());

    printf("a header with faults:\n");
    zylSetErrStatus(ZYL_StsOk);
    words->nChannels = 0;
    words->align = 3;
    printf("  faults 0x%x\n", (unsigned)zylBadImageHeader(words));
    words->nChannels = 1;
    words->align = ZYL_ALIGN_4;

    printf("a report of the program:\n");
    zylError(ZYL_StsError, "load", "photo.tif: no such file", __FILE__, __LINE__);
    zylDeallocate(bytes, ZYL_DEALLOC_ALL);
    zylDeallocate(words, ZYL_DEALLOC_ALL);
    return 0;
}
