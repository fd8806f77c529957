// Tiles in a temporary file without a name, which the system removes with the
// process, however it ends. It lies in TMPDIR, or /tmp.
#pragma once

#include "engine/grid.h"

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

  private:
    Grid grid_;
    std::string folder_;
    int file_;
};

} // namespace tool
