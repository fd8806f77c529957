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
    double cycles = 0;
};

void addRow(std::vector<Row> &rows, const Subject &subject) {
    rows.push_back({subject.name, subject.depth, subject.side,
                    pictureBytes(subject.depth, 1, subject.sourceSide),
                    pictureBytes(subject.depth, 1, subject.side),
                    [=](Layout layout) {
                        const PicturePointer s =
                            picture(subject.depth, 1, subject.sourceSide, layout);
                        const PicturePointer d = picture(subject.depth, 1, subject.side, layout);
                        return Contest{[=] { subject.operation(*s, *d); }, {s, d}};
                    },
                    subject.cycles});
}

// Operations for a pixel, a third of a cycle each; what is made for every source row counts
// by the rows of the source for one of the result. Linear zoom of bytes: 8 on 16 pixels for
// rows, 5 and two gathers of 6 on 32 for columns, for half the rows; of words the same on 8.
// Cubic zoom: 16 on 4 for rows, 20 for columns. Decimation: 19 on 16 and four gathers for
// columns, for one and a half rows, and 23 on 16 for rows; half of it for linear.
constexpr double ZOOM_CYCLES[] = {0, 0.76 / 3, 6.5 / 3};
constexpr double DECIMATION_CYCLES[] = {0, 2.1 / 3, 4.2 / 3};

void addScaling(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            addRow(rows, {std::string("zoom 2 ") + INTERPOLATIONS[i], depth, side / 2, side,
                          [i](ZylImage *s, ZylImage *d) { zylZoom(s, d, 2, 1, 2, 1, i, nullptr); },
                          ZOOM_CYCLES[i]});
            addRow(rows,
                   {std::string("decimate 2/3 ") + INTERPOLATIONS[i], depth, side * 3 / 2, side,
                    [i](ZylImage *s, ZylImage *d) { zylDecimate(s, d, 2, 3, 2, 3, i, nullptr); },
                    DECIMATION_CYCLES[i]});
        }
    }
}

// Positions take 16 operations on 4 pixels in double precision, with remainders 22; a
// sample then costs two loads and a store, and nothing is spared by wider vectors there.
// Linear: 30 on 4 pixels to unpack and interpolate. Cubic: 128, half of them to unpack.
// Of the result, a corner lies outside the source.
constexpr double ROTATED_PART = 0.79;
constexpr double ROTATION_CYCLES[] = {1.5, 52.0 / 12, 150.0 / 12};

void addRotation(std::vector<Row> &rows, int side) {
    for (const std::uint32_t depth : DEPTHS) {
        for (int i = 0; i < 3; ++i) {
            addRow(rows, {std::string("rotate 30 ") + INTERPOLATIONS[i], depth, side, side,
                          [=](ZylImage *s, ZylImage *d) {
                              zylRotate(s, d, 3000, side / 2, side / 2, i, nullptr);
                          },
                          ROTATED_PART * ROTATION_CYCLES[i]});
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
