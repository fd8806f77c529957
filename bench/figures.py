#!/usr/bin/env python3
"""The tables of speed in README.md and docs/speed.md, from one run of the benchmarks.

    figures.py run         runs versus, large and compare.py, which takes half an hour, keeps
                           what they print in one file of bench/results, and fills the tables
    figures.py fill FILE   puts the figures of this file into the tables
    figures.py check       whether the tables say what the file that they name says

A table stands behind the comment that names it and its file:

    <!-- figures memory of 1.3.3-amd-epyc-family-26.txt -->
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[1]
RESULTS = ROOT / "bench/results"
PAGES = [ROOT / "README.md", ROOT / "docs/speed.md"]
TABLE = re.compile(r"<!-- figures (\w+) of (\S+) -->\n\n(?:\|.*\n)*\n?")
PROGRAMS = {
    "versus": ["build/bench/bench/versus", "--level", "avx2"],
    "large": ["build/bench/bench/large", "build/release/tools/zyl", "build/large"],
    "python": ["build/python/venv/bin/python", "python/bench/compare.py"],
}

# Of versus: what is shown, the other library as it is called and as versus names it, the row.
MEMORY = [
    ("saturating add, four channels", "libyuv", "libyuv", "add 4ch", "8u", 2048),
    ("RGBA to gray", "libyuv", "libyuv", "color-to-gray of 4", "8u", 2048),
    ('alpha compositing, "over"', "pixman", "pixman", "alpha-composite over", "8u", 2048),
    ('alpha compositing, "over"', "libyuv", "libyuv", "alpha-composite over", "8u", 2048),
    ("histogram", "leptonica", "leptonica", "compute-histo", "8u", 2048),
    ("convolution 5 x 5", "libvips", "vips", "convolve-2d 5x5", "8u", 2048),
    ("box blur 15 x 15", "leptonica", "leptonica", "blur 15x15", "8u", 2048),
    ("maximum of 11 x 11", "leptonica", "leptonica", "max-filter 11x11", "8u", 2048),
    ("median 5 x 5", "leptonica", "leptonica", "median-filter 5x5", "8u", 2048),
    ("rotation by 90 degrees", "libyuv", "libyuv", "rotate 90", "8u", 2048),
    ("rotation by 30 degrees, linear", "leptonica", "leptonica", "rotate 30 linear", "8u", 2048),
    ("zoom by 2, linear", "leptonica", "leptonica", "zoom 2 linear", "8u", 2048),
    ("zoom by 2, linear", "libyuv", "libyuv", "zoom 2 linear", "8u", 2048),
    ("Fourier transform, 1024 x 1024", "FFTW", "fftw", "real-fft-2d", "8u", 1024),
    ("Fourier transform, 1000 x 1000", "FFTW", "fftw", "real-fft-2d", "8u", 1000),
]
# Of large: the picture, what is shown, the row.
FILES = [
    ("20000 x 20000 RGB, TIFF in tiles", "crop, decimation to 9/10, sharpen 3 x 3",
     "crop, 9/10, sharpen"),
    ("", "crop of a quarter", "crop of a quarter"),
    ("", "median 5 x 5", "median 5 x 5"),
    ("", "rotation by 30 degrees", "rotate by 30 degrees"),
    ("", "mirroring", "mirror"),
    ("24-megapixel JPEG", "gray", "photo: gray"),
    ("", "blur 5 x 5", "photo: blur 5 x 5"),
    ("", "sharpen 3 x 3", "photo: sharpen"),
    ("", "rotation by 30 degrees", "photo: rotate by 30 degrees"),
    ("", "median 9 x 9", "photo: median 9 x 9"),
    ("", "thumbnail of 800 pixels", "photo: thumbnail of 800"),
    ("100000 x 100000 bits, TIFF in tiles, fax4", "erosion", "bits: erode"),
    ("", "crop", "bits: crop"),
]
# What the README has room for.
SHORT = {"memory": [2, 5, 8, 10, 12, 13, 14], "files": [0, 2, 5, 10, 11],
         "python": [0, 2, 6, 7, 9]}


def section(text, name):
    found = re.search(rf"^== {name}\n(.*?)(?=^== |\Z)", text, flags=re.S | re.M)
    return found[1] if found else sys.exit(f"no section {name} in the file of results")


def table(*rows):
    width = len(rows[0])
    return "".join("| " + " | ".join(row) + " |\n" for row in [rows[0], ["---"] * width, *rows[1:]])


def memory(text):
    rows = []
    for shown, library, peer, name, depth, side in MEMORY:
        row = re.search(rf"^{re.escape(name)} +{depth} +{side} .*? {peer} +\S+ +\(([\d.]+)\)", text,
                        flags=re.M)
        rows.append((shown, library, row[1] if row else sys.exit(f"versus has no row {name}")))
    return ("operation", "library", "time"), rows


def job(text, name, jobs):
    """A cell: our time divided by the other's, or what we need without another."""
    row = re.search(rf"^{re.escape(name)} +{jobs} +([\d.]+) s \( *[\d.]+\) +(\d+) MiB(.*)", text,
                    flags=re.M)
    if not row:
        return "", 0
    ratio = re.search(r"([\d.]+) \([\d.]+\)$", row[3])
    return (ratio[1] if ratio else f"{float(row[1]):.1f} s"), int(row[2])


