// Rows of samples: what neighbourhood operations read and write.
//
// A source row is widened to the left and to the right, and it may lie above or
// below its image; border modes give what is not there. A row that lies inside
// is a pointer into the image, nothing is copied; others are built in a ring of
// as many rows as the operation looks at. Rows are contiguous: all channels of
// pixel order, interleaved, or the samples of one channel.
#ifndef ZYLQX_CORE_ROWS_H
#define ZYLQX_CORE_ROWS_H

#include <cstddef>
#include <cstdint>

#include "core/borders.h"
#include "core/image.h"
#include "core/memory.h"
#include "zylqx.h"

namespace zylqx {

// How rows of 1-bit samples are handed on: a byte (0 or 1) for each, or 64 to a
// word, the leftmost at the top. The bits after the last sample are unspecified; a vector
// of words and one more may be read and written behind rows of words.
enum class BitRows { Bytes, Words };

// Bytes of a sample in such rows, when bits are handed on as bytes.
constexpr std::ptrdiff_t rowSampleBytes(std::uint32_t depth) {
    return depth == ZYL_DEPTH_1U ? 1 : sampleBytes(depth);
}

// Rows of scratch, found by the row's number.
class RowRing {
  public:
    RowRing() = default;
    // At least so many rows. A power of two, so that slots are found by masking.
    RowRing(std::int64_t rows, std::int64_t bytes);

    explicit operator bool() const { return static_cast<bool>(data_); }
    unsigned char *slot(std::int64_t y) const { return data_.data() + (y & mask_) * stride_; }
    std::ptrdiff_t stride() const { return stride_; }
    // How many rows from this one on stand one after another.
    std::int64_t until(std::int64_t y) const { return mask_ + 1 - (y & mask_); }

  private:
    std::int64_t mask_ = 0;
    std::ptrdiff_t stride_ = 0;
    Scratch<unsigned char> data_;
};

class SourceRows {
  public:
    // Columns [x, x + columns) and rows [y, y + rows) of an image in memory, of
    // which `held` rows at a time stay valid, counted from the last one asked for.
    SourceRows(ZylImage &image, std::int64_t x, std::int64_t columns, std::int64_t y,
               std::int64_t rows, std::int64_t held, int channel, BitRows bits = BitRows::Bytes);

    // False when there is no memory.
    explicit operator bool() const { return ready_; }

    const void *row(std::int64_t y) {
        if (inside_ && y >= 0 && y < image_.height) {
            return sampleAt(image_, x_, y, channel_ == ALL_CHANNELS ? 1 : channel_);
        }
        while (y >= next_) buildNext();
        return ring_.slot(y);
    }
    // Turns to another channel; not from or to all channels.
    void select(int channel);

  private:
    void buildNext();
    void buildBits(unsigned char *slot, std::int64_t count);

    ZylImage &image_;
    const std::int64_t x_, columns_;
    const std::int64_t begin_, end_; // rows
    int channel_;
    const BitRows bits_;
    const bool inside_; // the columns are, and their samples stand side by side
    bool ready_ = true;
    RowRing ring_;
    std::int64_t batch_; // rows that are built together
    std::int64_t next_;  // the first one not built yet
};

class DestinationRows {
  public:
    // Columns [x, x + columns) of an image in memory, `held` rows at a time.
    DestinationRows(const ZylImage &image, std::int64_t x, std::int64_t columns, std::int64_t held,
                    int channel, BitRows bits = BitRows::Bytes);

    explicit operator bool() const { return ready_; }

    // Where row y is to be written; finish(y) brings it into the image.
    void *row(std::int64_t y);
    void finish(std::int64_t y);
    void select(int channel) { channel_ = channel; }

  private:
    void storeBits(std::int64_t y, unsigned char *slot);

    const ZylImage &image_;
    const std::int64_t x_, columns_;
    int channel_;
    const BitRows bits_;
    const bool inPlace_; // samples stand side by side and are written where they belong
    bool ready_ = true;
    RowRing ring_;
};

} // namespace zylqx

#endif
