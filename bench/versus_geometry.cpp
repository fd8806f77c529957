// Zoom, decimation, rotation and mirroring. The destination has side x side
// pixels.

#include "rows.h"

namespace bench {

namespace {

const char *const INTERPOLATIONS[] = {"nearest", "linear", "cubic"};
constexpr std::uint32_t DEPTHS[] = {ZYL_DEPTH_8U, ZYL_DEPTH_16U};

using Operation = std::function<void(ZylImage *source, ZylImage *destination)>;

struct Subject {
    std::string name;
    std::uint32_t depth;
    int sourceSide, side;
    Operation operation;
};

void addRow(std::vector<Row> &rows, const Subject &subject) {
    rows.push_back({subject.name, subject.depth, subject.side,
                    pictureBytes(subject.depth, 1, subject.sourceSide),
                    pictureBytes(subject.depth, 1, subject.side), [=] {
                        const PicturePointer s = picture(subject.depth, 1, subject.sourceSide);
                        const PicturePointer d = picture(subject.depth, 1, subject.side);
                        return Contest{[=] { subject.operation(*s, *d); }, {s, d}};
                    }});
}

void addScaling(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            addRow(rows,
                   {std::string("zoom 2 ") + INTERPOLATIONS[i], depth, side / 2, side,
                    [i](ZylImage *s, ZylImage *d) { zylZoom(s, d, 2, 1, 2, 1, i, nullptr); }});
            addRow(rows,
                   {std::string("decimate 2/3 ") + INTERPOLATIONS[i], depth, side * 3 / 2, side,
                    [i](ZylImage *s, ZylImage *d) { zylDecimate(s, d, 2, 3, 2, 3, i, nullptr); }});
        }
    }
}

void addRotation(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            addRow(rows, {std::string("rotate 30 ") + INTERPOLATIONS[i], depth, side, side,
                          [=](ZylImage *s, ZylImage *d) {
                              zylRotate(s, d, 3000, side / 2, side / 2, i, nullptr);
                          }});
        }
        for (const int degrees : {90, 180}) {
            // About the middle between the pixels, a quarter turn about a corner.
            addRow(rows, {"rotate " + std::to_string(degrees), depth, side, side,
                          [=](ZylImage *s, ZylImage *d) {
                              zylRotate(s, d, degrees * 100, side / 2,
                                        degrees == 90 ? side / 2 - 1 : side / 2, ZYL_INTER_LINEAR,
                                        nullptr);
                          }});
        }
    }
}

void addMirroring(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
        for (const int axis : {0, 1, -1}) {
            addRow(rows, {"mirror " + std::to_string(axis), depth, side, side,
                          [axis](ZylImage *s, ZylImage *d) { zylMirror(s, d, axis); }});
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
