#include <memory>
#include <vips/vips.h>

#include "peers.h"

namespace bench {

namespace {

using Image = std::shared_ptr<VipsImage>;

void unref(VipsImage *image) {
    g_object_unref(image);
}

// One thread, and nothing kept, or it hands out the first result again.
void start() {
    static const bool started = [] {
        if (VIPS_INIT("versus") != 0) vips_error_exit(nullptr);
        vips_concurrency_set(1);
        vips_cache_set_max(0);
        return true;
    }();
    static_cast<void>(started);
}

// On the picture's own samples, which must outlive it. Rows must have no padding.
Image imageOf(const Row &row, const PicturePointer &p) {
    const VipsBandFormat format =
        row.depth == ZYL_DEPTH_8U ? VIPS_FORMAT_UCHAR : VIPS_FORMAT_USHORT;
    return {vips_image_new_from_memory(p->data(), static_cast<std::size_t>(p->bytes()), p->width(),
                                       p->height(), p->channels(), format),
            [p](VipsImage *image) { unref(image); }};
}

// Computes all pixels of an image that an operation has promised, and drops it
// and them: what a program that wants the result in memory has to do.
void compute(VipsImage *image) {
    std::size_t bytes = 0;
    g_free(vips_image_write_to_memory(image, &bytes));
    unref(image);
}

struct Boolean {
    const char *name;
    VipsOperationBoolean operation;
};
const Boolean BOOLEANS[] = {{"and", VIPS_OPERATION_BOOLEAN_AND},
                            {"or", VIPS_OPERATION_BOOLEAN_OR},
                            {"xor", VIPS_OPERATION_BOOLEAN_EOR}};

std::function<void()> boolean(VipsOperationBoolean operation, const Image &a, const Image &b) {
    return [=] {
        VipsImage *out = nullptr;
        vips_boolean(a.get(), b.get(), &out, operation, nullptr);
        compute(out);
    };
}

Image matrix(int width, int height, const std::vector<double> &values, double scale) {
    VipsImage *image = vips_image_new_matrix_from_array(width, height, values.data(),
                                                        static_cast<int>(values.size()));
    vips_image_set_double(image, "scale", scale);
    return {image, unref};
}

std::function<void()> convolution(const Image &in, const Image &kernel, bool separable) {
    return [=] {
        VipsImage *out = nullptr;
        const auto call = separable ? vips_convsep : vips_conv;
        if (call(in.get(), &out, kernel.get(), "precision", VIPS_PRECISION_INTEGER, nullptr) == 0) {
            compute(out);
        }
    };
}

std::function<void()> lookUp(const Image &in) {
    const auto bytes = std::make_shared<std::vector<unsigned char>>();
    for (int v = 0; v < 256; ++v) bytes->push_back(static_cast<unsigned char>(255 - v));
    const Image table = {
        vips_image_new_from_memory(bytes->data(), bytes->size(), 256, 1, 1, VIPS_FORMAT_UCHAR),
        unref};
    return [in, table, bytes] {
        VipsImage *out = nullptr;
        vips_maplut(in.get(), &out, table.get(), nullptr);
        compute(out);
    };
}

} // namespace

std::function<void()> vipsCall(const Row &row, const Pictures &pictures) {
    if (row.depth != ZYL_DEPTH_8U && row.depth != ZYL_DEPTH_16U) return {};
    start();
    const std::vector<double> gauss = {1, 4, 6, 4, 1};
    const Image in = imageOf(row, pictures.front());
    if (const Boolean *entry = find(BOOLEANS, row.name)) {
        return boolean(entry->operation, in, imageOf(row, pictures[1]));
    }
    if (row.name == "convolve-2d 3x3") {
        return convolution(in, matrix(3, 3, {1, 2, 1, 2, 4, 2, 1, 2, 1}, 16), false);
    }
    if (row.name == "convolve-2d 5x5") {
        std::vector<double> values;
        for (const double a : gauss) {
            for (const double b : gauss) values.push_back(a * b);
        }
        return convolution(in, matrix(5, 5, values, 256), false);
    }
    if (row.name == "convolve-sep-2d 5+5") return convolution(in, matrix(5, 1, gauss, 16), true);
    if (row.name == "contrast-stretch" && row.depth == ZYL_DEPTH_8U) return lookUp(in);
    return {};
}

} // namespace bench
