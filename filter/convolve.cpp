// Convolution with one or several integer kernels.

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "core/image.h"
#include "core/joined_rows.h"
#include "core/memory.h"
#include "core/walk_neighbourhoods.h"
#include "filter/kernels.h"
#include "filter/taps.h"

using namespace zylqx;

namespace {

constexpr Call CREATE("zylCreateConvKernel", "zylcnv2d");
constexpr Call GET("zylGetConvKernel", "zylcnv2d");
constexpr Call DELETE("zylDeleteConvKernel", "zylcnv2d");
constexpr Call CONVOLVE("zylConvolve2D", "zylcnv2d");

bool ownBadKernel(const ZylConvKernel *kernel) {
    return kernel->nRows <= 0 || kernel->nCols <= 0 || kernel->anchorX < 0 || kernel->anchorY < 0 ||
           kernel->nRows <= kernel->anchorY || kernel->nCols <= kernel->anchorX;
}

bool failed() {
    return zylGetErrStatus() < 0;
}

std::size_t cells(const ZylConvKernel &kernel) {
    return static_cast<std::size_t>(kernel.nRows) * static_cast<std::size_t>(kernel.nCols);
}

// Which results a source and a destination depth lead to.
enum class Path { None, Integer, Wide };

Path pathOf(std::uint32_t source, std::uint32_t destination) {
    switch (source) {
    case ZYL_DEPTH_1U:
        if (destination == ZYL_DEPTH_1U) return Path::Integer;
        [[fallthrough]];
    case ZYL_DEPTH_8U:
        if (destination == ZYL_DEPTH_8U) return Path::Integer;
        [[fallthrough]];
    case ZYL_DEPTH_8S:
        return destination == ZYL_DEPTH_8S ? Path::Integer : Path::None;
    case ZYL_DEPTH_16U:
        if (destination == ZYL_DEPTH_16U) return Path::Integer;
        [[fallthrough]];
    case ZYL_DEPTH_16S:
        if (destination == ZYL_DEPTH_16S) return Path::Integer;
        [[fallthrough]];
    default:
        return destination == ZYL_DEPTH_32S ? Path::Wide : Path::None;
    }
}

// The channel of interest, or all channels but an alpha channel, which counts as
// the last one.
ChannelRange channelsOf(const ZylImage &image) {
    const int coi = channelOfInterest(image);
    if (coi != 0) return {coi, coi, 1};
    return {1, 1, image.nChannels - (image.alphaChannel != 0 ? 1 : 0)};
}

constexpr int MOST_KERNELS = 100;

// One kernel of a call.
struct KernelTaps {
    TapList taps;
    int shift;
};

// Those of a call. There is room for all that a call may have, and only what is taken of
// it is set up.
class KernelList {
  public:
    KernelList() = default;
    KernelList(const KernelList &) = delete;
    KernelList &operator=(const KernelList &) = delete;
    ~KernelList() {
        while (count_ > 0) std::destroy_at(&parts()[--count_]);
    }

    // False when there was no memory.
    bool add(TapList taps, int shift) {
        const auto *part = new (&parts()[count_++]) KernelTaps{std::move(taps), shift};
        return static_cast<bool>(part->taps);
    }
    KernelTaps *parts() { return reinterpret_cast<KernelTaps *>(memory_); }

