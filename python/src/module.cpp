// lumarix._im: the image stream library's calls as the Python package needs them. The package's
// public names (imread, imwrite, ImageFile) are in Python; this layer moves header values and
// pixels and turns failing statuses into lumarix.ImageError.
#include <lumarix/im.h>

#include <utility>

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "library_lock.h"
#include "stream.h"

namespace py = pybind11;
using lx::py::check;
using lx::py::library_mutex;
using lx::py::StatusError;
using lx::py::Stream;

namespace {

using Lock = std::lock_guard<std::mutex>;

struct Geometry {
    int nx = 0, ny = 0, sections = 0, mode = 0;
};

Geometry geometry(int n, const std::string &path)
{
    Geometry g;
    check(IMRtSiz(n, &g.nx, &g.ny, &g.sections), "IMRtSiz", path);
    check(IMRtMode(n, &g.mode), "IMRtMode", path);
    return g;
}

// Bytes per pixel the caller's buffer holds: the file's own, or 32-bit floats with conversion
// (8-byte floats stay as they are, and complex pixels are written as they are).
size_t caller_bytes(int n, const Geometry &g, bool convert, bool writing, const std::string &path)
{
    int bytes = 0;
    check(IMRtBytesPerPixel(n, &bytes), "IMRtBytesPerPixel", path);
    if (convert && g.mode != IM_PIXEL_DOUBLE && !(writing && g.mode == IM_PIXEL_COMPLEX_FLOAT))
        bytes = 4;
    return static_cast<size_t>(bytes);
}

// A C-contiguous buffer of exactly `count` sections, or ValueError.
void *section_buffer(py::array &a, int n, const Geometry &g, size_t count, bool convert, bool writing,
                     const std::string &path)
{
    if (!(a.flags() & py::array::c_style))
        throw py::value_error("the pixel buffer must be C-contiguous");
    if (!writing && !a.writeable())
        throw py::value_error("the pixel buffer is read-only");
    const size_t want =
        count * static_cast<size_t>(g.nx) * static_cast<size_t>(g.ny) * caller_bytes(n, g, convert, writing, path);
    if (static_cast<size_t>(a.nbytes()) != want)
        throw py::value_error("the pixel buffer holds " + std::to_string(a.nbytes()) + " bytes, the sections " +
                              std::to_string(want));
    // A write only reads the caller's pixels, so a read-only array will do.
    return writing ? const_cast<void *>(a.data()) : a.mutable_data();
}

// Reads or writes `count` sections from section `first` on, with the GIL released.
void transfer(Stream &s, int first, int count, py::array a, bool convert, bool writing)
{
    const int n = s.number();
    if (writing)
        s.require_writable();
    char *data;
    size_t section_bytes;
    {
        Lock lock(library_mutex());
        const Geometry g = geometry(n, s.path());
        data = static_cast<char *>(section_buffer(a, n, g, count, convert, writing, s.path()));
        section_bytes = static_cast<size_t>(g.nx) * g.ny * caller_bytes(n, g, convert, writing, s.path());
    }
    py::gil_scoped_release release;
    Lock lock(library_mutex());
    check(IMALCon(n, convert ? 1 : 0), "IMALCon", s.path());
    check(IMPosn(n, first, 0), "IMPosn", s.path());
    for (int i = 0; i < count; ++i, data += section_bytes) {
        const int status = writing ? IMWrSec(n, data) : IMRdSec(n, data);
        check(status, writing ? "IMWrSec" : "IMRdSec", s.path() + " section " + std::to_string(first + i));
    }
}

int section_number(Stream &s, int z, int w, int t, int p)
{
    Lock lock(library_mutex());
    int section = 0;
    check(IMRtSecNum2(s.number(), z, w, t, p, &section), "IMRtSecNum2", s.path());
    return section;
}

py::dict header_values(Stream &s)
{
    Lock lock(library_mutex());
    const int n = s.number();
    const std::string &path = s.path();
    py::dict h;
    int nx, ny, sections, nz, nw, nt, np, mode, sequence, swapped;
    check(IMRtSiz(n, &nx, &ny, &sections), "IMRtSiz", path);
    check(IMRtZWTP(n, &nz, &nw, &nt, &np), "IMRtZWTP", path);
    check(IMRtMode(n, &mode), "IMRtMode", path);
    check(IMRtSequence(n, &sequence), "IMRtSequence", path);
    check(IMRtSwap(n, &swapped), "IMRtSwap", path);
    h["nx"] = nx, h["ny"] = ny, h["sections"] = sections, h["nz"] = nz, h["nw"] = nw, h["nt"] = nt;
    h["np"] = np, h["mode"] = mode, h["sequence"] = sequence, h["swapped"] = swapped != 0;
    h["sequence_name"] = IMRtSequenceName(sequence);

    std::array<float, 3> delta{}, rotation{};
    std::array<float, 6> cell{};
    float ox, oy, oz;
    check(IMRtDel(n, delta.data()), "IMRtDel", path);
    check(IMRtCel(n, cell.data()), "IMRtCel", path);
    check(IMRtRot(n, rotation.data()), "IMRtRot", path);
    check(IMRtOrig(n, &ox, &oy, &oz), "IMRtOrig", path);
    h["pixel_size"] = py::make_tuple(delta[0], delta[1], delta[2]);
    h["cell_angles"] = py::make_tuple(cell[3], cell[4], cell[5]);
    h["rotation"] = py::make_tuple(rotation[0], rotation[1], rotation[2]);
    h["origin"] = py::make_tuple(ox, oy, oz);

    int image_type, lens, n1, n2;
    float v1, v2;
    check(IMRtDat(n, &image_type, &lens, &n1, &n2, &v1, &v2), "IMRtDat", path);
    h["image_type"] = image_type, h["lens"] = lens;

    std::array<float, 16> waves{};
    int count = 0;
    check(IMRtWav(n, &count, waves.data()), "IMRtWav", path);
    py::list wavelengths;
    for (int w = 0; w < count && w < 12; ++w) {
        std::array<float, 3> mmm{};
        check(IMRtScl(n, w, mmm.data()), "IMRtScl", path);
        py::dict one;
        one["nm"] = waves[w], one["min"] = mmm[0], one["max"] = mmm[1], one["mean"] = mmm[2];
        wavelengths.append(one);
    }
    h["wavelengths"] = wavelengths;

    int titles = 0;
    check(IMRtNumLab(n, &titles), "IMRtNumLab", path);
    std::vector<char> text(static_cast<size_t>(titles) * 80 + 1, 0);
    if (titles > 0)
        check(IMRtLab2(n, titles, text.data()), "IMRtLab2", path);
    py::list title_list;
    for (int i = 0; i < titles; ++i) {
        const char *t = text.data() + 80 * i;
        title_list.append(py::bytes(std::string(t, strnlen(t, 80))));
    }
    h["titles"] = title_list;

    int ext_type, ints, floats, ext_size;
    check(IMRtExHdrInfo(n, &ext_type, &ints, &floats), "IMRtExHdrInfo", path);
    check(IMRtExHdrSize(n, &ext_size), "IMRtExHdrSize", path);
    h["ext_type"] = ext_type, h["ext_ints"] = ints, h["ext_floats"] = floats, h["ext_size"] = ext_size;
    h["data_offset"] = 1024 + ext_size;
    return h;
}

// Every section's integers and floats, one row per section in file order.
py::tuple section_values(Stream &s)
{
    Lock lock(library_mutex());
    const int n = s.number();
    int type, ni, nr, size, nx, ny, sections;
    check(IMRtExHdrInfo(n, &type, &ni, &nr), "IMRtExHdrInfo", s.path());
    check(IMRtExHdrSize(n, &size), "IMRtExHdrSize", s.path());
    check(IMRtSiz(n, &nx, &ny, &sections), "IMRtSiz", s.path());
    if (ni < 0 || nr < 0)
        throw StatusError(IM_ERR_EXT_TYPE, "extended header of " + s.path() + " counts negative values per section");
    if (sections < 0 || 4.0 * sections * (ni + nr) > size)
        throw StatusError(IM_ERR_EXT_TOO_SMALL,
                          "extended header of " + s.path() + " holds too few bytes for its sections");
    py::array_t<int32_t> ints({sections, ni});
    py::array_t<float> floats({sections, nr});
    std::vector<int32_t> ibuf(static_cast<size_t>(ni) + 1);
    std::vector<float> fbuf(static_cast<size_t>(nr) + 1);
    for (int sec = 0; sec < sections; ++sec) {
        check(IMRtExHdr(n, sec, ibuf.data(), fbuf.data()), "IMRtExHdr", s.path());
        std::copy_n(ibuf.data(), ni, ints.mutable_data(sec));
        std::copy_n(fbuf.data(), nr, floats.mutable_data(sec));
    }
    return py::make_tuple(ints, floats);
}

void set_section_values(Stream &s, const py::array_t<int32_t, py::array::c_style | py::array::forcecast> &ints,
                        const py::array_t<float, py::array::c_style | py::array::forcecast> &floats)
{
    s.require_writable();
    Lock lock(library_mutex());
    const int n = s.number();
    int type, ni, nr, nx, ny, sections;
    check(IMRtExHdrInfo(n, &type, &ni, &nr), "IMRtExHdrInfo", s.path());
    check(IMRtSiz(n, &nx, &ny, &sections), "IMRtSiz", s.path());
    if (ints.size() != static_cast<py::ssize_t>(sections) * ni ||
        floats.size() != static_cast<py::ssize_t>(sections) * nr)
        throw py::value_error("section values need " + std::to_string(ni) + " integers and " + std::to_string(nr) +
                              " floats for each of " + std::to_string(sections) + " sections");
    std::vector<int32_t> ibuf(static_cast<size_t>(ni) + 1);
    std::vector<float> fbuf(static_cast<size_t>(nr) + 1);
    for (int sec = 0; sec < sections; ++sec) {
        std::copy_n(ints.data() + static_cast<size_t>(sec) * ni, ni, ibuf.data());
        std::copy_n(floats.data() + static_cast<size_t>(sec) * nr, nr, fbuf.data());
        check(IMAlExHdr(n, sec, ibuf.data(), fbuf.data()), "IMAlExHdr", s.path());
    }
    s.touch();
}

// The named fields as (name, type letter, raw value bytes), in stored order.
py::list fields(Stream &s)
{
    Lock lock(library_mutex());
    const int n = s.number();
    int count = 0;
    check(IMRtNumFields(n, &count), "IMRtNumFields", s.path());
    py::list out;
    for (int i = 0; i < count; ++i) {
        std::array<char, 65> name{};
        char type = 0;
        int size = 0;
        check(IMRtFieldNum(n, i, name.data(), &type, &size), "IMRtFieldNum", s.path());
        // By name: the library has no call that returns a value by index.
        std::vector<char> value(static_cast<size_t>(size) + 1, 0);
        check(IMRtField(n, name.data(), value.data(), size + 1, &type, &size), "IMRtField",
              s.path() + " field " + name.data());
        out.append(py::make_tuple(py::bytes(name.data()), std::string(1, type),
                                  py::bytes(value.data(), static_cast<size_t>(size))));
    }
    return out;
}

void set_field(Stream &s, const std::string &name, char type, const py::object &value)
{
    s.require_writable();
    Lock lock(library_mutex());
    const int n = s.number();
    int status = 0;
    switch (type) {
    case 'i': status = IMAlFieldInt(n, name.c_str(), value.cast<int>()); break;
    case 'd': status = IMAlFieldDouble(n, name.c_str(), value.cast<double>()); break;
    case 'c': status = IMAlFieldChar(n, name.c_str(), value.cast<std::string>().c_str()); break;
    case 'b': {
        const std::string bytes = value.cast<std::string>();
        status = IMAlFieldBinary(n, name.c_str(), bytes.data(), static_cast<int>(bytes.size()));
        break;
    }
    default: throw py::value_error(std::string("unknown field type ") + type);
    }
    check(status, "IMAlField", s.path() + " field " + name);
    s.touch();
}

// Header values that imwrite and ImageFile(mode="w") set; each marks the header as changed.
void create(Stream &s, std::array<int, 6> sizes, int sequence, int mode)
{
    s.require_writable();
    Lock lock(library_mutex());
    check(IMCrHdr3(s.number(), sizes[0], sizes[1], sizes[2], sizes[3], sizes[4], sizes[5], sequence, mode), "IMCrHdr3",
          s.path());
    s.touch();
}

void set_pixel_size(Stream &s, std::array<float, 3> delta)
{
    s.require_writable();
    Lock lock(library_mutex());
    check(IMAlDel(s.number(), delta.data()), "IMAlDel", s.path());
    s.touch();
}

void set_wavelengths(Stream &s, std::vector<float> waves)
{
    s.require_writable();
    Lock lock(library_mutex());
    check(IMAlWav(s.number(), static_cast<int>(waves.size()), waves.data()), "IMAlWav", s.path());
    s.touch();
}

void set_statistics(Stream &s, int w, float min, float max, float mean)
{
    s.require_writable();
    Lock lock(library_mutex());
    check(IMAlWavMMM(s.number(), w, min, max, mean), "IMAlWavMMM", s.path());
    s.touch();
}

void set_titles(Stream &s, const std::vector<std::string> &titles)
{
    s.require_writable();
    Lock lock(library_mutex());
    std::vector<char> text(titles.size() * 80 + 1, 0);
    for (size_t i = 0; i < titles.size(); ++i)
        titles[i].copy(text.data() + 80 * i, 79);
    check(IMAlLab2(s.number(), static_cast<int>(titles.size()), text.data()), "IMAlLab2", s.path());
    s.touch();
}

} // namespace

