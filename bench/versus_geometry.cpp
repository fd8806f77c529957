// Zoom, decimation, rotation and mirroring. The destination has side x side
// pixels.

#include "peers.h"
#include "rows.h"

namespace bench {

namespace {

const char *const INTERPOLATIONS[] = {"nearest", "linear", "cubic"};
constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_8U, ZYL_DEPTH_16U};

using Operation = std::function<void(ZylImage *source, ZylImage *destination)>;
using AddPeers =
    std::function<void(Contest &contest, const PicturePointer &s, const PicturePointer &d)>;

struct Subject {
    std::string name;
    std::uint32_t depth;
    int sourceSide, side;
    Operation operation;
};

void addRow(std::vector<Row> &rows, const Subject &subject, const AddPeers &addPeers) {
    rows.push_back({subject.name, depthName(subject.depth), subject.side,
                    pictureBytes(subject.depth, 1, subject.sourceSide),
                    pictureBytes(subject.depth, 1, subject.side), [=] {
                        const PicturePointer s = picture(subject.depth, 1, subject.sourceSide);
                        const PicturePointer d = picture(subject.depth, 1, subject.side);
                        Contest contest{[=] { subject.operation(*s, *d); }, {}};
                        if (subject.depth == ZYL_DEPTH_8U) addPeers(contest, s, d);
                        return contest;
                    }});
}

#if defined(ZYLQX_PEER_LIBYUV)
void addLibyuvScale(Contest &contest, const PicturePointer &s, const PicturePointer &d,
                    libyuv::FilterMode mode) {
    contest.peers.push_back({"libyuv", [=] {
                                 libyuv::ScalePlane(s->data(), s->stride(), s->width(), s->height(),
                                                    d->data(), d->stride(), d->width(), d->height(),
                                                    mode);
                             }});
}
void addLibyuvRotation(Contest &contest, const PicturePointer &s, const PicturePointer &d,
                       libyuv::RotationMode mode) {
    contest.peers.push_back({"libyuv", [=] {
                                 libyuv::RotatePlane(s->data(), s->stride(), d->data(), d->stride(),
                                                     s->width(), s->height(), mode);
                             }});
}
#endif

void addScaling(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            const auto addPeers = [i]([[maybe_unused]] Contest &contest,
                                      [[maybe_unused]] const PicturePointer &s,
                                      [[maybe_unused]] const PicturePointer &d) {
#if defined(ZYLQX_PEER_LIBYUV)
                if (i < 2) {
                    addLibyuvScale(contest, s, d,
                                   i == 0 ? libyuv::kFilterNone : libyuv::kFilterLinear);
                }
#endif
#if defined(ZYLQX_PEER_LEPTONICA)
                if (i == 1 && s->width() < d->width()) {
                    const PixPointer from = leptonicaImage(s);
                    contest.peers.push_back({"leptonica", [from] {
                                                 PIX *out = pixScaleGrayLI(from.get(), 2, 2);
                                                 pixDestroy(&out);
                                             }});
                }
#endif
            };
            addRow(rows,
                   {std::string("zoom 2 ") + INTERPOLATIONS[i], depth, side / 2, side,
                    [i](ZylImage *s, ZylImage *d) { zylZoom(s, d, 2, 1, 2, 1, i, nullptr); }},
                   addPeers);
            addRow(rows,
                   {std::string("decimate 2/3 ") + INTERPOLATIONS[i], depth, side * 3 / 2, side,
                    [i](ZylImage *s, ZylImage *d) { zylDecimate(s, d, 2, 3, 2, 3, i, nullptr); }},
                   addPeers);
        }
    }
}

void addRotation(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            const auto addPeers = [i]([[maybe_unused]] Contest &contest,
                                      [[maybe_unused]] const PicturePointer &s,
                                      const PicturePointer &) {
#if defined(ZYLQX_PEER_LEPTONICA)
                if (i != 1) return;
                const PixPointer from = leptonicaImage(s);
                contest.peers.push_back({"leptonica", [from] {
                                             constexpr float RADIANS = 0.5235988f;
                                             PIX *out = pixRotateAMGray(from.get(), RADIANS, 0);
                                             pixDestroy(&out);
                                         }});
#endif
            };
            addRow(rows,
                   {std::string("rotate 30 ") + INTERPOLATIONS[i], depth, side, side,
                    [=](ZylImage *s, ZylImage *d) {
                        zylRotate(s, d, 3000, side / 2, side / 2, i, nullptr);
                    }},
                   addPeers);
        }
        for (const int degrees : {90, 180}) {
            // About the middle between the pixels, a quarter turn about a corner.
            addRow(rows,
                   {"rotate " + std::to_string(degrees), depth, side, side,
                    [=](ZylImage *s, ZylImage *d) {
                        zylRotate(s, d, degrees * 100, side / 2,
                                  degrees == 90 ? side / 2 - 1 : side / 2, ZYL_INTER_LINEAR,
                                  nullptr);
                    }},
                   [degrees]([[maybe_unused]] Contest &contest,
                             [[maybe_unused]] const PicturePointer &s,
                             [[maybe_unused]] const PicturePointer &d) {
#if defined(ZYLQX_PEER_LIBYUV)
                       addLibyuvRotation(contest, s, d,
                                         degrees == 90 ? libyuv::kRotate90 : libyuv::kRotate180);
#endif
                   });
        }
    }
}

void addMirroring(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
        for (const int axis : {0, 1, -1}) {
            addRow(rows,
                   {"mirror " + std::to_string(axis), depth, side, side,
                    [axis](ZylImage *s, ZylImage *d) { zylMirror(s, d, axis); }},
                   [axis]([[maybe_unused]] Contest &contest,
                          [[maybe_unused]] const PicturePointer &s,
                          [[maybe_unused]] const PicturePointer &d) {
#if defined(ZYLQX_PEER_LIBYUV)
                       if (axis != 1) return;
                       contest.peers.push_back({"libyuv", [=] {
                                                    libyuv::MirrorPlane(s->data(), s->stride(),
                                                                        d->data(), d->stride(),
                                                                        s->width(), s->height());
                                                }});
#endif
                   });
        }
    }
}

} // namespace

void addGeometryRows(std::vector<Row> &rows, int side) {
    addScaling(rows, side);
    addRotation(rows, side);
    addMirroring(rows, side);
}

} // namespace bench
