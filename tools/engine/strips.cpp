#include "engine/strips.h"

#include <algorithm>

namespace tool {

Strips::Strips(BlockPool &pool, const Grid &grid, std::int64_t kept)
    : pool_(pool), bytes_(grid.bytes),
      most_(std::max<std::size_t>(4, static_cast<std::size_t>(kept) / grid.bytes)) {}

void Strips::next(const Make &make) {
    if (kept_.size() == most_) kept_.pop_front();
    Block block = pool_.get(bytes_);
    make(end_, block.get());
    kept_.push_back(std::move(block));
    ++end_;
}

Block Strips::get(int strip, const Make &make) {
    const std::lock_guard lock(mutex_);
    if (strip < end_ - static_cast<int>(kept_.size())) {
        kept_.clear();
        end_ = 0;
        most_ *= 2;
    }
    while (end_ <= strip) next(make);
    return kept_[kept_.size() - static_cast<std::size_t>(end_ - strip)];
}

} // namespace tool
