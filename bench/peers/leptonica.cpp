#include <algorithm>
#include <cstring>
#include <leptonica/allheaders.h>
#include <memory>

#include "peers.h"

namespace bench {

namespace {

using Image = std::shared_ptr<PIX>;

// A copy of the picture, of 1 or 8 bits and one channel. The order of bytes in a
// word is the library's own, so the copy shows other samples.
Image imageOf(const PicturePointer &p) {
    const ZylImage *image = *p;
    const int bits = static_cast<int>(image->depth & ~ZYL_DEPTH_SIGN);
    PIX *pix = pixCreate(p->width(), p->height(), bits);
    const int stride = 4 * pixGetWpl(pix);
    for (int y = 0; y < p->height(); ++y) {
        std::memcpy(reinterpret_cast<unsigned char *>(pixGetData(pix)) + y * std::ptrdiff_t{stride},
                    p->data() + y * std::ptrdiff_t{p->stride()},
                    static_cast<std::size_t>(std::min(stride, p->stride())));
    }
    return {pix, [](PIX *q) { pixDestroy(&q); }};
}

// Two sources: in place, or into an image that is there.
struct Binary {
    const char *name;
    PIX *(*call)(PIX *d, PIX *a, PIX *b);
};
const Binary GRAY_BINARY[] = {{"add", pixAddGray}, {"subtract", pixSubtractGray}};
const Binary BIT_BINARY[] = {{"and", pixAnd}, {"or", pixOr}, {"xor", pixXor}};

// One source, into a new image.
struct Unary {
    const char *name;
    PIX *(*call)(PIX *s);
};
const Unary GRAY_UNARY[] = {
    {"blur 3x3", [](PIX *s) { return pixBlockconv(s, 1, 1); }},
    {"blur 15x15", [](PIX *s) { return pixBlockconv(s, 7, 7); }},
    {"blur 63x63", [](PIX *s) { return pixBlockconv(s, 31, 31); }},
    {"max-filter 3x3", [](PIX *s) { return pixDilateGray(s, 3, 3); }},
    {"max-filter 11x11", [](PIX *s) { return pixDilateGray(s, 11, 11); }},
    {"min-filter 11x11", [](PIX *s) { return pixErodeGray(s, 11, 11); }},
    {"median-filter 5x5", [](PIX *s) { return pixMedianFilter(s, 5, 5); }},
    {"erode", [](PIX *s) { return pixErodeGray(s, 3, 3); }},
    {"zoom 2 linear", [](PIX *s) { return pixScaleGrayLI(s, 2, 2); }},
    {"rotate 30 linear", [](PIX *s) { return pixRotateAMGray(s, 0.5235988f, 0); }},
};
const Unary BIT_UNARY[] = {{"erode", [](PIX *s) { return pixErodeBrick(nullptr, s, 3, 3); }}};

std::function<void()> callOf(const Binary &binary, const Pictures &p, bool inPlace) {
    const Image a = imageOf(p[0]);
    const Image b = imageOf(p[1]);
    const Image d = inPlace ? a : imageOf(p[0]);
    return [=, call = binary.call] { call(d.get(), a.get(), b.get()); };
}

// None when the library cannot do it, as with boxes larger than the picture.
std::function<void()> callOf(const Unary &unary, const Pictures &p) {
    const auto once = [call = unary.call, s = imageOf(p[0])] {
        PIX *out = call(s.get());
        const bool done = out != nullptr;
        pixDestroy(&out);
        return done;
    };
    if (!once()) return {};
    return once;
}

std::function<void()> histogram(const Pictures &p) {
    return [s = imageOf(p[0])] {
        NUMA *counts = pixGetGrayHistogram(s.get(), 1);
        numaDestroy(&counts);
    };
}

} // namespace

std::function<void()> leptonicaCall(const Row &row, const Pictures &pictures) {
    setMsgSeverity(L_SEVERITY_ERROR); // it warns of every box that does not fit
    if (row.depth == ZYL_DEPTH_8U) {
        if (const Binary *entry = find(GRAY_BINARY, row.name))
            return callOf(*entry, pictures, true);
        if (const Unary *entry = find(GRAY_UNARY, row.name)) return callOf(*entry, pictures);
        if (row.name == "compute-histo") return histogram(pictures);
    }
    if (row.depth == ZYL_DEPTH_1U) {
        if (const Binary *entry = find(BIT_BINARY, row.name))
            return callOf(*entry, pictures, false);
        if (const Unary *entry = find(BIT_UNARY, row.name)) return callOf(*entry, pictures);
    }
    return {};
}

} // namespace bench
