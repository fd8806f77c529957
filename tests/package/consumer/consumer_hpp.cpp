// A user's program in C++20: a median through zylqx.hpp, and what a wrong call throws.
#include <zylqx.hpp>

int main() {
    zyl::Image image(7, 5, 3);
    zyl::addS(image, image, 40);
    try {
        zyl::medianFilter(image, image, 3, 3, 5, 1); // its anchor is outside
    } catch (const zyl::Error &error) {
        return error.function() == "zylMedianFilter" && image.row(4)[20] == 40 ? 0 : 1;
    }
    return 1;
}
