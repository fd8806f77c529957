// Google Benchmark of every row. --benchmark_filter=add/8u chooses some.

#include <benchmark/benchmark.h>

#include "rows.h"

using namespace bench;

int main(int count, char **arguments) {
    benchmark::Initialize(&count, arguments);
    if (benchmark::ReportUnrecognizedArguments(count, arguments)) return 1;
    for (const Row &row : allRows()) {
        const std::string name =
            row.name + "/" + depthName(row.depth) + "/" + std::to_string(row.side);
        benchmark::RegisterBenchmark(name.c_str(), [row](benchmark::State &state) {
            const Contest contest = row.prepare(Layout::Memory);
            for ([[maybe_unused]] const auto once : state) contest.ours();
            state.SetBytesProcessed(state.iterations() * (row.read + row.written));
        });
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
