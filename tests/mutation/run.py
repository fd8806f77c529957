"""Whether the tests notice faults: puts those of mutants.txt into the sources, one at a
time, and runs the tests of their room.

usage: run.py [--every N] [ROOM]...

--every N takes every N-th fault.

Works on a copy in build/mutation, at the baseline level and with little optimisation. A
fault that takes a test too long counts as noticed. Fails when a fault does not apply any
more, when one does not compile, when one that is said to change nothing is noticed, and
when fewer than nine of ten are noticed.
"""

import argparse
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
from dataclasses import dataclass

ROOT = pathlib.Path(__file__).resolve().parents[2]
COPY = ROOT / "build" / "mutation" / "tree"
BUILD = ROOT / "build" / "mutation" / "build"
ENOUGH = 0.9  # of all faults


@dataclass(frozen=True)
class Test:
    name: str
    targets: tuple
    command: tuple


def program(name):
    return Test(name, (name,), ("tests/" + name, "--gtest_fail_fast", "--gtest_brief=1"))


def script(name, *programs):
    # Pillow belongs to the system's own interpreter.
    return Test(name, tuple(pathlib.Path(path).name for path in programs),
                ("/usr/bin/python3", str(COPY / "tests" / "tool" / name),
                 *[str(BUILD / path) for path in programs], "-f"))


# What is run for a room, in this order, until a fault is noticed. Faults of the core show in
# the tests of the other rooms.
FAMILIES = ["arith", "stats", "geometry", "filter", "convert", "transform"]
ZYL = "tools/zyl"
TESTS = {
    "core": [program(room + "_test") for room in ["core", *FAMILIES]],
    **{room: [program(room + "_test")] for room in [*FAMILIES, "platform"]},
    "tools": [program("engine_test"), program("operations_test"), script("zyl_test.py", ZYL),
              script("formats_test.py", ZYL), script("resize_test.py", ZYL),
              script("large_test.py", ZYL, "examples/larger_than_memory")],
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


def copy_tree():
    """Only what differs, so that little is built anew."""
    names = subprocess.run(["git", "ls-files", "-z"], cwd=ROOT, capture_output=True, text=True,
                           check=True).stdout.split("\0")
    for name in filter(None, names):
        source, target = ROOT / name, COPY / name
        if not source.is_file():
            continue
        target.parent.mkdir(parents=True, exist_ok=True)
        if not target.exists() or target.read_bytes() != source.read_bytes():
            shutil.copyfile(source, target)
            shutil.copymode(source, target)


def run(command, limit):
    """The exit code; that of a failure when the limit (seconds) is over."""
    with subprocess.Popen(command, cwd=BUILD, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        try:
            return process.wait(limit)
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            return -1


def build(targets):
    return run(["cmake", "--build", ".", "--target", *targets], None) == 0


def configure():
    BUILD.mkdir(parents=True, exist_ok=True)
    command = ["cmake", "-S", str(COPY), "-B", str(BUILD), "-G", "Ninja", "-DZYLQX_TESTS=ON",
               "-DCMAKE_BUILD_TYPE=Mutation", "-DCMAKE_CXX_FLAGS=-O1", "-DZYLQX_LEVELS=baseline",
               "-DZYLQX_WERROR=OFF"]
    return run(command, None) == 0


class Limits:
    """How long a test may take with a fault: it is run without one first."""

    def __init__(self):
        self.seconds = {}

    def measure(self, tests):
        for test in tests:
            if test in self.seconds:
                continue
            if not build(test.targets):
                sys.exit(f"{test.name} does not build without a fault")
            start = time.monotonic()
            if run(test.command, 1200) != 0:
                sys.exit(f"{test.name} fails without a fault")
            self.seconds[test] = 20 + 5 * (time.monotonic() - start)


def outcome(mutant, limits):
    """The test that noticed a fault, "" for none; None when it does not compile."""
    path = COPY / mutant.file
    text = path.read_text()
    path.write_text(text.replace(mutant.before, mutant.after))
    try:
        for test in TESTS[mutant.room]:
            if not build(test.targets):
                return None
            if run(test.command, limits.seconds[test]) != 0:
                return test.name
        return ""
    finally:
        path.write_text(text)


def main():
    parser = argparse.ArgumentParser(description="Whether the tests notice faults.")
    parser.add_argument("--every", type=int, default=1, help="take every N-th fault")
    parser.add_argument("rooms", nargs="*", default=list(TESTS))
    options = parser.parse_args()
    chosen = [mutant for mutant in mutants() if mutant.room in options.rooms][::options.every]
    faults = [fault for fault in map(stale, chosen) if fault]
    if faults:
        sys.exit("\n".join(faults))
    copy_tree()
    if not configure():
        sys.exit("the copy does not configure: see cmake -S build/mutation/tree")

    limits = Limits()
    wrong, survivors, score = [], [], {}
    for mutant in chosen:
        limits.measure(TESTS[mutant.room])
        noticed = outcome(mutant, limits)
        if noticed is None:
            wrong.append(f"does not compile: {mutant}")
        elif mutant.reason:
            if noticed:
                wrong.append(f"noticed by {noticed}, though it is said to change nothing: {mutant}")
        else:
            caught, count = score.get(mutant.room, (0, 0))
            score[mutant.room] = (caught + bool(noticed), count + 1)
            if not noticed:
                survivors.append(mutant)
        print(f"{noticed or ('-' if noticed == '' else '?')}  {mutant.file}", flush=True)

    for mutant in survivors:
        print(f"\nnot noticed: {mutant}")
    for line in wrong:
        print("\n" + line)
    print()
    total = [sum(column) for column in zip(*score.values())]
    for room, (caught, count) in [*score.items(), ("all", total)]:
        print(f"{room:10} {caught:4} of {count:4}")
    return 1 if wrong or total[0] < ENOUGH * total[1] else 0


if __name__ == "__main__":
    sys.exit(main())
