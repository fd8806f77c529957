"""The operations as operations.json describes them, for whoever calls them."""
import json
import pathlib

import numpy as np

from zylqx import _core, _values

SIGN = 0x80000000
DEPTHS = {"1U": 1, "8U": 8, "8S": SIGN | 8, "16U": 16, "16S": SIGN | 16, "32S": SIGN | 32}
TYPES = {name: np.dtype(t) for name, t in zip(DEPTHS, ("bool", "uint8", "int8", "uint16", "int16", "int32"))}
DEPTH_OF = {TYPES[name]: depth for name, depth in DEPTHS.items()}
LAYOUTS = {"gray": 1, "gray-alpha": 2, "color": 3, "color-alpha": 4}
BIT = DEPTHS["1U"]
BOOL, BYTE = TYPES["1U"], TYPES["8U"]

# The library finds their rows by the header's other fields, not by the row stride.
BY_FIELDS = {"copy", "set", "exchange", "abs", "rotate", "convert_from_dib", "convert_to_dib"}
# The library wants images with equally many channels here, so a channel is copied out.
SAME_CHANNELS = {"blur", "convolve_sep_2d", "mirror", "real_fft_2d", "ccs_fft_2d", "dct_2d"}
# With this flag the library looks again at the images of the call before, which are gone.
UNSAFE = ("repeat",)
READ = ("source", "second", "alpha")
VALUES = {"bool": _values.truth, "float": _values.fraction, "kernel": _values.kernel,
          "kernels": _values.kernels, "twist": _values.twist}


def _layout_table(layouts):
    """Channels of a source: channels of the result; None for any."""
    if layouts == "any" or (isinstance(layouts, list) and len(layouts) == len(LAYOUTS)):
        return None
    if isinstance(layouts, list):
        return {LAYOUTS[name]: (LAYOUTS[name],) for name in layouts}
    table = {LAYOUTS[s]: tuple(LAYOUTS[r] for r in results) for s, results in layouts.items()}
    return table


class Operation:
    """What the description says about an operation, as run() needs it."""

    def __init__(self, entry, index, choices):
        self.name = entry["name"].replace("-", "_")
        self.index, self.result, self.reads = index, entry["result"], entry["reads"]
        self.channel = entry["channel"] and self.name not in SAME_CHANNELS
        self.alpha = entry["alpha"]
        # The last of two or four channels is then an alpha without saying so.
        self.uses_alpha = self.alpha == "used" or self.name == "alpha_composite_c"
        self.borders, self.in_place = entry["borders"], entry["inPlace"]
        self.models = entry.get("models")
        depths = entry["depths"]
        self.same_type = isinstance(depths, list)
        pairs = {d: [d] for d in depths} if self.same_type else depths
        self.types = {TYPES[d]: tuple(TYPES[r] for r in results) for d, results in pairs.items()}
        self.layouts = _layout_table(entry["layouts"])
        # Pixels outside the region count in the others, which get the region as such.
        self.crops = self.reads in ("pixel", "all") or not entry["regions"]
        self.by_fields = self.name in BY_FIELDS
        parameters = entry["parameters"]
        self.image_names = [_snake(p["name"]) for p in parameters
                            if p["kind"] in READ + ("image",)]
        self.image_kinds = [p["kind"] for p in parameters if p["kind"] in READ + ("image",)]
        self.checks = [_check(p, choices) for p in parameters if p["kind"] in VALUES
                       or p["kind"] in ("int32", "uint32", "choice", "flags", "tables")]
        self.tables = any(p["kind"] == "tables" for p in parameters)
        self.plan = [_role(p["kind"]) for p in parameters]
        self.plain = self._plain_depths()
        self.tile = next((p["kind"] for p in parameters if p["kind"] in ("tile", "point")), None)

    def _plain_depths(self):
        """The depths of arrays that plain calls take; none where a call is more than that."""
        special = self.reads == "all" or self.name in ("apply_color_twist", "alpha_composite")
        if special or self.models or self.uses_alpha or self.result not in ("same", "scaled", "tables"):
            return {}
        bits = self.result == "same" and not self.by_fields and self.name != "l_shift_s"
        return {t: DEPTH_OF[t] for t, results in self.types.items() if t in results and (t != BOOL or bits)}

    def __repr__(self):
        return f"<operation {self.name}>"


def _snake(name):
    text = "".join("_" + c.lower() if c.isupper() and i and not name[i - 1].isupper() else c.lower()
                   for i, c in enumerate(name))
    return text


def _role(kind):
    if kind in READ + ("image",):
        return "image"
    if kind in ("destination", "alphaDestination", "tile", "point"):
        return kind
    return "none" if kind in ("null", "count", "shared") else "value"


def _check(parameter, choices):
    """(name, function that checks a value) of a parameter."""
    kind, name = parameter["kind"], _snake(parameter["name"])
    if kind in ("choice", "flags"):
        make = _values.choice if kind == "choice" else _values.flags
        return name, make([c for c in choices[parameter["choices"]] if c["word"] not in UNSAFE])
    if kind in ("int32", "uint32"):
        least, most = (-2**31, 2**31 - 1) if kind == "int32" else (0, 2**32 - 1)
        low, high = parameter.get("min"), parameter.get("max")
        return name, _values.number(low if isinstance(low, int) else least,
                                    high if isinstance(high, int) else most)
    if kind == "tables":
        return name, lambda value, name: value
    if name == "ykernel":
        return name, lambda value, name: _values.kernel(
            np.reshape(value, (-1, 1)) if np.ndim(value) == 1 else value, name)
    return name, VALUES[kind]


def _load():
    path = pathlib.Path(__file__).with_name("operations.json")
    with open(path, encoding="utf-8") as file:
        table = json.load(file)
    indices = {name: i for i, name in enumerate(_core.names())}
    described = {}
    for entry in table["operations"]:
        if entry["function"] in indices:
            operation = Operation(entry, indices[entry["function"]], table["choices"])
            described[operation.name] = described[operation.name + "_"] = operation
    return described


DESCRIBED = _load()
