// What the library asks of the operating system: one interface, a file for
// each system.
#ifndef ZYLQX_PLATFORM_H
#define ZYLQX_PLATFORM_H

#include "zylqx.h"

namespace zylqx::platform {

// The calling thread's context, made on its first call and freed when the
// thread ends. Null only when it cannot be had.
ZylContext *threadContext();

enum class Question { OkCancel, YesNo };

// Puts a modal question to the user and tells whether the first of its two
// answers (OK, Yes) was given. Where there is nobody to ask, writes the message
// to standard error and answers what lets the program go on: OK, or No.
bool ask(const char *message, const char *caption, Question question);

// Shows a message and ends the process at once.
[[noreturn]] void fatalExit(const char *message);

} // namespace zylqx::platform

#endif
