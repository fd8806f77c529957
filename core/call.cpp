#include "core/call.h"

#include "core/image.h"

namespace zylqx {

void Call::reportHeader(int mask, int line) const {
    const char *message = headerMessage(mask);
    report(ZYL_StsBadArg, message, line);
    freeHeaderMessage(message);
}

} // namespace zylqx
