#include "tiff_samples.h"

#include "rows.h"
#include "text.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace tool {

namespace {

std::uint32_t depthOf(int bits, int format) {
    return static_cast<std::uint32_t>(bits) | (format == SAMPLEFORMAT_INT ? ZYL_DEPTH_SIGN : 0);
}

void requireSamples(int bits, int format) {
    if (format == SAMPLEFORMAT_IEEEFP) {
        throw Failure("has floating-point samples, which zyl does not read: save it with 8-bit or "
                      "16-bit integers");
    }
    if (format == SAMPLEFORMAT_COMPLEXIEEEFP || format == SAMPLEFORMAT_COMPLEXINT)
        throw Failure("has complex samples, which zyl does not read");
    const bool isSigned = format == SAMPLEFORMAT_INT;
    const bool known = isSigned ? bits == 8 || bits == 16 || bits == 32 : bits >= 1 && bits <= 16;
    if (!known) {
        throw Failure(std::string("has ") + (isSigned ? "signed " : "unsigned ") +
                      std::to_string(bits) +
                      "-bit samples, which zyl does not read: save it "
                      "with 8 or 16 bits");
    }
}

TiffColor colorOf(const TiffFile &file, int photometric, bool planar) {
    switch (photometric) {
    case PHOTOMETRIC_MINISBLACK:
        return TiffColor::gray;
    case PHOTOMETRIC_MINISWHITE:
        return TiffColor::inverseGray;
    case PHOTOMETRIC_RGB:
        return TiffColor::rgb;
    case PHOTOMETRIC_PALETTE:
        return TiffColor::palette;
    case PHOTOMETRIC_SEPARATED:
        if (file.field<std::uint16_t>(TIFFTAG_INKSET) != INKSET_CMYK)
            throw Failure("has inks other than CMYK, which zyl does not read: save it as RGB");
        return TiffColor::cmyk;
    case PHOTOMETRIC_YCBCR: {
        // The decoder of JPEG is asked for RGB.
        const bool jpeg = file.field<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_JPEG;
        return jpeg && !planar ? TiffColor::rgb : TiffColor::ycc;
    }
    case PHOTOMETRIC_CIELAB:
    case PHOTOMETRIC_ICCLAB:
    case PHOTOMETRIC_ITULAB:
        throw Failure("has Lab colors, which zyl does not read: save it as RGB");
    default:
        throw Failure("has samples of a meaning that zyl does not know (photometric " +
                      std::to_string(photometric) + "): save it as RGB or gray");
    }
}

void findAlpha(const TiffFile &file, TiffLayout &layout) {
    std::uint16_t count = 0;
    std::uint16_t *kinds = nullptr;
    TIFFGetFieldDefaulted(file.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds);
    for (int i = 0; i < count && layout.colorSamples + i < layout.samples; ++i) {
        const bool alpha = kinds[i] == EXTRASAMPLE_ASSOCALPHA || kinds[i] == EXTRASAMPLE_UNASSALPHA;
        if (!alpha) continue;
        layout.alphaSample = layout.colorSamples + i;
        layout.associated = kinds[i] == EXTRASAMPLE_ASSOCALPHA;
        return;
    }
}

TiffYcc readYcc(const TiffFile &file, const TiffLayout &layout) {
    TiffYcc ycc;
    const float *luma = nullptr, *reference = nullptr;
    TIFFGetFieldDefaulted(file.get(), TIFFTAG_YCBCRCOEFFICIENTS, &luma);
    TIFFGetFieldDefaulted(file.get(), TIFFTAG_REFERENCEBLACKWHITE, &reference);
    std::uint16_t across = 0, down = 0;
    TIFFGetFieldDefaulted(file.get(), TIFFTAG_YCBCRSUBSAMPLING, &across, &down);
    ycc.across = across;
    ycc.down = down;
    const auto known = [](int shared) { return shared == 1 || shared == 2 || shared == 4; };
    bool usable = luma && reference && luma[1] > 0 && known(across) && known(down);
    for (std::size_t i = 0; i < 3 && usable; ++i) {
        ycc.luma[i] = luma[i];
        ycc.black[i] = reference[2 * i];
        ycc.white[i] = reference[2 * i + 1];
        usable = std::isfinite(luma[i]) && std::isfinite(ycc.black[i]) &&
                 ycc.white[i] > ycc.black[i] && std::isfinite(ycc.white[i]);
    }
    if (!usable) throw Failure("has damaged fields of YCbCr");
    if (layout.bits != 8 || (ycc.subsampled() && (layout.planar || layout.samples != 3)))
        throw Failure("has YCbCr samples stored in a way that zyl does not read: save it as RGB");
    return ycc;
}

// Colour tables have 16 bits. Most hold 8-bit colours: as they are (old writers),
// as the upper byte, or in both bytes. Only others need a 16-bit picture.
bool readPalette(const TiffFile &file, TiffLayout &layout) {
    std::uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
    if (!TIFFGetField(file.get(), TIFFTAG_COLORMAP, &red, &green, &blue))
        throw Failure("lacks its color table");
    bool small = true;
    bool doubled = true;
    for (std::size_t i = 0; i < std::size_t{1} << layout.bits; ++i) {
        layout.palette.push_back({red[i], green[i], blue[i]});
        for (const std::uint16_t value : layout.palette.back()) {
            small = small && value < 256;
            doubled = doubled && ((value & 255) == 0 || (value & 255) == value >> 8);
        }
    }
    if (!small && !doubled) return true;
    for (auto &color : layout.palette) {
        for (std::uint16_t &value : color)
            if (!small) value = static_cast<std::uint16_t>(value >> 8);
    }
    return false;
}

int channelsOf(const TiffLayout &layout) {
    const bool gray = layout.color == TiffColor::gray || layout.color == TiffColor::inverseGray;
    return (gray ? 1 : 3) + (layout.alphaSample >= 0 ? 1 : 0);
}

// Sample number `index` of a packed row, its bits as they are.
std::uint32_t sampleAt(const unsigned char *row, std::size_t index, int bits) {
    switch (bits) {
    case 8:
        return row[index];
    case 16: {
        std::uint16_t value = 0;
        std::memcpy(&value, row + 2 * index, sizeof value);
        return value;
    }
    case 32: {
        std::uint32_t value = 0;
        std::memcpy(&value, row + 4 * index, sizeof value);
        return value;
    }
    default: {
        const std::size_t first = index * static_cast<std::size_t>(bits);
        const std::size_t last = first + static_cast<std::size_t>(bits) - 1;
        std::uint32_t value = 0;
        for (std::size_t i = first / 8; i <= last / 8; ++i) value = value << 8 | row[i];
        return value >> (7 - last % 8) & ((1u << bits) - 1);
    }
    }
}

void storeSample(unsigned char *to, std::size_t index, std::uint32_t depth, std::uint32_t value) {
    switch (depth & ~ZYL_DEPTH_SIGN) {
    case 8:
        to[index] = static_cast<unsigned char>(value);
        break;
    case 16: {
        const auto narrow = static_cast<std::uint16_t>(value);
        std::memcpy(to + 2 * index, &narrow, sizeof narrow);
        break;
    }
    default:
        std::memcpy(to + 4 * index, &value, sizeof value);
    }
}

// Colours and alpha of a pixel from its stored samples.
struct Converter {
    const TiffLayout &layout;
    std::uint32_t most = (1u << std::min(layout.bits, 16)) - 1; // stored
    std::uint32_t full = layout.shape.depth == ZYL_DEPTH_16U ? 65535 : 255;

