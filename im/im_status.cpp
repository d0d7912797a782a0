// Status texts, sequence names, the stream table and the stream check.
#include <lumarix/im.h>

#include <unistd.h>

#include <cstdio>
#include <memory>

#include "im_call.h"

namespace lx::im {
namespace {

struct StatusText {
    int code;
    const char *text;
};

constexpr StatusText kStatusTable[] = {
    {IM_OK, "No error"},
    {IM_ERR_STREAM_NUMBER, "Invalid stream number"},
    {IM_ERR_FILE, "Invalid file"},
    {IM_ERR_STREAM_NUMBERING, "Internal stream numbering error"},
    {IM_ERR_ALREADY_OPEN, "Stream already open"},
    {IM_ERR_FILE_NOT_OPEN, "File not open"},
    {IM_ERR_NOT_OPENED_YET, "File not opened yet"},
    {IM_ERR_CLOSE_UNOPENED, "Attempt to close an unopened stream"},
    {IM_ERR_NAME_TOO_LONG, "File name is too long"},
    {IM_ERR_NEW_HEADER, "New file header error"},
    {IM_ERR_NO_STREAMS, "No streams are available"},
    {IM_ERR_ATTRIBUTE, "Invalid stream attribute (use: new, old, append, ro, etc)"},
    {IM_ERR_NO_FILE, "Unable to find file"},
    {IM_ERR_NO_DIRECTORY, "Unable to find directory/folder"},
    {IM_ERR_NO_READ_WRITE_ACCESS, "Unable to obtain read/write access"},
    {IM_ERR_NO_READ_ACCESS, "Unable to obtain read access"},
    {IM_ERR_OPEN_FAILED, "Unable to open image file"},
    {IM_ERR_READ_HEADER, "Unable to read image header"},
    {IM_ERR_READ_HEADER2, "Unable to read image header (2)"},
    {IM_ERR_WRITE_HEADER, "Unable to write image header"},
    {IM_ERR_READ_EXT_HEADER, "Unable to read extended header"},
    {IM_ERR_WRITE_EXT_HEADER, "Unable to write extended header"},
    {IM_ERR_SHORT_READ, "Incorrect byte count during read"},
    {IM_ERR_SHORT_WRITE, "Incorrect byte count during write"},
    {IM_ERR_SWAP, "Unable to swap bytes"},
    {IM_ERR_POSITION, "Error positioning stream pointer"},
    {IM_ERR_POSITION_X, "Stream position out of X range"},
    {IM_ERR_POSITION_Y, "Stream position out of Y range"},
    {IM_ERR_POSITION_Z, "Stream position out of Z range"},
    {IM_ERR_POSITION_W, "Stream position out of W range"},
    {IM_ERR_POSITION_T, "Stream position out of T range"},
    {IM_ERR_POSITION_S, "Stream position out of S range"},
    {IM_ERR_TITLES, "Too many titles"},
    {IM_ERR_COLUMNS, "Too many image columns"},
    {IM_ERR_ROWS, "Too many image rows"},
    {IM_ERR_WAVE_CHANNELS, "Too many wavelength channels"},
    {IM_ERR_WAVE_COUNT, "Invalid number of wavelengths"},
    {IM_ERR_PIXEL_SIZE, "Invalid pixel size"},
    {IM_ERR_PIXEL_MODE, "Invalid pixel type"},
    {IM_ERR_STREAM_NAME, "Invalid stream name"},
    {IM_ERR_SEQUENCE, "Invalid image sequence"},
    {IM_ERR_FILE_ID, "Unrecognized image file ID"},
    {IM_ERR_TIME_STAMP, "Time-stamp not available from image header"},
    {IM_ERR_DATA_BITS, "Invalid number of data bits per pixel"},
    {IM_ERR_DATA_BITS_UNDEFINED, "Undefined number of data bits per pixel"},
    {IM_ERR_SECTION, "Invalid section number"},
    {IM_ERR_SECTION2, "Invalid section number"},
    {IM_ERR_WAVE_NUMBER, "Invalid wavelength number"},
    {IM_ERR_ZWTP, "Invalid ZWTP coordinate"},
    {IM_ERR_WAVE_TOO_LARGE, "Wavelength number too large"},
    {IM_ERR_EXT_FIELD, "Invalid extended header field"},
    {IM_ERR_EXT_TYPE, "Invalid extended header type"},
    {IM_ERR_SYMMETRY, "Invalid symmetry information"},
    {IM_ERR_EXT_TOO_SMALL, "Extended header size too small"},
    {IM_ERR_HAS_SYMMETRY, "Image file has symmetry bytes"},
    {IM_ERR_NO_EXT_HEADER, "Nonexistent extended header"},
    {IM_ERR_EXT_OVERRUN, "Extended header overrun"},
    {IM_ERR_EXT_MISMATCH, "Extended header type mismatch"},
    {IM_ERR_FIELD_SPACE, "Insufficient field header space"},
    {IM_ERR_FIELD_NAME, "Invalid field name"},
    {IM_ERR_FIELD_TYPE, "Invalid field type"},
    {IM_ERR_FIELD_SIZE, "Invalid field size"},
    {IM_ERR_FIELD_SIZE_TEXT, "Invalid field size parameter"},
    {IM_ERR_FIELD_BYTE_COUNT, "Invalid field byte count"},
    {IM_ERR_FIELD_CONTENTS, "Invalid field contents"},
    {IM_ERR_FIELD_HEADER_TYPE, "Invalid field header type"},
    {IM_ERR_FIELD_BYTE_LENGTH, "Invalid field byte length"},
    {IM_ERR_FIELD_NUMBER, "Invalid field number"},
    {IM_ERR_FIELDS_EMPTY, "Field header empty"},
    {IM_ERR_FIELD_NOT_FOUND, "Field header not found"},
    {IM_ERR_FIELD_MEMORY, "Field header memory alloc problem"},
    {IM_ERR_FIELD_MISMATCH, "Mismatched field contents"},
    {IM_ERR_FIELD_NULL, "NULL field argument"},
    {IM_ERR_FIELD_WINDOW, "Fields not supported in image windows"},
    {IM_ERR_FIELD_NAME_LONG, "Field name is too long"},
    {IM_ERR_WINDOW_NUMBER, "Invalid window number"},
    {IM_ERR_TOO_MANY_WINDOWS, "Too many windows"},
    {IM_ERR_WINDOW_OPEN, "Unable to open window"},
    {IM_ERR_WINDOW_NOT_OPEN, "Window not open"},
    {IM_ERR_WINDOW_SIZE, "Unable to change window size"},
    {IM_ERR_DISPLAY_SCALE, "Display scale not supported"},
    {IM_ERR_WINDOW_WRITE, "Unable to write to window"},
    {IM_ERR_WINDOW_READ, "Unable to read from window"},
    {IM_ERR_WINDOW_HEADER, "Invalid header from window"},
    {IM_ERR_NO_WINDOW, "Window doesn't exist"},
    {IM_ERR_WINDOW_EXISTS, "Window already exists"},
    {IM_ERR_DISPLAY_SCALE_VALUES, "Invalid dislay scale values"},
    {IM_ERR_MEMORY, "Memory error"},
    {IM_ERR_ALLOC, "Memory allocation error"},
    {IM_ERR_NOT_IMPLEMENTED, "Function not yet implemented"},
    {IM_ERR_UNSUPPORTED, "Unsupported function"},
    {IM_ERR_COMPLEX16, "16-bit complex numbers not supported"},
    {IM_ERR_SWAPPED_FILE, "Swapped file error"},
    {IM_ERR_NOT_IEEE, "Support for IEEE floating-point only"},
    {IM_ERR_ARCHITECTURE, "Incompatible computer architecture"},
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
        emit("%s %d: invalid stream number.\n", caller, number);
        return IM_ERR_STREAM_NUMBER;
    }
    if (!g_table[number] || g_table[number]->number != number) {
        emit("%s %d: internal stream numbering error.\n", caller, number);
        return IM_ERR_STREAM_NUMBERING;
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
    if (sequence < IM_SEQ_ZTWP || sequence > IM_SEQ_TPWZ)
        return "Undefined";
    return kSequenceNames[sequence];
}

double IMRtLibraryVersion(void) { return IM_LIBRARY_VERSION; }
int IMRtLibraryRevision(void) { return IM_LIBRARY_REVISION; }
int IMRtMaxStreams(void) { return IM_MAX_STREAMS; }

int IMAlVerboseMode(void)
{
    return boundary(__func__, []() -> int {
        std::printf("%s: verbose mode is always on.", call_name());
        std::fflush(stdout);
        return 0;
    });
}

int IMAlVerbose(int flag)
{
    g_verbose = flag;
    return 0;
}

int IMRtVerbose(void) { return g_verbose; }

int IMRtExt(int stream)
{
    return boundary(__func__, stream, []() -> int {
        say(": function not supported.\n");
        return IM_ERR_UNSUPPORTED;
    });
}

int IMAlTltRot(int stream)
{
    return boundary(__func__, stream, []() -> int {
        say(": function not supported.\n");
        return IM_ERR_UNSUPPORTED;
    });
}

int IMInterp(int stream)
{
    return boundary(__func__, stream, []() -> int {
        say(": unsupported function.\n");
        return IM_ERR_UNSUPPORTED;
    });
}

int IMClLim(int stream)
{
    return boundary(__func__, stream, []() -> int {
        say(": unsupported function.\n");
        return IM_ERR_UNSUPPORTED;
    });
}

int IMWrPal(int stream)
{
    return boundary(__func__, stream, [&]() -> int {
        say(" %d: unsupported function.\n", stream);
        return IM_ERR_UNSUPPORTED;
    });
}

int IMAlDis(int stream, int)
{
    return boundary(__func__, stream, []() -> int {
        say(": use IMAlDis2(iStream,iWinDisplayFlag) instead.\n");
        return IM_ERR_UNSUPPORTED;
    });
}

} // extern "C"
