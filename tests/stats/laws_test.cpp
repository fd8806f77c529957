// The laws over the operations of statistics.

#include <algorithm>
#include <array>
#include <cstring>

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
    operation.mixesChannels = true;
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
    // Alphas of other images, with tiles of their own.
    table.push_back(mapped("AlphaCompositeMasks", "zylAlphaComposite", 4,
                           [](ZylImage *const *images, const ZylTileMapping *mapping) {
                               zylAlphaComposite(images[0], images[1], images[4],
                                                 ZYL_COMPOSITE_ATOP, images[2], images[3], nullptr,
                                                 0, 0, mapping);
                           }));
    for (const int alpha : {-1, 200}) {
        table.push_back(withAlpha(
            mapped(alpha < 0 ? "PreMultiplyAlpha" : "PreMultiplyAlpha200", "zylPreMultiplyAlpha", 0,
                   [alpha](ZylImage *const *images, const ZylTileMapping *mapping) {
                       zylPreMultiplyAlpha(images[0], alpha, mapping);
                   })));
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

// Operations that give `count` numbers for each channel, which go into an image
// that they do not see.
Operation measure(const std::string &name, const std::string &reportedName, int sources, int count,
                  const std::vector<std::uint32_t> &depths,
                  std::function<std::vector<std::int32_t>(ZylImage *const *images)> run) {
    Operation operation{
        name, reportedName, sources, [run, sources](ZylImage *const *images, const std::int32_t *) {
            const std::vector<std::int32_t> numbers = run(images);
            if (zylGetErrStatus() != ZYL_StsOk) return;
            auto *result = static_cast<TestImage *>(images[sources]->imageTag);
            const int width = result->shape().width;
            for (int i = 0; i < static_cast<int>(numbers.size()); ++i) {
                result->set(i % width, 0, i / width + 1, numbers[static_cast<std::size_t>(i)]);
            }
        }};
    operation.shapes = usualShapes(depths);
    operation.result = [count](const Shape &shape) {
        Shape result = shape;
        result.depth = ZYL_DEPTH_32S;
        result.width = count;
        result.height = 1;
        return result;
    };
    operation.measures = true;
    operation.pointwise = false;
    operation.inPlace = false;
    operation.tileArgument = false;
    return operation;
}

Operation histogram() {
    return measure("ComputeHisto", "zylComputeHisto", 1, 7, {ZYL_DEPTH_8U, ZYL_DEPTH_16U},
                   [](ZylImage *const *images) {
                       const bool deep = images[0] != nullptr && images[0]->depth == ZYL_DEPTH_16U;
                       TestLut red({0, 1, 2, 50, 128, 200, 256}, {});
                       TestLut green({0, 3, 4, 5, 252, 255, deep ? 65536 : 256}, {});
                       TestLut blue({7, 60, 61, 100, 101, 102, 250}, {});
                       ZylLUT *luts[] = {red, green, blue};
                       zylComputeHisto(images[0], luts, nullptr);
                       std::vector<std::int32_t> counts;
                       const int channels = images[0] != nullptr ? images[0]->nChannels : 0;
                       for (int c = 0; c < std::min(channels, 3); ++c) {
                           const auto &values = std::array{&red, &green, &blue}[c]->value;
                           counts.insert(counts.end(), values.begin(), values.end());
                       }
                       return counts;
                   });
}

// All kinds of norm, as the halves of their numbers.
Operation norm(int sources) {
    return measure(
        "Norm" + std::to_string(sources), "zylNorm", sources, 6,
        {std::begin(ALL_DEPTHS), std::end(ALL_DEPTHS)}, [sources](ZylImage *const *images) {
            std::vector<std::int32_t> halves;
            for (const int type : {ZYL_NORM_C, ZYL_NORM_L1, ZYL_NORM_L2}) {
                const double number = zylNorm(images[0], sources == 2 ? images[1] : nullptr, type);
                std::int32_t parts[2];
                std::memcpy(parts, &number, sizeof number);
                halves.insert(halves.end(), std::begin(parts), std::end(parts));
            }
            return halves;
        });
}

std::vector<Operation> statistics() {
    return {threshold("Threshold", 100),
            threshold("ThresholdBelowAll", -2147483647 - 1),
            stretch(),
            equalise(),
            histogram(),
            norm(1),
            norm(2)};
}

ZYLQX_RUN_LAWS(Alpha, compositions());
ZYLQX_RUN_LAWS(Stats, statistics());

} // namespace
