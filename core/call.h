// The running operation, as its reports name it. Every check goes through it:
//
//     const Call call("zylAdd", "zyladd");
//     if (call.badHeader(srcImageA)) return;
//     if (call.fails(srcImageA->depth != dstImage->depth,
//                    "(srcImageA->depth != dstImage->depth)")) return;
#ifndef ZYLQX_CORE_CALL_H
#define ZYLQX_CORE_CALL_H

#include "zylqx.h"

namespace zylqx {

class Call {
  public:
    // The exported name and the reported file name of the operation.
    constexpr Call(const char *function, const char *file) : function_(function), file_(file) {}

    void report(ZylStatus status, const char *text, int line = __builtin_LINE()) const {
        zylError(status, function_, text, file_, line);
    }

    // Reports a bad argument when `condition` holds, and returns it.
    bool fails(bool condition, const char *text, int line = __builtin_LINE()) const {
        if (condition) [[unlikely]] {
            report(ZYL_StsBadArg, text, line);
        }
        return condition;
    }

    // Reports all faults of a header, and returns whether there are any.
    bool badHeader(const ZylImage *image, int line = __builtin_LINE()) const {
        const int mask = zylBadImageHeader(image);
        if (mask == 0) [[likely]] {
            return false;
        }
        reportHeader(mask, line);
        return true;
    }

  private:
    void reportHeader(int mask, int line) const;

    const char *function_;
    const char *file_;
};

} // namespace zylqx

#endif
