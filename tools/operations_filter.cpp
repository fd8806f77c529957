// Convolution, blur, rank filters and morphology.
#include "operations.h"

#include "text.h"

#include <cctype>
#include <memory>
#include <sstream>

namespace tool {

namespace {

// What lies outside the picture.
struct Border {
    int mode;
    int value;
};

const Parameter border =
    text("border", "replicate",
         "what lies outside: replicate, reflect, wrap, constant or constant:VALUE");

Border parseBorder(const Step &step) {
    const std::string &words = step.text("border");
    if (words == "replicate") return {ZYL_BORDER_REPLICATE, 0};
    if (words == "reflect") return {ZYL_BORDER_REFLECT, 0};
    if (words == "wrap") return {ZYL_BORDER_WRAP, 0};
    if (words == "constant") return {ZYL_BORDER_CONSTANT, 0};
    std::istringstream rest(words);
    std::string name;
    int value = 0;
    std::getline(rest, name, ':');
    if (name != "constant" || !(rest >> value) || !rest.eof()) {
        step.refuse("border must be replicate, reflect, wrap, constant or constant:VALUE, not \"" +
                    words + "\"");
    }
    return {ZYL_BORDER_CONSTANT, value};
}

void setBorder(const Step &step, ZylImage *image) {
    const Border parsed = parseBorder(step);
    zylSetBorderMode(image, parsed.mode, ZYL_SIDE_ALL, parsed.value);
}

ZylImage *bordered(const Step &step) {
    setBorder(step, step.source());
    return step.source();
}

// Rows of coefficients.
struct Matrix {
    int rows = 0;
    int columns = 0;
    std::vector<std::int8_t> values;
};

// Numbers between blanks, rows between slashes.
Matrix parseMatrix(const Step &step, const std::string &words, const char *parameter) {
    const auto refuse = [&] {
        step.refuse(std::string(parameter) +
                    " must be rows of coefficients between -128 and 127, " +
                    "as in \"1 2 1/2 4 2/1 2 1\", not \"" + words + "\"");
    };
    Matrix matrix;
    std::istringstream all(words);
    std::string line;
    while (std::getline(all, line, '/')) {
        std::istringstream row(line);
        int columns = 0;
        for (std::string word; row >> word; ++columns) {
            std::size_t used = 0;
            int value = 1000;
            try {
                value = std::stoi(word, &used);
            } catch (const std::exception &) {
                refuse();
            }
            if (used != word.size() || value < -128 || value > 127) refuse();
            matrix.values.push_back(static_cast<std::int8_t>(value));
        }
        if (columns == 0 || (matrix.rows > 0 && columns != matrix.columns)) refuse();
        matrix.columns = columns;
        ++matrix.rows;
    }
    if (matrix.rows == 0 || words.back() == '/') refuse();
    return matrix;
}

struct DeleteKernel {
    void operator()(ZylConvKernel *kernel) const { zylDeleteConvKernel(kernel); }
};
using Kernel = std::unique_ptr<ZylConvKernel, DeleteKernel>;

// The anchor is the middle cell.
Kernel makeKernel(const Matrix &matrix, std::int64_t shift) {
    return Kernel(zylCreateConvKernel(matrix.rows, matrix.columns, matrix.columns / 2,
                                      matrix.rows / 2, matrix.values.data(),
                                      static_cast<int>(shift)));
}

struct NamedKernel {
    std::string_view name;
    const char *matrix;
    int shift;
};
const NamedKernel KERNELS[] = {
    {"sharpen", "-1 -1 -1/-1 12 -1/-1 -1 -1", 2},
    {"gauss", "1 4 6 4 1/4 16 24 16 4/6 24 36 24 6/4 16 24 16 4/1 4 6 4 1", 8},
    {"laplace", "0 -1 0/-1 4 -1/0 -1 0", 0},
    {"emboss", "-2 -1 0/-1 1 1/0 1 2", 0},
    {"sobel-x", "-1 0 1/-2 0 2/-1 0 1", 0},
    {"sobel-y", "-1 -2 -1/0 0 0/1 2 1", 0},
};

void convolve(Step &s) {
    const std::string &words = s.text("kernel");
    std::int64_t shift = s.integer("shift");
    Matrix matrix;
    for (const NamedKernel &named : KERNELS) {
        if (named.name != words) continue;
        matrix = parseMatrix(s, named.matrix, "kernel");
        if (!s.given("shift")) shift = named.shift;
    }
    if (matrix.rows == 0) matrix = parseMatrix(s, words, "kernel");
    const Kernel kernel = makeKernel(matrix, shift);
    ZylConvKernel *const kernels[] = {kernel.get()};
    zylConvolve2D(bordered(s), s.result(), kernels, 1, ZYL_SUM, nullptr);
}

void convolveSep(Step &s) {
    Matrix across = parseMatrix(s, s.text("across"), "across");
    Matrix down = parseMatrix(s, s.text("down"), "down");
    if (across.rows != 1 || down.rows != 1) s.refuse("across and down must be one row each");
    std::swap(down.rows, down.columns);
    const Kernel x = makeKernel(across, s.integer("shift"));
    const Kernel y = makeKernel(down, 0);
    zylConvolveSep2D(bordered(s), s.result(), x.get(), y.get());
}

constexpr double LARGEST_BOX = 65535;

std::vector<Parameter> box() {
    return {integer("rows", "3", "the height of the box", 1, LARGEST_BOX),
            integer("cols", "3", "the width of the box", 1, LARGEST_BOX), border};
}

using BoxFilter = void (*)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                           std::int32_t, const ZylTileMapping *);

template <BoxFilter filter>
void runBox(Step &s) {
    const auto rows = static_cast<std::int32_t>(s.integer("rows"));
    const auto columns = static_cast<std::int32_t>(s.integer("cols"));
    filter(bordered(s), s.result(), rows, columns, columns / 2, rows / 2, nullptr);
}

std::vector<Parameter> iterations() {
    return {integer("iterations", "1", "how often", 1, std::numeric_limits<std::int32_t>::max()),
            border};
}

using Morphology = void (*)(ZylImage *, ZylImage *, std::int32_t, const ZylTileMapping *);

// Passes after the first look outside the result.
template <Morphology operation>
void runMorphology(Step &s) {
    ZylImage *source = bordered(s);
    ZylImage *result = s.result();
    setBorder(s, result);
    operation(source, result, static_cast<std::int32_t>(s.integer("iterations")), nullptr);
}

} // namespace

