// How the samples of a TIFF file are stored, and how they become those of a picture.
#pragma once

#include "format.h"
#include "tiff_file.h"

#include <array>

namespace tool {

// The meaning of a file's colour samples.
enum class TiffColor { gray, inverseGray, rgb, palette, cmyk };

struct TiffLayout {
    Shape shape; // of the picture
    int bits = 8;
    int samples = 1; // per pixel in the file
    TiffColor color = TiffColor::gray;
    int colorSamples = 1;
    int alphaSample = -1; // -1 where there is none
    bool associated = false;
    bool planar = false;
    // The picture's samples are the file's, but for the polarity of gray.
    bool plain = false;
    std::vector<std::array<std::uint16_t, 3>> palette; // in the picture's depth

    // The bytes of a row of pixels as the file stores it, in one plane.
    std::size_t storedBytes(int width) const;
};

// Throws Failure when the samples cannot be given exactly, with what would do.
TiffLayout tiffLayout(TiffFile &file);

// Converts pixels of one row. `planes` point to the stored row of each plane (one
// where samples are interleaved), which begins at pixel 0; the pixels wanted begin
// at `first`.
void convertTiffRow(const TiffLayout &layout, const unsigned char *const *planes, int first,
                    int count, unsigned char *to);

} // namespace tool
