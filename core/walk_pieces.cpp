#include "core/walk_pieces.h"

#include <algorithm>
#include <cstdio>

#include "core/image.h"
#include "core/tiles.h"

namespace zylqx {

namespace {

// Where the walk stands in one image. A tile is `width` x `height`; tile columns
// and rows are counted from 0.
struct TileCursor {
    bool tiled;
    std::int32_t startColumn; // the tile column that a band starts in
    std::int32_t column, row;
    std::int32_t width, height;

    std::int64_t begX() const { return std::int64_t{column} * width; }
    std::int64_t endX() const { return begX() + width; }
    std::int64_t begY() const { return std::int64_t{row} * height; }
    std::int64_t endY() const { return begY() + height; }
};

// One operand during the walk: its rectangle, its cursor, and the header of the
// piece at hand.
struct WalkedOperand {
    Operand operand;
    Rect rect;
    TileCursor cursor;
    ZylImage header;
    ZylROI roi;
};

void setUpTiles(const ZylImage &image, ZylImage &copy, const Rect &rect, TileCursor &cursor) {
    if (!isTiled(image)) {
        cursor = {false, 0, 0, 0, 0, 0};
        copy = image;
        copy.imageSize = imageBytes(copy, copy.widthStep);
        return;
    }
    copy = tileHeader(image, nullptr);
    cursor = {true,
              rect.begX / copy.width,
              rect.begX / copy.width,
              rect.begY / copy.height,
              copy.width,
              copy.height};
}

class PieceWalk {
  public:
    PieceWalk(const Call &call, const Operand *operands, int count, const char *nullText)
        : call_(call), count_(count), nullText_(nullText) {
        Rect rects[MAX_OPERANDS];
        for (int i = 0; i < count; ++i) rects[i] = regionRect(*operands[i].image);
        cutToCommonSize(rects, count);
        for (int i = 0; i < count; ++i) {
            parts_[i].operand = operands[i];
            parts_[i].rect = rects[i];
        }
    }

    bool restrictTo(const std::int32_t *dstTile);
    void run(PieceKernel kernel);

  private:
    bool band(PieceKernel kernel);
    bool request(WalkedOperand &part);
    bool release(WalkedOperand &part);
    bool releaseAll();
    bool reportTile(const WalkedOperand &part, const char *comparison);

