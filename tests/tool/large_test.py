"""Runs zyl on pictures in tiles: the same bits however they are cut, nothing left
behind when something goes wrong, many files at once, and how it tells of progress.

    large_test.py ZYL [EXAMPLE] [unittest arguments]

EXAMPLE is the program of examples/larger_than_memory.c.
"""

import itertools
import os
import pty
import random
import resource
import signal
import struct
import subprocess
import sys
import tempfile
import time
import unittest

ZYL = ""
EXAMPLE = ""


def make_pnm(path, width, height, channels, seed):
    """Noise over slopes."""
    noise = random.Random(seed)
    rows = bytearray()
    for y in range(height):
        for x in range(width * channels):
            rows.append((x // 3 + y // 2 + noise.getrandbits(6)) & 255)
    kind = b"P6" if channels == 3 else b"P5"
    with open(path, "wb") as file:
        file.write(kind + b"\n%d %d\n255\n" % (width, height) + rows)


def tile_places(path):
    """Where the tiles of a classic little-endian TIFF file are, and their lengths."""
    with open(path, "rb") as file:
        data = file.read()
    assert data[:4] == b"II*\0"
    at, = struct.unpack("<I", data[4:8])
    count, = struct.unpack("<H", data[at:at + 2])
    found = {}
    for i in range(count):
        tag, kind, number = struct.unpack("<HHI", data[at + 2 + 12 * i:at + 10 + 12 * i])
        size = {3: 2, 4: 4}.get(kind, 1) * number
        where = at + 10 + 12 * i
        if size > 4:
            where, = struct.unpack("<I", data[where:where + 4])
        if tag in (324, 325):
            found[tag] = struct.unpack("<%d%s" % (number, "H" if kind == 3 else "I"),
                                       data[where:where + size])
    return list(zip(found[324], found[325]))


class Case(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.scratch = self.path("scratch")
        os.mkdir(self.scratch)

    def path(self, name):
        return os.path.join(self.folder, name)

    def read(self, name):
        with open(self.path(name), "rb") as file:
            return file.read()

    def zyl(self, *words, limit=None, **more):
        def restrict():
            if limit is not None:
                resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))
        return subprocess.run([ZYL, *map(str, words)], capture_output=True, text=True,
                              cwd=self.folder, preexec_fn=restrict,
                              env={**os.environ, "TMPDIR": self.scratch}, **more)

    def run_zyl(self, *words, **more):
        run = self.zyl(*words, **more)
        self.assertEqual((run.returncode, run.stderr), (0, ""), words)
        return run

    def assert_failed(self, run, *parts):
        """One line that has these parts, and no file but those that were there."""
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(run.stderr.count("\n"), 1, run.stderr)
        for part in parts:
            self.assertIn(part, run.stderr)
        self.assert_nothing_left()

    def assert_nothing_left(self):
        self.assertEqual(os.listdir(self.scratch), [])
        self.assertEqual([name for name in os.listdir(self.folder)
                          if name.startswith((".", "out"))], [])


class Pieces(Case):
    STEPS = ["crop:x=13,y=9,width=170,height=140", "decimate:factor=2/3", "zoom:factor=5/3",
             "zoom:factor=4/3,interpolate=nearest", "blur:rows=5,columns=7", "median-filter",
             "convolve-2d:kernel=sharpen", "convolve-sep-2d", "rotate:degrees=30", "mirror:axis=both",
             "mirror:axis=vertical", "histo-equalize", "add:with=other.ppm", "not",
             "reduce-bits:dither=floyd-steinberg,bits=3", "erode:iterations=3",
             "blur:border=wrap", "rgb2hsv hsv2rgb"]

    def test_bits_do_not_depend_on_tiles_memory_and_jobs(self):
        pick = random.Random(5)
        make_pnm(self.path("in.ppm"), 230, 190, 3, 1)
        for name in ("in.png", "in.tif"):
            self.run_zyl(*(["--tile", "32"] if name == "in.tif" else []), "in.ppm", name)
        for i in range(12):
            width = 230
            steps = []
            while len(steps) < 4:
                step = pick.choice(self.STEPS)
                if "other" in step or "crop" in step:
                    if steps:
                        continue
                    make_pnm(self.path("other.ppm"), 230, 190, 3, i)
                steps.append(step)
            steps = " ".join(steps).split()
            self.run_zyl("--jobs", 1, "in.ppm", *steps, "whole.ppm")
            expected = self.read("whole.ppm")
            # A chain step by step through files gives the same.
            current = "in.ppm"
            for n, step in enumerate(steps):
                if "hsv" in step:
                    break
                self.run_zyl(current, step, "step%d.ppm" % n)
                current = "step%d.ppm" % n
            else:
                self.assertEqual(self.read(current), expected, steps)
            for source, jobs, memory, tiles in ((pick.choice(["in.png", "in.tif"]), jobs, memory,
                                                 pick.choice([None, "16x24", "64", "200x8"]))
                                                for jobs, memory in ((1, "700K"), (4, "900K"),
                                                                     (3, "256M"))):
                options = ["--jobs", jobs, "--memory", memory]
                if tiles:
                    options += ["--tiles", tiles]
                if memory != "256M" and any("reduce" in s for s in steps):
                    options[3] = "2M"
                with self.subTest(steps=steps, source=source, options=options):
                    self.run_zyl(*options, source, *steps, "cut.ppm")
                    self.assertEqual(self.read("cut.ppm"), expected)

    def test_example_program_blurs_as_the_tool_does(self):
        if not EXAMPLE:
            self.skipTest("no example program")
        make_pnm(self.path("in.ppm"), 333, 222, 3, 2)
        self.run_zyl("--tile", 32, "--compression", "deflate", "in.ppm", "from.tif")
        subprocess.run([EXAMPLE, self.path("from.tif"), self.path("to.tif")], check=True)
        self.run_zyl("to.tif", "to.ppm")
        self.run_zyl("in.ppm", "blur:rows=5,columns=5,border=replicate", "blurred.ppm")
        self.assertEqual(self.read("to.ppm"), self.read("blurred.ppm"))
        failed = subprocess.run([EXAMPLE, self.path("in.ppm"), self.path("bad.tif")],
                                capture_output=True)
        self.assertEqual(failed.returncode, 1)
        self.assertFalse(os.path.exists(self.path("bad.tif")))


class Faults(Case):
    def tiled(self, compression):
        make_pnm(self.path("in.ppm"), 300, 200, 3, 3)
        self.run_zyl("--tile", "32", "--compression", compression, "in.ppm", "tiled.tif")
        return tile_places(self.path("tiled.tif"))

    # Of ten columns and seven rows of tiles.
    PLACE = "in the tile of column 3 and row 3"

    def test_damaged_tile_ends_every_chain(self):
        for compression in ("deflate", "lzw", "zstd", "lzma", "jpeg"):
            at, length = self.tiled(compression)[33]
            with open(self.path("tiled.tif"), "r+b") as file:
                file.seek(at)
                file.write(b"\xff" * length)
            for jobs, chain, result in itertools.product(
                    (1, 3), (["blur"], ["mirror:axis=both", "not"], ["histo-equalize"]),
                    ("out.png", "out.tif", "out.jpg")):
                with self.subTest(compression=compression, jobs=jobs, chain=chain, result=result):
                    run = self.zyl("--jobs", jobs, "tiled.tif", *chain, result)
                    self.assert_failed(run, "zyl: tiled.tif: ", self.PLACE)
        # What does not look at the tile is done.
        self.run_zyl("tiled.tif", "crop:x=0,y=0,width=90,height=50", "blur", "part.png")
        # A second picture is named like the first.
        run = self.zyl("in.ppm", "add:with=tiled.tif", "out.png")
        self.assert_failed(run, "zyl: tiled.tif: ", self.PLACE)

    def test_missing_tile_ends_the_chain(self):
        for compression in ("none", "deflate"):
            at, length = self.tiled(compression)[33]
            whole = self.read("tiled.tif")
            # Its place holds nothing, is outside the file, or has lost its length.
            for word, replacement in ((at, 0), (at, len(whole) + 1000), (length, 0)):
                with open(self.path("lost.tif"), "wb") as file:
                    file.write(self.with_entry(whole, 324 if word == at else 325, 33, replacement))
                for jobs in (1, 3):
                    run = self.zyl("--jobs", jobs, "lost.tif", "blur", "out.png")
                    self.assert_failed(run, "zyl: lost.tif: ", self.PLACE)

    def with_entry(self, data, tag, index, value):
        """A classic TIFF file with another number in the table of this tag."""
        at, = struct.unpack("<I", data[4:8])
        while struct.unpack("<H", data[at + 2:at + 4])[0] != tag:
            at += 12
        kind, _, where = struct.unpack("<HII", data[at + 4:at + 14])
        code = "<H" if kind == 3 else "<I"
        where += index * struct.calcsize(code)
        return data[:where] + struct.pack(code, value) + data[where + struct.calcsize(code):]

    def test_a_worker_that_fails_ends_the_others(self):
        """The disk is full for one of them while the others make tiles that take long."""
        make_pnm(self.path("in.ppm"), 700, 500, 3, 6)
        self.run_zyl("--tile", "256", "--compression", "none", "in.ppm", "big.tif")
        for jobs, result in itertools.product((1, 4), ("out.tif", "out.png")):
            begun = time.monotonic()
            run = self.zyl("--jobs", jobs, "big.tif", "zoom:factor=4",
                           "median-filter:rows=15,columns=15", result,
                           *(["--tile", 16] if result == "out.tif" else []), limit=1_000_000)
            self.assert_failed(run, result, "File too large")
            self.assertLess(time.monotonic() - begun, 20)

    def test_full_disk_leaves_nothing(self):
        make_pnm(self.path("in.ppm"), 700, 600, 3, 4)
        for jobs, result in itertools.product((1, 3), ("out.tif", "out.png", "out.ppm", "out.jpg")):
            self.assert_failed(self.zyl("--jobs", jobs, "in.ppm", "blur", result, limit=20000),
                               result)
        # The rows of a PNM file are stored when they are needed from the last one up.
        run = self.zyl("--memory", "1M", "in.ppm", "mirror:axis=both", "out.png", limit=20000)
        self.assert_failed(run, self.scratch, "TMPDIR")

    def test_signals_leave_nothing(self):
        make_pnm(self.path("in.ppm"), 1500, 1200, 3, 5)
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            process = subprocess.Popen(
                [ZYL, "--memory", "1M", "in.ppm", "mirror:axis=both",
                 "median-filter:rows=61,columns=61", "out.tif"],
                cwd=self.folder, env={**os.environ, "TMPDIR": self.scratch},
                stderr=subprocess.PIPE)
            for _ in range(1000):
                if any(name.endswith(".part") for name in os.listdir(self.folder)):
                    break
                time.sleep(0.005)
            process.send_signal(number)
            process.communicate()
            self.assertEqual(process.returncode, -number)
            self.assert_nothing_left()

    def test_transforms_tell_what_they_need(self):
        make_pnm(self.path("in.ppm"), 600, 500, 3, 5)
        run = self.zyl("--memory", "2M", "in.ppm", "dct-2d", "out.tif")
        self.assert_failed(run, "dct-2d: needs the pictures in memory, 5 MiB", "--memory")


class Batches(Case):
    def setUp(self):
        super().setUp()
        os.mkdir(self.path("in"))
        for i in range(5):
            make_pnm(self.path("in/p%d.x.ppm" % i), 60 + i, 40, 3, i)

    def test_all_files_are_done(self):
        for jobs in (1, 2, 12):
            to = "jobs%d/{dir}/{n}-{stem}-{name}.png" % jobs
            self.run_zyl("batch", "in/p?.x.ppm", "blur", "not", "--to", to, "--jobs", jobs)
            names = sorted(os.listdir(self.path("jobs%d/in" % jobs)))
            self.assertEqual(names, ["%d-p%d-p%d.x.png" % (i + 1, i, i) for i in range(5)])
            for i, name in enumerate(names):
                self.run_zyl("in/p%d.x.ppm" % i, "blur", "not", "one.png")
                self.assertEqual(self.read("jobs%d/in/%s" % (jobs, name)), self.read("one.png"))

    def test_failures_come_last_and_the_rest_is_done(self):
        with open(self.path("in/p2.x.ppm"), "wb") as file:
            file.write(b"P6\n600 400\n255\nshort")
        os.mkdir(self.path("made"))
        with open(self.path("made/p3.x.png"), "wb") as file:
            file.write(b"mine")
        run = self.zyl("batch", "in/*", "blur", "--to", "made/{name}.png")
        self.assertEqual(run.returncode, 1)
        lines = run.stderr.splitlines()
        self.assertEqual(len(lines), 3, run.stderr)
        self.assertIn("in/p2.x.ppm", lines[0])
        self.assertEqual(lines[1], "zyl: made/p3.x.png: exists; --force overwrites it")
        self.assertEqual(lines[2], "zyl: 2 of 5 files failed")
        self.assertEqual(self.read("made/p3.x.png"), b"mine")
        self.assertEqual(sorted(os.listdir(self.path("made"))),
                         ["p0.x.png", "p1.x.png", "p3.x.png", "p4.x.png"])
        os.remove(self.path("in/p2.x.ppm"))
        self.run_zyl("batch", "in/*", "blur", "--to", "made/{name}.png", "--force")
        self.assertEqual(self.read("made/p3.x.png")[1:4], b"PNG")

    def test_command_lines_that_cannot_be_meant(self):
        for words, text in ((["in/*", "blur"], "--to"),
                            (["blur", "--to", "{name}.png"], "files"),
                            (["in/*", "blur", "--to", "out.png"], "would both become out.png"),
                            (["in/*", "blur", "--to", "{nam}.png"], "{nam}"),
                            (["in/*", "blur", "blurr", "--to", "{n}.png"], "blur"),
                            (["in/*", "blur", "--to", "{name}.doc"], "doc")):
            run = self.zyl("batch", *words)
            self.assertEqual(run.returncode, 2, run.stderr)
            self.assertIn(text, run.stderr)
        run = self.zyl("batch", "none*.png", "blur", "--to", "{name}.png")
        self.assertEqual(run.returncode, 1)
        self.assertIn("none*.png", run.stderr)


class ProgressOfWork(Case):
    def test_lines_for_logs_and_nothing_when_quiet(self):
        make_pnm(self.path("in.ppm"), 100, 100, 3, 1)
        lines = self.zyl("--progress", "in.ppm", "blur", "out.png").stderr
        self.assertRegex(lines, r"^zyl: done, 10 thousand pixels in 0:0\d\n$")
        self.assertEqual(self.zyl("--quiet", "in.ppm", "blur", "out.png").stderr, "")

    def test_a_bar_on_a_terminal(self):
        # A picture that takes more than a second to come.
        master, slave = pty.openpty()
        process = subprocess.Popen([ZYL, "-", "blur", "out.png"], cwd=self.folder, stderr=slave,
                                   stdin=subprocess.PIPE)
        os.close(slave)
        process.stdin.write(b"P6\n1000 3000\n255\n")
        for row in range(30):
            process.stdin.write(bytes([row]) * 300000)
            time.sleep(0.07)
        process.stdin.close()
        shown = b""
        try:
            while data := os.read(master, 1000):
                shown += data
        except OSError:  # the other side was closed
            pass
        os.close(master)
        self.assertEqual(process.wait(), 0)
        self.assertRegex(shown, rb"\r\[#+\.+\] \d+ %, \d+(\.\d)? (thousand|million) pixels/s, "
                                rb"\d+:\d\d left")
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown[-80:])


if __name__ == "__main__":
    ZYL = os.path.abspath(sys.argv.pop(1))
    if len(sys.argv) > 1 and not sys.argv[1].startswith("-") and os.path.isfile(sys.argv[1]):
        EXAMPLE = os.path.abspath(sys.argv.pop(1))
    unittest.main()
