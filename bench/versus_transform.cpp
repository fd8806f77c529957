// The Fourier and the cosine transform, against the bare transforms of FFTW: ours
// take 8-bit samples and leave 32-bit ones, FFTW's stay in single precision. Its
// plans are made with FFTW_MEASURE, ours keep their tables.

#include <cmath>

#include "rows.h"

namespace bench {

namespace {

constexpr int KEPT = ZYL_FFT_FLOATING | ZYL_FFT_KEEP_TABLES;

PicturePointer picture(std::uint32_t depth, int width, int height) {
    return std::make_shared<const Picture>(depth, 1, width, height);
}

Contest realFft(int width, int height) {
    const PicturePointer from = picture(ZYL_DEPTH_8U, width, height);
    const PicturePointer to = picture(ZYL_DEPTH_32S, width, height);
    return {[=] { zylRealFft2D(*from, *to, ZYL_FFT_FORWARD | KEPT, nullptr); }, {from, to}};
}

Contest ccsFft(int width, int height) {
    const PicturePointer from = picture(ZYL_DEPTH_32S, width, height);
    const PicturePointer to = picture(ZYL_DEPTH_8U, width, height);
    return {[=] { zylCcsFft2D(*from, *to, ZYL_FFT_INVERSE | KEPT, nullptr); }, {from, to}};
}

Contest dct(int side, bool forward) {
    const PicturePointer from = picture(ZYL_DEPTH_16S, side, side);
    const PicturePointer to = picture(ZYL_DEPTH_16S, side, side);
    const int flags = forward ? ZYL_DCT_FORWARD : ZYL_DCT_INVERSE;
    return {[=] { zylDCT2D(*from, *to, flags); }, {from, to}};
}

// Of n numbers in double precision 2.5 n log2(n) operations, for rows and for columns, on
// four numbers.
double transformCycles(int side) {
    return 5 * std::log2(side) / 3 / 4;
}

void addRow(std::vector<Row> &rows, const char *name, std::uint32_t read, std::uint32_t written,
            int side, std::function<Contest()> prepare) {
    rows.push_back({name, read, side, pictureBytes(read, 1, side), pictureBytes(written, 1, side),
                    [=](Layout) { return prepare(); }, transformCycles(side), false});
}

void addFourierRows(std::vector<Row> &rows, int side) {
    addRow(rows, "real-fft-2d", ZYL_DEPTH_8U, ZYL_DEPTH_32S, side,
           [=] { return realFft(side, side); });
    addRow(rows, "ccs-fft-2d", ZYL_DEPTH_32S, ZYL_DEPTH_8U, side,
           [=] { return ccsFft(side, side); });
}

} // namespace

void addTransformRows(std::vector<Row> &rows, int side) {
    if (side <= 1024) {
        addFourierRows(rows, side);
    } else {
        // Smaller, as transforms are usually measured, and lengths that are no powers of
        // two, one of them a prime.
        for (const int n : {1024, 1000, 768, 1021}) addFourierRows(rows, n);
        // As many pixels as 1440 x 1440.
        addRow(rows, "real-fft-2d 1920x1080", ZYL_DEPTH_8U, ZYL_DEPTH_32S, 1440,
               [] { return realFft(1920, 1080); });
    }
    if (side == 8) addFourierRows(rows, 16);
    const int n = side > 1024 ? 512 : side;
    addRow(rows, "dct-2d", ZYL_DEPTH_16S, ZYL_DEPTH_16S, n, [=] { return dct(n, true); });
    addRow(rows, "dct-2d inverse", ZYL_DEPTH_16S, ZYL_DEPTH_16S, n, [=] { return dct(n, false); });
}

} // namespace bench
