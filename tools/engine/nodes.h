// The nodes of a pipeline, and how their tiles are made.
#pragma once

#include "engine/blocks.h"
#include "engine/grid.h"
#include "engine/pipeline.h"
#include "engine/spool.h"
#include "engine/strips.h"
#include "engine/tile_cache.h"

#include <functional>
#include <memory>
#include <vector>

namespace tool {

struct NodeState {
    std::string name;
    Shape shape;
    ZylImage header{}; // of the whole picture; in memory if `image` is set

    // A picture file, ...
    std::function<std::unique_ptr<Source>()> open;
    std::unique_ptr<Source> file;
    bool started = false; // the first rows of `file` were read
    // ... an operation, ...
    Plan plan;
    std::vector<Pipeline::Node> sources;
    // ... or a picture in memory.
    bool given = false;

    // Where tiles are during a run: in memory, in a temporary file, in strips that
    // come in order; or else they are made one by one and kept in the cache.
    std::shared_ptr<const Image> image;
    std::unique_ptr<Spool> spool;
    std::unique_ptr<Strips> strips;
    Grid grid;

    // What the run makes of the node.
    bool needed = false;
    bool anywhere = false; // readers look at it in no order
    int passes = 0;        // how often it is read from top to bottom

    bool inOrder() const {
        if (file) return file->order() == Order::rows;
        return plan.need == Need::rowsInOrder;
    }
    bool stored() const { return inOrder() && (anywhere || passes > 1); }

    bool isResult() const { return !file && !given; }

    void setImage(std::shared_ptr<const Image> picture);
    void clear(); // what a run left
};

// Tiles of nodes, for any number of threads.
class Nodes {
  public:
    explicit Nodes(const std::atomic<bool> *stop) : stop_(stop) {}

    NodeState &operator[](Pipeline::Node node) { return nodes_[static_cast<std::size_t>(node)]; }
    std::vector<NodeState> &all() { return nodes_; }
    int add(NodeState node);

    // A tile of a node.
    Block pull(Pipeline::Node node, int column, int row);
    // The same, of another grid, past all that is kept.
    void fill(Pipeline::Node node, const Grid &grid, int column, int row, unsigned char *tile);
    // Calls work(headers of the node's sources) and throws what went wrong in it.
    void withSources(Pipeline::Node node,
                     const std::function<void(const std::vector<ZylImage *> &)> &work);

    // The same without sources.
    static void quietly(const std::string &name, const std::function<void()> &work);

    BlockPool &pool() { return pool_; }
    TileCache &cache() { return cache_; }
    void checkStop() const;

  private:
    void runPlan(Pipeline::Node node, const Grid &grid, int column, int row, unsigned char *tile);

    const std::atomic<bool> *stop_;
    BlockPool pool_;
    TileCache cache_{pool_, 0};
    std::vector<NodeState> nodes_;
};

} // namespace tool
