// The laws that hold for every operation, for the four of geometry.

#include "tests/support/laws.h"

namespace support {

namespace {

using Images = ZylImage *const *;

// A pixel of the tile that a tile argument names: its corner, or the region's, as the
// pixel must be one of the region.
struct Point {
    ZylTileMapping at = {0, 0};
    bool given;

    Point(const ZylImage &image, const std::int32_t *tile) : given(tile != nullptr) {
        if (given) {
            at = {tile[0] * image.tileInfo->width, tile[1] * image.tileInfo->height};
            const ZylROI *roi = image.roi;
            if (roi == nullptr) return;
            if (roi->xOffset / image.tileInfo->width == tile[0]) at.xDst = roi->xOffset;
            if (roi->yOffset / image.tileInfo->height == tile[1]) at.yDst = roi->yOffset;
        }
    }
    const ZylTileMapping *mapping() const { return given ? &at : nullptr; }
};

Shape enlarged(const Shape &shape) {
    Shape result = shape;
    result.width = shape.width * 2;
    result.height = shape.height * 3 / 2;
    return result;
}

std::vector<Operation> table() {
    const auto shapes = usualShapes({ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U});
    const char *names[] = {"nearest", "linear", "cubic"};
    std::vector<Operation> operations;
    auto add = [&](Operation operation) {
        operation.shapes = shapes;
        operation.pointwise = false;
        operation.mixesChannels = true;
        operations.push_back(operation);
    };
    for (int interpolate : {0, 1, 2}) {
        const std::string name = names[interpolate];
        Operation zoom = {.name = "zoom_" + name,
                          .reportedName = "zylZoom",
                          .sources = 1,
                          .run =
                              [=](Images images, const std::int32_t *tile) {
                                  // Nearest neighbour starts anew in every tile, which changes
                                  // nothing for doublings.
                                  const bool nearest = interpolate == ZYL_INTER_NN ||
                                                       images[0]->depth == ZYL_DEPTH_1U;
                                  const Point point(*images[1], tile);
                                  zylZoom(images[0], images[1], nearest ? 4 : 3, 2, 4, 2,
                                          interpolate, point.mapping());
                              },
                          .result = enlarged,
                          .inPlace = false};
        add(zoom);
        add({.name = "decimate_" + name,
             .reportedName = "zylDecimate",
             .sources = 1,
             .run =
                 [=](Images images, const std::int32_t *tile) {
                     const Point point(*images[1], tile);
                     zylDecimate(images[0], images[1], 7, 8, 10, 11, interpolate, point.mapping());
                 },
             .inPlace = false});
        for (int angle : {3000, 9000, 18000}) {
            add({.name = "rotate_" + name + "_" + std::to_string(angle),
                 .reportedName = "zylRotate",
                 .sources = 1,
                 .run = [=](Images images, const std::int32_t *tile) {
                     zylRotate(images[0], images[1], angle, 15, 12, interpolate, tile);
                 }});
        }
    }
    for (int flipAxis : {0, 1, -1}) {
        Operation mirror = {
            .name = "mirror_" + std::to_string(flipAxis + 1),
            .reportedName = "zylMirror",
            .sources = 1,
            .run = [=](Images images,
                       const std::int32_t *) { zylMirror(images[0], images[1], flipAxis); },
            .shapes = usualShapes({std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)}),
            .pointwise = false,
            .tileArgument = false};
        // With one channel; the laws' channels of interest differ, which is refused.
        Operation gray = mirror;
        gray.name += "_gray";
        std::erase_if(gray.shapes, [](const Shape &shape) { return shape.channels > 1; });
        mirror.regions = false;
        operations.push_back(gray);
        operations.push_back(mirror);
    }
    return operations;
}

} // namespace

ZYLQX_RUN_LAWS(Geometry, table());

} // namespace support
