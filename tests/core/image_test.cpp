// Image records: strides and sizes, creation, pixel memory, and what is freed.

#include <climits>
#include <cstring>
#include <gtest/gtest.h>
#include <random>
#include <vector>

#include "core/image.h"
#include "tests/support/images.h"

namespace {

using support::ALL_DEPTHS;
using support::AllocationFault;

// The arguments of zylCreateImageHeader() that may be refused.
struct HeaderArguments {
    std::int32_t nChannels = 1;
    std::int32_t alphaChannel = 0;
    std::uint32_t depth = ZYL_DEPTH_8U;
    std::int32_t dataOrder = ZYL_DATA_ORDER_PIXEL;
    std::int32_t origin = ZYL_ORIGIN_TL;
    std::int32_t align = ZYL_ALIGN_4;
    std::int32_t height = 5;
    std::int32_t width = 10;
};

ZylImage *create(const HeaderArguments &a, ZylROI *roi = nullptr, ZylTileInfo *tileInfo = nullptr) {
    return zylCreateImageHeader(a.nChannels, a.alphaChannel, a.depth, "GRAY", "G   ", a.dataOrder,
                                a.origin, a.align, a.height, a.width, roi, nullptr, tileInfo);
}

std::int32_t strideOf(std::int32_t dataOrder, std::uint32_t depth, std::int32_t align,
                      std::int32_t nChannels, std::int32_t width) {
    ZylImage format{};
    format.dataOrder = dataOrder;
    format.depth = depth;
    format.align = align;
    format.nChannels = nChannels;
    return zylqx::rowStride(format, width);
}

TEST(Stride, WorkedCases) {
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PIXEL, ZYL_DEPTH_8U, 4, 3, 3), 12);
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PIXEL, ZYL_DEPTH_1U, 4, 1, 10), 4);
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PIXEL, ZYL_DEPTH_8U, 8, 1, 10), 16);
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PLANE, ZYL_DEPTH_16U, 4, 3, 5), 12);
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PIXEL, ZYL_DEPTH_16U, 4, 3, 5), 32);
}

TEST(Stride, WhatDoesNotFitIn31BitsIsZero) {
    constexpr std::int32_t order = ZYL_DATA_ORDER_PIXEL;
    EXPECT_EQ(strideOf(order, ZYL_DEPTH_8U, 4, 1, INT_MAX - 3), INT_MAX - 3);
    EXPECT_EQ(strideOf(order, ZYL_DEPTH_8U, 4, 1, INT_MAX - 2), 0);
    EXPECT_EQ(strideOf(order, ZYL_DEPTH_1U, 4, 1, INT_MAX), 0x10000000);
    EXPECT_EQ(strideOf(order, ZYL_DEPTH_32S, 8, INT_MAX, INT_MAX), 0);
    EXPECT_EQ(strideOf(ZYL_DATA_ORDER_PLANE, ZYL_DEPTH_8U, 8, INT_MAX, 10), 16);

    struct {
        HeaderArguments arguments;
        std::int32_t widthStep, imageSize;
    } const cases[] = {
        {{.height = 46340, .width = 46340}, 46340, 46340 * 46340},
        {{.height = 46341, .width = 46341}, 46344, 0},
        {{.nChannels = 3, .height = 65536, .width = 65536}, 196608, 0},
        {{.nChannels = 4, .depth = ZYL_DEPTH_32S, .width = 1 << 28}, 0, 0},
        {{.nChannels = INT_MAX, .dataOrder = ZYL_DATA_ORDER_PLANE}, 12, 0},
        {{.height = 0, .width = 0}, 0, 0},
        {{.height = INT_MAX, .width = 0}, 0, 0},
    };
    for (const auto &c : cases) {
        ZylImage *image = create(c.arguments);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->widthStep, c.widthStep);
        EXPECT_EQ(image->imageSize, c.imageSize);
        if (c.imageSize == 0 && c.arguments.width > 0) {
            // Treated as exhausted memory.
            zylAllocateImage(image, 0);
            EXPECT_EQ(image->imageDataOrigin, nullptr);
            EXPECT_EQ(image->imageData, nullptr);
        }
        zylDeallocateHeader(image);
    }
}

