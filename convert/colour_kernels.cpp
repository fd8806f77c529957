// Colour models, the colour twist and bit reduction, on three arrays of samples that
// hold the channels of a part of a row.
//
// 8-bit models compute in whole numbers, with quotients by constants as products and
// shifts of the documented factors; deeper ones in double precision, truncated.
// Quotients of two small whole numbers are taken in single precision: the true one
// keeps far enough from the next whole number for the rounding not to reach it. The
// twist of bytes is summed in 32 bits, in two parts where one would not hold it, that
// of 16-bit samples in double precision, where 16 times 32 bits are exact. Choices are
// masks, so that the loops have no branches.
#include "convert/channels.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// ---- hue ------------------------------------------------------------------------

// A choice without a branch: compilers vectorise long chains of these only.
inline s32 select(bool condition, s32 a, s32 b) {
    const s32 mask = -static_cast<s32>(condition);
    return (a & mask) | (b & ~mask);
}

// Truncated, within 0 and the largest sample.
template <class T>
T sample(double v) {
    const double low = v < 0.0 ? 0.0 : v;
    return T(static_cast<s32>(low > HIGHEST<T> ? HIGHEST<T> : low));
}

// The hue in degrees times `delta`, in whole numbers; 8-bit samples.
inline s32 hueTimesDelta(s32 r, s32 g, s32 b, s32 high, s32 delta) {
    const s32 fromRed = 60 * (g - b);
    const s32 fromGreen = 60 * (b - r) + 120 * delta;
    const s32 fromBlue = 60 * (r - g) + 240 * delta;
    const s32 hue = r == high ? fromRed : g == high ? fromGreen : fromBlue;
    return hue < 0 ? hue + 360 * delta : hue;
}

// Truncated quotients of small whole numbers: the nearest float never reaches
// the next whole number, since all quotients keep a 510th away from it.
inline s32 quotient(s32 a, s32 b) {
    return static_cast<s32>(static_cast<float>(a) / static_cast<float>(b));
}

// The hue in degrees, for delta > 0. Choices come before divisions, which are slow.
inline double hueDegrees(double r, double g, double b, double high, double delta) {
    const double difference = r == high ? g - b : g == high ? b - r : r - g;
    const double first = r == high ? 0.0 : g == high ? 120.0 : 240.0;
    const double hue = 60.0 * difference / delta + first;
    return hue < 0.0 ? hue + 360.0 : hue;
}

// Each model turns the three channels of one chunk into the three others. The
// loops have no branches, so that they are vectorised.

struct RgbToHsv {
    static void run(Chunk<u8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const s32 r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const s32 high = larger(larger(r, g), b);
            const s32 delta = high - smaller(smaller(r, g), b);
            const s32 hue = quotient(hueTimesDelta(r, g, b, high, delta), larger(delta, 1));
            chunk.a[i] = u8(hue >> 1);
            chunk.b[i] = u8(quotient(255 * delta, larger(high, 1)));
            chunk.c[i] = u8(high);
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const double high = larger(larger(r, g), b);
            const double delta = high - smaller(smaller(r, g), b);
            const double hue = hueDegrees(r, g, b, high, delta == 0.0 ? 1.0 : delta);
            const double ratio = HIGHEST<T> * delta / (high == 0.0 ? 1.0 : high);
            const T saturation = sample<T>(high == 0.0 ? 0.0 : ratio);
            chunk.a[i] = T(saturation == 0 ? 0 : static_cast<s32>(hue));
            chunk.b[i] = saturation;
            chunk.c[i] = T(high);
        }
    }
};

struct HsvToRgb {
    // Colours of the six sectors: one channel has the value, one the lowest colour, and
    // that between them falls in odd sectors and rises in the others.
    static s32 inSectors(s32 sector) { return smaller(larger(sector, 0), 5); }
    static s32 red(s32 sector, s32 value, s32 between, s32 low) {
        return select((sector == 0) | (sector == 5), value,
                      select((sector == 2) | (sector == 3), low, between));
    }
    static s32 green(s32 sector, s32 value, s32 between, s32 low) {
        return select((sector == 1) | (sector == 2), value, select(sector > 3, low, between));
    }
    static s32 blue(s32 sector, s32 value, s32 between, s32 low) {
        return select((sector == 3) | (sector == 4), value, select(sector < 2, low, between));
    }

