// Reading TIFF. Tiles, and strips that are not too large, are read in any order
// and from several threads: uncompressed ones straight from the file, others with
// one libtiff handle a thread, which keeps the tile that it decoded last. Larger
// compressed strips are decoded row by row, in order.
#include "formats.h"
#include "input.h"
#include "rows.h"
#include "text.h"
#include "tiff_exif.h"
#include "tiff_format.h"
#include "tiff_samples.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <mutex>

namespace tool {

namespace {

// A strip that is decoded at once has so many bytes at most.
constexpr std::size_t largestStrip = 2 << 20;
// No writer makes compressed tiles of more; a damaged header may tell of them.
constexpr std::size_t largestTile = std::size_t{1} << 28;

void swapBytes(unsigned char *data, std::size_t count, int bits) {
    const std::size_t size = static_cast<std::size_t>(bits) / 8;
    for (std::size_t i = 0; i + size <= count; i += size) std::reverse(data + i, data + i + size);
}

// Tiles and strips alike: blocks of the same size, row by row; the last ones of
// strips are cut at the bottom.
struct Grid {
    bool tiled = false;
    int width = 0, height = 0; // of a block
    int across = 0, down = 0;
    bool compressed = false; // or in units
    bool swapped = false;    // where blocks are not compressed

    std::uint32_t index(int column, int row, int plane) const {
        const auto perPlane = static_cast<std::uint32_t>(across) * static_cast<std::uint32_t>(down);
        return static_cast<std::uint32_t>(plane) * perPlane +
               static_cast<std::uint32_t>(row) * static_cast<std::uint32_t>(across) +
               static_cast<std::uint32_t>(column);
    }
};

void openPage(TiffFile &file, int page) {
    if (page > 1 && !TIFFSetDirectory(file.get(), static_cast<tdir_t>(page - 1)))
        throw Failure(file.takeMessage());
    const bool jpeg = file.field<std::uint16_t>(TIFFTAG_COMPRESSION) == COMPRESSION_JPEG;
    const bool ycc = file.field<std::uint16_t>(TIFFTAG_PHOTOMETRIC) == PHOTOMETRIC_YCBCR;
    if (jpeg && ycc) TIFFSetField(file.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
}

Grid gridOf(const TiffFile &file, const TiffLayout &layout) {
    Grid grid;
    grid.tiled = TIFFIsTiled(file.get()) != 0;
    std::int64_t width = layout.shape.width;
    std::int64_t height = layout.shape.height;
    if (grid.tiled) {
        width = file.field<std::uint32_t>(TIFFTAG_TILEWIDTH);
        height = file.field<std::uint32_t>(TIFFTAG_TILELENGTH);
    } else {
        // The default is one strip, 2^32 - 1 rows.
        height = std::min<std::int64_t>(height, file.field<std::uint32_t>(TIFFTAG_ROWSPERSTRIP));
    }
    checkedShape(width, height, layout.samples, layout.shape.depth);
    if (grid.tiled && width % 8 != 0) throw Failure("has tiles that are not multiples of 16");
    grid.width = static_cast<int>(width);
    grid.height = static_cast<int>(height);
    grid.across = (layout.shape.width - 1) / grid.width + 1;
    grid.down = (layout.shape.height - 1) / grid.height + 1;
    // libtiff turns the bits of files that begin with the lowest.
    const bool usualBits = file.field<std::uint16_t>(TIFFTAG_FILLORDER) == FILLORDER_MSB2LSB;
    grid.compressed = file.field<std::uint16_t>(TIFFTAG_COMPRESSION) != COMPRESSION_NONE ||
                      !usualBits || layout.ycc.subsampled();
    grid.swapped = (layout.bits == 16 || layout.bits == 32) && TIFFIsByteSwapped(file.get());
    return grid;
}

std::string placeOf(const Grid &grid, int column, int row) {
    if (grid.tiled) {
        return ", in the tile of column " + std::to_string(column) + " and row " +
               std::to_string(row);
    }
    return ", in strip " + std::to_string(row);
}

// A libtiff handle and the block that it decoded last, in all of its planes.
struct Decoder {
    Decoder(const Input &input, int page) : file(input, "rm") { openPage(file, page); }

    TiffFile file;
    int column = -1, row = -1;
    std::vector<unsigned char> block;
};

// The stored rows of a part of a block: where row `firstRow` of each plane begins,
// and which column of the picture is the first stored.
struct Stored {
    std::vector<const unsigned char *> planes;
    std::size_t stride = 0;
    int firstColumn = 0;
};

class TiffSource : public Source {
  public:
    TiffSource(std::unique_ptr<Input> input, const ReadOptions &options)
        : input_(std::move(input)), page_(options.page), file_(*input_, "rm") {
        details_.pages = static_cast<int>(TIFFNumberOfDirectories(file_.get()));
        if (page_ > 1 && page_ <= details_.pages) openPage(file_, page_);
        if (page_ <= 1) openPage(file_, 1);
        layout_ = tiffLayout(file_);
        grid_ = gridOf(file_, layout_);
        planes_ = layout_.planar ? layout_.samples : 1;
        details_.shape = layout_.shape;
        readTiffDetails(file_, details_);
        details_.metadata.exif =
            readTiffExif(file_, *input_, options.orient ? 1 : details_.orientation);
        const std::size_t blockBytes =
            layout_.storedBytes(grid_.width) * static_cast<std::size_t>(grid_.height);
        const auto larger = [&](std::size_t most) {
            return blockBytes > most / static_cast<std::size_t>(planes_);
        };
        const bool whole = grid_.tiled || layout_.ycc.subsampled();
        if (grid_.compressed && whole && larger(largestTile))
            throw Failure("has tiles or strips of more than 256 MiB: save it with smaller ones");
        inOrder_ = grid_.compressed && !whole && larger(largestStrip);
        order_ = inOrder_ ? Order::rows : Order::any;
        piece_ = {(grid_.width + 7) / 8 * 8, grid_.height};
        if (inOrder_ || (!grid_.tiled && !grid_.compressed && larger(largestStrip)))
            piece_.height = 16;
    }

  private:
    void readRect(const Rect &rect, Pixels to) override {
        if (inOrder_) return readInOrder(rect, to);
        const int lastRow = (rect.y + rect.height - 1) / grid_.height;
        const int lastColumn = (rect.x + rect.width - 1) / grid_.width;
        for (int row = rect.y / grid_.height; row <= lastRow; ++row) {
            for (int column = rect.x / grid_.width; column <= lastColumn; ++column)
                readBlock(column, row, rect, to);
        }
    }

    // The part of a block that lies in `rect`.
    void readBlock(int column, int row, const Rect &rect, Pixels to) {
        const int left = std::max(rect.x, column * grid_.width);
        const int top = std::max(rect.y, row * grid_.height);
        const Rect part = {
            left, top,
            std::min(rect.x + rect.width - left, column * grid_.width + grid_.width - left),
            std::min(rect.y + rect.height - top, row * grid_.height + grid_.height - top)};
        const Pixels target = {
            to.data + (top - rect.y) * to.stride + rowBytes(shape(), left - rect.x), to.stride};
        if (grid_.compressed) {
            readDecoded(column, row, part, target);
        } else if (!readDirectly(column, row, part, target)) {
            readUncompressed(column, row, part, target);
        }
    }

    // Converts the rows of a part, from stored rows that begin with its first one.
    void convert(const Stored &stored, const Rect &part, Pixels to) const {
        std::vector<const unsigned char *> rows = stored.planes;
        for (int y = 0; y < part.height; ++y) {
            convertTiffRow(layout_, rows.data(), part.x - stored.firstColumn, part.width,
                           to.data + y * to.stride);
            for (const unsigned char *&row : rows) row += stored.stride;
        }
    }

    // Uncompressed: where a row of a block lies in the file.
    std::uint64_t offsetOf(int column, int row, int plane, int firstRow, int rows) const {
        const std::uint32_t index = grid_.index(column, row, plane);
        const std::uint64_t offset = TIFFGetStrileOffset(file_.get(), index);
        const std::uint64_t bytes = TIFFGetStrileByteCount(file_.get(), index);
        const std::uint64_t stride = layout_.storedBytes(grid_.width);
        const auto end =
            stride * (static_cast<std::uint64_t>(firstRow) + static_cast<std::uint64_t>(rows));
        if (offset == 0 || end > bytes) throw Failure("is damaged" + placeOf(grid_, column, row));
        return offset + stride * static_cast<std::uint64_t>(firstRow);
    }

    void readBytes(std::uint64_t offset, unsigned char *to, std::size_t count, int column,
                   int row) const {
        if (input_->readAt(offset, to, count) != count)
            throw Failure("is truncated" + placeOf(grid_, column, row));
        if (grid_.swapped) swapBytes(to, count, layout_.bits);
    }

    // Whole rows of a block that lie in the file as they lie in memory.
    bool readDirectly(int column, int row, const Rect &part, Pixels to) const {
        const std::size_t stride = layout_.storedBytes(grid_.width);
        const bool same = layout_.plain && layout_.color != TiffColor::inverseGray &&
                          part.x == column * grid_.width && part.width == grid_.width &&
                          (to.stride == static_cast<std::ptrdiff_t>(stride) || part.height == 1);
        if (!same) return false;
        const std::uint64_t offset =
            offsetOf(column, row, 0, part.y - row * grid_.height, part.height);
        readBytes(offset, to.data, stride * static_cast<std::size_t>(part.height), column, row);
        return true;
    }

    void readUncompressed(int column, int row, const Rect &part, Pixels to) const {
        constexpr std::size_t bandBytes = 1 << 18;
        const std::size_t stride = layout_.storedBytes(grid_.width);
        const int firstColumn = column * grid_.width;
        // Of long rows only what is needed is read, from a whole byte on.
        const int skipped = (part.x - firstColumn) / 8 * 8;
        const std::size_t from = layout_.storedBytes(skipped);
        const std::size_t until = layout_.storedBytes(part.x - firstColumn + part.width);
        const bool narrow = until - from < stride / 4;
        const std::size_t held = narrow ? until - from : stride;
        const int band = static_cast<int>(std::max<std::size_t>(1, bandBytes / held));
        const auto planes = static_cast<std::size_t>(planes_);
        const std::size_t planeBytes = held * static_cast<std::size_t>(std::min(band, part.height));
        std::vector<unsigned char> bytes(planeBytes * planes);
        for (int y = 0; y < part.height; y += band) {
            const int rows = std::min(band, part.height - y);
            Stored stored{{}, held, narrow ? firstColumn + skipped : firstColumn};
            for (std::size_t p = 0; p < planes; ++p) {
                const std::uint64_t offset = offsetOf(column, row, static_cast<int>(p),
                                                      part.y + y - row * grid_.height, rows);
                unsigned char *target = bytes.data() + p * planeBytes;
                stored.planes.push_back(target);
                if (!narrow) {
                    readBytes(offset, target, held * static_cast<std::size_t>(rows), column, row);
                    continue;
                }
                for (std::size_t r = 0; r < static_cast<std::size_t>(rows); ++r)
                    readBytes(offset + r * stride + from, target + r * held, held, column, row);
            }
            convert(stored, {part.x, part.y + y, part.width, rows},
                    {to.data + y * to.stride, to.stride});
        }
    }

    std::unique_ptr<Decoder> takeDecoder(int column, int row) {
        const std::lock_guard lock(mutex_);
        if (idle_.empty()) return std::make_unique<Decoder>(*input_, page_);
        auto found = std::find_if(idle_.begin(), idle_.end(), [&](const auto &decoder) {
            return decoder->column == column && decoder->row == row;
        });
        if (found == idle_.end()) --found;
        std::unique_ptr<Decoder> decoder = std::move(*found);
        idle_.erase(found);
        return decoder;
    }

    void decode(Decoder &decoder, int column, int row) const {
        if (decoder.column == column && decoder.row == row) return;
        decoder.column = -1;
        TIFF *tiff = decoder.file.get();
        const std::size_t size =
            static_cast<std::size_t>(grid_.tiled ? TIFFTileSize(tiff) : TIFFStripSize(tiff));
        const std::size_t needed =
            layout_.storedBytes(grid_.width) * static_cast<std::size_t>(grid_.height);
        if (!layout_.ycc.subsampled() && size < needed) throw Failure("is damaged");
        decoder.block.resize(size * static_cast<std::size_t>(planes_));
        const int rows = std::min(grid_.height, shape().height - row * grid_.height);
        const std::size_t expected =
            grid_.tiled
                ? size
                : static_cast<std::size_t>(TIFFVStripSize(tiff, static_cast<std::uint32_t>(rows)));
        for (int p = 0; p < planes_; ++p) {
            unsigned char *to = decoder.block.data() + size * static_cast<std::size_t>(p);
            const std::uint32_t index = grid_.index(column, row, p);
            const auto wanted = static_cast<tmsize_t>(expected);
            const tmsize_t got = grid_.tiled ? TIFFReadEncodedTile(tiff, index, to, wanted)
                                             : TIFFReadEncodedStrip(tiff, index, to, wanted);
            if (got != wanted)
                throw Failure(decoder.file.takeMessage() + placeOf(grid_, column, row));
        }
        if (layout_.ycc.subsampled()) {
            decoder.block = separateUnits(layout_, decoder.block, grid_.width,
                                          grid_.tiled ? grid_.height : rows);
            if (decoder.block.empty()) throw Failure("is damaged" + placeOf(grid_, column, row));
        }
        decoder.column = column;
        decoder.row = row;
    }

    void readDecoded(int column, int row, const Rect &part, Pixels to) {
        std::unique_ptr<Decoder> decoder = takeDecoder(column, row);
        decode(*decoder, column, row);
        const std::size_t stride = layout_.storedBytes(grid_.width);
        const std::size_t planeBytes = decoder->block.size() / static_cast<std::size_t>(planes_);
        Stored stored{{}, stride, column * grid_.width};
        for (std::size_t p = 0; p < static_cast<std::size_t>(planes_); ++p) {
            stored.planes.push_back(decoder->block.data() + p * planeBytes +
                                    stride * static_cast<std::size_t>(part.y - row * grid_.height));
        }
        convert(stored, part, to);
        const std::lock_guard lock(mutex_);
        idle_.push_back(std::move(decoder));
    }

    // Each plane has a handle of its own, since a handle goes on where it was.
    void readInOrder(const Rect &rect, Pixels to) {
        while (idle_.size() < static_cast<std::size_t>(planes_)) {
            idle_.push_back(std::make_unique<Decoder>(*input_, page_));
            idle_.back()->block.resize(
                static_cast<std::size_t>(TIFFScanlineSize(idle_.back()->file.get())));
            if (idle_.back()->block.size() < layout_.storedBytes(shape().width))
                throw Failure("is damaged");
        }
        if (rect.y < nextRow_) throw Failure("rows are asked for a second time");
        for (; nextRow_ < rect.y + rect.height; ++nextRow_) {
            Stored stored;
            for (std::size_t p = 0; p < idle_.size(); ++p) {
                Decoder &decoder = *idle_[p];
                if (TIFFReadScanline(decoder.file.get(), decoder.block.data(),
                                     static_cast<std::uint32_t>(nextRow_),
                                     static_cast<std::uint16_t>(p)) < 0) {
                    throw Failure(decoder.file.takeMessage() + ", in row " +
                                  std::to_string(nextRow_));
                }
                stored.planes.push_back(decoder.block.data());
            }
            if (nextRow_ >= rect.y) {
                convert(stored, {rect.x, nextRow_, rect.width, 1},
                        {to.data + (nextRow_ - rect.y) * to.stride, to.stride});
            }
        }
    }

    std::unique_ptr<Input> input_;
    int page_;
    TiffFile file_; // the header; not for decoding
    TiffLayout layout_;
    Grid grid_;
    int planes_ = 1;
    bool inOrder_ = false;
    int nextRow_ = 0; // in order

    std::mutex mutex_; // guards idle_
    std::vector<std::unique_ptr<Decoder>> idle_;
};

} // namespace

std::unique_ptr<Source> openTiff(std::unique_ptr<Input> input, const ReadOptions &options) {
    input->makeSeekable();
    return std::make_unique<TiffSource>(std::move(input), options);
}

} // namespace tool
