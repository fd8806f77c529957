// Shifts of rows by a constant, 64 bits at once: what crosses from one sample into
// the next is masked away.
#include "arith/row_loops.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// One number in every sample of a word.
template <class T>
u64 repeated(u32 value) {
    return ~u64{0} / static_cast<T>(~T(0)) * static_cast<T>(value);
}

// Runs `operation` over a row of bits, 64 at once: whole numbers of samples, and
// sample by sample at the end. T is unsigned.
template <class T, class F>
void mapWords(const void *s, void *d, std::ptrdiff_t n, F operation) {
    const T *in = static_cast<const T *>(s);
    T *out = static_cast<T *>(d);
    constexpr std::ptrdiff_t perWord = 64 / BITS<T>;
    const std::ptrdiff_t words = n / perWord;
    ZYLQX_VECTOR_LOOP
    for (std::ptrdiff_t i = 0; i < words; ++i) {
        u64 word;
        __builtin_memcpy(&word, in + i * perWord, sizeof word);
        word = operation(word);
        __builtin_memcpy(out + i * perWord, &word, sizeof word);
    }
    for (std::ptrdiff_t i = words * perWord; i < n; ++i) out[i] = T(operation(in[i]));
}

template <class T>
void shiftLeftRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const u32 shift = c.value;
    const u64 kept = repeated<T>(0xFFFFFFFFu << shift);
    mapWords<T>(s, d, n, [=](u64 word) { return word << shift & kept; });
}

// Signed samples count from 0 while they are shifted: the top bit is flipped
// before, and what the shift has made of it is taken back after, by a sum that
// never carries into the next sample. The signed sample stands for its extension
// to 32 bits, so bits beyond 32 - shift are 0.
template <class T, bool IS_SIGNED>
void shiftRightRow(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    constexpr auto bits = static_cast<u32>(BITS<T>);
    const u32 top = IS_SIGNED ? 1u << (bits - 1) : 0;
    const u32 shift = smaller(c.value, bits - 1);
    const bool gone = !IS_SIGNED && c.value >= bits;
    const u64 flip = repeated<T>(top);
    const u64 mask = gone ? 0 : repeated<T>(HIGHEST<T> >> shift);
    const u64 back = repeated<T>(top - (top >> shift));
    const u64 kept = repeated<T>(0xFFFFFFFFu >> c.value);
    mapWords<T>(s, d, n,
                [=](u64 word) { return ((((word ^ flip) >> shift & mask) + back) ^ flip) & kept; });
}

void shiftRight32Row(const void *s, void *d, std::ptrdiff_t n, const UnaryConstant &c) {
    const int shift = static_cast<int>(c.value);
    map<s32>(s, d, n, [shift](s32 x) { return x >> shift; });
}

} // namespace

const ShiftKernels shiftKernels = {{nullptr, shiftLeftRow<u8>, shiftLeftRow<u8>, shiftLeftRow<u16>,
                                    shiftLeftRow<u16>, shiftLeftRow<u32>},
                                   {nullptr, shiftRightRow<u8, false>, shiftRightRow<u8, true>,
                                    shiftRightRow<u16, false>, shiftRightRow<u16, true>,
                                    shiftRight32Row}};

} // namespace zylqx::ZYLQX_LEVEL
