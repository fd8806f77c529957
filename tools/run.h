// Runs a chain of operations from one picture file to another.
#pragma once

#include "chain.h"
#include "formats/registry.h"
#include "progress.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct RunOptions {
    int jobs = 1;
    std::int64_t memory = std::int64_t{256} << 20; // bytes
    Tiling tiles;                                  // of all steps; 0 x 0 for what suits best
    ProgressKind progress = ProgressKind::automatic;
    ReadOptions read;
    WriteOptions write;
    bool strip = false; // leave out what goes with the picture
};

// As many jobs as there are processors.
int defaultJobs();

// "64M", "2G", "512K": bytes. Throws Misuse.
std::int64_t parseMemory(const std::string &word);

// Reads `input`, runs the calls and writes `output`; without one the calls only
// print. `progress` is told of pixels, by one thread at a time.
void runChain(const std::string &input, const std::vector<Call> &calls,
              const std::optional<std::string> &output, const RunOptions &options,
              const std::function<void(std::int64_t done, std::int64_t all)> &progress);

} // namespace tool
