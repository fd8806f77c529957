"""operations/operations.json and the prototypes of include/zylqx.h, as Python has them."""
import json
import pathlib
import re

ROOT = pathlib.Path(__file__).resolve().parents[2]
TABLE = json.loads((ROOT / "operations/operations.json").read_text())
OPERATIONS = TABLE["operations"]
CHOICES = TABLE["choices"]

DEPTHS = {"1U": 1, "8U": 8, "8S": 0x80000008, "16U": 16, "16S": 0x80000010, "32S": 0x80000020}
LAYOUTS = {"gray": (1, 0), "gray-alpha": (2, 2), "color": (3, 0), "color-alpha": (4, 4)}

IMAGES = ["source", "second", "destination", "image", "alpha", "alphaDestination"]
C_TYPES = {
    **{kind: "ZylImage *" for kind in IMAGES},
    "int32": "int32_t", "uint32": "uint32_t", "float": "float", "bool": "int32_t",
    "choice": "int32_t", "flags": "int32_t", "count": "int32_t",
    "tile": "const int32_t *", "point": "const ZylTileMapping *", "null": "const ZylTileMapping *",
    "kernel": "const ZylConvKernel *", "kernels": "ZylConvKernel *const *",
    "twist": "const ZylColorTwist *", "tables": "ZylLUT *const *",
    "bitmap": "const void *", "bitmapOut": "void *", "shared": "int32_t *",
}
RANGES = {"int32": (-2**31, 2**31 - 1), "uint32": (0, 2**32 - 1)}


def pairs(accepted):
    """The pairs that `depths` or `layouts` of an operation stand for."""
    if accepted == "any":
        return {(source, result) for source in LAYOUTS for result in LAYOUTS}
    if isinstance(accepted, list):
        return {(each, each) for each in accepted}
    return {(source, result) for source, results in accepted.items() for result in results}


def header_text():
    text = (ROOT / "include/zylqx.h").read_text()
    return re.sub(r"/\*.*?\*/", " ", text, flags=re.S)


def prototypes():
    """Of each exported function its result's type and its parameters (type, name)."""
    found = {}
    for result, name, inside in re.findall(r"ZYL_API ([^;(]*?)ZYL_CALL (zyl\w+)\(([^;]*?)\);",
                                           header_text()):
        parameters = []
        for parameter in " ".join(inside.split()).split(", "):
            if parameter != "void":
                parameters.append(re.fullmatch(r"(.*?)(\w+)", parameter).groups())
        found[name] = (result.strip(), [(kind.strip(), word) for kind, word in parameters])
    return found


def constants():
    return {name: int(value, 0)
            for name, value in re.findall(r"\b(ZYL_\w+) = (-?\w+)", header_text())}