  private:
    alignas(KernelTaps) unsigned char memory_[MOST_KERNELS * sizeof(KernelTaps)];
    int count_ = 0;
};

struct Convolution {
    const KernelTaps *parts;
    int count;
    int method;
    Sample source, destination;
    Path path;
};

// One strip of a row through several kernels or through one whose results are
// squared. The sums of one kernel and the results so far.
struct Strip {
    alignas(64) unsigned char sums[STRIP * sizeof(double)];
    alignas(64) unsigned char results[STRIP * sizeof(double)];
};

Combine combineOf(int method) {
    switch (method) {
    case ZYL_MAX:
        return Combine::Max;
    case ZYL_MIN:
        return Combine::Min;
    case ZYL_SUM:
        return Combine::Add;
    default:
        return Combine::AddSquare;
    }
}

void integerStrip(const Convolution &c, std::ptrdiff_t x, void *d, std::ptrdiff_t n, Strip &strip) {
    const ConvolutionKernels &kernels = ZYLQX_KERNELS(convolutionKernels);
    const auto accumulate = kernels.accumulate[static_cast<int>(c.source)][1];
    auto *sums = reinterpret_cast<std::int32_t *>(strip.sums);
    auto *results = reinterpret_cast<std::int32_t *>(strip.results);
    const Combine combine = combineOf(c.method);
    for (int k = c.count - 1; k >= 0; --k) {
        const KernelTaps &part = c.parts[k];
        accumulate(part.taps.taps(), part.taps.count(), x, sums, n);
        if (k == c.count - 1) {
            kernels.combineFirst(sums, part.shift, combine == Combine::AddSquare, results, n);
        } else {
            kernels.combine[static_cast<int>(combine)](sums, part.shift, results, n);
        }
    }
    if (c.method == ZYL_SUMSQROOT) kernels.root(results, n);
    kernels.finish[static_cast<int>(Sum::S32)][static_cast<int>(c.destination)](results, 0, d, n);
}

void wideStrip(const Convolution &c, std::ptrdiff_t x, void *d, std::ptrdiff_t n, Strip &strip) {
    const ConvolutionKernels &kernels = ZYLQX_KERNELS(convolutionKernels);
    const auto accumulate = kernels.accumulateWide[static_cast<int>(c.source)];
    auto *sums = reinterpret_cast<double *>(strip.sums);
    auto *results = reinterpret_cast<double *>(strip.results);
    const Combine combine = combineOf(c.method);
    for (int k = c.count - 1; k >= 0; --k) {
        const KernelTaps &part = c.parts[k];
        double *to = k == c.count - 1 ? results : sums;
        accumulate(part.taps.taps(), part.taps.count(), x, to, n);
        if (part.shift != 0) kernels.shiftWide(to, part.shift, n);
        if (to == results) {
            if (combine == Combine::AddSquare) kernels.squareWide(results, n);
        } else {
            kernels.combineWide[static_cast<int>(combine)](sums, results, n);
        }
    }
    if (c.method == ZYL_SUMSQROOT) kernels.rootWide(results, n);
    kernels.finishWide(results, static_cast<std::int32_t *>(d), n);
}

// One kernel, no squares: the narrowest sums that hold its results.
void singleStrip(const Convolution &c, std::ptrdiff_t x, void *d, std::ptrdiff_t n, Strip &strip) {
    const ConvolutionKernels &kernels = ZYLQX_KERNELS(convolutionKernels);
    const KernelTaps &part = c.parts[0];
    const Sum sum = part.taps.sum();
    kernels.accumulate[static_cast<int>(c.source)][sumWidth(sum)](
        part.taps.taps(), part.taps.count(), x, strip.sums, n);
    kernels.finish[static_cast<int>(sum)][static_cast<int>(c.destination)](strip.sums, part.shift,
                                                                           d, n);
}

bool convolvePiece(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                   const Convolution &c) {
    PieceRows rows(piece, box, passes, box.rows, 1);
    if (!rows) return false;
    const bool single = c.count == 1 && c.method != ZYL_SUMSQ && c.method != ZYL_SUMSQROOT;
    const auto stripOf = c.path == Path::Wide ? wideStrip : single ? singleStrip : integerStrip;
    const std::ptrdiff_t bytes = rowSampleBytes(piece.destination.depth);
    Strip strip;
    for (int pass = 0; pass < passes.count(); ++pass) {
        rows.select(passes, pass);
        for (std::int64_t y = 0; y < piece.height; ++y) {
            for (int k = 0; k < c.count; ++k) {
                c.parts[k].taps.placeAt(rows.source, piece.boxY + y);
            }
            auto *d = static_cast<unsigned char *>(rows.destination.row(piece.dstY + y));
            for (std::int64_t x = 0; x < rows.samples; x += STRIP) {
                const std::ptrdiff_t n = std::min<std::ptrdiff_t>(STRIP, rows.samples - x);
                stripOf(c, x, d + x * bytes, n, strip);
            }
            rows.destination.finish(piece.dstY + y);
        }
    }
    return true;
}

// What all kernels together look at.
Box boxOf(ZylConvKernel *const *kernel, int nKernels) {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t right = 0;
    std::int64_t bottom = 0;
    for (int k = 0; k < nKernels; ++k) {
        left = std::max<std::int64_t>(left, kernel[k]->anchorX);
        top = std::max<std::int64_t>(top, kernel[k]->anchorY);
        right = std::max<std::int64_t>(right, kernel[k]->nCols - kernel[k]->anchorX - 1);
        bottom = std::max<std::int64_t>(bottom, kernel[k]->nRows - kernel[k]->anchorY - 1);
    }
    return {left + right + 1, top + bottom + 1, left, top};
}

bool badArguments(const ZylImage *srcImage, const ZylImage *dstImage, ZylConvKernel *const *kernel,
                  std::int32_t nKernels, std::int32_t combineMethod,
                  const ZylTileMapping *mapping) {
    CONVOLVE.fails(srcImage == nullptr, "srcImage==0");
    CONVOLVE.fails(dstImage == nullptr, "dstImage==0");
    if (failed() || CONVOLVE.badHeader(srcImage) || CONVOLVE.badHeader(dstImage) ||
        CONVOLVE.fails(kernel == nullptr, "kernel==0") ||
        CONVOLVE.fails(nKernels <= 0 || nKernels > MOST_KERNELS, "(nKernels<=0 || nKernels>100)") ||
        CONVOLVE.fails(combineMethod < ZYL_SUM || combineMethod > ZYL_MIN,
                       "( combineMethod != 0 && combineMethod != 1 && combineMethod != 2 && "
                       "combineMethod != 3 && combineMethod != 4)")) {
        return true;
    }
    for (int i = 0; i < nKernels; ++i) {
        if (CONVOLVE.fails(kernel[i] == nullptr, "kernel[i]==0") ||
            CONVOLVE.fails(ownBadKernel(kernel[i]), "ownBadKernel(kernel[i])") ||
            CONVOLVE.fails(kernel[i]->values == nullptr, "kernel[i]->values==0")) {
            return true;
        }
    }
    // The header of none is bad. NOLINTBEGIN(clang-analyzer-core.NullDereference)
    return mapping != nullptr &&
           CONVOLVE.fails(mapping->xDst < 0 || mapping->xDst > dstImage->width - 1 ||
                              mapping->yDst < 0 || mapping->yDst > dstImage->height - 1,
                          "( mapping->xDst < 0 || mapping->xDst > dstImage->width-1 || "
                          "mapping->yDst < 0 || mapping->yDst > dstImage->height-1)");
    // NOLINTEND(clang-analyzer-core.NullDereference)
}

} // namespace

