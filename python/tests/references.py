"""What each operation has to give, in numpy and scipy.

REFERENCES has, for each name, calls to try and the formula of the result. A formula gets
the arrays, the same arguments and, where the operation looks around itself, the border.
"""
import numpy as np
from scipy import fft, ndimage

import zylqx as zx

MODES = {"replicate": "nearest", "mirror": "reflect", "wrap": "wrap"}
BORDERS = [None, "replicate", "mirror", "wrap", 9]


def saturated(values, dtype):
    """Cut to the range of a type."""
    limits = (0, 1) if dtype == bool else (np.iinfo(dtype).min, np.iinfo(dtype).max)
    return np.clip(values, *limits).astype(dtype)


def wide(array):
    return array.astype(np.int64)


def low_bits(values, dtype):
    if dtype == bool:
        return (values & 1).astype(bool)
    return (values & ((1 << 8 * np.dtype(dtype).itemsize) - 1)).astype(np.uint64).astype(dtype)


def bordered(border):
    """The arguments of scipy.ndimage for a border."""
    return {"mode": MODES[border]} if isinstance(border, str) else {"mode": "constant", "cval": border or 0}


def each_channel(function, array):
    if array.ndim == 2:
        return function(array)
    return np.stack([function(array[..., c]) for c in range(array.shape[2])], axis=-1)


def subtract(a, b, reverse=False):
    return saturated(wide(b) - a if reverse else wide(a) - b, a.dtype)


def subtract_s(a, value, reverse=False):
    return saturated(value - wide(a) if reverse else wide(a) - value, a.dtype)


def r_shift_s(a, shift):
    if a.dtype == bool:
        return a if shift == 0 else np.zeros_like(a)
    if a.dtype == np.int32:
        return a >> shift
    return low_bits((wide(a) & 0xFFFFFFFF) >> shift, a.dtype)


def absolute(a):
    return a if a.dtype == bool else np.abs(a)


def logic(function):
    return lambda a, b: function(a, b).astype(a.dtype)


def logic_s(function):
    return lambda a, value: low_bits(function(wide(a), value), a.dtype)


def convert(a, dtype, convert_mode="high"):
    to = np.dtype(dtype)
    if to == bool:
        return a > 0
    bits, to_bits = a.itemsize * 8, to.itemsize * 8
    values = wide(a)
    if to_bits >= bits:
        half = 1 << (bits - 1)
        if a.dtype.kind == "u" and to.kind == "i" and to_bits == bits:
            return (values - half).astype(to)
        if a.dtype.kind == "i" and to.kind == "u":
            return (values + half).astype(to)
        if a.dtype.kind == "u" and to.kind == "i":
            return (values - half).astype(to)
        return values.astype(to)
    raise NotImplementedError


def reduce_bits(a, dtype=None):
    if a.dtype == np.uint8:
        return a > 127
    to = np.dtype(dtype or "uint8")
    used = 8 * a.itemsize - (1 if a.dtype.kind == "i" else 0)
    return (np.maximum(wide(a), 0) >> (used - 8 * to.itemsize)).astype(to)


def apply_color_twist(a, twist, offset=0):
    rows = twist.data.reshape(4, 4)[:3].astype(np.int64)
    sums = wide(a)[..., :3] @ rows[:, :3].T + rows[:, 3]
    result = a.copy()
    cut = saturated(np.trunc(sums / 2.0**twist.scale).astype(np.int64), a.dtype)
    result[..., :3] = saturated(wide(cut) + offset, a.dtype)
    return result


def correlated(a, kernel, border):
    """Sums of products, the kernel's anchor in the middle."""
    sums = each_channel(lambda plane: ndimage.correlate(
        plane, wide(kernel.values), output=np.int64, **bordered(border)), wide(a))
    return sums


def convolve_2d(a, kernels, combine_method="sum", dtype=None, border=None):
    parts = [correlated(a, k, border) >> k.shift for k in (kernels if isinstance(kernels, list) else [kernels])]
    root = np.rint if a.dtype == np.int32 else np.floor
    combine = {"sum": sum, "max": lambda p: np.max(p, axis=0), "min": lambda p: np.min(p, axis=0),
               "sum-of-squares": lambda p: sum(v * v for v in p),
               "root-of-squares": lambda p: root(np.sqrt(sum(v * v for v in p))).astype(np.int64)}
    return saturated(combine[combine_method](parts), dtype or a.dtype)


def convolve_sep_2d(a, x_kernel, y_kernel, border=None):
    both = zx.Kernel(np.outer(y_kernel.values.ravel(), x_kernel.values.ravel()))
    return saturated(correlated(a, both, border) >> (x_kernel.shift + y_kernel.shift), a.dtype)


