// The two-dimensional Fourier transform of a real image and its packed spectrum.
//
// Rows first, sixteen at a time; their terms go into the columns of a block that
// holds the whole spectrum of one channel; then the columns. The reverse
// transform takes the columns first. A region of one row or one column is no
// special case: a transform of length 1 changes nothing. Blocks of 8 x 8 and 16 x 16
// have kernels that do all of this at once, and need no memory.
#include <algorithm>
#include <bit>
#include <cstdint>

#include "core/call.h"
#include "core/image.h"
#include "transform/fft_cache.h"
#include "transform/kept_state.h"
#include "transform/kernels.h"
#include "transform/rounding.h"

using namespace zylqx;

namespace {

// What ends a call, or lets it go on.
enum class Outcome { Error, Nothing, Done };

struct Region {
    std::int64_t x = 0, y = 0;
    std::int64_t width = 0, height = 0;
    int firstChannel = 0, lastChannel = 0;
};

// What a call does, as ZYL_FFT_REPEAT does it again.
struct SetUp {
    ZylImage src = {}; // copies of the headers; their regions are not looked at again
    ZylImage dst = {};
    int sign = 0;
    bool scaled = false;
    int skippedChannel = 0; // 0 for none
    bool fixedPoint = false;
    bool ready = false; // false until a set-up has succeeded
};

// The set-up lives until the next call, the cache until it is released by a flag,
// by the end of a call that does not keep it, or because memory ran out.
struct State {
    SetUp setUp;
    FftCache cache;

