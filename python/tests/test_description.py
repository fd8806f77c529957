"""The functions against their description and the library's header; examples; types."""
import doctest
import importlib.util
import inspect
import pathlib
import re
import subprocess
import sys

import numpy as np
import pytest

import zylqx as zx
from conftest import NAMES, function
from zylqx import _core, operations
from zylqx._operation import DESCRIBED

FOLDER = pathlib.Path(__file__).parents[1]
LIBRARY = FOLDER / "library" if (FOLDER / "library").exists() else FOLDER.parent
HEADER = LIBRARY / "include" / "zylqx.h"
# What Python has no use for: memory, records and the state of the thread.
NOT_WRAPPED = re.compile(r"Create|Delete|Set(ROI|Tile|Border|Err|Color)|Get(Err|Lib|Conv)|alloc|Alloc|Free|"
                         r"Error|Report|Context|BadImageHeader|TranslateDIB")


def test_every_function_of_the_header_is_there():
    names = set(re.findall(r"ZYL_CALL (zyl\w+)\(", HEADER.read_text(encoding="utf-8")))
    assert len(names) == 97
    wanted = {n for n in names if not NOT_WRAPPED.search(n)}
    assert wanted == set(_core.names())
    for name in operations.__all__ + ["translate_dib", "convert_from_dib", "convert_to_dib"]:
        assert callable(getattr(zx, name)) and name in zx.__all__


def test_parameters_are_those_of_the_header():
    """Names in the header's order, in snake case; images, tiles and counts aside."""
    text = HEADER.read_text(encoding="utf-8")
    for name in NAMES:
        operation = DESCRIBED[name]
        c_name = _core.names()[operation.index]
        arguments = re.search(rf"ZYL_CALL {c_name}\(([^;]*)\);", text)[1]
        c_names = [re.search(r"(\w+)\W*$", a)[1] for a in arguments.split(",")]
        taken = inspect.signature(function(name)).parameters
        snake = [re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", n).lower() for n in c_names]
        left_out = {"dst_image", "dst", "dst_tile", "tile", "mapping", "tile_point", "map", "n_kernels"}
        assert set(snake) - left_out <= set(taken), name


@pytest.mark.parametrize("name", operations.__all__)
def test_documentation(name):
    """Each example gives what it says; each parameter is described."""
    made = getattr(zx, name)
    text = inspect.getdoc(made)
    for parameter in inspect.signature(made).parameters:
        assert f"{parameter}:" in text
    finder, runner = doctest.DocTestFinder(), doctest.DocTestRunner()
    for test in finder.find(made, name, globs={"zx": zx, "np": np}):
        runner.run(test)
    assert runner.summarize(verbose=False).failed == 0


def test_examples_of_the_package():
    for module in (zx, sys.modules["zylqx._image"], sys.modules["zylqx.picture"],
                   sys.modules["zylqx._bitmap"]):
        failed, tried = doctest.testmod(module, extraglobs={"zx": zx, "np": np})
        assert failed == 0


def test_examples_of_the_guide():
    page = LIBRARY / "docs" / "guide" / "python.md"
    if not page.exists():
        pytest.skip("a source distribution is without the guide")
    failed, tried = doctest.testfile(str(page), module_relative=False)
    assert tried > 10 and failed == 0


CHECKED = """
import numpy as np
import zylqx as zx
a = np.zeros((4, 4), np.uint8)
b: np.ndarray = zx.median_filter(a, 3, n_cols=3, border="wrap")
c: float = zx.norm(a, b, norm_type="l1")
p: zx.Picture = zx.open(a).median_filter(3, 3).convolve_2d(zx.Kernel([[1]]))
d: np.ndarray = p[0:2, 0:2]
e: np.ndarray = zx.add(zx.Image(a, roi=(0, 0, 2, 2)), a[:2, :2], out=a)
f: zx.Picture = zx.convert(p, "uint16")
"""
WRONG = """
import zylqx as zx
zx.median_filter("no array")
zx.add(zx.Kernel([1]), zx.Kernel([1]))
x: float = zx.open("a.tif").erode()
"""


@pytest.mark.skipif(importlib.util.find_spec("mypy") is None, reason="mypy is not there")
def test_types(tmp_path):
    for name, program in (("right.py", CHECKED), ("wrong.py", WRONG)):
        (tmp_path / name).write_text(program, encoding="utf-8")
    ran = subprocess.run([sys.executable, "-m", "mypy", "--cache-dir", tmp_path / "cache", "right.py", "wrong.py"],
                         cwd=tmp_path, capture_output=True, text=True)
    lines = [line for line in ran.stdout.splitlines() if "error:" in line]
    assert [line.split(": error")[0] for line in lines] == ["wrong.py:3", "wrong.py:4", "wrong.py:5"], ran.stdout