ZylConvKernel *zylCreateConvKernel(std::int32_t nRows, std::int32_t nCols, std::int32_t anchorX,
                                   std::int32_t anchorY, const std::int8_t *values,
                                   std::int32_t nShiftR) {
    if (CREATE.fails(values == nullptr, "(values == 0)") ||
        CREATE.fails(nRows <= 0 || nCols <= 0, "(nRows<=0 || nCols<=0)") ||
        CREATE.fails(anchorX < 0 || anchorY < 0 || nRows <= anchorY || nCols <= anchorX,
                     "(anchorX<0 ||anchorY<0 ||nRows<=anchorY || nCols<=anchorX)")) {
        return nullptr;
    }
    void *record = allocateBlock(sizeof(ZylConvKernel));
    if (record == nullptr) {
        CREATE.report(ZYL_StsNoMem, "Allocation failure");
        return nullptr;
    }
    auto *kernel = new (record) ZylConvKernel{nRows, nCols, anchorX, anchorY, nShiftR, nullptr};
    kernel->values = static_cast<std::int8_t *>(allocateBlock(cells(*kernel)));
    if (kernel->values == nullptr) {
        freeBlock(kernel);
        CREATE.report(ZYL_StsNoMem, "Allocation failure");
        return nullptr;
    }
    std::memcpy(kernel->values, values, cells(*kernel));
    return kernel;
}

