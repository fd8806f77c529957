// How operations end when memory is exhausted or a tile is not delivered.
#ifndef ZYLQX_TESTS_SUPPORT_EARLY_ENDS_H
#define ZYLQX_TESTS_SUPPORT_EARLY_ENDS_H

#include <string>
#include <vector>

#include "tests/support/images.h"

namespace support {

// How a tile that is not delivered is reported.
enum class TileFailure {
    None,      // there are no tiles
    Transfer,  // ZYL_StsError, "Error get tile to read", or "... write"
    BackTrace, // the same, and a ZYL_StsBackTrace after it
    Pieces,    // by the image's name; tiles that are held stay with the application
    Shift,     // the same in other words
    Blocks,    // by the image's name
    Mirror,    // the same in other words
    Colour,    // the same; of the destination without a report, and it goes on
    Grid,      // ZYL_StsError, "ERROR in Tiling callBack"
};

struct EarlyEnd {
    std::string function, file; // as reported
    TileFailure tile;
    ZylStatus status;     // of exhausted memory; ZYL_StsOk: ends without a report
    std::string noMemory; // its text
    // What other functions do the work, and report, for some arguments.
    std::vector<std::string> others;
    // In several passes over the destination, or over two images that are written: what
    // is left of the samples is not said.
    bool unspecified;

    bool keepsTiles() const { return tile == TileFailure::Pieces || tile == TileFailure::Shift; }

    // What is reported when image `image` of so many does not deliver a tile, to be read or
    // to be written.
    std::vector<Report> tileReports(int image, int images, bool written) const;
    std::vector<Report> memoryReports() const;
    // When image `image` does not take a tile back.
    std::vector<Report> keptReports(int image, int images) const;

    // Whether a negative status ends the call.
    bool endsByStatus() const;

  private:
    std::vector<Report> tileReport(int image, int images, const char *comparison) const;
};

// Of a function, by the name in its reports; of several ways to run out of memory, the one
// that was reported.
const EarlyEnd &earlyEndOf(const std::string &function, const std::vector<Report> &reports = {});

} // namespace support

#endif
