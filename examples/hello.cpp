// The C++ header: images, results, failures, and pixels that stand elsewhere.
#include <zylqx.hpp>

#include <cstdio>
#include <vector>

int main() {
    // An image owns its pixels; a row of samples is a span.
    zyl::Image ramp(8, 4);
    for (int y = 0; y < ramp.height(); ++y)
        for (std::size_t x = 0; x < 8; ++x)
            ramp.samples<std::uint8_t>(y)[x] = static_cast<std::uint8_t>(10 * x);

    // An operation makes its result, or writes into an image that exists.
    ramp.setBorder(zyl::Border::replicate);
    zyl::Image soft = zyl::blur(ramp, 3, 3);
    zyl::addS(soft, soft, 100);
    std::printf("%d %d\n", soft.samples<std::uint8_t>(0)[0], soft.samples<std::uint8_t>(0)[7]);

    // A view works on samples that stand elsewhere, a part on some of them.
    std::vector<std::uint16_t> counts(8 * 4, 1000);
    zyl::Image view = zyl::Image::view(std::span(counts), zyl::makeShape(8, 4, 1, ZYL_DEPTH_16U));
    zyl::Image left = view.part({0, 0, 4, 4});
    zyl::multiplyS(left, left, 100);
    std::printf("%d %d\n", counts[0], counts[7]);

    // Failures are exceptions, or a status.
    try {
        zyl::add(ramp, view, soft);
    } catch (const zyl::Error &error) {
        std::printf("%s\n", error.what());
    }
    std::printf("status %d\n", zyl::status::add(ramp, view, soft));

    // Tiles come from a callable: a picture of 10^10 pixels, of which 64 x 64 are made.
    const zyl::Image huge =
        zyl::Image::tiled(zyl::makeShape(100000, 100000), {64, 64}, [](const zyl::Tile &tile) {
            for (int y = 0; y < tile.place.height; ++y)
                for (int x = 0; x < tile.place.width; ++x)
                    tile.samples<std::uint8_t>(y)[x] =
                        static_cast<std::uint8_t>((tile.place.x + x) ^ (tile.place.y + y));
        });
    const zyl::Image window = zyl::medianFilter(huge.part({50000, 70000, 64, 64}), 5, 5);
    std::printf("%d x %d, first sample %d\n", window.width(), window.height(),
                window.samples<std::uint8_t>(0)[0]);
}
