#!/usr/bin/env python3
"""Puts the programs of examples/, and what they print, into the README and the pages of docs.

    fill.py PROGRAMS [--check]

PROGRAMS is the folder with the programs that were built. In a page, the block after
`<!-- program NAME.c -->` is that file, and the block after `<!-- output NAME -->` what it
prints. With --check nothing is written: the exit code is 1 when a page is out of date.
"""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
BLOCK = re.compile(r"(<!-- (program|output) (\S+) -->\n)```.*?\n```\n", re.S)


def program(name):
    language = "cpp" if name.endswith(".cpp") else "c"
    return f"```{language}\n{(ROOT / 'examples' / name).read_text().rstrip()}\n```\n"


def output(name, folder):
    run = subprocess.run([pathlib.Path(folder, name)], capture_output=True, text=True, timeout=60)
    if run.returncode != 0:
        sys.exit(f"{name} ended with {run.returncode}: {run.stderr}")
    return f"```text\n{run.stdout.rstrip()}\n```\n"


def filled(text, folder):
    def block(match):
        marker, kind, name = match.groups()
        return marker + (program(name) if kind == "program" else output(name, folder))
    return BLOCK.sub(block, text)


def main():
    folder, check = sys.argv[1], sys.argv[2:] == ["--check"]
    stale, shown = [], set()
    for page in [ROOT / "README.md", *sorted((ROOT / "docs").rglob("*.md"))]:
        before = page.read_text()
        shown |= {pathlib.Path(name).stem for _, kind, name in BLOCK.findall(before) if kind == "output"}
        after = filled(before, folder)
        if after != before:
            stale.append(page.relative_to(ROOT))
            if not check:
                page.write_text(after)
    for page in stale:
        print(f"{page} is {'out of date: run' if check else 'filled by'} docs/site/fill.py")
    # Programs that need a file to work on have tests of their own.
    forgotten = {each.stem for each in (ROOT / "examples").glob("*.c*")} - shown - \
        {"CMakeLists", "first", "larger_than_memory"}
    if forgotten:
        print("on no page of docs:", *sorted(forgotten))
    sys.exit(1 if check and stale or forgotten else 0)


main()
