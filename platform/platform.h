// What the library asks of the operating system: one interface, a file for
// each system.
#ifndef ZYLQX_PLATFORM_H
#define ZYLQX_PLATFORM_H

#include "zylqx.h"

namespace zylqx::platform {

// What every thread starts with.
inline constexpr ZylContext FIRST_CONTEXT = {ZYL_StsOk, ZYL_ErrModeLeaf, zylGuiBoxReport, {}};

// The calling thread's context, freed when the thread ends. Null when it cannot
// be had.
ZylContext *threadContext();

enum class Question { OkCancel, YesNo };

// Puts a modal question to the user and tells whether the first of its two
// answers (OK, Yes) was given. Where there is nobody to ask, writes the message
// to standard error and answers what lets the program go on: OK, or No.
bool ask(const char *message, const char *caption, Question question);

// Shows a message.
void notify(const char *message, const char *caption);

// Shows a message, with the caption where the system has a place for it, and
// ends the process at once with exit code 1.
[[noreturn]] void fatalExit(const char *message, const char *caption);

} // namespace zylqx::platform

#endif
