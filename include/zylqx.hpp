/** \file zylqx.hpp
 * zylqx for C++20: zylqx.h with images that own or view their pixels, failures as
 * exceptions, and tiles from callables. Header only.
 *
 *     zyl::Image photo(640, 480, 3);
 *     zyl::Image blurred = zyl::blur(photo, 5, 5);          // makes the result
 *     zyl::blur(photo, blurred, 9, 9);                      // into one that exists
 *     if (zyl::status::blur(photo, blurred, 9, 9) < 0) ...  // never throws
 *
 * Operations have the names of operations/operations.json in camel case, behind them an
 * underscore where C++ has the word itself: and_, or_, xor_, not_. What they do, which
 * depths and regions they take, is documented in zylqx.h under the name given with each.
 *
 * A call costs what the C function costs, and some loads and stores around it, which keep
 * its reports from the thread's own callback. The thread's status, error mode and callback
 * are those of before when it returns.
 */
#ifndef ZYLQX_HPP
#define ZYLQX_HPP

#include <zylqx.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <exception>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <new>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zyl {

/* ======================================================================== */
/* Failures */
/* ======================================================================== */

/** What the library reported, as an exception. */
class Error : public std::runtime_error {
  public:
    Error(ZylStatus status, const std::string &function, const std::string &text)
        : std::runtime_error(function + ": " + text + " (" + zylErrorStr(status) + ")"),
          status_(status), function_(function), text_(text) {}

    ZylStatus status() const noexcept { return status_; }
    /** The exported name of the function that reported. */
    const std::string &function() const noexcept { return function_; }
    /** The failed condition, or the faults of a header, one in each line. */
    const std::string &text() const noexcept { return text_; }

  private:
    ZylStatus status_;
    std::string function_;
    std::string text_;
};

namespace detail {

[[noreturn]] inline void refuse(const std::string &who, const std::string &text,
                                ZylStatus status = ZYL_StsBadArg) {
    throw Error(status, who, text);
}

/** Keeps the reports of one call of the library, and an exception that could not pass
 * through it. */
class Listener {
  public:
    Listener() noexcept
        : context_(zylUndContext()), status_(context_->status), callBack_(context_->callBack),
          outer_(std::exchange(current, this)) {
        context_->status = ZYL_StsOk;
        context_->callBack = keep;
        function_[0] = text_[0] = '\0';
    }
    ~Listener() {
        context_->status = status_;
        context_->callBack = callBack_;
        current = outer_;
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    ZylStatus status() const noexcept {
        if (reported_ < 0) return reported_;
        return thrown_ ? ZYL_StsError : std::min<ZylStatus>(context_->status, ZYL_StsOk);
    }
    void raise(const char *function) const {
        if (thrown_) std::rethrow_exception(thrown_);
        const ZylStatus failed = status();
        if (failed < 0) throw Error(failed, reported_ < 0 ? function_ : function, text_);
    }

    /** To be called while an exception is handled in a tile callback. */
    static void keepException() noexcept {
        if (current != nullptr && !current->thrown_) current->thrown_ = std::current_exception();
    }

  private:
    /* The first report counts: others follow from it. */
    static ZylStatus ZYL_CALL keep(ZylStatus status, const char *function, const char *text,
                                   const char *, int) noexcept {
        const bool trace = status == ZYL_StsBackTrace || status == ZYL_StsAutoTrace;
        if (current == nullptr || current->reported_ < 0 || trace) return status;
        current->reported_ = status;
        store(current->function_, function);
        store(current->text_, text);
        return status;
    }
    template <std::size_t N>
    static void store(char (&to)[N], const char *from) noexcept {
        std::size_t length = 0;
        for (; from != nullptr && from[length] != '\0' && length < N - 1; ++length)
            to[length] = from[length];
        to[length] = '\0';
    }

    inline static thread_local Listener *current = nullptr;

    ZylContext *context_;
    ZylStatus status_;
    ZylErrorCallBack callBack_;
    Listener *outer_;
    ZylStatus reported_ = ZYL_StsOk;
    std::exception_ptr thrown_;
    char function_[40];
    char text_[1000];
};

} // namespace detail

/* ======================================================================== */
/* Images */
/* ======================================================================== */

/** Types of samples. A row of 1-bit pixels is read as bytes. */
template <class T>
concept Sample = std::same_as<T, std::uint8_t> || std::same_as<T, std::int8_t> ||
    std::same_as<T, std::uint16_t> || std::same_as<T, std::int16_t> ||
    std::same_as<T, std::int32_t>;

/** Pixels of an image; y counts rows in memory. */
struct Rect {
    int x = 0, y = 0, width = 0, height = 0;
    bool operator==(const Rect &) const = default;
};

/** What an operation reads outside the image. */
enum class Border : std::int32_t {
    constant = ZYL_BORDER_CONSTANT,
    replicate = ZYL_BORDER_REPLICATE,
    reflect = ZYL_BORDER_REFLECT,
    wrap = ZYL_BORDER_WRAP
};

/** Everything of an image but its samples. */
struct Shape {
    int width = 0;
    int height = 0;
    int channels = 1;
    std::uint32_t depth = ZYL_DEPTH_8U;
    std::string model = "GRAY";    /**< colorModel, up to four characters */
    std::string sequence = "GRAY"; /**< channelSeq */
    int alpha = 0;                 /**< the alpha channel's number, from 1; 0 for none */
    int order = ZYL_DATA_ORDER_PIXEL;
    int origin = ZYL_ORIGIN_TL;
    int align = ZYL_ALIGN_4;

