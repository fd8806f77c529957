// Points of the unit circle, for the tables of the transforms.
#ifndef ZYLQX_TRANSFORM_ROOTS_H
#define ZYLQX_TRANSFORM_ROOTS_H

#include <cstdint>

#include "transform/kernels.h"

namespace zylqx {

// Cosine and sine of 2 pi k / n, for 0 <= k < n; exactly 0 or 1 at the quarters,
// and with the circle's symmetries.
Root<double> unitRoot(std::int64_t k, std::int64_t n);

} // namespace zylqx

#endif
