// Sine and cosine that are the same on every system: tables and rotations are
// made of them, and mathematical libraries differ in the last bit.
#ifndef ZYLQX_CORE_TRIGONOMETRY_H
#define ZYLQX_CORE_TRIGONOMETRY_H

namespace zylqx {

struct SineCosine {
    double sine, cosine;
};

// Of an angle of 0 to 7, correctly rounded: computed with a relative error below
// 2^-97, of which a double keeps 53 bits.
SineCosine sineCosine(double angle);

} // namespace zylqx

#endif