    std::uint32_t scaled(std::uint32_t value) const {
        const bool asStored = most == full || layout.shape.depth & ZYL_DEPTH_SIGN;
        return asStored ? value : (value * full + most / 2) / most;
    }
    void convert(const std::uint32_t *stored, std::uint32_t *pixel) const {
        const int colors = layout.shape.channels - (layout.alphaSample >= 0 ? 1 : 0);
        switch (layout.color) {
        case TiffColor::gray:
        case TiffColor::rgb:
            for (int c = 0; c < colors; ++c) pixel[c] = scaled(stored[c]);
            break;
        case TiffColor::inverseGray:
            pixel[0] = scaled(most - stored[0]);
            break;
        case TiffColor::palette:
            for (std::size_t c = 0; c < 3; ++c) pixel[c] = layout.palette[stored[0]][c];
            break;
        case TiffColor::cmyk:
            for (int c = 0; c < 3; ++c)
                pixel[c] = scaled(((most - stored[c]) * (most - stored[3]) + most / 2) / most);
            break;
        case TiffColor::ycc:
            convertYcc(stored, pixel);
        }
        if (layout.alphaSample < 0) return;
        std::uint32_t alpha = scaled(stored[layout.alphaSample]);
        if (layout.associated) divide(pixel, colors, alpha);
        pixel[colors] = alpha;
    }
    void convertYcc(const std::uint32_t *stored, std::uint32_t *pixel) const {
        const TiffYcc &ycc = layout.ycc;
        const auto part = [&](std::size_t i, double range) {
            return (stored[i] - ycc.black[i]) * range / (ycc.white[i] - ycc.black[i]);
        };
        const double y = part(0, 255), cb = part(1, 127), cr = part(2, 127);
        const double red = y + cr * (2 - 2 * ycc.luma[0]), blue = y + cb * (2 - 2 * ycc.luma[2]);
        const double green = (y - ycc.luma[0] * red - ycc.luma[2] * blue) / ycc.luma[1];
        const auto rounded = [](double value) {
            return static_cast<std::uint32_t>(std::lround(std::clamp(value, 0.0, 255.0)));
        };
        pixel[0] = rounded(red);
        pixel[1] = rounded(green);
        pixel[2] = rounded(blue);
    }
    void divide(std::uint32_t *pixel, int colors, std::uint32_t alpha) const {
        for (int c = 0; c < colors; ++c)
            pixel[c] = alpha == 0 ? 0 : std::min(full, (pixel[c] * full + alpha / 2) / alpha);
    }
};

} // namespace

std::size_t TiffLayout::storedBytes(int width) const {
    const std::size_t perPixel = planar ? 1 : static_cast<std::size_t>(samples);
    return (static_cast<std::size_t>(width) * perPixel * static_cast<std::size_t>(bits) + 7) / 8;
}

