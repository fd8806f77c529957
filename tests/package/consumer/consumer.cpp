// A user's program in C++: a bad argument reaches its report callback.
#include <cstring>

#include <zylqx.h>

namespace {

const char *reported = "";

ZylStatus ZYL_CALL keep(ZylStatus status, const char *function, const char *, const char *, int) {
    reported = function;
    return status;
}

} // namespace

int main() {
    zylRedirectError(keep);
    zylNot(nullptr, nullptr, nullptr);
    const bool right = zylGetErrStatus() == ZYL_StsBadArg && std::strcmp(reported, "zylXorS") == 0;
    return right ? 0 : 1;
}
