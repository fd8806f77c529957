// The vectors of this folder's kernels.
#ifndef ZYLQX_STATS_VECTORS_H
#define ZYLQX_STATS_VECTORS_H

#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Memory is the limit here, not the width.
using namespace narrow_vectors;

using Bytes = Vector<std::uint8_t>;
using Words = Vector<std::uint16_t>;
using Doubles = Vector<std::uint32_t>;
using Chars = Vector<char>;
using SignedBytes = Vector<std::int8_t>;
using SignedWords = Vector<std::int16_t>;
using SignedDoubles = Vector<std::int32_t>;
using Quads = Vector<std::uint64_t>;

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
