// The two ends of a row on its way through the kernels: gathering the samples it
// is made from, and putting the finished samples where they belong.
#ifndef ZYLQX_GEOMETRY_ROWS_H
#define ZYLQX_GEOMETRY_ROWS_H

#include <type_traits>

#include "core/memory.h"
#include "core/walk_destination.h"
#include "geometry/kernels.h"

namespace zylqx {

// Which channels of two images belong together.
struct ChannelPairs {
    int planes;                      // processed one after the other
    std::ptrdiff_t count;            // samples of a pixel that are processed together
    int srcFirst, dstFirst;          // channels, from 1
    std::ptrdiff_t srcStep, dstStep; // samples from pixel to pixel
};

// The channel of interest of each image, or all its channels; the smaller number
// decides. Channels that both images interleave are processed together.
ChannelPairs pairChannels(const ZylImage &src, const ZylImage &dst);

// Calls process(size) with a number of bytes, as a constant if it is a usual size
// of pixels, so that copying a pixel is an instruction or two.
template <class F>
void withSize(std::ptrdiff_t bytes, F process) {
    switch (bytes) {
    case 1:
        return process(std::integral_constant<std::size_t, 1>());
    case 2:
        return process(std::integral_constant<std::size_t, 2>());
    case 3:
        return process(std::integral_constant<std::size_t, 3>());
    case 4:
        return process(std::integral_constant<std::size_t, 4>());
    case 6:
        return process(std::integral_constant<std::size_t, 6>());
    case 8:
        return process(std::integral_constant<std::size_t, 8>());
    default:
        return process(static_cast<std::size_t>(bytes));
    }
}

// Groups of `bytes` bytes from a row without gaps to every `step` bytes.
void spreadSamples(const unsigned char *src, unsigned char *dst, std::ptrdiff_t bytes,
                   std::ptrdiff_t step, std::ptrdiff_t n);

// A gather in the making: which sample of a source row comes to each place.
class GatherTable {
  public:
    GatherTable() = default;
    explicit GatherTable(std::int64_t n);

    explicit operator bool() const { return static_cast<bool>(index_); }
    const std::int32_t *index() const { return index_.data(); }

    // Pixel i of the row comes from pixel `column` of a source row.
    void put(std::int32_t i, std::int32_t column, const ChannelPairs &pairs) {
        std::int32_t *to = &index_[i * pairs.count];
        const auto first = static_cast<std::int32_t>(column * pairs.srcStep);
        *to = first;
        for (std::int32_t c = 1; c < pairs.count; ++c) to[c] = first + c;
    }

    // To be called when all pixels are put: the size of a sample, and of the rows
    // from the first sample on.
    void finish(std::ptrdiff_t bytes, std::ptrdiff_t rowBytes);

    void run(const void *row, void *out) const {
        kernel_(row, {index_.data(), inBlocks_ ? blocks_.data() : nullptr, count_}, out);
    }

  private:
    // False when the samples come from too far apart.
    static bool makeHalf(const std::int32_t *index, std::ptrdiff_t bytes, std::ptrdiff_t rowBytes,
                         int half, GatherBlock &block);

    Scratch<std::int32_t> index_;
    Scratch<GatherBlock> blocks_; // none where a row is too short, or without memory
    std::ptrdiff_t count_ = 0;
    bool inBlocks_ = false;
    MoveKernels::GatherRow kernel_ = nullptr;
};

// Rows of a piece. Samples are made without gaps; where the destination has gaps
// between them, or bits, they are made aside and put in place afterwards.
class RowOutput {
  public:
    RowOutput(const DstPiece &piece, const ChannelPairs &pairs);

    explicit operator bool() const { return direct_ || static_cast<bool>(made_); }
    // Whether samples are made where they belong.
    bool direct() const { return direct_; }

    void startPlane(int plane) { channel_ = pairs_.dstFirst + plane; }

    // Where to make the samples of row j; 1-bit samples one per byte.
    void *row(std::int32_t j) { return direct_ ? piece_.row(j, channel_) : made_.data(); }
    // Puts them in place.
    void finishRow(std::int32_t j);
    // Makes row j what the row before it is.
    void repeatRow(std::int32_t j);

  private:
    const DstPiece &piece_;
    const ChannelPairs pairs_;
    const std::ptrdiff_t bytes_; // of a sample; 0 for bits
    const bool direct_;
    int channel_ = 1;
    Scratch<unsigned char> made_;
};

// Rows of pixels copied or turned round, between any two layouts and depths.
class RowFlip {
  public:
    // Rows of the piece; `reversed` turns them round. They come from `source`,
    // from pixels that begin at column `left` of its image.
    RowFlip(const SourceRect &source, std::int32_t left, const DstPiece &piece,
            const ChannelPairs &pairs, bool reversed);

    explicit operator bool() const { return static_cast<bool>(output_) && ready_; }

    void startPlane(int plane);
    // The source's pixels of row y, from the first one on, and bytes they lie in.
    const unsigned char *row(std::int32_t y) const;
    std::ptrdiff_t rowBytes() const;
    // Makes rows of the piece from j on from such rows, which lie `stride` bytes apart.
    void run(const unsigned char *rows, std::ptrdiff_t stride, std::int32_t j, std::int32_t count);
    // Makes all rows of the piece, from source rows from y on; in reverse order when
    // `upwards`.
    void runAll(std::int32_t y, bool upwards);

  private:
    void chooseRectangle();
    void runBits(const unsigned char *row, std::int32_t j);

    const SourceRect &source_;
    const DstPiece &piece_;
    const ChannelPairs pairs_;
    const std::int32_t left_;
    const std::ptrdiff_t bytes_;
    const bool reversed_;
    int plane_ = 0;
    bool ready_ = true;
    // Moves rectangles at once, unless null, of so many units in a row.
    MoveKernels::Rectangle rectangle_ = nullptr;
    std::ptrdiff_t units_ = 0;
    RowOutput output_;
    GatherTable gather_;
    Scratch<unsigned char> turned_; // 1-bit samples
};

} // namespace zylqx

#endif
