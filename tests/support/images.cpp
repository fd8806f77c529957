#include "tests/support/images.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "core/image.h"
#include "core/memory.h"

namespace support {

namespace {

constexpr std::size_t GUARD = 64;
constexpr unsigned char GUARD_BYTE = 0xA5;

int bits(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

std::int64_t loadSigned(const unsigned char *p, std::uint32_t depth) {
    switch (depth) {
    case ZYL_DEPTH_8U:
        return *p;
    case ZYL_DEPTH_8S:
        return static_cast<std::int8_t>(*p);
    case ZYL_DEPTH_16U: {
        std::uint16_t value;
        std::memcpy(&value, p, sizeof value);
        return value;
    }
    case ZYL_DEPTH_16S: {
        std::int16_t value;
        std::memcpy(&value, p, sizeof value);
        return value;
    }
    default: {
        std::int32_t value;
        std::memcpy(&value, p, sizeof value);
        return value;
    }
    }
}

// Of any image, or an allocation.
bool requestFailed = false;

} // namespace

std::int64_t lowest(std::uint32_t depth) {
    return (depth & ZYL_DEPTH_SIGN) != 0 ? -(std::int64_t{1} << (bits(depth) - 1)) : 0;
}

std::int64_t highest(std::uint32_t depth) {
    return lowest(depth) + (std::int64_t{1} << bits(depth)) - 1;
}

const char *depthName(std::uint32_t depth) {
    switch (depth) {
    case ZYL_DEPTH_1U:
        return "1U";
    case ZYL_DEPTH_8U:
        return "8U";
    case ZYL_DEPTH_8S:
        return "8S";
    case ZYL_DEPTH_16U:
        return "16U";
    case ZYL_DEPTH_16S:
        return "16S";
    case ZYL_DEPTH_32S:
        return "32S";
    default:
        return "?";
    }
}

std::string describe(const Shape &shape) {
    std::ostringstream out;
    out << depthName(shape.depth) << " x " << shape.channels << ", " << shape.width << " x "
        << shape.height << (shape.order == ZYL_DATA_ORDER_PLANE ? " planes" : " pixels");
    return out.str();
}

std::int64_t readSample(const ZylImage &image, int x, int y, int channel) {
    const unsigned char *p = zylqx::sampleAt(image, x, y, channel);
    if (image.depth == ZYL_DEPTH_1U) return *p >> (7 - x % 8) & 1;
    return loadSigned(p, image.depth);
}

void writeSample(const ZylImage &image, int x, int y, int channel, std::int64_t value) {
    unsigned char *p = zylqx::sampleAt(image, x, y, channel);
    if (image.depth == ZYL_DEPTH_1U) {
        const int mask = 0x80 >> x % 8;
        *p = static_cast<unsigned char>((value & 1) != 0 ? *p | mask : *p & ~mask);
        return;
    }
    const auto byte = static_cast<std::uint8_t>(value);
    const auto half = static_cast<std::uint16_t>(value);
    const auto word = static_cast<std::uint32_t>(value);
    const int size = bits(image.depth);
    const void *sample = &word;
    if (size == 8) sample = &byte;
    if (size == 16) sample = &half;
    std::memcpy(p, sample, static_cast<std::size_t>(size / 8));
}

TestImage::TestImage(const Shape &shape) : shape_(shape) {
    ZylImage *made = zylCreateImageHeader(shape.channels, shape.alpha, shape.depth, shape.model,
                                          shape.sequence, shape.order, shape.origin, shape.align,
                                          shape.height, shape.width, nullptr, this, nullptr);
    if (made == nullptr) throw std::invalid_argument("no such image: " + describe(shape));
    header_ = *made;
    zylDeallocateHeader(made);
    store_.assign(static_cast<std::size_t>(header_.imageSize) + 2 * GUARD, GUARD_BYTE);
    header_.imageData = store_.data() + GUARD;
    std::fill_n(header_.imageData, header_.imageSize, static_cast<unsigned char>(0));
}

TestImage::TestImage(const TestImage &other)
    : shape_(other.shape_), header_(other.header_), roi_(other.roi_), tileInfo_(other.tileInfo_),
      store_(other.store_) {
    header_.imageTag = this;
    if (header_.roi != nullptr) header_.roi = &roi_;
    if (header_.tileInfo != nullptr) {
        header_.tileInfo = &tileInfo_;
        tileInfo_.id = this;
    } else {
        header_.imageData = store_.data() + GUARD;
    }
}

TestImage::~TestImage() = default;

ZylImage TestImage::memoryImage() const {
    ZylImage image = header_;
    image.tileInfo = nullptr;
    image.imageData = const_cast<unsigned char *>(store_.data()) + GUARD;
    return image;
}

TestImage &TestImage::randomise(unsigned seed) {
    std::mt19937 random(seed);
    const std::int64_t low = lowest(shape_.depth);
    const std::int64_t high = highest(shape_.depth);
    std::uniform_int_distribution<std::int64_t> any(low, high);
    std::uniform_int_distribution<int> kind(0, 7);
    std::uniform_int_distribution<std::int64_t> little(0, 3);
    std::mt19937 noise(seed + 1); // of its own, as the layout decides how much there is
    std::generate(store_.begin() + GUARD, store_.end() - GUARD,
                  [&] { return static_cast<unsigned char>(noise()); });
    for (int c = 1; c <= shape_.channels; ++c) {
        for (int y = 0; y < shape_.height; ++y) {
            for (int x = 0; x < shape_.width; ++x) {
                std::int64_t value = any(random);
                switch (kind(random)) {
                case 0:
                    value = low + little(random);
                    break;
                case 1:
                    value = high - little(random);
                    break;
                case 2:
                    value = little(random) - 1;
                    break;
                default:
                    break;
                }
                set(x, y, c, std::clamp(value, low, high));
            }
        }
    }
    return *this;
}

TestImage &TestImage::fill(std::int64_t value) {
    for (int c = 1; c <= shape_.channels; ++c) {
        for (int y = 0; y < shape_.height; ++y) {
            for (int x = 0; x < shape_.width; ++x) set(x, y, c, value);
        }
    }
    return *this;
}

TestImage &TestImage::assign(const std::vector<std::int64_t> &samples) {
    std::size_t i = 0;
    for (int y = 0; y < shape_.height; ++y) {
        for (int x = 0; x < shape_.width; ++x) {
            for (int c = 1; c <= shape_.channels; ++c) set(x, y, c, samples.at(i++));
        }
    }
    return *this;
}

TestImage &TestImage::region(int coi, int x, int y, int width, int height) {
    zylSetROI(&roi_, coi, x, y, height, width);
    header_.roi = &roi_;
    return *this;
}

TestImage &TestImage::noRegion() {
    header_.roi = nullptr;
    return *this;
}

TestImage &TestImage::tiles(int width, int height) {
    zylSetTileInfo(&tileInfo_, callBack, this, width, height);
    header_.tileInfo = &tileInfo_;
    header_.imageData = nullptr;
    return *this;
}

TestImage &TestImage::widen(int bytes) {
    const TestImage before(*this);
    header_.widthStep += bytes;
    header_.imageSize = zylqx::imageBytes(header_, header_.widthStep);
    store_.assign(static_cast<std::size_t>(header_.imageSize) + 2 * GUARD, GUARD_BYTE);
    header_.imageData = store_.data() + GUARD;
    for (int c = 1; c <= shape_.channels; ++c) {
        for (int y = 0; y < shape_.height; ++y) {
            for (int x = 0; x < shape_.width; ++x) set(x, y, c, before.at(x, y, c));
        }
    }
    return *this;
}

TestImage &TestImage::border(int mode, int value) {
    zylSetBorderMode(&header_, mode, ZYL_SIDE_ALL, value);
    return *this;
}

std::int64_t TestImage::at(int x, int y, int channel) const {
    return readSample(memoryImage(), x, y, channel);
}

void TestImage::set(int x, int y, int channel, std::int64_t value) {
    writeSample(memoryImage(), x, y, channel, value);
}

bool TestImage::guardsIntact() const {
    const auto isGuard = [](unsigned char byte) { return byte == GUARD_BYTE; };
    return std::all_of(store_.begin(), store_.begin() + GUARD, isGuard) &&
           std::all_of(store_.end() - GUARD, store_.end(), isGuard);
}

int TestImage::tilesHeld() const {
    int count = 0;
    for (const Held &tile : held_) count += tile.count;
    return count;
}

void ZYL_CALL TestImage::callBack(ZylImage *image, std::int32_t column, std::int32_t row,
                                  std::int32_t mode) {
    auto *self = static_cast<TestImage *>(image->tileInfo->id);
    if (image != &self->header_) self->breaches_ += "a copy of the header was passed\n";
    self->answer(column, row, mode);
}

void TestImage::answer(std::int32_t column, std::int32_t row, std::int32_t mode) {
    calls_.push_back({column, row, mode});
    const int columns = (shape_.width + tileInfo_.width - 1) / tileInfo_.width;
    const int rows = (shape_.height + tileInfo_.height - 1) / tileInfo_.height;
    if (column < 0 || row < 0 || column >= columns || row >= rows) {
        breaches_ += "tile outside the image\n";
        tileInfo_.tileData = nullptr;
        return;
    }
    if (mode == ZYL_RELEASE_TILE) {
        takeBack(column, row);
    } else if (mode == ZYL_GET_TILE_TO_READ || mode == ZYL_GET_TILE_TO_WRITE) {
        deliver(column, row, mode);
    } else {
        breaches_ += "unknown mode\n";
    }
}

void TestImage::failTileRequest(int n) {
    failRequest_ = n;
    requestFailed = false;
}

void TestImage::deliver(std::int32_t column, std::int32_t row, std::int32_t mode) {
    tileInfo_.tileData = nullptr;
    askedAfterFailure_ = askedAfterFailure_ || requestFailed;
    if (failRequest_ > 0 && --failRequest_ == 0) {
        failedMode_ = mode;
        requestFailed = true;
        return;
    }
    auto tile = std::find_if(held_.begin(), held_.end(),
                             [&](const Held &t) { return t.column == column && t.row == row; });
    if (tile == held_.end()) {
        held_.push_back({column, row, 0, false, nullptr});
        tile = held_.end() - 1;
        const ZylImage image = tileImage(*tile);
        const auto size = static_cast<std::size_t>(image.imageSize);
        tile->pixels = std::make_unique<unsigned char[]>(size);
        std::mt19937 noise(static_cast<unsigned>(column * 1000 + row));
        std::generate_n(tile->pixels.get(), size,
                        [&] { return static_cast<unsigned char>(noise()); });
        exchange(*tile, true);
    }
    ++tile->count;
    tile->written = tile->written || mode == ZYL_GET_TILE_TO_WRITE;
    tileInfo_.tileData = tile->pixels.get();
}

void TestImage::takeBack(std::int32_t column, std::int32_t row) {
    if (keepTiles_) return;
    tileInfo_.tileData = nullptr;
    const auto tile = std::find_if(held_.begin(), held_.end(), [&](const Held &t) {
        return t.column == column && t.row == row;
    });
    if (tile == held_.end()) {
        breaches_ += "released a tile that is not held\n";
        return;
    }
    if (tile->written) exchange(*tile, false);
    if (--tile->count == 0) held_.erase(tile);
}

ZylImage TestImage::tileImage(const Held &tile) const {
    ZylImage image = header_;
    image.tileInfo = nullptr;
    image.width = tileInfo_.width;
    image.height = tileInfo_.height;
    image.widthStep = zylqx::rowStride(image, image.width);
    image.imageSize = zylqx::imageBytes(image, image.widthStep);
    image.imageData = tile.pixels.get();
    return image;
}

// Copies the samples of a tile that lie inside the image.
void TestImage::exchange(const Held &tile, bool toTile) {
    const ZylImage piece = tileImage(tile);
    const ZylImage whole = memoryImage();
    const int left = tile.column * piece.width;
    const int top = tile.row * piece.height;
    for (int c = 1; c <= shape_.channels; ++c) {
        for (int y = 0; y < std::min(piece.height, shape_.height - top); ++y) {
            for (int x = 0; x < std::min(piece.width, shape_.width - left); ++x) {
                if (toTile) {
                    writeSample(piece, x, y, c, readSample(whole, left + x, top + y, c));
                } else {
                    writeSample(whole, left + x, top + y, c, readSample(piece, x, y, c));
                }
            }
        }
    }
}

std::string difference(const TestImage &expected, const TestImage &actual) {
    const Shape &shape = expected.shape();
    for (int c = 1; c <= shape.channels; ++c) {
        for (int y = 0; y < shape.height; ++y) {
            for (int x = 0; x < shape.width; ++x) {
                const std::int64_t a = expected.at(x, y, c);
                const std::int64_t b = actual.at(x, y, c);
                if (a == b) continue;
                std::ostringstream out;
                out << "channel " << c << " at (" << x << ", " << y << "): expected " << a
                    << ", got " << b << " (" << describe(shape) << ")";
                return out.str();
            }
        }
    }
    return {};
}

namespace {

// Of the thread's Reports, the last of which frees it: MinGW takes the memory of
// thread-local objects away before it destroys them.
struct Kept {
    std::vector<Report> reports;
    int users = 0;
};
thread_local Kept *kept = nullptr;

ZylStatus ZYL_CALL keepReport(ZylStatus status, const char *function, const char *text,
                              const char *file, int) {
    const auto string = [](const char *s) { return std::string(s != nullptr ? s : "(null)"); };
    kept->reports.push_back({status, string(function), string(text), string(file)});
    return status;
}

int allocationsLeft = 0;
bool faultStruck = false;

bool refuse(std::size_t) {
    if (allocationsLeft == 0 || --allocationsLeft > 0) return false;
    faultStruck = true;
    requestFailed = true;
    return true;
}

} // namespace

void PrintTo(const Report &report, std::ostream *out) {
    *out << report.status << " by " << report.function << " (" << report.file
         << "): " << report.text;
}

Reports::Reports() : before_(zylRedirectError(keepReport)) {
    if (kept == nullptr) kept = new Kept;
    ++kept->users;
    clear();
}

Reports::~Reports() {
    clear();
    zylRedirectError(before_);
    if (--kept->users > 0) return;
    delete kept;
    kept = nullptr;
}

const std::vector<Report> &Reports::all() const {
    return kept->reports;
}

std::vector<std::string> Reports::texts() const {
    std::vector<std::string> result;
    for (const Report &report : kept->reports) result.push_back(report.text);
    return result;
}

void Reports::clear() {
    kept->reports.clear();
    zylSetErrStatus(ZYL_StsOk);
}

AllocationFault::AllocationFault(int n) {
    allocationsLeft = n;
    faultStruck = false;
    requestFailed = false;
    zylqx::refuseAllocations(refuse);
}

AllocationFault::~AllocationFault() {
    zylqx::refuseAllocations(nullptr);
}

bool AllocationFault::struck() {
    return faultStruck;
}

} // namespace support
