"""Makes, of the one description of the operations, what Python sees of each.

    generate.py operations.json calls.h operations.py operations.pyi

calls.h calls the functions of the library; operations.py has a Python function
for each, with its signature and documentation; operations.pyi has their types.
"""
import json
import keyword
import re
import sys

TYPES = {"1U": "bool", "8U": "uint8", "8S": "int8", "16U": "uint16", "16S": "int16", "32S": "int32"}
CHANNELS = {"gray": 1, "gray-alpha": 2, "color": 3, "color-alpha": 4}

# How the core reads an argument, and how a C call passes it on.
KINDS = {
    "source": ("i", "image"), "second": ("i", "image"), "destination": ("i", "image"),
    "image": ("i", "image"), "alpha": ("i", "image"), "alphaDestination": ("i", "image"),
    "tile": ("p", "pair"), "point": ("p", "pair"), "null": ("p", "pair"), "shared": ("p", "pair"),
    "int32": ("n", "number"), "choice": ("n", "number"), "bool": ("n", "number"),
    "flags": ("n", "number"), "uint32": ("u", "natural"), "float": ("f", "fraction"),
    "kernel": ("k", "kernel"), "kernels": ("K", "kernels"), "count": ("c", "number"),
    "twist": ("w", "twist"), "tables": ("t", "tables"),
    "bitmap": ("b", "block"), "bitmapOut": ("B", "block"),
}
IMAGES = ("source", "second", "image", "alpha")
HIDDEN = ("destination", "tile", "point", "null", "count", "shared", "bitmapOut")
ANNOTATIONS = {
    "int32": "int", "uint32": "int", "bool": "bool", "float": "float", "choice": "int | str",
    "flags": "int | str | Sequence[str]", "kernel": "KernelLike",
    "kernels": "KernelLike | Sequence[KernelLike]", "twist": "TwistLike",
    "tables": "TableLike | Sequence[TableLike]", "bitmap": "bytes",
}

# Operations that Python gives another form: bitmaps are bytes there.
OWN = ("zylTranslateDIB", "zylConvertFromDIB", "zylConvertToDIB")
# The library would look again at images of the call before, which are gone by then.
UNSAFE = ("repeat",)


def snake(name):
    """srcImageA -> src_image_a, nRows -> n_rows, aA -> a_a"""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", name).lower()


def python_name(operation):
    """The name of an operation; words of the language get an underscore behind,
    and so does `open`, which opens pictures here."""
    name = operation["name"].replace("-", "_")
    return name + "_" if keyword.iskeyword(name) or name == "open" else name


def c_call(operation):
    parameters = operation["parameters"]
    casts = {"point": "(const ZylTileMapping *)a[{0}].pair", "null": "NULL"}
    arguments = ", ".join(
        casts.get(p["kind"], "a[{0}]." + KINDS[p["kind"]][1]).format(i)
        for i, p in enumerate(parameters))
    if operation["result"] == "new":
        return ""
    name = operation["function"]
    if operation["result"] == "number":
        body = f"return {name}({arguments});"
    else:
        body = f"{name}({arguments});\n    return 0;"
    return f"static double call_{name}(const Argument *a) {{\n    {body}\n}}\n"


def c_entry(operation):
    letters = "".join(KINDS[p["kind"]][0] for p in operation["parameters"])
    name = operation["function"]
    in_place = int(operation["inPlace"])
    return f'    {{"{name}", "{letters}", {in_place}, call_{name}}},\n'


def c_text(operations):
    called = [o for o in operations if o["result"] != "new"]
    return ("/* Made by generate.py. */\n" + "".join(map(c_call, called)) +
            "static const Operation OPERATIONS[] = {\n" + "".join(map(c_entry, called)) + "};\n")


