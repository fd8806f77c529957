#include "geometry/rows.h"

#include <algorithm>
#include <cstring>

#include "core/bits.h"

namespace zylqx {

// --- gathering ---

void GatherTable::finish(std::ptrdiff_t bytes, std::ptrdiff_t rowBytes) {
    bytes_ = bytes;
    const std::ptrdiff_t step = 16 / bytes_;
    inBlocks_ = true;
    for (std::ptrdiff_t i = 0; i < count_ / step && inBlocks_; ++i) {
        inBlocks_ = makeBlock(i * step, rowBytes, blocks_[i]);
    }
}

bool GatherTable::makeBlock(std::ptrdiff_t first, std::ptrdiff_t rowBytes,
                            GatherBlock &block) const {
    const std::ptrdiff_t step = 16 / bytes_;
    const std::int32_t *index = &index_[first];
    const auto [least, most] = std::minmax_element(index, index + step);
    const std::ptrdiff_t base = std::min(*least * bytes_, rowBytes - 32);
    if (base < 0 || (*most + 1) * bytes_ > base + 32) return false;
    block.base = static_cast<std::int32_t>(base);
    for (std::ptrdiff_t i = 0; i < 16; ++i) {
        const std::ptrdiff_t from = index[i / bytes_] * bytes_ + i % bytes_ - base;
        block.low[i] = static_cast<std::int8_t>(from < 16 ? from : -1);
        block.high[i] = static_cast<std::int8_t>(from < 16 ? -1 : from - 16);
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
    const std::ptrdiff_t width = piece.area.width;
    made_ = Scratch<unsigned char>(static_cast<std::size_t>(
        bytes_ == 0 ? width + (width + 7) / 8 : width * pairs.count * bytes_));
}

void RowOutput::finishRow(std::int32_t j) {
    if (direct_) return;
    const std::int32_t width = piece_.area.width;
    unsigned char *dst = piece_.row(j, channel_);
    if (bytes_ == 0) {
        unsigned char *packed = made_.data() + width;
        currentGeometryKernels().packBits(made_.data(), packed, width);
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

RowFlip::RowFlip(const Source &source, std::int32_t left, const DstPiece &piece,
                 const ChannelPairs &pairs, bool reversed)
    : source_(source), piece_(piece), pairs_(pairs), left_(left - source.left()),
      bytes_(sampleBytes(piece.image.depth)), reversed_(reversed),
      dense_(pairs.count == pairs.srcStep), output_(piece, pairs) {
    const std::int32_t width = piece.area.width;
    if (bytes_ == 0) {
        if (!reversed) return;
        turned_ = Scratch<unsigned char>(static_cast<std::size_t>(rowBytes()));
        ready_ = static_cast<bool>(turned_);
        return;
    }
    if (dense_ && (!reversed || pairs.count == 1)) return;
    gather_ = GatherTable(width * pairs.count);
    ready_ = static_cast<bool>(gather_);
    if (!ready_) return;
    for (std::int32_t i = 0; i < width; ++i) {
        gather_.put(i, reversed ? width - 1 - i : i, pairs);
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

void RowFlip::run(const unsigned char *row, std::int32_t j) {
    if (bytes_ == 0) return runBits(row, j);
    const std::int32_t width = piece_.area.width;
    void *out = output_.row(j);
    if (gather_) {
        gather_.run(row, out);
    } else if (reversed_) {
        currentGeometryKernels().reverse[sizeIndex(bytes_)](row, out, width);
    } else {
        std::memcpy(out, row, static_cast<std::size_t>(width * pairs_.count * bytes_));
    }
    output_.finishRow(j);
}

void RowFlip::runBits(const unsigned char *row, std::int32_t j) {
    const std::int32_t width = piece_.area.width;
    std::int64_t bit = left_ % 8;
    if (reversed_) {
        const std::ptrdiff_t bytes = rowBytes();
        currentGeometryKernels().reverseBits(row, turned_.data(), bytes);
        row = turned_.data();
        bit = 8 * bytes - bit - width;
    }
    copyBits(row, bit, piece_.row(j, 1), piece_.area.x % 8, width);
}

} // namespace zylqx
