#include "chain.h"

#include "operations.h"
#include "text.h"

#include <algorithm>
#include <sstream>

namespace tool {

namespace {

std::string formatNumber(double value) {
    std::ostringstream out;
    out.precision(12);
    out << value;
    return out.str();
}

Misuse badValue(const Parameter &parameter, const std::string &word, const std::string &wanted) {
    return Misuse(std::string(parameter.name) + "=" + word + " is not " + wanted);
}

bool inRange(const Parameter &parameter, double value) {
    return value >= parameter.least && value <= parameter.most;
}

std::string range(const Parameter &p) {
    if (p.most == std::numeric_limits<double>::max()) return "";
    return " from " + formatNumber(p.least) + " to " + formatNumber(p.most);
}

Value parseValue(const Parameter &parameter, const std::string &word) {
    Value value{word};
    switch (parameter.kind) {
    case Kind::integer: {
        auto parsed = parseInteger(word);
        if (!parsed || !inRange(parameter, static_cast<double>(*parsed)))
            throw badValue(parameter, word, "an integer" + range(parameter));
        value.integer = *parsed;
        break;
    }
    case Kind::number: {
        auto parsed = parseNumber(word);
        if (!parsed || !inRange(parameter, *parsed))
            throw badValue(parameter, word, "a number" + range(parameter));
        value.number = *parsed;
        break;
    }
    case Kind::choice: {
        std::vector<std::string_view> names;
        for (const auto &[name, code] : parameter.choices) names.push_back(name);
        const auto code = parseInteger(word);
        for (const auto &[name, number] : parameter.choices)
            if (name == word || number == code) return {word, number};
        throw unknown(std::string(parameter.name) + " value", word, names);
    }
    case Kind::flag:
        if (word != "yes" && word != "no") throw badValue(parameter, word, "yes or no");
        value.integer = word == "yes";
        break;
    case Kind::text:
    case Kind::picture:
    case Kind::described:
        break;
    }
    return value;
}

// The values of all parameters, from the parts between the commas.
std::vector<std::pair<std::string_view, Value>> parseValues(const Operation &operation,
                                                            const std::vector<std::string> &parts) {
    std::vector<Parameter> parameters = operation.allParameters();
    std::vector<std::string_view> names;
    std::vector<std::pair<std::string_view, Value>> values;
    for (const Parameter &p : parameters) {
        names.push_back(p.name);
        bool empty = p.fallback.value_or("").empty();
        values.emplace_back(p.name, empty ? Value{} : parseValue(p, std::string(*p.fallback)));
    }
    for (const std::string &part : parts) {
        std::size_t equals = part.find('=');
        std::string name = part.substr(0, equals);
        auto found = std::find(names.begin(), names.end(), name);
        if (found == names.end()) throw unknown("parameter", name, names);
        const Parameter &parameter = parameters[found - names.begin()];
        Value &value = values[found - names.begin()].second;
        if (value.given) throw Misuse(name + " is given twice");
        bool bare = equals == std::string::npos;
        if (bare && parameter.kind != Kind::flag)
            throw Misuse(name + " needs a value: " + name + "=...");
        value = parseValue(parameter, bare ? "yes" : part.substr(equals + 1));
        value.given = true;
    }
    for (std::size_t i = 0; i < parameters.size(); ++i) {
        if (!parameters[i].fallback && !values[i].second.given) {
            throw Misuse("needs " + std::string(names[i]) + "=..., " +
                         std::string(parameters[i].help));
        }
    }
    return values;
}

} // namespace

Call parseCall(const std::string &given) {
    const std::string words = withoutAlias(given);
    const std::size_t colon = words.find(':');
    const Operation &operation = findOperation(words.substr(0, colon));
    std::vector<std::string> parts;
    if (colon != std::string::npos) parts = split(std::string_view(words).substr(colon + 1), ',');
    try {
        return {&operation, parseValues(operation, parts), given};
    } catch (const Misuse &misuse) {
        throw Misuse(given.substr(0, given.find(':')) + ": " + misuse.what());
    }
}

Pipeline::Node planCall(const Call &call, Pipeline &pipeline, Pipeline::Node picture,
                        const OpenPicture &open) {
    Step step(call, pipeline, picture, open);
    call.operation->plan(step);
    return step.node();
}

} // namespace tool
