// Exif of TIFF files: directories of their own there, a block in other formats.
#pragma once

#include "tiff_file.h"

#include <vector>

namespace tool {

// The block that other formats would hold, of the current page; empty where the
// file has none. An orientation other than 1 is told in it.
std::vector<unsigned char> readTiffExif(const TiffFile &file, const Input &input, int orientation);

// Writes the block's orientation and directories into a new file, before its pixels.
// What is damaged is left out.
void writeTiffExif(TiffFile &file, const std::vector<unsigned char> &exif);

} // namespace tool
