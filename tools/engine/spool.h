// Tiles in a temporary file without a name, which the system removes with the
// process, however it ends. It lies in TMPDIR, or /tmp.
#pragma once

#include "engine/grid.h"

#include <functional>
#include <memory>
#include <string>

namespace tool {

class Spool {
  public:
    explicit Spool(const Grid &grid);
    ~Spool();
    Spool(const Spool &) = delete;
    Spool &operator=(const Spool &) = delete;

    // Whole tiles. Both may be called by several threads at once.
    void write(int column, int row, const unsigned char *tile);
    void read(int column, int row, unsigned char *tile) const;

    // Writes all tiles. `read` gives bands of whole rows, from top to bottom.
    void fill(const Shape &shape, const std::function<void(const Rect &, Pixels)> &read);

  private:
    Grid grid_;
    std::string folder_;
    int file_;
};

// A source of any order with the picture of one that gives rows in order, which is
// stored before the first rectangle is read.
std::unique_ptr<Source> stored(std::unique_ptr<Source> source);

} // namespace tool
