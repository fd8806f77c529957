// Bitmaps for tests: one block of memory, exactly as long as its fields say.
#ifndef ZYLQX_TESTS_CONVERT_BITMAPS_H
#define ZYLQX_TESTS_CONVERT_BITMAPS_H

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include "zylqx.h"

// A colour, as bitmaps order its bytes.
struct Bgra {
    int b, g, r, a;
    bool operator==(const Bgra &) const = default;
};

class BitmapBlock {
  public:
    // `entries` is what biClrUsed says. Masks are red, green, blue.
    BitmapBlock(int width, int height, int bits, std::uint32_t entries = 0,
                std::vector<std::uint32_t> masks = {}) {
        ZylBitmapInfoHeader header{};
        header.biSize = 40;
        header.biWidth = width;
        header.biHeight = height;
        header.biPlanes = 1;
        header.biBitCount = static_cast<std::uint16_t>(bits);
        header.biCompression = masks.empty() ? 0 : 3;
        header.biClrUsed = entries;
        const std::uint32_t full = entries != 0 ? entries : 1u << (bits & 15);
        const std::size_t table = bits <= 8 ? full : masks.size();
        stride_ = (static_cast<std::size_t>(width) * static_cast<std::size_t>(bits) + 31) / 32 * 4;
        const auto rows = static_cast<std::size_t>(height < 0 ? -height : height);
        bytes_.resize(40 + 4 * table + stride_ * rows);
        std::memcpy(bytes_.data(), &header, sizeof header);
        if (!masks.empty()) std::memcpy(bytes_.data() + 40, masks.data(), 4 * masks.size());
    }

    operator void *() { return bytes_.data(); }
    ZylBitmapInfoHeader *header() { return reinterpret_cast<ZylBitmapInfoHeader *>(bytes_.data()); }
    std::vector<std::uint8_t> &bytes() { return bytes_; }
    std::uint8_t *pixels() {
        const ZylBitmapInfoHeader &h = *header();
        std::size_t entries = h.biCompression != 0 ? 3 : 0;
        if (h.biBitCount <= 8) entries = h.biClrUsed != 0 ? h.biClrUsed : 1u << h.biBitCount;
        return bytes_.data() + 40 + 4 * entries;
    }
    // A row as it is stored.
    std::uint8_t *row(int y) { return pixels() + static_cast<std::size_t>(y) * stride_; }

    void entry(int i, const Bgra &colour) {
        std::uint8_t *e = bytes_.data() + 40 + 4 * i;
        const int values[] = {colour.b, colour.g, colour.r, colour.a};
        for (int k = 0; k < 4; ++k) e[k] = static_cast<std::uint8_t>(values[k]);
    }
    Bgra entry(int i) const {
        const std::uint8_t *e = bytes_.data() + 40 + 4 * i;
        return {e[0], e[1], e[2], e[3]};
    }

    // What is stored for a pixel, counted from the top of the picture.
    std::uint32_t value(int x, int y) {
        const ZylBitmapInfoHeader &h = *header();
        const std::uint8_t *r = row(h.biHeight > 0 ? h.biHeight - 1 - y : y);
        switch (h.biBitCount) {
        case 1:
            return r[x / 8] >> (7 - x % 8) & 1u;
        case 4:
            return x % 2 == 0 ? r[x / 2] >> 4 : r[x / 2] & 15u;
        default: {
            std::uint32_t v = 0;
            const int bytes = h.biBitCount / 8;
            for (int k = 0; k < bytes; ++k) v |= std::uint32_t{r[bytes * x + k]} << (8 * k);
            return v;
        }
        }
    }

  private:
    std::vector<std::uint8_t> bytes_;
    std::size_t stride_ = 0;
};

#endif
