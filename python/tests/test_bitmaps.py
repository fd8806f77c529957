"""Device-independent bitmaps against another reader and writer of them."""
import io

import numpy as np
import pytest
from PIL import Image

import zylqx as zx


def read_by_other(dib, palette_entries):
    """What Pillow makes of a bitmap with the header of a file before it."""
    offset = 14 + 40 + 4 * palette_entries
    header = b"BM" + (14 + len(dib)).to_bytes(4, "little") + bytes(4) + offset.to_bytes(4, "little")
    return np.asarray(Image.open(io.BytesIO(header + dib)).convert("RGB"))


@pytest.mark.parametrize("bits", [24, 32, 8])
def test_written(bits, random):
    a = random.integers(0, 256, (7, 9, 3), np.uint8)
    if bits == 8:  # few colours, of the six high bits that median cut looks at
        a = a // 128 * 252
    dib = zx.convert_to_dib(a, bits)
    entries = int.from_bytes(dib[32:36], "little") if bits == 8 else 0
    assert np.array_equal(read_by_other(dib, entries), a)
    assert np.array_equal(zx.convert_from_dib(dib), a)
    swapped = zx.convert_to_dib(zx.Image(a[..., ::-1].copy(), channel_seq="BGR"), bits)
    assert np.array_equal(zx.convert_from_dib(swapped), a)


@pytest.mark.parametrize("mode, channels, dtype", [("1", 1, bool), ("L", 1, np.uint8), ("P", 3, np.uint8),
                                                   ("RGB", 3, np.uint8)])
def test_read(mode, channels, dtype, random):
    picture = Image.fromarray(random.integers(0, 256, (11, 13, 3), np.uint8)).convert(mode)
    file = io.BytesIO()
    picture.save(file, "BMP")
    dib = file.getvalue()[14:]
    image = zx.translate_dib(dib)
    assert image.dtype == dtype and (image.array.shape[2:] == (3,)) == (channels == 3)
    expected = np.asarray(picture.convert("RGB"))
    assert np.array_equal(zx.convert_from_dib(dib), expected)
    found = image.array[..., ::-1] if channels == 3 else np.repeat(image.array[..., None], 3, 2) * (255 if mode == "1" else 1)
    assert np.array_equal(found, expected)
    wide = zx.convert_from_dib(dib, dtype="uint16")
    assert np.array_equal(wide >> 8, expected)
    larger = np.full((12, 15, 3), 7, np.uint8)
    zx.convert_from_dib(dib, out=larger)
    assert np.array_equal(larger[:11, :13], expected) and (larger[11:] == 7).all() and (larger[:, 13:] == 7).all()


def test_refused():
    a = np.zeros((4, 5, 3), "uint8")
    dib = zx.convert_to_dib(a)
    for kind, text, call in (
            (ValueError, "dib: 104 bytes are needed, not 103", lambda: zx.translate_dib(dib[:-1])),
            (ValueError, "dib: 40 bytes", lambda: zx.convert_from_dib(b"BM")),
            (ValueError, "dib: no header", lambda: zx.translate_dib(b"BM" + dib)),
            (ValueError, "bits: ", lambda: zx.convert_to_dib(a, 7)),
            (ValueError, "table: at most 16", lambda: zx.convert_to_dib(a, 4, table=[(0, 0, 0)] * 17)),
            (TypeError, "image: bool, uint8 or uint16", lambda: zx.convert_to_dib(a.astype("int32"))),
            (ValueError, "out: at least 4 x 5", lambda: zx.convert_from_dib(dib, out=np.zeros((4, 4, 3), "uint8"))),
            (zx.Error, "zylTranslateDIB", lambda: zx.translate_dib(dib[:12] + b"\2\0" + dib[14:]))):
        with pytest.raises(kind, match=text):
            call()
