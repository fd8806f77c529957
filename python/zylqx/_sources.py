"""Where the pixels of a picture come from: arrays, files, and what can be sliced like them.

A source has `shape`, `dtype` and read(x, y, width, height). It can be pickled: files are
opened again where it arrives.
"""
import mmap
import pathlib
import threading
import weakref

import numpy as np


class ArraySource:
    """Anything with shape, dtype and slicing."""

    def __init__(self, array):
        self.array = array
        self.shape = tuple(int(n) for n in array.shape)
        self.dtype = np.dtype(array.dtype)

    def read(self, x, y, width, height):
        part = self.array[y:y + height, x:x + width]
        if hasattr(part, "compute"):  # dask; no scheduler may wait for itself
            part = part.compute(scheduler="synchronous")
        return np.ascontiguousarray(part)

    def __reduce__(self):
        array = self.array
        if isinstance(array, np.memmap) and array.filename is not None:
            begin = np.frombuffer(array._mmap, np.uint8).__array_interface__["data"][0]
            mapped = array.offset - array.offset % mmap.ALLOCATIONGRANULARITY
            offset = array.__array_interface__["data"][0] - begin + mapped
            return _mapped, (str(array.filename), array.dtype, offset, array.shape, array.strides)
        if type(array).__module__.startswith("h5py"):
            return _dataset, (array.file.filename, array.name)
        return ArraySource, (array,)


def _mapped(filename, dtype, offset, shape, strides):
    data = np.memmap(filename, np.uint8, "r")
    return ArraySource(np.ndarray(shape, dtype, data, offset, strides))


def _dataset(filename, name):
    import h5py
    return ArraySource(h5py.File(filename, "r")[name])


class TiffSource:
    """A page of a TIFF file, read tile by tile or strip by strip."""

    def __init__(self, path, page=0):
        import tifffile
        import zarr
        self.path, self.page = str(path), page
        self.lock = threading.Lock()
        file = tifffile.TiffFile(self.path)
        weakref.finalize(self, file.close)
        if not 0 <= page < len(file.pages):
            raise ValueError(f"page: 0 to {len(file.pages) - 1} is allowed, not {page}")
        shown = file.pages[page]
        self.axes = shown.axes
        if self.axes not in ("YX", "YXS", "SYX"):
            raise ValueError(f"{self.path}: page {page} has the axes {self.axes}; YX, YXS or SYX is needed")
        self.array = zarr.open(shown.aszarr(), mode="r")
        shape = self.array.shape
        self.shape = shape[1:] + shape[:1] if self.axes == "SYX" else shape
        self.dtype = np.dtype(self.array.dtype)

    def read(self, x, y, width, height):
        columns, rows = slice(x, x + width), slice(y, y + height)
        with self.lock:
            if self.axes == "SYX":
                return np.ascontiguousarray(np.moveaxis(self.array[:, rows, columns], 0, -1))
            return np.ascontiguousarray(self.array[rows, columns])

    def __reduce__(self):
        return TiffSource, (self.path, self.page)


def source_of(source, page):
    """The source that an argument of open() stands for."""
    if isinstance(source, (str, pathlib.Path)):
        path = pathlib.Path(source)
        if not path.exists():
            raise FileNotFoundError(f"{path} does not exist")
        if path.suffix.lower() in (".tif", ".tiff", ".btf"):
            return TiffSource(path, page)
        if path.suffix == ".npy":
            return ArraySource(np.load(path, mmap_mode="r"))
        if path.suffix == ".zarr":
            import zarr
            return ArraySource(zarr.open(str(path), mode="r"))
        raise ValueError(f"{path}: .tif, .npy and .zarr are opened by name; of others give the array")
    if all(hasattr(source, name) for name in ("shape", "dtype", "__getitem__")):
        return ArraySource(source)
    raise TypeError("source: something with shape, dtype and slicing, or the name of a file is needed, not "
                    f"{type(source).__name__}")
