#!/usr/bin/env python3
"""Writes the operations of include/zylqx.hpp, all that follows "Made by operations/hpp.py",
from operations.json. With --check it only tells whether they are up to date.
"""
import json
import pathlib
import re
import sys
import textwrap

ROOT = pathlib.Path(__file__).resolve().parent.parent
HEADER = ROOT / "include/zylqx.hpp"
BEGIN = "/* Made by operations/hpp.py of operations.json. */\n"
# C++ has these words itself.
KEYWORDS = {"and", "or", "xor", "not"}
# These want as many channels in both images, also when they work on one.
EQUAL_CHANNELS = {"blur", "convolve-sep-2d", "mirror"}
ENUMS = {"keep": "Keep", "diffusion": "Diffusion", "bitmap-dither": "BitmapDither",
         "palette": "Palette", "combine": "Combine", "interpolation": "Interpolation",
         "axis": "Axis", "fourier": "Fourier", "cosine": "Cosine", "norm": "Norm",
         "composite": "Composite"}
IMAGES = {"source": "Source", "second": "Source", "alpha": "Source", "destination": "Target",
          "image": "Target", "alphaDestination": "Target"}
NUMBERS = {"int32": "std::int32_t", "uint32": "std::uint32_t", "float": "float", "bool": "bool"}


def camel(word):
    first, *rest = word.split("-")
    name = first + "".join(each.capitalize() for each in rest)
    return name + "_" if name in KEYWORDS else name


def wrapped(text, indent):
    """Code is broken after commas, all else after words."""
    glue = "\0"
    if "(" in text and "/**" not in text:
        text = text.replace(" ", glue).replace("," + glue, ", ")
    filled = textwrap.fill(text, 100, initial_indent=indent, subsequent_indent=indent + "    ",
                           break_long_words=False, break_on_hyphens=False)
    return filled.replace(glue, " ")


class Parameter:
    """One parameter of a C function: what it is in C++ and what is passed on for it."""

    def __init__(self, entry, operation):
        self.entry = entry
        self.kind = entry["kind"]
        self.operation = operation
        self.name = self.named()

    def named(self):
        if self.kind in IMAGES:
            name = self.entry["name"]
            for begin, short in (("alphaImage", "alpha"), ("srcImage", "src"), ("dstImage", "dst")):
                if name.startswith(begin):
                    return short + name[len(begin):]
            return name
        return camel(self.entry["word"]) if "word" in self.entry else self.entry["name"]

    def by_name(self, name):
        return next(Parameter(each, self.operation) for each in self.operation["parameters"]
                    if each["name"] == name)

    def declared(self):
        """Type, name and default as they stand in a declaration; nothing if C++ has no such
        parameter."""
        default = self.entry.get("default")
        if self.kind in IMAGES:
            return f"{IMAGES[self.kind]} {self.name}", "{}" if self.entry.get("nullable") else None
        if self.kind in NUMBERS:
            if isinstance(default, str):
                return f"std::optional<{NUMBERS[self.kind]}> {self.name}", "{}"
            if default is not None:
                default = str(bool(default)).lower() if self.kind == "bool" else str(default)
            return f"{NUMBERS[self.kind]} {self.name}", default
        if self.kind in ("choice", "flags"):
            enum = ENUMS[self.entry["choices"]]
            if isinstance(default, list):
                default = default[0]
            return f"{enum} {self.name}", default and f"{enum}::{camel(default)}"
        return {"tile": ("std::optional<TileIndex> tile", "{}"),
                "point": ("std::optional<TileIndex> tile", "{}"),
                "kernels": (f"const Kernels &{self.name}", None),
                "kernel": (f"const Kernel &{self.name}", None),
                "twist": (f"const ColorTwist &{self.name}", None),
                "tables": (f"{'const ' if self.operation['name'] == 'contrast-stretch' else ''}"
                           f"Tables &{self.name}", None),
                "bitmap": (f"const void *{self.name}", None),
                "bitmapOut": (f"void *{self.name}", None)}.get(self.kind)

    def passed(self):
        if self.kind in IMAGES:
            return f"{self.name}.header()"
        default = self.entry.get("default")
        if self.kind in NUMBERS and isinstance(default, str):
            return f"{self.name}.value_or({self.computed(default)})"
        if self.kind == "bool":
            return f"{self.name} ? 1 : 0"
        if self.kind in ("choice", "flags"):
            return f"static_cast<std::int32_t>({self.name})"
        target = next((each["name"] for each in self.operation["parameters"]
                       if each["kind"] in ("destination", "image")), None)
        return {"tile": "detail::Pair(tile).get()", "null": "nullptr",
                "point": f"detail::Point(tile, {target and self.by_name(target).name}).get()",
                "kernels": f"{self.name}.pointers()", "kernel": f"{self.name}.get()",
                "twist": f"{self.name}.get()", "tables": f"{self.name}.pointers()",
                "count": f"{self.by_name(self.entry.get('of', self.entry['name'])).name}.count()"
                if self.kind == "count" else ""}.get(self.kind, self.name)

    def computed(self, default):
        if default == "depth.max":
            return "detail::largest(dst)"
        name = default.removesuffix("/2")
        if name in ("width", "height"):
            return f"detail::half(&ZylImage::{name}, src)"
        return f"{self.by_name(name).name} / 2"


