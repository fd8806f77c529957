// Images for tests: seeded random samples in any layout, in memory or behind a
// tile callback that notices every breach of the protocol.
#ifndef ZYLQX_TESTS_SUPPORT_IMAGES_H
#define ZYLQX_TESTS_SUPPORT_IMAGES_H

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "zylqx.h"

namespace support {

constexpr std::uint32_t ALL_DEPTHS[] = {ZYL_DEPTH_1U,  ZYL_DEPTH_8U,  ZYL_DEPTH_8S,
                                        ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S};

std::int64_t lowest(std::uint32_t depth);
std::int64_t highest(std::uint32_t depth);
const char *depthName(std::uint32_t depth);

struct Shape {
    std::uint32_t depth = ZYL_DEPTH_8U;
    int channels = 1;
    int width = 1;
    int height = 1;
    int order = ZYL_DATA_ORDER_PIXEL;
    int origin = ZYL_ORIGIN_TL;
    int align = 4;
    int alpha = 0;
    const char *model = "GRAY"; // four characters
    const char *sequence = "G   ";
};

std::string describe(const Shape &shape);

// One call of a tile callback.
struct TileCall {
    int column, row, mode;
    bool operator==(const TileCall &) const = default;
};

// An image with its pixels. In memory, guard bytes stand before and after the
// pixels. Behind tiles, every tile delivered is a block of its own, freed when it
// is released, so that the sanitizers see a late or wide access; its part outside
// the image is filled with noise.
class TestImage {
  public:
    explicit TestImage(const Shape &shape);
    TestImage(const TestImage &other); // in memory or tiled as `other` is
    TestImage &operator=(const TestImage &) = delete;
    ~TestImage();

    // Samples spread over the whole range, with many at and near its ends.
    TestImage &randomise(unsigned seed);
    TestImage &fill(std::int64_t value);
    TestImage &assign(const std::vector<std::int64_t> &samples); // rows of pixels of channels

    TestImage &region(int coi, int x, int y, int width, int height);
    TestImage &noRegion();
    TestImage &tiles(int width, int height);
    TestImage &border(int mode, int value = 0);
    // Rows `bytes` further apart than they need to be, with the same samples.
    TestImage &widen(int bytes);

    const Shape &shape() const { return shape_; }
    ZylImage *header() { return &header_; }
    operator ZylImage *() { return &header_; }

    // A sample, channels from 1. The pixels of a tiled image are read where the
    // callback keeps them.
    std::int64_t at(int x, int y, int channel = 1) const;
    void set(int x, int y, int channel, std::int64_t value);

    // Bytes of the pixels, row padding included.
    const std::vector<unsigned char> &bytes() const { return store_; }

    // False when a guard byte was overwritten.
    bool guardsIntact() const;

    // The tile callback.
    const std::vector<TileCall> &tileCalls() const { return calls_; }
    void clearTileCalls() { calls_.clear(); }
    int tilesHeld() const;
    // From now on the n-th request (from 1) delivers nothing.
    void failTileRequest(int n);
    int failedRequest() const { return failedMode_; } // its mode; 0: there was none
    // Whether this image was asked for a tile after a request, of any image, or an
    // allocation had failed.
    bool askedAfterFailure() const { return askedAfterFailure_; }
    // From now on tiles are never taken back.
    void keepTiles() { keepTiles_ = true; }
    // What the callback found wrong: releases of tiles not held, indices outside.
    const std::string &breaches() const { return breaches_; }

  private:
    struct Held {
        int column, row, count;
        bool written;
        std::unique_ptr<unsigned char[]> pixels;
    };

    static void ZYL_CALL callBack(ZylImage *image, std::int32_t column, std::int32_t row,
                                  std::int32_t mode);
    void answer(std::int32_t column, std::int32_t row, std::int32_t mode);
    void deliver(std::int32_t column, std::int32_t row, std::int32_t mode);
    void takeBack(std::int32_t column, std::int32_t row);
    void exchange(const Held &tile, bool toTile);
    ZylImage tileImage(const Held &tile) const;
    ZylImage memoryImage() const;

    Shape shape_;
    ZylImage header_{};
    ZylROI roi_{};
    ZylTileInfo tileInfo_{};
    std::vector<unsigned char> store_; // pixels, with a guard on both sides
    std::vector<Held> held_;
    std::vector<TileCall> calls_;
    std::string breaches_;
    int failRequest_ = 0;
    int failedMode_ = 0;
    bool askedAfterFailure_ = false;
    bool keepTiles_ = false;
};

// Reads or writes one sample of an image in memory.
std::int64_t readSample(const ZylImage &image, int x, int y, int channel);
void writeSample(const ZylImage &image, int x, int y, int channel, std::int64_t value);

// Empty when all samples are equal, else where the first difference is.
std::string difference(const TestImage &expected, const TestImage &actual);

// Silences the thread's reports for a scope and keeps them.
struct Report {
    ZylStatus status;
    std::string function, text, file;
    bool operator==(const Report &) const = default;
};
void PrintTo(const Report &report, std::ostream *out);

class Reports {
  public:
    Reports();
    ~Reports();
    Reports(const Reports &) = delete;
    Reports &operator=(const Reports &) = delete;
    const std::vector<Report> &all() const;
    // The texts alone.
    std::vector<std::string> texts() const;
    // Forgets the reports and stores ZYL_StsOk.
    void clear();

  private:
    ZylErrorCallBack before_;
};

// Makes the n-th allocation from now on fail (0: none), for a scope.
class AllocationFault {
  public:
    explicit AllocationFault(int n);
    ~AllocationFault();
    AllocationFault(const AllocationFault &) = delete;
    AllocationFault &operator=(const AllocationFault &) = delete;
    static bool struck(); // whether the fault has happened
};

} // namespace support

#endif
