"""Small pictures for notebooks, as PNG."""
import struct
import zlib

import numpy as np

LONGEST = 800  # pixels of the longer side that is shown


def reduced(array):
    """Every n-th pixel, so that the longer side is at most LONGEST."""
    step = -(-max(array.shape[:2]) // LONGEST)
    return array[::step, ::step]


def as_bytes(array):
    """Samples as bytes: bits as black and white, others by their high bits, 32-bit samples
    stretched from their least to their largest."""
    if array.dtype == bool:
        return array.astype(np.uint8) * 255
    bits = array.dtype.itemsize * 8
    if bits == 32:
        low, high = int(array.min()), int(array.max())
        return ((array.astype(np.int64) - low) * 255 // max(high - low, 1)).astype(np.uint8)
    unsigned = array.astype(np.int32) + (1 << (bits - 1) if array.dtype.kind == "i" else 0)
    return (unsigned >> (bits - 8)).astype(np.uint8)


def encode(array):
    """A PNG file of bytes with 1, 2, 3 or 4 channels."""
    rows, columns = array.shape[:2]
    channels = array.shape[2] if array.ndim == 3 else 1
    colour = {1: 0, 2: 4, 3: 2, 4: 6}[channels]
    lines = np.zeros((rows, 1 + columns * channels), np.uint8)
    lines[:, 1:] = array.reshape(rows, -1)

    def chunk(name, data):
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I", zlib.crc32(name + data))

    header = struct.pack(">IIBBBBB", columns, rows, 8, colour, 0, 0, 0)
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", header) +
            chunk(b"IDAT", zlib.compress(lines.tobytes(), 6)) + chunk(b"IEND", b""))


def shown(array, swapped=False):
    """A PNG of an array at a sensible size; of more than four channels, the first."""
    array = as_bytes(reduced(array))
    if array.ndim == 3 and array.shape[2] > 4:
        array = array[..., 0]
    if swapped and array.ndim == 3 and array.shape[2] >= 3:
        array = array.copy()
        array[..., :3] = array[..., 2::-1]
    return encode(array)
