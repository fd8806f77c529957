"""Pictures of any size: windows equal the whole, only what is needed is read, tiles of any size
and any memory give the same."""
import pickle
import threading

import numpy as np
import pytest

import zylqx as zx
from conftest import channel_counts, function, pictures
from references import EDGES, REFERENCES, SHARPEN
from test_operations import WRITING, first_call
from zylqx import _png
from zylqx._operation import DESCRIBED

SIZE = (150, 203)
MORE = {
    "zoom": [{"x_u": 7, "x_l": 3, "interpolate": i} for i in ("nearest", "linear", "cubic")] +
            [{"x_u": 257, "x_l": 256, "y_u": 1, "y_l": 1, "interpolate": "nearest"}],
    "decimate": [{"x_u": 9, "x_l": 10, "interpolate": i} for i in ("nearest", "linear", "cubic")],
    "rotate": [{"angle": a, "interpolate": i} for a in (3000, 9000, 36000)
               for i in ("nearest", "linear", "cubic")] + [{"angle": -17, "x_shift": -40, "y_shift": 500}],
    "mirror": [{"flip_axis": x} for x in ("horizontal", "vertical", "both")],
    "convolve_2d": [{"kernel": EDGES, "combine_method": "max", "border": "wrap"}, {"kernel": SHARPEN}],
    "convolve_sep_2d": [REFERENCES["convolve_sep_2d"][0][0] | {"border": "mirror"}],
    "blur": [{"n_rows": 9, "n_cols": 15, "border": "mirror"}],
    "median_filter": [{"n_rows": 7, "n_cols": 5, "border": b} for b in ("replicate", "wrap", 77)],
    "max_filter": [{"n_rows": 2, "n_cols": 100, "anchor_x": 0, "border": ("wrap", "mirror", 3, "replicate")}],
    "open": [{"n_iterations": 3, "border": 200}], "close": [{"n_iterations": 2, "border": "wrap"}],
    "erode": [{"n_iterations": 9, "border": "mirror"}],
    "convert": [{"dtype": "uint16"}, {"dtype": "bool"}],
    "reduce_bits": [{}, {"dither_type": "ordered"}, {"dither_type": "stucki", "dither_bits": 2}],
    "bitonal_to_gray": [{}], "histo_equalize": [{}],
}


def picture_cases():
    for name in WRITING + ["histo_equalize"]:
        operation = DESCRIBED[name]
        if name == "pre_multiply_alpha":
            continue
        dtype = np.dtype("uint16") if np.dtype("uint16") in operation.types else list(operation.types)[-1]
        kinds = {(dtype, channel_counts(operation)[-1])}
        if np.dtype(bool) in operation.types and name != "convert":
            kinds.add((np.dtype(bool), 1))
        for dtype, channels in sorted(kinds, key=str):
            for i, call in enumerate(MORE.get(name, [first_call(name)])):
                if dtype == bool:
                    call = {k: 1 if k == "border" and not isinstance(v, str) else v for k, v in call.items()}
                if call.get("dtype") == "bool":
                    channels = 1
                yield pytest.param(name, dtype, channels, call, id=f"{name}-{dtype}-{channels}-{i}")


