#include "core/image.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "core/memory.h"

namespace zylqx {

namespace {

static_assert(sizeof(void *) != 4 || sizeof(ZylImage) == 112, "28 fields of four bytes");

constexpr std::int64_t MAX_BYTES = std::numeric_limits<std::int32_t>::max();

template <class T>
T *newRecord() {
    void *block = allocateBlock(sizeof(T));
    return block != nullptr ? new (block) T{} : nullptr;
}

// 32 bits of samples that all hold the low bits of `value`.
std::uint32_t fillPattern(std::uint32_t depth, std::int32_t value) {
    const auto bits = static_cast<std::uint32_t>(value);
    switch (depthBits(depth)) {
    case 1:
        return (bits & 1u) != 0 ? 0xffffffffu : 0u;
    case 8:
        return (bits & 0xffu) * 0x01010101u;
    case 16:
        return (bits & 0xffffu) * 0x00010001u;
    default:
        return bits;
    }
}

void releasePixels(ZylImage &image) {
    freeBlock(image.imageDataOrigin);
    image.imageDataOrigin = nullptr;
    image.imageData = nullptr;
}

} // namespace

std::int32_t rowStride(const ZylImage &format, std::int32_t width) {
    if (depthIndex(format.depth) < 0 || format.align <= 0 || format.nChannels <= 0 || width <= 0) {
        return 0;
    }
    std::int64_t bits = std::int64_t{width} * depthBits(format.depth);
    if (!isPlanar(format) && __builtin_mul_overflow(bits, std::int64_t{format.nChannels}, &bits)) {
        return 0;
    }
    if (bits > MAX_BYTES * 8) return 0;
    const std::int64_t unit = std::int64_t{format.align} * 8; // a power of two
    const std::int64_t stride = ((bits + unit - 1) & -unit) / 8;
    return stride <= MAX_BYTES ? static_cast<std::int32_t>(stride) : 0;
}

std::int32_t imageBytes(const ZylImage &image, std::int32_t stride) {
    if (stride <= 0 || image.height <= 0 || image.nChannels <= 0) return 0;
    std::int64_t size = std::int64_t{stride} * image.height;
    const std::int64_t planes = isPlanar(image) ? image.nChannels : 1;
    if (__builtin_mul_overflow(size, planes, &size) || size > MAX_BYTES) return 0;
    return static_cast<std::int32_t>(size);
}

ZylImage memoryHeader(const ZylImage &format, std::int32_t width, std::int32_t height) {
    ZylImage header = format;
    header.roi = nullptr;
    header.tileInfo = nullptr;
    header.imageData = header.imageDataOrigin = nullptr;
    header.width = width;
    header.height = height;
    header.widthStep = rowStride(format, width);
    header.imageSize = imageBytes(header, header.widthStep);
    return header;
}

bool sharePixels(const ZylImage &a, const ZylImage &b) {
    if (isTiled(a) || isTiled(b)) return a.tileInfo == b.tileInfo;
    const auto beginA = reinterpret_cast<std::uintptr_t>(a.imageData);
    const auto beginB = reinterpret_cast<std::uintptr_t>(b.imageData);
    const auto bytes = [](const ZylImage &image) {
        return static_cast<std::uintptr_t>(imageBytes(image, image.widthStep));
    };
    return beginA < beginB + bytes(b) && beginB < beginA + bytes(a);
}

std::int32_t fieldFaults(const ZylImage &image) {
    std::int32_t mask = 0;
    if (image.height < 0 || image.width < 0) mask |= ZYL_FAULT_SIZE;
    if (image.nChannels < 1) mask |= ZYL_FAULT_CHANNELS;
    if (depthIndex(image.depth) < 0) mask |= ZYL_FAULT_DEPTH;
    if (image.alphaChannel < 0 || image.alphaChannel > image.nChannels) mask |= ZYL_FAULT_ALPHA;
    if (image.dataOrder != ZYL_DATA_ORDER_PIXEL && !isPlanar(image)) mask |= ZYL_FAULT_DATA_ORDER;
    if (image.origin != ZYL_ORIGIN_TL && image.origin != ZYL_ORIGIN_BL) mask |= ZYL_FAULT_ORIGIN;
    if (image.align != ZYL_ALIGN_4 && image.align != ZYL_ALIGN_8) mask |= ZYL_FAULT_ALIGN;
    return mask;
}

} // namespace zylqx

using namespace zylqx;

