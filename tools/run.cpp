#include "run.h"

#include "operations.h"
#include "pictures.h"
#include "text.h"

#include <algorithm>
#include <iostream>
#include <thread>

namespace tool {

int defaultJobs() {
    return static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1u, 256u));
}

std::int64_t parseMemory(const std::string &word) {
    static constexpr std::string_view UNITS = "KMG";
    const std::size_t unit = word.empty() ? UNITS.npos : UNITS.find(word.back());
    const auto count = parseInteger(word.substr(0, word.size() - !word.empty()));
    if (unit == UNITS.npos || !count || *count < 1 || *count > 1 << 30)
        throw Misuse("--memory " + word + " is no amount such as 64M or 2G");
    return *count << 10 * (unit + 1);
}

namespace {

// Where a chain begins with a thumbnail, JPEG pictures are decoded smaller. What cannot
// be read twice is decoded whole.
std::vector<Call> shrinkFirst(std::vector<Call> calls, const std::string &input,
                              ReadOptions &read) {
    if (calls.empty() || input == "-") return calls;
    if (calls.front().operation->name != "thumbnail") return calls;
    const Details details = openSource(input, read)->details();
    if (details.format != "JPEG") return calls;
    const Shrunk shrunk = shrunkFor(calls.front(), details.shape);
    read.shrink = shrunk.by;
    calls.front() = parseCall(shrunk.words);
    return calls;
}

// No file format knows these models.
void noteModel(const Shape &shape, const std::string &output) {
    const std::string model = shape.model.substr(0, 3);
    if (!shape.color() || model == "RGB") return;
    std::cerr << "zyl: note: " << output << " holds " << model
              << " in the place of red, green and blue; "
              << (model == "HSV" ? "hsv2rgb" : "hls2rgb") << " makes colors of them\n";
}

} // namespace

void runChain(const std::string &input, const std::vector<Call> &given,
              const std::optional<std::string> &output, const RunOptions &options,
              const std::function<void(std::int64_t done, std::int64_t all)> &progress) {
    Pipeline::Options settings;
    settings.memory = options.memory;
    settings.jobs = options.jobs;
    settings.tile = options.tiles;
    settings.progress = progress;
    Pipeline pipeline(std::move(settings));

    ReadOptions read = options.read;
    const std::vector<Call> calls = shrinkFirst(given, input, read);
    const Pipeline::Node picture = addPicture(pipeline, input, read);
    const OpenPicture open = [&](const std::string &name) { return addPicture(pipeline, name); };
    Pipeline::Node node = picture;
    for (const Call &call : calls) node = planCall(call, pipeline, node, open);
    if (!output) return pipeline.run(node, nullptr);

    noteModel(pipeline.shape(node), *output);
    const Metadata metadata = options.strip ? Metadata{} : pipeline.details(picture).metadata;
    const std::unique_ptr<Sink> sink =
        createSink(*output, pipeline.shape(node), metadata, options.write);
    pipeline.run(node, sink.get());
}

} // namespace tool
