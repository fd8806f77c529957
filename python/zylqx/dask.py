"""Operations on dask arrays."""
import uuid

import dask.array
import numpy as np

from zylqx.picture import open as open_picture

CHUNK = 1024


def apply(function, array, *arguments, chunks=(CHUNK, CHUNK), tile=(512, 512), **keywords):
    """A dask array of what a function of zylqx makes of `array`.

    Each chunk is computed by itself and pulls the pixels of `array` that it needs.

    function: one of this package, such as zylqx.median_filter, or any other of a Picture
    array: a dask array, or what zylqx.open() takes
    chunks: (rows, columns) of the result's chunks
    """
    picture = function(open_picture(array, tile=tile), *arguments, **keywords)
    chunks = tuple(chunks) + picture.shape[2:]
    return dask.array.from_array(picture, chunks, name=f"zylqx-{uuid.uuid4().hex}", fancy=False,
                                 meta=np.empty((0,) * picture.ndim, picture.dtype))
