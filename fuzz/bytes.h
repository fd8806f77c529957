// The input of a program for libFuzzer, taken apart; zeros come after its end.
#ifndef ZYLQX_FUZZ_BYTES_H
#define ZYLQX_FUZZ_BYTES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

class Bytes {
  public:
    Bytes(const std::uint8_t *data, std::size_t size) : data_(data), size_(size) {}

    int byte() {
        if (size_ == 0) return 0;
        --size_;
        return *data_++;
    }
    int below(int limit) { return byte() % limit; }
    int between(int low, int high) { return low + below(high - low + 1); }
    bool flag() { return below(2) != 0; }
    template <class T, std::size_t N>
    const T &pick(const std::array<T, N> &choices) {
        return choices[static_cast<std::size_t>(below(static_cast<int>(N)))];
    }
    // Small numbers, and those where arithmetic breaks.
    std::int32_t number() {
        static constexpr std::array NUMBERS = {
            INT32_MIN, INT32_MIN + 1,
            -65536,    -255,
            -2,        -1,
            0,         1,
            2,         3,
            4,         5,
            7,         8,
            15,        16,
            31,        32,
            33,        90,
            180,       255,
            256,       270,
            360,       32767,
            32768,     65535,
            65536,     INT32_MAX - 1,
            INT32_MAX,
        };
        const int index = byte();
        if (index < static_cast<int>(NUMBERS.size()))
            return NUMBERS[static_cast<std::size_t>(index)];
        return index < 160 ? index - 100 : index * 65537 + byte() * 257 + byte();
    }
    float fraction() { return static_cast<float>(number()) / 256.0F; }

    // So many bytes of any value.
    std::string text(int length) {
        std::string text(static_cast<std::size_t>(length), '\0');
        for (char &c : text) c = static_cast<char>(byte());
        return text;
    }
    std::string_view rest() const { return {reinterpret_cast<const char *>(data_), size_}; }

  private:
    const std::uint8_t *data_;
    std::size_t size_;
};

#endif
