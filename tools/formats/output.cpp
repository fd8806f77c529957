#include "output.h"

#include "input.h"
#include "text.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::size_t bufferSize = 1 << 16;

// The names of the files that a signal removes. Fixed in size and place, since a
// signal handler may neither allocate nor lock.
struct Slot {
    std::atomic<bool> taken{false};
    std::atomic<bool> named{false};
    char name[PATH_MAX];
};
std::array<Slot, 256> slots;

void removeAndEnd(int signal) {
    for (Slot &slot : slots)
        if (slot.named) unlink(slot.name);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void watchSignals() {
    static std::once_flag once;
    std::call_once(once, [] {
        for (int signal : {SIGINT, SIGTERM, SIGHUP}) {
            struct sigaction action {};
            sigaction(signal, nullptr, &action);
            if (action.sa_handler != SIG_DFL) continue; // as nohup sets it
            action.sa_handler = removeAndEnd;
            sigaction(signal, &action, nullptr);
        }
        // A limit on the size of files is told by write().
        std::signal(SIGXFSZ, SIG_IGN);
    });
}

int takeSlot(const std::string &name) {
    if (name.size() >= sizeof Slot::name) throw Failure(std::strerror(ENAMETOOLONG));
    for (std::size_t i = 0; i < slots.size(); ++i) {
        if (slots[i].taken.exchange(true)) continue;
        std::memcpy(slots[i].name, name.c_str(), name.size() + 1);
        slots[i].named = true;
        return static_cast<int>(i);
    }
    throw Failure("too many files are written at the same time");
}

void freeSlot(int slot) {
    slots[static_cast<std::size_t>(slot)].named = false;
    slots[static_cast<std::size_t>(slot)].taken = false;
}

// The file that a chain of symbolic links ends at, which need not exist.
std::string followLinks(const std::string &name) {
    constexpr int mostLinks = 40; // as the system has it
    std::filesystem::path path = name;
    std::error_code error;
    for (int i = 0; i < mostLinks; ++i) {
        if (!std::filesystem::is_symlink(path, error)) return path.string();
        path = path.parent_path() / std::filesystem::read_symlink(path, error);
    }
    throw Failure(std::strerror(ELOOP));
}

std::string temporaryName(const std::string &target) {
    static std::atomic<unsigned> count{0};
    const std::string file =
        ".zyl-" + std::to_string(getpid()) + "-" + std::to_string(count++) + ".part";
    return (std::filesystem::path(target).parent_path() / file).string();
}

} // namespace

Output::Output(const std::string &name, std::string extension)
    : extension_(std::move(extension)), buffer_(bufferSize) {
    watchSignals();
    if (name == "-") {
        descriptor_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
        if (descriptor_ < 0) throw Failure(std::strerror(errno));
        return;
    }
    struct stat status {};
    const bool exists = stat(name.c_str(), &status) == 0;
    if (exists && S_ISDIR(status.st_mode)) throw Failure("is a directory");
    if (exists && !S_ISREG(status.st_mode)) {
        openDirectly(name);
        return;
    }
    if (exists && access(name.c_str(), W_OK) != 0) throw Failure(std::strerror(errno));
    openBeside(followLinks(name));
    if (!exists) return;
    // The owner first: to change it may take bits off the mode. Only the
    // superuser may; others keep what they have.
    if (fchown(descriptor_, status.st_uid, status.st_gid) != 0) errno = 0;
    if (fchmod(descriptor_, status.st_mode & 07777) != 0) errno = 0;
}

void Output::openDirectly(const std::string &name) {
    descriptor_ = open(name.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor_ < 0) throw Failure(std::strerror(errno));
}

void Output::openBeside(const std::string &target) {
    target_ = target;
    temporary_ = temporaryName(target);
    slot_ = takeSlot(temporary_);
    descriptor_ = open(temporary_.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor_ >= 0) return;
    const int reason = errno;
    freeSlot(slot_);
    throw Failure(std::strerror(reason));
}

Output::~Output() {
    if (descriptor_ >= 0) close(descriptor_);
    if (kept_ >= 0) close(kept_);
    if (slot_ < 0) return;
    unlink(temporary_.c_str());
    freeSlot(slot_);
}

bool Output::writeThrough(int descriptor, const unsigned char *from, std::size_t count) noexcept {
    while (count > 0 && error_ == 0) {
        const ssize_t done = ::write(descriptor, from, count);
        if (done < 0) {
            if (errno != EINTR) error_ = errno;
            continue;
        }
        from += done;
        count -= static_cast<std::size_t>(done);
    }
    return error_ == 0;
}

bool Output::flush() noexcept {
    const bool done = writeThrough(descriptor_, buffer_.data(), filled_);
    filled_ = 0;
    return done;
}

bool Output::write(const void *from, std::size_t count) noexcept {
    const auto *bytes = static_cast<const unsigned char *>(from);
    if (filled_ + count > buffer_.size() && !flush()) return false;
    if (count >= buffer_.size()) return writeThrough(descriptor_, bytes, count);
    std::memcpy(buffer_.data() + filled_, bytes, count);
    filled_ += count;
    return error_ == 0;
}

void Output::put(const void *from, std::size_t count) {
    if (!write(from, count)) fail();
}

void Output::makeSeekable() {
    if (target_.empty()) kept_ = anonymousFile();
}

bool Output::writeAt(std::uint64_t offset, const void *from, std::size_t count) noexcept {
    const auto *bytes = static_cast<const unsigned char *>(from);
    while (count > 0) {
        const ssize_t done =
            pwrite(kept_ >= 0 ? kept_ : descriptor_, bytes, count, static_cast<off_t>(offset));
        if (done < 0) {
            if (errno == EINTR) continue;
            error_ = errno;
            return false;
        }
        bytes += done;
        offset += static_cast<std::size_t>(done);
        count -= static_cast<std::size_t>(done);
    }
    return true;
}

std::size_t Output::readAt(std::uint64_t offset, void *to, std::size_t count) const noexcept {
    const ssize_t got =
        pread(kept_ >= 0 ? kept_ : descriptor_, to, count, static_cast<off_t>(offset));
    return got < 0 ? 0 : static_cast<std::size_t>(got);
}

std::string Output::error() const {
    return error_ != 0 ? std::strerror(error_) : "cannot be written";
}

void Output::fail() const {
    throw Failure(error());
}

void Output::copyKept() {
    std::uint64_t offset = 0;
    while (const std::size_t got = readAt(offset, buffer_.data(), buffer_.size())) {
        if (!writeThrough(descriptor_, buffer_.data(), got)) fail();
        offset += got;
    }
}

void Output::commit() {
    if (!flush() || error_ != 0) fail();
    if (kept_ >= 0) copyKept();
    // A full disk may show only now.
    const int closed = close(descriptor_);
    descriptor_ = -1;
    if (closed != 0 || (slot_ >= 0 && rename(temporary_.c_str(), target_.c_str()) != 0)) {
        error_ = errno;
        fail();
    }
    if (slot_ >= 0) freeSlot(slot_);
    slot_ = -1;
}

} // namespace tool
