// The library's heap: every block that it obtains comes from here.
#ifndef ZYLQX_CORE_MEMORY_H
#define ZYLQX_CORE_MEMORY_H

#include <cstddef>
#include <cstdint>

namespace zylqx {

// A block aligned to 64 bytes, or null. Released by freeBlock(), which ignores
// null.
void *allocateBlock(std::size_t bytes);
void freeBlock(void *block);

// The same for what is freed before the call ends, and quicker.
void *allocateScratch(std::size_t bytes);
void freeScratch(void *block);

// For tests: when set, an allocation of any kind fails whenever `refuse` returns
// true.
void refuseAllocations(bool (*refuse)(std::size_t bytes));

// Scratch memory for one call: freed on every path. `count` elements that are
// not initialised; false when they could not be had, which includes counts that
// size_t has no room for.
template <class T>
class Scratch {
  public:
    Scratch() = default;
    explicit Scratch(std::uint64_t count) {
        if (count > SIZE_LIMIT / sizeof(T)) return;
        data_ = static_cast<T *>(allocateScratch(static_cast<std::size_t>(count) * sizeof(T)));
    }
    Scratch(Scratch &&other) noexcept : data_(other.data_) { other.data_ = nullptr; }
    Scratch &operator=(Scratch &&other) noexcept {
        T *data = data_;
        data_ = other.data_;
        other.data_ = data;
        return *this;
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch() {
        if (data_ != nullptr) freeScratch(data_);
    }

    explicit operator bool() const { return data_ != nullptr; }
    T *data() const { return data_; }
    T &operator[](std::ptrdiff_t i) const { return data_[i]; }

  private:
    static constexpr std::size_t SIZE_LIMIT = static_cast<std::size_t>(-1) / 2;
    T *data_ = nullptr;
};

} // namespace zylqx

#endif
