#include "format.h"

#include "naming.h"

namespace tool {

void Source::read(const Rect &rect, Pixels to) {
    naming(name_, [&] { readRect(rect, to); });
}

void Sink::write(const Rect &rect, ConstPixels from) {
    naming(name_, [&] { writeRect(rect, from); });
}

void Sink::finish() {
    naming(name_, [&] { complete(); });
}

} // namespace tool
