// Pixels of bitmaps and of images to and from working pixels, four bytes each. Fields
// are masked and shifted; nothing is computed but the gray of a colour. With AVX2 an
// instruction spreads three bytes to four, or the reverse, for eight pixels.
#include "convert/kernels.h"
#include "core/pack.h"

namespace zylqx::ZYLQX_LEVEL {

namespace {

// Bit positions of the bytes of a working pixel.
constexpr int BLUE = 0, GREEN = 8, RED = 16, ALPHA = 24;

inline u32 byteAt(u32 pixel, int at) {
    return (pixel >> at) & 255u;
}

// ---- reading a bitmap -----------------------------------------------------------

void read1(const u8 *row, std::ptrdiff_t x, const u32 *table, u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) pixels[i] = table[bitAt(row, x + i)];
}

void read4(const u8 *row, std::ptrdiff_t x, const u32 *table, u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const unsigned byte = row[(x + i) >> 1];
        pixels[i] = table[((x + i) & 1) == 0 ? byte >> 4 : byte & 15u];
    }
}

void read8(const u8 *row, std::ptrdiff_t x, const u32 *table, u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) pixels[i] = table[row[x + i]];
}

// A field scaled to 8 bits; its low bits are 0 where it has fewer.
inline u32 fieldTo8(u32 word, const BitField &field) {
    const u32 value = (word & field.mask) >> field.shift;
    return (field.width < 8 ? value << (8 - field.width) : value >> (field.width - 8)) & 255u;
}

void read16(const u8 *row, std::ptrdiff_t x, const BitField *fields, u32 *pixels,
            std::ptrdiff_t n) {
    const BitField blue = fields[0], green = fields[1], red = fields[2];
    const u8 *s = row + 2 * x;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 word = s[2 * i] | u32{s[2 * i + 1]} << 8;
        pixels[i] = fieldTo8(word, blue) << BLUE | fieldTo8(word, green) << GREEN |
                    fieldTo8(word, red) << RED;
    }
}

#if defined(__AVX2__)
using Half = SizedVector<char, 16>;
using Whole = SizedVector<char, 32>;

// As many pixels as vectors of eight hold that stay inside the row; gives their number.
// Reading takes four bytes more, writing the same before others follow there.
std::ptrdiff_t readThrees(const u8 *s, u32 *pixels, std::ptrdiff_t n) {
    const Whole spread = {0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1,
                          0, 1, 2, -1, 3, 4, 5, -1, 6, 7, 8, -1, 9, 10, 11, -1};
    std::ptrdiff_t i = 0;
    for (; i + 10 <= n; i += 8) {
        const Half low = load<Half>(s + 3 * i), high = load<Half>(s + 3 * i + 12);
        const Whole bytes =
            __builtin_shufflevector(low, high, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15,
                                    16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30, 31);
        store(pixels + i, __builtin_ia32_pshufb256(bytes, spread));
    }
    return i;
}
std::ptrdiff_t writeThrees(const u32 *pixels, u8 *d, std::ptrdiff_t n) {
    const Whole packed = {0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1,
                          0, 1, 2, 4, 5, 6, 8, 9, 10, 12, 13, 14, -1, -1, -1, -1};
    std::ptrdiff_t i = 0;
    for (; i + 10 <= n; i += 8) {
        const Whole bytes = __builtin_ia32_pshufb256(load<Whole>(pixels + i), packed);
        store(d + 3 * i, __builtin_shufflevector(bytes, bytes, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11,
                                                 12, 13, 14, 15));
        store(d + 3 * i + 12, __builtin_shufflevector(bytes, bytes, 16, 17, 18, 19, 20, 21, 22, 23,
                                                      24, 25, 26, 27, 28, 29, 30, 31));
    }
    return i;
}
#else
std::ptrdiff_t readThrees(const u8 *, u32 *, std::ptrdiff_t) {
    return 0;
}
std::ptrdiff_t writeThrees(const u32 *, u8 *, std::ptrdiff_t) {
    return 0;
}
#endif

void read24(const u8 *row, std::ptrdiff_t x, const BitField *, u32 *pixels, std::ptrdiff_t n) {
    const u8 *s = row + 3 * x;
    for (std::ptrdiff_t i = readThrees(s, pixels, n); i < n; ++i) {
        pixels[i] = u32{s[3 * i]} << BLUE | u32{s[3 * i + 1]} << GREEN | u32{s[3 * i + 2]} << RED;
    }
}

void read32(const u8 *row, std::ptrdiff_t x, const BitField *fields, u32 *pixels,
            std::ptrdiff_t n) {
    const BitField blue = fields[0], green = fields[1], red = fields[2], alpha = fields[3];
    const u8 *s = row + 4 * x;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 word =
            s[4 * i] | u32{s[4 * i + 1]} << 8 | u32{s[4 * i + 2]} << 16 | u32{s[4 * i + 3]} << 24;
        pixels[i] = fieldTo8(word, blue) << BLUE | fieldTo8(word, green) << GREEN |
                    fieldTo8(word, red) << RED | fieldTo8(word, alpha) << ALPHA;
    }
}

