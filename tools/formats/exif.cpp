#include "exif.h"

#include <cstddef>
#include <cstdint>

namespace tool {

namespace {

constexpr unsigned orientationTag = 0x0112;
constexpr unsigned shortType = 3;

// An Exif block is a TIFF file in small: a byte order, the offset of a directory,
// entries of 12 bytes.
class Reader {
  public:
    explicit Reader(std::span<const unsigned char> bytes)
        : bytes_(bytes), big_(!bytes.empty() && bytes[0] == 'M') {}

    bool big() const { return big_; }
    // Numbers past the end are 0.
    std::uint32_t number(std::size_t offset, std::size_t size) const {
        if (offset + size > bytes_.size()) return 0;
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < size; ++i)
            value = value << 8 | bytes_[offset + (big_ ? i : size - 1 - i)];
        return value;
    }

  private:
    std::span<const unsigned char> bytes_;
    bool big_;
};

// Where the orientation's two bytes are; 0 when there is none.
std::size_t orientationOffset(std::span<const unsigned char> exif) {
    const Reader reader(exif);
    if (reader.number(2, 2) != 42) return 0;
    const std::size_t directory = reader.number(4, 4);
    const std::size_t entries = reader.number(directory, 2);
    for (std::size_t i = 0; i < entries; ++i) {
        const std::size_t entry = directory + 2 + 12 * i;
        if (entry + 12 > exif.size()) return 0;
        if (reader.number(entry, 2) == orientationTag && reader.number(entry + 2, 2) == shortType)
            return entry + 8;
    }
    return 0;
}

} // namespace

int exifOrientation(std::span<const unsigned char> exif) {
    const std::size_t offset = orientationOffset(exif);
    const unsigned value = offset != 0 ? Reader(exif).number(offset, 2) : 1;
    return value >= 1 && value <= 8 ? static_cast<int>(value) : 1;
}

void setExifOrientation(std::vector<unsigned char> &exif, int orientation) {
    const std::size_t offset = orientationOffset(exif);
    if (offset == 0) return;
    const bool big = Reader(exif).big();
    exif[offset + (big ? 1 : 0)] = static_cast<unsigned char>(orientation);
    exif[offset + (big ? 0 : 1)] = 0;
}

} // namespace tool
