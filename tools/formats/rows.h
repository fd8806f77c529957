// Sources and sinks of formats whose rows lie one after the other.
#pragma once

#include "format.h"

namespace tool {

// The shape of a picture as a file tells it. Throws Failure when no picture can
// have it.
Shape checkedShape(std::int64_t width, std::int64_t height, int channels, std::uint32_t depth);

// The bytes of a row in a rectangle so wide, without padding.
std::size_t rowBytes(const Shape &shape, int width);

class RowSource : public Source {
  protected:
    // Decodes the next row, in the width of the picture.
    virtual void readRow(unsigned char *to) = 0;

    void setRows(int perPiece); // once the shape is known

  private:
    void readRect(const Rect &rect, Pixels to) final;

    int next_ = 0;
    std::vector<unsigned char> row_;
};

class RowSink : public Sink {
  protected:
    virtual void writeRow(const unsigned char *from) = 0;

  private:
    void writeRect(const Rect &rect, ConstPixels from) final;
};

} // namespace tool
