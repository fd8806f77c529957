#include "core/borders.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "core/bits.h"
#include "core/image.h"
#include "core/step_kernels.h"
#include "core/tiles.h"

namespace zylqx {

namespace {

constexpr int TOP = 0;
constexpr int BOTTOM = 1;
constexpr int LEFT = 2;
constexpr int RIGHT = 3;

std::int64_t modulo(std::int64_t a, std::int64_t n) {
    const std::int64_t rest = a % n;
    return rest < 0 ? rest + n : rest;
}

// What copying moves as one: a sample, or all channels of a pixel in pixel order.
struct Item {
    std::ptrdiff_t bytes; // 0 for a bit
    std::ptrdiff_t step;  // bytes from one pixel of the image to the next
};

Item itemOf(const ZylImage &image, int channel) {
    const std::ptrdiff_t sample = sampleBytes(image.depth);
    const std::ptrdiff_t step = sample * pixelStep(image);
    return {channel == ALL_CHANNELS ? step : sample, step};
}

int planesOf(const ZylImage &image, int channel) {
    return channel == ALL_CHANNELS && isPlanar(image) ? image.nChannels : 1;
}

void copyItems(unsigned char *dst, const unsigned char *src, std::ptrdiff_t step,
               std::ptrdiff_t count, std::ptrdiff_t bytes) {
    if (step == bytes) {
        std::memcpy(dst, src, static_cast<std::size_t>(count * bytes));
    } else if (bytes == 1 || bytes == 2 || bytes == 4) {
        ZYLQX_KERNELS(stepKernels).gather[sizeIndex(bytes)](src, step / bytes, dst, count);
    } else {
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            std::memcpy(dst + i * bytes, src + i * step, static_cast<std::size_t>(bytes));
        }
    }
}

void copyBitRun(unsigned char *dst, std::int64_t at, const unsigned char *src,
                const BorderRun &run) {
    if (run.step == 0) {
        fillBits(dst, at, run.count, bitAt(src, run.position) != 0);
    } else if (run.step > 0) {
        copyBits(src, run.position, dst, at, run.count);
    } else {
        for (std::int64_t i = 0; i < run.count; ++i) {
            setBit(dst, at + i, bitAt(src, run.position - i) != 0);
        }
    }
}

// Items of one row of an image in memory, into `dst` from its item `at` on.
void copyRun(const ZylImage &image, int channel, std::int64_t y, const BorderRun &run,
             unsigned char *dst, std::int64_t at) {
    if (image.depth == ZYL_DEPTH_1U) {
        copyBitRun(dst, at, sampleAt(image, 0, y, 1), run);
        return;
    }
    const Item item = itemOf(image, channel);
    copyItems(dst + at * item.bytes, sampleAt(image, run.position, y, std::max(channel, 1)),
              run.step * item.step, run.count, item.bytes);
}

// Samples from `at` on of so many rows.
void fillRows(unsigned char *dst, std::ptrdiff_t stride, std::int64_t rows, std::uint32_t depth,
              std::int64_t at, std::int64_t count, std::int32_t value) {
    const auto n = static_cast<std::size_t>(count);
    const auto forEachRow = [&](auto fill) {
        for (std::int64_t i = 0; i < rows; ++i, dst += stride) fill();
    };
    switch (depthBits(depth)) {
    case 1:
        return forEachRow([&] { fillBits(dst, at, count, (value & 1) != 0); });
    case 8:
        return forEachRow([&] { std::memset(dst + at, value & 0xFF, n); });
    case 16:
        return forEachRow([&] {
            std::fill_n(reinterpret_cast<std::uint16_t *>(dst) + at, n,
                        static_cast<std::uint16_t>(value));
        });
    default:
        return forEachRow(
            [&] { std::fill_n(reinterpret_cast<std::int32_t *>(dst) + at, n, value); });
    }
}

// The part of a run whose source coordinates lie in [begin, end), and in `skipped`
// how many of the run come before it. A repeated coordinate is taken whole.
BorderRun partWithin(const BorderRun &run, std::int64_t begin, std::int64_t end,
                     std::int64_t &skipped) {
    skipped = 0;
    if (run.step == 0) return run;
    BorderRun part = run;
    if (run.step > 0) {
        part.position = std::max(run.position, begin);
        skipped = part.position - run.position;
        part.count = std::min(run.position + run.count, end) - part.position;
    } else {
        part.position = std::min(run.position, end - 1);
        skipped = run.position - part.position;
        part.count = part.position - std::max(run.position - run.count + 1, begin) + 1;
    }
    return part;
}

// The lowest and the highest source coordinate of a run.
std::int64_t lowest(const BorderRun &run) {
    return run.step < 0 ? run.position - run.count + 1 : run.position;
}
std::int64_t highest(const BorderRun &run) {
    return run.step > 0 ? run.position + run.count - 1 : run.position;
}

// Reads one rectangle.
class RectReader {
  public:
    RectReader(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t width,
               std::int64_t height, int channel, const SampleRows &rows)
        : image_(image), x_(x), y_(y), width_(width), height_(height), channel_(channel),
          rows_(rows) {}

