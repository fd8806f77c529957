#include "tiff_encoder.h"

#include "text.h"

namespace tool {

namespace {

// Every tile is a new one of a file in memory: libtiff would read an old one again that
// it makes longer. A file of so many is begun anew.
constexpr std::uint32_t tilesOfFile = 64;

} // namespace

void TiffCoding::describe(TIFF *tiff) const {
    const bool isSigned = (shape.depth & ZYL_DEPTH_SIGN) != 0;
    const int bits = static_cast<int>(shape.depth & ~ZYL_DEPTH_SIGN);
    const bool jpeg = compression == COMPRESSION_JPEG;
    TIFFSetField(tiff, TIFFTAG_SAMPLESPERPIXEL, shape.channels);
    TIFFSetField(tiff, TIFFTAG_BITSPERSAMPLE, bits);
    TIFFSetField(tiff, TIFFTAG_SAMPLEFORMAT, isSigned ? SAMPLEFORMAT_INT : SAMPLEFORMAT_UINT);
    TIFFSetField(tiff, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    const std::uint16_t extra = EXTRASAMPLE_UNASSALPHA;
    if (shape.alpha) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, 1, &extra);
    TIFFSetField(tiff, TIFFTAG_COMPRESSION, compression);
    TIFFSetField(tiff, TIFFTAG_PHOTOMETRIC,
                 !shape.color() ? PHOTOMETRIC_MINISBLACK
                 : jpeg         ? PHOTOMETRIC_YCBCR
                                : PHOTOMETRIC_RGB);
    if (jpeg && shape.color()) TIFFSetField(tiff, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    if (jpeg) TIFFSetField(tiff, TIFFTAG_JPEGQUALITY, quality);
    if (predicts && bits >= 8) TIFFSetField(tiff, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL);
    if (!tile) return;
    TIFFSetField(tiff, TIFFTAG_TILEWIDTH, tile.width);
    TIFFSetField(tiff, TIFFTAG_TILELENGTH, tile.height);
}

const std::vector<unsigned char> &TiffEncoder::encode(std::vector<unsigned char> tile) {
    if (!file_ || next_ == tilesOfFile) {
        file_.emplace(encoded_);
        next_ = 0;
        TIFFSetField(file_->get(), TIFFTAG_IMAGEWIDTH, coding_.tile.width);
        TIFFSetField(file_->get(), TIFFTAG_IMAGELENGTH, coding_.tile.height * tilesOfFile);
        coding_.describe(file_->get());
    }
    encoded_.clear();
    if (TIFFWriteEncodedTile(file_->get(), next_++, tile.data(),
                             static_cast<tmsize_t>(tile.size())) < 0)
        throw Failure(file_->takeMessage());
    return encoded_;
}

std::vector<unsigned char> TiffEncoder::jpegTables() const {
    std::uint32_t size = 0;
    unsigned char *tables = nullptr;
    if (!file_ || !TIFFGetField(file_->get(), TIFFTAG_JPEGTABLES, &size, &tables)) return {};
    return {tables, tables + size};
}

} // namespace tool
