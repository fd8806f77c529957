// Scaled products: samples as fractions of the depth's maximum.

#include <algorithm>

#include "core/step_kernels.h"
#include "core/walk_grid.h"
#include "stats/alpha.h"
#include "stats/kernels.h"

namespace zylqx {

bool failsFor(const Call &call, const char *name, bool condition, const char *text, int line) {
    if (!condition) [[likely]] {
        return false;
    }
    // The longest text has five names.
    char expanded[256];
    char *out = expanded;
    for (; *text != '\0'; ++text) {
        if (*text != '@') {
            *out++ = *text;
            continue;
        }
        for (const char *letter = name; *letter != '\0'; ++letter) *out++ = *letter;
    }
    *out = '\0';
    call.report(ZYL_StsBadArg, expanded, line);
    return true;
}

// The header check has refused empty images and regions, negative offsets,
// channels of interest and alpha channels that the image does not have, and
// faulty tile descriptors.
bool badAlphaImage(const Call &call, const ZylImage *image, const char *name) {
    if (failsFor(call, name, image == nullptr, "@==0") ||
        failsFor(call, name, zylBadImageHeader(image) != 0, "zylBadImageHeader(@) != 0")) {
        return true;
    }
    // The header of none is bad. NOLINTNEXTLINE(clang-analyzer-core.NullDereference)
    if (image->roi == nullptr) return false;
    return failsFor(call, name, image->roi->xOffset >= image->width,
                    "@->roi->xOffset >= @->width") ||
           failsFor(call, name, image->roi->yOffset >= image->height,
                    "@->roi->yOffset >= @->height");
}

bool badInterest(const Call &call, const ZylImage &src, const ZylImage &dst, const char *name) {
    const bool interest = channelOfInterest(dst) > 0;
    return failsFor(call, name, interest && src.roi == nullptr,
                    "dstImage->roi->coi > 0 && @->roi == 0") ||
           failsFor(call, name, interest && src.roi->coi == 0,
                    "dstImage->roi->coi > 0 && @->roi->coi == 0") ||
           failsFor(call, name, channelOfInterest(src) > 0 && dst.roi == nullptr,
                    "@->roi->coi > 0 && dstImage->roi == 0");
}

} // namespace zylqx

using namespace zylqx;

