// The table of operations. Each family has a file operations_FAMILY.cpp with its
// entries; operations.cpp joins them.
#pragma once

#include "step.h"

#include <span>

namespace tool {

std::span<const Operation> editOperations();
std::span<const Operation> arithOperations();
std::span<const Operation> transformOperations();
std::span<const Operation> convertOperations();
std::span<const Operation> filterOperations();
std::span<const Operation> geometryOperations();
std::span<const Operation> statsOperations();
std::span<const Operation> resizeOperations();
std::span<const Operation> everydayOperations();

// The operations with what the description of the library says of them filled in.
std::vector<Operation> completed(std::vector<Operation> operations);

struct Family {
    std::string_view title;
    std::span<const Operation> operations;
};

// In the order in which they are listed.
std::vector<Family> operationFamilies();

// Another name of an operation, with some of its values.
struct Alias {
    std::string_view name;
    std::string_view words;
    std::string_view help;
};

std::span<const Alias> aliases();

// How many times smaller a picture may be decoded for this call, 1, 2, 4 or 8, and the
// words of the call that then gives the same size.
struct Shrunk {
    int by = 1;
    std::string words;
};
Shrunk shrunkFor(const Call &call, const Shape &shape);

// What an alias stands for, with the values that follow it; else the words.
std::string withoutAlias(const std::string &words);

// The operation of a word as in "flip:x=3"; null for others, such as files.
const Operation *operationOf(const std::string &word);

// The operation of this name; throws Misuse, with a near name, if there is none.
const Operation &findOperation(std::string_view name);

} // namespace tool
