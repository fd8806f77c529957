// Reading BMP: headers of 12 to 124 bytes; 1 to 8 bits with a color table, 16 to
// 32 bits with color masks; plain or in runs. Rows are found in the file, so that
// any order will do.
#include "bmp_format.h"
#include "input.h"
#include "rows.h"
#include "text.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace tool {

namespace {

using namespace bmp;

using Color = std::array<unsigned char, 3>; // red, green, blue

// A channel in the bits of a pixel.
struct Mask {
    std::uint32_t bits = 0;

    unsigned char of(std::uint32_t pixel) const {
        if (bits == 0) return 0;
        const int shift = std::countr_zero(bits);
        const std::uint64_t most = bits >> shift;
        return static_cast<unsigned char>((((pixel & bits) >> shift) * 255ULL + most / 2) / most);
    }
    bool contiguous() const {
        const std::uint32_t low = bits == 0 ? 0 : bits >> std::countr_zero(bits);
        return (low & (low + 1)) == 0;
    }
};

struct Header {
    std::uint32_t size = 0;
    std::int64_t width = 0, height = 0;
    bool topDown = false;
    int bits = 0;
    std::uint32_t compression = plain;
    std::uint32_t colors = 0; // in the table
    std::uint32_t pixels = 0; // where they begin in the file
    std::array<Mask, 4> masks;
    double xDensity = 0, yDensity = 0;

    bool runs() const {
        return compression == runs8 || compression == runs4 || compression == runs24;
    }
    bool fields() const { return compression == bitFields || compression == alphaBitFields; }
    std::uint64_t stride() const {
        return (static_cast<std::uint64_t>(width) * static_cast<std::uint64_t>(bits) + 31) / 32 * 4;
    }
};

void require(bool condition, const char *otherwise) {
    if (!condition) throw Failure(otherwise);
}

// Little-endian numbers at positions of the file; past its end they are 0.
class Fields {
  public:
    explicit Fields(const Input &input) : input_(input) {}

    std::uint32_t word(std::uint64_t offset) const { return number(offset, 4); }
    std::uint16_t half(std::uint64_t offset) const {
        return static_cast<std::uint16_t>(number(offset, 2));
    }

  private:
    std::uint32_t number(std::uint64_t offset, std::size_t size) const {
        unsigned char bytes[4] = {};
        input_.readAt(offset, bytes, size);
        return bytes[0] | bytes[1] << 8 | bytes[2] << 16 |
               static_cast<std::uint32_t>(bytes[3]) << 24;
    }

