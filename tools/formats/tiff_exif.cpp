#include "tiff_exif.h"

#include "exif.h"
#include "input.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <string>

namespace tool {

namespace {

constexpr std::uint16_t exifPointer = TIFFTAG_EXIFIFD, gpsPointer = TIFFTAG_GPSIFD;
constexpr std::uint16_t interoperability = 40965; // one more directory, left out
constexpr std::uint16_t mainTexts[] = {TIFFTAG_MAKE, TIFFTAG_MODEL};
constexpr std::size_t mostEntries = 1000, mostBytes = 60000; // a block fits a JPEG marker

// How numbers and directories are written.
struct Style {
    bool bigEndian = std::endian::native == std::endian::big;
    bool bigTiff = false;
};

// An entry of a directory, its values in the machine's byte order.
struct Entry {
    std::uint16_t tag, type;
    std::uint64_t count;
    std::vector<unsigned char> values;
};
using Directory = std::vector<Entry>;

// The bytes of one value of a type, and of the numbers that it is made of; 0 where
// the type is none of Exif.
struct Type {
    std::size_t size, number;
};
Type typeOf(std::uint16_t type) {
    static constexpr Type types[] = {{0, 1}, {1, 1}, {1, 1}, {2, 2}, {4, 4}, {8, 4}, {1, 1},
                                     {1, 1}, {2, 2}, {4, 4}, {8, 4}, {4, 4}, {8, 8}};
    return type < std::size(types) ? types[type] : types[0];
}

// Turns the numbers around where a style is not the machine's.
void toStyle(std::vector<unsigned char> &values, std::uint16_t type, const Style &style) {
    if (style.bigEndian == Style{}.bigEndian) return;
    const auto number = static_cast<std::ptrdiff_t>(typeOf(type).number);
    for (auto at = values.begin(); values.end() - at >= number; at += number)
        std::reverse(at, at + number);
}

// Bytes at a position; false past the end.
using ReadAt = std::function<bool(std::uint64_t offset, void *to, std::size_t count)>;

class DirectoryReader {
  public:
    DirectoryReader(ReadAt readAt, Style style) : readAt_(std::move(readAt)), style_(style) {}

    // What is damaged is left out.
    Directory read(std::uint64_t offset) const {
        Directory directory;
        const std::size_t countSize = style_.bigTiff ? 8 : 2, entrySize = style_.bigTiff ? 20 : 12;
        const std::uint64_t count = std::min<std::uint64_t>(number(offset, countSize), mostEntries);
        std::size_t bytes = 0;
        for (std::uint64_t i = 0; i < count; ++i) {
            Entry entry;
            if (!readEntry(offset + countSize + i * entrySize, entry)) continue;
            bytes += entry.values.size();
            if (bytes <= mostBytes) directory.push_back(std::move(entry));
        }
        return directory;
    }

    std::uint64_t number(std::uint64_t offset, std::size_t size) const {
        unsigned char bytes[8] = {};
        if (!readAt_(offset, bytes, size)) return 0;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8 | bytes[style_.bigEndian ? i : size - 1 - i];
        return value;
    }

  private:
    bool readEntry(std::uint64_t offset, Entry &entry) const {
        const std::size_t wide = style_.bigTiff ? 8 : 4;
        entry.tag = static_cast<std::uint16_t>(number(offset, 2));
        entry.type = static_cast<std::uint16_t>(number(offset + 2, 2));
        entry.count = number(offset + 4, wide);
        const std::size_t size = typeOf(entry.type).size;
        if (entry.tag == interoperability || size == 0 || entry.count > mostBytes / size)
            return false;
        entry.values.resize(size * entry.count);
        const bool inside = entry.values.size() <= wide;
        const std::uint64_t where = inside ? offset + 4 + wide : number(offset + 4 + wide, wide);
        if (!readAt_(where, entry.values.data(), entry.values.size())) return false;
        toStyle(entry.values, entry.type, style_);
        return true;
    }

    ReadAt readAt_;
    Style style_;
};

class DirectoryWriter {
  public:
    // What is written will stand at `base`, an even number.
    DirectoryWriter(std::uint64_t base, Style style) : base_(base), style_(style) {}

    std::vector<unsigned char> bytes;

    void putNumber(std::uint64_t value, std::size_t size) {
        for (std::size_t i = 0; i < size; ++i) {
            bytes.push_back(
                static_cast<unsigned char>(value >> 8 * (style_.bigEndian ? size - 1 - i : i)));
        }
    }

