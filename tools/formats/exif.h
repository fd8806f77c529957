// The fields of an Exif block that a picture is read and written by.
#pragma once

#include <span>
#include <vector>

namespace tool {

// The orientation, 1 to 8; 1 where there is none that is valid.
int exifOrientation(std::span<const unsigned char> exif);
// Changes the orientation where there is one.
void setExifOrientation(std::vector<unsigned char> &exif, int orientation);

} // namespace tool
