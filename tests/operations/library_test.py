"""Calls every operation of operations/operations.json and looks whether the library does what
the table says.

    library_test.py LIBRARY [unittest arguments]
"""
import copy
import ctypes
import re
import sys
import unittest

from library import HEIGHT, WIDTH, Image, Library, limits
from table import DEPTHS, LAYOUTS, OPERATIONS, ROOT, pairs

ZYLQX = None
BAD_ARGUMENT = -5
KERNEL = {"rows": 3, "columns": 3, "anchorX": 1, "anchorY": 1, "shift": 2,
          "values": [1, 0, 1, 2, 1, 2, 0, 1, 1]}
# zylTranslateDIB has no image to read or write; its example stands for it.
ON_IMAGES = [each for each in OPERATIONS if each["function"] != "zylTranslateDIB"]
BITMAP_ROW = 64  # bytes, enough for the pictures below


class Bitmap(ctypes.LittleEndianStructure):
    _fields_ = [("size", ctypes.c_uint32), ("width", ctypes.c_int32), ("height", ctypes.c_int32),
                ("planes", ctypes.c_uint16), ("bits", ctypes.c_uint16),
                ("compression", ctypes.c_uint32), ("rest", ctypes.c_uint32 * 5),
                ("rows", ctypes.c_ubyte * (BITMAP_ROW * HEIGHT))]

    def __init__(self, width=WIDTH, height=HEIGHT, bits=24, rows=()):
        super().__init__(40, width, height, 1, bits, 0)
        for at, byte in enumerate(byte for row in reversed(rows) for byte in row):
            self.rows[at] = byte


def kinds(operation):
    return [each["kind"] for each in operation["parameters"]]


def default_arguments(operation, depth, layout):
    """Small values for what has no default."""
    arguments = {}
    for each in operation["parameters"]:
        kind = each["kind"]
        if kind == "kernel":
            arguments[each["name"]] = KERNEL
        elif kind == "kernels":
            arguments[each["name"]] = [KERNEL]
        elif kind == "twist":
            arguments[each["name"]] = {"scale": 2, "data": [1, 2, 3, 4, 5, 4, 3, 2, 1] + [0] * 7}
        elif kind == "tables":
            arguments[each["name"]] = [
                {"key": [0, 1, 100, 256] if depth != "1U" else [0, 1, 2, 2],
                 "value": [7, 40, 3, 0], "factor": [1, 1, 2, 0], "interpolate": 1}
                for _ in range(LAYOUTS[layout][0])]
        elif kind in ("int32", "uint32") and "default" not in each:
            low, high = each["small"]
            arguments[each["name"]] = low + (high - low) // 2 + 1
        elif kind == "bitmap":
            arguments[each["name"]] = Bitmap(rows=[[17 * i % 251 for i in range(BITMAP_ROW)]] * HEIGHT)
        elif kind == "bitmapOut":
            arguments[each["name"]] = Bitmap()
        elif kind == "shared":
            arguments[each["name"]] = ctypes.c_int32()
    return arguments


def limit_of(operation, limit, depth):
    """The number that a limit is with the defaults of all parameters."""
    if isinstance(limit, int):
        return limit
    if limit.startswith("depth."):
        return limits(depth)[limit == "depth.max"]
    name = limit.removesuffix("-1")
    other = next(each for each in operation["parameters"] if each["name"] == name)
    return other["default"] - (name != limit)