    void release() { cache.release(); }
};

constinit KeptState<State> keptState;
const DestroyedAtExit<State> atExit{keptState};

// Fixed point is the default up to this many pixels.
constexpr std::int64_t SMALL_REGION = 128;

bool badRoi(const ZylImage &image) {
    const ZylROI *roi = image.roi;
    if (roi == nullptr) return false;
    return roi->coi < 0 || roi->coi > image.nChannels || roi->xOffset < 0 || roi->yOffset < 0 ||
           std::int64_t{roi->xOffset} + roi->width > image.width ||
           std::int64_t{roi->yOffset} + roi->height > image.height;
}

// The part of the images that both regions hold, in image coordinates.
Outcome findRegion(const ZylImage &src, const ZylImage &dst, Region &region) {
    if (badRoi(src) || badRoi(dst)) return Outcome::Error;
    const int coi = channelOfInterest(src);
    if (coi != channelOfInterest(dst)) return Outcome::Error;
    region.firstChannel = coi != 0 ? coi : 1;
    region.lastChannel = coi != 0 ? coi : src.nChannels;

    const auto whole = [](const ZylImage &image) {
        return image.roi != nullptr ? *image.roi : ZylROI{0, 0, 0, image.height, image.width};
    };
    const ZylROI a = whole(src);
    const ZylROI b = whole(dst);
    region.x = std::max(a.xOffset, b.xOffset);
    region.y = std::max(a.yOffset, b.yOffset);
    region.width =
        std::min(std::int64_t{a.xOffset} + a.width, std::int64_t{b.xOffset} + b.width) - region.x;
    region.height =
        std::min(std::int64_t{a.yOffset} + a.height, std::int64_t{b.yOffset} + b.height) - region.y;
    return region.width > 0 && region.height > 0 ? Outcome::Done : Outcome::Nothing;
}

Outcome makeSetUp(const ZylImage &src, const ZylImage &dst, int flags, SetUp &setUp,
                  Region &region) {
    setUp.ready = false;
    const bool forward = (flags & ZYL_FFT_FORWARD) != 0;
    const bool inverse = (flags & ZYL_FFT_INVERSE) != 0;
    const bool fixedPoint = (flags & ZYL_FFT_FIXED_POINT) != 0;
    const bool floating = (flags & ZYL_FFT_FLOATING) != 0;
    if (zylBadImageHeader(&src) != 0 || zylBadImageHeader(&dst) != 0) return Outcome::Error;
    if (forward == inverse || (fixedPoint && floating)) return Outcome::Error;
    if (src.nChannels != dst.nChannels || src.alphaChannel != dst.alphaChannel) {
        return Outcome::Error;
    }
    const Outcome outcome = findRegion(src, dst, region);
    if (outcome != Outcome::Done) return outcome;
    if (src.depth == ZYL_DEPTH_1U || dst.depth == ZYL_DEPTH_1U) return Outcome::Error;

    setUp.src = src;
    setUp.dst = dst;
    setUp.sign = forward ? -1 : 1;
    setUp.scaled = inverse && (flags & ZYL_FFT_NO_SCALE) == 0;
    setUp.skippedChannel = (flags & ZYL_FFT_WITH_ALPHA) != 0 ? 0 : src.alphaChannel;
    setUp.fixedPoint = fixedPoint || (!floating && region.width * region.height <= SMALL_REGION);
    setUp.ready = true;
    return Outcome::Done;
}

// The region of the headers given, if the images of the set-up have it too.
Outcome repeatSetUp(const ZylImage &src, const ZylImage &dst, const SetUp &setUp, Region &region) {
    if (!setUp.ready) return Outcome::Error;
    const Outcome outcome = findRegion(src, dst, region);
    if (outcome != Outcome::Done) return outcome;
    const auto holds = [&](const ZylImage &image) {
        return region.x + region.width <= image.width && region.y + region.height <= image.height &&
               region.lastChannel <= image.nChannels;
    };
    return holds(setUp.src) && holds(setUp.dst) ? Outcome::Done : Outcome::Error;
}

bool isPowerOfTwo(std::int64_t n) {
    return n >= 2 && std::has_single_bit(static_cast<std::uint64_t>(n));
}

FftFinish finishOf(const SetUp &setUp, const Region &region) {
    constexpr int FRACTION_BITS = 6;
    FftFinish finish;
    const double pixels = static_cast<double>(region.width) * static_cast<double>(region.height);
    const auto scale = static_cast<float>(1 / pixels);
    if (!setUp.fixedPoint) {
        if (setUp.scaled) finish.scale = scale;
        return finish;
    }
    finish.shift = FRACTION_BITS;
    if (!setUp.scaled) return finish;
    if (isPowerOfTwo(region.width) && isPowerOfTwo(region.height)) {
        finish.shift += std::countr_zero(static_cast<std::uint64_t>(region.width)) +
                        std::countr_zero(static_cast<std::uint64_t>(region.height));
        finish.shift = std::min(finish.shift, 31); // nothing is left of 32 bits
    } else {
        finish.scale = scale;
    }
    return finish;
}

const FftKernels<float> &kernels(float) {
    return ZYLQX_KERNELS(floatFftKernels);
}
const FftKernels<std::int32_t> &kernels(std::int32_t) {
    return ZYLQX_KERNELS(fixedFftKernels);
}

const BlockKernels &blockKernels(float) {
    return ZYLQX_KERNELS(floatBlockKernels);
}
const BlockKernels &blockKernels(std::int32_t) {
    return ZYLQX_KERNELS(fixedBlockKernels);
}
// The kernels for a region that is transformed whole; null for others.
template <class S>
const BlockKernels::Side *blockSide(const Region &region) {
    if (region.width != region.height) return nullptr;
    const BlockKernels &blocks = blockKernels(S());
    return region.width == 8 ? &blocks.side8 : region.width == 16 ? &blocks.side16 : nullptr;
}

const LineKernels<float> &lineKernels(const FftTables<float> &tables) {
    return tables.complexAny != nullptr ? ZYLQX_KERNELS(anyLengthKernels).lines
                                        : kernels(0.0F).lines;
}
const LineKernels<std::int32_t> &lineKernels(const FftTables<std::int32_t> &) {
    return kernels(0).lines;
}

// Bytes of memory for the transform of a panel's lines.
std::uint64_t workBytes(const FftTables<float> &tables) {
    if (tables.complexAny != nullptr) {
        return static_cast<std::uint64_t>(tables.complexAny->radices.length) * ANY_LENGTH_WORK;
    }
    return tables.direct != nullptr ? static_cast<std::uint64_t>(tables.length) * DIRECT_WORK : 1;
}
std::uint64_t workBytes(const FftTables<std::int32_t> &tables) {
    return tables.direct != nullptr ? static_cast<std::uint64_t>(tables.length) * DIRECT_WORK : 1;
}

// The transforms of one region. S is float, or int32_t for fixed point.
template <class S>
class FourierTransform {
  public:
    FourierTransform(const SetUp &setUp, const Region &region)
        : k_(kernels(S())), whole_(blockSide<S>(region)), setUp_(setUp), region_(region),
          columns_(region.width), rows_(region.height), finish_(finishOf(setUp, region)) {}

