#include "sheet.h"

#include "font.h"
#include "picture_io.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

constexpr int cellWidth = 320, cellHeight = 240, gap = 12, labelHeight = 20;
constexpr Color background = {40, 42, 48}, labelColor = {230, 230, 230};

// A sample of any depth, brought to 0..255; the middle of a signed depth is gray.
int eightBits(const Image &image, int x, int y, int channel) {
    const ZylImage &h = *image.header();
    int at = x * h.nChannels + std::min(channel, h.nChannels - 1);
    switch (h.depth) {
    case ZYL_DEPTH_1U:
        return image.row(y)[x / 8] >> (7 - x % 8) & 1 ? 255 : 0;
    case ZYL_DEPTH_8U:
        return image.row(y)[at];
    case ZYL_DEPTH_8S:
        return image.samples<std::int8_t>(y)[at] + 128;
    case ZYL_DEPTH_16U:
        return image.samples<std::uint16_t>(y)[at] >> 8;
    case ZYL_DEPTH_16S:
        return (image.samples<std::int16_t>(y)[at] >> 8) + 128;
    default:
        return (image.samples<std::int32_t>(y)[at] >> 24) + 128;
    }
}

// The mean of the block of size x size pixels, cut to the picture.
unsigned char meanSample(const Image &image, int left, int top, int size, int channel) {
    int right = std::min(left + size, image.header()->width);
    int bottom = std::min(top + size, image.header()->height);
    std::int64_t sum = 0;
    for (int y = top; y < bottom; ++y)
        for (int x = left; x < right; ++x) sum += eightBits(image, x, y, channel);
    std::int64_t count = std::int64_t{right - left} * (bottom - top);
    return static_cast<unsigned char>((sum + count / 2) / count);
}

// Draws a picture, made smaller by a whole factor so that it fits a cell.
void drawPicture(const Image &image, const Image &sheet, int left, int top) {
    Shape shape = image.shape();
    int size = std::max({1, (shape.width + cellWidth - 1) / cellWidth,
                         (shape.height + cellHeight - 1) / cellHeight});
    bool color = shape.color();
    for (int y = 0; y * size < shape.height; ++y) {
        unsigned char *pixel = sheet.row(top + y) + std::ptrdiff_t{left} * 3;
        for (int x = 0; x * size < shape.width; ++x) {
            for (int c = 0; c < 3; ++c)
                *pixel++ = meanSample(image, x * size, y * size, size, color ? c : 0);
        }
    }
}

} // namespace

Image drawSheet(const std::vector<std::string> &paths, int columns) {
    int count = static_cast<int>(paths.size());
    columns = std::min(columns, count);
    int rows = (count + columns - 1) / columns;
    int stepX = cellWidth + gap, stepY = cellHeight + labelHeight + gap;
    Image sheet(makeShape(columns * stepX + gap, rows * stepY + gap, 3, ZYL_DEPTH_8U));
    fillRectangle(sheet, 0, 0, sheet.header()->width, sheet.header()->height, background);
    for (int i = 0; i < count; ++i) {
        int left = gap + i % columns * stepX, top = gap + i / columns * stepY;
        drawPicture(readPicture(paths[i]), sheet, left, top);
        drawText(sheet, left, top + cellHeight + 5, 1, labelColor,
                 std::filesystem::path(paths[i]).stem().string());
    }
    return sheet;
}

} // namespace tool