class Parameter:
    """One argument of a Python function."""

    def __init__(self, description, operation):
        self.name = snake(description["name"])
        self.kind = description["kind"]
        self.description = description
        self.default = self.default_of(operation)
        self.required = self.default is None

    def default_of(self, operation):
        """Source text of the default; None when there is none."""
        if self.description.get("nullable"):
            return "None"
        if self.kind == "tables" and operation["function"] != "zylContrastStretch":
            return "None"
        if self.name in ("y_u", "y_l"):
            return "None"
        default = self.description.get("default")
        if default is None:
            return None
        if isinstance(default, str) and self.kind not in ("choice", "flags"):
            return "None"
        if self.kind == "bool":
            return str(bool(default))
        if self.kind == "flags":
            return repr("|".join(default))
        return repr(default)

    def annotation(self):
        if self.kind in IMAGES or self.kind == "alphaDestination":
            kind = "ImageLike"
        else:
            kind = ANNOTATIONS[self.kind]
        return kind + " | None" if self.default == "None" else kind

    def text(self):
        help_text = re.sub(r"\b[a-z]+[A-Z]\w*", lambda m: snake(m[0]), self.description["help"])
        help_text = re.sub(r"\bnull\b", "None", help_text)
        unit = self.description.get("unit")
        low, high = self.description.get("min"), self.description.get("max")
        if unit and unit not in help_text:
            help_text += f", in {unit}"
        if low is not None or high is not None:
            spell = lambda end: re.sub(r"[A-Za-z]\w*(\.\w+)?", lambda m: m[0] if "." in m[0]
                                       else snake(m[0]), str(end))
            if high is None:
                help_text += f"; at least {spell(low)}"
            elif low is None:
                help_text += f"; at most {spell(high)}"
            else:
                help_text += f"; {spell(low)} to {spell(high)}"
        default = self.description.get("default")
        if self.name in ("y_u", "y_l"):
            help_text += f"; as x_{self.name[-1]} if left out"
        elif self.kind == "tables" and self.default == "None":
            help_text += "; if left out, one interval for each value" \
                if "gets the counts" in help_text else "; if left out, that of the picture"
        elif self.default == "None" and isinstance(default, str):
            words = re.sub(r"[A-Za-z]+", lambda m: snake(m[0]), default).replace("/", " // ")
            help_text += f"; {words} if left out"
        return help_text


