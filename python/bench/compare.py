"""How fast calls are: small ones, large ones against the bare call of the library, and beside
other packages. Ratios are of one run; each is the least of interleaved rounds.

    compare.py [--markdown] [--rounds N]
"""
import argparse
import os
import sys
import time

os.environ.setdefault("OMP_NUM_THREADS", "1")

import numpy as np
from PIL import Image, ImageChops, ImageFilter, ImageOps
from scipy import ndimage
from skimage import exposure, filters, morphology, transform

import zylqx as zx
from zylqx import _call, _core
from zylqx._operand import Operand
from zylqx._operation import DESCRIBED

SIDE = 2048
LIMIT_SMALL = 10e-6
LIMIT_LARGE = 1.05


def least(functions, rounds, number=1, seconds=float("inf")):
    """The least processor time of each function, all of them in turn; after so many seconds no more
    rounds."""
    times = [float("inf")] * len(functions)
    end = time.perf_counter() + seconds
    for done in range(rounds):
        if done > 1 and time.perf_counter() > end:
            break
        for i, function in enumerate(functions):
            began = time.process_time()
            for _ in range(number):
                function()
            times[i] = min(times[i], (time.process_time() - began) / number)
    return times


def small_calls():
    a = np.arange(64, dtype="uint8").reshape(8, 8)
    b, out, bits, colours = a.copy(), a.copy(), a > 9, np.zeros((8, 8, 3), "uint8")
    kernel = zx.Kernel([[1, 2, 1], [2, 4, 2], [1, 2, 1]], shift=4)
    return {
        "add": lambda: zx.add(a, b), "add, out=": lambda: zx.add(a, b, out=out),
        "add_s": lambda: zx.add_s(a, 3), "not_": lambda: zx.not_(a),
        "median_filter": lambda: zx.median_filter(a, 3, 3),
        "convolve_2d": lambda: zx.convolve_2d(a, kernel), "blur": lambda: zx.blur(a, 3, 3),
        "erode": lambda: zx.erode(a), "erode of bits": lambda: zx.erode(bits),
        "zoom": lambda: zx.zoom(a, 2), "rotate": lambda: zx.rotate(a, 3000),
        "rgb2hsv": lambda: zx.rgb2hsv(colours), "convert": lambda: zx.convert(a, "uint16"),
        "norm": lambda: zx.norm(a), "compute_histo": lambda: zx.compute_histo(a),
        "histo_equalize": lambda: zx.histo_equalize(a),
        "histo_equalize of colours": lambda: zx.histo_equalize(colours),
        "real_fft_2d": lambda: zx.real_fft_2d(a),
    }


def large_calls(random):
    """(name, the call in Python, the same with records that are made already)"""
    a = random.integers(0, 256, (SIDE, SIDE), np.uint8)
    b, out = a[::-1].copy(), np.zeros_like(a)
    sources = {"second": [a, b]}
    for name, arguments in (("add", ()), ("add_s", (3,)), ("median_filter", (3, 3, 1, 1)), ("erode", (1,)),
                            ("blur", (5, 5, 2, 2)), ("threshold", (100,)), ("mirror", ("vertical",)),
                            ("rotate", (3000, 900, 900, "linear"))):
        operation = DESCRIBED[name]
        images = sources["second"] if "second" in operation.image_kinds else [a]
        operands = [Operand("", i, True, True) for i in images + [out]]
        for operand in operands:
            operand.describe(operation, True, False)
        values = _call.checked(operation, arguments)
        records = [o.record for o in operands]
        tile = [None] if operation.tile or "none" in operation.plan else []
        order = records + values + tile

        def python(name=name, images=images, arguments=arguments):
            getattr(zx, name)(*images, *arguments, out=out)

        def bare(operation=operation, order=order):
            _core.call(operation.index, *order)
        yield name, python, bare


