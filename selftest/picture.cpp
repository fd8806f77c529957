#include "selftest/picture.h"

#include <algorithm>
#include <cstring>

namespace selftest {

namespace {

// Samples of one picture: noise alone would never meet a tie, a run of equals or
// the ends of the range.
class Samples {
  public:
    Samples(Random &in, int bits, Fill fill)
        : in_(in), bits_(bits), fill_(fill), kind_(in.below(5)), last_(in.bits()) {}

    std::uint32_t next() {
        const std::uint32_t v = fill_ == Fill::Highest ? highest() : any();
        return fill_ == Fill::NotNegative ? v & ~(1u << (bits_ - 1)) : v;
    }

  private:
    std::uint32_t highest() {
        const std::uint32_t top = bits_ == 32 ? 0x7FFFFFFFu : (1u << bits_) - 1;
        const std::uint32_t span = bits_ == 32 ? 0xFFFFu : bits_ == 16 ? 0xFFu : 0xFu;
        return top - (in_.bits() & span);
    }
    std::uint32_t any() {
        const std::uint32_t middle = 1u << (bits_ - 1);
        switch (kind_) {
        case 0: // the ends and the middle of the range
            switch (in_.below(8)) {
            case 0:
                return middle;
            case 1:
                return middle - 1;
            case 2:
                return middle + 1;
            case 3:
                return ~0u;
            case 4:
                return ~0u - 1;
            case 5:
                return 1;
            case 6:
                return 0;
            default:
                return in_.bits();
            }
        case 1: // small numbers
            return in_.bits() & 15;
        case 2: // a walk
            return last_ += static_cast<std::uint32_t>(in_.below(7) - 3);
        case 3: // runs
            if (in_.oneIn(6)) last_ = in_.bits();
            return last_;
        default:
            return in_.bits();
        }
    }

