// Convolution, blur, rank filters and morphology.

#include <functional>
#include <memory>
#include <vector>

#include "rows.h"

namespace bench {

namespace {

using Filter = std::function<void(ZylImage *s, ZylImage *d)>;
using KernelPointer = std::shared_ptr<ZylConvKernel>;

struct NamedFilter {
    std::string name;
    Filter call;
    bool bits = false; // also for 1-bit pictures
};

KernelPointer kernel(int rows, int columns, const std::vector<std::int8_t> &values, int shift) {
    return {zylCreateConvKernel(rows, columns, columns / 2, rows / 2, values.data(), shift),
            zylDeleteConvKernel};
}

Filter convolution(int rows, int columns, const std::vector<std::int8_t> &values, int shift) {
    const KernelPointer k = kernel(rows, columns, values, shift);
    return [k](ZylImage *s, ZylImage *d) {
        ZylConvKernel *const kernels[] = {k.get()};
        zylConvolve2D(s, d, kernels, 1, ZYL_SUM, nullptr);
    };
}

Filter separable() {
    const std::vector<std::int8_t> values = {1, 4, 6, 4, 1};
    const KernelPointer x = kernel(1, 5, values, 8);
    const KernelPointer y = kernel(5, 1, values, 0);
    return [x, y](ZylImage *s, ZylImage *d) { zylConvolveSep2D(s, d, x.get(), y.get()); };
}

using BoxFilter = void (*)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                           std::int32_t, const ZylTileMapping *);

Filter box(BoxFilter filter, int side) {
    return [filter, side](ZylImage *s, ZylImage *d) {
        filter(s, d, side, side, side / 2, side / 2, nullptr);
    };
}

std::vector<NamedFilter> filters() {
    return {
        {"convolve-2d 3x3", convolution(3, 3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 4)},
        {"convolve-2d 5x5", convolution(5, 5, {1,  4, 6, 4,  1,  4,  16, 24, 16, 4, 6, 24, 36,
                                               24, 6, 4, 16, 24, 16, 4,  1,  4,  6, 4, 1},
                                        8)},
        {"convolve-sep-2d 5+5", separable()},
        {"blur 3x3", box(zylBlur, 3)},
        {"blur 15x15", box(zylBlur, 15)},
        {"blur 63x63", box(zylBlur, 63)},
        {"max-filter 3x3", box(zylMaxFilter, 3), true},
        {"max-filter 11x11", box(zylMaxFilter, 11), true},
        {"min-filter 11x11", box(zylMinFilter, 11), true},
        {"median-filter 3x3", box(zylMedianFilter, 3), true},
        {"median-filter 5x5", box(zylMedianFilter, 5), true},
        {"median-filter 15x15", box(zylMedianFilter, 15), true},
        {"erode", [](ZylImage *s, ZylImage *d) { zylErode(s, d, 1, nullptr); }, true},
        {"open", [](ZylImage *s, ZylImage *d) { zylOpen(s, d, 1, nullptr); }, true},
    };
}

// A picture cut into tiles that stand one after another in memory.
class Tiles {
  public:
    Tiles(std::uint32_t depth, int side, int tile)
        : pixels_(depth, 1, tile, side / tile * side),
          info_(zylCreateTileInfo(deliver, this, tile, tile)), tile_(tile), columns_(side / tile) {
        image_ =
            zylCreateImageHeader(1, 0, depth, "GRAY", "G   ", ZYL_DATA_ORDER_PIXEL, ZYL_ORIGIN_TL,
                                 ZYL_ALIGN_4, side, side, nullptr, nullptr, info_);
    }
    Tiles(const Tiles &) = delete;
    Tiles &operator=(const Tiles &) = delete;
    ~Tiles() { zylDeallocate(image_, ZYL_DEALLOC_ALL); }
    operator ZylImage *() const { return image_; }

  private:
    static void ZYL_CALL deliver(ZylImage *image, std::int32_t column, std::int32_t row,
                                 std::int32_t mode) {
        const Tiles &tiles = *static_cast<const Tiles *>(image->tileInfo->id);
        const std::ptrdiff_t top = std::ptrdiff_t{row} * tiles.columns_ + column;
        image->tileInfo->tileData =
            mode == ZYL_RELEASE_TILE
                ? nullptr
                : tiles.pixels_.data() + top * tiles.tile_ * tiles.pixels_.stride();
    }

    Picture pixels_;
    ZylTileInfo *info_;
    ZylImage *image_ = nullptr;
    int tile_, columns_;
};

} // namespace

void addFilterRows(std::vector<Row> &rows, int side) {
    for (const NamedFilter &filter : filters()) {
        for (const std::uint32_t depth : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            if (depth == ZYL_DEPTH_1U && !filter.bits) continue;
            const std::ptrdiff_t bytes = pictureBytes(depth, 1, side);
            rows.push_back({filter.name, depth, side, bytes, bytes, [=] {
                                const PicturePointer s = picture(depth, 1, side);
                                const PicturePointer d = picture(depth, 1, side);
                                return Contest{[=] { filter.call(*s, *d); }, {s, d}};
                            }});
        }
        constexpr int TILE = 256;
        if (side % TILE != 0 || side == TILE) continue;
        const std::ptrdiff_t bytes = pictureBytes(ZYL_DEPTH_8U, 1, side);
        rows.push_back({filter.name + " tiles", ZYL_DEPTH_8U, side, bytes, bytes, [=] {
                            const auto s = std::make_shared<const Tiles>(ZYL_DEPTH_8U, side, TILE);
                            const auto d = std::make_shared<const Tiles>(ZYL_DEPTH_8U, side, TILE);
                            return Contest{[=] { filter.call(*s, *d); }};
                        }});
    }
}

} // namespace bench