class Function:
    """The Python function of an operation."""

    def __init__(self, operation, choices):
        self.operation, self.choices = operation, choices
        self.name = python_name(operation)
        shown = [Parameter(p, operation) for p in operation["parameters"]
                 if p["kind"] not in HIDDEN]
        self.images = [p for p in shown if p.kind in IMAGES]
        self.alpha_destination = [p for p in shown if p.kind == "alphaDestination"]
        self.values = [p for p in shown if p.kind not in IMAGES + ("alphaDestination",)]
        self.typed = isinstance(operation["depths"], dict)
        self.writes = any(p["kind"] in ("destination",) for p in operation["parameters"]) \
            or self.name == "pre_multiply_alpha"
        self.convert = operation["function"] == "zylConvert"

    def signature(self, annotated, image_type="ImageLike"):
        def item(parameter):
            text = parameter.name
            if annotated:
                kind = image_type if parameter is self.images[0] else \
                    "ImageLike | Picture" if image_type == "Picture" else "ImageLike"
                text += ": " + parameter.annotation().replace("ImageLike", kind)
            if parameter.default is not None:
                text += (" = " if annotated else "=") + (parameter.default if not annotated
                                                          else "...")
            return text

        def own(name, kind, default="None"):
            return f"{name}: {kind} = ..." if annotated else f"{name}={default}"

        positional = [p for p in self.images + self.values if p.required]
        optional = [p for p in self.images + self.values if not p.required]
        items = [item(p) for p in positional]
        if self.convert:
            items.append("dtype: DTypeLike" if annotated else "dtype")
        items += [item(p) for p in optional]
        keywords = []
        if self.typed and not self.convert:
            keywords.append(own("dtype", "DTypeLike | None"))
        if self.operation["borders"]:
            keywords.append(own("border", "BorderLike | None"))
        keywords += [item(p) for p in self.alpha_destination]
        if self.writes and image_type != "Picture":
            keywords.append(own("out", "ImageLike | None"))
        return ", ".join(items + (["*"] + keywords if keywords else []))

    def types(self):
        depths = self.operation["depths"]
        if not self.typed:
            return "Samples: " + ", ".join(TYPES[d] for d in depths) + "."
        lines = {}
        for source, results in depths.items():
            lines.setdefault(", ".join(TYPES[r] for r in results), []).append(TYPES[source])
        return "Samples: " + "; ".join(f"{', '.join(sources)} to {results}"
                                       for results, sources in lines.items()) + "."

    def shapes(self):
        layouts = self.operation["layouts"]
        count = lambda names: " or ".join(str(CHANNELS[n]) for n in names)
        if isinstance(layouts, dict):
            return "Channels: " + "; ".join(f"{count([s])} to {count(r)}"
                                            for s, r in layouts.items()) + "."
        if layouts == "any" or len(layouts) == len(CHANNELS):
            return "Channels: any number." if "1U" not in self.operation["depths"] else \
                "Channels: any number; bool arrays have one."
        return f"Channels: {count(layouts)}."

    def returns(self):
        result = self.operation["result"]
        if self.name == "compute_histo":
            return ("The counts, an int32 array of (intervals,), or of (channels, intervals) for "
                    "an\n    array with channels.")
        if result == "number":
            return "A float."
        if not self.writes:
            return "None: the arrays themselves are changed."
        shape = "scaled by the factors" if result == "scaled" else "of the region's size"
        return f"A new array, {shape}, or `out`."

    def docstring(self):
        lines = [self.operation["help"][0].upper() + self.operation["help"][1:] + ".", ""]
        for p in self.images + self.values + self.alpha_destination:
            lines.append(f"    {p.name}: {p.text()}")
            if "choices" in p.description:
                for choice in self.choices[p.description["choices"]]:
                    if choice["word"] in UNSAFE:
                        continue
                    lines.append(f'        "{choice["word"]}" ({choice["value"]}): {choice["help"]}')
        if self.convert:
            lines.append("    dtype: the type of the result")
        elif self.typed:
            usual = "int32" if self.operation["reads"] == "all" else \
                "the source's where the operation gives it, else uint8 or the first it gives"
            lines.append(f"    dtype: the type of the result; {usual} if left out")
        if self.operation["borders"]:
            lines.append('    border: what lies outside the picture: "replicate", "mirror", "wrap", '
                         'a constant, or\n        four of these for top, bottom, left and right; '
                         '0 if left out')
        if self.writes:
            lines.append("    out: where the result goes")
        lines += ["", self.types(), self.shapes()]
        if "note" in self.operation:
            note = self.operation["note"].replace("zylComputeHisto()", "compute_histo()")
            lines.append(f"Note: {note}.")
        lines += ["", f"Returns: {self.returns()}",
                  "Raises: TypeError and ValueError for arguments that do not fit, Error for what "
                  "the\n    library reports."]
        example = self.example()
        if example:
            lines += [""] + example
        return "\n".join(("    " + line).rstrip().replace("\n", "\n    ") for line in lines)

    def example(self):
        example = self.operation["example"]
        result = example.get("result")
        if result is None or self.operation["result"] in ("bitmap", "new") or "bitmap" in example:
            return []
        source_type = TYPES[example["depth"]]
        arguments = [f"np.array({json.dumps(example['source'])}, \"{source_type}\")"]
        if "second" in example:
            arguments.append(f"np.array({json.dumps(example['second'])}, \"{source_type}\")")
        if self.convert:
            arguments.append(f'"{TYPES[example["resultDepth"]]}"')
        by_name = {p["name"]: p for p in self.operation["parameters"]}
        for name, value in example.get("arguments", {}).items():
            arguments.append(f"{snake(name)}={self.literal(by_name[name], value)}")
        if self.typed and not self.convert and "resultDepth" in example:
            arguments.append(f'dtype="{TYPES[example["resultDepth"]]}"')
        if not self.writes and self.operation["result"] == "changed":
            return self.changing_example(arguments, example)
        call = f">>> zx.{self.name}({', '.join(arguments)})"
        if self.operation["result"] in ("number",):
            return [call, repr(result)]
        if self.name == "compute_histo":
            return [call + ".tolist()", repr(result[0])]
        value = result
        if TYPES[example.get("resultDepth", example["depth"])] == "bool":
            value = json.loads(json.dumps(result), parse_int=bool)
        return [call + ".tolist()", repr(value)]

    def changing_example(self, arguments, example):
        lines = [f">>> a = {arguments[0]}"]
        names = ["a"]
        rest = arguments[1:]
        if "second" in example:
            lines.append(f">>> b = {rest.pop(0)}")
            names.append("b")
        lines.append(f">>> zx.{self.name}({', '.join(names + rest)})")
        return lines + [">>> a.tolist()", repr(example["result"])]

    def literal(self, parameter, value):
        kind = parameter["kind"]
        if kind == "tables":
            tables = [f"zx.Table({', '.join(f'{k}={v}' for k, v in t.items())})" for t in value]
            return tables[0] if len(tables) == 1 else "[" + ", ".join(tables) + "]"
        if kind == "twist":
            return f"zx.Twist({value['data']}, scale={value['scale']})"
        if kind in ("kernel", "kernels"):
            return self.kernels(value)
        return repr(value)

    def kernels(self, value):
        if isinstance(value, list) and value and isinstance(value[0], dict):
            made = [self.kernels(v) for v in value]
            return made[0] if len(made) == 1 else "[" + ", ".join(made) + "]"
        rows = value.get("values")
        if rows and not isinstance(rows[0], list):
            columns = value["nCols"] if "nCols" in value else value["columns"]
            rows = [rows[i:i + columns] for i in range(0, len(rows), columns)]
        settings = ""
        if value.get("shift", value.get("nShiftR")):
            settings += f", shift={value.get('shift', value.get('nShiftR'))}"
        x, y = value.get("anchorX"), value.get("anchorY")
        if x is not None:
            settings += f", anchor=({x}, {y})"
        return f"zx.Kernel({rows}{settings})"

    def source_text(self):
        images = "".join(p.name + ", " for p in self.images)
        values = "".join(p.name + ", " for p in self.values)
        keywords = ""
        if self.typed:
            keywords += ", dtype=dtype"
        if self.operation["borders"]:
            keywords += ", border=border"
        for p in self.alpha_destination:
            keywords += f", {p.name}={p.name}"
        if self.writes:
            keywords += ", out=out"
        lines = [f"def {self.name}({self.signature(False)}):", f'    """{self.docstring().strip()}', '    """']
        for p in self.values:
            default = p.description.get("default")
            if p.name in ("y_u", "y_l"):
                lines.append(f"    if {p.name} is None:\n        {p.name} = x_{p.name[-1]}")
            elif default in ("nCols/2", "nRows/2"):
                lines.append(f"    if {p.name} is None:\n        "
                             f"{p.name} = {snake(default[:-2])} // 2")
        lines.append(f"    return _run(_DESCRIBED[\"{self.name}\"], ({images.rstrip()}), "
                     f"({values.rstrip()}){keywords})")
        return "\n".join(lines) + "\n"

    def stub_text(self):
        result = {"number": "float", "tables": "np.ndarray"}.get(
            self.operation["result"], "np.ndarray" if self.writes else "None")
        if result != "np.ndarray" or self.name == "compute_histo" or not self.images:
            kind = "ImageLike | Picture" if self.writes or result != "None" else "ImageLike"
            return f"def {self.name}({self.signature(True, kind)}) -> {result}: ...\n"
        if self.name == "pre_multiply_alpha":
            return f"def {self.name}({self.signature(True)}) -> np.ndarray: ...\n"
        return (f"@overload\ndef {self.name}({self.signature(True)}) -> np.ndarray: ...\n"
                f"@overload\ndef {self.name}({self.signature(True, 'Picture')}) -> Picture: ...\n")


