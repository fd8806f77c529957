#include "peers.h"

#include <algorithm>
#include <cstring>

namespace bench {

#if defined(ZYLQX_PEER_LEPTONICA)
PixPointer leptonicaImage(const PicturePointer &p) {
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
#endif

#if defined(ZYLQX_PEER_VIPS)
VipsPointer vipsImage(const PicturePointer &p, VipsBandFormat format) {
    VipsImage *image = vips_image_new_from_memory(p->data(), static_cast<std::size_t>(p->bytes()),
                                                  p->width(), p->height(), p->channels(), format);
    return {image, [p](VipsImage *q) { g_object_unref(q); }};
}

void vipsCompute(VipsImage *image) {
    std::size_t bytes = 0;
    g_free(vips_image_write_to_memory(image, &bytes));
    g_object_unref(image);
}
#endif

} // namespace bench
