"""Pictures of any size: chains of operations that compute the windows asked for.

A picture is a row of nodes, a source and a step for each operation. Each makes its tiles
on request and asks the node before it for the tiles it needs: the library itself says
which, through the tile callbacks of tiled images. Tiles that were made wait in one cache
of bounded size.
"""
import collections
import math
import tempfile
import threading
from typing import Iterator

import numpy as np

from zylqx import _call, _core, _png, _save, _sources, _values
from zylqx._call import run
from zylqx._image import Image
from zylqx._operand import Operand
from zylqx._operation import DEPTH_OF, DESCRIBED
from zylqx.operations import Methods

TILE = 512
MEMORY = 256 << 20


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


# ---- making steps ----------------------------------------------------------------------------


def _probe(operation, nodes, values, dtype, border):
    """Shape and type of a result. A small call of the same kind looks at the arguments."""
    size = (8, 8)
    if operation.result == "scaled":
        size = tuple(max(8, v or 1) for v in (values[3], values[1]))
    pixels = [None if n is None else n.wrapped(np.zeros(size + n.shape[2:], n.dtype)) for n in nodes]
    values = [tuple(t.copy() for t in v) if isinstance(v, tuple) else v for v in values]
    more = {} if operation.same_type else {"dtype": dtype}
    if operation.borders:
        more["border"] = border
    small = run(operation, pixels, values, **more)
    rows, columns = _call.result_size(operation, *nodes[0].shape[:2], _call.checked(operation, values))
    return (rows, columns) + small.shape[2:], small.dtype


def _kind(operation, node, values):
    """Which step an operation becomes."""
    if operation.reads == "all":
        return WholeStep
    if operation.name == "reduce_bits":
        jitter, dither = _call.checked(operation, values)[:2]
        if jitter != 0 or dither != 1:
            return WholeStep
    if operation.reads == "pixel":
        return PixelStep
    if operation.name in PASSES and (operation.name in ("open", "close") or _call.checked(operation, values)[0] > 1):
        return PassesStep
    if operation.reads == "around":
        return AroundStep
    if operation.name == "mirror":
        return MirrorStep
    if operation.name == "zoom":
        nearest = _call.checked(operation, values)[4] == 0 or min(node.shape[:2]) < 2 or node.dtype == bool
        return NearestStep if nearest else ElsewhereStep
    return ElsewhereStep


def _single_passes(operation, values, border):
    """Morphology pass by pass, where a pass may read from the other end of the picture."""
    wraps = operation.name in PASSES and 3 in (_values.borders(border) or ((), ()))[0]
    if not wraps:
        return [(operation, values)]
    return [(DESCRIBED[name], (1,)) for _ in range(_call.checked(operation, values)[0])
            for name in PASSES[operation.name]]


def _histogram(picture, luts):
    """The counts of a picture's tiles, added up."""
    total = 0
    for _, tile in picture.tiles():
        own = luts if luts is None else tuple(
            t.copy() for t in ((luts,) if isinstance(luts, _values.Table) else luts))
        total = total + run(DESCRIBED["compute_histo"], (picture.node.wrapped(tile),), (own,)).astype(np.int64)
    return total


def _equalising(picture):
    """Tables with the counts of a picture."""
    counts = _histogram(picture, None)
    counts = counts.reshape(-1, counts.shape[-1])
    return tuple(_values.Table(np.arange(counts.shape[1] + 1), row) for row in counts)


def _norm(pictures, values):
    if pictures[1] is not None and pictures[0].shape != pictures[1].shape:
        raise ValueError(f"src_image_b: {pictures[1].shape}, but src_image_a is {pictures[0].shape}")
    operation = DESCRIBED["norm"]
    records = [None if p is None else p.node.record(p.cache) for p in pictures]
    return _call.call(operation, records, None, None, _call.checked(operation, values))


