// The Fourier and the cosine transform, and a picture of the spectrum.
#include "operations.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace tool {

namespace {

Parameter direction(std::string_view usual) {
    return choice("direction", usual, "the sign of the exponent, negative or positive",
                  {{"forward", ZYL_FFT_FORWARD}, {"inverse", ZYL_FFT_INVERSE}});
}

Parameter depth(std::string_view usual) {
    return choice("depth", usual, "of the new samples, which are clamped to it",
                  {{"8u", 0}, {"8s", 1}, {"16u", 2}, {"16s", 3}, {"32s", 4}});
}

std::uint32_t depthOf(const Step &step) {
    constexpr std::uint32_t depths[] = {ZYL_DEPTH_8U, ZYL_DEPTH_8S, ZYL_DEPTH_16U, ZYL_DEPTH_16S,
                                        ZYL_DEPTH_32S};
    return depths[step.choice("depth")];
}

std::vector<Parameter> fftParameters(std::string_view usualDirection, std::string_view usualDepth) {
    return {
        direction(usualDirection), flag("no-scale", "do not divide an inverse by the pixels"),
        choice("arithmetic", "auto", "auto is fixed-point up to 128 pixels",
               {{"auto", 0}, {"fixed-point", ZYL_FFT_FIXED_POINT}, {"floating", ZYL_FFT_FLOATING}}),
        depth(usualDepth)};
}

// Runs a transform, which has the pictures in memory.
template <class Function>
void inMemory(Step &step, const Shape &result, Function transform) {
    Plan plan;
    plan.result = result;
    plan.need = Need::whole;
    plan.make = [transform](Request &request) { transform(request.sources[0], request.result); };
    step.then(plan);
}

Shape transformedShape(const Step &step) {
    Shape shape = step.shape();
    shape.depth = depthOf(step);
    return shape;
}

template <auto operation>
void fft(Step &step) {
    const int flags = step.choice("direction") | step.choice("arithmetic") |
                      (step.flag("no-scale") ? ZYL_FFT_NO_SCALE : 0) | ZYL_FFT_WITH_ALPHA;
    inMemory(step, transformedShape(step),
             [flags](ZylImage *from, ZylImage *to) { operation(from, to, flags, nullptr); });
}

void dct(Step &step) {
    const int flags = step.choice("direction") | ZYL_DCT_WITH_ALPHA;
    inMemory(step, transformedShape(step), [flags](ZylImage *from, ZylImage *to) {
        zylDCT2D(from, to, flags);
        zylDCT2D(nullptr, nullptr, ZYL_DCT_RELEASE);
    });
}

// |F(u, v)| from a packed spectrum.
class Magnitudes {
  public:
    Magnitudes(const Image &spectrum, int channel) : spectrum_(spectrum), channel_(channel) {}

    double at(int u, int v) const {
        const int n = spectrum_.shape().width;
        const int m = spectrum_.shape().height;
        if (u > n / 2) { // the conjugate of the term on the other side
            u = n - u;
            v = (m - v) % m;
        }
        if (u != 0 && 2 * u != n) return std::hypot(sample(2 * u - 1, v), sample(2 * u, v));
        const int column = u == 0 ? 0 : n - 1;
        v = std::min(v, m - v);
        if (v == 0) return std::abs(sample(column, 0));
        if (2 * v == m) return std::abs(sample(column, m - 1));
        return std::hypot(sample(column, 2 * v - 1), sample(column, 2 * v));
    }

  private:
    double sample(int x, int y) const {
        return spectrum_.samples<std::int32_t>(y)[x * spectrum_.shape().channels + channel_];
    }

    const Image &spectrum_;
    const int channel_;
};

// The logarithm of every magnitude, the largest white, the mean in the middle.
void drawSpectrum(const Magnitudes &magnitudes, const ZylImage &view, int channel) {
    const int n = view.width;
    const int m = view.height;
    double largest = 1;
    for (int v = 0; v < m; ++v)
        for (int u = 0; u < n; ++u) largest = std::max(largest, magnitudes.at(u, v));
    const double scale = 255 / std::log1p(largest);
    for (int v = 0; v < m; ++v) {
        unsigned char *row = view.imageData + (v + m / 2) % m * std::ptrdiff_t{view.widthStep};
        for (int u = 0; u < n; ++u) {
            const double shade = scale * std::log1p(magnitudes.at(u, v));
            row[(u + n / 2) % n * view.nChannels + channel] =
                static_cast<unsigned char>(std::lround(shade));
        }
    }
}

void viewSpectrum(Step &step) {
    Shape shape = step.shape();
    shape.depth = ZYL_DEPTH_32S;
    const Shape drawn = makeShape(shape.width, shape.height, shape.color() ? 3 : 1, ZYL_DEPTH_8U);
    inMemory(step, drawn, [shape](ZylImage *from, ZylImage *view) {
        if (shape.width == 1 && shape.height == 1) { // which is not transformed
            zylSet(view, 255, nullptr);
            return;
        }
        const Image spectrum(shape);
        zylRealFft2D(from, spectrum.header(), ZYL_FFT_FORWARD | ZYL_FFT_FLOATING, nullptr);
        for (int channel = 0; channel < view->nChannels; ++channel)
            drawSpectrum(Magnitudes(spectrum, channel), *view, channel);
    });
}

} // namespace

std::span<const Operation> transformOperations() {
    static const std::vector<Operation> table = completed({
        {"real-fft-2d", "", fftParameters("forward", "32s"), fft<zylRealFft2D>, plain,
         "real-fft-2d ccs-fft-2d"},
        {"ccs-fft-2d", "", fftParameters("inverse", "8u"), fft<zylCcsFft2D>, plain,
         "real-fft-2d ccs-fft-2d"},
        {"dct-2d",
         "",
         {choice("direction", "forward", "back is the inverse",
                 {{"forward", ZYL_DCT_FORWARD}, {"inverse", ZYL_DCT_INVERSE}}),
          depth("32s")},
         dct,
         plain,
         "dct-2d dct-2d:direction=inverse,depth=8u"},
        {"view-spectrum",
         "shows the Fourier spectrum: log magnitude, the mean in the middle",
         {},
         viewSpectrum,
         plain,
         "view-spectrum",
         "real-fft-2d"},
    });
    return table;
}

} // namespace tool
