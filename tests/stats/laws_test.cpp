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

const std::vector<Operation> TABLE = {threshold("Threshold", 100),
                                      threshold("ThresholdBelowAll", -2147483647 - 1), stretch(),
                                      equalise()};

ZYLQX_RUN_LAWS(Stats, TABLE);

} // namespace
