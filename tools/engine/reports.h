// Reports of the library on the calling thread, kept instead of shown.
#pragma once

#include "engine/plan.h"

namespace tool {

// While it lives, reports of this thread are kept.
class QuietLibrary {
  public:
    QuietLibrary();
    ~QuietLibrary();
    QuietLibrary(const QuietLibrary &) = delete;
    QuietLibrary &operator=(const QuietLibrary &) = delete;

  private:
    ZylErrorCallBack callBack_;
    std::int32_t mode_;
};

// Forgets what was reported.
void clearReport();
// Throws LibraryFailure when something was reported since, and forgets it.
void throwReport(const std::string &operation);

} // namespace tool