    // Division by 60 is * 34 >> 11 here and division by 255 is >> 8.
    static void run(Chunk<u8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const s32 hue = chunk.a[i], v = chunk.c[i];
            const s32 full = (hue * 2185) >> 16; // hue / 30
            const s32 f = 2 * hue - 60 * full;
            const s32 sector = inSectors(full);
            const s32 k = (v * chunk.b[i]) >> 8;
            const s32 p = v - k;
            const s32 x = v - ((k * select((sector & 1) != 0, f, 60 - f) * 34) >> 11);
            chunk.a[i] = u8(red(sector, v, x, p));
            chunk.b[i] = u8(green(sector, v, x, p));
            chunk.c[i] = u8(blue(sector, v, x, p));
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double s = chunk.b[i], v = chunk.c[i];
            const s32 hue = chunk.a[i];
            const double h = select(hue == 360, 0, hue) * (1.0 / 60.0);
            const s32 full = static_cast<s32>(h);
            const double f = h - full;
            const s32 sector = inSectors(full);
            const bool gray = chunk.b[i] == 0;
            const s32 value = chunk.c[i];
            const double odd = sector & 1; // falling
            const double way = odd != 0.0 ? f : 1.0 - f;
            const s32 p = select(gray, value, sample<T>(v * (MAX - s) / MAX));
            const s32 x = select(gray, value, sample<T>(v * (MAX - s * way) / MAX));
            chunk.a[i] = T(red(sector, value, x, p));
            chunk.b[i] = T(green(sector, value, x, p));
            chunk.c[i] = T(blue(sector, value, x, p));
        }
    }
};

struct RgbToHls {
    static void run(Chunk<u8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const s32 r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const s32 high = larger(larger(r, g), b);
            const s32 low = smaller(smaller(r, g), b);
            const s32 delta = high - low;
            const s32 sum = high + low;
            const s32 span = sum <= 255 ? sum : 510 - sum;
            const s32 hue = quotient(hueTimesDelta(r, g, b, high, delta), larger(delta, 1));
            chunk.a[i] = u8(hue >> 1);
            chunk.b[i] = u8(sum >> 1);
            chunk.c[i] = u8(quotient(255 * delta, larger(span, 1)));
        }
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double r = chunk.a[i], g = chunk.b[i], b = chunk.c[i];
            const double high = larger(larger(r, g), b);
            const double low = smaller(smaller(r, g), b);
            const double delta = high - low;
            const double sum = high + low;
            const double span = sum <= MAX ? sum : 2.0 * MAX - sum;
            const double hue = hueDegrees(r, g, b, high, delta == 0.0 ? 1.0 : delta);
            const double ratio = MAX * delta / (span == 0.0 ? 1.0 : span);
            chunk.a[i] = T(delta == 0.0 ? 0 : static_cast<s32>(hue));
            chunk.b[i] = T(static_cast<s32>(sum * 0.5));
            chunk.c[i] = sample<T>(delta == 0.0 ? 0.0 : ratio);
        }
    }
};

struct HlsToRgb {
    // The value of one colour, for its hue in 0 to 360. Division by 60 and 255
    // is * 274 >> 13, * 258 >> 16.
    static s32 value(s32 h, s32 m1, s32 m2, s32 spread) {
        const s32 sloping = m1 + ((spread * 274 * select(h < 60, h, 240 - h)) >> 13);
        const s32 level = select(h < 180, m2, m1);
        return select((h < 60) | ((h >= 180) & (h < 240)), sloping, level);
    }

    static void run(Chunk<u8> &chunk, std::ptrdiff_t n) {
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const s32 hue = 2 * chunk.a[i], l = chunk.b[i], s = chunk.c[i];
            const s32 k = (s * l * 258) >> 16;
            const s32 m2 = select(l < 128, l + k, l + s - k);
            const s32 m1 = 2 * l - m2;
            const s32 spread = m2 - l;
            chunk.a[i] = u8(value(select(hue >= 241, hue - 240, hue + 120), m1, m2, spread));
            chunk.b[i] = u8(value(hue, m1, m2, spread));
            chunk.c[i] = u8(value(select(hue < 120, hue + 240, hue - 120), m1, m2, spread));
        }
    }

    static double value(double hue, double m1, double m2) {
        const double above = hue < 0.0 ? hue + 360.0 : hue;
        const double h = above > 360.0 ? above - 360.0 : above;
        const double way = h < 60.0 ? h : 240.0 - h;
        const double sloping = m1 + (m2 - m1) * way * 0.0166666667;
        const double level = h < 180.0 ? m2 : m1;
        return (h < 60.0) | ((h >= 180.0) & (h < 240.0)) ? sloping : level;
    }

    template <class T>
    static void run(Chunk<T> &chunk, std::ptrdiff_t n) {
        constexpr double MAX = HIGHEST<T>;
        constexpr s32 HALF = HIGHEST<T> / 2;
        constexpr double MIDDLE = HALF;
        for (std::ptrdiff_t i = 0; i < n; ++i) {
            const double h = chunk.a[i], l = chunk.b[i], s = chunk.c[i];
            const double part = (l <= MIDDLE ? s : l * s) / MAX;
            const double m2 = l <= MIDDLE ? l * (1.0 + part) : l + s - part;
            const double m1 = 2.0 * l - m2;
            const bool gray = chunk.c[i] == 0;
            const T lightness = chunk.b[i];
            const T r = sample<T>(value(h + 120.0, m1, m2));
            const T g = sample<T>(value(h, m1, m2));
            const T b = sample<T>(value(h - 120.0, m1, m2));
            chunk.a[i] = gray ? lightness : r;
            chunk.b[i] = gray ? lightness : g;
            chunk.c[i] = gray ? lightness : b;
        }
    }
};

template <class Operation, class T>
void modelRow(const ColourSource &s, const ColourRow &d, std::ptrdiff_t n) {
    forEachChunk<T>(s, d, n,
                    [](Chunk<T> &chunk, std::ptrdiff_t count) { Operation::run(chunk, count); });
}

