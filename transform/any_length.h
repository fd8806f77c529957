// The tables of a complex Fourier transform in double precision, for lengths that
// are no powers of two.
//
// A length without prime factors above 13 is taken apart into radices. Any other
// length is a convolution with a chirp, after jk = (j^2 + k^2 - (k - j)^2) / 2,
// done by transforms of a longer length that has small factors.
#ifndef ZYLQX_TRANSFORM_ANY_LENGTH_H
#define ZYLQX_TRANSFORM_ANY_LENGTH_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

template <class T>
struct Root;

// A length as a product of 4, 2, 3, 5, 7, 11 and 13.
struct Radices {
    static constexpr int MOST = 32; // the length has at most 63 bits, most of them in fours

    std::ptrdiff_t length = 0;
    int count = 0; // 0 for a length with another prime factor
    signed char radix[MOST] = {};
};

struct AnyLength {
    std::ptrdiff_t length = 0;
    Radices radices;                     // of the length, or of the convolution's
    const Root<double> *roots = nullptr; // of 2 pi k / radices.length
    const Root<double> *chirp = nullptr; // of pi k^2 / length; null: no convolution
    // The spectrum of the chirp, divided by the convolution's length.
    const Root<double> *filter = nullptr;
};

// Whether lengths are transformed this way: those for which it is faster than
// direct summation.
bool isAnyLength(std::ptrdiff_t length);

// A length, cut into small factors; or else that of the convolution, the next one
// with small factors from 2 * length - 1 on.
Radices radicesFor(std::ptrdiff_t length);

// The tables of a length in memory of anyLengthBytes() bytes. `work` has
// ANY_LENGTH_WORK bytes for every row of the radices.
std::uint64_t anyLengthBytes(std::ptrdiff_t length);
AnyLength makeAnyLength(std::ptrdiff_t length, void *memory, void *work);

} // namespace zylqx

#endif
