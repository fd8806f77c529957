// Questions on the controlling terminal, asked of a child process at the far end
// of a pseudo-terminal.

#include <cstdlib>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

#include "zylqx.h"

namespace {

// Runs on the terminal of the child: reports, and ends with 0 if that returns. Not by
// _exit(), so that coverage counts what was reached.
[[noreturn]] void reportAndLeave(std::int32_t mode) {
    zylSetErrMode(mode);
    zylSetErrStatus(ZYL_StsBadArg);
    zylGuiBoxReport(ZYL_StsBadArg, "zylAdd", "(a != b)", "zyladd", 42);
    std::exit(0);
}

struct Outcome {
    int exitCode;
    std::string screen;
};

// Forks `child` onto a terminal, types one entry of `typed` at every question
// ("? "), and waits for its end.
template <class F>
Outcome onTerminal(F child, const std::vector<std::string> &typed) {
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (pid == 0) {
        alarm(20); // a child that waits for ever is a failure, not a hanging test
        child();
    }
    Outcome outcome = {-1, {}};
    std::size_t answered = 0;
    char buffer[256];
    ssize_t n;
    while ((n = read(terminal, buffer, sizeof buffer)) > 0) {
        outcome.screen.append(buffer, static_cast<std::size_t>(n));
        if (outcome.screen.ends_with("? ") && answered < typed.size()) {
            const std::string &keys = typed[answered++];
            EXPECT_EQ(write(terminal, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
        }
    }
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    close(terminal);
    if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
    EXPECT_EQ(answered, typed.size()) << outcome.screen;
    return outcome;
}

TEST(Ask, AnswersOnTheTerminalDecide) {
    const std::string endOfInput = "\x04";
    struct {
        std::int32_t mode;
        std::vector<std::string> typed;
        int exitCode;
    } const cases[] = {
        {ZYL_ErrModeLeaf, {"y\n"}, 1},          {ZYL_ErrModeLeaf, {"No\n"}, 0},
        {ZYL_ErrModeLeaf, {endOfInput}, 0},     {ZYL_ErrModeLeaf, {"\n", "what\n", "  Yes\n"}, 1},
        {ZYL_ErrModeParent, {"ok\n"}, 0},       {ZYL_ErrModeParent, {"Cancel\n"}, 1},
        {ZYL_ErrModeParent, {"y\n", "c\n"}, 1}, {ZYL_ErrModeParent, {endOfInput}, 0},
    };
    for (const auto &c : cases) {
        const Outcome outcome = onTerminal([&] { reportAndLeave(c.mode); }, c.typed);
        const bool leaf = c.mode == ZYL_ErrModeLeaf;
        EXPECT_EQ(outcome.exitCode, c.exitCode) << outcome.screen;
        EXPECT_NE(outcome.screen.find("ZYL Library Error: Bad argument"), std::string::npos);
        EXPECT_NE(outcome.screen.find("in function [zyladd:42]:zylAdd():\r\n(a != b)"),
                  std::string::npos);
        EXPECT_NE(outcome.screen.find(leaf ? "[Y]es or [N]o? " : "[O]K or [C]ancel? "),
                  std::string::npos);
        EXPECT_EQ(outcome.screen.find("ZYL Library:\r\nterminating the application") !=
                      std::string::npos,
                  c.exitCode == 1)
            << outcome.screen;
    }
}

// The first answer is typed before there is a question.
TEST(Ask, WhatWasTypedBeforeIsNoAnswer) {
    const auto child = [] {
        const char prompt[] = "Anything else? ";
        if (write(STDOUT_FILENO, prompt, sizeof prompt - 1) < 0) _exit(9);
        pollfd input = {STDIN_FILENO, POLLIN, 0};
        poll(&input, 1, -1);
        reportAndLeave(ZYL_ErrModeLeaf);
    };
    EXPECT_EQ(onTerminal(child, {"y\n", "n\n"}).exitCode, 0);
}

// Without a person there is no question: the message is written, nothing waits.
void expectNoQuestion(const Outcome &outcome) {
    EXPECT_EQ(outcome.exitCode, 0) << outcome.screen;
    EXPECT_EQ(outcome.screen.find("[Y]es"), std::string::npos) << outcome.screen;
}

TEST(Ask, NobodyIsAskedWithRedirectedStreams) {
    for (const int stream : {STDIN_FILENO, STDERR_FILENO}) {
        expectNoQuestion(onTerminal(
            [&] {
                int ends[2];
                if (pipe(ends) != 0) _exit(9);
                dup2(ends[stream == STDIN_FILENO ? 0 : 1], stream);
                reportAndLeave(ZYL_ErrModeLeaf);
            },
            {}));
    }
}

TEST(Ask, NobodyIsAskedInTheBackground) {
    expectNoQuestion(onTerminal(
        [&] {
            const pid_t background = fork();
            if (background == 0) {
                setpgid(0, 0);
                reportAndLeave(ZYL_ErrModeLeaf);
            }
            setpgid(background, background);
            int status = 0;
            // A process that asks is stopped here.
            if (waitpid(background, &status, WUNTRACED) != background) _exit(9);
            if (WIFSTOPPED(status)) kill(background, SIGKILL);
            _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 8);
        },
        {}));
}

TEST(Ask, NobodyIsAskedWithoutTerminal) {
    expectNoQuestion(onTerminal(
        [&] {
            const pid_t server = fork();
            if (server == 0) {
                setsid(); // leaves the terminal; the streams still lead to it
                reportAndLeave(ZYL_ErrModeLeaf);
            }
            int status = 0;
            if (waitpid(server, &status, 0) != server) _exit(9);
            _exit(WIFEXITED(status) ? WEXITSTATUS(status) : 8);
        },
        {}));
}

} // namespace
