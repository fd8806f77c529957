// Picture files as nodes of a pipeline, and as pictures in memory.
#pragma once

#include "engine/pipeline.h"
#include "formats/registry.h"
#include "image.h"

namespace tool {

Pipeline::Node addPicture(Pipeline &pipeline, const std::string &name, ReadOptions options = {});

Image readPicture(const std::string &name, const ReadOptions &options = {});
// Also tells what goes with the picture.
Image readPicture(const std::string &name, const ReadOptions &options, Metadata &metadata);

void writePicture(const std::string &name, const Image &image, const Metadata &metadata = {},
                  const WriteOptions &options = {});

} // namespace tool
