// TIFF and BigTIFF: what the two directions share.
#include "formats.h"
#include "tiff_format.h"

namespace tool {

namespace {

constexpr double metresPerInch = 0.0254;

struct TextField {
    std::uint32_t tag;
    const char *keyword; // as in PNG
};
constexpr TextField textFields[] = {{TIFFTAG_IMAGEDESCRIPTION, "Description"},
                                    {TIFFTAG_SOFTWARE, "Software"},
                                    {TIFFTAG_ARTIST, "Author"},
                                    {TIFFTAG_COPYRIGHT, "Copyright"},
                                    {TIFFTAG_DATETIME, "Creation Time"}};

std::string storageOf(const TiffFile &file) {
    TIFF *tiff = file.get();
    std::string text;
    if (TIFFIsTiled(tiff)) {
        text = "tiles " + std::to_string(file.field<std::uint32_t>(TIFFTAG_TILEWIDTH)) + " x " +
               std::to_string(file.field<std::uint32_t>(TIFFTAG_TILELENGTH));
    } else {
        const auto rows = std::min(file.field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP),
                                   file.field<std::uint32_t>(TIFFTAG_IMAGELENGTH));
        text = "strips of " + std::to_string(rows) + (rows == 1 ? " row" : " rows");
    }
    const auto compression = file.field<std::uint16_t>(TIFFTAG_COMPRESSION);
    const TIFFCodec *codec = TIFFFindCODEC(compression);
    text += ", ";
    text += compression == COMPRESSION_NONE ? "uncompressed" : codec ? codec->name : "compressed";
    text += ", " + std::to_string(file.field<std::uint16_t>(TIFFTAG_BITSPERSAMPLE)) + " bits";
    switch (file.field<std::uint16_t>(TIFFTAG_PHOTOMETRIC)) {
    case PHOTOMETRIC_MINISWHITE:
        text += ", 0 is white";
        break;
    case PHOTOMETRIC_PALETTE:
        text += ", palette";
        break;
    case PHOTOMETRIC_SEPARATED:
        text += ", CMYK";
        break;
    case PHOTOMETRIC_YCBCR:
        text += ", YCbCr";
        break;
    default:
        break;
    }
    if (file.field<std::uint16_t>(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE)
        text += ", planes";
    if (TIFFIsBigTIFF(tiff)) text += ", BigTIFF";
    return text;
}

bool recognises(std::string_view start) {
    using namespace std::string_view_literals;
    const std::string_view four = start.substr(0, 4);
    return four == "II*\0"sv || four == "MM\0*"sv || four == "II+\0"sv || four == "MM\0+"sv;
}

} // namespace

void readTiffDetails(const TiffFile &file, Details &details) {
    details.format = "TIFF";
    details.storage = storageOf(file);
    const int orientation = file.field<std::uint16_t>(TIFFTAG_ORIENTATION);
    details.orientation = orientation >= 1 && orientation <= 8 ? orientation : 1;

    Metadata &metadata = details.metadata;
    std::uint32_t size = 0;
    unsigned char *profile = nullptr;
    if (TIFFGetField(file.get(), TIFFTAG_ICCPROFILE, &size, &profile))
        metadata.profile.assign(profile, profile + size);
    float x = 0, y = 0;
    const auto unit = file.field<std::uint16_t>(TIFFTAG_RESOLUTIONUNIT);
    const double perMetre = unit == RESUNIT_CENTIMETER ? 100 : 1 / metresPerInch;
    const auto known = [&](float density) {
        return density > 0 && density * perMetre <= Metadata::mostDensity;
    };
    if (unit != RESUNIT_NONE && TIFFGetField(file.get(), TIFFTAG_XRESOLUTION, &x) &&
        TIFFGetField(file.get(), TIFFTAG_YRESOLUTION, &y) && known(x) && known(y)) {
        metadata.xDensity = x * perMetre;
        metadata.yDensity = y * perMetre;
    }
    for (const auto &[tag, keyword] : textFields) {
        const char *text = nullptr;
        if (TIFFGetField(file.get(), tag, &text) && *text != 0)
            metadata.texts.emplace_back(keyword, text);
    }
}

void writeTiffMetadata(const TiffFile &file, const Metadata &metadata) {
    TIFF *tiff = file.get();
    if (!metadata.profile.empty()) {
        TIFFSetField(tiff, TIFFTAG_ICCPROFILE, static_cast<std::uint32_t>(metadata.profile.size()),
                     metadata.profile.data());
    }
    if (metadata.xDensity > 0 && metadata.yDensity > 0) {
        TIFFSetField(tiff, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
        TIFFSetField(tiff, TIFFTAG_XRESOLUTION, metadata.xDensity * metresPerInch);
        TIFFSetField(tiff, TIFFTAG_YRESOLUTION, metadata.yDensity * metresPerInch);
    }
    for (const auto &[tag, keyword] : textFields) {
        for (const auto &[key, text] : metadata.texts)
            if (key == keyword) TIFFSetField(tiff, tag, text.c_str());
    }
}

const Format tiffFormat = {"TIFF",   "tif tiff", recognises,
                           openTiff, createTiff, QUALITY | COMPRESSION | TILE};

} // namespace tool
