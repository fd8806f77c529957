#include "core/joined_rows.h"

#include <cstring>

#include "core/bits.h"
#include "core/image.h"
#include "core/memory.h"

namespace zylqx {

namespace {

// Bytes of a source row up to which joining pays: those of the widest vector.
constexpr std::int64_t NARROW = 64;
// More rows would not stay in the nearest caches.
constexpr std::int64_t MOST_ROWS = 1024;

std::int64_t bytesOf(const ZylImage &image, std::int64_t pixels) {
    return (pixels * pixelStep(image) * depthBits(image.depth) + 7) / 8;
}

ZylImage imageOf(const ZylImage &format, unsigned char *pixels, std::int64_t width,
                 std::int64_t height, std::int64_t stride) {
    ZylImage image = format;
    image.roi = nullptr;
    image.tileInfo = nullptr;
    image.imageData = pixels;
    image.width = static_cast<std::int32_t>(width);
    image.height = static_cast<std::int32_t>(height);
    image.widthStep = static_cast<std::int32_t>(stride);
    return image;
}

// The source rows stand one after another, so that each of them goes on in the next one,
// and rows of boxes do likewise. What comes of boxes that lie in two rows is left out.
class JoinedPiece {
  public:
    JoinedPiece(const NeighbourPiece &piece, const Box &box)
        : piece_(piece), box_(box), stride_(bytesOf(piece.source, piece.width + box.columns - 1)),
          columns_(piece.source.depth == ZYL_DEPTH_1U ? stride_ * 8
                                                      : piece.width + box.columns - 1),
          rows_(piece.height + box.rows - 1), length_((piece.height - 1) * columns_ + piece.width),
          made_((rows_ * stride_ + 7) / 8 * 8),
          pixels_(static_cast<std::uint64_t>(made_ + bytesOf(piece.destination, length_))) {}

    // False when there is no memory.
    bool run(NeighbourKernel visit) {
        if (!pixels_) return false;
        // The image is in memory, so reading cannot fail.
        readBorderedRect(piece_.source, piece_.boxX, piece_.boxY, columns_, rows_, ALL_CHANNELS,
                         {pixels_.data(), static_cast<std::ptrdiff_t>(stride_), 0});
        ZylImage source =
            imageOf(piece_.source, pixels_.data(), length_ + box_.columns - 1, box_.rows, stride_);
        const ZylImage made = imageOf(piece_.destination, pixels_.data() + made_, length_, 1, 0);
        if (!visit({source, 0, 0, made, 0, 0, length_, 1})) return false;
        for (std::int64_t y = 0; y < piece_.height; ++y) store(made, y);
        return true;
    }

  private:
    void store(const ZylImage &made, std::int64_t y) const {
        const ZylImage &to = piece_.destination;
        const unsigned char *from = sampleAt(made, y * columns_, 0, 1);
        unsigned char *row = sampleAt(to, piece_.dstX, piece_.dstY + y, 1);
        if (to.depth == ZYL_DEPTH_1U) {
            copyBits(from, 0, row, piece_.dstX % 8, piece_.width);
        } else {
            std::memcpy(row, from, static_cast<std::size_t>(bytesOf(to, piece_.width)));
        }
    }

    const NeighbourPiece &piece_;
    const Box &box_;
    const std::int64_t stride_;  // bytes of a source row
    const std::int64_t columns_; // its pixels, of bits in whole bytes
    const std::int64_t rows_;    // of the source
    const std::int64_t length_;  // of the row that is made
    const std::int64_t made_;    // where it begins: aligned for samples of any depth
    Scratch<unsigned char> pixels_;
};

bool isNarrow(const NeighbourPiece &piece, const Box &box) {
    return piece.height > 1 && piece.width + box.columns <= NARROW * 8 &&
           piece.height + box.rows <= MOST_ROWS &&
           bytesOf(piece.source, piece.width + box.columns - 1) <= NARROW;
}

} // namespace

bool joinNarrowRows(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                    NeighbourKernel visit) {
    if (!passes.whole() || !isNarrow(piece, box)) return visit(piece);
    return JoinedPiece(piece, box).run(visit);
}

} // namespace zylqx
