"""The library through ctypes, called as operations/operations.json describes it."""
import ctypes
import random

from table import CHOICES, DEPTHS, LAYOUTS, OPERATIONS

int32 = ctypes.c_int32


class Region(ctypes.Structure):
    _fields_ = [(name, int32) for name in ("coi", "xOffset", "yOffset", "height", "width")]


class TileInfo(ctypes.Structure):
    _fields_ = [("callBack", ctypes.c_void_p), ("id", ctypes.c_void_p),
                ("tileData", ctypes.c_void_p), ("width", int32), ("height", int32)]


class Header(ctypes.Structure):
    _fields_ = [("headerSize", int32), ("headerId", int32), ("nChannels", int32),
                ("alphaChannel", int32), ("depth", ctypes.c_uint32),
                ("colorModel", ctypes.c_char * 4), ("channelSeq", ctypes.c_char * 4),
                ("dataOrder", int32), ("origin", int32), ("align", int32),
                ("height", int32), ("width", int32), ("roi", ctypes.POINTER(Region)),
                ("maskRoi", ctypes.c_void_p), ("imageTag", ctypes.c_void_p),
                ("tileInfo", ctypes.POINTER(TileInfo)), ("imageSize", int32),
                ("imageData", ctypes.c_void_p), ("widthStep", int32),
                ("borderMode", int32 * 4), ("borderConst", int32 * 4),
                ("imageDataOrigin", ctypes.c_void_p)]


class Lut(ctypes.Structure):
    _fields_ = [("num", int32), ("key", ctypes.POINTER(int32)), ("value", ctypes.POINTER(int32)),
                ("factor", ctypes.POINTER(int32)), ("interpolate", int32)]


class Point(ctypes.Structure):
    _fields_ = [("xDst", int32), ("yDst", int32)]


TileCallBack = ctypes.CFUNCTYPE(None, ctypes.POINTER(Header), int32, int32, int32)
SAMPLES = {"8U": ctypes.c_uint8, "8S": ctypes.c_int8, "16U": ctypes.c_uint16,
           "16S": ctypes.c_int16, "32S": int32}
SEQUENCES = {1: b"G", 2: b"GA", 3: b"RGB", 4: b"RGBA"}
MODELS = {1: b"GRAY", 2: b"GRAY", 3: b"RGB", 4: b"RGBA"}
TILE = 8
WIDTH, HEIGHT = 13, 11  # of pictures: four tiles, three of them cut
RELEASE_TILE = 4


def limits(depth):
    if depth == "1U":
        return 0, 1
    bits = int(depth[:-1])
    return (0, 2**bits - 1) if depth[-1] == "U" else (-2**(bits - 1), 2**(bits - 1) - 1)


class Library:
    def __init__(self, path):
        self.functions = ctypes.CDLL(path)
        f = self.functions
        for name in ("zylCreateImageHeader", "zylCreateConvKernel", "zylCreateColorTwist"):
            getattr(f, name).restype = ctypes.c_void_p
        f.zylTranslateDIB.restype = ctypes.POINTER(Header)
        f.zylNorm.restype = ctypes.c_double
        f.zylRedirectError(f.zylNulDevReport)
        f.zylSetErrMode(1)

    def call(self, operation, arguments, status=0):
        """Calls the operation with the arguments, keyed by the parameters' names. Those that are
        not given have their default; `status` is left over from before. Returns the status and
        the function's result."""
        call = Call(self, operation, arguments)
        self.functions.zylSetErrStatus(status)
        result = getattr(self.functions, operation["function"])(*call.values)
        call.free()
        return self.functions.zylGetErrStatus(), result


