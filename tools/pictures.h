// Picture files as images in memory.
#pragma once

#include "formats/format.h"

namespace tool {

const Format &formatOfFile(const std::string &path);
const Format &formatOfName(const std::string &path);
Image readPicture(const std::string &path);
void writePicture(const std::string &path, const Image &image,
                  const std::optional<Palette> &palette = {});

} // namespace tool
