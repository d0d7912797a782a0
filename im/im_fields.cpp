// The field area of the extended header: named values kept as text after the per-section area.
#include <lumarix/im.h>

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "im_stream.h"

namespace lx::im {
namespace {

constexpr int kMaxNameLength = 63;
constexpr int kMaxFormatted = 64;

int digits(int value)
{
    return static_cast<int>(std::to_string(value).size());
}

long long field_bytes(const Field &f)
{
    return static_cast<long long>(f.name.size()) + digits(f.size) + 5 + f.size;
}

long long area_bytes(const std::vector<Field> &fields)
{
    long long total = 1;
    for (const auto &f : fields)
        total += field_bytes(f);
    return total;
}

int find_field(const Stream &s, const char *name)
{
    for (size_t i = 0; i < s.fields.size(); ++i)
        if (strcasecmp(s.fields[i].name.c_str(), name) == 0)
            return static_cast<int>(i);
    return -1;
}

// Sets a field from its stored text; 0, 720 (no space).
int set_field(Stream &s, const std::string &name, const std::string &value, char type)
{
    auto fields = s.fields;
    int index = -1;
    for (size_t i = 0; i < fields.size(); ++i)
        if (fields[i].name == name)
            index = static_cast<int>(i);
    Field field{name, value, type, static_cast<int>(value.size())};
    if (index >= 0) {
        if (g_verbose)
            std::printf("Replacing existing field (%d)...\n", index);
        fields[index] = field;
    } else {
        index = static_cast<int>(fields.size());
        if (g_verbose)
            std::printf("Adding new field (%d)...\n", index);
        fields.push_back(field);
    }
    const long long needed = area_bytes(fields);
    if (needed > s.field_space) {
        std::fprintf(stderr, "Stream %d out of field header space. (Field %d,size=%d,max allowed=%d,ext hdr size=%d).\n",
                     s.number, index, static_cast<int>(std::min<long long>(needed, INT32_MAX)), s.field_space,
                     s.ext_size);
        return IM_ERR_FIELD_SPACE;
    }
    s.fields = std::move(fields);
    int total = 0;
    write_fields(s, &total);
    return 0;
}

int null_argument(const char *caller)
{
    std::fprintf(stderr, "%s: NULL field argument.\n", caller);
    return IM_ERR_FIELD_NULL;
}

// Finds a field for a typed return: 0 with its index, or 731/733/734 with a message.
int typed_lookup(Stream &s, const char *caller, const char *name, const void *result, char type, int *index)
{
    if (!name || !result)
        return null_argument(caller);
    int number = -1;
    if (int status = IMFindFieldNum(s.number, name, &number))
        return status;
    if (s.fields[number].type != type) {
        std::fprintf(stderr, "%s %d: field %s has type %c.\n", caller, s.number, name, s.fields[number].type);
        return IM_ERR_FIELD_MISMATCH;
    }
    *index = number;
    return 0;
}

int bad_contents(const char *caller, int stream, const char *name)
{
    std::fprintf(stderr, "%s %d: field %s does not hold a valid value.\n", caller, stream, name);
    return IM_ERR_FIELD_CONTENTS;
}

} // namespace

int write_fields(Stream &s, int *needed)
{
    *needed = static_cast<int>(std::min<long long>(area_bytes(s.fields), INT32_MAX));
    if (s.field_space <= 0 || s.ext.empty()) {
        s.field_used = 0;
        return 0;
    }
    unsigned char *area = s.ext.data() + s.field_start;
    const long long area_end = held_ext_bytes(s) - s.field_start;
    long long used = 0;
    int stored = 0;
    for (const auto &f : s.fields) {
        const long long bytes = field_bytes(f);
        if (used + bytes + 1 > s.field_space)
            break;
        std::string text = f.name + "," + f.type + "," + std::to_string(f.size) + "=" + f.value + "\n";
        std::memcpy(area + used, text.data(), text.size());
        used += static_cast<long long>(text.size());
        ++stored;
    }
    area[used++] = 13;
    std::memset(area + used, 0, static_cast<size_t>(area_end - used));
    s.field_used = static_cast<int>(used);
    return stored;
}

int parse_fields(Stream &s, bool quiet)
{
    s.fields.clear();
    s.field_used = 0;
    if (s.field_space <= 0 || s.ext.empty())
        return IM_ERR_FIELDS_EMPTY;
    const char *area = reinterpret_cast<const char *>(s.ext.data() + s.field_start);
    int end = -1;
    for (int i = s.field_space - 1; i >= 0; --i)
        if (area[i] == 13) {
            end = i;
            break;
        }
    if (end < 6)
        return IM_ERR_FIELDS_EMPTY;
    int pos = 0;
    while (pos < end) {
        const int name_start = pos;
        while (pos < end && area[pos] != ',')
            ++pos;
        if (pos - name_start > kMaxNameLength)
            return IM_ERR_FIELD_NAME_LONG;
        if (pos >= end || pos == name_start)
            return IM_ERR_FIELD_NAME;
        std::string name(area + name_start, pos - name_start);
        ++pos;
        if (pos + 1 >= end || area[pos + 1] != ',')
            return IM_ERR_FIELD_TYPE;
        const char type = area[pos];
        if (!std::strchr("bcdfi", type) || type == 0)
            return IM_ERR_FIELD_TYPE;
        pos += 2;
        const int size_start = pos;
        while (pos < end && area[pos] != '=')
            ++pos;
        if (pos >= end)
            return IM_ERR_FIELD_SIZE;
        std::string size_text(area + size_start, pos - size_start);
        if (size_text.empty() || size_text.size() > 9 ||
            !std::all_of(size_text.begin(), size_text.end(), [](char c) { return c >= '0' && c <= '9'; })) {
            if (!quiet)
                std::fprintf(stderr, "Error parsing field size from %s\n", size_text.c_str());
            return IM_ERR_FIELD_SIZE_TEXT;
        }
        const int size = std::atoi(size_text.c_str());
        ++pos;
        int value_end = pos;
        if (type == 'b') {
            if (static_cast<long long>(pos) + size > end)
                return IM_ERR_FIELD_BYTE_COUNT;
            value_end = pos + size;
        } else {
            while (value_end < end && value_end - pos < size && area[value_end] != '\n')
                ++value_end;
            // A text value holding a line feed (older writers let one through) is still read when
            // its full size ends at a line feed.
            if (value_end - pos < size && static_cast<long long>(pos) + size < end && area[pos + size] == '\n') {
                if (!quiet)
                    std::fprintf(stderr, "iReadAllFields: field %d (%s) holds a line feed; read as %d bytes.\n",
                                 static_cast<int>(s.fields.size()), name.c_str(), size);
                value_end = pos + size;
            }
            if (value_end - pos < size) {
                if (!quiet)
                    std::fprintf(stderr, "iReadAllFields: field %d (%s) holds %d of its %d bytes.\n",
                                 static_cast<int>(s.fields.size()), name.c_str(), value_end - pos, size);
                return IM_ERR_FIELD_BYTE_COUNT;
            }
        }
        if (value_end >= end || area[value_end] != '\n') {
            if (!quiet)
                std::fprintf(stderr,
                             "iReadAllFields: field size mismatch or delimiter problem:\nfield %d\nfield=\"%s\"\nfield "
                             "size=%d\nlast char=%d/%d\npos=%d/%d\n",
                             static_cast<int>(s.fields.size()), name.c_str(), size,
                             value_end < end ? area[value_end] : -1, '\n', value_end, end);
            return IM_ERR_FIELD_SIZE;
        }
        s.fields.push_back(Field{name, std::string(area + pos, value_end - pos), type, size});
        pos = value_end + 1;
    }
    if (g_verbose)
        std::printf("iReadAllFields: found %d fields\n", static_cast<int>(s.fields.size()));
    s.field_used = end + 1;
    return 0;
}

} // namespace lx::im

