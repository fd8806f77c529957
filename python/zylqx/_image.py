"""Arrays with what they cannot say themselves: region, channel, borders, order of channels."""
import numpy as np

from zylqx import _png, _values

MODELS = {"H": "HSV", "R": "RGB", "B": "RGB", "G": "GRAY"}


class Image:
    """An array together with the part of it that functions work on.

    array: (rows, columns) or (rows, columns, channels) of bool, uint8, int8, uint16, int16
        or int32; it is not copied
    roi: (x, y, width, height) of the region of interest; the whole array if left out
    channel: the channel of interest, from 1; all of them if left out
    border: what lies outside the array: "replicate", "mirror", "wrap", a constant, or four of
        these for top, bottom, left and right; 0 if left out
    channel_seq: the channels in their order, such as "BGR"
    color_model: "GRAY", "RGB", "HSV" or "HLS"; what channel_seq says if left out
    alpha: the channel that is the alpha, from 1

    >>> a = np.arange(12, dtype="uint8").reshape(3, 4)
    >>> zx.add_s(zx.Image(a, roi=(1, 0, 2, 2)), 100).tolist()
    [[101, 102], [105, 106]]
    """

    def __init__(self, array, roi=None, channel=None, border=None, channel_seq=None,
                 color_model=None, alpha=None) -> None:
        if isinstance(array, Image):
            raise TypeError("array: an array is needed, not an Image")
        self.array = np.asanyarray(array)
        if self.array.ndim not in (2, 3):
            raise ValueError(f"array: two or three dimensions are needed, not {self.array.ndim}")
        rows, columns = self.array.shape[:2]
        channels = self.array.shape[2] if self.array.ndim == 3 else 1
        self.roi = None if roi is None else _region(roi, columns, rows)
        for name, number in (("channel", channel), ("alpha", alpha)):
            if number is not None and not 1 <= number <= channels:
                raise ValueError(f"{name}: 1 to {channels} is allowed, not {number}")
        self.channel, self.alpha = channel, alpha
        self.border = border
        self.borders = _values.borders(border)
        if channel_seq is not None and len(channel_seq) != channels and channels <= 4:
            raise ValueError(f'channel_seq: "{channel_seq}" has not {channels} channels')
        self.channel_seq = channel_seq or {1: "G", 3: "RGB", 4: "RGBA"}.get(channels, "G")
        self.color_model = color_model or (
            self.channel_seq[:3] if self.channel_seq[:3] in ("HSV", "HLS")
            else MODELS.get(self.channel_seq[0], "RGB") if channels > 2 else "GRAY")

    @property
    def shape(self) -> tuple[int, ...]:
        """The shape of the array."""
        return self.array.shape

    @property
    def dtype(self) -> np.dtype:
        """The type of the array."""
        return self.array.dtype

    def __array__(self, dtype=None):
        """The region and channel of interest."""
        array = self.array
        if self.roi is not None:
            x, y, width, height = self.roi
            array = array[y:y + height, x:x + width]
        if self.channel is not None and array.ndim == 3:
            array = array[..., self.channel - 1]
        return array if dtype is None else array.astype(dtype)

    def __repr__(self):
        rows, columns = self.array.shape[:2]
        text = f"zylqx.Image {columns} x {rows} {self.array.dtype}, {self.color_model} {self.channel_seq}"
        if self.roi is not None:
            x, y, width, height = self.roi
            text += f", region {width} x {height} at ({x}, {y})"
        if self.channel is not None:
            text += f", channel {self.channel}"
        if self.alpha is not None:
            text += f", alpha {self.alpha}"
        if self.border is not None:
            text += f", border {self.border}"
        return text + (", rows side by side" if self.array.flags.c_contiguous else ", rows apart")

    def _repr_png_(self):
        return _png.shown(np.asarray(self), swapped=self.channel_seq[:1] == "B")


def _region(roi, columns, rows):
    try:
        x, y, width, height = (int(v) for v in roi)
    except (TypeError, ValueError):
        raise TypeError("roi: (x, y, width, height) is needed") from None
    if x < 0 or y < 0 or width < 1 or height < 1 or x + width > columns or y + height > rows:
        raise ValueError(f"roi: {width} x {height} at ({x}, {y}) does not lie in {columns} x {rows} pixels")
    return x, y, width, height
