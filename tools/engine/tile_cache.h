// Tiles kept in memory within a budget of bytes. The least recently used ones give
// way to new ones.
#pragma once

#include "engine/blocks.h"

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <mutex>

namespace tool {

class TileCache {
  public:
    struct Key {
        int node, column, row;
        auto operator<=>(const Key &) const = default; // NOLINT(modernize-use-nullptr)
    };
    using Make = std::function<void(unsigned char *)>;

    TileCache(BlockPool &pool, std::int64_t budget) : pool_(pool), budget_(budget) {}

    // The tile, made by `make` if it is not kept. A thread that asks for a tile which
    // another one is making waits for it, and makes it itself when that fails. No two
    // threads wait for each other, as long as `make` asks for tiles of lower nodes
    // only.
    Block get(const Key &key, std::size_t bytes, const Make &make);

    // Forgets all tiles and changes the budget. No thread may be using the cache.
    void reset(std::int64_t budget);

  private:
    struct Entry {
        Block block; // null while it is being made
        std::size_t bytes;
        std::list<Key>::iterator place; // in used_, once it is made
    };

    void makeRoom(std::size_t bytes);

    BlockPool &pool_;
    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<Key, Entry> entries_;
    std::list<Key> used_; // the most recently used one first
    std::int64_t budget_;
    std::int64_t bytes_ = 0; // of all entries
};

} // namespace tool
