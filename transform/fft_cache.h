// Tables and buffers of the Fourier transform, kept between calls.
#ifndef ZYLQX_TRANSFORM_FFT_CACHE_H
#define ZYLQX_TRANSFORM_FFT_CACHE_H

#include <cstddef>
#include <cstdint>

#include "core/memory.h"
#include "transform/kernels.h"

namespace zylqx {

// Everything is had on first use and stays until release().
class FftCache {
  public:
    enum Slot { Lines, Packed, Edges, Columns, Work };

    // The tables of a length; null when memory is exhausted, or when the tables of
    // MAX_LENGTHS other lengths are kept. Stays in place until release().
    template <class S>
    const FftTables<S> *tables(std::ptrdiff_t length);

    // The buffer of a slot, of at least this size; null when memory is exhausted.
    // A larger one replaces a smaller one.
    void *buffer(Slot slot, std::uint64_t bytes);

    void release();

  private:
    static constexpr int MAX_LENGTHS = 64; // 32 powers of two and 32 others
    static constexpr int SLOTS = Work + 1;

    template <class S>
    struct Lengths {
        FftTables<S> tables[MAX_LENGTHS];
        Scratch<unsigned char> memory[MAX_LENGTHS];
        int count = 0;
    };
    struct Buffer {
        Scratch<unsigned char> memory;
        std::uint64_t bytes = 0;
    };

    template <class S>
    Lengths<S> &lengths();

    Lengths<float> floating_;
    Lengths<std::int32_t> fixed_;
    Buffer buffers_[SLOTS];
};

} // namespace zylqx

#endif