class Trial:
    """One call on pictures of the given depths and layouts: what it reported, and what became
    of its results. `change` prepares each picture; `in_place` makes the destination the source
    (true), or a picture like it (false)."""

    def __init__(self, operation, depths, layouts, change=None, in_place=None, tiled=False,
                 arguments=None, status=0, refusal=0):
        self.has_destination = "destination" in kinds(operation)
        models = operation.get("models", [None, None])
        self.arguments = default_arguments(operation, depths[0], layouts[0])
        self.arguments.update(arguments or {})
        self.images = []
        for seed, each in enumerate(operation["parameters"]):
            result = each["kind"] == "destination"
            if each["kind"] not in ("source", "second", "image", "destination"):
                continue
            if result and in_place:
                self.arguments[each["name"]] = self.images[0]
                continue
            if result and in_place is not None:
                seed = 0
            model = models[result]
            image = Image(depths[result], layouts[result], seed=seed, tiled=tiled,
                          model=model if model != "GRAY" else None)
            if change:
                change(image, result)
            self.images.append(image)
            self.arguments[each["name"]] = image
        before = self.results()
        Image.held, Image.refusal = [], refusal
        self.status, value = ZYLQX.call(operation, self.arguments, status)
        self.value = value if operation["result"] == "number" else None
        self.before, self.after = before, self.results()

    def results(self):
        bitmaps = [bytes(each) for each in self.arguments.values() if isinstance(each, Bitmap)]
        tables = [[list(array) for array in table["arrays"]] for name, tables in
                  self.arguments.items() if name == "lut" for table in tables if "arrays" in table]
        return [each.samples() for each in self.images], bitmaps, tables

    @property
    def done(self):
        if self.status != 0:
            return False
        if self.has_destination:
            return self.before[0][-1] != self.after[0][-1]
        return self.before != self.after or bool(self.value)


def any_layouts(operation, depths):
    """A pair of layouts that goes with these depths."""
    for pair in sorted(pairs(operation["layouts"]), key=lambda pair: pair[0] != pair[1]):
        if all(depth != "1U" or layout == "gray" for depth, layout in zip(depths, pair)):
            return pair
    return "gray", "gray"


def deep_pair(operation, same=False):
    """The first pair of depths that is not of bits, if there is one."""
    order = list(DEPTHS)
    found = sorted(pairs(operation["depths"]),
                   key=lambda pair: ("1U" in pair, [order.index(each) for each in pair]))
    return next(pair for pair in found if not same or pair[0] == pair[1])


