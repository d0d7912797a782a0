/* lumarix/im_format.h - the on-disk layout of the suite's 1024-byte image file header.
 *
 * A file is this header, then the extended header (IMFileHeader.ext_header_size bytes), then the
 * pixel sections. Multi-byte values are in the writer's byte order; file_id tells a reader which.
 * Two layouts share the first 544 bytes: an ordinary file (image type 99 or less) keeps ten 80-byte
 * titles from byte 224; an extended file (image type above 99) keeps four titles and then the values
 * of wavelengths 6 to 12 and more (IMExtendedTail). The means of wavelengths 2 to 5 live at 864 in
 * both layouts, inside the ninth title of an ordinary file; that overlap is intended.
 */
#ifndef LUMARIX_IM_FORMAT_H
#define LUMARIX_IM_FORMAT_H

#include <stddef.h>
#include <stdint.h>

#define IM_HEADER_BYTES 1024
#define IM_FILE_ID (-16224) /* 0xC0A0 read as unsigned */
#define IM_TITLE_BYTES 80
#define IM_MAX_TITLES_ORDINARY 10
#define IM_MAX_TITLES_EXTENDED 4
#define IM_MAX_WAVES_ORDINARY 5
#define IM_MAX_WAVES_EXTENDED 12
#define IM_EXTENDED_TYPE_MIN 100 /* image types from here on use the extended layout */

#pragma pack(push, 1)

/* Bytes 544 to 1023 of a file in the extended layout (after its four titles). */
typedef struct IMExtendedTail {
    float wave_min[7];          /* 544: minimum of wavelengths 6-12 */
    uint8_t unused572[16];      /* 572 */
    float wave_max[7];          /* 588: maximum of wavelengths 6-12 */
    uint8_t unused616[16];      /* 616 */
    float wave_mean[7];         /* 632: mean of wavelengths 6-12 */
    uint8_t unused660[16];      /* 660 */
    uint16_t wave[7];           /* 676: wavelengths 6-12 in nm */
    uint8_t unused690[10];      /* 690 */
    int32_t wave_values[12][3]; /* 700: three values kept with each of wavelengths 1-12 */
    double time_stamp;          /* 844: seconds; used only when above 0 */
    int32_t nt_lower_bound;     /* 852: NT is raised to this when it is larger */
    uint8_t data_bits;          /* 856: significant bits per pixel */
    uint8_t unused857[7];       /* 857 */
    float mean2_5[4];           /* 864: means of wavelengths 2-5 (also read in an ordinary file) */
    int32_t np;                 /* 880: panels; 0 or less is taken as 1 */
    uint8_t unused884[140];     /* 884 */
} IMExtendedTail;

typedef struct IMFileHeader {
    int32_t nx;                 /*   0: columns */
    int32_t ny;                 /*   4: rows */
    int32_t sections;           /*   8: NZ x NW x NT x NP */
    int32_t mode;               /*  12: pixel mode */
    int32_t start[3];           /*  16: start column, row, section */
    int32_t sampling[3];        /*  28: MX, MY, MZ (below 1 read as 1) */
    float cell[3];              /*  40: cell size X, Y, Z */
    float angle[3];             /*  52: cell angles */
    int32_t axis_map[3];        /*  64: axis along columns, rows, sections */
    float min1, max1, mean1;    /*  76: statistics of wavelength 1 */
    int32_t space_group;        /*  88: symmetry code */
    int32_t ext_header_size;    /*  92: extended header bytes */
    int16_t file_id;            /*  96: IM_FILE_ID in the writer's byte order */
    int16_t unused98;           /*  98: kept, swapped only */
    uint16_t ext_header_type;   /* 100: extended header type, never swapped */
    uint8_t unused102[26];      /* 102: not used, never swapped */
    int16_t ints_per_section;   /* 128: 32-bit integers per section in the extended header */
    int16_t floats_per_section; /* 130: 32-bit floats per section in the extended header */
    int16_t value132;           /* 132: kept and written back */
    int16_t value134;           /* 134: kept as a float and written back */
    float min2, max2;           /* 136: wavelength 2 */
    float min3, max3;           /* 144: wavelength 3 */
    float min4, max4;           /* 152: wavelength 4 */
    int16_t image_type;         /* 160: above 99 selects the extended layout */
    uint16_t lens_id;           /* 162 */
    int16_t data_int[2];        /* 164: two integer data values */
    int16_t data_hundredths[2]; /* 168: two values stored x 100 */
    float min5, max5;           /* 172: wavelength 5 */
    uint16_t nt;                /* 180: time points */
    int16_t sequence;           /* 182: image sequence code */
    float rotation[3];          /* 184: alpha, beta, gamma */
    uint16_t nw;                /* 196: wavelengths */
    uint16_t wave[5];           /* 198: wavelengths 1-5 in nm */
    float origin_z;             /* 208 */
    float origin_x;             /* 212 */
    float origin_y;             /* 216 */
    int16_t unused220;          /* 220: swapped together with 222 as one 4-byte unit */
    int16_t title_count;        /* 222 */
    union {
        char title[IM_MAX_TITLES_ORDINARY][IM_TITLE_BYTES]; /* 224: ordinary layout */
        struct {
            char title[IM_MAX_TITLES_EXTENDED][IM_TITLE_BYTES]; /* 224: four titles */
            IMExtendedTail tail;                                /* 544 */
        } ext;
        uint8_t raw[800];
    } u;
} IMFileHeader;

#pragma pack(pop)

#ifdef __cplusplus
#define IM_FORMAT_ASSERT static_assert
#else
#define IM_FORMAT_ASSERT _Static_assert
#endif
IM_FORMAT_ASSERT(sizeof(IMFileHeader) == IM_HEADER_BYTES, "header is 1024 bytes");
IM_FORMAT_ASSERT(sizeof(IMExtendedTail) == 480, "extended tail fills 544-1023");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, mode) == 12, "mode");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, cell) == 40, "cell");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, min1) == 76, "min1");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, ext_header_size) == 92, "ext size");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, file_id) == 96, "file id");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, ext_header_type) == 100, "ext type");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, ints_per_section) == 128, "ints per section");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, min2) == 136, "min2");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, image_type) == 160, "image type");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, data_hundredths) == 168, "hundredths");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, min5) == 172, "min5");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, nt) == 180, "nt");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, rotation) == 184, "rotation");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, nw) == 196, "nw");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, origin_z) == 208, "origin");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, title_count) == 222, "title count");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u) == 224, "titles");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail) == 544, "extended tail");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.wave_max) == 588, "max 6-12");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.wave_mean) == 632, "mean 6-12");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.wave) == 676, "wavelengths 6-12");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.wave_values) == 700, "values");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.time_stamp) == 844, "time stamp");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.nt_lower_bound) == 852, "nt bound");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.data_bits) == 856, "data bits");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.mean2_5) == 864, "means 2-5");
IM_FORMAT_ASSERT(offsetof(IMFileHeader, u.ext.tail.np) == 880, "np");

#endif
