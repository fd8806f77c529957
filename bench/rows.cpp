#include "rows.h"

namespace bench {

std::vector<Row> allRows(const std::vector<int> &sides) {
    std::vector<Row> rows;
    for (const int side : sides) {
        for (const auto add : {addArithRows, addFilterRows, addConvertRows, addGeometryRows,
                               addStatsRows, addTransformRows})
            add(rows, side);
    }
    return rows;
}

} // namespace bench
