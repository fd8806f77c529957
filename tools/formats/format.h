// Picture files: one interface of rectangles for all formats. A source is read,
// and a sink written, piece by piece, so that no picture need be in memory whole.
//
// What differs between files is settled in their formats: orientation, color
// tables, polarity, byte order, padding. A source gives samples as operations see
// them, in the shape that it tells; a sink takes them in the shape it was made for.
#pragma once

#include "image.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

struct Rect {
    int x = 0, y = 0;
    int width = 0, height = 0;
};

// The samples of a rectangle: pixel order, top row first. In 1-bit pictures a
// rectangle begins at a multiple of 8 columns, its first pixel in the top bit.
struct Pixels {
    unsigned char *data;
    std::ptrdiff_t stride; // bytes
};
struct ConstPixels {
    const unsigned char *data;
    std::ptrdiff_t stride;
};

// What goes with a picture from file to file.
struct Metadata {
    std::vector<unsigned char> profile; // ICC
    std::vector<unsigned char> exif;    // from its TIFF header on; orientation 1 once applied
    double xDensity = 0, yDensity = 0;  // pixels per metre, 0 when unknown
    double gamma = 0;                   // as PNG's gAMA: 1 / 2.2; 0 when unknown
    std::vector<std::pair<std::string, std::string>> texts; // keyword and text, UTF-8
};

// What `info` tells, from the header alone.
struct Details {
    std::string format; // "TIFF"
    Shape shape;        // as a source gives it
    int pages = 1;
    int orientation = 1; // as the file has it, 1 to 8 as in TIFF
    std::string storage; // the format's own: "tiles 256 x 256, deflate"
    Metadata metadata;
};

struct ReadOptions {
    int page = 1;
    bool orient = true; // apply the orientation
};

// The order in which rectangles of a picture come.
enum class Order {
    rows, // whole rows, top to bottom, each once
    any   // any rectangle at any time, also from several threads at once
};

class Source {
  public:
    virtual ~Source() = default;

    const Details &details() const { return details_; }
    const Shape &shape() const { return details_.shape; }
    Order order() const { return order_; }
    // Rectangles on this grid cost least: the file's tiles, or strips of rows.
    Tiling piece() const { return piece_; }

    // Throws Failure, which tells the place in the file where it is damaged.
    virtual void read(const Rect &rect, Pixels to) = 0;

  protected:
    Details details_;
    Order order_ = Order::rows;
    Tiling piece_;
};

// A color table for files that have one: 2, 16 or 256 colors, the usual ones or
// those that suit the picture best.
struct Palette {
    int colors = 256;
    bool medianCut = true;
};

struct WriteOptions {
    std::optional<int> quality;     // JPEG and WebP, 1 to 100
    std::string compression;        // TIFF: a name; PNG: 0 to 9; empty: the format's default
    Tiling tile;                    // TIFF: tiles instead of strips
    std::optional<Palette> palette; // BMP
};

class Sink {
  public:
    virtual ~Sink() = default;

    Order order() const { return order_; }
    // Rectangles come whole on this grid, cut at the right and bottom edges.
    Tiling piece() const { return piece_; }

    virtual void write(const Rect &rect, ConstPixels from) = 0;
    // After the last rectangle. Without it the file is not complete.
    virtual void finish() = 0;

  protected:
    Order order_ = Order::rows;
    Tiling piece_;
};

// A file format.
struct Format {
    std::string_view name;
    std::string_view extensions;                // lower case, separated by blanks
    bool (*recognises)(std::string_view start); // the file's first 16 bytes, or fewer
    std::unique_ptr<Source> (*open)(const std::string &path, const ReadOptions &options);
    // Throws Failure when the format cannot hold this shape, with what would do.
    std::unique_ptr<Sink> (*create)(const std::string &path, const Shape &shape,
                                    const Metadata &metadata, const WriteOptions &options);
};

} // namespace tool