class Call:
    """The arguments of one call, and what has to live as long as it runs."""

    def __init__(self, library, operation, given):
        self.functions = library.functions
        self.given = given
        self.kept = []
        self.release = []
        self.values = [self.value(each, operation) for each in operation["parameters"]]

    def free(self):
        for function, pointer in self.release:
            function(pointer)

    def value(self, parameter, operation):
        kind = parameter["kind"]
        given = self.given.get(parameter["name"], parameter.get("default"))
        if kind == "count":
            return int32(len(self.given[parameter["of"]]))
        if given is None and kind not in ("choice", "bool"):
            if not parameter.get("nullable"):
                raise ValueError(f"{operation['function']} needs {parameter['name']}")
            return None
        return getattr(self, kind, self.image)(given, parameter)

    def image(self, image, _):
        return ctypes.byref(image.header)

    def number(self, given):
        """A default may be the middle of another parameter or of the source, or an end of the
        result's range."""
        if not isinstance(given, str):
            return given
        if given == "depth.min" or given == "depth.max":
            return limits(self.given["dstImage"].depth)[given == "depth.max"]
        name = given.removesuffix("/2")
        size = {"width": self.given["srcImage"].width, "height": self.given["srcImage"].height}
        default = next((each["default"] for operation in OPERATIONS
                        for each in operation["parameters"] if each["name"] == name), None)
        return (size.get(name) or self.given.get(name, default)) // 2

    def int32(self, given, _):
        return int32(self.number(given))

    def uint32(self, given, _):
        return ctypes.c_uint32(given)

    def float(self, given, _):
        return ctypes.c_float(given)

    def bool(self, given, _):
        return int32(given)

    def choice(self, given, parameter):
        choices = CHOICES[parameter["choices"]]
        return int32(next(each["value"] for each in choices if given in (None, each["word"])))

    def flags(self, given, parameter):
        return int32(sum(each["value"] for each in CHOICES[parameter["choices"]]
                         if each["word"] in given))

    def tile(self, given, _):
        return (int32 * 2)(*given)

    def point(self, given, _):
        return ctypes.byref(Point(*given))

    def kernel(self, given, _):
        values = (ctypes.c_int8 * len(given["values"]))(*given["values"])
        pointer = ctypes.c_void_p(self.functions.zylCreateConvKernel(
            given["rows"], given["columns"], given["anchorX"], given["anchorY"], values,
            given["shift"]))
        self.release.append((self.functions.zylDeleteConvKernel, pointer))
        return pointer

    def kernels(self, given, parameter):
        return (ctypes.c_void_p * len(given))(*(self.kernel(each, parameter) for each in given))

    def twist(self, given, _):
        data = (int32 * 16)(*given["data"])
        pointer = ctypes.c_void_p(self.functions.zylCreateColorTwist(data, given["scale"]))
        self.release.append((self.functions.zylDeleteColorTwist, pointer))
        return pointer

    def tables(self, given, _):
        """`given` is a list of tables, whose values are replaced by those after the call."""
        luts = []
        for table in given:
            count = len(table["key"])
            table["arrays"] = [(int32 * count)(*table.get(name, [0] * count))
                               for name in ("key", "value", "factor")]
            luts.append(Lut(count, *table["arrays"], table.get("interpolate", 0)))
        self.kept += luts
        return (ctypes.POINTER(Lut) * len(luts))(*(ctypes.pointer(each) for each in luts))

    def bitmap(self, given, _):
        return ctypes.byref(given)

    bitmapOut = bitmap

    def shared(self, given, _):
        return ctypes.byref(given)


