// One table of how long operations take, here, in other libraries, and for
// copying memory.
//
//     versus [--side N]... [--level NAME] [--alone] [TEXT]...
//
// gives the rows whose "operation depth side" holds every TEXT; --side takes pictures
// of N x N pixels instead of the usual sizes, --level a lower level of instructions
// than the processor has: baseline, avx2; --alone leaves other libraries out.
//
// "copy" is the time of memcpy() moving the same traffic: as many bytes read and
// written, added up, as the operation reads and writes at least. An operation
// with two sources of n bytes and a destination of n bytes is held against a
// memcpy() of 1.5 n bytes; one that reads nothing against a memset() of n bytes;
// one that writes no image against adding up as many bytes as it reads, eight at
// a time. The blocks are as large as that and come from the same allocator.
//
// "limit" is what a pixel takes at least: that copy, or the cycles that were counted
// for the arithmetic beside the row (rows.h), of a length that is measured by a chain
// of additions.
//
// "tiles" is the time with all pictures in tiles of 256 x 256 held against that in memory,
// for pictures of several tiles.
//
// What the table says of calls, tiles and sizes stands behind it in a few lines each.
//
// All calls of a row take turns, each turn preceded by a call that is not timed,
// and the least processor time of each counts, so that a noisy machine treats all alike.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <memory>
#include <string>

#include "core/levels.h"
#include "peers.h"
#include "rows.h"
#include "zylqx.h"

using namespace bench;

namespace {

using Clock = std::chrono::steady_clock;

// Turns of all calls of a row, at least so many and for at least so long.
constexpr int TURNS = 5;
constexpr std::chrono::milliseconds ROW_TIME{400};
// The time of a turn; short calls are repeated.
constexpr double TURN_NANOSECONDS = 400e3;

// Of processor time, which other programs on the machine disturb less.
double nanoseconds(const std::function<void()> &call, int repetitions) {
    const std::clock_t start = std::clock();
    for (int i = 0; i < repetitions; ++i) call();
    return double(std::clock() - start) * 1e9 / CLOCKS_PER_SEC / repetitions;
}

struct Runner {
    std::function<void()> call;
    int repetitions = 1;
    double best = 0;

    explicit Runner(std::function<void()> f) : call(std::move(f)) {
        call(); // first use: page faults, tables, detection of the processor
        best = nanoseconds(call, 1);
        while (best * repetitions < TURN_NANOSECONDS) {
            repetitions *= 2;
            best = nanoseconds(call, repetitions);
        }
    }

    void turn() {
        call();
        best = std::min(best, nanoseconds(call, repetitions));
    }
};

void addUp(const void *p, std::size_t bytes) {
    const auto *words = static_cast<const std::uint64_t *>(p);
    std::uint64_t sums[4] = {};
    for (std::size_t i = 0; i + 4 <= bytes / 8; i += 4) {
        for (std::size_t k = 0; k < 4; ++k) sums[k] += words[i + k];
    }
    asm volatile("" : : "r"(sums[0] + sums[1] + sums[2] + sums[3]));
}

std::function<void()> copyOf(const Row &row) {
    const bool set = row.read == 0;
    const bool readOnly = row.written == 0;
    const std::ptrdiff_t bytes = set        ? row.written
                                 : readOnly ? row.read
                                            : (row.read + row.written) / 2;
    const auto block = [bytes] {
        return std::shared_ptr<void>(zylMalloc(static_cast<int32_t>(bytes)), zylFree);
    };
    const std::shared_ptr<void> to = block();
    const auto size = static_cast<std::size_t>(bytes);
    // The pointers are hidden, so that no copy is left out.
    if (set) {
        return [to, size] {
            void *d = to.get();
            std::memset(d, 1, size);
            asm volatile("" : : "r"(d) : "memory");
        };
    }
    const std::shared_ptr<void> from = block();
    std::memset(from.get(), 1, size);
    if (readOnly) return [from, size] { addUp(from.get(), size); };
    return [from, to, size] {
        void *d = to.get();
        std::memcpy(d, from.get(), size);
        asm volatile("" : : "r"(d) : "memory");
    };
}

// Additions of CLOCK_CYCLES cycles, since each waits for the one before it.
constexpr int CLOCK_CYCLES = 1 << 14;
void waitForClock() {
    std::uint64_t sum = 1, step = 3;
    asm volatile("" : "+r"(step));
#pragma GCC unroll 16
    for (int i = 0; i < CLOCK_CYCLES; ++i) {
        sum += step;
        asm volatile("" : "+r"(sum));
    }
}

// What was measured, in nanoseconds.
struct Result {
    Row row;
    double call, copy;
    double tiled; // 0 where there are no tiles

