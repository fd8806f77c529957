"""From arrays to a call of the library, and back.

run() is the one way. Most calls are plain: arrays of one kind, without regions, copies or
anything else to say; these go straight to the library. Others become a Call, which looks at
the arguments one by one.
"""
from typing import Any, Sequence, Union

import numpy as np

from zylqx import _core, _values
from zylqx._error import Error
from zylqx._image import Image
from zylqx._operand import Operand, same_place
from zylqx._operation import BIT, BOOL, BYTE, DESCRIBED, TYPES

_core.set_error(Error)

ImageLike = Union[np.ndarray, Image]
KernelLike = Any
TwistLike = Any
TableLike = Any
DTypeLike = Any
BorderLike = Union[str, int, Sequence[Union[str, int]]]


# ---- checks ------------------------------------------------------------------------------


def _check_source(operation, operand, needs_layout):
    if operand.array.dtype not in operation.types:
        raise TypeError(f"{operand.name}: {operation.name} takes "
                        f"{_listed(t.name for t in operation.types)}, not {operand.array.dtype}")
    layouts = operation.layouts
    if needs_layout and layouts is not None and operand.worked not in layouts:
        raise ValueError(f"{operand.name}: {operation.name} takes {_listed(map(str, layouts))} channels, "
                         f"not {operand.worked}")


def _listed(words):
    words = list(words)
    return words[0] if len(words) == 1 else ", ".join(words[:-1]) + " or " + words[-1]


def _check_second(first, second, channels):
    """Another image goes with the first one; with `channels` in their number too."""
    if second.array.dtype != first.array.dtype:
        raise TypeError(f"{second.name}: {second.array.dtype}, but {first.name} is {first.array.dtype}")
    if (second.rows, second.columns) != (first.rows, first.columns):
        raise ValueError(f"{second.name}: {second.rows} x {second.columns} (rows x columns), but "
                         f"{first.name} is {first.rows} x {first.columns}")
    if channels and second.worked != first.worked:
        raise ValueError(f"{second.name}: {second.worked} channels, but {first.name} has {first.worked}")


def result_type(operation, source, dtype):
    """The type of the result: the one asked for, else the source's where the operation gives
    it, else uint8, else the only one; transforms give int32."""
    allowed = operation.types[source]
    if dtype is not None:
        wanted = np.dtype(dtype)
        if wanted not in allowed:
            raise TypeError(f"dtype: {operation.name} makes {_listed(t.name for t in allowed)} of {source}, "
                            f"not {wanted}")
        return wanted
    if operation.reads == "all":
        return TYPES["32S"]
    if source in allowed:
        return source
    return BYTE if BYTE in allowed else allowed[0]


def result_size(operation, rows, columns, values):
    """Rows and columns of the result of `rows` x `columns` pixels."""
    if operation.result != "scaled":
        return rows, columns
    x_u, x_l, y_u, y_l = values[:4]
    size = rows * y_u // max(y_l, 1), columns * x_u // max(x_l, 1)
    if min(size) < 1 and min(x_u, x_l, y_u, y_l) > 0:
        raise ValueError(f"{operation.name}: nothing is left of {rows} x {columns} (rows x columns)")
    return max(size[0], 1), max(size[1], 1)


def result_channels(operation, channels):
    """Channels of the result, the fewest that the operation gives."""
    if operation.layouts is None:
        return channels
    allowed = operation.layouts.get(channels, (channels,))
    return channels if channels in allowed else allowed[0]


# ---- results -------------------------------------------------------------------------------


def _check_out(operation, out, first, shape, dtype):
    allowed = operation.types[first.array.dtype] if dtype is None else (dtype,)
    if out.array.dtype not in allowed:
        raise TypeError(f"out: {operation.name} makes {_listed(t.name for t in allowed)} of "
                        f"{first.array.dtype}, not {out.array.dtype}")
    if (out.rows, out.columns) != shape[:2]:
        raise ValueError(f"out: {shape[0]} x {shape[1]} (rows x columns) is needed, not "
                         f"{out.rows} x {out.columns}")
    channels = shape[2] if len(shape) == 3 else 1
    layouts = None if operation.layouts is None else operation.layouts.get(channels)
    if out.worked != channels and (layouts is None or out.worked not in
                                   operation.layouts.get(first.worked, ())):
        raise ValueError(f"out: {channels} channels are needed, not {out.worked}")


def _new_result(operation, first, shape, dtype, alpha_apart):
    """An array for the result. Channels that the operation leaves alone are the source's."""
    channels = shape[2] if len(shape) == 3 else 1
    leaves = operation.alpha == "kept" and (
        first.alpha(operation) or operation.models is not None or operation.name == "apply_color_twist")
    if channels in (1, 3) or not (leaves or alpha_apart):
        # Transforms may only free what they keep, and write nothing.
        return np.zeros(shape, dtype) if operation.reads == "all" else np.empty(shape, dtype)
    result = np.zeros(shape, dtype)
    if first.channels == channels and first.region is None:
        result[..., -1] = first.array[..., -1]
    return result


