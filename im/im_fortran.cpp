// The Fortran forms of the calls, one per entry of IM_FORTRAN_CALLS: each dereferences the
// arguments its call takes by value and forwards.
#include <lumarix/im_fortran.h>

#define IM_FORTRAN_FORWARDER(call, parameters, arguments)                                                              \
    int call##_ parameters { return call arguments; }

extern "C" {
IM_FORTRAN_CALLS(IM_FORTRAN_FORWARDER)
}
