#include "tests/support/early_ends.h"

#include <algorithm>
#include <iterator>
#include <stdexcept>

namespace support {

namespace {

constexpr auto Transfer = TileFailure::Transfer;
constexpr auto BackTrace = TileFailure::BackTrace;
constexpr auto Pieces = TileFailure::Pieces;
constexpr auto Colour = TileFailure::Colour;
constexpr auto Grid = TileFailure::Grid;
constexpr auto None = TileFailure::None;

constexpr const char *TILING = "ERROR in Tiling callBack";
constexpr const char *ALLOCATION = "Allocation failure";
constexpr const char *INPUT = "Error in input data";

const EarlyEnd EARLY_ENDS[] = {
    {"zylAdd", "zyladd", Pieces, ZYL_StsOk, "", {}, false},
    {"zylSubtract", "zylsub", Pieces, ZYL_StsOk, "", {}, false},
    {"zylMultiply", "zylmul", Pieces, ZYL_StsOk, "", {}, false},
    {"zylAnd", "zyland", Pieces, ZYL_StsOk, "", {}, false},
    {"zylOr", "zylor", Pieces, ZYL_StsOk, "", {}, false},
    {"zylXor", "zylxor", Pieces, ZYL_StsOk, "", {}, false},
    {"zylAddS", "zyladds", Pieces, ZYL_StsOk, "", {}, false},
    {"zylSubtractS", "zylsubs", Pieces, ZYL_StsOk, "", {}, false},
    {"zylMultiplyS", "zylmuls", Pieces, ZYL_StsOk, "", {}, false},
    {"zylLShiftS", "zyllshs", Pieces, ZYL_StsOk, "", {"zylAndS", "zylCopy"}, false},
    {"zylRShiftS", "zylshfts", TileFailure::Shift, ZYL_StsOk, "", {}, false},
    {"zylSquare", "zylsqr", Pieces, ZYL_StsOk, "", {}, false},
    {"zylAbs", "zylabs", Pieces, ZYL_StsOk, "", {"zylCopy"}, false},
    {"zylAndS", "zylands", Pieces, ZYL_StsOk, "", {}, false},
    {"zylOrS", "zylors", Pieces, ZYL_StsOk, "", {}, false},
    {"zylXorS", "zylxors", Pieces, ZYL_StsOk, "", {}, false},
    {"zylCopy", "zylSCE", Transfer, ZYL_StsOk, "", {}, false},
    {"zylSet", "zylSCE", Transfer, ZYL_StsOk, "", {}, false},
    {"zylExchange", "zylSCE", Transfer, ZYL_StsOk, "", {"zylCopy"}, true},
    {"zylConvert", "zylcvrt", TileFailure::Blocks, ZYL_StsOk, "", {}, false},
    {"zylBitonalToGray", "zylbitnl", TileFailure::Blocks, ZYL_StsOk, "", {}, false},
    {"zylApplyColorTwist", "zyltwist", TileFailure::Blocks, ZYL_StsOk, "", {}, false},
    {"zylColorToGray", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylGrayToColor", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylRGB2HSV", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylHSV2RGB", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylRGB2HLS", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylHLS2RGB", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylReduceBits", "zylcolor", Colour, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylConvertFromDIB", "zyldib", None, ZYL_StsOk, "", {}, false},
    {"zylConvertToDIB", "zyldib", None, ZYL_StsBadArg, "create medcut palette error", {}, false},
    {"zylConvertToDIB", "zyldib", None, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylConvolve2D", "zylcnv2d", Transfer, ZYL_StsNoMem, ALLOCATION, {}, false},
    {"zylConvolveSep2D", "zylcsep2", Transfer, ZYL_StsOk, "", {}, false},
    {"zylBlur", "zylblur", Transfer, ZYL_StsOk, "", {}, false},
    {"zylMaxFilter", "zylnlf", Transfer, ZYL_StsOk, "", {}, false},
    {"zylMinFilter", "zylnlf", Transfer, ZYL_StsOk, "", {}, false},
    {"zylMedianFilter", "zylnlf", Transfer, ZYL_StsOk, "", {}, false},
    {"zylErode", "zylErode", Transfer, ZYL_StsNoMem, "Not enough memory", {}, true},
    {"zylDilate", "zylDilate", Transfer, ZYL_StsNoMem, "Not enough memory", {}, true},
    {"zylOpen", "zylOpen", Transfer, ZYL_StsNoMem, "Not enough memory", {}, true},
    {"zylClose", "zylClose", Transfer, ZYL_StsNoMem, "Not enough memory", {}, true},
    {"zylZoom", "zylZoom", Transfer, ZYL_StsOk, "", {}, false},
    {"zylDecimate", "zyldecim", Transfer, ZYL_StsOk, "", {}, false},
    {"zylRotate", "zylRotat", Transfer, ZYL_StsOk, "", {}, false},
    {"zylMirror", "zylmirr", TileFailure::Mirror, ZYL_StsOk, "", {}, false},
    {"zylRealFft2D", "zylfft2d", None, ZYL_StsBadArg, INPUT, {}, false},
    {"zylCcsFft2D", "zylfft2d", None, ZYL_StsBadArg, INPUT, {}, false},
    {"zylDCT2D", "zyldct2d", None, ZYL_StsOk, "", {}, false},
    {"zylComputeHisto", "zylHist", BackTrace, ZYL_StsNoMem, "", {}, false},
    {"zylContrastStretch", "zylHist", BackTrace, ZYL_StsNoMem, "", {}, false},
    {"zylHistoEqualize", "zylHist", BackTrace, ZYL_StsNoMem, "", {}, false},
    {"zylThreshold", "zylthres", Pieces, ZYL_StsOk, "", {}, false},
    {"zylNorm", "zylnorm", Transfer, ZYL_StsOk, "", {}, false},
    {"zylMultiplyScale", "zylalpha", Grid, ZYL_StsError, TILING, {}, false},
    {"zylMultiplySScale", "zylalpha", Grid, ZYL_StsError, TILING, {}, false},
    {"zylPreMultiplyAlpha", "zylalpha", Grid, ZYL_StsError, TILING, {}, false},
    {"zylAlphaComposite", "zylalpha", Grid, ZYL_StsError, TILING, {}, false},
    {"zylAlphaCompositeC", "zylalpha", Grid, ZYL_StsError, TILING, {}, false},
};

// The name of an image as reports have it: sources, then the destination.
std::string imageName(int image, int images) {
    if (image == images - 1) return "dstImage";
    if (images == 2) return "srcImage";
    return image == 0 ? "srcImageA" : "srcImageB";
}

} // namespace

// About the pixels of an image's tile.
std::vector<Report> EarlyEnd::tileReport(int image, int images, const char *comparison) const {
    const std::string null = tile == TileFailure::Blocks  ? "NULL"
                             : tile == TileFailure::Shift ? "((void *)0)"
                                                          : "((void*)(0))";
    return {
        {ZYL_StsBadArg, function,
         "(" + imageName(image, images) + "->tileInfo->tileData " + comparison + " " + null + ")",
         file}};
}

std::vector<Report> EarlyEnd::keptReports(int image, int images) const {
    if (keepsTiles()) return tileReport(image, images, "!=");
    if (tile == TileFailure::Grid) return {{ZYL_StsError, function, TILING, file}};
    return {};
}

bool EarlyEnd::endsByStatus() const {
    const char *const names[] = {"zylCopy",          "zylExchange",     "zylConvolve2D",
                                 "zylConvolveSep2D", "zylMaxFilter",    "zylMinFilter",
                                 "zylMedianFilter",  "zylZoom",         "zylDecimate",
                                 "zylRotate",        "zylRealFft2D",    "zylCcsFft2D",
                                 "zylDCT2D",         "zylComputeHisto", "zylContrastStretch",
                                 "zylHistoEqualize", "zylNorm"};
    return std::find(std::begin(names), std::end(names), function) != std::end(names);
}

std::vector<Report> EarlyEnd::tileReports(int image, int images, bool written) const {
    const std::string transfer = written ? "Error get tile to write" : "Error get tile to read";
    switch (tile) {
    case TileFailure::None:
        break;
    case TileFailure::Transfer:
        return {{ZYL_StsError, function, transfer, file}};
    case TileFailure::BackTrace:
        return {{ZYL_StsError, images > 1 ? "zylMap" : function, transfer, file},
                {ZYL_StsBackTrace, function, "", file}};
    case TileFailure::Colour:
        if (written) return {};
        [[fallthrough]];
    case TileFailure::Shift:
    case TileFailure::Blocks:
    case TileFailure::Mirror:
    case TileFailure::Pieces:
        return tileReport(image, images, "==");
    case TileFailure::Grid:
        return {{ZYL_StsError, function, TILING, file}};
    }
    return {};
}

std::vector<Report> EarlyEnd::memoryReports() const {
    if (status == ZYL_StsOk) return {};
    return {{status, function, noMemory, file}};
}

const EarlyEnd &earlyEndOf(const std::string &function, const std::vector<Report> &reports) {
    const EarlyEnd *found = nullptr;
    for (const EarlyEnd &end : EARLY_ENDS) {
        if (end.function != function) continue;
        if (found == nullptr || end.memoryReports() == reports) found = &end;
    }
    if (found == nullptr) throw std::invalid_argument("no early end of " + function);
    return *found;
}

} // namespace support