def _overlapping(operation, sources, destination):
    """The source whose very pixels the destination is, or None. Other overlaps raise."""
    found = None
    begin, end, _ = destination.record.extent()
    for source in sources:
        if source is None:
            continue
        source_begin, source_end, _ = source.record.extent()
        if destination.temporary is None and source.temporary is None and \
                (source_end <= begin or end <= source_begin):
            continue
        if not np.shares_memory(source.array, destination.array):
            continue
        if not same_place(source.array, destination.array) or source.region != destination.region:
            raise ValueError(f"{destination.name}: overlaps {source.name}; it may only be the same array")
        if not operation.in_place:
            raise ValueError(f"{destination.name}: {operation.name} does not work in place; "
                             f"{source.name} is the same array")
        if found is None or source.extra is destination.extra:
            found = source
    return found


# ---- tables ----------------------------------------------------------------------------------


def _tables(operation, dtype, channels, channel, luts, picture):
    """One table for each channel up to the last one that is worked on: the channel of interest,
    if there is one."""
    if luts is None:
        if operation.result == "tables":
            luts = _values.Table.of_values({BOOL: 2, BYTE: 256}.get(dtype, 65536))
        else:
            luts = _histogram_tables(picture)
    count = channel or channels
    if isinstance(luts, _values.Table):
        if operation.name == "contrast_stretch":
            return (luts,) * count
        return (luts,) + tuple([luts.copy() for _ in range(count - 1)])
    luts = tuple(luts)
    if not all([isinstance(t, _values.Table) for t in luts]):
        raise TypeError("lut: a Table is needed, or a sequence of Tables")
    if len(luts) == 1 and channel:
        return luts * channel
    if len(luts) < count:
        raise ValueError(f"lut: a Table for each of {channels} channels is needed, not {len(luts)}")
    return luts


def _histogram_tables(picture):
    """Tables with the counts of a picture's own values."""
    operation = DESCRIBED["compute_histo"]
    tables = _counted_plainly(operation, picture, None) if type(picture) is np.ndarray else None
    if tables is None:
        counting = Call(operation, (picture,), (None,), None)
        counting.run(None, None, None)
        tables = counting.values[0]
    return tables


def _counts(tables, shape, channel):
    """The counts of the channels that were worked on."""
    if channel:
        return tables[channel - 1].counts.copy()
    if len(shape) == 2:
        return tables[0].counts.copy()
    return np.array([t.counts for t in tables[:shape[2]]])


# ---- the call -----------------------------------------------------------------------------------


def checked(operation, values):
    """The values of a call as the core takes them; tables wait for their picture."""
    return [check(value, name) for (name, check), value in zip(operation.checks, values)]


def packed(value):
    """A value as the core takes it."""
    if isinstance(value, (int, float)):
        return value
    if isinstance(value, tuple):
        return tuple([v.packed for v in value])
    return value.packed


def call(operation, records, destination, alpha_destination, values, tile=None):
    """Puts the arguments in the order of the C function, and calls it."""
    records, values = iter(records), iter(values)
    arguments = []
    for role in operation.plan:
        if role == "image":
            arguments.append(next(records))
        elif role == "value":
            arguments.append(packed(next(values)))
        elif role == "destination":
            arguments.append(destination)
        elif role == "alphaDestination":
            arguments.append(alpha_destination)
        else:
            arguments.append(tile if role == operation.tile else None)
    return _core.call(operation.index, *arguments)


def _plain(operation, images, values, border, out):
    """The usual call: arrays of one kind without anything else. None when it is not that; the
    arguments are then looked at one by one."""
    first = images[0]
    if type(first) is not np.ndarray:
        return None
    dtype, shape = first.dtype, first.shape
    depth = operation.plain.get(dtype)
    if depth is None or len(shape) < 2:
        return None
    if len(images) == 2:
        second = images[1]
        if type(second) is not np.ndarray or second.dtype != dtype or second.shape != shape:
            return None
    if operation.layouts is not None:
        channels = shape[2] if len(shape) == 3 else 1
        if channels not in operation.layouts.get(channels, ()):
            return None
    if operation.result == "scaled":
        shape = result_size(operation, *shape[:2], values) + shape[2:]
    if depth == BIT:
        if out is not None or len(shape) != 2 or 0 in shape or not all(i.flags.c_contiguous for i in images):
            return None
    elif operation.result == "tables":
        tables = _counted_plainly(operation, first, values[0])
        return tables and _counts(tables, shape, 0)
    elif out is None:
        out = np.empty(shape, dtype)
    elif type(out) is not np.ndarray or out.dtype != dtype or out.shape != shape:
        return None
    if border is not None:
        border = _values.borders(border)
    if operation.tables:
        values = (_tables(operation, dtype, shape[2] if len(shape) == 3 else 1, 0, values[0], first),)
    values = tuple([v if isinstance(v, (int, float)) else packed(v) for v in values])
    if depth == BIT:
        return _plain_bits(operation, images, values, border, shape)
    done = _core.plain(operation.index, depth, 0, operation.by_fields, border, tuple(images), out, values)
    return out if done else None


