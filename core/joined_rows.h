// Narrow pieces of a walk over neighbourhoods, as a single row.
#ifndef ZYLQX_CORE_JOINED_ROWS_H
#define ZYLQX_CORE_JOINED_ROWS_H

#include "core/walk_neighbourhoods.h"

namespace zylqx {

// Hands a piece on; a narrow one as a piece of one row, so that kernels, which take
// vectors of samples, are called once instead of for a few samples of each row. For
// operations whose work grows with the samples of a piece and not with the number of its
// columns. False when there was no memory.
bool joinNarrowRows(const NeighbourPiece &piece, const Box &box, const Passes &passes,
                    NeighbourKernel visit);

} // namespace zylqx

#endif
