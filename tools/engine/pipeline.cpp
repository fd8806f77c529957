#include "engine/pipeline.h"

#include "engine/drain.h"
#include "engine/layout.h"
#include "engine/nodes.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace tool {

namespace {

std::int64_t bytesOf(const Shape &shape) {
    return std::int64_t{rowStride(shape, shape.width)} * shape.height;
}

std::int64_t pixelsOf(const Shape &shape) {
    return std::int64_t{shape.width} * shape.height;
}

std::string mebibytes(std::int64_t bytes) {
    return std::to_string((bytes + (1 << 20) - 1) >> 20) + " MiB";
}

// Takes a picture into memory.
class MemorySink : public Sink {
  public:
    explicit MemorySink(Image &image) : image_(image), shape_(image.shape()) {
        order_ = Order::any;
        piece_ = {shape_.width, 64};
    }

  private:
    void writeRect(const Rect &rect, ConstPixels from) override {
        copyPixels(shape_, rect.width, rect.height, from,
                   {image_.row(rect.y) + columnOffset(shape_, rect.x), image_.header()->widthStep});
    }
    void complete() override {}

    Image &image_;
    const Shape shape_;
};

} // namespace

class Pipeline::Impl {
  public:
    explicit Impl(Options options) : options_(std::move(options)), nodes_(options_.stop) {}

    void run(int last, Sink *sink);
    Image image(int last);
    Nodes &nodes() { return nodes_; }

  private:
    void begin(int last, Sink *sink);
    void look(int last, bool written);
    void prepare(int last);
    Tiling tiling(const NodeState &node, bool strips);
    void requireRoom(const NodeState &node) const;
    void layOut(int last, Tiling piece);
    void store(int index);
    void makeWhole(int index);
    std::shared_ptr<const Image> whole(int index);
    void write(int index, Sink &sink);
    void advance(std::int64_t pixels);

    Options options_;
    Nodes nodes_;
    Tiling unit_;
    int blockColumns_ = 0;
    std::int64_t done_ = 0, all_ = 0; // pixels, for progress
};

// Which nodes a run needs, how often it reads them, and whether in order.
void Pipeline::Impl::look(int last, bool written) {
    for (NodeState &node : nodes_.all()) node.clear();
    nodes_[last].needed = true;
    nodes_[last].passes = written ? 1 : 0;
    for (int index = last; index >= 0; --index) {
        const NodeState &reader = nodes_[index];
        if (!reader.needed) continue;
        // What is made once, from top to bottom, reads its sources once.
        const bool once = reader.inOrder() || reader.plan.need == Need::whole;
        const int passes = (once ? 1 : reader.passes) + (reader.plan.measure ? 1 : 0);
        const bool anywhere = reader.plan.need == Need::anywhere || (reader.anywhere && !once);
        for (int source : reader.sources) {
            NodeState &read = nodes_[source];
            read.needed = true;
            read.passes = std::max(read.passes, passes);
            read.anywhere = read.anywhere || anywhere;
        }
    }
}

Tiling Pipeline::Impl::tiling(const NodeState &node, bool strips) {
    constexpr std::int64_t STRIP_BYTES = 1 << 20;
    if (node.inOrder() && !(node.stored() && node.anywhere))
        return stripTiling(node.shape, STRIP_BYTES);
    if (node.file && !node.inOrder()) return fileTiling(node.shape, node.file->piece(), strips);
    if (options_.tile && !node.file) return options_.tile;
    if (strips && !node.inOrder()) return stripTiling(node.shape, STRIP_BYTES);
    const Tiling tile = node.sources.empty()
                            ? Tiling{tileSide(node.shape), tileSide(node.shape)}
                            : tileTiling(nodes_[node.sources.front()].shape, node.shape);
    return node.stored() ? spoolTiling(node.shape, tile, options_.memory / 4) : tile;
}

// Whole rows can be kept in a few at least, in little memory also if less than that may
// be used. Only a damaged or hostile file has longer ones.
void Pipeline::Impl::requireRoom(const NodeState &node) const {
    constexpr std::int64_t LEAST_ROWS = 16, LITTLE = 32 << 20;
    const std::int64_t bytes = LEAST_ROWS * std::int64_t{rowStride(node.shape, node.shape.width)};
    const bool rows = node.stored() || node.grid.tile.width >= node.shape.width;
    if (node.needed && !node.image && rows && bytes > std::max(options_.memory, LITTLE)) {
        throw Failure(node.name + ": needs some of its rows in memory, " + mebibytes(bytes) +
                      ", and may use " + mebibytes(options_.memory) + " (--memory)");
    }
}

