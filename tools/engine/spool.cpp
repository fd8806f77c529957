#include "engine/spool.h"

#include "engine/layout.h"
#include "text.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <optional>
#include <vector>

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

void Spool::fill(const Shape &shape, const std::function<void(const Rect &, Pixels)> &read) {
    const Grid bands(shape, {roundUp(shape.width, 8), grid_.tile.height});
    std::vector<unsigned char> band(bands.bytes), tile(grid_.bytes);
    for (int row = 0; row < bands.rows; ++row) {
        read(bands.place(0, row), {band.data(), bands.stride});
        for (int column = 0; column < grid_.columns; ++column) {
            const Rect part = grid_.place(column, row);
            copyPixels(shape, part.width, part.height,
                       {band.data() + columnOffset(shape, part.x), bands.stride},
                       {tile.data(), grid_.stride});
            write(column, row, tile.data());
        }
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

namespace {

class Stored : public Source {
  public:
    explicit Stored(std::unique_ptr<Source> source) : source_(std::move(source)) {
        details_ = source_->details();
        order_ = Order::any;
        constexpr std::int64_t bandBytes = 32 << 20;
        piece_ = spoolTiling(shape(), {tileSide(shape()), tileSide(shape())}, bandBytes);
        grid_ = Grid(shape(), piece_);
    }

  private:
    void readRect(const Rect &rect, Pixels to) override {
        std::call_once(once_, [this] { store(); });
        std::vector<unsigned char> tile(grid_.bytes);
        const auto &[width, height] = piece_;
        for (int row = rect.y / height; row * height < rect.y + rect.height; ++row) {
            for (int column = rect.x / width; column * width < rect.x + rect.width; ++column) {
                spool_->read(column, row, tile.data());
                copyCommon(grid_.place(column, row), tile.data(), rect, to);
            }
        }
    }

    // What a tile and a rectangle have in common.
    void copyCommon(const Rect &tile, const unsigned char *from, const Rect &rect,
                    Pixels to) const {
        const int left = std::max(tile.x, rect.x), top = std::max(tile.y, rect.y);
        const int right = std::min(tile.x + tile.width, rect.x + rect.width);
        const int bottom = std::min(tile.y + tile.height, rect.y + rect.height);
        copyPixels(shape(), right - left, bottom - top,
                   {from + (top - tile.y) * grid_.stride + columnOffset(shape(), left - tile.x),
                    grid_.stride},
                   {to.data + (top - rect.y) * to.stride + columnOffset(shape(), left - rect.x),
                    to.stride});
    }

    void store() {
        spool_.emplace(grid_);
        spool_->fill(shape(), [this](const Rect &rect, Pixels to) { source_->read(rect, to); });
        source_.reset();
    }

    std::unique_ptr<Source> source_;
    std::once_flag once_;
    Grid grid_;
    std::optional<Spool> spool_;
};

} // namespace

std::unique_ptr<Source> stored(std::unique_ptr<Source> source) {
    return std::make_unique<Stored>(std::move(source));
}

} // namespace tool