    const Input &input_;
};

void readCoreFields(const Fields &fields, Header &header) {
    header.width = fields.half(fileHeaderSize + 4);
    header.height = fields.half(fileHeaderSize + 6);
    header.bits = fields.half(fileHeaderSize + 10);
}

void readInfoFields(const Fields &fields, Header &header) {
    const auto field = [&](std::uint32_t offset) { return fields.word(fileHeaderSize + offset); };
    header.width = static_cast<std::int32_t>(field(4));
    header.height = static_cast<std::int32_t>(field(8));
    header.topDown = header.height < 0;
    if (header.topDown) header.height = -header.height;
    header.bits = fields.half(fileHeaderSize + 14);
    if (header.size < infoHeader) return; // the short kind of 16 bytes
    header.compression = field(16);
    header.xDensity = static_cast<std::int32_t>(field(24));
    header.yDensity = static_cast<std::int32_t>(field(28));
    header.colors = field(32);
    const bool os2Only = header.size == os2Header && header.compression == bitFields;
    require(!os2Only, "is compressed by the code of fax machines, which zyl does not read");
}

void requireKnown(const Header &header) {
    static constexpr int sizes[] = {1, 2, 4, 8, 16, 24, 32};
    require(header.width > 0 && header.height > 0, "has no pixels");
    require(std::find(std::begin(sizes), std::end(sizes), header.bits) != std::end(sizes),
            "does not have 1, 2, 4, 8, 16, 24 or 32 bits a pixel");
    switch (header.compression) {
    case plain:
        return;
    case runs8:
        return require(header.bits == 8, "has runs of 8 bits in pixels of other bits");
    case runs4:
        return require(header.bits == 4, "has runs of 4 bits in pixels of other bits");
    case runs24:
        // Elsewhere the code means a JPEG file.
        require(header.size == os2Header, "holds a JPEG file, which zyl does not look for");
        return require(header.bits == 24, "has runs of 24 bits in pixels of other bits");
    case bitFields:
    case alphaBitFields:
        return require(header.bits == 16 || header.bits == 32,
                       "has bit fields in pixels of other than 16 or 32 bits");
    default:
        throw Failure("is compressed in a way that zyl does not know (" +
                      std::to_string(header.compression) + ")");
    }
}

void readMasks(const Fields &fields, Header &header) {
    if (header.bits == 16) header.masks = {Mask{0x7C00}, Mask{0x03E0}, Mask{0x001F}, Mask{}};
    if (header.bits == 32) header.masks = {Mask{0xFF0000}, Mask{0xFF00}, Mask{0xFF}, Mask{}};
    if (!header.fields()) return;
    // After the header of 40 bytes, or inside a later one: the same place.
    const bool alpha = header.size >= alphaMaskField + 4 || header.compression == alphaBitFields;
    for (std::size_t c = 0; c < 4; ++c) {
        std::uint32_t bits = c < 3 || alpha ? fields.word(fileHeaderSize + masksField + 4 * c) : 0;
        if (header.bits == 16) bits &= 0xFFFF;
        header.masks[c] = {bits};
        require(header.masks[c].contiguous(), "has a color mask with gaps");
    }
    require((header.masks[0].bits | header.masks[1].bits | header.masks[2].bits) != 0,
            "has empty color masks");
}

std::uint64_t tableOffset(const Header &header) {
    std::uint64_t offset = fileHeaderSize + header.size;
    if (header.size == infoHeader && header.fields())
        offset += header.compression == alphaBitFields ? 16 : 12;
    return offset;
}

Header readHeader(const Input &input) {
    const Fields fields(input);
    require(input.size() >= fileHeaderSize + coreHeader, "is truncated");
    Header header;
    header.size = fields.word(fileHeaderSize);
    require(header.size >= coreHeader && header.size <= 4096, "has a header of an unknown kind");
    require(input.size() >= fileHeaderSize + header.size, "is truncated");
    if (header.size == coreHeader) {
        readCoreFields(fields, header);
    } else {
        require(header.size >= 16, "has a header of an unknown kind");
        readInfoFields(fields, header);
    }
    requireKnown(header);
    readMasks(fields, header);
    header.pixels = fields.word(10);
    const std::uint64_t table = tableOffset(header);
    if (header.pixels == 0) header.pixels = static_cast<std::uint32_t>(table);
    require(header.pixels >= table, "has its pixels before the end of its header");
    return header;
}

// Colors that the file does not have are black, as in other readers.
std::vector<Color> readTable(const Input &input, const Header &header) {
    if (header.bits > 8) return {};
    const std::size_t most = std::size_t{1} << header.bits;
    const std::size_t entry = header.size == coreHeader ? 3 : 4;
    const std::uint64_t table = tableOffset(header);
    std::size_t count = header.colors == 0 ? most : std::min<std::size_t>(header.colors, most);
    count = std::min<std::size_t>(count, (header.pixels - table) / entry);
    std::vector<unsigned char> bytes(count * entry);
    input.readWholeAt(table, bytes.data(), bytes.size());
    std::vector<Color> colors(most);
    for (std::size_t i = 0; i < count; ++i)
        colors[i] = {bytes[i * entry + 2], bytes[i * entry + 1], bytes[i * entry]};
    return colors;
}

bool allGray(const std::vector<Color> &colors) {
    return std::all_of(colors.begin(), colors.end(),
                       [](const Color &c) { return c[0] == c[1] && c[1] == c[2]; });
}

// Black and white alone, in either order.
bool bitonal(const std::vector<Color> &colors) {
    return colors.size() == 2 && allGray(colors) && colors[0][0] + colors[1][0] == 255 &&
           (colors[0][0] == 0 || colors[1][0] == 0);
}

// The bytes of runs from a position on, through a small buffer.
class Bytes {
  public:
    Bytes(const Input &input, std::uint64_t offset) : input_(input), offset_(offset) {}

    std::uint64_t offset() const { return offset_ - (filled_ - at_); }
    bool ended() { return at_ == filled_ && !refill(); }
    // 0 past the end.
    unsigned char next() { return ended() ? 0 : buffer_[at_++]; }

  private:
    bool refill() {
        at_ = 0;
        filled_ = input_.readAt(offset_, buffer_, sizeof buffer_);
        offset_ += filled_;
        return filled_ > 0;
    }

