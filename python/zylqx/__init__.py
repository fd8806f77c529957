"""zylqx: image processing on numpy arrays with exact integer results.

Arrays are (rows, columns) or (rows, columns, channels) of uint8, int8, uint16, int16 or
int32; bool arrays are 1-bit pictures. Image carries what arrays cannot say: a region, a
channel, borders. open() takes pictures of any size, which are computed window by window.

>>> zx.median_filter(np.array([[1, 1, 1], [1, 9, 1], [1, 1, 1]], "uint8"), border="replicate").tolist()
[[1, 1, 1], [1, 1, 1], [1, 1, 1]]
"""
import importlib

from zylqx import _core
from zylqx._bitmap import convert_from_dib, convert_to_dib, translate_dib
from zylqx._error import Error
from zylqx._image import Image
from zylqx._save import SaveError
from zylqx._values import Kernel, Table, Twist
from zylqx.picture import Picture, open
from zylqx.operations import *
from zylqx import operations

__version__ = _core.version()
__all__ = ["Error", "Image", "Kernel", "Picture", "SaveError", "Table", "Twist", "convert_from_dib",
           "convert_to_dib", "open", "translate_dib"] + operations.__all__


def __getattr__(name):
    if name == "dask":  # needs dask, which nothing else here does
        return importlib.import_module("zylqx.dask")
    raise AttributeError(f"module 'zylqx' has no attribute '{name}'")