    bool operator==(const Shape &) const = default;
    bool color() const { return channels - (alpha != 0) >= 3; }
    Shape withDepth(std::uint32_t other) const {
        Shape shape = *this;
        shape.depth = other;
        return shape;
    }
    Shape withSize(int columns, int rows) const {
        Shape shape = *this;
        shape.width = columns;
        shape.height = rows;
        return shape;
    }
};

/** The usual shape: gray, gray and alpha, RGB, RGB and alpha for 1 to 4 channels. */
inline Shape makeShape(int width, int height, int channels = 1,
                       std::uint32_t depth = ZYL_DEPTH_8U) {
    Shape shape;
    shape.width = width;
    shape.height = height;
    shape.channels = channels;
    shape.depth = depth;
    if (channels >= 3) shape.model = shape.sequence = channels == 3 ? "RGB" : "RGBA";
    if (channels == 2) shape.sequence = "GA";
    if (channels == 2 || channels == 4) shape.alpha = channels;
    return shape;
}

/** The shape that a header describes. */
inline Shape shapeOf(const ZylImage &h) {
    const auto text = [](const char(&field)[4]) {
        return std::string(field, std::find(field, field + 4, '\0'));
    };
    return {
        h.width,        h.height,    h.nChannels, h.depth, text(h.colorModel), text(h.channelSeq),
        h.alphaChannel, h.dataOrder, h.origin,    h.align};
}

/** The depth whose samples are T. */
template <Sample T>
inline constexpr std::uint32_t depthOf = (T(-1) < T(0) ? ZYL_DEPTH_SIGN : 0u) |
                                         static_cast<std::uint32_t>(sizeof(T) * 8);

inline int bitsOf(std::uint32_t depth) noexcept {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

/** Bytes from row to row: those of the samples, raised to the next multiple of the alignment. */
inline std::int64_t rowStride(const Shape &shape, std::int64_t width) noexcept {
    const std::int64_t samples =
        shape.order == ZYL_DATA_ORDER_PIXEL ? width * shape.channels : width;
    const std::int64_t bits = std::int64_t{8} * shape.align;
    return (samples * bitsOf(shape.depth) + bits - 1) / bits * shape.align;
}

/** A header without pixels, which is freed with zylDeallocate(). */
inline ZylImage *makeHeader(const Shape &shape, ZylTileInfo *tiles = nullptr) {
    char model[5] = {}, sequence[5] = {};
    shape.model.copy(model, 4);
    shape.sequence.copy(sequence, 4);
    ZylImage *header = zylCreateImageHeader(shape.channels, shape.alpha, shape.depth, model,
                                            sequence, shape.order, shape.origin, shape.align,
                                            shape.height, shape.width, nullptr, nullptr, tiles);
    if (header == nullptr)
        detail::refuse("zylCreateImageHeader", "a field of the shape has no valid value");
    return header;
}

/** Size of the tiles of an image, multiples of 8. */
struct TileSize {
    int width = 0;
    int height = 0;
};

/** One tile by its column and row, from 0. */
struct TileIndex {
    int column = 0;
    int row = 0;
    bool operator==(const TileIndex &) const = default;
};

/** A tile of an image, with memory for its pixels. */
struct Tile {
    TileIndex index;
    Rect place;                 /**< what it holds of the image, less at the right and lower edge */
    unsigned char *data;        /**< row 0 of the tile, of plane 1 */
    std::ptrdiff_t stride;      /**< bytes from row to row */
    std::ptrdiff_t planeStride; /**< bytes from plane to plane */

    /** The samples of row y of the tile; plane counts from 0. */
    template <Sample T>
    T *samples(int y, int plane = 0) const {
        return reinterpret_cast<T *>(data + plane * planeStride + y * stride);
    }
};

/** Fills a tile with its pixels, or takes them away. What it throws ends the call of the
 * library and is thrown on by it. */
using TileFunction = std::function<void(const Tile &)>;

namespace detail {

/** Delivers the tiles of an image from two callables. */
class TileStore {
  public:
    TileStore(const Shape &shape, TileSize size, TileFunction read, TileFunction write)
        : width_(shape.width), height_(shape.height), size_(size),
          columns_((shape.width + size.width - 1) / size.width),
          stride_(rowStride(shape, size.width)), read_(std::move(read)), write_(std::move(write)) {
        planes_ = shape.order == ZYL_DATA_ORDER_PIXEL ? 1 : shape.channels;
        if (write_ && !read_) {
            const int rows = (shape.height + size.height - 1) / size.height;
            written_.resize(static_cast<std::size_t>(columns_) * static_cast<std::size_t>(rows));
        }
    }

    /** Forgets tiles that a call which failed has left here. */
    void begin() noexcept {
        for (Slot &each : slots_) each.held = 0;
    }

    static void ZYL_CALL serve(ZylImage *image, std::int32_t column, std::int32_t row,
                               std::int32_t mode) noexcept {
        image->tileInfo->tileData = nullptr;
        try {
            auto *self = static_cast<TileStore *>(image->tileInfo->id);
            const TileIndex index = {column, row};
            if (mode == ZYL_RELEASE_TILE) return self->release(index);
            image->tileInfo->tileData = self->request(index, mode == ZYL_GET_TILE_TO_WRITE);
        } catch (...) {
            Listener::keepException();
        }
    }

  private:
    struct Slot {
        TileIndex index;
        std::vector<unsigned char> memory;
        int held = 0; /* in place, a tile is asked for by each image of the call */
        bool dirty = false;
    };

    Slot *find(TileIndex index) noexcept {
        for (Slot &each : slots_)
            if (each.held > 0 && each.index == index) return &each;
        return nullptr;
    }

    unsigned char *request(TileIndex index, bool toWrite) {
        Slot *slot = find(index);
        if (slot == nullptr) slot = &fetch(index, toWrite);
        ++slot->held;
        slot->dirty = slot->dirty || toWrite;
        return slot->memory.data();
    }

    Slot &fetch(TileIndex index, bool toWrite) {
        if (toWrite && !write_) refuse("zyl::Image", "a source of tiles cannot be written");
        if (!read_ && !toWrite) {
            refuse("zyl::Image", "the operation reads its destination: give that a function "
                                 "that reads tiles too");
        }
        Slot &slot = freeSlot();
        slot.index = index;
        slot.dirty = false;
        slot.memory.assign(static_cast<std::size_t>(stride_ * size_.height * planes_), 0);
        if (read_) {
            read_(tile(slot));
            return slot;
        }
        auto written = written_.begin() + std::ptrdiff_t{index.row} * columns_ + index.column;
        if (*written) {
            refuse("zyl::Image", "a tile is written twice: give the destination a function "
                                 "that reads tiles too");
        }
        *written = true;
        return slot;
    }

    Slot &freeSlot() {
        for (Slot &each : slots_)
            if (each.held == 0) return each;
        return slots_.emplace_back();
    }

    void release(TileIndex index) {
        Slot *slot = find(index);
        if (slot != nullptr && --slot->held == 0 && slot->dirty) write_(tile(*slot));
    }

    Tile tile(Slot &slot) const {
        const int x = slot.index.column * size_.width, y = slot.index.row * size_.height;
        return {slot.index,
                {x, y, std::min(size_.width, width_ - x), std::min(size_.height, height_ - y)},
                slot.memory.data(),
                static_cast<std::ptrdiff_t>(stride_),
                static_cast<std::ptrdiff_t>(stride_ * size_.height)};
    }

    int width_, height_;
    TileSize size_;
    int columns_, planes_;
    std::int64_t stride_;
    TileFunction read_, write_;
    std::deque<Slot> slots_;    /* one, or one for each image in place */
    std::vector<bool> written_; /* of a sink without read_: tiles that were delivered */
};

} // namespace detail

/** An image that is read: its own pixels, a view of others, or tiles. A header belongs to
 * one call at a time where its region, its borders or its tiles are set. */
class ConstImage {
  public:
    ConstImage() = default;

    /** A view of samples that stay where they are. Rows lie as far apart as rowStride() says, or
     * an Error tells how far that is. */
    template <Sample T>
    static ConstImage view(std::span<const T> samples, const Shape &shape) {
        ConstImage image;
        image.point<T>({const_cast<T *>(samples.data()), samples.size()}, shape);
        return image;
    }

    explicit operator bool() const noexcept { return header_ != nullptr; }
    ZylImage *header() const noexcept { return header_.get(); }
    int width() const noexcept { return header_->width; }
    int height() const noexcept { return header_->height; }
    int channels() const noexcept { return header_->nChannels; }
    std::uint32_t depth() const noexcept { return header_->depth; }
    Shape shape() const;

    /** Row y in memory, of a plane from 0. Not for tiled images. */
    const unsigned char *row(int y, int plane = 0) const noexcept { return at(y, plane); }
    /** The same as samples: all channels of the row's pixels, or those of a plane. */
    template <Sample T>
    std::span<const T> samples(int y, int plane = 0) const {
        return {reinterpret_cast<const T *>(at(y, plane)), samplesOfRow<T>()};
    }
    /** Copies all samples, row by row and plane by plane, without gaps. */
    template <Sample T>
    void copyTo(std::span<T> to) const {
        std::size_t done = 0;
        forRows([&](int y, int plane) {
            const std::span<const T> from = samples<T>(y, plane);
            if (to.size() - done < from.size()) detail::refuse("zyl::copyTo", "too few samples");
            std::copy(from.begin(), from.end(), to.begin() + static_cast<std::ptrdiff_t>(done));
            done += from.size();
        });
    }

    /** The part and the channel, from 1, that operations work on; 0 for all channels. */
    void setRegion(const Rect &part, int channel = 0) {
        if (header_->roi == nullptr) header_->roi = zylCreateROI(0, 0, 0, 1, 1);
        if (header_->roi == nullptr) throw std::bad_alloc();
        zylSetROI(header_->roi, channel, part.x, part.y, part.height, part.width);
    }
    void setChannel(int channel) { setRegion({0, 0, width(), height()}, channel); }
    void clearRegion() noexcept { zylDeallocate(header_.get(), ZYL_DEALLOC_ROI); }

    /** What lies outside, for some of the sides ZYL_SIDE_...; `value` of constant borders. */
    void setBorder(Border mode, std::int32_t value = 0,
                   std::int32_t sides = ZYL_SIDE_ALL) noexcept {
        zylSetBorderMode(header_.get(), static_cast<std::int32_t>(mode), sides, value);
    }

    /** A header of its own over the same pixels, with a region and these borders; it must not
     * outlive this image. */
    ConstImage part(const Rect &region, int channel = 0) const {
        ConstImage image;
        image.share(*this, region, channel);
        return image;
    }

    /** For a call that begins. */
    ZylImage *begin() const noexcept {
        if (header_ && store_ != nullptr) store_->begin();
        return header_.get();
    }

  protected:
    template <Sample T>
    void point(std::span<T> samples, const Shape &shape);
    template <Sample T>
    static void checkType(const Shape &shape) {
        const bool fits = shape.depth == depthOf<T> ||
                          (shape.depth == ZYL_DEPTH_1U && std::same_as<T, std::uint8_t>);
        if (!fits) detail::refuse("zyl::Image", "the type of the samples is not of this depth");
    }
    void share(const ConstImage &from, const Rect &region, int channel);

    unsigned char *at(int y, int plane) const noexcept {
        const ZylImage &h = *header_;
        const std::ptrdiff_t row = std::ptrdiff_t{plane} * h.height + y;
        return h.imageData + row * h.widthStep;
    }
    template <class T>
    std::size_t samplesOfRow() const noexcept {
        const ZylImage &h = *header_;
        assert(h.depth == ZYL_DEPTH_1U || bitsOf(h.depth) == static_cast<int>(sizeof(T) * 8));
        const auto width = static_cast<std::size_t>(h.width);
        if (h.depth == ZYL_DEPTH_1U) return (width + 7) / 8;
        return h.dataOrder == ZYL_DATA_ORDER_PIXEL ? width * static_cast<std::size_t>(h.nChannels)
                                                   : width;
    }
    template <class Visit>
    void forRows(Visit visit) const {
        const int planes = header_->dataOrder == ZYL_DATA_ORDER_PIXEL ? 1 : header_->nChannels;
        for (int plane = 0; plane < planes; ++plane)
            for (int y = 0; y < header_->height; ++y) visit(y, plane);
    }

    struct Free {
        void operator()(ZylImage *image) const noexcept { zylDeallocate(image, ZYL_DEALLOC_ALL); }
    };
    std::unique_ptr<detail::TileStore> tiles_;
    detail::TileStore *store_ = nullptr; /* tiles_, or that of the image of which this is a part */
    std::unique_ptr<ZylImage, Free> header_;
};

/** An image that is read and written. */
class Image : public ConstImage {
  public:
    Image() = default;
    /** Owns its pixels, every sample the low bits of `fill`. Throws std::length_error when
     * rows and planes do not fit in 2 GiB, std::bad_alloc when memory does not suffice. */
    explicit Image(const Shape &shape, std::int32_t fill = 0) { allocate(shape, fill); }
    Image(int width, int height, int channels = 1, std::uint32_t depth = ZYL_DEPTH_8U)
        : Image(makeShape(width, height, channels, depth)) {}
    /** The samples are left as the memory comes. */
    static Image unfilled(const Shape &shape) { return Image(shape, -1); }

    /** Owns a copy of samples that follow each other without gaps, row by row and plane by
     * plane. */
    template <Sample T>
    static Image from(std::span<const T> samples, const Shape &shape);
    template <Sample T>
    static Image from(std::initializer_list<T> samples, const Shape &shape) {
        return from(std::span<const T>(samples.begin(), samples.size()), shape);
    }

    /** A view of samples that stay where they are: see ConstImage::view(). */
    template <Sample T>
    static Image view(std::span<T> samples, const Shape &shape) {
        Image image;
        image.point<T>(samples, shape);
        return image;
    }

    /** An image in tiles. `read` fills a tile with its pixels; without it, the image is a sink,
     * of which each tile is written once and nothing is read. `write` gets tiles that were
     * written; without it, the image is a source. One tile is in memory at a time, or up to three
     * where the image is source and destination. */
    static Image tiled(const Shape &shape, TileSize size, TileFunction read,
                       TileFunction write = {});

    /** Takes over a header with all its parts. */
    static Image adopt(ZylImage *header) noexcept {
        Image image;
        image.header_.reset(header);
        return image;
    }

    using ConstImage::row;
    unsigned char *row(int y, int plane = 0) noexcept { return at(y, plane); }
    using ConstImage::samples;
    template <Sample T>
    std::span<T> samples(int y, int plane = 0) {
        return {reinterpret_cast<T *>(at(y, plane)), samplesOfRow<T>()};
    }

    using ConstImage::part;
    Image part(const Rect &region, int channel = 0) {
        Image image;
        image.share(*this, region, channel);
        return image;
    }

  private:
    void allocate(const Shape &shape, std::int32_t fill);
};

inline Shape ConstImage::shape() const {
    return shapeOf(*header_);
}

template <Sample T>
void ConstImage::point(std::span<T> samples, const Shape &shape) {
    checkType<T>(shape);
    const std::size_t bytes = samples.size_bytes();
    const std::int64_t rows =
        std::int64_t{shape.height} * (shape.order == ZYL_DATA_ORDER_PIXEL ? 1 : shape.channels);
    const std::int64_t stride = rowStride(shape, shape.width);
    if (shape.width < 1 || rows < 1 || stride * rows != static_cast<std::int64_t>(bytes)) {
        detail::refuse("zyl::Image::view",
                       std::to_string(rows) + " rows of " + std::to_string(stride) +
                           " bytes are wanted, not " + std::to_string(bytes) +
                           " bytes; Image::from() copies rows that lie otherwise");
    }
    header_.reset(makeHeader(shape));
    header_->imageData = reinterpret_cast<unsigned char *>(samples.data());
}

inline void ConstImage::share(const ConstImage &from, const Rect &region, int channel) {
    const ZylImage &h = *from.header();
    ZylTileInfo *tiles = nullptr;
    if (h.tileInfo != nullptr) {
        tiles = zylCreateTileInfo(h.tileInfo->callBack, h.tileInfo->id, h.tileInfo->width,
                                  h.tileInfo->height);
        if (tiles == nullptr) throw std::bad_alloc();
    }
    header_.reset(makeHeader(from.shape()));
    header_->tileInfo = tiles;
    store_ = from.store_;
    header_->imageData = h.imageData;
    header_->widthStep = h.widthStep;
    header_->imageSize = h.imageSize;
    std::copy(h.borderMode, h.borderMode + 4, header_->borderMode);
    std::copy(h.borderConst, h.borderConst + 4, header_->borderConst);
    setRegion(region, channel);
}

inline void Image::allocate(const Shape &shape, std::int32_t fill) {
    const std::int64_t rows =
        std::int64_t{shape.height} * (shape.order == ZYL_DATA_ORDER_PIXEL ? 1 : shape.channels);
    const bool valid = shape.width > 0 && rows > 0 && (shape.align == 4 || shape.align == 8);
    if (!valid || rowStride(shape, shape.width) > std::numeric_limits<std::int32_t>::max() / rows) {
        throw std::length_error("an image of " + std::to_string(shape.width) + " x " +
                                std::to_string(shape.height) +
                                " pixels: sides are at least 1, and its rows and planes take 2 "
                                "GiB at most; larger ones come in tiles");
    }
    header_.reset(makeHeader(shape));
    zylAllocateImage(header_.get(), fill);
    if (header_->imageData == nullptr) throw std::bad_alloc();
}

template <Sample T>
Image Image::from(std::span<const T> samples, const Shape &shape) {
    checkType<T>(shape);
    Image image = unfilled(shape);
    image.forRows([&](int y, int plane) {
        const std::span<T> to = image.samples<T>(y, plane);
        if (samples.size() < to.size()) detail::refuse("zyl::Image::from", "too few samples");
        std::copy_n(samples.begin(), to.size(), to.begin());
        samples = samples.subspan(to.size());
    });
    return image;
}

inline Image Image::tiled(const Shape &shape, TileSize size, TileFunction read,
                          TileFunction write) {
    if (size.width < 8 || size.height < 8 || size.width % 8 != 0 || size.height % 8 != 0)
        detail::refuse("zyl::Image::tiled", "sides of tiles are positive multiples of 8");
    Image image;
    image.tiles_ =
        std::make_unique<detail::TileStore>(shape, size, std::move(read), std::move(write));
    image.store_ = image.tiles_.get();
    image.header_.reset(makeHeader(shape));
    image.header_->tileInfo =
        zylCreateTileInfo(detail::TileStore::serve, image.tiles_.get(), size.width, size.height);
    if (image.header_->tileInfo == nullptr) throw std::bad_alloc();
    return image;
}

/** What an operation reads: an image or a header; nothing where that has a meaning. */
class Source {
  public:
    Source() = default;
    Source(const ConstImage &image) noexcept : header_(image.begin()) {}
    Source(ZylImage *header) noexcept : header_(header) {}
    ZylImage *header() const noexcept { return header_; }

  private:
    ZylImage *header_ = nullptr;
};

/** What an operation writes. */
class Target {
  public:
    Target() = default;
    Target(Image &image) noexcept : header_(image.begin()) {}
    Target(Image &&image) noexcept : header_(image.begin()) {}
    Target(ZylImage *header) noexcept : header_(header) {}
    ZylImage *header() const noexcept { return header_; }

  private:
    ZylImage *header_ = nullptr;
};

/* ======================================================================== */
/* Kernels, colour twists and tables */
/* ======================================================================== */

/** A kernel of whole numbers, row by row; its anchor is the middle cell, rounded up, unless
 * given. */
class Kernel {
  public:
    struct Anchor {
        int x, y;
    };
    Kernel(int rows, int columns, std::span<const std::int8_t> values, int shift = 0,
           std::optional<Anchor> anchor = {}) {
        if (rows < 1 || columns < 1 ||
            values.size() != static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns)) {
            detail::refuse("zyl::Kernel", std::to_string(values.size()) + " coefficients for " +
                                              std::to_string(rows) + " x " +
                                              std::to_string(columns));
        }
        const Anchor at = anchor.value_or(Anchor{columns / 2, rows / 2});
        const detail::Listener listener;
        kernel_.reset(zylCreateConvKernel(rows, columns, at.x, at.y, values.data(), shift));
        listener.raise("zylCreateConvKernel");
    }
    Kernel(int rows, int columns, std::initializer_list<std::int8_t> values, int shift = 0,
           std::optional<Anchor> anchor = {})
        : Kernel(rows, columns, std::span<const std::int8_t>(values.begin(), values.size()), shift,
                 anchor) {}

    ZylConvKernel *get() const noexcept { return kernel_.get(); }

  private:
    struct Free {
        void operator()(ZylConvKernel *kernel) const noexcept { zylDeleteConvKernel(kernel); }
    };
    std::unique_ptr<ZylConvKernel, Free> kernel_;
};

/** One kernel or several, which have to live as long as this. */
class Kernels {
  public:
    Kernels(const Kernel &kernel) noexcept : count_(1) { pointers_[0] = kernel.get(); }
    Kernels(std::initializer_list<std::reference_wrapper<const Kernel>> kernels) noexcept
        : count_(static_cast<std::int32_t>(kernels.size())) {
        std::size_t i = 0;
        for (const Kernel &kernel : kernels)
            if (i < pointers_.size()) pointers_[i++] = kernel.get();
    }
    /** An array or a vector of kernels. */
    template <std::convertible_to<std::span<const Kernel>> Range>
    Kernels(const Range &range) noexcept {
        const std::span<const Kernel> kernels = range;
        count_ = static_cast<std::int32_t>(kernels.size());
        for (std::size_t i = 0; i < std::min(kernels.size(), pointers_.size()); ++i)
            pointers_[i] = kernels[i].get();
    }
    ZylConvKernel *const *pointers() const noexcept { return pointers_.data(); }
    std::int32_t count() const noexcept { return count_; }

