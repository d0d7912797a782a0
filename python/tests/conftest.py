"""Helpers of the package's tests: the C API read through ctypes, and files built byte by byte."""
import ctypes
import os
import struct

import numpy
import pytest

MODES = {numpy.uint8: 0, numpy.int16: 1, numpy.float32: 2, numpy.complex64: 4, numpy.uint16: 6,
         numpy.int32: 7, numpy.float64: 8}


@pytest.fixture(scope="session")
def c_api_read():
    """Every section of a file as raw bytes, read by IMRdSec of the C library on stream 1."""
    lib = ctypes.CDLL(os.environ["LX_LIBLXIM"])

    def read(path, convert=False):
        assert lib.IMOpen(1, str(path).encode(), b"ro") == 0
        v = (ctypes.c_int * 4)()  # nx, ny, sections, bytes per pixel
        lib.IMRtSiz(1, ctypes.byref(v, 0), ctypes.byref(v, 4), ctypes.byref(v, 8))
        lib.IMRtBytesPerPixel(1, ctypes.byref(v, 12))
        lib.IMALCon(1, int(convert))
        size, buffer = v[0] * v[1] * (4 if convert else v[3]), ctypes.create_string_buffer(8 * v[0] * v[1])
        sections = [buffer.raw[:size] for _ in range(v[2]) if lib.IMRdSec(1, buffer) == 0]
        lib.IMClose(1)
        return b"".join(sections)
    return read


def write_big_endian(path, array, sequence=2, pixel_size=(0.5, 0.5, 2.0), wave=525):
    """An ordinary-layout file in big-endian order, written without the library: array axes
    are (T, W, Z, Y, X) for sequence ZWTP."""
    nt, nw, nz, ny, nx = array.shape
    header = bytearray(1024)
    struct.pack_into(">4i", header, 0, nx, ny, nz * nw * nt, MODES[array.dtype.type])
    struct.pack_into(">3i3f", header, 28, 1, 1, 1, *pixel_size)
    struct.pack_into(">h", header, 96, -16224)
    # NT, sequence, rotation angles, NW, the first wavelength, origin Z, X, Y
    struct.pack_into(">Hh3fHH8x3f", header, 180, nt, sequence, 1.5, 2.5, 3.5, nw, wave, 7.0, 8.0, 9.0)
    with open(path, "wb") as f:
        f.write(header)
        f.write(array.astype(array.dtype.newbyteorder(">")).tobytes())
