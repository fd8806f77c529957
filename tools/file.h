// A C stream that closes itself.
#pragma once

#include "text.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace tool {

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

inline File openFile(const std::string &path, const char *mode) {
    File file(std::fopen(path.c_str(), mode));
    if (!file) throw Failure(std::strerror(errno));
    return file;
}

// Closes a file that was written; a full disk may show only now.
inline void finishFile(File file) {
    bool failed = std::ferror(file.get()) != 0;
    errno = 0;
    if (std::fclose(file.release()) != 0 || failed)
        throw Failure(errno ? std::strerror(errno) : "cannot be written");
}

} // namespace tool
