"""ImageFile: header values, sections, the extended header, and the life of its stream."""
import gc
import os
import sys
import threading

import numpy
import pytest

import lumarix


@pytest.fixture
def stack(tmp_path):
    """A TWZYX int16 file of 2 x 3 x 4 sections of 5 x 6 pixels, with its header values set."""
    a = numpy.arange(2 * 3 * 4 * 5 * 6, dtype=numpy.int16).reshape(2, 3, 4, 5, 6)
    path = tmp_path / "stack.img"
    lumarix.imwrite(path, a, axes="TWZYX", pixel_size=(0.1, 0.1, 0.3), wavelengths=(450, 525, 610),
                    titles=["cells", "second title"])
    return path, a


def test_header_gives_what_imwrite_set(stack):
    path, a = stack
    with lumarix.ImageFile(path) as f:
        h = f.header
        assert (h["nx"], h["ny"], h["nz"], h["nw"], h["nt"], h["np"], h["mode"]) == (6, 5, 4, 3, 2, 1, 1)
        assert numpy.allclose(f.pixel_size, (0.1, 0.1, 0.3)) and f.titles == ("cells", "second title")
        stats = [(w["nm"], w["min"], w["max"], w["mean"]) for w in h["wavelengths"]]
        assert stats == [(nm, a[:, w].min(), a[:, w].max(), a[:, w].mean())
                         for w, nm in enumerate((450, 525, 610))]
        numpy.testing.assert_array_equal(numpy.stack(list(f)), a.reshape(-1, 5, 6))


@pytest.mark.parametrize("value, stored", [(40000.0, 32767), (-40000.0, -32767), (-3.7, -3), (12.9, 12)])
def test_float_sections_are_narrowed_by_the_library(stack, value, stored):
    path, a = stack
    with lumarix.ImageFile(path, "r+") as f:
        frozen = numpy.full((5, 6), value, numpy.float32)
        frozen.flags.writeable = False  # a write only reads the pixels it is given
        f.write_section(frozen, z=1, w=2, t=1)
        with pytest.raises(TypeError, match="holds int16 pixels, not int32"):
            f.write_section(numpy.zeros((5, 6), numpy.int32))
        f.titles, f.wavelengths = "narrowed", (1, 2, 3)  # header changes alone are written too
    a[1, 2, 1] = stored
    numpy.testing.assert_array_equal(lumarix.imread(path), a)
    with lumarix.ImageFile(path) as f:
        assert f.titles == ("narrowed",) and f.wavelengths == (1, 2, 3) and f.header["cell_angles"] == (90, 90, 90)


def test_extended_header_values_and_fields_survive_reopening(stack):
    path, _ = stack
    floats = numpy.random.default_rng(1).normal(size=(2, 3, 4, 32)).astype(numpy.float32)
    fields = {"Exposure": 0.25, "Frames": 7, "Objective": "60x oil", "Raw": b"\x00\x01\xff"}
    with lumarix.ImageFile(path, "r+") as f:  # section values alone are a change too
        f.section_floats = floats
        f.section_ints = numpy.arange(2 * 3 * 4 * 8).reshape(2, 3, 4, 8)
    with lumarix.ImageFile(path, "r+") as f:
        assert (f.section_floats == floats).all() and f.section_ints[1, 2, 3].tolist() == list(range(184, 192))
        for name, value in fields.items():
            f.set_field(name, value)
        with pytest.raises(TypeError, match="int, float, str or bytes"):
            f.set_field("List", [1])
    with lumarix.ImageFile(path) as f:
        assert f.fields == fields


def test_streams_close_with_the_context_and_when_collected(stack):
    path, _ = stack
    descriptors = len(os.listdir("/proc/self/fd"))
    with pytest.raises(KeyError), lumarix.ImageFile(path) as f:
        raise KeyError
    assert f.closed
    with pytest.raises(lumarix.ImageError, match="closed") as e:
        f.read_section()
    assert e.value.status == 102
    for _ in range(10050):  # more files, and more failed opens, than the library has streams
        lumarix.ImageFile(path).read_section()
        with pytest.raises(lumarix.ImageError, match="Unable to find"):
            lumarix.ImageFile(path.parent / "missing.img")
    gc.collect()
    assert len(os.listdir("/proc/self/fd")) == descriptors


def test_a_transfer_lets_other_threads_run(tmp_path):
    big = numpy.zeros((2, 4096, 4096), numpy.int16)  # 32 MiB sections: long reads, huge-page arrays
    big[1] = 1
    lumarix.imwrite(tmp_path / "big.img", big)
    interval = sys.getswitchinterval()
    sys.setswitchinterval(60)  # from here on a thread runs only when another lets go of the GIL
    state, seen, go = ["before"], [], threading.Event()
    spinner = threading.Thread(target=lambda: (go.wait(), seen.append(state[0])))
    spinner.start()
    try:
        with lumarix.ImageFile(tmp_path / "big.img") as f:
            go.set()
            state[0] = "reading"
            section = f.read_section(z=1)
            state[0] = "after"
    finally:
        sys.setswitchinterval(interval)
        spinner.join()
    assert seen == ["reading"] and section.shape == (4096, 4096) and (section == 1).all()
