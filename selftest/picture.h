// Images of random calls: their pixels in memory or in tiles, with regions,
// borders and, now and then, a faulty header.
#ifndef ZYLQX_SELFTEST_PICTURE_H
#define ZYLQX_SELFTEST_PICTURE_H

#include <zylqx.h>

#include <memory>
#include <vector>

#include "selftest/checksum.h"
#include "selftest/random.h"

namespace selftest {

// What the images of one call have in common, or not.
struct Shape {
    std::uint32_t depth = ZYL_DEPTH_8U;
    int channels = 1;
    int alpha = 0;
    const char *model = "GRAY";
    const char *sequence = "GRAY";
    int order = ZYL_DATA_ORDER_PIXEL;
    int origin = ZYL_ORIGIN_TL;
    int width = 1;
    int height = 1;
};

// Which samples a picture is filled with.
enum class Fill {
    Any,
    NotNegative,
    Highest, // those that the noise of zylReduceBits() leaves alone
};

// How a picture is laid out and cut.
struct Layout {
    bool tiled = false;
    bool region = false;
    bool channelOfInterest = false;
    bool faulty = false;
    Fill fill = Fill::Any;
};

int depthBits(std::uint32_t depth);

class Picture {
  public:
    Picture(Random &in, const Shape &shape, const Layout &layout);
    Picture(const Picture &) = delete;
    Picture &operator=(const Picture &) = delete;

    ZylImage *image() const { return header_.get(); }
    const Shape &shape() const { return shape_; }
    // The header and every sample, the padding of rows and tiles included.
    void addTo(Checksum &sum) const;

  private:
    struct FreeHeader {
        void operator()(ZylImage *image) const {
            zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_ROI | ZYL_DEALLOC_TILE);
        }
    };
    using Header = std::unique_ptr<ZylImage, FreeHeader>;

    // The pixels of an image or a tile, off the alignment of the heap by some samples.
    struct Block {
        std::vector<unsigned char> bytes;
        std::size_t first = 0;
    };

    Header create(int height, int width, ZylTileInfo *tiles) const;
    Block block(Random &in, std::int32_t size, Fill fill) const;
    void placeRegion(Random &in, bool channelOfInterest);
    void damage(Random &in);
    static void deliver(ZylImage *image, std::int32_t x, std::int32_t y, std::int32_t mode);

    Shape shape_;
    int align_;
    Header header_;
    std::vector<Block> blocks_; // one, or the tiles row by row
    int tileColumns_ = 0;
    int held_ = 0;
};

// Samples as numbers; those of one bit eight at a time. `bytes` is a whole number
// of samples.
void addSamples(Checksum &sum, const unsigned char *samples, std::size_t bytes,
                std::uint32_t depth);

// Every header field that is no pointer and no size of one.
void addHeader(Checksum &sum, const ZylImage &image);

} // namespace selftest

#endif