class Image:
    """A header with pixels in memory or in tiles, filled with seeded noise. The noise of deep
    samples leaves the upper bit alone, so that few results are saturated.

    `Image.refusal` is the number of the tile request that fails, of all images; `Image.held` are
    the tiles that the library holds."""

    refusal = 0
    held = []

    def __init__(self, depth="8U", layout="gray", width=WIDTH, height=HEIGHT, tiled=False, seed=1,
                 samples=None, model=None):
        self.depth, self.layout, self.width, self.height = depth, layout, width, height
        self.channels, alpha = LAYOUTS[layout]
        sample = ctypes.sizeof(SAMPLES[depth]) * 8 if depth != "1U" else 1
        step = (width * self.channels * sample + 31) // 32 * 4
        self.header = Header(ctypes.sizeof(Header), 0, self.channels, alpha, DEPTHS[depth],
                             (model or "").encode() or MODELS[self.channels],
                             SEQUENCES[self.channels], 0, 0, 4, height, width)
        self.header.imageSize = step * height
        self.header.widthStep = step
        self.memory = (ctypes.c_ubyte * (step * height))()
        if tiled:
            self.tile_step = (TILE * self.channels * sample + 31) // 32 * 4
            self.tiles = {}
            self.deliver = TileCallBack(self._deliver)
            self.info = TileInfo(ctypes.cast(self.deliver, ctypes.c_void_p), None, None, TILE, TILE)
            self.header.tileInfo = ctypes.pointer(self.info)
            self.tile_bytes = TILE * self.channels * sample // 8
        else:
            self.header.imageData = ctypes.addressof(self.memory)
        if samples is not None:
            self.write(samples)
        else:
            noise = random.Random(seed)
            low, high = limits(depth)
            self.write([[[noise.randint(low, high) if depth == "1U" else noise.randint(0, high // 2)
                          for _ in range(self.channels)] for _ in range(width)]
                        for _ in range(height)])

    def _deliver(self, image, x, y, mode):
        info = image.contents.tileInfo.contents
        info.tileData = None
        if mode == RELEASE_TILE:
            Image.held.remove((self, x, y))
            return
        Image.refusal -= 1
        if Image.refusal == 0:
            return
        Image.held.append((self, x, y))
        tile = self.tiles.setdefault((x, y), (ctypes.c_ubyte * (self.tile_step * TILE))())
        info.tileData = ctypes.addressof(tile)

    def region(self, x, y, width, height, channel=0):
        self.roi = Region(channel, x, y, height, width)
        self.header.roi = ctypes.pointer(self.roi)
        return self

    def border(self, mode, value):
        self.header.borderMode[:] = [mode] * 4
        self.header.borderConst[:] = [value] * 4
        return self

    def _row(self, y):
        """The address of row y's samples, tile by tile: (first column, columns, address)."""
        if not self.header.tileInfo:
            return [(0, self.width, ctypes.addressof(self.memory) + y * self.header.widthStep)]
        row = []
        for x in range(0, self.width, TILE):
            tile = self.tiles.setdefault((x // TILE, y // TILE),
                                         (ctypes.c_ubyte * (self.tile_step * TILE))())
            row.append((x, min(TILE, self.width - x),
                        ctypes.addressof(tile) + y % TILE * self.tile_step))
        return row

    def write(self, samples):
        """samples: rows of pixels, a pixel being a list of channels, or a number."""
        for y, row in enumerate(samples):
            flat = [value for pixel in row
                    for value in (pixel if isinstance(pixel, list) else [pixel])]
            for first, columns, address in self._row(y):
                part = flat[first * self.channels:(first + columns) * self.channels]
                if self.depth == "1U":
                    target = (ctypes.c_ubyte * ((columns + 7) // 8)).from_address(address)
                    for x, bit in enumerate(part):
                        mask = 0x80 >> x % 8
                        target[x // 8] = target[x // 8] & ~mask & 255 | (mask if bit else 0)
                else:
                    (SAMPLES[self.depth] * len(part)).from_address(address)[:] = part

    def samples(self):
        rows = []
        for y in range(self.height):
            flat = []
            for _, columns, address in self._row(y):
                if self.depth == "1U":
                    source = (ctypes.c_ubyte * ((columns + 7) // 8)).from_address(address)
                    flat += [source[x // 8] >> (7 - x % 8) & 1 for x in range(columns)]
                else:
                    flat += (SAMPLES[self.depth] * (columns * self.channels)).from_address(address)
            rows.append([flat[x:x + self.channels] for x in range(0, len(flat), self.channels)])
        return rows
