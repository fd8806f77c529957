#include "piece.h"

#include <algorithm>

namespace tool {

Rect wholeOf(const Shape &shape) {
    return {0, 0, shape.width, shape.height};
}

Rect moved(Rect rect, int columns, int rows) {
    rect.x += columns;
    rect.y += rows;
    return rect;
}

Rect intersection(const Rect &a, const Rect &b) {
    const int left = std::max(a.x, b.x), top = std::max(a.y, b.y);
    return {left, top, std::min(a.x + a.width, b.x + b.width) - left,
            std::min(a.y + a.height, b.y + b.height) - top};
}

bool empty(const Rect &rect) {
    return rect.width <= 0 || rect.height <= 0;
}

ZylROI regionOf(const Rect &rect, int channel) {
    return {channel, rect.x, rect.y, rect.height, rect.width};
}

ZylROI inWindow(const Request &request, const Rect &part, int channel) {
    const ZylROI *window = request.window->roi;
    const int x = window ? window->xOffset : 0, y = window ? window->yOffset : 0;
    return regionOf(moved(part, x - request.place.x, y - request.place.y), channel);
}

void copyPart(const Request &request, ZylImage *source, const Rect &from, const Rect &to,
              int channel) {
    const ZylROI written = inWindow(request, to, channel);
    const Region reading(source, regionOf(from, channel)), writing(request.window, written);
    zylCopy(source, request.window, nullptr);
}

} // namespace tool
