// Copy, set and exchange: operations that move samples without computing on
// them. They cut regions and walk tiles by rules of their own.

#include <algorithm>
#include <cstring>

#include "arith/pointwise.h"
#include "core/image.h"
#include "core/scratch_image.h"
#include "core/step_kernels.h"
#include "core/walk_tiles.h"

using namespace zylqx;

namespace {

constexpr const char *FILE_NAME = "zylSCE";

// --- geometry ---

// Where the samples of an area lie, for an image in memory. The stride follows
// from the header's other fields; widthStep is not read.
struct AreaSamples {
    std::uint32_t depth;
    unsigned char *data;
    int bit;               // of the first byte, where 1-bit samples start
    std::ptrdiff_t step;   // samples from one to the next
    std::ptrdiff_t stride; // bytes; 0 when a row has more than 31 bits can count
    std::ptrdiff_t planeStep;
    std::ptrdiff_t count; // samples in a row
    std::ptrdiff_t rows;
    std::ptrdiff_t planes;

    // Whether rows follow each other without a gap.
    bool solid() const { return step == 1 && count * sampleBytes(depth) == stride; }

    // Whether rows of bits start and end with a byte.
    bool wholeBytes() const { return depth == ZYL_DEPTH_1U && bit == 0 && count % 8 == 0; }
    void countBytes() {
        depth = ZYL_DEPTH_8U;
        count /= 8;
    }
};

AreaSamples areaSamples(const ZylImage &image, const Area &area) {
    const std::ptrdiff_t bytes = sampleBytes(image.depth);
    const std::ptrdiff_t channels = area.coi != 0 ? 1 : image.nChannels;
    const std::ptrdiff_t channel = area.coi != 0 ? area.coi - 1 : 0;
    AreaSamples s = {};
    s.depth = image.depth;
    s.step = 1;
    s.stride = rowStride(image, image.width);
    s.planeStep = image.height * s.stride;
    s.count = area.width;
    s.rows = area.height;
    s.planes = 1;
    s.data = image.imageData + area.y * s.stride;
    if (image.depth == ZYL_DEPTH_1U) {
        s.data += area.x / 8;
        s.bit = area.x % 8;
    } else if (isPlanar(image)) {
        s.data += channel * s.planeStep + area.x * bytes;
        s.planes = channels;
    } else {
        s.data += (std::ptrdiff_t{area.x} * image.nChannels + channel) * bytes;
        s.step = area.coi != 0 ? image.nChannels : 1;
        s.count *= channels;
    }
    return s;
}

// Makes rows of whole bytes of bits in both images rows of bytes.
void takeWholeBytes(AreaSamples &a, AreaSamples &b) {
    if (!a.wholeBytes() || !b.wholeBytes()) return;
    a.countBytes();
    b.countBytes();
}

// Calls row(a, b, n) for every two rows of n samples.
template <class F>
void forEachRowPair(const AreaSamples &a, const AreaSamples &b, F row) {
    if (a.stride == 0 || b.stride == 0) return;
    const bool oneRun = a.solid() && b.solid();
    const std::ptrdiff_t rows = oneRun ? 1 : a.rows;
    const std::ptrdiff_t count = oneRun ? a.count * a.rows : a.count;
    for (std::ptrdiff_t plane = 0; plane < a.planes; ++plane) {
        for (std::ptrdiff_t y = 0; y < rows; ++y) {
            row(a.data + plane * a.planeStep + y * a.stride,
                b.data + plane * b.planeStep + y * b.stride, count);
        }
    }
}

// --- moving samples ---

void moveBits(ConstBits from, Bits to, std::ptrdiff_t n) {
    ZYLQX_KERNELS(logicKernels).bitUnary(from, to, n, BITS_KEPT);
}

// Copies n samples from position x of a row into a block.
void loadSamples(const AreaSamples &s, const unsigned char *row, std::ptrdiff_t x, std::ptrdiff_t n,
                 SampleBlock &block) {
    const std::ptrdiff_t bytes = sampleBytes(s.depth);
    if (s.depth == ZYL_DEPTH_1U) {
        moveBits({row + x / 8, s.bit}, {block.samples, 0}, n);
    } else if (s.step == 1) {
        std::memcpy(block.samples, row + x * bytes, static_cast<std::size_t>(n * bytes));
    } else {
        ZYLQX_KERNELS(stepKernels)
            .gather[sizeIndex(bytes)](row + x * s.step * bytes, s.step, block.samples, n);
    }
}

// Copies a block's n samples to position x of a row.
void storeSamples(const AreaSamples &d, unsigned char *row, std::ptrdiff_t x, std::ptrdiff_t n,
                  const SampleBlock &block) {
    const std::ptrdiff_t bytes = sampleBytes(d.depth);
    if (d.depth == ZYL_DEPTH_1U) {
        moveBits({block.samples, 0}, {row + x / 8, d.bit}, n);
    } else if (d.step == 1) {
        std::memcpy(row + x * bytes, block.samples, static_cast<std::size_t>(n * bytes));
    } else {
        ZYLQX_KERNELS(stepKernels)
            .scatter[sizeIndex(bytes)](block.samples, row + x * d.step * bytes, d.step, n);
    }
}

void copyRow(const AreaSamples &s, const unsigned char *from, const AreaSamples &d,
             unsigned char *to, std::ptrdiff_t n) {
    const std::ptrdiff_t bytes = sampleBytes(s.depth);
    if (s.depth == ZYL_DEPTH_1U) {
        moveBits({from, s.bit}, {to, d.bit}, n);
        return;
    }
    if (s.step == 1 && d.step == 1) {
        if (s.solid() && d.solid()) {
            std::memmove(to, from, static_cast<std::size_t>(n * bytes));
        } else {
            ZYLQX_KERNELS(copyKernels).copy(from, to, n * bytes);
        }
        return;
    }
    if (d.step == 1) {
        ZYLQX_KERNELS(stepKernels).gather[sizeIndex(bytes)](from, s.step, to, n);
        return;
    }
    if (s.step == 1) {
        ZYLQX_KERNELS(stepKernels).scatter[sizeIndex(bytes)](from, to, d.step, n);
        return;
    }
    SampleBlock block;
    for (std::ptrdiff_t x = 0; x < n; x += SAMPLE_BLOCK) {
        const std::ptrdiff_t part = std::min(SAMPLE_BLOCK, n - x);
        loadSamples(s, from, x, part, block);
        storeSamples(d, to, x, part, block);
    }
}

// Both images in memory, both areas of the same size.
void copyPixels(const ZylImage &src, const Area &srcArea, const ZylImage &dst,
                const Area &dstArea) {
    AreaSamples s = areaSamples(src, srcArea);
    AreaSamples d = areaSamples(dst, dstArea);
    takeWholeBytes(s, d);
    forEachRowPair(s, d, [&](const unsigned char *from, unsigned char *to, std::ptrdiff_t n) {
        copyRow(s, from, d, to, n);
    });
}

void exchangePixels(const ZylImage &imageA, const Area &areaA, const ZylImage &imageB,
                    const Area &areaB) {
    AreaSamples a = areaSamples(imageA, areaA);
    AreaSamples b = areaSamples(imageB, areaB);
    takeWholeBytes(a, b);
    if (a.depth != ZYL_DEPTH_1U && a.step == 1 && b.step == 1) {
        const std::ptrdiff_t bytes = sampleBytes(a.depth);
        const auto exchange = ZYLQX_KERNELS(copyKernels).exchange;
        forEachRowPair(a, b, [&](unsigned char *rowA, unsigned char *rowB, std::ptrdiff_t n) {
            exchange(rowA, rowB, n * bytes);
        });
        return;
    }
    SampleBlock blockA, blockB;
    forEachRowPair(a, b, [&](unsigned char *rowA, unsigned char *rowB, std::ptrdiff_t n) {
        for (std::ptrdiff_t x = 0; x < n; x += SAMPLE_BLOCK) {
            const std::ptrdiff_t part = std::min(SAMPLE_BLOCK, n - x);
            loadSamples(a, rowA, x, part, blockA);
            loadSamples(b, rowB, x, part, blockB);
            storeSamples(b, rowB, x, part, blockA);
            storeSamples(a, rowA, x, part, blockB);
        }
    });
}

// A constant in the range of the image's depth.
std::int32_t clampToDepth(std::int32_t value, std::uint32_t depth) {
    if (depth == ZYL_DEPTH_32S) return value;
    const int bits = depthBits(depth);
    if ((depth & ZYL_DEPTH_SIGN) != 0) {
        return std::clamp(value, -(1 << (bits - 1)), (1 << (bits - 1)) - 1);
    }
    return std::clamp(value, 0, (1 << bits) - 1);
}

void setPixels(const ZylImage &image, const Area &area, std::int32_t value) {
    AreaSamples d = areaSamples(image, area);
    auto bits = static_cast<std::uint32_t>(value);
    if (d.wholeBytes()) {
        d.countBytes();
        bits = value != 0 ? 0xFFu : 0u;
    }
    const auto fill = ZYLQX_KERNELS(copyKernels).fill[sizeIndex(sampleBytes(d.depth))];
    const BitUnaryRow fillBits = ZYLQX_KERNELS(logicKernels).bitUnary;
    forEachRowPair(d, d, [&](unsigned char *row, unsigned char *, std::ptrdiff_t n) {
        if (d.depth == ZYL_DEPTH_1U) {
            fillBits({row, d.bit}, {row, d.bit}, n, bits != 0 ? BITS_SET : BITS_CLEARED);
        } else {
            fill(row, d.step, n, bits);
        }
    });
}

// --- tiles ---

// An image for the channels that an area of `image` has.
ScratchImage bufferFor(const ZylImage &image, const Area &area) {
    ZylImage format = image;
    format.nChannels = effectiveChannels(image);
    return {format, area.width, area.height};
}
Area wholeOf(const ZylImage &buffer) {
    return {0, 0, buffer.width, buffer.height, 0};
}

// Both areas have the same size, which is not empty. A tiled source's tiles are
// requested with `readMode`. False when something ended the walk early. Once the
// thread's status is negative, tiles are still walked but no samples are moved.
bool copyAreas(const Call &call, ZylImage &src, const Area &srcArea, ZylImage &dst,
               const Area &dstArea, const std::int32_t *dstTile,
               std::int32_t readMode = ZYL_GET_TILE_TO_READ) {
    if (!isTiled(src) || !isTiled(dst)) {
        const WalkedImage from = {&src, srcArea, readMode};
        const WalkedImage to = {&dst, dstArea, ZYL_GET_TILE_TO_WRITE};
        return walkTilePairs(call, to, from, dstTile, [](const TilePiece &d, const TilePiece &s) {
            if (zylGetErrStatus() >= 0) copyPixels(*s.image, s.area, *d.image, d.area);
            return true;
        });
    }
    // No two tiles are held at a time: both images may share their tiles.
    return forEachTile(dst, dstArea, dstTile, [&](const TilePart &part) {
        ScratchImage buffer = bufferFor(src, part.inTile);
        if (!buffer) return false;
        ZylImage &held = buffer.image();
        return copyAreas(call, src, part.of(srcArea), held, wholeOf(held), nullptr, readMode) &&
               zylGetErrStatus() >= 0 &&
               copyAreas(call, held, wholeOf(held), dst, part.of(dstArea), nullptr);
    });
}

void exchangeAreas(const Call &call, ZylImage &imageA, const Area &areaA, ZylImage &imageB,
                   const Area &areaB, const std::int32_t *tileB) {
    if (!isTiled(imageA) || !isTiled(imageB)) {
        const WalkedImage a = {&imageA, areaA, ZYL_GET_TILE_TO_WRITE};
        const WalkedImage b = {&imageB, areaB, ZYL_GET_TILE_TO_WRITE};
        walkTilePairs(call, b, a, tileB, [](const TilePiece &pieceB, const TilePiece &pieceA) {
            if (zylGetErrStatus() >= 0) {
                exchangePixels(*pieceA.image, pieceA.area, *pieceB.image, pieceB.area);
            }
            return true;
        });
        return;
    }
    // The first image's samples wait in a buffer, which is exchanged with the
    // second image's tile and copied back. Both images are written, so all tiles
    // are requested for writing.
    const Call copyCall("zylCopy", FILE_NAME);
    forEachTile(imageB, areaB, tileB, [&](const TilePart &part) {
        ScratchImage buffer = bufferFor(imageA, part.inTile);
        if (!buffer) return false;
        ZylImage &held = buffer.image();
        const Area partOfA = part.of(areaA);
        if (!copyAreas(call, imageA, partOfA, held, wholeOf(held), nullptr,
                       ZYL_GET_TILE_TO_WRITE) ||
            zylGetErrStatus() < 0) {
            return false;
        }
        bool exchanged = false;
        withTile(call, imageB, part, ZYL_GET_TILE_TO_WRITE, [&](const ZylImage &tile) {
            if (zylGetErrStatus() < 0) return;
            exchangePixels(held, wholeOf(held), tile, part.inTile);
            exchanged = true;
        });
        return exchanged && copyAreas(copyCall, held, wholeOf(held), imageA, partOfA, nullptr);
    });
}

// --- checks ---

// Every comparison is reported. A status that an earlier call has left negative
// ends the call as well.
bool badPair(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage) {
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return true;
    const bool depth = call.fails(srcImage->depth != dstImage->depth, //
                                  "srcImage->depth != dstImage->depth");
    const bool order = call.fails(srcImage->dataOrder != dstImage->dataOrder,
                                  "srcImage->dataOrder != dstImage->dataOrder");
    const bool origin =
        call.fails(srcImage->origin != dstImage->origin, "srcImage->origin != dstImage->origin");
    return depth || order || origin || zylGetErrStatus() < 0;
}

// The regions of two images, cut to a common size; false when there is nothing
// to do.
bool matchAreas(const ZylImage &imageA, Area &areaA, const ZylImage &imageB, Area &areaB) {
    if (effectiveChannels(imageA) != effectiveChannels(imageB)) return false;
    areaA = clippedArea(imageA);
    areaB = clippedArea(imageB);
    cutToCommonSize(areaA, areaB);
    return !areaA.empty();
}

} // namespace

