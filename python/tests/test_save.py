"""Saving with threads, processes and a cluster; failures and going on after them."""
import concurrent.futures as futures
import os
import pathlib
import signal
import subprocess
import sys

import numpy as np
import pytest

import zylqx as zx

tifffile = pytest.importorskip("tifffile")
zarr = pytest.importorskip("zarr")


@pytest.fixture(scope="module")
def array():
    return np.random.default_rng(3).integers(0, 256, (700, 900, 3), np.uint8)


def chain(p):
    return zx.convolve_2d(zx.decimate(zx.median_filter(p, 3, 3), 9, 10),
                          [[-1, -1, -1], [-1, 9, -1], [-1, -1, -1]], border="replicate")


@pytest.fixture(scope="module")
def whole(array):
    return chain(array)


def lazy(source):
    return chain(zx.open(source, tile=(64, 64)))


@pytest.mark.parametrize("name", ["out.tif", "out.zarr", "out.npy"])
def test_files(name, array, whole, tmp_path, capsys):
    path = tmp_path / name
    lazy(array).save(path, memory=1 << 20, workers=2, progress=True)
    assert np.array_equal(zx.open(path)[...], whole)
    if name == "out.tif":
        assert np.array_equal(tifffile.imread(path), whole)
        lazy(array).save(tmp_path / "small.tif", compression="zlib")
        assert np.array_equal(tifffile.imread(tmp_path / "small.tif"), whole)
    assert sorted(os.listdir(tmp_path))[0] == name and not (tmp_path / (name + ".unfinished")).exists()
    assert "pixel" in capsys.readouterr().err


@pytest.mark.parametrize("dtype", ["int8", "uint16", "int16", "int32"])
def test_types_of_tiff(dtype, tmp_path, random):
    for shape in ((70, 90), (70, 90, 2), (70, 90, 4)):
        a = random.integers(-99 if dtype[0] == "i" else 0, 99, shape).astype(dtype)
        zx.open(a, tile=(32, 48)).save(tmp_path / "a.tif")
        assert np.array_equal(tifffile.imread(tmp_path / "a.tif"), a)


def test_objects(array, whole, tmp_path):
    into = np.zeros_like(whole)
    lazy(array).save(into)
    assert np.array_equal(into, whole)
    h5py = pytest.importorskip("h5py")
    with h5py.File(tmp_path / "a.h5", "w") as file:
        source = file.create_dataset("a", data=array)
        into = file.create_dataset("b", whole.shape, whole.dtype)
        lazy(source).save(into, workers=2)
        assert np.array_equal(into[...], whole)


def test_sources(array, whole, tmp_path):
    """Files and arrays of other libraries, tiled, in strips, by planes and compressed."""
    dask = pytest.importorskip("dask.array")
    tifffile.imwrite(tmp_path / "strips.tif", array, rowsperstrip=33, photometric="rgb", compression="zlib")
    tifffile.imwrite(tmp_path / "tiles.tif", array, tile=(128, 64), photometric="rgb", bigtiff=True)
    tifffile.imwrite(tmp_path / "planes.tif", np.moveaxis(array, 2, 0), photometric="rgb", planarconfig="separate")
    np.save(tmp_path / "a.npy", array)
    zarr.save(str(tmp_path / "a.zarr"), array)
    for name in ("strips.tif", "tiles.tif", "planes.tif", "a.npy", "a.zarr"):
        assert np.array_equal(lazy(tmp_path / name)[...], whole), name
    source = dask.from_array(array, chunks=(101, 213, 3))
    assert np.array_equal(lazy(source)[100:300, 50:60], whole[100:300, 50:60])
    result = zx.dask.apply(zx.median_filter, source, 3, 3, chunks=(256, 300))
    assert result.chunks[0] == (256, 256, 188)
    assert np.array_equal((result + 0).compute(), zx.median_filter(array, 3, 3))


def test_refused(array, tmp_path):
    p = lazy(array)
    for kind, text, call in (
            (ValueError, "are written", lambda: p.save(tmp_path / "a.png")),
            (TypeError, "target: ", lambda: p.save(7)),
            (ValueError, "target: \\(630", lambda: p.save(np.zeros((3, 3), "uint8"))),
            (TypeError, "bool pictures", lambda: zx.open(array[..., 0] > 3).save(tmp_path / "a.tif")),
            (ValueError, "block: multiples", lambda: p.save(tmp_path / "a.tif", block=(100, 64))),
            (ValueError, "resume: only a file", lambda: p.save(np.zeros(p.shape, p.dtype), resume=True)),
            (ValueError, "compression: ", lambda: p.save(tmp_path / "a.npy", compression="zlib"))):
        with pytest.raises(kind, match=text):
            call()


# ---- failures and other executors -----------------------------------------------------------------


class Failing:
    """Rows below `limit` cannot be read until the file `mended` exists; each failure is noted."""

    shape, dtype = (700, 900, 3), np.dtype("uint8")

    def __init__(self, folder, limit, mended="mended"):
        self.folder, self.limit, self.mended = pathlib.Path(folder), limit, mended

    def __getitem__(self, key):
        if key[0].stop > self.limit and not (self.folder / self.mended).exists():
            with open(self.folder / "failures", "a", encoding="utf-8") as file:
                file.write("x")
            raise OSError("this part of the disk is damaged")
        return np.random.default_rng(3).integers(0, 256, self.shape, np.uint8)[key]


