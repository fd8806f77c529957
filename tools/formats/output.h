// Where the bytes of a file that is made go. They are written beside the file that
// they replace and put in its place when they are complete, with its mode kept and
// links followed; into what is no regular file (a device, a pipe, standard output)
// they go directly. An output that is not committed leaves nothing, and neither
// does a program that SIGINT, SIGTERM or SIGHUP ends.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tool {

class Output {
  public:
    // "-" is standard output. `extension` is the format that the name asks for.
    // Throws Failure.
    Output(const std::string &name, std::string extension);
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    const std::string &extension() const { return extension_; }

    // The next bytes. False where the system fails; error() tells why, and commit()
    // will throw it. Does not throw: encoders written in C call it.
    bool write(const void *from, std::size_t count) noexcept;
    // The same, but throws Failure.
    void put(const void *from, std::size_t count);

    // Makes writing at positions possible. Where bytes can only be written in order
    // they are kept in a temporary file until the end. Not after write().
    void makeSeekable();
    // From several threads at once.
    bool writeAt(std::uint64_t offset, const void *from, std::size_t count) noexcept;
    std::size_t readAt(std::uint64_t offset, void *to, std::size_t count) const noexcept;

    bool failed() const { return error_ != 0; }
    std::string error() const;
    void commit();

  private:
    void openDirectly(const std::string &name);
    void openBeside(const std::string &target);
    bool writeThrough(int descriptor, const unsigned char *from, std::size_t count) noexcept;
    bool flush() noexcept;
    void copyKept();
    [[noreturn]] void fail() const;

    std::string extension_;
    std::string target_;    // to be replaced; empty when written directly
    std::string temporary_; // beside it
    int slot_ = -1;         // where a signal finds the name of the temporary file
    int descriptor_ = -1;
    int kept_ = -1;             // what is written directly, until the end
    std::atomic<int> error_{0}; // errno of the first failure
    std::vector<unsigned char> buffer_;
    std::size_t filled_ = 0;
};

} // namespace tool
