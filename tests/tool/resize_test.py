"""Compares zyl's other sizes with Pillow's windowed sinc, which is worked out in
floating point and at every size by itself.

    resize_test.py ZYL [unittest arguments]
"""

import math
import os
import random
import subprocess
import sys
import tempfile
import unittest

from PIL import Image, ImageChops, ImageFilter, ImageStat

ZYL = ""


def decibels(a, b):
    """The peak signal-to-noise ratio of two pictures."""
    square = ImageStat.Stat(ImageChops.difference(a, b)).sum2
    mean = sum(square) / (a.width * a.height * len(square))
    return 10 * math.log10(255 * 255 / mean) if mean else math.inf


def natural(width, height, seed=1):
    """Noise of every scale, coarse noise the strongest, as in photographs."""
    dice = random.Random(seed)
    picture = Image.new("RGB", (width, height), (128, 128, 128))
    for scale, strength in ((64, 0.5), (16, 0.4), (4, 0.3), (1, 0.15)):
        size = (width // scale + 2, height // scale + 2)
        noise = Image.frombytes("RGB", size, dice.randbytes(size[0] * size[1] * 3))
        noise = noise.resize((width, height), Image.BICUBIC)
        picture = Image.blend(picture, noise, strength)
    return picture.filter(ImageFilter.GaussianBlur(0.5))


class Sizes(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name

    def path(self, name):
        return os.path.join(self.folder, name)

    def run_zyl(self, picture, words, name="in.png", **options):
        picture.save(self.path(name), **options)
        subprocess.run([ZYL, self.path(name), words, self.path("out.png")], check=True,
                       stdin=subprocess.DEVNULL, timeout=60)
        with Image.open(self.path("out.png")) as made:
            made.load()
        return made

    def test_smaller(self):
        for mode in ("RGB", "L"):
            picture = natural(451, 300).convert(mode)
            for scale, least in ((1 / 2, 46), (1 / 3, 46), (1 / 4, 46), (0.37, 46), (0.9, 44),
                                 (1 / 7.5, 46), (1 / 40, 44)):
                size = (round(451 * scale), round(300 * scale))
                made = self.run_zyl(picture, "resize:width=%d,height=%d,fit=exact" % size)
                expected = picture.resize(size, Image.LANCZOS)
                self.assertGreater(decibels(made, expected), least, (mode, scale))

    def test_no_size_is_brighter_or_darker(self):
        picture = natural(480, 320)
        for scale in (1 / 2, 0.37, 0.9, 1 / 8, 2):
            size = (round(480 * scale), round(320 * scale))
            made = self.run_zyl(picture, "resize:width=%d,height=%d,fit=exact" % size)
            expected = ImageStat.Stat(picture.resize(size, Image.LANCZOS)).mean
            for a, b in zip(ImageStat.Stat(made).mean, expected):
                self.assertAlmostEqual(a, b, delta=0.1)
        # One color stays what it is.
        for color in ((0, 128, 255), (1, 254, 77)):
            for words in ("resize:scale=0.3", "resize:scale=0.05", "resize:scale=1.7"):
                made = self.run_zyl(Image.new("RGB", (200, 130), color), words)
                self.assertEqual(made.getcolors(), [(made.width * made.height, color)])

    def test_larger(self):
        picture = natural(151, 100)
        for scale in (1.3, 2, 5):
            size = (round(151 * scale), round(100 * scale))
            made = self.run_zyl(picture, "resize:width=%d,height=%d,fit=exact" % size)
            self.assertGreater(decibels(made, picture.resize(size, Image.LANCZOS)), 34, scale)

    def test_one_direction(self):
        picture = natural(300, 200)
        for size in ((75, 200), (300, 50), (75, 400)):
            made = self.run_zyl(picture, "resize:width=%d,height=%d,fit=exact" % size)
            self.assertGreater(decibels(made, picture.resize(size, Image.LANCZOS)), 36, size)

    def test_what_is_not_seen_does_not_bleed(self):
        picture = Image.new("RGBA", (64, 64), (0, 255, 0, 0))
        picture.paste((200, 0, 0, 255), (16, 16, 48, 48))
        made = self.run_zyl(picture, "resize:width=13")
        for red, green, _, alpha in made.getdata():
            self.assertTrue(alpha < 16 or (green == 0 and red > 170), (red, green, alpha))

    def test_colors_of_what_is_hardly_seen(self):
        picture = natural(128, 96)
        expected = picture.resize((64, 48), Image.LANCZOS)
        for alpha in (255, 20, 3):
            faint = picture.copy()
            faint.putalpha(alpha)
            made = self.run_zyl(faint, "resize:width=64")
            self.assertEqual(made.getchannel("A").getextrema(), (alpha, alpha))
            self.assertGreater(decibels(made.convert("RGB"), expected), 44, alpha)

    def test_thumbnails_of_jpeg_files(self):
        picture = natural(1200, 807)
        for size in (800, 300, 150, 60):
            made = self.run_zyl(picture, "thumbnail:size=%d" % size, "in.jpg", quality=95)
            with Image.open(self.path("in.jpg")) as decoded:
                expected = decoded.resize(made.size, Image.LANCZOS)
            self.assertEqual(made.size, (size, round(807 * size / 1200)))
            self.assertGreater(decibels(made, expected), 38, size)

    def test_thumbnails_of_pictures_on_their_side(self):
        picture = natural(900, 600)
        exif = Image.Exif()
        exif[0x0112] = 6
        made = self.run_zyl(picture, "thumbnail:size=90", "in.jpg", quality=95, exif=exif)
        expected = picture.rotate(-90, expand=True).resize((60, 90), Image.LANCZOS)
        self.assertEqual(made.size, (60, 90))
        self.assertGreater(decibels(made, expected), 38)


if __name__ == "__main__":
    ZYL = os.path.abspath(sys.argv.pop(1))
    unittest.main()
