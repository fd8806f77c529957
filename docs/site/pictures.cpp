// Makes the pictures that the reference starts from, and that of the page on borders, as
// PPM files: pictures FOLDER. `scene` stands for a photograph: a lake below mountains.
#include <zylqx.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int width = 360, height = 240, shore = 150;

struct Color {
    double r, g, b;
};

Color mix(Color a, Color b, double part) {
    part = std::clamp(part, 0.0, 1.0);
    return {a.r + (b.r - a.r) * part, a.g + (b.g - a.g) * part, a.b + (b.b - a.b) * part};
}

// A number of 0 to 1 for each point of a grid, without a pattern that one sees.
double hash(int x, int y) {
    auto n =
        static_cast<std::uint32_t>(x) * 374761393U + static_cast<std::uint32_t>(y) * 668265263U;
    n = (n ^ (n >> 13)) * 1274126177U;
    return ((n ^ (n >> 16)) & 0xFFFFFF) / double(0xFFFFFF);
}

// Smooth between the points of the grid.
double noise(double x, double y) {
    const int column = static_cast<int>(std::floor(x)), row = static_cast<int>(std::floor(y));
    const auto ease = [](double t) { return t * t * (3 - 2 * t); };
    const double u = ease(x - column), v = ease(y - row);
    const double top = std::lerp(hash(column, row), hash(column + 1, row), u);
    const double bottom = std::lerp(hash(column, row + 1), hash(column + 1, row + 1), u);
    return std::lerp(top, bottom, v);
}

// Noise of several scales, each half as large and half as strong.
double fractal(double x, double y, int scales) {
    double sum = 0, strength = 0.5;
    for (int i = 0; i < scales; ++i, x = x * 2 + 17, y = y * 2 + 31, strength /= 2)
        sum += strength * noise(x, y);
    return sum;
}

Color sky(double x, double y) {
    const double far = y / shore;
    Color color = mix({0.25, 0.45, 0.75}, {0.98, 0.82, 0.62}, far * far);
    const double sun = std::hypot(x - 262, y - 62);
    color = mix(color, {1, 0.93, 0.75}, std::exp(-sun / 26));
    if (sun < 13) return {1, 0.98, 0.9};
    const double cloud = fractal(x / 70, y / 22, 5) - 0.5;
    return mix(color, {1, 0.95, 0.92}, cloud * 3.2 * far);
}

// The height of a ridge, in pixels above the shore.
double ridge(double x, int which) {
    static const double tall[] = {105, 72, 30}, wide[] = {95, 62, 38};
    const double peak = std::abs(fractal(x / wide[which] + which * 9.7, which * 3.1, 6) - 0.5);
    return tall[which] * (1 - peak * 2.2) - (which == 0 ? 12 : 6);
}

Color ground(double x, double y) {
    static const Color rocks[] = {{0.42, 0.46, 0.58}, {0.28, 0.34, 0.38}, {0.12, 0.2, 0.14}};
    Color color = sky(x, y);
    for (int i = 0; i < 3; ++i) {
        const double above = y - (shore - ridge(x, i));
        if (above < 0) continue;
        // Light comes from the upper right.
        const auto relief = [&](double dx, double dy) {
            return fractal((x + dx) / 17 + 5 * i, (y + dy) / 12 + 40 * i, 5);
        };
        const double slope = relief(1.5, -1.5) - relief(-1.5, 1.5);
        const double grain = fractal(x / 5, y / 5 + 40 * i, 4) - 0.5;
        const double light = 0.82 + slope * (i == 2 ? 1.0 : 2.6) + grain * 0.5;
        Color rock = rocks[i];
        const bool snow = i == 0 && above < 30 + 70 * grain + slope * 60;
        if (snow) rock = {0.93, 0.95, 0.98};
        rock = {rock.r * light, rock.g * light, rock.b * light};
        color = mix(rock, {0.86, 0.78, 0.72}, 0.28 - 0.14 * i);
    }
    return color;
}

Color scene(int x, int y) {
    if (y < shore) return ground(x, y);
    // Water mirrors what is above, in waves that grow towards the viewer.
    const double depth = y - shore;
    const double wave = (fractal(x / (6 + depth / 5), y / 1.7, 3) - 0.45) * (2 + depth * 0.3);
    const double from = shore - 1 - depth * 1.3 + wave;
    Color color = ground(x + wave, std::clamp(from, 0.0, shore - 1.0));
    color = mix(color, {0.1, 0.2, 0.28}, 0.25 + depth / 260);
    const double glitter = noise(x / 3.0, y * 1.3);
    if (std::abs(x - 262) < 8 + depth / 3 && glitter > 0.72) color = mix(color, {1, 0.9, 0.7}, 0.7);
    // Reeds at the left.
    for (int i = 0; i < 26; ++i) {
        const double foot = 4 + 110 * hash(i, 1), tip = 40 + 62 * hash(i, 2) * (1 - foot / 150);
        const double lean = (hash(i, 3) - 0.4) * 24, up = (height - y) / tip;
        if (up < 1 && std::abs(x - foot - lean * up * up) < 1.7 * (1 - up) + 0.4)
            return {0.09, 0.13, 0.06};
    }
    return color;
}

std::uint8_t sample(double unit) {
    return static_cast<std::uint8_t>(std::lround(std::clamp(unit, 0.0, 1.0) * 255));
}

