/* lumarix/im.h - the image stream library: numbered streams over the suite's image files.
 *
 * A caller opens stream 1..IM_MAX_STREAMS on a file name (or an image window number), reads or
 * alters header values through IMRt (return) and IMAl (alter) calls, keeps per-section values and
 * named fields in the extended header, writes the header with IMWrHdr and closes the stream. Every
 * call returns a status (IM_OK = 0 for success, else an IM_ERR_ code below; IMRtStatusText gives
 * its text) and sends one message (see IMSetMessageHandler) when it fails. Each call that takes a
 * stream may return IM_ERR_STREAM_NUMBER (outside 1..IM_MAX_STREAMS) and IM_ERR_STREAM_NUMBERING
 * (no stream open there); the notes at each call list its other statuses. Outputs are returned
 * through pointers after the inputs. Wavelength numbers are 0-based (0 .. NW-1). Z, W, T, P
 * coordinates are 0-based. Most calls also have a Fortran form whose name ends in an underscore and
 * that takes every argument by pointer (lumarix/im_fortran.h). The library is not
 * thread-safe: one thread per process uses it.
 */
#ifndef LUMARIX_IM_H
#define LUMARIX_IM_H

#ifdef __cplusplus
extern "C" {
#endif

#define IM_MAX_STREAMS 10000
#define IM_LIBRARY_VERSION 2.000011
#define IM_LIBRARY_REVISION 11

/* Pixel modes: the type of each pixel in the file (the header's mode value). */
enum {
    IM_PIXEL_BYTE = 0,          /* unsigned 8-bit */
    IM_PIXEL_INT16 = 1,         /* signed 16-bit */
    IM_PIXEL_FLOAT = 2,         /* 32-bit float */
    IM_PIXEL_COMPLEX_INT16 = 3, /* two signed 16-bit values: refused (IM_ERR_COMPLEX16) */
    IM_PIXEL_COMPLEX_FLOAT = 4, /* two 32-bit floats */
    IM_PIXEL_UINT16 = 6,        /* unsigned 16-bit */
    IM_PIXEL_INT32 = 7,         /* signed 32-bit */
    IM_PIXEL_DOUBLE = 8         /* 64-bit float */
};

/* Image sequences: the order of the Z, W, T and P dimensions in the file, fastest first
 * (IMRtSequenceName gives the four letters). */
enum {
    IM_SEQ_ZTWP = 0,
    IM_SEQ_WZTP = 1,
    IM_SEQ_ZWTP = 2,
    IM_SEQ_ZPWT = 3,
    IM_SEQ_ZWPT = 4,
    IM_SEQ_WZPT = 5,
    IM_SEQ_WPTZ = 6,
    IM_SEQ_PWTZ = 7,
    IM_SEQ_PTWZ = 8,
    IM_SEQ_PZWT = 9,
    IM_SEQ_PWZT = 10,
    IM_SEQ_WPZT = 11,
    IM_SEQ_WTPZ = 12,
    IM_SEQ_TWPZ = 13,
    IM_SEQ_TPWZ = 14
};

/* Open modes kept in the stream record. */
#define IM_MODE_NEW 0
#define IM_MODE_OLD 2
#define IM_MODE_APPEND 3
#define IM_MODE_RO 4
/* I/O kinds. */
#define IM_IO_BUFFERED 1
#define IM_IO_UNBUFFERED 2
#define IM_IO_COMPRESSED 3
#define IM_IO_DATABASE 4

/* ---- Status codes ------------------------------------------------------------------------- */

/* The status every call returns; IMRtStatusText gives each its fixed text. */
enum {
    IM_OK = 0,
    IM_ERR_STREAM_NUMBER = 1,    /* "Invalid stream number" */
    IM_ERR_FILE = 2,             /* "Invalid file" */
    IM_ERR_STREAM_NUMBERING = 3, /* "Internal stream numbering error" (no stream open there) */
    IM_ERR_ALREADY_OPEN = 101,
    IM_ERR_FILE_NOT_OPEN = 102,
    IM_ERR_NOT_OPENED_YET = 103,
    IM_ERR_CLOSE_UNOPENED = 104,
    IM_ERR_NAME_TOO_LONG = 105,
    IM_ERR_NEW_HEADER = 106,
    IM_ERR_NO_STREAMS = 110,
    IM_ERR_ATTRIBUTE = 201,
    IM_ERR_NO_FILE = 202,
    IM_ERR_NO_DIRECTORY = 203,
    IM_ERR_NO_READ_WRITE_ACCESS = 204,
    IM_ERR_NO_READ_ACCESS = 205,
    IM_ERR_OPEN_FAILED = 206,
    IM_ERR_READ_HEADER = 207,
    IM_ERR_READ_HEADER2 = 208,
    IM_ERR_WRITE_HEADER = 209,
    IM_ERR_READ_EXT_HEADER = 210,
    IM_ERR_WRITE_EXT_HEADER = 211,
    IM_ERR_SHORT_READ = 212,
    IM_ERR_SHORT_WRITE = 213,
    IM_ERR_SWAP = 214,
    IM_ERR_POSITION = 301,
    IM_ERR_POSITION_X = 302,
    IM_ERR_POSITION_Y = 303,
    IM_ERR_POSITION_Z = 304,
    IM_ERR_POSITION_W = 305,
    IM_ERR_POSITION_T = 306,
    IM_ERR_POSITION_S = 307,
    IM_ERR_TITLES = 401,
    IM_ERR_COLUMNS = 402,
    IM_ERR_ROWS = 403,
    IM_ERR_WAVE_CHANNELS = 404,
    IM_ERR_WAVE_COUNT = 501,
    IM_ERR_PIXEL_SIZE = 502,
    IM_ERR_PIXEL_MODE = 503,
    IM_ERR_STREAM_NAME = 504,
    IM_ERR_SEQUENCE = 505,
    IM_ERR_FILE_ID = 506,
    IM_ERR_TIME_STAMP = 507,
    IM_ERR_SECTION_COUNT = 510, /* no sections; has no text of its own ("Unspecified error") */
    IM_ERR_DATA_BITS = 511,
    IM_ERR_DATA_BITS_UNDEFINED = 512,
    IM_ERR_SECTION = 601,
    IM_ERR_SECTION2 = 602, /* same text as 601 */
    IM_ERR_WAVE_NUMBER = 603,
    IM_ERR_ZWTP = 604,
    IM_ERR_WAVE_TOO_LARGE = 605,
    IM_ERR_EXT_FIELD = 701, /* value index outside the extended header type's record */
    IM_ERR_EXT_TYPE = 702,
    IM_ERR_SYMMETRY = 703,
    IM_ERR_EXT_TOO_SMALL = 704,
    IM_ERR_HAS_SYMMETRY = 705,
    IM_ERR_NO_EXT_HEADER = 706,
    IM_ERR_EXT_OVERRUN = 707,
    IM_ERR_EXT_MISMATCH = 708,
    IM_ERR_FIELD_SPACE = 720,
    IM_ERR_FIELD_NAME = 721,
    IM_ERR_FIELD_TYPE = 722,
    IM_ERR_FIELD_SIZE = 723,
    IM_ERR_FIELD_SIZE_TEXT = 724, /* "Invalid field size parameter" */
    IM_ERR_FIELD_BYTE_COUNT = 725,
    IM_ERR_FIELD_CONTENTS = 726,
    IM_ERR_FIELD_HEADER_TYPE = 727,
    IM_ERR_FIELD_BYTE_LENGTH = 728,
    IM_ERR_FIELD_NUMBER = 729,
    IM_ERR_FIELDS_EMPTY = 730,
    IM_ERR_FIELD_NOT_FOUND = 731,
    IM_ERR_FIELD_MEMORY = 732,
    IM_ERR_FIELD_MISMATCH = 733, /* the field has another type */
    IM_ERR_FIELD_NULL = 734,
    IM_ERR_FIELD_WINDOW = 735,
    IM_ERR_FIELD_NAME_LONG = 736,
    IM_ERR_WINDOW_NUMBER = 801,
    IM_ERR_TOO_MANY_WINDOWS = 802,
    IM_ERR_WINDOW_OPEN = 803,
    IM_ERR_WINDOW_NOT_OPEN = 804,
    IM_ERR_WINDOW_SIZE = 805,
    IM_ERR_DISPLAY_SCALE = 806,
    IM_ERR_WINDOW_WRITE = 807,
    IM_ERR_WINDOW_READ = 808,
    IM_ERR_WINDOW_HEADER = 809,
    IM_ERR_NO_WINDOW = 810,
    IM_ERR_WINDOW_EXISTS = 811,
    IM_ERR_DISPLAY_SCALE_VALUES = 812,
    IM_ERR_MEMORY = 901, /* "Memory error": also a null pixel buffer */
    IM_ERR_ALLOC = 902,  /* "Memory allocation error" */
    IM_ERR_NOT_IMPLEMENTED = 903,
    IM_ERR_UNSUPPORTED = 904,
    IM_ERR_COMPLEX16 = 905, /* pixel mode IM_PIXEL_COMPLEX_INT16 */
    IM_ERR_SWAPPED_FILE = 906,
    IM_ERR_NOT_IEEE = 907,
    IM_ERR_ARCHITECTURE = 908
};

/* Fixed text of a status code; "Unspecified error" for codes not in the table. Never null. */
const char *IMRtStatusText(int status);
/* Four-letter name of an image sequence (IM_SEQ_ZTWP..IM_SEQ_TPWZ); "Undefined" otherwise. */
const char *IMRtSequenceName(int sequence);

/* ---- Messages ------------------------------------------------------------------------------ */

/* Receives each message of the library: the text as the library formats it (usually one line,
 * ending in a line feed; a few messages span two lines) and the context given with the handler. */
typedef void (*IMMessageHandler)(const char *text, void *context);
/* Sends every message of the library (failures, warnings) to handler instead of standard error;
 * a null handler restores standard error. Returns the handler it replaces (null for standard
 * error). Trace lines of the verbose mode and IMReportInfo still go to standard output. No
 * Fortran form. */
IMMessageHandler IMSetMessageHandler(IMMessageHandler handler, void *context);

/* Library version 2.000011. */
double IMRtLibraryVersion(void);
/* Library revision 11. */
int IMRtLibraryRevision(void);
/* Highest stream number, IM_MAX_STREAMS. */
int IMRtMaxStreams(void);

/* Prints that verbose mode is always on; changes nothing. Returns 0. */
int IMAlVerboseMode(void);
/* Sets the flag that governs the library's trace lines (stored as given). Returns 0. */
int IMAlVerbose(int flag);
/* The verbose flag. */
int IMRtVerbose(void);

/* ---- Streams ------------------------------------------------------------------------------ */

/* Opens a stream on a file path or window number. attribute: new, scratch, old, append or ro,
 * optionally with "_buffered"/"_unbuffered". IM_ERR_STREAM_NUMBER, IM_ERR_ATTRIBUTE,
 * IM_ERR_NO_FILE, IM_ERR_NO_DIRECTORY, IM_ERR_NO_READ_WRITE_ACCESS, IM_ERR_NO_READ_ACCESS,
 * IM_ERR_OPEN_FAILED (also "rdb:"), IM_ERR_READ_HEADER (header short or unreadable),
 * IM_ERR_READ_EXT_HEADER (extended header shorter than its size: the stream stays open with what
 * the file holds; or negative: refused), IM_ERR_POSITION (also for append), IM_ERR_WINDOW_OPEN or
 * IM_ERR_NO_WINDOW (no window runtime), IM_ERR_ALLOC. */
int IMOpen(int stream, const char *name, const char *attribute);
/* Closes the stream and frees its record; never writes the header. IM_ERR_CLOSE_UNOPENED for an
 * empty slot. */
int IMClose(int stream);
/* Buffered file stream: data sync, then drop cached pages. IM_ERR_STREAM_NUMBER when the slot or
 * handle is missing (no message). */
int IMFileSync(int stream);
/* Reads and decodes the 1024-byte header. IM_ERR_READ_HEADER (short or unreadable),
 * IM_ERR_POSITION. */
int IMRdHdr2(int stream);
/* Records a title (title_mode 0 replace all, 1 add, 2 add at the bottom with a message) and the
 * statistics of wavelength 0, then writes the header and extended header. Statuses of IMWrHdr2. */
int IMWrHdr(int stream, const char *title, int title_mode, float min, float max, float mean);
/* Encodes and writes the header, and the extended header when the flag is set.
 * IM_ERR_WRITE_HEADER (short header write), IM_ERR_WRITE_EXT_HEADER (short extended header write),
 * IM_ERR_POSITION, IM_ERR_NO_EXT_HEADER (no buffer), IM_ERR_EXT_OVERRUN (fields do not fit). */
int IMWrHdr2(int stream, int with_extended_header);
/* Fresh header in the record. IM_ERR_WAVE_CHANNELS (window wavelengths cut to 5),
 * IM_ERR_PIXEL_MODE, IM_ERR_SEQUENCE, IM_ERR_SECTION_COUNT. */
int IMCrHdr3(int stream, int nx, int ny, int nz, int nw, int nt, int np, int sequence, int mode);
/* Prints a summary of the stream's header on standard output. */
int IMReportInfo(int stream);
/* *kind 1 for a file name, 0 for a window number (its number in *window). IM_ERR_STREAM_NAME for
 * an empty name. */
int IMRtStreamTypeFromName(const char *name, int *kind, int *window);

/* ---- Positioning -------------------------------------------------------------------------- */

/* Positions at a line of a section. IM_ERR_POSITION. */
int IMPosn(int stream, int section, int line);
/* Positions at the start of the section at z, w, t, p. IM_ERR_POSITION. */
int IMPosnZWTP(int stream, int z, int w, int t, int p);
/* Section number of z, w, t, p in the stream's sequence. IM_ERR_SEQUENCE, IM_ERR_ZWTP (section
 * set to 0). */
int IMRtSecNum2(int stream, int z, int w, int t, int p, int *section);
/* As IMRtSecNum2 with p = 0. */
int IMRtSecNum(int stream, int z, int w, int t, int *section);
/* Position of a section number. IM_ERR_SEQUENCE, IM_ERR_SECTION (out of range). */
int IMRtZWTPNum(int stream, int section, int *z, int *w, int *t, int *p);
/* Current position of the stream: z, w, t, p and section. */
int IMRtPosn(int stream, int *z, int *w, int *t, int *p, int *section);
/* Conversion flag (on after IMOpen): pixels seen as floats. */
int IMALCon(int stream, int flag);
int IMRtCon(int stream, int *flag);

/* ---- Pixels -------------------------------------------------------------------------------
 * Transfers start at the stream's position and move it on. With conversion on, the caller's pixels
 * are 32-bit floats: reading widens IM_PIXEL_BYTE, _INT16, _UINT16 and _INT32, keeps
 * IM_PIXEL_FLOAT, gives the magnitude of IM_PIXEL_COMPLEX_FLOAT pairs and leaves IM_PIXEL_DOUBLE
 * as 8-byte values; writing narrows floats to the four integer modes toward zero with clamping
 * (IM_PIXEL_INT16 stops at -32767) and writes the float, complex float and double modes as they
 * are. With conversion off the caller sees the file's own pixels. Pixels of a file in the other
 * byte order are swapped on reading (8-byte floats excepted); writing uses this machine's order. A
 * buffered stream is flushed after every section written. Common results: IM_ERR_SHORT_READ,
 * IM_ERR_SHORT_WRITE (a line each, with the system's error text); IM_ERR_SWAP (swap refused:
 * IM_PIXEL_COMPLEX_INT16); IM_ERR_COLUMNS or IM_ERR_ROWS (negative section size);
 * IM_ERR_PIXEL_MODE; IM_ERR_MEMORY (null buffer); IM_ERR_ALLOC; IM_ERR_COMPLEX16
 * (IM_PIXEL_COMPLEX_INT16 converted); IM_ERR_WINDOW_WRITE or IM_ERR_WINDOW_READ (window transfer
 * failed). */

/* Reads the next section (NX*NY pixels) into buffer. */
int IMRdSec(int stream, void *buffer);
/* Writes one section (NX*NY pixels) from buffer. The truncation counts are printed in verbose
 * mode when values were clamped. */
int IMWrSec(int stream, const void *buffer);
/* Reads one line (NX pixels). */
int IMRdLin(int stream, void *buffer);
/* Writes one line (NX pixels); needs conversion on, else IM_ERR_NOT_IMPLEMENTED. */
int IMWrLin(int stream, const void *buffer);
/* Reads the next section into NY separate lines of NX pixels each (lines[0..NY-1]). */
int IMRdSecl(int stream, void *const *lines);
/* Reads the next section into lines line_length pixels apart (line_length >= NX, else
 * IM_ERR_COLUMNS); the pad after each line is zeroed. */
int IMRdPal(int stream, void *buffer, int line_length);
/* Not supported: IM_ERR_UNSUPPORTED. */
int IMWrPal(int stream);
/* Reads columns first_col..last_col and rows first_row..last_row of the current section into
 * the top left of a buffer of columns x rows pixels, then stands at the start of the next
 * section. IM_ERR_COLUMNS (columns outside the section or wider than the buffer), IM_ERR_ROWS
 * (rows likewise), IM_ERR_POSITION. */
int IMRdPas(int stream, void *buffer, int columns, int rows, int first_col, int last_col, int first_row, int last_row);
/* Writes the top left of a buffer of columns x rows pixels to columns first_col..last_col and
 * rows first_row..last_row of the current section, leaving the other pixels of the file as they
 * are, then stands at the start of the next section; the whole section from a buffer of its
 * size is IMWrSec. IM_ERR_COLUMNS, IM_ERR_ROWS, IM_ERR_POSITION as IMRdPas. */
int IMWrPas(int stream, const void *buffer, int columns, int rows, int first_col, int last_col, int first_row,
            int last_row);
/* Minimum, maximum and mean of a region of a section held as NX*NY floats (as IMRdSec gives it
 * with conversion). IM_ERR_COLUMNS or IM_ERR_ROWS with "IMCalcDen: invalid ROI." for a region
 * outside the section. */
int IMCalcDen(int stream, const float *section, int first_col, int last_col, int first_row, int last_row, float *min,
              float *max, float *mean);

/* ---- Header accessors --------------------------------------------------------------------- */

/* NX, NY and section count. IMRtSiz prints a line when the count is not NZ*NW*NT*NP. */
int IMRtSiz(int stream, int *nx, int *ny, int *sections);
/* Sets NX, NY and the section count (NZ becomes sections / (NW*NT*NP)). */
int IMAlSiz(int stream, int nx, int ny, int sections);
/* NZ, NW, NT, NP. */
int IMRtZWTP(int stream, int *nz, int *nw, int *nt, int *np);
/* Sets NZ, NW, NT, NP and the section count. IM_ERR_WAVE_COUNT (NW outside 1..maximum),
 * IM_ERR_SECTION_COUNT (no sections). */
int IMAlZWTP(int stream, int nz, int nw, int nt, int np);
/* Image sequence code. */
int IMRtSequence(int stream, int *sequence);
/* IM_ERR_SEQUENCE for codes outside IM_SEQ_ZTWP..IM_SEQ_TPWZ. */
int IMAlSequence(int stream, int sequence);
/* Pixel mode (an IM_PIXEL_ value). */
int IMRtMode(int stream, int *mode);
/* Sets the pixel mode (an IM_PIXEL_ value). IM_ERR_PIXEL_MODE. */
int IMAlMode(int stream, int mode);
/* Bytes per pixel of the stream's mode. IM_ERR_PIXEL_MODE (2 assumed), IM_ERR_COMPLEX16. */
int IMRtBytesPerPixel(int stream, int *bytes);
/* Range of the stream's pixel type. IM_ERR_PIXEL_MODE, IM_ERR_COMPLEX16. */
int IMRtDataTypeMinMax(int stream, float *min, float *max);
/* Start column, row and section. */
int IMRtMst(int stream, int start[3]);
int IMAlMst(int stream, const int start[3]);
/* Sampling MX, MY, MZ (values below 1 become 1). */
int IMRtSam(int stream, int sampling[3]);
int IMAlSam(int stream, const int sampling[3]);
/* Axis map. */
int IMRtMap(int stream, int map[3]);
int IMAlMap(int stream, const int map[3]);
/* Cell sizes X, Y, Z then angles. */
int IMRtCel(int stream, float cell[6]);
int IMALCel(int stream, const float cell[6]);
/* Pixel sizes (cell / sampling). IMAlDel: IM_ERR_PIXEL_SIZE when a size is not above 0. */
int IMRtDel(int stream, float delta[3]);
int IMAlDel(int stream, const float delta[3]);
/* Origin X, Y, Z. */
int IMRtOrig(int stream, float *x, float *y, float *z);
int IMAlOrig(int stream, float x, float y, float z);
/* Image type, lens ID, the two integer and two hundredths data values. */
int IMRtDat(int stream, int *image_type, int *lens_id, int *n1, int *n2, float *v1, float *v2);
int IMAlDat(int stream, int image_type, int lens_id, int n1, int n2, float v1, float v2);
int IMRtLensID(int stream, int *lens_id);
int IMAlLensID(int stream, int lens_id);
int IMRtFileType(int stream, int *image_type);
/* Changing the layout adjusts the title and wavelength limits (titles cut with two lines). */
int IMAlFileType(int stream, int image_type);
/* NW and the wavelengths (at least the stream's maximum of floats). */
int IMRtWav(int stream, int *nw, float *waves);
/* IM_ERR_WAVE_COUNT for a count outside 1..maximum. */
int IMAlWav(int stream, int nw, const float *waves);
/* One wavelength. IM_ERR_WAVE_NUMBER invalid wavelength number. */
int IMAlWav2(int stream, int w, float wavelength);
/* Minimum, maximum, mean of wavelength w. IM_ERR_WAVE_NUMBER. */
int IMRtScl(int stream, int w, float mmm[3]);
int IMAlScl(int stream, int w, const float mmm[3]);
/* Minimum and maximum of wavelength w, mean kept. IM_ERR_WAVE_NUMBER. */
int IMAlScl2(int stream, int w, float min, float max);
int IMAlWavMM(int stream, int w, float min, float max);
int IMAlWavMMM(int stream, int w, float min, float max, float mean);
/* The three values kept with wavelength w. IM_ERR_WAVE_NUMBER. */
int IMRtWavValues(int stream, int w, int values[3]);
int IMAlWavValues(int stream, int w, const int values[3]);
/* Space group and symmetry bytes (always 0). IMAlSym: IM_ERR_SYMMETRY when symmetry bytes are
 * asked for. */
int IMRtSym(int stream, int *space_group, int *symmetry_bytes);
int IMAlSym(int stream, int space_group, int symmetry_bytes);
/* The file ID as the file holds it (IM_FILE_ID for either byte order; else the value read). */
int IMRtFileID(int stream, int *file_id);
/* Significant bits per pixel. IMRt: IM_ERR_DATA_BITS_UNDEFINED when undefined. IMAl:
 * IM_ERR_DATA_BITS invalid or ordinary file. */
int IMRtDataBitsPerPixel(int stream, int *bits);
int IMAlDataBitsPerPixel(int stream, int bits);
/* Titles: count titles of 80 bytes each. IMRtLab2: IM_ERR_TITLES above the maximum (nothing
 * returned). IMAlLab: cuts at the maximum. IMAlLab2: IM_ERR_TITLES above the maximum (nothing
 * changed). */
int IMRtLab2(int stream, int count, char *titles);
int IMAlLab(int stream, int count, const char *titles);
int IMAlLab2(int stream, int count, const char *titles);
/* Title count: IM_ERR_TITLES outside 0..maximum. */
int IMAlNumLab(int stream, int count);
int IMRtNumLab(int stream, int *count);
int IMRtMaxNumLab(int stream, int *count);
/* Rotation angles alpha, beta, gamma. */
int IMRtRot(int stream, float angles[3]);
int IMAlRot(int stream, const float angles[3]);
/* Time stamp in seconds. IMRt: IM_ERR_TIME_STAMP (value 0) for an ordinary file or a stamp before
 * 1980. IMAl: IM_ERR_TIME_STAMP for an ordinary file. */
int IMRtTimeStamp(int stream, double *seconds);
int IMAlTimeStamp(int stream, double seconds);
/* The two values kept at 132 and 134. */
int IMRtHdrValues(int stream, int *value132, float *value134);
int IMAlHdrValues(int stream, int value132, float value134);
/* Window display flag (file streams: kept only). */
int IMAlDis2(int stream, int display);
/* Window number of a window stream, -1 for a file stream. */
int IMRtWID(int stream, int *window);
/* Byte-swap flag: 1 when the file is in the other byte order. */
int IMRtSwap(int stream, int *swapped);
/* Open mode and I/O kind. */
int IMRtOpenMode(int stream, int *mode, int *io_kind);

/* ---- Calls kept for compatibility: each prints a line and returns IM_ERR_UNSUPPORTED ------ */
int IMRtExt(int stream);
int IMAlTltRot(int stream);
int IMInterp(int stream);
int IMClLim(int stream);
int IMAlDis(int stream, int display);

/* ---- Extended header (0, 1, 3 unless listed) ---------------------------------------------- */

/* Fresh extended header of a type (1..4; 0 or less is 4) with field_blocks 1024-byte blocks
 * (below 0: 4). IM_ERR_EXT_TYPE type, IM_ERR_SECTION_COUNT no sections, IM_ERR_ALLOC memory. */
int IMCrExHdr(int stream, int type, int field_blocks);
/* Sets integers and floats per section and reallocates (zeroed) for the sections and blocks.
 * IM_ERR_EXT_TYPE negative counts, IM_ERR_ALLOC memory or size above 2 GiB. */
int IMAlExHdrSize2(int stream, int ints, int floats, int sections, int field_blocks);
/* Type, integers and floats per section. IMAlExHdrInfo reallocates keeping the field blocks. */
int IMAlExHdrInfo(int stream, int type, int ints, int floats);
int IMRtExHdrInfo(int stream, int *type, int *ints, int *floats);
int IMRtExHdrSize(int stream, int *bytes);
int IMRtExHdrType(int stream, int *type);
/* One section's integers and floats by position or section number. IM_ERR_ZWTP/IM_ERR_SEQUENCE
 * position, IM_ERR_SECTION section, IM_ERR_EXT_TOO_SMALL too small, IM_ERR_NO_EXT_HEADER no
 * buffer, IM_ERR_EXT_OVERRUN overrun. */
int IMAlExHdrZWTP(int stream, int z, int w, int t, int p, const int *ints, const float *floats);
int IMRtExHdrZWTP(int stream, int z, int w, int t, int p, int *ints, float *floats);
int IMAlExHdr(int stream, int section, const int *ints, const float *floats);
int IMRtExHdr(int stream, int section, int *ints, float *floats);
/* One value of a section's record by index (type 1: 0 int, 1 float; 2: 0-1; 3: 0-15; 4: 0-20
 * floats, 1000-1004 integers returned + 1e-10). IM_ERR_EXT_FIELD index, IM_ERR_EXT_TOO_SMALL, 1
 * other types. */
int IMRtExHdrValueZWTP(int stream, int z, int w, int t, int p, int index, double *value);
int IMAlExHdrValueZWTP(int stream, int z, int w, int t, int p, int index, double value);

/* ---- Extended header fields --------------------------------------------------------------- */

/* Field names: setting matches a name exactly (case included), so "Gain" and "gain" are two
 * fields; every lookup by name (IMRtField, the typed IMRtField calls, IMFindFieldNum) ignores case
 * and finds the first of them. Both on purpose: files written by older programs hold such pairs,
 * and IMRtFieldNum/IMRtFieldValueNum reach each of them by number. */
/* Sets a field: type 'b' (value points at size bytes), 'c' (string), 'd' (double*), 'f' (float*),
 * 'i' (int*). A double whose %lf text passes 64 characters is stored as %.17g. IM_ERR_FIELD_SPACE
 * no space, IM_ERR_FIELD_NAME null name, IM_ERR_FIELD_TYPE type, IM_ERR_FIELD_CONTENTS 'c' value
 * with a line feed, IM_ERR_FIELD_WINDOW window, IM_ERR_FIELD_NAME_LONG name of 64 or more. */
int IMAlField(int stream, const char *name, const void *value, char type, int size);
int IMAlFieldBinary(int stream, const char *name, const void *value, int size);
int IMAlFieldChar(int stream, const char *name, const char *value);
int IMAlFieldDouble(int stream, const char *name, double value);
int IMAlFieldFloat(int stream, const char *name, float value);
int IMAlFieldInt(int stream, const char *name, int value);
/* Raw value (NUL-terminated when it fits), type letter and size of a field. IM_ERR_FIELD_NOT_FOUND
 * not found, IM_ERR_FIELD_NULL null argument, IM_ERR_FIELD_SIZE value_size too small. */
int IMRtField(int stream, const char *name, char *value, int value_size, char *type, int *size);
/* Typed values: IM_ERR_FIELD_CONTENTS no value or not convertible, IM_ERR_FIELD_NOT_FOUND not
 * found, IM_ERR_FIELD_MISMATCH other type, IM_ERR_FIELD_NULL null argument, IM_ERR_FIELD_SIZE
 * buffer too small (Char, Binary). */
int IMRtFieldBinary(int stream, const char *name, void *value, int value_size, int *size);
int IMRtFieldChar(int stream, const char *name, char *value, int value_size);
int IMRtFieldDouble(int stream, const char *name, double *value);
int IMRtFieldFloat(int stream, const char *name, float *value);
int IMRtFieldInt(int stream, const char *name, int *value);
/* Index of the first field whose name matches without case. IM_ERR_FIELD_NAME, IM_ERR_FIELD_NOT_FOUND,
 * IM_ERR_FIELD_NULL. */
int IMFindFieldNum(int stream, const char *name, int *number);
/* Name (64 bytes), type letter and size of field number. IM_ERR_FIELD_NUMBER invalid number. */
int IMRtFieldNum(int stream, int number, char *name, char *type, int *size);
/* Value of field number (size bytes, NUL-terminated when value_size leaves room) and its size:
 * reads fields whose names differ only in case. IM_ERR_FIELD_NUMBER invalid number,
 * IM_ERR_FIELD_SIZE value_size too small. */
int IMRtFieldValueNum(int stream, int number, char *value, int value_size, int *size);
/* Number of fields. IM_ERR_FIELD_WINDOW for a window stream. */
int IMRtNumFields(int stream, int *count);
/* Copy of the field area up to its last carriage return, NUL-terminated, and its length.
 * IM_ERR_FIELD_SPACE when text_size is too small, IM_ERR_FIELDS_EMPTY empty. */
int IMRtFieldHdr(int stream, char *text, int text_size, int *length);
/* Used and usable bytes of the field area. */
int IMRtFieldHdrSize(int stream, int *used);
int IMRtFieldHdrSpace(int stream, int *usable);
/* Parses the field area again from the extended header buffer (as on open).
 * IM_ERR_FIELD_NAME to IM_ERR_FIELD_CONTENTS, IM_ERR_FIELDS_EMPTY empty, IM_ERR_FIELD_NAME_LONG. */
int IMRdFieldHdr(int stream);

/* ---- Transfers ---------------------------------------------------------------------------- */

/* Per-section values between streams of one type. IM_ERR_EXT_TOO_SMALL, IM_ERR_EXT_MISMATCH,
 * IM_ERR_ALLOC. */
int IMTrExHdr(int from, int to);
/* Per-section values with a Z and a time step: target (z, w, t, p) takes source (z_first +
 * z*z_step, w, t_first + t*t_step, p) when it exists; then the fields. IM_ERR_EXT_MISMATCH,
 * IM_ERR_EXT_TOO_SMALL. */
int IMTrExHdr4(int from, int to, int z_first, int z_step, int t_first, int t_step);
/* Compatibility form of IMTrExHdr4 with t_first 0 and t_step 1; prints a notice. */
int IMTrExHdr2(int from, int to, int z_first, int z_step);
/* Header values and the extended header description; per-section values and fields follow. */
int IMTrHdr(int from, int to);

#ifdef __cplusplus
}
#endif

#endif