    double pixels() const { return double(row.side) * row.side; }
    std::string name() const { return row.name + " " + depthName(row.depth); }
};

// Adds its result, unless the operation fails.
void measure(const Row &row, bool alone, std::vector<Result> &results) {
    const Contest contest = row.prepare(Layout::Memory);
    zylSetErrStatus(ZYL_StsOk);
    std::vector<Runner> runners;
    runners.emplace_back(contest.ours);
    if (zylGetErrStatus() != ZYL_StsOk) {
        std::printf("%-26s %-4s %5d  fails: %s\n", row.name.c_str(), depthName(row.depth), row.side,
                    zylErrorStr(zylGetErrStatus()));
        return;
    }
    runners.emplace_back(copyOf(row));
    const std::vector<Peer> peers = alone ? std::vector<Peer>() : peersOf(row, contest.pictures);
    for (const Peer &peer : peers) runners.emplace_back(peer.call);
    runners.emplace_back(waitForClock);
    const bool tiles = row.takesTiles && row.side % TILE == 0 && row.side > TILE;
    const Contest tiled = tiles ? row.prepare(Layout::Tiles) : Contest();
    if (tiles) runners.emplace_back(tiled.ours);

    const Clock::time_point start = Clock::now();
    for (int turn = 0; turn < TURNS || Clock::now() - start < ROW_TIME; ++turn) {
        for (Runner &runner : runners) runner.turn();
    }

    const double ours = runners[0].best;
    const double copy = runners[1].best;
    const double cycle = runners[peers.size() + 2].best / CLOCK_CYCLES;
    const Result result = {row, ours, copy, tiles ? runners.back().best : 0};
    const double pixels = result.pixels();
    const double limit = std::max(copy, row.cycles * pixels * cycle);
    std::printf("%-26s %-4s %5d %11.0f %9.4f %6.2f %9.4f %6.2f", row.name.c_str(),
                depthName(row.depth), row.side, ours, ours / pixels, ours / copy, limit / pixels,
                ours / limit);
    if (tiles) {
        std::printf(" %6.2f", result.tiled / ours);
    } else {
        std::printf(" %6s", "-");
    }
    for (std::size_t i = 0; i < peers.size(); ++i) {
        const double theirs = runners[i + 2].best;
        std::printf("  %s %.4f (%.2f)", peers[i].name, theirs / pixels, ours / theirs);
    }
    std::puts("");
    std::fflush(stdout);
    results.push_back(result);
}

// ---- what the table says ------------------------------------------------------------

struct Finding {
    std::string text;
    double value;
};

// Those above a bound, the largest first.
void tell(const char *title, std::vector<Finding> findings, double bound) {
    if (findings.empty()) return;
    const std::size_t all = findings.size();
    findings.erase(std::remove_if(findings.begin(), findings.end(),
                                  [bound](const Finding &f) { return f.value <= bound; }),
                   findings.end());
    std::sort(findings.begin(), findings.end(),
              [](const Finding &a, const Finding &b) { return a.value > b.value; });
    std::printf("\n%s: %zu of %zu above %g\n", title, findings.size(), all, bound);
    for (const Finding &f : findings) std::printf("    %-40s %8.2f\n", f.text.c_str(), f.value);
}

// A call on few pixels.
void tellCalls(const std::vector<Result> &results) {
    constexpr double CALL = 100, TRANSFORM = 200;
    std::vector<Finding> calls, transforms;
    for (const Result &r : results) {
        if (r.row.side != 8) continue;
        const bool transform = r.row.name.find("-2d") != std::string::npos &&
                               r.row.name.find("convolve") == std::string::npos;
        (transform ? transforms : calls).push_back({r.name(), r.call});
    }
    tell("nanoseconds of a call on 8 x 8 pixels", calls, CALL);
    tell("nanoseconds of a transform of 8 x 8 pixels", transforms, TRANSFORM);
}

// With the rows and the calls as short as they are in tiles, and no tile asked for: what a
// pixel costs in a picture of a tile's size.
std::string inPictureOfTile(const Result &tiled, const std::vector<Result> &results) {
    for (const Result &r : results) {
        if (r.row.side != TILE || r.name() != tiled.name()) continue;
        char text[32];
        std::snprintf(text, sizeof text, ", picture %.2f",
                      r.call / r.pixels() / (tiled.call / tiled.pixels()));
        return text;
    }
    return "";
}

void tellTiles(const std::vector<Result> &results) {
    std::vector<Finding> tiles;
    for (const Result &r : results) {
        if (r.tiled == 0) continue;
        tiles.push_back({r.name() + " " + std::to_string(r.row.side) + inPictureOfTile(r, results),
                         r.tiled / r.call});
    }
    tell("tiles of 256 x 256 against memory (\"picture\": one of that size does)", tiles, 1.25);
}

// How much a pixel costs more in larger pictures, held against what copying it does.
void tellGrowth(const std::vector<Result> &results) {
    std::vector<Finding> growth;
    for (const Result &small : results) {
        for (const Result &large : results) {
            const bool larger = small.row.side >= 512 && large.row.side > small.row.side &&
                                large.row.side % small.row.side == 0;
            if (!larger || small.name() != large.name()) continue;
            const double ours = large.call / large.pixels() / (small.call / small.pixels());
            const double copy = large.copy / large.pixels() / (small.copy / small.pixels());
            growth.push_back({small.name() + " " + std::to_string(small.row.side) + " to " +
                                  std::to_string(large.row.side),
                              ours / std::max(copy, 1.0)});
        }
    }
    tell("growth of a pixel's cost, relative to that of copies", growth, 1.5);
}

void printMachine() {
    std::ifstream file("/proc/cpuinfo");
    std::string machine, line;
    while (std::getline(file, line) && !line.empty()) { // of the first processor
        const std::size_t colon = line.find(": ");
        const std::string key = line.substr(0, line.find('\t'));
        if (colon == std::string::npos) continue;
        if (key == "model name") machine = line.substr(colon + 2) + machine;
        if (key == "cpu family" || key == "model") machine += ", " + key + line.substr(colon + 1);
    }
    constexpr const char *LEVELS[] = {"baseline", "avx2", "avx512"};
    std::printf("machine: %s; level %s\n", machine.empty() ? "unknown" : machine.c_str(),
                LEVELS[static_cast<int>(zylqx::currentLevel())]);
}

bool wanted(const Row &row, const std::vector<std::string> &texts) {
    const std::string line = row.name + " " + depthName(row.depth) + " " + std::to_string(row.side);
    return std::all_of(texts.begin(), texts.end(), [&line](const std::string &text) {
        return line.find(text) != std::string::npos;
    });
}

// Takes the level from then on; false when this processor does not have it.
bool takeLevel(const std::string &name) {
    using zylqx::Level;
    const Level level = name == "avx512" ? Level::Avx512
                        : name == "avx2" ? Level::Avx2
                                         : Level::Baseline;
    if (level == Level::Baseline && name != "baseline") return false;
    if (level > zylqx::bestLevel()) return false;
    zylqx::useLevel(level);
    return true;
}

} // namespace

