#include "stats/intervals.h"

namespace zylqx {

namespace {

bool badLut(const Call &call, ZylLUT *const *lut, int k, std::int32_t histSize) {
    if (call.fails(lut[k] == nullptr, "lut[k]==0") ||
        call.fails(lut[k]->key == nullptr, "lut[k]->key==0") ||
        call.fails(lut[k]->value == nullptr, "lut[k]->value==0") ||
        call.fails(lut[k]->num < 2, "lut[k]->num < 2") ||
        call.fails(lut[k]->key[0] < 0, "lut[k]->key[0] < 0") ||
        call.fails(lut[k]->key[lut[k]->num - 1] > histSize,
                   "lut[k]->key[lut[k]->num-1] > histSize")) {
        return true;
    }
    // To the end in any case, many keys at a time.
    const ZylLUT keys = *lut[k];
    std::int32_t falls = 0;
    for (std::int32_t i = 0; i < keys.num - 1; ++i) falls |= keys.key[i] > keys.key[i + 1];
    return call.fails(falls != 0, "lut[k]->key[i] > lut[k]->key[i+1]");
}

} // namespace

bool badLuts(const Call &call, ZylLUT *const *lut, const TableChannels &channels,
             std::int32_t histSize) {
    for (int i = 0; i < channels.count; ++i) {
        if (badLut(call, lut, channels.entry(i), histSize)) return true;
    }
    return false;
}

} // namespace zylqx
