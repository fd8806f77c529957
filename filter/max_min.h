// The largest or the smallest sample of a box.
#ifndef ZYLQX_FILTER_MAX_MIN_H
#define ZYLQX_FILTER_MAX_MIN_H

#include "core/walk_neighbourhoods.h"

namespace zylqx {

enum class Extreme { Largest, Smallest };

// Computes a piece; false when there is no memory. Samples compare as numbers of
// their depth; bits are joined by or and and.
bool extremePiece(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                  Extreme extreme);

} // namespace zylqx

#endif