class Described(unittest.TestCase):
    maxDiff = 2000

    def test_depths(self):
        for operation in ON_IMAGES:
            accepted = set()
            two = "destination" in kinds(operation) and "bitmap" not in kinds(operation)
            for source in DEPTHS:
                for result in DEPTHS if two else [source]:
                    layouts = any_layouts(operation, (source, result))
                    if Trial(operation, (source, result), layouts).done:
                        accepted.add((source, result))
            with self.subTest(operation["function"]):
                self.assertEqual(accepted, pairs(operation["depths"]))

    def test_layouts(self):
        for operation in ON_IMAGES:
            accepted = set()
            depths = deep_pair(operation)
            two = "destination" in kinds(operation) and "bitmap" not in kinds(operation)
            for source in LAYOUTS if depths[0] != "1U" else ["gray"]:
                for result in LAYOUTS if two else [source]:
                    if Trial(operation, depths, (source, result)).done:
                        accepted.add((source, result))
            with self.subTest(operation["function"]):
                self.assertEqual(accepted, pairs(operation["layouts"]))

    # A step outside a range is refused, its ends are not.
    def test_ranges(self):
        for operation in ON_IMAGES:
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            for each in operation["parameters"]:
                for end, step in (("min", -1), ("max", 1)):
                    if each["kind"] not in ("int32", "uint32") or end not in each:
                        continue
                    limit = limit_of(operation, each[end], depths[-1])
                    at, past = (Trial(operation, depths, layouts, arguments={each["name"]: value})
                                for value in (limit, limit + step))
                    with self.subTest(operation["function"], parameter=each["name"], end=end):
                        self.assertEqual((at.status, past.status), (0, BAD_ARGUMENT))

    def test_tiles(self):
        for operation in ON_IMAGES:
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            plain = Trial(operation, depths, layouts)
            tiled = Trial(operation, depths, layouts, tiled=True)
            with self.subTest(operation["function"]):
                self.assertEqual(plain.status, 0)
                self.assertEqual(tiled.done and tiled.after == plain.after, operation["tiles"])

    # When the n-th tile is not delivered, the call ends: the operations that the header names keep
    # other tiles, and only those of several passes leave pixels that are neither old nor new.
    def test_refused_tiles(self):
        keep = {each["function"] for each in OPERATIONS
                if each["family"] in ("arithmetic", "logic")} - {"zylAbs"} | {"zylThreshold"}
        repeat = {"zylErode", "zylDilate", "zylOpen", "zylClose"}
        kept = set()
        for operation in (each for each in ON_IMAGES if each["tiles"]):
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            good = Trial(operation, depths, layouts, tiled=True)
            for refusal in (1, 2, 3, 4, 5, 7):
                trial = Trial(operation, depths, layouts, tiled=True, refusal=refusal)
                if Image.held:
                    kept.add(operation["function"])
                if operation["function"] in repeat or operation["result"] != "same":
                    continue
                pixels = zip(*(sum(samples[0][-1], []) for samples in
                               (trial.before, good.after, trial.after)))
                with self.subTest(operation["function"], refusal=refusal):
                    self.assertTrue(all(now in (old, new) for old, new, now in pixels))
        self.assertEqual(kept, keep)

    # The header lists who stops when a negative status is left over.
    def test_left_over_status(self):
        text = " ".join((ROOT / "include/zylqx.h").read_text().replace(" *", " ").split())
        listed = re.search(r"A negative status that an earlier call has left (.*?)\. So it does",
                           text).group(1)
        stop = set()
        for operation in ON_IMAGES:
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            trial = Trial(operation, depths, layouts, status=BAD_ARGUMENT)
            counted = any(list(table["arrays"][1]) != table["value"]
                          for table in trial.arguments.get("lut", []))
            if trial.after[:2] == trial.before[:2] and not counted and not trial.value:
                stop.add(operation["function"])
            reset = operation["function"] in ("zylErode", "zylDilate", "zylOpen", "zylClose")
            with self.subTest(operation["function"]):
                self.assertEqual(trial.status, 0 if reset else BAD_ARGUMENT)
        self.assertEqual(stop, set(re.findall(r"zyl\w+", listed)))

    def test_regions(self):
        for operation in ON_IMAGES:
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            plain = Trial(operation, depths, layouts)
            part = Trial(operation, depths, layouts, lambda image, _: image.region(3, 2, 8, 7))
            with self.subTest(operation["function"]):
                self.assertEqual(part.status, 0)
                self.assertEqual((part.after, part.value) != (plain.after, plain.value),
                                 operation["regions"])
                if operation["regions"] and operation["result"] in ("same", "scaled", "changed"):
                    self.assertTrue(part.done)
                    was, now = part.before[0][-1], part.after[0][-1]
                    outside = [(x, y) for y in range(HEIGHT) for x in range(WIDTH)
                               if not (3 <= x < 11 and 2 <= y < 9)]
                    self.assertEqual([now[y][x] for x, y in outside],
                                     [was[y][x] for x, y in outside])

    def test_channel_of_interest(self):
        for operation in ON_IMAGES:
            colour = [pair for pair in pairs(operation["layouts"])
                      if all(layout.startswith("color") for layout in pair)]
            if not colour:
                continue
            depths, layouts = deep_pair(operation), min(colour)
            plain = Trial(operation, depths, layouts)
            one = Trial(operation, depths, layouts,
                        lambda image, _: image.region(0, 0, WIDTH, HEIGHT, channel=2))
            with self.subTest(operation["function"]):
                self.assertEqual(one.status, 0)
                self.assertEqual((one.after, one.value) != (plain.after, plain.value),
                                 operation["channel"])
                if operation["channel"] and operation["result"] in ("same", "scaled", "changed"):
                    others = [[[pixel[:1] + pixel[2:] for pixel in row] for row in image[-1]]
                              for image in (one.before[0], one.after[0])]
                    self.assertEqual(*others)

    def test_in_place(self):
        for operation in ON_IMAGES:
            if "destination" not in kinds(operation) or "bitmap" in kinds(operation):
                continue
            possible = False
            if any(a == b for a, b in pairs(operation["depths"])):
                layouts = any_layouts(operation, ("8U", "8U"))
                depths = deep_pair(operation, same=True)
                apart = Trial(operation, depths, layouts, in_place=False)
                at_once = Trial(operation, depths, layouts, in_place=True)
                possible = (at_once.status == 0 and layouts[0] == layouts[1]
                            and at_once.after[0][0] == apart.after[0][-1])
            with self.subTest(operation["function"]):
                self.assertEqual(possible, operation["inPlace"])

    def test_borders(self):
        for operation in ON_IMAGES:
            depths = deep_pair(operation)
            layouts = any_layouts(operation, depths)
            black = Trial(operation, depths, layouts)
            white = Trial(operation, depths, layouts, lambda image, _: image.border(0, 90))
            with self.subTest(operation["function"]):
                self.assertEqual(black.after != white.after, operation["borders"])

    def test_alpha(self):
        for operation in ON_IMAGES:
            with_alpha = [pair for pair in pairs(operation["layouts"]) if pair[1] == "color-alpha"]
            if not with_alpha or operation["result"] not in ("same", "scaled"):
                continue
            layouts = min(with_alpha, key=lambda pair: pair[0] != pair[1])
            trial = Trial(operation, deep_pair(operation), layouts)
            was, now = ([[pixel[3] for pixel in row] for row in images[0][-1]]
                        for images in (trial.before, trial.after))
            with self.subTest(operation["function"]):
                self.assertEqual(was == now, operation["alpha"] == "kept")

    def test_examples(self):
        for operation in OPERATIONS:
            with self.subTest(operation["function"]):
                run_example(self, operation)


