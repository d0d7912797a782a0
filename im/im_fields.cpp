// The field area of the extended header: named values kept as text after the per-section area.
#include <lumarix/im.h>

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <type_traits>

#include "im_call.h"

namespace lx::im {
namespace {

constexpr int kMaxNameLength = 63;
constexpr int kMaxFormatted = 64;

int digits(int value) { return static_cast<int>(std::to_string(value).size()); }

// Copies a field's bytes into a caller's buffer of at least f.size, ended with a zero where there is room.
void copy_value(const Field &f, char *value, int value_size)
{
    std::memcpy(value, f.value.data(), f.size);
    if (value_size > f.size)
        value[f.size] = 0;
}

long long field_bytes(const Field &f) { return static_cast<long long>(f.name.size()) + digits(f.size) + 5 + f.size; }

long long area_bytes(const std::vector<Field> &fields)
{
    long long total = 1;
    for (const auto &f : fields)
        total += field_bytes(f);
    return total;
}

// Lookup ignores case and setting does not (see IMAlField in lumarix/im.h).
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
        emit("Stream %d out of field header space. (Field %d,size=%d,max allowed=%d,ext hdr size=%d).\n", s.number,
             index, static_cast<int>(std::min<long long>(needed, INT32_MAX)), s.field_space, s.ext_size);
        return IM_ERR_FIELD_SPACE;
    }
    s.fields = std::move(fields);
    int total = 0;
    write_fields(s, &total);
    return 0;
}

int null_argument()
{
    say(": NULL field argument.\n");
    return IM_ERR_FIELD_NULL;
}

int bad_contents(int stream, const char *name)
{
    say(" %d: field %s does not hold a valid value.\n", stream, name);
    return IM_ERR_FIELD_CONTENTS;
}

// Index of the carriage return that ends the field area (its last one), or -1.
int area_terminator(const Stream &s)
{
    if (s.ext.empty())
        return -1;
    const unsigned char *area = s.ext.data() + s.field_start;
    for (int i = s.field_space - 1; i >= 0; --i)
        if (area[i] == 13)
            return i;
    return -1;
}

// The typed returns: the field called name (found as IMFindFieldNum finds it) must have the type;
// take(field) then gives the value and the status.
template <class Take>
int typed_field(Stream &s, const char *name, const void *result, char type, Take &&take)
{
    if (!name || !result)
        return null_argument();
    int number = -1;
    if (int status = IMFindFieldNum(s.number, name, &number))
        return status;
    const Field &f = s.fields[number];
    if (f.type != type) {
        say(" %d: field %s has type %c.\n", s.number, name, f.type);
        return IM_ERR_FIELD_MISMATCH;
    }
    return take(f);
}

// The whole text of a numeric field as T (an int also within its range).
template <class T>
bool parse_number(const std::string &text, T *value)
{
    char *end = nullptr;
    T parsed;
    if constexpr (std::is_same_v<T, int>) {
        errno = 0;
        const long wide = std::strtol(text.c_str(), &end, 10);
        if (errno || wide < INT32_MIN || wide > INT32_MAX)
            return false;
        parsed = static_cast<int>(wide);
    } else if constexpr (std::is_same_v<T, float>) {
        parsed = std::strtof(text.c_str(), &end);
    } else {
        parsed = std::strtod(text.c_str(), &end);
    }
    if (text.empty() || *end)
        return false;
    *value = parsed;
    return true;
}

