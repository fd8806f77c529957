"""Whether the tests notice faults: puts those of mutants.txt into the sources, one at a
time, and runs the tests of their room.

usage: run.py [--every N] [--jobs N] [ROOM | FILE]...

--every N takes every N-th fault; --jobs N works on so many at a time, else as many as there
are processors.

Works on copies in build/mutation, at the baseline level and with little optimisation. A
fault that takes a test too long counts as noticed. Fails when a fault does not apply any
more, when one does not compile, when one that is said to change nothing is noticed, and
when fewer than nine of ten are noticed.
"""

import argparse
import os
import pathlib
import queue
import shutil
import signal
import subprocess
import sys
import time
from concurrent.futures import ThreadPoolExecutor
from dataclasses import dataclass
from itertools import groupby

ROOT = pathlib.Path(__file__).resolve().parents[2]
ENOUGH = 0.9  # of all faults


@dataclass(frozen=True)
class Test:
    name: str
    targets: tuple
    command: tuple  # runs in the folder of the build


def program(name):
    return Test(name, (name,), ("tests/" + name, "--gtest_fail_fast", "--gtest_brief=1"))


def script(name, *programs):
    # Pillow belongs to the system's own interpreter.
    return Test(name, tuple(pathlib.Path(path).name for path in programs),
                ("/usr/bin/python3", "../tree/tests/tool/" + name, *programs, "-f"))


# What is run for a room until a fault is noticed, in this order, but for the test that noticed
# the fault before in the same file: it comes first, and LIKELY before there was one. Faults of
# the core show in the tests of the other rooms.
FAMILIES = ["arith", "stats", "geometry", "filter", "convert", "transform"]
ZYL = "tools/zyl"
TESTS = {
    "core": [program(room + "_test") for room in ["core", *FAMILIES]],
    **{room: [program(room + "_test")] for room in [*FAMILIES, "platform"]},
    "tools": [program("engine_test"), program("operations_test"), script("zyl_test.py", ZYL),
              script("formats_test.py", ZYL), script("resize_test.py", ZYL),
              script("large_test.py", ZYL, "examples/larger_than_memory")],
}
LIKELY = {
    **dict.fromkeys(["core/frame.cpp", "core/walk_pieces.cpp"], "arith_test"),
    **dict.fromkeys(["core/walk_blocks.cpp", "core/walk_colour.cpp"], "convert_test"),
    **dict.fromkeys(["core/walk_neighbourhoods.cpp", "core/joined_rows.cpp", "core/rows.cpp"],
                    "filter_test"),
    **dict.fromkeys(["core/tiles.cpp", "core/walk_destination.h"], "geometry_test"),
    "core/walk_grid.cpp": "stats_test",
}


@dataclass
class Mutant:
    room: str
    file: str
    before: str
    after: str
    reason: str  # why it changes nothing, if it does not

    def __str__(self):
        return f"{self.file}:\n    - " + self.before.replace("\n", "\n    - ") + "\n    + " + (
            self.after.replace("\n", "\n    + "))


def mutants():
    """The faults of mutants.txt: `# ROOM`, then for each the file, lines with `- ` before,
    lines with `+ ` after, and a line with `= ` that says why it changes nothing."""
    room, found = "", []
    text = (ROOT / "tests" / "mutation" / "mutants.txt").read_text()
    for block in text.split("\n\n"):
        lines = block.strip("\n").split("\n")
        if lines[0].startswith("# "):
            room = lines[0][2:]
            continue

        def part(mark, lines=lines):
            return "\n".join(line[2:] for line in lines[1:] if line[0] == mark)

        found.append(Mutant(room, lines[0], part("-"), part("+"), part("=")))
    return found


def stale(mutant):
    path = ROOT / mutant.file
    count = path.read_text().count(mutant.before) if path.exists() else 0
    return "" if count == 1 else f"stands {count} times in {mutant}"


class Failure(Exception):
    """Why no fault can be tried."""


