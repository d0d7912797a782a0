"""ImageFile: one open image file, its header, sections and extended header."""
import os

import numpy

from lumarix import _im, _layout
from lumarix._error import ImageError

_ATTRIBUTES = {"r": "ro_unbuffered", "r+": "old_unbuffered", "w": "new_unbuffered"}
_FIELD_TYPES = {int: "i", float: "d", str: "c", bytes: "b"}


def text(raw):
    """Header text as str: UTF-8, with any other byte shown as U+FFFD."""
    return raw.decode("utf-8", "replace")


def _field_value(kind, raw):
    if kind == "b":
        return raw
    try:
        return {"i": int, "d": float, "f": float}.get(kind, str)(text(raw))
    except ValueError:  # a number field holding other text keeps its text
        return text(raw)


_HUGE_PAGE = 2 << 20


def _empty(shape, dtype):
    """numpy.empty, with large arrays starting on a huge page: the kernel then maps their memory
    in 2 MiB pages as the read first touches it, which is faster than the 4 KiB pages an
    unaligned start leaves at the edges."""
    size = int(numpy.prod(shape)) * numpy.dtype(dtype).itemsize
    if size < 2 * _HUGE_PAGE:
        return numpy.empty(shape, dtype)
    raw = numpy.empty(size + _HUGE_PAGE, numpy.uint8)
    start = -raw.ctypes.data % _HUGE_PAGE
    return raw[start:start + size].view(dtype).reshape(shape)


