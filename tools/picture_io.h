// Picture files: which formats there are, and reading and writing by name.
#pragma once

#include "image.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tool {

// A color table for files that have one: 2, 16 or 256 colors, the usual ones or
// those that suit the picture best.
struct Palette {
    int colors = 256;
    bool medianCut = true;
};

// A file format. `read` and `write` throw Failure; picture_io.cpp puts the file's
// name before its text.
struct Format {
    std::string_view name;
    std::string_view extensions;                // lower case, separated by blanks
    bool (*recognises)(std::string_view start); // the file's first 16 bytes, or fewer
    Image (*read)(const std::string &path);
    void (*write)(const std::string &path, const Image &image);
    // With a color table; null where there is none.
    void (*writeIndexed)(const std::string &path, const Image &image,
                         const Palette &palette) = nullptr;
};

extern const Format pngFormat, jpegFormat, tiffFormat, bmpFormat;

std::span<const Format *const> pictureFormats();

// The format by the file's first bytes.
const Format &formatOfFile(const std::string &path);
// The format by the name's extension.
const Format &formatOfName(const std::string &path);

Image readPicture(const std::string &path);

// Writes beside the file and puts the result in its place when it is complete.
// With a palette, the format must be one that has color tables.
void writePicture(const std::string &path, const Image &image,
                  const std::optional<Palette> &palette = {});

// The end of a message: " cannot hold a picture of 8 x 8, signed 16-bit gray".
std::string cannotHold(const Shape &shape);

} // namespace tool
