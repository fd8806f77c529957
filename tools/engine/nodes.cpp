#include "engine/nodes.h"

#include "engine/reports.h"

#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace tool {

namespace {

ZylImage headerOf(const Shape &shape) {
    ZylImage *made = zyl::makeHeader(shape);
    const ZylImage header = *made;
    zylDeallocateHeader(made);
    return header;
}

// What goes wrong in a tile callback cannot pass through the library: it is kept,
// the callback gives no tile, and it goes on when the library has returned.
struct Kept {
    std::exception_ptr failure;

    void rethrow() {
        if (failure) std::rethrow_exception(std::exchange(failure, nullptr));
    }
};

// A header of a node's picture for one call of the library on one thread.
class Reader {
  public:
    Reader(Nodes &nodes, Pipeline::Node node, Kept &kept)
        : header(nodes[node].header), nodes_(nodes), node_(node), kept_(kept) {
        if (nodes[node].image) return;
        const Tiling tile = nodes[node].grid.tile;
        info_ = {serve, this, nullptr, tile.width, tile.height};
        header.tileInfo = &info_;
    }
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    ZylImage header;

  private:
    static void ZYL_CALL serve(ZylImage *image, std::int32_t column, std::int32_t row,
                               std::int32_t mode) {
        auto *self = static_cast<Reader *>(image->tileInfo->id);
        self->held_ = nullptr;
        if (mode == ZYL_GET_TILE_TO_READ && !self->kept_.failure) {
            try {
                self->held_ = self->nodes_.pull(self->node_, column, row);
            } catch (...) {
                self->kept_.failure = std::current_exception();
            }
        }
        image->tileInfo->tileData = self->held_.get();
    }

    Nodes &nodes_;
    Pipeline::Node node_;
    Kept &kept_;
    ZylTileInfo info_{};
    Block held_;
};

// Headers of the sources of a call, and what went wrong in reading them.
class Readers {
  public:
    Readers(Nodes &nodes, Pipeline::Node node) {
        for (Pipeline::Node source : nodes[node].sources) {
            readers_.push_back(std::make_unique<Reader>(nodes, source, kept_));
            headers_.push_back(&readers_.back()->header);
        }
    }
    const std::vector<ZylImage *> &headers() const { return headers_; }

    // After the call: a source that failed comes before what followed from it.
    void check(const std::string &name) {
        if (kept_.failure) clearReport();
        kept_.rethrow();
        throwReport(name);
    }

  private:
    Kept kept_;
    std::vector<std::unique_ptr<Reader>> readers_;
    std::vector<ZylImage *> headers_;
};

// A header of a result of which there is one tile, for reading and writing.
struct OneTile {
    OneTile(const ZylImage &picture, const Grid &grid, int column, int row, unsigned char *tile)
        : header(picture), info_{serve, this, nullptr, grid.tile.width, grid.tile.height},
          column_(column), row_(row), tile_(tile) {
        header.tileInfo = &info_;
    }
    OneTile(const OneTile &) = delete;
    OneTile &operator=(const OneTile &) = delete;

    ZylImage header;

  private:
    static void ZYL_CALL serve(ZylImage *image, std::int32_t column, std::int32_t row,
                               std::int32_t mode) {
        auto *self = static_cast<OneTile *>(image->tileInfo->id);
        const bool given = mode != ZYL_RELEASE_TILE && column == self->column_ && row == self->row_;
        image->tileInfo->tileData = given ? self->tile_ : nullptr;
    }

    ZylTileInfo info_;
    int column_, row_;
    unsigned char *tile_;
};

// The tile as an image in memory.
ZylImage windowOf(const ZylImage &picture, const Grid &grid, unsigned char *tile) {
    ZylImage window = picture;
    window.width = grid.tile.width;
    window.height = grid.tile.height;
    window.widthStep = static_cast<std::int32_t>(grid.stride);
    window.imageSize = static_cast<std::int32_t>(grid.bytes);
    window.imageData = tile;
    return window;
}

} // namespace

void NodeState::setImage(std::shared_ptr<const Image> picture) {
    image = std::move(picture);
    header = *image->header();
    header.roi = nullptr;
}

void NodeState::clear() {
    spool.reset();
    strips.reset();
    needed = anywhere = false;
    passes = 0;
    if (given) return;
    image.reset();
    header = headerOf(shape);
}

int Nodes::add(NodeState node) {
    for (Pipeline::Node source : node.sources) {
        if (source < 0 || source >= static_cast<Pipeline::Node>(nodes_.size()))
            throw std::logic_error(node.name + " has a source that is no node of its pipeline");
    }
    if (node.shape.order != ZYL_DATA_ORDER_PIXEL)
        throw std::logic_error(node.name + " is not in pixel order");
    nodes_.push_back(std::move(node));
    return static_cast<int>(nodes_.size()) - 1;
}

void Nodes::checkStop() const {
    if (stop_ && *stop_) throw Failure("interrupted");
}

Block Nodes::pull(Pipeline::Node index, int column, int row) {
    NodeState &node = (*this)[index];
    if (node.strips) {
        return node.strips->get(
            row, [&](int strip, unsigned char *to) { fill(index, node.grid, 0, strip, to); });
    }
    return cache_.get({index, column, row}, node.grid.bytes, [&](unsigned char *to) {
        if (node.spool) {
            node.spool->read(column, row, to);
        } else {
            fill(index, node.grid, column, row, to);
        }
    });
}

void Nodes::fill(Pipeline::Node index, const Grid &grid, int column, int row, unsigned char *tile) {
    checkStop();
    NodeState &node = (*this)[index];
    if (!node.file && !node.image) return runPlan(index, grid, column, row, tile);
    if (grid.cut(column, row)) std::memset(tile, 0, grid.bytes);
    const Rect place = grid.place(column, row);
    const Pixels to = {tile, grid.stride};
    if (node.image) {
        const unsigned char *from = node.image->row(place.y) + columnOffset(node.shape, place.x);
        return copyPixels(node.shape, place.width, place.height, {from, node.header.widthStep}, to);
    }
    // Rows that are needed again come from another look at the file.
    if (node.inOrder() && row == 0 && std::exchange(node.started, true)) node.file = node.open();
    node.file->read(place, to);
}

void Nodes::runPlan(Pipeline::Node index, const Grid &grid, int column, int row,
                    unsigned char *tile) {
    const NodeState &node = (*this)[index];
    const QuietLibrary quiet;
    Readers readers(*this, index);
    std::memset(tile, 0, grid.bytes);
    OneTile result(node.header, grid, column, row, tile);
    ZylImage window = windowOf(node.header, grid, tile);
    const Rect place = grid.place(column, row);
    ZylROI inside = {0, 0, 0, place.height, place.width};
    window.roi = &inside;
    Request request = {readers.headers(), &result.header,    &window, place,
                       {column, row},     {place.x, place.y}};
    if (node.plan.make) {
        node.plan.make(request);
    } else {
        zylCopy(request.sources.front(), request.result, request.tile);
    }
    readers.check(node.name);
}

void Nodes::withSources(Pipeline::Node node,
                        const std::function<void(const std::vector<ZylImage *> &)> &work) {
    const QuietLibrary quiet;
    Readers readers(*this, node);
    work(readers.headers());
    readers.check((*this)[node].name);
}

void Nodes::quietly(const std::string &name, const std::function<void()> &work) {
    const QuietLibrary quiet;
    work();
    throwReport(name);
}

} // namespace tool
