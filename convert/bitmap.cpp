#include "convert/bitmap.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "convert/palette.h"

namespace zylqx {

namespace {

BitField fieldOf(std::uint32_t mask) {
    BitField field{mask, 0, 0};
    if (mask == 0) return field;
    while ((mask >> field.shift & 1u) == 0) ++field.shift;
    while (field.shift + field.width < 32 && (mask >> (field.shift + field.width) & 1u) != 0) {
        ++field.width;
    }
    return field;
}

std::uint64_t entryCount(const ZylBitmapInfoHeader &header) {
    switch (header.biBitCount) {
    case 1:
    case 4:
    case 8:
        return header.biClrUsed != 0 ? header.biClrUsed : std::uint64_t{1} << header.biBitCount;
    case 16:
    case 32:
        return header.biCompression == BITMAP_FIELDS ? 3 : 0;
    default:
        return 0;
    }
}

} // namespace

Bitmap::Bitmap(const void *block)
    : block_(const_cast<std::uint8_t *>(static_cast<const std::uint8_t *>(block))) {
    constexpr std::size_t SHORTEST = 12;
    std::memcpy(&header, block, SHORTEST);
    if (header.biSize == sizeof header) std::memcpy(&header, block, sizeof header);
    table = block_ + sizeof header;
    setEntries(entryCount(header));
    const std::int64_t bits = std::int64_t{header.biWidth} * header.biBitCount;
    stride = static_cast<std::ptrdiff_t>((bits + 31) / 32 * 4);
    rows = header.biHeight < 0 ? -std::int64_t{header.biHeight} : header.biHeight;
    if (header.biBitCount == 16 || header.biBitCount == 32) readFields();
}

void Bitmap::readFields() {
    const bool narrow = header.biBitCount == 16;
    if (header.biCompression != BITMAP_FIELDS) {
        const std::uint32_t plain16[4] = {0x001F, 0x03E0, 0x7C00, 0};
        const std::uint32_t plain32[4] = {0x000000FF, 0x0000FF00, 0x00FF0000, 0xFF000000};
        for (int k = 0; k < 4; ++k) fields[k] = fieldOf(narrow ? plain16[k] : plain32[k]);
        return;
    }
    int top = 0;
    int highestShift = -1;
    for (int k = 0; k < 3; ++k) { // stored in the order red, green, blue
        std::uint32_t mask = 0;
        std::memcpy(&mask, table + ENTRY_BYTES * static_cast<std::size_t>(k), sizeof mask);
        const BitField field = fieldOf(narrow ? mask & 0xFFFFu : mask);
        fields[2 - k] = field;
        if (field.shift > highestShift) {
            highestShift = field.shift;
            top = field.shift + field.width;
        }
    }
    // Alpha is what lies above the highest colour; nothing when that one reaches
    // the last bit.
    if (!narrow && top < 32) fields[3] = fieldOf(~std::uint32_t{0} << top);
}

bool Bitmap::knownBitCount() const {
    constexpr std::uint16_t KNOWN[] = {1, 4, 8, 16, 24, 32};
    return std::find(std::begin(KNOWN), std::end(KNOWN), header.biBitCount) != std::end(KNOWN);
}

bool Bitmap::emptyMask() const {
    if (header.biBitCount != 16 && header.biBitCount != 32) return false;
    return fields[0].mask == 0 || fields[1].mask == 0 || fields[2].mask == 0;
}

void Bitmap::setEntries(std::uint64_t count) {
    entries = count;
    pixels = table + ENTRY_BYTES * entries;
}

void Bitmap::setEntriesUsed(std::uint32_t used) {
    header.biClrUsed = used;
    std::memcpy(block_ + offsetof(ZylBitmapInfoHeader, biClrUsed), &used, sizeof used);
    setEntries(used);
}

} // namespace zylqx