void zylGetConvKernel(const ZylConvKernel *kernel, std::int32_t *nRows, std::int32_t *nCols,
                      std::int32_t *anchorX, std::int32_t *anchorY, std::int8_t **values,
                      std::int32_t *nShiftR) {
    if (GET.fails(kernel == nullptr, "kernel==0") ||
        GET.fails(ownBadKernel(kernel), "ownBadKernel(kernel)")) {
        return;
    }
    GET.fails(nRows == nullptr, "nRows==0");
    GET.fails(nCols == nullptr, "nCols==0");
    if (failed()) return;
    GET.fails(anchorX == nullptr, "anchorX==0");
    GET.fails(anchorY == nullptr, "anchorY==0");
    if (failed() || GET.fails(values == nullptr || *values == nullptr, "values==0") ||
        GET.fails(nShiftR == nullptr, "nShiftR==0")) {
        return;
    }
    // An early report in silent mode, or a status reset by the report callback,
    // must not lead to a null pointer.
    if (nRows == nullptr || nCols == nullptr || anchorX == nullptr || anchorY == nullptr) return;
    *nRows = kernel->nRows;
    *nCols = kernel->nCols;
    *anchorX = kernel->anchorX;
    *anchorY = kernel->anchorY;
    *nShiftR = kernel->nShiftR;
    if (kernel->values != nullptr) std::memcpy(*values, kernel->values, cells(*kernel));
}

void zylDeleteConvKernel(ZylConvKernel *kernel) {
    if (DELETE.fails(kernel == nullptr, "kernel==0") ||
        DELETE.fails(kernel->values == nullptr, "kernel->values==0")) {
        return;
    }
    freeBlock(kernel->values);
    freeBlock(kernel);
}

void zylConvolve2D(ZylImage *srcImage, ZylImage *dstImage, ZylConvKernel *const *kernel,
                   std::int32_t nKernels, std::int32_t combineMethod,
                   const ZylTileMapping *mapping) {
    if (badArguments(srcImage, dstImage, kernel, nKernels, combineMethod, mapping)) return;
    const ChannelRange source = channelsOf(*srcImage);
    const ChannelRange destination = channelsOf(*dstImage);
    const Path path = pathOf(srcImage->depth, dstImage->depth);
    if (CONVOLVE.fails(source.count != destination.count, "Uncompatible images") ||
        CONVOLVE.fails(path == Path::None, "Inadmissible images depths")) {
        return;
    }
    if (source.count == 0) return;

    const Passes passes({source.source, destination.source, source.count}, *srcImage, *dstImage);
    const Box box = boxOf(kernel, nKernels);
    KernelList kernels;
    for (int k = 0; k < nKernels; ++k) {
        const ZylConvKernel &one = *kernel[k];
        const bool added =
            kernels.add(TapList(one.values, one.nRows, one.nCols, box.anchorX - one.anchorX,
                                box.anchorY - one.anchorY, rangeOf(srcImage->depth),
                                passes.step() * rowSampleBytes(srcImage->depth)),
                        one.nShiftR & 31);
        if (!added) {
            CONVOLVE.report(ZYL_StsNoMem, "Allocation failure");
            return;
        }
    }
    const Convolution convolution = {kernels.parts(),
                                     nKernels,
                                     combineMethod,
                                     sampleOf(depthIndex(srcImage->depth)),
                                     sampleOf(depthIndex(dstImage->depth)),
                                     path};
    auto convolve = [&](const NeighbourPiece &piece) {
        return convolvePiece(piece, box, passes, convolution);
    };
    auto visit = [&](const NeighbourPiece &piece) {
        return joinNarrowRows(piece, box, passes, convolve);
    };
    const WalkResult walked = walkNeighbourhoods(
        *srcImage, *dstImage, clippedPair(*srcImage, *dstImage), box, mapping, visit);
    if (walked == WalkResult::NoMemory) CONVOLVE.report(ZYL_StsNoMem, "Allocation failure");
    reportTiles(CONVOLVE, walked);
}