HEAD = '''"""The operations of zylqx. Made by generate.py of their one description."""
from zylqx._call import run as _run
from zylqx._operation import DESCRIBED as _DESCRIBED

'''
STUB_HEAD = '''from typing import Sequence, overload
import numpy as np
from zylqx._call import (BorderLike, DTypeLike, ImageLike, KernelLike, TableLike, TwistLike)
from zylqx.picture import Picture

'''


def main():
    description, calls, module, stub = sys.argv[1:]
    with open(description, encoding="utf-8") as file:
        table = json.load(file)
    operations = table["operations"]
    functions = [Function(o, table["choices"]) for o in operations if o["function"] not in OWN]
    names = [f.name for f in functions]
    listed = "\n__all__ = " + repr(names) + "\n"
    methods = [f.name for f in functions if f.images and f.images[0].kind == "source"]
    mixin = "\n\nclass Methods:\n    \"\"\"The operations as methods of their first picture.\"\"\"\n\n" + \
        "".join(f"    {name} = {name}\n" for name in methods)
    for path, text in ((calls, c_text(operations)),
                       (module, HEAD + "\n\n".join(f.source_text() for f in functions) + mixin + listed),
                       (stub, STUB_HEAD + "".join(f.stub_text() for f in functions) + mixin + listed)):
        with open(path, "w", encoding="utf-8") as file:
            file.write(text)


main()
