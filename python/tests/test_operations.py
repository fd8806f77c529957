"""Every operation against a formula, and the laws that hold for all of them."""
import inspect

import numpy as np
import pytest

import zylqx as zx
from conftest import NAMES, channel_counts, function, pictures
from references import BORDERS, CLOSE, OTHERWISE, REFERENCES
from zylqx._operation import DESCRIBED

SIZE = (19, 19)  # a square with a middle, for turns


def cases():
    for name in REFERENCES:
        operation = DESCRIBED[name]
        for dtype in operation.types:
            for channels in channel_counts(operation):
                if channels == 1 or (dtype != bool and (name, dtype) != ("reduce_bits", np.uint8)):
                    yield pytest.param(name, dtype, channels, id=f"{name}-{dtype}-{channels}")


def sources(name, dtype, channels, seed=0):
    operation = DESCRIBED[name]
    shape = SIZE if channels == 1 else SIZE + (channels,)
    count = 2 if "second" in operation.image_kinds else 1
    return pictures(name, dtype, shape, seed)[:count]


def fits(name, dtype, call):
    """Whether a call makes sense for this type."""
    if name == "convert":
        to = np.dtype(call["dtype"])
        return to in DESCRIBED[name].types[dtype] and dtype != bool and (to == bool or to.itemsize >= dtype.itemsize)
    return True


def borders_of(name):
    return BORDERS if DESCRIBED[name].borders else [None]


def samples_for(name, dtype, arrays):
    """Keeps sums within what is exact: 32 bits for filters, single precision for transforms."""
    if name in ("convolve_2d", "convolve_sep_2d", "blur", "real_fft_2d", "dct_2d") and dtype != bool:
        arrays = tuple((a % 1000).astype(dtype) for a in arrays)
    return arrays


@pytest.mark.parametrize("name, dtype, channels", cases())
def test_formula(name, dtype, channels):
    calls, reference = REFERENCES[name]
    arrays = samples_for(name, dtype, sources(name, dtype, channels))
    before = [a.copy() for a in arrays]
    for call in calls:
        if not fits(name, dtype, call):
            continue
        if name == "convert" and call["dtype"] == "bool" and channels != 1:
            continue
        for border in borders_of(name):
            if isinstance(border, int) and dtype == bool:
                border = 1
            more = {} if border is None else {"border": border}
            result = function(name)(*arrays, **call, **more)
            expected = reference(*arrays, **call, **more)
            said = f"{name} {dtype} {call} {border}"
            if isinstance(expected, float):
                assert result == pytest.approx(expected, rel=1e-12), said
                continue
            assert result.shape == expected.shape, said
            assert name == "compute_histo" or result.dtype == expected.dtype, said
            apart = np.abs(result.astype(np.int64) - expected).max()
            assert apart <= CLOSE.get(name, 0), said
    assert all(np.array_equal(a, b) for a, b in zip(arrays, before))


def test_every_operation_has_a_formula_or_a_test_of_its_own():
    assert set(REFERENCES) | OTHERWISE == set(NAMES)


# ---- laws --------------------------------------------------------------------------------------


def first_call(name):
    """Arguments for one ordinary call."""
    if name in REFERENCES:
        return REFERENCES[name][0][0] if name != "rotate" else {"angle": 3000}
    return {}


def worked(operation, array):
    """The channels that are not left alone."""
    return array[..., :3] if operation.alpha == "kept" and array.ndim == 3 else array


WRITING = [n for n in NAMES if "destination" in DESCRIBED[n].plan and n != "histo_equalize"]


def plain_cases():
    for name in WRITING:
        operation = DESCRIBED[name]
        dtypes = list(operation.types)
        for dtype in {dtypes[0], dtypes[-1]}:
            for channels in channel_counts(operation):
                call = first_call(name)
                bits = dtype == bool or call.get("dtype") == "bool" or (name, dtype) == ("reduce_bits", np.uint8)
                if channels == 1 or not bits:
                    yield pytest.param(name, dtype, channels, call, id=f"{name}-{dtype}-{channels}")