def blur(a, n_rows=3, n_cols=3, border=None):
    sums = correlated(a, zx.Kernel(np.ones((n_rows, n_cols), int)), border)
    return np.trunc(sums * np.float64(np.float32(1) / np.float32(n_rows * n_cols))).astype(a.dtype)


def ranked(function):
    def reference(a, n_rows=3, n_cols=3, border=None):
        kind = np.uint8 if a.dtype == bool else a.dtype
        return each_channel(lambda plane: function(
            plane.astype(kind), size=(n_rows, n_cols), **bordered(border)), a).astype(a.dtype)
    return reference


def passes(*functions):
    def reference(a, n_iterations=1, border=None):
        for _ in range(n_iterations):
            for function in functions:
                a = ranked(function)(a, border=border)
        return a
    return reference


def nearest(a, rows, columns, y_step, x_step):
    """Steps are whole fractions, so positions fall a little behind."""
    y = np.minimum((np.arange(rows) * y_step).astype(int), a.shape[0] - 1)
    x = np.minimum((np.arange(columns) * x_step).astype(int), a.shape[1] - 1)
    return a[np.ix_(y, x)]


def zoom(a, x_u, x_l, y_u=None, y_l=None, interpolate="linear"):
    y_u, y_l = y_u or x_u, y_l or x_l
    rows, columns = a.shape[0] * y_u // y_l, a.shape[1] * x_u // x_l
    if interpolate == "nearest" or a.dtype == bool:
        return nearest(a, rows, columns, (y_l * 16384 // y_u) / 16384, (x_l * 16384 // x_u) / 16384)
    values = a.astype(float)
    for axis, count, step in ((1, columns, x_l / x_u), (0, rows, y_l / y_u)):
        at = np.arange(count) * step
        base = np.minimum(np.floor(at + 1e-5).astype(int), a.shape[axis] - 2)
        shape = [1] * a.ndim
        shape[axis] = count
        part = (at - base).reshape(shape)
        one, two = np.take(values, base, axis), np.take(values, base + 1, axis)
        values = one + part * (two - one)
        if axis == 1:
            values = values.astype(np.float32).astype(float)
    return saturated(np.floor(values + 1e-5), a.dtype)


def decimate(a, x_u, x_l, y_u=None, y_l=None, interpolate="nearest"):
    y_u, y_l = y_u or x_u, y_l or x_l
    rows, columns = a.shape[0] * y_u // y_l, a.shape[1] * x_u // x_l
    return nearest(a, rows, columns, (y_l * 256 // y_u) / 256, (x_l * 256 // x_u) / 256)


def turned(a, angle, x_shift=None, y_shift=None):
    """Right angles about the middle of squares with an odd side."""
    return np.rot90(a, angle // 9000)


def mirror(a, flip_axis):
    return {"horizontal": a[::-1], "vertical": a[:, ::-1], "both": a[::-1, ::-1]}[flip_axis]


def packed_line(terms):
    """The packed form of a line of conjugate terms, along the first axis."""
    count = terms.shape[0]
    line = np.empty(terms.shape)
    line[0] = terms[0].real
    for k in range(1, (count + 1) // 2):
        line[2 * k - 1], line[2 * k] = terms[k].real, terms[k].imag
    if count % 2 == 0:
        line[count - 1] = terms[count // 2].real
    return line


def real_fft_2d(a, flags="forward"):
    """Cut toward zero; near whole numbers single precision decides, see CLOSE."""
    def plane(values):
        spectrum = np.fft.fft2(values)
        rows, columns = values.shape
        result = np.empty(values.shape)
        result[:, 0] = packed_line(spectrum[:, 0])
        for u in range(1, (columns + 1) // 2):
            result[:, 2 * u - 1], result[:, 2 * u] = spectrum[:, u].real, spectrum[:, u].imag
        if columns % 2 == 0:
            result[:, columns - 1] = packed_line(spectrum[:, columns // 2])
        return result
    return np.trunc(each_channel(plane, a)).astype(np.int32)


def dct_2d(a, flags="forward"):
    return np.rint(each_channel(lambda p: fft.dctn(p.astype(float), norm="ortho"), a)).astype(np.int32)


def compute_histo(a):
    most = 2 if a.dtype == bool else 1 << 8 * a.itemsize
    counts = lambda plane: np.bincount(plane.astype(np.int64).ravel(), minlength=most)
    return counts(a) if a.ndim == 2 else np.stack([counts(a[..., c]) for c in range(a.shape[2])])


def contrast_stretch(a, table):
    index = np.clip(np.searchsorted(table.key, a, side="right") - 1, 0, None)
    values = table.value[index] + (table.factor[index] * (wide(a) - table.key[index]) if table.interpolate else 0)
    return low_bits(np.where(a < table.key[0], a, values), a.dtype)


def threshold(a, threshold):
    info = np.iinfo(a.dtype)
    return np.where(a < threshold, info.min, info.max).astype(a.dtype)


def norm(a, b=None, norm_type="l2"):
    values = wide(a) if b is None else wide(a) - b
    kind = norm_type.split("-")[-1]
    if b is None and norm_type not in ("c", "l1"):
        kind = "l2"
    def one(v):
        v = np.abs(v)
        return float(v.max() if kind == "c" else v.sum() if kind == "l1" else np.sqrt((v.astype(float) ** 2).sum()))
    return one(values) / one(wide(b)) if norm_type.startswith("relative") and b is not None else one(values)


def fractions(a, b):
    """The scaled product."""
    return (wide(a) * b // np.iinfo(a.dtype).max).astype(a.dtype)


def multiply_s_scale(a, scale):
    return fractions(a, min(scale, np.iinfo(a.dtype).max))


def pre_multiply_alpha(a, alpha=-1):
    result = fractions(a, wide(a[..., -1:]) if alpha < 0 else alpha)
    result[..., -1] = a[..., -1] if alpha < 0 else alpha
    return result


def over(a, b, premul_alpha=False):
    most = np.iinfo(a.dtype).max
    alpha_a, alpha_b = wide(a[..., -1:]), wide(b[..., -1:])
    colour_a = wide(a) if premul_alpha else wide(a) * alpha_a // most
    colour_b = wide(b) if premul_alpha else wide(b) * alpha_b // most
    result = np.minimum(colour_a + colour_b - colour_b * alpha_a // most, most)
    result[..., -1:] = alpha_a + alpha_b - alpha_a * alpha_b // most
    return result.astype(a.dtype)


def alpha_composite_c(a, b, a_a, a_b):
    most = np.iinfo(a.dtype).max
    colour_a, colour_b = wide(a) * a_a // most, wide(b) * a_b // most
    result = np.minimum(colour_a + colour_b - colour_b * a_a // most, most).astype(a.dtype)
    if a.ndim == 3 and a.shape[2] == 4:  # alpha is not written
        result[..., 3] = a[..., 3]
    return result


SHARPEN = zx.Kernel([[-1, -2, -1], [-2, 20, -2], [-1, -2, -1]], shift=3)
EDGES = [zx.Kernel([[-1, 0, 1]] * 3), zx.Kernel([[-1] * 3, [0] * 3, [1] * 3])]
TWIST = zx.Twist([77, 150, 29, 0, 10, 20, 30, 99, -5, 6, 255, 0], scale=8)
STRETCH = zx.Table([10, 50, 200, 256], [5, 80, 250, 0], [2, 1, 0, 0])
ROW, COLUMN = zx.Kernel([[1, 4, 6, 4, 1]], shift=4), zx.Kernel([[1], [4], [6], [4], [1]], shift=4)
BOXES = [{}, {"n_rows": 5, "n_cols": 3}, {"n_rows": 1, "n_cols": 7}]
TURNS = [{"angle": angle} for angle in (0, 9000, 18000, 27000)]

REFERENCES = {
    "add": ([{}], lambda a, b: saturated(wide(a) + b, a.dtype)),
    "subtract": ([{}, {"reverse": True}], subtract),
    "multiply": ([{}], lambda a, b: saturated(wide(a) * b, a.dtype)),
    "add_s": ([{"value": v} for v in (1, -1, 200, -40000)], lambda a, value: saturated(
        wide(a) + (value & 1 if a.dtype == bool else value), a.dtype)),
    "subtract_s": ([{"value": 1}, {"value": -1, "reverse": True}, {"value": 101, "reverse": True}],
                   lambda a, value, reverse=False: subtract_s(
                       a, value & 1 if a.dtype == bool else value, reverse)),
    "multiply_s": ([{"value": v} for v in (0, 1, 3)], lambda a, value: saturated(wide(a) * value, a.dtype)
                   if a.dtype != bool else a & bool(value & 1)),
    "l_shift_s": ([{"shift": s} for s in (0, 1, 5, 40)], lambda a, shift: low_bits(
        wide(a) << shift if shift < 40 else 0 * wide(a), a.dtype)),
    "r_shift_s": ([{"shift": s} for s in (0, 1, 5)], r_shift_s),
    "square": ([{}], lambda a: a if a.dtype == bool else saturated(wide(a) ** 2, a.dtype)),
    "abs": ([{}], absolute),
    "and": ([{}], logic(np.bitwise_and)),
    "or": ([{}], logic(np.bitwise_or)),
    "xor": ([{}], logic(np.bitwise_xor)),
    "and_s": ([{"value": 0x55}, {"value": 2**32 - 2}], logic_s(np.bitwise_and)),
    "or_s": ([{"value": 0x55}, {"value": 2**32 - 2}], logic_s(np.bitwise_or)),
    "xor_s": ([{"value": 0x55}, {"value": 2**32 - 2}], logic_s(np.bitwise_xor)),
    "not": ([{}], np.invert),
    "copy": ([{}], np.copy),
    "convert": ([{"dtype": "bool"}, {"dtype": "int32"}, {"dtype": "uint16"}], convert),
    "bitonal_to_gray": ([{}, {"zero_scale": 9, "one_scale": 30, "dtype": "int16"}],
                        lambda a, zero_scale=0, one_scale=255, dtype="uint8":
                        np.where(a, one_scale, zero_scale).astype(dtype)),
    "gray_to_color": ([{}], lambda a: np.repeat((a * np.uint8(255) if a.dtype == bool else a)[..., None], 3, 2)),
    "reduce_bits": ([{}], reduce_bits),
    "apply_color_twist": ([{"c_twist": TWIST}, {"c_twist": TWIST, "offset": -30}],
                          lambda a, c_twist, offset=0: apply_color_twist(a, c_twist, offset)),
    "convolve_2d": ([{"kernel": SHARPEN}] + [{"kernel": EDGES, "combine_method": m} for m in (
        "sum", "max", "min", "sum-of-squares", "root-of-squares")],
        lambda a, kernel, combine_method="sum", border=None: convolve_2d(a, kernel, combine_method, None, border)),
    "convolve_sep_2d": ([{"xkernel": ROW, "ykernel": COLUMN}],
                        lambda a, xkernel, ykernel, border=None: convolve_sep_2d(a, xkernel, ykernel, border)),
    "blur": (BOXES, blur),
    "max_filter": (BOXES, ranked(ndimage.maximum_filter)),
    "min_filter": (BOXES, ranked(ndimage.minimum_filter)),
    "median_filter": (BOXES, ranked(ndimage.median_filter)),
    "erode": ([{}, {"n_iterations": 3}], passes(ndimage.minimum_filter)),
    "dilate": ([{}, {"n_iterations": 3}], passes(ndimage.maximum_filter)),
    "open": ([{}, {"n_iterations": 2}], passes(ndimage.minimum_filter, ndimage.maximum_filter)),
    "close": ([{}, {"n_iterations": 2}], passes(ndimage.maximum_filter, ndimage.minimum_filter)),
    "zoom": ([{"x_u": 3, "x_l": 2}, {"x_u": 2, "x_l": 1, "y_u": 5, "y_l": 3},
              {"x_u": 3, "x_l": 2, "interpolate": "nearest"}], zoom),
    "decimate": ([{"x_u": 1, "x_l": 2}, {"x_u": 2, "x_l": 3, "y_u": 1, "y_l": 4, "interpolate": "nearest"}], decimate),
    "rotate": (TURNS, turned),
    "mirror": ([{"flip_axis": x} for x in ("horizontal", "vertical", "both")], mirror),
    "real_fft_2d": ([{}], real_fft_2d),
    "dct_2d": ([{}], dct_2d),
    "compute_histo": ([{}], compute_histo),
    "contrast_stretch": ([{"lut": STRETCH}], lambda a, lut: contrast_stretch(a, lut)),
    "threshold": ([{"threshold": t} for t in (-1, 0, 100, 70000)], threshold),
    "norm": ([{"norm_type": t} for t in ("c", "l1", "l2", "relative-l2")], norm),
    "multiply_s_scale": ([{"scale": 100}, {"scale": 2**31}], multiply_s_scale),
    "multiply_scale": ([{}], fractions),
    "pre_multiply_alpha": ([{}, {"alpha": 77}], pre_multiply_alpha),
    "alpha_composite": ([{}, {"premul_alpha": True}], over),
    "alpha_composite_c": ([{"a_a": 128, "a_b": 200}], alpha_composite_c),
}
# Tested otherwise: no exact formula, or changes its arguments.
OTHERWISE = {"set", "exchange", "color_to_gray", "rgb2hsv", "hsv2rgb", "rgb2hls", "hls2rgb", "ccs_fft_2d",
             "histo_equalize"}
# Results may differ by so much: single precision against double.
CLOSE = {"real_fft_2d": 1, "dct_2d": 1}