def declaration(parameters):
    """Defaults only where none without follows."""
    parts = [p.declared() for p in parameters if p.declared()]
    last = max((i for i, (_, default) in enumerate(parts) if default is None), default=-1)
    return ", ".join(text if default is None or i < last else f"{text} = {default}"
                     for i, (text, default) in enumerate(parts))


def function(head, body, indent):
    return wrapped(head + " {", indent) + "\n" + "".join(
        wrapped(line, indent + "    ") + "\n" for line in body) + indent + "}\n"


class Operation:
    def __init__(self, entry):
        self.entry = entry
        self.name = camel(entry["name"])
        self.parameters = [Parameter(each, entry) for each in entry["parameters"]]

    def call(self):
        return f"{self.entry['function']}({', '.join(p.passed() for p in self.parameters)});"

    def throwing(self):
        result = "double" if self.entry["result"] == "number" else "void"
        call = "const double result = " + self.call() if result == "double" else self.call()
        body = ["const detail::Listener listener;", call,
                f'listener.raise("{self.entry["function"]}");']
        if result == "double":
            body.append("return result;")
        return function(f"inline {result} {self.name}({declaration(self.parameters)})", body, "")

    def status(self):
        parameters, call = declaration(self.parameters), self.call()
        if self.entry["result"] == "number":
            parameters = re.sub(" = [^,]*", "", parameters) + ", double &result"
            call = "result = " + call
        return function(f"inline ZylStatus {self.name}({parameters}) noexcept",
                        ["const detail::Listener listener;", call, "return listener.status();"], "")

    def like_the_source(self):
        """Whether a result of the source's depth, channels and color model is usual. Conversions
        have examples that change the depth."""
        e = self.entry
        same = lambda accepted: isinstance(accepted, (list, str)) or all(
            source in results for source, results in accepted.items())
        return same(e["depths"]) and same(e["layouts"]) and "models" not in e and "resultDepth" not in e["example"]

    def making(self):
        """The form that makes its result."""
        kinds = [p.kind for p in self.parameters]
        if "destination" not in kinds or "source" not in kinds:
            return ""
        target = next(p for p in self.parameters if p.kind == "destination")
        others = [p for p in self.parameters if p not in (target,) and
                  p.kind not in ("tile", "point", "null", "count", "alphaDestination")]
        source = others[0]
        given = [p.name if p is not target else "result" for p in self.parameters
                 if (p in others or p is target) and p.declared()]
        if self.like_the_source():
            head = declaration(others)
            if self.entry["result"] == "scaled":
                made = f"{source.name}, xUp, xDown, yUp, yDown"
            else:
                flags = (self.entry["regions"], self.entry["alpha"] == "kept")
                made = ", ".join([source.name, *(str(flag).lower() for flag in flags)])
                if self.entry["name"] in EQUAL_CHANNELS:
                    made += ", detail::Result::all"
            body = [f"detail::Result made({made});"]
            given[given.index("result")] = "made.target()"
            end = "return made.take();"
        else:
            declared = [p.declared() for p in others]
            head = ", ".join([declared[0][0], "const Shape &shape",
                              *(text if default is None else f"{text} = {default}"
                                for text, default in declared[1:])])
            body, end = ["Image result(shape);"], "return result;"
        call = f"{self.name}({', '.join(self.forwarded(given))});"
        return function(f"[[nodiscard]] inline Image {self.name}({head})", body + [call, end], "")

    def forwarded(self, names):
        """With a destination of alpha left out among them, an empty one."""
        if "alphaDestination" not in [p.kind for p in self.parameters]:
            return names
        place = next(i for i, name in enumerate(names) if name == "preMultiplied")
        return names[:place] + ["{}"] + names[place:]

    def comment(self):
        help_text = self.entry["help"][0].upper() + self.entry["help"][1:]
        return wrapped(f"/** {help_text}: {self.entry['function']}(). */", "").replace(
            "\n    ", "\n * ") + "\n"


