"""Makes, of the one description of the operations, what JavaScript sees of each.

    generate.py operations.json reports.py operations.js zylqx.d.ts

operations.js is the table that calls are made by; zylqx.d.ts has the types and the
documentation, after those in src/zylqx.d.ts. reports.py has the sentences for what
the library reports.
"""
import importlib.util
import json
import pathlib
import re
import sys

CHANNELS = {"gray": 1, "gray-alpha": 2, "color": 3, "color-alpha": 4}
IMAGES = ("source", "second", "image", "alpha")
VALUES = {
    "int32": "number", "uint32": "number", "bool": "boolean", "float": "number",
    "kernel": "KernelLike", "kernels": "KernelLike | KernelLike[]", "twist": "TwistLike",
    "tables": "Table | Table[]",
}
# JavaScript gives these another form: bitmaps are bytes there.
BITMAPS = ("zylTranslateDIB", "zylConvertFromDIB", "zylConvertToDIB")
# The library would look again at images of the call before, which are gone by then.
UNSAFE = ("repeat",)
# Whole pixels are moved here, the alpha with them.
MOVES = ("zylCopy", "zylExchange")
# Left out, these are the same as the other factor.
FACTORS = {"yU": "xU", "yL": "xL"}


def camel(name):
    """MedianFilter -> medianFilter, LShiftS -> lShiftS, DCT2D -> dct2D"""
    return re.sub(r"^[A-Z]+(?=[A-Z][a-z]|[^A-Za-z]|$)|^[A-Z]", lambda m: m[0].lower(), name)


class Parameter:
    def __init__(self, entry, function):
        self.kind, self.entry = entry["kind"], entry
        self.name = camel(entry["name"])
        self.is_value = self.kind in VALUES or self.kind in ("choice", "flags")
        default = entry.get("default")
        computed = isinstance(default, str) and self.kind not in ("choice", "flags")
        self.follows = FACTORS.get(self.name) or (default if computed else None)
        self.default = None if self.follows else default
        own_table = self.kind == "tables" and function != "zylContrastStretch"
        self.optional = bool(entry.get("nullable")) or default is not None or own_table

    def row(self):
        row = {"name": self.name, "kind": self.kind, "value": self.is_value, "help": self.entry["help"]}
        for key in ("word", "min", "max", "small", "unit", "choices", "nullable"):
            if key in self.entry:
                row[key] = self.entry[key]
        if self.follows:
            row["follows"] = self.follows
        elif self.default is not None:
            row["default"] = self.default
        if self.name == "ykernel":
            row["upright"] = True
        return row

    def type(self, choices):
        if self.kind in ("choice", "flags"):
            words = " | ".join(f"'{c['word']}'" for c in choices[self.entry["choices"]])
            return words if self.kind == "choice" else f"string | ({words})[]"
        return VALUES.get(self.kind, "ImageLike")

    def text(self):
        text, unit = self.entry["help"], self.entry.get("unit")
        if unit and unit not in text:
            text += f", in {unit}"
        low, high = self.entry.get("min"), self.entry.get("max")
        if low is not None and high is not None:
            text += f"; {low} to {high}"
        elif low is not None:
            text += f"; at least {low}"
        if self.follows:
            text += f"; {self.follows} if left out"
        elif self.default is not None:
            words = self.default if isinstance(self.default, (str, int, float)) else ", ".join(self.default)
            words = str(bool(words)).lower() if self.kind == "bool" else words
            text += f"; {words} if left out"
        elif self.kind == "tables" and self.optional:
            text += "; of the picture itself if left out"
        return text