@pytest.mark.parametrize("name, dtype, channels, call", picture_cases())
def test_window_equals_whole(name, dtype, channels, call):
    count = 2 if "second" in DESCRIBED[name].image_kinds else 1
    arrays = pictures(name, dtype, SIZE if channels == 1 else SIZE + (channels,))[:count]
    if DESCRIBED[name].reads == "all":
        arrays = [a[:40, :48] % 100 for a in arrays]
    whole = function(name)(*arrays, **call)
    first = zx.open(arrays[0], tile=(32, 48), memory=40_000)
    result = function(name)(first, *arrays[1:], **call)
    assert isinstance(result, zx.Picture) and (result.shape, result.dtype) == (whole.shape, whole.dtype)
    rows, columns = whole.shape[:2]
    for y, x, height, width in ((0, 0, 5, 7), (rows // 2, columns // 3, 34, 50), (rows - 1, 0, 1, columns)):
        window = result[y:y + height, x:x + width]
        assert np.array_equal(window, whole[y:y + height, x:x + width]), (y, x, height, width)
    assert np.array_equal(result[...], whole)


CHAIN_STEPS = [
    lambda p: zx.median_filter(p, 5, 3, border="replicate"), lambda p: zx.decimate(p, 9, 10),
    lambda p: zx.convolve_2d(p, SHARPEN, border="mirror"), lambda p: zx.rotate(p, 1234),
    lambda p: zx.zoom(p, 5, 4), lambda p: zx.zoom(p, 5, 3, interpolate="nearest"), lambda p: zx.mirror(p, "both"),
    lambda p: zx.blur(p, 5, 9, border="wrap"), lambda p: zx.close(p, 2), lambda p: zx.histo_equalize(p),
    lambda p: zx.add(p, zx.not_(p)), lambda p: zx.threshold(p, 90),
    lambda p: zx.subtract(p, zx.erode(p, border="replicate")),
]


@pytest.mark.parametrize("seed", range(12))
def test_chains_for_every_tile_and_memory(seed):
    """Random chains give the same bits for every tile size and memory, step by step and lazily."""
    random = np.random.default_rng(seed)
    array = random.integers(0, 256, (int(random.integers(40, 300)), int(random.integers(40, 300)), 3), np.uint8)
    steps = [CHAIN_STEPS[i] for i in random.integers(0, len(CHAIN_STEPS), 4)]
    whole = array
    for step in steps:
        whole = step(whole)
    for tile, memory in (((32, 64), 1), ((64, 32), 1 << 16), ((256, 256), 1 << 24)):
        result = zx.open(array, tile=tile, memory=memory)
        for step in steps:
            result = step(result)
        assert np.array_equal(result[...], whole)


class Watched:
    """A source that notes what is read of it."""

    def __init__(self, array):
        self.array, self.shape, self.dtype, self.reads = array, array.shape, array.dtype, []

    def __getitem__(self, key):
        self.reads.append(tuple((k.start, k.stop) for k in key))
        return self.array[key]


def test_only_what_is_needed_is_read():
    source = Watched(np.arange(1024 * 1024, dtype="uint16").reshape(1024, 1024) % 251)
    p = zx.open(source, tile=(64, 64)).median_filter(5, 5).decimate(1, 2).convolve_2d([[1, 1, 1]])
    assert source.reads == [] and p.shape == (512, 512)
    p[100:110, 200:210]
    assert 0 < len(source.reads) <= 40
    rows = [r for (r, _) in source.reads]
    assert min(r[0] for r in rows) >= 64 and max(r[1] for r in rows) <= 384
    assert max(np.prod([b - a for a, b in read]) for read in source.reads) == 64 * 64
    source.reads.clear()
    p[100:110, 200:210]
    assert source.reads == []


def test_indexing():
    a = np.arange(100 * 90 * 3, dtype="int32").reshape(100, 90, 3)
    p = zx.open(a, tile=(16, 24))
    for key in (np.s_[3], np.s_[-1, 5], np.s_[..., 1], np.s_[10:80:7, 80:3:-5], np.s_[5:5], np.s_[:, ::-1, 2],
                np.s_[2:40, 7], np.s_[99:, 89:, :2], np.s_[::-1, 0], np.s_[...]):
        assert np.array_equal(p[key], a[key]), key
    for key in (np.s_[100], np.s_[0, -91], np.s_[0, 0, 0, 0]):
        with pytest.raises(IndexError):
            p[key]
    window = p[0:4, 0:4]
    window[...] = 0
    assert np.array_equal(p[0:4, 0:4], a[0:4, 0:4])
    covered = np.zeros(a.shape[:2], int)
    for (y, x), tile in p.tiles():
        covered[y:y + tile.shape[0], x:x + tile.shape[1]] += 1
    assert (covered == 1).all() and np.array_equal(np.asarray(p), a)


@pytest.mark.parametrize("dtype", ["bool", "uint8", "uint16"])
def test_counts_and_norms(dtype):
    a, b = pictures("norm", np.dtype(dtype), (90, 77))
    p, q = zx.open(a, tile=(16, 16)), zx.open(b, tile=(24, 40))
    assert np.array_equal(zx.compute_histo(p), zx.compute_histo(a))
    for kind in ("c", "l1", "l2", "relative-l2"):
        assert zx.norm(p, q, kind) == zx.norm(a, b, kind) and zx.norm(p, b, kind) == zx.norm(a, b, kind)
        assert zx.norm(p, norm_type=kind) == zx.norm(a, norm_type=kind)


def test_channels_that_are_known():
    """Alpha and the order of channels go through a chain."""
    a, = pictures("alpha", np.dtype("uint8"), (60, 70, 4))[:1]
    image = zx.Image(a, alpha=4)
    p = zx.open(a, tile=(32, 32), alpha=4)
    sharp = zx.convolve_2d(image, SHARPEN)
    assert np.array_equal(p.convolve_2d(SHARPEN)[...], sharp) and np.array_equal(sharp[..., 3], a[..., 3])
    bgr = zx.open(a[..., :3], tile=(32, 32), channel_seq="BGR").rgb2hsv()
    assert np.array_equal(bgr[...], zx.rgb2hsv(zx.Image(a[..., :3], channel_seq="BGR")))


def test_refused():
    p = zx.open(np.zeros((50, 60), "uint8"))
    for kind, text, call in (
            (TypeError, "source: samples are", lambda: zx.open(np.zeros((5, 5)))),
            (TypeError, "source: something", lambda: zx.open(7)),
            (ValueError, "source: \\(rows", lambda: zx.open(np.zeros(5, "uint8"))),
            (ValueError, "tile: multiples of 8", lambda: zx.open(np.zeros((5, 5), "uint8"), tile=(12, 16))),
            (FileNotFoundError, "none.tif", lambda: zx.open("none.tif")),
            (ValueError, "out: ", lambda: zx.not_(p, out=np.zeros((50, 60), "uint8"))),
            (ValueError, "add: the pictures differ in size", lambda: zx.add(p, np.zeros((50, 61), "uint8"))),
            (TypeError, "src_image_b: uint16, but", lambda: zx.add(p, np.zeros((50, 60), "uint16"))),
            (TypeError, "set: takes arrays", lambda: zx.set(p, 1)),
            (ValueError, "n_rows: 1 to", lambda: p.median_filter(0)),
            (zx.Error, "zylZoom: ", lambda: p.zoom(1, 2))):
        with pytest.raises(kind, match=text):
            call()


class Broken:
    shape, dtype = (100, 100), np.dtype("uint8")

    def __getitem__(self, key):
        raise OSError("the disk is gone")


def test_failures_of_the_source_arrive():
    p = zx.open(Broken(), tile=(16, 16)).median_filter(3, 3).decimate(1, 2)
    for _ in range(2):
        with pytest.raises(OSError, match="the disk is gone"):
            p[0:20, 0:20]
    assert np.array_equal(zx.not_(np.zeros((2, 2), "uint8")), np.full((2, 2), 255))


def test_threads_share_a_picture(random):
    a = random.integers(0, 256, (400, 500), np.uint8)
    make = lambda p: zx.rotate(zx.median_filter(p, 5, 5), 700)
    whole, p = make(a), make(zx.open(a, tile=(32, 32), memory=50_000))
    good = []

    def look(seed):
        own = np.random.default_rng(seed)
        for _ in range(15):
            y, x = own.integers(0, 300), own.integers(0, 400)
            good.append(np.array_equal(p[y:y + 90, x:x + 90], whole[y:y + 90, x:x + 90]))

    threads = [threading.Thread(target=look, args=(i,)) for i in range(4)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert len(good) == 60 and all(good)


def test_pickled(tmp_path, random):
    a = random.integers(0, 256, (130, 170, 3), np.uint8)
    np.save(tmp_path / "a.npy", a)
    mapped = np.load(tmp_path / "a.npy", mmap_mode="r")[7:, 11:]
    p = zx.open(mapped, tile=(32, 32)).blur(3, 3).rotate(900)
    packed = pickle.dumps(p)
    assert len(packed) < 4000
    assert np.array_equal(pickle.loads(packed)[...], zx.rotate(zx.blur(a[7:, 11:], 3, 3), 900))


def test_shown():
    """What notebooks show: PNG files of a sensible size, and a line of text."""
    from PIL import Image
    import io
    a = np.zeros((3000, 2000, 3), "uint16")
    a[..., 0] = 0xFF00
    for shown in (zx.Image(a), zx.open(a), zx.Image(a, roi=(0, 0, 100, 50)), zx.Image(a[..., ::-1], channel_seq="BGR"),
                  zx.open(a[..., 0] > 5), zx.Image(a[..., 0].astype("int32")), zx.Image(a[..., 0].astype("int8"))):
        picture = Image.open(io.BytesIO(shown._repr_png_()))
        assert max(picture.size) <= _png.LONGEST
        if picture.mode == "RGB":
            assert picture.getpixel((3, 3)) == (255, 0, 0)
    assert repr(zx.open(a).blur(3, 3).not_()) == \
        "zylqx.Picture 2000 x 3000 uint16, 3 channels, tiles of 512 x 512: blur > not"
