"""Runs zyl as a user does and looks at the files that it writes.

    zyl_test.py ZYL [unittest arguments]

PNG files are made and read here, so that zyl's reader and writer do not only
agree with each other.
"""

import os
import shlex
import shutil
import struct
import subprocess
import sys
import tempfile
import unittest
import zlib

ZYL = ""

CHANNELS = {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}  # by PNG colour type


def chunk(kind, data):
    return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))


def make_png(width, height, bits, colour, rows, palette=b""):
    """rows: the packed bytes of each row, 16-bit samples big-endian."""
    head = struct.pack(">IIBBBBB", width, height, bits, colour, 0, 0, 0)
    body = zlib.compress(b"".join(b"\0" + bytes(row) for row in rows))
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", head)
            + (chunk(b"PLTE", palette) if palette else b"") + chunk(b"IDAT", body)
            + chunk(b"IEND", b""))


def unfilter(kind, row, above, step):
    for i in range(len(row)):
        left = row[i - step] if i >= step else 0
        up = above[i]
        corner = above[i - step] if i >= step else 0
        if kind == 4:
            guess = left + up - corner
            near = min((abs(guess - left), 0, left), (abs(guess - up), 1, up),
                       (abs(guess - corner), 2, corner))[2]
        else:
            near = (0, left, up, (left + up) // 2)[kind]
        row[i] = (row[i] + near) & 255


def read_png(path):
    """(width, height, bits, colour type, rows of packed bytes)"""
    with open(path, "rb") as file:
        data = file.read()
    at, body, head = 8, b"", None
    while at < len(data):
        length, kind = struct.unpack(">I4s", data[at:at + 8])
        content = data[at + 8:at + 8 + length]
        if kind == b"IHDR":
            head = struct.unpack(">IIBB", content[:10])
        elif kind == b"IDAT":
            body += content
        at += length + 12
    width, height, bits, colour = head
    pixel_bits = bits * CHANNELS[colour]
    stride = (width * pixel_bits + 7) // 8
    spare = stride * 8 - width * pixel_bits  # bits past the last pixel, of any value
    raw, rows, above = zlib.decompress(body), [], bytearray(stride)
    for y in range(height):
        line = raw[y * (stride + 1):(y + 1) * (stride + 1)]
        row = bytearray(line[1:])
        unfilter(line[0], row, above, max(1, pixel_bits // 8))
        rows.append(bytes(row[:-1]) + bytes([row[-1] & 0xFF << spare & 0xFF]))
        above = row
    return width, height, bits, colour, rows


class Zyl(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def write(self, name, data):
        with open(self.path(name), "wb") as file:
            file.write(data)
        return self.path(name)

    def run_zyl(self, *words):
        return subprocess.run([ZYL, *words], stdin=subprocess.DEVNULL, capture_output=True,
                              text=True, timeout=60)

    def good(self, *words):
        done = self.run_zyl(*words)
        self.assertEqual((done.returncode, done.stderr), (0, ""), words)
        return done.stdout

    def bad(self, code, text, *words):
        """One line on standard error that holds `text`; nothing left behind."""
        before = sorted(os.listdir(self.folder.name))
        done = self.run_zyl(*words)
        self.assertEqual(done.returncode, code, words)
        self.assertIn(text, done.stderr)
        self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
        self.assertEqual(sorted(os.listdir(self.folder.name)), before)

    def rows(self, width, height, bits, colour):
        stride = (width * bits * CHANNELS[colour] + 7) // 8
        spare = stride * 8 - width * bits * CHANNELS[colour]
        rows = [bytearray((7 * x + 31 * y + x * y) & 255 for x in range(stride))
                for y in range(height)]
        for row in rows:
            row[-1] &= 0xFF << spare & 0xFF
        return [bytes(row) for row in rows]


class Pictures(Zyl):
    def test_png_of_every_kind_survives(self):
        for bits, colour in ((1, 0), (8, 0), (16, 0), (8, 4), (16, 4), (8, 2), (16, 2), (8, 6),
                             (16, 6)):
            with self.subTest(bits=bits, colour=colour):
                rows = self.rows(13, 5, bits, colour)
                source = self.write("in.png", make_png(13, 5, bits, colour, rows))
                self.good(source, self.path("out.png"))
                self.assertEqual(read_png(self.path("out.png")), (13, 5, bits, colour, rows))

    def test_a_palette_becomes_colours(self):
        palette = bytes((10, 20, 30, 200, 150, 100))
        source = self.write("in.png", make_png(4, 1, 1, 3, [b"\x50"], palette))
        self.good(source, self.path("out.png"))
        row = read_png(self.path("out.png"))[4][0]
        self.assertEqual(row, palette[:3] + palette[3:] + palette[:3] + palette[3:])

    def test_tiff_loses_nothing(self):
        for bits, colour in ((1, 0), (8, 0), (16, 2), (8, 6)):
            with self.subTest(bits=bits, colour=colour):
                rows = self.rows(21, 6, bits, colour)
                source = self.write("in.png", make_png(21, 6, bits, colour, rows))
                self.good(source, self.path("out.tif"))
                self.good(self.path("out.tif"), self.path("back.png"))
                self.assertEqual(read_png(self.path("back.png")), (21, 6, bits, colour, rows))

    def test_jpeg_stays_close(self):
        rows = [bytes(8 * x for x in range(32))] * 16
        source = self.write("in.png", make_png(32, 16, 8, 0, rows))
        self.good(source, self.path("out.jpg"))
        self.good(self.path("out.jpg"), self.path("back.png"))
        _, _, bits, colour, back = read_png(self.path("back.png"))
        self.assertEqual((bits, colour), (8, 0))
        for row, expected in zip(back, rows):
            self.assertLess(max(abs(a - b) for a, b in zip(row, expected)), 16)

    def test_selftest(self):
        line = self.good("selftest", "--operation", "zylNot").splitlines()[0]
        self.assertRegex(line, "^zylNot +[0-9a-f]{16} +equal$")
        self.assertEqual(self.run_zyl("selftest", "--operation", "zylNone").returncode, 2)

    def test_chart_and_sheet(self):
        self.good("chart", self.path("chart.png"))
        self.assertEqual(self.good("info", self.path("chart.png")).splitlines()[0],
                         self.path("chart.png") + ": PNG, 640 x 480, 8-bit RGB")
        self.good("sheet", self.path("sheet.png"), self.path("chart.png"), self.path("chart.png"))
        self.assertEqual(read_png(self.path("sheet.png"))[3], 2)


class Chains(Zyl):
    def gray(self, *rows, name="in.png"):
        return self.write(name, make_png(len(rows[0]), len(rows), 8, 0, rows))

    def result(self, *words):
        self.good(*words, self.path("out.png"))
        return [list(row) for row in read_png(self.path("out.png"))[4]]

    def test_operations_follow_each_other(self):
        source = self.gray((0, 100, 200), (1, 2, 3))
        self.assertEqual(self.result(source, "crop:x=1,width=2,height=1", "add-s:value=40", "not"),
                         [[115, 15]])

    def test_region_leaves_the_rest(self):
        source = self.gray((1, 2, 3), (4, 5, 6))
        self.assertEqual(self.result(source, "set:value=9,x=1,y=1,width=1"), [[1, 2, 3], [4, 9, 6]])

    def test_second_picture(self):
        source = self.gray((1, 2, 250))
        other = self.gray((10, 20, 30), name="other.png")
        self.assertEqual(self.result(source, "add:with=" + other), [[11, 22, 255]])
        self.assertEqual(self.result(source, "subtract:with=" + other + ",reverse"), [[9, 18, 0]])

    def test_one_channel(self):
        source = self.write("in.png", make_png(2, 1, 8, 2, [bytes((1, 2, 3, 4, 5, 6))]))
        self.assertEqual(self.result(source, "add-s:value=10,channel=2"), [[1, 12, 3, 4, 15, 6]])
        self.assertEqual(self.result(source, "crop:channel=3"), [[3, 6]])

    def test_tiles_change_nothing(self):
        self.good("chart", self.path("chart.png"))
        words = (self.path("chart.png"), "crop:x=3,y=5,width=401,height=333", "multiply-s:value=2",
                 "r-shift-s:shift=1")
        self.assertEqual(self.result(*words), self.result("--tiles", "64x48", *words))


class Families(Zyl):
    """One worked case for the operations of every family."""

    gray = Chains.gray
    result = Chains.result

    def test_conversions(self):
        source = self.write("in.png", make_png(2, 1, 8, 2, [bytes((255, 255, 255, 0, 0, 255))]))
        self.assertEqual(self.result(source, "color-to-gray"), [[254, 17]])
        self.assertEqual(self.result(source, "rgb2hsv", "crop:channel=3"), [[255, 255]])
        levels = self.gray((0, 64, 127, 128, 200, 255))
        self.assertEqual(self.result(levels, "reduce-bits:depth=1u"), [[0b00011100]])
        self.assertEqual(self.result(levels, "reduce-bits:dither=16,bits=1"),
                         [[0, 0, 255, 0, 255, 255]])

    def test_filters(self):
        source = self.gray((1, 1, 1), (1, 9, 1), (1, 1, 1))
        self.assertEqual(self.result(source, "dilate"), [[9] * 3] * 3)
        self.assertEqual(self.result(source, "median-filter:rows=3,columns=3"), [[1] * 3] * 3)
        self.assertEqual(self.result(source, "convolve-2d:kernel=0 0 0/0 0 1/0 0 0"),
                         [[1, 1, 1], [9, 1, 1], [1, 1, 1]])
        flat = self.gray(*[[25] * 5] * 5)
        self.assertEqual(self.result(flat, "blur:rows=5,columns=5"), [[24] * 5] * 5)

    def test_geometry(self):
        source = self.gray((1, 2), (3, 4))
        self.assertEqual(self.result(source, "mirror:axis=both"), [[4, 3], [2, 1]])
        self.assertEqual(self.result(source, "zoom:factor=2,interpolate=nearest"),
                         [[1, 1, 2, 2], [1, 1, 2, 2], [3, 3, 4, 4], [3, 3, 4, 4]])
        for size in ((3, 4), (4, 3), (5, 5), (2, 6)):
            rows = [[10 * y + x + 1 for x in range(size[0])] for y in range(size[1])]
            turned = [list(row) for row in zip(*rows)][::-1]  # counterclockwise
            source = self.gray(*rows)
            self.assertEqual(self.result(source, "rotate:degrees=90,fit"), turned)
            self.assertEqual(self.result(source, "rotate:degrees=180,fit"),
                             [row[::-1] for row in rows[::-1]])
            self.assertEqual(self.result(source, "rotate:degrees=-90,fit"),
                             [row[::-1] for row in turned[::-1]])

    def test_transforms(self):
        rows = [[(13 * x + 57 * y) % 251 for x in range(16)] for y in range(8)]
        source = self.gray(*rows)
        for there, back in (("real-fft-2d", "ccs-fft-2d"), ("dct-2d", "dct-2d:direction=inverse,depth=8u")):
            for row, expected in zip(self.result(source, there, back), rows):
                self.assertLessEqual(max(abs(a - b) for a, b in zip(row, expected)), 2, there)
        self.good(source, self.path("spectrum.png"), "--view", "spectrum")
        self.assertEqual(read_png(self.path("spectrum.png"))[:2], (16, 8))

    def test_statistics(self):
        source = self.gray((0, 127, 128, 255))
        self.assertEqual(self.result(source, "threshold:limit=128"), [[0, 0, 255, 255]])
        self.assertEqual(self.result(source, "multiply-s-scale:scale=128"), [[0, 63, 64, 128]])
        self.assertEqual(self.good(source, "norm:type=c"), "255\n")
        other = self.gray((0, 127, 128, 250), name="other.png")
        self.assertEqual(self.good(source, "norm:type=l1,with=" + other), "5\n")
        self.assertEqual(self.result(source, "contrast-stretch:from=0..255,to=0..255"),
                         [[0, 127, 128, 255]])
        self.assertIn("channel 1", self.good(source, "compute-histo"))

    def test_alpha(self):
        def picture(name, *pixels):
            row = bytes(sample for pixel in pixels for sample in pixel)
            return self.write(name, make_png(len(pixels), 1, 8, 6, [row]))

        def pixels(*words):
            self.good(*words, self.path("out.png"))
            width, height, bits, colour, rows = read_png(self.path("out.png"))
            self.assertEqual((height, bits, colour), (1, 8, 6))
            return [tuple(rows[0][4 * x:4 * x + 4]) for x in range(width)]

        over = picture("over.png", (200, 100, 0, 128), (200, 100, 50, 0), (1, 2, 3, 255))
        back = picture("back.png", (0, 100, 200, 128), (10, 20, 30, 40), (40, 50, 60, 255))
        self.assertEqual(pixels(over, "pre-multiply-alpha"),
                         [(100, 50, 0, 128), (0, 0, 0, 0), (1, 2, 3, 255)])
        # Colours as files have them, and multiplied by the resulting alpha.
        self.assertEqual(pixels(back, "alpha-composite:with=" + over),
                         [(134, 100, 66, 192), (10, 20, 30, 40), (1, 2, 3, 255)])
        self.assertEqual(pixels(back, "alpha-composite:divide=no,with=" + over),
                         [(100, 75, 50, 192), (1, 3, 4, 40), (1, 2, 3, 255)])
        self.assertEqual(pixels(back, "alpha-composite:rule=in,with=" + over),
                         [(200, 100, 0, 64), (0, 0, 0, 0), (1, 2, 3, 255)])
        # Alpha does not set the scale of a histogram's picture.
        opaque = picture("opaque.png", (1, 2, 3, 255), (4, 5, 6, 255))
        self.assertEqual(max(self.result(opaque, "compute-histo:draw")[0]), 255)

    def test_bitmaps(self):
        self.good("chart", self.path("chart.png"))
        for words in ((), ("--colors", "16", "--palette", "median-cut")):
            self.good(self.path("chart.png"), self.path("out.bmp"), *words)
            self.good(self.path("out.bmp"), self.path("back.png"))
            self.assertEqual(read_png(self.path("back.png"))[:4], (640, 480, 8, 2))
        self.good(self.path("chart.png"), self.path("out.bmp"))
        self.good(self.path("out.bmp"), self.path("back.png"))
        self.assertEqual(read_png(self.path("back.png")), read_png(self.path("chart.png")))


class Faults(Zyl):
    def setUp(self):
        super().setUp()
        self.source = self.write("in.png", make_png(3, 2, 8, 0, self.rows(3, 2, 8, 0)))
        self.out = self.path("out.png")

    def test_words(self):
        for text, *words in (
                ("unknown operation 'nott'; did you mean 'not'?", "nott"),
                ("add-s: needs value=", "add-s"),
                ("add-s: unknown parameter 'valu'; did you mean 'value'?", "add-s:valu=1"),
                ("add-s: value=x is not an integer", "add-s:value=x"),
                ("value=4294967296 is not an integer", "and-s:value=4294967296"),
                ("value is given twice", "add-s:value=1,value=2")):
            with self.subTest(words=words):
                self.bad(2, text, self.source, *words, self.out)
        self.bad(2, "out.xyz", self.source, self.path("out.xyz"))
        self.bad(2, "--tiles 12x8", "--tiles", "12x8", self.source, self.out)
        self.assertEqual(self.run_zyl().returncode, 2)

    def test_files(self):
        self.bad(1, "No such file", self.path("none.png"), self.out)
        self.bad(1, "No such file", self.source, "add:with=" + self.path("none.png"), self.out)
        self.bad(1, "", self.source, self.path("nowhere/out.png"))
        text = self.write("text.png", b"this is no picture")
        self.bad(1, "text.png", text, self.out)

    def test_shapes_that_do_not_fit(self):
        other = self.write("other.png", make_png(2, 2, 8, 0, self.rows(2, 2, 8, 0)))
        self.bad(1, "add", self.source, "add:with=" + other, self.out)
        self.bad(1, "crop", self.source, "crop:x=3", self.out)

    def test_cut_and_changed_files_end_in_one_line(self):
        self.good("chart", self.path("chart.png"))
        for extension in ("png", "jpg", "tif"):
            self.good(self.path("chart.png"), "crop:x=200,y=100,width=64,height=48",
                      self.path("whole." + extension))
            with open(self.path("whole." + extension), "rb") as file:
                whole = file.read()
            damaged = [whole[:n] for n in range(0, len(whole), max(1, len(whole) // 12))]
            for i in range(24):
                at = i * 5 if i < 12 else i * len(whole) // 24
                damaged.append(whole[:at] + bytes([whole[at] ^ 0xFF]) + whole[at + 1:])
            for data in damaged:
                name = self.write("damaged." + extension, data)
                done = self.run_zyl(name, self.out)
                self.assertIn(done.returncode, (0, 1), done.stderr)
                if done.returncode:
                    self.assertFalse(os.path.exists(self.out))
                    self.assertEqual(done.stderr.count("\n"), 1, done.stderr)
                else:
                    os.remove(self.out)

    def test_an_existing_output_stays_when_the_run_fails(self):
        self.write("out.png", b"precious")
        self.bad(2, "unknown", self.source, "nothing", self.out)
        self.bad(1, "crop", self.source, "crop:x=3", self.out)
        with open(self.out, "rb") as file:
            self.assertEqual(file.read(), b"precious")


class Everyday(Zyl):
    """What people ask for by name."""

    gray = Chains.gray
    result = Chains.result

    def test_other_names_do_what_they_stand_for(self):
        source = self.gray((1, 2, 3), (4, 5, 6))
        for alias, words in (("flip", "mirror:axis=horizontal"), ("flop", "mirror:axis=vertical"),
                             ("invert", "not"), ("invert:x=1", "not:x=1"),
                             ("rotate-left", "rotate:degrees=90,fit"), ("median", "median-filter"),
                             ("fill:value=3,x=2", "set:value=3,x=2")):
            self.assertEqual(self.result(source, alias), self.result(source, words), alias)

    def test_other_names_stand_in_batches_too(self):
        self.gray((1, 2, 3), name="a.png")
        self.good("batch", self.path("a.png"), "flop", "thumbnail:size=9", "--to",
                  self.path("{name}.pgm"))
        with open(self.path("a.pgm"), "rb") as file:
            self.assertEqual(file.read()[-3:], bytes((3, 2, 1)))
        # What a pattern fits beside files would be waited for.
        os.mkfifo(self.path("pipe.png"))
        os.mkdir(self.path("folder.png"))
        os.unlink(self.path("a.pgm"))
        self.good("batch", self.path("*.png"), "flop", "--to", self.path("{name}.pgm"))
        self.assertEqual(sorted(os.listdir(self.folder.name)),
                         ["a.pgm", "a.png", "folder.png", "pipe.png"])
        self.bad(2, "did you mean 'gray'?", "batch", self.path("a.png"), "grayscale", "--to",
                 self.path("{name}.pgm"))

    def test_tones(self):
        source = self.gray((0, 51, 128, 255))
        self.assertEqual(self.result(source, "brightness:percent=20"), [[51, 102, 179, 255]])
        self.assertEqual(self.result(source, "brightness:percent=-20"), [[0, 0, 77, 204]])
        self.assertEqual(self.result(source, "contrast:percent=100"), [[0, 0, 129, 255]])
        self.assertEqual(self.result(source, "gamma:value=2"), [[0, 114, 181, 255]])
        self.assertEqual(self.result(self.gray((50, 100, 150)), "auto-level"), [[0, 127, 255]])
        self.assertEqual(self.result(self.gray((7, 7)), "auto-level"), [[7, 7]])

    def test_alpha_stays_unless_told(self):
        source = self.write("in.png", make_png(1, 1, 8, 6, [bytes((10, 20, 30, 40))]))
        self.assertEqual(self.result(source, "invert"), [[245, 235, 225, 40]])
        self.assertEqual(self.result(source, "invert:alpha"), [[245, 235, 225, 215]])
        self.assertEqual(self.result(source, "brightness:percent=20"), [[61, 71, 81, 40]])
        self.assertEqual(self.result(source, "unsharp"), [[10, 20, 30, 40]])

    def test_blur_and_unsharp_keep_what_is_flat(self):
        flat = self.gray(*[[77] * 9] * 9)
        for words in ("gaussian-blur:sigma=0.3", "gaussian-blur:sigma=25", "unsharp:amount=3",
                      "resize:width=4", "resize:width=23", "resize:scale=0.37"):
            self.assertEqual({v for row in self.result(flat, words) for v in row}, {77}, words)
        edge = self.gray(*[[50] * 8 + [200] * 8] * 16)
        soft = self.result(edge, "gaussian-blur:sigma=2")[8]
        self.assertEqual(soft, sorted(soft))
        self.assertAlmostEqual(soft[7] + soft[8], 250, delta=2)
        sharp = self.result(edge, "unsharp:sigma=2,amount=1")[8]
        self.assertLess(sharp[7], 50)
        self.assertGreater(sharp[8], 200)

    def test_sizes(self):
        source = self.gray(*[[9] * 40] * 20)

        def size(words):
            self.good(source, words, self.path("out.png"))
            return read_png(self.path("out.png"))[:2]

        for words, expected in (
                ("width=20", (20, 10)), ("height=40", (80, 40)), ("scale=0.1", (4, 2)),
                ("width=10,height=10", (10, 5)), ("width=10,height=10,fit=cover", (10, 10)),
                ("width=7,height=9,fit=exact", (7, 9)), ("width=1,height=1,fit=exact", (1, 1))):
            self.assertEqual(size("resize:" + words), expected, words)
        self.assertEqual(size("thumbnail:size=16"), (16, 8))
        self.assertEqual(size("thumbnail:size=100"), (40, 20))
        self.bad(2, "resize: needs width", source, "resize", self.path("none.png"))
        self.bad(2, "fit goes with", source, "resize:width=3,fit=cover", self.path("none.png"))


class Texts(Zyl):
    def names(self):
        lines = self.good("list").splitlines()
        return [line.split()[0] for line in lines if line.startswith("  ")]

    def test_lists_help_and_version(self):
        names = self.names()
        for name in ("add-s", "multiply", "copy", "exchange", "not", "resize", "flip"):
            self.assertIn(name, names)
        for name in names:
            self.assertIn(name + ": ", self.good("help", name))
        self.assertRegex(self.good("--version"), r"^zyl \d+\.\d+\.\d+\n$")
        self.assertEqual(self.good("--help"), self.good("help"))

    def test_examples_run(self):
        color = [bytes((x * y + 7 * c) % 256 for x in range(90) for c in range(3))
                 for y in range(70)]
        self.write("photo.jpg", make_png(90, 70, 8, 2, color))
        self.write("other.png", make_png(90, 70, 8, 2, color[::-1]))
        commands = ["list", "help", "info", "chart", "batch", "sheet"]
        for name in self.names() + commands:
            with self.subTest(name=name):
                example = self.good("help", name).split("Example:\n")[1].strip()
                words = shlex.split(example)
                self.assertEqual(words[0], "zyl")
                self.assertTrue(any(name in word for word in words), example)
                done = subprocess.run([ZYL, *words[1:]], cwd=self.folder.name, timeout=60,
                                      capture_output=True, text=True)
                self.assertEqual((done.returncode, done.stderr), (0, ""), example)
                made = {"batch": "small-photo.png", "sheet": "sheet.png", "chart": "chart.png"}.get(
                    name, "out.png" if words[-1] == "out.png" else "")
                if made:
                    read_png(self.path(made))
                    os.remove(self.path(made))
                else:
                    self.assertTrue(done.stdout)

    def test_the_manual_names_everything(self):
        manual = self.good("--manual").replace("\\-", "-")
        for name in self.names():
            self.assertIn("\n.B " + name + "\n", manual)
        for option in ("--quality", "--jobs", "--verbose"):
            self.assertIn("\n.B " + option + "\n", manual)
        if shutil.which("groff"):
            done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", "-z"], input=manual,
                                  capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (0, ""))

    def test_completion(self):
        script = self.write("zyl.bash", self.good("--completion", "bash").encode())

        def completed(line):
            done = subprocess.run(
                ["bash", "-c", 'source "$1"; COMP_LINE="$2"; COMP_POINT=${#2}; _zyl; '
                 'printf "%s\\n" "${COMPREPLY[@]}"', "bash", script, line],
                cwd=self.folder.name, capture_output=True, text=True)
            return done.stdout.split()

        self.assertEqual(completed("zyl a.png auto"), ["auto-level"])
        self.assertEqual(completed("zyl a.png --qua"), ["--quality"])
        self.assertIn("degrees=", completed("zyl a.png rotate:"))
        self.assertEqual(completed("zyl a.png rotate:inter"),
                         ["interpolate=nearest", "interpolate=linear", "interpolate=cubic"])
        if shutil.which("zsh"):
            zsh = self.write("_zyl", self.good("--completion", "zsh").encode())
            self.assertEqual(subprocess.run(["zsh", "-n", zsh]).returncode, 0)


class Refusals(Zyl):
    """One line that says what was wrong and what would do."""

    def setUp(self):
        super().setUp()
        self.source = self.write("in.png", make_png(6, 4, 8, 2, self.rows(6, 4, 8, 2)))
        self.out = self.path("out.png")

    def test_wrong_words_end_with_2(self):
        for text, *words in (
                ("zoom: factor: '0' is no ratio", "zoom:factor=0"),
                ("zoom: needs factor", "zoom"),
                ("decimate: makes pictures smaller; to make them larger, use zoom",
                 "decimate:factor=2"),
                ("convolve-2d: kernel must be rows", "convolve-2d:kernel=1 x"),
                ("blur: border must be", "blur:border=none"),
                ("levels: 'x' is no range", "levels:from=x,to=0..1"),
                ("norm: a relative norm", "norm:type=relative-c"),
                ("did you mean 'gray'?", "grayscale"), ("did you mean 'resize'?", "shrink"),
                ("did you mean 'rotate'?", "rotat:degrees=3"),
                ("dither value 'floyd'", "reduce-bits:dither=floyd")):
            with self.subTest(words=words):
                self.bad(2, text, self.source, *words, self.out)
        for words in ((self.source,), (self.source, "not"), (self.source, "add-s:value=3")):
            self.bad(2, "OUTPUT is missing", *words)

    def test_other_color_models_are_written_with_a_note(self):
        done = self.run_zyl(self.source, "rgb2hsv", self.out)
        self.assertEqual(done.returncode, 0)
        self.assertIn("note: " + self.out + " holds HSV", done.stderr)
        self.good(self.source, "rgb2hls", "blur", "hls2rgb", self.out)

    def test_pictures_that_do_not_do_end_with_1(self):
        self.write("small.png", make_png(6, 3, 8, 2, self.rows(6, 3, 8, 2)))
        signed = ("convert:depth=32s", "erode")
        for text, *words in (
                ("erode: takes 1u, 8u and 16u, not 32s: convert first, as in convert:depth=16u",
                 *signed),
                ("the two pictures differ in size: 6 x 4 and 6 x 3",
                 "add:with=" + self.path("small.png")),
                ("small.png is of 6 x 3, 8-bit RGB and the picture of 6 x 4, 8-bit gray: "
                 "gray-to-color first", "gray", "add:with=" + self.path("small.png")),
                ("convert one of them first", "convert:depth=16u",
                 "add:with=" + self.path("small.png")),
                ("the region 3 x 4 at x=4, y=0 does not lie in the picture of 6 x 4",
                 "not:x=4,width=3"),
                ("there is no channel 4", "crop:channel=4"),
                ("hsv2rgb: takes HSV, not RGB", "hsv2rgb"),
                ("pre-multiply-alpha: the picture has no alpha", "pre-multiply-alpha"),
                ("one channel becomes bits: color-to-gray first", "convert:depth=1u"),
                ("makes samples narrower, not 16u of 8u: use convert", "reduce-bits:depth=16u")):
            with self.subTest(words=words):
                self.bad(1, text, self.source, *words, self.out)


if __name__ == "__main__":
    ZYL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