// Sizes of all tiles, and how much of them is kept.
void Pipeline::Impl::layOut(int last, Tiling piece) {
    constexpr std::int64_t UNIT_BYTES = 8 << 20;   // read for what is written together
    constexpr std::int64_t BLOCK_BYTES = 20 << 20; // kept for a block of columns
    const Shape &result = nodes_[last].shape;
    bool strips = piece.width >= result.width;
    bool inOrder = false;
    double widest = 1; // bytes of all sources that go into a row of the result
    for (const NodeState &node : nodes_.all()) {
        if (!node.needed) continue;
        if (node.plan.need == Need::anywhere) strips = false;
        if (node.inOrder() && !node.stored()) inOrder = true;
        const double scale = std::max(1.0, double(node.shape.height) / result.height);
        widest = std::max(widest, scale * double(rowStride(node.shape, node.shape.width)));
    }
    for (NodeState &node : nodes_.all())
        if (node.needed) node.grid = Grid(node.shape, tiling(node, strips));
    for (const NodeState &node : nodes_.all()) requireRoom(node);
    Tiling rows = {result.width, std::clamp(static_cast<int>(double(UNIT_BYTES) / widest), 8, 64)};
    const int side = tileSide(result);
    unit_ = unitTiling(result, piece, piece.width >= result.width ? rows : Tiling{side, side});

    // A unit needs the rows of each node that go into it, and tiles that reach above
    // and below. Units that are made at once lie side by side, or one below the
    // other if they are as wide as the picture.
    const int columns = (result.width - 1) / unit_.width + 1;
    const int stacked = columns == 1 ? options_.jobs : 1;
    std::int64_t perColumn = 0;
    for (const NodeState &node : nodes_.all()) {
        if (!node.needed || node.image) continue;
        const double scale = double(node.shape.height) / result.height;
        const double height = 2.0 * node.grid.tile.height + stacked * scale * unit_.height;
        perColumn += static_cast<std::int64_t>(
            height * double(rowStride(node.shape, node.shape.width)) / columns);
    }
    const std::int64_t columnBytes = std::max<std::int64_t>(perColumn, 1);
    const std::int64_t block = std::min(options_.memory / 2, BLOCK_BYTES);
    blockColumns_ = columns;
    if (!inOrder && piece.width < result.width) {
        blockColumns_ = static_cast<int>(
            std::clamp<std::int64_t>(block / columnBytes, 4, std::max(columns, 4)));
    }
    // What blocks of columns share is made twice; beside them lies a column of tiles.
    const int kept = blockColumns_ < columns ? blockColumns_ + 2 : columns;
    nodes_.cache().reset(std::min(options_.memory, columnBytes * kept * 5 / 4));
    for (NodeState &node : nodes_.all()) {
        if (!node.needed || !node.inOrder() || node.stored()) continue;
        const double scale = double(node.shape.height) / result.height;
        const double height = 4.0 * node.grid.tile.height + options_.jobs * scale * unit_.height;
        const auto bytes = static_cast<std::int64_t>(height * double(node.grid.stride));
        node.strips =
            std::make_unique<Strips>(nodes_.pool(), node.grid, std::min(options_.memory, bytes));
    }
}

// Puts all of a node that comes from top to bottom where it can be read in any
// order: in memory if it is small, else in a temporary file.
void Pipeline::Impl::store(int index) {
    NodeState &node = nodes_[index];
    const Grid bands(node.shape, {roundUp(node.shape.width, 8), node.grid.tile.height});
    const auto read = [&](const Rect &rect, Pixels to) {
        nodes_.fill(index, bands, 0, rect.y / bands.tile.height, to.data);
        advance(std::int64_t{rect.width} * rect.height);
    };
    if (bytesOf(node.shape) > options_.memory / 4) {
        auto spool = std::make_unique<Spool>(node.grid);
        spool->fill(node.shape, read);
        node.spool = std::move(spool);
        return;
    }
    auto image = std::make_shared<Image>(Image::unfilled(node.shape));
    const Block band = nodes_.pool().get(bands.bytes);
    for (int row = 0; row < bands.rows; ++row) {
        const Rect rect = bands.place(0, row);
        read(rect, {band.get(), bands.stride});
        copyPixels(node.shape, rect.width, rect.height, {band.get(), bands.stride},
                   {image->row(rect.y), image->header()->widthStep});
    }
    node.setImage(std::move(image));
}

