"""Sharpens a picture of 20000 x 20000 pixels on a local cluster.

    cluster.py [SIDE] [WORKERS] [FOLDER]

Makes big.tif first, unless it is there. On several machines only the line that makes the
cluster is another one, and the folder has to be one that all of them see.
"""
import pathlib
import sys
import time

import numpy as np
from distributed import Client, LocalCluster

import zylqx as zx


class Rings:
    """Coloured rings with a little noise, computed where they are looked at."""

    dtype = np.dtype("uint8")

    def __init__(self, side):
        self.shape = (side, side, 3)

    def __getitem__(self, key):
        rows, columns = (np.arange(k.start, k.stop, dtype=np.float32) for k in key)
        away = np.hypot(rows[:, None] - self.shape[0] / 2, columns - self.shape[1] / 2)
        noise = np.random.default_rng((key[0].start, key[1].start)).integers(0, 24, (*away.shape, 3))
        waves = np.stack([np.sin(away / step) for step in (31, 47, 71)], axis=-1)
        return (115 + 100 * waves + noise).astype(np.uint8)


def main():
    side = int(sys.argv[1]) if len(sys.argv) > 1 else 20000
    workers = int(sys.argv[2]) if len(sys.argv) > 2 else 2
    folder = pathlib.Path(sys.argv[3] if len(sys.argv) > 3 else ".")
    source, target = folder / "big.tif", folder / "sharp.tif"
    if not source.exists():
        zx.open(Rings(side)).save(source)

    sharpen = zx.Kernel([[-1, -2, -1], [-2, 20, -2], [-1, -2, -1]], shift=3)
    picture = zx.open(source).median_filter(3, 3, border="replicate").convolve_2d(sharpen, border="replicate")
    with LocalCluster(n_workers=workers, threads_per_worker=1, dashboard_address=None) as cluster:
        with Client(cluster) as client:
            began = time.monotonic()
            picture.save(target, executor=client.get_executor(), progress=sys.stderr.isatty())
            print(f"{side} x {side} pixels in {time.monotonic() - began:.1f} s with {workers} workers")

    # A window of the result, computed again here, has the same bits.
    middle = slice(side // 2 - 100, side // 2 + 100)
    assert np.array_equal(zx.open(target)[middle, middle], picture[middle, middle])


if __name__ == "__main__":
    main()
