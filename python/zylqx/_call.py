"""From arrays to a call of the library, and back.

run() is the one way: it looks at the arguments, describes each array to the library by
a record, allocates the result and calls. Records lie over the arrays' own memory; where
the library cannot take a layout, a copy is made.
"""
import json
import pathlib
from typing import Any, Sequence, Union

import numpy as np

from zylqx import _core, _values
from zylqx._error import Error
from zylqx._image import Image

_core.set_error(Error)

ImageLike = Union[np.ndarray, Image]
KernelLike = Any
TwistLike = Any
TableLike = Any
DTypeLike = Any
BorderLike = Union[str, int, Sequence[Union[str, int]]]

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
READ = ("source", "second", "alpha")
VALUES = {"bool": _values.truth, "float": _values.fraction, "kernel": _values.kernel,
          "kernels": _values.kernels, "twist": _values.twist}
MADE_IN_PYTHON = ("tile", "point", "null", "count", "shared")


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
        self.plan = [_role(p["kind"]) for p in parameters]
        self.plain = self._plain_depths()
        self.tile = next((p["kind"] for p in parameters if p["kind"] in ("tile", "point")), None)

    def _plain_depths(self):
        """The depths of arrays that plain calls take; none where a call is more than that."""
        special = self.reads == "all" or self.name in (
            "contrast_stretch", "histo_equalize", "apply_color_twist", "alpha_composite")
        if special or self.models or self.alpha == "used" or self.result not in ("same", "scaled"):
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
        return name, make(choices[parameter["choices"]])
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


# ---- arrays ----------------------------------------------------------------------------


