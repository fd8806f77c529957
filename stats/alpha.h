// What scaled products and compositing share: the checks of their images.
#ifndef ZYLQX_STATS_ALPHA_H
#define ZYLQX_STATS_ALPHA_H

#include "core/call.h"
#include "core/image.h"

namespace zylqx {

constexpr const char *ALPHA_FILE_NAME = "zylalpha";

// Samples on their way between rows of different steps.
constexpr std::ptrdiff_t ALPHA_BLOCK = 1024;

// Reports a bad argument when `condition` holds. In the text, every @ stands for
// the name of the argument.
bool failsFor(const Call &call, const char *name, bool condition, const char *text,
              int line = __builtin_LINE());

// Reports the first fault of an image argument.
bool badAlphaImage(const Call &call, const ZylImage *image, const char *name);

// Reports a source whose channel of interest does not go with the destination's.
bool badInterest(const Call &call, const ZylImage &src, const ZylImage &dst, const char *name);

} // namespace zylqx

#endif
