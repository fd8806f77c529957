"""Whether the self-test calls every operation of the table, and keeps a checksum of each.

usage: complete_test.py OPERATIONS.JSON [EMULATOR...] SELFTEST"""

import json
import pathlib
import re
import subprocess
import sys

table, *program = sys.argv[1:]
described = {operation["function"] for operation in json.load(open(table))["operations"]}
called = subprocess.run([*program, "--list"], capture_output=True, text=True, check=True)
called = set(called.stdout.split())
sums = pathlib.Path(__file__).with_name("checksums.inc").read_text()
kept = set(re.findall(r'"(zyl\w+)"', sums))

faults = [f"not called: {name}" for name in sorted(described - called)]
faults += [f"without a checksum: {name}" for name in sorted(called - kept)]
faults += [f"kept, but not called: {name}" for name in sorted(kept - called)]
sys.exit("\n".join(faults) or 0)
