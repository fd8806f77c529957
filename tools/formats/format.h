// Picture files: one interface of rectangles for all formats. A source is read,
// and a sink written, piece by piece, so that no picture need be in memory whole.
//
// What differs between files is settled in their formats: orientation, color
// tables, polarity, byte order, padding. A source gives samples as operations see
// them, in the shape that it tells; a sink takes them in the shape it was made for.
// registry.h opens and creates files by their names.
#pragma once

#include "image.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tool {

class Input;
class Output;

struct Rect {
    int x = 0, y = 0;
    int width = 0, height = 0;
};

// The samples of a rectangle: pixel order, top row first. In 1-bit pictures a
// rectangle begins at a multiple of 8 columns, its first pixel in the top bit;
// bits after the last pixel of a row are of any value.
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
    // Pixels per metre, 0 when unknown. No picture needs more than the most, which most files have
    // room for.
    static constexpr double mostDensity = 2e9;
    double xDensity = 0, yDensity = 0;
    double gamma = 0;                   // as PNG's gAMA: 1 / 2.2; 0 when unknown
    std::optional<int> renderingIntent; // of sRGB, where a PNG says that it is sRGB
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

// The order in which rectangles of a picture come.
enum class Order {
    rows, // whole rows, top to bottom, each once; a source lets rows be left out
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

    // Throws Failure, which tells the file's name and the place where it is damaged.
    void read(const Rect &rect, Pixels to);

    // The name that failures begin with; none while it is empty.
    void setName(std::string name) { name_ = std::move(name); }

  protected:
    virtual void readRect(const Rect &rect, Pixels to) = 0;

    Details details_;
    Order order_ = Order::rows;
    Tiling piece_;

  private:
    std::string name_;
};

struct ReadOptions {
    int page = 1;
    bool orient = true; // apply the orientation
    // 1, 2, 4 or 8: JPEG pictures are decoded with sides that many times smaller,
    // rounded up, in less time. Other formats do not look at it.
    int shrink = 1;
    // Makes a source of any order from one of rows, for orientations that need it.
    // Called when the first rectangle is read. Without it the picture is held in
    // memory.
    std::function<std::unique_ptr<Source>(std::unique_ptr<Source>)> spool;
};

// A color table for files that have one: 2, 16 or 256 colors, the usual ones or
// those that suit the picture best.
struct Palette {
    int colors = 256;
    bool medianCut = true;
};

struct WriteOptions {
    std::optional<int> quality;     // JPEG and WebP, 1 to 100
    std::string compression;        // TIFF: a name; PNG: 0 to 9; WebP: lossless; empty: the default
    Tiling tile;                    // TIFF: tiles, multiples of 16, instead of strips
    std::optional<Palette> palette; // BMP
};

class Sink {
  public:
    virtual ~Sink() = default;

    Order order() const { return order_; }
    // Any order: rectangles come whole on this grid, cut at the right and bottom
    // edges. Rows: any number of them at a time; strips of this height suit best.
    Tiling piece() const { return piece_; }

    // Throw Failure, which tells the file's name.
    void write(const Rect &rect, ConstPixels from);
    // After the last rectangle: puts the file in its place. Without it no file
    // appears and an old one stays as it was.
    void finish();

    void setName(std::string name) { name_ = std::move(name); }

  protected:
    virtual void writeRect(const Rect &rect, ConstPixels from) = 0;
    virtual void complete() = 0;

    Order order_ = Order::rows;
    Tiling piece_;

  private:
    std::string name_;
};

// Options that say how files are written; combine with |.
enum WriteOption : unsigned { QUALITY = 1, COMPRESSION = 2, TILE = 4, PALETTE = 8 };

// A file format.
struct Format {
    std::string_view name;
    std::string_view extensions;                // lower case, separated by blanks
    bool (*recognises)(std::string_view start); // the file's first 16 bytes, or fewer
    // The samples as they lie in the file; details().orientation tells how.
    std::unique_ptr<Source> (*open)(std::unique_ptr<Input> input, const ReadOptions &options);
    // Throws Failure when the format cannot hold this shape, with what would do.
    std::unique_ptr<Sink> (*create)(std::unique_ptr<Output> output, const Shape &shape,
                                    const Metadata &metadata, const WriteOptions &options);
    unsigned options; // that it takes
};

} // namespace tool