def peers(random):
    """name -> (zylqx, {package: the same of it})"""
    a = random.integers(0, 256, (SIDE, SIDE), np.uint8)
    a = ndimage.gaussian_filter(a, 2)
    b = a[::-1].copy()
    bits = a > 127
    pil, other = Image.fromarray(a), Image.fromarray(b)
    box = np.ones((3, 3), bool)
    return {
        "add, saturated": (lambda: zx.add(a, b), {
            "numpy": lambda: np.minimum(a.astype(np.uint16) + b, 255).astype(np.uint8),
            "Pillow": lambda: ImageChops.add(pil, other)}),
        "median 3 x 3": (lambda: zx.median_filter(a, 3, 3), {
            "scipy.ndimage": lambda: ndimage.median_filter(a, 3),
            "scikit-image": lambda: filters.median(a, np.ones((3, 3)), behavior="rank"),
            "Pillow": lambda: pil.filter(ImageFilter.MedianFilter(3))}),
        "median 5 x 5": (lambda: zx.median_filter(a, 5, 5), {
            "scipy.ndimage": lambda: ndimage.median_filter(a, 5),
            "scikit-image": lambda: filters.median(a, np.ones((5, 5)), behavior="rank"),
            "Pillow": lambda: pil.filter(ImageFilter.MedianFilter(5))}),
        "uniform filter 9 x 9": (lambda: zx.blur(a, 9, 9), {
            "scipy.ndimage": lambda: ndimage.uniform_filter(a, 9),
            "Pillow": lambda: pil.filter(ImageFilter.BoxBlur(4))}),
        "erosion 3 x 3": (lambda: zx.erode(a), {
            "scipy.ndimage": lambda: ndimage.grey_erosion(a, 3),
            "scikit-image": lambda: morphology.erosion(a, box),
            "Pillow": lambda: pil.filter(ImageFilter.MinFilter(3))}),
        "erosion of bits": (lambda: zx.erode(bits), {
            "scipy.ndimage": lambda: ndimage.binary_erosion(bits, box),
            "scikit-image": lambda: morphology.binary_erosion(bits, box)}),
        "zoom by 2, linear": (lambda: zx.zoom(a, 2), {
            "scipy.ndimage": lambda: ndimage.zoom(a, 2, order=1),
            "scikit-image": lambda: transform.resize(a, (2 * SIDE, 2 * SIDE), order=1),
            "Pillow": lambda: pil.resize((2 * SIDE, 2 * SIDE), Image.Resampling.BILINEAR)}),
        "rotation by 30 degrees, linear": (lambda: zx.rotate(a, 3000), {
            "scipy.ndimage": lambda: ndimage.rotate(a, 30, reshape=False, order=1),
            "scikit-image": lambda: transform.rotate(a, 30, order=1),
            "Pillow": lambda: pil.rotate(30, Image.Resampling.BILINEAR)}),
        "histogram": (lambda: zx.compute_histo(a), {
            "numpy": lambda: np.bincount(a.ravel(), minlength=256),
            "scikit-image": lambda: exposure.histogram(a), "Pillow": lambda: pil.histogram()}),
        "equalisation": (lambda: zx.histo_equalize(a), {
            "scikit-image": lambda: exposure.equalize_hist(a), "Pillow": lambda: ImageOps.equalize(pil)}),
    }


PACKAGES = ("numpy", "scipy.ndimage", "scikit-image", "Pillow")


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--markdown", action="store_true", help="print the table for the README alone")
    parser.add_argument("--rounds", type=int, default=7)
    options = parser.parse_args()
    random = np.random.default_rng(1)
    good = True

    if not options.markdown:
        calls = small_calls()
        print(f"A call on 8 x 8 samples, microseconds (at most {LIMIT_SMALL * 1e6:.0f}):")
        for name, took in zip(calls, least(list(calls.values()), 10 * options.rounds, 200)):
            good &= took <= LIMIT_SMALL
            print(f"  {name:16}{took * 1e6:8.2f}")
        print(f"\n{SIDE} x {SIDE} bytes, divided by the bare call (at most {LIMIT_LARGE}):")
        for name, python, bare in large_calls(random):
            ours, its = least([python, bare], 5 * options.rounds)
            good &= ours / its <= LIMIT_LARGE
            print(f"  {name:16}{ours / its:8.3f}   {ours * 1e3:8.2f} ms")
        print(f"\nTime of zylqx divided by that of others, {SIDE} x {SIDE} bytes:\n")

    print("| operation | zylqx | " + " | ".join(PACKAGES) + " |")
    print("|---|---|" + "---|" * len(PACKAGES))
    for name, (ours, others) in peers(random).items():
        took, *theirs = least([ours, *others.values()], 5 * options.rounds, seconds=5)
        ratio = dict(zip(others, (took / t for t in theirs)))
        cells = [f"{ratio[p]:.2g}" if p in ratio else "" for p in PACKAGES]
        print(f"| {name} | {took * 1e3:.2g} ms | " + " | ".join(cells) + " |", flush=True)
    return 0 if good else 1


if __name__ == "__main__":
    sys.exit(main())
