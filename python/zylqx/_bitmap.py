"""Device-independent bitmaps: blocks of bytes with header, colour table and rows."""
import struct

import numpy as np

from zylqx import _call, _core
from zylqx._image import Image
from zylqx._operand import Operand
from zylqx._operation import DESCRIBED

HEADER = struct.Struct("<IiiHHIIiiII")  # biSize .. biClrImportant
FIELDS = 3  # biCompression of pixels with masks
BITS = (1, 4, 8, 16, 24, 32)


def _row_bytes(columns, bits):
    return (columns * bits + 31) // 32 * 4


def _entries(bits, used, compression):
    """Entries of four bytes between header and rows."""
    if bits <= 8:
        return used or 1 << bits
    return 3 if compression == FIELDS and bits != 24 else 0


def _checked(dib):
    """(rows, columns) of a block that is as long as its header says."""
    dib = memoryview(dib).cast("B")
    if len(dib) < HEADER.size:
        raise ValueError(f"dib: {HEADER.size} bytes are needed for the header, not {len(dib)}")
    size, columns, rows, _, bits, compression, _, _, _, used, _ = HEADER.unpack_from(dib)
    if size != HEADER.size or columns < 1 or rows == 0 or bits not in BITS:
        raise ValueError("dib: no header of 40 bytes with a size and 1, 4, 8, 16, 24 or 32 bits; "
                         "in a .bmp file it begins after 14 bytes")
    needed = HEADER.size + 4 * _entries(bits, used, compression) + abs(rows) * _row_bytes(columns, bits)
    if len(dib) < needed:
        raise ValueError(f"dib: {needed} bytes are needed, not {len(dib)}")
    return abs(rows), columns


def translate_dib(dib):
    """Makes an Image of a device-independent bitmap: 1-bit or 8-bit gray, BGR or BGRA.

    dib: its bytes, header, table and rows

    Returns: a new Image.
    Raises: ValueError when the block is too short for its header, Error for what the library
        reports.

    >>> dib = zx.convert_to_dib(np.array([[[1, 2, 3], [4, 5, 6]]], "uint8"))
    >>> zx.translate_dib(dib)
    zylqx.Image 2 x 1 uint8, RGB BGR, rows side by side
    """
    _checked(dib)
    rows, columns, channels, depth, plane, bottom, alpha, step, data = _core.translate(dib)
    samples = np.frombuffer(data, np.uint8)
    if depth == 1:
        array = np.unpackbits(samples.reshape(rows, step), axis=1, count=columns).view(np.bool_)
    elif plane:
        planes = samples.reshape(channels, rows, step)[:, :, :columns]
        array = np.moveaxis(planes, 0, -1)
    else:
        array = samples.reshape(rows, step)[:, :columns * channels].reshape(rows, columns, channels)
    if bottom:
        array = array[::-1]
    if channels == 1:
        array = array.reshape(rows, columns)
    sequence = {1: None, 3: "BGR", 4: "BGRA"}[channels]
    return Image(np.array(array, order="C"), channel_seq=sequence, alpha=alpha or None)


def convert_from_dib(dib, *, dtype="uint8", channels=3, out=None):
    """Converts a device-independent bitmap into an array.

    dib: its bytes, header, table and rows
    dtype: of the result: bool, uint8 or uint16
    channels: of the result: 1, 3 (red, green, blue) or 4; bool arrays have one
    out: where the result goes, at least as large as the bitmap; an Image says the order of its
        channels

    Returns: A new array, or `out`.
    Raises: TypeError and ValueError for arguments that do not fit, Error for what the library
        reports.

    >>> dib = zx.convert_to_dib(np.array([[[10, 20, 30]]], "uint8"))
    >>> zx.convert_from_dib(dib).tolist()
    [[[10, 20, 30]]]
    """
    rows, columns = _checked(dib)
    target = out
    if out is None:
        dtype = np.dtype(dtype)
        if dtype == bool:
            channels = 1
        target = np.zeros((rows, columns) if channels == 1 else (rows, columns, channels), dtype)
    operation = DESCRIBED["convert_from_dib"]
    destination = Operand("out", target, True, False)
    if destination.array.dtype not in operation.types or destination.channels not in (1, 3, 4):
        raise TypeError(f"out: bool, uint8 or uint16 with 1, 3 or 4 channels is needed, not "
                        f"{destination.array.dtype} with {destination.channels}")
    if destination.rows < rows or destination.columns < columns:
        raise ValueError(f"out: at least {rows} x {columns} (rows x columns) is needed, not "
                         f"{destination.rows} x {destination.columns}")
    destination.describe(operation, True, False)
    if destination.extra is not None:
        destination.record.set_model(destination.extra.color_model, destination.extra.channel_seq, 0)
    _core.call(operation.index, dib, destination.record)
    destination.finish()
    return target


def convert_to_dib(image, bits=24, table=None, dither="none", palette_conversion=None):
    """Converts an array into a device-independent bitmap.

    image: an array or Image of bool, uint8 or uint16 with 1, 3 or 4 channels
    bits: bits of a pixel: 1, 4, 8, 16, 24 or 32
    table: colours of a bitmap with up to 8 bits, rows of blue, green and red
    dither: how 16-bit samples become bytes: "none" or "stucki"
    palette_conversion: "given" (the table), "fixed" or "median-cut"; given a table if there is
        one, else median-cut

    Returns: The bytes of the bitmap, header first.
    Raises: TypeError and ValueError for arguments that do not fit, Error for what the library
        reports.

    >>> len(zx.convert_to_dib(np.zeros((3, 5), "uint8"), bits=8))  # header, one colour, rows of 8 bytes
    68
    """
    operation = DESCRIBED["convert_to_dib"]
    if bits not in BITS:
        raise ValueError(f"bits: 1, 4, 8, 16, 24 or 32 is allowed, not {bits}")
    if palette_conversion is None:
        palette_conversion = "given" if table is not None or bits > 8 else "median-cut"
    dither, palette_conversion = _call.checked(operation, (dither, palette_conversion))
    source = Operand("image", image, True, False)
    if source.array.dtype not in operation.types or source.channels not in (1, 3, 4):
        raise TypeError(f"image: bool, uint8 or uint16 with 1, 3 or 4 channels is needed, not "
                        f"{source.array.dtype} with {source.channels}")
    source.describe(operation, False, True)
    if source.extra is not None:
        source.record.set_model(source.extra.color_model, source.extra.channel_seq, 0)

    rows, columns = source.rows, source.columns
    used = 0 if table is None else len(table)
    if bits <= 8 and used > 1 << bits:
        raise ValueError(f"table: at most {1 << bits} colours are needed, not {used}")
    entries = _entries(bits, used, 0)
    room = entries if palette_conversion != 2 else 1 << bits
    dib = bytearray(HEADER.size + 4 * room + rows * _row_bytes(columns, bits))
    HEADER.pack_into(dib, 0, HEADER.size, columns, rows, 1, bits, 0, 0, 0, 0, used if bits <= 8 else 0, 0)
    if bits <= 8 and used:
        colours = np.zeros((used, 4), np.uint8)
        colours[:, :3] = table
        dib[HEADER.size:HEADER.size + 4 * used] = colours.tobytes()
    _core.call(operation.index, source.record, dib, dither, palette_conversion)
    used = HEADER.unpack_from(dib)[9]
    return bytes(dib[:HEADER.size + 4 * _entries(bits, used, 0) + rows * _row_bytes(columns, bits)])
