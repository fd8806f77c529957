"""Arguments that are no arrays: kernels, tables, twists and numbers."""
import functools
import operator

import numpy as np


def _integers(values, name, low, high, dtype):
    """An array of integers of this type; a message of our own when one does not fit."""
    array = np.asarray(values)
    if array.dtype.kind not in "iub":
        raise TypeError(f"{name}: whole numbers are needed, not {array.dtype}")
    if array.size and (array.min() < low or array.max() > high):
        raise ValueError(f"{name}: {low} to {high} is allowed, not {array.min()} to {array.max()}")
    return np.ascontiguousarray(array, dtype)


class Kernel:
    """Coefficients of a convolution.

    values: rows of whole numbers from -128 to 127, or one row
    shift: sums are shifted right by so many bits
    anchor: (column, row) of the coefficient that lies on the pixel; the middle if left out
    """

    def __init__(self, values, shift=0, anchor=None):
        values = _integers(values, "kernel", -128, 127, np.int8)
        if values.ndim == 1:
            values = values[np.newaxis]
        if values.ndim != 2 or values.size == 0:
            raise ValueError(f"kernel: rows of coefficients are needed, not {values.ndim} dimensions")
        rows, columns = values.shape
        x, y = (columns // 2, rows // 2) if anchor is None else anchor
        if not (0 <= x < columns and 0 <= y < rows):
            raise ValueError(f"anchor: ({x}, {y}) lies outside {columns} x {rows} coefficients")
        self.values, self.shift, self.anchor = values, operator.index(shift), (x, y)

    def __repr__(self):
        return f"Kernel({self.values.tolist()}, shift={self.shift}, anchor={self.anchor})"

    @property
    def packed(self):
        return *self.values.shape, *self.anchor, self.shift, self.values


class Twist:
    """A matrix that mixes three channels: rows of three factors and a constant, in units
    of 1 / 2 ** scale."""

    def __init__(self, data, scale=0):
        data = _integers(data, "twist", -2**31, 2**31 - 1, np.int32).ravel()
        if data.size not in (12, 16):
            raise ValueError(f"twist: three or four rows of four numbers are needed, not {data.size} numbers")
        self.data = np.zeros(16, np.int32)
        self.data[:data.size] = data
        self.scale = operator.index(scale)

    @classmethod
    def from_floats(cls, matrix, scale=16):
        """The nearest twist to a matrix of fractions."""
        return cls(np.rint(np.asarray(matrix, float) * 2.0**scale).astype(np.int64), scale)

    def __repr__(self):
        return f"Twist({self.data.reshape(4, 4).tolist()}, scale={self.scale})"

    @property
    def packed(self):
        return self.data, self.scale


@functools.cache
def _numbers_to(count):
    return np.arange(count + 1, dtype=np.int32)


class Table:
    """A function of a sample given by intervals: key[i] <= sample < key[i + 1] is interval i.

    key: bounds that do not decrease
    value: of each interval, its value or count; one more or as many as there are intervals
    factor: with `interpolate`, the slopes within the intervals
    """

    def __init__(self, key, value=None, factor=None, interpolate=None):
        self.key = _integers(key, "key", -2**31, 2**31 - 1, np.int32).ravel()
        if self.key.size < 2:
            raise ValueError("key: two bounds or more are needed")
        self.value = self._one_each(value, "value")
        self.factor = None if factor is None else self._one_each(factor, "factor")
        self.interpolate = int(bool(interpolate)) if interpolate is not None else int(factor is not None)
        if self.interpolate and factor is None:
            raise ValueError("factor: slopes are needed to interpolate")

    @classmethod
    def of_values(cls, count):
        """A table with an interval for each of the values 0 to count - 1."""
        table = cls.__new__(cls)
        table.key = _numbers_to(count)
        table.value = np.zeros(count + 1, np.int32)
        table.factor, table.interpolate = None, 0
        return table

    def _one_each(self, values, name):
        table = np.zeros(self.key.size, np.int32)
        if values is not None:
            values = _integers(values, name, -2**31, 2**31 - 1, np.int32).ravel()
            if values.size not in (table.size, table.size - 1):
                raise ValueError(f"{name}: {table.size - 1} numbers are needed, one for each interval, "
                                 f"not {values.size}")
            table[:values.size] = values
        return table

    def __repr__(self):
        return f"Table({self.key.size - 1} intervals from {self.key[0]} to {self.key[-1]})"

    @property
    def counts(self):
        """The values of the intervals."""
        return self.value[:-1]

    @property
    def packed(self):
        return self.key, self.value, self.factor, self.interpolate

    def copy(self):
        """Another table; what a call writes into one does not change the other."""
        table = Table.__new__(Table)
        table.key, table.value, table.factor = self.key, self.value.copy(), self.factor
        table.interpolate = self.interpolate
        return table


def kernel(value, name):
    return value if isinstance(value, Kernel) else Kernel(value)


def kernels(value, name):
    """One kernel or several; an array of two dimensions or rows of numbers is one."""
    if isinstance(value, Kernel):
        return (value,)
    if isinstance(value, (list, tuple)) and value and all(
            isinstance(v, Kernel) or np.ndim(v) == 2 for v in value):
        return tuple(kernel(v, name) for v in value)
    return (kernel(value, name),)


def twist(value, name):
    if isinstance(value, Twist):
        return value
    values = np.asarray(value)
    return Twist.from_floats(values) if values.dtype.kind == "f" else Twist(values)


def number(low, high):
    """A check for whole numbers in a range; a bound that is not known is None."""
    def check(value, name):
        try:
            value = operator.index(value)
        except TypeError:
            raise TypeError(f"{name}: a whole number is needed, not {type(value).__name__}") from None
        if not low <= value <= high:
            raise ValueError(f"{name}: {low} to {high} is allowed, not {value}")
        return value
    return check


def fraction(value, name):
    try:
        return float(value)
    except (TypeError, ValueError):
        raise TypeError(f"{name}: a number is needed, not {type(value).__name__}") from None


def truth(value, name):
    return int(bool(value))


def choice(choices):
    """A check for one of several words, or its number."""
    numbers = {c["word"]: c["value"] for c in choices}
    known = set(numbers.values())

    def check(value, name):
        if isinstance(value, str):
            if value not in numbers:
                raise ValueError(f'{name}: "{value}" is none of {", ".join(numbers)}')
            return numbers[value]
        try:
            value = operator.index(value)
        except TypeError:
            raise TypeError(f"{name}: a word or a number is needed, not {type(value).__name__}") from None
        if value not in known:
            raise ValueError(f"{name}: {value} is none of {', '.join(map(str, known))}")
        return value
    return check


def flags(choices):
    """A check for words joined by |, a sequence of words, or their number. The library does
    nothing, and says nothing, without one direction."""
    one = choice(choices)
    known = sum(c["value"] for c in choices)
    forward, inverse, release = (one(word, "") for word in ("forward", "inverse", "release"))

    def directed(value, name):
        if not value & release and bool(value & forward) == bool(value & inverse):
            raise ValueError(f'{name}: either "forward" or "inverse" is needed')
        return value

    def check(value, name):
        if isinstance(value, str):
            value = value.split("|")
        if isinstance(value, (list, tuple, set, frozenset)):
            total = 0
            for word in value:
                total |= one(word, name)
            return directed(total, name)
        value = number(0, 2**31 - 1)(value, name)
        if value & ~known:
            raise ValueError(f"{name}: {value} has other bits than those of {', '.join(c['word'] for c in choices)}")
        return directed(value, name)
    return check


BORDERS = {"constant": 0, "replicate": 1, "mirror": 2, "wrap": 3}


def borders(value):
    """(modes, constants) of top, bottom, left and right."""
    if value is None:
        return None
    sides = value if isinstance(value, (list, tuple)) else (value,) * 4
    if len(sides) != 4:
        raise ValueError(f"border: one is needed, or one each for top, bottom, left and right, not {len(sides)}")
    modes, constants = [], []
    for side in sides:
        if isinstance(side, str):
            if side not in BORDERS:
                raise ValueError(f'border: "{side}" is none of {", ".join(BORDERS)}')
            modes.append(BORDERS[side])
            constants.append(0)
        else:
            modes.append(0)
            constants.append(number(-2**31, 2**31 - 1)(side, "border"))
    return tuple(modes), tuple(constants)
