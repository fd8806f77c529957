// The laws over the operations of statistics that write an image.

#include "tests/stats/lut.h"
#include "tests/support/laws.h"

using namespace support;

namespace {

using Run = std::function<void(ZylImage *const *images, const std::int32_t *tile)>;

Operation oneSource(const std::string &name, const std::string &reportedName,
                    const std::vector<std::uint32_t> &depths, Run run) {
    Operation operation{name, reportedName, 1, std::move(run)};
    operation.shapes = usualShapes(depths);
    return operation;
}

Operation threshold(const std::string &name, std::int32_t limit) {
    Operation operation =
        oneSource(name, "zylThreshold",
                  {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S, ZYL_DEPTH_32S},
                  [limit](ZylImage *const *images, const std::int32_t *tile) {
                      zylThreshold(images[0], images[1], limit, tile);
                  });
    operation.abandonsTiles = true;
    return operation;
}

Operation stretch() {
    return oneSource("ContrastStretch", "zylContrastStretch", {ZYL_DEPTH_8U, ZYL_DEPTH_16U},
                     [](ZylImage *const *images, const std::int32_t *tile) {
                         TestLut red({10, 100, 200}, {250, 20, 7}, {-1, 3, 2}, true);
                         TestLut green({0, 3, 256}, {9, 4, 1});
                         TestLut blue({50, 60}, {0, 77}, {5, 6}, true);
                         ZylLUT *luts[] = {red, green, blue};
                         zylContrastStretch(images[0], images[1], luts, tile);
                     });
}

Operation equalise() {
    return oneSource("HistoEqualize", "zylHistoEqualize", {ZYL_DEPTH_8U, ZYL_DEPTH_16U},
                     [](ZylImage *const *images, const std::int32_t *tile) {
                         TestLut red({0, 10, 100, 256}, {1000, 301, 77});
                         TestLut green({0, 1, 2, 200}, {5, 0, 12345});
                         TestLut blue({100, 200}, {1});
                         ZylLUT *luts[] = {red, green, blue};
                         zylHistoEqualize(images[0], images[1], luts, tile);
                     });
}

// The operations that name a tile by one of its pixels.
Operation mapped(const std::string &name, const std::string &reportedName, int sources,
                 std::function<void(ZylImage *const *images, const ZylTileMapping *mapping)> run) {
    Operation operation{
        name, reportedName, sources,
        [run, sources](ZylImage *const *images, const std::int32_t *tile) {
            if (tile == nullptr) return run(images, nullptr);
            const ZylTileInfo *info = images[sources]->tileInfo;
            const ZylTileMapping mapping = {tile[0] * info->width + 5, tile[1] * info->height};
            run(images, &mapping);
        }};
    operation.shapes = usualShapes({ZYL_DEPTH_8U, ZYL_DEPTH_16U});
    operation.headersReported = false;
    return operation;
}

// Pictures with an alpha channel; their regions are tested elsewhere, since an
// alpha channel is not a channel of interest like others.
Operation withAlpha(Operation operation) {
    operation.shapes.clear();
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (const int channels : {4, 2}) {
            operation.shapes.push_back({.depth = depth,
                                        .channels = channels,
                                        .width = 41,
                                        .height = 27,
                                        .alpha = channels,
                                        .model = "RGBA",
                                        .sequence = "RGBA"});
        }
    }
    operation.regions = false;
    return operation;
}

std::vector<Operation> compositions() {
    std::vector<Operation> table;
    for (const int rule : {0, 1, 2, 3, 4, 5}) {
        for (const int divide : {0, 1}) {
            const std::string suffix = std::to_string(rule) + (divide != 0 ? "Divided" : "");
            table.push_back(mapped("AlphaCompositeC" + suffix, "zylAlphaCompositeC", 2,
                                   [=](ZylImage *const *images, const ZylTileMapping *mapping) {
                                       zylAlphaCompositeC(images[0], images[1], images[2], rule, 99,
                                                          200, divide, divide, mapping);
                                   }));
            table.push_back(withAlpha(
                mapped("AlphaComposite" + suffix, "zylAlphaComposite", 2,
                       [=](ZylImage *const *images, const ZylTileMapping *mapping) {
                           zylAlphaComposite(images[0], images[1], images[2], rule, nullptr,
                                             nullptr, nullptr, 0, divide, mapping);
                       })));
        }
    }
    table.push_back(mapped("MultiplySScale", "zylMultiplySScale", 1,
                           [](ZylImage *const *images, const ZylTileMapping *mapping) {
                               zylMultiplySScale(images[0], images[1], 200, mapping);
                           }));
    table.push_back(mapped("MultiplyScale", "zylMultiplyScale", 2,
                           [](ZylImage *const *images, const ZylTileMapping *mapping) {
                               zylMultiplyScale(images[0], images[1], images[2], mapping);
                           }));
    return table;
}

ZYLQX_RUN_LAWS(Alpha, compositions());

const std::vector<Operation> TABLE = {threshold("Threshold", 100),
                                      threshold("ThresholdBelowAll", -2147483647 - 1), stretch(),
                                      equalise()};

ZYLQX_RUN_LAWS(Stats, TABLE);

} // namespace