template <class T>
int number_field(Stream &s, const char *name, T *value, char type)
{
    return typed_field(s, name, value, type, [&](const Field &f) -> int {
        if (!parse_number(f.value, value))
            return bad_contents(s.number, name);
        if (g_verbose)
            std::printf("%s: \"%s\" resolved %s\n", call_name(), name, std::to_string(*value).c_str());
        return 0;
    });
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
    const int end = area_terminator(s);
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
                emit("Error parsing field size from %s\n", size_text.c_str());
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
                    emit("iReadAllFields: field %d (%s) holds a line feed; read as %d bytes.\n",
                         static_cast<int>(s.fields.size()), name.c_str(), size);
                value_end = pos + size;
            }
            if (value_end - pos < size) {
                if (!quiet)
                    emit("iReadAllFields: field %d (%s) holds %d of its %d bytes.\n", static_cast<int>(s.fields.size()),
                         name.c_str(), value_end - pos, size);
                return IM_ERR_FIELD_BYTE_COUNT;
            }
        }
        if (value_end >= end || area[value_end] != '\n') {
            if (!quiet)
                emit("iReadAllFields: field size mismatch or delimiter problem:\nfield %d\nfield=\"%s\"\nfield "
                     "size=%d\nlast char=%d/%d\npos=%d/%d\n",
                     static_cast<int>(s.fields.size()), name.c_str(), size, value_end < end ? area[value_end] : -1,
                     '\n', value_end, end);
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
    return boundary(
        __func__, stream,
        [&](Stream &s) -> int {
            char text[kMaxFormatted + 1] = {};
            std::string formatted;
            switch (type) {
            case 'b':
            case 'c':
            case 'd':
            case 'f':
            case 'i':
                if (!value)
                    return null_argument();
                break;
            default: say(": unrecognized field type (%c).\n", type); return IM_ERR_FIELD_TYPE;
            }
            switch (type) {
            case 'b':
                if (size < 0) {
                    say(" %d: invalid field size (%d).\n", stream, size);
                    return IM_ERR_FIELD_SIZE;
                }
                formatted.assign(static_cast<const char *>(value), size);
                break;
            case 'c': formatted = static_cast<const char *>(value); break;
            case 'd': std::snprintf(text, sizeof text, "%lf", *static_cast<const double *>(value)); break;
            case 'f':
                std::snprintf(text, sizeof text, "%f", static_cast<double>(*static_cast<const float *>(value)));
                break;
            case 'i': std::snprintf(text, sizeof text, "%d", *static_cast<const int *>(value)); break;
            }
            // A double too wide for 64 characters as %lf is kept whole in exponent form.
            if (type == 'd' && std::strlen(text) >= kMaxFormatted)
                std::snprintf(text, sizeof text, "%.17g", *static_cast<const double *>(value));
            if (type == 'd' || type == 'f' || type == 'i')
                formatted = text;
            if (type == 'c' && formatted.find('\n') != std::string::npos) {
                say(" %d: field %s not set: a line feed ends a field and cannot be in its value.\n", stream,
                    name ? name : "");
                return IM_ERR_FIELD_CONTENTS;
            }
            if (s.kind == kWindow) {
                say(" %d: field %s not set. Fields not supported in image windows.\n", stream, name ? name : "");
                return IM_ERR_FIELD_WINDOW;
            }
            if (!name || !*name || std::strchr(name, ',')) {
                say(" %d: invalid field name.\n", stream);
                return IM_ERR_FIELD_NAME;
            }
            if (std::strlen(name) >= kMaxNameLength + 1) {
                say(" %d: field name is too long.\n", stream);
                return IM_ERR_FIELD_NAME_LONG;
            }
            return set_field(s, name, formatted, type);
        },
        IM_ERR_FIELD_MEMORY);
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
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!name) {
            say(": NULL field name requested.\n");
            return IM_ERR_FIELD_NULL;
        }
        if (s.fields.empty()) {
            say(" %d: no fields; %s not found.\n", stream, name);
            return IM_ERR_FIELD_NOT_FOUND;
        }
        for (size_t i = 0; i < s.fields.size(); ++i)
            if (s.fields[i].name.empty()) {
                say(" %d: field %d has no name.\n", stream, static_cast<int>(i));
                return IM_ERR_FIELD_NAME;
            }
        const int index = find_field(s, name);
        if (index < 0) {
            say(" %d: field %s not found.\n", stream, name);
            return IM_ERR_FIELD_NOT_FOUND;
        }
        if (number)
            *number = index;
        return 0;
    });
}

int IMRtField(int stream, const char *name, char *value, int value_size, char *type, int *size)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (!name) {
            say(": NULL field name requested.\n");
            return IM_ERR_FIELD_NULL;
        }
        if (s.kind == kWindow) {
            say(" %d: field %s not found. Fields not supported in image windows.\n", stream, name);
            return IM_ERR_FIELD_WINDOW;
        }
        int index = -1;
        if (int bad = IMFindFieldNum(stream, name, &index))
            return bad;
        const Field &f = s.fields[index];
        if (value) {
            if (value_size < f.size) {
                say(" %d: field %s needs %d bytes.\n", stream, name, f.size);
                return IM_ERR_FIELD_SIZE;
            }
            copy_value(f, value, value_size);
        }
        if (type)
            *type = f.type;
        if (size)
            *size = f.size;
        return 0;
    });
}

int IMRtFieldInt(int stream, const char *name, int *value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int { return number_field(s, name, value, 'i'); });
}

int IMRtFieldFloat(int stream, const char *name, float *value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int { return number_field(s, name, value, 'f'); });
}