void zylCopy(ZylImage *srcImage, ZylImage *dstImage, const std::int32_t *dstTile) {
    const Call call("zylCopy", FILE_NAME);
    if (badPair(call, srcImage, dstImage)) return;
    Area srcArea, dstArea;
    if (!matchAreas(*srcImage, srcArea, *dstImage, dstArea)) return;
    copyAreas(call, *srcImage, srcArea, *dstImage, dstArea, dstTile);
}

void zylSet(ZylImage *image, std::int32_t fillValue, const std::int32_t *tile) {
    const Call call("zylSet", FILE_NAME);
    if (call.badHeader(image)) return;
    const Area area = clippedArea(*image);
    if (area.empty()) return;
    const std::int32_t value = clampToDepth(fillValue, image->depth);
    walkTiles(call, *image, area, ZYL_GET_TILE_TO_WRITE, tile, [&](const TilePiece &piece) {
        setPixels(*piece.image, piece.area, value);
        return true;
    });
}

void zylExchange(ZylImage *imageA, ZylImage *imageB, const std::int32_t *tile) {
    const Call call("zylExchange", FILE_NAME);
    if (badPair(call, imageA, imageB)) return;
    Area areaA, areaB;
    if (!matchAreas(*imageA, areaA, *imageB, areaB)) return;
    exchangeAreas(call, *imageA, areaA, *imageB, areaB, tile);
}
