// An image in scratch memory, for what of another image is needed in one piece.
#ifndef ZYLQX_CORE_SCRATCH_IMAGE_H
#define ZYLQX_CORE_SCRATCH_IMAGE_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"
#include "zylqx.h"

namespace zylqx {

class ScratchImage {
  public:
    ScratchImage() = default;
    // Room for width x height pixels in the format of `image`.
    ScratchImage(const ZylImage &image, std::int64_t width, std::int64_t height);

    // False when there is no memory.
    explicit operator bool() const { return static_cast<bool>(pixels_); }

    // Without region, borders as those of the image that the format is from.
    ZylImage &image() { return header_; }

    // Fills rows from `row` on with the rows of `image` from (x, y) on, which may reach
    // past it: border modes give these samples. Tiles are requested for reading one at a
    // time, once each unless a border far from its source needs them again. False when
    // one was not delivered.
    bool readRows(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t row,
                  std::int64_t count);

  private:
    ZylImage header_; // unless there is no room
    Scratch<unsigned char> pixels_;
};

} // namespace zylqx

#endif