  private:
    std::array<ZylConvKernel *, 100> pointers_; /* the library takes no more */
    std::int32_t count_;
};

/** A matrix for zylApplyColorTwist(): 16 numbers, of which the last four are not used. */
class ColorTwist {
  public:
    explicit ColorTwist(std::span<const std::int32_t, 16> numbers, int scale = 0) {
        const detail::Listener listener;
        twist_.reset(zylCreateColorTwist(numbers.data(), scale));
        listener.raise("zylCreateColorTwist");
    }
    explicit ColorTwist(const std::array<std::int32_t, 16> &numbers, int scale = 0)
        : ColorTwist(std::span<const std::int32_t, 16>(numbers), scale) {}
    const ZylColorTwist *get() const noexcept { return twist_.get(); }

  private:
    struct Free {
        void operator()(ZylColorTwist *twist) const noexcept { zylDeleteColorTwist(twist); }
    };
    std::unique_ptr<ZylColorTwist, Free> twist_;
};

/** Look-up tables or histograms, one for each channel. Interval i of channel c is
 * [keys(c)[i], keys(c)[i + 1]); values(c) has as many entries as keys(c). */
class Tables {
  public:
    /** All channels begin with these keys and zeros; with `slopes`, with factors too. */
    Tables(int channels, const std::vector<std::int32_t> &keys, bool slopes = false)
        : entries_(static_cast<std::size_t>(channels)) {
        for (Entry &each : entries_) {
            each.key = keys;
            each.value.resize(keys.size());
            each.factor.resize(slopes ? keys.size() : 0);
            each.lut = {static_cast<std::int32_t>(keys.size()), each.key.data(), each.value.data(),
                        slopes ? each.factor.data() : nullptr, slopes ? 1 : 0};
            pointers_.push_back(&each.lut);
        }
    }
    /** An interval for each value of 1U, 8U or 16U samples. */
    static Tables ofValues(int channels, std::uint32_t depth = ZYL_DEPTH_8U) {
        std::vector<std::int32_t> keys((std::size_t{1} << std::min(bitsOf(depth), 16)) + 1);
        for (std::size_t i = 0; i < keys.size(); ++i) keys[i] = static_cast<std::int32_t>(i);
        return Tables(channels, keys);
    }
    Tables(Tables &&) = default;
    Tables &operator=(Tables &&) = default;