def _step(operation, images, values, dtype, border, alpha_image_dst, out):
    """What run() gives for pictures: another picture, or what is counted and measured of one."""
    for name, given in (("out", out), ("alpha_image_dst", alpha_image_dst)):
        if given is not None:
            raise ValueError(f"{name}: a picture of any size has none; save() writes it")
    if operation.result == "changed":
        raise TypeError(f"{operation.name}: takes arrays, not pictures of any size")
    cache = next(i.cache for i in images if isinstance(i, Picture))
    tile = next(i.node.tile for i in images if isinstance(i, Picture))
    pictures = [i if i is None or isinstance(i, Picture) else _opened(i, tile, cache) for i in images]
    if operation.name == "compute_histo":
        return _histogram(pictures[0], values[0])
    if operation.name == "norm":
        return _norm(pictures, values)
    nodes = [None if p is None else p.node for p in pictures]
    if any(n is not None and n.shape[:2] != nodes[0].shape[:2] for n in nodes):
        raise ValueError(f"{operation.name}: the pictures differ in size: "
                         f"{[n.shape[:2] for n in nodes if n is not None]} (rows, columns)")
    values = _completed(operation, pictures, values, dtype)
    result = _probe(operation, nodes, values, dtype, border)
    for operation, values in _single_passes(operation, values, border):
        step = _kind(operation, nodes[0], values)(operation, nodes, values, border, dtype, result)
        nodes = [step]
        cache.hold(step.needed())
    return Picture(nodes[0], cache)


def _completed(operation, pictures, values, dtype):
    """Values that depend on the picture."""
    values = list(values)
    rows, columns = pictures[0].shape[:2]
    if operation.name == "rotate":
        values[1] = columns // 2 if values[1] is None else values[1]
        values[2] = rows // 2 if values[2] is None else values[2]
    if operation.name == "bitonal_to_gray" and values[1] is None:
        values[1] = _call.largest(_call.result_type(operation, pictures[0].dtype, dtype))
    if operation.name in ("contrast_stretch", "histo_equalize"):
        if values[0] is None:
            values[0] = _equalising(pictures[0])
        elif isinstance(values[0], _values.Table):
            values[0] = (values[0],) * pictures[0].node.channels
        else:
            values[0] = tuple(values[0])
    return values


def _opened(image, tile, cache):
    """An array or Image beside a picture."""
    if isinstance(image, Image):
        return Picture(SourceNode(_sources.ArraySource(np.asarray(image)), tile, None, image.alpha), cache)
    return Picture(SourceNode(_sources.source_of(image, 0), tile), cache)


# ---- what people see ----------------------------------------------------------------------------


