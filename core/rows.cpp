#include "core/rows.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

#include "core/bits.h"
#include "core/image.h"
#include "core/step_kernels.h"

namespace zylqx {

namespace {

constexpr std::int64_t LINE = 64; // rows of a ring start at cache lines
// Rows are built together while they stay in the nearest cache.
constexpr std::int64_t BATCH = 16;
constexpr std::int64_t BATCH_BYTES = 8192;
constexpr std::int64_t MOST = std::numeric_limits<std::ptrdiff_t>::max() / 2;

std::int64_t wordsOf(std::int64_t bits) {
    return (bits + 63) / 64;
}

// Bytes of `columns` pixels as they stand in a row.
std::int64_t rowBytes(const ZylImage &image, std::int64_t columns, int channel, BitRows bits) {
    if (image.depth == ZYL_DEPTH_1U) {
        return bits == BitRows::Words ? wordsOf(columns) * 8 : wordsOf(columns) * 64;
    }
    const std::int64_t samples = channel == ALL_CHANNELS ? pixelStep(image) : 1;
    return columns * samples * sampleBytes(image.depth);
}

bool sideBySide(const ZylImage &image, int channel) {
    return image.depth != ZYL_DEPTH_1U && (channel == ALL_CHANNELS || pixelStep(image) == 1);
}

constexpr std::uint64_t ONES = 0x0101010101010101u; // one in each byte

// Bits to bytes of 0 or 1 and back, in whole bytes of bits. What the last of them
// holds past the count comes from, and goes to, bytes that do not matter.
void unpack(const unsigned char *bits, unsigned char *bytes, std::int64_t count) {
    for (std::int64_t i = 0; i < (count + 7) / 8; ++i) {
        const std::uint64_t flags = unpackFlags(bits[i]);
        storeLowestFirst(bytes + i * 8, (flags + ONES * 0x7F) >> 7 & ONES);
    }
}

void pack(const unsigned char *bytes, unsigned char *bits, std::int64_t count) {
    for (std::int64_t i = 0; i < (count + 7) / 8; ++i) {
        bits[i] = packFlags(loadLowestFirst(bytes + i * 8) & ONES);
    }
}

} // namespace

RowRing::RowRing(std::int64_t rows, std::int64_t bytes)
    : stride_((bytes + LINE - 1) / LINE * LINE) {
    if (rows <= 0 || stride_ <= 0 || rows > MOST / 2 || stride_ > MOST / (2 * rows)) return;
    const auto slots = static_cast<std::ptrdiff_t>(std::bit_ceil(static_cast<std::size_t>(rows)));
    mask_ = slots - 1;
    data_ = Scratch<unsigned char>(static_cast<std::uint64_t>(slots * stride_));
}

SourceRows::SourceRows(ZylImage &image, std::int64_t x, std::int64_t columns, std::int64_t y,
                       std::int64_t rows, std::int64_t held, int channel, BitRows bits)
    : image_(image), x_(x), columns_(columns), begin_(y), end_(y + rows), channel_(channel),
      bits_(bits), inside_(sideBySide(image, channel) && x >= 0 && x + columns <= image.width),
      batch_(1), next_(y) {
    if (inside_ && y >= 0 && y + rows <= image.height) return;
    const std::int64_t bytes = rowBytes(image, columns, channel, bits);
    batch_ = std::clamp<std::int64_t>(BATCH_BYTES / bytes, 1, BATCH);
    ring_ = RowRing(std::min(held + batch_ - 1, rows), bytes);
    ready_ = static_cast<bool>(ring_);
}

void SourceRows::select(int channel) {
    if (channel == channel_) return;
    channel_ = channel;
    next_ = begin_;
}

void SourceRows::buildNext() {
    // Rows of the image are where they are.
    if (inside_ && next_ >= 0) next_ = std::max<std::int64_t>(next_, image_.height);
    std::int64_t count = std::min({batch_, end_ - next_, ring_.until(next_)});
    if (inside_ && next_ < 0) count = std::min(count, -next_);
    unsigned char *slot = ring_.slot(next_);
    const std::ptrdiff_t stride = ring_.stride();
    if (image_.depth == ZYL_DEPTH_1U) {
        buildBits(slot, count);
    } else {
        // The image is in memory, so reading cannot fail.
        readBorderedRect(image_, x_, next_, columns_, count, channel_, {slot, stride, 0});
    }
    next_ += count;
}

// The bits are read to where the last of their bytes go, and unpacked in place.
void SourceRows::buildBits(unsigned char *slot, std::int64_t count) {
    const std::int64_t words = wordsOf(columns_);
    const std::ptrdiff_t stride = ring_.stride();
    unsigned char *packed = slot + (bits_ == BitRows::Bytes ? words * 56 : 0);
    const std::int64_t last = (columns_ - 1) / 8;
    for (std::int64_t i = 0; i < count; ++i) {
        std::memset(packed + i * stride + last, 0, static_cast<std::size_t>(words * 8 - last));
    }
    readBorderedRect(image_, x_, next_, columns_, count, channel_, {packed, stride, 0});
    for (std::int64_t i = 0; i < count; ++i, slot += stride, packed += stride) {
        if (bits_ == BitRows::Bytes) {
            unpack(packed, slot, columns_);
            continue;
        }
        auto *row = reinterpret_cast<std::uint64_t *>(slot);
        for (std::int64_t w = 0; w < words; ++w) row[w] = loadHighestFirst(slot + w * 8);
    }
}

DestinationRows::DestinationRows(const ZylImage &image, std::int64_t x, std::int64_t columns,
                                 std::int64_t held, int channel, BitRows bits)
    : image_(image), x_(x), columns_(columns), channel_(channel), bits_(bits),
      inPlace_(sideBySide(image, channel)) {
    if (inPlace_) return;
    ring_ = RowRing(held, rowBytes(image, columns, channel, bits));
    ready_ = static_cast<bool>(ring_);
}

void *DestinationRows::row(std::int64_t y) {
    if (inPlace_) return sampleAt(image_, x_, y, channel_ == ALL_CHANNELS ? 1 : channel_);
    return ring_.slot(y);
}

void DestinationRows::finish(std::int64_t y) {
    if (inPlace_) return;
    unsigned char *slot = ring_.slot(y);
    if (image_.depth == ZYL_DEPTH_1U) {
        storeBits(y, slot);
        return;
    }
    const auto scatter = ZYLQX_KERNELS(stepKernels).scatter[sizeIndex(sampleBytes(image_.depth))];
    scatter(slot, sampleAt(image_, x_, y, channel_), pixelStep(image_),
            static_cast<std::ptrdiff_t>(columns_));
}

void DestinationRows::storeBits(std::int64_t y, unsigned char *slot) {
    if (bits_ == BitRows::Words) {
        const auto *words = reinterpret_cast<const std::uint64_t *>(slot);
        for (std::int64_t i = 0; i < wordsOf(columns_); ++i)
            storeHighestFirst(slot + i * 8, words[i]);
    } else {
        pack(slot, slot, columns_);
    }
    copyBits(slot, 0, sampleAt(image_, 0, y, 1), x_, columns_);
}

} // namespace zylqx
