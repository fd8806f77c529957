// What the system's notifications to the dynamic library do. Sent one at a time.
#ifndef ZYLQX_PLATFORM_ATTACH_H
#define ZYLQX_PLATFORM_ATTACH_H

namespace zylqx::platform {

// Both tell whether the calling thread has a context now.
bool attachProcess();
bool attachThread();

// A thread without a context may be detached too.
void detachThread();
void detachProcess();

} // namespace zylqx::platform

#endif
