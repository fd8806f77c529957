// Picture files by name.
#pragma once

#include "format.h"

#include <span>

namespace tool {

std::span<const Format *const> pictureFormats();

// The format that a name to write asks for: by its extension, or after a colon
// where there is none, as in "-:png", standard output. Throws Misuse.
const Format &formatOfName(const std::string &name);

// Opens a file by its content; "-" is standard input.
std::unique_ptr<Source> openSource(const std::string &name, const ReadOptions &options = {});

std::unique_ptr<Sink> createSink(const std::string &name, const Shape &shape,
                                 const Metadata &metadata = {}, const WriteOptions &options = {});

} // namespace tool