using namespace lx::im;

extern "C" {

int IMAlField(int stream, const char *name, const void *value, char type, int size)
{
    int status;
    Stream *s = checked(stream, "IMAlField", &status);
    if (!s)
        return status;
    try {
        char text[kMaxFormatted + 1] = {};
        std::string formatted;
        switch (type) {
        case 'b':
        case 'c':
        case 'd':
        case 'f':
        case 'i':
            if (!value)
                return null_argument("IMAlField");
            break;
        default: std::fprintf(stderr, "IMAlField: unrecognized field type (%c).\n", type); return IM_ERR_FIELD_TYPE;
        }
        switch (type) {
        case 'b':
            if (size < 0) {
                std::fprintf(stderr, "IMAlField %d: invalid field size (%d).\n", stream, size);
                return IM_ERR_FIELD_SIZE;
            }
            formatted.assign(static_cast<const char *>(value), size);
            break;
        case 'c': formatted = static_cast<const char *>(value); break;
        case 'd': std::snprintf(text, sizeof text, "%lf", *static_cast<const double *>(value)); break;
        case 'f': std::snprintf(text, sizeof text, "%f", static_cast<double>(*static_cast<const float *>(value))); break;
        case 'i': std::snprintf(text, sizeof text, "%d", *static_cast<const int *>(value)); break;
        }
        // A double too wide for 64 characters as %lf is kept whole in exponent form.
        if (type == 'd' && std::strlen(text) >= kMaxFormatted)
            std::snprintf(text, sizeof text, "%.17g", *static_cast<const double *>(value));
        if (type == 'd' || type == 'f' || type == 'i')
            formatted = text;
        if (type == 'c' && formatted.find('\n') != std::string::npos) {
            std::fprintf(stderr, "IMAlField %d: field %s not set: a line feed ends a field and cannot be in its value.\n",
                         stream, name ? name : "");
            return IM_ERR_FIELD_CONTENTS;
        }
        if (s->kind == kWindow) {
            std::fprintf(stderr, "IMAlField %d: field %s not set. Fields not supported in image windows.\n", stream,
                         name ? name : "");
            return IM_ERR_FIELD_WINDOW;
        }
        if (!name || !*name || std::strchr(name, ',')) {
            std::fprintf(stderr, "IMAlField %d: invalid field name.\n", stream);
            return IM_ERR_FIELD_NAME;
        }
        if (std::strlen(name) >= kMaxNameLength + 1) {
            std::fprintf(stderr, "IMAlField %d: field name is too long.\n", stream);
            return IM_ERR_FIELD_NAME_LONG;
        }
        return set_field(*s, name, formatted, type);
    } catch (...) {
        std::fprintf(stderr, "IMAlField %d: field header memory alloc problem.\n", stream);
        return IM_ERR_FIELD_MEMORY;
    }
}

int IMAlFieldBinary(int stream, const char *name, const void *value, int size)
{
    return IMAlField(stream, name, value, 'b', size);
}
int IMAlFieldChar(int stream, const char *name, const char *value)
{
    return IMAlField(stream, name, value, 'c', value ? static_cast<int>(std::strlen(value)) : 0);
}
int IMAlFieldDouble(int stream, const char *name, double value) { return IMAlField(stream, name, &value, 'd', 8); }
int IMAlFieldFloat(int stream, const char *name, float value) { return IMAlField(stream, name, &value, 'f', 4); }
int IMAlFieldInt(int stream, const char *name, int value) { return IMAlField(stream, name, &value, 'i', 4); }

int IMFindFieldNum(int stream, const char *name, int *number)
{
    int status;
    Stream *s = checked(stream, "IMFindFieldNum", &status);
    if (!s)
        return status;
    if (!name) {
        std::fprintf(stderr, "IMFindFieldNum: NULL field name requested.\n");
        return IM_ERR_FIELD_NULL;
    }
    if (s->fields.empty()) {
        std::fprintf(stderr, "IMFindFieldNum %d: no fields; %s not found.\n", stream, name);
        return IM_ERR_FIELD_NOT_FOUND;
    }
    for (size_t i = 0; i < s->fields.size(); ++i)
        if (s->fields[i].name.empty()) {
            std::fprintf(stderr, "IMFindFieldNum %d: field %d has no name.\n", stream, static_cast<int>(i));
            return IM_ERR_FIELD_NAME;
        }
    const int index = find_field(*s, name);
    if (index < 0) {
        std::fprintf(stderr, "IMFindFieldNum %d: field %s not found.\n", stream, name);
        return IM_ERR_FIELD_NOT_FOUND;
    }
    if (number)
        *number = index;
    return 0;
}

int IMRtField(int stream, const char *name, char *value, int value_size, char *type, int *size)
{
    int status;
    Stream *s = checked(stream, "IMRtField", &status);
    if (!s)
        return status;
    if (!name) {
        std::fprintf(stderr, "IMRtField: NULL field name requested.\n");
        return IM_ERR_FIELD_NULL;
    }
    if (s->kind == kWindow) {
        std::fprintf(stderr, "IMRtField %d: field %s not found. Fields not supported in image windows.\n", stream, name);
        return IM_ERR_FIELD_WINDOW;
    }
    int index = -1;
    if (int bad = IMFindFieldNum(stream, name, &index))
        return bad;
    const Field &f = s->fields[index];
    if (value) {
        if (value_size < f.size) {
            std::fprintf(stderr, "IMRtField %d: field %s needs %d bytes.\n", stream, name, f.size);
            return IM_ERR_FIELD_SIZE;
        }
        std::memcpy(value, f.value.data(), f.size);
        if (value_size > f.size)
            value[f.size] = 0;
    }
    if (type)
        *type = f.type;
    if (size)
        *size = f.size;
    return 0;
}

int IMRtFieldInt(int stream, const char *name, int *value)
{
    int status, index = 0;
    Stream *s = checked(stream, "IMRtFieldInt", &status);
    if (!s)
        return status;
    if (int bad = typed_lookup(*s, "IMRtFieldInt", name, value, 'i', &index))
        return bad;
    const std::string &text = s->fields[index].value;
    char *end = nullptr;
    errno = 0;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (text.empty() || *end || errno || parsed < INT32_MIN || parsed > INT32_MAX)
        return bad_contents("IMRtFieldInt", stream, name);
    *value = static_cast<int>(parsed);
    if (g_verbose)
        std::printf("IMRtFieldInt: \"%s\" resolved %d\n", name, *value);
    return 0;
}

int IMRtFieldFloat(int stream, const char *name, float *value)
{
    int status, index = 0;
    Stream *s = checked(stream, "IMRtFieldFloat", &status);
    if (!s)
        return status;
    if (int bad = typed_lookup(*s, "IMRtFieldFloat", name, value, 'f', &index))
        return bad;
    const std::string &text = s->fields[index].value;
    char *end = nullptr;
    const float parsed = std::strtof(text.c_str(), &end);
    if (text.empty() || *end)
        return bad_contents("IMRtFieldFloat", stream, name);
    *value = parsed;
    if (g_verbose)
        std::printf("IMRtFieldFloat: \"%s\" resolved %f\n", name, static_cast<double>(*value));
    return 0;
}

int IMRtFieldDouble(int stream, const char *name, double *value)
{
    int status, index = 0;
    Stream *s = checked(stream, "IMRtFieldDouble", &status);
    if (!s)
        return status;
    if (int bad = typed_lookup(*s, "IMRtFieldDouble", name, value, 'd', &index))
        return bad;
    const std::string &text = s->fields[index].value;
    char *end = nullptr;
    const double parsed = std::strtod(text.c_str(), &end);
    if (text.empty() || *end)
        return bad_contents("IMRtFieldDouble", stream, name);
    *value = parsed;
    if (g_verbose)
        std::printf("IMRtFieldDouble: \"%s\" resolved %lf\n", name, *value);
    return 0;
}

int IMRtFieldChar(int stream, const char *name, char *value, int value_size)
{
    int status, index = 0;
    Stream *s = checked(stream, "IMRtFieldChar", &status);
    if (!s)
        return status;
    if (int bad = typed_lookup(*s, "IMRtFieldChar", name, value, 'c', &index))
        return bad;
    const std::string &text = s->fields[index].value;
    if (text.empty())
        return bad_contents("IMRtFieldChar", stream, name);
    if (value_size < static_cast<int>(text.size()) + 1) {
        std::fprintf(stderr, "IMRtFieldChar %d: field %s needs %d bytes.\n", stream, name,
                     static_cast<int>(text.size()) + 1);
        return IM_ERR_FIELD_SIZE;
    }
    std::memcpy(value, text.c_str(), text.size() + 1);
    if (g_verbose)
        std::printf("IMRtFieldChar: \"%s\" resolved %s\n", name, value);
    return 0;
}

int IMRtFieldBinary(int stream, const char *name, void *value, int value_size, int *size)
{
    int status, index = 0;
    Stream *s = checked(stream, "IMRtFieldBinary", &status);
    if (!s)
        return status;
    if (int bad = typed_lookup(*s, "IMRtFieldBinary", name, value, 'b', &index))
        return bad;
    const Field &f = s->fields[index];
    if (f.size <= 0)
        return bad_contents("IMRtFieldBinary", stream, name);
    if (value_size < f.size) {
        std::fprintf(stderr, "IMRtFieldBinary %d: field %s needs %d bytes.\n", stream, name, f.size);
        return IM_ERR_FIELD_SIZE;
    }
    std::memcpy(value, f.value.data(), f.size);
    if (size)
        *size = f.size;
    if (g_verbose)
        std::printf("IMRtFieldBinary: \"%s\" resolved binary field containing %d bytes\n", name, f.size);
    return 0;
}

int IMRtFieldNum(int stream, int number, char *name, char *type, int *size)
{
    int status;
    Stream *s = checked(stream, "IMRtFieldNum", &status);
    if (!s)
        return status;
    if (number < 0 || number >= static_cast<int>(s->fields.size())) {
        std::fprintf(stderr, "IMRtFieldNum %d: %d is an invalid field number.\n", stream, number);
        return IM_ERR_FIELD_NUMBER;
    }
    const Field &f = s->fields[number];
    if (name)
        std::snprintf(name, kMaxNameLength + 1, "%s", f.name.c_str());
    if (type)
        *type = f.type;
    if (size)
        *size = f.size;
    return 0;
}

int IMRtFieldValueNum(int stream, int number, char *value, int value_size, int *size)
{
    int status;
    Stream *s = checked(stream, "IMRtFieldValueNum", &status);
    if (!s)
        return status;
    if (number < 0 || number >= static_cast<int>(s->fields.size())) {
        std::fprintf(stderr, "IMRtFieldValueNum %d: %d is an invalid field number.\n", stream, number);
        return IM_ERR_FIELD_NUMBER;
    }
    const Field &f = s->fields[number];
    if (!value || value_size < f.size) {
        std::fprintf(stderr, "IMRtFieldValueNum %d: field %d needs %d bytes.\n", stream, number, f.size);
        return IM_ERR_FIELD_SIZE;
    }
    std::memcpy(value, f.value.data(), f.size);
    if (value_size > f.size)
        value[f.size] = 0;
    if (size)
        *size = f.size;
    return 0;
}

int IMRtNumFields(int stream, int *count)
{
    int status;
    Stream *s = checked(stream, "IMRtNumFields", &status);
    if (!s)
        return status;
    if (s->kind == kWindow) {
        std::fprintf(stderr, "IMRtNumFields %d: Fields not supported in image windows.\n", stream);
        return IM_ERR_FIELD_WINDOW;
    }
    *count = static_cast<int>(s->fields.size());
    return 0;
}

int IMRtFieldHdr(int stream, char *text, int text_size, int *length)
{
    int status;
    Stream *s = checked(stream, "IMRtFieldHdr", &status);
    if (!s)
        return status;
    const char *area = s->ext.empty() ? nullptr : reinterpret_cast<const char *>(s->ext.data() + s->field_start);
    int end = -1;
    for (int i = s->field_space - 1; area && i >= 0; --i)
        if (area[i] == 13) {
            end = i;
            break;
        }
    if (end < 0) {
        std::fprintf(stderr, "IMRtFieldHdr %d: field header empty.\n", stream);
        return IM_ERR_FIELDS_EMPTY;
    }
    if (!text || text_size < end + 2) {
        std::fprintf(stderr, "IMRtFieldHdr %d: %d bytes needed.\n", stream, end + 2);
        return IM_ERR_FIELD_SPACE;
    }
    std::memcpy(text, area, end + 1);
    text[end + 1] = 0;
    if (length)
        *length = end + 1;
    return 0;
}

int IMRtFieldHdrSize(int stream, int *used)
{
    int status;
    Stream *s = checked(stream, "IMRtFieldHdrSize", &status);
    if (!s)
        return status;
    *used = s->field_used;
    return 0;
}

int IMRtFieldHdrSpace(int stream, int *usable)
{
    int status;
    Stream *s = checked(stream, "IMRtFieldHdrSpace", &status);
    if (!s)
        return status;
    *usable = s->field_space;
    return 0;
}

int IMRdFieldHdr(int stream)
{
    int status;
    Stream *s = checked(stream, "IMRdFieldHdr", &status);
    if (!s)
        return status;
    try {
        const int parsed = parse_fields(*s, false);
        if (parsed && parsed != IM_ERR_FIELD_SIZE && parsed != IM_ERR_FIELD_SIZE_TEXT)
            std::fprintf(stderr, "IMRdFieldHdr %d: %s.\n", stream, IMRtStatusText(parsed));
        return parsed;
    } catch (...) {
        std::fprintf(stderr, "IMRdFieldHdr %d: field header memory alloc problem.\n", stream);
        return IM_ERR_FIELD_MEMORY;
    }
}

} // extern "C"

namespace lx::im {
// Used by the transfer calls: sets a field from its stored text.
int set_field_text(Stream &s, const std::string &name, const std::string &value, char type)
{
    return set_field(s, name, value, type);
}
} // namespace lx::im
