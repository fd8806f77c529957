#include "operations.h"

#include "text.h"

namespace tool {

std::vector<std::span<const Operation>> operationFamilies() {
    return {
        editOperations(),     arithOperations(),     convertOperations(), filterOperations(),
        geometryOperations(), transformOperations(), statsOperations(),
    };
}

const Operation &findOperation(std::string_view name) {
    std::vector<std::string_view> names;
    for (std::span<const Operation> family : operationFamilies()) {
        for (const Operation &operation : family) {
            if (operation.name == name) return operation;
            names.push_back(operation.name);
        }
    }
    throw unknown("operation", name, names);
}

} // namespace tool
