#include "transform/roots.h"

#include <cmath>
#include <numbers>

namespace zylqx {

Root<double> unitRoot(std::int64_t k, std::int64_t n) {
    // The angle within its quarter is rest / n of a right angle; past the middle
    // it is taken from the quarter's other end.
    const std::int64_t quarter = 4 * k / n;
    const std::int64_t rest = 4 * k - quarter * n;
    const bool past = 2 * rest > n;
    const double angle =
        std::numbers::pi / 2 * static_cast<double>(past ? n - rest : rest) / static_cast<double>(n);
    const double c = past ? std::sin(angle) : std::cos(angle);
    const double s = past ? std::cos(angle) : std::sin(angle);
    switch (quarter) {
    case 0:
        return {c, s};
    case 1:
        return {-s, c};
    case 2:
        return {-c, -s};
    default:
        return {s, -c};
    }
}

} // namespace zylqx
