// BMP: read with 1 to 32 bits, written as 1 or 8 bits of gray, 24 bits of color,
// 32 bits of color and alpha, or with a color table. Pixels pass through the
// library's bitmap operations alone.
#include "bitmap_file.h"
#include "file.h"
#include "picture_io.h"

#include <algorithm>
#include <filesystem>

namespace tool {

namespace {

bool recognises(std::string_view start) {
    return start.substr(0, 2) == "BM";
}

std::vector<std::uint8_t> readBytes(const std::string &path) {
    File file = openFile(path, "rb");
    std::vector<std::uint8_t> bytes(std::filesystem::file_size(path));
    bytes.resize(std::fread(bytes.data(), 1, bytes.size(), file.get()));
    return bytes;
}

// Runs bitmap operations with their reports kept silent; throws what they say.
template <class Work>
void silently(Work work) {
    static thread_local std::string text;
    text.clear();
    const ZylErrorCallBack previous = zylRedirectError(
        [](ZylStatus status, const char *, const char *context, const char *, int) {
            text = context != nullptr && *context != 0 ? context : zylErrorStr(status);
            return status;
        });
    work();
    zylRedirectError(previous);
    if (text.empty()) return;
    zylSetErrStatus(ZYL_StsOk);
    throw Failure("does not fit: " + text);
}

bool fullyTransparent(const Image &image) {
    const Shape shape = image.shape();
    for (int y = 0; y < shape.height; ++y) {
        const auto *row = image.samples<std::uint8_t>(y);
        for (int x = 0; x < shape.width; ++x) {
            if (row[4 * x + 3] != 0) return false;
        }
    }
    return true;
}

Image convert(const std::vector<std::uint8_t> &block, const Shape &shape) {
    Image image = Image::unfilled(shape);
    silently([&] { zylConvertFromDIB(block.data(), image.header()); });
    return image;
}

// The kind of picture that the bitmap makes, and whether it is one of colors.
Shape shapeOf(const std::vector<std::uint8_t> &block) {
    ZylImage *image = nullptr;
    std::int32_t shared = 0;
    silently([&] { image = zylTranslateDIB(block.data(), &shared); });
    Shape shape =
        makeShape(image->width, image->height, image->nChannels, static_cast<int>(image->depth));
    zylDeallocate(image, ZYL_DEALLOC_HEADER | ZYL_DEALLOC_DATA);
    return shape;
}

Image read(const std::string &path) {
    const std::vector<std::uint8_t> block = bitmapBlock(readBytes(path));
    Shape shape = shapeOf(block);
    Image image = convert(block, shape);
    if (shape.channels < 4 || !fullyTransparent(image)) return image;
    // Most writers leave the fourth byte 0.
    return convert(block, makeShape(shape.width, shape.height, 3, shape.depth));
}

void writeBlock(const std::string &path, const Image &image, int bits, int dither, int palette) {
    const Shape shape = image.shape();
    ZylBitmapInfoHeader header{};
    header.biSize = sizeof header;
    header.biWidth = shape.width;
    header.biHeight = shape.height;
    header.biPlanes = 1;
    header.biBitCount = static_cast<std::uint16_t>(bits);
    const std::size_t stride =
        (static_cast<std::size_t>(shape.width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
    const std::size_t table = bits <= 8 ? std::size_t{4} << bits : 0;
    std::vector<std::uint8_t> block(sizeof header + table +
                                    stride * static_cast<std::size_t>(shape.height));
    std::memcpy(block.data(), &header, sizeof header);
    silently([&] { zylConvertToDIB(image.header(), block.data(), dither, palette); });

    const std::vector<std::uint8_t> bytes = bitmapFile(block);
    File file = openFile(path, "wb");
    if (std::fwrite(bytes.data(), 1, bytes.size(), file.get()) != bytes.size())
        throw Failure(std::strerror(errno));
    finishFile(std::move(file));
}

// Deep samples lose their lower byte.
constexpr int noDither = 1;

void requireBitmapShape(const Shape &shape) {
    const bool channels = shape.channels == 1 || shape.channels == 3 || shape.channels == 4;
    const bool depth =
        shape.depth == ZYL_DEPTH_1U || shape.depth == ZYL_DEPTH_8U || shape.depth == ZYL_DEPTH_16U;
    if (!channels || !depth) throw Failure("a BMP file" + cannotHold(shape));
}

void write(const std::string &path, const Image &image) {
    const Shape shape = image.shape();
    requireBitmapShape(shape);
    const int bits = shape.depth == ZYL_DEPTH_1U ? 1 : 8 * shape.channels;
    writeBlock(path, image, bits, noDither, 1);
}

void writeIndexed(const std::string &path, const Image &image, const Palette &palette) {
    requireBitmapShape(image.shape());
    const int bits = palette.colors == 2 ? 1 : palette.colors == 16 ? 4 : 8;
    writeBlock(path, image, bits, noDither, palette.medianCut ? 2 : 1);
}

} // namespace

const Format bmpFormat = {"BMP", "bmp dib", recognises, read, write, writeIndexed};

} // namespace tool
