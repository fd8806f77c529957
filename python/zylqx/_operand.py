"""One array of a call, and how the library is told of it.

A record lies over the array's own memory; where the library cannot take a layout, a copy is
made, and brought back if it was written.
"""
import numpy as np

from zylqx import _core
from zylqx._image import Image
from zylqx._operation import BIT, BOOL, DEPTH_OF


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
        if writable and not self.array.flags.writeable:
            raise ValueError(f"{self.name}: the array is read-only")
        if self.depth == BIT:
            natural = operation.by_fields or operation.name == "l_shift_s"  # which may copy
            self.temporary = _packed(self.array, natural) if not self.fresh or natural else \
                np.zeros((self.rows, -(-self.columns // 8)), np.uint8)
            self.record = _core.record(self.temporary, BIT, self.array.shape[1], True, source, natural)
            return
        self.record = _core.record(self.array, self.depth, 0, writable, source, operation.by_fields)
        if self.record is None:
            self.temporary = natural_copy(self.array)
            self.record = _core.record(self.temporary, self.depth, 0, writable, source,
                                       operation.by_fields)

    def alpha(self, operation):
        """The number of the alpha channel, 0 for none."""
        if self.extra is not None and self.extra.alpha is not None:
            return self.extra.alpha if self.array.ndim == 3 else 0
        return self.channels if operation.uses_alpha and self.channels in (2, 4) else 0

    def complete(self, model, borders, alpha, any_channel):
        """Tells the record what the array's layout does not say. With `any_channel`, some image of
        the call has a channel of interest, so that those with one channel need one too."""
        record, extra = self.record, self.extra
        if self.region is not None or any_channel:
            x, y, width, height = self.region or (0, 0, self.columns, self.rows)
            channel = self.channel or (1 if any_channel and self.channels == 1 else 0)
            record.set_region(x, y, width, height, channel)
        if borders is None and extra is not None:
            borders = extra.borders
        if borders is not None:
            record.set_borders(*borders)
        if extra is not None and (model in (None, "RGB") or extra.channel_seq not in ("G", "RGB", "RGBA")):
            record.set_model(extra.color_model, extra.channel_seq, alpha)
        elif model is not None and self.channels > 1:
            record.set_model(model, {"RGB": "RGBA"}.get(model, model)[:self.channels], alpha)
        elif alpha:
            record.set_model(*(("GRAY", "G") if self.channels < 3 else ("RGBA", "RGBA")), alpha)

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


def natural_copy(array):
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
    return packed if packed.flags.c_contiguous and not natural else natural_copy(packed)


def same_place(a, b):
    return (a.dtype == b.dtype and a.shape == b.shape and a.strides == b.strides and
            a.__array_interface__["data"][0] == b.__array_interface__["data"][0])
