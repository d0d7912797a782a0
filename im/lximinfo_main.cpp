// lximinfo [--json] FILE...: the header summary of each image file, then the named fields of its
// extended header; with --json one JSON object per file and line. Exit status 0 when every file
// opened whole, 1 otherwise (also for a short extended header, shown as far as it goes) (each failure's status text on standard error, after the library's own
// line), 2 for a usage error. Text from the file (names, titles, field names and values) is shown
// with control bytes escaped, so that no file can send a terminal its own escape sequences.
#include <lumarix/im.h>

#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr int kShownBinaryBytes = 32;

// The stream each file is opened on: a failed read-only open of a missing file keeps its record
// in the slot (closing it would only add the library's "unopened file" line), so the next file
// takes the next slot.
int g_stream = 1;

void print_usage(std::FILE *to)
{
    std::fprintf(to, "usage: lximinfo [--json] FILE...\n"
                     "Prints the header of each image file and the named fields of its extended header.\n"
                     "Control bytes in names, titles and fields are shown escaped (\\n, \\t, \\r, \\\\, \\xNN).\n"
                     "\n"
                     "--json  one JSON object per file, one per line, with the keys:\n"
                     "  file                 the path as given\n"
                     "  status, error        0, or 210 when the extended header is short; a file that does\n"
                     "                       not open has only file, status and error (the status text)\n"
                     "  nx, ny, nz, nw, nt, np, sections   sizes\n"
                     "  mode, mode_name      pixel mode and its name\n"
                     "  sequence, sequence_name            image sequence code and name (\"ZWTP\")\n"
                     "  pixel_size           [dx, dy, dz]\n"
                     "  wavelengths          [{\"nm\", \"min\", \"max\", \"mean\"}, ...], one per wavelength\n"
                     "  rotation             [alpha, beta, gamma]\n"
                     "  image_type, lens_id\n"
                     "  titles               [text, ...]\n"
                     "  extended_header      {\"type\", \"size\", \"ints_per_section\", \"floats_per_section\"}\n"
                     "  fields               [{\"name\", \"type\", \"size\", \"value\"}, ...]: value is a number\n"
                     "                       for i, f and d, a string for c, lower-case hex for b\n"
                     "Numbers that are not finite are null. Strings are JSON strings; bytes that are not\n"
                     "UTF-8 appear as \\u00NN.\n");
}

// --- Escaping ------------------------------------------------------------------------------

// Length of a valid UTF-8 sequence at text[i] that is not a control character, else 0.
size_t utf8_length(const std::string &text, size_t i)
{
    const auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char lead = byte(i);
    size_t length = lead >= 0xf0 && lead <= 0xf4 ? 4 : lead >= 0xe0 ? 3 : lead >= 0xc2 && lead < 0xe0 ? 2 : 0;
    if (length == 0 || i + length > text.size())
        return 0;
    for (size_t k = 1; k < length; ++k)
        if ((byte(i + k) & 0xc0) != 0x80)
            return 0;
    if (lead == 0xc2 && byte(i + 1) < 0xa0)
        return 0; // U+0080-U+009F: control characters
    if ((lead == 0xe0 && byte(i + 1) < 0xa0) || (lead == 0xf0 && byte(i + 1) < 0x90) ||
        (lead == 0xf4 && byte(i + 1) >= 0x90) || (lead == 0xed && byte(i + 1) >= 0xa0))
        return 0; // overlong, beyond U+10FFFF or surrogates
    return length;
}

// Printable ASCII and valid UTF-8 as they are, a backslash before a backslash (and, for JSON, a
// quote), line feeds, tabs and carriage returns as \n, \t, \r, other bytes as \xNN (JSON: \u00NN).
std::string escape_bytes(const std::string &text, bool json)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        if (c >= 0x20 && c < 0x7f) {
            if (c == '\\' || (json && c == '"'))
                out += '\\';
            out += static_cast<char>(c);
            ++i;
        } else if (const size_t n = c >= 0x80 ? utf8_length(text, i) : 0) {
            out.append(text, i, n);
            i += n;
        } else {
            char code[8];
            if (json)
                std::snprintf(code, sizeof code, "\\u%04x", c);
            else
                std::snprintf(code, sizeof code, "\\x%02x", c);
            out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : c == '\r' ? "\\r" : code;
            ++i;
        }
    }
    return out;
}

