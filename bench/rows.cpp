#include "rows.h"

namespace bench {

std::vector<Row> allRows() {
    std::vector<Row> rows;
    for (const int side : SIDES) {
        for (const auto add : {addArithRows, addFilterRows, addConvertRows, addGeometryRows,
                               addStatsRows, addTransformRows})
            add(rows, side);
    }
    return rows;
}

} // namespace bench
