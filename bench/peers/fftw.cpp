// The bare transforms, in single precision, with plans made by FFTW_MEASURE.

#include <fftw3.h>
#include <memory>

#include "peers.h"

namespace bench {

namespace {

using Floats = std::shared_ptr<float>;

Floats floats(std::size_t count) {
    return {fftwf_alloc_real(count), fftwf_free};
}

// Repeats a plan on its own arrays.
std::function<void()> repeated(fftwf_plan plan, const Floats &from, const Floats &to) {
    const std::shared_ptr<fftwf_plan_s> kept(plan, fftwf_destroy_plan);
    return [=] {
        static_cast<void>(to);
        static_cast<void>(from);
        fftwf_execute(kept.get());
    };
}

// What the planning left in the arrays may be anything, and slow, so they are
// filled after it.
std::function<void()> realFft(const Picture &source) {
    const auto width = static_cast<std::size_t>(source.width());
    const auto height = static_cast<std::size_t>(source.height());
    const Floats samples = floats(height * width);
    const Floats terms = floats(height * (width + 2));
    const fftwf_plan plan =
        fftwf_plan_dft_r2c_2d(source.height(), source.width(), samples.get(),
                              reinterpret_cast<fftwf_complex *>(terms.get()), FFTW_MEASURE);
    for (std::size_t i = 0; i < height * width; ++i) samples.get()[i] = source.data()[i];
    return repeated(plan, samples, terms);
}

// It uses up its input, so it works on what the call before has left.
std::function<void()> ccsFft(int side) {
    const auto n = static_cast<std::size_t>(side);
    const Floats samples = floats(n * n);
    const Floats terms = floats(n * (n + 2));
    const fftwf_plan plan = fftwf_plan_dft_c2r_2d(
        side, side, reinterpret_cast<fftwf_complex *>(terms.get()), samples.get(), FFTW_MEASURE);
    for (std::size_t i = 0; i < n * (n + 2); ++i) terms.get()[i] = 0;
    return repeated(plan, terms, samples);
}

std::function<void()> dct(int side, const Picture &source, fftw_r2r_kind kind) {
    const auto n = static_cast<std::size_t>(side);
    const Floats samples = floats(n * n);
    const Floats terms = floats(n * n);
    const fftwf_plan plan =
        fftwf_plan_r2r_2d(side, side, samples.get(), terms.get(), kind, kind, FFTW_MEASURE);
    const auto *words = reinterpret_cast<const std::int16_t *>(source.data());
    for (std::size_t i = 0; i < n * n; ++i) samples.get()[i] = words[i];
    return repeated(plan, samples, terms);
}

} // namespace

std::function<void()> fftwCall(const Row &row, const Pictures &pictures) {
    const Picture &source = *pictures.front();
    if (row.name.rfind("real-fft-2d", 0) == 0) return realFft(source);
    if (row.name == "ccs-fft-2d") return ccsFft(row.side);
    if (row.name == "dct-2d") return dct(row.side, source, FFTW_REDFT10);
    if (row.name == "dct-2d inverse") return dct(row.side, source, FFTW_REDFT01);
    return {};
}

} // namespace bench
