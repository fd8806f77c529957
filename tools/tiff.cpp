// TIFF: all six depths, gray or colour, with or without alpha. Files with
// palettes, tiles, separate planes or other colour spaces are read as 8-bit
// colour through libtiff's own conversion.
#include "file.h"
#include "picture_io.h"

#include <algorithm>
#include <cstdarg>
#include <tiffio.h>

namespace tool {

namespace {

// libtiff has one error handler for the process. It keeps the first message.
std::string firstError;

void keepError(const char *, const char *format, va_list arguments) {
    char text[200];
    std::vsnprintf(text, sizeof text, format, arguments);
    if (firstError.empty()) firstError = text;
}

[[noreturn]] void fail() {
    throw Failure(firstError.empty() ? "is damaged" : firstError);
}

struct CloseTiff {
    void operator()(TIFF *tiff) const { TIFFClose(tiff); }
};
using Tiff = std::unique_ptr<TIFF, CloseTiff>;

Tiff openTiff(const std::string &path, const char *mode) {
    openFile(path, mode[0] == 'r' ? "rb" : "wb"); // for the system's own words
    firstError.clear();
    TIFFSetErrorHandler(keepError);
    TIFFSetWarningHandler(nullptr);
    Tiff tiff(TIFFOpen(path.c_str(), mode));
    if (!tiff) fail();
    return tiff;
}

template <class T>
T field(const Tiff &tiff, ttag_t tag) {
    T value{};
    TIFFGetFieldDefaulted(tiff.get(), tag, &value);
    return value;
}

std::uint32_t depthOf(int bits, int format) {
    if (format == SAMPLEFORMAT_INT) return ZYL_DEPTH_SIGN | static_cast<std::uint32_t>(bits);
    return static_cast<std::uint32_t>(bits);
}

bool isDepth(std::uint32_t depth) {
    return depth == ZYL_DEPTH_1U || depth == ZYL_DEPTH_8U || depth == ZYL_DEPTH_8S ||
           depth == ZYL_DEPTH_16U || depth == ZYL_DEPTH_16S || depth == ZYL_DEPTH_32S;
}

struct Layout {
    Shape shape;
    bool plain;    // rows of samples as a ZylImage has them
    bool inverted; // 0 is white
};

Layout layoutOf(const Tiff &tiff) {
    auto width = field<std::uint32_t>(tiff, TIFFTAG_IMAGEWIDTH);
    auto height = field<std::uint32_t>(tiff, TIFFTAG_IMAGELENGTH);
    auto channels = field<std::uint16_t>(tiff, TIFFTAG_SAMPLESPERPIXEL);
    auto photometric = field<std::uint16_t>(tiff, TIFFTAG_PHOTOMETRIC);
    std::uint32_t depth = depthOf(field<std::uint16_t>(tiff, TIFFTAG_BITSPERSAMPLE),
                                  field<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT));
    auto format = field<std::uint16_t>(tiff, TIFFTAG_SAMPLEFORMAT);
    if (width - 1 > INT32_MAX - 1u || height - 1 > INT32_MAX - 1u)
        throw Failure("has an impossible size");