class Copy:
    """A copy of the sources and its build, for one fault at a time."""

    def __init__(self, folder):
        self.tree = folder / "tree"
        self.build_folder = folder / "build"
        self.limits = {}  # seconds that a test may take with a fault

    def prepare(self):
        """Copies only what differs, so that little is built anew."""
        names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True,
                               check=True).stdout.split("\0")
        for name in filter(None, names):
            source, target = ROOT / name, self.tree / name
            if not source.is_file():
                continue
            target.parent.mkdir(parents=True, exist_ok=True)
            if not target.exists() or target.read_bytes() != source.read_bytes():
                shutil.copyfile(source, target)
                shutil.copymode(source, target)
        self.build_folder.mkdir(parents=True, exist_ok=True)
        if self.run(["cmake", "-S", str(self.tree), "-B", ".", "-G", "Ninja", "-DZYLQX_TESTS=ON",
                     "-DCMAKE_BUILD_TYPE=Mutation", "-DCMAKE_CXX_FLAGS=-O1",
                     "-DZYLQX_LEVELS=baseline", "-DZYLQX_WERROR=OFF"]) != 0:
            raise Failure(f"the copy does not configure: see cmake -S {self.tree}")

    def run(self, command, limit=None):
        """The exit code; that of a failure when the limit (seconds) is over."""
        with subprocess.Popen(command, cwd=self.build_folder, stdin=subprocess.DEVNULL,
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                              start_new_session=True) as process:
            try:
                return process.wait(limit)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                return -1

    def build(self, test):
        return self.run(["cmake", "--build", ".", "-j", "1", "--target", *test.targets]) == 0

    def measure(self, test):
        """Runs a test without a fault."""
        if not self.build(test):
            raise Failure(f"{test.name} does not build without a fault")
        start = time.monotonic()
        if self.run(test.command, 1200) != 0:
            raise Failure(f"{test.name} fails without a fault")
        self.limits[test] = 20 + 5 * (time.monotonic() - start)

    def notices(self, fault, text, test):
        """Whether a test notices a fault, `text` being the file without it; raises ValueError
        when it does not compile."""
        path = self.tree / fault.file
        if test not in self.limits:
            path.write_text(text)
            self.measure(test)
        faulty = text.replace(fault.before, fault.after)
        if path.read_text() != faulty:
            path.write_text(faulty)
        if not self.build(test):
            raise ValueError
        return self.run(test.command, self.limits[test]) != 0


class Run:
    """The outcomes of faults, tried in several copies at a time."""

    def __init__(self, copies):
        self.copies = queue.SimpleQueue()
        for copy in copies:
            self.copies.put(copy)
        self.wrong, self.survivors, self.score = [], [], {}

    def attempt(self, faults):
        """All faults of one file, in one copy, one after the other: so only this file is
        compiled for each."""
        copy = self.copies.get()
        likely = LIKELY.get(faults[0].file)
        path = copy.tree / faults[0].file
        text = path.read_text()
        try:
            for fault in faults:
                tests = sorted(TESTS[fault.room], key=lambda test, name=likely: test.name != name)
                try:
                    test = next((test for test in tests if copy.notices(fault, text, test)), None)
                except ValueError:
                    self.wrong.append(f"does not compile: {fault}")
                    continue
                self.count(fault, test)
                likely = test.name if test else likely
        finally:
            path.write_text(text)
            self.copies.put(copy)

    def count(self, mutant, test):
        print(f"{test.name if test else '-'}  {mutant.file}", flush=True)
        if mutant.reason:
            if test:
                self.wrong.append(f"noticed by {test.name}, though it is said to change nothing: "
                                  f"{mutant}")
            return
        caught, count = self.score.get(mutant.room, (0, 0))
        self.score[mutant.room] = (caught + bool(test), count + 1)
        if not test:
            self.survivors.append(mutant)

    def summary(self):
        """Prints it; whether enough was noticed."""
        for mutant in self.survivors:
            print(f"\nnot noticed: {mutant}")
        for line in self.wrong:
            print("\n" + line)
        print()
        total = [sum(column) for column in zip(*self.score.values())] or [0, 0]
        for room, (caught, count) in [*self.score.items(), ("all", total)]:
            print(f"{room:10} {caught:4} of {count:4}")
        return not self.wrong and total[0] >= ENOUGH * total[1]


def main():
    parser = argparse.ArgumentParser(description="Whether the tests notice faults.")
    parser.add_argument("--every", type=int, default=1, help="take every N-th fault")
    parser.add_argument("--jobs", type=int, default=os.cpu_count(), help="faults at a time")
    parser.add_argument("where", nargs="*", default=list(TESTS), help="rooms or files")
    options = parser.parse_args()
    chosen = [mutant for mutant in mutants()
              if {mutant.room, mutant.file} & set(options.where)][::options.every]
    faults = [fault for fault in map(stale, chosen) if fault]
    if faults:
        sys.exit("\n".join(faults))
    files = [list(group) for _, group in groupby(chosen, lambda mutant: mutant.file)]
    folder = ROOT / "build" / "mutation"
    copies = [Copy(folder / str(i)) for i in range(max(1, min(options.jobs, len(files))))]
    run = Run(copies)
    try:
        with ThreadPoolExecutor(len(copies)) as pool:
            list(pool.map(Copy.prepare, copies))
            list(pool.map(run.attempt, files))
    except Failure as failure:
        sys.exit(str(failure))
    sys.exit(not run.summary())


if __name__ == "__main__":
    main()