TEST(Header, HoldsItsArguments) {
    ZylROI roi = {1, 2, 3, 4, 5};
    ZylTileInfo tile = {};
    int tag = 0;
    ZylImage *image = zylCreateImageHeader(4, 2, ZYL_DEPTH_16S, "RGBA", "BGRA", 1, 1, 8, 5, 10,
                                           &roi, &tag, &tile);
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(image->headerSize, static_cast<std::int32_t>(sizeof(ZylImage)));
    EXPECT_EQ(image->headerId, 0);
    EXPECT_EQ(image->nChannels, 4);
    EXPECT_EQ(image->alphaChannel, 2);
    EXPECT_EQ(image->depth, ZYL_DEPTH_16S);
    EXPECT_EQ(std::memcmp(image->colorModel, "RGBA", 4), 0);
    EXPECT_EQ(std::memcmp(image->channelSeq, "BGRA", 4), 0);
    EXPECT_EQ(image->dataOrder, ZYL_DATA_ORDER_PLANE);
    EXPECT_EQ(image->origin, ZYL_ORIGIN_BL);
    EXPECT_EQ(image->align, 8);
    EXPECT_EQ(image->height, 5);
    EXPECT_EQ(image->width, 10);
    EXPECT_EQ(image->roi, &roi);
    EXPECT_EQ(image->maskRoi, nullptr);
    EXPECT_EQ(image->imageTag, &tag);
    EXPECT_EQ(image->tileInfo, &tile);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->imageDataOrigin, nullptr);
    EXPECT_EQ(image->widthStep, 24);
    EXPECT_EQ(image->imageSize, 24 * 5 * 4);
    for (int side = 0; side < 4; ++side) {
        EXPECT_EQ(image->borderMode[side], ZYL_BORDER_CONSTANT);
        EXPECT_EQ(image->borderConst[side], 0);
    }
    zylDeallocateHeader(image);
}

TEST(Header, RefusesBadArguments) {
    const HeaderArguments refused[] = {
        {.nChannels = 0},
        {.nChannels = -1},
        {.alphaChannel = -1},
        {.alphaChannel = 2},
        {.depth = 0},
        {.depth = 32},
        {.depth = ZYL_DEPTH_SIGN | 1u},
        {.depth = ZYL_DEPTH_SIGN},
        {.dataOrder = 2},
        {.dataOrder = -1},
        {.origin = 2},
        {.align = 2},
        {.align = 16},
        {.align = 0},
        {.height = -1},
        {.width = -1},
    };
    int index = 0;
    for (const HeaderArguments &arguments : refused) {
        EXPECT_EQ(create(arguments), nullptr) << "case " << index;
        ++index;
    }
    for (const bool model : {false, true}) {
        EXPECT_EQ(zylCreateImageHeader(1, 0, ZYL_DEPTH_8U, model ? "GRAY" : nullptr,
                                       model ? nullptr : "G   ", 0, 0, 4, 1, 1, nullptr, nullptr,
                                       nullptr),
                  nullptr);
    }
}

TEST(Pixels, AreFilledWithTheLowBits) {
    struct {
        std::uint32_t depth;
        std::int32_t fill;
        std::int64_t sample;
    } const cases[] = {
        {ZYL_DEPTH_1U, 2, 0},       {ZYL_DEPTH_1U, 3, 1},
        {ZYL_DEPTH_8U, 0x1FE, 254}, {ZYL_DEPTH_8S, -2, -2},
        {ZYL_DEPTH_16U, -2, 65534}, {ZYL_DEPTH_16S, -2, -2},
        {ZYL_DEPTH_32S, -2, -2},    {ZYL_DEPTH_32S, INT_MIN, INT_MIN},
    };
    for (const auto &c : cases) {
        ZylImage *image = create({.depth = c.depth, .align = 8, .height = 3, .width = 11});
        zylAllocateImage(image, c.fill);
        ASSERT_NE(image->imageData, nullptr);
        EXPECT_EQ(zylBadImageHeader(image), 0);
        for (int y = 0; y < 3; ++y) {
            for (int x = 0; x < 11; ++x) EXPECT_EQ(support::readSample(*image, x, y, 1), c.sample);
        }
        // Padding included, to the last byte.
        EXPECT_EQ(image->imageData[image->imageSize - 1], image->imageData[3]);
        zylDeallocate(image, ZYL_DEALLOC_ALL);
    }
}