def test_failed_blocks_are_named_and_done_later(whole, tmp_path):
    path = tmp_path / "out.tif"
    source = Failing(tmp_path, 600)
    with pytest.raises(zx.SaveError, match="damaged; missing are .* blocks: .*resume=True") as caught:
        lazy(source).save(path, workers=1, block=(128, 128))
    assert all(y + height > 500 for y, _, height, _ in caught.value.missing) and caught.value.missing
    assert len((tmp_path / "failures").read_text()) >= 3 * len(caught.value.missing)
    (tmp_path / "mended").touch()
    with pytest.raises(ValueError, match="another picture"):
        zx.median_filter(lazy(source), 3, 3).save(path, resume=True, block=(128, 128))
    before = path.stat().st_mtime_ns
    lazy(source).save(path, resume=True, block=(128, 128))
    assert path.stat().st_mtime_ns > before
    assert np.array_equal(tifffile.imread(path), whole)
    with pytest.raises(ValueError, match="is finished"):
        lazy(source).save(path, resume=True, block=(128, 128))


class Killing(Failing):
    """Kills the process that reads below `limit`, once."""

    def __getitem__(self, key):
        if key[0].stop > self.limit:
            try:
                (self.folder / "killed").touch(exist_ok=False)
                os.kill(os.getpid(), signal.SIGKILL)
            except FileExistsError:
                pass
        return np.random.default_rng(3).integers(0, 256, self.shape, np.uint8)[key]


def test_process_pool(array, whole, tmp_path):
    np.save(tmp_path / "a.npy", array)
    for name in ("out.tif", "out.zarr", "out.npy"):
        with futures.ProcessPoolExecutor(2) as pool:
            lazy(tmp_path / "a.npy").save(tmp_path / name, executor=pool, block=(192, 192))
        assert np.array_equal(zx.open(tmp_path / name)[...], whole)
    into = np.zeros_like(whole)
    with futures.ThreadPoolExecutor(2) as pool:
        lazy(array).save(into, executor=pool)
    assert np.array_equal(into, whole)


def test_a_killed_process(whole, tmp_path):
    """A pool that loses a process takes no more tasks; the next one goes on."""
    path, source = tmp_path / "out.tif", Killing(tmp_path, 400)
    with futures.ProcessPoolExecutor(2) as pool:
        with pytest.raises(zx.SaveError, match="BrokenProcessPool"):
            lazy(source).save(path, executor=pool, block=(64, 128))
    with futures.ProcessPoolExecutor(2) as pool:
        lazy(source).save(path, executor=pool, block=(64, 128), resume=True)
    assert np.array_equal(tifffile.imread(path), whole)


def test_large_arrays_do_not_go_with_every_task(monkeypatch, array, tmp_path):
    monkeypatch.setattr(zx.picture._save, "LARGEST_JOB", 1 << 20)
    with futures.ProcessPoolExecutor(1) as pool:
        with pytest.raises(ValueError, match="executor: 1 MiB of arrays"):
            lazy(array).save(tmp_path / "out.tif", executor=pool)
    assert os.listdir(tmp_path) == []


CLUSTER = """
import sys, pathlib
import numpy as np
sys.path.insert(0, {tests!r})
import test_save
from distributed import Client, LocalCluster
folder = pathlib.Path({folder!r})
if __name__ == "__main__":
    with LocalCluster(n_workers=2, threads_per_worker=1, dashboard_address=None, processes=True) as cluster:
        with Client(cluster) as client:
            source = test_save.Killing(folder, 400)
            test_save.lazy(source).save(folder / "out.tif", executor=client.get_executor(), block=(64, 128))
            result = test_save.zx.dask.apply(test_save.zx.blur, np.load(folder / "a.npy"), 5, 5, chunks=(256, 256))
            assert np.array_equal(result.compute(), test_save.zx.blur(np.load(folder / "a.npy"), 5, 5))
    assert (folder / "killed").exists()
"""


def test_cluster_with_a_killed_worker(array, whole, tmp_path):
    """A cluster of Dask starts a lost worker again and repeats its tasks."""
    pytest.importorskip("distributed")
    np.save(tmp_path / "a.npy", array)
    program = tmp_path / "program.py"
    program.write_text(CLUSTER.format(tests=str(pathlib.Path(__file__).parent), folder=str(tmp_path)), "utf-8")
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
    ran = subprocess.run([sys.executable, program], capture_output=True, text=True, timeout=200, env=environment,
                         cwd=tmp_path)
    assert ran.returncode == 0, ran.stderr[-3000:]
    assert np.array_equal(tifffile.imread(tmp_path / "out.tif"), whole)


def run_example(name, *arguments):
    program = pathlib.Path(__file__).parents[1] / "examples" / name
    environment = {**os.environ, "PYTHONPATH": os.pathsep.join(sys.path)}
    ran = subprocess.run([sys.executable, program, *map(str, arguments)], capture_output=True, text=True, timeout=200,
                         env=environment)
    assert ran.returncode == 0, ran.stderr[-3000:]
    return ran.stdout


def test_examples(tmp_path):
    """The programs that the guide shows and is made with."""
    pytest.importorskip("distributed")
    assert "700 x 700 pixels" in run_example("cluster.py", 700, 2, tmp_path)
    assert not (tmp_path / "sharp.tif.unfinished").exists()
    run_example("guide_pictures.py", tmp_path)
    assert len(list(tmp_path.glob("*.png"))) == 3
