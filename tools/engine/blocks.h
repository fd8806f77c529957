// Memory for tiles, used again and again: fresh memory from the system is slow.
#pragma once

#include <cstddef>
#include <map>
#include <memory>
#include <mutex>
#include <vector>

namespace tool {

// The samples of a tile. Whoever holds one keeps it.
using Block = std::shared_ptr<unsigned char[]>;

class BlockPool {
  public:
    // Samples are left as the memory comes. The pool outlives its blocks.
    Block get(std::size_t bytes);

  private:
    using Memory = std::unique_ptr<unsigned char[]>;

    std::mutex mutex_;
    std::map<std::size_t, std::vector<Memory>> spare_; // by size
};

} // namespace tool
