"""Makes the pictures of the page docs/guide/python.md.

    guide_pictures.py [FOLDER]
"""
import pathlib
import sys

import numpy as np
from PIL import Image, ImageDraw
from scipy import ndimage

import zylqx as zx

SIDE, GAP, TITLE = 200, 8, 18


def scene(size=SIDE):
    """A drawing with edges, a gradient, fine lines and specks."""
    scale = 3
    picture = Image.new("RGB", (size * scale, size * scale))
    draw = ImageDraw.Draw(picture)
    for y in range(size * scale):
        part = y / size / scale
        draw.line((0, y, size * scale, y), (int(90 + 90 * part), int(140 + 60 * part), int(220 - 60 * part)))
    draw.ellipse((330, 60, 470, 200), (250, 210, 70))
    draw.polygon([(0, 430), (180, 190), (330, 430)], (70, 95, 80))
    draw.polygon([(180, 450), (400, 250), (600, 450)], (50, 75, 70))
    draw.rectangle((0, 430, 600, 600), (95, 130, 60))
    draw.rectangle((90, 360, 210, 520), (170, 80, 60))
    draw.polygon([(75, 365), (150, 290), (225, 365)], (100, 50, 45))
    for x in range(260, 600, 24):
        draw.line((x, 470, x - 40, 600), (220, 215, 190), 3)
    array = np.asarray(picture.resize((size, size), Image.Resampling.LANCZOS)).copy()
    random = np.random.default_rng(5)
    specks = random.random((size, size)) < 0.02
    array[specks] = random.integers(0, 2, (specks.sum(), 1)) * 255
    return array


def sheet(panels, columns):
    """Panels of (title, array) side by side."""
    rows = -(-len(panels) // columns)
    height, width = (max(a.shape[axis] for _, a in panels) for axis in (0, 1))
    page = Image.new("RGB", (columns * (width + GAP) + GAP, rows * (height + TITLE + GAP) + GAP), "white")
    draw = ImageDraw.Draw(page)
    for i, (title, array) in enumerate(panels):
        x = GAP + i % columns * (width + GAP)
        y = GAP + i // columns * (height + TITLE + GAP)
        draw.text((x, y), title, "black")
        page.paste(Image.fromarray(array).convert("RGB"), (x, y + TITLE))
    return page


def operations():
    a = scene()
    gray = zx.color_to_gray(a)
    edges = [zx.Kernel([[-1, 0, 1], [-2, 0, 2], [-1, 0, 1]]), zx.Kernel([[-1, -2, -1], [0, 0, 0], [1, 2, 1]])]
    part = a.copy()
    roi = (50, 70, 100, 90)
    zx.blur(zx.Image(a, roi=roi), 15, 15, out=zx.Image(part, roi=roi))
    return sheet([
        ("the picture, with specks", a),
        ("median_filter(a, 3, 3)", zx.median_filter(a, 3, 3, border="replicate")),
        ("a region: roi=(50, 70, 100, 90)", part),
        ("convolve_2d: edges", zx.convolve_2d(zx.median_filter(gray, 3, 3), edges, "root-of-squares")),
        ("rotate(a, 2000)", zx.rotate(zx.median_filter(a, 3, 3), 2000, interpolate="cubic")),
        ("reduce_bits, a dither", zx.reduce_bits(
            zx.multiply_s(zx.convert(gray, "uint16"), 257), dither_type="floyd-steinberg", dither_bits=1)),
    ], 3)


def moved(a, down, right, border):
    """The picture moved through its border, by kernels of one coefficient away from the anchor."""
    def line(by):
        values = np.zeros(2 * abs(by) + 1, int)
        values[-1 if by > 0 else 0] = 1
        return values
    return zx.convolve_sep_2d(a, zx.Kernel(line(right)), zx.Kernel(line(down)[:, np.newaxis]), border=border)


def borders():
    """What a picture has around it, in pieces that are moved into its corner."""
    a = zx.decimate(zx.median_filter(scene(), 3, 3, border="replicate"), 1, 3)
    margin, piece = 28, 31
    size = a.shape[0] + 2 * margin
    panels = []
    for border in ("replicate", "mirror", "wrap", 128):
        around = np.zeros((size, size, 3), np.uint8)
        for y in range(0, size, piece):
            for x in range(0, size, piece):
                part = around[y:y + piece, x:x + piece]
                part[...] = moved(a, y - margin, x - margin, border)[:part.shape[0], :part.shape[1]]
        ImageDraw.Draw(framed := Image.fromarray(around)).rectangle(
            (margin - 1, margin - 1, size - margin, size - margin), outline="white")
        panels.append((f"border={border!r}", np.asarray(framed)))
    return sheet(panels, 4)


def differences():
    """The same call here and there, enlarged eight times."""
    def shown(array):
        return zx.zoom(np.ascontiguousarray(array), 8 * 24 // array.shape[1], interpolate="nearest")

    a = zx.color_to_gray(scene())[60:84, 60:84].copy()
    sharpen = np.array([[0, -1, 0], [-1, 5, -1], [0, -1, 0]])
    theirs, ours = ndimage.zoom(a, 2, order=1), zx.zoom(a, 2)
    apart = zx.add(zx.subtract(ours, theirs), zx.subtract(theirs, ours))
    return sheet([
        ("a", shown(a)),
        ("ndimage.correlate: wraps", shown(ndimage.correlate(a, sharpen))),
        ("zx.convolve_2d: saturates", shown(zx.convolve_2d(a, sharpen, border="mirror"))),
        ("ndimage.zoom(a, 2, order=1)", shown(theirs)),
        ("zx.zoom(a, 2)", shown(ours)),
        ("the difference, times 4", shown(zx.multiply_s(apart, 4))),
    ], 3)


def main():
    default = pathlib.Path(__file__).parents[2] / "docs" / "guide"
    folder = pathlib.Path(sys.argv[1]) if len(sys.argv) > 1 else default
    for name, make in (("operations", operations), ("borders", borders), ("differences", differences)):
        make().quantize(64).save(folder / f"python-{name}.png", optimize=True)


if __name__ == "__main__":
    main()
