#include "engine/drain.h"

#include <algorithm>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace tool {

namespace {

// The tiles under a rectangle.
class Patch {
  public:
    Patch(const Shape &shape, const Grid &grid) : shape_(shape), grid_(grid) {}

    void pull(const Rect &rect, const std::function<Block(int, int)> &tile) {
        column_ = rect.x / grid_.tile.width;
        row_ = rect.y / grid_.tile.height;
        columns_ = (rect.x + rect.width - 1) / grid_.tile.width - column_ + 1;
        const int rows = (rect.y + rect.height - 1) / grid_.tile.height - row_ + 1;
        blocks_.clear();
        for (int i = 0; i < columns_ * rows; ++i)
            blocks_.push_back(tile(column_ + i % columns_, row_ + i / columns_));
    }

    // A rectangle inside the one that was pulled: in its tile, or put together.
    ConstPixels view(const Rect &rect) {
        if (rect.x / grid_.tile.width == (rect.x + rect.width - 1) / grid_.tile.width &&
            rect.y / grid_.tile.height == (rect.y + rect.height - 1) / grid_.tile.height) {
            return at(rect.x, rect.y);
        }
        const std::ptrdiff_t stride = rowStride(shape_, rect.width);
        joined_.resize(static_cast<std::size_t>(stride) * static_cast<std::size_t>(rect.height));
        for (int y = rect.y; y < rect.y + rect.height;) {
            const int height = std::min(part(y, grid_.tile.height), rect.y + rect.height - y);
            for (int x = rect.x; x < rect.x + rect.width;) {
                const int width = std::min(part(x, grid_.tile.width), rect.x + rect.width - x);
                unsigned char *to = joined_.data() + (y - rect.y) * stride;
                copyPixels(shape_, width, height, at(x, y),
                           {to + columnOffset(shape_, x - rect.x), stride});
                x += width;
            }
            y += height;
        }
        return {joined_.data(), stride};
    }

  private:
    // From a coordinate to the end of its tile.
    static int part(int at, int side) { return side - at % side; }

    ConstPixels at(int x, int y) const {
        const int column = x / grid_.tile.width, row = y / grid_.tile.height;
        const Block &block =
            blocks_[static_cast<std::size_t>((row - row_) * columns_ + column - column_)];
        return {block.get() + y % grid_.tile.height * grid_.stride +
                    columnOffset(shape_, x % grid_.tile.width),
                grid_.stride};
    }

    const Shape &shape_;
    const Grid &grid_;
    int column_ = 0, row_ = 0, columns_ = 0;
    std::vector<Block> blocks_;
    std::vector<unsigned char> joined_;
};

class Drain {
  public:
    Drain(const Shape &shape, const Grid &grid, const std::function<Block(int, int)> &pull,
          Sink &sink, const DrainOptions &options)
        : shape_(shape), grid_(grid), pull_(pull), sink_(sink), options_(options),
          units_(shape, options.unit), ordered_(sink.order() == Order::rows),
          blockColumns_(options.blockColumns > 0 && !ordered_
                            ? std::min(options.blockColumns, units_.columns)
                            : units_.columns),
          all_(std::int64_t{units_.columns} * units_.rows), run_(runLength()) {}

    void run() {
        std::vector<std::thread> threads;
        try {
            for (int i = 1; i < options_.jobs; ++i) threads.emplace_back([this] { work(); });
        } catch (const std::system_error &) {
            // As many as the system allows.
        }
        work();
        for (std::thread &thread : threads) thread.join();
        if (failure_) std::rethrow_exception(failure_);
    }

  private:
    // Blocks of columns one after the other, each row by row.
    Rect place(std::int64_t unit) const {
        const std::int64_t inBlock = std::int64_t{blockColumns_} * units_.rows;
        const int first = static_cast<int>(unit / inBlock) * blockColumns_;
        const int columns = std::min(blockColumns_, units_.columns - first);
        const std::int64_t rest = unit % inBlock;
        return units_.place(first + static_cast<int>(rest % columns),
                            static_cast<int>(rest / columns));
    }

    // Units side by side need many of the same tiles. A thread takes several of them in a
    // row: threads that took them in turn would wait for each other's tiles at each one.
    std::int64_t runLength() const {
        constexpr std::int64_t RUNS = 8; // of each thread at least, so that all end together
        if (ordered_) return 1;
        return std::max<std::int64_t>(1, std::min<std::int64_t>(blockColumns_, all_ / RUNS) /
                                             options_.jobs);
    }

    void work() {
        Patch patch(shape_, grid_);
        std::unique_lock lock(mutex_);
        while (!failure_ && next_ < all_) {
            const std::int64_t first = next_;
            next_ = std::min(all_, first + run_);
            lock.unlock();
            try {
                const std::int64_t end = std::min(all_, first + run_);
                for (std::int64_t unit = first; unit < end && !failed(); ++unit) write(unit, patch);
                lock.lock();
            } catch (...) {
                if (!lock.owns_lock()) lock.lock();
                if (!failure_) failure_ = std::current_exception();
                turn_.notify_all();
            }
        }
    }

    bool failed() {
        const std::lock_guard lock(mutex_);
        return failure_ != nullptr;
    }

    void write(std::int64_t unit, Patch &patch) {
        const Rect rect = place(unit);
        patch.pull(rect, pull_);
        if (!waitForTurn(unit)) return;
        const Tiling piece = ordered_ ? options_.unit : sink_.piece();
        for (int y = rect.y; y < rect.y + rect.height; y += piece.height) {
            for (int x = rect.x; x < rect.x + rect.width; x += piece.width) {
                const Rect part = {x, y, std::min(piece.width, rect.x + rect.width - x),
                                   std::min(piece.height, rect.y + rect.height - y)};
                sink_.write(part, patch.view(part));
            }
        }
        const std::lock_guard lock(mutex_);
        ++written_;
        turn_.notify_all();
        if (options_.wrote) options_.wrote(std::int64_t{rect.width} * rect.height);
    }

    // False when another thread failed.
    bool waitForTurn(std::int64_t unit) {
        if (!ordered_) return true;
        std::unique_lock lock(mutex_);
        turn_.wait(lock, [&] { return failure_ || written_ == unit; });
        return !failure_;
    }

    const Shape &shape_;
    const Grid &grid_;
    const std::function<Block(int, int)> &pull_;
    Sink &sink_;
    const DrainOptions &options_;
    const Grid units_;
    const bool ordered_;
    const int blockColumns_;
    const std::int64_t all_; // units
    const std::int64_t run_; // units that a thread takes at a time

    std::mutex mutex_;
    std::condition_variable turn_;
    std::exception_ptr failure_;
    std::int64_t next_ = 0, written_ = 0;
};

} // namespace

void drain(const Shape &shape, const Grid &grid,
           const std::function<Block(int column, int row)> &pull, Sink &sink,
           const DrainOptions &options) {
    Drain(shape, grid, pull, sink, options).run();
}

} // namespace tool
