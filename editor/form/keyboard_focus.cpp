// A row reached with Tab while scrolled out of view is scrolled into view.
#include <Xm/ScrolledW.h>

#include "form_internal.h"

namespace {

void scrollToFocus(Widget scrolledWindow, XtPointer, XtPointer callData)
{
    auto *traversal = static_cast<XmTraverseObscuredCallbackStruct *>(callData);
    if (traversal != nullptr && traversal->traversal_destination != nullptr)
        XmScrollVisible(scrolledWindow, traversal->traversal_destination, 4, 4);
}

} // namespace

namespace lx::form {

void followKeyboardFocus(Widget scrolledWindow)
{
    XtAddCallback(scrolledWindow, XmNtraverseObscuredCallback, scrollToFocus, nullptr);
}

} // namespace lx::form
