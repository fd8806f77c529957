// Pictures for the benchmarks, filled with seeded random samples.
#ifndef ZYLQX_BENCH_PICTURE_H
#define ZYLQX_BENCH_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "zylqx.h"

namespace bench {

class Picture {
  public:
    Picture(std::uint32_t depth, int channels, int width, int height,
            int dataOrder = ZYL_DATA_ORDER_PIXEL);
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;
    ~Picture() { zylDeallocate(image_, ZYL_DEALLOC_ALL); }

    // For a call of the library.
    operator ZylImage *() const { return image_; }

    // For the calls of others.
    std::uint8_t *data() const { return image_->imageData; }
    std::uint16_t *words() const { return reinterpret_cast<std::uint16_t *>(data()); }
    int width() const { return image_->width; }
    int height() const { return image_->height; }
    int channels() const { return image_->nChannels; }
    int stride() const { return image_->widthStep; }
    std::ptrdiff_t bytes() const { return image_->imageSize; }

  private:
    ZylImage *image_;
};

// Shared by the calls of a row.
using PicturePointer = std::shared_ptr<const Picture>;
using Pictures = std::vector<PicturePointer>;

inline PicturePointer picture(std::uint32_t depth, int channels, int side) {
    return std::make_shared<const Picture>(depth, channels, side, side);
}

// "8u", "16s" ...
const char *depthName(std::uint32_t depth);

// Bytes of the samples of a picture, without padding.
std::ptrdiff_t pictureBytes(std::uint32_t depth, int channels, int side);

} // namespace bench

#endif
