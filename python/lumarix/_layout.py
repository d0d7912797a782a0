"""Pixel modes as numpy dtypes, and array axes as the file's section order."""
import numpy

from lumarix import _im
from lumarix._im import sequence_name

DTYPES = {_im.IM_PIXEL_BYTE: numpy.uint8, _im.IM_PIXEL_INT16: numpy.int16, _im.IM_PIXEL_FLOAT: numpy.float32,
          _im.IM_PIXEL_COMPLEX_FLOAT: numpy.complex64, _im.IM_PIXEL_UINT16: numpy.uint16,
          _im.IM_PIXEL_INT32: numpy.int32, _im.IM_PIXEL_DOUBLE: numpy.float64}
MODES = {numpy.dtype(t): mode for mode, t in DTYPES.items()}
SECTION_LETTERS = "ZWTP"


def mode_of(dtype):
    """Pixel mode of a dtype in either byte order; TypeError for a dtype without one."""
    native = numpy.dtype(dtype).newbyteorder("=")
    if native not in MODES:
        names = ", ".join(numpy.dtype(t).name for t in DTYPES.values())
        raise TypeError(f"no pixel mode stores {numpy.dtype(dtype).name} pixels; use one of {names}")
    return MODES[native]


def file_axes(sequence, panels):
    """Axes of a whole file, slowest first: the sequence's letters reversed, then Y and X.
    The panel axis P is left out for files of one panel (the common case)."""
    order = sequence_name(sequence)[::-1]
    return (order if panels > 1 else order.replace("P", "")) + "YX"


def check_axes(axes, ndim):
    """Upper-cased axes of an array with ndim dimensions; ValueError when they do not fit."""
    axes = axes.upper()
    rest = axes[:-2]
    if (len(axes) != ndim or not axes.endswith("YX") or len(set(rest)) != len(rest)
            or not set(rest) <= set(SECTION_LETTERS)):
        raise ValueError(f"axes {axes!r} do not describe a {ndim}-dimensional image: give one letter "
                         "per dimension, each of Z, W, T, P at most once, ending in YX")
    return axes


def sequence_for(axes):
    """The sequence code that stores an array with these axes in its own order, ZWTP when
    several do; None when none does."""
    wanted = [a for a in axes[:-2]]
    for code in [2] + list(range(15)):
        order = [a for a in sequence_name(code)[::-1] if a in wanted]
        if order == wanted:
            return code
    return None


def arrange(array, src, dst):
    """A view of `array` (axes `src`) with axes `dst`: axes moved, axes only in `dst` added with
    size 1, axes only in `src` (size 1 required) dropped."""
    for i, a in enumerate(src):
        if a not in dst and array.shape[i] != 1:
            raise ValueError(f"axis {a} of size {array.shape[i]} has no place in a file of axes {dst}")
    array = array[tuple(slice(None) if a in dst else 0 for a in src)]
    src = [a for a in src if a in dst]
    kept = [a for a in dst if a in src]
    array = array.transpose([src.index(a) for a in kept])
    return array.reshape([array.shape[kept.index(a)] if a in kept else 1 for a in dst])
