// Pictures for the benchmarks, filled with seeded random samples.
#ifndef ZYLQX_BENCH_PICTURE_H
#define ZYLQX_BENCH_PICTURE_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "zylqx.h"

namespace bench {

// How the pixels lie: in memory as one, or in tiles of TILE x TILE one after another.
enum class Layout { Memory, Tiles };
constexpr int TILE = 256;

class Picture {
  public:
    Picture(std::uint32_t depth, int channels, int width, int height,
            int dataOrder = ZYL_DATA_ORDER_PIXEL, Layout layout = Layout::Memory);
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;
    ~Picture() { zylDeallocate(image_, ZYL_DEALLOC_ALL); }

    // For a call of the library.
    operator ZylImage *() const { return image_; }

    // For the calls of others, of pictures in memory.
    std::uint8_t *data() const { return image_->imageData; }
    std::uint16_t *words() const { return reinterpret_cast<std::uint16_t *>(data()); }
    int width() const { return image_->width; }
    int height() const { return image_->height; }
    int channels() const { return image_->nChannels; }
    int stride() const { return image_->widthStep; }
    std::ptrdiff_t bytes() const { return image_->imageSize; }

  private:
    static void ZYL_CALL deliver(ZylImage *image, std::int32_t column, std::int32_t row,
                                 std::int32_t mode);

    ZylImage *image_;
    std::unique_ptr<const Picture> tiles_; // one above the other
    std::ptrdiff_t tileBytes_ = 0;
};

// Shared by the calls of a row.
using PicturePointer = std::shared_ptr<const Picture>;
using Pictures = std::vector<PicturePointer>;

inline PicturePointer picture(std::uint32_t depth, int channels, int side, Layout layout) {
    return std::make_shared<const Picture>(depth, channels, side, side, ZYL_DATA_ORDER_PIXEL,
                                           layout);
}

// "8u", "16s" ...
const char *depthName(std::uint32_t depth);

// Bytes of the samples of a picture, without padding.
std::ptrdiff_t pictureBytes(std::uint32_t depth, int channels, int side);

} // namespace bench

#endif
