#include "arith/pointwise.h"

#include <algorithm>
#include <utility>

#include "core/frame.h"
#include "core/image.h"
#include "core/step_kernels.h"

namespace zylqx {

bool badImages(const Call &call, const ZylImage *srcImageA, const ZylImage *srcImageB,
               const ZylImage *dstImage) {
    if (call.badHeader(srcImageA) || call.badHeader(srcImageB) || call.badHeader(dstImage)) {
        return true;
    }
    const int nChDst = effectiveChannels(*dstImage);
    return call.fails(srcImageA->depth != dstImage->depth,
                      "(srcImageA->depth != dstImage->depth)") ||
           call.fails(srcImageB->depth != dstImage->depth,
                      "(srcImageB->depth != dstImage->depth)") ||
           call.fails(srcImageA->dataOrder != dstImage->dataOrder,
                      "(srcImageA->dataOrder != dstImage->dataOrder)") ||
           call.fails(srcImageB->dataOrder != dstImage->dataOrder,
                      "(srcImageB->dataOrder != dstImage->dataOrder)") ||
           call.fails(effectiveChannels(*srcImageA) != nChDst, "(nChSrcA != nChDst)") ||
           call.fails(effectiveChannels(*srcImageB) != nChDst, "(nChSrcB != nChDst)");
}

bool badImages(const Call &call, const ZylImage *srcImage, const ZylImage *dstImage) {
    if (call.badHeader(srcImage) || call.badHeader(dstImage)) return true;
    return call.fails(srcImage->depth != dstImage->depth, "(srcImage->depth != dstImage->depth)") ||
           call.fails(srcImage->dataOrder != dstImage->dataOrder,
                      "(srcImage->dataOrder != dstImage->dataOrder)") ||
           call.fails(effectiveChannels(*srcImage) != effectiveChannels(*dstImage),
                      "(nChSrc != nChDst)");
}

namespace {

// Calls `row(pointers)` with the first sample of every image, for every row of
// every plane.
template <class F>
void forEachRow(const Frame &frame, int count, F row) {
    unsigned char *data[MAX_OPERANDS];
    for (std::ptrdiff_t plane = 0; plane < frame.planes; ++plane) {
        for (std::ptrdiff_t y = 0; y < frame.rows; ++y) {
            for (int i = 0; i < count; ++i) {
                const FrameImage &image = frame.image[i];
                data[i] = image.data + plane * image.planeStep + y * image.rowStep;
            }
            row(data);
        }
    }
}

// One row with a step on some image: the samples are gathered, processed and
// scattered block by block. process(sources, destination, count).
template <class F>
void steppedRow(const Frame &frame, int count, unsigned char *const *data, std::ptrdiff_t bytes,
                F process) {
    const StepKernels &kernels = ZYLQX_KERNELS(stepKernels);
    const int size = sizeIndex(bytes);
    SampleBlock blocks[MAX_OPERANDS];
    const void *sources[MAX_OPERANDS];
    const FrameImage &last = frame.image[count - 1];
    for (std::ptrdiff_t x = 0; x < frame.samples; x += SAMPLE_BLOCK) {
        const std::ptrdiff_t n = std::min(SAMPLE_BLOCK, frame.samples - x);
        for (int i = 0; i < count - 1; ++i) {
            const FrameImage &image = frame.image[i];
            kernels.gather[size](data[i] + x * image.step * bytes, image.step, blocks[i].samples,
                                 n);
            sources[i] = blocks[i].samples;
        }
        process(sources, blocks[count - 1].samples, n);
        kernels.scatter[size](blocks[count - 1].samples, data[count - 1] + x * last.step * bytes,
                              last.step, n);
    }
}

bool isStepped(const Frame &frame, int count) {
    for (int i = 0; i < count; ++i) {
        if (frame.image[i].step != 1) return true;
    }
    return false;
}

// Runs process(sources, destination, count) over every row of samples.
template <class F>
void processSamples(const Frame &frame, int count, std::uint32_t depth, F process) {
    if (isStepped(frame, count)) {
        forEachRow(frame, count, [&](unsigned char *const *data) {
            steppedRow(frame, count, data, sampleBytes(depth), process);
        });
        return;
    }
    forEachRow(frame, count, [&](unsigned char *const *data) {
        const void *sources[MAX_OPERANDS];
        for (int i = 0; i < count - 1; ++i) sources[i] = data[i];
        process(sources, data[count - 1], frame.samples);
    });
}

} // namespace

void processBinary(const Call &call, ZylImage *srcImageA, ZylImage *srcImageB, ZylImage *dstImage,
                   const std::int32_t *dstTile, const BinaryRows &rows, BitBinaryRow bitRow,
                   bool reverse) {
    const std::uint32_t depth = dstImage->depth;
    const BinaryRow row = rows[depthIndex(depth)];
    auto kernel = [&](const ZylImage *const *images) {
        Frame frame;
        if (!kernelFrame(images, 3, frame)) return;
        const int a = reverse ? 1 : 0;
        if (depth == ZYL_DEPTH_1U) {
            const FrameImage *image = frame.image;
            forEachRow(frame, 3, [&](unsigned char *const *data) {
                bitRow({data[a], image[a].bit}, {data[1 - a], image[1 - a].bit},
                       {data[2], image[2].bit}, frame.samples);
            });
            return;
        }
        processSamples(frame, 3, depth,
                       [&](const void *const *sources, void *destination, std::ptrdiff_t n) {
                           row(sources[a], sources[1 - a], destination, n);
                       });
    };
    const Operand operands[] = {{srcImageA, "srcImageA", ZYL_GET_TILE_TO_READ},
                                {srcImageB, "srcImageB", ZYL_GET_TILE_TO_READ},
                                {dstImage, "dstImage", ZYL_GET_TILE_TO_WRITE}};
    processImages(call, operands, 3, dstTile, kernel);
}

void processUnary(const Call &call, ZylImage *srcImage, ZylImage *dstImage,
                  const std::int32_t *dstTile, const UnaryOperation &operation) {
    const std::uint32_t depth = dstImage->depth;
    const UnaryRow row = operation.loops[depthIndex(depth)];
    const BitUnaryRow bitRow = ZYLQX_KERNELS(logicKernels).bitUnary;
    const bool wholeBuffer =
        operation.rows == Rows::LogicWholeBuffer && !isTiled(*srcImage) && !isTiled(*dstImage);
    auto kernel = [&](const ZylImage *const *images) {
        Frame frame;
        const bool some = operation.rows == Rows::Kernel ? kernelFrame(images, 2, frame)
                                                         : logicFrame(images, wholeBuffer, frame);
        if (!some) return;
        if (depth == ZYL_DEPTH_1U) {
            const FrameImage *image = frame.image;
            forEachRow(frame, 2, [&](unsigned char *const *data) {
                bitRow({data[0], image[0].bit}, {data[1], image[1].bit}, frame.samples,
                       operation.bits);
            });
            return;
        }
        processSamples(frame, 2, depth,
                       [&](const void *const *sources, void *destination, std::ptrdiff_t n) {
                           row(sources[0], destination, n, operation.constant);
                       });
    };
    const Operand operands[] = {{srcImage, "srcImage", ZYL_GET_TILE_TO_READ},
                                {dstImage, "dstImage", ZYL_GET_TILE_TO_WRITE}};
    processImages(call, operands, 2, dstTile, kernel, operation.nullText);
}

} // namespace zylqx
