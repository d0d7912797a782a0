// Status texts, sequence names, the stream table and the stream check.
#include <lumarix/im.h>

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "im_stream.h"

namespace lx::im {
namespace {

struct StatusText {
    int code;
    const char *text;
};

constexpr StatusText kStatusTable[] = {
    {0, "No error"},
    {1, "Invalid stream number"},
    {2, "Invalid file"},
    {3, "Internal stream numbering error"},
    {101, "Stream already open"},
    {102, "File not open"},
    {103, "File not opened yet"},
    {104, "Attempt to close an unopened stream"},
    {105, "File name is too long"},
    {106, "New file header error"},
    {110, "No streams are available"},
    {201, "Invalid stream attribute (use: new, old, append, ro, etc)"},
    {202, "Unable to find file"},
    {203, "Unable to find directory/folder"},
    {204, "Unable to obtain read/write access"},
    {205, "Unable to obtain read access"},
    {206, "Unable to open image file"},
    {207, "Unable to read image header"},
    {208, "Unable to read image header (2)"},
    {209, "Unable to write image header"},
    {210, "Unable to read extended header"},
    {211, "Unable to write extended header"},
    {212, "Incorrect byte count during read"},
    {213, "Incorrect byte count during write"},
    {214, "Unable to swap bytes"},
    {301, "Error positioning stream pointer"},
    {302, "Stream position out of X range"},
    {303, "Stream position out of Y range"},
    {304, "Stream position out of Z range"},
    {305, "Stream position out of W range"},
    {306, "Stream position out of T range"},
    {307, "Stream position out of S range"},
    {401, "Too many titles"},
    {402, "Too many image columns"},
    {403, "Too many image rows"},
    {404, "Too many wavelength channels"},
    {501, "Invalid number of wavelengths"},
    {502, "Invalid pixel size"},
    {503, "Invalid pixel type"},
    {504, "Invalid stream name"},
    {505, "Invalid image sequence"},
    {506, "Unrecognized image file ID"},
    {507, "Time-stamp not available from image header"},
    {511, "Invalid number of data bits per pixel"},
    {512, "Undefined number of data bits per pixel"},
    {601, "Invalid section number"},
    {602, "Invalid section number"},
    {603, "Invalid wavelength number"},
    {604, "Invalid ZWTP coordinate"},
    {605, "Wavelength number too large"},
    {701, "Invalid extended header field"},
    {702, "Invalid extended header type"},
    {703, "Invalid symmetry information"},
    {704, "Extended header size too small"},
    {705, "Image file has symmetry bytes"},
    {706, "Nonexistent extended header"},
    {707, "Extended header overrun"},
    {708, "Extended header type mismatch"},
    {720, "Insufficient field header space"},
    {721, "Invalid field name"},
    {722, "Invalid field type"},
    {723, "Invalid field size"},
    {724, "Invalid field size parameter"},
    {725, "Invalid field byte count"},
    {726, "Invalid field contents"},
    {727, "Invalid field header type"},
    {728, "Invalid field byte length"},
    {729, "Invalid field number"},
    {730, "Field header empty"},
    {731, "Field header not found"},
    {732, "Field header memory alloc problem"},
    {733, "Mismatched field contents"},
    {734, "NULL field argument"},
    {735, "Fields not supported in image windows"},
    {736, "Field name is too long"},
    {801, "Invalid window number"},
    {802, "Too many windows"},
    {803, "Unable to open window"},
    {804, "Window not open"},
    {805, "Unable to change window size"},
    {806, "Display scale not supported"},
    {807, "Unable to write to window"},
    {808, "Unable to read from window"},
    {809, "Invalid header from window"},
    {810, "Window doesn't exist"},
    {811, "Window already exists"},
    {812, "Invalid dislay scale values"},
    {901, "Memory error"},
    {902, "Memory allocation error"},
    {903, "Function not yet implemented"},
    {904, "Unsupported function"},
    {905, "16-bit complex numbers not supported"},
    {906, "Swapped file error"},
    {907, "Support for IEEE floating-point only"},
    {908, "Incompatible computer architecture"},
};

constexpr const char *kSequenceNames[] = {"ZTWP", "WZTP", "ZWTP", "ZPWT", "ZWPT", "WZPT", "WPTZ", "PWTZ",
                                          "PTWZ", "PZWT", "PWZT", "WPZT", "WTPZ", "TWPZ", "TPWZ"};

std::unique_ptr<Stream> g_table[IM_MAX_STREAMS + 1];

} // namespace

int g_verbose = 0;

Stream *stream_slot(int number) { return g_table[number].get(); }
void set_stream_slot(int number, std::unique_ptr<Stream> record) { g_table[number] = std::move(record); }
std::unique_ptr<Stream> take_stream_slot(int number) { return std::move(g_table[number]); }
void clear_stream_table()
{
    for (auto &slot : g_table)
        slot.reset();
}

int check_stream(int number, const char *caller)
{
    if (number < 1 || number > IM_MAX_STREAMS) {
        std::fprintf(stderr, "%s %d: invalid stream number.\n", caller, number);
        return 1;
    }
    if (!g_table[number] || g_table[number]->number != number) {
        std::fprintf(stderr, "%s %d: internal stream numbering error.\n", caller, number);
        return 3;
    }
    return 0;
}

Stream *checked(int number, const char *caller, int *status)
{
    *status = check_stream(number, caller);
    return *status ? nullptr : g_table[number].get();
}

} // namespace lx::im

using namespace lx::im;

extern "C" {

const char *IMRtStatusText(int status)
{
    for (const auto &entry : kStatusTable)
        if (entry.code == status)
            return entry.text;
    return "Unspecified error";
}

const char *IMRtSequenceName(int sequence)
{
    if (sequence < 0 || sequence > 14)
        return "Undefined";
    return kSequenceNames[sequence];
}

double IMRtLibraryVersion(void) { return IM_LIBRARY_VERSION; }
int IMRtLibraryRevision(void) { return IM_LIBRARY_REVISION; }
int IMRtMaxStreams(void) { return IM_MAX_STREAMS; }

int IMAlVerboseMode(void)
{
    std::printf("IMAlVerboseMode: verbose mode is always on.");
    std::fflush(stdout);
    return 0;
}

int IMAlVerbose(int flag)
{
    g_verbose = flag;
    return 0;
}

int IMRtVerbose(void) { return g_verbose; }

int IMRtExt(int)
{
    std::fprintf(stderr, "IMRtExt: function not supported.\n");
    return 904;
}

int IMAlTltRot(int)
{
    std::fprintf(stderr, "IMAlTltRot: function not supported.\n");
    return 904;
}

int IMInterp(int)
{
    std::fprintf(stderr, "IMInterp: unsupported function.\n");
    return 904;
}

int IMClLim(int)
{
    std::fprintf(stderr, "IMClLim: unsupported function.\n");
    return 904;
}

int IMWrPal(int stream)
{
    std::fprintf(stderr, "IMWrPal %d: unsupported function.\n", stream);
    return 904;
}

int IMAlDis(int, int)
{
    std::fprintf(stderr, "IMAlDis: use IMAlDis2(iStream,iWinDisplayFlag) instead.\n");
    return 904;
}

} // extern "C"
