// Depths, colour models, fewer bits, colour twist and bitmaps.

#include <cmath>
#include <cstring>
#include <memory>
#include <vector>

#include "rows.h"

namespace bench {

namespace {

// A picture of this colour model, in red, green, blue order for "RGB".
PicturePointer colourPicture(std::uint32_t depth, int channels, int side, const char *model,
                             Layout layout = Layout::Memory) {
    PicturePointer result = picture(depth, channels, side, layout);
    ZylImage *image = *result;
    std::memcpy(image->colorModel, model, 4);
    std::memcpy(image->channelSeq, model, 4);
    return result;
}

void addRow(std::vector<Row> &rows, const std::string &name, std::uint32_t depth, int side,
            std::ptrdiff_t read, std::ptrdiff_t written, std::function<Contest(Layout)> prepare,
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
               pictureBytes(pair.from, 1, side), pictureBytes(pair.to, 1, side),
               [=](Layout layout) {
                   const PicturePointer s = picture(pair.from, 1, side, layout);
                   const PicturePointer d = picture(pair.to, 1, side, layout);
                   return Contest{[=] { zylConvert(*s, *d, 1, nullptr); }};
               });
    }
    addRow(rows, "bitonal-to-gray", ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_1U, 1, side),
           pictureBytes(ZYL_DEPTH_8U, 1, side), [=](Layout layout) {
               const PicturePointer s = picture(ZYL_DEPTH_1U, 1, side, layout);
               const PicturePointer d = picture(ZYL_DEPTH_8U, 1, side, layout);
               return Contest{[=] { zylBitonalToGray(*s, *d, 0, 255, nullptr); }};
           });
}

void addGrayRows(std::vector<Row> &rows, int side) {
    for (const int channels : {3, 4}) {
        for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            addRow(rows, "color-to-gray of " + std::to_string(channels), depth, side,
                   pictureBytes(depth, channels, side), pictureBytes(depth, 1, side),
                   [=](Layout layout) {
                       const PicturePointer s =
                           colourPicture(depth, channels, side, "RGBA", layout);
                       const PicturePointer d = picture(depth, 1, side, layout);
                       return Contest{[=] { zylColorToGray(*s, *d, nullptr); }, {s, d}};
                   });
        }
    }
    addRow(rows, "gray-to-color", ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_8U, 1, side),
           pictureBytes(ZYL_DEPTH_8U, 3, side), [=](Layout layout) {
               const PicturePointer s = picture(ZYL_DEPTH_8U, 1, side, layout);
               const PicturePointer d = colourPicture(ZYL_DEPTH_8U, 3, side, "RGB", layout);
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
                [=](Layout layout) {
                    const PicturePointer s = colourPicture(depth, 3, side, model.from, layout);
                    const PicturePointer d = colourPicture(depth, 3, side, model.from, layout);
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
            addRow(rows, name, ZYL_DEPTH_8U, side, bytes, bytes, [=](Layout layout) {
                const PicturePointer s = picture(ZYL_DEPTH_8U, channels, side, layout);
                const PicturePointer d = picture(ZYL_DEPTH_8U, channels, side, layout);
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
                [=](Layout layout) {
                    const char *model = channels == 1 ? "GRAY" : "RGB";
                    const PicturePointer s =
                        colourPicture(ZYL_DEPTH_16U, channels, side, model, layout);
                    const PicturePointer d =
                        colourPicture(ZYL_DEPTH_8U, channels, side, model, layout);
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

ZylBitmapInfoHeader bitmapHeader(int side, int bits) {
    ZylBitmapInfoHeader header{};
    header.biSize = sizeof header;
    header.biWidth = side;
    header.biHeight = side;
    header.biPlanes = 1;
    header.biBitCount = static_cast<std::uint16_t>(bits);
    return header;
}

std::ptrdiff_t bitmapBytes(int side, int bits) {
    return (std::ptrdiff_t{side} * bits + 31) / 32 * 4 * side;
}

// A bitmap, with room for the largest table.
using BitmapPointer = std::shared_ptr<std::vector<std::uint8_t>>;
BitmapPointer bitmapOf(int side, int bits) {
    const ZylBitmapInfoHeader header = bitmapHeader(side, bits);
    auto bitmap = std::make_shared<std::vector<std::uint8_t>>(
        sizeof header + 1024 + static_cast<std::size_t>(bitmapBytes(side, bits)));
    std::memcpy(bitmap->data(), &header, sizeof header);
    return bitmap;
}

// 24 bits: 12 operations on 8 pixels. The fixed palette: four loads, of the pixel and of a
// level for each channel. The median cut: where the pixel is among the colours takes 14
// operations on 8 pixels and four loads, counting three more and a store, before that a load
// and an addition; finding nearest entries and cutting boxes are not counted.
void addBitmapRows(std::vector<Row> &rows, int side) {
    struct Kind {
        const char *name;
        int bits, palette;
        double cycles;
    };
    for (const Kind kind :
         {Kind{"to-bitmap 24", 24, 0, 0.5}, Kind{"to-bitmap 8, fixed", 8, 1, 2},
          Kind{"to-bitmap 8, median cut", 8, 2, 4.6}, Kind{"to-bitmap 4, median cut", 4, 2, 4.6}}) {
        const auto prepare = [=](Layout) {
            const PicturePointer s = photograph(side);
            const BitmapPointer bitmap = bitmapOf(side, kind.bits);
            const ZylBitmapInfoHeader header = bitmapHeader(side, kind.bits);
            return Contest{[=] {
                std::memcpy(bitmap->data(), &header, sizeof header); // the call changes it
                zylConvertToDIB(*s, bitmap->data(), 1, kind.palette);
            }};
        };
        rows.push_back({kind.name, ZYL_DEPTH_8U, side, pictureBytes(ZYL_DEPTH_8U, 3, side),
                        bitmapBytes(side, kind.bits), prepare, kind.cycles, false});
    }
    const std::ptrdiff_t bytes = bitmapBytes(side, 24);
    const auto from = [=](Layout) {
        const PicturePointer d = colourPicture(ZYL_DEPTH_8U, 3, side, "BGR");
        const BitmapPointer bitmap = bitmapOf(side, 24);
        return Contest{[=] { zylConvertFromDIB(bitmap->data(), *d); }};
    };
    rows.push_back({"from-bitmap 24", ZYL_DEPTH_8U, side, bytes,
                    pictureBytes(ZYL_DEPTH_8U, 3, side), from, 0, false});
    // Of 16 bits, whose pixels cannot be used as they are.
    const auto translate = [=](Layout) {
        const BitmapPointer bitmap = bitmapOf(side, 16);
        return Contest{[=] {
            std::int32_t cloned = 0;
            ZylImage *image = zylTranslateDIB(bitmap->data(), &cloned);
            zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
        }};
    };
    rows.push_back({"translate-bitmap 16", ZYL_DEPTH_8U, side, bitmapBytes(side, 16),
                    pictureBytes(ZYL_DEPTH_8U, 3, side), translate, 0, false});
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