// ---- colour twist ---------------------------------------------------------------

// Limited to 0 and MAX, `offset` added, and limited again: all at once after the
// addition.
struct Limits {
    s32 low, high;
    Limits(s32 offset, s32 max)
        : low(offset > 0 ? offset : 0), high(offset < 0 ? max + offset : max) {}
    s32 of(s32 v) const { return v < low ? low : v > high ? high : v; }
};

// A sum may need more than 31 bits: then the low LOW_BITS bits of the factors are
// summed by themselves, and what they carry is added to the sum of the others.
template <int LOW_BITS>
void twistWholeRow(const ColourSource &s, const Twist &twist, const ColourRow &d,
                   std::ptrdiff_t n) {
    forEachChunk<u8>(s, d, n, [&twist](Chunk<u8> &chunk, std::ptrdiff_t count) {
        s32 high[12], low[12];
        for (int k = 0; k < 12; ++k) {
            high[k] = twist.data[k] >> LOW_BITS;
            low[k] = twist.data[k] & ((1 << LOW_BITS) - 1);
        }
        const int scale = twist.scale - LOW_BITS;
        const s32 offset = twist.offset;
        const Limits limits(offset, 255);
        // A negative sum is limited, so that the shift need not go toward zero.
        const auto channel = [&](int row, s32 a, s32 b, s32 c) {
            const auto sum = [=](const s32 *m) { return m[0] * a + m[1] * b + m[2] * c + m[3]; };
            s32 total = sum(high + row);
            if constexpr (LOW_BITS > 0) total += sum(low + row) >> LOW_BITS;
            return u8(limits.of((total >> scale) + offset));
        };
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const s32 a = chunk.a[i], b = chunk.b[i], c = chunk.c[i];
            chunk.a[i] = channel(0, a, b, c);
            chunk.b[i] = channel(4, a, b, c);
            chunk.c[i] = channel(8, a, b, c);
        }
    });
}

template <class T>
void twistDoubleRow(const ColourSource &s, const Twist &twist, const ColourRow &d,
                    std::ptrdiff_t n) {
    forEachChunk<T>(s, d, n, [&twist](Chunk<T> &chunk, std::ptrdiff_t count) {
        const Limits limits(twist.offset, HIGHEST<T>);
        double m[12];
        for (int k = 0; k < 12; ++k) m[k] = twist.matrix[k];
        const s32 offset = twist.offset;
        for (std::ptrdiff_t i = 0; i < count; ++i) {
            const double a = chunk.a[i], b = chunk.b[i], c = chunk.c[i];
            const s32 x = sample<T>(m[0] * a + m[1] * b + m[2] * c + m[3]);
            const s32 y = sample<T>(m[4] * a + m[5] * b + m[6] * c + m[7]);
            const s32 z = sample<T>(m[8] * a + m[9] * b + m[10] * c + m[11]);
            chunk.a[i] = T(limits.of(x + offset));
            chunk.b[i] = T(limits.of(y + offset));
            chunk.c[i] = T(limits.of(z + offset));
        }
    });
}

// ---- fewer bits -----------------------------------------------------------------

template <class S, class D, int SHIFT>
void reduceRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t dStep,
               std::ptrdiff_t n) {
    const S *in = static_cast<const S *>(s);
    D *out = static_cast<D *>(d);
    if (sStep == 1 && dStep == 1) {
        ZYLQX_VECTOR_LOOP
        for (std::ptrdiff_t i = 0; i < n; ++i) out[i] = D(larger<s32>(in[i], 0) >> SHIFT);
        return;
    }
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i * dStep] = D(larger<s32>(in[i * sStep], 0) >> SHIFT);
    }
}

void reduceToBitsRow(const void *s, std::ptrdiff_t sStep, void *d, std::ptrdiff_t,
                     std::ptrdiff_t n) {
    const u8 *in = static_cast<const u8 *>(s);
    u8 flags[CHUNK];
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (std::ptrdiff_t k = 0; k < count; ++k) flags[k] = in[(i + k) * sStep] >> 7;
        packBits(flags, static_cast<u8 *>(d) + i / 8, count);
    }
}

#define ZYLQX_MODEL(Operation)                                                                     \
    { modelRow<Operation, u8>, modelRow<Operation, u16>, modelRow<Operation, s32> }

} // namespace

const ColourKernels colourKernels = {
    {ZYLQX_MODEL(RgbToHsv), ZYLQX_MODEL(HsvToRgb), ZYLQX_MODEL(RgbToHls), ZYLQX_MODEL(HlsToRgb)},
    twistWholeRow<0>,
    twistWholeRow<TWIST_LOW_BITS>,
    {twistDoubleRow<u8>, twistDoubleRow<u16>},
};

const ReduceKernels reduceKernels = {
    reduceRow<s32, u16, 15>,
    reduceRow<s32, u8, 23>,
    reduceRow<u16, u8, 8>,
    reduceToBitsRow,
};

} // namespace zylqx::ZYLQX_LEVEL
