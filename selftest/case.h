// One random call: its images and arguments, and the checksum of what it did.
#ifndef ZYLQX_SELFTEST_CASE_H
#define ZYLQX_SELFTEST_CASE_H

#include <zylqx.h>

#include <array>
#include <memory>
#include <vector>

#include "selftest/picture.h"

namespace selftest {

// Sets of depths.
enum Depths : unsigned {
    BITS = 1,
    U8 = 2,
    S8 = 4,
    U16 = 8,
    S16 = 16,
    S32 = 32,
    ALL_DEPTHS = 63,
    ALL_BUT_BITS = 62
};

class Case {
  public:
    explicit Case(std::uint64_t seed);
    Case(const Case &) = delete;
    Case &operator=(const Case &) = delete;
    ~Case();

    Random in;
    Checksum sum;

    // A depth of the set.
    std::uint32_t depth(unsigned depths);
    // The shape that the call's images share; of the channels given, a bitonal
    // image has one.
    Shape shape(unsigned depths, int fewest = 1, int most = 5);

    // Images; seldom one that does not fit the call, is faulty or is missing.
    void never(bool tiled, bool channelOfInterest);
    // All images of one size, with the same region or none.
    void alike() { alike_ = true; }
    void fill(Fill fill) { fill_ = fill; }
    ZylImage *image(const Shape &shape);
    // A destination, sometimes the image made last.
    ZylImage *destination(const Shape &shape);

    // One tile of the destination, or none.
    const std::int32_t *tile();
    const ZylTileMapping *point();

    std::int32_t number() { return in.number(); }
    // Mostly the number given, else any.
    std::int32_t mostly(std::int32_t value) { return in.oneIn(24) ? in.number() : value; }

    // Adds the images, and the thread's status, as the call left them.
    void finish();
    // The reports so far.
    int reports() const { return reports_; }

  private:
    static ZylStatus ZYL_CALL addReport(ZylStatus status, const char *function, const char *text,
                                        const char *file, int line);
    bool often(bool chosen) { return chosen && !in.oneIn(4); }

    bool tiled_, regions_, channelsOfInterest_, stray_;
    bool alike_ = false;
    Fill fill_ = Fill::Any;
    int reports_ = 0;
    std::array<int, 2> size_; // width, height
    std::vector<std::unique_ptr<Picture>> pictures_;
    std::array<std::int32_t, 2> place_;
    ZylTileMapping mapping_;
};

} // namespace selftest

#endif
