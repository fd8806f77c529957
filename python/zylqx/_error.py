"""What the library reports, as an exception."""

STATUSES = {
    -2: "the operation failed",
    -3: "the operation failed inside",
    -4: "there is not enough memory",
    -5: "an argument does not fit",
    -6: "the function does not fit",
    -7: "there is no result",
}
# Reports whose text says little, or says it in C; the first one that is found counts.
SENTENCES = (
    ("interpolate != ", "the interpolation is unknown"),
    ("xU < xL || yU < yL", "the factors make the picture smaller; use decimate"),
    ("xU > xL", "the horizontal factor makes the picture larger; use zoom"),
    ("yU > yL", "the vertical factor makes the picture larger; use zoom"),
    ("xU <= 0", "the horizontal factor is not above 0"),
    ("yU <= 0", "the vertical factor is not above 0"),
    ("anchorX", "the anchor's column lies outside the box or kernel"),
    ("anchorY", "the anchor's row lies outside the box or kernel"),
    ("nRows", "the box has no rows or no columns"),
    ("depth", "the types of the arrays do not go together, or the operation does not take them"),
    ("incomatibleimages", "the colour models, channels or types of the arrays do not go together"),
    ("errDither", "this dither does not go with the type of the result"),
    ("alphaChannel", "the alpha channel is missing or not the last one"),
    ("nCh", "the numbers of channels do not go together"),
    ("Images are not compatible", "the sizes, channels or regions of the arrays do not go together"),
    ("No calculations", "the region has one pixel or none"),
    ("Error in input data", "the flags contradict each other, or the arrays do not go together"),
    ("lut[", "the table's bounds decrease or lie outside the range of the samples"),
    ("All values in histogram are zeroes", "the tables hold no counts; use compute_histo first"),
)


class Error(Exception):
    """A report of the library.

    status: its code, negative
    function: the function of the C interface
    text: the library's own text, often the condition that failed
    """

    __module__ = "zylqx"

    def __init__(self, status, function, text):
        super().__init__(status, function, text)
        self.status, self.function, self.text = status, function, text

    def __str__(self):
        sentence = next((s for part, s in SENTENCES if part in self.text),
                        STATUSES.get(self.status, "the operation failed"))
        return f'{self.function}: {sentence} (status {self.status}, "{self.text}")'
