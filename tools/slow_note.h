// A note on a terminal about work that takes long.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

// While it lives: says what is being done once that has taken a second, and
// wipes the note at the end. Does nothing unless standard error is a terminal.
class SlowNote {
  public:
    explicit SlowNote(std::string what);
    ~SlowNote();
    SlowNote(const SlowNote &) = delete;
    SlowNote &operator=(const SlowNote &) = delete;

  private:
    void watch(const std::string &what);

    std::mutex mutex_;
    std::condition_variable ended_;
    bool end_ = false;
    std::thread thread_;
};

} // namespace tool
