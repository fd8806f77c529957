#include "transform/roots.h"

#include <numbers>

#include "core/trigonometry.h"

namespace zylqx {

Root<double> unitRoot(std::int64_t k, std::int64_t n) {
    // The angle within its quarter is rest / n of a right angle; past the middle
    // it is taken from the quarter's other end.
    const std::int64_t quarter = 4 * k / n;
    const std::int64_t rest = 4 * k - quarter * n;
    const bool past = 2 * rest > n;
    const double angle =
        std::numbers::pi / 2 * static_cast<double>(past ? n - rest : rest) / static_cast<double>(n);
    const auto [sine, cosine] = sineCosine(angle);
    const double c = past ? sine : cosine;
    const double s = past ? cosine : sine;
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
