"""Pictures of any size: chains of operations that compute the windows asked for.

A picture is a row of nodes, a source and a step for each operation (_nodes.py). Here stands
what becomes which step, and what people see.
"""
from typing import Iterator

import numpy as np

from zylqx import _call, _png, _save, _sources, _values
from zylqx._call import run
from zylqx._image import Image
from zylqx._nodes import (PASSES, AroundStep, Cache, ElsewhereStep, MirrorStep, NearestStep, PassesStep,
                          PixelStep, SourceNode, Step, WholeStep, tile_indices)
from zylqx._operation import DEPTH_OF, DESCRIBED
from zylqx.operations import Methods

TILE = 512
MEMORY = 256 << 20


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
