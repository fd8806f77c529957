// A rectangle of an image, copied into scratch memory.
#ifndef ZYLQX_CORE_RECT_H
#define ZYLQX_CORE_RECT_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"
#include "zylqx.h"

namespace zylqx {

// Owns the pixels of a rectangle, in its image's depth, channels and data order,
// rows padded by the stride rule.
class RectPixels {
  public:
    RectPixels() = default;
    // Room for width x height pixels in the format of `image`.
    RectPixels(const ZylImage &image, std::int64_t width, std::int64_t height);

    // False when there is no memory, or when reading failed.
    explicit operator bool() const { return static_cast<bool>(pixels_); }

    // The pixels as an image in memory, without region, borders as those of the
    // image that they come from.
    ZylImage &image() { return header_; }
    unsigned char *data() const { return pixels_.data(); }
    std::int32_t stride() const { return header_.widthStep; }

    // Fills rows from `row` on with the rows of `image` from (x, y) on; false when
    // a tile was not delivered.
    bool readRows(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t row,
                  std::int64_t count);

  private:
    ZylImage header_{};
    Scratch<unsigned char> pixels_;
};

// The pixels of the rectangle with its top left corner at (x, y), in image
// coordinates. It may reach past the image: border modes give these samples.
// Tiles are requested for reading one at a time, once each unless a border far
// from its source needs them again. Null (false) when there is no memory or a
// tile is not delivered.
RectPixels ownReadRect(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t width,
                       std::int64_t height);

} // namespace zylqx

#endif
