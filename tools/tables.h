// Look-up tables of the library.
#pragma once

#include <zylqx.h>

#include <cstdint>
#include <vector>

namespace tool {

// One table for each channel, with room for `keys` keys.
class Tables {
  public:
    Tables(int channels, int keys) : arrays_(static_cast<std::size_t>(channels)) {
        for (Arrays &a : arrays_) {
            a.key.resize(static_cast<std::size_t>(keys));
            a.value = a.factor = a.key;
        }
        connect();
    }
    Tables(const Tables &other) : arrays_(other.arrays_) { connect(); }
    Tables &operator=(const Tables &) = delete;

    ZylLUT *const *pointers() const { return pointers_.data(); }
    ZylLUT &operator[](int channel) { return arrays_[static_cast<std::size_t>(channel)].lut; }

  private:
    struct Arrays {
        std::vector<std::int32_t> key, value, factor;
        ZylLUT lut;
    };
    void connect() {
        for (Arrays &a : arrays_) {
            a.lut = {static_cast<std::int32_t>(a.key.size()), a.key.data(), a.value.data(),
                     a.factor.data(), 0};
            pointers_.push_back(&a.lut);
        }
    }

    std::vector<Arrays> arrays_;
    std::vector<ZylLUT *> pointers_;
};

} // namespace tool
