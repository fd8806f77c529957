// Loops over one row of pixels, for conversions.
#ifndef ZYLQX_CONVERT_KERNELS_H
#define ZYLQX_CONVERT_KERNELS_H

#include <cstddef>
#include <cstdint>

#include "core/levels.h"

namespace zylqx {

// Between depths. Depths are counted as core/image.h's depthIndex() does, less
// one: the 1-bit depth has kernels of its own.
struct DepthKernels {
    // Steps are in samples. `scale` keeps the high bits, else the low bits.
    using Row = void (*)(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                         std::ptrdiff_t n);
    Row convert[5][5][2]; // source, destination, scale

    // Bits from the first of a byte on; bits of the last byte past the row keep
    // their values. A bit is set where the sample is above 0.
    using ToBits = void (*)(const void *s, std::ptrdiff_t sStep, std::uint8_t *d, std::ptrdiff_t n);
    ToBits toBits[5];

    // Bits become one of two values.
    using FromBits = void (*)(const std::uint8_t *s, std::int32_t zero, std::int32_t one, void *d,
                              std::ptrdiff_t dStep, std::ptrdiff_t n);
    FromBits fromBits[5];
};

// Three colour channels of a row: the first sample of each, and the samples from
// one pixel to the next. Interleaved channels are neighbours, in either
// direction.
struct ColourSource {
    const void *channel[3];
    std::ptrdiff_t step;
};
struct ColourRow {
    void *channel[3];
    std::ptrdiff_t step;
};

// How gray becomes colour: (gray * weight) >> shift, or gray * fraction for
// 32-bit samples.
struct GrayWeights {
    std::uint32_t weight[3];
    int shift;
    double fraction[3];
};

// Depths here are 8U, 16U and 32S, in this order.
struct GrayKernels {
    using ToGray = void (*)(const ColourSource &s, void *d, std::ptrdiff_t n);
    ToGray toGray[3][3]; // source; destination 1U, 8U and 16U

    using FromGray = void (*)(const void *s, const GrayWeights &weights, const ColourRow &d,
                              std::ptrdiff_t n);
    FromGray fromGray[3];
};

// A colour twist: the first three rows of the matrix, and what is added in the
// end, within the range of the samples.
struct Twist {
    std::int32_t data[12];
    int scale;         // the results of `data` are divided by 2^scale
    double matrix[12]; // data * 2^-scale
    std::int32_t offset;
};

constexpr int TWIST_LOW_BITS = 15;

enum class ColourModel { RgbToHsv, HsvToRgb, RgbToHls, HlsToRgb };

struct ColourKernels {
    using Model = void (*)(const ColourSource &s, const ColourRow &d, std::ptrdiff_t n);
    Model model[4][3]; // 8U, 16U and 32S

    // With whole numbers, for 8U and matrices whose sums stay within 31 bits, or
    // whose scale is TWIST_LOW_BITS at least; in double precision, for 8U and 16U.
    // All results are exact.
    using TwistRow = void (*)(const ColourSource &s, const Twist &twist, const ColourRow &d,
                              std::ptrdiff_t n);
    TwistRow twistWhole;
    TwistRow twistFine;
    TwistRow twistDouble[2];
};

// Cutting samples to fewer bits; steps are in samples.
struct ReduceKernels {
    using Row = void (*)(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
                         std::ptrdiff_t n);
    Row s32ToU16;
    Row s32ToU8;
    Row u16ToU8;
    Row u8ToBits; // above 127; dStep is not used
};

// A rectangle that is dithered in place: `channels` samples of every pixel, which follow
// each other. The step from pixel to pixel is in samples, the stride in bytes.
struct DitherRect {
    void *data;
    std::ptrdiff_t step, stride;
    std::ptrdiff_t columns, rows;
    int channels;
};

// Every sample becomes a multiple of `step`, 2^n - 1 and at least 3. By size: 8U, 16U.
struct DitherKernels {
    using Dither = void (*)(const DitherRect &rect, std::int32_t step);
    Dither floydSteinberg[2];
    Dither jarvis[2];
    Dither stucki[2];
    Dither ordered[2];
};

// A bit field of a bitmap's pixels: its bits, how many zeros lie below them, and
// how many ones follow each other from there.
struct BitField {
    std::uint32_t mask = 0;
    int shift = 0;
    int width = 0;
};

// Between rows and working pixels, which hold blue in their lowest byte, then
// green, red and alpha. `x` is the column that a bitmap's row is entered at.
struct BitmapKernels {
    // Reading a bitmap. 1, 4 and 8 bits: through a table of 2^bits pixels. 16
    // and 32 bits: by the fields of blue, green, red and alpha.
    using Indexed = void (*)(const std::uint8_t *row, std::ptrdiff_t x, const std::uint32_t *table,
                             std::uint32_t *pixels, std::ptrdiff_t n);
    using Fields = void (*)(const std::uint8_t *row, std::ptrdiff_t x, const BitField *fields,
                            std::uint32_t *pixels, std::ptrdiff_t n);
    Indexed read1;
    Indexed read4;
    Indexed read8;
    Fields read16;
    Fields read24; // `fields` is not used
    Fields read32;

