// Faults of an image header, and their texts.
#include <algorithm>
#include <cstring>

#include "core/image.h"
#include "core/memory.h"

namespace zylqx {

namespace {

struct Fault {
    std::int32_t bit;
    const char *text;
};

// In the order of the reports, which is not that of the bits.
constexpr Fault FAULTS[] = {
    {ZYL_FAULT_NULL, "Image header is null"},
    {ZYL_FAULT_DATA, "Image data and tileinfo is either null or not null"},
    {ZYL_FAULT_SIZE, "Image size is invalid"},
    {ZYL_FAULT_WIDTH_STEP, "Image widthStep is invalid"},
    {ZYL_FAULT_CHANNELS, "Image channel's number is less one"},
    {ZYL_FAULT_BITONAL_CHANNELS, "For image depth 1U channel's number is not equal one"},
    {ZYL_FAULT_DEPTH, "Image depth is invalid"},
    {ZYL_FAULT_ALPHA, "Image alpha channel's number is less zero or is more channel's number"},
    {ZYL_FAULT_DATA_ORDER, "Image data order is invalid"},
    {ZYL_FAULT_ORIGIN, "Image origin is invalid"},
    {ZYL_FAULT_ALIGN, "Image align is invalid"},
    {ZYL_FAULT_CALLBACK, "Callback is null"},
    {ZYL_FAULT_TILE_SIZE, "Tile size is invalid"},
    {ZYL_FAULT_COI, "COI is less zero or is more image channel's number"},
    {ZYL_FAULT_ROI_SIZE, "ROI size is invalid"},
    {ZYL_FAULT_ROI_OFFSET, "ROI offset is invalid"},
};

// A line is a text, blanks up to this column, and a newline.
constexpr std::size_t TEXT_COLUMNS = 70;
constexpr std::size_t LINE_LENGTH = TEXT_COLUMNS + 1;

constexpr char UNKNOWN_FAULT[] = "Bad status: unknown error";
constexpr char OUT_OF_MEMORY[] = "Out of memory";

char *appendLine(char *end, const char *text) {
    std::memset(end, ' ', TEXT_COLUMNS);
    std::copy_n(text, std::strlen(text), end);
    end[TEXT_COLUMNS] = '\n';
    return end + LINE_LENGTH;
}

std::int32_t tileFaults(const ZylTileInfo &tile) {
    std::int32_t mask = 0;
    if (tile.callBack == nullptr) mask |= ZYL_FAULT_CALLBACK;
    if (tile.width <= 0 || tile.height <= 0 || tile.width % 8 != 0 || tile.height % 8 != 0) {
        mask |= ZYL_FAULT_TILE_SIZE;
    }
    return mask;
}

std::int32_t roiFaults(const ZylROI &roi, std::int32_t nChannels) {
    std::int32_t mask = 0;
    if (roi.coi < 0 || roi.coi > nChannels) mask |= ZYL_FAULT_COI;
    if (roi.height <= 0 || roi.width <= 0) mask |= ZYL_FAULT_ROI_SIZE;
    if (roi.xOffset < 0 || roi.yOffset < 0) mask |= ZYL_FAULT_ROI_OFFSET;
    return mask;
}

} // namespace

const char *headerMessage(std::int32_t mask) {
    if (mask == 0) return nullptr;
    std::size_t lines = 0;
    for (const Fault &fault : FAULTS) lines += (mask & fault.bit) != 0;
    if (lines == 0) return UNKNOWN_FAULT;

    auto *message = static_cast<char *>(allocateBlock(lines * LINE_LENGTH + 1));
    if (message == nullptr) return OUT_OF_MEMORY;
    char *end = message;
    for (const Fault &fault : FAULTS) {
        if ((mask & fault.bit) != 0) end = appendLine(end, fault.text);
    }
    *end = '\0';
    return message;
}

void freeHeaderMessage(const char *message) {
    if (message == UNKNOWN_FAULT || message == OUT_OF_MEMORY) return;
    freeBlock(const_cast<char *>(message));
}

} // namespace zylqx

using namespace zylqx;

std::int32_t zylBadImageHeader(const ZylImage *image) {
    if (image == nullptr) return ZYL_FAULT_NULL;
    const bool inMemory = !isTiled(*image);

    // The field check looks for negative sizes; zero is a fault here.
    std::int32_t mask = fieldFaults(*image);
    if ((image->imageData == nullptr) == inMemory) mask |= ZYL_FAULT_DATA;
    if (image->height <= 0 || image->width <= 0 || (inMemory && image->imageSize <= 0)) {
        mask |= ZYL_FAULT_SIZE;
    }
    if (inMemory && image->widthStep <= 0) mask |= ZYL_FAULT_WIDTH_STEP;
    if (image->depth == ZYL_DEPTH_1U && image->nChannels != 1) mask |= ZYL_FAULT_BITONAL_CHANNELS;
    if (!inMemory) mask |= tileFaults(*image->tileInfo);
    if (image->roi != nullptr) mask |= roiFaults(*image->roi, image->nChannels);
    return mask;
}
