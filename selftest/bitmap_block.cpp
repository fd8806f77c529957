#include "selftest/bitmap_block.h"

#include <array>
#include <cstring>

namespace selftest {

namespace {

constexpr std::size_t HEADER_WORDS = sizeof(ZylBitmapInfoHeader) / 4;
// A palette that is made for an image may grow to this, and the rows move.
constexpr std::size_t TABLE_WORDS = 256;

} // namespace

BitmapBlock::BitmapBlock(Random &in, int width, int height) {
    static constexpr std::array<std::uint16_t, 6> BIT_COUNTS = {1, 4, 8, 16, 24, 32};
    // Room for rows of 32 bits, whatever the header says.
    words_.resize(HEADER_WORDS + TABLE_WORDS +
                  static_cast<std::size_t>(width) * static_cast<std::size_t>(height) + 1);
    auto *bytes = reinterpret_cast<unsigned char *>(words_.data());
    for (std::size_t i = 4 * HEADER_WORDS; i < 4 * words_.size(); ++i) {
        bytes[i] = static_cast<unsigned char>(in.bits());
    }
    ZylBitmapInfoHeader header = {};
    header.biSize = 40;
    header.biWidth = width;
    header.biHeight = in.oneIn(3) ? -height : height;
    header.biPlanes = 1;
    header.biBitCount = in.pick(BIT_COUNTS);
    const bool table = header.biBitCount <= 8;
    if (table && in.oneIn(3)) {
        header.biClrUsed = static_cast<std::uint32_t>(in.between(1, 1 << header.biBitCount));
    }
    masks_ = header.biBitCount % 16 == 0 && in.flag();
    header.biCompression = masks_ ? 3 : 0;
    std::memcpy(words_.data(), &header, sizeof header);
    if (table) {
        fillTable(in, header.biClrUsed != 0 ? static_cast<int>(header.biClrUsed)
                                            : 1 << header.biBitCount);
    }
    if (masks_) fillMasks(in);
    if (in.oneIn(24)) damage(in);
}

// Colours at random, or a ramp of grays.
void BitmapBlock::fillTable(Random &in, int entries) {
    if (entries < 2 || !in.oneIn(3)) return;
    auto *bytes = reinterpret_cast<unsigned char *>(&words_[HEADER_WORDS]);
    for (int i = 0; i < entries; ++i) {
        std::memset(bytes + std::ptrdiff_t{4} * i, i * 255 / (entries - 1), 3);
    }
}

void BitmapBlock::fillMasks(Random &in) {
    struct Masks {
        std::uint32_t red, green, blue;
    };
    static constexpr std::array<Masks, 6> MASKS = {{{0xF800, 0x07E0, 0x001F},
                                                    {0x7C00, 0x03E0, 0x001F},
                                                    {0xFF0000, 0xFF00, 0xFF},
                                                    {0xFF, 0xFF00, 0xFF0000},
                                                    {0xFF000000, 0xFF0000, 0xFF00},
                                                    {0x3FF00000, 0xFFC00, 0x3FF}}};
    Masks masks = in.pick(MASKS);
    if (in.oneIn(24)) masks.green = 0;
    words_[HEADER_WORDS] = masks.red;
    words_[HEADER_WORDS + 1] = masks.green;
    words_[HEADER_WORDS + 2] = masks.blue;
}

void BitmapBlock::damage(Random &in) {
    ZylBitmapInfoHeader header;
    std::memcpy(&header, words_.data(), sizeof header);
    switch (in.below(4)) {
    case 0:
        header.biSize = in.oneIn(2) ? 12 : 108;
        break;
    case 1:
        header.biPlanes = static_cast<std::uint16_t>(2 * in.below(3));
        break;
    case 2:
        header.biCompression = in.oneIn(2) ? 1 : 4;
        break;
    default:
        header.biBitCount = in.pick(std::array<std::uint16_t, 4>{0, 2, 7, 31});
    }
    std::memcpy(words_.data(), &header, sizeof header);
}

void BitmapBlock::bottomUp() {
    ZylBitmapInfoHeader header;
    std::memcpy(&header, words_.data(), sizeof header);
    if (header.biHeight < 0) header.biHeight = -header.biHeight;
    std::memcpy(words_.data(), &header, sizeof header);
}

void BitmapBlock::addTo(Checksum &sum) const {
    ZylBitmapInfoHeader header;
    std::memcpy(&header, words_.data(), sizeof header);
    for (const std::uint32_t field : {header.biSize, header.biCompression, header.biSizeImage,
                                      header.biClrUsed, header.biClrImportant}) {
        sum.add(field);
    }
    for (const std::int32_t field :
         {header.biWidth, header.biHeight, header.biXPelsPerMeter, header.biYPelsPerMeter}) {
        sum.addSigned(field);
    }
    sum.add(header.biPlanes);
    sum.add(header.biBitCount);
    const std::size_t rest = HEADER_WORDS + (masks_ ? 3 : 0);
    for (std::size_t i = HEADER_WORDS; i < rest; ++i) sum.add(words_[i]);
    const auto *bytes = reinterpret_cast<const unsigned char *>(words_.data());
    for (std::size_t i = 4 * rest; i < 4 * words_.size(); ++i) sum.add(bytes[i]);
}

} // namespace selftest
