import zlib

import numpy as np
import pytest

import zylqx as zx
from zylqx._operation import DESCRIBED

BITMAPS = {"convert_to_dib", "convert_from_dib"}
NAMES = sorted({o.name for o in DESCRIBED.values()} - BITMAPS)


def function(name):
    """The function of an operation of this name."""
    return getattr(zx, name + "_" if name + "_" in zx.operations.__all__ else name)


def pictures(name, dtype, shape, seed=0):
    """Two seeded arrays, most samples small so that not everything saturates."""
    random = np.random.default_rng(zlib.crc32(f"{name} {dtype} {shape} {seed}".encode()))
    if dtype == bool:
        return tuple(random.random(shape) < 0.5 for _ in range(2))
    info = np.iinfo(dtype)
    result = []
    for _ in range(2):
        full = random.integers(info.min, info.max, shape, dtype, endpoint=True)
        small = random.integers(max(info.min, -300), min(info.max, 300), shape, dtype, endpoint=True)
        result.append(np.where(random.random(shape) < 0.5, full, small))
    return tuple(result)


def channel_counts(operation):
    """The channels that an operation is tried with."""
    if operation.layouts is None:
        return (1, 3)
    return tuple(c for c in operation.layouts if c in (1, 3, 4))


@pytest.fixture
def random():
    return np.random.default_rng(20)
