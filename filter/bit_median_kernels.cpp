// Counts of bits as numbers in planes, added as an adder of single bits does, a vector
// of pixels at a time.
#include "filter/bit_median_kernels.h"
#include "filter/vectors.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

using V = Vector<u64>;

void add(const BitPlanes &a, const BitPlanes &b, std::ptrdiff_t bits, u64 *sum,
         std::ptrdiff_t planes, std::ptrdiff_t stride, std::ptrdiff_t words) {
    const u64 shift = static_cast<u64>(bits % 64);
    const u64 *moved = b.words + bits / 64;
    for (std::ptrdiff_t i = 0; i < words; i += LANES<u64>) {
        V carry = {};
        std::ptrdiff_t at = i;
        std::ptrdiff_t p = 0;
        for (; p < b.planes; ++p, at += stride) {
            const V x = load<V>(a.words + at);
            // By 1 and the rest, as no shift is by 64.
            const V y = load<V>(moved + at) << shift | load<V>(moved + at + 1) >> 1 >> (63 - shift);
            const V either = x ^ y;
            store(sum + at, either ^ carry);
            carry = (x & y) | (either & carry);
        }
        for (; p < a.planes; ++p, at += stride) {
            const V x = load<V>(a.words + at);
            store(sum + at, x ^ carry);
            carry &= x;
        }
        if (p < planes) store(sum + at, carry);
    }
}

void slide(u64 *totals, std::ptrdiff_t planes, const BitPlanes &entering, const BitPlanes &leaving,
           u64 least, u64 *d, std::ptrdiff_t stride, std::ptrdiff_t words) {
    for (std::ptrdiff_t i = 0; i < words; i += LANES<u64>) {
        V carry = {};
        V borrow = {};
        V enough = ~V{};
        std::ptrdiff_t at = i;
        std::ptrdiff_t p = 0;
        const auto take = [&](V sum, V out) {
            const V either = out ^ borrow;
            const V rest = sum ^ either;
            borrow = (~sum & either) | (out & borrow);
            store(totals + at, rest);
            // Of numbers that are equal in all higher places, this one decides.
            enough = (least >> p & 1) != 0 ? rest & enough : rest | enough;
        };
        for (; p < entering.planes; ++p, at += stride) {
            const V total = load<V>(totals + at);
            const V in = load<V>(entering.words + at);
            const V either = total ^ in;
            const V sum = either ^ carry;
            carry = (total & in) | (either & carry);
            take(sum, load<V>(leaving.words + at));
        }
        for (; p < planes; ++p, at += stride) {
            const V total = load<V>(totals + at);
            const V sum = total ^ carry;
            carry &= total;
            take(sum, V{});
        }
        store(d + i, enough);
    }
}

} // namespace

const BitMedianKernels bitMedianKernels = {.add = add, .slide = slide};

} // namespace zylqx::ZYLQX_LEVEL
