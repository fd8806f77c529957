// Bytes as a small picture and a chain of operations in words, one call in each line: they
// are read, planned and run, tile by tile.
#include "picture.h"

#include "chain.h"
#include "engine/reports.h"
#include "text.h"

#include <iostream>

namespace {

using namespace tool;

constexpr std::size_t mostCalls = 4;
constexpr std::int64_t mostPixels = 1 << 15;

void run(Bytes &in) {
    Pipeline::Options options;
    options.memory = 1 << in.between(12, 24);
    options.jobs = in.between(1, 2);
    if (in.flag()) options.tile = {8 * in.between(1, 5), 8 * in.between(1, 5)};
    Pipeline pipeline(std::move(options));
    const Shape shape = anyShape(in);
    Pipeline::Node node = pipeline.add(anyImage(in, shape));
    const Shape otherShape = in.flag() ? shape : anyShape(in);
    const Bytes samples = in;
    const OpenPicture open = [&](const std::string &) {
        Bytes again = samples;
        return pipeline.add(anyImage(again, otherShape));
    };

    const std::vector<std::string> words = split(in.rest(), '\n');
    for (std::size_t i = 0; i < std::min(words.size(), mostCalls); ++i) {
        node = planCall(parseCall(words[i]), pipeline, node, open);
        const Shape &result = pipeline.shape(node);
        if (std::int64_t{result.width} * result.height > mostPixels) return;
    }
    pipeline.image(node);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    std::cout.rdbuf(nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    Bytes in(data, size);
    try {
        run(in);
    } catch (const LibraryFailure &failure) {
        checkMessage(failure.what());
    } catch (const Failure &failure) {
        checkMessage(failure.what());
    }
    return 0;
}
