// A picture held in a ZylImage, in memory or in tiles.
#pragma once

#include <zylqx.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace tool {

// Everything of a picture but its samples.
struct Shape {
    int width = 0;
    int height = 0;
    int channels = 1; // 1 gray, 2 gray and alpha, 3 colour, 4 colour and alpha
    std::uint32_t depth = ZYL_DEPTH_8U;
    std::string model = "GRAY";    // colorModel, up to four characters
    std::string sequence = "GRAY"; // channelSeq
    int alpha = 0;                 // the alpha channel's number, 0 for none
    int order = ZYL_DATA_ORDER_PIXEL;
    int origin = ZYL_ORIGIN_TL;

    bool color() const { return channels - (alpha != 0) >= 3; }
};

// The usual shape for 1 to 4 channels: gray or RGB, the second or fourth is alpha.
Shape makeShape(int width, int height, int channels, std::uint32_t depth);

// "1u", "8s" ...: as words of the command line have it.
std::string nameOf(std::uint32_t depth);

// "640 x 480, 8-bit RGB with alpha"
std::string describe(const Shape &shape);

// Tile size in pixels, multiples of 8; 0 x 0 for a picture in memory.
struct Tiling {
    int width = 0;
    int height = 0;
    explicit operator bool() const { return width > 0; }
};

class Image {
  public:
    // All samples 0. Throws Failure when the picture is too large.
    explicit Image(const Shape &shape, Tiling tiling = {});
    // For readers of files: the samples are left as the memory comes, so that a
    // file that lies about its size costs little.
    static Image unfilled(const Shape &shape) { return Image(shape, {}, -1); }

    // The same picture stored another way.
    Image copy(Tiling tiling = {}) const;

    ZylImage *header() const { return header_.get(); }
    Shape shape() const;
    // Row y in memory. Not for tiled images.
    unsigned char *row(int y) const;
    template <class T>
    T *samples(int y) const {
        return reinterpret_cast<T *>(row(y));
    }

    // Sets the part and the channel that operations work on; channel 0 means all.
    void setRegion(int channel, int x, int y, int width, int height);
    void clearRegion();

  private:
    Image(const Shape &shape, Tiling tiling, int fillValue);

    struct Free {
        void operator()(ZylImage *image) const;
    };
    struct Tiles {
        int columns;
        std::vector<std::vector<unsigned char>> blocks;
    };
    static void ZYL_CALL serveTile(ZylImage *image, std::int32_t x, std::int32_t y,
                                   std::int32_t mode);

    std::unique_ptr<ZylImage, Free> header_;
    std::unique_ptr<Tiles> tiles_;
};

} // namespace tool