class ImageFile:
    """An image file opened with mode "r" (read-only), "r+" (read and write) or "w" (new file;
    give shape and dtype, and axes naming the shape's dimensions). Use it as a context manager;
    a stream left open is closed when the object is collected. A changed header is written
    when the file closes."""

    def __init__(self, path, mode="r", *, shape=None, dtype=None, axes="ZYX", sequence=None,
                 pixel_size=None, wavelengths=None, titles=None):
        if mode not in _ATTRIBUTES:
            raise ValueError(f"mode must be 'r', 'r+' or 'w', not {mode!r}")
        if mode == "w" and (shape is None or dtype is None):
            raise TypeError("a new image file needs shape and dtype")
        self.path = os.fspath(path)
        self.mode = mode
        self._stream = _im.Stream(self.path, _ATTRIBUTES[mode])
        try:
            if mode == "w":
                self._create(tuple(shape), dtype, _layout.check_axes(axes, len(shape)), sequence)
            self._refresh()
            if pixel_size is not None:
                self.pixel_size = pixel_size
            if wavelengths is not None:
                self.wavelengths = wavelengths
            if titles is not None:
                self.titles = titles
            if mode == "w":
                self._stream.write_header()
        except BaseException:
            self._stream.close()
            raise

    def _create(self, shape, dtype, axes, sequence):
        sizes = dict(zip(axes, shape))
        if sequence is None:
            sequence = _layout.sequence_for(axes)
        self._stream.create([sizes["X"], sizes["Y"]] + [sizes.get(a, 1) for a in "ZWTP"],
                            _im.IM_SEQ_ZWTP if sequence is None else sequence, _layout.mode_of(dtype))

    def _refresh(self):
        h = self._stream.header()
        h["titles"] = [text(t) for t in h["titles"]]
        if not _im.IM_SEQ_ZTWP <= h["sequence"] <= _im.IM_SEQ_TPWZ:
            raise ImageError(_im.IM_ERR_SEQUENCE, f"{self.path} has image sequence {h['sequence']}")
        if h["mode"] not in _layout.DTYPES:
            complex16 = h["mode"] == _im.IM_PIXEL_COMPLEX_INT16
            raise ImageError(_im.IM_ERR_COMPLEX16 if complex16 else _im.IM_ERR_PIXEL_MODE,
                             f"{self.path} has pixel mode {h['mode']}")
        if h["nz"] * h["nw"] * h["nt"] * h["np"] != h["sections"]:
            raise ImageError(_im.IM_ERR_FILE, f"{self.path} counts {h['sections']} sections, not Z x W x T x P = "
                             f"{h['nz']} x {h['nw']} x {h['nt']} x {h['np']}")
        if h["nx"] < 1 or h["ny"] < 1:
            raise ImageError(_im.IM_ERR_COLUMNS if h["nx"] < 1 else _im.IM_ERR_ROWS,
                             f"{self.path} has sections of {h['nx']} x {h['ny']} pixels")
        self._h = h
        self.axes = _layout.file_axes(h["sequence"], h["np"])
        sizes = {"Z": h["nz"], "W": h["nw"], "T": h["nt"], "P": h["np"], "Y": h["ny"], "X": h["nx"]}
        self.shape = tuple(sizes[a] for a in self.axes)
        self.dtype = numpy.dtype(_layout.DTYPES[h["mode"]])

    # ---- header -------------------------------------------------------------------------

    @property
    def header(self):
        """Every header value the library decodes, as a dict (a copy)."""
        return dict(self._h, axes=self.axes, shape=self.shape, dtype=self.dtype)

    sections = property(lambda self: int(numpy.prod(self.shape[:-2])), doc="Number of sections.")
    swapped = property(lambda self: self._h["swapped"], doc="True for a file in the other byte order.")
    sequence = property(lambda self: self._h["sequence"], doc="Image sequence code.")
    pixel_mode = property(lambda self: self._h["mode"], doc="The file's pixel mode.")
    origin = property(lambda self: self._h["origin"], doc="Origin X, Y, Z.")

    @property
    def pixel_size(self):
        """Pixel sizes X, Y, Z."""
        return self._h["pixel_size"]

    @pixel_size.setter
    def pixel_size(self, value):
        self._stream.set_pixel_size([float(v) for v in value])
        self._refresh()

    @property
    def wavelengths(self):
        """Wavelengths in nanometres, one per W index."""
        return tuple(w["nm"] for w in self._h["wavelengths"])

    @wavelengths.setter
    def wavelengths(self, value):
        value = [float(v) for v in value]
        if len(value) != self._h["nw"]:
            raise ValueError(f"{self.path} has {self._h['nw']} wavelengths, not {len(value)}")
        self._stream.set_wavelengths(value)
        self._refresh()

    @property
    def titles(self):
        """The titles (up to 80 characters each)."""
        return tuple(self._h["titles"])

    @titles.setter
    def titles(self, value):
        self._stream.set_titles([t.encode() for t in ([value] if isinstance(value, str) else value)])
        self._refresh()

    # ---- pixels -------------------------------------------------------------------------

    def _out_dtype(self, dtype):
        if dtype is None or numpy.dtype(dtype) == self.dtype:
            return self.dtype, False
        if numpy.dtype(dtype) == numpy.float32:
            return numpy.dtype(numpy.float32), True
        raise ValueError(f"dtype must be None or float32 (the library's conversion), not "
                         f"{numpy.dtype(dtype).name}; convert the result with astype")

    def _check_size(self):
        want = self._h["data_offset"] + self.sections * self._h["nx"] * self._h["ny"] * self.dtype.itemsize
        have = os.path.getsize(self.path)
        if have < want:
            raise ImageError(_im.IM_ERR_SHORT_READ, f"{self.path} holds {have} bytes, its header promises {want}")

    def _read(self, first, count, shape, dtype):
        out, convert = self._out_dtype(dtype)
        if convert and self._h["mode"] == _im.IM_PIXEL_DOUBLE:  # the library leaves 8-byte floats as they are
            return self._read(first, count, shape, None).astype(numpy.float32)
        array = _empty(shape, out)
        self._stream.read(first, count, array, convert)
        return array

    def read(self, dtype=None):
        """The whole file as an array of shape `shape` (axes `axes`)."""
        self._check_size()
        return self._read(0, self.sections, self.shape, dtype)

    def memmap(self):
        """The whole file as a read-only memory map (native byte order only)."""
        if self.swapped:
            raise ImageError(_im.IM_ERR_SWAPPED_FILE, f"{self.path} was written in the other byte order: mapped pixels "
                             "would appear byte-reversed; read it with mmap=False, which swaps them")
        self._check_size()
        return numpy.memmap(self.path, self.dtype, "r", self._h["data_offset"], self.shape)

    def section_number(self, z=0, w=0, t=0, p=0):
        return self._stream.section_number(z, w, t, p)

    def read_section(self, z=0, w=0, t=0, p=0, dtype=None):
        """One section as a (Y, X) array."""
        return self._read(self.section_number(z, w, t, p), 1, self.shape[-2:], dtype)

    def __iter__(self):
        """The sections in file order."""
        for s in range(self.sections):
            yield self._read(s, 1, self.shape[-2:], None)

    def _write(self, first, count, array):
        array = numpy.asarray(array)
        integers = self.dtype.kind in "iu"  # the library narrows float32 only to integer modes
        convert = array.dtype == numpy.float32 and integers
        if not convert:
            _layout.mode_of(array.dtype)
            if array.dtype.newbyteorder("=") != self.dtype:
                hint = ", or float32 to convert through the library" if integers else ""
                raise TypeError(f"{self.path} holds {self.dtype.name} pixels, not {array.dtype.name}; "
                                f"give those{hint}")
        array = numpy.ascontiguousarray(array, array.dtype.newbyteorder("="))
        self._stream.write(first, count, array, convert)

    def write_section(self, array, z=0, w=0, t=0, p=0):
        """Writes one (Y, X) section: pixels of the file's dtype, or float32 that the library
        converts (clamped to the pixel type's range)."""
        self._write(self.section_number(z, w, t, p), 1, array)

    def write(self, array, axes=None):
        """Writes every section from an array of the file's shape (or of `axes`, rearranged to
        the file's), and records each wavelength's minimum, maximum and mean."""
        array = numpy.asarray(array)
        if axes is not None:
            array = _layout.arrange(array, _layout.check_axes(axes, array.ndim), self.axes)
        if array.shape != self.shape:
            raise ValueError(f"{self.path} holds an array of shape {self.shape}, not {array.shape}")
        self._write(0, self.sections, array)
        self._record_statistics(array)

    def _record_statistics(self, array):
        if array.size == 0:
            return
        values = numpy.abs(array) if numpy.iscomplexobj(array) else array
        w_axis = self.axes.index("W")
        for w in range(self.shape[w_axis]):
            plane = numpy.take(values, w, axis=w_axis)
            self._stream.set_statistics(w, float(plane.min()), float(plane.max()),
                                        float(plane.mean(dtype=numpy.float64)))
        self._refresh()

    # ---- extended header ----------------------------------------------------------------

    def _section_values(self, which):
        values = self._stream.section_values()[which][:self.sections]
        return values.reshape(self.shape[:-2] + values.shape[-1:])

    @property
    def section_ints(self):
        """Each section's integers from the extended header, shape `shape[:-2] + (count,)`."""
        return self._section_values(0)

    @section_ints.setter
    def section_ints(self, value):
        self._stream.set_section_values(value, self._stream.section_values()[1])

    @property
    def section_floats(self):
        """Each section's floats from the extended header, shape `shape[:-2] + (count,)`."""
        return self._section_values(1)

    @section_floats.setter
    def section_floats(self, value):
        self._stream.set_section_values(self._stream.section_values()[0], value)

    @property
    def fields(self):
        """The extended header's named fields: int, float, str or bytes by their type."""
        return {text(name): _field_value(kind, raw) for name, kind, raw in self._stream.fields()}

    def set_field(self, name, value):
        """Stores a named field typed by the value: int, float, str or bytes."""
        kind = _FIELD_TYPES.get(type(value))
        if kind is None:
            raise TypeError(f"field {name} takes int, float, str or bytes, not {type(value).__name__}")
        self._stream.set_field(name, kind, value.encode() if kind == "c" else value)

    # ---- life ---------------------------------------------------------------------------

    @property
    def closed(self):
        return self._stream.closed

    def close(self):
        """Writes a changed header and closes the stream; calling it again does nothing."""
        self._stream.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        state = "closed" if self.closed else f"{self.axes} {self.shape} {self.dtype.name}"
        return f"<lumarix.ImageFile {self.path!r} {self.mode} {state}>"
