// Depths, colour models, fewer bits, colour twist and bitmaps.

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "rows.h"

namespace bench {

namespace {

// A picture of this colour model, in red, green, blue order for "RGB".
PicturePointer colourPicture(std::uint32_t depth, int channels, int side, const char *model) {
    PicturePointer result = picture(depth, channels, side);
    ZylImage *image = *result;
    std::memcpy(image->colorModel, model, 4);
    std::memcpy(image->channelSeq, model, 4);
    return result;
}

void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int side,
            std::ptrdiff_t read, std::ptrdiff_t written, std::function<Contest()> prepare,
            double cycles = 0) {
    rows.push_back({name, depth, side, read, written, std::move(prepare), cycles});
}

void addDepthRows(std::vector<Row> &rows, int side) {
    struct Pair {
        std::uint32_t from, to;
    };
    for (const Pair pair : {Pair{ZYL_DEPTH_8U, ZYL_DEPTH_8S}, Pair{ZYL_DEPTH_8U, ZYL_DEPTH_16U},
                            Pair{ZYL_DEPTH_8U, ZYL_DEPTH_32S}, Pair{ZYL_DEPTH_16U, ZYL_DEPTH_8U},
                            Pair{ZYL_DEPTH_16S, ZYL_DEPTH_8U}, Pair{ZYL_DEPTH_32S, ZYL_DEPTH_8U},
                            Pair{ZYL_DEPTH_32S, ZYL_DEPTH_16S}, Pair{ZYL_DEPTH_8U, ZYL_DEPTH_1U}}) {
        addRow(rows, std::string("convert to ") + depthName(pair.to), pair.from, side,
               pictureBytes(pair.from, 1, side), pictureBytes(pair.to, 1, side), [=] {
                   const PicturePointer s = picture(pair.from, 1, side);
                   const PicturePointer d = picture(pair.to, 1, side);
                   return Contest{[=] { zylConvert(*s, *d, 1, nullptr); }};
               });
    }
    addRow(rows, "bitonal-to-gray", ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_1U, 1, side),
           pictureBytes(ZYL_DEPTH_8U, 1, side), [=] {
               const PicturePointer s = picture(ZYL_DEPTH_1U, 1, side);
               const PicturePointer d = picture(ZYL_DEPTH_8U, 1, side);
               return Contest{[=] { zylBitonalToGray(*s, *d, 0, 255, nullptr); }};
           });
}

void addGrayRows(std::vector<Row> &rows, int side) {
    for (const int channels : {3, 4}) {
        for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            addRow(rows, "color-to-gray of " + std::to_string(channels), depth, side,
                   pictureBytes(depth, channels, side), pictureBytes(depth, 1, side), [=] {
                       const PicturePointer s = colourPicture(depth, channels, side, "RGBA");
                       const PicturePointer d = picture(depth, 1, side);
                       return Contest{[=] { zylColorToGray(*s, *d, nullptr); }, {s, d}};
                   });
        }
    }
    addRow(rows, "gray-to-color", ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_8U, 1, side),
           pictureBytes(ZYL_DEPTH_8U, 3, side), [=] {
               const PicturePointer s = picture(ZYL_DEPTH_8U, 1, side);
               const PicturePointer d = colourPicture(ZYL_DEPTH_8U, 3, side, "RGB");
               return Contest{[=] { zylGrayToColor(*s, *d, 1, 1, 1, nullptr); }};
           });
}

// Deep pixels take two divisions, of 8 cycles for 4 numbers; those from HLS one, but some
// 70 other operations on 4 numbers: per channel 6 to bring the hue into the circle, 6 for
// the slope, 5 to choose and 3 to limit.
void addModelRows(std::vector<Row> &rows, int side) {
    struct Model {
        const char *name, *from;
        void (*call)(ZylImage *, ZylImage *, const std::int32_t *);
        double deepCycles;
    };
    for (const Model &model :
         {Model{"rgb2hsv", "RGB", zylRGB2HSV, 4}, Model{"hsv2rgb", "HSV", zylHSV2RGB, 4},
          Model{"rgb2hls", "RGB", zylRGB2HLS, 4}, Model{"hls2rgb", "HLS", zylHLS2RGB, 70.0 / 12}}) {
        for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
            const std::ptrdiff_t bytes = pictureBytes(depth, 3, side);
            addRow(
                rows, model.name, depth, side, bytes, bytes,
                [=] {
                    const PicturePointer s = colourPicture(depth, 3, side, model.from);
                    const PicturePointer d = colourPicture(depth, 3, side, model.from);
                    return Contest{[=] { model.call(*s, *d, nullptr); }};
                },
                depth == ZYL_DEPTH_8U ? 0 : model.deepCycles);
        }
    }
}

