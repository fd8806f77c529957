// The kinds of numbers that the kernels of this folder are made for.
#ifndef ZYLQX_FILTER_SAMPLES_H
#define ZYLQX_FILTER_SAMPLES_H

namespace zylqx {

// Types of samples and sums, as indices. Bit is a byte of 0 or 1.
enum class Sample { Bit, U8, S8, U16, S16, S32 };
constexpr int SAMPLE_COUNT = 6;

} // namespace zylqx

#endif
