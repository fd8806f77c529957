// Convolution with a column and a row of coefficients.

#include <algorithm>

#include "core/image.h"
#include "core/joined_rows.h"
#include "core/memory.h"
#include "core/walk_neighbourhoods.h"
#include "filter/kernels.h"
#include "filter/taps.h"

using namespace zylqx;

namespace {

constexpr Call CALL("zylConvolveSep2D", "zylcsep2");

bool badArguments(const ZylImage *srcImage, const ZylImage *dstImage, const ZylConvKernel *Xkernel,
                  const ZylConvKernel *Ykernel) {
    if (CALL.badHeader(srcImage) || CALL.badHeader(dstImage)) return true;
    bool bad = CALL.fails(Xkernel == nullptr, "Xkernel==0");
    bad = CALL.fails(Ykernel == nullptr, "Ykernel==0") || bad;
    if (bad || zylGetErrStatus() < 0) return true;

    const int srcCoi = channelOfInterest(*srcImage);
    const int dstCoi = channelOfInterest(*dstImage);
    const auto test = [&bad](bool condition, const char *text, int line = __builtin_LINE()) {
        bad = CALL.fails(condition, text, line) || bad;
    };
    test(srcImage->depth != dstImage->depth, "srcImage->depth != dstImage->depth");
    test(srcImage->origin != dstImage->origin, "srcImage->origin != dstImage->origin");
    test(srcImage->dataOrder != dstImage->dataOrder, "srcImage->dataOrder != dstImage->dataOrder");
    test(srcImage->nChannels != dstImage->nChannels, "srcImage->nChannels != dstImage->nChannels");
    test((srcImage->nChannels > 1 && srcCoi != 0 && dstCoi == 0) || (dstCoi != 0 && srcCoi == 0),
         "nChannels in srcImage ROI != nChannels in dstImage ROI");
    test(Xkernel->nCols <= 0, "Xkernel->nCols <= 0");
    test(Ykernel->nRows <= 0, "Ykernel->nRows <= 0");
    test(Xkernel->values == nullptr, "Xkernel->values==0");
    test(Ykernel->values == nullptr, "Ykernel->values==0");
    return bad || zylGetErrStatus() < 0;
}

// What the row of vertical sums holds.
Sample sampleOf(Sum sum) {
    return sum == Sum::S16 ? Sample::S16 : sum == Sum::U16 ? Sample::U16 : Sample::S32;
}

struct Separable {
    TapList vertical, horizontal;
    Sample source, destination;
    Sum sum, result; // of the column, and of the row of such sums
    int shift;
};

bool convolvePiece(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                   const Separable &s) {
    const ConvolutionKernels &kernels = ZYLQX_KERNELS(convolutionKernels);
    const auto down = kernels.accumulate[static_cast<int>(s.source)][sumWidth(s.sum)];
    const auto across = kernels.accumulate[static_cast<int>(sampleOf(s.sum))][sumWidth(s.result)];
    const auto finish = kernels.finish[static_cast<int>(s.result)][static_cast<int>(s.destination)];
    const std::ptrdiff_t sumBytes = s.sum == Sum::S32 ? 4 : 2;
    const std::ptrdiff_t bytes = rowSampleBytes(piece.destination.depth);

    PieceRows rows(piece, box, passes, box.rows, 1);
    const std::int64_t columns = rows.samples + (box.columns - 1) * passes.step();
    const Scratch<std::int32_t> scratch(static_cast<std::uint64_t>(columns));
    if (!rows || !scratch) return false;
    auto *sums = reinterpret_cast<unsigned char *>(scratch.data());
    alignas(64) unsigned char strip[STRIP * sizeof(std::int32_t)];
    s.horizontal.placeAt(sums);
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            s.vertical.placeAt(rows.source, piece.boxY + y);
            for (std::int64_t x = 0; x < columns; x += STRIP) {
                down(s.vertical.taps(), s.vertical.count(), x, sums + x * sumBytes,
                     std::min<std::ptrdiff_t>(STRIP, columns - x));
            }
            auto *d = static_cast<unsigned char *>(rows.destination.row(piece.dstY + y));
            for (std::int64_t x = 0; x < rows.samples; x += STRIP) {
                const std::ptrdiff_t n = std::min<std::ptrdiff_t>(STRIP, rows.samples - x);
                across(s.horizontal.taps(), s.horizontal.count(), x, strip, n);
                finish(strip, s.shift, d + x * bytes, n);
            }
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

} // namespace

void zylConvolveSep2D(ZylImage *srcImage, ZylImage *dstImage, const ZylConvKernel *Xkernel,
                      const ZylConvKernel *Ykernel) {
    if (badArguments(srcImage, dstImage, Xkernel, Ykernel)) return;
    const int srcCoi = channelOfInterest(*srcImage);
    const int dstCoi = channelOfInterest(*dstImage);
    ChannelRange channels = {1, 1, srcImage->nChannels};
    if (srcCoi != 0 || dstCoi != 0) {
        channels = {srcCoi != 0 ? srcCoi : dstCoi, dstCoi != 0 ? dstCoi : srcCoi, 1};
    }
    const Passes passes(channels, *srcImage, *dstImage);
    const Box box = {Xkernel->nCols, Ykernel->nRows, Xkernel->anchorX, Ykernel->anchorY};
    Separable separable;
    separable.vertical = TapList(Ykernel->values, box.rows, 1, 0, 0, rangeOf(srcImage->depth),
                                 passes.step() * rowSampleBytes(srcImage->depth));
    // Samples of 32 bits have no narrow sums, not even where all coefficients are 0.
    separable.sum = srcImage->depth == ZYL_DEPTH_32S ? Sum::S32 : separable.vertical.sum();
    separable.horizontal =
        TapList(Xkernel->values, 1, box.columns, 0, 0, separable.vertical.range(),
                passes.step() * (separable.sum == Sum::S32 ? 4 : 2));
    if (!separable.vertical || !separable.horizontal) return;
    separable.source = zylqx::sampleOf(depthIndex(srcImage->depth));
    separable.destination = zylqx::sampleOf(depthIndex(dstImage->depth));
    // Sums of 32 bits may have wrapped; what they are multiplied by wraps too.
    separable.result = separable.sum == Sum::S32 ? Sum::S32 : separable.horizontal.sum();
    separable.shift = static_cast<int>((static_cast<std::uint32_t>(Xkernel->nShiftR) +
                                        static_cast<std::uint32_t>(Ykernel->nShiftR)) &
                                       31u);

    auto convolve = [&](const NeighbourPiece &piece) {
        return convolvePiece(piece, box, passes, separable);
    };
    auto visit = [&](const NeighbourPiece &piece) {
        return joinNarrowRows(piece, box, passes, convolve);
    };
    reportTiles(CALL, walkNeighbourhoods(*srcImage, *dstImage, uncutPair(*srcImage, *dstImage), box,
                                         nullptr, visit));
}
