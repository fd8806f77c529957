#include "sheet.h"

#include "font.h"
#include "pictures.h"

#include <algorithm>
#include <cmath>
#include <filesystem>

namespace tool {

namespace {

constexpr int cellWidth = 320, cellHeight = 240, gap = 12, labelHeight = 24;
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

struct Block {
    int left, top, right, bottom; // the last two are outside
};

// Over the sheet's background where the picture is not opaque.
int seen(const Image &image, int x, int y, int channel, int alpha) {
    const int sample = eightBits(image, x, y, channel);
    if (alpha == 0) return sample;
    const int opacity = eightBits(image, x, y, alpha - 1);
    return (sample * opacity + background[0] * (255 - opacity)) / 255;
}

unsigned char meanSample(const Image &image, const Block &block, int channel, int alpha) {
    std::int64_t sum = 0;
    for (int y = block.top; y < block.bottom; ++y)
        for (int x = block.left; x < block.right; ++x) sum += seen(image, x, y, channel, alpha);
    std::int64_t count = std::int64_t{block.right - block.left} * (block.bottom - block.top);
    return static_cast<unsigned char>((sum + count / 2) / count);
}

// Draws a picture so that it fits a cell: made smaller, each pixel the mean of those
// that it stands for, or larger a whole number of times.
void drawPicture(const Image &image, Image &sheet, int left, int top) {
    Shape shape = image.shape();
    double factor = std::min(double{cellWidth} / shape.width, double{cellHeight} / shape.height);
    if (factor > 1) factor = std::floor(factor);
    int width = std::max(1, static_cast<int>(shape.width * factor));
    int height = std::max(1, static_cast<int>(shape.height * factor));
    const auto place = [](int i, int count, int of) {
        return static_cast<int>(std::int64_t{i} * of / count);
    };
    bool color = shape.color();
    for (int y = 0; y < height; ++y) {
        unsigned char *pixel = sheet.row(top + y) + std::ptrdiff_t{left} * 3;
        for (int x = 0; x < width; ++x) {
            Block block = {place(x, width, shape.width), place(y, height, shape.height), 0, 0};
            block.right = std::max(place(x + 1, width, shape.width), block.left + 1);
            block.bottom = std::max(place(y + 1, height, shape.height), block.top + 1);
            for (int c = 0; c < 3; ++c)
                *pixel++ = meanSample(image, block, color ? c : 0, shape.alpha);
        }
    }
}

// As large as fits the cell.
void drawLabel(Image &sheet, int left, int top, const std::string &label) {
    const int scale = static_cast<int>(label.size()) * glyphWidth * 2 <= cellWidth ? 2 : 1;
    drawText(sheet, left, top, scale, labelColor, label);
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
        drawLabel(sheet, left, top + cellHeight + 5,
                  std::filesystem::path(paths[i]).stem().string());
    }
    return sheet;
}

} // namespace tool
