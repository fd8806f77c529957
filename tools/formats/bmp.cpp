#include "bmp_format.h"
#include "formats.h"

namespace tool {

namespace {

bool recognises(std::string_view start) {
    return start.substr(0, 2) == "BM";
}

} // namespace

const Format bmpFormat = {"BMP", "bmp dib", recognises, openBmp, createBmp, PALETTE};

} // namespace tool
