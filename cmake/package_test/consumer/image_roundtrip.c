/* Writes a small float image to the file named by argv[1], reads it back and compares. */
#include <lumarix/im.h>

#include <stdio.h>
#include <string.h>

int main(int argc, char **argv)
{
    const float written[6] = {1.5f, -2.0f, 3.25f, 0.0f, 1e6f, -7.5f};
    float read[6] = {0};
    if (argc != 2)
        return 2;
    if (IMOpen(1, argv[1], "new") != 0 || IMCrHdr3(1, 3, 2, 1, 1, 1, 1, 0, 2) != 0 ||
        IMWrHdr(1, "consumer", 0, -7.5f, 1e6f, 0.0f) != 0 || IMWrSec(1, written) != 0 || IMClose(1) != 0) {
        fputs("image_roundtrip: writing failed\n", stderr);
        return 1;
    }
    if (IMOpen(1, argv[1], "ro") != 0 || IMPosn(1, 0, 0) != 0 || IMRdSec(1, read) != 0 || IMClose(1) != 0 ||
        memcmp(written, read, sizeof read) != 0) {
        fputs("image_roundtrip: the pixels read back differ\n", stderr);
        return 1;
    }
    puts("image round trip ok");
    return 0;
}