// Text for a terminal: printable ASCII and UTF-8 as they are, everything else escaped.
std::string escaped(const std::string &text) { return escape_bytes(text, false); }

// A JSON string literal: valid UTF-8 as it is, other bytes as \u00NN.
std::string json_string(const std::string &text) { return "\"" + escape_bytes(text, true) + "\""; }

std::string json_number(double value, int digits = 9)
{
    if (!std::isfinite(value))
        return "null";
    char text[40];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    return text;
}

// printf onto the end of a string.
__attribute__((format(printf, 2, 3))) void append(std::string &out, const char *format, ...)
{
    va_list args, again;
    va_start(args, format);
    va_copy(again, args);
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    if (length > 0) {
        const size_t at = out.size();
        out.resize(at + static_cast<size_t>(length) + 1);
        std::vsnprintf(out.data() + at, static_cast<size_t>(length) + 1, format, again);
        out.resize(at + static_cast<size_t>(length));
    }
    va_end(again);
}

std::string hex(const std::string &bytes, size_t limit, const char *separator)
{
    std::string text;
    char byte[4];
    for (size_t i = 0; i < bytes.size() && i < limit; ++i) {
        std::snprintf(byte, sizeof byte, "%02x", static_cast<unsigned char>(bytes[i]));
        text += (i ? separator : "") + std::string(byte);
    }
    return text;
}

// --- What a file holds ---------------------------------------------------------------------

struct Field {
    std::string name, value;
    char type = 0;
};

struct Wave {
    float nm = 0, min = 0, max = 0, mean = 0;
};

struct Facts {
    int nx = 0, ny = 0, sections = 0, nz = 0, nw = 0, nt = 0, np = 0, mode = 0, sequence = 0;
    float pixel_size[3] = {}, rotation[3] = {};
    std::vector<Wave> waves;
    int image_type = 0, lens_id = 0, ext_type = 0, ext_size = 0, ints = 0, floats = 0;
    std::vector<std::string> titles;
    std::vector<Field> fields;
};

const char *mode_name(int mode)
{
    static const char *const names[] = {
        "1 byte integer",          "2 byte signed integer",         "4 byte floating-point",
        "2 byte integer complex",  "4 byte floating-point complex", "unknown",
        "2 byte unsigned integer", "4 byte signed integer",         "8 byte floating-point"};
    return mode >= 0 && mode <= 8 ? names[mode] : "unknown";
}

const char *sequence_text(int sequence)
{
    switch (sequence) {
    case IM_SEQ_ZTWP: return "Z -> T -> W";
    case IM_SEQ_WZTP: return "W -> Z -> T";
    case IM_SEQ_ZWTP: return "Z -> W -> T";
    default: return IMRtSequenceName(sequence);
    }
}

// Every field by its index, in one pass (a lookup by name would make the whole quadratic, and
// would show one value for names that differ only in case).
std::vector<Field> read_fields(int stream)
{
    std::vector<Field> fields;
    int count = 0;
    if (IMRtNumFields(stream, &count) != 0)
        return fields;
    fields.reserve(static_cast<size_t>(count));
    std::vector<char> value;
    for (int i = 0; i < count; ++i) {
        char name[64] = {}, type = 0;
        int size = 0;
        if (IMRtFieldNum(stream, i, name, &type, &size) != 0 || size < 0)
            continue;
        value.assign(static_cast<size_t>(size) + 1, 0);
        if (IMRtFieldValueNum(stream, i, value.data(), size + 1, &size) != 0)
            continue;
        fields.push_back({name, std::string(value.data(), static_cast<size_t>(size)), type});
    }
    return fields;
}

