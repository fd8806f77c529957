#include "engine/blocks.h"

namespace tool {

namespace {

constexpr std::size_t MOST_SPARE = 4; // of each size

} // namespace

Block BlockPool::get(std::size_t bytes) {
    Memory memory;
    {
        const std::lock_guard lock(mutex_);
        std::vector<Memory> &spare = spare_[bytes];
        if (!spare.empty()) {
            memory = std::move(spare.back());
            spare.pop_back();
        }
    }
    if (!memory) memory = std::make_unique_for_overwrite<unsigned char[]>(bytes);
    unsigned char *data = memory.release();
    return {data, [this, bytes](unsigned char *free) {
                Memory back(free);
                const std::lock_guard lock(mutex_);
                std::vector<Memory> &spare = spare_[bytes];
                if (spare.size() < MOST_SPARE) spare.push_back(std::move(back));
            }};
}

} // namespace tool
