"""What pictures of any size are made of: sources, and steps that make their tiles on request.

Each step asks the node before it for the tiles it needs: the library itself says which,
through the tile callbacks of tiled images. Tiles that were made wait in one cache of bounded
size.
"""
import collections
import math
import tempfile
import threading

import numpy as np

from zylqx import _call, _core, _values
from zylqx._call import run
from zylqx._image import Image
from zylqx._operand import Operand
from zylqx._operation import DEPTH_OF, DESCRIBED


class Cache:
    """The tiles used last, at most so many bytes of them. Never less than `least`: what the
    windows of a chain have in common, or tiles would be made again and again."""

    def __init__(self, limit):
        self.limit, self.least, self.used = limit, 0, 0
        self.tiles = collections.OrderedDict()
        self.lock = threading.Lock()

    def get(self, key):
        with self.lock:
            tile = self.tiles.get(key)
            if tile is not None:
                self.tiles.move_to_end(key)
            return tile

    def put(self, key, tile):
        with self.lock:
            if key in self.tiles:
                return
            self.tiles[key] = tile
            self.used += tile.nbytes
            self._shrink()

    def resize(self, limit):
        with self.lock:
            self.limit = limit
            self._shrink()

    def hold(self, least):
        with self.lock:
            self.least = max(self.least, least)

    def _shrink(self):
        while self.used > max(self.limit, self.least):
            self.used -= self.tiles.popitem(last=False)[1].nbytes


# ---- nodes ---------------------------------------------------------------------------------