    // Obtains everything that can be refused; false when memory is exhausted.
    bool prepare(FftCache &cache) {
        if (whole_ != nullptr) return true;
        rowTables_ = cache.tables<S>(columns_);
        columnTables_ = cache.tables<S>(rows_);
        if (rowTables_ == nullptr || columnTables_ == nullptr) return false;

        const auto buffer = [&](FftCache::Slot slot, std::int64_t values) {
            return static_cast<S *>(
                cache.buffer(slot, static_cast<std::uint64_t>(values) * LINES * sizeof(S)));
        };
        const std::int64_t longer = std::max(columns_, rows_);
        const std::int64_t pairs = (columns_ - 1) / 2;
        lines_ = buffer(FftCache::Lines, raised(columns_));
        packed_ = buffer(FftCache::Packed, longer + PACKED_SLACK);
        edges_ = buffer(FftCache::Edges, raised(rows_));
        block_.data = buffer(FftCache::Columns, raised(pairs) / LINES * raised(rows_) * 2);
        block_.columns = static_cast<std::ptrdiff_t>(pairs);
        block_.panelRows = static_cast<std::ptrdiff_t>(raised(rows_));
        work_ = cache.buffer(FftCache::Work,
                             std::max(workBytes(*rowTables_), workBytes(*columnTables_)));
        rowLines_ = &lineKernels(*rowTables_);
        columnLines_ = &lineKernels(*columnTables_);
        return lines_ && packed_ && edges_ && block_.data && work_;
    }

    void realToPacked(int channel) const {
        const int sign = setUp_.sign;
        if (whole_ != nullptr) {
            return whole_->realToPacked(from(channel, 0, 0), finish_, sign, to(channel, 0, 0));
        }
        for (std::ptrdiff_t y = 0; y < rows_; y += LINES) {
            k_.loadRows(from(channel, 0, y), rowsAt(y), columns_, lines_);
            rowLines_->realLines(lines_, packed_, *rowTables_, sign, work_);
            k_.rowsToColumns(packed_, columns_, y, block_, edges_);
        }
        columnLines_->realLines(edges_, packed_, *columnTables_, sign, work_);
        k_.storeColumn(packed_, rows_, finish_, to(channel, 0, 0));
        if (hasMiddle()) {
            k_.storeColumn(packed_ + 1, rows_, finish_, to(channel, columns_ - 1, 0));
        }
        for (std::ptrdiff_t p = 0; p < block_.panels(); ++p) {
            columnLines_->complexLines(block_.panel(p), *columnTables_, sign, work_);
            k_.storePairs(block_.panel(p), columnTables_->order, rows_, pairsAt(p), finish_,
                          to(channel, 1 + 2 * LINES * p, 0));
        }
    }

    void packedToReal(int channel) const {
        const int sign = setUp_.sign;
        if (whole_ != nullptr) {
            return whole_->packedToReal(from(channel, 0, 0), finish_, sign, to(channel, 0, 0));
        }
        std::fill_n(packed_, rows_ * LINES, S());
        k_.loadColumn(from(channel, 0, 0), rows_, packed_);
        if (hasMiddle()) k_.loadColumn(from(channel, columns_ - 1, 0), rows_, packed_ + 1);
        columnLines_->packedLines(packed_, edges_, *columnTables_, sign, work_);
        for (std::ptrdiff_t p = 0; p < block_.panels(); ++p) {
            k_.loadPairs(from(channel, 1 + 2 * LINES * p, 0), rows_, pairsAt(p), block_.panel(p));
            columnLines_->complexLines(block_.panel(p), *columnTables_, sign, work_);
        }
        for (std::ptrdiff_t y = 0; y < rows_; y += LINES) {
            k_.columnsToRows(block_, edges_, columnTables_->order, y, rows_, packed_, columns_);
            rowLines_->packedLines(packed_, lines_, *rowTables_, sign, work_);
            k_.storeRows(lines_, rowTables_->order, rowsAt(y), columns_, finish_,
                         to(channel, 0, y));
        }
    }

  private:
    // The terms 0 and length / 2 of every row have no imaginary part: their
    // columns are real signals, the two edges of the packed spectrum.
    bool hasMiddle() const { return columns_ % 2 == 0; }

    std::ptrdiff_t rowsAt(std::ptrdiff_t y) const {
        return std::min<std::ptrdiff_t>(LINES, rows_ - y);
    }
    std::ptrdiff_t pairsAt(std::ptrdiff_t panel) const {
        return std::min<std::ptrdiff_t>(LINES, block_.columns - panel * LINES);
    }

