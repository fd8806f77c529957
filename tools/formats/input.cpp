#include "input.h"

#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::size_t bufferSize = 1 << 16;

[[noreturn]] void failBySystem() {
    throw Failure(std::strerror(errno));
}

int openToRead(const std::string &name) {
    const int descriptor = name == "-" ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0)
                                       : open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0) failBySystem();
    return descriptor;
}

std::size_t readSome(int descriptor, void *to, std::size_t count) noexcept {
    ssize_t got = 0;
    do {
        got = ::read(descriptor, to, count);
    } while (got < 0 && errno == EINTR);
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

void copyTo(int target, const unsigned char *from, std::size_t count) {
    while (count > 0) {
        const ssize_t done = ::write(target, from, count);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) failBySystem();
        from += done;
        count -= static_cast<std::size_t>(done);
    }
}

} // namespace

int anonymousFile() {
    std::error_code error;
    const std::string folder = std::filesystem::temp_directory_path(error).string();
    if (error) throw Failure("the folder for temporary files, TMPDIR: " + error.message());
    int descriptor = open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (descriptor >= 0) return descriptor;
    // Not every file system has files without a name.
    std::string name = folder + "/zyl-XXXXXX";
    descriptor = mkostemp(name.data(), O_CLOEXEC);
    if (descriptor < 0)
        throw Failure("a temporary file in " + folder + ": " + std::strerror(errno));
    unlink(name.c_str());
    return descriptor;
}

Input::Input(const std::string &name) : descriptor_(openToRead(name)), buffer_(bufferSize) {
    struct stat status {};
    fstat(descriptor_, &status);
    if (S_ISDIR(status.st_mode)) {
        close(descriptor_);
        throw Failure("is a directory");
    }
    const off_t position = lseek(descriptor_, 0, SEEK_CUR);
    seekable_ = S_ISREG(status.st_mode) && position >= 0;
    if (seekable_) base_ = static_cast<std::uint64_t>(position);
    // A pipe may give its first bytes in pieces.
    constexpr std::size_t startSize = 512;
    while (filled_ < startSize) {
        const std::size_t got =
            readSome(descriptor_, buffer_.data() + filled_, buffer_.size() - filled_);
        if (got == 0) break;
        filled_ += got;
    }
}

Input::~Input() {
    close(descriptor_);
}

std::string_view Input::start() const {
    return {reinterpret_cast<const char *>(buffer_.data()), filled_};
}

std::size_t Input::read(void *to, std::size_t count) noexcept {
    auto *bytes = static_cast<unsigned char *>(to);
    std::size_t done = 0;
    while (done < count) {
        if (at_ == filled_) {
            if (count - done >= buffer_.size()) {
                const std::size_t got = readSome(descriptor_, bytes + done, count - done);
                if (got == 0) break;
                done += got;
                continue;
            }
            at_ = 0;
            filled_ = readSome(descriptor_, buffer_.data(), buffer_.size());
            if (filled_ == 0) break;
        }
        const std::size_t part = std::min(count - done, filled_ - at_);
        std::memcpy(bytes + done, buffer_.data() + at_, part);
        at_ += part;
        done += part;
    }
    return done;
}

void Input::readWhole(void *to, std::size_t count) {
    if (read(to, count) != count) throw Failure("is truncated");
}

std::vector<unsigned char> Input::readRest(std::size_t most) {
    std::vector<unsigned char> bytes;
    while (true) {
        const std::size_t before = bytes.size();
        bytes.resize(std::max(2 * before, bufferSize));
        const std::size_t got = read(bytes.data() + before, bytes.size() - before);
        const bool ended = before + got < bytes.size();
        bytes.resize(before + got);
        if (bytes.size() > most) throw Failure("is too large");
        if (ended) return bytes;
    }
}

void Input::makeSeekable() {
    if (seekable_) return;
    const int copy = anonymousFile();
    try {
        while (filled_ > 0) {
            copyTo(copy, buffer_.data(), filled_);
            filled_ = readSome(descriptor_, buffer_.data(), buffer_.size());
        }
    } catch (...) {
        close(copy);
        throw;
    }
    close(descriptor_);
    descriptor_ = copy;
    seekable_ = true;
}

std::size_t Input::readAt(std::uint64_t offset, void *to, std::size_t count) const noexcept {
    auto *bytes = static_cast<unsigned char *>(to);
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(descriptor_, bytes + done, count - done,
                                  static_cast<off_t>(base_ + offset + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        done += static_cast<std::size_t>(got);
    }
    return done;
}

void Input::readWholeAt(std::uint64_t offset, void *to, std::size_t count) const {
    if (readAt(offset, to, count) != count) throw Failure("is truncated");
}

std::uint64_t Input::size() const {
    struct stat status {};
    fstat(descriptor_, &status);
    const auto end = static_cast<std::uint64_t>(status.st_size);
    return end > base_ ? end - base_ : 0;
}

} // namespace tool
