"""Whether the self-test notices faults: puts one at a time into a kernel, builds the
self-test with it and runs it.

usage: mutate.py [COUNT] [SEED]

The faults are small: another operator, a number one larger. They are chosen at random
from the files of kernels. A fault that is not noticed is printed; it may be one that
changes no result, such as a bound between two ways of the same result, or a gap of the
self-test. Works on a copy in build/mutants; not a test of its own, since every fault is
a build.
"""

import pathlib
import random
import re
import shutil
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
COPY = ROOT / "build" / "mutants"
ROOMS = ["arith", "convert", "core", "filter", "geometry", "stats", "transform"]
CHANGES = [
    (r" \+ ", " - "),
    (r" - ", " + "),
    (r" \* ", " + "),
    (r" < ", " <= "),
    (r" > ", " >= "),
    (r" & ", " | "),
    (r" \| ", " & "),
    (r" >> ", " << "),
    (r"\b(\d+)(u?)\b(?![.\w])", lambda m: str(int(m[1]) + 1) + m[2]),
]


def places(path):
    """Every place of a file where a change can be made: line, start, end, new text."""
    for number, line in enumerate(path.read_text().splitlines()):
        code = line.split("//")[0]
        if re.match(r"\s*(#|template|static_assert|using)", code) or '"' in code:
            continue
        for pattern, new in CHANGES:
            for match in re.finditer(pattern, code):
                text = new(match) if callable(new) else new
                yield number, match.start(), match.end(), text


def run(*command, timeout=900):
    return subprocess.run(command, cwd=COPY, stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                          text=True, timeout=timeout)


def build():
    return run("cmake", "--build", "build", "--target", "selftest").returncode == 0


def main():
    count = int(sys.argv[1]) if len(sys.argv) > 1 else 30
    random.seed(int(sys.argv[2]) if len(sys.argv) > 2 else 1)
    COPY.mkdir(parents=True, exist_ok=True)
    files = subprocess.run(["git", "ls-files"], cwd=ROOT, capture_output=True, text=True,
                           check=True).stdout.split("\n")
    for name in filter(None, files):
        if (ROOT / name).is_file():
            (COPY / name).parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(ROOT / name, COPY / name)
    run("cmake", "-S", ".", "-B", "build", "-G", "Ninja", "-DZYLQX_TOOL=OFF", "-DZYLQX_TESTS=ON")
    if not build() or run("build/selftest/selftest").returncode != 0:
        sys.exit("the self-test fails without a fault")

    kernels = [path for room in ROOMS for path in sorted((COPY / room).glob("*kernels.cpp"))]
    everywhere = [(path, place) for path in kernels for place in places(path)]
    noticed = missed = 0
    for path, (number, start, end, text) in random.sample(everywhere, len(everywhere)):
        if noticed + missed == count:
            break
        before = path.read_text()
        lines = before.splitlines(keepends=True)
        line = lines[number]
        lines[number] = line[:start] + text + line[end:]
        path.write_text("".join(lines))
        try:
            if not build():
                continue  # not a program
            try:
                outcome = run("build/selftest/selftest", timeout=300).returncode
            except subprocess.TimeoutExpired:
                outcome = -1
            noticed += outcome != 0
            what = "noticed" if outcome != 0 else "NOT NOTICED"
            print(f"{what}: {path.relative_to(COPY)}:{number + 1}: {line.strip()}  ->  {text.strip()}",
                  flush=True)
            missed += outcome == 0
        finally:
            path.write_text(before)
    print(f"{noticed} noticed, {missed} not")


if __name__ == "__main__":
    main()
