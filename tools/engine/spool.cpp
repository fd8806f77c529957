#include "engine/spool.h"

#include "text.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace tool {

namespace {

std::string temporaryFolder() {
    const char *folder = std::getenv("TMPDIR");
    return folder && *folder ? folder : "/tmp";
}

int openNameless(const std::string &folder) {
#ifdef O_TMPFILE
    const int file = ::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (file >= 0) return file;
#endif
    std::string name = folder + "/zyl-XXXXXX";
    const int named = ::mkstemp(name.data());
    if (named >= 0) {
        ::fcntl(named, F_SETFD, FD_CLOEXEC);
        ::unlink(name.c_str());
    }
    return named;
}

[[noreturn]] void fail(const std::string &folder) {
    throw Failure("a temporary file in " + folder + ": " + std::strerror(errno) +
                  "; TMPDIR names another folder");
}

} // namespace

Spool::Spool(const Grid &grid)
    : grid_(grid), folder_(temporaryFolder()), file_(openNameless(folder_)) {
    if (file_ < 0) fail(folder_);
}

Spool::~Spool() {
    ::close(file_);
}

void Spool::write(int column, int row, const unsigned char *tile) {
    auto at = static_cast<off_t>((std::size_t(row) * grid_.columns + column) * grid_.bytes);
    for (std::size_t left = grid_.bytes; left > 0;) {
        const ssize_t written = ::pwrite(file_, tile, left, at);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) fail(folder_);
        left -= static_cast<std::size_t>(written);
        tile += written;
        at += written;
    }
}

void Spool::read(int column, int row, unsigned char *tile) const {
    auto at = static_cast<off_t>((std::size_t(row) * grid_.columns + column) * grid_.bytes);
    for (std::size_t left = grid_.bytes; left > 0;) {
        const ssize_t got = ::pread(file_, tile, left, at);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) fail(folder_);
        left -= static_cast<std::size_t>(got);
        tile += got;
        at += got;
    }
}

} // namespace tool
