// A benchmark's pictures as other libraries see them. What stands here is for
// the peers that were found when the build was configured.
#ifndef ZYLQX_BENCH_PEERS_H
#define ZYLQX_BENCH_PEERS_H

#include <memory>

#include "picture.h"

#if defined(ZYLQX_PEER_PIXMAN)
#include <pixman.h>
#endif
#if defined(ZYLQX_PEER_LIBYUV)
#include <libyuv.h>
#endif
#if defined(ZYLQX_PEER_LEPTONICA)
#include <leptonica/allheaders.h>
#endif
#if defined(ZYLQX_PEER_VIPS)
#include <vips/vips.h>
#endif

namespace bench {

#if defined(ZYLQX_PEER_PIXMAN)
using PixmanPointer = std::shared_ptr<pixman_image_t>;

// On the picture's own samples, which must outlive it: 8u of 1 channel (as
// alpha) or of 4.
inline PixmanPointer pixmanImage(const PicturePointer &p) {
    const pixman_format_code_t format = p->channels() == 1 ? PIXMAN_a8 : PIXMAN_a8r8g8b8;
    return {pixman_image_create_bits_no_clear(format, p->width(), p->height(),
                                              reinterpret_cast<std::uint32_t *>(p->data()),
                                              p->stride()),
            pixman_image_unref};
}
#endif

#if defined(ZYLQX_PEER_LEPTONICA)
using PixPointer = std::shared_ptr<PIX>;

// A copy of the picture, of 1, 8 or 16 bits and one channel. The order of bytes
// in a word is leptonica's own, so the copy shows other samples.
PixPointer leptonicaImage(const PicturePointer &p);
#endif

#if defined(ZYLQX_PEER_VIPS)
using VipsPointer = std::shared_ptr<VipsImage>;

// On the picture's own samples, which must outlive it. Rows must have no padding.
VipsPointer vipsImage(const PicturePointer &p, VipsBandFormat format);

// Computes all pixels of an image that an operation has promised, and drops it
// and them: what a program that wants the result in memory has to do.
void vipsCompute(VipsImage *image);
#endif

} // namespace bench

#endif