    bool gray = photometric == PHOTOMETRIC_MINISBLACK || photometric == PHOTOMETRIC_MINISWHITE;
    bool color = photometric == PHOTOMETRIC_RGB;
    bool known = gray ? channels == 1 || channels == 2 : color && (channels == 3 || channels == 4);
    Layout layout;
    layout.plain = known && isDepth(depth) && (depth != ZYL_DEPTH_1U || channels == 1) &&
                   (format == SAMPLEFORMAT_UINT || format == SAMPLEFORMAT_INT) &&
                   (channels == 1 ||
                    field<std::uint16_t>(tiff, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG) &&
                   !TIFFIsTiled(tiff.get());
    layout.inverted = photometric == PHOTOMETRIC_MINISWHITE;
    int converted = channels == 2 || channels == 4 ? 4 : 3;
    layout.shape =
        makeShape(static_cast<int>(width), static_cast<int>(height),
                  layout.plain ? channels : converted, layout.plain ? depth : ZYL_DEPTH_8U);
    return layout;
}

void readRows(const Tiff &tiff, const Image &image) {
    // A scan line may be longer than a row: it is read apart.
    std::size_t rowBytes = static_cast<std::size_t>(image.header()->widthStep);
    std::vector<unsigned char> line(static_cast<std::size_t>(TIFFScanlineSize(tiff.get())));
    for (int y = 0; y < image.header()->height; ++y) {
        if (TIFFReadScanline(tiff.get(), line.data(), static_cast<std::uint32_t>(y)) < 0) fail();
        std::memcpy(image.row(y), line.data(), std::min(rowBytes, line.size()));
    }
}

void readConverted(const Tiff &tiff, const Image &image) {
    char why[1024] = "";
    if (!TIFFRGBAImageOK(tiff.get(), why)) throw Failure(why);
    int width = image.header()->width, height = image.header()->height;
    int channels = image.header()->nChannels;
    std::vector<std::uint32_t> pixels(static_cast<std::size_t>(width) * height);
    if (!TIFFReadRGBAImageOriented(tiff.get(), static_cast<std::uint32_t>(width),
                                   static_cast<std::uint32_t>(height), pixels.data(),
                                   ORIENTATION_TOPLEFT, 1))
        fail();
    const std::uint32_t *pixel = pixels.data();
    for (int y = 0; y < height; ++y) {
        unsigned char *sample = image.row(y);
        for (int x = 0; x < width; ++x, ++pixel, sample += channels) {
            for (int c = 0; c < channels; ++c)
                sample[c] = static_cast<unsigned char>(*pixel >> 8 * c);
        }
    }
}

bool recognises(std::string_view start) {
    return start.substr(0, 4) == std::string_view("II*\0", 4) ||
           start.substr(0, 4) == std::string_view("MM\0*", 4);
}

Image read(const std::string &path) {
    Tiff tiff = openTiff(path, "r");
    Layout layout = layoutOf(tiff);
    Image image = Image::unfilled(layout.shape);
    if (!layout.plain) {
        readConverted(tiff, image);
        return image;
    }
    readRows(tiff, image);
    if (layout.inverted) zylNot(image.header(), image.header(), nullptr);
    return image;
}

void setFields(const Tiff &tiff, const Shape &shape) {
    TIFF *t = tiff.get();
    bool isSigned = (shape.depth & ZYL_DEPTH_SIGN) != 0;
    TIFFSetField(t, TIFFTAG_IMAGEWIDTH, shape.width);
    TIFFSetField(t, TIFFTAG_IMAGELENGTH, shape.height);
    TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, shape.channels);
    TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, shape.depth & ~ZYL_DEPTH_SIGN);
    TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, isSigned ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT);
    TIFFSetField(t, TIFFTAG_PHOTOMETRIC, shape.color() ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_LZW);
    TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(t, 0));
    std::uint16_t extra = EXTRASAMPLE_UNASSALPHA;
    if (shape.alpha) TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 1, &extra);
}

void write(const std::string &path, const Image &image) {
    Tiff tiff = openTiff(path, "w");
    Shape shape = image.shape();
    setFields(tiff, shape);
    std::vector<unsigned char> line(static_cast<std::size_t>(image.header()->widthStep));
    for (int y = 0; y < shape.height; ++y) {
        std::memcpy(line.data(), image.row(y), line.size()); // the encoder may change it
        if (TIFFWriteScanline(tiff.get(), line.data(), static_cast<std::uint32_t>(y)) < 0) fail();
    }
    if (!TIFFFlush(tiff.get())) fail();
}

} // namespace

const Format tiffFormat = {"TIFF", "tif tiff", recognises, read, write};

} // namespace tool
