"""Builds wheels and source distributions of this folder (PEP 517), with CMake and Python's
own library alone.

The wheel holds one shared object with the whole library in it and uses Python's stable
interface only, so it serves every Python from 3.11 on.
"""
import base64
import hashlib
import io
import os
import pathlib
import re
import subprocess
import sys
import sysconfig
import tarfile
import tempfile
import tomllib
import zipfile

HERE = pathlib.Path(__file__).resolve().parent
# Beside this folder in the repository, within it in a source distribution.
LIBRARY = HERE / "library" if (HERE / "library").exists() else HERE.parent
# What the library is built from.
LIBRARY_PARTS = ("CMakeLists.txt", "cmake", "include", "operations", "platform", "core", "arith",
                 "convert", "filter", "geometry", "stats", "transform")


def _project():
    with open(HERE / "pyproject.toml", "rb") as file:
        return tomllib.load(file)["project"]


def _version():
    text = (LIBRARY / "CMakeLists.txt").read_text(encoding="utf-8")
    return re.search(r"project\(zylqx VERSION ([0-9.]+)", text)[1]


def _name():
    return f"{_project()['name']}-{_version()}"


def _metadata():
    project = _project()
    lines = ["Metadata-Version: 2.1", f"Name: {project['name']}", f"Version: {_version()}",
             f"Summary: {project['description']}", f"Requires-Python: {project['requires-python']}"]
    lines += [f"Requires-Dist: {d}" for d in project["dependencies"]]
    lines += ["Description-Content-Type: text/markdown", ""]
    return "\n".join(lines) + "\n" + (HERE / project["readme"]).read_text(encoding="utf-8")


def _tag():
    return f"cp311-abi3-{sysconfig.get_platform().replace('-', '_').replace('.', '_')}"


def _build(target):
    """Builds what is compiled and what is made of the description into a folder. In the
    repository it is built in build/, so that the next time is quicker."""
    with tempfile.TemporaryDirectory() as scratch:
        in_repository = LIBRARY == HERE.parent and os.access(LIBRARY, os.W_OK)
        build = LIBRARY / "build" / "python" / "cmake" if in_repository else pathlib.Path(scratch)
        subprocess.run(["cmake", "-S", HERE, "-B", build, "-DCMAKE_BUILD_TYPE=Release",
                        f"-DPython3_EXECUTABLE={sys.executable}", "-DZYLQX_TESTS=OFF",
                        "-DZYLQX_TOOL=OFF", "-DZYLQX_WERROR=OFF"], check=True)
        subprocess.run(["cmake", "--build", build, "--target", "_core",
                        "--parallel", str(os.cpu_count() or 1)], check=True)
        subprocess.run(["cmake", "--install", build, "--prefix", target, "--component", "python"],
                       check=True)


def _record_line(name, data):
    digest = base64.urlsafe_b64encode(hashlib.sha256(data).digest()).rstrip(b"=").decode()
    return f"{name},sha256={digest},{len(data)}\n"


def _info():
    """The files that tell pip about the package: name -> bytes."""
    return {"METADATA": _metadata().encode(),
            "WHEEL": ("Wheel-Version: 1.0\nGenerator: zylqx\nRoot-Is-Purelib: false\n"
                      f"Tag: {_tag()}\n").encode()}


def prepare_metadata_for_build_wheel(metadata_directory, config_settings=None):
    folder = pathlib.Path(metadata_directory) / f"{_name()}.dist-info"
    folder.mkdir()
    for name, data in _info().items():
        (folder / name).write_bytes(data)
    return folder.name


def _write_wheel(path, files):
    """A wheel of these files: name -> bytes."""
    info = f"{_name()}.dist-info"
    files = files | {f"{info}/{name}": data for name, data in _info().items()}
    record = "".join(_record_line(name, data) for name, data in files.items())
    files[f"{info}/RECORD"] = (record + f"{info}/RECORD,,\n").encode()
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as wheel:
        for name, data in files.items():
            wheel.writestr(name, data)


def build_wheel(wheel_directory, config_settings=None, metadata_directory=None):
    with tempfile.TemporaryDirectory() as made:
        _build(made)
        found = sorted((HERE / "zylqx").glob("*.py")) + [HERE / "zylqx" / "py.typed"]
        found += sorted(p for p in pathlib.Path(made).iterdir() if p.is_file())
        files = {f"zylqx/{path.name}": path.read_bytes() for path in found}
    name = f"{_name()}-{_tag()}.whl"
    _write_wheel(pathlib.Path(wheel_directory) / name, files)
    return name


def build_sdist(sdist_directory, config_settings=None):
    name = _name()

    def wanted(entry):
        return None if re.search(r"/(__pycache__|build|\.[^/]*)(/|$)", entry.name) else entry

    with tarfile.open(pathlib.Path(sdist_directory) / f"{name}.tar.gz", "w:gz") as archive:
        for path in sorted(HERE.iterdir()):
            if path.name not in ("library", "build", "__pycache__"):
                archive.add(path, f"{name}/{path.name}", filter=wanted)
        for part in LIBRARY_PARTS:
            archive.add(LIBRARY / part, f"{name}/library/{part}", filter=wanted)
        data = _metadata().encode()
        entry = tarfile.TarInfo(f"{name}/PKG-INFO")
        entry.size = len(data)
        archive.addfile(entry, io.BytesIO(data))
    return f"{name}.tar.gz"
