// A chain of operations that pulls tiles. Every node is a tiled image whose tiles
// are made when somebody asks for them, from tiles of the nodes before; what was
// made is kept as long as a common budget of bytes allows. No node is in memory
// whole, unless its plan says so.
//
// Several threads pull from the last node. They share the kept tiles; a tile that
// one of them is making is waited for by the others.
#pragma once

#include "engine/plan.h"
#include "formats/format.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool {

class Pipeline {
  public:
    using Node = int;

    struct Options {
        std::int64_t memory = std::int64_t{256} << 20; // bytes of tiles, all nodes together
        int jobs = 1;
        Tiling tile{}; // of the nodes; 0 x 0 for what suits the sink
        // Rows of the result that are written, and all of them. Called by one thread at
        // a time.
        std::function<void(std::int64_t done, std::int64_t all)> progress{};
        const std::atomic<bool> *stop = nullptr; // ends the run with Failure when set
    };

    explicit Pipeline(Options options);
    ~Pipeline();
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    // A picture file. `open` is called once, or again where the rows of a file are
    // needed twice. `name` is for messages.
    Node add(const std::string &name, std::function<std::unique_ptr<Source>()> open);
    // A picture in memory.
    Node add(Image image);
    // A step. The sources are nodes that this pipeline gave.
    Node add(Plan plan, std::vector<Node> sources);

    const Shape &shape(Node node) const;
    // Of a picture file; empty for other nodes.
    const Details &details(Node node) const;

    // Makes all of a node and writes it. Without a sink only what is measured is
    // done, in the order of the nodes.
    void run(Node node, Sink *sink);
    // The picture in memory, for those who need it whole.
    Image image(Node node);

  private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace tool