class Node:
    """A picture of `shape` and `dtype` in tiles of `tile` = (rows, columns), the last ones cut."""

    alpha = sequence = None
    spreads = 0  # 1 if a tile needs more than one of the node before
    depth = 0    # how many nodes up to this one spread

    def __init__(self, shape, dtype, tile):
        self.shape, self.dtype, self.tile = tuple(shape), np.dtype(dtype), tile
        self.channels = shape[2] if len(shape) == 3 else 1

    def needed(self):
        """Bytes of the tiles that neighbouring tiles of the result have in common: of the k-th
        node before it, three columns of 2k + 1."""
        sample = self.channels * self.dtype.itemsize
        return 3 * (self.depth + 1)**2 * self.tile[0] * self.tile[1] * sample

    def rectangle(self, column, row):
        """(x, y, width, height) of a tile."""
        height, width = self.tile
        x, y = column * width, row * height
        return x, y, min(width, self.shape[1] - x), min(height, self.shape[0] - y)

    def tile_at(self, column, row, cache):
        tile = cache.get((self, column, row))
        if tile is None:
            tile = self.make(column, row, cache)
            cache.put((self, column, row), tile)
        return tile

    def window(self, x, y, width, height, cache):
        """The pixels of a rectangle within the picture."""
        rows, columns = self.tile
        first_row, first_column = y // rows, x // columns
        if y + height <= (first_row + 1) * rows and x + width <= (first_column + 1) * columns:
            tile = self.tile_at(first_column, first_row, cache)
            top, left = y - first_row * rows, x - first_column * columns
            return tile[top:top + height, left:left + width]
        result = np.empty((height, width) + self.shape[2:], self.dtype)
        for row in range(first_row, (y + height - 1) // rows + 1):
            for column in range(first_column, (x + width - 1) // columns + 1):
                tile_x, tile_y, tile_width, tile_height = self.rectangle(column, row)
                left, right = max(x, tile_x), min(x + width, tile_x + tile_width)
                top, bottom = max(y, tile_y), min(y + height, tile_y + tile_height)
                tile = self.tile_at(column, row, cache)
                result[top - y:bottom - y, left - x:right - x] = \
                    tile[top - tile_y:bottom - tile_y, left - tile_x:right - tile_x]
        return result

    def record(self, cache):
        """The picture as a tiled image whose tiles are made when the library asks for them."""
        def deliver(column, row):
            return full_tile(self, self.tile_at(column, row, cache)).record
        return _core.tiled(*self.shape[:2], self.channels, DEPTH_OF[self.dtype], *self.tile, deliver)

    def wrapped(self, pixels):
        """Pixels of this picture with what else is known of it."""
        if self.alpha is None and self.sequence is None:
            return pixels
        return Image(pixels, channel_seq=self.sequence, alpha=self.alpha)


def full_tile(node, pixels):
    """An operand of a whole tile's size, as tiles are delivered."""
    shape = node.tile + node.shape[2:]
    if pixels.shape != shape:
        whole = np.zeros(shape, node.dtype)
        whole[:pixels.shape[0], :pixels.shape[1]] = pixels
        pixels = whole
    operand = Operand("tile", pixels, True, True)
    operand.describe(DESCRIBED["copy"], False, False)
    return operand


class SourceNode(Node):
    """Pixels that are there already."""

    def __init__(self, source, tile, sequence=None, alpha=None):
        super().__init__(source.shape, source.dtype, tile)
        self.source, self.sequence, self.alpha = source, sequence, alpha

    def make(self, column, row, cache):
        return self.source.read(*self.rectangle(column, row))


class Step(Node):
    """An operation on the nodes before it; how it makes a tile follows from what it reads."""

    def __init__(self, operation, parents, values, border, dtype, result):
        super().__init__(result[0], result[1], parents[0].tile)
        self.operation, self.parents = operation, parents
        self.values, self.border, self.wanted = values, border, dtype
        self.depth = max(p.depth for p in parents if p is not None) + self.spreads
        first = parents[0]
        if self.channels == first.channels:
            self.alpha = first.alpha
            self.sequence = None if operation.models else first.sequence

    def checked(self):
        return _call.checked(self.operation, self.values)

    def __getstate__(self):
        return {**self.__dict__, "operation": self.operation.name}

    def __setstate__(self, state):
        self.__dict__.update(state)
        self.operation = DESCRIBED[state["operation"]]


class PixelStep(Step):
    """A pixel of the result needs that pixel: the same rectangle of every source."""

    def make(self, column, row, cache):
        pixels = [p if p is None else p.wrapped(p.window(*self.rectangle(column, row), cache))
                  for p in self.parents]
        values = [tuple(t.copy() for t in v) if isinstance(v, tuple) else v for v in self.values]
        more = {} if self.operation.same_type else {"dtype": self.dtype}
        return run(self.operation, pixels, values, **more)


class MirrorStep(Step):
    """The mirrored rectangle, mirrored."""

    def make(self, column, row, cache):
        x, y, width, height = self.rectangle(column, row)
        axis = self.checked()[0]
        if axis != 0:
            x = self.shape[1] - x - width
        if axis != 1:
            y = self.shape[0] - y - height
        return run(self.operation, [self.parents[0].window(x, y, width, height, cache)], self.values)


class AroundStep(Step):
    """The tile's rectangle is the source's region; the library reads around it."""

    spreads = 1

    def make(self, column, row, cache):
        parent, rectangle = self.parents[0], self.rectangle(column, row)
        source = parent.record(cache)
        source.set_region(*rectangle, 0)
        borders = _values.borders(self.border)
        if borders is not None:
            source.set_borders(*borders)
        x, y, width, height = rectangle
        result = np.empty((height, width) + self.shape[2:], self.dtype)
        if self.alpha is not None and self.operation.alpha == "kept":
            result[..., self.alpha - 1] = parent.window(*rectangle, cache)[..., self.alpha - 1]
            source.set_model("RGBA", "RGBA", self.alpha)
        destination = Operand("out", result, True, True)
        destination.describe(self.operation, True, False)
        if self.alpha is not None and self.operation.alpha == "kept":
            destination.record.set_model("RGBA", "RGBA", self.alpha)
        _call.call(self.operation, [source], destination.record, None, self.checked())
        destination.finish()
        return result


PASSES = {"erode": ("erode",), "dilate": ("dilate",), "open": ("erode", "dilate"), "close": ("dilate", "erode")}


class PassesStep(Step):
    """Several passes of morphology: a rectangle with a margin, of which every pass spoils one
    pixel where the rectangle does not end with the picture."""

    spreads = 1

    def make(self, column, row, cache):
        x, y, width, height = self.rectangle(column, row)
        margin = self.checked()[0] * len(PASSES[self.operation.name])
        left, top = max(x - margin, 0), max(y - margin, 0)
        right, bottom = min(x + width + margin, self.shape[1]), min(y + height + margin, self.shape[0])
        pixels = self.parents[0].window(left, top, right - left, bottom - top, cache)
        result = run(self.operation, [pixels], self.values, border=self.border)
        return result[y - top:y - top + height, x - left:x - left + width]


class ElsewhereStep(Step):
    """Where pixels come from depends on their place in the whole: the destination is tiled,
    and the library makes this tile of it."""

    spreads = 1

    def make(self, column, row, cache):
        height, width = self.tile
        result = np.zeros(self.tile + self.shape[2:], self.dtype)
        tile = Operand("out", result, True, True)
        tile.describe(DESCRIBED["copy"], True, False)
        destination = _core.tiled(*self.shape[:2], self.channels, tile.depth, *self.tile,
                                  lambda column, row: tile.record)
        place = (column * width, row * height) if self.operation.tile == "point" else (column, row)
        _call.call(self.operation, [self.parents[0].record(cache)], destination, None, self.checked(), place)
        tile.finish()
        x, y, width, height = self.rectangle(column, row)
        return result[:height, :width]


class NearestStep(Step):
    """Nearest-neighbour enlarging adds up rounded steps from the tile's first pixel on; to be
    the same for all tiles, columns and rows are looked up in those of the whole picture."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        x_u, x_l, y_u, y_l = self.checked()[:4]
        rows, columns = self.parents[0].shape[:2]
        self.rows = self._places(rows, self.shape[0], y_u, y_l)
        self.columns = self._places(columns, self.shape[1], x_u, x_l)

    @staticmethod
    def _places(size, count, upper, lower):
        """Where the library takes each of `count` columns from: it enlarges their numbers."""
        places = np.zeros(count, np.int64)
        for digit in range(2):
            numbers = (np.arange(size) >> 16 * digit & 0xFFFF).astype(np.uint16)[np.newaxis]
            line = _call.run(DESCRIBED["zoom"], (numbers,), (upper, lower, 1, 1, "nearest"))
            places |= line[0, :count].astype(np.int64) << 16 * digit
        return places

    def make(self, column, row, cache):
        x, y, width, height = self.rectangle(column, row)
        rows, columns = self.rows[y:y + height], self.columns[x:x + width]
        first_row, first_column = rows[0], columns[0]
        pixels = self.parents[0].window(
            first_column, first_row, columns[-1] - first_column + 1, rows[-1] - first_row + 1, cache)
        return pixels[np.ix_(rows - first_row, columns - first_column)]


class WholeStep(Step):
    """A pixel needs all others, or those before it: made once in whole and kept, in a
    temporary file where the cache is too small for it."""

    def __init__(self, *arguments):
        super().__init__(*arguments)
        self.lock, self.pixels = threading.Lock(), None
        for shape, dtype in ((self.shape, self.dtype), (self.parents[0].shape, self.parents[0].dtype)):
            size = math.prod(shape) * dtype.itemsize
            if size >= 1 << 31:
                raise ValueError(f"{self.operation.name}: needs the whole picture at once, {size >> 20} MiB; "
                                 "2047 are possible")

    def make(self, column, row, cache):
        with self.lock:
            if self.pixels is None:
                self.pixels = self._compute(cache)
        x, y, width, height = self.rectangle(column, row)
        return self.pixels[y:y + height, x:x + width]

    def _compute(self, cache):
        parent = self.parents[0]
        source = room_for(parent.shape, parent.dtype, cache.limit)
        for column, row in tile_indices(parent):
            x, y, width, height = parent.rectangle(column, row)
            source[y:y + height, x:x + width] = parent.tile_at(column, row, cache)
        result = room_for(self.shape, self.dtype, cache.limit)
        run(self.operation, [parent.wrapped(source)], self.values, out=result)
        return result

    def __getstate__(self):
        return {**super().__getstate__(), "lock": None, "pixels": None}

    def __setstate__(self, state):
        super().__setstate__(state)
        self.lock = threading.Lock()


def room_for(shape, dtype, limit):
    """An array in memory, or in a file without a name when it is larger than half the limit."""
    if math.prod(shape) * np.dtype(dtype).itemsize <= limit // 2:
        return np.empty(shape, dtype)
    with tempfile.TemporaryFile(prefix="zylqx-") as file:
        return np.memmap(file, dtype, "w+", shape=tuple(shape))


def tile_indices(node):
    rows, columns = (-(-n // t) for n, t in zip(node.shape, node.tile))
    return ((column, row) for row in range(rows) for column in range(columns))
