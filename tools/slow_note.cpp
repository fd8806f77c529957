#include "slow_note.h"

#include <chrono>
#include <cstdio>
#include <unistd.h>

namespace tool {

SlowNote::SlowNote(std::string what) {
    if (!isatty(STDERR_FILENO)) return;
    thread_ = std::thread([this, text = std::move(what)] { watch(text); });
}

SlowNote::~SlowNote() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard lock(mutex_);
        end_ = true;
    }
    ended_.notify_one();
    thread_.join();
}

void SlowNote::watch(const std::string &what) {
    std::unique_lock lock(mutex_);
    if (ended_.wait_for(lock, std::chrono::seconds(1), [this] { return end_; })) return;
    std::fprintf(stderr, "zyl: %s ...", what.c_str());
    ended_.wait(lock, [this] { return end_; });
    std::fputs("\r\033[K", stderr); // back to the left, clear the line
}

} // namespace tool
