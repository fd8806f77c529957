#include "core/rows.h"

#include <cstring>
#include <limits>

#include "core/bits.h"
#include "core/image.h"

namespace zylqx {

namespace {

constexpr std::int64_t LINE = 64; // rows of a ring start at cache lines
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

std::uint64_t loadWord(const unsigned char *bytes) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return __builtin_bswap64(word);
}

void storeWord(unsigned char *bytes, std::uint64_t word) {
    word = __builtin_bswap64(word);
    std::memcpy(bytes, &word, sizeof word);
}

// Eight bits to eight bytes of 0 or 1 and back, the leftmost first. A
// multiplication puts a copy of the byte under each byte of the word.
void unpack(const unsigned char *bits, unsigned char *bytes, std::int64_t count) {
    for (std::int64_t i = 0; i < (count + 7) / 8; ++i) {
        std::uint64_t word = std::uint64_t{bits[i]} * 0x0101010101010101u & 0x8040201008040201u;
        word = (word + 0x007F7F7F7F7F7F7Fu) >> 7 & 0x0101010101010101u;
        // The leftmost bit is in the highest byte.
        storeWord(bytes + i * 8, (word & 0x0101010101010101u));
    }
}

void pack(const unsigned char *bytes, unsigned char *bits, std::int64_t count) {
    for (std::int64_t i = 0; i < (count + 7) / 8; ++i) {
        const std::uint64_t word = loadWord(bytes + i * 8) & 0x0101010101010101u;
        bits[i] = static_cast<unsigned char>(word * 0x0102040810204080u >> 56);
    }
}

template <class T>
void scatter(unsigned char *dst, std::ptrdiff_t step, const unsigned char *src,
             std::int64_t count) {
    const T *from = reinterpret_cast<const T *>(src);
    T *to = reinterpret_cast<T *>(dst);
    for (std::int64_t i = 0; i < count; ++i) to[i * step] = from[i];
}

} // namespace

RowRing::RowRing(std::int64_t rows, std::int64_t bytes)
    : rows_(rows), stride_((bytes + LINE - 1) / LINE * LINE) {
    if (rows <= 0 || stride_ <= 0 || stride_ > MOST / rows) return;
    data_ = Scratch<unsigned char>(static_cast<std::size_t>(rows * stride_));
    held_ = Scratch<std::int64_t>(static_cast<std::size_t>(rows));
    if (!held_) data_ = Scratch<unsigned char>();
    if (data_) clear();
}

void RowRing::clear() {
    for (std::int64_t i = 0; i < rows_; ++i) held_[i] = std::numeric_limits<std::int64_t>::min();
}

bool RowRing::claim(std::int64_t y) {
    std::int64_t &held = held_[index(y)];
    if (held == y) return true;
    held = y;
    return false;
}

SourceRows::SourceRows(ZylImage &image, std::int64_t x, std::int64_t columns, std::int64_t y,
                       std::int64_t rows, std::int64_t held, int channel, BitRows bits)
    : image_(image), x_(x), columns_(columns), channel_(channel), bits_(bits),
      inside_(sideBySide(image, channel) && x >= 0 && x + columns <= image.width) {
    if (inside_ && y >= 0 && y + rows <= image.height) return;
    ring_ = RowRing(held < rows ? held : rows, rowBytes(image, columns, channel, bits));
    ready_ = static_cast<bool>(ring_);
    if (image.depth == ZYL_DEPTH_1U && bits == BitRows::Bytes) {
        packed_ = Scratch<unsigned char>(static_cast<std::size_t>(wordsOf(columns) * 8));
        ready_ = ready_ && packed_;
    }
}

const void *SourceRows::row(std::int64_t y) {
    if (inside_ && y >= 0 && y < image_.height) {
        return sampleAt(image_, x_, y, channel_ == ALL_CHANNELS ? 1 : channel_);
    }
    unsigned char *slot = ring_.slot(y);
    if (!ring_.claim(y)) build(y, slot);
    return slot;
}

void SourceRows::select(int channel) {
    if (channel == channel_) return;
    channel_ = channel;
    if (ring_) ring_.clear();
}

void SourceRows::build(std::int64_t y, unsigned char *slot) {
    // The image is in memory, so reading cannot fail.
    if (image_.depth != ZYL_DEPTH_1U) {
        readBorderedRect(image_, x_, y, columns_, 1, channel_, {slot, 0, 0});
        return;
    }
    unsigned char *packed = bits_ == BitRows::Bytes ? packed_.data() : slot;
    const std::int64_t bytes = wordsOf(columns_) * 8;
    std::memset(packed + (columns_ - 1) / 8, 0,
                static_cast<std::size_t>(bytes - (columns_ - 1) / 8));
    readBorderedRect(image_, x_, y, columns_, 1, channel_, {packed, 0, 0});
    if (bits_ == BitRows::Bytes) {
        unpack(packed, slot, columns_);
        return;
    }
    auto *words = reinterpret_cast<std::uint64_t *>(slot);
    for (std::int64_t i = 0; i < wordsOf(columns_); ++i) words[i] = loadWord(slot + i * 8);
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
    unsigned char *to = sampleAt(image_, x_, y, channel_);
    switch (sampleBytes(image_.depth)) {
    case 1:
        scatter<std::uint8_t>(to, pixelStep(image_), slot, columns_);
        break;
    case 2:
        scatter<std::uint16_t>(to, pixelStep(image_), slot, columns_);
        break;
    default:
        scatter<std::uint32_t>(to, pixelStep(image_), slot, columns_);
    }
}

void DestinationRows::storeBits(std::int64_t y, unsigned char *slot) {
    if (bits_ == BitRows::Words) {
        const auto *words = reinterpret_cast<const std::uint64_t *>(slot);
        for (std::int64_t i = 0; i < wordsOf(columns_); ++i) storeWord(slot + i * 8, words[i]);
    } else {
        pack(slot, slot, columns_);
    }
    copyBits(slot, 0, sampleAt(image_, 0, y, 1), x_, columns_);
}

} // namespace zylqx
