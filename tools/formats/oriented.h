// A source turned upright.
#pragma once

#include "format.h"

#include <mutex>

namespace tool {

// The picture of another source as its orientation says that it is to be seen.
// Rectangles are read where they lie in the file; where the file only gives rows
// in order, it is spooled before the first rectangle, unless rows are only
// mirrored from left to right.
class Oriented : public Source {
  public:
    using Spool = std::function<std::unique_ptr<Source>(std::unique_ptr<Source>)>;

    // Without `spool` the picture is held in memory.
    Oriented(std::unique_ptr<Source> source, Spool spool);

  private:
    void readRect(const Rect &rect, Pixels to) override;

    std::unique_ptr<Source> source_;
    Spool spool_;
    std::once_flag spooled_;
    int orientation_;
};

// A source of any order that holds the whole picture of another one in memory.
std::unique_ptr<Source> holdInMemory(std::unique_ptr<Source> source);

} // namespace tool
