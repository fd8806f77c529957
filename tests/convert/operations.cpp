#include "tests/convert/operations.h"

#include <algorithm>
#include <array>
#include <cmath>

using namespace support;

namespace {

using Run = std::function<void(ZylImage *, ZylImage *, const std::int32_t *)>;

Shape shapeOf(std::uint32_t depth, const std::string &sequence, const char *model) {
    Shape shape{.depth = depth, .width = 37, .height = 29};
    shape.channels = sequence == "G   " ? 1 : sequence[3] == ' ' ? 3 : sequence[3] == 'X' ? 5 : 4;
    shape.model = model;
    static const std::array<const char *, 7> SEQUENCES = {"G   ", "RGB ", "BGR ", "RGBA",
                                                          "BGRA", "BGRX", "HSV "};
    shape.sequence = *std::find(SEQUENCES.begin(), SEQUENCES.end(), sequence);
    return shape;
}

// From images of shape `from` into images of shape `to`.
ConvertCase makeCase(const std::string &name, const std::string &reportedName, const Shape &from,
                     const Shape &to, Run run, std::function<Pixel(const Pixel &)> expected) {
    Operation operation{name, reportedName, 1,
                        [run](ZylImage *const *images, const std::int32_t *tile) {
                            run(images[0], images[1], tile);
                        }};
    operation.shapes = {from};
    Shape single = from;
    single.width = single.height = 1;
    operation.shapes.push_back(single);
    operation.result = [to](const Shape &shape) {
        Shape result = to;
        result.width = shape.width;
        result.height = shape.height;
        result.order = shape.order;
        return result;
    };
    operation.regions = false;
    // An alpha channel that is left alone would differ from a third image's.
    operation.inPlace = from.depth == to.depth && from.channels == to.channels && from.channels < 4;
    return {operation, std::move(expected)};
}

// ---- depths -----------------------------------------------------------------------

int bits(std::uint32_t depth) {
    return static_cast<int>(depth & ~ZYL_DEPTH_SIGN);
}

bool isSigned(std::uint32_t depth) {
    return (depth & ZYL_DEPTH_SIGN) != 0;
}

// The table of depth pairs, row by row.
std::int64_t convertedSample(std::uint32_t from, std::uint32_t to, int mode, std::int64_t v) {
    if (from == to) return v;
    const auto is = [&](std::uint32_t s, std::uint32_t d) { return from == s && to == d; };
    const auto towardZero = [](std::int64_t x, int shift) {
        return x < 0 ? -((-x) >> shift) : x >> shift;
    };
    if (is(ZYL_DEPTH_8U, ZYL_DEPTH_16U) || is(ZYL_DEPTH_8S, ZYL_DEPTH_16S) ||
        is(ZYL_DEPTH_8S, ZYL_DEPTH_32S) || is(ZYL_DEPTH_16S, ZYL_DEPTH_32S)) {
        return v;
    }
    if (from == ZYL_DEPTH_8U) return v - 128;
    if (is(ZYL_DEPTH_16U, ZYL_DEPTH_16S) || is(ZYL_DEPTH_16U, ZYL_DEPTH_32S)) return v - 32768;
    if (from == ZYL_DEPTH_8S) return v + 128;
    if (is(ZYL_DEPTH_16S, ZYL_DEPTH_16U)) return v + 32768;
    if (from == ZYL_DEPTH_16U) {
        const std::int64_t low = mode == 1 ? v >> 8 : v & 0xFF;
        return to == ZYL_DEPTH_8U ? low : low - 128;
    }
    const std::uint32_t target = bits(to) == 8 ? ZYL_DEPTH_8S : ZYL_DEPTH_16S;
    const std::int64_t mask = highest(target);
    const std::int64_t cut = mode == 1 ? towardZero(v, bits(from) - bits(to))
                             : v >= 0  ? v & mask
                                       : v | ~mask;
    return isSigned(to) ? cut : cut + mask + 1;
}

// A pixel of the tile that laws ask for, whose tiles are 16 x 8 pixels.
struct TilePoint {
    explicit TilePoint(const std::int32_t *tile) : given(tile != nullptr) {
        if (given) point = {tile[0] * 16 + 5, tile[1] * 8 + 3};
    }
    operator const ZylTileMapping *() const { return given ? &point : nullptr; }
    bool given;
    ZylTileMapping point{};
};

void addDepths(std::vector<ConvertCase> &cases) {
    for (const std::uint32_t from : ALL_DEPTHS) {
        for (const std::uint32_t to : ALL_DEPTHS) {
            for (const int mode : {0, 1}) {
                if (from == ZYL_DEPTH_1U && to != ZYL_DEPTH_1U) continue;
                const bool bitonal = to == ZYL_DEPTH_1U;
                const bool gray = bitonal || mode == 1;
                const char *sequence = gray ? "G   " : "RGB ";
                const auto name = std::string("Convert_") + depthName(from) + "_" + depthName(to) +
                                  (mode == 1 ? "_high" : "_low");
                cases.push_back(makeCase(
                    name, "zylConvert", shapeOf(from, sequence, "GRAY"),
                    shapeOf(to, sequence, "GRAY"),
                    [mode](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                        zylConvert(s, d, mode, TilePoint(tile));
                    },
                    [=](const Pixel &pixel) {
                        Pixel result;
                        for (const std::int64_t v : pixel) {
                            result.push_back(bitonal ? v > 0 : convertedSample(from, to, mode, v));
                        }
                        return result;
                    }));
                cases.back().lawful = mode == 0 || from == to || bitonal;
            }
        }
    }
    for (const std::uint32_t to : ALL_DEPTHS) {
        if (to == ZYL_DEPTH_1U) continue;
        const std::int32_t zero = isSigned(to) ? -100 : 7;
        cases.push_back(makeCase(
            std::string("BitonalToGray_") + depthName(to), "zylBitonalToGray",
            shapeOf(ZYL_DEPTH_1U, "G   ", "GRAY"),
            shapeOf(to, to == ZYL_DEPTH_16U ? "RGB " : "G   ", "GRAY"),
            [zero](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                zylBitonalToGray(s, d, zero, 120, TilePoint(tile));
            },
            [=](const Pixel &pixel) {
                return Pixel(to == ZYL_DEPTH_16U ? 3 : 1, pixel[0] != 0 ? 120 : zero);
            }));
    }
}

// ---- gray -------------------------------------------------------------------------

struct Rgb {
    std::int64_t r, g, b;
};

Rgb rgbOf(const std::string &sequence, const Pixel &pixel) {
    if (sequence[0] == 'R') return {pixel[0], pixel[1], pixel[2]};
    return {pixel[2], pixel[1], pixel[0]};
}

Pixel pixelOf(const std::string &sequence, const Rgb &rgb) {
    Pixel pixel = {rgb.r, rgb.g, rgb.b};
    if (sequence[0] != 'R') std::swap(pixel[0], pixel[2]);
    if (sequence[3] != ' ') pixel.resize(sequence[3] == 'X' ? 5 : 4, UNCHANGED);
    return pixel;
}

std::int64_t grayOf(std::uint32_t from, std::uint32_t to, const Rgb &c) {
    if (from == ZYL_DEPTH_32S) {
        if (to == ZYL_DEPTH_1U) {
            return 109 * (c.r >> 10) + 366 * (c.g >> 10) + 37 * (c.b >> 10) > (1 << 29) - 1;
        }
        const std::int64_t sum = 109 * (c.r >> 11) + 366 * (c.g >> 11) + 37 * (c.b >> 11);
        return std::max<std::int64_t>(sum, 0) >> (to == ZYL_DEPTH_8U ? 21 : 13);
    }
    const std::int64_t sum = 54 * c.r + 183 * c.g + 18 * c.b;
    if (to == ZYL_DEPTH_1U) return (sum >> 8) > (from == ZYL_DEPTH_8U ? 127 : 32767);
    return sum >> (bits(from) - bits(to) + 8);
}

void addGray(std::vector<ConvertCase> &cases) {
    for (const std::uint32_t from : {ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
        for (const std::uint32_t to : {ZYL_DEPTH_1U, ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
            for (const std::string sequence : {"RGB ", "BGR ", "BGRA", "RGBA", "BGRX"}) {
                const auto name = std::string("ColorToGray_") + depthName(from) + "_" +
                                  depthName(to) + "_" +
                                  sequence.substr(0, 4 - (sequence[3] == ' '));
                cases.push_back(makeCase(name, "zylColorToGray", shapeOf(from, sequence, "RGB "),
                                         shapeOf(to, "G   ", "GRAY"), zylColorToGray,
                                         [=](const Pixel &pixel) {
                                             return Pixel{grayOf(from, to, rgbOf(sequence, pixel))};
                                         }));
                cases.back().lawful = sequence[0] == 'B' && sequence[3] != 'X';
            }
        }
    }
}

std::int64_t colourOf(std::uint32_t from, std::uint32_t to, float fraction, int channel,
                      bool byDefault, std::int64_t gray) {
    static constexpr std::int64_t WEIGHTS_8[] = {54, 183, 18};
    static constexpr std::int64_t WEIGHTS_16[] = {109, 366, 37};
    static constexpr double WEIGHTS_32[] = {0.212671, 0.715160, 0.072169};
    if (from == ZYL_DEPTH_1U) gray *= 255;
    const double f = static_cast<double>(fraction);
    std::int64_t result = 0;
    if (to == ZYL_DEPTH_8U) {
        const auto weight =
            static_cast<std::uint32_t>(byDefault ? WEIGHTS_8[channel] : std::int64_t(f * 256));
        result = (static_cast<std::uint32_t>(gray) * weight) >> 8;
    } else if (to == ZYL_DEPTH_16U) {
        const auto weight =
            static_cast<std::uint32_t>(byDefault ? WEIGHTS_16[channel] : std::int64_t(f * 32768));
        result = (static_cast<std::uint32_t>(gray) * weight) >> (byDefault ? 9 : 15);
    } else {
        const double value = static_cast<double>(gray) * (byDefault ? WEIGHTS_32[channel] : f);
        return static_cast<std::int64_t>(std::clamp(value, -2147483648.0, 2147483647.0));
    }
    return std::min(result, highest(to));
}

void addGrayToColor(std::vector<ConvertCase> &cases) {
    struct Fractions {
        const char *name;
        float of[3];
        bool zero8, zero16;
    };
    // The last one vanishes in 8 bits only.
    const Fractions all[] = {{"default", {0, 0, 0}, true, true},
                             {"ones", {1, 1, 1}, false, false},
                             {"mixed", {0.3f, 1.75f, 0.11f}, false, false},
                             {"negative", {-0.5f, 0.25f, 1e30f}, false, false},
                             {"tiny", {0.003f, 0.0001f, 0}, true, false}};
    for (const std::uint32_t to : {ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
        for (const std::uint32_t from : {to, ZYL_DEPTH_1U}) {
            if (from == ZYL_DEPTH_1U && to != ZYL_DEPTH_8U) continue;
            for (const Fractions &f : all) {
                const std::string sequence = f.zero16 ? "RGB " : f.zero8 ? "BGRX" : "BGRA";
                const bool byDefault = to == ZYL_DEPTH_8U ? f.zero8 : f.zero16;
                // A weight of 32 bits at most.
                Fractions limited = f;
                if (to != ZYL_DEPTH_32S && f.of[2] > 1e6f) limited.of[2] = 8388607.0f / 32768;
                cases.push_back(makeCase(
                    std::string("GrayToColor_") + depthName(from) + "_" + depthName(to) + "_" +
                        f.name,
                    "zylGrayToColor", shapeOf(from, "G   ", "GRAY"), shapeOf(to, sequence, "RGB "),
                    [limited](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                        zylGrayToColor(s, d, limited.of[0], limited.of[1], limited.of[2], tile);
                    },
                    [=](const Pixel &pixel) {
                        std::int64_t c[3];
                        for (int k = 0; k < 3; ++k) {
                            c[k] = colourOf(from, to, limited.of[k], k, byDefault, pixel[0]);
                        }
                        return pixelOf(sequence, {c[0], c[1], c[2]});
                    }));
                cases.back().lawful = f.of[0] != 1;
            }
        }
    }
}

// ---- hue --------------------------------------------------------------------------

// Samples of a signed depth are taken as they come where the result is defined;
// `fits` keeps the rest within the range.
std::int64_t fits(std::uint32_t depth, double v) {
    return static_cast<std::int64_t>(std::clamp(v, 0.0, static_cast<double>(highest(depth))));
}

std::int64_t hueOf(std::uint32_t depth, const Rgb &c) {
    const std::int64_t high = std::max({c.r, c.g, c.b});
    const auto delta = static_cast<double>(high - std::min({c.r, c.g, c.b}));
    double hue = 0;
    if (c.r == high) {
        hue = 60 * static_cast<double>(c.g - c.b) / delta;
    } else if (c.g == high) {
        hue = 60 * static_cast<double>(c.b - c.r) / delta + 120;
    } else {
        hue = 60 * static_cast<double>(c.r - c.g) / delta + 240;
    }
    if (hue < 0) hue += 360;
    const auto degrees = static_cast<std::int64_t>(hue);
    return depth == ZYL_DEPTH_8U ? degrees / 2 : degrees;
}

Pixel hsvOf(std::uint32_t depth, const Rgb &c) {
    const std::int64_t high = std::max({c.r, c.g, c.b});
    const std::int64_t delta = high - std::min({c.r, c.g, c.b});
    if (high == 0) return {0, 0, 0};
    const double max = static_cast<double>(highest(depth));
    const std::int64_t s =
        depth == ZYL_DEPTH_8U
            ? 255 * delta / high
            : fits(depth, max * static_cast<double>(delta) / static_cast<double>(high));
    return {s == 0 ? 0 : hueOf(depth, c), s, high};
}

Pixel fromSector(std::int64_t sector, std::int64_t v, std::int64_t p, std::int64_t q,
                 std::int64_t t) {
    switch (sector) {
    case 0:
        return {v, t, p};
    case 1:
        return {q, v, p};
    case 2:
        return {p, v, t};
    case 3:
        return {p, q, v};
    case 4:
        return {t, p, v};
    default:
        return {v, p, q};
    }
}

Pixel fromHsv(std::uint32_t depth, const Pixel &hsv) {
    const std::int64_t s = hsv[1];
    const std::int64_t v = hsv[2];
    if (s == 0) return {v, v, v};
    if (depth == ZYL_DEPTH_8U) {
        const std::int64_t sector = 2 * hsv[0] / 60;
        const std::int64_t f = 2 * hsv[0] % 60;
        const std::int64_t k = (v * s) >> 8;
        return fromSector(sector, v, v - k, v - ((k * f * 34) >> 11),
                          v - ((k * (60 - f) * 34) >> 11));
    }
    const double max = static_cast<double>(highest(depth));
    const double h = static_cast<double>(hsv[0] == 360 ? 0 : hsv[0]) * (1.0 / 60);
    const auto sector = static_cast<std::int64_t>(h);
    const double f = h - static_cast<double>(sector);
    const double value = static_cast<double>(v);
    const double saturation = static_cast<double>(s);
    return fromSector(sector, v, fits(depth, value * (max - saturation) / max),
                      fits(depth, value * (max - saturation * f) / max),
                      fits(depth, value * (max - saturation * (1 - f)) / max));
}

Pixel hlsOf(std::uint32_t depth, const Rgb &c) {
    const std::int64_t high = std::max({c.r, c.g, c.b});
    const std::int64_t low = std::min({c.r, c.g, c.b});
    const std::int64_t delta = high - low;
    const std::int64_t sum = high + low;
    if (delta == 0) return {0, sum / 2, 0};
    const double max = static_cast<double>(highest(depth));
    const auto wide = static_cast<double>(sum);
    const double span = wide <= max ? wide : 2 * max - wide;
    return {hueOf(depth, c), sum / 2, fits(depth, max * static_cast<double>(delta) / span)};
}

std::int64_t hlsValue8(std::int64_t h, std::int64_t m1, std::int64_t m2, std::int64_t l) {
    if (h < 60) return m1 + (((m2 - l) * 274 * h) >> 13);
    if (h < 180) return m2;
    if (h >= 240) return m1;
    return m1 + (((m2 - l) * 274 * (240 - h)) >> 13);
}

double hlsValue(double h, double m1, double m2) {
    if (h < 0) {
        h += 360;
    } else if (h > 360) {
        h -= 360;
    }
    if (h < 60) return m1 + (m2 - m1) * h * 0.0166666667;
    if (h < 180) return m2;
    if (h >= 240) return m1;
    return m1 + (m2 - m1) * (240 - h) * 0.0166666667;
}

Pixel fromHls(std::uint32_t depth, const Pixel &hls) {
    const std::int64_t l = hls[1];
    const std::int64_t s = hls[2];
    if (s == 0) return {l, l, l};
    if (depth == ZYL_DEPTH_8U) {
        const std::int64_t h = 2 * hls[0];
        const std::int64_t k = (s * l * 258) >> 16;
        const std::int64_t m2 = l < 128 ? l + k : l + s - k;
        const std::int64_t m1 = 2 * l - m2;
        return {hlsValue8(h >= 241 ? h - 240 : h + 120, m1, m2, l), hlsValue8(h, m1, m2, l),
                hlsValue8(h < 120 ? h + 240 : h - 120, m1, m2, l)};
    }
    const std::int64_t top = highest(depth);
    const double max = static_cast<double>(top);
    const double light = static_cast<double>(l);
    const double saturation = static_cast<double>(s);
    const double m2 = l <= top / 2 ? light * (1 + saturation / max)
                                   : light + saturation - light * saturation / max;
    const double m1 = 2 * light - m2;
    const double h = static_cast<double>(hls[0]);
    return {fits(depth, hlsValue(h + 120, m1, m2)), fits(depth, hlsValue(h, m1, m2)),
            fits(depth, hlsValue(h - 120, m1, m2))};
}

void addModels(std::vector<ConvertCase> &cases) {
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U, ZYL_DEPTH_32S}) {
        const std::string suffix = std::string("_") + depthName(depth);
        for (const std::string sequence : {"RGB ", "BGR ", "BGRA", "BGRX"}) {
            const auto add = [&](const char *name, const char *reported, auto run, auto expected) {
                cases.push_back(
                    makeCase(name + suffix + "_" + sequence.substr(0, 4 - (sequence[3] == ' ')),
                             reported, shapeOf(depth, sequence, "RGB "),
                             shapeOf(depth, sequence, "RGB "), run, [=](const Pixel &pixel) {
                                 Pixel result = expected(depth, rgbOf(sequence, pixel));
                                 result.resize(pixel.size(), UNCHANGED);
                                 return result;
                             }));
                cases.back().lawful = sequence[3] != 'X';
            };
            add("Rgb2Hsv", "zylRGB2HSV", zylRGB2HSV, hsvOf);
            add("Rgb2Hls", "zylRGB2HLS", zylRGB2HLS, hlsOf);
        }
        const auto back = [&](const char *name, const char *reported, const char *model, auto run,
                              auto expected) {
            cases.push_back(makeCase(name + suffix, reported, shapeOf(depth, "RGB ", model),
                                     shapeOf(depth, "RGB ", model), run,
                                     [=](const Pixel &pixel) { return expected(depth, pixel); }));
        };
        back("Hsv2Rgb", "zylHSV2RGB", "HSV ", zylHSV2RGB, fromHsv);
        back("Hls2Rgb", "zylHLS2RGB", "HLS ", zylHLS2RGB, fromHls);
    }
}

// ---- fewer bits, twist ------------------------------------------------------------

void addReductions(std::vector<ConvertCase> &cases) {
    struct Pair {
        std::uint32_t from, to;
        int shift;
        const char *sequence;
    };
    for (const Pair &pair : {Pair{ZYL_DEPTH_32S, ZYL_DEPTH_16U, 15, "RGB "},
                             Pair{ZYL_DEPTH_32S, ZYL_DEPTH_8U, 23, "G   "},
                             Pair{ZYL_DEPTH_16U, ZYL_DEPTH_8U, 8, "BGRA"},
                             Pair{ZYL_DEPTH_8U, ZYL_DEPTH_1U, 7, "G   "}}) {
        cases.push_back(makeCase(
            std::string("ReduceBits_") + depthName(pair.from) + "_" + depthName(pair.to),
            "zylReduceBits", shapeOf(pair.from, pair.sequence, "RGB "),
            shapeOf(pair.to, pair.sequence, "RGB "),
            [](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                zylReduceBits(s, d, 0, 1, 0, tile);
            },
            [shift = pair.shift](const Pixel &pixel) {
                Pixel result;
                for (const std::int64_t v : pixel) {
                    result.push_back(std::max<std::int64_t>(v, 0) >> shift);
                }
                return result;
            }));
    }
}

void addTwists(std::vector<ConvertCase> &cases) {
    struct Matrix {
        const char *name;
        std::array<std::int32_t, 16> data;
        std::int32_t scale, offset;
    };
    const Matrix all[] = {
        {"identity", {128, 0, 0, 0, 0, 128, 0, 0, 0, 0, 128, 0, 9, 9, 9, 9}, 7, 0},
        {"mix", {300, -70, 20, 555, 9, -400, 730, -9999, 33, 44, 55, 66, 1}, 9, -20},
        {"large",
         {INT32_MAX, INT32_MIN, 7, INT32_MIN, -1, 2, -3, INT32_MAX, 1 << 30, 1 << 30, 1 << 30, 1},
         31,
         30},
        {"steep", {1 << 28, -(1 << 28), 999, 77, -5, 1 << 30, 0, 3, 1 << 20, 0, 0, -1}, 14, 2},
        {"limit",
         {0, 0, 0, INT32_MAX - 100, 0, 0, 0, INT32_MAX - 254, 1, 1, 1, INT32_MAX - 1000},
         0,
         200},
        {"bright", {1, 1, 1, 1, 2, 2, 2, 2, -1, -1, 3, 0}, 0, INT32_MIN},
    };
    for (const std::uint32_t depth : {ZYL_DEPTH_8U, ZYL_DEPTH_16U}) {
        for (const Matrix &matrix : all) {
            const char *sequence = matrix.offset == -20 ? "BGRA" : "RGB ";
            ConvertCase c = makeCase(
                std::string("Twist_") + matrix.name + "_" + depthName(depth), "zylApplyColorTwist",
                shapeOf(depth, sequence, "RGB "), shapeOf(depth, sequence, "RGB "),
                [matrix](ZylImage *s, ZylImage *d, const std::int32_t *tile) {
                    ZylColorTwist twist;
                    zylSetColorTwist(&twist, matrix.data.data(), matrix.scale);
                    zylApplyColorTwist(s, d, &twist, matrix.offset, TilePoint(tile));
                },
                [=](const Pixel &pixel) {
                    Pixel result(pixel.size(), UNCHANGED);
                    const std::int64_t top = highest(depth);
                    for (std::size_t i = 0; i < 3; ++i) {
                        std::int64_t sum = matrix.data[4 * i + 3];
                        for (std::size_t k = 0; k < 3; ++k)
                            sum += matrix.data[4 * i + k] * pixel[k];
                        const std::int64_t t = std::clamp<std::int64_t>(
                            sum / (std::int64_t{1} << matrix.scale), 0, top);
                        result[i] = std::clamp<std::int64_t>(t + matrix.offset, 0, top);
                    }
                    return result;
                });
            cases.push_back(c);
        }
    }
}

} // namespace

std::vector<ConvertCase> convertCases() {
    std::vector<ConvertCase> cases;
    addDepths(cases);
    addGray(cases);
    addGrayToColor(cases);
    addModels(cases);
    addReductions(cases);
    addTwists(cases);
    return cases;
}