template <class Paint>
zyl::Image painted(int columns, int rows, Paint paint) {
    zyl::Image image(columns, rows, 3);
    for (int y = 0; y < rows; ++y) {
        auto to = image.samples<std::uint8_t>(y).begin();
        for (int x = 0; x < columns; ++x) {
            const Color color = paint(x, y);
            for (const double channel : {color.r, color.g, color.b}) *to++ = sample(channel);
        }
    }
    return image;
}

// A disc with a soft edge, and its alpha beside it.
double disc(int x, int y) {
    return std::clamp((84 - std::hypot(x - width / 2.0, y - height / 2.0)) / 24, 0.0, 1.0);
}

// Moves the middle of a picture apart, so that what lies outside is seen around it: a kernel
// of one cell, far from its anchor, reads over the edge.
zyl::Image around(const zyl::Image &picture, zyl::Border mode) {
    constexpr int margin = 40;
    const zyl::Shape size =
        zyl::makeShape(picture.width() + 2 * margin, picture.height() + 2 * margin, 3);
    zyl::Image small = zyl::copy(picture), result(size);
    small.setBorder(mode, 128);
    for (int row = -1; row <= 1; ++row) {
        for (int column = -1; column <= 1; ++column) {
            // The cell reads a pixel that is `margin` columns and rows away.
            std::vector<std::int8_t> cells(2 * margin + 1);
            cells[margin + margin * column] = 1;
            zyl::Kernel across(1, 2 * margin + 1, cells);
            std::ranges::fill(cells, std::int8_t{0});
            cells[margin + margin * row] = 1;
            zyl::Kernel down(2 * margin + 1, 1, cells);
            const zyl::Image moved = zyl::convolveSep2d(small, across, down);
            zyl::copy(moved, result.part({margin + margin * column, margin + margin * row,
                                          picture.width(), picture.height()}));
        }
    }
    return result;
}

// A bitmap of 16 colours: its header, its table and its rows.
std::vector<unsigned char> bitmapOf(const zyl::Image &picture) {
    const ZylBitmapInfoHeader head = {40, width, height, 1, 4, 0, 0, 0, 0, 0, 0};
    std::vector<unsigned char> bitmap(sizeof head + std::size_t{16} * 4 +
                                      std::size_t{(width + 7) / 8 * 4} * height);
    std::memcpy(bitmap.data(), &head, sizeof head);
    zyl::convertToDib(picture, bitmap.data(), zyl::BitmapDither::none, zyl::Palette::medianCut);
    return bitmap;
}

// Red, green and blue of each pixel, the top row first, of planes of 8 bits in any order.
zyl::Image upright(const zyl::ConstImage &planes) {
    zyl::Image rgb(planes.width(), planes.height(), 3);
    const zyl::Shape shape = planes.shape();
    for (int y = 0; y < shape.height; ++y) {
        const int from = shape.origin == ZYL_ORIGIN_TL ? y : shape.height - 1 - y;
        for (std::size_t c = 0; c < 3; ++c) {
            const std::size_t plane = shape.color() ? shape.sequence.find("RGB"[c]) : 0;
            for (std::size_t x = 0; x < static_cast<std::size_t>(shape.width); ++x)
                rgb.samples<std::uint8_t>(y)[3 * x + c] =
                    planes.samples<std::uint8_t>(from, static_cast<int>(plane))[x];
        }
    }
    return rgb;
}

void write(const std::string &folder, const char *name, const zyl::Image &image) {
    const std::string path = folder + "/" + name + ".ppm";
    std::FILE *file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) throw std::runtime_error(path + " cannot be written");
    std::fprintf(file, "P6 %d %d 255\n", image.width(), image.height());
    for (int y = 0; y < image.height(); ++y)
        std::fwrite(image.row(y), 3, static_cast<std::size_t>(image.width()), file);
    if (std::fclose(file) != 0) throw std::runtime_error(path + " cannot be written");
}

} // namespace

int main(int, char **arguments) {
    const std::string folder = arguments[1];
    const zyl::Image photo = painted(width, height, scene);
    write(folder, "scene", photo);
    write(folder, "disc", painted(width, height, [](int x, int y) {
              return mix({0, 0, 0}, {0.95, 0.35, 0.15}, disc(x, y));
          }));
    write(folder, "mask", painted(width, height, [](int x, int y) {
              return Color{disc(x, y), disc(x, y), disc(x, y)};
          }));
    write(folder, "ramp", painted(width, height, [](int x, int) {
              const double gray = x / (width - 1.0);
              return Color{gray, gray, gray};
          }));
    const std::vector<unsigned char> bitmap = bitmapOf(photo);
    write(folder, "translate-dib", upright(zyl::translateDib(bitmap.data())));
    zyl::Image gray(width, height);
    zyl::convertFromDib(bitmap.data(), gray);
    write(folder, "convert-from-dib", upright(gray));
    const zyl::Image cut = zyl::copy(photo.part({205, 40, 80, 80}));
    zyl::Image borders(4 * 170 - 10, 160, 3);
    zyl::set(borders, 255);
    for (int mode = 0; mode < 4; ++mode) {
        zyl::Image tile = around(cut, static_cast<zyl::Border>(mode));
        for (const zyl::Rect &edge :
             {zyl::Rect{39, 39, 82, 1}, {39, 120, 82, 1}, {39, 39, 1, 82}, {120, 39, 1, 82}})
            zyl::set(tile.part(edge), 255);
        zyl::copy(tile, borders.part({mode * 170, 0, 160, 160}));
    }
    write(folder, "borders", borders);
}
