#include "bitmap_file.h"

#include "text.h"

#include <zylqx.h>

#include <cstring>

namespace tool {

namespace {

constexpr std::size_t fileHeaderSize = 14;
constexpr std::size_t infoHeaderSize = sizeof(ZylBitmapInfoHeader);

constexpr std::uint32_t plain = 0;
constexpr std::uint32_t bitFields = 3;

std::uint32_t wordAt(const std::vector<std::uint8_t> &bytes, std::size_t offset) {
    std::uint32_t word = 0;
    std::memcpy(&word, bytes.data() + offset, sizeof word);
    return word;
}

void require(bool condition, const char *otherwise) {
    if (!condition) throw Failure(otherwise);
}

std::uint64_t tableBytes(const ZylBitmapInfoHeader &header) {
    if (header.biBitCount > 8) return header.biCompression == bitFields ? 12 : 0;
    return 4 * (header.biClrUsed != 0 ? std::uint64_t{header.biClrUsed}
                                      : std::uint64_t{1} << header.biBitCount);
}

// Width and height are not larger than 2^31, so that nothing overflows.
std::uint64_t pixelBytes(const ZylBitmapInfoHeader &header) {
    const auto bits = static_cast<std::uint64_t>(header.biWidth) * header.biBitCount;
    const std::int64_t height = header.biHeight;
    return (bits + 31) / 32 * 4 * static_cast<std::uint64_t>(height < 0 ? -height : height);
}

void checkHeader(const ZylBitmapInfoHeader &header) {
    require(header.biWidth > 0 && header.biHeight != 0, "has no pixels");
    require(header.biPlanes == 1, "does not have one plane");
    require(header.biCompression == plain || header.biCompression == bitFields,
            "is compressed, which zyl does not read");
    switch (header.biBitCount) {
    case 1:
    case 4:
    case 8:
        require(header.biCompression == plain, "has bit fields where there are colors");
        require(header.biClrUsed <= 1u << header.biBitCount, "has more colors than its bits name");
        return;
    case 16:
    case 32:
        return;
    case 24:
        require(header.biCompression == plain, "has bit fields in 24 bits");
        return;
    default:
        throw Failure("does not have 1, 4, 8, 16, 24 or 32 bits a pixel");
    }
}

void checkMasks(const std::vector<std::uint8_t> &file, std::size_t offset, std::uint16_t bits) {
    for (std::size_t k = 0; k < 3; ++k) {
        const std::uint32_t mask = wordAt(file, offset + 4 * k);
        require((bits == 16 ? mask & 0xFFFFu : mask) != 0, "has an empty color mask");
    }
}

} // namespace

std::vector<std::uint8_t> bitmapBlock(const std::vector<std::uint8_t> &file) {
    const std::uint64_t size = file.size();
    require(size >= fileHeaderSize + infoHeaderSize, "is truncated");
    require(file[0] == 'B' && file[1] == 'M', "is not a BMP file");
    ZylBitmapInfoHeader header;
    std::memcpy(&header, file.data() + fileHeaderSize, sizeof header);
    require(header.biSize >= infoHeaderSize, "has a header of an old kind");
    checkHeader(header);

    // Later headers hold the masks themselves, at the place where they follow the
    // first one.
    const bool fields = header.biCompression == bitFields;
    const std::uint64_t table =
        fileHeaderSize + (fields ? infoHeaderSize : std::uint64_t{header.biSize});
    const std::uint64_t pixels = wordAt(file, 10);
    const std::uint64_t tableSize = tableBytes(header);
    const std::uint64_t pixelSize = pixelBytes(header);
    require(table + tableSize <= size && pixels <= size && pixelSize <= size - pixels,
            "is truncated");
    require(table + tableSize <= pixels, "has its pixels before the end of its header");
    if (fields) checkMasks(file, table, header.biBitCount);

    header.biSize = infoHeaderSize;
    std::vector<std::uint8_t> block(infoHeaderSize + tableSize + pixelSize);
    std::memcpy(block.data(), &header, sizeof header);
    std::memcpy(block.data() + infoHeaderSize, file.data() + table, tableSize);
    std::memcpy(block.data() + infoHeaderSize + tableSize, file.data() + pixels, pixelSize);
    return block;
}

std::vector<std::uint8_t> bitmapFile(const std::vector<std::uint8_t> &block) {
    ZylBitmapInfoHeader header;
    std::memcpy(&header, block.data(), sizeof header);
    const std::uint64_t pixels = infoHeaderSize + tableBytes(header);
    const std::uint64_t end = pixels + pixelBytes(header);
    require(fileHeaderSize + end <= UINT32_MAX, "would be too large for a BMP file");
    const std::uint32_t words[] = {static_cast<std::uint32_t>(fileHeaderSize + end), 0,
                                   static_cast<std::uint32_t>(fileHeaderSize + pixels)};
    std::vector<std::uint8_t> file(fileHeaderSize + end);
    std::memcpy(file.data(), "BM", 2);
    std::memcpy(file.data() + 2, words, sizeof words);
    std::memcpy(file.data() + fileHeaderSize, block.data(), end);
    return file;
}

} // namespace tool
