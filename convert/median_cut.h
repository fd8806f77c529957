// A colour table made from an image: the box of all its colours is cut again and
// again so that both parts hold about half of the pixels.
#ifndef ZYLQX_CONVERT_MEDIAN_CUT_H
#define ZYLQX_CONVERT_MEDIAN_CUT_H

#include <cstdint>

#include "zylqx.h"

namespace zylqx {

// Fills the table of a bitmap with 2^bits entries, and returns how many it uses;
// 0 on failure: more than 8 bits, no memory, or colours in an unknown order. An
// image with as few colours as entries (colours of 6 bits a channel) gets just
// these.
int medianCutTable(const ZylImage &image, int bits, std::uint8_t *table);

} // namespace zylqx

#endif
