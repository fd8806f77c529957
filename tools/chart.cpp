#include "chart.h"

#include "font.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace tool {

namespace {

constexpr double pi = std::numbers::pi;
constexpr Color paper = {236, 232, 222};
constexpr Color ink = {24, 26, 32};

unsigned char toSample(double unit) {
    return static_cast<unsigned char>(std::lround(std::clamp(unit, 0.0, 1.0) * 255));
}

Color gray(double unit) {
    return {toSample(unit), toSample(unit), toSample(unit)};
}

// A full turn of `hue` is 1.
Color hueColor(double hue, double saturation, double value) {
    auto channel = [&](double offset) {
        double distance = std::abs(std::remainder(hue + offset, 1.0)) * 6; // 0 at the primary
        double strength = std::clamp(2 - distance, 0.0, 1.0);
        return toSample(value * (1 - saturation * (1 - strength)));
    };
    return {channel(0), channel(-1.0 / 3), channel(1.0 / 3)};
}

// Calls paint(column, row) for every pixel of a rectangle and stores the colour.
template <class Paint>
void paintRectangle(Image &image, int x, int y, int width, int height, Paint paint) {
    for (int row = 0; row < height; ++row) {
        for (int column = 0; column < width; ++column)
            fillRectangle(image, x + column, y + row, 1, 1, paint(column, row));
    }
}

// Ramps from black to white, smooth above and in 16 steps below, then all hues.
void drawRamps(Image &image, int x, int y, int width) {
    paintRectangle(image, x, y, width, 24, [&](int c, int) { return gray(c / (width - 1.0)); });
    paintRectangle(image, x, y + 24, width, 24, [&](int c, int) {
        const int step = c * 16 / width;
        return gray(step / 15.0);
    });
    paintRectangle(image, x, y + 56, width, 40, [&](int c, int r) {
        return hueColor(c / double(width), std::min(1.0, r / 20.0), std::min(1.0, (40 - r) / 20.0));
    });
}

// The full primaries and secondaries, black and white.
void drawPatches(Image &image, int x, int y) {
    for (int i = 0; i < 8; ++i) {
        Color color = {toSample(i >> 2 & 1), toSample(i >> 1 & 1), toSample(i & 1)};
        fillRectangle(image, x + i % 4 * 36, y + i / 4 * 36, 36, 36, color);
    }
}

// Rings that become finer outwards, to two pixels a ring at the rim.
void drawZonePlate(Image &image, int x, int y, int size) {
    double centre = (size - 1) / 2.0;
    paintRectangle(image, x, y, size, size, [&](int c, int r) {
        double radius = std::hypot(c - centre, r - centre);
        if (radius > centre) return paper;
        return gray(0.5 + 0.5 * std::cos(pi * radius * radius / size));
    });
}

// Upright and level lines of 1 to 5 pixels.
void drawLines(Image &image, int x, int y) {
    for (int thickness = 1; thickness <= 5; ++thickness) {
        auto line = [&](int at) { return at / thickness % 2 ? paper : ink; };
        int left = x + (thickness - 1) * 44;
        paintRectangle(image, left, y, 40, 30, [&](int c, int) { return line(c); });
        paintRectangle(image, left, y + 34, 40, 30, [&](int, int r) { return line(r); });
    }
}

// Thirty-two spokes that meet in the middle.
void drawStar(Image &image, int x, int y, int size) {
    double centre = (size - 1) / 2.0;
    paintRectangle(image, x, y, size, size, [&](int c, int r) {
        double angle = std::atan2(r - centre, c - centre);
        bool inside = std::hypot(c - centre, r - centre) < centre;
        return inside && std::sin(angle * 16) > 0 ? ink : paper;
    });
}

// A lit ball over a floor with its shadow.
void drawBall(Image &image, int x, int y, int width, int height) {
    double radius = height * 0.36, middleX = width * 0.46, middleY = height * 0.46;
    paintRectangle(image, x, y, width, height, [&](int c, int r) -> Color {
        double dx = (c - middleX) / radius, dy = (r - middleY) / radius;
        double inside = 1 - dx * dx - dy * dy;
        if (inside > 0) {
            double light = -0.45 * dx - 0.6 * dy + 0.66 * std::sqrt(inside);
            double shine = std::pow(std::max(light, 0.0), 40) * 0.7;
            double lit = 0.12 + 0.8 * std::max(light, 0.0);
            return {toSample(lit * 0.95 + shine), toSample(lit * 0.42 + shine),
                    toSample(lit * 0.16 + shine)};
        }
        double floor = double(r) / height;
        double shadowX = (c - middleX - radius * 0.5) / (radius * 1.3);
        double shadowY = (r - middleY - radius * 0.95) / (radius * 0.3);
        double shadow = std::exp(-(shadowX * shadowX + shadowY * shadowY) * 1.4);
        double base = (0.35 + 0.5 * floor) * (1 - 0.65 * shadow);
        return {toSample(base * 0.8), toSample(base * 0.95), toSample(base * 1.1)};
    });
}

// A bright square turned by 10 degrees, its edges without smoothing.
void drawSlantedSquare(Image &image, int x, int y, int size) {
    double centre = (size - 1) / 2.0, cosine = std::cos(pi / 18), sine = std::sin(pi / 18);
    paintRectangle(image, x, y, size, size, [&](int c, int r) {
        double u = (c - centre) * cosine + (r - centre) * sine;
        double v = (r - centre) * cosine - (c - centre) * sine;
        return std::max(std::abs(u), std::abs(v)) < size * 0.34 ? Color{250, 250, 250} : gray(0.3);
    });
}

void drawLetters(Image &image, int x, int y) {
    drawText(image, x, y, 4, ink, "zylqx");
    drawText(image, x, y + 36, 2, ink, "0123456789");
    drawText(image, x + 160, y + 8, 1, ink, "the five boxing wizards");
    drawText(image, x + 160, y + 20, 1, {190, 30, 30}, "jump quickly: x/y = 2.5");
}

} // namespace

Image drawChart() {
    Image image(makeShape(chartWidth, chartHeight, 3, ZYL_DEPTH_8U));
    fillRectangle(image, 0, 0, chartWidth, chartHeight, paper);
    drawRamps(image, 16, 16, 608);
    drawZonePlate(image, 16, 128, 200);
    drawBall(image, 232, 128, 392, 200);
    drawPatches(image, 16, 344);
    drawLetters(image, 16, 424);
    drawLines(image, 176, 344);
    drawSlantedSquare(image, 408, 344, 120);
    drawStar(image, 536, 344, 88);
    return image;
}

} // namespace tool
