// Pictures held in memory, from and to files.
#pragma once

#include "formats/registry.h"
#include "image.h"

namespace tool {

Image readPicture(const std::string &name, const ReadOptions &options = {});
// Also tells what goes with the picture.
Image readPicture(const std::string &name, const ReadOptions &options, Metadata &metadata);

void writePicture(const std::string &name, const Image &image, const Metadata &metadata = {},
                  const WriteOptions &options = {});

} // namespace tool
