"""Reads files of other writers with zyl, and zyl's files with other readers.

    formats_test.py ZYL [unittest arguments]

The other programs are Pillow, libtiff's tools, netpbm and libwebp's tools; TIFF
and BMP files of rare kinds are put together here. Pixels pass as PAM files.
"""

import io
import itertools
import json
import os
import random
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import threading
import time
import unittest
import zlib

from PIL import Image, ImageCms, PngImagePlugin, TiffImagePlugin

ZYL = ""


def parse_pam(data):
    """(width, height, channels, largest sample, samples in order)"""
    head, body = data.split(b"ENDHDR\n", 1)
    fields = dict(line.split(b" ", 1) for line in head.split(b"\n")[1:] if line)
    width, height, depth, most = (int(fields[k]) for k in (b"WIDTH", b"HEIGHT", b"DEPTH", b"MAXVAL"))
    count = width * height * depth
    samples = list(struct.unpack(">%d%s" % (count, "B" if most == 255 else "H"), body))
    return width, height, depth, most, samples


def pam_of(image):
    """The same of a Pillow image of mode L, LA, RGB or RGBA."""
    return image.width, image.height, len(image.getbands()), 255, list(image.tobytes())


class FormatCase(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.random = random.Random(1)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def run_zyl(self, *words, data=None, **options):
        return subprocess.run([ZYL, *words], input=data, capture_output=True, timeout=60,
                              **({} if data is not None else {"stdin": subprocess.DEVNULL}),
                              **options)

    def good(self, *words, data=None):
        done = self.run_zyl(*words, data=data)
        self.assertEqual((done.returncode, done.stderr), (0, b""), words)
        return done.stdout

    def bad(self, code, text, *words, data=None):
        done = self.run_zyl(*words, data=data)
        self.assertEqual(done.returncode, code, (words, done.stderr))
        self.assertIn(text, done.stderr.decode())
        self.assertEqual(done.stderr.count(b"\n"), 1, done.stderr)

    def pixels(self, path, *words):
        return parse_pam(self.good(path, *words, "-:pam"))

    def info(self, path, *words):
        return json.loads(self.good("info", path, "--json", *words))

    def noise(self, mode, width, height):
        bands = len(Image.new(mode, (1, 1)).getbands())
        data = self.random.randbytes(width * height * bands)
        return Image.frombytes(mode, (width, height), data)

    def smooth(self, mode, width, height):
        return self.noise(mode, 4, 3).resize((width, height), Image.BICUBIC)

    def difference(self, a, b):
        return sum(abs(x - y) for x, y in zip(a, b, strict=True)) / len(b)

    def tool(self, *words, data=None):
        done = subprocess.run(words, input=data, capture_output=True, timeout=60)
        self.assertEqual(done.returncode, 0, (words, done.stderr))
        return done.stdout


# TIFF

def pack(samples, bits, order):
    """One row or tile row of samples, from the top bit."""
    if bits == 8:
        return bytes(s & 255 for s in samples)
    if bits in (16, 32):
        code = "H" if bits == 16 else "I"
        mask = (1 << bits) - 1
        return struct.pack(order + str(len(samples)) + code, *(s & mask for s in samples))
    text = "".join(format(s, "0%db" % bits) for s in samples)
    text += "0" * (-len(text) % 8)
    return bytes(int(text[i:i + 8], 2) for i in range(0, len(text), 8))


def rgb_of_ycc(pixel):
    """By the shares of BT.601, the codes of the samples from 0 to 255."""
    y, cb, cr = pixel[0], pixel[1] - 128, pixel[2] - 128
    red, blue = y + 1.402 * cr, y + 1.772 * cb
    green = (y - 0.299 * red - 0.114 * blue) / 0.587
    return tuple(int(min(max(v, 0), 255) + 0.5) for v in (red, green, blue))


def shared_units(rows, columns, lines, shared):
    """The samples of these columns and lines; chroma of the first pixel of each unit."""
    across, down = shared

    def at(x, y):
        return rows[min(y, len(rows) - 1)][min(x, len(rows[0]) - 1)]

    for top, left in itertools.product(lines[::down], columns[::across]):
        for y, x in itertools.product(range(down), range(across)):
            yield at(left + x, top + y)[0]
        yield from at(left, top)[1:]


def make_tiff(width, height, samples, rows, bits=8, photometric=1, extras=(), planar=False,
              tile=None, strip=None, order="<", big=False, compression=1, orientation=1,
              sample_format=1, colormap=None, shared=(1, 1), coded=None, tags=()):
    """rows[y][x] is a tuple of samples. So many pixels share their second and third samples.
    The bytes of a single strip may be given instead."""
    block_width, block_height = tile or (width, strip or height)
    across, down = -(-width // block_width), -(-height // block_height)
    blocks = []
    for plane in range(samples if planar else 1):
        for by, bx in itertools.product(range(down), range(across)):
            data = b""
            if shared != (1, 1):
                last = (by + 1) * block_height if tile else min((by + 1) * block_height, height)
                data = bytes(shared_units(rows, range(bx * block_width, (bx + 1) * block_width),
                                          range(by * block_height, last), shared))
            for y in range(by * block_height, (by + 1) * block_height):
                if coded or shared != (1, 1) or y >= height and not tile:
                    break
                row = rows[min(y, height - 1)]
                pixels = [row[min(x, width - 1)] for x in range(bx * block_width,
                                                                (bx + 1) * block_width)]
                flat = [p[plane] for p in pixels] if planar else [s for p in pixels for s in p]
                data += pack(flat, bits, order)
            blocks.append(zlib.compress(data) if compression == 8 else data)
    blocks = [coded] if coded else blocks
    entries = {256: (4, [width]), 257: (4, [height]), 258: (3, [bits] * samples),
               259: (3, [compression]), 262: (3, [photometric]), 274: (3, [orientation]),
               277: (3, [samples]), 284: (3, [2 if planar else 1]),
               339: (3, [sample_format] * samples)}
    if extras:
        entries[338] = (3, list(extras))
    if colormap:
        entries[320] = (3, colormap)
    entries.update({tag: (kind, values) for tag, kind, values in tags})
    head = struct.pack(order + "2sHHHQ", b"II" if order == "<" else b"MM", 43, 8, 0, 0) if big \
        else struct.pack(order + "2sHI", b"II" if order == "<" else b"MM", 42, 0)
    body, offsets = head, []
    for block in blocks:
        offsets.append(len(body))
        body += block + b"\0" * (len(block) % 2)
    if tile:
        entries.update({322: (4, [tile[0]]), 323: (4, [tile[1]]), 324: (4, offsets),
                        325: (4, [len(b) for b in blocks])})
    else:
        entries.update({278: (4, [block_height]), 273: (4, offsets),
                        279: (4, [len(b) for b in blocks])})
    directory = b""
    inline = 8 if big else 4
    for tag, (kind, values) in sorted(entries.items()):
        data = struct.pack(order + str(len(values)) + {3: "H", 4: "I"}[kind], *values)
        if len(data) > inline:
            body += b"\0" * (len(body) % 2)
            where, body = len(body), body + data
            data = struct.pack(order + ("Q" if big else "I"), where)
        directory += struct.pack(order + ("HHQ" if big else "HHI"), tag, kind, len(values))
        directory += data + b"\0" * (inline - len(data))
    body += b"\0" * (len(body) % 2)
    start = len(body)
    body += struct.pack(order + ("Q" if big else "H"), len(entries)) + directory + b"\0" * 8
    where = struct.pack(order + ("Q" if big else "I"), start)
    return body[:8] + where + body[16:] if big else body[:4] + where + body[8:]


class Tiff(FormatCase):
    WIDTH, HEIGHT = 45, 37

    def rows(self, samples, bits):
        return [[tuple(self.random.randrange(1 << bits) for _ in range(samples))
                 for _ in range(self.WIDTH)] for _ in range(self.HEIGHT)]

    def check(self, expected, channels, most, file, *words):
        path = self.write("in.tif", file)
        flat = [s for row in expected for pixel in row for s in pixel]
        self.assertEqual(self.pixels(path, *words),
                         (len(expected[0]), len(expected), channels, most, flat))

    STORAGES = [{"tile": t, "strip": s, "planar": p, "order": o, "big": b, "compression": c}
                for (t, s), p, o, b, c in (
                    ((None, 5), False, "<", False, 1), ((None, 5), True, ">", False, 1),
                    ((None, None), False, ">", True, 8), ((None, 5), True, "<", True, 8),
                    (((16, 32), None), False, "<", False, 1), (((32, 16), None), False, ">", True, 1),
                    (((16, 16), None), True, ">", False, 1), (((16, 16), None), True, "<", False, 8),
                    (((48, 16), None), False, ">", False, 8))]

    def test_samples_in_every_storage(self):
        for samples, bits, photometric, extras in (
                (1, 8, 1, ()), (1, 16, 1, ()), (2, 8, 1, (2,)), (3, 8, 2, ()), (3, 16, 2, ()),
                (4, 8, 2, (2,)), (4, 16, 2, (2,))):
            rows = self.rows(samples, bits)
            for storage in self.STORAGES:
                with self.subTest(samples=samples, bits=bits, storage=storage):
                    file = make_tiff(self.WIDTH, self.HEIGHT, samples, rows, bits, photometric,
                                     extras, **storage)
                    self.check(rows, samples, (1 << bits) - 1, file)

    def test_meanings_of_samples(self):
        def scaled(value, bits):
            most = 255 if bits < 8 else 65535
            return (2 * value * most // ((1 << bits) - 1) + 1) // 2

        def divided(pixel, most):
            *color, alpha = pixel
            return tuple(0 if alpha == 0 else min(most, (c * most + alpha // 2) // alpha)
                         for c in color) + (alpha,)

        def rgb_of_ink(ink, most):
            return tuple(((most - c) * (most - ink[3]) + most // 2) // most for c in ink[:3])

        table8 = [self.random.randrange(256) for _ in range(3 * 16)]
        table16 = [self.random.randrange(65536) for _ in range(3 * 16)]
        cases = [
            ("inverse gray", 1, 8, 0, (), {}, 1, 255, lambda p: (255 - p[0],)),
            ("inverse gray 16", 1, 16, 0, (), {}, 1, 65535, lambda p: (65535 - p[0],)),
            ("inverse gray, alpha", 2, 8, 0, (2,), {}, 2, 255, lambda p: (255 - p[0], p[1])),
            ("gray of 2 bits", 1, 2, 1, (), {}, 1, 255, lambda p: (scaled(p[0], 2),)),
            ("gray of 4 bits", 1, 4, 0, (), {}, 1, 255, lambda p: (255 - scaled(p[0], 4),)),
            ("rgb of 4 bits", 3, 4, 2, (), {}, 3, 255, lambda p: tuple(scaled(s, 4) for s in p)),
            ("gray of 3 bits", 1, 3, 1, (), {}, 1, 255, lambda p: (scaled(p[0], 3),)),
            ("gray of 9 bits", 1, 9, 0, (), {}, 1, 65535, lambda p: (65535 - scaled(p[0], 9),)),
            ("rgb of 10 bits", 3, 10, 2, (), {}, 3, 65535,
             lambda p: tuple(scaled(s, 10) for s in p)),
            ("gray of 12 bits", 1, 12, 1, (), {}, 1, 65535, lambda p: (scaled(p[0], 12),)),
            ("rgb of 14 bits, alpha", 4, 14, 2, (2,), {}, 4, 65535,
             lambda p: tuple(scaled(s, 14) for s in p)),
            ("associated", 4, 8, 2, (1,), {}, 4, 255, lambda p: divided(p, 255)),
            ("associated 16", 4, 16, 2, (1,), {}, 4, 65535, lambda p: divided(p, 65535)),
            ("associated gray", 2, 8, 1, (1,), {}, 2, 255, lambda p: divided(p, 255)),
            ("other sample before alpha", 5, 8, 2, (0, 2), {}, 4, 255, lambda p: p[:3] + p[4:]),
            ("other sample alone", 4, 8, 2, (0,), {}, 3, 255, lambda p: p[:3]),
            ("cmyk", 4, 8, 5, (), {}, 3, 255, lambda p: rgb_of_ink(p, 255)),
            ("cmyk 16, alpha", 5, 16, 5, (2,), {}, 4, 65535,
             lambda p: rgb_of_ink(p, 65535) + p[4:]),
            ("palette", 1, 4, 3, (), {"colormap": [257 * v for v in table8]}, 3, 255,
             lambda p: tuple(table8[p[0] + 16 * c] for c in range(3))),
            ("old palette", 1, 4, 3, (), {"colormap": table8}, 3, 255,
             lambda p: tuple(table8[p[0] + 16 * c] for c in range(3))),
            ("deep palette", 1, 4, 3, (), {"colormap": table16}, 3, 65535,
             lambda p: tuple(table16[p[0] + 16 * c] for c in range(3)))]
        for name, samples, bits, photometric, extras, more, channels, most, meaning in cases:
            rows = self.rows(samples, bits)
            for storage in self.STORAGES[:2] + self.STORAGES[4:8]:
                with self.subTest(name, storage=storage):
                    file = make_tiff(self.WIDTH, self.HEIGHT, samples, rows, bits, photometric,
                                     extras, **storage, **more)
                    expected = [[meaning(pixel) for pixel in row] for row in rows]
                    self.check(expected, channels, most, file)

    def test_bits_and_signed_samples(self):
        rows = self.rows(1, 1)
        for photometric, storage in itertools.product((0, 1), self.STORAGES):
            with self.subTest(photometric=photometric, storage=storage):
                path = self.write("in.tif", make_tiff(self.WIDTH, self.HEIGHT, 1, rows, 1,
                                                      photometric, **storage))
                # 1 is black in PBM.
                expected = b"P4\n%d %d\n" % (self.WIDTH, self.HEIGHT)
                flip = 1 if photometric else 0
                for row in rows:
                    expected += pack([p[0] ^ flip for p in row], 1, "<")
                self.assertEqual(self.good(path, "-:pbm"), expected)
        for bits, samples, storage in itertools.product((8, 16, 32), (1, 3), self.STORAGES):
            with self.subTest(bits=bits, samples=samples, storage=storage):
                rows = self.rows(samples, bits)
                path = self.write("in.tif", make_tiff(
                    self.WIDTH, self.HEIGHT, samples, rows, bits, 2 if samples == 3 else 1,
                    sample_format=2, **storage))
                self.assertTrue(self.info(path)["signed"])
                self.good(path, self.path("out.tif"), "--compression", "none")
                expected = b"".join(pack([s for p in row for s in p], bits, "<") for row in rows)
                with open(self.path("out.tif"), "rb") as file:
                    self.assertIn(expected, file.read())

    def near(self, path, expected, most):
        """The shares are stored with 24 bits: what lies half-way may be rounded either way."""
        got = self.pixels(path)
        self.assertEqual(got[:4], (self.WIDTH, self.HEIGHT, 3, 255))
        self.assertLessEqual(max(abs(a - b) for a, b in zip(got[4], expected, strict=True)), most)

    def test_shared_chroma(self):
        rows = self.rows(3, 8)
        for across, down in itertools.product((1, 2, 4), (1, 2, 4)):
            expected = [[rgb_of_ycc(pixel[:1] + rows[y // down * down][x // across * across][1:])
                         for x, pixel in enumerate(row)] for y, row in enumerate(rows)]
            flat = [s for row in expected for pixel in row for s in pixel]
            for storage in ({}, {"strip": 8, "planar": (across, down) == (1, 1)}, {"tile": (16, 32)},
                            {"strip": 16, "order": ">", "big": True, "compression": 8}):
                with self.subTest(across=across, down=down, storage=storage):
                    path = self.write("in.tif", make_tiff(
                        self.WIDTH, self.HEIGHT, 3, rows, 8, 6, shared=(across, down),
                        tags=((530, 3, [across, down]),), **storage))
                    self.near(path, flat, 1)
            # libtiff reads it the same way, with tables that are rounded.
            if down <= across:
                self.tool("tiff2rgba", "-c", "none", path, self.path("out.tif"))
                with Image.open(self.path("out.tif")) as other:
                    samples = other.convert("RGB").tobytes()
                self.assertLess(max(abs(a - b) for a, b in zip(samples, flat, strict=True)), 3)

    def test_jpeg_of_the_old_kind(self):
        for mode, subsampling, shared in (("L", 0, (1, 1)), ("RGB", 0, (1, 1)), ("RGB", 1, (2, 1)),
                                          ("RGB", 2, (2, 2))):
            with self.subTest(mode=mode, shared=shared):
                picture = self.smooth(mode, self.WIDTH, self.HEIGHT)
                file = io.BytesIO()
                picture.save(file, "JPEG", quality=95, subsampling=subsampling)
                coded = file.getvalue()
                tags = [(512, 3, [1]), (513, 4, [8]), (514, 4, [len(coded)])]
                tags += [(530, 3, list(shared))] if mode == "RGB" else []
                path = self.write("in.tif", make_tiff(
                    self.WIDTH, self.HEIGHT, len(mode), [], 8, 6 if mode == "RGB" else 1,
                    compression=6, coded=coded, tags=tags))
                self.tool("tiff2rgba", "-c", "none", path, self.path("other.tif"))
                with Image.open(self.path("other.tif")) as other:
                    samples = list(other.convert(mode).tobytes())
                got = self.pixels(path)
                self.assertLessEqual(max(abs(a - b) for a, b in zip(got[4], samples, strict=True)),
                                     2)

    def test_orientations(self):
        turns = {2: Image.FLIP_LEFT_RIGHT, 3: Image.ROTATE_180, 4: Image.FLIP_TOP_BOTTOM,
                 5: Image.TRANSPOSE, 6: Image.ROTATE_270, 7: Image.TRANSVERSE, 8: Image.ROTATE_90}
        for mode, bits in (("L", 8), ("RGB", 8), ("1", 1)):
            picture = self.noise("L" if mode == "1" else mode, self.WIDTH, self.HEIGHT)
            if mode == "1":
                picture = picture.point(lambda v: 255 * (v > 127))
            for orientation, storage in itertools.product(range(1, 9), (
                    {"strip": 5}, {"tile": (16, 16)}, {"tile": (16, 32), "compression": 8})):
                with self.subTest(mode=mode, orientation=orientation, storage=storage):
                    pixels = list(picture.getdata())
                    rows = [[(p,) if isinstance(p, int) else p
                             for p in pixels[y * self.WIDTH:(y + 1) * self.WIDTH]]
                            for y in range(self.HEIGHT)]
                    if mode == "1":
                        rows = [[(p[0] // 255,) for p in row] for row in rows]
                    file = make_tiff(self.WIDTH, self.HEIGHT, len(rows[0][0]), rows, bits,
                                     2 if mode == "RGB" else 1, orientation=orientation, **storage)
                    path = self.write("in.tif", file)
                    turned = picture.transpose(turns[orientation]) if orientation > 1 else picture
                    self.good(path, self.path("out.png"))
                    with Image.open(self.path("out.png")) as out:
                        self.assertEqual(out.size, turned.size)
                        self.assertEqual(out.convert(picture.mode).tobytes(), turned.tobytes())
                    info = self.info(path)
                    self.assertEqual((info["width"], info["height"], info["orientation"]),
                                     turned.size + (orientation,))
                    # As it lies, the way to turn it goes along. Pillow turns TIFF files itself.
                    for name, wanted in (("out.png", picture), ("out.tif", turned)):
                        self.good(path, "--no-orient", self.path(name))
                        with Image.open(self.path(name)) as out:
                            self.assertEqual(out.convert(picture.mode).tobytes(),
                                             wanted.tobytes())
                        self.assertEqual(self.info(self.path(name))["orientation"], orientation)

    def test_files_of_libtiff_with_every_compression(self):
        picture = self.smooth("RGB", 150, 110)
        picture.save(self.path("plain.tif"))
        for options in (["-c", "lzw"], ["-c", "lzw:2"], ["-c", "zip"], ["-c", "packbits"],
                        ["-c", "lzma"], ["-c", "zstd"], ["-c", "webp:100"],
                        ["-c", "zip", "-t", "-w", "64", "-l", "32"], ["-c", "lzw", "-p", "separate"],
                        ["-c", "zip:2", "-B"], ["-c", "none", "-B", "-8", "-t"],
                        ["-c", "none", "-f", "lsb2msb", "-r", "7"]):
            with self.subTest(options=options):
                self.tool("tiffcp", *options, self.path("plain.tif"), self.path("in.tif"))
                if options[1].startswith("webp"):
                    with Image.open(self.path("in.tif")) as same:
                        same.load()
                        self.assertEqual(self.pixels(self.path("in.tif")), pam_of(same))
                    continue
                self.assertEqual(self.pixels(self.path("in.tif")), pam_of(picture))
        for options in (["-c", "jpeg", "-r", "16"], ["-c", "jpeg:r", "-r", "16"],
                        ["-c", "jpeg", "-t"]):
            with self.subTest(options=options):
                self.tool("tiffcp", *options, self.path("plain.tif"), self.path("in.tif"))
                got = self.pixels(self.path("in.tif"))
                self.assertEqual(got[:4], (150, 110, 3, 255))
                self.assertLess(self.difference(got[4], picture.tobytes()), 4)
        fax = self.smooth("L", 150, 110).point(lambda v: 255 * (v > 127)).convert("1")
        fax.save(self.path("fax.tif"))
        for options in (["-c", "g3"], ["-c", "g3:2d"], ["-c", "g4"],
                        ["-c", "g4", "-f", "lsb2msb"], ["-c", "none", "-f", "lsb2msb"]):
            with self.subTest(options=options):
                self.tool("tiffcp", *options, self.path("fax.tif"), self.path("in.tif"))
                self.good(self.path("in.tif"), self.path("out.png"))
                with Image.open(self.path("out.png")) as out:
                    self.assertEqual(out.convert("1").tobytes(), fax.tobytes())

    def test_a_strip_too_large_for_memory_is_read_in_order(self):
        picture = self.smooth("RGB", 1500, 1400)
        for planar in (False, True):
            picture.save(self.path("plain.tif"))
            self.tool("tiffcp", "-c", "zip", "-r", "1400", *(["-p", "separate"] if planar else []),
                      self.path("plain.tif"), self.path("in.tif"))
            self.assertEqual(self.pixels(self.path("in.tif")), pam_of(picture))

    def test_pages(self):
        pages = [self.noise("RGB", 20 + i, 10) for i in range(3)]
        pages[0].save(self.path("in.tif"), save_all=True, append_images=pages[1:])
        self.assertEqual(self.info(self.path("in.tif"))["pages"], 3)
        for i, page in enumerate(pages):
            self.assertEqual(self.pixels(self.path("in.tif"), "--page", str(i + 1)), pam_of(page))
        self.bad(1, "has 3 pages", self.path("in.tif"), "--page", "4", self.path("out.png"))

    def test_what_is_refused_names_a_way_out(self):
        rows = self.rows(1, 32)
        floating = make_tiff(self.WIDTH, self.HEIGHT, 1, rows, 32, sample_format=3)
        self.bad(1, "save it with 8-bit or 16-bit", self.write("in.tif", floating), "-:png")
        unsigned = make_tiff(self.WIDTH, self.HEIGHT, 1, rows, 32)
        self.bad(1, "unsigned 32-bit samples", self.write("in.tif", unsigned), "-:png")
        inks = make_tiff(self.WIDTH, self.HEIGHT, 4, self.rows(4, 8), 8, 5, tags=((332, 3, [2]),))
        self.bad(1, "save it as RGB", self.write("in.tif", inks), "-:png")
        shared = make_tiff(self.WIDTH, self.HEIGHT, 3, self.rows(3, 8), 8, 6, planar=True)
        self.bad(1, "save it as RGB", self.write("in.tif", shared), "-:png")
        signed = make_tiff(self.WIDTH, self.HEIGHT, 1, self.rows(1, 12), 12, sample_format=2)
        self.bad(1, "signed 12-bit samples", self.write("in.tif", signed), "-:png")
        lab = make_tiff(self.WIDTH, self.HEIGHT, 3, self.rows(3, 8), 8, 8)
        self.bad(1, "Lab", self.write("in.tif", lab), "-:png")
        # The decoder's message has two lines.
        coded = io.BytesIO()
        self.smooth("RGB", self.WIDTH, self.HEIGHT).save(coded, "JPEG", subsampling=2)
        shared = make_tiff(self.WIDTH, self.HEIGHT, 3, [], 8, 2, compression=7,
                           coded=coded.getvalue())
        self.bad(1, "sampling factors", self.write("in.tif", shared), "-:png")

    def test_written_files_are_read_by_others(self):
        picture = self.noise("RGBA", 70, 50)
        picture.save(self.path("in.png"))
        opaque = self.smooth("RGB", 70, 50)
        opaque.save(self.path("opaque.png"))
        for compression, tile in itertools.product(
                ("none", "lzw", "deflate", "zstd", "packbits", "lzma"), (None, "32x48")):
            with self.subTest(compression=compression, tile=tile):
                self.good(self.path("in.png"), self.path("out.tif"), "--compression", compression,
                          *(["--tile", tile] if tile else []))
                self.tool("tiffcp", "-c", "none", self.path("out.tif"), self.path("plain.tif"))
                with Image.open(self.path("plain.tif")) as out:
                    self.assertEqual((out.mode, out.tobytes()), ("RGBA", picture.tobytes()))
                stored = self.info(self.path("out.tif"))["stored"]
                self.assertIn("tiles 32 x 48" if tile else "strips of", stored)
        for tile in ([], ["--tile", "32x48"]):
            self.good(self.path("opaque.png"), self.path("out.tif"), "--compression", "jpeg", *tile)
            with Image.open(self.path("out.tif")) as out:
                self.assertLess(self.difference(out.tobytes(), opaque.tobytes()), 4)
        # More tiles than an encoder takes for one file.
        bits = self.smooth("L", 500, 300).point(lambda v: 255 * (v > 127)).convert("1")
        bits.save(self.path("bits.png"))
        for compression, jobs in itertools.product(("fax3", "fax4", "deflate"), ("1", "3")):
            self.good(self.path("bits.png"), self.path("out.tif"), "--compression", compression,
                      "--tile", "16", "--jobs", jobs)
            with Image.open(self.path("out.tif")) as out:
                self.assertEqual(out.tobytes(), bits.tobytes())
        self.bad(1, "1-bit", self.path("in.png"), self.path("out.tif"), "--compression", "fax4")
        self.bad(2, "unknown --compression 'nine'; did you mean 'none'", self.path("in.png"),
                 self.path("new.tif"), "--compression", "nine")

    def test_damage_is_named_by_its_place(self):
        rows = self.rows(3, 8)
        whole = make_tiff(self.WIDTH, self.HEIGHT, 3, rows, 8, 2, tile=(16, 16), compression=8)
        cut = bytearray(whole)
        cut[3000:3100] = bytes(100)
        self.bad(1, "in the tile of column", self.write("in.tif", bytes(cut)), self.path("out.png"))
        self.assertFalse(os.path.exists(self.path("out.png")))


class Jpeg(FormatCase):
    def test_kinds(self):
        for mode, options in (("L", {}), ("RGB", {}), ("RGB", {"progressive": True}),
                              ("RGB", {"subsampling": 0}), ("RGB", {"subsampling": 2}),
                              ("L", {"progressive": True, "quality": 30})):
            with self.subTest(mode=mode, options=options):
                self.smooth(mode, 83, 61).save(self.path("in.jpg"), **options)
                with Image.open(self.path("in.jpg")) as same:
                    expected = pam_of(same.convert(mode))
                self.assertEqual(self.pixels(self.path("in.jpg")), expected)

    def test_inks(self):
        inks = self.smooth("CMYK", 64, 48)
        inks.save(self.path("in.jpg"), quality=100, subsampling=0)
        with open(self.path("in.jpg"), "rb") as file:
            adobe = file.read()
        expected = [((255 - c) * (255 - p[3]) + 127) // 255 for p in inks.getdata() for c in p[:3]]
        # Without Adobe's marker the inks are not inverted: what was 255 for none is 255.
        at = adobe.index(b"\xff\xee")
        size = struct.unpack(">H", adobe[at + 2:at + 4])[0]
        plain = adobe[:at] + adobe[at + 2 + size:]
        inverse = [(c * p[3] + 127) // 255 for p in inks.getdata() for c in p[:3]]
        for data, wanted in ((adobe, expected), (plain, inverse)):
            got = self.pixels(self.write("in.jpg", data))
            self.assertEqual(got[:4], (64, 48, 3, 255))
            self.assertLess(max(abs(a - b) for a, b in zip(got[4], wanted)), 12)

    def test_markers(self):
        picture = self.smooth("RGB", 40, 30)
        picture.save(self.path("in.jpg"), dpi=(118, 118))
        with open(self.path("in.jpg"), "rb") as file:
            jfif = file.read()
        with Image.open(self.path("in.jpg")) as same:
            expected = pam_of(same.convert("RGB"))
        head, rest = jfif[:20], jfif[20:]  # the start of the picture and JFIF's own marker
        self.assertEqual(head[2:11], b"\xff\xe0\0\x10JFIF\0")
        # Longer than what is read at a time, and of no known kind.
        unknown = b"\xff\xe5" + struct.pack(">H", 60002) + bytes(60000)
        self.assertEqual(self.pixels(self.write("in.jpg", head + unknown + rest)), expected)
        # Adobe's without JFIF's, of a transform that nobody knows.
        adobe = b"\xff\xee\0\x0eAdobe\0\x64\0\0\0\0\x09"
        self.assertEqual(self.pixels(self.write("in.jpg", head[:2] + adobe + rest)), expected)
        # The same number per centimetre.
        centimetres = head[:13] + b"\2" + head[14:]
        for data, dpi in ((jfif, 118), (centimetres + rest, 118 * 2.54)):
            self.good(self.write("in.jpg", data), self.path("out.png"))
            with Image.open(self.path("out.png")) as out:
                self.assertAlmostEqual(out.info["dpi"][0], dpi, delta=0.1)

    def test_orientation_is_applied_and_reset(self):
        turns = {2: Image.FLIP_LEFT_RIGHT, 3: Image.ROTATE_180, 4: Image.FLIP_TOP_BOTTOM,
                 5: Image.TRANSPOSE, 6: Image.ROTATE_270, 7: Image.TRANSVERSE, 8: Image.ROTATE_90}
        picture = self.smooth("RGB", 50, 34)
        for orientation in range(1, 9):
            with self.subTest(orientation=orientation):
                exif = Image.Exif()
                exif[0x0112] = orientation
                exif[0x010F] = "maker"
                picture.save(self.path("in.jpg"), exif=exif)
                with Image.open(self.path("in.jpg")) as file:
                    lying = file.convert("RGB")
                seen = lying.transpose(turns[orientation]) if orientation > 1 else lying
                self.assertEqual(self.pixels(self.path("in.jpg")), pam_of(seen))
                self.assertEqual(self.pixels(self.path("in.jpg"), "--no-orient"), pam_of(lying))
                self.assertEqual(self.info(self.path("in.jpg"))["orientation"], orientation)
                self.good(self.path("in.jpg"), self.path("out.jpg"))
                with Image.open(self.path("out.jpg")) as out:
                    self.assertEqual(out.size, seen.size)
                    self.assertEqual(out.getexif()[0x0112], 1)
                    self.assertEqual(out.getexif()[0x010F], "maker")

    def test_quality(self):
        self.noise("RGB", 100, 100).save(self.path("in.png"))
        sizes = []
        for quality in ("10", "60", "100"):
            self.good(self.path("in.png"), self.path("out.jpg"), "--quality", quality)
            sizes.append(os.path.getsize(self.path("out.jpg")))
        self.assertEqual(sizes, sorted(sizes))
        self.bad(2, "--quality", self.path("in.png"), self.path("no.jpg"), "--quality", "101")

    def test_what_does_not_fit_is_refused(self):
        self.noise("RGBA", 5, 5).save(self.path("alpha.png"))
        self.bad(1, "convert it or write a PNG file", self.path("alpha.png"), self.path("out.jpg"))
        deep = make_tiff(9, 9, 1, [[(300 * x,) for x in range(9)]] * 9, 16)
        self.bad(1, "16-bit", self.write("deep.tif", deep), self.path("out.jpg"))


def png_chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def filtered(kind, row, above, step):
    result = bytearray([kind])
    for i, value in enumerate(row):
        left, up, corner = (row[i - step] if i >= step else 0, above[i],
                            above[i - step] if i >= step else 0)
        near = min((abs(up - corner), 0, left), (abs(left - corner), 1, up),
                   (abs(left + up - 2 * corner), 2, corner))[2]
        result.append((value - (0, left, up, (left + up) // 2, near)[kind]) & 255)
    return bytes(result)


PASSES = [(0, 0, 8, 8), (4, 0, 8, 8), (0, 4, 4, 8), (2, 0, 4, 4), (0, 2, 2, 4), (1, 0, 2, 2),
          (0, 1, 1, 2)]


def make_png(rows, bits, color, interlaced, extra, dice):
    """rows[y][x] is a tuple of samples; filters, level and the cuts of IDAT are diced."""
    data = b""
    for left, top, across, down in PASSES if interlaced else [(0, 0, 1, 1)]:
        above = None
        for row in rows[top::down]:
            flat = [s for pixel in row[left::across] for s in pixel]
            raw = pack(flat, bits, ">")
            above = above or bytes(len(raw))
            if raw:
                data += filtered(dice.randrange(5), raw, above, max(1, len(row[0]) * bits // 8))
            above = raw
    body = zlib.compress(data, dice.choice((0, 1, 6, 9)))
    cut = dice.choice((1, 7, len(body)))
    head = struct.pack(">IIBBBBB", len(rows[0]), len(rows), bits, color, 0, 0, interlaced)
    return (b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", head) + extra
            + b"".join(png_chunk(b"IDAT", body[i:i + cut]) for i in range(0, len(body), cut))
            + png_chunk(b"IEND", b""))


class Png(FormatCase):
    SIZES = ((1, 1), (9, 1), (1, 9), (2, 3), (5, 5), (8, 8), (17, 4), (33, 31))

    def transparency(self, color, bits, table):
        """The chunk, and which alpha it gives a pixel."""
        if color == 3:
            alphas = self.random.randbytes(self.random.randint(1, len(table)))
            return alphas, lambda p: (alphas + b"\xff" * 256)[p[0]]
        key = tuple(self.random.randrange(1 << bits) for _ in range(1 if color == 0 else 3))
        return (struct.pack(">%dH" % len(key), *key),
                lambda p: 0 if p == key else 65535 if bits == 16 else 255)

    def test_kinds(self):
        channels = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}
        kinds = [(0, b) for b in (1, 2, 4, 8, 16)] + [(3, b) for b in (1, 2, 4, 8)]
        kinds += [(c, b) for c in (2, 4, 6) for b in (8, 16)]
        for (color, bits), interlaced, transparent, (width, height) in itertools.product(
                kinds, (0, 1), (False, True), self.SIZES):
            if transparent and color in (4, 6) or (color, bits, transparent) == (0, 1, False):
                continue  # alpha is there already; bits are read as bits, elsewhere
            table = [tuple(self.random.randbytes(3))
                     for _ in range(self.random.randint(1, 1 << bits))] if color == 3 else []
            top = len(table) or 1 << bits
            rows = [[tuple(self.random.randrange(top) for _ in range(channels[color]))
                     for _ in range(width)] for _ in range(height)]
            extra = png_chunk(b"gAMA", struct.pack(">I", 45455))
            extra += png_chunk(b"PLTE", bytes(itertools.chain(*table))) if table else b""
            if transparent:
                chunk, alpha = self.transparency(color, bits, table)
                extra += png_chunk(b"tRNS", chunk)
            if color in (0, 4):
                extra += png_chunk(b"bKGD", b"\0\0")

            def meaning(pixel):
                seen = table[pixel[0]] if table else tuple(
                    s if bits >= 8 else s * 255 // ((1 << bits) - 1) for s in pixel)
                return seen + (alpha(pixel),) if transparent else seen

            flat = [s for row in rows for pixel in row for s in meaning(pixel)]
            with self.subTest(color=color, bits=bits, interlaced=interlaced,
                              transparent=transparent, size=(width, height)):
                data = make_png(rows, bits, color, interlaced, extra, self.random)
                got = parse_pam(self.good("-", "-:pam", data=data))
                self.assertEqual(got, (width, height, len(flat) // width // height,
                                       65535 if bits == 16 else 255, flat))

    def test_compression_and_interlace(self):
        picture = self.noise("RGBA", 33, 21)
        picture.save(self.path("in.png"))
        for level in ("", "0", "1", "9"):
            self.good(self.path("in.png"), self.path("out.png"),
                      *(["--compression", level] if level else []))
            with Image.open(self.path("out.png")) as out:
                self.assertEqual((out.mode, out.tobytes()), ("RGBA", picture.tobytes()))
        self.bad(2, "from 0 to 9", self.path("in.png"), self.path("x.png"), "--compression", "10")
        interlaced = self.tool("pnmtopng", "-interlace", "-quiet",
                               data=b"P6\n33 21\n255\n" + picture.convert("RGB").tobytes())
        self.assertEqual(self.pixels(self.write("in.png", interlaced)),
                         pam_of(picture.convert("RGB")))
        # It is read as a whole, which has to fit.
        head = struct.pack(">IIBBBBB", 60000, 60000, 8, 2, 0, 0, 1)
        large = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", head) + png_chunk(b"IDAT", b"")
        self.bad(1, "large.png: an image of 60000 x 60000 pixels", self.write("large.png", large),
                 self.path("x.png"))

    def test_transparent_colors_and_palettes(self):
        indexed = self.noise("L", 20, 20).quantize(16)
        indexed.save(self.path("in.png"), transparency=3, bits=4)
        with Image.open(self.path("in.png")) as same:
            self.assertEqual(self.pixels(self.path("in.png")), pam_of(same.convert("RGBA")))
        gray = self.noise("L", 20, 20)
        gray.save(self.path("in.png"), transparency=gray.getpixel((3, 3)))
        with Image.open(self.path("in.png")) as same:
            self.assertEqual(self.pixels(self.path("in.png")), pam_of(same.convert("LA")))


    def test_what_stands_after_the_pixels(self):
        exif = Image.Exif()
        exif[0x0112] = 6
        for mode in ("RGB", "P"):
            picture = self.noise("L", 12, 9).convert(mode)
            picture.save(self.path("in.png"))
            with open(self.path("in.png"), "rb") as file:
                data = file.read()
            late = png_chunk(b"tEXt", b"Author\0me") + png_chunk(b"eXIf", exif.tobytes()[6:])
            source = self.write("in.png", data[:-12] + late + data[-12:])
            self.assertEqual(self.info(source)["texts"], [["Author", "me"]])
            turned = picture.convert("RGB").transpose(Image.ROTATE_270)
            self.assertEqual(self.pixels(source), pam_of(turned))


class Pnm(FormatCase):
    def test_kinds_of_netpbm(self):
        picture = self.noise("RGB", 31, 17)
        data = b"P6\n31 17\n255\n" + picture.tobytes()
        for words in (["pamtopnm"], ["pnmtoplainpnm"], ["pamtopam"]):
            with self.subTest(words=words):
                made = self.tool(*words, data=data)
                self.assertEqual(parse_pam(self.good("-", "-:pam", data=made)), pam_of(picture))
                self.assertEqual(self.good("-", "-:ppm", data=made), data)
        for depth in (1, 7, 100, 255, 1000, 65535):
            made = self.tool("pamdepth", str(depth), data=data)
            expected = self.tool("pamdepth", "65535" if depth > 255 else "255", data=made)
            self.assertEqual(self.good("-", "-:ppm", data=made), expected, depth)
        bits = self.tool("pgmtopbm", "-threshold", data=self.tool("ppmtopgm", data=data))
        for made in (bits, self.tool("pnmtoplainpnm", data=bits)):
            self.assertEqual(self.good("-", "-:pbm", data=made), bits)

    def test_comments_and_faults(self):
        text = b"P2 # gray\n# two lines\n3 1 # size\n255\n1 # one\n 2 3"
        self.assertEqual(parse_pam(self.good("-", "-:pam", data=text))[4], [1, 2, 3])
        self.bad(1, "standard input: is truncated, in row 1", "-", "-:png",
                 data=b"P5\n2 3\n255\nabc")
        self.bad(1, "above its largest value", "-", "-:png", data=b"P5\n2 1\n9\n\x01\x0a")
        self.bad(1, "damaged header", "-", "-:png", data=b"P5\n2 x\n255\n")
        self.bad(1, "is truncated", "-", "-:png", data=b"P7\nWIDTH 2")
        self.bad(1, "PPM for RGB", "-", "-:pgm", data=b"P6\n1 1\n255\nabc")


class Webp(FormatCase):
    def test_read_and_written(self):
        picture = self.noise("RGBA", 40, 30)
        picture.save(self.path("in.png"))
        self.tool("cwebp", "-quiet", "-lossless", "-exact", self.path("in.png"), "-o",
                  self.path("in.webp"))
        self.assertEqual(self.pixels(self.path("in.webp")), pam_of(picture))
        self.good(self.path("in.png"), self.path("out.webp"), "--compression", "lossless")
        self.assertEqual(parse_pam(self.tool("dwebp", "-quiet", self.path("out.webp"), "-pam", "-o",
                                             "-")), pam_of(picture))
        smooth = self.smooth("RGB", 90, 70)
        smooth.save(self.path("smooth.png"))
        self.tool("cwebp", "-quiet", self.path("smooth.png"), "-o", self.path("in.webp"))
        lossy = self.tool("dwebp", "-quiet", self.path("in.webp"), "-pam", "-o", "-")
        self.assertEqual(self.pixels(self.path("in.webp"))[4],
                         list(Image.open(self.path("in.webp")).convert("RGB").tobytes()))
        self.assertEqual(len(parse_pam(lossy)[4]) // 4, 90 * 70)
        sizes = []
        for quality in ("20", "95"):
            self.good(self.path("smooth.png"), self.path("out.webp"), "--quality", quality)
            sizes.append(os.path.getsize(self.path("out.webp")))
            with Image.open(self.path("out.webp")) as out:
                got = out.convert("RGB").tobytes()
            self.assertLess(self.difference(got, smooth.tobytes()), 6)
        self.assertLess(sizes[0], sizes[1])

    def test_frames(self):
        frames = [Image.new("RGB", (16, 16), color) for color in ("red", "blue", "lime")]
        frames[0].save(self.path("in.webp"), save_all=True, append_images=frames[1:], lossless=True)
        self.assertEqual(self.info(self.path("in.webp"))["pages"], 3)
        got = self.pixels(self.path("in.webp"), "--page", "2")
        self.assertEqual(got[4][:4], [0, 0, 255, 255])


# BMP

def make_bmp(header_size, width, height, bits, pixels, compression=0, table=(), masks=(), colors=0,
             gap=0):
    """pixels: the stored rows; table: colours (red, green, blue); masks: red, green, blue and
    perhaps alpha."""
    if header_size == 12:
        header = struct.pack("<IHHHH", 12, width, height, 1, bits)
        palette = b"".join(bytes((b, g, r)) for r, g, b in table)
    else:
        header = struct.pack("<IiiHHIIiiII", header_size, width, height, 1, bits, compression,
                             len(pixels), 2835, 2835, colors, 0)[:header_size]
        in_header = struct.pack("<%dI" % len(masks), *masks)
        if header_size == 40:
            header += in_header
        else:
            header += in_header[:max(0, header_size - 40)]
            header += b"\0" * (header_size - len(header))
        palette = b"".join(bytes((b, g, r, 0)) for r, g, b in table)
    start = 14 + len(header) + len(palette) + gap
    return (struct.pack("<2sIII", b"BM", start + len(pixels), 0, start) + header + palette
            + b"\xee" * gap + pixels)


class Bmp(FormatCase):
    WIDTH, HEIGHT = 13, 5

    def stored(self, rows, bits, top_down=False):
        """rows: numbers of `bits` bits."""
        data = b""
        for row in rows if top_down else rows[::-1]:
            if bits <= 8:
                line = pack(row, bits, "<")
            else:
                line = b"".join(v.to_bytes(bits // 8, "little") for v in row)
            data += line + b"\0" * (-len(line) % 4)
        return data

    def numbers(self, bits):
        return [[self.random.randrange(1 << bits) for _ in range(self.WIDTH)]
                for _ in range(self.HEIGHT)]

    def check(self, file, expected, channels=3):
        flat = [s for row in expected for pixel in row for s in pixel]
        self.assertEqual(self.pixels(self.write("in.bmp", file)),
                         (self.WIDTH, self.HEIGHT, channels, 255, flat))

    def test_color_tables_with_every_header(self):
        for bits, header in itertools.product((1, 2, 4, 8), (12, 16, 40, 52, 56, 64, 108, 124)):
            with self.subTest(bits=bits, header=header):
                table = [tuple(self.random.randbytes(3)) for _ in range(1 << bits)]
                rows = self.numbers(bits)
                file = make_bmp(header, self.WIDTH, self.HEIGHT, bits, self.stored(rows, bits),
                                table=table, gap=6)
                self.check(file, [[table[v] for v in row] for row in rows])

    def test_color_tables_that_are_short_or_gray(self):
        rows = self.numbers(8)
        table = [tuple(self.random.randbytes(3)) for _ in range(100)]
        file = make_bmp(40, self.WIDTH, self.HEIGHT, 8, self.stored(rows, 8), table=table,
                        colors=100)
        self.check(file, [[table[v] if v < 100 else (0, 0, 0) for v in row] for row in rows])
        gray = [(v, v, v) for v in range(256)]
        file = make_bmp(40, self.WIDTH, -self.HEIGHT, 8, self.stored(rows, 8, True), table=gray)
        self.check(file, [[(v,) for v in row] for row in rows], 1)
        bits = self.numbers(1)
        for table in ([(0, 0, 0), (255, 255, 255)], [(255, 255, 255), (0, 0, 0)]):
            file = make_bmp(40, self.WIDTH, self.HEIGHT, 1, self.stored(bits, 1), table=table)
            black = table.index((0, 0, 0))
            expected = b"P4\n13 5\n" + b"".join(pack([v == black for v in row], 1, "<")
                                                for row in bits)
            self.assertEqual(self.good(self.write("in.bmp", file), "-:pbm"), expected)

    def test_colors_and_masks(self):
        def field(value, mask):
            shift = (mask & -mask).bit_length() - 1
            most = mask >> shift
            return ((value & mask) >> shift) * 510 // most + 1 >> 1 if mask else 0

        for header in (12, 40, 124):
            rows = self.numbers(24)
            file = make_bmp(header, self.WIDTH, self.HEIGHT, 24, self.stored(rows, 24))
            self.check(file, [[(v >> 16, v >> 8 & 255, v & 255) for v in row] for row in rows])
        default = {16: (0x7C00, 0x3E0, 0x1F), 32: (0xFF0000, 0xFF00, 0xFF)}
        cases = [(16, 0, ()), (32, 0, ()), (16, 3, (0xF800, 0x7E0, 0x1F)), (16, 3, (0xF, 0xF0, 0xF00)),
                 (16, 3, (0xF00, 0xF0, 0xF, 0xF000)), (16, 3, (0x7C00, 0x3E0, 0x1F, 0x8000)),
                 (32, 3, (0xFF, 0xFF00, 0xFF0000)), (32, 3, (0x3FF00000, 0xFFC00, 0x3FF)),
                 (32, 3, (0xFF000000, 0xFF0000, 0xFF00, 0xFF)), (32, 3, (0x1, 0x6, 0x38, 0xFC0))]
        for (bits, compression, masks), header in itertools.product(cases, (40, 52, 56, 108, 124)):
            alpha = len(masks) == 4 and header >= 56
            with self.subTest(bits=bits, masks=masks, header=header):
                rows = self.numbers(bits)
                if len(masks) == 4 and header == 40:
                    compression, alpha = 6, True
                file = make_bmp(header, self.WIDTH, self.HEIGHT, bits, self.stored(rows, bits),
                                compression, masks=masks)
                used = (masks or default[bits])[:4 if alpha else 3]
                self.check(file, [[tuple(field(v, m) for m in used) for v in row] for row in rows],
                           len(used))

    def test_runs(self):
        table = [tuple(self.random.randbytes(3)) for _ in range(256)]
        # From the bottom: runs and single pixels; a jump within a row and over rows, what it
        # leaves out is color 0; a row that ends early; the rest is left out.
        runs8 = bytes((5, 7, 0, 3, 1, 2, 3, 0, 5, 9, 0, 0,
                       4, 8, 0, 2, 3, 0, 2, 5, 0, 2, 1, 1, 3, 6, 0, 0,
                       13, 11, 0, 1))
        rows8 = [[0] * 13, [11] * 13, [0] * 10 + [6] * 3, [8] * 4 + [0] * 3 + [5] * 2 + [0] * 4,
                 [7] * 5 + [1, 2, 3] + [9] * 5]
        runs4 = bytes((5, 0x12, 0, 5, 0x34, 0x56, 0x70, 0, 3, 0x89, 0, 0, 13, 0xAB, 0, 1))
        rows4 = [[0] * 13] * 3 + [[10, 11] * 6 + [10], [1, 2, 1, 2, 1, 3, 4, 5, 6, 7, 8, 9, 8]]
        for bits, code, runs, rows in ((8, 1, runs8, rows8), (4, 2, runs4, rows4)):
            with self.subTest(bits=bits):
                file = make_bmp(40, self.WIDTH, self.HEIGHT, bits, runs, code, table[:1 << bits])
                self.check(file, [[table[v] for v in row] for row in rows])
        # In the header of 64 bytes code 4 means runs of colors, else a JPEG file.
        runs24 = bytes((5, 1, 2, 3, 0, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 0, 5, 13, 14, 15, 0, 0,
                        0, 2, 9, 1, 4, 16, 17, 18, 0, 0, 0, 1))
        rows24 = [[(0, 0, 0)] * 13] * 2 + [[(0, 0, 0)] * 9 + [(18, 17, 16)] * 4, [(0, 0, 0)] * 13,
                  [(3, 2, 1)] * 5 + [(6, 5, 4), (9, 8, 7), (12, 11, 10)] + [(15, 14, 13)] * 5]
        self.check(make_bmp(64, self.WIDTH, self.HEIGHT, 24, runs24, 4), rows24)
        self.bad(1, "holds a JPEG file", self.write("in.bmp", make_bmp(
            40, self.WIDTH, self.HEIGHT, 24, runs24, 4)), "-:png")
        self.bad(1, "is truncated", self.write("in.bmp", make_bmp(40, 13, 5, 8, runs8[:20], 1,
                                                                  table)), "-:png")

    def test_written_files_are_read_by_others(self):
        for mode in ("L", "RGB", "RGBA", "1"):
            picture = self.noise("RGBA" if mode == "RGBA" else "RGB", 37, 20).convert(mode)
            picture.save(self.path("in.png"))
            self.good(self.path("in.png"), self.path("out.bmp"))
            with Image.open(self.path("out.bmp")) as out:
                self.assertEqual((out.mode, out.tobytes()), (mode, picture.tobytes()))
            self.good(self.path("in.png"), "-:bmp")
        deep = make_tiff(9, 9, 1, [[(300 * x,) for x in range(9)]] * 9, 16)
        self.bad(1, "convert it or write a TIFF", self.write("deep.tif", deep), "-:bmp")

    def test_faults(self):
        rows = self.stored(self.numbers(8), 8)
        table = [(v, v, v) for v in range(256)]
        for text, file in (
                ("is truncated", make_bmp(40, 13, 5, 8, rows[:-10], table=table)),
                ("has no pixels", make_bmp(40, 0, 5, 8, rows, table=table)),
                ("bits a pixel", make_bmp(40, 13, 5, 7, rows, table=table)),
                ("color mask with gaps", make_bmp(40, 6, 5, 16, rows, 3, masks=(5, 16, 32))),
                ("empty color masks", make_bmp(40, 6, 5, 16, rows, 3, masks=(0, 0, 0))),
                ("a way that zyl does not know", make_bmp(40, 13, 5, 8, rows, 9, table=table)),
                ("header of an unknown kind", make_bmp(40, 13, 5, 8, rows)[:14] + b"\x0d" + rows)):
            with self.subTest(text):
                self.bad(1, text, self.write("in.bmp", file), self.path("out.png"))


class Details(FormatCase):
    def test_profile_resolution_exif_and_texts_go_along(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        exif = Image.Exif()
        exif[0x010F] = "maker"
        exif[0x8769] = {0x829A: TiffImagePlugin.IFDRational(1, 250),
                        0x9003: "2001:02:03 04:05:06", 0x8827: 400}
        exif[0x8825] = {1: "N", 2: (47.0, 30.0, 15.5)}
        texts = PngImagePlugin.PngInfo()
        texts.add_text("Description", "a picture")
        texts.add_itxt("Author", "J\u00f6rg")
        picture = self.noise("RGB", 30, 20)
        picture.save(self.path("a.png"), icc_profile=profile, dpi=(300, 300), exif=exif.tobytes(),
                     pnginfo=texts)
        for name in ("b.jpg", "c.tif", "d.webp", "e.bmp", "f.png"):
            with self.subTest(name):
                self.good(self.path("a.png"), self.path(name))
                with Image.open(self.path(name)) as out:
                    out.load()
                    if not name.endswith("bmp"):
                        self.assertEqual(out.info.get("icc_profile"), profile)
                        self.check_exif(out)
                    if not name.endswith("webp"):
                        self.assertAlmostEqual(float(out.info["dpi"][0]), 300, delta=0.1)
                # And from there on.
                self.good(self.path(name), self.path("back.png"))
                with Image.open(self.path("back.png")) as back:
                    self.assertEqual(back.info.get("icc_profile"), profile)
                    if not name.endswith("bmp"):
                        self.check_exif(back)
                    if not name.endswith("webp"):
                        self.assertAlmostEqual(back.info["dpi"][0], 300, delta=0.1)
                    if name in ("b.jpg", "c.tif", "f.png"):
                        self.assertIn("a picture", back.text.values())
        self.good(self.path("a.png"), self.path("copy.png"))
        with Image.open(self.path("copy.png")) as out:
            self.assertEqual(out.text["Author"], "J\u00f6rg")
            self.check_exif(out)
        # No other format has room for this resolution.
        picture.save(self.path("dense.tif"), dpi=(4e9, 4e9))
        self.assertIsNone(self.info(self.path("dense.tif"))["xResolution"])

    def check_exif(self, picture):
        exif = picture.getexif()
        self.assertEqual(exif[0x010F], "maker")
        details, place = exif.get_ifd(0x8769), exif.get_ifd(0x8825)
        self.assertAlmostEqual(float(details[0x829A]), 0.004)
        self.assertEqual((details[0x9003], details[0x8827]), ("2001:02:03 04:05:06", 400))
        self.assertEqual((place[1], [float(v) for v in place[2]]), ("N", [47.0, 30.0, 15.5]))

    def test_strip_drops_all(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        self.noise("RGB", 9, 9).save(self.path("a.jpg"), icc_profile=profile, dpi=(300, 300))
        self.good(self.path("a.jpg"), "--strip", self.path("b.png"))
        info = self.info(self.path("b.png"))
        self.assertEqual((info["profile"], info["xResolution"], info["texts"]), (None, None, []))

    def test_a_profile_for_colors_does_not_stay_with_gray(self):
        profile = ImageCms.ImageCmsProfile(ImageCms.createProfile("sRGB")).tobytes()
        self.noise("RGB", 9, 9).save(self.path("a.png"), icc_profile=profile)
        self.good(self.path("a.png"), "color-to-gray", self.path("b.png"))
        self.assertIsNone(self.info(self.path("b.png"))["profile"])

    def test_gamma(self):
        self.noise("RGB", 9, 9).save(self.path("a.png"))
        with open(self.path("a.png"), "rb") as file:
            data = file.read()
        body = b"gAMA" + struct.pack(">I", 55000)
        gamma = struct.pack(">I", 4) + body + struct.pack(">I", zlib.crc32(body))
        self.write("a.png", data[:33] + gamma + data[33:])
        self.good(self.path("a.png"), self.path("b.png"))
        with Image.open(self.path("b.png")) as out:
            self.assertAlmostEqual(out.info["gamma"], 0.55)

    def test_info_reads_the_header_only(self):
        # The rows are missing.
        self.assertIn(b"PPM, 30000 x 20000, 8-bit RGB",
                      self.good("info", "-", data=b"P6\n30000 20000\n255\n"))
        picture = self.noise("RGB", 50, 50)
        for extension in ("png", "jpg", "bmp"):
            picture.save(self.path("a." + extension))
            with open(self.path("a." + extension), "rb") as file:
                start = file.read(700)
            self.assertIn(b"50 x 50, 8-bit RGB", self.good("info", "-", data=start))


class Lies(FormatCase):
    """Small files that tell of much: one line at once, and little memory."""
    MOST = 400 << 10  # KiB of resident memory

    def check(self, name, data, *chains):
        path = self.write(name, data)
        for words in chains or (["info", path], [path, "mirror:axis=both", self.path("out.tif")]):
            with self.subTest(name, words=words):
                process = subprocess.Popen([ZYL, *words], stdin=subprocess.DEVNULL,
                                           stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
                text = process.stderr.read()
                process.stderr.close()
                _, status, usage = os.wait4(process.pid, 0)
                process.returncode = os.waitstatus_to_exitcode(status)
                self.assertEqual(text.count(b"\n"), process.returncode, text)
                self.assertNotIn(b"not enough memory", text)
                self.assertLess(usage.ru_maxrss, self.MOST)
                self.assertLess(usage.ru_utime + usage.ru_stime, 3)

    def test_lengths_of_png_chunks(self):
        header = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", struct.pack(">IIHBBB", 1, 1, 0x800, 0, 0, 0))
        for kind in (b"iTXt", b"zTXt", b"iCCP", b"tEXt", b"eXIf", b"PLTE", b"IDAT", b"priV"):
            for length in (0x03000000, 0x60000000, 0x7FFFFFFF):
                self.check("%s-%x.png" % (kind.decode(), length),
                           header + struct.pack(">I", length) + kind + b"a\0")
        # Texts that become 200 times as long.
        text = zlib.compress(bytes(20_000_000), 9)
        bombs = b"".join(png_chunk(b"zTXt", b"k%d\0\0" % i + text) for i in range(20))
        self.check("bombs.png", header + bombs + png_chunk(b"IDAT", zlib.compress(b"\0\0"))
                   + png_chunk(b"IEND", b""))

    def test_sizes(self):
        wide = png_chunk(b"IHDR", struct.pack(">IIBBBBB", 1000000, 30, 16, 2, 0, 0, 0))
        self.check("wide.png", b"\x89PNG\r\n\x1a\n" + wide + png_chunk(b"IDAT", b""))
        for width, height in ((700000000, 1), (60000, 60000), (400000000, 2000000000)):
            self.check("a.ppm", b"P6\n%d %d\n255\n123" % (width, height))
            self.check("a.bmp", make_bmp(40, width, -height, 24, b"123"))
            tiff = make_tiff(16, 16, 1, [[(1,)] * 16] * 16, tile=(16, 16))
            for tag, value in ((256, width), (257, height), (322, width), (323, height)):
                at = tiff.index(struct.pack("<HHI", tag, 4, 1)) + 8
                tiff = tiff[:at] + struct.pack("<I", value // 16 * 16 or 16) + tiff[at + 4:]
            self.check("a.tif", tiff)
        size = struct.pack("<I", 16382 | 16382 << 14)
        lossless = b"VP8L" + struct.pack("<I", 10) + b"\x2f" + size + bytes(5)
        self.check("a.webp", b"RIFF" + struct.pack("<I", len(lossless) + 4) + b"WEBP" + lossless)


class Outputs(FormatCase):
    def setUp(self):
        super().setUp()
        self.noise("RGB", 300, 200).save(self.path("in.png"))
        self.source = self.path("in.png")

    def leftovers(self):
        return [name for name in os.listdir(self.folder.name) if name.endswith(".part")]

    def test_devices_and_pipes_are_written_directly(self):
        self.good(self.source, "/dev/null:png")
        self.assertTrue(stat.S_ISCHR(os.stat("/dev/null").st_mode))
        for extension in ("png", "tif", "bmp", "webp"):
            with self.subTest(extension):
                pipe = self.path("pipe." + extension)
                os.mkfifo(pipe)
                got = []

                def drain():
                    with open(pipe, "rb") as file:
                        got.append(file.read())

                reader = threading.Thread(target=drain)
                reader.start()
                self.good(self.source, "--compression", "lossless", pipe) if extension == "webp" \
                    else self.good(self.source, pipe)
                reader.join()
                self.assertTrue(stat.S_ISFIFO(os.stat(pipe).st_mode))
                with Image.open(self.source) as wanted, Image.open(io.BytesIO(got[0])) as out:
                    self.assertEqual(out.convert("RGB").tobytes(), wanted.tobytes())

    def test_every_format_passes_through_pipes(self):
        with open(self.source, "rb") as file:
            data = file.read()
        for extension in ("tif", "bmp", "ppm", "png"):
            data = self.good("-", "-:" + extension, data=data)
        with Image.open(self.source) as wanted, Image.open(io.BytesIO(data)) as out:
            self.assertEqual(out.tobytes(), wanted.tobytes())
        self.bad(2, "-:png", self.source, "-")

    def test_mode_and_links_stay(self):
        self.write("old.png", b"old")
        os.chmod(self.path("old.png"), 0o640)
        os.symlink("old.png", self.path("link.png"))
        os.symlink("new.png", self.path("dangling.png"))
        self.good(self.source, self.path("link.png"))
        self.assertTrue(os.path.islink(self.path("link.png")))
        self.assertEqual(stat.S_IMODE(os.stat(self.path("old.png")).st_mode), 0o640)
        self.assertGreater(os.path.getsize(self.path("old.png")), 100)
        self.good(self.source, self.path("dangling.png"))
        self.assertTrue(os.path.exists(self.path("new.png")))
        self.assertTrue(os.path.islink(self.path("dangling.png")))

    def test_options_that_would_do_nothing_are_refused(self):
        for options, name, takers in (
                (["--quality", "50"], "out.png", "JPEG, TIFF, WebP"),
                (["--compression", "lzw"], "out.jpg", "PNG, TIFF, WebP"),
                (["--compression", "0"], "out.ppm", "PNG, TIFF, WebP"),
                (["--tile", "16"], "out.bmp", "TIFF"), (["--colors", "16"], "out.tif", "BMP")):
            self.bad(2, options[0], self.source, *options, self.path(name))
            self.bad(2, "for these files: " + takers, self.source, *options, self.path(name))
            self.assertFalse(os.path.exists(self.path(name)))
            self.bad(2, "for these files: " + takers, "chart", *options, self.path(name))
        for words in (["chart"], ["sheet"]):
            source = [self.source] if words == ["sheet"] else []
            self.good(*words, "--tile", "32x48", self.path("out.tif"), *source)
            self.assertIn("tiles 32 x 48", self.info(self.path("out.tif"))["stored"])

    def test_names_that_lead_nowhere(self):
        os.symlink("b.png", self.path("a.png"))
        os.symlink("a.png", self.path("b.png"))
        os.symlink("nothing/c.png", self.path("c.png"))
        os.mkdir(self.path("d.png"))
        for name, text in (("a.png", "Too many levels"), ("c.png", "No such file"),
                           ("d.png", "is a directory"), ("nothing/e.png", "No such file")):
            self.bad(1, name + ": " + text, self.source, self.path(name))
        self.assertTrue(os.path.islink(self.path("a.png")))
        for name in ("sp ace.png", "\u56fe.png", "new\nline.png", "col:on.png", "{n}%s.png"):
            self.good(self.source, self.path(name))
            self.assertEqual(self.info(self.path(name))["file"], self.path(name))

    def test_a_full_disk_leaves_the_old_file(self):
        for extension in ("png", "tif", "bmp", "jpg", "ppm", "webp"):
            with self.subTest(extension):
                old = self.write("old." + extension, b"old")
                done = subprocess.run(["sh", "-c", 'ulimit -f 1; exec "$@"', "sh", ZYL, self.source,
                                       old], capture_output=True, timeout=60)
                self.assertEqual(done.returncode, 1, done.stderr)
                self.assertIn(b"File too large", done.stderr)
                with open(old, "rb") as file:
                    self.assertEqual(file.read(), b"old")
                self.assertEqual(self.leftovers(), [])

    def test_signals_leave_nothing(self):
        slow = self.write("slow.ppm", b"P6\n3000 2000\n255\n" + self.random.randbytes(18_000_000))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            with self.subTest(number):
                process = subprocess.Popen([ZYL, slow, self.path("out.png"), "--compression", "9"])
                while not self.leftovers() and process.poll() is None:
                    time.sleep(0.002)
                process.send_signal(number)
                self.assertEqual(process.wait(20), -number)
                self.assertEqual(self.leftovers(), [])
                self.assertFalse(os.path.exists(self.path("out.png")))


if __name__ == "__main__":
    ZYL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
