#!/usr/bin/env python3
"""Measures what each operation costs a pixel, for the reference: writes docs/reference/costs.json.

    costs.py LIBRARY MACHINE

MACHINE is the processor's name, as the page shows it. Pictures have 1024 x 1024 pixels in
memory; the least processor time of some calls counts. Compare operations on one page with each
other; to compare with other libraries, use the benchmark `versus`.
"""
import ctypes
import json
import pathlib
import random
import struct
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests/operations"))
import library_test  # noqa: E402
from library import Call, Image, Library  # noqa: E402
from table import OPERATIONS, pairs  # noqa: E402

SIDE = 1024
CALLS, SECONDS = 7, 0.1
# Values that are more usual than the middle of what is allowed.
USUAL = {"rotate": {"angle": 3000}, "threshold": {"threshold": 128}, "l-shift-s": {"shift": 1},
         "r-shift-s": {"shift": 1}, "multiply-s-scale": {"scale": 128}, "add-s": {"value": 20},
         "alpha-composite-c": {"aA": 128, "aB": 255}}
DEPTHS = {"convert": ("16U", "8U"), "real-fft-2d": ("8U", "32S"), "ccs-fft-2d": ("32S", "8U"),
          "dct-2d": ("8U", "32S")}
LAYOUTS = {"convert-from-dib": [("color", "color")], "convert-to-dib": [("color", "color")]}
SHOWN = {"convert-from-dib": "from 24 bits", "convert-to-dib": "to 24 bits",
         "rotate": "30 degrees, linear", "zoom": "by 2, linear", "decimate": "to a half, linear",
         "convolve-2d": "one kernel of 3 x 3", "convolve-sep-2d": "3 and 3 coefficients",
         "blur": "3 x 3", "max-filter": "3 x 3", "min-filter": "3 x 3", "median-filter": "3 x 3",
         "norm": "L2 of a difference"}


def picture(depth, layout, side, seed, model):
    image = Image(depth, layout, side, side, samples=[], model=model if model != "GRAY" else None)
    # Small numbers, of deep samples too.
    step = 4 if depth == "32S" else 1
    noise = bytearray(len(image.memory))
    noise[::step] = random.Random(seed).randbytes(len(noise[::step]))
    ctypes.memmove(image.memory, bytes(noise), len(noise))
    return image


def bitmap():
    """A bitmap of 24 bits a pixel, as memory."""
    head = struct.pack("<IiiHHIIiiII", 40, SIDE, SIDE, 1, 24, 0, 0, 0, 0, 0, 0)
    return (ctypes.c_ubyte * (40 + 3 * SIDE * SIDE)).from_buffer_copy(
        head + random.Random(1).randbytes(3 * SIDE * SIDE))


def chosen(accepted, *wanted):
    """The first of the wanted pairs that is accepted."""
    allowed = pairs(accepted)
    return next((each for each in wanted if each in allowed), min(allowed))


def measured(library, operation):
    depths = DEPTHS.get(operation["name"]) or chosen(operation["depths"], ("8U", "8U"), ("8U", "1U"),
                                                     ("1U", "8U"))
    layouts = chosen(operation["layouts"], *LAYOUTS.get(operation["name"], []), ("gray", "gray"),
                     ("color", "color"))
    models = operation.get("models", [None, None])
    arguments = library_test.default_arguments(operation, depths[0], layouts[0])
    arguments.update(USUAL.get(operation["name"], {}))
    side = {"zoom": 2 * SIDE, "decimate": SIDE // 2}.get(operation["name"], SIDE)
    for i, each in enumerate(operation["parameters"]):
        kind, name = each["kind"], each["name"]
        if kind in ("source", "second", "image"):
            arguments[name] = picture(depths[0], layouts[0], SIDE, i, models[0])
        elif kind == "destination":
            arguments[name] = picture(depths[1], layouts[1], side, i, models[1])
        elif kind in ("bitmap", "bitmapOut"):
            arguments[name] = bitmap()
    call = Call(library, operation, arguments)
    function = getattr(library.functions, operation["function"])
    library.functions.zylSetErrStatus(0)
    function(*call.values)
    if library.functions.zylGetErrStatus() != 0:
        sys.exit(f"{operation['name']}: status {library.functions.zylGetErrStatus()}")
    times, until = [], time.process_time() + SECONDS
    while len(times) < CALLS or time.process_time() < until:
        start = time.process_time_ns()
        function(*call.values)
        times.append(time.process_time_ns() - start)
    call.free()
    return min(times) / side**2, depths, layouts


def main():
    library = Library(sys.argv[1])
    costs = {}
    for operation in OPERATIONS:
        if operation["name"] == "translate-dib":
            costs["translate-dib"] = "nothing where the image uses the bitmap's pixels; else that of " \
                "`zylConvertFromDIB`"
            continue
        nanoseconds, depths, layouts = measured(library, operation)
        what = [depths[0] if depths[0] == depths[1] else f"{depths[0]} to {depths[1]}",
                layouts[0].replace("-", " with ").replace("color", "colour")]
        what += [SHOWN[operation["name"]]] if operation["name"] in SHOWN else []
        costs[operation["name"]] = f"{nanoseconds:.2g} ns a pixel of {', '.join(what)}"
        print(f"{operation['name']:24} {costs[operation['name']]}")
    conditions = (f"Costs are the processor time of one pixel of the result: {SIDE} x {SIDE} pixels in "
                  f"memory, one thread, {sys.argv[2]}, by `docs/site/costs.py`. [How fast](../speed.md) "
                  "compares with other libraries.")
    (ROOT / "docs/reference/costs.json").write_text(
        json.dumps({"conditions": conditions, "operations": costs}, indent=1) + "\n")


main()
