"""Writes a test of zylqx.hpp: the example of every operation through all of its forms.

    examples.py operations.json examples_test.cpp
"""
import json
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "operations"))
from hpp import ENUMS, Operation, camel  # noqa: E402

CHANNELS = {"gray": 1, "gray-alpha": 2, "color": 3, "color-alpha": 4}


def flat(samples):
    return [number for row in samples for pixel in row
            for number in (pixel if isinstance(pixel, list) else [pixel])]


def numbers(values):
    return "{" + ", ".join(map(str, values)) + "}"


class Example:
    def __init__(self, entry):
        self.entry = entry
        self.example = entry["example"]
        self.operation = Operation(entry)

    def shape(self, samples, result=False):
        models = self.entry.get("models", ["", ""])
        depth, layout = self.example["depth"], self.example.get("layout", "gray")
        if result:
            depth = self.example.get("resultDepth", depth)
            layout = self.example.get("resultLayout", layout)
        return (f'shapeOf("{models[result]}", {CHANNELS[layout]}, ZYL_DEPTH_{depth}, '
                f"{len(samples[0])}, {len(samples)})")

    def image(self, field):
        samples = self.example[field]
        return f"imageOf({self.shape(samples)}, {numbers(flat(samples))})"

    def kernel(self, value):
        return (f"zyl::Kernel({value['rows']}, {value['columns']}, {numbers(value['values'])}, "
                f"{value['shift']}, zyl::Kernel::Anchor{{{value['anchorX']}, {value['anchorY']}}})")

    def literal(self, p, value):
        if value is None:
            return "{}"
        if p.kind == "kernels":
            return self.kernel(value[0])
        if p.kind == "kernel":
            return self.kernel(value)
        if p.kind == "twist":
            return f"zyl::ColorTwist(std::array<std::int32_t, 16>{{{numbers(value['data'])[1:-1]}}}, {value['scale']})"
        if p.kind == "tables":
            return "tables"
        if p.kind in ("choice", "flags"):
            word = value[0] if isinstance(value, list) else value
            return f"zyl::{ENUMS[p.entry['choices']]}::{camel(word)}"
        if p.kind == "bool":
            return str(bool(value)).lower()
        return "{}" if isinstance(value, str) else f"{value}{'.0F' if isinstance(value, float) and float(value).is_integer() else 'F' if isinstance(value, float) else ''}"

    def values(self):
        """The arguments that are no images; the last ones only if they are given."""
        given = self.example.get("arguments", {})
        values = [p for p in self.operation.parameters if p.kind not in
                  ("source", "second", "destination", "image", "tile", "point", "null", "count",
                   "bitmap", "bitmapOut", "shared")]
        last = max((i for i, p in enumerate(values) if p.entry["name"] in given), default=-1)
        return [self.literal(p, given.get(p.entry["name"], p.entry.get("default")))
                for p in values[:last + 1]]

    def tables(self):
        given = self.example.get("arguments", {}).get("lut")
        if not given:
            return ""
        table = given[0]
        lines = f"    zyl::Tables tables(1, {numbers(table['key'])}, {str('factor' in table).lower()});\n"
        for field, method in (("value", "values"), ("factor", "slopes")):
            if field in table:
                lines += (f"    std::ranges::copy(std::vector<int>{numbers(table[field])}, "
                          f"tables.{method}(0).begin());\n")
        return lines

    def lines(self):
        name, kinds = self.operation.name, [p.kind for p in self.operation.parameters]
        values = self.values()
        sources = [each for each, kind in (("a", "source"), ("b", "second"))
                   if kind in kinds and (each == "a" or "second" in self.example)]
        result = self.example["result"]
        text = f"    auto a = {self.image('source')};\n"
        if "second" in self.example:
            text += f"    auto b = {self.image('second')};\n"
        if self.entry["result"] == "number":
            text += f"    EXPECT_EQ(zyl::{name}({', '.join(sources + values)}), {result});\n"
            text += "    double number = 0;\n"
            text += f"    EXPECT_EQ(zyl::status::{name}(a, b, zyl::Norm::l2, number), ZYL_StsOk);\n"
            return text + f"    EXPECT_EQ(number, {result});\n"
        if self.entry["result"] == "tables":
            for space in ("zyl::", "zyl::status::"):
                text += "    {\n    " + self.tables().replace("\n", "\n") + \
                    f"        {space}{name}(a, tables);\n" + \
                    "".join(f"        EXPECT_EQ(tables.values(0)[{i}], {count});\n"
                            for i, count in enumerate(result[0])) + "    }\n"
            return text
        expected = f"(std::vector<std::int64_t>{numbers(flat(result))})"
        if self.entry["result"] == "changed":
            images = ["a", "b"][:kinds.count("image")]
            text += f"    zyl::{name}({', '.join(images + values)});\n    EXPECT_EQ(samplesOf(a), {expected});\n"
            text += f"    auto again = {self.image('source')};\n"
            if len(images) == 2:
                return text + f"    EXPECT_EQ(samplesOf(b), (std::vector<std::int64_t>{numbers(flat(self.example['secondResult']))}));\n"
            return text + f"    EXPECT_EQ(zyl::status::{name}({', '.join(['again'] + values)}), ZYL_StsOk);\n" + \
                f"    EXPECT_EQ(samplesOf(again), {expected});\n"
        shape = self.shape(result, True)
#Each form gets fresh tables : some operations write them.
        for form in (f"zyl::{name}({', '.join(sources + ['result'] + values)});",
                     f"EXPECT_EQ(zyl::status::{name}({', '.join(sources + ['result'] + values)}), ZYL_StsOk);"):
            text += "    {\n" + re.sub("^", "    ", self.tables(), flags=re.M).rstrip(" ") + \
                f"        zyl::Image result({shape});\n        {form}\n" + \
                f"        EXPECT_EQ(samplesOf(result), {expected});\n    }}\n"
        made = sources[:1] + ([] if self.operation.like_the_source() else [shape]) + sources[1:] + values
        text += self.tables()
        return text + f"    EXPECT_EQ(samplesOf(zyl::{name}({', '.join(made)})), {expected});\n"


def main():
    description, output = sys.argv[1:]
    with open(description, encoding="utf-8") as file:
        entries = json.load(file)["operations"]
    examples = [Example(each) for each in entries if "bitmap" not in each["example"]]
    with open(output, "w", encoding="utf-8") as file:
        file.write('#include "samples.h"\n\n#include <gtest/gtest.h>\n\n#include <algorithm>\n\n'
                   "using support::imageOf, support::samplesOf, support::shapeOf;\n\n")
        for each in examples:
            file.write(f"TEST(Examples, {each.operation.name}) {{\n{each.lines()}}}\n\n")


main()
