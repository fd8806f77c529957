// A pipeline that holds the pictures of all nodes in memory.
#include "engine/pipeline.h"

#include "piece.h"

#include <deque>
#include <optional>

namespace tool {

namespace {

thread_local std::optional<std::pair<ZylStatus, std::string>> report;

ZylStatus ZYL_CALL keepReport(ZylStatus status, const char *, const char *context, const char *,
                              int) {
    if (!report) report.emplace(status, context ? context : "");
    return status;
}

} // namespace

LibraryFailure::LibraryFailure(const std::string &operation_, ZylStatus reported, std::string told)
    : Failure(operation_ + ": " + zylErrorStr(reported) + ", " + told), operation(operation_),
      status(reported), context(std::move(told)) {}

class Pipeline::Impl {
  public:
    struct Item {
        Plan plan;
        std::vector<Node> sources;
        std::optional<Image> image;
    };

    explicit Impl(Tiling tiling) : tiling_(tiling) { zylRedirectError(keepReport); }

    Node add(Item item) {
        items_.push_back(std::move(item));
        return static_cast<Node>(items_.size()) - 1;
    }
    const Shape &shape(Node node) const { return items_[node].plan.result; }

    Image &image(Node node) {
        Item &item = items_[node];
        if (item.image) return *item.image;
        const Tiling tiling = item.plan.need == Need::whole ? Tiling{} : tiling_;
        std::vector<Image> tiled;
        std::vector<ZylImage *> sources;
        for (const Node source : item.sources) {
            Image &from = image(source);
            if (tiling) tiled.push_back(from.copy(tiling));
            sources.push_back(tiling ? tiled.back().header() : from.header());
        }
        report.reset();
        zylSetErrStatus(ZYL_StsOk);
        if (item.plan.measure) item.plan.measure(sources);
        if (item.plan.make) {
            make(item, sources, tiling);
        } else {
            item.image = image(item.sources[0]).copy();
        }
        if (report) throw LibraryFailure(item.plan.name, report->first, report->second);
        return *item.image;
    }

  private:
    static void make(Item &item, const std::vector<ZylImage *> &sources, Tiling tiling) {
        Image result(item.plan.result, tiling);
        if (!tiling) tiling = {item.plan.result.width, item.plan.result.height};
        const Rect all = wholeOf(item.plan.result);
        for (int y = 0; y < all.height; y += tiling.height) {
            for (int x = 0; x < all.width; x += tiling.width) {
                const Rect place = intersection(all, {x, y, tiling.width, tiling.height});
                makeTile(item.plan, sources, result.header(), tiling, place);
            }
        }
        item.image = result.header()->tileInfo ? result.copy() : std::move(result);
    }

    static void makeTile(const Plan &plan, const std::vector<ZylImage *> &sources, ZylImage *result,
                         Tiling tiling, const Rect &place) {
        const int column = place.x / tiling.width, row = place.y / tiling.height;
        ZylImage window = *result;
        ZylROI region = regionOf({0, 0, place.width, place.height});
        if (ZylTileInfo *tiles = result->tileInfo) {
            tiles->callBack(result, column, row, ZYL_GET_TILE_TO_WRITE);
            const std::int64_t samples =
                result->dataOrder == ZYL_DATA_ORDER_PIXEL ? result->nChannels : 1;
            const std::int64_t bits = samples * tiling.width * (result->depth & ~ZYL_DEPTH_SIGN);
            window.widthStep = static_cast<std::int32_t>((bits + 31) / 32 * 4);
            window.width = tiling.width;
            window.height = tiling.height;
            window.imageSize = window.widthStep * window.height;
            window.imageData = tiles->tileData;
            window.tileInfo = nullptr;
        }
        window.roi = &region;
        Request request{sources, result, &window, place, {column, row}, {place.x, place.y}};
        plan.make(request);
        if (ZylTileInfo *tiles = result->tileInfo)
            tiles->callBack(result, column, row, ZYL_RELEASE_TILE);
    }

    Tiling tiling_;
    std::deque<Item> items_; // whose shapes stay where they are
};

Pipeline::Pipeline(Options options) : impl_(std::make_unique<Impl>(options.tile)) {}
Pipeline::~Pipeline() = default;

Pipeline::Node Pipeline::add(Image image) {
    Impl::Item item;
    item.plan.result = image.shape();
    item.image = std::move(image);
    return impl_->add(std::move(item));
}

Pipeline::Node Pipeline::add(Plan plan, std::vector<Node> sources) {
    return impl_->add({std::move(plan), std::move(sources), {}});
}

const Shape &Pipeline::shape(Node node) const {
    return impl_->shape(node);
}

void Pipeline::run(Node node, Sink *) {
    impl_->image(node);
}

Image Pipeline::image(Node node) {
    return std::move(impl_->image(node));
}

} // namespace tool
