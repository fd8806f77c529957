// A checksum of numbers, whatever bytes a machine keeps them in.
#ifndef ZYLQX_SELFTEST_CHECKSUM_H
#define ZYLQX_SELFTEST_CHECKSUM_H

#include <cstdint>

#include "selftest/random.h"

namespace selftest {

class Checksum {
  public:
    // A change of any bit changes the sum: both steps can be undone.
    void add(std::uint64_t value) { sum_ = scatter((sum_ ^ value) + 0x9E3779B97F4A7C15u); }
    void addSigned(std::int64_t value) { add(static_cast<std::uint64_t>(value)); }
    // A text with its end; null differs from an empty one.
    void addText(const char *text) {
        add(text == nullptr);
        for (; text != nullptr && *text != 0; ++text) add(static_cast<unsigned char>(*text));
        add(0);
    }
    std::uint64_t value() const { return sum_; }

  private:
    std::uint64_t sum_ = 0;
};

} // namespace selftest

#endif
