// A device-independent bitmap in one block of memory: header, table or masks,
// rows.
#ifndef ZYLQX_SELFTEST_BITMAP_BLOCK_H
#define ZYLQX_SELFTEST_BITMAP_BLOCK_H

#include <zylqx.h>

#include <vector>

#include "selftest/checksum.h"
#include "selftest/random.h"

namespace selftest {

class BitmapBlock {
  public:
    // Seldom with a header that no function takes.
    BitmapBlock(Random &in, int width, int height);

    void bottomUp();
    void *data() { return words_.data(); }
    void addTo(Checksum &sum) const;

  private:
    void fillTable(Random &in, int entries);
    void fillMasks(Random &in);
    void damage(Random &in);

    std::vector<std::uint32_t> words_; // the block, aligned for its header
    bool masks_ = false;
};

} // namespace selftest

#endif
