// The one source of chance: the same numbers on every system. The standard's
// distributions differ between libraries and are not used. Draw one number in an
// expression: the order in which arguments and operands are evaluated is open.
#ifndef ZYLQX_SELFTEST_RANDOM_H
#define ZYLQX_SELFTEST_RANDOM_H

#include <array>
#include <cstddef>
#include <cstdint>

namespace selftest {

// Scatters the bits of a word: the finishing steps of MurmurHash3 with the
// constants of SplitMix64.
constexpr std::uint64_t scatter(std::uint64_t v) {
    v = (v ^ (v >> 30)) * 0xBF58476D1CE4E5B9u;
    v = (v ^ (v >> 27)) * 0x94D049BB133111EBu;
    return v ^ (v >> 31);
}

class Random {
  public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t word() { return scatter(state_ += 0x9E3779B97F4A7C15u); }
    std::uint32_t bits() { return static_cast<std::uint32_t>(word() >> 32); }

    // 0 .. limit - 1
    int below(int limit) {
        return static_cast<int>(bits() * static_cast<std::uint64_t>(limit) >> 32);
    }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool flag() { return below(2) != 0; }
    bool oneIn(int n) { return below(n) == 0; }

    template <class T, std::size_t N>
    const T &pick(const std::array<T, N> &choices) {
        return choices[static_cast<std::size_t>(below(static_cast<int>(N)))];
    }

    // Small numbers, those where arithmetic breaks, and any.
    std::int32_t number() {
        static constexpr std::array<std::int32_t, 24> EDGES = {
            INT32_MIN, INT32_MIN + 1, -65536, -32769, -32768, -256,  -255,          -128,
            127,       128,           255,    256,    257,    32767, 32768,         65535,
            65536,     1 << 24,       9000,   18000,  27000,  36000, INT32_MAX - 1, INT32_MAX};
        switch (below(4)) {
        case 0:
            return pick(EDGES);
        case 1:
            return static_cast<std::int32_t>(bits());
        default:
            return between(-40, 90);
        }
    }

  private:
    std::uint64_t state_;
};

} // namespace selftest

#endif
