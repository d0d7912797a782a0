/* Compiled as C: the public headers must be valid C, and the calls usable from it.
 * With an argument, opens a new file of that name and closes it (the first open of a process
 * reacts to IMSUBS_VERBOSE). */
#include <lumarix/im.h>
#include <lumarix/im_format.h>
#include <lumarix/im_fortran.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char **argv)
{
    IMFileHeader header;
    memset(&header, 0, sizeof header);
    header.file_id = IM_FILE_ID;
    if (sizeof header != IM_HEADER_BYTES || strcmp(IMRtStatusText(904), "Unsupported function") != 0)
        return 1;
    int stream = 1, section = -1;
    float pixels[4] = {0};
    if (IMRtSecNum2(stream, 0, 0, 0, 0, &section) != 3 || IMRdSec(stream, pixels) != 3 ||
        IMWrPas(stream, pixels, 2, 2, 0, 1, 0, 1) != 3) /* nothing open yet */
        return 2;
    if (argc > 1) {
        if (IMOpen(stream, argv[1], "new") != 0 || IMClose(stream) != 0)
            return 3;
        puts("");
    }
    puts("C caller ok");
    return 0;
}
