// How far work is, on standard error: a bar on a terminal, lines for logs.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>

namespace tool {

enum class ProgressKind {
    automatic, // a bar once work has lasted a second, if standard error is a terminal
    lines,     // plain lines, also in files
    none
};

class Progress {
  public:
    // `unit` is what is counted: "pixels", "files".
    Progress(ProgressKind kind, std::string unit);
    ~Progress(); // wipes the bar
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    // Safe to call from several threads. `share` may grow between two numbers of done
    // units: files that are being worked on count in part.
    void update(double done, double all);
    // Says that all is done, where lines are written.
    void finish();

  private:
    using Clock = std::chrono::steady_clock;

    void drawBar();
    std::string state() const;

    ProgressKind kind_;
    std::string unit_;
    std::mutex mutex_;
    Clock::time_point start_ = Clock::now(), shown_ = start_;
    double done_ = 0, all_ = 0;
    bool drawn_ = false;
};

// "0:07", "1:02:03"
std::string describeTime(double seconds);

// "950", "1.2 million", without more digits than tell something.
std::string describeCount(double count);

} // namespace tool