def example_image(example, samples, models=None, result=False):
    layout = example.get("layout", "gray")
    depth = example["depth"]
    if result:
        depth = example.get("resultDepth", depth)
        layout = example.get("resultLayout", layout)
    model = models[result] if models and models[result] != "GRAY" else None
    return Image(depth, layout, len(samples[0]), len(samples), samples=samples, model=model)


def nested(samples):
    """Samples as the table writes them: pixels of one channel without brackets."""
    return [[pixel[0] if len(pixel) == 1 else pixel for pixel in row] for row in samples]


def run_example(test, operation):
    example = copy.deepcopy(operation["example"])
    arguments = default_arguments(operation, example.get("depth", "8U"), example.get("layout", "gray"))
    arguments.update(example.get("arguments", {}))
    models = operation.get("models")
    given = {}
    for each in operation["parameters"]:
        kind = each["kind"]
        if kind in ("source", "image") and not given:
            given[kind] = example_image(example, example["source"], models)
            arguments[each["name"]] = given[kind]
        elif kind in ("second", "image"):
            given["second"] = example_image(example, example["second"], models)
            arguments[each["name"]] = given["second"]
        elif kind == "destination":
            empty = [[[0] * LAYOUTS[example.get("resultLayout", example.get("layout", "gray"))][0]
                      for _ in row] for row in example["result"]]
            given[kind] = example_image(example, empty, models, result=True)
            arguments[each["name"]] = given[kind]
        elif kind in ("bitmap", "bitmapOut"):
            given[kind] = Bitmap(**example["bitmap"])
            arguments[each["name"]] = given[kind]
    status, value = ZYLQX.call(operation, arguments)
    test.assertEqual(status, 0)
    if operation["result"] == "number":
        test.assertEqual(value, example["result"])
    elif operation["result"] == "tables":
        counts = [list(table["arrays"][1])[:len(table["key"]) - 1] for table in arguments["lut"]]
        test.assertEqual(counts, example["result"])
    elif operation["result"] == "bitmap":
        flat = [byte for row in reversed(example["result"]) for byte in row]
        test.assertEqual(list(given["bitmapOut"].rows)[:len(flat)], flat)
    elif operation["result"] == "new":
        header = value.contents
        test.assertEqual((header.width, header.height, header.nChannels), (2, 1, 3))
        flat = [sample for row in example["result"] for pixel in row for sample in pixel]
        test.assertEqual(list((ctypes.c_ubyte * len(flat)).from_address(header.imageData)), flat)
        ZYLQX.functions.zylDeallocate(value, 3)
    else:
        changed = given.get("destination") or given["image"]
        test.assertEqual(nested(changed.samples()), example["result"])
        if "secondResult" in example:
            test.assertEqual(nested(given["second"].samples()), example["secondResult"])


if __name__ == "__main__":
    ZYLQX = Library(sys.argv.pop(1))
    unittest.main()