TEST(Pixels, FollowTheHeaderAtTheTimeOfTheCall) {
    ZylImage *image = create({});
    image->align = ZYL_ALIGN_8;
    image->width = 33;
    image->height = 7;
    zylAllocateImage(image, -1);
    EXPECT_EQ(image->widthStep, 40);
    EXPECT_EQ(image->imageSize, 280);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(image->imageData) % 8, 0u);
    std::memset(image->imageData, 1, 280);
    // The first block is freed, or the leak checker complains.
    zylAllocateImage(image, 0);
    EXPECT_EQ(image->imageData[279], 0);
    zylDeallocateImage(image);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->imageDataOrigin, nullptr);
    zylDeallocateHeader(image);
}

TEST(Pixels, EmptyImagesAreAllocatedButNotSound) {
    ZylImage *image = create({.width = 0});
    zylAllocateImage(image, 0);
    EXPECT_NE(image->imageData, nullptr);
    EXPECT_EQ(zylBadImageHeader(image), ZYL_FAULT_SIZE | ZYL_FAULT_WIDTH_STEP);
    zylDeallocate(image, ZYL_DEALLOC_ALL);
}

TEST(Pixels, OfTheApplicationAreNeverFreed) {
    unsigned char own[64] = {};
    ZylImage *image = create({});
    image->imageData = own;
    zylDeallocate(image, ZYL_DEALLOC_DATA);
    EXPECT_EQ(image->imageData, own);
    zylDeallocateImage(image);
    EXPECT_EQ(image->imageData, nullptr);

    // A header with a bad field is left alone, and gets no pixels.
    image->imageData = own;
    image->align = 3;
    zylDeallocateImage(image);
    EXPECT_EQ(image->imageData, own);
    zylAllocateImage(image, 0);
    EXPECT_EQ(image->imageData, nullptr);
    EXPECT_EQ(image->imageSize, 0);
    zylDeallocateHeader(image);
}

TEST(Pixels, ExhaustedMemoryLeavesTheHeader) {
    unsigned char own[64] = {};
    ZylImage *image = create({});
    image->imageData = own;
    image->widthStep = 12;
    {
        const AllocationFault fault(1);
        zylAllocateImage(image, 0);
    }
    EXPECT_EQ(image->imageDataOrigin, nullptr);
    EXPECT_EQ(image->imageData, own);

    zylAllocateImage(image, 0);
    {
        const AllocationFault fault(1);
        zylAllocateImage(image, 0); // the block before is gone, and so must be its address
    }
    EXPECT_EQ(image->imageDataOrigin, nullptr);
    EXPECT_EQ(image->imageData, nullptr);
    zylDeallocateHeader(image);
}

// Images in memory by their bytes, even one that begins within the other.
TEST(Pixels, AreSharedWhereTheyOverlap) {
    std::vector<unsigned char> bytes(200);
    ZylImage *first = create({.height = 5, .width = 20});
    ZylImage *second = create({.height = 5, .width = 20});
    first->imageData = bytes.data();
    for (const int offset : {0, 1, 99, 100}) {
        second->imageData = bytes.data() + offset;
        EXPECT_EQ(zylqx::sharePixels(*first, *second), offset < 100) << offset;
        EXPECT_EQ(zylqx::sharePixels(*second, *first), offset < 100) << offset;
    }
    zylDeallocate(first, ZYL_DEALLOC_HEADER);
    zylDeallocate(second, ZYL_DEALLOC_HEADER);
}

TEST(Deallocate, FreesTheNamedPartsOnly) {
    const auto complete = [] {
        ZylImage *image =
            create({}, zylCreateROI(0, 0, 0, 1, 1), zylCreateTileInfo(nullptr, nullptr, 8, 8));
        zylAllocateImage(image, 0);
        image->maskRoi =
            create({}, zylCreateROI(0, 0, 0, 1, 1), zylCreateTileInfo(nullptr, nullptr, 8, 8));
        zylAllocateImage(image->maskRoi, 0);
        return image;
    };
    // Every combination of parts, then the rest: the leak checker sees a part
    // that is forgotten, the address checker one that is freed twice.
    for (int flags = 0; flags <= ZYL_DEALLOC_ALL; ++flags) {
        ZylImage *image = complete();
        const int parts = flags & ~ZYL_DEALLOC_HEADER;
        zylDeallocate(image, parts);
        EXPECT_EQ(image->roi == nullptr, (flags & ZYL_DEALLOC_ROI) != 0);
        EXPECT_EQ(image->tileInfo == nullptr, (flags & ZYL_DEALLOC_TILE) != 0);
        EXPECT_EQ(image->maskRoi == nullptr, (flags & ZYL_DEALLOC_MASK) != 0);
        EXPECT_EQ(image->imageData == nullptr, (flags & ZYL_DEALLOC_DATA) != 0);
        EXPECT_EQ(image->imageDataOrigin == nullptr, (flags & ZYL_DEALLOC_DATA) != 0);
        zylDeallocate(image, ZYL_DEALLOC_ALL);
    }
}

