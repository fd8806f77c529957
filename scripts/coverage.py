"""Prints which lines and branches the tests of the preset `coverage` reached, room by room,
the lines of the library that none reached, and those that are excused.

    coverage.py BUILD

Code for several instruction levels counts as reached when one of them was. Lines between
GCOVR_EXCL_START and GCOVR_EXCL_STOP, and those marked GCOVR_EXCL_LINE, do not count: a
comment says why.
"""

import itertools
import json
import subprocess
import sys

LIBRARY = ("platform", "core", "arith", "convert", "filter", "geometry", "transform", "stats")
ROOMS = LIBRARY + ("tools", "include")


def measure(build):
    command = ["gcovr", "--root", ".", "--json", "-", "--exclude-throw-branches",
               "--exclude-unreachable-branches", "--gcov-ignore-parse-errors", "--exclude-directories", ".*CompilerId.*",
               "--object-directory", build]
    for room in ROOMS:
        command += ["--filter", room + "/"]
    return json.loads(subprocess.run(command + [build], stdout=subprocess.PIPE, check=True).stdout)["files"]


def ranges(numbers):
    """1, 2, 3, 7 -> "1-3, 7" """
    groups = itertools.groupby(enumerate(sorted(numbers)), lambda pair: pair[1] - pair[0])
    runs = [[number for _, number in group] for _, group in groups]
    return ", ".join("%d-%d" % (run[0], run[-1]) if len(run) > 1 else str(run[0]) for run in runs)


def excused(path):
    """The numbers of the lines of a file that do not count."""
    inside = False
    numbers = []
    with open(path) as file:
        for number, line in enumerate(file, 1):
            inside = inside or "GCOVR_EXCL_START" in line
            if inside or "GCOVR_EXCL_LINE" in line:
                numbers.append(number)
            inside = inside and "GCOVR_EXCL_STOP" not in line
    return numbers


def list_lines(title, lines):
    """`lines`: numbers by file."""
    print("\n" + title)
    for file, numbers in lines.items():
        if numbers:
            print("  %s: %s" % (file, ranges(numbers)))


def percent(hit, count):
    return "%6.2f %% of %6d" % (100 * hit / count if count else 100, count)


def main(build):
    files = measure(build)
    print("%-10s %20s %22s" % ("room", "lines", "branches"))
    for room in ROOMS:
        lines = [line for file in files if file["file"].startswith(room + "/") for line in file["lines"]
                 if not line.get("gcovr/noncode")]
        branches = [branch for line in lines for branch in line["branches"]]
        print("%-10s %20s %22s" % (room, percent(sum(line["count"] > 0 for line in lines), len(lines)),
                                   percent(sum(branch["count"] > 0 for branch in branches), len(branches))))
    library = [file for file in files if file["file"].split("/")[0] in LIBRARY]
    list_lines("lines of the library that no test reaches:",
               {file["file"]: [line["line_number"] for line in file["lines"]
                               if line["count"] == 0 and not line.get("gcovr/noncode")]
                for file in library})
    list_lines("lines that no test can reach, with the reason beside them:",
               {file["file"]: excused(file["file"]) for file in library})


if __name__ == "__main__":
    main(sys.argv[1])