class Picture(Methods):
    """A picture of any size, whose pixels are computed when they are asked for.

    open() makes it. The operations are its methods and give another one; nothing is computed
    until a window is taken, tiles are walked or it is saved. A window has the same bits as that
    part of the whole.

    >>> p = zx.open(np.arange(10000, dtype="uint16").reshape(100, 100))
    >>> q = p.median_filter(3, 3, border="replicate").decimate(1, 2)
    >>> q.shape
    (50, 50)
    >>> q[10:12, 0:3].tolist()
    [[2000, 2002, 2004], [2200, 2202, 2204]]
    """

    def __init__(self, node, cache):
        self.node, self.cache = node, cache

    @property
    def shape(self) -> tuple[int, ...]:
        """(rows, columns) or (rows, columns, channels)"""
        return self.node.shape

    @property
    def dtype(self) -> np.dtype:
        """The type of the samples."""
        return self.node.dtype

    @property
    def ndim(self) -> int:
        """2, or 3 with channels."""
        return len(self.node.shape)

    @property
    def tile(self) -> tuple[int, int]:
        """(rows, columns) of the tiles that it is made of."""
        return self.node.tile

    def __len__(self) -> int:
        return self.shape[0]

    def __getitem__(self, index) -> np.ndarray:
        """A window as an array: slices with any step, numbers, and `...`."""
        index = self._index(index)
        ranges, rest = [], []
        for key, size in zip(index, self.shape[:2]):
            chosen = range(*key.indices(size)) if isinstance(key, slice) else None
            if chosen is None:
                number = key + size if key < 0 else key
                if not 0 <= number < size:
                    raise IndexError(f"{key} is outside 0 to {size - 1}")
                ranges.append((number, 1))
                rest.append(0)
            else:
                low, high = (min(chosen[0], chosen[-1]), max(chosen[0], chosen[-1]) + 1) if chosen else (0, 0)
                ranges.append((low, high - low))
                rest.append(slice(chosen[0] - low, None if chosen.step < 0 and chosen[-1] == low else
                                  chosen[-1] - low + (1 if chosen.step > 0 else -1), chosen.step)
                            if chosen else slice(0, 0))
        (y, height), (x, width) = ranges
        if height and width:
            pixels = self.node.window(x, y, width, height, self.cache)
        else:
            pixels = np.empty((height, width) + self.shape[2:], self.dtype)
        return pixels[(*rest, *index[2:])].copy()

    def _index(self, index):
        """One key for each dimension."""
        index = index if isinstance(index, tuple) else (index,)
        if sum(k is Ellipsis for k in index) > 1 or len(index) - (Ellipsis in index) > self.ndim:
            raise IndexError(f"{len(index)} indices are too many for {self.ndim} dimensions")
        if Ellipsis in index:
            at = index.index(Ellipsis)
            index = index[:at] + (slice(None),) * (self.ndim - len(index) + 1) + index[at + 1:]
        index += (slice(None),) * (self.ndim - len(index))
        return tuple(k if isinstance(k, slice) else k.__index__() for k in index)

    def __array__(self, dtype=None):
        array = self[...]
        return array if dtype is None else array.astype(dtype)

    def tiles(self) -> Iterator[tuple[tuple[int, int], np.ndarray]]:
        """((row, column) of the first pixel, pixels) of every tile, row by row."""
        for column, row in tile_indices(self.node):
            x, y, _, _ = self.node.rectangle(column, row)
            yield (y, x), self.node.tile_at(column, row, self.cache)

    def save(self, target, *, memory=None, progress=False, workers=None, executor=None, block=None,
             resume=False, compression=None) -> None:
        """Writes the picture, tile by tile.

        target: the name of a .tif, .zarr or .npy file, or anything that takes slices
        memory: bytes that the cache of tiles may hold
        progress: shows how far it is
        workers: threads that work side by side; as many as processors if left out
        executor: any concurrent.futures.Executor to work instead, also on other machines; the
            target has to be a file that all of them reach
        block: (rows, columns) of a task, whole tiles of the target; four tiles each way if left out
        resume: goes on with what an earlier save() left unfinished
        compression: of a .tif, written by one thread

        Failed tasks are tried twice more; then SaveError says which blocks are missing.
        """
        if memory is not None:
            self.cache.resize(memory)
        _save.save(self, target, progress=progress, workers=workers, executor=executor, block=block,
                   resume=resume, compression=compression)

    def __repr__(self):
        names, node = [], self.node
        while isinstance(node, Step):
            names.append(node.operation.name)
            node = node.parents[0]
        steps = " > ".join(names[::-1]) or "as it is"
        rows, columns = self.shape[:2]
        return (f"zylqx.Picture {columns} x {rows} {self.dtype}, {self.node.channels} channel"
                f"{'s' if self.node.channels > 1 else ''}, tiles of {self.tile[1]} x {self.tile[0]}: {steps}")

    def _repr_png_(self):
        """Every n-th pixel; of a large picture, its middle."""
        most = 4 * _png.LONGEST
        rows, columns = self.shape[:2]
        y, x = max(0, rows - most) // 2, max(0, columns - most) // 2
        swapped = (self.node.sequence or "")[:1] == "B"
        return _png.shown(self[y:y + most, x:x + most], swapped)

    def __getstate__(self):
        return {"node": self.node, "memory": self.cache.limit}

    def __setstate__(self, state):
        self.node, self.cache = state["node"], Cache(state["memory"])
        self.cache.hold(self.node.needed())


def open(source, *, page=0, tile=(TILE, TILE), memory=MEMORY, channel_seq=None, alpha=None) -> Picture:
    """A picture of any size.

    source: something with shape, dtype and slicing (numpy, also memory-mapped, zarr, h5py,
        dask), or the name of a .tif, .npy or .zarr file
    page: of a TIFF file
    tile: (rows, columns) of the tiles to work in, multiples of 8
    memory: bytes that the cache of tiles may hold
    channel_seq: the channels in their order, such as "BGR"
    alpha: the channel that is the alpha, from 1
    """
    if isinstance(source, Picture):
        return source
    source = _sources.source_of(source, page)
    if source.dtype not in DEPTH_OF:
        raise TypeError(f"source: samples are bool, uint8, int8, uint16, int16 or int32 in native byte order, "
                        f"not {source.dtype.str}")
    if len(source.shape) not in (2, 3) or 0 in source.shape:
        raise ValueError(f"source: (rows, columns) or (rows, columns, channels), none of them 0, is needed, "
                         f"not {source.shape}")
    if any(n < 8 or n % 8 for n in tile):
        raise ValueError(f"tile: multiples of 8 are needed, not {tile}")
    node = SourceNode(source, tuple(tile), channel_seq, alpha)
    node.wrapped(np.zeros((1, 1) + node.shape[2:], node.dtype))  # looks at channel_seq and alpha
    return Picture(node, Cache(memory))


_call.lazy[:] = [Picture, _step]
