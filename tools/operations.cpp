#include "operations.h"

#include "described.h"
#include "text.h"

#include <algorithm>

namespace tool {

namespace {

constexpr Alias ALIASES[] = {
    {"invert", "not", "makes a negative"},
    {"flip", "mirror:axis=horizontal", "exchanges top and bottom"},
    {"flop", "mirror:axis=vertical", "exchanges left and right"},
    {"rotate-left", "rotate:degrees=90,fit", "a quarter turn counterclockwise"},
    {"rotate-right", "rotate:degrees=-90,fit", "a quarter turn clockwise"},
    {"sharpen", "convolve-2d:kernel=sharpen", "makes edges clearer"},
    {"emboss", "convolve-2d:kernel=emboss", "looks like a relief"},
    {"edges", "convolve-2d:kernel=sobel", "shows where brightness changes"},
    {"median", "median-filter", "removes specks"},
    {"equalize", "histo-equalize", "makes all brightnesses equally frequent"},
    {"levels", "contrast-stretch", "spreads one range of samples over another one"},
    {"dither", "reduce-bits:dither=floyd-steinberg", "makes few levels look like many"},
    {"fill", "set", "fills with a value"},
    {"paste", "copy", "pastes another picture at x and y"},
    {"composite", "alpha-composite", "lays another picture over this one by its alpha"},
    {"histogram", "compute-histo", "prints how often samples occur"},
};

// What people call an operation.
struct Meaning {
    std::string_view words; // between blanks
    std::string_view name;
};
constexpr Meaning MEANINGS[] = {
    {" grayscale greyscale grey desaturate monochrome bw black-and-white ", "gray"},
    {" negate negative inverse ", "invert"},
    {" scale size shrink enlarge downscale upscale reduce resample fit ", "resize"},
    {" thumb preview icon ", "thumbnail"},
    {" cut trim extract slice subimage region channel ", "crop"},
    {" turn rot ", "rotate"},
    {" hflip horizontal-flip reverse ", "flop"},
    {" vflip vertical-flip upside-down ", "flip"},
    {" smooth soften box-blur mean average boxblur ", "blur"},
    {" gauss gaussian gaussblur ", "gaussian-blur"},
    {" sharp sharpness usm unsharp-mask ", "unsharp"},
    {" lighten lighter brighten darken exposure ", "brightness"},
    {" normalize normalise autolevel auto-levels autolevels auto-contrast autocontrast stretch ",
     "auto-level"},
    {" equalise histogram-equalize histeq ", "equalize"},
    {" binarize binarise binary otsu ", "threshold"},
    {" depth bits type 8bit 16bit cast ", "convert"},
    {" quantize quantise posterize posterise palette ", "reduce-bits"},
    {" edge edge-detect laplace laplacian sobel canny outline ", "edges"},
    {" fft fourier ", "real-fft-2d"},
    {" ifft inverse-fft ", "ccs-fft-2d"},
    {" dct cosine ", "dct-2d"},
    {" spectrum ", "view-spectrum"},
    {" hist statistics stats ", "histogram"},
    {" compare difference diff rmse psnr ", "norm"},
    {" overlay blend merge watermark over ", "composite"},
    {" erosion ", "erode"},
    {" dilation ", "dilate"},
    {" opening ", "open"},
    {" closing ", "close"},
    {" noise denoise despeckle ", "median"},
    {" convolve convolution conv filter kernel ", "convolve-2d"},
    {" hsv to-hsv ", "rgb2hsv"},
    {" hls hsl to-hls ", "rgb2hls"},
    {" color colour rgb colorize sepia tint ", "gray-to-color"},
    {" matrix color-matrix recolor ", "apply-color-twist"},
};

std::string_view byMeaning(std::string_view word) {
    std::string wanted(" ");
    wanted.append(word).append(" ");
    for (const Meaning &meaning : MEANINGS)
        if (meaning.words.find(wanted) != std::string_view::npos) return meaning.name;
    return {};
}

} // namespace

std::vector<Family> operationFamilies() {
    return {
        {"Size and parts", resizeOperations()},
        {"Cutting and pasting", editOperations()},
        {"Brightness, soft and sharp", everydayOperations()},
        {"Turning and scaling by the pixel", geometryOperations()},
        {"Filters", filterOperations()},
        {"Depth and color", convertOperations()},
        {"Histograms and compositing", statsOperations()},
        {"Arithmetic and logic", arithOperations()},
        {"Transforms", transformOperations()},
    };
}

std::span<const Alias> aliases() {
    return ALIASES;
}

std::string withoutAlias(const std::string &words) {
    const std::size_t colon = words.find(':');
    const std::string name = words.substr(0, colon);
    for (const Alias &alias : ALIASES) {
        if (alias.name != name) continue;
        std::string full(alias.words);
        if (colon == std::string::npos) return full;
        return full + (full.find(':') == std::string::npos ? ":" : ",") + words.substr(colon + 1);
    }
    return words;
}

std::vector<Operation> completed(std::vector<Operation> operations) {
    for (Operation &operation : operations) {
        const Described *facts = described(operation.name);
        if (!facts) continue;
        if (operation.help.empty()) operation.help = facts->help;
        for (Parameter &parameter : operation.parameters) {
            if (parameter.kind != Kind::described) continue;
            const auto found =
                std::find_if(facts->parameters.begin(), facts->parameters.end(),
                             [&](const Parameter &known) { return known.name == parameter.name; });
            if (found == facts->parameters.end()) {
                throw std::logic_error("the library describes no " + std::string(parameter.name) +
                                       " of " + std::string(operation.name));
            }
            parameter = *found;
        }
    }
    return operations;
}

const Operation *operationOf(const std::string &word) {
    const std::string words = withoutAlias(word);
    const std::string name = words.substr(0, words.find(':'));
    for (const Family &family : operationFamilies()) {
        for (const Operation &operation : family.operations)
            if (operation.name == name) return &operation;
    }
    return nullptr;
}

const Operation &findOperation(std::string_view name) {
    std::vector<std::string_view> names;
    for (const Family &family : operationFamilies()) {
        for (const Operation &operation : family.operations) {
            if (operation.name == name) return operation;
            names.push_back(operation.name);
        }
    }
    for (const Alias &alias : ALIASES) names.push_back(alias.name);
    if (const std::string_view meant = byMeaning(name); !meant.empty()) {
        throw Misuse("unknown operation '" + std::string(name) + "'; did you mean '" +
                     std::string(meant) + "'?");
    }
    throw unknown("operation", name, names);
}

} // namespace tool
