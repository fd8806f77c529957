// Logic on rows of samples, of two rows or of a row and a constant, and on rows of
// 1-bit samples.
//
// Rows of bits start at any bit. When all start with a byte they go byte by byte;
// else, from the destination's first whole byte on, 64 bits at once, which are put
// together from nine bytes of a source. Bytes that the destination has only in part
// are read, mixed by a mask and written.
#include "arith/row_loops.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

struct And {
    template <class T>
    static T of(T a, T b) {
        return T(a & b);
    }
};
struct Or {
    template <class T>
    static T of(T a, T b) {
        return T(a | b);
    }
};
struct Xor {
    template <class T>
    static T of(T a, T b) {
        return T(a ^ b);
    }
};
struct AndNot {
    template <class T>
    static T of(T a, T b) {
        return T(a & ~b);
    }
};

// --- rows of bits ---

// Runs `operation` (from a word of each source to a word) over n bits. Sources
// give 1 to 8 bits through `load`, 64 through `word`, from a position on.
template <class Load, class Word, class F>
void mapBits(Bits d, std::ptrdiff_t n, Load load, Word word, F operation) {
    u8 *out = d.data;
    std::ptrdiff_t at = 0;
    const auto partial = [&](int offset, int count) {
        const unsigned mask = (0xFFu << (8 - count) & 0xFFu) >> offset;
        const unsigned bits = static_cast<unsigned>(operation(load(at, count))) & 0xFFu;
        *out = static_cast<u8>((*out & ~mask) | (bits >> offset & mask));
        at += count;
    };
    if (d.bit != 0) {
        partial(d.bit, static_cast<int>(smaller<std::ptrdiff_t>(8 - d.bit, n)));
        ++out;
    }
    for (; n - at >= 64; at += 64, out += 8) storeHighestFirst(out, operation(word(at)));
    while (at < n) {
        partial(0, static_cast<int>(smaller<std::ptrdiff_t>(8, n - at)));
        ++out;
    }
}

struct Pair {
    u64 a, b;
};

template <class Operation>
void bitBinaryRow(ConstBits a, ConstBits b, Bits d, std::ptrdiff_t n) {
    if (a.bit == 0 && b.bit == 0 && d.bit == 0) {
        const std::ptrdiff_t bytes = n / 8;
        binaryRow<u8, Operation>(a.data, b.data, d.data, bytes);
        a.data += bytes;
        b.data += bytes;
        d.data += bytes;
        n -= bytes * 8;
    }
    mapBits(
        d, n,
        [=](std::ptrdiff_t at, int count) {
            return Pair{loadBits(a.data, a.bit + at, count), loadBits(b.data, b.bit + at, count)};
        },
        [=](std::ptrdiff_t at) {
            return Pair{loadBitWord(a.data, a.bit + at), loadBitWord(b.data, b.bit + at)};
        },
        [](Pair pair) { return Operation::of(pair.a, pair.b); });
}

void bitUnaryRow(ConstBits s, Bits d, std::ptrdiff_t n, const BitConstant &c) {
    const BitConstant constant = c;
    if (s.bit == 0 && d.bit == 0) {
        const std::ptrdiff_t bytes = n / 8;
        const u8 mask = static_cast<u8>(constant.mask);
        const u8 flip = static_cast<u8>(constant.flip);
        map<u8>(s.data, d.data, bytes, [=](u8 x) { return u8((x & mask) ^ flip); });
        s.data += bytes;
        d.data += bytes;
        n -= bytes * 8;
    }
    mapBits(
        d, n,
        [=](std::ptrdiff_t at, int count) -> u64 { return loadBits(s.data, s.bit + at, count); },
        [=](std::ptrdiff_t at) { return loadBitWord(s.data, s.bit + at); },
        [=](u64 bits) { return (bits & constant.mask) ^ constant.flip; });
}

} // namespace

const LogicKernels logicKernels = {BY_SIZE(binaryRow, And),
                                   BY_SIZE(binaryRow, Or),
                                   BY_SIZE(binaryRow, Xor),
                                   BY_SIZE(constantRow, And),
                                   BY_SIZE(constantRow, Or),
                                   BY_SIZE(constantRow, Xor),
                                   bitBinaryRow<And>,
                                   bitBinaryRow<Or>,
                                   bitBinaryRow<Xor>,
                                   bitBinaryRow<AndNot>,
                                   bitUnaryRow};

} // namespace zylqx::ZYLQX_LEVEL
