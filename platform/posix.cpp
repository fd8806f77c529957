#include <cctype>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <time.h>
#include <unistd.h>

#include "platform/platform.h"

namespace zylqx::platform {

namespace {

// A question that nobody answers must not hold the program up for ever.
constexpr std::int64_t PATIENCE = 60'000; // milliseconds

// Milliseconds of a clock that only goes forward; of the C library, so that
// the library does not need the C++ runtime.
std::int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1'000'000;
}

thread_local ZylContext context = FIRST_CONTEXT;

class Terminal {
  public:
    Terminal() : descriptor_(open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC)) {}
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;
    ~Terminal() {
        if (descriptor_ >= 0) close(descriptor_);
    }

    // Whether a person works with this process there: a background process would
    // be stopped by asking, and with redirected streams nobody may be watching.
    bool attended() const {
        return descriptor_ >= 0 && isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1 &&
               tcgetpgrp(descriptor_) == getpgrp();
    }

    void write(const char *text) const {
        std::size_t left = std::strlen(text);
        while (left > 0) {
            const ssize_t n = ::write(descriptor_, text, left);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return;
            text += n;
            left -= static_cast<std::size_t>(n);
        }
    }

    // What was typed before the question is no answer to it.
    void forgetInput() const { tcflush(descriptor_, TCIFLUSH); }

    // The first letter of the next line, in lower case, 0 for a line without
    // one; -1 when there is no such line before `deadline`.
    int readLetter(std::int64_t deadline) const {
        int letter = 0;
        for (;;) {
            char c = 0;
            if (!waitForInput(deadline)) return -1;
            const ssize_t n = ::read(descriptor_, &c, 1);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return -1;
            if (c == '\n') return letter;
            const auto byte = static_cast<unsigned char>(c);
            if (letter == 0 && std::isspace(byte) == 0) letter = std::tolower(byte);
        }
    }

  private:
    bool waitForInput(std::int64_t deadline) const {
        for (;;) {
            const std::int64_t left = deadline - now();
            if (left <= 0) return false;
            pollfd request = {descriptor_, POLLIN, 0};
            const int ready = poll(&request, 1, static_cast<int>(left));
            if (ready < 0 && errno == EINTR) continue;
            return ready > 0;
        }
    }

    int descriptor_;
};

} // namespace

ZylContext *threadContext() {
    return &context;
}

bool ask(const char *message, const char *caption, Question question) {
    const bool yesNo = question == Question::YesNo;
    const bool goOn = !yesNo;
    const Terminal terminal;
    if (!terminal.attended()) {
        notify(message, caption);
        return goOn;
    }

    terminal.forgetInput();
    terminal.write("\n");
    terminal.write(caption);
    terminal.write("\n\n");
    terminal.write(message);
    const std::int64_t deadline = now() + PATIENCE;
    for (;;) {
        terminal.write(yesNo ? "\n[Y]es or [N]o? " : "\n[O]K or [C]ancel? ");
        const int letter = terminal.readLetter(deadline);
        if (letter == (yesNo ? 'y' : 'o')) return true;
        if (letter == (yesNo ? 'n' : 'c')) return false;
        if (letter < 0) {
            terminal.write("\n");
            return goOn;
        }
    }
}

void notify(const char *message, const char *caption) {
    std::fprintf(stderr, "%s\n%s\n", caption, message);
    std::fflush(stderr);
}

// The process ends before it writes counts. GCOVR_EXCL_START
void fatalExit(const char *message, const char *) {
    std::fprintf(stderr, "%s\n", message);
    std::fflush(stderr);
    std::_Exit(1);
}
// GCOVR_EXCL_STOP

} // namespace zylqx::platform
