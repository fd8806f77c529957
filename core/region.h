// Which rectangle and which channels of an image an operation processes.
//
// Several rules exist for cutting a region to its image, and they differ on
// purpose:
//
//   regionRect    Size cut at the right and bottom edges; may come out negative.
//                 Arithmetic, logic and threshold on tiled images.
//   clippedArea   Cut at all four edges; empty outside the image. Copy, set,
//                 exchange, geometry, histograms, norms and compositing.
//   clippedPair   The smaller of two clipped areas. Filters.
//   uncutPair    As large as the smallest of two images and their regions, and
//                 moved to the regions' corners; then cut to the destination
//                 alone. Separable convolution.
//   kernelFrame   core/frame.h: as regionRect in memory, but in bytes of a row,
//                 with the stride that the header's fields give.
//   logicFrame    core/frame.h: as regionRect, and an image of one channel counts
//                 as one with a channel of interest. Logic, and threshold.
#ifndef ZYLQX_CORE_REGION_H
#define ZYLQX_CORE_REGION_H

#include <cstdint>

#include "zylqx.h"

namespace zylqx {

struct Rect {
    std::int32_t begX, endX; // the ends are exclusive
    std::int32_t begY, endY;
    std::int32_t height, width;

    bool empty() const { return begX >= endX || begY >= endY; }
};

// The region from its offset, with at most the columns and rows that the image
// has from there on. A region outside the image has a size below 1.
Rect regionRect(const ZylImage &image);

// Gives all rectangles the smallest height and width among them; each keeps its
// own corner.
void cutToCommonSize(Rect *rects, int count);

// A rectangle inside an image and its channel of interest, 0 for all channels.
struct Area {
    std::int32_t x, y;
    std::int32_t width, height;
    std::int32_t coi;

    bool empty() const { return width <= 0 || height <= 0; }
};

// The part of the region that lies inside the image.
Area clippedArea(const ZylImage &image);

// Gives both areas the smaller height and width; each keeps its own corner.
void cutToCommonSize(Area &a, Area &b);

// Whether the rows of an area of an image in memory follow each other without a
// gap, and its pixels can be counted as one width. If so in all images of an
// operation, the rows can be joined to one.
bool isContiguous(const ZylImage &image, const Area &area);
inline void joinRows(Area &area) {
    area.width *= area.height;
    area.height = 1;
}

// A rectangle of a destination and the rectangle of a source that it is made of.
struct PairedArea {
    std::int64_t srcX, srcY;
    std::int64_t dstX, dstY;
    std::int64_t width, height;
    // The first destination row comes from source row srcY, and the next one from the
    // row before that.
    bool flipped = false;

    bool empty() const { return width <= 0 || height <= 0; }
};
PairedArea clippedPair(const ZylImage &srcImage, const ZylImage &dstImage);

// May reach past the source.
PairedArea uncutPair(const ZylImage &srcImage, const ZylImage &dstImage);

} // namespace zylqx

#endif
