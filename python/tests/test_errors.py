"""Failures: hostile files raise ImageError with the library's status, misuse raises at once."""
import gc
import os
import struct

import numpy
import pytest

import lumarix


@pytest.fixture
def good(tmp_path):
    path = tmp_path / "good.img"
    lumarix.imwrite(path, numpy.arange(2 * 3 * 4 * 5, dtype=numpy.int16).reshape(2, 3, 4, 5), axes="WZYX")
    return path


# what is changed in a good file: (offset, struct format, value) or a length to cut it to
HOSTILE = [
    ("header cut short", 100, 207),
    ("last pixel missing", -1, 212),
    ("negative columns", (0, "<i", -5), 207),
    ("a billion columns", (0, "<i", 2 ** 30), 212),
    ("pixel mode 5", (12, "<i", 5), 503),
    ("complex int16 pixels", (12, "<i", 3), 905),
    ("extended header past the end", (92, "<i", 2 ** 31 - 1), 210),
    ("negative extended header", (92, "<i", -4096), 210),
    ("image sequence 40", (182, "<h", 40), 505),
    ("time points beyond the sections", (180, "<H", 65535), 2),
    ("32767 integers per section", (128, "<h", 32767), 704),
    ("negative floats per section", (130, "<h", -1), 702),
]


@pytest.mark.parametrize("case, change, status", HOSTILE, ids=[c[0] for c in HOSTILE])
@pytest.mark.parametrize("read", [lumarix.imread, lambda p: lumarix.imread(p, mmap=True),
                                  lambda p: (lambda f: (f.section_ints, f.read()))(lumarix.ImageFile(p))],
                         ids=["read", "mmap", "file"])
def test_hostile_headers_raise_the_status_that_names_them(good, case, change, status, read):
    data = bytearray(good.read_bytes())
    if isinstance(change, tuple):
        struct.pack_into(change[1], data, change[0], change[2])
    else:
        data = data[:change]
    good.write_bytes(data)
    descriptors = len(os.listdir("/proc/self/fd"))
    try:
        read(good)
    except lumarix.ImageError as e:
        assert e.status == status and e.text == lumarix._im.status_text(status)
    else:
        assert status in (702, 704), "only the extended header's values can tell of these counts"
    gc.collect()
    assert len(os.listdir("/proc/self/fd")) == descriptors


@pytest.mark.parametrize("seed", range(40))
def test_random_headers_raise_image_error_or_read(tmp_path, seed):
    rng = numpy.random.default_rng(seed)
    header = bytearray(rng.integers(0, 256, 1024 + seed * 197, dtype=numpy.uint8).tobytes())
    # small sizes, a valid mode and sequence: the reads get as far as the pixels
    struct.pack_into("<4i", header, 0, *rng.integers(1, 9, 3), rng.choice([0, 1, 2, 4, 6, 7, 8]))
    struct.pack_into("<i", header, 92, rng.integers(0, 512))
    nt, sequence, nw = rng.integers(0, 3), rng.integers(0, 15), rng.integers(0, 3)
    struct.pack_into("<HhxxxxxxxxxxxxH", header, 180, nt, sequence, nw)
    struct.pack_into("<h", header, 96, -16224 if seed % 2 else 0)
    (tmp_path / "r.img").write_bytes(header)
    for read in (lumarix.imread, lambda p: lumarix.ImageFile(p).fields):
        try:
            read(tmp_path / "r.img")
        except lumarix.ImageError:
            pass  # any other exception, or a crash, fails


MISUSE = [
    (lambda p: lumarix.imread(p, dtype=numpy.int32), ValueError, "None or float32"),
    (lambda p: lumarix.imread(p, dtype=numpy.float32, mmap=True), ValueError, "leave dtype None"),
    (lambda p: lumarix.imread(p.parent / "missing.img"), lumarix.ImageError, "missing.img: Unable to find"),
    (lambda p: lumarix.ImageFile(p).write_section(numpy.zeros((4, 5), numpy.int16)), lumarix.ImageError,
     "read-only"),
    (lambda p: lumarix.ImageFile(p, "r+").read_section(z=3), lumarix.ImageError, "Invalid ZWTP coordinate"),
    (lambda p: lumarix.imwrite(p, numpy.zeros((2, 3)), axes="ZX"), ValueError, "ending in YX"),
    (lambda p: lumarix.imwrite(p, numpy.zeros((2, 3, 4)), axes="ZYX", wavelengths=(1, 2)), ValueError,
     "has 1 wavelengths, not 2"),
]


@pytest.mark.parametrize("call, error, message", MISUSE)
def test_misuse_raises_with_a_message_that_says_why(good, call, error, message):
    with pytest.raises(error, match=message):
        call(good)


@pytest.mark.parametrize("name, value", [("titles", "x"), ("pixel_size", (1, 1, 1)), ("wavelengths", (1, 2)),
                                         ("section_ints", numpy.zeros((1, 2, 3, 8))), ("set_field", None)])
def test_a_read_only_file_refuses_header_changes(good, name, value):
    with lumarix.ImageFile(good) as f, pytest.raises(lumarix.ImageError, match="read-only"):
        f.set_field("Gain", 2) if value is None else setattr(f, name, value)
