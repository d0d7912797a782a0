// lximinfo FILE...: the header summary of each image file, then the named fields of its extended
// header. Exit status 0 when every file opened, 1 otherwise (each failure's status text on
// standard error, after the library's own line), 2 for a usage error.
#include <lumarix/im.h>

#include <cctype>
#include <cstdio>
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
    std::fprintf(to, "usage: lximinfo FILE...\n"
                     "Prints the header of each image file and the named fields of its extended header.\n");
}

// A field's value as text: characters as they are, binary values as hex bytes.
std::string shown_value(const std::vector<char> &value, int size, char type)
{
    if (type != 'b')
        return std::string(value.data(), std::strlen(value.data()));
    std::string text;
    char byte[4];
    for (int i = 0; i < size && i < kShownBinaryBytes; ++i) {
        std::snprintf(byte, sizeof byte, "%s%02x", i ? " " : "", static_cast<unsigned char>(value[i]));
        text += byte;
    }
    if (size > kShownBinaryBytes)
        text += " ...";
    return text;
}

void print_fields(int stream)
{
    int count = 0;
    if (IMRtNumFields(stream, &count) != 0 || count <= 0)
        return;
    std::printf("Extended Header Fields................\t%d\n", count);
    for (int i = 0; i < count; ++i) {
        char name[64] = {}, type = 0;
        int size = 0;
        if (IMRtFieldNum(stream, i, name, &type, &size) != 0)
            continue;
        std::vector<char> value(static_cast<size_t>(size) + 1, 0);
        char stored_type = 0;
        int stored_size = 0;
        if (IMRtField(stream, name, value.data(), static_cast<int>(value.size()), &stored_type, &stored_size) != 0)
            continue;
        std::printf("  %s (%c, %d bytes)\t%s\n", name, type, size, shown_value(value, size, type).c_str());
    }
    std::printf("\n");
}

// 0 when the file opened and was shown, else its status.
int show(const char *path)
{
    const int status = IMOpen(g_stream, path, "ro");
    if (status == 0 || status == 210) { // 210: the header opened, its extended header did not
        IMReportInfo(g_stream);
        print_fields(g_stream);
        IMClose(g_stream);
    } else if (status == 202 && g_stream < IM_MAX_STREAMS) {
        ++g_stream;
    }
    std::fflush(stdout);
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc < 2) {
        print_usage(stderr);
        return 2;
    }
    if (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0) {
        print_usage(stdout);
        return 0;
    }
    int failures = 0;
    for (int i = 1; i < argc; ++i)
        if (const int status = show(argv[i])) {
            std::fprintf(stderr, "lximinfo: %s: %s\n", argv[i], IMRtStatusText(status));
            ++failures;
        }
    return failures ? 1 : 0;
}
