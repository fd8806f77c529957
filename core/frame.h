// Runs of samples: what pointwise operations make of images in memory.
//
// A frame resolves region, channel of interest and data order of up to three
// images, once per call, into planes x rows x samples with a step for each. A
// kernel then sees nothing but rows.
#ifndef ZYLQX_CORE_FRAME_H
#define ZYLQX_CORE_FRAME_H

#include <cstddef>

#include "zylqx.h"

namespace zylqx {

struct FrameImage {
    unsigned char *data;      // first sample, or the byte of the first 1-bit sample
    int bit;                  // 1-bit samples: from the left in that byte, 0 to 7
    std::ptrdiff_t step;      // samples from one to the next
    std::ptrdiff_t rowStep;   // bytes
    std::ptrdiff_t planeStep; // bytes
};

struct Frame {
    FrameImage image[3]; // in the order of the arguments, the destination last
    std::ptrdiff_t samples = 0;
    std::ptrdiff_t rows = 0;
    std::ptrdiff_t planes = 0;
};

// The frame of arithmetic and of two-source logic; false when there is nothing
// to process.
//
// Images that cover each other exactly are one row of imageSize bytes, padding
// included. A region starts where the stride that follows from the header's
// fields puts it, and its rows are widthStep apart. Images with and without a
// channel of interest do not mix; an image of one channel counts as either.
bool kernelFrame(const ZylImage *const *images, int count, Frame &frame);

// The frame of logic with a constant, of left shifts and absolute values. Here
// an image of one channel goes together with a channel of interest.
// `wholeBuffer` allows the one row that kernelFrame() makes of images that cover
// each other.
bool logicFrame(const ZylImage *const *images, bool wholeBuffer, Frame &frame);

} // namespace zylqx

#endif