int IMRtFieldDouble(int stream, const char *name, double *value)
{
    return boundary(__func__, stream, [&](Stream &s) -> int { return number_field(s, name, value, 'd'); });
}

int IMRtFieldChar(int stream, const char *name, char *value, int value_size)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        return typed_field(s, name, value, 'c', [&](const Field &f) -> int {
            if (f.value.empty())
                return bad_contents(stream, name);
            const int needed = static_cast<int>(f.value.size()) + 1;
            if (value_size < needed) {
                say(" %d: field %s needs %d bytes.\n", stream, name, needed);
                return IM_ERR_FIELD_SIZE;
            }
            std::memcpy(value, f.value.c_str(), f.value.size() + 1);
            if (g_verbose)
                std::printf("%s: \"%s\" resolved %s\n", call_name(), name, value);
            return 0;
        });
    });
}

int IMRtFieldBinary(int stream, const char *name, void *value, int value_size, int *size)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        return typed_field(s, name, value, 'b', [&](const Field &f) -> int {
            if (f.size <= 0)
                return bad_contents(stream, name);
            if (value_size < f.size) {
                say(" %d: field %s needs %d bytes.\n", stream, name, f.size);
                return IM_ERR_FIELD_SIZE;
            }
            std::memcpy(value, f.value.data(), f.size);
            if (size)
                *size = f.size;
            if (g_verbose)
                std::printf("%s: \"%s\" resolved binary field containing %d bytes\n", call_name(), name, f.size);
            return 0;
        });
    });
}

int IMRtFieldNum(int stream, int number, char *name, char *type, int *size)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (number < 0 || number >= static_cast<int>(s.fields.size())) {
            say(" %d: %d is an invalid field number.\n", stream, number);
            return IM_ERR_FIELD_NUMBER;
        }
        const Field &f = s.fields[number];
        if (name)
            std::snprintf(name, kMaxNameLength + 1, "%s", f.name.c_str());
        if (type)
            *type = f.type;
        if (size)
            *size = f.size;
        return 0;
    });
}

int IMRtFieldValueNum(int stream, int number, char *value, int value_size, int *size)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (number < 0 || number >= static_cast<int>(s.fields.size())) {
            say(" %d: %d is an invalid field number.\n", stream, number);
            return IM_ERR_FIELD_NUMBER;
        }
        const Field &f = s.fields[number];
        if (!value || value_size < f.size) {
            say(" %d: field %d needs %d bytes.\n", stream, number, f.size);
            return IM_ERR_FIELD_SIZE;
        }
        copy_value(f, value, value_size);
        if (size)
            *size = f.size;
        return 0;
    });
}

int IMRtNumFields(int stream, int *count)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        if (s.kind == kWindow) {
            say(" %d: Fields not supported in image windows.\n", stream);
            return IM_ERR_FIELD_WINDOW;
        }
        *count = static_cast<int>(s.fields.size());
        return 0;
    });
}

int IMRtFieldHdr(int stream, char *text, int text_size, int *length)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        const int end = area_terminator(s);
        if (end < 0) {
            say(" %d: field header empty.\n", stream);
            return IM_ERR_FIELDS_EMPTY;
        }
        if (!text || text_size < end + 2) {
            say(" %d: %d bytes needed.\n", stream, end + 2);
            return IM_ERR_FIELD_SPACE;
        }
        std::memcpy(text, s.ext.data() + s.field_start, end + 1);
        text[end + 1] = 0;
        if (length)
            *length = end + 1;
        return 0;
    });
}

int IMRtFieldHdrSize(int stream, int *used)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *used = s.field_used;
        return 0;
    });
}

int IMRtFieldHdrSpace(int stream, int *usable)
{
    return boundary(__func__, stream, [&](Stream &s) -> int {
        *usable = s.field_space;
        return 0;
    });
}

int IMRdFieldHdr(int stream)
{
    return boundary(
        __func__, stream,
        [&](Stream &s) -> int {
            const int parsed = parse_fields(s, false);
            if (parsed && parsed != IM_ERR_FIELD_SIZE && parsed != IM_ERR_FIELD_SIZE_TEXT)
                say(" %d: %s.\n", stream, IMRtStatusText(parsed));
            return parsed;
        },
        IM_ERR_FIELD_MEMORY);
}

} // extern "C"

namespace lx::im {
// Used by the transfer calls: sets a field from its stored text.
int set_field_text(Stream &s, const std::string &name, const std::string &value, char type)
{
    return set_field(s, name, value, type);
}
} // namespace lx::im
