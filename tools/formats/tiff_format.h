// The parts of the TIFF format.
#pragma once

#include "format.h"
#include "tiff_file.h"

namespace tool {

std::unique_ptr<Source> openTiff(std::unique_ptr<Input> input, const ReadOptions &options);
std::unique_ptr<Sink> createTiff(std::unique_ptr<Output> output, const Shape &shape,
                                 const Metadata &metadata, const WriteOptions &options);

// Orientation, storage and metadata of the current page.
void readTiffDetails(const TiffFile &file, Details &details);
void writeTiffMetadata(const TiffFile &file, const Metadata &metadata);

} // namespace tool
