// The bytes of a file, a pipe or standard input: in order, or at positions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

class Input {
  public:
    // "-" is standard input. Throws Failure.
    explicit Input(const std::string &name);
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    // The first bytes of a file, as far as there are any; reading gives them again.
    std::string_view start() const;

    // The next bytes. Fewer than asked for only at the end, or where the system
    // fails. Does not throw: decoders written in C call it.
    std::size_t read(void *to, std::size_t count) noexcept;
    // The same, but throws Failure when the file ends.
    void readWhole(void *to, std::size_t count);
    // All that is left. Throws Failure when it is more than `most`.
    std::vector<unsigned char> readRest(std::size_t most);

    // Makes reading at positions possible: what a pipe holds is copied to a
    // temporary file. Not after read().
    void makeSeekable();
    // From several threads at once, as read().
    std::size_t readAt(std::uint64_t offset, void *to, std::size_t count) const noexcept;
    void readWholeAt(std::uint64_t offset, void *to, std::size_t count) const;
    std::uint64_t size() const;

  private:
    int descriptor_;
    bool seekable_;
    std::uint64_t base_ = 0; // where the file begins, when standard input is a file read before
    std::vector<unsigned char> buffer_;
    std::size_t at_ = 0, filled_ = 0;
};

// A temporary file without a name: it is gone when its descriptor is closed,
// whatever ends the program. Throws Failure.
int anonymousFile();

} // namespace tool