Facts read_facts(int stream)
{
    Facts f;
    IMRtSiz(stream, &f.nx, &f.ny, &f.sections);
    IMRtZWTP(stream, &f.nz, &f.nw, &f.nt, &f.np);
    IMRtMode(stream, &f.mode);
    IMRtSequence(stream, &f.sequence);
    IMRtDel(stream, f.pixel_size);
    IMRtRot(stream, f.rotation);
    int lens = 0, n1, n2;
    float v1, v2;
    IMRtDat(stream, &f.image_type, &lens, &n1, &n2, &v1, &v2);
    IMRtLensID(stream, &f.lens_id);
    IMRtExHdrInfo(stream, &f.ext_type, &f.ints, &f.floats);
    IMRtExHdrSize(stream, &f.ext_size);
    float nm[12] = {};
    int nw = 0, max_waves = 0;
    IMRtWav(stream, &nw, nm);
    max_waves = f.image_type > 99 ? 12 : 5;
    for (int w = 0; w < nw && w < max_waves; ++w) {
        float mmm[3] = {};
        IMRtScl(stream, w, mmm);
        f.waves.push_back({nm[w], mmm[0], mmm[1], mmm[2]});
    }
    int count = 0;
    IMRtNumLab(stream, &count);
    std::vector<char> titles(80 * static_cast<size_t>(count > 0 ? count : 1), 0);
    if (count > 0 && IMRtLab2(stream, count, titles.data()) == 0)
        for (int i = 0; i < count; ++i)
            f.titles.emplace_back(titles.data() + 80 * i, strnlen(titles.data() + 80 * i, 80));
    f.fields = read_fields(stream);
    return f;
}

// --- Output --------------------------------------------------------------------------------