TEST(Records, NullIsIgnored) {
    zylAllocateImage(nullptr, 0);
    zylDeallocateImage(nullptr);
    zylDeallocate(nullptr, ZYL_DEALLOC_ALL);
    zylDeallocateHeader(nullptr);
    zylSetROI(nullptr, 1, 2, 3, 4, 5);
    zylDeleteROI(nullptr);
    zylSetTileInfo(nullptr, nullptr, nullptr, 8, 8);
    zylDeleteTileInfo(nullptr);
    zylSetBorderMode(nullptr, 0, ZYL_SIDE_ALL, 0);
    zylFree(nullptr);
}

TEST(Records, RegionsAndTilesHoldTheirArguments) {
    ZylROI *roi = zylCreateROI(1, 2, 3, 4, 5);
    EXPECT_EQ(std::vector<int>({roi->coi, roi->xOffset, roi->yOffset, roi->height, roi->width}),
              std::vector<int>({1, 2, 3, 4, 5}));
    zylSetROI(roi, -1, -2, -3, -4, -5);
    EXPECT_EQ(std::vector<int>({roi->coi, roi->xOffset, roi->yOffset, roi->height, roi->width}),
              std::vector<int>({-1, -2, -3, -4, -5}));
    zylDeleteROI(roi);

    const ZylTileCallBack callBack = [](ZylImage *, std::int32_t, std::int32_t, std::int32_t) {};
    int id = 0;
    ZylTileInfo *tile = zylCreateTileInfo(callBack, &id, 16, 8);
    EXPECT_EQ(tile->callBack, callBack);
    EXPECT_EQ(tile->id, &id);
    EXPECT_EQ(tile->tileData, nullptr);
    EXPECT_EQ(tile->width, 16);
    EXPECT_EQ(tile->height, 8);
    unsigned char pixel = 0;
    tile->tileData = &pixel;
    zylSetTileInfo(tile, nullptr, nullptr, 24, 32);
    EXPECT_EQ(tile->tileData, nullptr);
    EXPECT_EQ(tile->width, 24);
    zylDeleteTileInfo(tile);
}

TEST(Records, BorderModesAreSetBySide) {
    ZylImage *image = create({});
    zylSetBorderMode(image, 2, ZYL_SIDE_TOP | ZYL_SIDE_LEFT | 0x70, 7);
    const int modes[] = {2, 0, 2, 0};
    const int values[] = {7, 0, 7, 0};
    for (int side = 0; side < 4; ++side) {
        EXPECT_EQ(image->borderMode[side], modes[side]);
        EXPECT_EQ(image->borderConst[side], values[side]);
    }
    zylDeallocateHeader(image);
}

TEST(Records, CreationFailsWithoutMemory) {
    const auto refused = [](auto make) {
        const AllocationFault fault(1);
        return make() == nullptr;
    };
    EXPECT_TRUE(refused([] { return create({}); }));
    EXPECT_TRUE(refused([] { return zylCreateROI(0, 0, 0, 1, 1); }));
    EXPECT_TRUE(refused([] { return zylCreateTileInfo(nullptr, nullptr, 8, 8); }));
    EXPECT_TRUE(refused([] { return zylMalloc(1); }));
}

template <class T>
void expectUsable(T *(ZYL_CALL *allocate)(std::int32_t), std::size_t elementSize) {
    for (const std::int32_t n : {0, 1, 7, 1000}) {
        void *block = allocate(n);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
        std::memset(block, 0xA5, static_cast<std::size_t>(n) * elementSize);
        zylFree(block);
    }
    EXPECT_EQ(allocate(-1), nullptr);
    EXPECT_EQ(allocate(INT_MIN), nullptr);
}

TEST(Memory, BlocksAreAlignedAndWhole) {
    expectUsable(zylMalloc, 1);
    expectUsable(zylwMalloc, 2);
    expectUsable(zyliMalloc, 4);
    expectUsable(zylsMalloc, 4);
    expectUsable(zyldMalloc, 8);
}

} // namespace
