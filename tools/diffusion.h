// Error diffusion of pictures of any height: samples become multiples of a step,
// and their errors go to those to the right and below. The same bits as those of
// zylReduceBits(), which starts anew with every tile and so needs the whole.
#pragma once

#include "engine/plan.h"

namespace tool {

enum class Diffusion { floydSteinberg = 2, jarvis = 4, stucki = 8 };

// Plans it for an 8-bit or 16-bit unsigned picture, with the step of zylReduceBits():
// the largest sample shifted right by `bits`. An alpha channel stays as it is.
Plan diffuse(const Shape &shape, Diffusion kind, int bits);

} // namespace tool
