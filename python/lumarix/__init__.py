"""Lumarix image files in numpy: imread, imwrite and ImageFile over the image stream library.

    import lumarix
    stack = lumarix.imread("cells.img")          # axes lumarix.axes("cells.img"), e.g. "TWZYX"
    lumarix.imwrite("copy.img", stack, axes="TWZYX", pixel_size=(0.1, 0.1, 0.3))
"""
import numpy

from lumarix._error import ImageError
from lumarix import _layout
from lumarix.image_file import ImageFile

__all__ = ["ImageError", "ImageFile", "axes", "imread", "imwrite"]


def axes(path):
    """The axes of the array imread returns, slowest first, e.g. "TWZYX"."""
    with ImageFile(path) as f:
        return f.axes


def imread(path, dtype=None, mmap=False):
    """The whole file as an array with axes `axes(path)`, singleton axes kept. dtype None keeps
    the pixel mode; numpy.float32 converts through the library. mmap=True returns a read-only
    memory map of a native-order file instead of reading it."""
    with ImageFile(path) as f:
        if not mmap:
            return f.read(dtype)
        if dtype is not None and numpy.dtype(dtype) != f.dtype:
            raise ValueError(f"a memory map shows the file's own {f.dtype.name} pixels; leave dtype None")
        return f.memmap()


def imwrite(path, array, axes="ZYX", pixel_size=None, wavelengths=None, titles=None, sequence=None):
    """Writes an array as a new image file. axes names the array's dimensions (Z, W, T, P at most
    once each, then YX); the file stores them in that order when an image sequence allows it
    (else in `sequence`, ZWTP by default). Pixels of uint8, int16, float32, complex64, uint16,
    int32 or float64; any other dtype raises TypeError."""
    array = numpy.asarray(array)
    axes = _layout.check_axes(axes, array.ndim)
    _layout.mode_of(array.dtype)
    with ImageFile(path, "w", shape=array.shape, dtype=array.dtype, axes=axes, sequence=sequence,
                   pixel_size=pixel_size, wavelengths=wavelengths, titles=titles) as f:
        f.write(array, axes)