    bool read();

  private:
    bool readRows(std::int64_t row, const BorderRun &rowRun);
    bool copyBlock(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                   std::int64_t row);
    bool copyFromTiles(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                       std::int64_t row);
    void copyFrom(const ZylImage &source, BorderRun columns, BorderRun rows, std::int64_t left,
                  std::int64_t top, std::int64_t column, std::int64_t row);
    bool copyStraight(const ZylImage &source, int channel, const BorderRun &columns,
                      const BorderRun &rows, unsigned char *to, std::int64_t column) const;
    void copyWithin(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                    std::int64_t row);
    void fill(const BorderRun &columns, std::int64_t rowCount, std::int64_t column,
              std::int64_t row);
    bool isThere(const BorderRun &columns, const BorderRun &rows) const;
    bool inner(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
               std::int64_t row) const;

    unsigned char *plane(std::int64_t row, int index) const {
        return rows_.data + row * rows_.stride + index * rows_.planeStep;
    }

    ZylImage &image_;
    const std::int64_t x_, y_, width_, height_;
    const int channel_;
    const SampleRows &rows_;
};

// The rows inside the image come first: with tiles, most of the border is then
// copied from what has been read.
bool RectReader::read() {
    if (width_ <= 0 || height_ <= 0) return true;
    const std::int64_t innerBegin = std::clamp<std::int64_t>(-y_, 0, height_);
    const std::int64_t innerEnd = std::clamp<std::int64_t>(image_.height - y_, innerBegin, height_);
    if (innerEnd > innerBegin) {
        if (!readRows(innerBegin, borderRows(image_, y_ + innerBegin, innerEnd - innerBegin))) {
            return false;
        }
    }
    for (std::int64_t row = 0; row < height_;) {
        if (row == innerBegin && innerEnd > innerBegin) {
            row = innerEnd;
            continue;
        }
        const std::int64_t end = row < innerBegin ? innerBegin : height_;
        const BorderRun run = borderRows(image_, y_ + row, end - row);
        if (!readRows(row, run)) return false;
        row += run.count;
    }
    return true;
}

// One run of rows: the columns inside the image, then those beside it.
bool RectReader::readRows(std::int64_t row, const BorderRun &rowRun) {
    if (rowRun.constant) {
        fill({true, rowRun.value, 0, width_, 0}, rowRun.count, 0, row);
        return true;
    }
    const std::int64_t innerBegin = std::clamp<std::int64_t>(-x_, 0, width_);
    const std::int64_t innerEnd = std::clamp<std::int64_t>(image_.width - x_, innerBegin, width_);
    if (innerEnd > innerBegin) {
        const BorderRun run =
            borderColumns(image_, x_ + innerBegin, y_ + row, innerEnd - innerBegin);
        if (!copyBlock(run, rowRun, innerBegin, row)) return false;
    }
    for (std::int64_t column = 0; column < width_;) {
        if (column == innerBegin && innerEnd > innerBegin) {
            column = innerEnd;
            continue;
        }
        const std::int64_t end = column < innerBegin ? innerBegin : width_;
        const BorderRun run = borderColumns(image_, x_ + column, y_ + row, end - column);
        if (run.constant) {
            fill(run, rowRun.count, column, row);
        } else if (!copyBlock(run, rowRun, column, row)) {
            return false;
        }
        column += run.count;
    }
    return true;
}

void RectReader::fill(const BorderRun &columns, std::int64_t rowCount, std::int64_t column,
                      std::int64_t row) {
    const std::int64_t samples =
        channel_ == ALL_CHANNELS ? static_cast<std::int64_t>(pixelStep(image_)) : 1;
    for (int p = 0; p < planesOf(image_, channel_); ++p) {
        fillRows(plane(row, p), rows_.stride, rowCount, image_.depth, column * samples,
                 columns.count * samples, columns.value);
    }
}

// Whether a block lies in the part of the rectangle inside the image, at its own
// place.
bool RectReader::inner(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                       std::int64_t row) const {
    return columns.step > 0 && rows.step > 0 && columns.position == x_ + column &&
           rows.position == y_ + row;
}

// Whether the source of a block is in the rectangle, where inner rows and columns
// are read first.
bool RectReader::isThere(const BorderRun &columns, const BorderRun &rows) const {
    return lowest(columns) >= x_ && highest(columns) < x_ + width_ && lowest(rows) >= y_ &&
           highest(rows) < y_ + height_;
}

bool RectReader::copyBlock(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                           std::int64_t row) {
    if (!isTiled(image_)) {
        copyFrom(image_, columns, rows, 0, 0, column, row);
        return true;
    }
    if (!inner(columns, rows, column, row) && isThere(columns, rows)) {
        copyWithin(columns, rows, column, row);
        return true;
    }
    return copyFromTiles(columns, rows, column, row);
}

bool RectReader::copyFromTiles(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                               std::int64_t row) {
    const std::int64_t tileWidth = image_.tileInfo->width;
    const std::int64_t tileHeight = image_.tileInfo->height;
    for (std::int64_t j = lowest(rows) / tileHeight; j <= highest(rows) / tileHeight; ++j) {
        const std::int64_t top = j * tileHeight;
        std::int64_t below = 0;
        const BorderRun tileRows = partWithin(rows, top, top + tileHeight, below);
        for (std::int64_t i = lowest(columns) / tileWidth; i <= highest(columns) / tileWidth; ++i) {
            const std::int64_t left = i * tileWidth;
            std::int64_t after = 0;
            const BorderRun tileColumns = partWithin(columns, left, left + tileWidth, after);
            const TileLease tile(image_, static_cast<std::int32_t>(i), static_cast<std::int32_t>(j),
                                 ZYL_GET_TILE_TO_READ);
            if (!tile) return false;
            copyFrom(tileHeader(image_, tile.pixels()), tileColumns, tileRows, left, top,
                     column + after, row + below);
        }
    }
    return true;
}

// `source` holds the image from (left, top) on.
void RectReader::copyFrom(const ZylImage &source, BorderRun columns, BorderRun rows,
                          std::int64_t left, std::int64_t top, std::int64_t column,
                          std::int64_t row) {
    columns.position -= left;
    rows.position -= top;
    for (int p = 0; p < planesOf(image_, channel_); ++p) {
        const int channel = planesOf(image_, channel_) > 1 ? p + 1 : channel_;
        if (copyStraight(source, channel, columns, rows, plane(row, p), column)) continue;
        for (std::int64_t i = 0; i < rows.count; ++i) {
            copyRun(source, channel, rows.position + i * rows.step, columns, plane(row + i, p),
                    column);
        }
    }
}

// Items that stand side by side, in the image as in the rectangle.
bool RectReader::copyStraight(const ZylImage &source, int channel, const BorderRun &columns,
                              const BorderRun &rows, unsigned char *to, std::int64_t column) const {
    const Item item = itemOf(source, channel);
    if (item.bytes == 0 || item.bytes != item.step || columns.step != 1) return false;
    const unsigned char *from =
        sampleAt(source, columns.position, rows.position, std::max(channel, 1));
    const std::ptrdiff_t step = static_cast<std::ptrdiff_t>(rows.step) * source.widthStep;
    std::int64_t bytes = columns.count * item.bytes, count = rows.count;
    to += column * item.bytes;
    if (bytes == step && bytes == rows_.stride) {
        bytes *= count;
        count = 1;
    }
    for (std::int64_t i = 0; i < count; ++i) {
        std::memcpy(to + i * rows_.stride, from + i * step, static_cast<std::size_t>(bytes));
    }
    return true;
}

// From another place of the rectangle itself.
void RectReader::copyWithin(const BorderRun &columns, const BorderRun &rows, std::int64_t column,
                            std::int64_t row) {
    const std::ptrdiff_t bytes = itemOf(image_, channel_).bytes;
    for (int p = 0; p < planesOf(image_, channel_); ++p) {
        for (std::int64_t i = 0; i < rows.count; ++i) {
            const unsigned char *from = plane(rows.position + i * rows.step - y_, p);
            unsigned char *to = plane(row + i, p);
            BorderRun run = columns;
            run.position -= x_;
            if (bytes == 0) {
                copyBitRun(to, column, from, run);
            } else {
                copyItems(to + column * bytes, from + run.position * bytes, run.step * bytes,
                          run.count, bytes);
            }
        }
    }
}

} // namespace

