/* Opens a stream with the given name and attribute; exits with the status (tests run it as
 * another user). */
#include <lumarix/im.h>

int main(int argc, char **argv)
{
    if (argc != 3)
        return 255;
    return IMOpen(1, argv[1], argv[2]);
}
