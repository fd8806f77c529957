#include "diffusion.h"

#include "engine/grid.h"
#include "piece.h"

#include <algorithm>
#include <array>
#include <memory>

namespace tool {

namespace {

// Which part of an error goes where: columns to the right and rows down.
struct Part {
    int x, y;
    std::int32_t weight; // of 2^shift
};

struct Kernel {
    int reach; // rows below that get something
    int shift;
    std::vector<Part> parts;
};

// The weights of Jarvis, Judice and Ninke, and of Stucki, as they follow each other.
Kernel wide(int shift, const std::array<std::int32_t, 12> &weights) {
    Kernel kernel{2, shift, {{1, 0, weights[0]}, {2, 0, weights[1]}}};
    for (std::size_t i = 2; i < weights.size(); ++i) {
        const int place = static_cast<int>(i) - 2; // in two rows of five
        kernel.parts.push_back({place % 5 - 2, 1 + place / 5, weights[i]});
    }
    return kernel;
}

Kernel kernelOf(Diffusion kind, bool narrow) {
    switch (kind) {
    case Diffusion::jarvis:
        return narrow ? wide(8, {37, 26, 15, 26, 37, 26, 15, 5, 15, 26, 15, 5})
                      : wide(16, {9557, 6826, 4095, 6826, 9557, 6826, 4095, 1365, 4095, 6826, 4095,
                                  1365});
    case Diffusion::stucki:
        return narrow ? wide(8, {48, 24, 12, 24, 48, 24, 12, 6, 12, 24, 12, 6})
                      : wide(16, {12482, 6241, 3120, 6241, 12482, 6241, 3120, 1560, 3120, 6241,
                                  3120, 1560});
    case Diffusion::floydSteinberg:
        break;
    }
    return {1, 4, {{1, 0, 7}, {-1, 1, 3}, {0, 1, 5}, {1, 1, 1}}};
}

std::int32_t stepOf(std::int32_t largest, int sampleBits, int bits) {
    bits = bits < 0 ? 0 : bits > sampleBits ? sampleBits / 2 : bits;
    return std::max(largest >> bits, 1);
}

// Diffuses band after band. Between two of them it keeps the rows below the first
// one, to which errors were added already.
template <class T>
class Diffuser {
  public:
    Diffuser(const Shape &shape, Diffusion kind, int bits)
        : shape_(shape), kernel_(kernelOf(kind, sizeof(T) == 1)),
          step_(stepOf(LARGEST, 8 * static_cast<int>(sizeof(T)), bits)) {}

    void makeBand(const Request &request) {
        const Rect &place = request.place;
        if (place.y == 0) kept_.reset();
        const int height = std::min(place.height + kernel_.reach, shape_.height - place.y);
        Image band = read(request.sources[0], place.y, height);
        for (int y = 0; kept_ && y < std::min(kernel_.reach, height); ++y)
            copyRow(*kept_, keptFrom_ + y, band, y);
        for (int y = 0; y < place.height; ++y) diffuseRow(band, y, height);
        copyPixels(shape_, shape_.width, place.height, {band.row(0), band.header()->widthStep},
                   {request.window->imageData, request.window->widthStep});
        kept_ = std::move(band);
        keptFrom_ = place.height;
    }

  private:
    static constexpr std::int32_t LARGEST = sizeof(T) == 1 ? 255 : 65535;

    Image read(ZylImage *source, int y, int height) const {
        Shape shape = shape_;
        shape.height = height;
        Image band(shape);
        const Region rows(source, regionOf({0, y, shape_.width, height}));
        zylCopy(source, band.header(), nullptr);
        return band;
    }

    void copyRow(const Image &from, int fromRow, Image &to, int toRow) const {
        std::copy_n(from.samples<T>(fromRow).data(),
                    static_cast<std::size_t>(shape_.width) *
                        static_cast<std::size_t>(shape_.channels),
                    to.samples<T>(toRow).data());
    }

    void diffuseRow(Image &band, int y, int height) const {
        std::array<T *, 3> rows{};
        const int below = std::min(kernel_.reach, height - 1 - y);
        for (int i = 0; i <= below; ++i)
            rows[static_cast<std::size_t>(i)] = band.samples<T>(y + i).data();
        for (int x = 0; x < shape_.width; ++x) {
            for (int c = 0; c < shape_.channels; ++c)
                if (c + 1 != shape_.alpha) diffuseSample(rows, below, x, c);
        }
    }

    void diffuseSample(const std::array<T *, 3> &rows, int below, int x, int channel) const {
        T &sample = rows[0][x * shape_.channels + channel];
        const std::int32_t under = sample / step_ * step_;
        const std::int32_t nearest = sample - under > step_ / 2 ? under + step_ : under;
        const std::int32_t quantised = std::min(nearest, LARGEST);
        const std::int32_t error = sample - quantised;
        sample = static_cast<T>(quantised);
        if (error == 0) return;
        for (const Part &part : kernel_.parts) {
            const int column = x + part.x;
            if (part.y > below || column < 0 || column >= shape_.width) continue;
            T &to = rows[static_cast<std::size_t>(part.y)][column * shape_.channels + channel];
            const std::int32_t sum = to + ((error * part.weight) >> kernel_.shift);
            to = static_cast<T>(std::clamp(sum, 0, LARGEST));
        }
    }

    Shape shape_;
    Kernel kernel_;
    std::int32_t step_;
    std::optional<Image> kept_;
    int keptFrom_ = 0;
};

template <class T>
Plan planOf(const Shape &shape, Diffusion kind, int bits) {
    Plan plan;
    plan.result = shape;
    plan.need = Need::rowsInOrder;
    auto diffuser = std::make_shared<Diffuser<T>>(shape, kind, bits);
    plan.make = [diffuser](Request &request) { diffuser->makeBand(request); };
    return plan;
}

} // namespace

Plan diffuse(const Shape &shape, Diffusion kind, int bits) {
    return shape.depth == ZYL_DEPTH_8U ? planOf<std::uint8_t>(shape, kind, bits)
                                       : planOf<std::uint16_t>(shape, kind, bits);
}

} // namespace tool