BorderRun borderRun(std::int32_t mode, std::int32_t value, std::int32_t size,
                    std::int64_t coordinate, std::int64_t count) {
    const std::int64_t n = size;
    if (coordinate >= 0 && coordinate < n) {
        return {false, 0, coordinate, std::min(count, n - coordinate), 1};
    }
    if (coordinate < 0) count = std::min(count, -coordinate);
    switch (mode) {
    case ZYL_BORDER_REPLICATE:
        return {false, 0, coordinate < 0 ? 0 : n - 1, count, 0};
    case ZYL_BORDER_REFLECT: {
        const std::int64_t phase = modulo(coordinate, 2 * n);
        if (phase < n) return {false, 0, phase, std::min(count, n - phase), 1};
        return {false, 0, 2 * n - 1 - phase, std::min(count, 2 * n - phase), -1};
    }
    case ZYL_BORDER_WRAP: {
        const std::int64_t phase = modulo(coordinate, n);
        return {false, 0, phase, std::min(count, n - phase), 1};
    }
    default:
        return {true, value, 0, count, 0};
    }
}

BorderRun borderRows(const ZylImage &image, std::int64_t y, std::int64_t count) {
    const int side = y < 0 ? TOP : BOTTOM;
    return borderRun(image.borderMode[side], image.borderConst[side], image.height, y, count);
}

BorderRun borderColumns(const ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t count) {
    const int beside = x < 0 ? LEFT : RIGHT;
    const int side = y < 0 ? TOP : y >= image.height ? BOTTOM : beside;
    return borderRun(image.borderMode[side], image.borderConst[side], image.width, x, count);
}

bool readBorderedRect(ZylImage &image, std::int64_t x, std::int64_t y, std::int64_t width,
                      std::int64_t height, int channel, const SampleRows &rows) {
    return RectReader(image, x, y, width, height, channel, rows).read();
}

} // namespace zylqx
