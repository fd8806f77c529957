#include "described.h"

namespace tool {

const Described *described(std::string_view name) {
    for (const Described &operation : describedOperations())
        if (operation.name == name) return &operation;
    return nullptr;
}

} // namespace tool