namespace {

// A sample scale in the range of the image's depth.
std::uint16_t cappedScale(std::uint32_t scale, std::uint32_t depth) {
    const std::uint32_t most = depth == ZYL_DEPTH_8U ? 255u : 65535u;
    return static_cast<std::uint16_t>(std::min(scale, most));
}

bool badDepth(const Call &call, const ZylImage &image, const char *name) {
    return failsFor(call, name, image.depth != ZYL_DEPTH_8U && image.depth != ZYL_DEPTH_16U,
                    "@->depth != 8 && @->depth != 16");
}

bool badChannelCount(const Call &call, const ZylImage &src, const ZylImage &dst, const char *name) {
    return failsFor(call, name, channelOfInterest(dst) == 0 && src.nChannels != dst.nChannels,
                    "@->nChannels != dstImage->nChannels");
}

// One channel of the destination and of up to two sources.
template <class T>
struct ChannelViews {
    View<T> d, a, b;
};

// Calls channels(...) for the channels that are processed; the samples of images
// that are all in pixel order are one channel.
template <class T, class F>
void forEachChannel(const GridPixels &d, const GridPixels &a, const GridPixels &b, int coiD,
                    int coiA, int coiB, F process) {
    if (coiD > 0) {
        process(ChannelViews<T>{d.channel<T>(coiD), a.channel<T>(coiA), b.channel<T>(coiB)});
    } else if (!isPlanar(d.image()) && !isPlanar(a.image()) && !isPlanar(b.image())) {
        process(ChannelViews<T>{d.allChannels<T>(), a.allChannels<T>(), b.allChannels<T>()});
    } else {
        for (int c = 1; c <= d.image().nChannels; ++c) {
            process(ChannelViews<T>{d.channel<T>(c), a.channel<T>(c), b.channel<T>(c)});
        }
    }
}

// Runs row(a, b, d, n) over the rows of a channel.
template <class T, class F>
void forEachRow(const ChannelViews<T> &c, F row) {
    const StepKernels &kernels = ZYLQX_KERNELS(stepKernels);
    constexpr int SIZE = sizeIndex(sizeof(T));
    const bool stepped = c.a.step != 1 || c.b.step != 1 || c.d.step != 1;
    T blockA[ALPHA_BLOCK], blockB[ALPHA_BLOCK], blockD[ALPHA_BLOCK];
    for (std::ptrdiff_t y = 0; y < c.d.rows; ++y) {
        if (!stepped) {
            row(c.a.row(y), c.b.row(y), c.d.row(y), c.d.columns);
            continue;
        }
        for (std::ptrdiff_t x = 0; x < c.d.columns; x += ALPHA_BLOCK) {
            const std::ptrdiff_t n = std::min(ALPHA_BLOCK, c.d.columns - x);
            kernels.gather[SIZE](c.a.row(y) + x * c.a.step, c.a.step, blockA, n);
            kernels.gather[SIZE](c.b.row(y) + x * c.b.step, c.b.step, blockB, n);
            row(blockA, blockB, blockD, n);
            kernels.scatter[SIZE](blockD, c.d.row(y) + x * c.d.step, c.d.step, n);
        }
    }
}

// Walks dst = row(a, b); for an operation with one source, b is a.
template <class T, class F>
void processProducts(const Call &call, ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                     const ZylTileMapping *mapping, F row) {
    const GridOperand operands[] = {{dstImage, true}, {srcImageA, false}, {srcImageB, false}};
    GridWalk walk(call, operands, 3, mapping);
    while (walk.next()) {
        forEachChannel<T>(walk.pixels(0), walk.pixels(1), walk.pixels(2),
                          channelOfInterest(*dstImage), channelOfInterest(*srcImageA),
                          channelOfInterest(*srcImageB),
                          [&](const ChannelViews<T> &channels) { forEachRow(channels, row); });
    }
}

template <class T>
void scaleImage(const Call &call, ZylImage *srcImage, ZylImage *dstImage, std::uint16_t scale,
                const ZylTileMapping *mapping) {
    const auto multiply = ZYLQX_KERNELS(alphaKernels).ofSize(sizeof(T)).multiplyConstant;
    processProducts<T>(
        call, srcImage, srcImage, dstImage, mapping,
        [&](const T *a, const T *, T *d, std::ptrdiff_t n) { multiply(a, scale, d, n); });
}

template <class T>
void multiplyImages(const Call &call, ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                    const ZylTileMapping *mapping) {
    const auto multiply = ZYLQX_KERNELS(alphaKernels).ofSize(sizeof(T)).multiply;
    processProducts<T>(
        call, srcImageA, srcImageB, dstImage, mapping,
        [&](const T *a, const T *b, T *d, std::ptrdiff_t n) { multiply(a, b, d, n); });
}

// --- pre-multiplied alpha ---

template <class T>
void fillChannel(const View<T> &channel, T value) {
    for (std::ptrdiff_t y = 0; y < channel.rows; ++y) {
        T *row = channel.row(y);
        for (std::ptrdiff_t x = 0; x < channel.columns; ++x) row[x * channel.step] = value;
    }
}

// One channel of colours times alpha.
template <class T>
void preMultiplyChannel(const GridPixels &pixels, int channel, PixelAlpha alpha) {
    const AlphaKernels::Depth &kernels = ZYLQX_KERNELS(alphaKernels).ofSize(sizeof(T));
    const View<T> colours = pixels.channel<T>(channel);
    const int alphaChannel = alpha.own ? pixels.image().alphaChannel : channel;
    const ChannelViews<T> channels = {colours, colours, pixels.channel<T>(alphaChannel)};
    forEachRow(channels, [&](const T *a, const T *b, T *d, std::ptrdiff_t n) {
        if (alpha.own) {
            kernels.multiply(a, b, d, n);
        } else {
            kernels.multiplyConstant(a, alpha.constant, d, n);
        }
    });
}

template <class T>
void preMultiplyBlock(const GridPixels &pixels, int coi, PixelAlpha alpha) {
    const ZylImage &image = pixels.image();
    const int alphaChannel = image.alphaChannel;
    if (coi == 0 && !isPlanar(image) && image.nChannels == 4 && alphaChannel == 4) {
        const View<T> all = pixels.allChannels<T>();
        for (std::ptrdiff_t y = 0; y < all.rows; ++y) {
            ZYLQX_KERNELS(alphaKernels)
                .ofSize(sizeof(T))
                .preMultiplyPixels(all.row(y), alpha, all.columns / 4);
        }
        return;
    }
    const int first = coi != 0 ? coi : 1;
    const int last = coi != 0 ? coi : image.nChannels;
    for (int channel = first; channel <= last; ++channel) {
        if (channel != alphaChannel) preMultiplyChannel<T>(pixels, channel, alpha);
    }
    if (!alpha.own && alphaChannel != 0) {
        fillChannel(pixels.channel<T>(alphaChannel), static_cast<T>(alpha.constant));
    }
}

template <class T>
void preMultiplyImage(const Call &call, ZylImage *image, PixelAlpha alpha,
                      const ZylTileMapping *mapping) {
    const GridOperand operand = {image, true};
    GridWalk walk(call, &operand, 1, mapping);
    while (walk.next()) preMultiplyBlock<T>(walk.pixels(0), channelOfInterest(*image), alpha);
}

} // namespace

