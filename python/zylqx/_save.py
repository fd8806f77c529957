"""Writing pictures: blocks of tiles as tasks of an executor, into targets that take writes
side by side.

A task is sent the picture's description, computes its block and writes it itself, so no
pixels travel. What is done is noted beside the target, so that another run can go on.
"""
import collections
import concurrent.futures as futures
import hashlib
import json
import os
import pathlib
import pickle
import sys
import threading
import time
import uuid

import numpy as np

TRIES = 3
BLOCK = 4            # tiles of a task, each way
AT_ONCE = 32         # tasks handed to an executor whose workers cannot be counted
LARGEST_JOB = 64 << 20   # bytes of a picture's description
CLASSIC_TIFF = 4_000_000_000  # bytes; larger ones are BigTIFF


class SaveError(Exception):
    """Blocks of a picture that could not be written.

    missing: (row, column, rows, columns) of each
    """

    __module__ = "zylqx"

    def __init__(self, text, missing):
        super().__init__(text, missing)
        self.text, self.missing = text, missing

    def __str__(self):
        shown = ", ".join(f"{h} x {w} at row {y}, column {x}" for y, x, h, w in self.missing[:3])
        more = f" and {len(self.missing) - 3} more" if len(self.missing) > 3 else ""
        return f"{self.text}; missing are {len(self.missing)} blocks: {shown}{more}. resume=True goes on"


# ---- targets -------------------------------------------------------------------------------


