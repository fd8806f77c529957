// How kernels round numbers to samples: positions.h.
#ifndef ZYLQX_GEOMETRY_ROUNDING_H
#define ZYLQX_GEOMETRY_ROUNDING_H

#include "core/kernel.h"
#include "geometry/kernels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

template <class T>
constexpr int HIGHEST = static_cast<T>(~T(0));

template <class T>
inline T saturated(int value) {
    const int positive = value > 0 ? value : 0;
    const int sample = positive < HIGHEST<T> ? positive : HIGHEST<T>;
    return static_cast<T>(sample);
}

// index() and nearest() of positions.h, as samples. What truncation rounds the
// wrong way is below 0, and becomes 0 either way.
template <class T, class Real>
inline T indexSample(Real value) {
    return saturated<T>(static_cast<int>(value + static_cast<Real>(TOLERANCE)));
}
template <class T>
inline T nearestSample(double value) {
    return saturated<T>(static_cast<int>(value + (TOLERANCE + 0.5)));
}

} // namespace

} // namespace zylqx::ZYLQX_LEVEL

#endif