std::span<const Operation> filterOperations() {
    static const std::vector<Operation> table = {
        {"convolve-2d",
         "multiplies the pixels around each one by a kernel and adds them up",
         {text("kernel", required,
               "sharpen, gauss, laplace, emboss, sobel-x, sobel-y, or rows of coefficients as in "
               "1 2 1/2 4 2/1 2 1"),
          integer("shift", "0", "how many bits the sum is shifted right", 0, 31), border},
         convolve,
         regional},
        {"convolve-sep-2d",
         "convolves with a column and a row of coefficients",
         {text("across", "1 4 6 4 1", "the coefficients along a row"),
          text("down", "1 4 6 4 1", "the coefficients down a column"),
          integer("shift", "8", "how many bits the sum is shifted right", 0, 31), border},
         convolveSep,
         regional},
        {"blur", "takes the mean of a box", box(), runBox<zylBlur>, regional},
        {"median-filter", "takes the middle value of a box", box(), runBox<zylMedianFilter>,
         regional},
        {"max-filter", "takes the largest value of a box", box(), runBox<zylMaxFilter>, regional},
        {"min-filter", "takes the smallest value of a box", box(), runBox<zylMinFilter>, regional},
        {"erode", "shrinks what is bright by a pixel", iterations(), runMorphology<zylErode>,
         regional},
        {"dilate", "grows what is bright by a pixel", iterations(), runMorphology<zylDilate>,
         regional},
        {"open", "removes small bright spots", iterations(), runMorphology<zylOpen>, regional},
        {"close", "removes small dark spots", iterations(), runMorphology<zylClose>, regional},
    };
    return table;
}

} // namespace tool