void zylMultiplySScale(ZylImage *srcImage, ZylImage *dstImage, std::uint32_t scale,
                       const ZylTileMapping *mapping) {
    const Call call("zylMultiplySScale", ALPHA_FILE_NAME);
    if (badAlphaImage(call, dstImage, "dstImage") || badAlphaImage(call, srcImage, "srcImage") ||
        badDepth(call, *dstImage, "dstImage") ||
        call.fails(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth") ||
        badInterest(call, *srcImage, *dstImage, "srcImage") ||
        badChannelCount(call, *srcImage, *dstImage, "srcImage")) {
        return;
    }
    const std::uint16_t capped = cappedScale(scale, dstImage->depth);
    if (dstImage->depth == ZYL_DEPTH_8U) {
        scaleImage<std::uint8_t>(call, srcImage, dstImage, capped, mapping);
    } else {
        scaleImage<std::uint16_t>(call, srcImage, dstImage, capped, mapping);
    }
}

void zylMultiplyScale(ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                      const ZylTileMapping *mapping) {
    const Call call("zylMultiplyScale", ALPHA_FILE_NAME);
    if (badAlphaImage(call, dstImage, "dstImage") || badAlphaImage(call, srcImageA, "srcImageA") ||
        badAlphaImage(call, srcImageB, "srcImageB") || badDepth(call, *dstImage, "dstImage") ||
        call.fails(srcImageA->depth != dstImage->depth, "srcImageA->depth != dstImage->depth") ||
        call.fails(srcImageB->depth != dstImage->depth, "srcImageB->depth != dstImage->depth") ||
        badInterest(call, *srcImageA, *dstImage, "srcImageA") ||
        badInterest(call, *srcImageB, *dstImage, "srcImageB") ||
        badChannelCount(call, *srcImageA, *dstImage, "srcImageA") ||
        badChannelCount(call, *srcImageB, *dstImage, "srcImageB")) {
        return;
    }
    if (dstImage->depth == ZYL_DEPTH_8U) {
        multiplyImages<std::uint8_t>(call, srcImageA, srcImageB, dstImage, mapping);
    } else {
        multiplyImages<std::uint16_t>(call, srcImageA, srcImageB, dstImage, mapping);
    }
}

void zylPreMultiplyAlpha(ZylImage *image, std::int32_t alpha, const ZylTileMapping *mapping) {
    const Call call("zylPreMultiplyAlpha", ALPHA_FILE_NAME);
    if (badAlphaImage(call, image, "image") || badDepth(call, *image, "image") ||
        call.fails(image->alphaChannel > 0 && image->alphaChannel != image->nChannels,
                   "image->alphaChannel > 0 && image->alphaChannel != image->nChannels") ||
        call.fails(alpha < 0 && image->alphaChannel < 1, "image->alphaChannel < 1")) {
        return;
    }
    const PixelAlpha source = {
        alpha < 0, cappedScale(static_cast<std::uint32_t>(std::max(alpha, 0)), image->depth)};
    if (image->depth == ZYL_DEPTH_8U) {
        preMultiplyImage<std::uint8_t>(call, image, source, mapping);
    } else {
        preMultiplyImage<std::uint16_t>(call, image, source, mapping);
    }
}
