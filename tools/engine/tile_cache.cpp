#include "engine/tile_cache.h"

namespace tool {

void TileCache::makeRoom(std::size_t bytes) {
    bytes_ += static_cast<std::int64_t>(bytes);
    while (bytes_ > budget_ && !used_.empty()) {
        const auto oldest = entries_.find(used_.back());
        bytes_ -= static_cast<std::int64_t>(oldest->second.bytes);
        entries_.erase(oldest);
        used_.pop_back();
    }
}

Block TileCache::get(const Key &key, std::size_t bytes, const Make &make) {
    std::unique_lock lock(mutex_);
    for (auto found = entries_.find(key); found != entries_.end(); found = entries_.find(key)) {
        Entry &entry = found->second;
        if (entry.block) {
            used_.splice(used_.begin(), used_, entry.place);
            return entry.block;
        }
        changed_.wait(lock);
    }
    makeRoom(bytes);
    entries_[key] = {nullptr, bytes, {}};
    lock.unlock();
    Block block;
    try {
        block = pool_.get(bytes);
        make(block.get());
    } catch (...) {
        lock.lock();
        entries_.erase(key);
        bytes_ -= static_cast<std::int64_t>(bytes);
        changed_.notify_all();
        throw;
    }
    lock.lock();
    used_.push_front(key);
    Entry &entry = entries_[key];
    entry.block = block;
    entry.place = used_.begin();
    changed_.notify_all();
    return block;
}

void TileCache::reset(std::int64_t budget) {
    entries_.clear();
    used_.clear();
    bytes_ = 0;
    budget_ = budget;
}

} // namespace tool