TiffLayout tiffLayout(TiffFile &file) {
    TiffLayout layout;
    const int format = file.field<std::uint16_t>(TIFFTAG_SAMPLEFORMAT);
    layout.bits = file.field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE);
    layout.samples = file.field<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL);
    layout.planar = layout.samples > 1 &&
                    file.field<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    requireSamples(layout.bits, format);
    std::uint16_t photometric = 0;
    if (!TIFFGetField(file.get(), TIFFTAG_PHOTOMETRIC, &photometric))
        photometric = layout.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK;
    layout.color = colorOf(file, photometric, layout.planar);
    const bool three = layout.color == TiffColor::rgb || layout.color == TiffColor::ycc;
    layout.colorSamples = three ? 3 : layout.color == TiffColor::cmyk ? 4 : 1;
    if (layout.samples < layout.colorSamples || layout.samples > 64)
        throw Failure("has " + std::to_string(layout.samples) + " samples in a pixel");
    findAlpha(file, layout);
    if (layout.color == TiffColor::ycc) layout.ycc = readYcc(file, layout);

    const bool isSigned = format == SAMPLEFORMAT_INT;
    const bool asStored = layout.color == TiffColor::gray || layout.color == TiffColor::rgb;
    if (isSigned && (!asStored || layout.associated)) {
        throw Failure(
            "has signed samples of a kind that zyl does not know: save it as gray or RGB");
    }
    const bool deepPalette = layout.color == TiffColor::palette && readPalette(file, layout);
    const bool gray = layout.color == TiffColor::gray || layout.color == TiffColor::inverseGray;
    const bool bitonal = layout.bits == 1 && gray && layout.samples == 1;
    int bits = layout.bits < 8 && !bitonal           ? 8
               : layout.bits > 8 && layout.bits < 16 ? 16
                                                     : layout.bits;
    if (layout.color == TiffColor::palette) bits = deepPalette ? 16 : 8;
    layout.shape = checkedShape(file.field<std::uint32_t>(TIFFTAG_IMAGEWIDTH),
                                file.field<std::uint32_t>(TIFFTAG_IMAGELENGTH), channelsOf(layout),
                                depthOf(bits, format));
    checkedShape(layout.shape.width, 1, layout.samples, layout.shape.depth); // as stored
    const bool sameSamples = layout.samples == layout.shape.channels && !layout.associated;
    layout.plain = !layout.planar && sameSamples && bits == layout.bits &&
                   (asStored || (layout.color == TiffColor::inverseGray && layout.samples == 1));
    return layout;
}

std::vector<unsigned char> separateUnits(const TiffLayout &layout,
                                         const std::vector<unsigned char> &units, int width,
                                         int height) {
    const auto across = static_cast<std::size_t>(layout.ycc.across);
    const auto down = static_cast<std::size_t>(layout.ycc.down);
    const auto columns = static_cast<std::size_t>(width), rows = static_cast<std::size_t>(height);
    const std::size_t unitBytes = across * down + 2;
    const std::size_t unitsInRow = (columns + across - 1) / across;
    if (units.size() / unitBytes / unitsInRow < (rows + down - 1) / down) return {};
    std::vector<unsigned char> pixels(3 * columns * rows);
    unsigned char *to = pixels.data();
    for (std::size_t y = 0; y < rows; ++y) {
        const unsigned char *row = units.data() + y / down * unitsInRow * unitBytes;
        for (std::size_t x = 0; x < columns; ++x, to += 3) {
            const unsigned char *unit = row + x / across * unitBytes;
            to[0] = unit[y % down * across + x % across];
            to[1] = unit[across * down];
            to[2] = unit[across * down + 1];
        }
    }
    return pixels;
}

void convertTiffRow(const TiffLayout &layout, const unsigned char *const *planes, int first,
                    int count, unsigned char *to) {
    if (layout.plain) {
        const std::size_t bytes = rowBytes(layout.shape, count);
        std::memcpy(to, planes[0] + rowBytes(layout.shape, first), bytes);
        if (layout.color == TiffColor::inverseGray)
            for (std::size_t i = 0; i < bytes; ++i) to[i] = static_cast<unsigned char>(~to[i]);
        return;
    }
    const Converter converter{layout};
    const auto samples = static_cast<std::size_t>(layout.samples);
    const auto channels = static_cast<std::size_t>(layout.shape.channels);
    std::uint32_t stored[64] = {};
    std::uint32_t pixel[4] = {};
    for (std::size_t x = 0; x < static_cast<std::size_t>(count); ++x) {
        const std::size_t column = static_cast<std::size_t>(first) + x;
        for (std::size_t s = 0; s < samples; ++s) {
            stored[s] = layout.planar ? sampleAt(planes[s], column, layout.bits)
                                      : sampleAt(planes[0], column * samples + s, layout.bits);
        }
        converter.convert(stored, pixel);
        for (std::size_t c = 0; c < channels; ++c)
            storeSample(to, x * channels + c, layout.shape.depth, pixel[c]);
    }
}

} // namespace tool