class Operand:
    """One array of a call: what of it is worked on, and how the library is told so."""

    __slots__ = ("name", "array", "fresh", "extra", "depth", "channel", "region", "record", "temporary",
                 "channels", "rows", "columns")

    def __init__(self, name, image, crops, keeps_channel):
        self.name, self.record, self.temporary, self.fresh = name, None, None, False
        self.channel, self.region, self.extra = 0, None, None
        if type(image) is np.ndarray:
            array = image
        elif isinstance(image, Image):
            array, self.extra = image.array, image
        elif isinstance(image, np.ndarray) or hasattr(image, "__array__"):
            array = np.asarray(image)
        else:
            raise TypeError(f"{name}: an array or an Image is needed, not {type(image).__name__}")
        depth = DEPTH_OF.get(array.dtype)
        if depth is None:
            raise TypeError(f"{name}: samples are bool, uint8, int8, uint16, int16 or int32 in native "
                            f"byte order, not {array.dtype.str}")
        shape = array.shape
        if len(shape) not in (2, 3) or 0 in shape:
            raise ValueError(f"{name}: (rows, columns) or (rows, columns, channels), none of them 0, "
                             f"is needed, not {shape}")
        for stride in array.strides:
            if stride < 0:
                raise ValueError(f"{name}: runs backwards (strides {array.strides}); "
                                 f"numpy.ascontiguousarray() makes a copy that does not")
        if self.extra is not None:
            array = self._narrow(array, crops, keeps_channel)
        self.array, self.depth = array, depth
        self.channels = array.shape[2] if array.ndim == 3 else 1
        if self.channels != 1 and depth == BIT:
            raise ValueError(f"{name}: bool arrays have one channel, not {self.channels}")
        self.rows, self.columns = array.shape[:2] if self.region is None else self.region[3:1:-1]

    def _narrow(self, array, crops, keeps_channel):
        """Takes region and channel of interest from the Image, as slices where that is the same."""
        extra = self.extra
        if extra.roi is not None:
            x, y, width, height = extra.roi
            if crops:
                array = array[y:y + height, x:x + width]
            else:
                self.region = extra.roi
        if extra.channel is not None and array.ndim == 3:
            if keeps_channel and array.shape[2] > 1:
                self.channel = extra.channel
            else:
                array = array[..., extra.channel - 1]
        return array

    @property
    def worked(self):
        """How many channels are worked on."""
        return 1 if self.channel else self.channels

    def describe(self, operation, writable, source):
        """Makes the record; `temporary` is then a copy of the array, if one was needed."""
        if self.depth == BIT:
            natural = operation.by_fields or operation.name == "l_shift_s"  # which may copy
            self.temporary = _packed(self.array, natural) if not self.fresh or natural else \
                np.zeros((self.rows, -(-self.columns // 8)), np.uint8)
            self.record = _core.record(self.temporary, BIT, self.array.shape[1], True, source, natural)
            return
        array = self.array
        if writable and not array.flags.writeable:
            raise ValueError(f"{self.name}: the array is read-only")
        self.record = _core.record(array, self.depth, 0, writable, source, operation.by_fields)
        if self.record is None:
            self.temporary = _natural_copy(array)
            self.record = _core.record(self.temporary, self.depth, 0, writable, source,
                                       operation.by_fields)

    def finish(self):
        """Brings what was written in a copy to the array. A fresh one has nothing to keep."""
        if self.temporary is None:
            return
        if self.depth == BIT:
            pixels = np.unpackbits(self.temporary, axis=1, count=self.array.shape[1]).view(BOOL)
            if self.array.ndim == 3:
                pixels = pixels[..., np.newaxis]
            if self.fresh:
                self.array = pixels
            else:
                self.array[...] = pixels
        else:
            self.array[...] = self.temporary


def _natural_copy(array):
    """A copy whose rows lie as far apart as the library would put them."""
    rows, columns = array.shape[:2]
    item = array.itemsize
    pixel = item * (array.shape[2] if array.ndim == 3 else 1)
    stride = -(-columns * pixel // 8) * 8
    copy = np.ndarray(array.shape, array.dtype, np.empty(rows * stride // 8, np.uint64),
                      strides=(stride, pixel, item)[:array.ndim])
    copy[...] = array
    return copy


def _packed(array, natural):
    """Eight bools a byte."""
    packed = np.packbits(array if array.ndim == 2 else array[..., 0], axis=1)
    return packed if packed.flags.c_contiguous and not natural else _natural_copy(packed)


def _same_place(a, b):
    return (a.dtype == b.dtype and a.shape == b.shape and a.strides == b.strides and
            a.__array_interface__["data"][0] == b.__array_interface__["data"][0])


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


def _check_second(first, second):
    """The second source goes with the first."""
    if second.array.dtype != first.array.dtype:
        raise TypeError(f"{second.name}: {second.array.dtype}, but {first.name} is {first.array.dtype}")
    if (second.rows, second.columns) != (first.rows, first.columns):
        raise ValueError(f"{second.name}: {second.rows} x {second.columns} (rows x columns), but "
                         f"{first.name} is {first.rows} x {first.columns}")
    if second.worked != first.worked:
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


def _new_result(operation, first, shape, dtype):
    """An array for the result. Channels that the operation leaves alone are the source's."""
    channels = shape[2] if len(shape) == 3 else 1
    alpha = first.extra.alpha if first.extra is not None else None
    kept = operation.alpha == "kept" and channels not in (1, 3) and (
        alpha is not None or operation.models is not None or operation.name == "apply_color_twist")
    if not kept:
        return np.empty(shape, dtype)
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
        if not _same_place(source.array, destination.array) or source.region != destination.region:
            raise ValueError(f"{destination.name}: overlaps {source.name}; it may only be the same array")
        if not operation.in_place:
            raise ValueError(f"{destination.name}: {operation.name} does not work in place; "
                             f"{source.name} is the same array")
        if found is None or source.extra is destination.extra:
            found = source
    return found


# ---- records ---------------------------------------------------------------------------------


def _alpha_of(operation, operand):
    if operand.extra is not None and operand.extra.alpha is not None:
        return 0 if operand.depth == BIT else operand.extra.alpha
    return operand.channels if operation.alpha == "used" and operand.channels in (2, 4) else 0


def _complete(operation, operand, model, borders, alpha, any_channel):
    """Tells the record what the array's layout does not say."""
    record, extra = operand.record, operand.extra
    if operand.region is not None or any_channel:
        x, y, width, height = operand.region or (0, 0, operand.columns, operand.rows)
        channel = operand.channel or (1 if any_channel and operand.channels == 1 else 0)
        record.set_region(x, y, width, height, channel)
    if borders is None and extra is not None:
        borders = extra.borders
    if borders is not None:
        record.set_borders(*borders)
    if extra is not None:
        named = extra.channel_seq not in ("G", "RGB", "RGBA") or model is None or model == "RGB"
        color_model, sequence = (extra.color_model, extra.channel_seq) if named else (model, model)
        record.set_model(color_model, sequence, alpha)
    elif model is not None and operand.channels > 1:
        record.set_model(model, {"RGB": "RGBA"}.get(model, model)[:operand.channels], alpha)
    elif alpha:
        record.set_model("GRAY" if operand.channels < 3 else "RGBA",
                         "G" if operand.channels < 3 else "RGBA", alpha)


# ---- tables ----------------------------------------------------------------------------------


def _tables(operation, operand, luts, picture):
    """One table for each channel up to the last one that is worked on."""
    if luts is None:
        if operation.name == "compute_histo":
            luts = _values.Table.of_values({BOOL: 2, BYTE: 256}.get(operand.array.dtype, 65536))
        else:
            luts = _histogram_tables(picture)
    if isinstance(luts, _values.Table):
        count = operand.channel or operand.channels
        if operation.name == "contrast_stretch":
            return (luts,) * count
        return (luts,) + tuple(luts.copy() for _ in range(count - 1))
    luts = tuple(luts)
    if not all(isinstance(t, _values.Table) for t in luts):
        raise TypeError("lut: a Table is needed, or a sequence of Tables")
    if len(luts) == 1 and operand.channel:
        return luts * operand.channel
    if len(luts) < (operand.channel or operand.channels):
        raise ValueError(f"lut: a Table for each of {operand.channels} channels is needed, not {len(luts)}")
    return luts


def _histogram_tables(picture):
    """Tables with the counts of a picture's own values."""
    counts = run(DESCRIBED["compute_histo"], (picture,), (None,))
    counts = counts.reshape(-1, counts.shape[-1])
    tables = tuple(_values.Table.of_values(counts.shape[1], row) for row in counts)
    channel = picture.channel if isinstance(picture, Image) and picture.channel else 1
    return tables * channel if len(tables) == 1 else tables


def _counts(tables, operand):
    """The counts of the channels that were worked on."""
    if operand.channel:
        return tables[operand.channel - 1].counts.copy()
    if operand.array.ndim == 2:
        return tables[0].counts.copy()
    return np.stack([t.counts for t in tables[:operand.channels]])


# ---- the call -----------------------------------------------------------------------------------


def checked(operation, values):
    """The values of a call as the core takes them; tables wait for their picture."""
    return [check(value, name) for (name, check), value in zip(operation.checks, values)]


def packed(value):
    """A value as the core takes it."""
    if isinstance(value, (int, float)):
        return value
    if isinstance(value, tuple):
        return tuple(v.packed for v in value)
    return value.packed


def _defaults(operation, operand, values):
    """Values that depend on the picture."""
    if operation.name == "rotate":
        x, y = (operand.region or (0, 0))[:2]
        if values[1] is None:
            values[1] = x + operand.columns // 2
        if values[2] is None:
            values[2] = y + operand.rows // 2
    return values


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
    elif out is None:
        out = np.empty(shape, dtype)
    elif type(out) is not np.ndarray or out.dtype != dtype or out.shape != shape:
        return None
    if border is not None:
        border = _values.borders(border)
    values = tuple([v if isinstance(v, (int, float)) else packed(v) for v in values])
    if depth == BIT:
        return _plain_bits(operation, images, values, border, shape)
    done = _core.plain(operation.index, depth, 0, operation.by_fields, border, tuple(images), out, values)
    return out if done else None


def _plain_bits(operation, images, values, border, shape):
    """The same for bools, which go as bits, eight a byte."""
    width = shape[1]
    sources = tuple([np.packbits(image, axis=1) for image in images])
    bits = np.zeros((shape[0], (width + 7) // 8), BYTE)
    done = _core.plain(operation.index, BIT, width, False, border, sources, bits, values)
    return np.unpackbits(bits, axis=1, count=width).view(BOOL) if done else None


lazy = []  # the type of pictures of any size, and what makes a step of a call; set by picture.py


def run(operation, images, values, dtype=None, border=None, alpha_image_dst=None, out=None):
    """Calls the operation with arrays, Images or lazy pictures."""
    for image in images:
        if type(image) is lazy[0]:
            return lazy[1](operation, images, values, dtype, border, alpha_image_dst, out)
    if operation.name == "rotate" and None in values:
        values = _defaults(operation, Operand("src_image", images[0], False, True), list(values))
    elif operation.name == "bitonal_to_gray" and values[1] is None:
        values = values[0], largest(result_type(operation, BOOL, dtype if out is None else _array(out).dtype))
    values = checked(operation, values)
    if operation.plain and dtype is None:
        result = _plain(operation, images, values, border, out)
        if result is not None:
            return result

    sources = [None if image is None else Operand(name, image, operation.crops, operation.channel)
               for name, image in zip(operation.image_names, images)]
    first = sources[0]
    relaxed = operation.name == "alpha_composite" and (images[2] is not None or images[3] is not None) or \
        operation.name == "pre_multiply_alpha" and values[0] >= 0
    _check_source(operation, first, not relaxed)
    if len(sources) > 1:
        for source, kind in zip(sources[1:], operation.image_kinds[1:]):
            if source is not None and kind != "alpha":
                _check_second(first, source)
    if operation.name in ("compute_histo", "contrast_stretch", "histo_equalize"):
        values = [_tables(operation, first, values[0], images[0])]

    if operation.result == "changed":
        return _run_changing(operation, sources, values, images, out)
    borders = _values.borders(border)
    any_channel = first.channel
    for source in sources[1:]:
        any_channel = any_channel or (source is not None and source.channel)
    if "destination" not in operation.plan:
        for source in sources:
            if source is not None:
                source.describe(operation, False, True)
                _complete(operation, source, None, borders, _alpha_of(operation, source), any_channel)
        result = call(operation, [None if s is None else s.record for s in sources], None, None, values)
        return _counts(values[0], first) if operation.result == "tables" else result

    rows, columns = result_size(operation, first.rows, first.columns, values)
    channels = result_channels(operation, first.worked)
    shape = (rows, columns) if channels == 1 and (first.array.ndim == 2 or first.channel or
                                                  first.worked != 1) else (rows, columns, channels)
    wanted = None if dtype is None else result_type(operation, first.array.dtype, dtype)
    if out is None:
        if wanted is None:
            wanted = first.array.dtype if operation.same_type else \
                result_type(operation, first.array.dtype, None)
        if wanted == BOOL and channels > 1:
            raise ValueError(f"{first.name}: a bool result has one channel, not {channels}; "
                             "Image(channel=) chooses one")
        destination = Operand("out", _new_result(operation, first, shape, wanted), True, True)
        destination.fresh = True
    else:
        destination = Operand("out", out, operation.crops, operation.channel)
        _check_out(operation, destination, first, shape, wanted)
        any_channel = any_channel or destination.channel
    alpha_destination = None
    if alpha_image_dst is not None:
        alpha_destination = Operand("alpha_image_dst", alpha_image_dst, True, True)
        alpha_destination.describe(operation, True, False)

    for source in sources:
        if source is not None:
            source.describe(operation, False, True)
    destination.describe(operation, True, False)
    if out is not None:
        same = _overlapping(operation, sources, destination)
        if same is not None and not (operation.reads == "pixel" and same.record.padded):
            same.describe(operation, True, False)
            destination.record, destination.temporary = same.record, same.temporary
    models = operation.models or (None, None)
    for source, kind in zip(sources, operation.image_kinds):
        if source is not None:
            alpha = 0 if kind == "alpha" and source.channels == 1 else _alpha_of(operation, source)
            _complete(operation, source, models[0], borders, alpha, any_channel)
    alpha = _alpha_of(operation, destination)
    if not alpha and (out is None or destination.extra is None) and destination.channels == first.channels:
        alpha = _alpha_of(operation, first)
    if destination.record is not first.record or operation.models is None:
        _complete(operation, destination, models[1], borders, alpha, any_channel)

    call(operation, [None if s is None else s.record for s in sources], destination.record,
         alpha_destination and alpha_destination.record, values)
    destination.finish()
    if alpha_destination is not None:
        alpha_destination.finish()
    if out is not None:
        return out
    return destination.array


def _run_changing(operation, images, values, given, out):
    """The operations that change their images. Multiplying by alpha makes a new array."""
    if operation.name == "pre_multiply_alpha":
        first = images[0]
        result = first.array if first.region is None else first.array
        if out is None:
            target = np.array(result)
            images = [Operand("out", target, True, True)]
        else:
            target = out
            images = [Operand("out", out, True, True)]
            _check_out(operation, images[0], first, first.array.shape, first.array.dtype)
            if not _same_place(images[0].array, first.array):
                images[0].array[...] = first.array
        images[0].extra, images[0].channel = first.extra, first.channel
    for image in images:
        image.describe(operation, True, False)
    if len(images) == 2 and np.shares_memory(images[0].array, images[1].array):
        raise ValueError(f"{images[1].name}: overlaps {images[0].name}")
    any_channel = any(image.channel for image in images)
    for image in images:
        _complete(operation, image, None, None, _alpha_of(operation, image), any_channel)
    call(operation, [image.record for image in images], None, None, values)
    for image in images:
        image.finish()
    return target if operation.name == "pre_multiply_alpha" else None


def _array(image):
    return image.array if isinstance(image, Image) else image


def largest(dtype):
    return 1 if dtype == BOOL else int(np.iinfo(dtype).max)