    const Call &call_;
    int count_;
    const char *nullText_;
    WalkedOperand parts_[MAX_OPERANDS];
};

// Cuts every rectangle as the last one is cut by its tile.
bool PieceWalk::restrictTo(const std::int32_t *dstTile) {
    const WalkedOperand &last = parts_[count_ - 1];
    if (dstTile == nullptr || !isTiled(*last.operand.image)) return true;
    const ZylTileInfo &info = *last.operand.image->tileInfo;
    const auto [begX, endX, begY, endY] = tileBounds(info, {dstTile[0], dstTile[1]});
    const Rect region = last.rect;
    if (call_.fails(begX > region.endX, "(dTile.begX > dRoi.endX)") ||
        call_.fails(begY > region.endY, "(dTile.begY > dRoi.endY)") ||
        call_.fails(endX < region.begX, "(dTile.endX < dRoi.begX)") ||
        call_.fails(endY < region.begY, "(dTile.endY < dRoi.begY)")) {
        return false;
    }
    const std::int64_t none = 0;
    const auto left = static_cast<std::int32_t>(std::max(begX - region.begX, none));
    const auto top = static_cast<std::int32_t>(std::max(begY - region.begY, none));
    const auto right = static_cast<std::int32_t>(std::max(region.endX - endX, none));
    const auto bottom = static_cast<std::int32_t>(std::max(region.endY - endY, none));
    for (int i = 0; i < count_; ++i) {
        Rect &rect = parts_[i].rect;
        rect.begX += left;
        rect.begY += top;
        rect.endX -= right;
        rect.endY -= bottom;
    }
    return true;
}

bool PieceWalk::reportTile(const WalkedOperand &part, const char *comparison) {
    char text[80];
    std::snprintf(text, sizeof text, "(%s->tileInfo->tileData %s %s)", part.operand.name,
                  comparison, nullText_);
    call_.report(ZYL_StsBadArg, text);
    return false;
}

bool PieceWalk::request(WalkedOperand &part) {
    const TileCursor &cursor = part.cursor;
    if (!requestTile(*part.operand.image, cursor.column, cursor.row, part.operand.mode)) {
        return reportTile(part, "==");
    }
    part.header.imageData = part.operand.image->tileInfo->tileData;
    return true;
}

bool PieceWalk::release(WalkedOperand &part) {
    if (releaseTile(*part.operand.image, part.cursor.column, part.cursor.row)) return true;
    return reportTile(part, "!=");
}

bool PieceWalk::releaseAll() {
    for (int i = 0; i < count_; ++i) {
        if (parts_[i].cursor.tiled && !release(parts_[i])) return false;
    }
    return true;
}

void PieceWalk::run(PieceKernel kernel) {
    if (parts_[0].rect.empty()) return;
    for (int i = 0; i < count_; ++i) {
        WalkedOperand &part = parts_[i];
        const ZylImage &image = *part.operand.image;
        setUpTiles(image, part.header, part.rect, part.cursor);
        part.roi = {channelOfInterest(image), 0, 0, 0, 0};
        part.header.roi = &part.roi;
    }
    const std::int32_t rows = parts_[0].rect.endY - parts_[0].rect.begY;
    std::int32_t height = 0;
    for (std::int32_t y = 0; y < rows; y += height) {
        // A band ends where the first of the images' tile rows ends.
        height = rows - y;
        for (int i = 0; i < count_; ++i) {
            WalkedOperand &part = parts_[i];
            const std::int32_t row = part.rect.begY + y;
            part.roi.yOffset = row;
            if (!part.cursor.tiled) continue;
            part.cursor.column = part.cursor.startColumn;
            part.cursor.row = row / part.cursor.height;
            if (!request(part)) return;
            part.roi.yOffset = static_cast<std::int32_t>(row - part.cursor.begY());
            height =
                static_cast<std::int32_t>(std::min<std::int64_t>(height, part.cursor.endY() - row));
        }
        for (int i = 0; i < count_; ++i) parts_[i].roi.height = height;
        if (!band(kernel)) return;
    }
}

bool PieceWalk::band(PieceKernel kernel) {
    const std::int32_t columns = parts_[0].rect.endX - parts_[0].rect.begX;
    const ZylImage *headers[MAX_OPERANDS];
    for (int i = 0; i < count_; ++i) headers[i] = &parts_[i].header;
    std::int32_t width = 0;
    for (std::int32_t x = 0; x < columns; x += width) {
        width = columns - x;
        for (int i = 0; i < count_; ++i) {
            WalkedOperand &part = parts_[i];
            const std::int32_t column = part.rect.begX + x;
            part.roi.xOffset = column;
            if (!part.cursor.tiled) continue;
            if (part.cursor.endX() <= column) {
                if (!release(part)) return false;
                ++part.cursor.column;
                if (!request(part)) return false;
            }
            part.roi.xOffset = static_cast<std::int32_t>(column - part.cursor.begX());
            width = static_cast<std::int32_t>(
                std::min<std::int64_t>(width, part.cursor.endX() - column));
        }
        for (int i = 0; i < count_; ++i) parts_[i].roi.width = width;
        if (!kernel(headers)) {
            releaseAll();
            return false;
        }
    }
    return releaseAll();
}

} // namespace

void walkPieces(const Call &call, const Operand *operands, int count, const std::int32_t *dstTile,
                PieceKernel kernel, const char *nullText) {
    PieceWalk walk(call, operands, count, nullText);
    if (walk.restrictTo(dstTile)) walk.run(kernel);
}

void processImages(const Call &call, const Operand *operands, int count,
                   const std::int32_t *dstTile, PieceKernel kernel, const char *nullText) {
    const ZylImage *headers[MAX_OPERANDS];
    bool tiled = false;
    for (int i = 0; i < count; ++i) {
        headers[i] = operands[i].image;
        tiled = tiled || isTiled(*operands[i].image);
    }
    if (tiled) {
        walkPieces(call, operands, count, dstTile, kernel, nullText);
    } else {
        kernel(headers);
    }
}

} // namespace zylqx
