#include "geometry/rows.h"

#include <algorithm>
#include <cstring>

#include "core/bits.h"

namespace zylqx {

ChannelPairs pairChannels(const ZylImage &src, const ZylImage &dst) {
    const int channels = std::min(effectiveChannels(src), effectiveChannels(dst));
    ChannelPairs pairs;
    const bool together = !isPlanar(src) && !isPlanar(dst);
    pairs.planes = together ? 1 : channels;
    pairs.count = together ? channels : 1;
    pairs.srcFirst = std::max(channelOfInterest(src), 1);
    pairs.dstFirst = std::max(channelOfInterest(dst), 1);
    pairs.srcStep = pixelStep(src);
    pairs.dstStep = pixelStep(dst);
    return pairs;
}

// --- gathering ---

GatherTable::GatherTable(std::int64_t n) : index_(static_cast<std::uint64_t>(n)), count_(n) {}

void GatherTable::finish(std::ptrdiff_t bytes, std::ptrdiff_t rowBytes) {
    kernel_ = ZYLQX_KERNELS(moveKernels).gather[sizeIndex(bytes)];
    const std::ptrdiff_t step = GATHER_BYTES / bytes / 2;
    const std::ptrdiff_t halves = count_ / (2 * step) * 2;
    if (halves > 0 && !blocks_) {
        blocks_ = Scratch<GatherBlock>(static_cast<std::uint64_t>(halves / 2));
    }
    inBlocks_ = static_cast<bool>(blocks_);
    for (std::ptrdiff_t i = 0; i < halves && inBlocks_; ++i) {
        inBlocks_ =
            makeHalf(&index_[i * step], bytes, rowBytes, static_cast<int>(i % 2), blocks_[i / 2]);
    }
}

bool GatherTable::makeHalf(const std::int32_t *index, std::ptrdiff_t bytes, std::ptrdiff_t rowBytes,
                           int half, GatherBlock &block) {
    constexpr std::ptrdiff_t BYTES = GATHER_BYTES / 2;
    const std::ptrdiff_t samples = BYTES / bytes;
    const auto [least, most] = std::minmax_element(index, index + samples);
    const std::ptrdiff_t base = std::min(*least * bytes, rowBytes - 2 * BYTES);
    if (base < 0 || (*most + 1) * bytes > base + 2 * BYTES) return false;
    block.base[half] = static_cast<std::int32_t>(base);
    std::int8_t *low = block.low + half * BYTES, *high = block.high + half * BYTES;
    for (std::ptrdiff_t i = 0; i < samples; ++i) {
        for (std::ptrdiff_t b = 0; b < bytes; ++b) {
            const std::ptrdiff_t from = index[i] * bytes + b - base;
            *low++ = static_cast<std::int8_t>(from < BYTES ? from : -1);
            *high++ = static_cast<std::int8_t>(from < BYTES ? -1 : from - BYTES);
        }
    }
    return true;
}

// --- putting in place ---

void spreadSamples(const unsigned char *src, unsigned char *dst, std::ptrdiff_t bytes,
                   std::ptrdiff_t step, std::ptrdiff_t n) {
    if (step == bytes) {
        std::memcpy(dst, src, static_cast<std::size_t>(n * bytes));
        return;
    }
    withSize(bytes, [&](auto size) {
        for (std::ptrdiff_t i = 0; i < n; ++i) std::memcpy(dst + i * step, src + i * size, size);
    });
}

RowOutput::RowOutput(const DstPiece &piece, const ChannelPairs &pairs)
    : piece_(piece), pairs_(pairs), bytes_(sampleBytes(piece.image.depth)),
      direct_(bytes_ != 0 && pairs.count == pairs.dstStep) {
    if (direct_) return;
    // Bits are made one per byte, and packed behind those.
    const std::int64_t width = piece.area.width;
    made_ = Scratch<unsigned char>(static_cast<std::uint64_t>(
        bytes_ == 0 ? width + (width + 7) / 8 : width * pairs.count * bytes_));
}

void RowOutput::finishRow(std::int32_t j) {
    if (direct_) return;
    const std::int32_t width = piece_.area.width;
    unsigned char *dst = piece_.row(j, channel_);
    if (bytes_ == 0) {
        unsigned char *packed = made_.data() + width;
        ZYLQX_KERNELS(moveKernels).packBits(made_.data(), packed, width);
        copyBits(packed, 0, dst, piece_.area.x % 8, width);
        return;
    }
    spreadSamples(made_.data(), dst, pairs_.count * bytes_, pairs_.dstStep * bytes_, width);
}

void RowOutput::repeatRow(std::int32_t j) {
    if (!direct_) return finishRow(j);
    std::memcpy(piece_.row(j, channel_), piece_.row(j - 1, channel_),
                static_cast<std::size_t>(piece_.area.width * pairs_.count * bytes_));
}

// --- turning round ---

RowFlip::RowFlip(const SourceRect &source, std::int32_t left, const DstPiece &piece,
                 const ChannelPairs &pairs, bool reversed)
    : source_(source), piece_(piece), pairs_(pairs), left_(left - source.left()),
      bytes_(sampleBytes(piece.image.depth)), reversed_(reversed), output_(piece, pairs) {
    chooseRectangle();
    if (rectangle_ != nullptr) return;
    if (bytes_ == 0) {
        turned_ = Scratch<unsigned char>(static_cast<std::uint64_t>(rowBytes()));
        ready_ = static_cast<bool>(turned_);
        return;
    }
    const std::int32_t width = piece.area.width;
    gather_ = GatherTable(std::int64_t{width} * pairs.count);
    ready_ = static_cast<bool>(gather_);
    if (!ready_) return;
    for (std::int32_t i = 0; i < width; ++i) {
        gather_.put(i, reversed ? width - 1 - i : i, pairs);
    }
}

// There are kernels for whole bytes of bits and for pixels without gaps; turned
// round, these have the size of samples.
void RowFlip::chooseRectangle() {
    const MoveKernels &kernels = ZYLQX_KERNELS(moveKernels);
    const std::ptrdiff_t width = piece_.area.width, pixel = pairs_.count * bytes_;
    if (bytes_ == 0) {
        if (left_ % 8 != 0 || piece_.area.x % 8 != 0 || width % 8 != 0) return;
        rectangle_ = reversed_ ? kernels.reverseBits : kernels.copy;
        units_ = width / 8;
        return;
    }
    if (pairs_.count != pairs_.srcStep || !output_.direct()) return;
    if (!reversed_) {
        rectangle_ = kernels.copy;
        units_ = width * pixel;
    } else if (pixel == 1 || pixel == 2 || pixel == 4) {
        rectangle_ = kernels.reverse[sizeIndex(pixel)];
        units_ = width;
    }
}

void RowFlip::startPlane(int plane) {
    plane_ = plane;
    output_.startPlane(plane);
    if (gather_) gather_.finish(bytes_, rowBytes());
}

const unsigned char *RowFlip::row(std::int32_t y) const {
    return sampleAt(source_.image(), left_, std::ptrdiff_t{y} - source_.top(),
                    pairs_.srcFirst + plane_);
}

std::ptrdiff_t RowFlip::rowBytes() const {
    const std::ptrdiff_t width = piece_.area.width;
    if (bytes_ == 0) return (left_ % 8 + width + 7) / 8;
    return ((width - 1) * pairs_.srcStep + pairs_.count) * bytes_;
}

void RowFlip::runAll(std::int32_t y, bool upwards) {
    const std::int32_t count = piece_.area.height;
    const std::ptrdiff_t stride = source_.image().widthStep;
    run(row(upwards ? y + count - 1 : y), upwards ? -stride : stride, 0, count);
}

void RowFlip::run(const unsigned char *rows, std::ptrdiff_t stride, std::int32_t j,
                  std::int32_t count) {
    if (rectangle_ != nullptr) {
        rectangle_(rows, stride, piece_.row(j, pairs_.dstFirst + plane_), piece_.image.widthStep,
                   units_, count);
        return;
    }
    for (std::int32_t r = 0; r < count; ++r) {
        const unsigned char *row = rows + r * stride;
        if (bytes_ == 0) {
            runBits(row, j + r);
            continue;
        }
        gather_.run(row, output_.row(j + r));
        output_.finishRow(j + r);
    }
}

void RowFlip::runBits(const unsigned char *row, std::int32_t j) {
    const std::int32_t width = piece_.area.width;
    std::int64_t bit = left_ % 8;
    if (reversed_) {
        const std::ptrdiff_t bytes = rowBytes();
        ZYLQX_KERNELS(moveKernels).reverseBits(row, 0, turned_.data(), 0, bytes, 1);
        row = turned_.data();
        bit = 8 * bytes - bit - width;
    }
    copyBits(row, bit, piece_.row(j, 1), piece_.area.x % 8, width);
}

} // namespace zylqx