    const Input &input_;
    std::uint64_t offset_;
    std::size_t at_ = 0, filled_ = 0;
    unsigned char buffer_[512];
};

// Where the runs of a row begin. Rows count from the bottom.
struct RunStart {
    std::int64_t row;
    std::int64_t x;
    std::uint64_t offset;
};

// Decodes runs until their row ends; gives where those of the next begin, nothing
// at the end of the picture. `put(x, pixel)` gets the pixels. 4-bit pixels are
// given as 8 bits, 24-bit pixels as 0xRRGGBB.
template <class Put>
std::optional<RunStart> decodeRuns(Bytes &bytes, int bits, RunStart at, Put put) {
    const auto pixel = [&] {
        std::uint32_t value = bytes.next();
        if (bits == 24) {
            value |= static_cast<std::uint32_t>(bytes.next()) << 8;
            value |= static_cast<std::uint32_t>(bytes.next()) << 16;
        }
        return value;
    };
    while (!bytes.ended()) {
        const int count = bytes.next();
        if (count > 0) {
            const std::uint32_t value = pixel();
            for (int i = 0; i < count; ++i)
                put(at.x++, bits != 4 ? value : i % 2 == 0 ? value >> 4 : value & 15);
            continue;
        }
        const int code = bytes.next();
        switch (code) {
        case 0:
            return RunStart{at.row + 1, 0, bytes.offset()};
        case 1:
            return std::nullopt;
        case 2: {
            at.x += bytes.next();
            const int rows = bytes.next();
            if (rows > 0) return RunStart{at.row + rows, at.x, bytes.offset()};
            break;
        }
        default: {
            std::uint32_t value = 0;
            for (int i = 0; i < code; ++i) {
                if (bits != 4 || i % 2 == 0) value = pixel();
                put(at.x++, bits != 4 ? value : i % 2 == 0 ? value >> 4 : value & 15);
            }
            const int used = bits == 4 ? (code + 1) / 2 : code * bits / 8;
            if (used % 2 != 0) bytes.next(); // to an even number of bytes
        }
        }
    }
    throw Failure("is truncated, in row " + std::to_string(at.row) + " from the bottom");
}

class BmpSource : public Source {
  public:
    explicit BmpSource(std::unique_ptr<Input> input)
        : input_(std::move(input)), header_(readHeader(*input_)),
          colors_(readTable(*input_, header_)) {
        const bool gray = header_.bits <= 8 && allGray(colors_);
        const bool one = header_.bits == 1 && bitonal(colors_);
        const int channels = gray ? 1 : header_.masks[3].bits != 0 ? 4 : 3;
        details_.shape = checkedShape(header_.width, header_.height, channels,
                                      one ? ZYL_DEPTH_1U : ZYL_DEPTH_8U);
        order_ = Order::any;
        constexpr int usualRows = 16;
        piece_ = {(shape().width + 7) / 8 * 8, usualRows};
        if (header_.runs()) findRuns();
        describe();
    }

  private:
    void describe() {
        static const char *const names[] = {"",        ", RLE8", ", RLE4",      ", bit fields",
                                            ", RLE24", "",       ", bit fields"};
        details_.format = "BMP";
        details_.storage = std::to_string(header_.bits) + " bits" +
                           (header_.bits <= 8 ? ", palette" : "") + names[header_.compression] +
                           (header_.topDown ? ", top row first" : "");
        Metadata &metadata = details_.metadata;
        metadata.xDensity = std::max(0.0, header_.xDensity);
        metadata.yDensity = std::max(0.0, header_.yDensity);
        readProfile(metadata.profile);
    }

    void readProfile(std::vector<unsigned char> &profile) const {
        const Fields fields(*input_);
        const auto field = [&](std::size_t offset) { return fields.word(fileHeaderSize + offset); };
        if (header_.size < version5Header || field(colorSpaceField) != embeddedProfile) return;
        const std::uint64_t offset = fileHeaderSize + field(profileField);
        const std::uint64_t size = field(profileSizeField);
        if (offset > input_->size() || size > input_->size() - offset) return;
        profile.resize(size);
        input_->readWholeAt(offset, profile.data(), profile.size());
    }

    // One walk over all runs finds where the rows begin.
    void findRuns() {
        RunStart start{0, 0, header_.pixels};
        Bytes bytes(*input_, header_.pixels);
        while (start.row < header_.height) {
            starts_.push_back(start);
            const auto next =
                decodeRuns(bytes, header_.bits, start, [](std::int64_t, std::uint32_t) {});
            if (!next) return;
            start = *next;
        }
    }

