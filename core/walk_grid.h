// The walk of scaled products and compositing: images of any layout, each in
// memory or tiled, as blocks that lie in memory for all of them.
//
// Blocks follow the tile grid of one image, the master: the first tiled one. An
// image whose tiles cut a block is put together in a buffer for it, and written
// back to its tiles afterwards if it is written.
#ifndef ZYLQX_CORE_WALK_GRID_H
#define ZYLQX_CORE_WALK_GRID_H

#include <optional>

#include "core/call.h"
#include "core/image.h"
#include "core/region.h"
#include "core/scratch_image.h"
#include "core/view.h"

namespace zylqx {

// An image of the operation, null for none.
struct GridOperand {
    ZylImage *image;
    bool written;
};

// The pixels of one image in a block.
class GridPixels {
  public:
    const ZylImage &image() const { return image_; }

    template <class T>
    View<T> channel(int number) const {
        return channelView<T>(image_, area_.x, area_.y, area_.width, area_.height, number);
    }
    // All samples of pixel order as one wide channel.
    template <class T>
    View<T> allChannels() const {
        View<T> view = channel<T>(1);
        view.step = 1;
        view.columns *= image_.nChannels;
        return view;
    }

  private:
    friend class GridWalk;
    ZylImage image_; // in memory; its region and size are not those of the block
    Area area_;      // the block; its rows may have been joined to one
};

constexpr int MAX_GRID_OPERANDS = 6;

class GridWalk {
  public:
    // The first operand is the destination: when it is tiled, `mapping` restricts
    // the walk to the tile that holds its point. Written operands come first; an
    // image that appears twice is one image.
    GridWalk(const Call &call, const GridOperand *operands, int count,
             const ZylTileMapping *mapping);
    GridWalk(const GridWalk &) = delete;
    GridWalk &operator=(const GridWalk &) = delete;

    // Finishes the block at hand and provides the next one. False at the end, and
    // after "ERROR in Tiling callBack" was reported.
    bool next();

    // The operands' pixels, in the order of the constructor.
    const GridPixels &pixels(int operand) const;

  private:
    // A part of the operation's columns or rows.
    struct Interval {
        std::int32_t begin, end;
    };
    enum class Holding { Nothing, Tile, Buffer };
    struct Member {
        GridOperand operand{nullptr, false};
        int same = -1; // the earlier operand with the same image
        std::int32_t x0 = 0, y0 = 0;
        Holding holding = Holding::Nothing;
        std::int32_t tileColumn = 0, tileRow = 0;
        std::optional<ScratchImage> buffer;
        GridPixels pixels;
    };

    // Whether the walk provides its pixels; those of an image that appears twice
    // are provided once.
    static bool isProvided(const Member &member) {
        return member.operand.image != nullptr && member.same < 0;
    }

    void restrictTo(const ZylTileMapping &mapping);
    bool advance();
    bool provide(Member &member, const Area &area);
    void joinRows();
    bool provideBuffer(Member &member, const Area &area);
    bool finish(Member &member);
    bool finishAll();
    bool fail();

    const Call &call_;
    int count_;
    Member members_[MAX_GRID_OPERANDS];
    const Member *master_ = nullptr;
    Interval columns_, rows_;  // of the operation
    Interval blockX_, blockY_; // of the block at hand
    bool started_ = false;
};

} // namespace zylqx

#endif
