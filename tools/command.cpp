#include "command.h"

#include "batch.h"
#include "chart.h"
#include "formats/info.h"
#include "help.h"
#include "operations.h"
#include "pictures.h"
#include "run.h"
#include "sheet.h"
#include "text.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <iostream>
#include <new>
#include <string_view>

namespace tool {

namespace {

constexpr int exitFailed = 1; // a file or an operation did not work
constexpr int exitMisused = 2;

bool verbose = false; // adds the library's own words to errors

constexpr const char *usageBefore = "zyl runs image operations on picture files.\n"
                                    "\n"
                                    "  zyl INPUT [OPERATION[:name=value,...]]... OUTPUT\n";
constexpr const char *usageBehind =
    "\n"
    "  zyl photo.jpg auto-level resize:width=800 unsharp:sigma=1 small.jpg\n"
    "\n"
    "Reads and writes PNG, JPEG, TIFF, BMP, WebP and PNM. INPUT is known by its content,\n"
    "OUTPUT by its extension; - is standard input, and -:png standard output. OUTPUT\n"
    "may be left out when the last operation only prints. A comma inside a\n"
    "value has a backslash before it.\n"
    "Exit codes: 0 done, 1 a file or an operation failed, 2 a wrong command line.";

// The library's number alone: its text may say more.
std::string version() {
    const ZylLibVersion *known = zylGetLibVersion();
    return std::to_string(known->majorVersion) + "." + std::to_string(known->minorVersion) + "." +
           std::to_string(known->buildNumber);
}

struct Options {
    std::vector<std::string> words;
    int jobs = defaultJobs();
    std::string memory = "256M";
    bool progress = false;
    bool quiet = false;
    std::string to;
    bool force = false;
    std::string tiles;
    std::string view;
    std::optional<int> colors;
    std::optional<std::string> palette;
    ReadOptions read;
    WriteOptions write;
    bool noOrient = false;
    bool strip = false;
    bool json = false;
    bool verbose = false;
    std::string tile;
};

// The color table that the options ask for, if any.
std::optional<Palette> paletteOf(const Options &options) {
    if (!options.colors && !options.palette) return {};
    return Palette{options.colors.value_or(256), options.palette != "standard"};
}

Tiling parseTiling(const std::string &option, const std::string &word) {
    if (word.empty()) return {};
    std::vector<std::string> sides = split(word, 'x');
    auto width = parseInteger(sides.front()), height = parseInteger(sides.back());
    auto valid = [](auto side) { return side && *side > 0 && *side <= 32768 && *side % 8 == 0; };
    if (sides.size() > 2 || !valid(width) || !valid(height))
        throw Misuse(option + " " + word + " is not a size in multiples of 8, as 256 or 256x128");
    return {static_cast<int>(*width), static_cast<int>(*height)};
}

void info(const std::string &name, const Options &options) {
    const Details details = openSource(name, options.read)->details();
    std::cout << (options.json ? infoJson(name, details) : infoText(name, details));
}

void sheet(const Options &options) {
    constexpr int columns = 4;
    const std::vector<std::string> &words = options.words;
    formatOfName(words[1]);
    writePicture(words[1], drawSheet({words.begin() + 2, words.end()}, columns), {}, options.write);
}

bool isPrinting(const std::string &word) {
    const Operation *operation = operationOf(word);
    return operation && (operation->traits & prints);
}

RunOptions runOptions(const Options &options) {
    RunOptions run;
    run.jobs = options.jobs;
    run.memory = parseMemory(options.memory);
    run.tiles = parseTiling("--tiles", options.tiles);
    if (options.progress) run.progress = ProgressKind::lines;
    if (options.quiet) run.progress = ProgressKind::none;
    run.read = options.read;
    run.write = options.write;
    run.strip = options.strip;
    return run;
}

void runPicture(std::vector<std::string> words, const Options &options) {
    std::optional<std::string> output;
    if (!isPrinting(words.back())) {
        output = words.back();
        words.pop_back();
        if (words.empty() || operationOf(*output))
            throw Misuse("OUTPUT is missing after '" + *output + "'");
        formatOfName(*output);
    }
    std::vector<Call> calls;
    for (std::size_t i = 1; i < words.size(); ++i) calls.push_back(parseCall(words[i]));
    if (!options.view.empty()) calls.push_back(parseCall("view-" + options.view));

    const RunOptions run = runOptions(options);
    Progress progress(run.progress, "pixels");
    runChain(words.front(), calls, output, run, [&](std::int64_t done, std::int64_t all) {
        progress.update(static_cast<double>(done), static_cast<double>(all));
    });
    progress.finish();
}

void batch(const Options &options) {
    const std::vector<std::string> words(options.words.begin() + 1, options.words.end());
    runBatch(words, {runOptions(options), options.to, options.force});
}

void dispatch(const Options &options) {
    const std::vector<std::string> &words = options.words;
    const std::string &first = words.front();
    if (first == "list" && words.size() == 1) return writeList(std::cout);
    if (first == "help" && words.size() == 2) return writeHelp(std::cout, words[1]);
    if (first == "info" && words.size() == 2) return info(words[1], options);
    if (first == "chart" && words.size() == 2)
        return writePicture(words[1], drawChart(), {}, options.write);
    if (first == "sheet" && words.size() > 2) return sheet(options);
    if (first == "batch" && words.size() > 1) return batch(options);
    if (isCommand(first)) throw Misuse("zyl help " + first + " tells what stands after it");
    runPicture(words, options);
}

int run(int argc, char **argv) {
    Options options;
    CLI::App app(usageBefore + usageOfCommands() + usageBehind, "zyl");
    app.add_option("WORDS", options.words)->group("");
    app.add_option("--jobs", options.jobs, "threads; as many as processors if not given")
        ->check(CLI::Range(1, 256));
    app.add_option("--memory", options.memory,
                   "for the tiles of all steps, as in 64M or 2G (256M)");
    app.add_flag("--progress", options.progress, "tell in plain lines how far the work is");
    app.add_flag("--quiet", options.quiet, "do not tell how far the work is");
    app.add_option("--to", options.to, "batch: the names of the results");
    app.add_flag("--force", options.force, "batch: overwrite files");
    app.add_option("--tiles", options.tiles,
                   "make the results of all operations in tiles of this size");
    app.add_option("--view", options.view, "write a picture of the result's spectrum instead")
        ->check(CLI::IsMember({"spectrum"}));
    app.add_option("--colors", options.colors, "write a BMP file with 2, 16 or 256 colors")
        ->check(CLI::IsMember({2, 16, 256}));
    app.add_option("--palette", options.palette,
                   "the colors: those that suit the picture (median-cut), or the usual ones "
                   "(standard)")
        ->check(CLI::IsMember({"median-cut", "standard"}));
    app.add_option("--page", options.read.page, "read this page of the file, from 1 on");
    app.add_flag("--no-orient", options.noOrient, "read the samples as they lie in the file");
    app.add_flag("--strip", options.strip, "leave out the profile, Exif, resolution and texts");
    app.add_flag("--json", options.json, "info as JSON");
    app.add_option("--quality", options.write.quality, "of JPEG and WebP files, 1 to 100")
        ->check(CLI::Range(1, 100));
    app.add_option("--compression", options.write.compression,
                   "of TIFF files, by name; of PNG files, 0 to 9; lossless for WebP");
    app.add_option("--tile", options.tile,
                   "write a TIFF file in tiles of this size, as 256 or 256x128");
    app.add_flag("--verbose", options.verbose, "add the library's own words to an error");
    app.set_version_flag("--version", [] { return "zyl " + version(); });
    bool manual = false;
    std::string shell;
    app.add_flag("--manual", manual, "write the manual page")->group("");
    app.add_option("--completion", shell, "write the completion of words for a shell")->group("");
    // "-:png" is no option, but standard output. ":png" names it as well.
    for (int i = 1; i < argc; ++i)
        if (std::string_view(argv[i]).substr(0, 2) == "-:") ++argv[i];
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &answered) {
        return app.exit(answered);
    } catch (const CLI::ParseError &error) {
        std::cerr << "zyl: " << error.what() << '\n';
        return exitMisused;
    }
    if (manual) writeManual(std::cout, app, version());
    if (!shell.empty()) writeCompletion(std::cout, app, shell);
    if (manual || !shell.empty()) return 0;
    if (options.words == std::vector<std::string>{"help"}) {
        std::cout << app.help();
        return 0;
    }
    if (options.words.empty()) {
        std::cerr << app.get_description() << '\n';
        return exitMisused;
    }
    verbose = options.verbose;
    options.read.orient = !options.noOrient;
    options.write.palette = paletteOf(options);
    options.write.tile = parseTiling("--tile", options.tile);
    dispatch(options);
    return 0;
}

// What a report of the library means for the picture.
std::string sentence(const LibraryFailure &failure) {
    std::string text = failure.operation + ": ";
    const auto about = [&](const char *word) {
        return failure.context.find(word) != std::string::npos;
    };
    if (failure.status == ZYL_StsNoMem || about("llocation")) {
        text += "there is not enough memory";
    } else if (about("tile")) {
        text += "a part of the picture could not be read";
    } else if (about("No calculations")) {
        text += "takes pictures of two pixels or more";
    } else {
        text += "the library does not do this with this picture";
    }
    if (verbose) text += " (" + failure.context + ")";
    return text;
}

} // namespace

int runCommand(int argc, char **argv) {
    try {
        const int code = run(argc, argv);
        std::cout.flush();
        if (!std::cout) throw Failure("cannot write to standard output");
        return code;
    } catch (const Misuse &misuse) {
        std::cerr << "zyl: " << misuse.what() << '\n';
        return exitMisused;
    } catch (const LibraryFailure &failure) {
        std::cerr << "zyl: " << sentence(failure) << '\n';
    } catch (const std::bad_alloc &) {
        std::cerr << "zyl: not enough memory\n";
    } catch (const std::exception &failure) {
        std::cerr << "zyl: " << failure.what() << '\n';
    }
    return exitFailed;
}

} // namespace tool
