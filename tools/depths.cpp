#include "depths.h"

namespace tool {

namespace {

// The work of one tile on a copy of its samples.
using Change = void (*)(ZylImage *image, ZylImage *other);

void changeCopies(Step &step, std::uint32_t depth, Change change) {
    const Shape shape = step.shape();
    step.then(withDepth(shape, depth), [shape, change](Request &request) {
        Shape size = shape;
        size.width = request.place.width;
        size.height = request.place.height;
        const Image copy(size), other(size);
        const Region reading(request.sources[0], regionOf(request.place));
        zylCopy(request.sources[0], copy.header(), nullptr);
        change(copy.header(), other.header());
        Image result(withDepth(size, request.window->depth));
        zylConvert(copy.header(), result.header(), LOW, nullptr);
        zylCopy(result.header(), request.window, nullptr);
    });
}

// 16-bit samples v become v / 257, rounded: with n = v + 128, (n - n / 256) / 256.
void narrow(ZylImage *image, ZylImage *other) {
    zylAddS(image, image, 128, nullptr);
    zylRShiftS(image, other, 8, nullptr);
    zylSubtract(image, other, image, 0, nullptr);
    zylRShiftS(image, image, 8, nullptr);
}

// 32-bit samples, those of 16 unsigned bits less 32768, over the whole range.
void widen(ZylImage *image, ZylImage *other) {
    zylLShiftS(image, other, 16, nullptr);
    zylAddS(image, image, 32768, nullptr);
    zylAdd(image, other, image, nullptr);
}

void shiftToHalf(ZylImage *image, ZylImage *) {
    zylRShiftS(image, image, 16, nullptr);
}

} // namespace

Shape withDepth(Shape shape, std::uint32_t depth) {
    shape.depth = depth;
    return shape;
}

void convertPlain(Step &step, std::uint32_t depth, int keep) {
    step.then(withDepth(step.shape(), depth),
              byPoint([keep](ZylImage *from, ZylImage *to, const ZylTileMapping *point) {
                  zylConvert(from, to, keep, point);
              }));
}

void multiply(Step &step, std::uint32_t value) {
    step.then(step.shape(),
              byIndex([value](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                  zylMultiplyS(from, to, value, tile);
              }));
}

void bitsToGray(Step &step, std::uint32_t depth, std::int32_t zero, std::int32_t one) {
    step.then(withDepth(step.shape(), depth),
              byPoint([=](ZylImage *from, ZylImage *to, const ZylTileMapping *point) {
                  zylBitonalToGray(from, to, zero, one, point);
              }));
}

void cutToBits(Step &step) {
    step.then(withDepth(step.shape(), ZYL_DEPTH_1U),
              byIndex([](ZylImage *from, ZylImage *to, const std::int32_t *tile) {
                  zylReduceBits(from, to, 0, 1, 0, tile);
              }));
}

void convertScaled(Step &step, std::uint32_t depth) {
    const std::uint32_t from = step.shape().depth;
    if (from == depth) return;
    if (from == ZYL_DEPTH_1U) {
        bitsToGray(step, ZYL_DEPTH_8U, 0, 255);
        return convertScaled(step, depth);
    }
    // By way of 8 and 16 unsigned bits. Between signed and unsigned samples of equal
    // width the library adds or subtracts half of the range.
    if (from == ZYL_DEPTH_8S) convertPlain(step, ZYL_DEPTH_8U, HIGH);
    if (from == ZYL_DEPTH_32S) changeCopies(step, ZYL_DEPTH_16S, shiftToHalf);
    if (step.shape().depth == ZYL_DEPTH_16S) convertPlain(step, ZYL_DEPTH_16U, HIGH);
    const bool narrows = depth == ZYL_DEPTH_1U || depth == ZYL_DEPTH_8U || depth == ZYL_DEPTH_8S;
    if (narrows && step.shape().depth == ZYL_DEPTH_16U) changeCopies(step, ZYL_DEPTH_8U, narrow);
    if (!narrows && step.shape().depth == ZYL_DEPTH_8U) {
        step.then(withDepth(step.shape(), ZYL_DEPTH_16U), [](Request &r) {
            zylConvert(r.sources[0], r.result, LOW, &r.point);
            zylMultiplyS(r.result, r.result, 257, r.tile);
        });
    }
    if (depth == ZYL_DEPTH_1U) return cutToBits(step);
    if (step.shape().depth != depth) convertPlain(step, depth, HIGH);
    if (depth == ZYL_DEPTH_32S) changeCopies(step, ZYL_DEPTH_32S, widen);
}

} // namespace tool