def sheet(array):
    """A larger array around a copy of one; the part within is a view of it."""
    rows, columns = array.shape[:2]
    around = np.full((rows + 5, columns + 11) + array.shape[2:], 3, array.dtype)
    around[2:2 + rows, 4:4 + columns] = array
    return around, around[2:2 + rows, 4:4 + columns]


@pytest.mark.parametrize("name, dtype, channels, call", plain_cases())
def test_out_views_and_copies(name, dtype, channels, call):
    """out= is written and returned; views with rows apart give the same; nothing around them
    changes; layouts that need a copy give the same."""
    def same(result):
        return np.array_equal(worked(DESCRIBED[name], result), worked(DESCRIBED[name], whole))

    arrays = sources(name, dtype, channels)
    whole = function(name)(*arrays, **call)
    out = np.zeros_like(whole)
    assert function(name)(*arrays, **call, out=out) is out
    assert same(out)

    views = [sheet(a)[1] for a in arrays]
    around, inner = sheet(np.zeros_like(whole))
    before = around.copy()
    function(name)(*views, **call, out=inner)
    assert same(inner)
    inner[...] = 0
    assert np.array_equal(around, before)

    columns_first = [np.asfortranarray(a) for a in arrays]
    turned = np.asfortranarray(np.zeros_like(whole))
    function(name)(*columns_first, **call, out=turned)
    assert same(turned)


@pytest.mark.parametrize("name, dtype, channels, call", plain_cases())
def test_region(name, dtype, channels, call):
    """A region equals the same region of the whole, or the call on a crop where pixels stand
    alone; a region of the destination is written alone."""
    operation = DESCRIBED[name]
    arrays = sources(name, dtype, channels)
    roi = (3, 2, 12, 9)
    part = (slice(2, 11), slice(3, 15))
    images = [zx.Image(a, roi=roi) for a in arrays]
    result = function(name)(*images, **call)
    if operation.crops or name == "zoom":
        expected = function(name)(*[a[part] for a in arrays], **call)
    elif name in ("mirror", "decimate"):
        expected = function(name)(*[a[part].copy() for a in arrays], **call)
    elif name == "rotate":
        expected = function(name)(*arrays, **call, x_shift=9, y_shift=6)
        offset = function(name)(zx.Image(arrays[0], roi=roi), **call, x_shift=9, y_shift=6)
        assert offset.shape[:2] == (9, 12)
        expected = function(name)(*images, **call)
    elif name in ("open", "close"):  # the second pass sees the border of the result
        one, two = (zx.erode, zx.dilate) if name == "open" else (zx.dilate, zx.erode)
        expected = two(one(*images))
    else:
        expected = function(name)(*arrays, **call)[part]
    assert np.array_equal(result, expected)

    around = np.full((result.shape[0] + 6, result.shape[1] + 7) + result.shape[2:], 2, result.dtype)
    before = around.copy()
    place = (4, 3, result.shape[1], result.shape[0])
    single = {"border": "replicate"} if operation.borders else {}
    function(name)(*images, **call, **single, out=zx.Image(around, roi=place))
    inner = around[3:3 + result.shape[0], 4:4 + result.shape[1]]
    expected = function(name)(*images, **call, **single)
    if name not in ("open", "close"):  # their second pass sees what lies around the region
        assert np.array_equal(worked(operation, inner), worked(operation, expected))
    inner[...] = before[0, 0]
    assert np.array_equal(around, before)


@pytest.mark.parametrize("name", [n for n in WRITING if channel_counts(DESCRIBED[n])[:2] == (1, 3)])
def test_channel(name):
    """A channel of interest equals that channel alone; the others are left."""
    dtype = np.dtype("uint8") if np.dtype("uint8") in DESCRIBED[name].types else np.dtype("int32")
    arrays = sources(name, dtype, 3)
    call = first_call(name)
    result = function(name)(*[zx.Image(a, channel=2) for a in arrays], **call)
    expected = function(name)(*[a[..., 1].copy() for a in arrays], **call)
    assert result.ndim == 2 and np.array_equal(result, expected)
    colours = np.full(expected.shape + (3,), 1, expected.dtype)
    if expected.dtype == bool:
        return
    function(name)(*[zx.Image(a, channel=2) for a in arrays], **call, out=zx.Image(colours, channel=3))
    assert np.array_equal(colours[..., 2], expected)
    assert (colours[..., :2] == 1).all()


