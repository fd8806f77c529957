// The rounding mode in which results of the transforms are defined.
#ifndef ZYLQX_TRANSFORM_ROUNDING_H
#define ZYLQX_TRANSFORM_ROUNDING_H

#include <cfenv>

namespace zylqx {

// Rounds to nearest as long as it lives, then as the caller had it.
class RoundToNearest {
  public:
    RoundToNearest() : mode_(std::fegetround()) {
        if (mode_ != FE_TONEAREST) std::fesetround(FE_TONEAREST);
    }
    RoundToNearest(const RoundToNearest &) = delete;
    RoundToNearest &operator=(const RoundToNearest &) = delete;
    ~RoundToNearest() {
        if (mode_ != FE_TONEAREST) std::fesetround(mode_);
    }

  private:
    int mode_;
};

} // namespace zylqx

#endif