def enum(name, choices):
    lines = [f"enum class {ENUMS[name]} : std::int32_t {{"]
    lines += [f"    /** {each['help'][0].upper() + each['help'][1:]}. */\n"
              f"    {camel(each['word'])} = {each['constant'] or each['value']}," for each in choices]
    lines.append("};")
    if name in ("fourier", "cosine"):
        kind = ENUMS[name]
        lines += [f"inline constexpr {kind} operator|({kind} a, {kind} b) noexcept {{",
                  f"    return static_cast<{kind}>(static_cast<std::int32_t>(a) | "
                  "static_cast<std::int32_t>(b));", "}"]
    return "\n".join(lines) + "\n"


# What differs from all others: an image is returned.
TRANSLATE = """\
/** Makes an image of a device-independent bitmap: zylTranslateDIB(). `shared` tells whether it
 * uses the bitmap's own pixels. */
[[nodiscard]] inline Image translateDib(const void *dib, bool *shared = nullptr) {
    const detail::Listener listener;
    std::int32_t cloned = 0;
    Image image = Image::adopt(zylTranslateDIB(dib, &cloned));
    listener.raise("zylTranslateDIB");
    if (shared != nullptr) *shared = cloned != 0;
    return image;
}
"""
TRANSLATE_STATUS = """\
inline ZylStatus translateDib(const void *dib, Image &image, bool *shared = nullptr) noexcept {
    const detail::Listener listener;
    std::int32_t cloned = 0;
    image = Image::adopt(zylTranslateDIB(dib, &cloned));
    if (shared != nullptr) *shared = cloned != 0;
    return listener.status();
}
"""


def text():
    table = json.loads((ROOT / "operations/operations.json").read_text())
    operations = [Operation(each) for each in table["operations"]]
    parts = [enum(name, choices) for name, choices in table["choices"].items()]
    parts += [TRANSLATE if o.name == "translateDib" else
              o.comment() + o.throwing() + o.making() for o in operations]
    parts.append("/** The same, none of them throws: each returns the status, below 0 when it failed. */\n"
                 "namespace status {\n")
    parts += [TRANSLATE_STATUS if o.name == "translateDib" else o.status() for o in operations]
    parts.append("} // namespace status\n\n} // namespace zyl\n/* clang-format on */\n\n#endif\n")
    return "\n".join(parts)


def main():
    before = HEADER.read_text()
    kept = before.split(BEGIN)[0]
    if BEGIN not in before:
        kept += "/* clang-format off */\n"
    after = kept + BEGIN + "\n" + text()
    if sys.argv[1:] == ["--check"]:
        if after != before:
            sys.exit("include/zylqx.hpp is not what operations/hpp.py makes: run it")
        return
    HEADER.write_text(after)


if __name__ == "__main__":
    main()
