// The steps that all arithmetic and logic operations share: the checks of their
// images, and the road from the images to the rows of a kernel.
#ifndef ZYLQX_ARITH_POINTWISE_H
#define ZYLQX_ARITH_POINTWISE_H

#include "arith/kernels.h"
#include "core/call.h"
#include "core/walk_pieces.h"

namespace zylqx {

// Reports the first thing that keeps the images of a two-source or one-source
// operation from going together; true when there is one.
bool badImages(const Call &call, const ZylImage *srcImageA, const ZylImage *srcImageB,
               const ZylImage *dstImage);
bool badImages(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage);

// dst = a operation b, by the loop of the images' depth, or by that of 1-bit samples.
void processBinary(const Call &call, ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                   const std::int32_t *dstTile, const BinaryRows &rows, BitBinaryRow bitRow,
                   bool reverse = false);

// Samples on their way between rows of different steps or offsets; a multiple of
// 64 that stays in the nearest cache.
constexpr std::ptrdiff_t SAMPLE_BLOCK = 1024;
struct SampleBlock {
    alignas(64) unsigned char samples[SAMPLE_BLOCK * 4];
};

// How a one-source operation makes rows of its images (core/frame.h). Logic takes
// whole buffers of images in memory alone, not of tiles.
enum class Rows { Kernel, Logic, LogicWholeBuffer };

struct UnaryOperation {
    Rows rows;
    const UnaryRows &loops;
    UnaryConstant constant;
    BitConstant bits; // for 1-bit samples
    const char *nullText = NULL_POINTER_TEXT;
};

void processUnary(const Call &call, ZylImage *srcImage, ZylImage *dstImage,
                  const std::int32_t *dstTile, const UnaryOperation &operation);

// What a 1-bit sample becomes.
constexpr BitConstant BITS_CLEARED{0, 0};
constexpr BitConstant BITS_SET{0, ~std::uint64_t{0}};
constexpr BitConstant BITS_KEPT{~std::uint64_t{0}, 0};
constexpr BitConstant BITS_INVERTED{~std::uint64_t{0}, ~std::uint64_t{0}};

} // namespace zylqx

#endif
