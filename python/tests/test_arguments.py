"""What is refused and how it is said; reports of the library; threads; memory."""
import gc
import inspect
import resource
import sys
import threading
import time

import numpy as np
import pytest

import zylqx as zx
from conftest import NAMES, function
from zylqx import _core
from zylqx._operation import DESCRIBED


def gray(shape=(8, 9), dtype="uint8"):
    return np.arange(np.prod(shape)).reshape(shape).astype(dtype)


def read_only():
    a = gray()
    a.flags.writeable = False
    return a


A = gray()
REFUSED = [
    (TypeError, "src_image_a: an array", lambda: zx.add([[1]], A)),
    (TypeError, "src_image_a: samples are", lambda: zx.add(A.astype(float), A)),
    (TypeError, "src_image_a: .*>u2", lambda: zx.add(A.astype(">u2"), A.astype(">u2"))),
    (TypeError, "src_image_b: uint16, but src_image_a is uint8", lambda: zx.add(A, A.astype("uint16"))),
    (TypeError, "src_image: erode takes bool, uint8 or uint16, not int8", lambda: zx.erode(A.astype("int8"))),
    (TypeError, "out: add makes uint8 of uint8, not int32", lambda: zx.add(A, A, out=A.astype("int32"))),
    (TypeError, "dtype: reduce_bits makes", lambda: zx.reduce_bits(A, dtype="uint16")),
    (TypeError, "n_rows: a whole number", lambda: zx.median_filter(A, 2.5)),
    (TypeError, "kernel: whole numbers", lambda: zx.convolve_2d(A, [[0.5]])),
    (TypeError, "lut: a Table", lambda: zx.contrast_stretch(A, [1, 2])),
    (TypeError, "roi: ", lambda: zx.Image(A, roi=(1, 2))),
    (ValueError, "src_image_a: .*None of|src_image_a: \\(rows", lambda: zx.add(A[:, :0], A[:, :0])),
    (ValueError, "src_image_a: \\(rows", lambda: zx.add(A[0], A[0])),
    (ValueError, "src_image_b: 7 x 9 .*src_image_a is 8 x 9", lambda: zx.add(A, A[1:])),
    (ValueError, "src_image_b: 3 channels, but src_image_a has 1", lambda: zx.add(A, gray((8, 9, 3)))),
    (ValueError, "src_image: runs backwards", lambda: zx.not_(A[::-1])),
    (ValueError, "src_image: runs backwards", lambda: zx.erode((A > 9)[:, ::-1])),
    (ValueError, "src_image: \\(rows", lambda: zx.erode((A > 9)[:, :0])),
    (ValueError, "out: runs backwards", lambda: zx.not_(A, out=gray()[:, ::-1])),
    (ValueError, "out: the array is read-only", lambda: zx.not_(A, out=read_only())),
    (ValueError, "image: the array is read-only", lambda: zx.set(read_only(), 1)),
    (ValueError, "out: 8 x 9 .*needed, not 9 x 8", lambda: zx.not_(A, out=gray((9, 8)))),
    (ValueError, "out: 1 channels are needed, not 3", lambda: zx.not_(A, out=gray((8, 9, 3)))),
    (ValueError, "out: overlaps src_image", lambda: (lambda a: zx.not_(a[:4], out=a[2:6]))(gray())),
    (ValueError, "image_b: overlaps image_a", lambda: (lambda a: zx.exchange(a[:4], a[2:6]))(gray())),
    (ValueError, "out: dct_2d does not work in place", lambda: (lambda a: zx.dct_2d(a, out=a))(gray(dtype="int32"))),
    (ValueError, "src_image: rgb2hsv takes 3 or 4 channels, not 1", lambda: zx.rgb2hsv(A)),
    (ValueError, "src_image: bool arrays have one channel", lambda: zx.not_(gray((4, 4, 3)) > 5)),
    (ValueError, "n_rows: 1 to", lambda: zx.median_filter(A, 0)),
    (ValueError, 'interpolate: "cube" is none of nearest, linear, cubic', lambda: zx.zoom(A, interpolate="cube")),
    (ValueError, "norm_type: 3 is none of", lambda: zx.norm(A, norm_type=3)),
    (ValueError, 'flags: "repeat" is none of', lambda: zx.real_fft_2d(A, "forward|repeat")),
    (ValueError, "flags: 65 has other bits", lambda: zx.real_fft_2d(A, 65)),
    (ValueError, 'flags: either "forward" or', lambda: zx.dct_2d(A, "with-alpha")),
    (ValueError, 'flags: either "forward" or', lambda: zx.real_fft_2d(A, 3)),
    (TypeError, "flags: a whole number", lambda: zx.dct_2d(A, 1.5)),
    (ValueError, 'border: "round" is none of', lambda: zx.blur(A, border="round")),
    (ValueError, "border: one is needed", lambda: zx.blur(A, border=(1, 2))),
    (ValueError, "kernel: -128 to 127", lambda: zx.convolve_2d(A, [[200]])),
    (ValueError, "anchor: ", lambda: zx.Kernel([[1, 2]], anchor=(2, 0))),
    (ValueError, "value: 4 numbers", lambda: zx.Table(range(5), [1])),
    (ValueError, "roi: 9 x 9 at \\(0, 0\\) does not lie in 9 x 8", lambda: zx.Image(A, roi=(0, 0, 9, 9))),
    (ValueError, "channel: 1 to 1 is allowed, not 2", lambda: zx.Image(A, channel=2)),
    (ValueError, 'channel_seq: "BGR" has not 1', lambda: zx.Image(A, channel_seq="BGR")),
    (ValueError, "decimate: nothing is left", lambda: zx.decimate(A, 1, 10)),
]