ZylImage *zylCreateImageHeader(std::int32_t nChannels, std::int32_t alphaChannel,
                               std::uint32_t depth, const char *colorModel, const char *channelSeq,
                               std::int32_t dataOrder, std::int32_t origin, std::int32_t align,
                               std::int32_t height, std::int32_t width, ZylROI *roi, void *imageTag,
                               ZylTileInfo *tileInfo) {
    if (colorModel == nullptr || channelSeq == nullptr) return nullptr;

    ZylImage header{};
    header.headerSize = sizeof(ZylImage);
    header.nChannels = nChannels;
    header.alphaChannel = alphaChannel;
    header.depth = depth;
    std::memcpy(header.colorModel, colorModel, sizeof header.colorModel);
    std::memcpy(header.channelSeq, channelSeq, sizeof header.channelSeq);
    header.dataOrder = dataOrder;
    header.origin = origin;
    header.align = align;
    header.height = height;
    header.width = width;
    header.roi = roi;
    header.imageTag = imageTag;
    header.tileInfo = tileInfo;
    if (fieldFaults(header) != 0) return nullptr;

    header.widthStep = rowStride(header, width);
    header.imageSize = imageBytes(header, header.widthStep);
    zylSetBorderMode(&header, ZYL_BORDER_CONSTANT, ZYL_SIDE_ALL, 0);

    auto *image = newRecord<ZylImage>();
    if (image != nullptr) *image = header;
    return image;
}

void zylAllocateImage(ZylImage *image, std::int32_t fillValue) {
    if (image == nullptr) return;
    if (fieldFaults(*image) != 0) {
        image->imageData = nullptr;
        image->imageSize = 0;
        return;
    }
    if (image->imageDataOrigin != nullptr) releasePixels(*image);

    const std::int32_t stride = rowStride(*image, image->width);
    const std::int32_t size = imageBytes(*image, stride);
    const bool tooLarge = size == 0 && image->width > 0 && image->height > 0;
    void *block = tooLarge ? nullptr : allocateBlock(static_cast<std::size_t>(size));
    image->imageDataOrigin = static_cast<unsigned char *>(block);
    if (block == nullptr) return;

    image->imageData = image->imageDataOrigin; // a block is aligned for every row alignment
    image->widthStep = stride;
    image->imageSize = size;
    if (fillValue != -1) {
        std::fill_n(static_cast<std::uint32_t *>(block),
                    static_cast<std::size_t>(size) / sizeof(std::uint32_t),
                    fillPattern(image->depth, fillValue));
    }
}

void zylDeallocateImage(ZylImage *image) {
    if (image == nullptr || fieldFaults(*image) != 0) return;
    releasePixels(*image);
}

void zylDeallocate(ZylImage *image, std::int32_t flags) {
    if (image == nullptr) return;
    if ((flags & ZYL_DEALLOC_ROI) != 0) {
        zylDeleteROI(image->roi);
        image->roi = nullptr;
    }
    if ((flags & ZYL_DEALLOC_MASK) != 0) {
        zylDeallocate(image->maskRoi,
                      ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA | ZYL_DEALLOC_ROI | ZYL_DEALLOC_TILE);
        image->maskRoi = nullptr;
    }
    if ((flags & ZYL_DEALLOC_TILE) != 0) {
        zylDeleteTileInfo(image->tileInfo);
        image->tileInfo = nullptr;
    }
    if ((flags & ZYL_DEALLOC_DATA) != 0 && image->imageDataOrigin != nullptr) {
        releasePixels(*image);
    }
    if ((flags & ZYL_DEALLOC_HEADER) != 0) freeBlock(image);
}

void zylDeallocateHeader(ZylImage *image) {
    zylDeallocate(image, ZYL_DEALLOC_HEADER);
}

ZylROI *zylCreateROI(std::int32_t coi, std::int32_t xOffset, std::int32_t yOffset,
                     std::int32_t height, std::int32_t width) {
    auto *roi = newRecord<ZylROI>();
    zylSetROI(roi, coi, xOffset, yOffset, height, width);
    return roi;
}

void zylSetROI(ZylROI *roi, std::int32_t coi, std::int32_t xOffset, std::int32_t yOffset,
               std::int32_t height, std::int32_t width) {
    if (roi != nullptr) *roi = {coi, xOffset, yOffset, height, width};
}

void zylDeleteROI(ZylROI *roi) {
    freeBlock(roi);
}

ZylTileInfo *zylCreateTileInfo(ZylTileCallBack callBack, void *id, std::int32_t width,
                               std::int32_t height) {
    auto *tileInfo = newRecord<ZylTileInfo>();
    zylSetTileInfo(tileInfo, callBack, id, width, height);
    return tileInfo;
}

void zylSetTileInfo(ZylTileInfo *tileInfo, ZylTileCallBack callBack, void *id, std::int32_t width,
                    std::int32_t height) {
    if (tileInfo != nullptr) *tileInfo = {callBack, id, nullptr, width, height};
}

void zylDeleteTileInfo(ZylTileInfo *tileInfo) {
    freeBlock(tileInfo);
}

void zylSetBorderMode(ZylImage *image, std::int32_t mode, std::int32_t sides, std::int32_t value) {
    if (image == nullptr) return;
    for (int i = 0; i < 4; ++i) {
        if ((sides >> i & 1) == 0) continue;
        image->borderMode[i] = mode;
        image->borderConst[i] = value;
    }
}