    Samples samples(const ZylImage &image, int channel, std::ptrdiff_t x, std::ptrdiff_t y) const {
        return {sampleAt(image, region_.x + x, region_.y + y, channel), pixelStep(image),
                image.widthStep, depthIndex(image.depth)};
    }
    Samples from(int channel, std::ptrdiff_t x, std::ptrdiff_t y) const {
        return samples(setUp_.src, channel, x, y);
    }
    Samples to(int channel, std::ptrdiff_t x, std::ptrdiff_t y) const {
        return samples(setUp_.dst, channel, x, y);
    }

    const FftKernels<S> &k_;
    const BlockKernels::Side *const whole_;
    const SetUp &setUp_;
    const Region region_;
    const std::ptrdiff_t columns_, rows_;
    const FftFinish finish_;
    const FftTables<S> *rowTables_ = nullptr;
    const FftTables<S> *columnTables_ = nullptr;
    const LineKernels<S> *rowLines_ = nullptr;
    const LineKernels<S> *columnLines_ = nullptr;
    S *lines_ = nullptr;  // rows of the image, a real panel
    S *packed_ = nullptr; // lines_ or edges_ as spectra
    S *edges_ = nullptr;  // the columns without imaginary part
    SpectrumBlock<S> block_ = {};
    void *work_ = nullptr;
};

enum class Direction { RealToPacked, PackedToReal };

template <class S>
Outcome transform(Direction direction, const SetUp &setUp, const Region &region, FftCache &cache) {
    if (region.width < 2 && region.height < 2) return Outcome::Nothing;
    FourierTransform<S> transform(setUp, region);
    if (!transform.prepare(cache)) {
        // What earlier calls left may be what is missing.
        cache.release();
        keptState.releaseSpare();
        if (!transform.prepare(cache)) return Outcome::Error;
    }
    const RoundToNearest mode;
    for (int channel = region.firstChannel; channel <= region.lastChannel; ++channel) {
        if (channel == setUp.skippedChannel) continue;
        if (direction == Direction::RealToPacked) {
            transform.realToPacked(channel);
        } else {
            transform.packedToReal(channel);
        }
    }
    return Outcome::Done;
}

Outcome perform(Direction direction, const ZylImage &src, const ZylImage &dst, int flags) {
    const StateLease state(keptState);
    if (!state) return Outcome::Error;
    SetUp &setUp = state->setUp;
    if (!state.continued()) setUp.ready = false; // of another call than the one before
    Region region;
    const Outcome found = (flags & ZYL_FFT_REPEAT) != 0 ? repeatSetUp(src, dst, setUp, region)
                                                        : makeSetUp(src, dst, flags, setUp, region);
    if (found != Outcome::Done) return found;
    const Outcome done = setUp.fixedPoint
                             ? transform<std::int32_t>(direction, setUp, region, state->cache)
                             : transform<float>(direction, setUp, region, state->cache);
    if (done == Outcome::Done && (flags & ZYL_FFT_KEEP_TABLES) == 0) {
        state->release();
        keptState.releaseSpare();
    }
    return done;
}

void run(const Call &call, Direction direction, const ZylImage *srcImage, const ZylImage *dstImage,
         int flags, const ZylTileMapping *map) {
    if ((flags & ZYL_FFT_RELEASE) != 0) {
        keptState.release();
        return;
    }
    call.fails(srcImage == nullptr, "srcImage==0");
    call.fails(dstImage == nullptr, "dstImage==0");
    if (zylGetErrStatus() < 0 || srcImage == nullptr || dstImage == nullptr) return;
    call.fails(srcImage->imageData == nullptr, "srcImage->imageData==0");
    call.fails(dstImage->imageData == nullptr, "dstImage->imageData==0");
    if (zylGetErrStatus() < 0 || !srcImage->imageData || !dstImage->imageData) return;
    if (call.fails(map != nullptr, "(map!=((void*)(0)))")) return;

    const Outcome outcome = perform(direction, *srcImage, *dstImage, flags);
    call.fails(outcome == Outcome::Error, "Error in input data");
    call.fails(outcome == Outcome::Nothing, "No calculations! Looking input data!");
}

} // namespace

void zylRealFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags,
                  const ZylTileMapping *map) {
    run(Call("zylRealFft2D", "zylfft2d"), Direction::RealToPacked, srcImage, dstImage, flags, map);
}

void zylCcsFft2D(ZylImage *srcImage, ZylImage *dstImage, int32_t flags, const ZylTileMapping *map) {
    run(Call("zylCcsFft2D", "zylfft2d"), Direction::PackedToReal, srcImage, dstImage, flags, map);
}
