// Strips of a picture that can only be made from top to bottom: rows of a
// compressed file, or of an operation that carries something from row to row.
#pragma once

#include "engine/blocks.h"
#include "engine/grid.h"

#include <deque>
#include <functional>
#include <mutex>

namespace tool {

class Strips {
  public:
    // Makes the strip that follows the last one. Strip 0 begins anew.
    using Make = std::function<void(int strip, unsigned char *)>;

    // Keeps the last strips, `kept` bytes of them.
    Strips(BlockPool &pool, const Grid &grid, std::int64_t kept);

    // Makes all strips up to this one. A strip that is no longer kept costs a new
    // beginning; more strips are kept from then on.
    Block get(int strip, const Make &make);

  private:
    void next(const Make &make);

    BlockPool &pool_;
    std::size_t bytes_; // of a strip
    std::size_t most_;  // strips kept
    std::mutex mutex_;
    std::deque<Block> kept_;
    int end_ = 0; // the strip after the last one that is kept
};

} // namespace tool
