#!/usr/bin/env python3
"""Makes a C++ table of what the description of the library says of its operations.

    described.py operations.json described_table.cpp
"""

import json
import sys

DEPTHS = ("1U", "8U", "8S", "16U", "16S", "32S")
LAYOUTS = ("gray", "gray-alpha", "color", "color-alpha")
RANGES = {"int32": (-2**31, 2**31 - 1), "uint32": (0, 2**32 - 1), "float": (None, None)}


def text(words):
    return json.dumps(words)


def depth_pairs(depths):
    if isinstance(depths, list):
        depths = {depth: [depth] for depth in depths}
    return "{" + ", ".join("{%s, {%s}}" % (constant(source), ", ".join(map(constant, results)))
                           for source, results in depths.items()) + "}"


def constant(depth):
    return "ZYL_DEPTH_" + depth


def layout_flags(layouts):
    names = LAYOUTS if layouts == "any" else list(layouts)
    return sum(1 << LAYOUTS.index(name) for name in names)


def bound(value, otherwise):
    """Bounds that follow from other values are left to the library."""
    return value if isinstance(value, (int, float)) else otherwise


def parameter(entry, choices):
    kind, word, help_text = entry["kind"], text(entry["word"]), text(entry["help"])
    if "unit" in entry and entry["unit"] not in entry["help"]:
        help_text = text(entry["help"] + ", in " + entry["unit"])
    if kind == "bool":
        return "flag(%s, %s)" % (word, help_text)
    default = entry.get("default")
    fallback = "required" if default is None else text(default if isinstance(default, str) and
                                                       kind == "choice" else str(default))
    if not isinstance(default, (int, float)) and default is not None and kind != "choice":
        fallback = '""'  # it follows from the picture
    if kind == "choice":
        words = ", ".join("{%s, %d}" % (text(choice["word"]), choice["value"])
                          for choice in choices[entry["choices"]])
        return "choice(%s, %s, %s, {%s})" % (word, fallback, help_text, words)
    least, most = RANGES[kind]
    if kind == "float":
        return "number(%s, %s, %s)" % (word, fallback, help_text)
    return "integer(%s, %s, %s, %d.0, %d.0)" % (
        word, fallback, help_text, bound(entry.get("min"), least), bound(entry.get("max"), most))


def operation(entry, choices):
    parameters = [parameter(p, choices) for p in entry["parameters"]
                  if p["kind"] in ("int32", "uint32", "float", "bool", "choice") and "word" in p]
    models = entry.get("models", [""])
    return "{%s, %s, %s, %d, %s,\n {%s}}" % (
        text(entry["name"]), text(entry["help"].replace("colour", "color")),
        depth_pairs(entry["depths"]), layout_flags(entry["layouts"]), text(models[0]),
        ",\n  ".join(parameters))


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        description = json.load(file)
    rows = ",\n".join(operation(entry, description["choices"])
                      for entry in description["operations"] if not entry["name"].endswith("-dib"))
    with open(sys.argv[2], "w", encoding="utf-8") as file:
        file.write('#include "described.h"\n\nnamespace tool {\n\n'
                   "const std::vector<Described> &describedOperations() {\n"
                   "static const std::vector<Described> table = {\n" + rows +
                   "};\nreturn table;\n}\n\n} // namespace tool\n")


if __name__ == "__main__":
    main()
