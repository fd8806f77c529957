// Rows of bytes copied and exchanged, and samples filled with a value: loops that
// memory limits, without arithmetic.
#include "arith/kernels.h"
#include "core/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using namespace narrow_vectors;

// The C library's copy is several times slower between rows whose addresses are a
// few bytes apart modulo 4096, as those of shifted regions often are. Loading far
// ahead of the stores avoids that.
void copyRow(const void *s, void *d, std::ptrdiff_t bytes) {
    using V = Vector<u8>;
    constexpr std::ptrdiff_t SIZE = sizeof(V);
    const auto *in = static_cast<const u8 *>(s);
    auto *out = static_cast<u8 *>(d);
    for (; bytes >= 4 * SIZE; bytes -= 4 * SIZE, in += 4 * SIZE, out += 4 * SIZE) {
        const V v0 = load<V>(in), v1 = load<V>(in + SIZE);
        const V v2 = load<V>(in + 2 * SIZE), v3 = load<V>(in + 3 * SIZE);
        store(out, v0);
        store(out + SIZE, v1);
        store(out + 2 * SIZE, v2);
        store(out + 3 * SIZE, v3);
    }
    __builtin_memmove(out, in, static_cast<std::size_t>(bytes));
}

void exchangeRow(void *a, void *b, std::ptrdiff_t bytes) {
    auto *first = static_cast<u8 *>(a);
    auto *second = static_cast<u8 *>(b);
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < bytes; ++i) {
        const u8 byte = first[i];
        first[i] = second[i];
        second[i] = byte;
    }
}

template <class T>
void fillRow(void *d, std::ptrdiff_t step, std::ptrdiff_t n, u32 value) {
    T *out = static_cast<T *>(d);
    if (step == 1) {
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = T(value);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) out[i * step] = T(value);
}

} // namespace

const CopyKernels copyKernels = {copyRow, exchangeRow, {fillRow<u8>, fillRow<u16>, fillRow<u32>}};

} // namespace zylqx::ZYLQX_LEVEL