void Pipeline::Impl::makeWhole(int index) {
    NodeState &node = nodes_[index];
    std::int64_t bytes = bytesOf(node.shape);
    for (int source : node.sources) bytes += bytesOf(nodes_[source].shape);
    if (bytes > options_.memory) {
        throw Failure(node.name + ": needs the pictures in memory, " + mebibytes(bytes) +
                      ", and may use " + mebibytes(options_.memory) + " (--memory)");
    }
    std::vector<std::shared_ptr<const Image>> images;
    std::vector<ZylImage> headers;
    for (int source : node.sources) {
        images.push_back(whole(source));
        headers.push_back(*images.back()->header());
    }
    // Transforms share tables, also those of other pipelines.
    static std::mutex one;
    const std::lock_guard lock(one);
    auto result = std::make_shared<Image>(node.shape);
    Request request;
    for (ZylImage &header : headers) request.sources.push_back(&header);
    ZylImage header = *result->header();
    request.result = request.window = &header;
    request.place = {0, 0, node.shape.width, node.shape.height};
    request.tile[0] = request.tile[1] = 0;
    request.point = {0, 0};
    nodes_.quietly(node.name, [&] { node.plan.make(request); });
    node.setImage(std::move(result));
}

std::shared_ptr<const Image> Pipeline::Impl::whole(int index) {
    NodeState &node = nodes_[index];
    if (node.image) return node.image;
    auto image = std::make_shared<Image>(Image::unfilled(node.shape));
    MemorySink sink(*image);
    write(index, sink);
    return image;
}

void Pipeline::Impl::write(int index, Sink &sink) {
    NodeState &node = nodes_[index];
    DrainOptions options;
    options.jobs = options_.jobs;
    options.unit = unit_;
    options.blockColumns = blockColumns_;
    options.wrote = [this](std::int64_t pixels) { advance(pixels); };
    drain(
        node.shape, node.grid, [&](int column, int row) { return nodes_.pull(index, column, row); },
        sink, options);
}

void Pipeline::Impl::advance(std::int64_t pixels) {
    done_ += pixels;
    if (options_.progress) options_.progress(done_, all_);
}

// All that comes before the last pass: results that are made whole or stored, and
// what is measured.
void Pipeline::Impl::prepare(int last) {
    for (int index = 0; index <= last; ++index) {
        NodeState &node = nodes_[index];
        if (!node.needed) continue;
        if (node.plan.measure) nodes_.withSources(index, node.plan.measure);
        if (node.plan.need == Need::whole && node.isResult()) {
            makeWhole(index);
        } else if (node.stored()) {
            store(index);
        }
    }
}

void Pipeline::Impl::begin(int last, Sink *sink) {
    look(last, sink != nullptr);
    const Shape &shape = nodes_[last].shape;
    layOut(last, sink ? sink->piece() : Tiling{shape.width, 64});
    done_ = 0;
    all_ = sink ? pixelsOf(shape) : 0;
    for (const NodeState &node : nodes_.all())
        if (node.needed && node.stored()) all_ += pixelsOf(node.shape);
    prepare(last);
}

void Pipeline::Impl::run(int last, Sink *sink) {
    begin(last, sink);
    if (sink) {
        write(last, *sink);
        sink->finish();
    }
}

Image Pipeline::Impl::image(int last) {
    if (nodes_[last].given) return zyl::copy(*nodes_[last].image);
    Image image = Image::unfilled(nodes_[last].shape);
    MemorySink sink(image);
    run(last, &sink);
    return image;
}

Pipeline::Pipeline(Options options) : impl_(std::make_unique<Impl>(std::move(options))) {}

Pipeline::~Pipeline() = default;

Pipeline::Node Pipeline::add(const std::string &name,
                             std::function<std::unique_ptr<Source>()> open) {
    NodeState node;
    node.name = name;
    node.open = std::move(open);
    node.file = node.open();
    node.shape = node.file->shape();
    return impl_->nodes().add(std::move(node));
}

Pipeline::Node Pipeline::add(Image image) {
    NodeState node;
    node.shape = image.shape();
    node.given = true;
    node.setImage(std::make_shared<Image>(std::move(image)));
    return impl_->nodes().add(std::move(node));
}

Pipeline::Node Pipeline::add(Plan plan, std::vector<Node> sources) {
    NodeState node;
    node.name = plan.name;
    node.shape = plan.result;
    node.plan = std::move(plan);
    node.sources = std::move(sources);
    return impl_->nodes().add(std::move(node));
}

const Shape &Pipeline::shape(Node node) const {
    return impl_->nodes()[node].shape;
}

const Details &Pipeline::details(Node node) const {
    static const Details none;
    const NodeState &state = impl_->nodes()[node];
    return state.file ? state.file->details() : none;
}

void Pipeline::run(Node node, Sink *sink) {
    impl_->run(node, sink);
}

Image Pipeline::image(Node node) {
    return impl_->image(node);
}

} // namespace tool