// ---- writing a bitmap -----------------------------------------------------------

inline u32 fieldFrom8(u32 value, const BitField &field) {
    const u32 scaled = field.width < 8 ? value >> (8 - field.width) : value << (field.width - 8);
    return (scaled << field.shift) & field.mask;
}

void write16(u8 *row, std::ptrdiff_t x, const BitField *fields, const u32 *pixels,
             std::ptrdiff_t n) {
    const BitField blue = fields[0], green = fields[1], red = fields[2];
    u8 *d = row + 2 * x;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 word = fieldFrom8(byteAt(pixels[i], BLUE), blue) |
                         fieldFrom8(byteAt(pixels[i], GREEN), green) |
                         fieldFrom8(byteAt(pixels[i], RED), red);
        d[2 * i] = u8(word);
        d[2 * i + 1] = u8(word >> 8);
    }
}

void write24(u8 *row, std::ptrdiff_t x, const BitField *, const u32 *pixels, std::ptrdiff_t n) {
    u8 *d = row + 3 * x;
    for (std::ptrdiff_t i = writeThrees(pixels, d, n); i < n; ++i) {
        d[3 * i] = u8(pixels[i] >> BLUE);
        d[3 * i + 1] = u8(pixels[i] >> GREEN);
        d[3 * i + 2] = u8(pixels[i] >> RED);
    }
}

// Fields are taken to have 8 bits here.
void write32(u8 *row, std::ptrdiff_t x, const BitField *fields, const u32 *pixels,
             std::ptrdiff_t n) {
    const BitField blue = fields[0], green = fields[1], red = fields[2], alpha = fields[3];
    u8 *d = row + 4 * x;
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 pixel = pixels[i];
        const u32 word = ((byteAt(pixel, BLUE) << blue.shift) & blue.mask) |
                         ((byteAt(pixel, GREEN) << green.shift) & green.mask) |
                         ((byteAt(pixel, RED) << red.shift) & red.mask) |
                         ((byteAt(pixel, ALPHA) << alpha.shift) & alpha.mask);
        for (int k = 0; k < 4; ++k) d[4 * i + k] = u8(word >> (8 * k));
    }
}

// ---- working pixels -------------------------------------------------------------

void redFromColours(u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 pixel = pixels[i];
        const u32 gray =
            (28 * byteAt(pixel, BLUE) + 151 * byteAt(pixel, GREEN) + 77 * byteAt(pixel, RED)) >> 8;
        pixels[i] = (pixel & 0xFF00FFFFu) | gray << RED;
    }
}

void coloursFromRed(u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) pixels[i] = byteAt(pixels[i], RED) * 0x010101u;
}

void swapBlueAndRed(u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        const u32 pixel = pixels[i];
        pixels[i] = (pixel & 0xFF00FF00u) | byteAt(pixel, RED) << BLUE | byteAt(pixel, BLUE) << RED;
    }
}

// ---- images ---------------------------------------------------------------------

// 16-bit samples hold the byte in their upper half.
template <class T>
constexpr int SHIFT = 8 * (static_cast<int>(sizeof(T)) - 1);

template <class T>
void putChannel(const u32 *pixels, int at, void *d, std::ptrdiff_t dStep, std::ptrdiff_t n) {
    T *out = static_cast<T *>(d);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        out[i * dStep] = T(byteAt(pixels[i], at) << SHIFT<T>);
    }
}

template <class T>
void getChannel(const void *s, std::ptrdiff_t sStep, int at, u32 *pixels, std::ptrdiff_t n) {
    const T *in = static_cast<const T *>(s);
    for (std::ptrdiff_t i = 0; i < n; ++i) {
        pixels[i] |= u32(in[i * sStep] >> SHIFT<T>) << at;
    }
}

void putBits(const u32 *pixels, u8 *d, std::ptrdiff_t n) {
    u8 flags[CHUNK];
    for (std::ptrdiff_t i = 0; i < n; i += CHUNK) {
        const std::ptrdiff_t count = chunkFrom(i, n);
        for (std::ptrdiff_t k = 0; k < count; ++k) flags[k] = byteAt(pixels[i + k], RED) > 127;
        packBits(flags, d + i / 8, count);
    }
}

void getBits(const u8 *s, u32 *pixels, std::ptrdiff_t n) {
    for (std::ptrdiff_t i = 0; i < n; ++i) pixels[i] = bitAt(s, i) * 0xFFFFFFu;
}

} // namespace

const BitmapKernels bitmapKernels = {
    read1,
    read4,
    read8,
    read16,
    read24,
    read32,
    write16,
    write24,
    write32,
    redFromColours,
    coloursFromRed,
    swapBlueAndRed,
    {putChannel<u8>, putChannel<u16>},
    {getChannel<u8>, getChannel<u16>},
    putBits,
    getBits,
};

} // namespace zylqx::ZYLQX_LEVEL