void addTwistRows(std::vector<Row> &rows, int side) {
    // Within 31 bits for 8-bit samples, and beyond them.
    for (const int scale : {8, 30}) {
        for (const int channels : {3, 4}) {
            const std::ptrdiff_t bytes = pictureBytes(ZYL_DEPTH_8U, channels, side);
            const std::string name = std::string("color-twist") + (scale == 30 ? " fine" : "") +
                                     " of " + std::to_string(channels);
            addRow(rows, name, ZYL_DEPTH_8U, side, bytes, bytes, [=] {
                const PicturePointer s = picture(ZYL_DEPTH_8U, channels, side);
                const PicturePointer d = picture(ZYL_DEPTH_8U, channels, side);
                const std::int32_t one = 1 << scale;
                const std::int32_t data[16] = {one / 2, one / 3, one / 6, 0, one / 4, one / 2,
                                               one / 4, 5,       one / 9, 3, one,     -one};
                const std::shared_ptr<ZylColorTwist> twist(zylCreateColorTwist(data, scale),
                                                           zylDeleteColorTwist);
                return Contest{[=] { zylApplyColorTwist(*s, *d, twist.get(), 3, nullptr); }};
            });
        }
    }
}

// Error diffusion stores every sample twice, on the way between rows of samples and vectors
// of columns; a vector of 16 sums takes 16 cycles from an error to the next and 11 for
// other operations with three weights above, 26 with ten. The ordered dither and the cut
// take 15 operations for 16 samples.
double ditherCycles(int type) {
    return type == 1 ? 0 : type == 16 ? 15.0 / 48 : 2;
}

void addDitherRows(std::vector<Row> &rows, int side) {
    for (const int type : {1, 2, 4, 8, 16}) {
        for (const int channels : {1, 3}) {
            const std::string name =
                "reduce-bits dither " + std::to_string(type) + " of " + std::to_string(channels);
            addRow(
                rows, name, ZYL_DEPTH_16U, side, pictureBytes(ZYL_DEPTH_16U, channels, side),
                pictureBytes(ZYL_DEPTH_8U, channels, side),
                [=] {
                    const char *model = channels == 1 ? "GRAY" : "RGB";
                    const PicturePointer s = colourPicture(ZYL_DEPTH_16U, channels, side, model);
                    const PicturePointer d = colourPicture(ZYL_DEPTH_8U, channels, side, model);
                    return Contest{[=] { zylReduceBits(*s, *d, 0, type, 3, nullptr); }};
                },
                channels * ditherCycles(type));
        }
    }
}

// Smooth colours with a little noise, as photographs have.
PicturePointer photograph(int side) {
    PicturePointer result = colourPicture(ZYL_DEPTH_8U, 3, side, "RGB");
    for (int y = 0; y < side; ++y) {
        std::uint8_t *row = result->data() + std::ptrdiff_t{y} * result->stride();
        for (int i = 0; i < 3 * side; ++i) {
            const double x = i / 3;
            const double v = 128 + 70 * std::sin(x / 211 + i % 3) + 50 * std::sin(y / 97.0 - i % 3);
            row[i] = static_cast<std::uint8_t>(v + row[i] % 8 - 4);
        }
    }
    return result;
}

// 24 bits: 12 operations on 8 pixels. Fewer: where the pixel is among the colours takes 14
// operations on 8 pixels and four loads, for the median cut counting three more and a
// store, before that a load and an addition; finding nearest entries and cutting boxes are
// not counted.
void addBitmapRows(std::vector<Row> &rows, int side) {
    struct Kind {
        const char *name;
        int bits, palette;
        double cycles;
    };
    for (const Kind kind :
         {Kind{"to-bitmap 24", 24, 0, 0.5}, Kind{"to-bitmap 8, fixed", 8, 1, 2.6},
          Kind{"to-bitmap 8, median cut", 8, 2, 4.6}, Kind{"to-bitmap 4, median cut", 4, 2, 4.6}}) {
        const std::ptrdiff_t stride = (std::ptrdiff_t{side} * kind.bits + 31) / 32 * 4;
        addRow(
            rows, kind.name, ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_8U, 3, side), stride * side,
            [=] {
                const PicturePointer s = photograph(side);
                ZylBitmapInfoHeader header{};
                header.biSize = sizeof header;
                header.biWidth = side;
                header.biHeight = side;
                header.biPlanes = 1;
                header.biBitCount = static_cast<std::uint16_t>(kind.bits);
                const auto block = std::make_shared<std::vector<std::uint8_t>>(
                    sizeof header + 1024 + static_cast<std::size_t>(stride * side));
                return Contest{[=] {
                    std::memcpy(block->data(), &header, sizeof header);
                    zylConvertToDIB(*s, block->data(), 1, kind.palette);
                }};
            },
            kind.cycles);
    }
}

} // namespace

void addConvertRows(std::vector<Row> &rows, int side) {
    addDepthRows(rows, side);
    addGrayRows(rows, side);
    addModelRows(rows, side);
    addTwistRows(rows, side);
    addDitherRows(rows, side);
    addBitmapRows(rows, side);
}

} // namespace bench
