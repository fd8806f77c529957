// Points of the unit circle, for the tables of the transforms.
#ifndef ZYLQX_TRANSFORM_ROOTS_H
#define ZYLQX_TRANSFORM_ROOTS_H

#include <cstdint>

#include "transform/kernels.h"

namespace zylqx {

// Cosine and sine of 2 pi k / n, for 0 <= k < n; exactly 0 or 1 at the quarters,
// and with the circle's symmetries.
Root<double> unitRoot(std::int64_t k, std::int64_t n);

// Calls put(k, unitRoot(k, n)) for all k, some of them twice, the last time with
// the value that stays. Where the circle's symmetries meet the roots, an eighth of
// them is computed.
template <class F>
void forEachRoot(std::int64_t n, F put) {
    if (n % 4 != 0) {
        for (std::int64_t k = 0; k < n; ++k) put(k, unitRoot(k, n));
        return;
    }
    const std::int64_t quarter = n / 4;
    for (std::int64_t k = 0; 2 * k <= quarter; ++k) {
        const auto [c, s] = unitRoot(k, n);
        // Backwards from the quarters first: where they meet, forwards counts.
        put(quarter - k, {s, c});
        put(2 * quarter - k, {-c, s});
        put(3 * quarter - k, {-s, -c});
        if (k != 0) put(n - k, {c, -s});
        put(k, {c, s});
        put(quarter + k, {-s, c});
        put(2 * quarter + k, {-c, -s});
        put(3 * quarter + k, {s, -c});
    }
}

} // namespace zylqx

#endif