class Operation:
    def __init__(self, entry, choices):
        self.entry, self.choices = entry, choices
        self.function = entry["function"]
        self.name = camel(self.function[3:])
        self.parameters = [Parameter(p, self.function) for p in entry["parameters"]]
        self.typed = isinstance(entry["depths"], dict)
        self.writes = any(p.kind == "destination" for p in self.parameters)
        shown = [p for p in self.parameters if p.kind in IMAGES] + [p for p in self.parameters if p.is_value]
        self.required = [p for p in shown if not p.optional]
        self.optional = [p for p in shown if p.optional]
        self.depth_first = self.function == "zylConvert"

    def arguments(self):
        names = [p.name for p in self.required] + (["depth"] if self.depth_first else [])
        return names, names + [p.name for p in self.optional]

    def options(self):
        names = [p.name for p in self.optional]
        if self.typed and not self.depth_first:
            names.append("depth")
        if self.entry["borders"]:
            names.append("border")
        names += [p.name for p in self.parameters if p.kind == "alphaDestination"]
        return names + (["out"] if self.writes else [])

    def layouts(self):
        """Channels of the source, each with those that the result may have."""
        layouts = self.entry["layouts"]
        if not isinstance(layouts, dict):
            return {}
        return {CHANNELS[s]: [CHANNELS[r] for r in results] for s, results in layouts.items()}

    def row(self):
        entry = self.entry
        required, arguments = self.arguments()
        # One pixel at a time: an alpha stays as it is.
        keeps = entry["alpha"] == "channel" and entry["reads"] == "pixel" and not self.typed \
            and self.function not in MOVES
        row = {
            "name": self.name, "function": self.function, "word": entry["name"], "family": entry["family"],
            "help": entry["help"], "parameters": [p.row() for p in self.parameters],
            "arguments": arguments, "required": len(required), "options": self.options(),
            "depths": entry["depths"], "layouts": entry["layouts"], "channels": self.layouts(),
            "result": entry["result"], "reads": entry["reads"], "borders": entry["borders"], "alpha": entry["alpha"],
            # Pixels outside the region do not count: the call gets the region alone.
            "crops": entry["reads"] in ("pixel", "all") or not entry["regions"],
            "keepsAlpha": keeps,
            "changesCopy": self.function == "zylPreMultiplyAlpha",
            # The last of two or four channels is an alpha without saying so.
            "usesAlpha": entry["alpha"] == "used" or self.function == "zylAlphaCompositeC",
        }
        if "models" in entry:
            row["models"] = entry["models"]
        return row

    def returns(self):
        result = self.entry["result"]
        if self.function == "zylPreMultiplyAlpha":
            return "Result<T>"
        if result in ("number", "changed", "tables"):
            return {"number": "number", "changed": "void", "tables": "Int32Array[]"}[result]
        layouts = self.layouts()
        same = all(count in results for count, results in layouts.items())
        return "Result<T>" if same and (not self.typed or self.keeps_depth()) else "Picture"

    def keeps_depth(self):
        """Whether the result has the source's depth unless another one is asked for."""
        return self.typed and self.entry["reads"] != "all" and not self.depth_first and \
            all(d in results for d, results in self.entry["depths"].items() if d == "8U")

    def declaration(self):
        options = f"{self.name[0].upper()}{self.name[1:]}Options"
        lines = ["/** " + self.entry["help"][0].upper() + self.entry["help"][1:] + "."]
        lines += [f" * @param {p.name} {p.text()}" for p in self.required + self.optional]
        if "note" in self.entry:
            lines.append(f" * Note: {self.entry['note'].replace('zylComputeHisto()', 'computeHisto()')}.")
        lines.append(" */")
        returns = self.returns()
        required = [f"{p.name}: {p.type(self.choices)}" for p in self.required]
        generic = ""
        if "<T>" in returns:
            generic = "<T extends ImageLike>"
            required[0] = f"{self.required[0].name}: T"
        if self.depth_first:
            required.append("depth: Depth")
        last = [f"options?: {options}"] if self.options() else []
        if self.keeps_depth():
            lines.append(f"{self.name}({', '.join(required).replace(': T', ': ImageLike')}, "
                         f"options: {options} & {{ depth: Depth }}): Picture;")
            last = [f"options?: Omit<{options}, 'depth'>"]
        for count in range(len(self.optional)):
            given = [f"{p.name}: {p.type(self.choices)} | undefined" for p in self.optional[:count]]
            lines.append(f"{self.name}{generic}({', '.join(required + given + last)}): {returns};")
        given = [f"{p.name}?: {p.type(self.choices)}" for p in self.optional]
        lines.append(f"{self.name}{generic}({', '.join(required + given + last)}): {returns};")
        return "\n".join("  " + line for line in lines) + "\n"

    def options_declaration(self):
        if not self.options():
            return ""
        fields = [(p.name, p.type(self.choices), p.text()) for p in self.optional]
        if self.typed and not self.depth_first:
            fields.append(("depth", "Depth", "of the result"))
        if self.entry["borders"]:
            fields.append(("border", "BorderLike", "what lies outside the picture; 0 if left out"))
        for p in self.parameters:
            if p.kind == "alphaDestination":
                fields.append((p.name, "ImageLike", p.entry["help"]))
        if self.writes:
            fields.append(("out", "ImageLike", "where the result goes"))
        name = f"{self.name[0].upper()}{self.name[1:]}Options"
        lines = [f"  /** {text} */\n  {field}?: {kind};" for field, kind, text in fields]
        return f"export interface {name} {{\n" + "\n".join(lines) + "\n}\n"


def reports(path):
    """The sentences for reports, in the words of JavaScript."""
    spec = importlib.util.spec_from_file_location("reports", path)
    module = importlib.util.module_from_spec(spec)
    spec.loader.exec_module(module)
    reword = lambda text: text.replace("arrays", "pictures").replace("compute_histo", "computeHisto")
    return module.STATUSES, [[part, reword(sentence)] for part, sentence in module.SENTENCES]


def main():
    description, reports_path, table_path, types_path = map(pathlib.Path, sys.argv[1:])
    table = json.loads(description.read_text(encoding="utf-8"))
    choices = {name: [c for c in words if c["word"] not in UNSAFE] for name, words in table["choices"].items()}
    operations = [Operation(o, choices) for o in table["operations"] if o["function"] not in BITMAPS]
    rows = [o.row() for o in operations]
    statuses, sentences = reports(reports_path)
    constants = {"FAMILIES": table["families"], "CHOICES": choices, "OPERATIONS": rows, "STATUSES": statuses,
                 "SENTENCES": sentences}
    table_path.write_text("// Made by generate.py.\n" + "".join(
        f"export const {name} = {json.dumps(value, ensure_ascii=False)};\n" for name, value in constants.items()),
        encoding="utf-8")

    own = pathlib.Path(__file__).with_name("src") / "zylqx.d.ts"
    types = own.read_text(encoding="utf-8")
    assert types.count("  // operations\n") == 1
    types = types.replace("  // operations\n", "\n".join(o.declaration() for o in operations))
    types_path.write_text(types + "\n" + "\n".join(filter(None, (o.options_declaration() for o in operations))),
                          encoding="utf-8")


main()