    // Appends a directory, after values that do not fit into it; tells where it is.
    std::uint64_t append(Directory directory) {
        const std::size_t wide = style_.bigTiff ? 8 : 4;
        std::sort(directory.begin(), directory.end(),
                  [](const Entry &a, const Entry &b) { return a.tag < b.tag; });
        std::vector<std::uint64_t> offsets;
        for (Entry &entry : directory) {
            toStyle(entry.values, entry.type, style_);
            offsets.push_back(base_ + bytes.size());
            if (entry.values.size() <= wide) continue;
            bytes.insert(bytes.end(), entry.values.begin(), entry.values.end());
            bytes.resize(bytes.size() + bytes.size() % 2);
        }
        const std::uint64_t start = base_ + bytes.size();
        putNumber(directory.size(), style_.bigTiff ? 8 : 2);
        for (std::size_t i = 0; i < directory.size(); ++i) {
            Entry &entry = directory[i];
            putNumber(entry.tag, 2);
            putNumber(entry.type, 2);
            putNumber(entry.count, wide);
            if (entry.values.size() > wide) {
                putNumber(offsets[i], wide);
                continue;
            }
            entry.values.resize(wide);
            bytes.insert(bytes.end(), entry.values.begin(), entry.values.end());
        }
        putNumber(0, wide); // no further directory
        return start;
    }

  private:
    std::uint64_t base_;
    Style style_;
};

template <class Number>
Entry entryOf(std::uint16_t tag, std::uint16_t type, Number value) {
    Entry entry{tag, type, 1, {}};
    const auto *bytes = reinterpret_cast<const unsigned char *>(&value);
    entry.values.assign(bytes, bytes + sizeof value);
    return entry;
}

Entry pointerTo(std::uint16_t tag, std::uint64_t offset) {
    return entryOf(tag, TIFF_LONG, static_cast<std::uint32_t>(offset));
}

} // namespace

std::vector<unsigned char> readTiffExif(const TiffFile &file, const Input &input, int orientation) {
    Style style;
    if (TIFFIsByteSwapped(file.get())) style.bigEndian = !style.bigEndian;
    style.bigTiff = TIFFIsBigTIFF(file.get()) != 0;
    const DirectoryReader reader(
        [&](std::uint64_t offset, void *to, std::size_t count) {
            return input.readAt(offset, to, count) == count;
        },
        style);

    DirectoryWriter block(0, Style{});
    const bool bigEndian = Style{}.bigEndian;
    block.bytes = {bigEndian ? 'M' : 'I', bigEndian ? 'M' : 'I'};
    block.putNumber(42, 2);
    block.putNumber(0, 4); // where the first directory is, known at the end
    Directory main;
    if (orientation != 1) {
        main.push_back(
            entryOf(TIFFTAG_ORIENTATION, TIFF_SHORT, static_cast<std::uint16_t>(orientation)));
    }
    for (const std::uint16_t tag : {exifPointer, gpsPointer}) {
        std::uint64_t offset = 0;
        if (!TIFFGetField(file.get(), tag, &offset)) continue;
        Directory directory = reader.read(offset);
        if (!directory.empty()) main.push_back(pointerTo(tag, block.append(std::move(directory))));
    }
    for (const std::uint16_t tag : mainTexts) {
        const char *text = nullptr;
        if (!TIFFGetField(file.get(), tag, &text)) continue;
        const std::string kept = std::string(text).substr(0, 1000);
        Entry entry{tag, TIFF_ASCII, kept.size() + 1, {kept.begin(), kept.end()}};
        entry.values.push_back(0);
        main.push_back(std::move(entry));
    }
    if (main.empty()) return {};
    const std::uint64_t start = block.append(std::move(main));
    DirectoryWriter field(0, Style{});
    field.putNumber(start, 4);
    std::copy(field.bytes.begin(), field.bytes.end(), block.bytes.begin() + 4);
    return std::move(block.bytes);
}

void writeTiffExif(TiffFile &file, const std::vector<unsigned char> &exif) {
    if (exif.size() < 8) return;
    TIFFSetField(file.get(), TIFFTAG_ORIENTATION, exifOrientation(exif));
    Style style;
    style.bigEndian = exif[0] == 'M';
    const DirectoryReader reader(
        [&](std::uint64_t offset, void *to, std::size_t count) {
            if (offset > exif.size() || count > exif.size() - offset) return false;
            std::copy_n(exif.begin() + static_cast<std::ptrdiff_t>(offset), count,
                        static_cast<unsigned char *>(to));
            return true;
        },
        style);
    Style written;
    written.bigTiff = TIFFIsBigTIFF(file.get()) != 0;
    for (const Entry &entry : reader.read(reader.number(4, 4))) {
        const bool pointer = entry.tag == exifPointer || entry.tag == gpsPointer;
        if (pointer && entry.type == TIFF_LONG && entry.count == 1) {
            std::uint32_t offset = 0;
            std::copy(entry.values.begin(), entry.values.end(),
                      reinterpret_cast<unsigned char *>(&offset));
            DirectoryWriter writer(file.end(), written);
            const std::uint64_t start = writer.append(reader.read(offset));
            file.append(writer.bytes);
            TIFFSetField(file.get(), entry.tag, start);
        }
        const bool text =
            std::find(std::begin(mainTexts), std::end(mainTexts), entry.tag) != std::end(mainTexts);
        if (text && entry.type == TIFF_ASCII && !entry.values.empty() && entry.values.back() == 0)
            TIFFSetField(file.get(), entry.tag, entry.values.data());
    }
}

} // namespace tool
