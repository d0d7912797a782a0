// Fortran forms of the calls: every argument by pointer; they only dereference and forward.
#include <lumarix/im.h>


extern "C" {

int IMAlVerboseMode_(void)
{
    return IMAlVerboseMode();
}

int IMAlVerbose_(const int *flag)
{
    return IMAlVerbose(*flag);
}

int IMOpen_(const int *stream, const char *name, const char *attribute)
{
    return IMOpen(*stream, name, attribute);
}

int IMClose_(const int *stream)
{
    return IMClose(*stream);
}

int IMFileSync_(const int *stream)
{
    return IMFileSync(*stream);
}

int IMRdHdr2_(const int *stream)
{
    return IMRdHdr2(*stream);
}

int IMWrHdr_(const int *stream, const char *title, const int *title_mode, const float *min, const float *max, const float *mean)
{
    return IMWrHdr(*stream, title, *title_mode, *min, *max, *mean);
}

int IMWrHdr2_(const int *stream, const int *with_extended_header)
{
    return IMWrHdr2(*stream, *with_extended_header);
}

int IMCrHdr3_(const int *stream, const int *nx, const int *ny, const int *nz, const int *nw, const int *nt, const int *np, const int *sequence, const int *mode)
{
    return IMCrHdr3(*stream, *nx, *ny, *nz, *nw, *nt, *np, *sequence, *mode);
}

int IMReportInfo_(const int *stream)
{
    return IMReportInfo(*stream);
}

int IMRtStreamTypeFromName_(const char *name, int *kind, int *window)
{
    return IMRtStreamTypeFromName(name, kind, window);
}

int IMPosn_(const int *stream, const int *section, const int *line)
{
    return IMPosn(*stream, *section, *line);
}

int IMPosnZWTP_(const int *stream, const int *z, const int *w, const int *t, const int *p)
{
    return IMPosnZWTP(*stream, *z, *w, *t, *p);
}

int IMRtSecNum2_(const int *stream, const int *z, const int *w, const int *t, const int *p, int *section)
{
    return IMRtSecNum2(*stream, *z, *w, *t, *p, section);
}

int IMRtSecNum_(const int *stream, const int *z, const int *w, const int *t, int *section)
{
    return IMRtSecNum(*stream, *z, *w, *t, section);
}

int IMRtZWTPNum_(const int *stream, const int *section, int *z, int *w, int *t, int *p)
{
    return IMRtZWTPNum(*stream, *section, z, w, t, p);
}

int IMRtPosn_(const int *stream, int *z, int *w, int *t, int *p, int *section)
{
    return IMRtPosn(*stream, z, w, t, p, section);
}

int IMALCon_(const int *stream, const int *flag)
{
    return IMALCon(*stream, *flag);
}

int IMRtCon_(const int *stream, int *flag)
{
    return IMRtCon(*stream, flag);
}

int IMRdSec_(const int *stream, void *buffer)
{
    return IMRdSec(*stream, buffer);
}

int IMWrSec_(const int *stream, const void *buffer)
{
    return IMWrSec(*stream, buffer);
}

int IMRdLin_(const int *stream, void *buffer)
{
    return IMRdLin(*stream, buffer);
}

int IMWrLin_(const int *stream, const void *buffer)
{
    return IMWrLin(*stream, buffer);
}

int IMRdPal_(const int *stream, void *buffer, const int *line_length)
{
    return IMRdPal(*stream, buffer, *line_length);
}

int IMRdPas_(const int *stream, void *buffer, const int *columns, const int *rows, const int *first_col,
             const int *last_col, const int *first_row, const int *last_row)
{
    return IMRdPas(*stream, buffer, *columns, *rows, *first_col, *last_col, *first_row, *last_row);
}

int IMWrPas_(const int *stream, const void *buffer, const int *columns, const int *rows, const int *first_col,
             const int *last_col, const int *first_row, const int *last_row)
{
    return IMWrPas(*stream, buffer, *columns, *rows, *first_col, *last_col, *first_row, *last_row);
}

int IMCalcDen_(const int *stream, const float *section, const int *first_col, const int *last_col,
               const int *first_row, const int *last_row, float *min, float *max, float *mean)
{
    return IMCalcDen(*stream, section, *first_col, *last_col, *first_row, *last_row, min, max, mean);
}

int IMRtSiz_(const int *stream, int *nx, int *ny, int *sections)
{
    return IMRtSiz(*stream, nx, ny, sections);
}

int IMAlSiz_(const int *stream, const int *nx, const int *ny, const int *sections)
{
    return IMAlSiz(*stream, *nx, *ny, *sections);
}

int IMRtZWTP_(const int *stream, int *nz, int *nw, int *nt, int *np)
{
    return IMRtZWTP(*stream, nz, nw, nt, np);
}

int IMAlZWTP_(const int *stream, const int *nz, const int *nw, const int *nt, const int *np)
{
    return IMAlZWTP(*stream, *nz, *nw, *nt, *np);
}

int IMRtSequence_(const int *stream, int *sequence)
{
    return IMRtSequence(*stream, sequence);
}

int IMAlSequence_(const int *stream, const int *sequence)
{
    return IMAlSequence(*stream, *sequence);
}

int IMRtMode_(const int *stream, int *mode)
{
    return IMRtMode(*stream, mode);
}

int IMAlMode_(const int *stream, const int *mode)
{
    return IMAlMode(*stream, *mode);
}

int IMRtBytesPerPixel_(const int *stream, int *bytes)
{
    return IMRtBytesPerPixel(*stream, bytes);
}

int IMRtDataTypeMinMax_(const int *stream, float *min, float *max)
{
    return IMRtDataTypeMinMax(*stream, min, max);
}

int IMRtMst_(const int *stream, int start[3])
{
    return IMRtMst(*stream, start);
}

int IMAlMst_(const int *stream, const int start[3])
{
    return IMAlMst(*stream, start);
}

int IMRtSam_(const int *stream, int sampling[3])
{
    return IMRtSam(*stream, sampling);
}

int IMAlSam_(const int *stream, const int sampling[3])
{
    return IMAlSam(*stream, sampling);
}

int IMRtMap_(const int *stream, int map[3])
{
    return IMRtMap(*stream, map);
}

int IMAlMap_(const int *stream, const int map[3])
{
    return IMAlMap(*stream, map);
}

int IMRtCel_(const int *stream, float cell[6])
{
    return IMRtCel(*stream, cell);
}

int IMALCel_(const int *stream, const float cell[6])
{
    return IMALCel(*stream, cell);
}

int IMRtDel_(const int *stream, float delta[3])
{
    return IMRtDel(*stream, delta);
}

int IMAlDel_(const int *stream, const float delta[3])
{
    return IMAlDel(*stream, delta);
}

int IMRtOrig_(const int *stream, float *x, float *y, float *z)
{
    return IMRtOrig(*stream, x, y, z);
}

int IMAlOrig_(const int *stream, const float *x, const float *y, const float *z)
{
    return IMAlOrig(*stream, *x, *y, *z);
}

int IMRtDat_(const int *stream, int *image_type, int *lens_id, int *n1, int *n2, float *v1, float *v2)
{
    return IMRtDat(*stream, image_type, lens_id, n1, n2, v1, v2);
}

int IMAlDat_(const int *stream, const int *image_type, const int *lens_id, const int *n1, const int *n2, const float *v1, const float *v2)
{
    return IMAlDat(*stream, *image_type, *lens_id, *n1, *n2, *v1, *v2);
}

int IMRtLensID_(const int *stream, int *lens_id)
{
    return IMRtLensID(*stream, lens_id);
}

int IMAlLensID_(const int *stream, const int *lens_id)
{
    return IMAlLensID(*stream, *lens_id);
}

int IMRtFileType_(const int *stream, int *image_type)
{
    return IMRtFileType(*stream, image_type);
}

int IMAlFileType_(const int *stream, const int *image_type)
{
    return IMAlFileType(*stream, *image_type);
}

int IMRtWav_(const int *stream, int *nw, float *waves)
{
    return IMRtWav(*stream, nw, waves);
}

int IMAlWav_(const int *stream, const int *nw, const float *waves)
{
    return IMAlWav(*stream, *nw, waves);
}

int IMAlWav2_(const int *stream, const int *w, const float *wavelength)
{
    return IMAlWav2(*stream, *w, *wavelength);
}

int IMRtScl_(const int *stream, const int *w, float mmm[3])
{
    return IMRtScl(*stream, *w, mmm);
}

int IMAlScl_(const int *stream, const int *w, const float mmm[3])
{
    return IMAlScl(*stream, *w, mmm);
}

int IMAlScl2_(const int *stream, const int *w, const float *min, const float *max)
{
    return IMAlScl2(*stream, *w, *min, *max);
}

int IMAlWavMM_(const int *stream, const int *w, const float *min, const float *max)
{
    return IMAlWavMM(*stream, *w, *min, *max);
}

int IMAlWavMMM_(const int *stream, const int *w, const float *min, const float *max, const float *mean)
{
    return IMAlWavMMM(*stream, *w, *min, *max, *mean);
}

int IMRtWavValues_(const int *stream, const int *w, int values[3])
{
    return IMRtWavValues(*stream, *w, values);
}

int IMAlWavValues_(const int *stream, const int *w, const int values[3])
{
    return IMAlWavValues(*stream, *w, values);
}

int IMRtSym_(const int *stream, int *space_group, int *symmetry_bytes)
{
    return IMRtSym(*stream, space_group, symmetry_bytes);
}

int IMAlSym_(const int *stream, const int *space_group, const int *symmetry_bytes)
{
    return IMAlSym(*stream, *space_group, *symmetry_bytes);
}

int IMRtFileID_(const int *stream, int *file_id)
{
    return IMRtFileID(*stream, file_id);
}

int IMRtDataBitsPerPixel_(const int *stream, int *bits)
{
    return IMRtDataBitsPerPixel(*stream, bits);
}

int IMAlDataBitsPerPixel_(const int *stream, const int *bits)
{
    return IMAlDataBitsPerPixel(*stream, *bits);
}

int IMRtLab2_(const int *stream, const int *count, char *titles)
{
    return IMRtLab2(*stream, *count, titles);
}

int IMAlLab_(const int *stream, const int *count, const char *titles)
{
    return IMAlLab(*stream, *count, titles);
}

int IMAlLab2_(const int *stream, const int *count, const char *titles)
{
    return IMAlLab2(*stream, *count, titles);
}

int IMAlNumLab_(const int *stream, const int *count)
{
    return IMAlNumLab(*stream, *count);
}

int IMRtNumLab_(const int *stream, int *count)
{
    return IMRtNumLab(*stream, count);
}

int IMRtMaxNumLab_(const int *stream, int *count)
{
    return IMRtMaxNumLab(*stream, count);
}

int IMRtRot_(const int *stream, float angles[3])
{
    return IMRtRot(*stream, angles);
}

int IMAlRot_(const int *stream, const float angles[3])
{
    return IMAlRot(*stream, angles);
}

int IMRtTimeStamp_(const int *stream, double *seconds)
{
    return IMRtTimeStamp(*stream, seconds);
}

int IMAlTimeStamp_(const int *stream, const double *seconds)
{
    return IMAlTimeStamp(*stream, *seconds);
}

int IMRtHdrValues_(const int *stream, int *value132, float *value134)
{
    return IMRtHdrValues(*stream, value132, value134);
}

int IMAlHdrValues_(const int *stream, const int *value132, const float *value134)
{
    return IMAlHdrValues(*stream, *value132, *value134);
}

int IMAlDis2_(const int *stream, const int *display)
{
    return IMAlDis2(*stream, *display);
}

int IMRtWID_(const int *stream, int *window)
{
    return IMRtWID(*stream, window);
}

int IMRtSwap_(const int *stream, int *swapped)
{
    return IMRtSwap(*stream, swapped);
}

int IMRtOpenMode_(const int *stream, int *mode, int *io_kind)
{
    return IMRtOpenMode(*stream, mode, io_kind);
}

int IMRtExt_(const int *stream)
{
    return IMRtExt(*stream);
}

int IMAlTltRot_(const int *stream)
{
    return IMAlTltRot(*stream);
}

int IMInterp_(const int *stream)
{
    return IMInterp(*stream);
}

int IMClLim_(const int *stream)
{
    return IMClLim(*stream);
}

int IMWrPal_(const int *stream)
{
    return IMWrPal(*stream);
}

int IMAlDis_(const int *stream, const int *display)
{
    return IMAlDis(*stream, *display);
}

int IMCrExHdr_(const int *stream, const int *type, const int *field_blocks)
{
    return IMCrExHdr(*stream, *type, *field_blocks);
}

int IMAlExHdrSize2_(const int *stream, const int *ints, const int *floats, const int *sections, const int *field_blocks)
{
    return IMAlExHdrSize2(*stream, *ints, *floats, *sections, *field_blocks);
}

int IMAlExHdrInfo_(const int *stream, const int *type, const int *ints, const int *floats)
{
    return IMAlExHdrInfo(*stream, *type, *ints, *floats);
}

int IMRtExHdrInfo_(const int *stream, int *type, int *ints, int *floats)
{
    return IMRtExHdrInfo(*stream, type, ints, floats);
}

int IMRtExHdrSize_(const int *stream, int *bytes)
{
    return IMRtExHdrSize(*stream, bytes);
}

int IMRtExHdrType_(const int *stream, int *type)
{
    return IMRtExHdrType(*stream, type);
}

int IMAlExHdrZWTP_(const int *stream, const int *z, const int *w, const int *t, const int *p, const int *ints, const float *floats)
{
    return IMAlExHdrZWTP(*stream, *z, *w, *t, *p, ints, floats);
}

int IMRtExHdrZWTP_(const int *stream, const int *z, const int *w, const int *t, const int *p, int *ints, float *floats)
{
    return IMRtExHdrZWTP(*stream, *z, *w, *t, *p, ints, floats);
}

int IMAlExHdr_(const int *stream, const int *section, const int *ints, const float *floats)
{
    return IMAlExHdr(*stream, *section, ints, floats);
}

int IMRtExHdr_(const int *stream, const int *section, int *ints, float *floats)
{
    return IMRtExHdr(*stream, *section, ints, floats);
}

int IMRtExHdrValueZWTP_(const int *stream, const int *z, const int *w, const int *t, const int *p, const int *index, double *value)
{
    return IMRtExHdrValueZWTP(*stream, *z, *w, *t, *p, *index, value);
}

int IMAlExHdrValueZWTP_(const int *stream, const int *z, const int *w, const int *t, const int *p, const int *index, const double *value)
{
    return IMAlExHdrValueZWTP(*stream, *z, *w, *t, *p, *index, *value);
}

int IMAlField_(const int *stream, const char *name, const void *value, const char *type, const int *size)
{
    return IMAlField(*stream, name, value, *type, *size);
}

int IMAlFieldBinary_(const int *stream, const char *name, const void *value, const int *size)
{
    return IMAlFieldBinary(*stream, name, value, *size);
}

int IMAlFieldChar_(const int *stream, const char *name, const char *value)
{
    return IMAlFieldChar(*stream, name, value);
}

int IMAlFieldDouble_(const int *stream, const char *name, const double *value)
{
    return IMAlFieldDouble(*stream, name, *value);
}

int IMAlFieldFloat_(const int *stream, const char *name, const float *value)
{
    return IMAlFieldFloat(*stream, name, *value);
}

int IMAlFieldInt_(const int *stream, const char *name, const int *value)
{
    return IMAlFieldInt(*stream, name, *value);
}

int IMRtField_(const int *stream, const char *name, char *value, const int *value_size, char *type, int *size)
{
    return IMRtField(*stream, name, value, *value_size, type, size);
}

int IMRtFieldBinary_(const int *stream, const char *name, void *value, const int *value_size, int *size)
{
    return IMRtFieldBinary(*stream, name, value, *value_size, size);
}

int IMRtFieldChar_(const int *stream, const char *name, char *value, const int *value_size)
{
    return IMRtFieldChar(*stream, name, value, *value_size);
}

int IMRtFieldDouble_(const int *stream, const char *name, double *value)
{
    return IMRtFieldDouble(*stream, name, value);
}

int IMRtFieldFloat_(const int *stream, const char *name, float *value)
{
    return IMRtFieldFloat(*stream, name, value);
}

int IMRtFieldInt_(const int *stream, const char *name, int *value)
{
    return IMRtFieldInt(*stream, name, value);
}

int IMFindFieldNum_(const int *stream, const char *name, int *number)
{
    return IMFindFieldNum(*stream, name, number);
}

int IMRtFieldNum_(const int *stream, const int *number, char *name, char *type, int *size)
{
    return IMRtFieldNum(*stream, *number, name, type, size);
}

int IMRtNumFields_(const int *stream, int *count)
{
    return IMRtNumFields(*stream, count);
}

int IMRtFieldHdr_(const int *stream, char *text, const int *text_size, int *length)
{
    return IMRtFieldHdr(*stream, text, *text_size, length);
}

int IMRtFieldHdrSize_(const int *stream, int *used)
{
    return IMRtFieldHdrSize(*stream, used);
}

int IMRtFieldHdrSpace_(const int *stream, int *usable)
{
    return IMRtFieldHdrSpace(*stream, usable);
}

int IMRdFieldHdr_(const int *stream)
{
    return IMRdFieldHdr(*stream);
}

int IMTrExHdr_(const int *from, const int *to)
{
    return IMTrExHdr(*from, *to);
}

int IMTrExHdr4_(const int *from, const int *to, const int *z_first, const int *z_step, const int *t_first, const int *t_step)
{
    return IMTrExHdr4(*from, *to, *z_first, *z_step, *t_first, *t_step);
}

int IMTrExHdr2_(const int *from, const int *to, const int *z_first, const int *z_step)
{
    return IMTrExHdr2(*from, *to, *z_first, *z_step);
}

int IMTrHdr_(const int *from, const int *to)
{
    return IMTrHdr(*from, *to);
}

} // extern "C"