    int channels() const noexcept { return static_cast<int>(entries_.size()); }
    std::span<std::int32_t> keys(int channel) { return entries_[index(channel)].key; }
    std::span<std::int32_t> values(int channel) { return entries_[index(channel)].value; }
    std::span<std::int32_t> slopes(int channel) { return entries_[index(channel)].factor; }
    ZylLUT *const *pointers() const noexcept { return pointers_.data(); }

  private:
    static std::size_t index(int channel) noexcept { return static_cast<std::size_t>(channel); }
    struct Entry {
        std::vector<std::int32_t> key, value, factor;
        ZylLUT lut;
    };
    std::vector<Entry> entries_;
    std::vector<ZylLUT *> pointers_;
};

/* ======================================================================== */
/* Operations */
/* ======================================================================== */

namespace detail {

/** What an operation makes of a source's region and channel, which come to the corner of an
 * image of their own. Where the operation leaves alpha as it is, it starts as the source. */
class Result {
  public:
    enum Channels { one, all }; /* of the result while it is made from a channel of interest */
    Result(Source source, bool regions, bool keepsAlpha, Channels channels = one) {
        if (source.header() == nullptr) refuse("zyl::Source", "there is no image");
        const ZylImage &from = *source.header();
        Shape shape = shapeOf(from);
        const ZylROI *roi = regions ? from.roi : nullptr;
        if (roi != nullptr) {
            shape.width = std::min(shape.width - roi->xOffset, roi->width);
            shape.height = std::min(shape.height - roi->yOffset, roi->height);
        }
        const int channel = roi != nullptr ? roi->coi : 0;
        if (channel > 0 && channels == one) shape = gray(shape);
        image_ = Image(shape);
        /* Where one image has a channel of interest, all of them have. */
        if (channel > 0) image_.setChannel(channels == one ? 1 : channel);
        if (keepsAlpha && shape.channels > 1) copy(source, image_);
    }
    Result(Source source, std::int32_t xUp, std::int32_t xDown, std::int32_t yUp,
           std::int32_t yDown)
        : Result(source, true, false) {
        Shape shape = image_.shape();
        shape.width = scaled(shape.width, xUp, xDown);
        shape.height = scaled(shape.height, yUp, yDown);
        const bool channel = image_.header()->roi != nullptr;
        image_ = Image(shape);
        if (channel) image_.setChannel(1);
    }

    Image &target() noexcept { return image_; }
    Image take() {
        if (image_.header()->roi != nullptr && image_.channels() > 1) {
            Image channel(gray(image_.shape()));
            copy(image_, channel);
            return channel;
        }
        image_.clearRegion();
        return std::move(image_);
    }

  private:
    static Shape gray(Shape shape) {
        shape.channels = 1;
        shape.alpha = 0;
        shape.model = shape.sequence = "GRAY";
        return shape;
    }
    static void copy(Source from, Target to) {
        const Listener listener;
        zylCopy(from.header(), to.header(), nullptr);
        listener.raise("zylCopy");
    }
    static int scaled(int size, std::int32_t up, std::int32_t down) noexcept {
        if (up < 1 || down < 1) return 1; /* the library refuses such factors itself */
        const std::int64_t product = std::int64_t{size} * up / down;
        return static_cast<int>(
            std::clamp<std::int64_t>(product, 1, std::numeric_limits<std::int32_t>::max()));
    }

    Image image_;
};

/** A pixel of a tile, where there are tiles. */
class Point {
  public:
    Point(const std::optional<TileIndex> &tile, Target target) noexcept {
        const ZylImage *image = target.header();
        given_ = tile && image != nullptr && image->tileInfo != nullptr;
        if (given_)
            point_ = {tile->column * image->tileInfo->width, tile->row * image->tileInfo->height};
    }
    const ZylTileMapping *get() const noexcept { return given_ ? &point_ : nullptr; }

  private:
    bool given_;
    ZylTileMapping point_{};
};

/** Column and row of a tile. */
class Pair {
  public:
    explicit Pair(const std::optional<TileIndex> &tile) noexcept : given_(tile.has_value()) {
        if (given_) pair_ = {tile->column, tile->row};
    }
    const std::int32_t *get() const noexcept { return given_ ? pair_.data() : nullptr; }