@pytest.mark.parametrize("name", [n for n in WRITING if DESCRIBED[n].in_place])
def test_in_place(name):
    """The destination may be the source, also with rows apart; elsewhere it is refused."""
    operation = DESCRIBED[name]
    for dtype in operation.types:
        channels = channel_counts(operation)[-1] if dtype != bool and name != "convert" else 1
        if channels not in channel_counts(operation):
            continue
        arrays = sources(name, dtype, channels)
        call = first_call(name)
        whole = function(name)(*arrays, **call)
        if whole.dtype != dtype or whole.shape != arrays[0].shape:
            continue
        copies = [a.copy() for a in arrays]
        function(name)(*copies, **call, out=copies[0])
        assert np.array_equal(copies[0], whole)
        around, inner = sheet(arrays[0])
        function(name)(inner, *arrays[1:], **call, out=inner)
        assert np.array_equal(inner, whole)
        if dtype != bool:
            with pytest.raises(ValueError, match="^out: overlaps src_image"):
                function(name)(around[:-1], *[sheet(a)[0][:-1] for a in arrays[1:]], **call, out=around[1:])


# ---- operations without a formula above ------------------------------------------------------------


@pytest.mark.parametrize("dtype", DESCRIBED["set"].types, ids=str)
def test_set_and_exchange(dtype):
    a, b = pictures("exchange", dtype, (9, 13))
    old_a, old_b = a.copy(), b.copy()
    zx.exchange(a, b)
    assert np.array_equal(a, old_b) and np.array_equal(b, old_a)
    zx.exchange(zx.Image(a, roi=(2, 1, 5, 3)), zx.Image(b, roi=(7, 4, 5, 3)))
    assert np.array_equal(a[1:4, 2:7], old_a[4:7, 7:12]) and np.array_equal(b[4:7, 7:12], old_b[1:4, 2:7])
    zx.set(zx.Image(a, roi=(2, 1, 5, 3)), 2**31 - 1)
    assert (a[1:4, 2:7] == (True if dtype == bool else np.iinfo(dtype).max)).all()
    assert np.array_equal(a[4:], old_b[4:])
    zx.set(a[:, 1:8], 0)
    assert not a[:, 1:8].any() and np.array_equal(a[4:, 8:], old_b[4:, 8:])


@pytest.mark.parametrize("dtype", [np.uint8, np.uint16, np.int32], ids=str)
def test_colour(dtype, random):
    most = np.iinfo(dtype).max
    a = random.integers(0, most, (31, 17, 3), dtype, endpoint=True)
    for there, back in ((zx.rgb2hsv, zx.hsv2rgb), (zx.rgb2hls, zx.hls2rgb)):
        model = there(a)
        again = back(model).astype(np.int64)
        assert np.abs(again - a).max() <= most / 25
        assert not np.array_equal(model, a)
    value = zx.rgb2hsv(a)[..., 2]
    assert np.array_equal(value, a.max(axis=2))
    swapped = zx.rgb2hsv(zx.Image(a[..., ::-1].copy(), channel_seq="BGR"))
    assert np.array_equal(swapped, zx.rgb2hsv(a))
    gray = zx.color_to_gray(a, dtype="uint16").astype(float) / 65535
    assert np.abs(gray - a @ [0.212671, 0.715160, 0.072169] / most).max() < 0.01
    four = np.concatenate([a, a[..., :1]], axis=2)
    kept = zx.rgb2hsv(four)
    assert np.array_equal(kept[..., :3], zx.rgb2hsv(a)) and np.array_equal(kept[..., 3], four[..., 3])