int main(int count, char **arguments) {
    zylRedirectError(zylStdErrReport);
    zylSetErrMode(ZYL_ErrModeParent);

    std::vector<int> sides;
    std::vector<std::string> texts;
    bool alone = false;
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const std::string value = i + 1 < count ? arguments[i + 1] : "";
        if (argument == "--side" && std::atoi(value.c_str()) > 0) {
            sides.push_back(std::atoi(value.c_str()));
            ++i;
        } else if (argument == "--level" && takeLevel(value)) {
            ++i;
        } else if (argument == "--alone") {
            alone = true;
        } else if (argument.rfind("--", 0) == 0) {
            std::fprintf(stderr, "usage: versus [--side N]... [--level baseline|avx2|avx512] "
                                 "[--alone] [TEXT]...; the processor has to have the level\n");
            return 2;
        } else {
            texts.push_back(argument);
        }
    }

    printMachine();
    std::puts("copy:  our time / that of memcpy() with the same traffic, reads and writes added\n"
              "       up (memset() where nothing is read, a sum where no image is written)\n"
              "limit: nanoseconds per pixel that copying or counted cycles take at least\n"
              "times: our time / the limit\n"
              "tiles: our time in tiles of 256 x 256 / that in memory\n"
              "peer:  its nanoseconds per pixel (our time / its time)\n"
              "The least of interleaved turns; one thread.\n");
    std::printf("%-26s %-4s %5s %11s %9s %6s %9s %6s %6s  %s\n", "operation", "", "side", "ns/call",
                "ns/pixel", "copy", "limit", "times", "tiles", "peers");
    std::vector<Result> results;
    for (const Row &row : allRows(sides.empty() ? SIDES : sides)) {
        if (wanted(row, texts)) measure(row, alone, results);
    }
    tellCalls(results);
    tellTiles(results);
    tellGrowth(results);
    return 0;
}
