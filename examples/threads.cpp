// One picture, worked on by several threads: each makes some rows of the result.
#include <zylqx.hpp>

#include <cstdio>
#include <thread>
#include <vector>

int main() {
    zyl::Image picture(600, 400, 3), result(600, 400, 3), whole(600, 400, 3);
    for (int y = 0; y < picture.height(); ++y) {
        unsigned value = static_cast<unsigned>(y) * 7;
        for (std::uint8_t &sample : picture.samples<std::uint8_t>(y))
            sample = static_cast<std::uint8_t>(value = value * 31 + 11);
    }

    constexpr int threads = 4, rows = 100;
    std::vector<std::thread> workers;
    for (int i = 0; i < threads; ++i) {
        workers.emplace_back([&picture, &result, i] {
            // A header of its own for each thread, over the same pixels. What lies around the
            // part is read from the picture, so no seam is left.
            const zyl::Rect part = {0, i * rows, 600, rows};
            zyl::medianFilter(picture.part(part), result.part(part), 9, 9);
        });
    }
    for (std::thread &worker : workers) worker.join();

    zyl::medianFilter(picture, whole, 9, 9);
    std::printf("difference from one thread: %.0f\n", zyl::norm(result, whole));
}
