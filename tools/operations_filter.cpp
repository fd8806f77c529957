// Convolution, blur, rank filters and morphology.
#include "operations.h"

#include "text.h"

#include <algorithm>
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
        step.misuse("border must be replicate, reflect, wrap, constant or constant:VALUE, not \"" +
                    words + "\"");
    }
    return {ZYL_BORDER_CONSTANT, value};
}

void setBorder(ZylImage *image, const Border &outside) {
    zylSetBorderMode(image, outside.mode, ZYL_SIDE_ALL, outside.value);
}

using Images = std::vector<ZylImage *>;

// Borders that wrap look at the other side of the picture.
Plan lookingOutside(const Border &outside) {
    Plan plan;
    if (outside.mode == ZYL_BORDER_WRAP) plan.need = Need::anywhere;
    return plan;
}

// A filter of the picture with what lies outside set.
template <class Function>
void filter(Step &step, Function function) {
    const Border outside = parseBorder(step);
    step.thenOnRegion(
        [function, outside](const Images &from, ZylImage *to) {
            setBorder(from[0], outside);
            function(from[0], to);
        },
        {}, lookingOutside(outside));
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
        step.misuse(std::string(parameter) +
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
using Kernel = std::shared_ptr<ZylConvKernel>;

// The anchor is the middle cell.
Kernel makeKernel(const Matrix &matrix, std::int64_t shift) {
    Kernel kernel(zylCreateConvKernel(matrix.rows, matrix.columns, matrix.columns / 2,
                                      matrix.rows / 2, matrix.values.data(),
                                      static_cast<int>(shift)),
                  DeleteKernel());
    if (!kernel) throw std::bad_alloc();
    return kernel;
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

// The length of the gradient, from both slopes. So that the squares of 16-bit samples
// fit, slopes are a 16th there, and the length is multiplied afterwards.
void convolveSobel(Step &s) {
    const bool wide = s.shape().depth == ZYL_DEPTH_16U;
    const int shift = wide ? 4 : 0;
    const auto named = [&](std::string_view name) {
        const auto *found = std::find_if(std::begin(KERNELS), std::end(KERNELS),
                                         [&](const NamedKernel &k) { return k.name == name; });
        return makeKernel(parseMatrix(s, found->matrix, "kernel"), shift);
    };
    filter(s, [x = named("sobel-x"), y = named("sobel-y"), shift](ZylImage *from, ZylImage *to) {
        ZylConvKernel *const kernels[] = {x.get(), y.get()};
        if (from->alphaChannel) zylCopy(from, to, nullptr);
        zylConvolve2D(from, to, kernels, 2, ZYL_SUMSQROOT, nullptr);
        if (!shift) return;
        for (int channel = 1; channel <= to->nChannels - (to->alphaChannel != 0); ++channel) {
            ZylROI region = *to->roi;
            if (region.coi == 0) region.coi = channel;
            if (to->roi->coi && channel > 1) break;
            const Region one(to, region);
            zylMultiplyS(to, to, 1 << shift, nullptr);
        }
    });
}

void convolve(Step &s) {
    const std::string &words = s.text("kernel");
    if (words == "sobel") return convolveSobel(s);
    std::int64_t shift = s.integer("shift");
    Matrix matrix;
    for (const NamedKernel &named : KERNELS) {
        if (named.name != words) continue;
        matrix = parseMatrix(s, named.matrix, "kernel");
        if (!s.given("shift")) shift = named.shift;
    }
    if (matrix.rows == 0) matrix = parseMatrix(s, words, "kernel");
    const Kernel kernel = makeKernel(matrix, shift);
    // The library leaves an alpha channel alone.
    const bool alpha = s.shape().alpha != 0;
    filter(s, [kernel, alpha](ZylImage *from, ZylImage *to) {
        ZylConvKernel *const kernels[] = {kernel.get()};
        if (alpha) zylCopy(from, to, nullptr);
        zylConvolve2D(from, to, kernels, 1, ZYL_SUM, nullptr);
    });
}

void convolveSep(Step &s) {
    Matrix across = parseMatrix(s, s.text("across"), "across");
    Matrix down = parseMatrix(s, s.text("down"), "down");
    if (across.rows != 1 || down.rows != 1) s.misuse("across and down must be one row each");
    std::swap(down.rows, down.columns);
    const Kernel x = makeKernel(across, s.integer("shift"));
    const Kernel y = makeKernel(down, 0);
    filter(s,
           [x, y](ZylImage *from, ZylImage *to) { zylConvolveSep2D(from, to, x.get(), y.get()); });
}

std::vector<Parameter> box() {
    return {ofLibrary("rows"), ofLibrary("columns"), ofLibrary("anchor-x"), ofLibrary("anchor-y"),
            border};
}

using BoxFilter = void (*)(ZylImage *, ZylImage *, std::int32_t, std::int32_t, std::int32_t,
                           std::int32_t, const ZylTileMapping *);

template <BoxFilter function>
void runBox(Step &s) {
    const auto rows = static_cast<std::int32_t>(s.integer("rows"));
    const auto columns = static_cast<std::int32_t>(s.integer("columns"));
    const auto anchor = [&s](std::string_view name, std::int32_t size) {
        return s.given(name) ? static_cast<std::int32_t>(s.integer(name)) : size / 2;
    };
    const std::int32_t x = anchor("anchor-x", columns), y = anchor("anchor-y", rows);
    filter(s,
           [=](ZylImage *from, ZylImage *to) { function(from, to, rows, columns, x, y, nullptr); });
}

using Morphology = void (*)(ZylImage *, ZylImage *, std::int32_t, const ZylTileMapping *);

// One call of the library. Passes after the first look outside the result.
void morphologyStep(Step &s, Morphology operation, std::int32_t iterations, Need need) {
    const Border outside = parseBorder(s);
    Plan plan;
    plan.need = need;
    s.thenOnRegion(
        [operation, iterations, outside](const Images &from, ZylImage *to) {
            setBorder(from[0], outside);
            setBorder(to, outside);
            operation(from[0], to, iterations, nullptr);
        },
        {}, plan);
}

// Every pass is a step of its own, since it looks at the tiles of the one before.
// Where they are many, the picture is better held in memory.
template <Morphology operation, Morphology... passes>
void runMorphology(Step &s) {
    constexpr std::int64_t MOST = 32;
    const std::int64_t iterations = s.integer("iterations");
    if (iterations > MOST)
        return morphologyStep(s, operation, static_cast<std::int32_t>(iterations), Need::whole);
    const Need need = lookingOutside(parseBorder(s)).need;
    for (std::int64_t i = 0; i < iterations; ++i) (morphologyStep(s, passes, 1, need), ...);
}

} // namespace

std::span<const Operation> filterOperations() {
    const std::vector<Parameter> passes = {ofLibrary("iterations"), border};
    static const std::vector<Operation> table = completed({
        {"convolve-2d",
         "",
         {text("kernel", required,
               "sharpen, gauss, laplace, emboss, sobel (both slopes), sobel-x, sobel-y, or rows of "
               "coefficients as in 1 2 1/2 4 2/1 2 1"),
          integer("shift", "0", "how many bits the sum is shifted right", 0, 31), border},
         convolve,
         regional,
         "convolve-2d:kernel=sharpen"},
        {"convolve-sep-2d",
         "",
         {text("across", "1 4 6 4 1", "the coefficients along a row"),
          text("down", "1 4 6 4 1", "the coefficients down a column"),
          integer("shift", "8", "how many bits the sum is shifted right", 0, 31), border},
         convolveSep,
         regional,
         "'convolve-sep-2d:across=1 2 1,down=1 2 1,shift=4'"},
        {"blur", "", box(), runBox<zylBlur>, regional, "blur:rows=5,columns=5"},
        {"median-filter", "", box(), runBox<zylMedianFilter>, regional,
         "median-filter:rows=5,columns=5"},
        {"max-filter", "", box(), runBox<zylMaxFilter>, regional, "max-filter:rows=3,columns=3"},
        {"min-filter", "", box(), runBox<zylMinFilter>, regional, "min-filter:rows=3,columns=3"},
        {"erode", "", passes, runMorphology<zylErode, zylErode>, regional, "erode:iterations=2"},
        {"dilate", "", passes, runMorphology<zylDilate, zylDilate>, regional,
         "dilate:iterations=2"},
        {"open", "", passes, runMorphology<zylOpen, zylErode, zylDilate>, regional, "open"},
        {"close", "", passes, runMorphology<zylClose, zylDilate, zylErode>, regional, "close"},
    });
    return table;
}

} // namespace tool