@pytest.mark.parametrize("kind, text, call", REFUSED, ids=[text[:30] for _, text, _ in REFUSED])
def test_refused(kind, text, call):
    with pytest.raises(kind, match="^" + text):
        call()


def test_larger_than_a_record_can_say():
    huge = np.lib.stride_tricks.as_strided(A, (2**16, 2**15), (2**15, 1), writeable=False)
    with pytest.raises(ValueError, match="zylqx.open"):
        zx.norm(huge)


REPORTED = [
    (-5, "zylZoom", "xU < xL || yU < yL", lambda: zx.zoom(A, 1, 2)),
    (-5, "zylDecimate", "xU > xL", lambda: zx.decimate(A, 3, 2)),
    (-5, "zylMedianFilter", "(anchorX>=nCols)||(anchorX<0)", lambda: zx.median_filter(A, 3, 3, anchor_x=3)),
    (-3, "zylHistoEqualize", "All values in histogram are zeroes",
     lambda: zx.histo_equalize(A, zx.Table(range(257)))),
    (-5, "zylRealFft2D", "No calculations! Looking input data!", lambda: zx.real_fft_2d(A[:1, :1])),
    (-5, "zylContrastStretch", "lut[k]->key[0] < 0", lambda: zx.contrast_stretch(A, zx.Table([-5, 3], [1]))),
]


@pytest.mark.parametrize("status, name, text, call", REPORTED, ids=[r[1] for r in REPORTED])
def test_reports_are_exceptions(status, name, text, call, capfd):
    """An exception with the library's words and a sentence; nothing is printed, and the
    thread's status and mode are what they were."""
    _core.set_context(-7, 2)
    try:
        with pytest.raises(zx.Error) as caught:
            call()
        assert (caught.value.status, caught.value.function, caught.value.text) == (status, name, text)
        assert str(caught.value).startswith(f"{name}: ") and text in str(caught.value)
        zx.not_(A)
        assert _core.context() == (-7, 2)
    finally:
        _core.set_context(0, 0)
    assert capfd.readouterr() == ("", "")


def test_nothing_is_written_when_a_call_fails():
    out = gray((16, 18))
    with pytest.raises(zx.Error):
        zx.median_filter(gray((16, 18)), 3, 3, anchor_y=7, out=out)
    assert np.array_equal(out, gray((16, 18)))


def outside(a, y, x, sides):
    """A sample at any place; a corner follows its top or bottom side."""
    rows, columns = a.shape
    side = sides[0] if y < 0 else sides[1] if y >= rows else sides[2] if x < 0 else sides[3]
    if 0 <= y < rows and 0 <= x < columns:
        return a[y, x]
    if not isinstance(side, str):
        return side
    place = []
    for at, size in ((y, rows), (x, columns)):
        place.append({"replicate": np.clip(at, 0, size - 1), "wrap": at % size,
                      "mirror": min(at % (2 * size), 2 * size - 1 - at % (2 * size))}[side])
    return a[tuple(place)]


@pytest.mark.parametrize("border", ["replicate", "mirror", "wrap", 5, ("wrap", 1, "mirror", "replicate")], ids=str)
def test_borders(border):
    """A border in the call and one in the Image are the same; each side has its own."""
    a = np.random.default_rng(1).integers(0, 256, (6, 7), np.uint8)
    sides = border if isinstance(border, tuple) else (border,) * 4
    around = np.array([[outside(a, y, x, sides) for x in range(-2, 9)] for y in range(-2, 8)])
    expected = np.lib.stride_tricks.sliding_window_view(around, (5, 5)).max(axis=(2, 3))
    assert np.array_equal(zx.max_filter(a, 5, 5, border=border), expected)
    assert np.array_equal(zx.max_filter(zx.Image(a, border=border), 5, 5), expected)


def test_image_says_what_it_is():
    image = zx.Image(np.zeros((40, 30, 3), "uint16"), roi=(1, 2, 3, 4), channel=2, border="wrap", channel_seq="BGR")
    assert repr(image) == ("zylqx.Image 30 x 40 uint16, RGB BGR, region 3 x 4 at (1, 2), channel 2, "
                           "border wrap, rows side by side")
    assert np.asarray(image).shape == (4, 3)


