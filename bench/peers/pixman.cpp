#include <memory>
#include <pixman.h>

#include "peers.h"

namespace bench {

namespace {

using Image = std::shared_ptr<pixman_image_t>;

// On the picture's own samples, which must outlive it.
Image imageOf(const PicturePointer &p) {
    return {pixman_image_create_bits_no_clear(PIXMAN_a8r8g8b8, p->width(), p->height(),
                                              reinterpret_cast<std::uint32_t *>(p->data()),
                                              p->stride()),
            pixman_image_unref};
}

struct Rule {
    const char *name;
    pixman_op_t operation;
};
const Rule RULES[] = {
    {"add 4ch in place", PIXMAN_OP_ADD},      {"alpha-composite over", PIXMAN_OP_OVER},
    {"alpha-composite in", PIXMAN_OP_IN},     {"alpha-composite out", PIXMAN_OP_OUT},
    {"alpha-composite atop", PIXMAN_OP_ATOP}, {"alpha-composite xor", PIXMAN_OP_XOR},
    {"alpha-composite plus", PIXMAN_OP_ADD},
};

} // namespace

std::function<void()> pixmanCall(const Row &row, const Pictures &pictures) {
    const Rule *rule = find(RULES, row.name);
    if (rule == nullptr || row.depth != ZYL_DEPTH_8U) return {};
    const Image from = imageOf(pictures.front());
    const Image to = imageOf(pictures.back());
    return [=, operation = rule->operation, side = row.side] {
        static_cast<void>(pictures);
        pixman_image_composite32(operation, from.get(), nullptr, to.get(), 0, 0, 0, 0, 0, 0, side,
                                 side);
    };
}

} // namespace bench