@pytest.mark.parametrize("shape", [(16, 16), (12, 9), (7, 10, 3)], ids=str)
def test_spectra_come_back(shape, random):
    """A picture comes back from its spectrum; tables that are kept change nothing."""
    a = random.integers(0, 256, shape, np.uint8)
    assert np.abs(zx.ccs_fft_2d(zx.real_fft_2d(a), dtype="uint8").astype(int) - a).max() <= 1
    kept = zx.real_fft_2d(a, ("forward", "keep-tables"))
    assert np.array_equal(kept, zx.real_fft_2d(a, 1)) and np.array_equal(kept, zx.real_fft_2d(a, "forward|keep-tables"))
    zx.real_fft_2d(a, "release")
    assert np.abs(zx.dct_2d(zx.dct_2d(a), "inverse", dtype="uint8").astype(int) - a).max() <= 1


@pytest.mark.parametrize("shape", [(40, 60), (20, 30, 3)], ids=str)
def test_equalisation(shape, random):
    """Every level is about as frequent as its rank asks, and the order of levels is kept."""
    a = (random.random(shape) ** 3 * 200).astype(np.uint8)
    result = zx.histo_equalize(a)
    for channel, equal in zip(np.moveaxis(np.atleast_3d(a), 2, 0), np.moveaxis(np.atleast_3d(result), 2, 0)):
        level = np.bincount(channel.ravel(), minlength=256).cumsum()
        expected = level[channel] / channel.size * 255
        assert np.abs(equal - expected).max() <= 1
    tables = [zx.Table(np.arange(257)) for _ in range(np.atleast_3d(a).shape[2])]
    counts = zx.compute_histo(a, tables)
    assert np.array_equal(zx.histo_equalize(a, tables), result)
    after = [t.counts for t in tables]
    assert np.array_equal(np.reshape(after, counts.shape), zx.compute_histo(result))


def test_compositing_with_alphas_apart(random):
    """Alphas in images of their own give what they give as channels."""
    a, b = random.integers(0, 256, (2, 20, 30, 4), np.uint8)
    colours, alphas = (a[..., :3].copy(), b[..., :3].copy()), (a[..., 3].copy(), b[..., 3].copy())
    apart, whole = np.zeros((20, 30), np.uint8), zx.alpha_composite(a, b, composite_type="xor")
    result = zx.alpha_composite(*colours, *alphas, composite_type="xor", alpha_image_dst=apart)
    assert np.array_equal(result, whole[..., :3]) and np.array_equal(apart, whole[..., 3])
    own = zx.alpha_composite_c(a, b, -1, -1)
    assert np.array_equal(own[..., :3], zx.alpha_composite(a, b)[..., :3])
    for name, wrong in (("alpha_image_a", {"alpha_image_a": alphas[0][1:]}),
                        ("alpha_image_dst", {"alpha_image_dst": alphas[0].astype("uint16")}),
                        ("alpha_image_dst", {"alpha_image_a": apart, "alpha_image_dst": apart})):
        with pytest.raises((ValueError, TypeError), match=f"^{name}: "):
            zx.alpha_composite(a, b, **wrong)


def test_noise_and_dithers(random):
    a = random.integers(0, 65536, (64, 64), np.uint16)
    assert np.abs(zx.reduce_bits(a, jitter_type=1).astype(int) - (a >> 8)).max() > 0
    for dither in ("floyd-steinberg", "jarvis", "stucki", "ordered"):
        result = zx.reduce_bits(a, dither_type=dither, dither_bits=1)
        assert set(np.unique(result)) <= {0, 127, 254} and abs(result.mean() - 127) < 20


def test_signatures_and_help():
    """Names are the C names in snake case, what has a default may be left out."""
    signature = inspect.signature(zx.median_filter)
    assert list(signature.parameters) == ["src_image", "n_rows", "n_cols", "anchor_x", "anchor_y", "border", "out"]
    assert zx.zoom(np.zeros((4, 6), "uint8"), 3, 2).shape == (6, 9)
    assert zx.zoom(np.zeros((4, 6), "uint8"), x_u=3, x_l=2, y_u=2, y_l=1).shape == (8, 9)
    corner = np.zeros((5, 5), "uint8")
    corner[2, 2] = 1
    assert zx.max_filter(corner, 3, 3, anchor_x=0, anchor_y=2)[3, 1] == 1