  private:
    bool given_;
    std::array<std::int32_t, 2> pair_{};
};

/** The largest sample of the target's depth. */
inline std::int32_t largest(Target target) noexcept {
    if (target.header() == nullptr) return 0;
    const std::uint32_t depth = target.header()->depth;
    const int bits = bitsOf(depth) - ((depth & ZYL_DEPTH_SIGN) != 0 ? 1 : 0);
    return static_cast<std::int32_t>((std::int64_t{1} << std::clamp(bits, 0, 31)) - 1);
}

inline std::int32_t half(std::int32_t ZylImage::*size, Source source) noexcept {
    return source.header() == nullptr ? 0 : source.header()->*size / 2;
}

} // namespace detail

/* clang-format off */
/* Made by operations/hpp.py of operations.json. */

enum class Keep : std::int32_t {
    /** The low bits and the sign. */
    low = 0,
    /** The high bits, cut toward zero. */
    high = 1,
};

enum class Diffusion : std::int32_t {
    /** No dither. */
    none = 1,
    /** Errors go to four neighbours. */
    floydSteinberg = 2,
    /** Errors go to twelve neighbours, by Jarvis, Judice and Ninke. */
    jarvis = 4,
    /** Errors go to twelve neighbours, by Stucki. */
    stucki = 8,
    /** A 4 x 4 pattern of thresholds. */
    ordered = 16,
};

enum class BitmapDither : std::int32_t {
    /** 16-bit samples lose their lower byte. */
    none = 1,
    /** 16-bit samples are reduced with a dither. */
    stucki = 8,
};

enum class Palette : std::int32_t {
    /** The bitmap's own table. */
    given = 0,
    /** A fixed table of 2, 16 or 256 entries. */
    fixed = 1,
    /** A table made for the picture. */
    medianCut = 2,
};

enum class Combine : std::int32_t {
    /** The sum. */
    sum = ZYL_SUM,
    /** The sum of the squares. */
    sumOfSquares = ZYL_SUMSQ,
    /** The root of the sum of the squares. */
    rootOfSquares = ZYL_SUMSQROOT,
    /** The largest. */
    max = ZYL_MAX,
    /** The smallest. */
    min = ZYL_MIN,
};

enum class Interpolation : std::int32_t {
    /** The pixel at or before the position. */
    nearest = ZYL_INTER_NN,
    /** Between two pixels in each direction. */
    linear = ZYL_INTER_LINEAR,
    /** A cubic through four pixels in each direction. */
    cubic = ZYL_INTER_CUBIC,
};

enum class Axis : std::int32_t {
    /** Top and bottom change places. */
    horizontal = 0,
    /** Left and right change places. */
    vertical = 1,
    /** Both: half a turn. */
    both = -1,
};

enum class Fourier : std::int32_t {
    /** Negative exponent. */
    forward = ZYL_FFT_FORWARD,
    /** Positive exponent, divided by the number of pixels. */
    inverse = ZYL_FFT_INVERSE,
    /** An inverse that is not divided. */
    noScale = ZYL_FFT_NO_SCALE,
    /** The alpha channel too. */
    withAlpha = ZYL_FFT_WITH_ALPHA,
    /** Integers with 6 fraction bits, for up to 128 pixels. */
    fixedPoint = ZYL_FFT_FIXED_POINT,
    /** Single precision. */
    floating = ZYL_FFT_FLOATING,
    /** With the set-up of the call before. */
    repeat = ZYL_FFT_REPEAT,
    /** Only free what is kept. */
    release = ZYL_FFT_RELEASE,
    /** Keep tables and buffers for the next call. */
    keepTables = ZYL_FFT_KEEP_TABLES,
};
inline constexpr Fourier operator|(Fourier a, Fourier b) noexcept {
    return static_cast<Fourier>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
}

enum class Cosine : std::int32_t {
    /** Picture to coefficients. */
    forward = ZYL_DCT_FORWARD,
    /** Coefficients to picture. */
    inverse = ZYL_DCT_INVERSE,
    /** The alpha channel too. */
    withAlpha = ZYL_DCT_WITH_ALPHA,
    /** Only free the tables kept. */
    release = ZYL_DCT_RELEASE,
};
inline constexpr Cosine operator|(Cosine a, Cosine b) noexcept {
    return static_cast<Cosine>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
}

enum class Norm : std::int32_t {
    /** The largest absolute value. */
    c = ZYL_NORM_C,
    /** The sum of absolute values. */
    l1 = ZYL_NORM_L1,
    /** The root of the sum of squares. */
    l2 = ZYL_NORM_L2,
    /** The largest absolute value, relative to the second picture's. */
    relativeC = ZYL_NORM_RELATIVE_C,
    /** The sum, relative to the second picture's. */
    relativeL1 = ZYL_NORM_RELATIVE_L1,
    /** The root, relative to the second picture's. */
    relativeL2 = ZYL_NORM_RELATIVE_L2,
};

enum class Composite : std::int32_t {
    /** A before B. */
    over = ZYL_COMPOSITE_OVER,
    /** A where B is. */
    in = ZYL_COMPOSITE_IN,
    /** A where B is not. */
    out = ZYL_COMPOSITE_OUT,
    /** A where B is, else B. */
    atop = ZYL_COMPOSITE_ATOP,
    /** Either where the other is not. */
    xor_ = ZYL_COMPOSITE_XOR,
    /** Both added. */
    plus = ZYL_COMPOSITE_PLUS,
};

/** Adds a second picture, saturated: zylAdd(). */
inline void add(Source srcA, Source srcB, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAdd(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylAdd");
}
[[nodiscard]] inline Image add(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    add(srcA, srcB, made.target());
    return made.take();
}

/** Subtracts a second picture, saturated: zylSubtract(). */
inline void subtract(Source srcA, Source srcB, Target dst, bool reverse = false,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylSubtract(srcA.header(), srcB.header(), dst.header(), reverse ? 1 : 0,
        detail::Pair(tile).get());
    listener.raise("zylSubtract");
}
[[nodiscard]] inline Image subtract(Source srcA, Source srcB, bool reverse = false) {
    detail::Result made(srcA, true, false);
    subtract(srcA, srcB, made.target(), reverse);
    return made.take();
}

/** Multiplies by a second picture, saturated: zylMultiply(). */
inline void multiply(Source srcA, Source srcB, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMultiply(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylMultiply");
}
[[nodiscard]] inline Image multiply(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    multiply(srcA, srcB, made.target());
    return made.take();
}

/** Adds a constant, saturated: zylAddS(). */
inline void addS(Source src, Target dst, std::int32_t value, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAddS(src.header(), dst.header(), value, detail::Pair(tile).get());
    listener.raise("zylAddS");
}
[[nodiscard]] inline Image addS(Source src, std::int32_t value) {
    detail::Result made(src, true, false);
    addS(src, made.target(), value);
    return made.take();
}

/** Subtracts a constant, saturated: zylSubtractS(). */
inline void subtractS(Source src, Target dst, std::int32_t value, bool reverse = false,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylSubtractS(src.header(), dst.header(), value, reverse ? 1 : 0, detail::Pair(tile).get());
    listener.raise("zylSubtractS");
}
[[nodiscard]] inline Image subtractS(Source src, std::int32_t value, bool reverse = false) {
    detail::Result made(src, true, false);
    subtractS(src, made.target(), value, reverse);
    return made.take();
}

/** Multiplies by a constant, saturated: zylMultiplyS(). */
inline void multiplyS(Source src, Target dst, std::uint32_t value,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMultiplyS(src.header(), dst.header(), value, detail::Pair(tile).get());
    listener.raise("zylMultiplyS");
}
[[nodiscard]] inline Image multiplyS(Source src, std::uint32_t value) {
    detail::Result made(src, true, false);
    multiplyS(src, made.target(), value);
    return made.take();
}

/** Shifts the bits of every sample left: zylLShiftS(). */
inline void lShiftS(Source src, Target dst, std::uint32_t shift,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylLShiftS(src.header(), dst.header(), shift, detail::Pair(tile).get());
    listener.raise("zylLShiftS");
}
[[nodiscard]] inline Image lShiftS(Source src, std::uint32_t shift) {
    detail::Result made(src, true, false);
    lShiftS(src, made.target(), shift);
    return made.take();
}

/** Shifts the bits of every sample right: zylRShiftS(). */
inline void rShiftS(Source src, Target dst, std::uint32_t shift,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylRShiftS(src.header(), dst.header(), shift, detail::Pair(tile).get());
    listener.raise("zylRShiftS");
}
[[nodiscard]] inline Image rShiftS(Source src, std::uint32_t shift) {
    detail::Result made(src, true, false);
    rShiftS(src, made.target(), shift);
    return made.take();
}

/** Squares every sample, saturated: zylSquare(). */
inline void square(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylSquare(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylSquare");
}
[[nodiscard]] inline Image square(Source src) {
    detail::Result made(src, true, false);
    square(src, made.target());
    return made.take();
}

/** Makes every sample positive: zylAbs(). */
inline void abs(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAbs(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylAbs");
}
[[nodiscard]] inline Image abs(Source src) {
    detail::Result made(src, true, false);
    abs(src, made.target());
    return made.take();
}

/** Keeps the bits that a second picture has too: zylAnd(). */
inline void and_(Source srcA, Source srcB, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAnd(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylAnd");
}
[[nodiscard]] inline Image and_(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    and_(srcA, srcB, made.target());
    return made.take();
}

/** Adds the bits of a second picture: zylOr(). */
inline void or_(Source srcA, Source srcB, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylOr(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylOr");
}
[[nodiscard]] inline Image or_(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    or_(srcA, srcB, made.target());
    return made.take();
}

/** Inverts the bits that a second picture has: zylXor(). */
inline void xor_(Source srcA, Source srcB, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylXor(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylXor");
}
[[nodiscard]] inline Image xor_(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    xor_(srcA, srcB, made.target());
    return made.take();
}

/** Keeps the bits of a constant: zylAndS(). */
inline void andS(Source src, Target dst, std::uint32_t value, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAndS(src.header(), dst.header(), value, detail::Pair(tile).get());
    listener.raise("zylAndS");
}
[[nodiscard]] inline Image andS(Source src, std::uint32_t value) {
    detail::Result made(src, true, false);
    andS(src, made.target(), value);
    return made.take();
}

/** Sets the bits of a constant: zylOrS(). */
inline void orS(Source src, Target dst, std::uint32_t value, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylOrS(src.header(), dst.header(), value, detail::Pair(tile).get());
    listener.raise("zylOrS");
}
[[nodiscard]] inline Image orS(Source src, std::uint32_t value) {
    detail::Result made(src, true, false);
    orS(src, made.target(), value);
    return made.take();
}

/** Inverts the bits of a constant: zylXorS(). */
inline void xorS(Source src, Target dst, std::uint32_t value, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylXorS(src.header(), dst.header(), value, detail::Pair(tile).get());
    listener.raise("zylXorS");
}
[[nodiscard]] inline Image xorS(Source src, std::uint32_t value) {
    detail::Result made(src, true, false);
    xorS(src, made.target(), value);
    return made.take();
}

/** Inverts all bits: zylNot(). */
inline void not_(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylNot(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylNot");
}
[[nodiscard]] inline Image not_(Source src) {
    detail::Result made(src, true, false);
    not_(src, made.target());
    return made.take();
}

/** Copies samples: zylCopy(). */
inline void copy(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylCopy(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylCopy");
}
[[nodiscard]] inline Image copy(Source src) {
    detail::Result made(src, true, false);
    copy(src, made.target());
    return made.take();
}

/** Gives every sample one value, clamped to the depth's range: zylSet(). */
inline void set(Target image, std::int32_t value, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylSet(image.header(), value, detail::Pair(tile).get());
    listener.raise("zylSet");
}

/** Swaps the samples of two pictures: zylExchange(). */
inline void exchange(Target imageA, Target imageB, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylExchange(imageA.header(), imageB.header(), detail::Pair(tile).get());
    listener.raise("zylExchange");
}

/** Makes an image of a device-independent bitmap: zylTranslateDIB(). `shared` tells whether it
 * uses the bitmap's own pixels. */
[[nodiscard]] inline Image translateDib(const void *dib, bool *shared = nullptr) {
    const detail::Listener listener;
    std::int32_t cloned = 0;
    Image image = Image::adopt(zylTranslateDIB(dib, &cloned));
    listener.raise("zylTranslateDIB");
    if (shared != nullptr) *shared = cloned != 0;
    return image;
}

/** Converts a device-independent bitmap into a picture: zylConvertFromDIB(). */
inline void convertFromDib(const void *dib, Target image) {
    const detail::Listener listener;
    zylConvertFromDIB(dib, image.header());
    listener.raise("zylConvertFromDIB");
}

/** Converts a picture into a device-independent bitmap: zylConvertToDIB(). */
inline void convertToDib(Source image, void *dib, BitmapDither dither = BitmapDither::none,
    Palette palette = Palette::given) {
    const detail::Listener listener;
    zylConvertToDIB(image.header(), dib, static_cast<std::int32_t>(dither),
        static_cast<std::int32_t>(palette));
    listener.raise("zylConvertToDIB");
}

/** Changes the depth of the samples: zylConvert(). */
inline void convert(Source src, Target dst, Keep keep = Keep::high,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylConvert(src.header(), dst.header(), static_cast<std::int32_t>(keep), detail::Point(tile,
        dst).get());
    listener.raise("zylConvert");
}
[[nodiscard]] inline Image convert(Source src, const Shape &shape, Keep keep = Keep::high) {
    Image result(shape);
    convert(src, result, keep);
    return result;
}

/** Gives the two values of a 1-bit picture: zylBitonalToGray(). */
inline void bitonalToGray(Source src, Target dst, std::int32_t zero = 0,
    std::optional<std::int32_t> one = {}, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylBitonalToGray(src.header(), dst.header(), zero, one.value_or(detail::largest(dst)),
        detail::Point(tile, dst).get());
    listener.raise("zylBitonalToGray");
}
[[nodiscard]] inline Image bitonalToGray(Source src, const Shape &shape, std::int32_t zero = 0,
    std::optional<std::int32_t> one = {}) {
    Image result(shape);
    bitonalToGray(src, result, zero, one);
    return result;
}

/** Makes gray of colour: zylColorToGray(). */
inline void colorToGray(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylColorToGray(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylColorToGray");
}
[[nodiscard]] inline Image colorToGray(Source src, const Shape &shape) {
    Image result(shape);
    colorToGray(src, result);
    return result;
}

/** Makes colour of gray; with three zeros, by the weights of color-to-gray: zylGrayToColor(). */
inline void grayToColor(Source src, Target dst, float r = 1, float g = 1, float b = 1,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylGrayToColor(src.header(), dst.header(), r, g, b, detail::Pair(tile).get());
    listener.raise("zylGrayToColor");
}
[[nodiscard]] inline Image grayToColor(Source src, const Shape &shape, float r = 1, float g = 1,
    float b = 1) {
    Image result(shape);
    grayToColor(src, result, r, g, b);
    return result;
}

/** Turns RGB to hue, saturation and value: zylRGB2HSV(). */
inline void rgb2hsv(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylRGB2HSV(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylRGB2HSV");
}
[[nodiscard]] inline Image rgb2hsv(Source src, const Shape &shape) {
    Image result(shape);
    rgb2hsv(src, result);
    return result;
}

/** Turns hue, saturation and value to RGB: zylHSV2RGB(). */
inline void hsv2rgb(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylHSV2RGB(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylHSV2RGB");
}
[[nodiscard]] inline Image hsv2rgb(Source src, const Shape &shape) {
    Image result(shape);
    hsv2rgb(src, result);
    return result;
}

/** Turns RGB to hue, lightness and saturation: zylRGB2HLS(). */
inline void rgb2hls(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylRGB2HLS(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylRGB2HLS");
}
[[nodiscard]] inline Image rgb2hls(Source src, const Shape &shape) {
    Image result(shape);
    rgb2hls(src, result);
    return result;
}

/** Turns hue, lightness and saturation to RGB: zylHLS2RGB(). */
inline void hls2rgb(Source src, Target dst, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylHLS2RGB(src.header(), dst.header(), detail::Pair(tile).get());
    listener.raise("zylHLS2RGB");
}
[[nodiscard]] inline Image hls2rgb(Source src, const Shape &shape) {
    Image result(shape);
    hls2rgb(src, result);
    return result;
}

/** Cuts the samples to a lower depth, with noise or dithered: zylReduceBits(). */
inline void reduceBits(Source src, Target dst, std::int32_t jitter = 0,
    Diffusion dither = Diffusion::none, std::int32_t bits = 1, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylReduceBits(src.header(), dst.header(), jitter, static_cast<std::int32_t>(dither), bits,
        detail::Pair(tile).get());
    listener.raise("zylReduceBits");
}
[[nodiscard]] inline Image reduceBits(Source src, const Shape &shape, std::int32_t jitter = 0,
    Diffusion dither = Diffusion::none, std::int32_t bits = 1) {
    Image result(shape);
    reduceBits(src, result, jitter, dither, bits);
    return result;
}

/** Mixes the colour channels by a matrix: zylApplyColorTwist(). */
inline void applyColorTwist(Source src, Target dst, const ColorTwist &matrix,
    std::int32_t offset = 0, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylApplyColorTwist(src.header(), dst.header(), matrix.get(), offset, detail::Point(tile,
        dst).get());
    listener.raise("zylApplyColorTwist");
}
[[nodiscard]] inline Image applyColorTwist(Source src, const ColorTwist &matrix,
    std::int32_t offset = 0) {
    detail::Result made(src, true, true);
    applyColorTwist(src, made.target(), matrix, offset);
    return made.take();
}

/** Multiplies the pixels around each one by a kernel and adds them up: zylConvolve2D(). */
inline void convolve2d(Source src, Target dst, const Kernels &kernel,
    Combine combine = Combine::sum, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylConvolve2D(src.header(), dst.header(), kernel.pointers(), kernel.count(),
        static_cast<std::int32_t>(combine), detail::Point(tile, dst).get());
    listener.raise("zylConvolve2D");
}
[[nodiscard]] inline Image convolve2d(Source src, const Kernels &kernel,
    Combine combine = Combine::sum) {
    detail::Result made(src, true, true);
    convolve2d(src, made.target(), kernel, combine);
    return made.take();
}

/** Convolves with a column and a row of coefficients: zylConvolveSep2D(). */
inline void convolveSep2d(Source src, Target dst, const Kernel &across, const Kernel &down) {
    const detail::Listener listener;
    zylConvolveSep2D(src.header(), dst.header(), across.get(), down.get());
    listener.raise("zylConvolveSep2D");
}
[[nodiscard]] inline Image convolveSep2d(Source src, const Kernel &across, const Kernel &down) {
    detail::Result made(src, true, false, detail::Result::all);
    convolveSep2d(src, made.target(), across, down);
    return made.take();
}

/** Takes the mean of a box: zylBlur(). */
inline void blur(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylBlur(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    listener.raise("zylBlur");
}
[[nodiscard]] inline Image blur(Source src, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {}) {
    detail::Result made(src, true, false, detail::Result::all);
    blur(src, made.target(), rows, columns, anchorX, anchorY);
    return made.take();
}

/** Takes the largest value of a box: zylMaxFilter(). */
inline void maxFilter(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMaxFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    listener.raise("zylMaxFilter");
}
[[nodiscard]] inline Image maxFilter(Source src, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {}) {
    detail::Result made(src, true, false);
    maxFilter(src, made.target(), rows, columns, anchorX, anchorY);
    return made.take();
}

/** Takes the smallest value of a box: zylMinFilter(). */
inline void minFilter(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMinFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    listener.raise("zylMinFilter");
}
[[nodiscard]] inline Image minFilter(Source src, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {}) {
    detail::Result made(src, true, false);
    minFilter(src, made.target(), rows, columns, anchorX, anchorY);
    return made.take();
}

/** Takes the middle value of a box: zylMedianFilter(). */
inline void medianFilter(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMedianFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    listener.raise("zylMedianFilter");
}
[[nodiscard]] inline Image medianFilter(Source src, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {}) {
    detail::Result made(src, true, false);
    medianFilter(src, made.target(), rows, columns, anchorX, anchorY);
    return made.take();
}

/** Shrinks what is bright by a pixel: zylErode(). */
inline void erode(Source src, Target dst, std::int32_t iterations = 1) {
    const detail::Listener listener;
    zylErode(src.header(), dst.header(), iterations, nullptr);
    listener.raise("zylErode");
}
[[nodiscard]] inline Image erode(Source src, std::int32_t iterations = 1) {
    detail::Result made(src, true, false);
    erode(src, made.target(), iterations);
    return made.take();
}

/** Grows what is bright by a pixel: zylDilate(). */
inline void dilate(Source src, Target dst, std::int32_t iterations = 1) {
    const detail::Listener listener;
    zylDilate(src.header(), dst.header(), iterations, nullptr);
    listener.raise("zylDilate");
}
[[nodiscard]] inline Image dilate(Source src, std::int32_t iterations = 1) {
    detail::Result made(src, true, false);
    dilate(src, made.target(), iterations);
    return made.take();
}

/** Removes small bright spots: zylOpen(). */
inline void open(Source src, Target dst, std::int32_t iterations = 1) {
    const detail::Listener listener;
    zylOpen(src.header(), dst.header(), iterations, nullptr);
    listener.raise("zylOpen");
}
[[nodiscard]] inline Image open(Source src, std::int32_t iterations = 1) {
    detail::Result made(src, true, false);
    open(src, made.target(), iterations);
    return made.take();
}

/** Removes small dark spots: zylClose(). */
inline void close(Source src, Target dst, std::int32_t iterations = 1) {
    const detail::Listener listener;
    zylClose(src.header(), dst.header(), iterations, nullptr);
    listener.raise("zylClose");
}
[[nodiscard]] inline Image close(Source src, std::int32_t iterations = 1) {
    detail::Result made(src, true, false);
    close(src, made.target(), iterations);
    return made.take();
}

/** Makes the picture larger: zylZoom(). */
inline void zoom(Source src, Target dst, std::int32_t xUp = 2, std::int32_t xDown = 1,
    std::int32_t yUp = 2, std::int32_t yDown = 1, Interpolation interpolate = Interpolation::linear,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylZoom(src.header(), dst.header(), xUp, xDown, yUp, yDown,
        static_cast<std::int32_t>(interpolate), detail::Point(tile, dst).get());
    listener.raise("zylZoom");
}
[[nodiscard]] inline Image zoom(Source src, std::int32_t xUp = 2, std::int32_t xDown = 1,
    std::int32_t yUp = 2, std::int32_t yDown = 1,
    Interpolation interpolate = Interpolation::linear) {
    detail::Result made(src, xUp, xDown, yUp, yDown);
    zoom(src, made.target(), xUp, xDown, yUp, yDown, interpolate);
    return made.take();
}

/** Makes the picture smaller by leaving pixels out: zylDecimate(). */
inline void decimate(Source src, Target dst, std::int32_t xUp = 1, std::int32_t xDown = 2,
    std::int32_t yUp = 1, std::int32_t yDown = 2, Interpolation interpolate = Interpolation::linear,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylDecimate(src.header(), dst.header(), xUp, xDown, yUp, yDown,
        static_cast<std::int32_t>(interpolate), detail::Point(tile, dst).get());
    listener.raise("zylDecimate");
}
[[nodiscard]] inline Image decimate(Source src, std::int32_t xUp = 1, std::int32_t xDown = 2,
    std::int32_t yUp = 1, std::int32_t yDown = 2,
    Interpolation interpolate = Interpolation::linear) {
    detail::Result made(src, xUp, xDown, yUp, yDown);
    decimate(src, made.target(), xUp, xDown, yUp, yDown, interpolate);
    return made.take();
}

/** Turns the picture, black coming in at the corners: zylRotate(). */
inline void rotate(Source src, Target dst, std::int32_t angle,
    std::optional<std::int32_t> centerX = {}, std::optional<std::int32_t> centerY = {},
    Interpolation interpolate = Interpolation::linear, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylRotate(src.header(), dst.header(), angle, centerX.value_or(detail::half(&ZylImage::width,
        src)), centerY.value_or(detail::half(&ZylImage::height, src)),
        static_cast<std::int32_t>(interpolate), detail::Pair(tile).get());
    listener.raise("zylRotate");
}
[[nodiscard]] inline Image rotate(Source src, std::int32_t angle,
    std::optional<std::int32_t> centerX = {}, std::optional<std::int32_t> centerY = {},
    Interpolation interpolate = Interpolation::linear) {
    detail::Result made(src, true, false);
    rotate(src, made.target(), angle, centerX, centerY, interpolate);
    return made.take();
}

/** Exchanges left and right, top and bottom, or both: zylMirror(). */
inline void mirror(Source src, Target dst, Axis axis) {
    const detail::Listener listener;
    zylMirror(src.header(), dst.header(), static_cast<std::int32_t>(axis));
    listener.raise("zylMirror");
}
[[nodiscard]] inline Image mirror(Source src, Axis axis) {
    detail::Result made(src, true, false, detail::Result::all);
    mirror(src, made.target(), axis);
    return made.take();
}

/** Makes a picture its packed Fourier spectrum: zylRealFft2D(). */
inline void realFft2d(Source src, Target dst, Fourier flags = Fourier::forward) {
    const detail::Listener listener;
    zylRealFft2D(src.header(), dst.header(), static_cast<std::int32_t>(flags), nullptr);
    listener.raise("zylRealFft2D");
}
[[nodiscard]] inline Image realFft2d(Source src, const Shape &shape,
    Fourier flags = Fourier::forward) {
    Image result(shape);
    realFft2d(src, result, flags);
    return result;
}

/** Makes a packed Fourier spectrum a picture: zylCcsFft2D(). */
inline void ccsFft2d(Source src, Target dst, Fourier flags = Fourier::inverse) {
    const detail::Listener listener;
    zylCcsFft2D(src.header(), dst.header(), static_cast<std::int32_t>(flags), nullptr);
    listener.raise("zylCcsFft2D");
}
[[nodiscard]] inline Image ccsFft2d(Source src, const Shape &shape,
    Fourier flags = Fourier::inverse) {
    Image result(shape);
    ccsFft2d(src, result, flags);
    return result;
}

/** Makes a picture its cosine transform, or back: zylDCT2D(). */
inline void dct2d(Source src, Target dst, Cosine flags = Cosine::forward) {
    const detail::Listener listener;
    zylDCT2D(src.header(), dst.header(), static_cast<std::int32_t>(flags));
    listener.raise("zylDCT2D");
}
[[nodiscard]] inline Image dct2d(Source src, const Shape &shape, Cosine flags = Cosine::forward) {
    Image result(shape);
    dct2d(src, result, flags);
    return result;
}

/** Counts how often samples occur in given intervals: zylComputeHisto(). */
inline void computeHisto(Source src, Tables &tables, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylComputeHisto(src.header(), tables.pointers(), detail::Pair(tile).get());
    listener.raise("zylComputeHisto");
}

/** Maps samples through a table of intervals: zylContrastStretch(). */
inline void contrastStretch(Source src, Target dst, const Tables &tables,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylContrastStretch(src.header(), dst.header(), tables.pointers(), detail::Pair(tile).get());
    listener.raise("zylContrastStretch");
}
[[nodiscard]] inline Image contrastStretch(Source src, const Tables &tables) {
    detail::Result made(src, true, false);
    contrastStretch(src, made.target(), tables);
    return made.take();
}

/** Makes all brightnesses equally frequent, each channel by itself: zylHistoEqualize(). */
inline void histoEqualize(Source src, Target dst, Tables &tables,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylHistoEqualize(src.header(), dst.header(), tables.pointers(), detail::Pair(tile).get());
    listener.raise("zylHistoEqualize");
}
[[nodiscard]] inline Image histoEqualize(Source src, Tables &tables) {
    detail::Result made(src, true, false);
    histoEqualize(src, made.target(), tables);
    return made.take();
}

/** Makes samples below a limit black, all others white: zylThreshold(). */
inline void threshold(Source src, Target dst, std::int32_t limit,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylThreshold(src.header(), dst.header(), limit, detail::Pair(tile).get());
    listener.raise("zylThreshold");
}
[[nodiscard]] inline Image threshold(Source src, std::int32_t limit) {
    detail::Result made(src, true, false);
    threshold(src, made.target(), limit);
    return made.take();
}

/** Measures a picture, or how far it is from a second one: zylNorm(). */
inline double norm(Source srcA, Source srcB = {}, Norm type = Norm::l2) {
    const detail::Listener listener;
    const double result = zylNorm(srcA.header(), srcB.header(), static_cast<std::int32_t>(type));
    listener.raise("zylNorm");
    return result;
}

/** Multiplies by a constant, the depth's maximum being 1: zylMultiplySScale(). */
inline void multiplySScale(Source src, Target dst, std::uint32_t scale,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMultiplySScale(src.header(), dst.header(), scale, detail::Point(tile, dst).get());
    listener.raise("zylMultiplySScale");
}
[[nodiscard]] inline Image multiplySScale(Source src, std::uint32_t scale) {
    detail::Result made(src, true, false);
    multiplySScale(src, made.target(), scale);
    return made.take();
}

/** Multiplies by a second picture, white being 1: zylMultiplyScale(). */
inline void multiplyScale(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylMultiplyScale(srcA.header(), srcB.header(), dst.header(), detail::Point(tile, dst).get());
    listener.raise("zylMultiplyScale");
}
[[nodiscard]] inline Image multiplyScale(Source srcA, Source srcB) {
    detail::Result made(srcA, true, false);
    multiplyScale(srcA, srcB, made.target());
    return made.take();
}

/** Multiplies the colours by the alpha channel, or by a constant that becomes the alpha:
 * zylPreMultiplyAlpha(). */
inline void preMultiplyAlpha(Target image, std::int32_t alpha = -1,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylPreMultiplyAlpha(image.header(), alpha, detail::Point(tile, image).get());
    listener.raise("zylPreMultiplyAlpha");
}

/** Composites two pictures by their alphas: zylAlphaComposite(). */
inline void alphaComposite(Source srcA, Source srcB, Target dst, Composite rule = Composite::over,
    Source alphaA = {}, Source alphaB = {}, Target alphaDst = {}, bool preMultiplied = false,
    bool divide = false, std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAlphaComposite(srcA.header(), srcB.header(), dst.header(), static_cast<std::int32_t>(rule),
        alphaA.header(), alphaB.header(), alphaDst.header(), preMultiplied ? 1 : 0, divide ? 1 : 0,
        detail::Point(tile, dst).get());
    listener.raise("zylAlphaComposite");
}
[[nodiscard]] inline Image alphaComposite(Source srcA, Source srcB,
    Composite rule = Composite::over, Source alphaA = {}, Source alphaB = {},
    bool preMultiplied = false, bool divide = false) {
    detail::Result made(srcA, true, false);
    alphaComposite(srcA, srcB, made.target(), rule, alphaA, alphaB, {}, preMultiplied, divide);
    return made.take();
}

/** Composites two pictures by constant alphas: zylAlphaCompositeC(). */
inline void alphaCompositeC(Source srcA, Source srcB, Target dst, Composite rule,
    std::int32_t alpha, std::int32_t backdropAlpha, bool preMultiplied = false, bool divide = false,
    std::optional<TileIndex> tile = {}) {
    const detail::Listener listener;
    zylAlphaCompositeC(srcA.header(), srcB.header(), dst.header(), static_cast<std::int32_t>(rule),
        alpha, backdropAlpha, preMultiplied ? 1 : 0, divide ? 1 : 0, detail::Point(tile,
        dst).get());
    listener.raise("zylAlphaCompositeC");
}
[[nodiscard]] inline Image alphaCompositeC(Source srcA, Source srcB, Composite rule,
    std::int32_t alpha, std::int32_t backdropAlpha, bool preMultiplied = false,
    bool divide = false) {
    detail::Result made(srcA, true, true);
    alphaCompositeC(srcA, srcB, made.target(), rule, alpha, backdropAlpha, preMultiplied, divide);
    return made.take();
}

/** The same, none of them throws: each returns the status, below 0 when it failed. */
namespace status {

inline ZylStatus add(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAdd(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus subtract(Source srcA, Source srcB, Target dst, bool reverse = false,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylSubtract(srcA.header(), srcB.header(), dst.header(), reverse ? 1 : 0,
        detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus multiply(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMultiply(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus addS(Source src, Target dst, std::int32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAddS(src.header(), dst.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus subtractS(Source src, Target dst, std::int32_t value, bool reverse = false,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylSubtractS(src.header(), dst.header(), value, reverse ? 1 : 0, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus multiplyS(Source src, Target dst, std::uint32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMultiplyS(src.header(), dst.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus lShiftS(Source src, Target dst, std::uint32_t shift,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylLShiftS(src.header(), dst.header(), shift, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus rShiftS(Source src, Target dst, std::uint32_t shift,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylRShiftS(src.header(), dst.header(), shift, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus square(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylSquare(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus abs(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAbs(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus and_(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAnd(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus or_(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylOr(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus xor_(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylXor(srcA.header(), srcB.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus andS(Source src, Target dst, std::uint32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAndS(src.header(), dst.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus orS(Source src, Target dst, std::uint32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylOrS(src.header(), dst.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus xorS(Source src, Target dst, std::uint32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylXorS(src.header(), dst.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus not_(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylNot(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus copy(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylCopy(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus set(Target image, std::int32_t value,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylSet(image.header(), value, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus exchange(Target imageA, Target imageB,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylExchange(imageA.header(), imageB.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus translateDib(const void *dib, Image &image, bool *shared = nullptr) noexcept {
    const detail::Listener listener;
    std::int32_t cloned = 0;
    image = Image::adopt(zylTranslateDIB(dib, &cloned));
    if (shared != nullptr) *shared = cloned != 0;
    return listener.status();
}

inline ZylStatus convertFromDib(const void *dib, Target image) noexcept {
    const detail::Listener listener;
    zylConvertFromDIB(dib, image.header());
    return listener.status();
}

inline ZylStatus convertToDib(Source image, void *dib, BitmapDither dither = BitmapDither::none,
    Palette palette = Palette::given) noexcept {
    const detail::Listener listener;
    zylConvertToDIB(image.header(), dib, static_cast<std::int32_t>(dither),
        static_cast<std::int32_t>(palette));
    return listener.status();
}

inline ZylStatus convert(Source src, Target dst, Keep keep = Keep::high,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylConvert(src.header(), dst.header(), static_cast<std::int32_t>(keep), detail::Point(tile,
        dst).get());
    return listener.status();
}

inline ZylStatus bitonalToGray(Source src, Target dst, std::int32_t zero = 0,
    std::optional<std::int32_t> one = {}, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylBitonalToGray(src.header(), dst.header(), zero, one.value_or(detail::largest(dst)),
        detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus colorToGray(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylColorToGray(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus grayToColor(Source src, Target dst, float r = 1, float g = 1, float b = 1,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylGrayToColor(src.header(), dst.header(), r, g, b, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus rgb2hsv(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylRGB2HSV(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus hsv2rgb(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylHSV2RGB(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus rgb2hls(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylRGB2HLS(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus hls2rgb(Source src, Target dst, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylHLS2RGB(src.header(), dst.header(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus reduceBits(Source src, Target dst, std::int32_t jitter = 0,
    Diffusion dither = Diffusion::none, std::int32_t bits = 1,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylReduceBits(src.header(), dst.header(), jitter, static_cast<std::int32_t>(dither), bits,
        detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus applyColorTwist(Source src, Target dst, const ColorTwist &matrix,
    std::int32_t offset = 0, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylApplyColorTwist(src.header(), dst.header(), matrix.get(), offset, detail::Point(tile,
        dst).get());
    return listener.status();
}

inline ZylStatus convolve2d(Source src, Target dst, const Kernels &kernel,
    Combine combine = Combine::sum, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylConvolve2D(src.header(), dst.header(), kernel.pointers(), kernel.count(),
        static_cast<std::int32_t>(combine), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus convolveSep2d(Source src, Target dst, const Kernel &across,
    const Kernel &down) noexcept {
    const detail::Listener listener;
    zylConvolveSep2D(src.header(), dst.header(), across.get(), down.get());
    return listener.status();
}

inline ZylStatus blur(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylBlur(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus maxFilter(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMaxFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus minFilter(Source src, Target dst, std::int32_t rows = 3, std::int32_t columns = 3,
    std::optional<std::int32_t> anchorX = {}, std::optional<std::int32_t> anchorY = {},
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMinFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus medianFilter(Source src, Target dst, std::int32_t rows = 3,
    std::int32_t columns = 3, std::optional<std::int32_t> anchorX = {},
    std::optional<std::int32_t> anchorY = {}, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMedianFilter(src.header(), dst.header(), rows, columns, anchorX.value_or(columns / 2),
        anchorY.value_or(rows / 2), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus erode(Source src, Target dst, std::int32_t iterations = 1) noexcept {
    const detail::Listener listener;
    zylErode(src.header(), dst.header(), iterations, nullptr);
    return listener.status();
}

inline ZylStatus dilate(Source src, Target dst, std::int32_t iterations = 1) noexcept {
    const detail::Listener listener;
    zylDilate(src.header(), dst.header(), iterations, nullptr);
    return listener.status();
}

inline ZylStatus open(Source src, Target dst, std::int32_t iterations = 1) noexcept {
    const detail::Listener listener;
    zylOpen(src.header(), dst.header(), iterations, nullptr);
    return listener.status();
}

inline ZylStatus close(Source src, Target dst, std::int32_t iterations = 1) noexcept {
    const detail::Listener listener;
    zylClose(src.header(), dst.header(), iterations, nullptr);
    return listener.status();
}

inline ZylStatus zoom(Source src, Target dst, std::int32_t xUp = 2, std::int32_t xDown = 1,
    std::int32_t yUp = 2, std::int32_t yDown = 1, Interpolation interpolate = Interpolation::linear,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylZoom(src.header(), dst.header(), xUp, xDown, yUp, yDown,
        static_cast<std::int32_t>(interpolate), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus decimate(Source src, Target dst, std::int32_t xUp = 1, std::int32_t xDown = 2,
    std::int32_t yUp = 1, std::int32_t yDown = 2, Interpolation interpolate = Interpolation::linear,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylDecimate(src.header(), dst.header(), xUp, xDown, yUp, yDown,
        static_cast<std::int32_t>(interpolate), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus rotate(Source src, Target dst, std::int32_t angle,
    std::optional<std::int32_t> centerX = {}, std::optional<std::int32_t> centerY = {},
    Interpolation interpolate = Interpolation::linear,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylRotate(src.header(), dst.header(), angle, centerX.value_or(detail::half(&ZylImage::width,
        src)), centerY.value_or(detail::half(&ZylImage::height, src)),
        static_cast<std::int32_t>(interpolate), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus mirror(Source src, Target dst, Axis axis) noexcept {
    const detail::Listener listener;
    zylMirror(src.header(), dst.header(), static_cast<std::int32_t>(axis));
    return listener.status();
}

inline ZylStatus realFft2d(Source src, Target dst, Fourier flags = Fourier::forward) noexcept {
    const detail::Listener listener;
    zylRealFft2D(src.header(), dst.header(), static_cast<std::int32_t>(flags), nullptr);
    return listener.status();
}

inline ZylStatus ccsFft2d(Source src, Target dst, Fourier flags = Fourier::inverse) noexcept {
    const detail::Listener listener;
    zylCcsFft2D(src.header(), dst.header(), static_cast<std::int32_t>(flags), nullptr);
    return listener.status();
}

inline ZylStatus dct2d(Source src, Target dst, Cosine flags = Cosine::forward) noexcept {
    const detail::Listener listener;
    zylDCT2D(src.header(), dst.header(), static_cast<std::int32_t>(flags));
    return listener.status();
}

inline ZylStatus computeHisto(Source src, Tables &tables,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylComputeHisto(src.header(), tables.pointers(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus contrastStretch(Source src, Target dst, const Tables &tables,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylContrastStretch(src.header(), dst.header(), tables.pointers(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus histoEqualize(Source src, Target dst, Tables &tables,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylHistoEqualize(src.header(), dst.header(), tables.pointers(), detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus threshold(Source src, Target dst, std::int32_t limit,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylThreshold(src.header(), dst.header(), limit, detail::Pair(tile).get());
    return listener.status();
}

inline ZylStatus norm(Source srcA, Source srcB, Norm type, double &result) noexcept {
    const detail::Listener listener;
    result = zylNorm(srcA.header(), srcB.header(), static_cast<std::int32_t>(type));
    return listener.status();
}

inline ZylStatus multiplySScale(Source src, Target dst, std::uint32_t scale,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMultiplySScale(src.header(), dst.header(), scale, detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus multiplyScale(Source srcA, Source srcB, Target dst,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylMultiplyScale(srcA.header(), srcB.header(), dst.header(), detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus preMultiplyAlpha(Target image, std::int32_t alpha = -1,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylPreMultiplyAlpha(image.header(), alpha, detail::Point(tile, image).get());
    return listener.status();
}

inline ZylStatus alphaComposite(Source srcA, Source srcB, Target dst,
    Composite rule = Composite::over, Source alphaA = {}, Source alphaB = {}, Target alphaDst = {},
    bool preMultiplied = false, bool divide = false, std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAlphaComposite(srcA.header(), srcB.header(), dst.header(), static_cast<std::int32_t>(rule),
        alphaA.header(), alphaB.header(), alphaDst.header(), preMultiplied ? 1 : 0, divide ? 1 : 0,
        detail::Point(tile, dst).get());
    return listener.status();
}

inline ZylStatus alphaCompositeC(Source srcA, Source srcB, Target dst, Composite rule,
    std::int32_t alpha, std::int32_t backdropAlpha, bool preMultiplied = false, bool divide = false,
    std::optional<TileIndex> tile = {}) noexcept {
    const detail::Listener listener;
    zylAlphaCompositeC(srcA.header(), srcB.header(), dst.header(), static_cast<std::int32_t>(rule),
        alpha, backdropAlpha, preMultiplied ? 1 : 0, divide ? 1 : 0, detail::Point(tile,
        dst).get());
    return listener.status();
}

} // namespace status

} // namespace zyl
/* clang-format on */

#endif
