#include "selftest/selftest.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "selftest/calls.h"
#include "selftest/levels.h"

namespace selftest {

namespace {

constexpr std::uint64_t SEED = 1;
constexpr int SHORT = 1000; // calls of each operation
constexpr int LONG = 1000 * SHORT;

// The checksums of the short run.
struct Kept {
    const char *name;
    std::uint64_t sum;
};
constexpr Kept KEPT[] = {
#include "selftest/checksums.inc"
    {nullptr, 0}};

constexpr const char *USAGE =
    "usage: %s [--long] [--operation NAME]... [--seed N] [--calls N] [--level NAME] [--trace]\n"
    "       %s --update FILE\n"
    "       %s --list\n"
    "\n"
    "Runs random calls of every operation at every instruction level of this machine\n"
    "and compares their checksums with each other and with those kept. Exit code 1\n"
    "when one differs.\n"
    "\n"
    "  --long            a thousand times as many calls: hours; only the levels are\n"
    "                    compared, and the checksums with those of other machines\n"
    "  --operation NAME  only this operation, zylAdd or the like\n"
    "  --seed N          other calls; only the levels are compared\n"
    "  --calls N         so many calls of each operation\n"
    "  --level NAME      only at this level\n"
    "  --trace           a line for every call: what to compare when a checksum differs\n"
    "  --update FILE     writes the checksums of this machine to FILE\n"
    "  --list            only names the operations\n";

struct Options {
    std::uint64_t seed = SEED;
    int calls = SHORT;
    std::vector<std::string> operations;
    std::string level;
    bool trace = false;
    bool list = false;
    const char *update = nullptr;
};

bool number(const char *text, std::uint64_t &value) {
    char *end = nullptr;
    value = std::strtoull(text, &end, 10);
    return *text >= '0' && *text <= '9' && *end == 0;
}

bool parse(int argc, const char *const *argv, Options &options) {
    for (int i = 1; i < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--long") {
            options.calls = LONG;
            continue;
        }
        if (option == "--trace") {
            options.trace = true;
            continue;
        }
        if (option == "--list") {
            options.list = true;
            continue;
        }
        if (++i == argc) return false;
        std::uint64_t value = 0;
        if (option == "--operation") {
            options.operations.emplace_back(argv[i]);
        } else if (option == "--level") {
            options.level = argv[i];
        } else if (option == "--update") {
            options.update = argv[i];
        } else if (option == "--seed" && number(argv[i], value)) {
            options.seed = value;
        } else if (option == "--calls" && number(argv[i], value) && value <= LONG) {
            options.calls = static_cast<int>(value);
        } else {
            return false;
        }
    }
    return true;
}

bool chosen(const std::vector<std::string> &names, const char *name) {
    for (const std::string &each : names) {
        if (each == name) return true;
    }
    return names.empty();
}

bool known(const char *name) {
    for (const Operation &operation : operations()) {
        if (std::strcmp(operation.name, name) == 0) return true;
    }
    return false;
}

const Kept *kept(const char *name) {
    for (const Kept *each = KEPT; each->name != nullptr; ++each) {
        if (std::strcmp(each->name, name) == 0) return each;
    }
    return nullptr;
}

// Every call starts from its own seed, so that any of them can be run alone.
std::uint64_t checksum(const Operation &operation, const Options &options, int level) {
    useLevel(level);
    Checksum start;
    start.add(options.seed);
    start.addText(operation.name);
    Checksum all;
    for (int i = 0; i < options.calls; ++i) {
        Case one(scatter(start.value() + static_cast<std::uint64_t>(i)));
        operation.call(one);
        one.finish();
        all.add(one.sum.value());
        if (options.trace) {
            std::printf("%s %d %s %016llx %d reports\n", operation.name, i, levelName(level),
                        static_cast<unsigned long long>(one.sum.value()), one.reports());
        }
    }
    return all.value();
}

// The line of one operation; whether all its checksums are equal.
bool runOperation(const Operation &operation, const Options &options, std::uint64_t &sum) {
    const bool comparable = options.seed == SEED && options.calls == SHORT;
    const Kept *before = comparable ? kept(operation.name) : nullptr;
    std::string verdict;
    bool first = true;
    for (int level = 0; level < levelCount(); ++level) {
        if (!options.level.empty() && options.level != levelName(level)) continue;
        const std::uint64_t found = checksum(operation, options, level);
        if (first) sum = found;
        first = false;
        if (before != nullptr ? found != before->sum : found != sum) {
            char text[64];
            std::snprintf(text, sizeof text, " %s gives %016llx", levelName(level),
                          static_cast<unsigned long long>(found));
            verdict += text;
        }
    }
    if (comparable && before == nullptr) verdict += " none kept";
    const std::uint64_t shown = before != nullptr ? before->sum : sum;
    std::printf("%-22s %016llx  %s\n", operation.name, static_cast<unsigned long long>(shown),
                verdict.empty() ? "equal" : ("DIFFERS:" + verdict).c_str());
    std::fflush(stdout);
    return verdict.empty();
}

} // namespace

int run(int argc, const char *const *argv) {
    Options options;
    bool fit = parse(argc, argv, options);
    for (const std::string &name : options.operations) fit = fit && known(name.c_str());
    bool level = options.level.empty();
    for (int i = 0; i < levelCount(); ++i) level = level || options.level == levelName(i);
    if (!fit || !level) {
        std::fprintf(stderr, USAGE, argv[0], argv[0], argv[0]);
        return 2;
    }
    if (options.list) {
        for (const Operation &operation : operations()) std::puts(operation.name);
        return 0;
    }
    int differing = 0;
    std::vector<Kept> found;
    for (const Operation &operation : operations()) {
        if (!chosen(options.operations, operation.name)) continue;
        Kept one = {operation.name, 0};
        differing += !runOperation(operation, options, one.sum);
        found.push_back(one);
    }
    useLevel(levelCount() - 1);
    std::printf("%d operations, %d calls of each, at", static_cast<int>(found.size()),
                options.calls);
    for (int i = 0; i < levelCount(); ++i) std::printf(" %s", levelName(i));
    std::printf(": %d differ\n", differing);
    if (options.update != nullptr) {
        std::FILE *file = std::fopen(options.update, "w");
        if (file == nullptr) {
            std::perror(options.update);
            return 1;
        }
        for (const Kept &one : found) {
            std::fprintf(file, "{\"%s\", 0x%016llxu},\n", one.name,
                         static_cast<unsigned long long>(one.sum));
        }
        std::fclose(file);
        return 0;
    }
    return differing != 0;
}

} // namespace selftest
