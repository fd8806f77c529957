#include <libyuv.h>

#include "peers.h"

namespace bench {

namespace {

// A function that takes sources and a destination, each with its stride, and a size.
template <auto FUNCTION>
void onto(const Pictures &p) {
    const Picture &d = *p.back();
    if constexpr (std::is_invocable_v<decltype(FUNCTION), const std::uint8_t *, int, std::uint8_t *,
                                      int, int, int>) {
        FUNCTION(p[0]->data(), p[0]->stride(), d.data(), d.stride(), d.width(), d.height());
    } else {
        FUNCTION(p[0]->data(), p[0]->stride(), p[1]->data(), p[1]->stride(), d.data(), d.stride(),
                 d.width(), d.height());
    }
}

template <libyuv::FilterMode MODE>
void scale(const Pictures &p) {
    libyuv::ScalePlane(p[0]->data(), p[0]->stride(), p[0]->width(), p[0]->height(), p[1]->data(),
                       p[1]->stride(), p[1]->width(), p[1]->height(), MODE);
}

template <libyuv::RotationMode MODE>
void rotate(const Pictures &p) {
    libyuv::RotatePlane(p[0]->data(), p[0]->stride(), p[1]->data(), p[1]->stride(), p[0]->width(),
                        p[0]->height(), MODE);
}

void shade(const Pictures &p) {
    libyuv::ARGBShade(p[0]->data(), p[0]->stride(), p[1]->data(), p[1]->stride(), p[0]->width(),
                      p[0]->height(), 0xC8C8C8C8u);
}

struct Entry {
    const char *name;
    void (*call)(const Pictures &p);
};
const Entry ENTRIES[] = {
    {"add 4ch", onto<libyuv::ARGBAdd>},
    {"add 4ch in place", onto<libyuv::ARGBAdd>},
    {"subtract 4ch", onto<libyuv::ARGBSubtract>},
    {"copy 4ch", onto<libyuv::ARGBCopy>},
    {"color-to-gray of 4", onto<libyuv::ARGBToJ400>},
    {"multiply-scale 4ch", onto<libyuv::ARGBMultiply>},
    {"multiply-s-scale 4ch", shade},
    {"pre-multiply-alpha", onto<libyuv::ARGBAttenuate>},
    {"alpha-composite over", onto<libyuv::ARGBBlend>},
    {"zoom 2 nearest", scale<libyuv::kFilterNone>},
    {"zoom 2 linear", scale<libyuv::kFilterLinear>},
    {"decimate 2/3 nearest", scale<libyuv::kFilterNone>},
    {"decimate 2/3 linear", scale<libyuv::kFilterLinear>},
    {"rotate 90", rotate<libyuv::kRotate90>},
    {"rotate 180", rotate<libyuv::kRotate180>},
    {"mirror 1", onto<libyuv::MirrorPlane>},
};

} // namespace

std::function<void()> libyuvCall(const Row &row, const Pictures &pictures) {
    const Entry *entry = find(ENTRIES, row.name);
    if (entry == nullptr || row.depth != ZYL_DEPTH_8U) return {};
    return [pictures, call = entry->call] { call(pictures); };
}

} // namespace bench
