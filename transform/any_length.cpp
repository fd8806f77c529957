#include "transform/any_length.h"

#include "transform/kernels.h"
#include "transform/roots.h"

namespace zylqx {

namespace {

// Shorter lengths are summed directly, which is as quick up to here.
constexpr std::ptrdiff_t SHORTEST = 18;
constexpr std::ptrdiff_t SHORTEST_CONVOLUTION = 120;

// With large radices first, the passes that load most rows apart from each other
// are the fewest.
constexpr signed char RADICES[] = {13, 11, 7, 5, 3, 4, 2};

Radices radicesOf(std::ptrdiff_t length) {
    Radices radices;
    radices.length = length;
    for (const signed char radix : RADICES) {
        for (; length % radix == 0; length /= radix) radices.radix[radices.count++] = radix;
    }
    if (length != 1) radices.count = 0;
    return radices;
}

Root<double> *takeRoots(unsigned char *&memory, std::ptrdiff_t count) {
    auto *roots = reinterpret_cast<Root<double> *>(memory);
    memory += count * static_cast<std::ptrdiff_t>(sizeof *roots);
    return roots;
}

} // namespace

bool isAnyLength(std::ptrdiff_t length) {
    if ((length & (length - 1)) == 0) return false;
    return length >= (radicesOf(length).count > 0 ? SHORTEST : SHORTEST_CONVOLUTION);
}

Radices radicesFor(std::ptrdiff_t length) {
    Radices radices = radicesOf(length);
    for (std::ptrdiff_t padded = 2 * length - 1; radices.count == 0; ++padded) {
        radices = radicesOf(padded);
    }
    return radices;
}

std::uint64_t anyLengthBytes(std::ptrdiff_t length) {
    const auto roots = static_cast<std::uint64_t>(radicesFor(length).length);
    const auto terms = static_cast<std::uint64_t>(length);
    return sizeof(Root<double>) * (roots == terms ? roots : 2 * roots + terms);
}

AnyLength makeAnyLength(std::ptrdiff_t length, void *memory, void *work) {
    auto *free = static_cast<unsigned char *>(memory);
    AnyLength any;
    any.length = length;
    any.radices = radicesFor(length);
    const std::ptrdiff_t padded = any.radices.length;
    Root<double> *const roots = takeRoots(free, padded);
    for (std::ptrdiff_t k = 0; k < padded; ++k) roots[k] = unitRoot(k, padded);
    any.roots = roots;
    if (padded == length) return any;

    Root<double> *const chirp = takeRoots(free, length);
    // The angle's k^2 turns in 2 * length steps; the next square is 2k + 1 on.
    for (std::ptrdiff_t k = 0, square = 0; k < length; ++k) {
        chirp[k] = unitRoot(square, 2 * std::int64_t{length});
        square = (square + 2 * k + 1) % (2 * length);
    }
    any.chirp = chirp;
    Root<double> *const filter = takeRoots(free, padded);
    ZYLQX_KERNELS(anyLengthKernels).chirpSpectrum(any, filter, work);
    any.filter = filter;
    return any;
}

} // namespace zylqx