    // Writing a bitmap.
    using Write = void (*)(std::uint8_t *row, std::ptrdiff_t x, const BitField *fields,
                           const std::uint32_t *pixels, std::ptrdiff_t n);
    Write write16;
    Write write24; // `fields` is not used
    Write write32;

    // Changing working pixels in place: red becomes gray; all colours become
    // red's value and alpha 0; blue and red change places.
    using Change = void (*)(std::uint32_t *pixels, std::ptrdiff_t n);
    Change redFromColours;
    Change coloursFromRed;
    Change swapBlueAndRed;

    // One channel of an image, of 8 or 16 bits, from or into the byte that starts
    // at bit `at` of the pixels. Reading adds to pixels where that byte is 0.
    using PutChannel = void (*)(const std::uint32_t *pixels, int at, void *d, std::ptrdiff_t dStep,
                                std::ptrdiff_t n);
    using GetChannel = void (*)(const void *s, std::ptrdiff_t sStep, int at, std::uint32_t *pixels,
                                std::ptrdiff_t n);
    PutChannel putChannel[2];
    GetChannel getChannel[2];

    // The same for 1-bit images: red above 127, and black or white.
    void (*putBits)(const std::uint32_t *pixels, std::uint8_t *d, std::ptrdiff_t n);
    void (*getBits)(const std::uint8_t *s, std::uint32_t *pixels, std::ptrdiff_t n);
};

// The colours of a bitmap's table by channel: blue, green, red.
constexpr int MAX_NEAR_ENTRIES = 256;
struct TableColours {
    std::int32_t channel[3][MAX_NEAR_ENTRIES];
    int count; // at least one
};

// Cubes of colours: so many on each axis, and in all.
constexpr int NEAR_SIDE = 8;
constexpr int NEAR_COLOURS = NEAR_SIDE * NEAR_SIDE * NEAR_SIDE;
constexpr int NEAR_CUBES = (256 / NEAR_SIDE) * (256 / NEAR_SIDE) * (256 / NEAR_SIDE);

struct PaletteKernels {
    // The nearest entries to working pixels, by a search through all.
    void (*nearestEntries)(const TableColours &table, const std::uint32_t *pixels,
                           std::uint8_t *indices, std::ptrdiff_t n);
    // Those of the NEAR_COLOURS colours of the cube whose lowest colour is `first`, and
    // for working pixels the number of the cube and that of the colour in it.
    void (*nearestInCube)(const TableColours &table, std::uint32_t first, std::uint8_t *nearest);
    void (*cubesOf)(const std::uint32_t *pixels, std::uint16_t *cubes, std::uint16_t *colours,
                    std::ptrdiff_t n);
};

ZYLQX_DECLARE_KERNELS(DepthKernels, depthKernels)
ZYLQX_DECLARE_KERNELS(GrayKernels, grayKernels)
ZYLQX_DECLARE_KERNELS(ColourKernels, colourKernels)
ZYLQX_DECLARE_KERNELS(ReduceKernels, reduceKernels)
ZYLQX_DECLARE_KERNELS(DitherKernels, ditherKernels)
ZYLQX_DECLARE_KERNELS(PaletteKernels, paletteKernels)
ZYLQX_DECLARE_KERNELS(BitmapKernels, bitmapKernels)

} // namespace zylqx

#endif
