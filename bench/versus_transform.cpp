// The Fourier and the cosine transform, against the bare transforms of FFTW: ours
// take 8-bit samples and leave 32-bit ones, FFTW's stay in single precision. Its
// plans are made with FFTW_MEASURE, ours keep their tables.

#include "rows.h"

namespace bench {

namespace {

constexpr int KEPT = ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES;

Contest realFft(int side) {
    const PicturePointer from = picture(ZYL_DEPTH_8U, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_32S, 1, side);
    return {[=] { zylRealFft2D(*from, *to, ZYL_FFT_FORWARD | KEPT, nullptr); }, {from, to}};
}

Contest ccsFft(int side) {
    const PicturePointer from = picture(ZYL_DEPTH_32S, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_8U, 1, side);
    return {[=] { zylCcsFft2D(*from, *to, ZYL_FFT_INVERSE | KEPT, nullptr); }, {from, to}};
}

Contest dct(int side, bool forward) {
    const PicturePointer from = picture(ZYL_DEPTH_16S, 1, side);
    const PicturePointer to = picture(ZYL_DEPTH_16S, 1, side);
    const int flags = forward ? ZYL_DCT_FORWARD : ZYL_DCT_INVERSE;
    return {[=] { zylDCT2D(*from, *to, flags); }, {from, to}};
}

void addRow(std::vector<Row> &rows, const char *name, std::uint32_t read, std::uint32_t written,
            int side, std::function<Contest()> prepare) {
    rows.push_back({name, read, side, pictureBytes(read, 1, side), pictureBytes(written, 1, side),
                    std::move(prepare)});
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
