// One chain for many picture files.
#pragma once

#include "run.h"

namespace tool {

struct BatchOptions {
    RunOptions run;
    std::string to;     // names of the results, with {name}, {stem}, {n} and {dir}
    bool force = false; // overwrite files
};

// The words are files and patterns of names, then operations. Throws Misuse before
// any work when they cannot be meant. Files that fail are told of on standard error
// when the others are done, and then by Failure.
void runBatch(const std::vector<std::string> &words, const BatchOptions &options);

// The name of the result for the n-th of `count` files. {name} is the file's name
// without its folder and extension, {stem} the part of it before the first full
// stop, {dir} its folder, {n} its number from 1 with as many digits as the last one.
std::string resultName(const std::string &to, const std::string &input, std::size_t n,
                       std::size_t count);

} // namespace tool
