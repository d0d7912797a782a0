// Links and loads the toolkit layer with the Motif and Xt libraries its package brings.
#include <lumarix/wm.h>

int main()
{
    void (*volatile open)(void) = OpenApplication;
    return open != nullptr ? 0 : 1;
}
