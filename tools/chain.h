// A chain of operations, from the words of the command line to plans.
#pragma once

#include "step.h"

namespace tool {

// Reads "OPERATION:name=value,flag,..." and checks every name and value.
Call parseCall(const std::string &words);

// Adds what a call does to a picture to the pipeline; throws Failure where it
// cannot be done. Gives the node of the result.
Pipeline::Node planCall(const Call &call, Pipeline &pipeline, Pipeline::Node picture,
                        const OpenPicture &open);

} // namespace tool