    Random &in_;
    int bits_;
    Fill fill_;
    int kind_;
    std::uint32_t last_;
};

// Samples as the machine keeps them; those of one bit eight at a time.
std::size_t sampleBytes(std::uint32_t depth) {
    return depth == ZYL_DEPTH_1U ? 1 : static_cast<std::size_t>(depthBits(depth)) / 8;
}

template <class T>
void put(unsigned char *at, std::uint32_t value) {
    const T sample = static_cast<T>(value);
    std::memcpy(at, &sample, sizeof sample);
}

template <class T>
std::uint32_t get(const unsigned char *at) {
    T sample;
    std::memcpy(&sample, at, sizeof sample);
    return sample;
}

void putSample(unsigned char *at, std::size_t bytes, std::uint32_t value) {
    if (bytes == 1) return put<std::uint8_t>(at, value);
    if (bytes == 2) return put<std::uint16_t>(at, value);
    put<std::uint32_t>(at, value);
}

std::uint32_t getSample(const unsigned char *at, std::size_t bytes) {
    if (bytes == 1) return get<std::uint8_t>(at);
    if (bytes == 2) return get<std::uint16_t>(at);
    return get<std::uint32_t>(at);
}

} // namespace

int depthBits(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

Picture::Picture(Random &in, const Shape &shape, const Layout &layout)
    : shape_(shape), align_(in.flag() ? ZYL_ALIGN_4 : ZYL_ALIGN_8) {
    if (layout.tiled) {
        const int width = 8 * in.between(1, 6);
        const int height = 8 * in.between(1, 4);
        tileColumns_ = (shape.width + width - 1) / width;
        const int tileRows = (shape.height + height - 1) / height;
        const std::int32_t size = create(height, width, nullptr)->imageSize;
        for (int i = 0; i < tileColumns_ * tileRows; ++i) {
            blocks_.push_back(block(in, size, layout.fill));
        }
        header_ =
            create(shape.height, shape.width, zylCreateTileInfo(deliver, this, width, height));
    } else {
        header_ = create(shape.height, shape.width, nullptr);
        blocks_.push_back(block(in, header_->imageSize, layout.fill));
        header_->imageData = blocks_[0].bytes.data() + blocks_[0].first;
    }
    if (layout.region) placeRegion(in, layout.channelOfInterest);
    for (const int side : {ZYL_SIDE_TOP, ZYL_SIDE_BOTTOM, ZYL_SIDE_LEFT, ZYL_SIDE_RIGHT}) {
        const int mode = in.oneIn(40) ? 7 : in.below(4);
        zylSetBorderMode(header_.get(), layout.fill == Fill::Any ? mode : ZYL_BORDER_REPLICATE,
                         side, in.number());
    }
    if (layout.faulty) damage(in);
}

Picture::Header Picture::create(int height, int width, ZylTileInfo *tiles) const {
    return Header(zylCreateImageHeader(shape_.channels, shape_.alpha, shape_.depth, shape_.model,
                                       shape_.sequence, shape_.order, shape_.origin, align_, height,
                                       width, nullptr, nullptr, tiles));
}

Picture::Block Picture::block(Random &in, std::int32_t size, Fill fill) const {
    const std::size_t step = sampleBytes(shape_.depth);
    Samples samples(in, shape_.depth == ZYL_DEPTH_1U ? 8 : depthBits(shape_.depth), fill);
    Block made;
    made.first = static_cast<std::size_t>(in.below(4)) * step;
    made.bytes.resize(made.first + static_cast<std::size_t>(size));
    for (std::size_t i = made.first; i < made.bytes.size(); i += step) {
        putSample(&made.bytes[i], step, samples.next());
    }
    return made;
}

void Picture::placeRegion(Random &in, bool channelOfInterest) {
    const auto inside = [&in](int size) { return in.oneIn(40) ? in.number() : in.below(size); };
    const auto length = [&in](int size) { return in.oneIn(20) ? in.number() : 1 + in.below(size); };
    const int coi = channelOfInterest ? in.between(1, shape_.channels) : 0;
    const bool whole = in.oneIn(4); // as wide and high as the image, but with a region
    const int x = whole ? 0 : inside(shape_.width) / 2;
    const int y = whole ? 0 : inside(shape_.height) / 2;
    const int height = whole ? shape_.height : length(shape_.height);
    const int width = whole ? shape_.width : length(shape_.width);
    header_->roi = zylCreateROI(coi, x, y, height, width);
}

// One wrong field; harmless when zylBadImageHeader() sees nothing wrong with it.
void Picture::damage(Random &in) {
    ZylImage &image = *header_;
    const ZylImage before = image;
    switch (in.below(10)) {
    case 0:
        image.nChannels = in.between(-1, 0);
        break;
    case 1:
        image.depth = in.bits();
        break;
    case 2:
        image.alphaChannel = image.nChannels + 1;
        break;
    case 3:
        image.dataOrder = in.between(2, 5);
        break;
    case 4:
        image.origin = in.between(-2, -1);
        break;
    case 5:
        image.align = in.between(0, 3);
        break;
    case 6:
        image.widthStep = in.between(-4, 0);
        break;
    case 7:
        image.width = in.between(-9, 0);
        break;
    case 8:
        image.height = in.between(-9, 0);
        break;
    default:
        // Pixels and tiles, or neither.
        image.imageData = image.tileInfo != nullptr ? blocks_[0].bytes.data() : nullptr;
    }
    if (zylBadImageHeader(&image) == 0) image = before;
}

void Picture::deliver(ZylImage *image, std::int32_t x, std::int32_t y, std::int32_t mode) {
    ZylTileInfo &info = *image->tileInfo;
    auto &self = *static_cast<Picture *>(info.id);
    info.tileData = nullptr;
    if (mode == ZYL_RELEASE_TILE) {
        --self.held_;
        return;
    }
    const int rows = static_cast<int>(self.blocks_.size()) / self.tileColumns_;
    if (x < 0 || y < 0 || x >= self.tileColumns_ || y >= rows) return;
    ++self.held_;
    const int index = y * self.tileColumns_ + x;
    Block &tile = self.blocks_[static_cast<std::size_t>(index)];
    info.tileData = tile.bytes.data() + tile.first;
}

void Picture::addTo(Checksum &sum) const {
    addHeader(sum, *header_);
    sum.addSigned(held_);
    for (const Block &block : blocks_) {
        addSamples(sum, block.bytes.data() + block.first, block.bytes.size() - block.first,
                   shape_.depth);
    }
}

void addSamples(Checksum &sum, const unsigned char *samples, std::size_t bytes,
                std::uint32_t depth) {
    const std::size_t step = sampleBytes(depth);
    for (std::size_t i = 0; i < bytes; i += step) sum.add(getSample(samples + i, step));
}

void addHeader(Checksum &sum, const ZylImage &image) {
    sum.add(image.depth);
    for (const char c : image.colorModel) sum.add(static_cast<unsigned char>(c));
    for (const char c : image.channelSeq) sum.add(static_cast<unsigned char>(c));
    for (const std::int32_t field :
         {image.headerId, image.nChannels, image.alphaChannel, image.dataOrder, image.origin,
          image.align, image.height, image.width, image.imageSize, image.widthStep}) {
        sum.addSigned(field);
    }
    for (const std::int32_t mode : image.borderMode) sum.addSigned(mode);
    for (const std::int32_t value : image.borderConst) sum.addSigned(value);
    if (image.roi == nullptr) return;
    for (const std::int32_t field : {image.roi->coi, image.roi->xOffset, image.roi->yOffset,
                                     image.roi->height, image.roi->width}) {
        sum.addSigned(field);
    }
}

} // namespace selftest
