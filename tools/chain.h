// A chain of operations, from the words of the command line to a picture.
#pragma once

#include "step.h"

namespace tool {

// Reads "OPERATION:name=value,flag,..." and checks every name and value.
Call parseCall(const std::string &words);

// Runs the calls one after the other, on tiled pictures if `tiling` says so.
// A report of the library ends the run with Failure.
Image runChain(const std::vector<Call> &calls, Image image, Tiling tiling);

} // namespace tool