class TiffTarget:
    """An uncompressed tiled TIFF, laid out first; each tile is then written in its place."""

    side_by_side = True

    def __init__(self, path, picture):
        self.path, self.shape, self.tile = str(path), picture.shape, picture.tile
        self.dtype = picture.dtype
        if self.dtype == bool:
            raise TypeError(f"{path}: bool pictures are saved as .zarr or .npy; "
                            "bitonal_to_gray() makes a picture for .tif")
        if len(self.shape) == 3 and self.shape[2] > 4:
            raise ValueError(f"{path}: one to four channels go into a .tif, not {self.shape[2]}")

    def options(self):
        """How tifffile lays the picture out; its tiles are multiples of 16."""
        size = int(np.prod(self.shape, dtype=np.int64)) * self.dtype.itemsize
        channels = self.shape[2] if len(self.shape) == 3 else 1
        extra = {2: ["unspecified"], 4: ["unassalpha"]}.get(channels)
        return {"shape": self.shape, "dtype": self.dtype, "tile": tuple(-(-n // 16) * 16 for n in self.tile),
                "bigtiff": size > CLASSIC_TIFF, "photometric": "rgb" if channels > 2 else "minisblack",
                "planarconfig": "contig" if channels > 1 else None, "metadata": None,
                **({"extrasamples": extra} if extra else {})}

    def create(self):
        import tifffile
        if any(n % 16 for n in self.tile):
            raise ValueError(f"{self.path}: tiles of a .tif are multiples of 16, not {self.tile}; see open(tile=)")
        tifffile.imwrite(self.path, None, **self.options())

    def write_compressed(self, tiles, compression):
        """One after the other, as compressed tiles have no place before they are made."""
        import tifffile

        def whole():
            for _, pixels in tiles:
                tile = np.zeros(self.tile + self.shape[2:], self.dtype)
                tile[:pixels.shape[0], :pixels.shape[1]] = pixels
                yield tile
        tifffile.imwrite(self.path, whole(), **self.options(), compression=compression)

    def open(self):
        import tifffile
        with tifffile.TiffFile(self.path) as file:
            self.offsets = file.pages[0].dataoffsets
        self.file = open(self.path, "r+b", buffering=0)

    def write(self, x, y, pixels):
        height, width = self.tile
        across = -(-self.shape[1] // width)
        for top in range(0, pixels.shape[0], height):
            for left in range(0, pixels.shape[1], width):
                part = pixels[top:top + height, left:left + width]
                tile = np.zeros(self.tile + self.shape[2:], self.dtype)
                tile[:part.shape[0], :part.shape[1]] = part
                place = self.offsets[(y + top) // height * across + (x + left) // width]
                data = memoryview(tile).cast("B")
                while data:
                    written = os.pwrite(self.file.fileno(), data, place)
                    data, place = data[written:], place + written

    def close(self):
        self.file.close()

    def __getstate__(self):
        return {k: v for k, v in self.__dict__.items() if k not in ("offsets", "file")}


class SliceTarget:
    """A .zarr or .npy file."""

    side_by_side = True

    def __init__(self, path, picture):
        self.path, self.shape, self.tile, self.dtype = str(path), picture.shape, picture.tile, picture.dtype

    def create(self):
        if self.path.endswith(".npy"):
            np.lib.format.open_memmap(self.path, "w+", self.dtype, self.shape)
        else:
            import zarr
            zarr.open(self.path, mode="w", shape=self.shape, chunks=self.tile + self.shape[2:], dtype=self.dtype)

    def open(self):
        if self.path.endswith(".npy"):
            self.array = np.lib.format.open_memmap(self.path, "r+")
        else:
            import zarr
            self.array = zarr.open(self.path, mode="r+")

    def write(self, x, y, pixels):
        self.array[y:y + pixels.shape[0], x:x + pixels.shape[1]] = pixels

    def close(self):
        if isinstance(self.array, np.memmap):
            self.array.flush()

    def __getstate__(self):
        return {k: v for k, v in self.__dict__.items() if k != "array"}


class ObjectTarget:
    """Anything that takes slices, written by the caller's thread alone."""

    side_by_side = False
    path = None

    def __init__(self, array, picture):
        if tuple(array.shape) != picture.shape:
            raise ValueError(f"target: {picture.shape} is needed, not {tuple(array.shape)}")
        self.array = array

    def create(self):
        pass

    open = close = create

    def write(self, x, y, pixels):
        self.array[y:y + pixels.shape[0], x:x + pixels.shape[1]] = pixels


def target_of(target, picture):
    if isinstance(target, (str, pathlib.Path)):
        suffix = pathlib.Path(target).suffix.lower()
        if suffix in (".tif", ".tiff", ".btf"):
            return TiffTarget(target, picture)
        if suffix in (".zarr", ".npy"):
            return SliceTarget(target, picture)
        raise ValueError(f"{target}: .tif, .zarr and .npy are written")
    if hasattr(target, "__setitem__") and hasattr(target, "shape"):
        return ObjectTarget(target, picture)
    raise TypeError(f"target: the name of a file or something that takes slices is needed, not "
                    f"{type(target).__name__}")


# ---- tasks ---------------------------------------------------------------------------------


class Job:
    """A picture and its target, unpacked once in each process."""

    unpacked = collections.OrderedDict()
    lock = threading.Lock()
    KEPT = 2

    def __init__(self, picture, target):
        self.token = uuid.uuid4().hex
        self.packed = pickle.dumps((picture, target if target.side_by_side else None))
        if len(self.packed) > LARGEST_JOB:
            raise ValueError(f"executor: {len(self.packed) >> 20} MiB of arrays would go with every task; "
                             "put them into a .npy file and open() this")

    def unpack(self):
        with Job.lock:
            if self.token not in Job.unpacked:
                picture, target = pickle.loads(self.packed)
                if target is not None:
                    target.open()
                Job.unpacked[self.token] = picture, target
                while len(Job.unpacked) > Job.KEPT:  # files are closed when the last task lets go
                    Job.unpacked.popitem(last=False)
            return Job.unpacked[self.token]


class LocalJob:
    """The same for threads of this process: they share the picture's cache."""

    def __init__(self, picture, target):
        self.both = picture, target if target.side_by_side else None

    def unpack(self):
        return self.both


def work(job, block, attempt):
    """Computes a block, and writes it or returns it. The attempt makes every call another one."""
    picture, target = job.unpack()
    y, x, height, width = block
    pixels = picture.node.window(x, y, width, height, picture.cache)
    if target is None:
        return pixels
    target.write(x, y, pixels)
    return None


# ---- what is done -----------------------------------------------------------------------------


def fingerprint(picture, block):
    """What a picture is made of, as far as another run can tell."""
    parts, nodes = [str(block)], [picture.node]
    while nodes:
        node = nodes.pop()
        if node is None:
            continue
        parts.append(f"{node.shape} {node.dtype} {node.tile}")
        if hasattr(node, "parents"):
            parts.append(f"{node.operation.name} {pickle.dumps((node.values, node.border)).hex()}")
            nodes.extend(node.parents)
    return hashlib.sha256("\n".join(parts).encode()).hexdigest()


class Notes:
    """The blocks that are done, in a file beside the target until all are."""

    def __init__(self, target, picture, block):
        self.path = None if target.path is None else pathlib.Path(f"{target.path}.unfinished")
        self.print, self.done, self.file = fingerprint(picture, block), set(), None
        self.target = target

    def start(self, resume):
        if self.path is None:
            if resume:
                raise ValueError("resume: only a file can be gone on with")
            return
        if resume and self.path.exists():
            self._read()
        elif resume and os.path.exists(self.target.path):
            raise ValueError(f"resume: {self.target.path} is finished, or save() did not begin it")
        else:
            self.target.create()
            self.path.write_text(self.print + "\n", encoding="utf-8")
        self.file = open(self.path, "a", encoding="utf-8")

    def _read(self):
        lines = self.path.read_text(encoding="utf-8").splitlines()
        if not lines or lines[0] != self.print:
            raise ValueError(f"resume: {self.target.path} was begun with another picture or other blocks")
        for line in lines[1:]:
            try:
                self.done.add(tuple(json.loads(line)))
            except ValueError:  # cut off in the middle
                pass

    def note(self, block):
        self.done.add(block)
        if self.file is not None:
            self.file.write(json.dumps(block) + "\n")
            self.file.flush()

    def finish(self, complete):
        if self.file is not None:
            self.file.close()
            if complete:
                self.path.unlink()


class Progress:
    """A bar by tqdm where it is installed, else a line every few seconds."""

    SECONDS = 5

    def __init__(self, shown, pixels, done):
        self.bar = self.total = None
        if not shown:
            return
        try:
            from tqdm.auto import tqdm
            self.bar = tqdm(total=pixels, initial=done, unit="pixel", unit_scale=True)
        except ImportError:
            self.total, self.done, self.said = pixels, done, time.monotonic()

    def add(self, pixels):
        if self.bar is not None:
            self.bar.update(pixels)
        elif self.total is not None:
            self.done += pixels
            if time.monotonic() - self.said > self.SECONDS or self.done == self.total:
                self.said = time.monotonic()
                print(f"{100 * self.done // self.total} % of {self.total} pixels", file=sys.stderr)

    def close(self):
        if self.bar is not None:
            self.bar.close()


# ---- the run ------------------------------------------------------------------------------------


def blocks_of(picture, block):
    """(row, column, rows, columns) of every block."""
    rows, columns = block
    for y in range(0, picture.shape[0], rows):
        for x in range(0, picture.shape[1], columns):
            yield y, x, min(rows, picture.shape[0] - y), min(columns, picture.shape[1] - x)


def save(picture, target, *, progress, workers, executor, block, resume, compression):
    target = target_of(target, picture)
    if compression is not None:
        if not isinstance(target, TiffTarget) or executor is not None or resume:
            raise ValueError("compression: only for a .tif, without executor and resume")
        return target.write_compressed(picture.tiles(), compression)
    block = tuple(n * BLOCK for n in picture.tile) if block is None else tuple(block)
    if any(n < 1 or n % t for n, t in zip(block, picture.tile)):
        raise ValueError(f"block: multiples of the tiles {picture.tile} are needed, not {block}")

    job = (Job if _elsewhere(executor) else LocalJob)(picture, target)
    notes = Notes(target, picture, block)
    notes.start(resume)
    todo = [b for b in blocks_of(picture, block) if b not in notes.done]
    pixels = picture.shape[0] * picture.shape[1]
    bar = Progress(progress, pixels, pixels - sum(b[2] * b[3] for b in todo))
    target.open()
    try:
        if executor is None:
            workers = workers or len(os.sched_getaffinity(0))
            with futures.ThreadPoolExecutor(workers) as own:
                missing, error = _run(own, job, target, todo, 2 * workers, notes, bar)
        else:
            missing, error = _run(executor, job, target, todo, AT_ONCE, notes, bar)
    except BaseException:
        notes.finish(False)
        raise
    finally:
        target.close()
        bar.close()
    notes.finish(not missing)
    if missing:
        raise SaveError(f"{type(error).__name__}: {error}", missing) from error


def _elsewhere(executor):
    """Whether tasks leave this process."""
    return executor is not None and not isinstance(executor, futures.ThreadPoolExecutor)


def _run(executor, job, target, todo, at_once, notes, bar):
    """Works through the blocks; (those that failed every time, the last error)."""
    waiting = collections.deque((block, 1) for block in todo)
    running, missing, error = {}, [], None
    while waiting or running:
        while waiting and len(running) < at_once:
            block, attempt = waiting.popleft()
            try:
                running[executor.submit(work, job, block, attempt)] = block, attempt
            except (RuntimeError, futures.BrokenExecutor) as broken:  # takes no tasks any more
                missing += [block] + [b for b, _ in waiting]
                waiting.clear()
                error = error or broken
        finished, _ = futures.wait(running, return_when=futures.FIRST_COMPLETED)
        for future in finished:
            block, attempt = running.pop(future)
            try:
                pixels = future.result()
            except futures.CancelledError as cancelled:
                missing.append(block)
                error = error or cancelled
            except Exception as failed:
                error = failed
                if attempt < TRIES:
                    waiting.append((block, attempt + 1))
                else:
                    missing.append(block)
            else:
                if pixels is not None:
                    target.write(block[1], block[0], pixels)
                notes.note(block)
                bar.add(block[2] * block[3])
    return sorted(missing), error
