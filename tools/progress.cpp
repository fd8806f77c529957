#include "progress.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <sys/ioctl.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::chrono::milliseconds BAR_DELAY{1000}, BAR_INTERVAL{100}, LINE_INTERVAL{5000};

int terminalWidth() {
    winsize size{};
    if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return 80;
    return size.ws_col;
}

} // namespace

std::string describeTime(double seconds) {
    const auto whole = static_cast<long long>(std::min(std::ceil(seconds), 359999.0));
    char text[32];
    if (whole >= 3600) {
        std::snprintf(text, sizeof text, "%lld:%02lld:%02lld", whole / 3600, whole / 60 % 60,
                      whole % 60);
    } else {
        std::snprintf(text, sizeof text, "%lld:%02lld", whole / 60, whole % 60);
    }
    return text;
}

std::string describeCount(double count) {
    static constexpr const char *UNITS[] = {"", " thousand", " million", " billion"};
    std::size_t unit = 0;
    for (; count >= 1000 && unit < 3; ++unit) count /= 1000;
    char text[32];
    std::snprintf(text, sizeof text, count < 10 && count != std::floor(count) ? "%.1f%s" : "%.0f%s",
                  count, UNITS[unit]);
    return text;
}

Progress::Progress(ProgressKind kind, std::string unit) : kind_(kind), unit_(std::move(unit)) {
    if (kind_ == ProgressKind::automatic && !isatty(STDERR_FILENO)) kind_ = ProgressKind::none;
}

Progress::~Progress() {
    if (drawn_) std::fputs("\r\033[K", stderr); // back to the left, clear the line
}

// "45 %, 120 million pixels/s, 0:12 left"
std::string Progress::state() const {
    const double share = all_ > 0 ? std::min(done_ / all_, 1.0) : 0;
    const std::chrono::duration<double> time = Clock::now() - start_;
    std::string text = std::to_string(static_cast<int>(share * 100)) + " %";
    if (share <= 0) return text;
    const double rate = done_ / std::max(time.count(), 1e-3);
    text += ", " + describeCount(rate) + " " + unit_ + "/s";
    if (share < 1) text += ", " + describeTime((all_ - done_) / rate) + " left";
    return text;
}

void Progress::drawBar() {
    const std::string text = state();
    const int room = std::min(terminalWidth() - 4 - static_cast<int>(text.size()), 40);
    std::string bar;
    if (room >= 8) {
        const double share = all_ > 0 ? std::min(done_ / all_, 1.0) : 0;
        const auto filled = static_cast<std::size_t>(room * share);
        bar += '[';
        bar.append(filled, '#').append(static_cast<std::size_t>(room) - filled, '.');
        bar += "] ";
    }
    std::fprintf(stderr, "\r%s%s\033[K", bar.c_str(), text.c_str());
    drawn_ = true;
}

void Progress::update(double done, double all) {
    if (kind_ == ProgressKind::none) return;
    const std::lock_guard lock(mutex_);
    done_ = done;
    all_ = all;
    const auto now = Clock::now();
    const bool bar = kind_ == ProgressKind::automatic;
    if (bar && now - start_ < BAR_DELAY) return;
    if (now - shown_ < (bar ? BAR_INTERVAL : LINE_INTERVAL)) return;
    shown_ = now;
    if (bar) return drawBar();
    std::fprintf(stderr, "zyl: %s\n", state().c_str());
}

void Progress::finish() {
    if (kind_ != ProgressKind::lines) return;
    const std::lock_guard lock(mutex_);
    const std::chrono::duration<double> time = Clock::now() - start_;
    std::fprintf(stderr, "zyl: done, %s %s in %s\n", describeCount(all_).c_str(), unit_.c_str(),
                 describeTime(time.count()).c_str());
}

} // namespace tool