def files(text):
    rows = []
    for picture, shown, name in FILES:
        (one, first), (two, second) = job(text, name, 1), job(text, name, 2)
        if not one:
            sys.exit(f"large has no row {name}")
        rows.append((picture, shown, one, two, f"{max(first, second)} MiB"))
    return ("picture", "chain", "one job", "two jobs", "memory"), rows


def python(text):
    head, _, *rows = [[cell.strip() for cell in line.strip("|").split("|")]
                      for line in text.splitlines() if line.startswith("|")]
    return head, rows


def made(kind, text):
    """The table of this name; those of the README are short ones."""
    short = kind.endswith("Short")
    kind = kind.removesuffix("Short")
    head, rows = {"memory": lambda: memory(section(text, "versus")),
                  "files": lambda: files(section(text, "large")),
                  "python": lambda: python(section(text, "python"))}[kind]()
    if short:
        kept, picture = [], ""
        for i, row in enumerate(rows):
            picture = row[0] or picture
            if i in SHORT[kind]:
                kept.append((picture, *row[1:]))
        rows = kept
    return table(head, *rows)


def filled(page, name=None):
    def one(match):
        kind, file = match[1], name or match[2]
        text = (RESULTS / file).read_text()
        return f"<!-- figures {kind} of {file} -->\n\n{made(kind, text)}\n"
    return TABLE.sub(one, page.read_text()).rstrip() + "\n"


def fill(file):
    for page in PAGES:
        page.write_text(filled(page, file))


def run():
    """Everything in one file, named by the version and the machine."""
    text = ""
    for name, command in PROGRAMS.items():
        print(f"running {name}: see build/figures/{name}.txt", file=sys.stderr)
        output = ROOT / f"build/figures/{name}.txt"
        output.parent.mkdir(exist_ok=True)
        with output.open("w") as file:
            done = subprocess.run(command, cwd=ROOT, stdout=file, check=False)
        if not output.read_text():
            sys.exit(f"{name} ended with {done.returncode}")
        text += f"== {name}\n{output.read_text()}\n"
    machine = re.search(r"^machine: (.*?), cpu family (\d+)", text, flags=re.M)
    version = re.search(r"project\(zylqx VERSION (\S+)", (ROOT / "CMakeLists.txt").read_text())[1]
    slug = re.sub(r"[^a-z0-9]+", "-", machine[1].lower())
    file = RESULTS / f"{version}-{slug}-family-{machine[2]}.txt"
    file.write_text(text)
    print(file.relative_to(ROOT))
    fill(file.name)


def main():
    words = sys.argv[1:]
    if words == ["run"]:
        return run()
    if words == ["check"]:
        stale = [page for page in PAGES if filled(page) != page.read_text()]
        for page in stale:
            print(f"{page.relative_to(ROOT)} has other figures than its file: run bench/figures.py fill")
        return len(stale)
    if len(words) == 2 and words[0] == "fill":
        return fill(pathlib.Path(words[1]).name)
    return print(__doc__) or 2


if __name__ == "__main__":
    sys.exit(main())