void print_text(const std::string &path, const Facts &f)
{
    std::string out = "\nImage Name............................\t" + escaped(path) + "\n";
    append(out,
           "Size (X, Y, Z)........................\t%d %d %d\n"
           "Size (W, T, P)........................\t%d %d %d\n"
           "Data Type.............................\t%s\n"
           "Sequence..............................\t%s\n"
           "Pixel Size (dX, dY, dZ)...............\t%.3f %.3f %.3f\n"
           "Wavelengths (nm)......................\t",
           f.nx, f.ny, f.nz, f.nw, f.nt, f.np, mode_name(f.mode), sequence_text(f.sequence),
           static_cast<double>(f.pixel_size[0]), static_cast<double>(f.pixel_size[1]),
           static_cast<double>(f.pixel_size[2]));
    for (const Wave &w : f.waves)
        append(out, "%.2f  ", static_cast<double>(w.nm));
    out += "\n";
    for (const Wave &w : f.waves)
        append(out, "Min, Max, Mean (w=%.1f nm)...........\t%.2f %.2f %.2f\n", static_cast<double>(w.nm),
               static_cast<double>(w.min), static_cast<double>(w.max), static_cast<double>(w.mean));
    append(out,
           "Rotation Angles (alpha, beta, gamma)..\t%.2f %.2f %.2f\n"
           "Extended Header Size (bytes)..........\t%d\n"
           "Extended Header Type .................\t%d\n"
           "Image Type............................\t%d\n"
           "Lens ID Number........................\t%d\n"
           "\nTitles................................\n",
           static_cast<double>(f.rotation[0]), static_cast<double>(f.rotation[1]), static_cast<double>(f.rotation[2]),
           f.ext_size, f.ext_type, f.image_type, f.lens_id);
    for (const std::string &title : f.titles)
        out += escaped(title) + "\n";
    out += "\n";
    if (!f.fields.empty()) {
        out += "Extended Header Fields................\t" + std::to_string(f.fields.size()) + "\n";
        for (const Field &field : f.fields) {
            std::string value = field.type == 'b' ? hex(field.value, kShownBinaryBytes, " ") : escaped(field.value);
            if (field.type == 'b' && field.value.size() > kShownBinaryBytes)
                value += " ...";
            out += "  " + escaped(field.name) + " (" + escaped(std::string(1, field.type)) + ", " +
                   std::to_string(field.value.size()) + " bytes)\t" + value + "\n";
        }
        out += "\n";
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
}

std::string json_field_value(const Field &field)
{
    if (field.type == 'b')
        return json_string(hex(field.value, field.value.size(), ""));
    if (field.type == 'i' || field.type == 'f' || field.type == 'd') {
        char *end = nullptr;
        const double number = std::strtod(field.value.c_str(), &end);
        if (!field.value.empty() && end && *end == 0)
            return json_number(number, 17);
    }
    return json_string(field.value);
}

void print_json(const std::string &path, int status, const Facts &f)
{
    const auto num = [](double v) { return json_number(v); };
    std::string out = "{\"file\":" + json_string(path) + ",\"status\":" + std::to_string(status) +
                      ",\"error\":" + (status ? json_string(IMRtStatusText(status)) : "null");
    out += ",\"nx\":" + std::to_string(f.nx) + ",\"ny\":" + std::to_string(f.ny) + ",\"nz\":" + std::to_string(f.nz) +
           ",\"nw\":" + std::to_string(f.nw) + ",\"nt\":" + std::to_string(f.nt) + ",\"np\":" + std::to_string(f.np) +
           ",\"sections\":" + std::to_string(f.sections) + ",\"mode\":" + std::to_string(f.mode) +
           ",\"mode_name\":" + json_string(mode_name(f.mode)) + ",\"sequence\":" + std::to_string(f.sequence) +
           ",\"sequence_name\":" + json_string(IMRtSequenceName(f.sequence)) + ",\"pixel_size\":[" +
           num(f.pixel_size[0]) + "," + num(f.pixel_size[1]) + "," + num(f.pixel_size[2]) + "],\"wavelengths\":[";
    for (size_t i = 0; i < f.waves.size(); ++i) {
        const Wave &w = f.waves[i];
        out += (i ? ",{\"nm\":" : "{\"nm\":") + num(w.nm) + ",\"min\":" + num(w.min) + ",\"max\":" + num(w.max) +
               ",\"mean\":" + num(w.mean) + "}";
    }
    out += "],\"rotation\":[" + num(f.rotation[0]) + "," + num(f.rotation[1]) + "," + num(f.rotation[2]) +
           "],\"image_type\":" + std::to_string(f.image_type) + ",\"lens_id\":" + std::to_string(f.lens_id) +
           ",\"titles\":[";
    for (size_t i = 0; i < f.titles.size(); ++i)
        out += (i ? "," : "") + json_string(f.titles[i]);
    out += "],\"extended_header\":{\"type\":" + std::to_string(f.ext_type) + ",\"size\":" + std::to_string(f.ext_size) +
           ",\"ints_per_section\":" + std::to_string(f.ints) + ",\"floats_per_section\":" + std::to_string(f.floats) +
           "},\"fields\":[";
    for (size_t i = 0; i < f.fields.size(); ++i) {
        const Field &field = f.fields[i];
        out += (i ? ",{\"name\":" : "{\"name\":") + json_string(field.name) +
               ",\"type\":" + json_string(std::string(1, field.type)) +
               ",\"size\":" + std::to_string(field.value.size()) + ",\"value\":" + json_field_value(field) + "}";
    }
    out += "]}\n";
    std::fwrite(out.data(), 1, out.size(), stdout);
}

// 0 when the file opened and was shown, else its status.
int show(const char *path, bool json)
{
    const int status = IMOpen(g_stream, path, "ro");
    if (status == 0 || status == IM_ERR_READ_EXT_HEADER) { // 210: the extended header is shorter than its size
        const Facts facts = read_facts(g_stream);
        if (json)
            print_json(path, status, facts);
        else
            print_text(path, facts);
        IMClose(g_stream);
    } else {
        if (json) {
            const std::string out = "{\"file\":" + json_string(path) + ",\"status\":" + std::to_string(status) +
                                    ",\"error\":" + json_string(IMRtStatusText(status)) + "}\n";
            std::fwrite(out.data(), 1, out.size(), stdout);
        }
        if (status == IM_ERR_NO_FILE && g_stream < IM_MAX_STREAMS)
            ++g_stream;
    }
    std::fflush(stdout);
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    int first = 1;
    bool json = false;
    if (argc > 1 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        print_usage(stdout);
        return 0;
    }
    if (argc > 1 && std::strcmp(argv[1], "--json") == 0) {
        json = true;
        first = 2;
    }
    if (argc <= first) {
        print_usage(stderr);
        return 2;
    }
    int failures = 0;
    for (int i = first; i < argc; ++i)
        if (const int status = show(argv[i], json)) {
            std::fprintf(stderr, "lximinfo: %s: %s\n", escaped(argv[i]).c_str(), IMRtStatusText(status));
            ++failures;
        }
    return failures ? 1 : 0;
}
