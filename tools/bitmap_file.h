// BMP files: a file header before the block of memory that the library's bitmap
// operations take.
#pragma once

#include <cstdint>
#include <vector>

namespace tool {

// The block of a file's bitmap: a header of 40 bytes, the color table or masks,
// the rows. Later headers are cut down to that, and gaps are left out. Throws
// Failure when the file is damaged, truncated, or holds what the block cannot.
// Whatever the file says, the block is as long as its header demands.
std::vector<std::uint8_t> bitmapBlock(const std::vector<std::uint8_t> &file);

// The file for a block. Its rows end the block, or the rest is left out.
std::vector<std::uint8_t> bitmapFile(const std::vector<std::uint8_t> &block);

} // namespace tool
