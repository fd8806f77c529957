// Compresses the tiles of a TIFF file apart from it, so that threads need not wait for
// each other. One thread at a time uses an encoder.
#pragma once

#include "format.h"
#include "tiff_file.h"

#include <optional>

namespace tool {

// How samples are stored, in the file and by its encoders.
struct TiffCoding {
    Shape shape;
    std::uint16_t compression;
    bool predicts; // takes differences of neighbours
    int quality;   // of JPEG
    Tiling tile;   // 0 x 0 in strips

    // Sets the fields that tell of it, all but the size of the picture.
    void describe(TIFF *tiff) const;
};

class TiffEncoder {
  public:
    explicit TiffEncoder(const TiffCoding &coding) : coding_(coding) {}
    TiffEncoder(const TiffEncoder &) = delete;
    TiffEncoder &operator=(const TiffEncoder &) = delete;

    // The bytes to store for a whole tile, until the next call.
    const std::vector<unsigned char> &encode(std::vector<unsigned char> tile);
    // Of JPEG, after encode(): what all tiles share and the file holds once.
    std::vector<unsigned char> jpegTables() const;

  private:
    TiffCoding coding_;
    std::vector<unsigned char> encoded_;
    std::optional<TiffFile> file_; // writes to encoded_
    std::uint32_t next_ = 0;
};

} // namespace tool