    void readRect(const Rect &rect, Pixels to) override {
        std::vector<unsigned char> stored(header_.stride());
        for (int y = 0; y < rect.height; ++y) {
            const std::int64_t fromTop = rect.y + y;
            const std::int64_t row = header_.topDown ? fromTop : header_.height - 1 - fromTop;
            if (header_.runs()) {
                readRuns(row, stored);
            } else {
                readPlain(row, fromTop, stored);
            }
            convertRow(stored.data(), rect, to.data + y * to.stride);
        }
    }

    void readPlain(std::int64_t row, std::int64_t fromTop,
                   std::vector<unsigned char> &stored) const {
        // The last row's padding may be missing.
        const std::size_t used =
            (static_cast<std::size_t>(header_.width) * static_cast<std::size_t>(header_.bits) + 7) /
            8;
        const std::uint64_t offset =
            header_.pixels + header_.stride() * static_cast<std::uint64_t>(row);
        if (input_->readAt(offset, stored.data(), used) != used)
            throw Failure("is truncated, in row " + std::to_string(fromTop));
    }

    // Makes a plain row of the runs. Pixels that they leave out have color 0.
    void readRuns(std::int64_t row, std::vector<unsigned char> &stored) const {
        std::fill(stored.begin(), stored.end(), static_cast<unsigned char>(0));
        const auto start =
            std::lower_bound(starts_.begin(), starts_.end(), row,
                             [](const RunStart &a, std::int64_t wanted) { return a.row < wanted; });
        if (start == starts_.end() || start->row != row) return;
        Bytes bytes(*input_, start->offset);
        decodeRuns(bytes, header_.bits, *start, [&](std::int64_t x, std::uint32_t pixel) {
            if (x >= header_.width) return;
            const auto column = static_cast<std::size_t>(x);
            if (header_.bits == 4) {
                stored[column / 2] |=
                    static_cast<unsigned char>(pixel << (column % 2 == 0 ? 4 : 0));
            } else if (header_.bits == 8) {
                stored[column] = static_cast<unsigned char>(pixel);
            } else {
                for (std::size_t i = 0; i < 3; ++i)
                    stored[3 * column + i] = static_cast<unsigned char>(pixel >> 8 * i);
            }
        });
    }

    void convertRow(const unsigned char *stored, const Rect &rect, unsigned char *to) const {
        if (shape().depth == ZYL_DEPTH_1U) return convertBits(stored, rect, to);
        for (int x = rect.x; x < rect.x + rect.width; ++x, to += shape().channels) {
            if (header_.bits <= 8) {
                const std::size_t bit =
                    static_cast<std::size_t>(x) * static_cast<std::size_t>(header_.bits);
                const unsigned index =
                    stored[bit / 8] >> (8 - header_.bits - static_cast<int>(bit % 8)) &
                    ((1u << header_.bits) - 1);
                std::copy_n(colors_[index].begin(), shape().channels, to);
            } else if (header_.bits == 24) {
                const unsigned char *pixel = stored + 3 * static_cast<std::size_t>(x);
                to[0] = pixel[2], to[1] = pixel[1], to[2] = pixel[0];
            } else {
                convertFields(stored, static_cast<std::size_t>(x), to);
            }
        }
    }

    void convertBits(const unsigned char *stored, const Rect &rect, unsigned char *to) const {
        const unsigned flip = colors_[0][0] != 0 ? 0xFF : 0;
        const std::size_t first = static_cast<std::size_t>(rect.x) / 8;
        for (std::size_t i = 0; i < rowBytes(shape(), rect.width); ++i)
            to[i] = static_cast<unsigned char>(stored[first + i] ^ flip);
    }

    void convertFields(const unsigned char *stored, std::size_t x, unsigned char *to) const {
        const std::size_t size = static_cast<std::size_t>(header_.bits) / 8;
        std::uint32_t pixel = 0;
        for (std::size_t i = 0; i < size; ++i)
            pixel |= static_cast<std::uint32_t>(stored[x * size + i]) << 8 * i;
        for (std::size_t c = 0; c < static_cast<std::size_t>(shape().channels); ++c)
            to[c] = header_.masks[c].of(pixel);
    }

    std::unique_ptr<Input> input_;
    Header header_;
    std::vector<Color> colors_;
    std::vector<RunStart> starts_; // by rising row
};

} // namespace

std::unique_ptr<Source> openBmp(std::unique_ptr<Input> input, const ReadOptions &) {
    input->makeSeekable();
    return std::make_unique<BmpSource>(std::move(input));
}

} // namespace tool
