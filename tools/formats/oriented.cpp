#include "oriented.h"

#include "exif.h"
#include "rows.h"

#include <cstring>

namespace tool {

namespace {

class Held : public Source {
  public:
    explicit Held(Source &source) : image_(Image::unfilled(source.shape())) {
        details_ = source.details();
        order_ = Order::any;
        piece_ = source.piece();
        source.read({0, 0, shape().width, shape().height},
                    {image_.row(0), image_.header()->widthStep});
    }

  private:
    void readRect(const Rect &rect, Pixels to) override {
        for (int y = 0; y < rect.height; ++y) {
            std::memcpy(to.data + y * to.stride, image_.row(rect.y + y) + rowBytes(shape(), rect.x),
                        rowBytes(shape(), rect.width));
        }
    }

    Image image_;
};

// Orientations 5 to 8 exchange rows and columns. What is seen at (x, y) lies in
// the file at (x, y), or (y, x) when exchanged, counted from the right where
// `mirrored`, from the bottom where `flipped`.
struct Turn {
    bool exchanged, mirrored, flipped;
};

Turn turnOf(int orientation) {
    static constexpr Turn turns[] = {
        {false, false, false}, {false, true, false}, {false, true, true}, {false, false, true},
        {true, false, false},  {true, false, true},  {true, true, true},  {true, true, false}};
    return turns[orientation - 1];
}

template <std::size_t Size>
struct Pixel {
    unsigned char bytes[Size];
};

// Copies a rectangle as it lies in the file, its first pixel at `from`, to one as
// it is seen.
template <class T>
void turnPixels(const unsigned char *from, std::ptrdiff_t stride, Turn turn, const Rect &seen,
                Pixels to) {
    const int lyingWidth = turn.exchanged ? seen.height : seen.width;
    const int lyingHeight = turn.exchanged ? seen.width : seen.height;
    std::ptrdiff_t column = sizeof(T), row = stride;
    if (turn.mirrored) {
        from += (lyingWidth - 1) * column;
        column = -column;
    }
    if (turn.flipped) {
        from += (lyingHeight - 1) * row;
        row = -row;
    }
    if (turn.exchanged) std::swap(column, row);
    for (int y = 0; y < seen.height; ++y) {
        const unsigned char *pixel = from + y * row;
        unsigned char *target = to.data + y * to.stride;
        for (int x = 0; x < seen.width; ++x, pixel += column, target += sizeof(T))
            std::memcpy(target, pixel, sizeof(T));
    }
}

void turnBits(const unsigned char *from, std::ptrdiff_t stride, int firstBit, Turn turn,
              const Rect &seen, Pixels to) {
    const int lyingWidth = turn.exchanged ? seen.height : seen.width;
    const int lyingHeight = turn.exchanged ? seen.width : seen.height;
    for (int y = 0; y < seen.height; ++y) {
        unsigned char *target = to.data + y * to.stride;
        std::memset(target, 0, static_cast<std::size_t>(seen.width + 7) / 8);
        for (int x = 0; x < seen.width; ++x) {
            int lyingX = turn.exchanged ? y : x;
            int lyingY = turn.exchanged ? x : y;
            if (turn.mirrored) lyingX = lyingWidth - 1 - lyingX;
            if (turn.flipped) lyingY = lyingHeight - 1 - lyingY;
            lyingX += firstBit;
            if (from[lyingY * stride + lyingX / 8] & 0x80 >> lyingX % 8)
                target[x / 8] |= static_cast<unsigned char>(0x80 >> x % 8);
        }
    }
}

} // namespace

std::unique_ptr<Source> holdInMemory(std::unique_ptr<Source> source) {
    return std::make_unique<Held>(*source);
}

Oriented::Oriented(std::unique_ptr<Source> source, Spool spool)
    : source_(std::move(source)), spool_(spool ? std::move(spool) : holdInMemory) {
    details_ = source_->details();
    piece_ = source_->piece();
    orientation_ = details_.orientation;
    setExifOrientation(details_.metadata.exif, 1);
    const bool keepsRows = orientation_ <= 2;
    order_ = keepsRows ? source_->order() : Order::any;
    if (!turnOf(orientation_).exchanged) return;
    std::swap(details_.shape.width, details_.shape.height);
    std::swap(details_.metadata.xDensity, details_.metadata.yDensity);
    // Strips become columns. Tiles keep their size as far as they may: a width is a
    // multiple of 8.
    piece_ = {(piece_.height + 7) / 8 * 8, std::min(piece_.width, shape().height)};
}

void Oriented::readRect(const Rect &rect, Pixels to) {
    std::call_once(spooled_, [&] {
        if (order_ == Order::any && source_->order() == Order::rows)
            source_ = spool_(std::move(source_));
    });
    const Turn turn = turnOf(orientation_);
    const Shape &lying = source_->shape();
    Rect from = rect;
    if (turn.exchanged) from = {rect.y, rect.x, rect.height, rect.width};
    if (turn.mirrored) from.x = lying.width - from.x - from.width;
    if (turn.flipped) from.y = lying.height - from.y - from.height;

    const bool bits = lying.depth == ZYL_DEPTH_1U;
    const int firstBit = bits ? from.x % 8 : 0;
    from.x -= firstBit;
    from.width += firstBit;
    const std::size_t stride = rowBytes(lying, from.width);
    std::vector<unsigned char> pixels(stride * static_cast<std::size_t>(from.height));
    const auto step = static_cast<std::ptrdiff_t>(stride);
    source_->read(from, {pixels.data(), step});

    if (bits) return turnBits(pixels.data(), step, firstBit, turn, rect, to);
    switch (rowBytes(lying, 1)) {
    case 1:
        return turnPixels<Pixel<1>>(pixels.data(), step, turn, rect, to);
    case 2:
        return turnPixels<Pixel<2>>(pixels.data(), step, turn, rect, to);
    case 3:
        return turnPixels<Pixel<3>>(pixels.data(), step, turn, rect, to);
    case 4:
        return turnPixels<Pixel<4>>(pixels.data(), step, turn, rect, to);
    case 6:
        return turnPixels<Pixel<6>>(pixels.data(), step, turn, rect, to);
    case 8:
        return turnPixels<Pixel<8>>(pixels.data(), step, turn, rect, to);
    case 12:
        return turnPixels<Pixel<12>>(pixels.data(), step, turn, rect, to);
    default:
        return turnPixels<Pixel<16>>(pixels.data(), step, turn, rect, to);
    }
}

} // namespace tool
