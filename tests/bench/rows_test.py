"""Every operation of the description has a row in versus. Arguments: operations.json and
the folder of the benchmarks."""

import json
import pathlib
import re
import sys

DESCRIPTION, FOLDER = sys.argv[1:]
with open(DESCRIPTION, encoding="utf-8") as file:
    operations = {entry["function"] for entry in json.load(file)["operations"]}
called = set()
for path in pathlib.Path(FOLDER).glob("versus_*.cpp"):
    called |= set(re.findall(r"\bzyl\w+", path.read_text(encoding="utf-8")))
if operations - called:
    sys.exit("no row of versus for " + ", ".join(sorted(operations - called)))
