/* Gray, hue and a colour twist of one orange pixel. */
#include <stdio.h>
#include <zylqx.h>

static ZylImage *pixel(const char *model, int32_t channels) {
    ZylImage *image =
        zylCreateImageHeader(channels, 0, ZYL_DEPTH_8U, model, model, ZYL_DATA_ORDER_PIXEL,
                             ZYL_ORIGIN_TL, ZYL_ALIGN_4, 1, 1, NULL, NULL, NULL);
    if (image) zylAllocateImage(image, 0);
    return image;
}

static void print(const char *text, const ZylImage *image) {
    const unsigned char *sample = image->imageData;
    printf("%-8s %.3s  %d %d %d\n", text, image->colorModel, sample[0], sample[1], sample[2]);
}

int main(void) {
    ZylImage *rgb = pixel("RGB", 3), *gray = pixel("GRAY", 1), *other = pixel("RGB", 3);
    if (!rgb || !gray || !other) return 1;
    rgb->imageData[0] = 240;
    rgb->imageData[1] = 130;
    rgb->imageData[2] = 20;

    zylColorToGray(rgb, gray, NULL);
    printf("%-8s       %d\n", "gray", gray->imageData[0]);

    zylRGB2HSV(rgb, other, NULL); /* changes colorModel and channelSeq of the destination */
    print("hue", other);
    other->imageData[1] /= 2; /* half the saturation */
    zylHSV2RGB(other, other, NULL);
    print("paler", other);

    /* Sepia, in 256ths: each row gives a channel of R, G, B and a constant. */
    const int32_t sepia[16] = {101, 197, 48, 0, 89, 176, 43, 0, 70, 137, 34, 0};
    ZylColorTwist *twist = zylCreateColorTwist(sepia, 8);
    zylApplyColorTwist(rgb, other, twist, 0, NULL);
    print("sepia", other);

    zylDeleteColorTwist(twist);
    zylDeallocate(rgb, ZYL_DEALLOC_ALL);
    zylDeallocate(gray, ZYL_DEALLOC_ALL);
    zylDeallocate(other, ZYL_DEALLOC_ALL);
    return zylGetErrStatus() != ZYL_StsOk;
}