PYBIND11_MODULE(_im, m)
{
    m.doc() = "The image stream library's calls for the lumarix package.";
    // Kept for the life of the process (never released, so nothing runs after the interpreter ends).
    static py::handle image_error = py::object(py::module_::import("lumarix._error").attr("ImageError")).release();
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p)
                std::rethrow_exception(p);
        } catch (const StatusError &e) {
            py::object err = image_error(e.status, e.what(), IMRtStatusText(e.status));
            PyErr_SetObject(image_error.ptr(), err.ptr());
        }
    });

    py::class_<Stream>(m, "Stream")
        .def(py::init<const std::string &, const std::string &>(), py::arg("path"), py::arg("attribute"))
        .def_property_readonly("closed", &Stream::closed)
        .def_property_readonly("writable", &Stream::writable)
        .def_property_readonly("path", &Stream::path)
        .def("close", &Stream::close)
        .def("write_header", &Stream::write_header)
        .def("header", &header_values)
        .def("section_number", &section_number)
        .def("read", [](Stream &s, int first, int count, py::array a,
                        bool convert) { transfer(s, first, count, std::move(a), convert, false); })
        .def("write", [](Stream &s, int first, int count, py::array a,
                         bool convert) { transfer(s, first, count, std::move(a), convert, true); })
        .def("section_values", &section_values)
        .def("set_section_values", &set_section_values)
        .def("fields", &fields)
        .def("set_field", &set_field)
        .def("create", &create)
        .def("set_pixel_size", &set_pixel_size)
        .def("set_wavelengths", &set_wavelengths)
        .def("set_statistics", &set_statistics)
        .def("set_titles", &set_titles);

    // The library's names for the codes the package checks or raises itself.
    const std::pair<const char *, int> names[] = {
        {"IM_ERR_FILE", IM_ERR_FILE},
        {"IM_ERR_SHORT_READ", IM_ERR_SHORT_READ},
        {"IM_ERR_COLUMNS", IM_ERR_COLUMNS},
        {"IM_ERR_ROWS", IM_ERR_ROWS},
        {"IM_ERR_PIXEL_MODE", IM_ERR_PIXEL_MODE},
        {"IM_ERR_SEQUENCE", IM_ERR_SEQUENCE},
        {"IM_ERR_COMPLEX16", IM_ERR_COMPLEX16},
        {"IM_ERR_SWAPPED_FILE", IM_ERR_SWAPPED_FILE},
        {"IM_PIXEL_BYTE", IM_PIXEL_BYTE},
        {"IM_PIXEL_INT16", IM_PIXEL_INT16},
        {"IM_PIXEL_FLOAT", IM_PIXEL_FLOAT},
        {"IM_PIXEL_COMPLEX_INT16", IM_PIXEL_COMPLEX_INT16},
        {"IM_PIXEL_COMPLEX_FLOAT", IM_PIXEL_COMPLEX_FLOAT},
        {"IM_PIXEL_UINT16", IM_PIXEL_UINT16},
        {"IM_PIXEL_INT32", IM_PIXEL_INT32},
        {"IM_PIXEL_DOUBLE", IM_PIXEL_DOUBLE},
        {"IM_SEQ_ZTWP", IM_SEQ_ZTWP},
        {"IM_SEQ_ZWTP", IM_SEQ_ZWTP},
        {"IM_SEQ_TPWZ", IM_SEQ_TPWZ},
    };
    for (const auto &[name, value] : names)
        m.attr(name) = value;
    m.def("status_text", &IMRtStatusText, "The library's fixed text of a status code.");
    m.def("sequence_name", &IMRtSequenceName, "Four-letter name of an image sequence code, fastest first.");
}
