// How the samples of a TIFF file are stored, and how they become those of a picture.
#pragma once

#include "format.h"
#include "tiff_file.h"

#include <array>

namespace tool {

// The meaning of a file's colour samples.
enum class TiffColor { gray, inverseGray, rgb, palette, cmyk, ycc };

// How YCbCr becomes RGB: the shares of red, green and blue in Y, and for each of the
// three samples the codes that are black and white.
struct TiffYcc {
    std::array<double, 3> luma;
    std::array<double, 3> black, white;
    // So many pixels across and down share one pair of Cb and Cr.
    int across = 1, down = 1;

    bool subsampled() const { return across > 1 || down > 1; }
};

struct TiffLayout {
    Shape shape; // of the picture
    int bits = 8;
    int samples = 1; // per pixel in the file
    TiffColor color = TiffColor::gray;
    int colorSamples = 1;
    int alphaSample = -1; // -1 where there is none
    bool associated = false;
    TiffYcc ycc;
    bool planar = false;
    // The picture's samples are the file's, but for the polarity of gray.
    bool plain = false;
    std::vector<std::array<std::uint16_t, 3>> palette; // in the picture's depth

    // The bytes of a row of pixels as the file stores it, in one plane.
    std::size_t storedBytes(int width) const;
};

// Throws Failure when the samples cannot be given exactly, with what would do.
TiffLayout tiffLayout(TiffFile &file);

// Samples of YCbCr that share their Cb and Cr are stored as units: the Y of all their
// pixels, row by row, Cb and Cr. Gives so many rows of whole pixels, their rows as long
// as storedBytes() tells; empty when the units end before.
std::vector<unsigned char> separateUnits(const TiffLayout &layout,
                                         const std::vector<unsigned char> &units, int width,
                                         int height);

// Converts pixels of one row. `planes` point to the stored row of each plane (one
// where samples are interleaved), which begins at pixel 0; the pixels wanted begin
// at `first`.
void convertTiffRow(const TiffLayout &layout, const unsigned char *const *planes, int first,
                    int count, unsigned char *to);

} // namespace tool