# ---- threads and memory ------------------------------------------------------------------------------


def test_threads_do_not_wait_for_each_other():
    """The interpreter goes on while the library works."""
    a = np.zeros((1500, 1500), "int32")
    counted, stop = [0], threading.Event()

    def count():
        while not stop.is_set():
            counted[0] += 1
            time.sleep(0.001)

    counter = threading.Thread(target=count)
    counter.start()
    began, before = time.monotonic(), counted[0]
    zx.median_filter(a, 25, 25)
    took, during = time.monotonic() - began, counted[0] - before
    stop.set()
    counter.join()
    assert during > took / 0.001 / 20


def filtered(a):
    kernel = zx.Kernel([[1, 2, 1]] * 3, shift=3)
    return zx.rotate(zx.convolve_2d(zx.blur(a, 5, 7), kernel), 1234)


def transformed(a):
    """All kinds of tables, kept and freed by one thread while another uses its own."""
    spectrum = zx.real_fft_2d(a, "forward|keep-tables")
    cosines = zx.dct_2d(a, "forward")
    small = zx.real_fft_2d(a[:8, :8], "forward|fixed-point")
    return np.vstack([zx.ccs_fft_2d(spectrum, "inverse", dtype="uint8"), zx.dct_2d(cosines, "inverse", dtype="uint8"),
                      np.pad(small, ((0, 0), (0, a.shape[1] - 8)))])


@pytest.mark.parametrize("chain", [filtered, transformed])
def test_four_threads(random, chain):
    arrays = [random.integers(0, 256, (60 + 4 * i, 90), np.uint8) for i in range(4)]
    expected = [chain(a) for a in arrays]
    results, errors = [None] * 4, []

    def work(i):
        try:
            for _ in range(30):
                results[i] = chain(arrays[i])
                assert np.array_equal(results[i], expected[i])
                with pytest.raises(zx.Error):
                    zx.zoom(arrays[i], 1, 2)
        except BaseException as error:
            errors.append(error)

    threads = [threading.Thread(target=work, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert not errors
    assert all(np.array_equal(a, b) for a, b in zip(results, expected))


def test_no_leak():
    """10,000 calls, good and bad ones, leave memory and references as they were."""
    a, bits, wide = gray((64, 64)), gray((64, 64)) > 9, np.asfortranarray(gray((64, 64, 3)))
    table, kernel = zx.Table([0, 10, 256], [1, 2]), zx.Kernel([[1] * 3] * 3)
    p = zx.open(gray((300, 300)), tile=(64, 64)).median_filter(3, 3).zoom(3, 2)

    def calls():
        zx.add(a, a)
        zx.erode(bits)
        zx.not_(wide)
        zx.contrast_stretch(a, table)
        zx.convolve_2d(zx.Image(a, roi=(1, 1, 9, 9)), [kernel, kernel])
        zx.compute_histo(wide)
        for bad in (lambda: zx.zoom(a, 1, 2), lambda: zx.add(a, bits), lambda: zx.add(a, a, out=a[::-1]),
                    lambda: zx.convolve_2d(a, [[1000]])):
            with pytest.raises((zx.Error, TypeError, ValueError)):
                bad()
        return p[3:9, 4:40]

    for _ in range(100):
        calls()
    gc.collect()
    held = [sys.getrefcount(x) for x in (a, bits, wide, table, kernel, zx.Error)]
    before = resource.getrusage(resource.RUSAGE_SELF).ru_maxrss
    for _ in range(1000):
        calls()
    gc.collect()
    assert [sys.getrefcount(x) for x in (a, bits, wide, table, kernel, zx.Error)] == held
    assert resource.getrusage(resource.RUSAGE_SELF).ru_maxrss - before < 8 << 10


def test_every_operation_refuses_types_it_does_not_take():
    for name in NAMES:
        operation = DESCRIBED[name]
        for dtype in ("bool", "uint8", "int8", "uint16", "int16", "int32", "uint32", "float32"):
            if np.dtype(dtype) in operation.types:
                continue
            arrays = [np.zeros((6, 6) if dtype == "bool" else (6, 6, 3), dtype)] * len(
                [k for k in operation.image_kinds if k != "alpha"])
            required = {"value": 1, "shift": 1, "scale": 1, "threshold": 1, "dtype": "uint8", "kernel": [[1]],
                        "xkernel": [1], "ykernel": [1], "c_twist": np.eye(4, dtype=int), "angle": 1,
                        "flip_axis": "both", "lut": zx.Table([0, 9], [1]), "a_a": 1, "a_b": 1, "fill_value": 1}
            signature = inspect.signature(function(name))
            arguments = {k: required[k] for k, p in signature.parameters.items()
                         if p.default is p.empty and k in required and "image" not in k}
            with pytest.raises(TypeError, match="src|image"):
                function(name)(*arrays, **arguments)
