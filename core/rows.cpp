#include "core/rows.h"

#include <algorithm>
#include <bit>
#include <limits>

#include "core/bit_row_kernels.h"
#include "core/bits.h"
#include "core/image.h"
#include "core/step_kernels.h"

namespace zylqx {

namespace {

constexpr std::int64_t LINE = 64; // rows of a ring start at cache lines
// Rows are built together while they stay in the nearest cache.
constexpr std::int64_t BATCH = 16;
constexpr std::int64_t BATCH_BYTES = 8192;
// Bytes behind rows of words that may be read and written: a vector and a word.
constexpr std::int64_t WORDS_BEHIND = 72;
constexpr std::int64_t MOST = std::numeric_limits<std::ptrdiff_t>::max() / 2;

std::int64_t wordsOf(std::int64_t bits) {
    return (bits + 63) / 64;
}

// Bytes of `columns` pixels as they stand in a row.
std::int64_t rowBytes(const ZylImage &image, std::int64_t columns, int channel, BitRows bits) {
    if (image.depth == ZYL_DEPTH_1U) {
        const std::int64_t words = wordsOf(columns);
        return bits == BitRows::Words ? words * 8 + WORDS_BEHIND : words * 64;
    }
    const std::int64_t samples = channel == ALL_CHANNELS ? pixelStep(image) : 1;
    return columns * samples * sampleBytes(image.depth);
}

bool sideBySide(const ZylImage &image, int channel) {
    return image.depth != ZYL_DEPTH_1U && (channel == ALL_CHANNELS || pixelStep(image) == 1);
}

constexpr std::uint64_t ONES = 0x0101010101010101u; // one in each byte

// Words of bits to bytes of 0 or 1 and back. The words may be the last of those that the
// bytes go to.
void unpack(const std::uint64_t *words, unsigned char *bytes, std::int64_t count) {
    for (std::int64_t w = 0; w < count; ++w) {
        std::uint64_t word = words[w];
        for (int i = 0; i < 8; ++i, word <<= 8) {
            const std::uint64_t flags = unpackFlags(static_cast<std::uint8_t>(word >> 56));
            storeLowestFirst(bytes + w * 64 + i * 8, (flags + ONES * 0x7F) >> 7 & ONES);
        }
    }
}

// Whole bytes of bits. What the last of them holds past the count comes from bytes that
// do not matter.
void pack(const unsigned char *bytes, unsigned char *bits, std::int64_t count) {
    for (std::int64_t i = 0; i < (count + 7) / 8; ++i) {
        bits[i] = packFlags(loadLowestFirst(bytes + i * 8) & ONES);
    }
}

// The first 64 of `count` bits of a row, or all, the leftmost at the top. Reads no byte
// that holds none of them.
std::uint64_t loadFirst(const unsigned char *row, std::int64_t bit, std::int64_t count) {
    if (count >= 72) return loadBitWord(row, bit);
    std::uint64_t word = 0;
    for (int i = 0; i < count && i < 64; i += 8) {
        const int some = static_cast<int>(std::min<std::int64_t>(8, count - i));
        word |= std::uint64_t{loadBits(row, bit + i, some)} << (56 - i);
    }
    return word;
}

// The following put bits into words from bit `at` on: those before keep their values,
// those behind, to the end of the last word, are unspecified.

void putFirst(std::uint64_t *words, std::int64_t at, std::uint64_t bits) {
    const std::uint64_t mask = ~std::uint64_t{0} >> (at % 64);
    words[at / 64] = (words[at / 64] & ~mask) | (bits & mask);
}

void putSame(std::uint64_t *words, std::int64_t at, std::int64_t count, bool value) {
    const std::uint64_t bits = value ? ~std::uint64_t{0} : 0;
    putFirst(words, at, bits);
    std::fill(words + at / 64 + 1, words + wordsOf(at + count), bits);
}

void putReversed(std::uint64_t *words, std::int64_t at, const unsigned char *row,
                 const BorderRun &run) {
    for (std::int64_t i = 0; i < run.count; ++i) {
        putFirst(words, at + i, bitAt(row, run.position - i) != 0 ? ~std::uint64_t{0} : 0);
    }
}

void putBits(std::uint64_t *words, std::int64_t at, const unsigned char *row, std::int64_t bit,
             std::int64_t count) {
    const std::int64_t first = std::min<std::int64_t>(count, 64 - at % 64);
    putFirst(words, at, loadFirst(row, bit, count) >> (at % 64));
    words += at / 64 + 1;
    row += (bit + first) / 8;
    const int shift = static_cast<int>((bit + first) % 8);
    count -= first;
    // All words but the last have a byte of the bits behind them.
    const std::int64_t whole = (shift + count - 1) / 64;
    ZYLQX_KERNELS(bitRowKernels).load(row, shift, words, static_cast<std::ptrdiff_t>(whole));
    const std::int64_t rest = count - whole * 64;
    if (rest > 0) words[whole] = loadFirst(row + whole * 8, shift, rest);
}

void putRun(std::uint64_t *words, std::int64_t at, const unsigned char *row, const BorderRun &run) {
    if (run.constant) {
        putSame(words, at, run.count, (run.value & 1) != 0);
    } else if (run.step == 0) {
        putSame(words, at, run.count, bitAt(row, run.position) != 0);
    } else if (run.step < 0) {
        putReversed(words, at, row, run);
    } else {
        putBits(words, at, row, run.position, run.count);
    }
}

// A row of bits with the border beside it, in an image in memory.
void readBits(const ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t columns,
              std::uint64_t *words) {
    const BorderRun rows = borderRows(image, y, 1);
    if (rows.constant) {
        putSame(words, 0, columns, (rows.value & 1) != 0);
        return;
    }
    const unsigned char *row = sampleAt(image, 0, rows.position, 1);
    for (std::int64_t column = 0; column < columns;) {
        const BorderRun run = borderColumns(image, x + column, y, columns - column);
        putRun(words, column, row, run);
        column += run.count;
    }
}

// Words of bits into a row from a bit on; up to two words behind them are read.
void writeBits(const std::uint64_t *words, unsigned char *row, std::int64_t bit,
               std::int64_t count) {
    unsigned char bytes[8];
    const auto shift = static_cast<int>(std::min<std::int64_t>(count, -bit & 7));
    storeHighestFirst(bytes, words[0]);
    copyBits(bytes, 0, row, bit, shift);
    row += (bit + shift) / 8;
    count -= shift;
    const auto whole = static_cast<std::ptrdiff_t>(count / 64);
    const auto store = ZYLQX_KERNELS(bitRowKernels).store;
    store(words, shift, row, whole);
    store(words + whole, shift, bytes, 1);
    copyBits(bytes, 0, row, whole * 64, count % 64);
}

// Asks for a row of an image, if there is such a one, while those before it are worked on:
// rows are too short for the processor to foresee that others follow. Long ones are not.
// GCC leaves out calls of a function that does nothing else, so it is always inline.
[[gnu::always_inline]] inline void prefetchRow(const ZylImage &image, std::int64_t x,
                                               std::int64_t columns, std::int64_t y, int channel) {
    if (y < 0 || y >= image.height) return;
    const std::int64_t first = std::max<std::int64_t>(x, 0);
    const std::int64_t end = std::min<std::int64_t>(x + columns, image.width);
    const std::int64_t bytes = (end - first) * pixelStep(image) * sampleBytes(image.depth);
    if (bytes <= 0 || bytes > BATCH_BYTES) return;
    const unsigned char *row = sampleAt(image, first, y, std::max(channel, 1));
    for (std::int64_t i = 0; i < bytes; i += LINE) __builtin_prefetch(row + i);
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
        for (std::int64_t y = next_ + count; y < std::min(next_ + 2 * count, end_); ++y) {
            prefetchRow(image_, x_, columns_, y, channel_);
        }
        // The image is in memory, so reading cannot fail.
        readBorderedRect(image_, x_, next_, columns_, count, channel_, {slot, stride, 0});
    }
    next_ += count;
}

// Bits that are handed on as bytes are read to where the last of these go, and unpacked
// in place.
void SourceRows::buildBits(unsigned char *slot, std::int64_t count) {
    const std::int64_t words = wordsOf(columns_);
    for (std::int64_t i = 0; i < count; ++i, slot += ring_.stride()) {
        auto *packed =
            reinterpret_cast<std::uint64_t *>(slot + (bits_ == BitRows::Bytes ? words * 56 : 0));
        readBits(image_, x_, next_ + i, columns_, packed);
        if (bits_ == BitRows::Bytes) unpack(packed, slot, words);
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
    if (!inPlace_) return ring_.slot(y);
    prefetchRow(image_, x_, columns_, y + 1, channel_);
    return sampleAt(image_, x_, y, channel_ == ALL_CHANNELS ? 1 : channel_);
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
    unsigned char *row = sampleAt(image_, 0, y, 1);
    if (bits_ == BitRows::Words) {
        writeBits(reinterpret_cast<const std::uint64_t *>(slot), row, x_, columns_);
    } else {
        pack(slot, slot, columns_);
        copyBits(slot, 0, row, x_, columns_);
    }
}

} // namespace zylqx
