"""Whole files: imwrite and imread in every pixel mode and several orders, against the C API."""
import numpy
import pytest

import lumarix
from conftest import MODES, write_big_endian

def sample(shape, dtype):
    """Values that fill the type's range, with the imaginary part different from the real one."""
    rng = numpy.random.default_rng(len(shape))
    if numpy.dtype(dtype).kind in "iu":
        return rng.integers(numpy.iinfo(dtype).min, numpy.iinfo(dtype).max, shape, endpoint=True).astype(dtype)
    values = rng.normal(0, 1e3, shape)
    return (values + 1j * rng.normal(0, 1e3, shape) if dtype == numpy.complex64 else values).astype(dtype)


# axes of the array, its shape, the sequence asked for, the axes the file then has
LAYOUTS = [
    ("ZYX", (3, 4, 5), None, "TWZYX"),
    ("TWZYX", (2, 3, 4, 5, 6), None, "TWZYX"),
    ("ZWYX", (2, 3, 4, 5), None, "TZWYX"),
    ("ZTYX", (3, 2, 4, 5), None, "ZTWYX"),
    ("PZYX", (2, 3, 4, 5), None, "PTWZYX"),
    ("TWZYX", (2, 3, 4, 5, 6), 1, "TZWYX"),
    ("PZYX", (1, 3, 4, 5), 13, "ZWTYX"),
]


@pytest.mark.parametrize("dtype", list(MODES))
@pytest.mark.parametrize("array_axes, shape, sequence, file_axes", LAYOUTS)
def test_round_trip_keeps_pixels_in_the_files_own_order(tmp_path, c_api_read, dtype, array_axes, shape,
                                                       sequence, file_axes):
    a = sample(shape, dtype)
    path = tmp_path / "a.img"
    lumarix.imwrite(path, a, axes=array_axes, sequence=sequence)
    b = lumarix.imread(path)
    assert lumarix.axes(path) == file_axes and b.dtype == dtype
    kept = "".join(x for x in array_axes if x in file_axes)
    numpy.testing.assert_array_equal(numpy.einsum(f"{file_axes}->{kept}", b).reshape(shape), a)
    assert b.tobytes() == c_api_read(path) and (lumarix.imread(path, mmap=True) == b).all()
    with lumarix.ImageFile(path) as f:  # each section where the library's own numbering puts it
        for index in numpy.ndindex(shape[:-2]):
            where = {x.lower(): i for x, i in zip(array_axes, index)}
            numpy.testing.assert_array_equal(f.read_section(**where), a[index])


@pytest.mark.parametrize("dtype", list(MODES))
def test_float32_reads_convert_through_the_library(tmp_path, c_api_read, dtype):
    a = sample((2, 3, 4), dtype)
    lumarix.imwrite(tmp_path / "a.img", a)
    b = lumarix.imread(tmp_path / "a.img", dtype=numpy.float32)[0, 0]
    expected = numpy.abs(a) if dtype == numpy.complex64 else a
    numpy.testing.assert_allclose(b, expected.astype(numpy.float32), rtol=1e-6)
    if dtype != numpy.float64:  # the library hands 8-byte floats back unconverted
        assert b.tobytes() == c_api_read(tmp_path / "a.img", convert=True)


@pytest.mark.parametrize("dtype", [d for d in MODES if d != numpy.float64])
def test_a_file_of_the_other_byte_order_reads_swapped_and_refuses_a_memory_map(tmp_path, dtype):
    a = sample((2, 3, 1, 4, 5), dtype)
    write_big_endian(tmp_path / "be.img", a)
    numpy.testing.assert_array_equal(lumarix.imread(tmp_path / "be.img"), a)
    with lumarix.ImageFile(tmp_path / "be.img") as f:
        assert f.swapped and f.pixel_size == (0.5, 0.5, 2.0) and f.wavelengths == (525.0, 0.0, 0.0)
        assert f.header["rotation"] == (1.5, 2.5, 3.5) and f.origin == (8.0, 9.0, 7.0)
    with pytest.raises(lumarix.ImageError, match="other byte order") as e:
        lumarix.imread(tmp_path / "be.img", mmap=True)
    assert e.value.status == 906


def test_memory_map_is_read_only_and_shares_the_files_pages(tmp_path):
    lumarix.imwrite(tmp_path / "a.img", numpy.zeros((2, 3, 4, 5, 6), numpy.uint16), axes="TWZYX")
    m = lumarix.imread(tmp_path / "a.img", mmap=True)
    with pytest.raises(ValueError):
        m[0, 0, 0, 0, 0] = 1
    with lumarix.ImageFile(tmp_path / "a.img", "r+") as f:
        f.write_section(numpy.full((5, 6), 7, numpy.uint16), z=3, w=2, t=1)
    assert (m[1, 2, 3] == 7).all()


@pytest.mark.parametrize("dtype", [numpy.int64, numpy.float16, numpy.complex128, bool, object])
def test_imwrite_refuses_pixels_without_a_mode(tmp_path, dtype):
    with pytest.raises(TypeError, match="no pixel mode stores .* use one of uint8, int16"):
        lumarix.imwrite(tmp_path / "a.img", numpy.zeros((2, 3), dtype), axes="YX")
    assert not (tmp_path / "a.img").exists()


@pytest.mark.parametrize("name", ["12", "rdb:stack"])
def test_bare_names_are_files_not_windows_or_the_database(tmp_path, monkeypatch, name):
    monkeypatch.chdir(tmp_path)
    lumarix.imwrite(name, numpy.ones((2, 3, 4), numpy.int16))
    assert (lumarix.imread(name) == 1).all()