def _counted_plainly(operation, array, luts):
    """The tables after a usual call that only counts. None when it is not that."""
    depth, shape = operation.plain.get(array.dtype), array.shape
    if depth is None:
        return None
    tables = _tables(operation, array.dtype, shape[2] if len(shape) == 3 else 1, 0, luts, array)
    done = _core.plain(operation.index, depth, 0, False, None, (array,), None, (packed(tables),))
    return tables if done else None


def _plain_bits(operation, images, values, border, shape):
    """The same for bools, which go as bits, eight a byte."""
    width = shape[1]
    sources = tuple([np.packbits(image, axis=1) for image in images])
    bits = np.zeros((shape[0], (width + 7) // 8), BYTE)
    done = _core.plain(operation.index, BIT, width, False, border, sources, bits, values)
    return np.unpackbits(bits, axis=1, count=width).view(BOOL) if done else None


class Call:
    """A call whose arguments are looked at one by one."""

    def __init__(self, operation, images, values, border):
        self.operation, self.images = operation, images
        self.borders = _values.borders(border)
        self.sources = [None if image is None else Operand(name, image, operation.crops, operation.channel)
                        for name, image in zip(operation.image_names, images)]
        self.first = self.sources[0]
        self.values = values
        self._check_sources()
        if operation.tables:
            first = self.first
            self.values = [_tables(operation, first.array.dtype, first.channels, first.channel, values[0],
                                   images[0])]

    def _check_sources(self):
        operation = self.operation
        alphas = [s for s, kind in zip(self.sources, operation.image_kinds) if kind == "alpha" and s is not None]
        constant = operation.name == "pre_multiply_alpha" and self.values[0] >= 0
        _check_source(operation, self.first, not alphas and not constant)
        for source, kind in zip(self.sources[1:], operation.image_kinds[1:]):
            if source is not None:
                _check_second(self.first, source, kind != "alpha")

    def run(self, dtype, alpha_image_dst, out):
        operation = self.operation
        if operation.name == "pre_multiply_alpha":
            return self._pre_multiply(out)
        if operation.result == "changed":
            return self._change(self.sources)
        if "destination" not in operation.plan:
            return self._measure()
        return self._write(dtype, alpha_image_dst, out)

    def _present(self):
        return [s for s in self.sources if s is not None]

    def _describe_sources(self):
        for source in self._present():
            source.describe(self.operation, False, True)

    def _complete_sources(self, any_channel):
        model = self.operation.models[0] if self.operation.models else None
        for source, kind in zip(self.sources, self.operation.image_kinds):
            if source is not None:
                alpha = 0 if kind == "alpha" and source.channels == 1 else source.alpha(self.operation)
                source.complete(model, self.borders, alpha, any_channel)

    def _records(self):
        return [None if s is None else s.record for s in self.sources]

    def _measure(self):
        """Operations that give numbers."""
        self._describe_sources()
        self._complete_sources(any(s.channel for s in self._present()))
        result = call(self.operation, self._records(), None, None, self.values)
        if self.operation.result != "tables":
            return result
        return _counts(self.values[0], self.first.array.shape, self.first.channel)

    def _change(self, images):
        """Operations that change their images."""
        for image in images:
            image.describe(self.operation, True, False)
        if len(images) == 2 and np.shares_memory(images[0].array, images[1].array):
            raise ValueError(f"{images[1].name}: overlaps {images[0].name}")
        any_channel = any(image.channel for image in images)
        for image in images:
            image.complete(None, None, image.alpha(self.operation), any_channel)
        call(self.operation, [image.record for image in images], None, None, self.values)
        for image in images:
            image.finish()

    def _pre_multiply(self, out):
        """Changes a copy, or `out` once it is one."""
        first = self.first
        target = np.array(first.array) if out is None else out
        destination = Operand("out", target, True, True)
        _check_out(self.operation, destination, first, first.array.shape, first.array.dtype)
        if out is not None and not same_place(destination.array, first.array):
            if np.shares_memory(destination.array, first.array):
                raise ValueError(f"out: overlaps {first.name}; it may only be the same array")
            if destination.array.flags.writeable:
                destination.array[...] = first.array
        destination.extra, destination.channel = first.extra, first.channel
        self._change([destination])
        return target

    def _result_shape(self):
        first = self.first
        rows, columns = result_size(self.operation, first.rows, first.columns, self.values)
        channels = result_channels(self.operation, first.worked)
        flat = channels == 1 and (first.array.ndim == 2 or first.channel or first.worked != 1)
        return (rows, columns) if flat else (rows, columns, channels)

    def _destination(self, dtype, alpha_apart, out):
        """The operand that is written: a new array, or `out`."""
        operation, first, shape = self.operation, self.first, self._result_shape()
        wanted = None if dtype is None else result_type(operation, first.array.dtype, dtype)
        if out is not None:
            destination = Operand("out", out, operation.crops, operation.channel)
            _check_out(operation, destination, first, shape, wanted)
            return destination
        if wanted is None:
            wanted = first.array.dtype if operation.same_type else \
                result_type(operation, first.array.dtype, None)
        if wanted == BOOL and len(shape) == 3 and shape[2] > 1:
            raise ValueError(f"{first.name}: a bool result has one channel, not {shape[2]}; "
                             "Image(channel=) chooses one")
        destination = Operand("out", _new_result(operation, first, shape, wanted, alpha_apart), True, True)
        destination.fresh = True
        return destination

    def _write(self, dtype, alpha_image_dst, out):
        """Operations that write a picture."""
        operation, first = self.operation, self.first
        destination = self._destination(dtype, alpha_image_dst is not None, out)
        self._describe_sources()
        destination.describe(operation, True, False)
        if out is not None:
            self._share(destination)
        alphas = self._alpha_destination(alpha_image_dst, destination)

        any_channel = destination.channel or any(s.channel for s in self._present())
        self._complete_sources(any_channel)
        alpha = destination.alpha(operation)
        if not alpha and destination.extra is None and destination.channels == first.channels:
            alpha = first.alpha(operation)
        if destination.record is not first.record or operation.models is None:
            model = operation.models[1] if operation.models else None
            destination.complete(model, self.borders, alpha, any_channel)

        call(operation, self._records(), destination.record, alphas and alphas.record, self.values)
        destination.finish()
        if alphas is not None:
            alphas.finish()
        return destination.array if out is None else out

    def _share(self, destination):
        """In place, source and destination are one record; not where rows with gaps between
        them could be taken for a flat buffer."""
        same = _overlapping(self.operation, self.sources, destination)
        if same is None or (self.operation.reads == "pixel" and same.record.padded):
            return
        same.describe(self.operation, True, False)
        destination.record, destination.temporary = same.record, same.temporary

    def _alpha_destination(self, image, destination):
        """The operand that gets the alpha of a result, if it is apart."""
        if image is None:
            return None
        alphas = Operand("alpha_image_dst", image, True, True)
        _check_second(self.first, alphas, False)
        alphas.describe(self.operation, True, False)
        alphas.complete(None, None, alphas.alpha(self.operation) or 1, False)
        for other in self._present() + [destination]:
            if np.shares_memory(other.array, alphas.array):
                raise ValueError(f"alpha_image_dst: overlaps {other.name}")
        return alphas


def _completed(operation, images, values, dtype, out):
    """Values that depend on the picture."""
    if operation.name == "rotate" and None in values:
        first = Operand("src_image", images[0], False, True)
        x, y = (first.region or (0, 0))[:2]
        angle, at_x, at_y, interpolate = values
        return (angle, x + first.columns // 2 if at_x is None else at_x,
                y + first.rows // 2 if at_y is None else at_y, interpolate)
    if operation.name == "bitonal_to_gray" and values[1] is None:
        given = dtype if out is None else (out.array if isinstance(out, Image) else out).dtype
        return values[0], largest(result_type(operation, BOOL, given))
    return values


def largest(dtype):
    """The largest value of a type."""
    return 1 if dtype == BOOL else int(np.iinfo(dtype).max)


lazy = []  # the type of pictures of any size, and what makes a step of a call; set by picture.py


def run(operation, images, values, dtype=None, border=None, alpha_image_dst=None, out=None):
    """Calls the operation with arrays, Images or pictures of any size."""
    for image in images:
        if type(image) is lazy[0]:
            return lazy[1](operation, images, values, dtype, border, alpha_image_dst, out)
    values = checked(operation, _completed(operation, images, values, dtype, out))
    if operation.plain and dtype is None:
        result = _plain(operation, images, values, border, out)
        if result is not None:
            return result
    return Call(operation, images, values, border).run(dtype, alpha_image_dst, out)
