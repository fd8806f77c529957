// Failures that begin with the name of the file they are about.
#pragma once

#include "text.h"

namespace tool {

// Runs `work`, with the file's name put before what goes wrong.
template <class Work>
decltype(auto) naming(const std::string &name, Work work) {
    try {
        return work();
    } catch (const Misuse &misuse) {
        if (name.empty()) throw;
        throw Misuse(name + ": " + misuse.what());
    } catch (const Failure &failure) {
        if (name.empty()) throw;
        throw Failure(name + ": " + failure.what());
    } catch (const std::length_error &large) { // of an image in memory
        throw Failure((name.empty() ? "" : name + ": ") + large.what());
    }
}

} // namespace tool
