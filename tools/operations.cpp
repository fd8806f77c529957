#include "operations.h"

#include "described.h"
#include "text.h"

#include <algorithm>

namespace tool {

std::vector<std::span<const Operation>> operationFamilies() {
    return {
        resizeOperations(), editOperations(),     arithOperations(),     convertOperations(),
        filterOperations(), geometryOperations(), transformOperations(), statsOperations(),
    };
}

std::vector<Operation> completed(std::vector<Operation> operations) {
    for (Operation &operation : operations) {
        const Described *facts = described(operation.name);
        if (!facts) continue;
        if (operation.help.empty()) operation.help = facts->help;
        for (Parameter &parameter : operation.parameters) {
            if (parameter.kind != Kind::described) continue;
            const auto found =
                std::find_if(facts->parameters.begin(), facts->parameters.end(),
                             [&](const Parameter &known) { return known.name == parameter.name; });
            if (found == facts->parameters.end())
                throw std::logic_error("the library describes no " + std::string(parameter.name) +
                                       " of " + std::string(operation.name));
            parameter = *found;
        }
    }
    return operations;
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
