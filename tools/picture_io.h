// Picture files: which formats there are, and reading and writing by name.
#pragma once

#include "image.h"

#include <span>
#include <string>
#include <string_view>

namespace tool {

// A file format. `read` and `write` throw Failure; picture_io.cpp puts the file's
// name before its text.
struct Format {
    std::string_view name;
    std::string_view extensions;                // lower case, separated by blanks
    bool (*recognises)(std::string_view start); // the file's first 16 bytes, or fewer
    Image (*read)(const std::string &path);
    void (*write)(const std::string &path, const Image &image);
};

extern const Format pngFormat, jpegFormat, tiffFormat;

std::span<const Format *const> pictureFormats();

// The format by the file's first bytes.
const Format &formatOfFile(const std::string &path);
// The format by the name's extension.
const Format &formatOfName(const std::string &path);

Image readPicture(const std::string &path);

// Writes beside the file and puts the result in its place when it is complete.
void writePicture(const std::string &path, const Image &image);

// The end of a message: " cannot hold a picture of 8 x 8, signed 16-bit gray".
std::string cannotHold(const Shape &shape);

} // namespace tool
