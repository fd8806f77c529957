// Parts of pictures: how operations make the tiles of their results.
#pragma once

#include "engine/plan.h"

namespace tool {

// Sets a region on a header while it lives.
class Region {
  public:
    Region(ZylImage *image, const ZylROI &region)
        : image_(image), before_(image->roi), region_(region) {
        image->roi = &region_;
    }
    ~Region() { image_->roi = before_; }
    Region(const Region &) = delete;
    Region &operator=(const Region &) = delete;

  private:
    ZylImage *image_;
    ZylROI *before_;
    ZylROI region_;
};

Rect wholeOf(const Shape &shape);
Rect moved(Rect rect, int columns, int rows);
Rect intersection(const Rect &a, const Rect &b); // 0 x 0 or less where they do not meet
bool empty(const Rect &rect);

// A rectangle and a channel, 0 for all, as a region of the library.
ZylROI regionOf(const Rect &rect, int channel = 0);
// A part of the result as a region of the request's window.
ZylROI inWindow(const Request &request, const Rect &part, int channel = 0);

// Copies the part `from` of a picture to the part `to` of the result.
void copyPart(const Request &request, ZylImage *source, const Rect &from, const Rect &to,
              int channel = 0);

} // namespace tool
