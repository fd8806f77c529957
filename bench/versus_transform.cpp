// The Fourier and the cosine transform, against the bare transforms of FFTW: ours
// take 8-bit samples and leave 32-bit ones, FFTW's stay in single precision. Its
// plans are made with FFTW_MEASURE, ours keep their tables.

#include "peers.h"
#include "rows.h"

#if defined(ZYLQX_PEER_FFTW)
#include <fftw3.h>
#endif

namespace bench {

namespace {

constexpr int KEPT = ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES;

#if defined(ZYLQX_PEER_FFTW)
using Floats = std::shared_ptr<float>;
using Plan = std::shared_ptr<fftwf_plan_s>;

Floats floats(std::size_t count) {
    return {fftwf_alloc_real(count), fftwf_free};
}

// Repeats a plan on its own arrays.
Peer fftw(fftwf_plan plan, const Floats &from, const Floats &to) {
    const Plan kept(plan, fftwf_destroy_plan);
    // What the planning left may be anything, and slow.
    return {"fftw", [=] {
                static_cast<void>(to);
                static_cast<void>(from);
                fftwf_execute(kept.get());
            }};
}
#endif

Contest realFft(int side) {
    const PicturePointer from = picture(ZYL_DEPTH_8U, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_32S, 1, side);
    Contest contest{[=] { zylRealFft2D(*from, *to, ZYL_FFT_FORWARD | KEPT, nullptr); }, {}};
#if defined(ZYLQX_PEER_FFTW)
    const auto n = static_cast<std::size_t>(side);
    const Floats samples = floats(n * n);
    const Floats terms = floats(n * (n + 2));
    const fftwf_plan plan = fftwf_plan_dft_r2c_2d(
        side, side, samples.get(), reinterpret_cast<fftwf_complex *>(terms.get()), FFTW_MEASURE);
    for (std::size_t i = 0; i < n * n; ++i) samples.get()[i] = from->data()[i];
    contest.peers.push_back(fftw(plan, samples, terms));
#endif
    return contest;
}

Contest ccsFft(int side) {
    const PicturePointer from = picture(ZYL_DEPTH_32S, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_8U, 1, side);
    Contest contest{[=] { zylCcsFft2D(*from, *to, ZYL_FFT_INVERSE | KEPT, nullptr); }, {}};
#if defined(ZYLQX_PEER_FFTW)
    // It uses up its input, so it works on what the call before has left.
    const auto n = static_cast<std::size_t>(side);
    const Floats samples = floats(n * n);
    const Floats terms = floats(n * (n + 2));
    const fftwf_plan plan = fftwf_plan_dft_c2r_2d(
        side, side, reinterpret_cast<fftwf_complex *>(terms.get()), samples.get(), FFTW_MEASURE);
    for (std::size_t i = 0; i < n * (n + 2); ++i) terms.get()[i] = 0;
    contest.peers.push_back(fftw(plan, terms, samples));
#endif
    return contest;
}

Contest dct(int side, bool forward) {
    const PicturePointer from = picture(ZYL_DEPTH_16S, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_16S, 1, side);
    const int flags = forward ? ZYL_DCT_FORWARD : ZYL_DCT_INVERSE;
    Contest contest{[=] { zylDCT2D(*from, *to, flags); }, {}};
#if defined(ZYLQX_PEER_FFTW)
    const auto n = static_cast<std::size_t>(side);
    const Floats samples = floats(n * n);
    const Floats terms = floats(n * n);
    const fftw_r2r_kind kind = forward ? FFTW_REDFT10 : FFTW_REDFT01;
    const fftwf_plan plan =
        fftwf_plan_r2r_2d(side, side, samples.get(), terms.get(), kind, kind, FFTW_MEASURE);
    const auto *words = reinterpret_cast<const std::int16_t *>(from->data());
    for (std::size_t i = 0; i < n * n; ++i) samples.get()[i] = words[i];
    contest.peers.push_back(fftw(plan, samples, terms));
#endif
    return contest;
}

void addRow(std::vector<Row> &rows, const char *name, std::uint32_t read, std::uint32_t written,
            int side, std::function<Contest()> prepare) {
    rows.push_back({name, depthName(read), side, pictureBytes(read, 1, side),
                    pictureBytes(written, 1, side), std::move(prepare)});
}

} // namespace

void addTransformRows(std::vector<Row> &rows, int side) {
    // 1024 and 512 instead of 2048, as transforms are usually measured, and 1000
    // for a length that is no power of two.
    const std::vector<int> fftSides = side > 1024 ? std::vector{1024, 1000} : std::vector{side};
    for (const int n : fftSides) {
        addRow(rows, "real-fft-2d", ZYL_DEPTH_8U, ZYL_DEPTH_32S, n, [=] { return realFft(n); });
        addRow(rows, "ccs-fft-2d", ZYL_DEPTH_32S, ZYL_DEPTH_8U, n, [=] { return ccsFft(n); });
    }
    const int n = side > 1024 ? 512 : side;
    addRow(rows, "dct-2d", ZYL_DEPTH_16S, ZYL_DEPTH_16S, n, [=] { return dct(n, true); });
    addRow(rows, "dct-2d inverse", ZYL_DEPTH_16S, ZYL_DEPTH_16S, n, [=] { return dct(n, false); });
}

} // namespace bench
