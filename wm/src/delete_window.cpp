// Routing the window manager's close request of a shell to a handler of the caller.
#include "delete_window.h"
#include "toolkit_verbs.h"

#include <Xm/Protocols.h>
#include <Xm/Xm.h>

#include <deque>

namespace lx::wm {
namespace {

std::deque<DeleteWindowRecord> &Records()
{
    static std::deque<DeleteWindowRecord> records; // stable addresses, never shrinks
    return records;
}

void DeleteWindowProtocolCB(Widget, XtPointer client, XtPointer)
{
    GuardCallback(__func__, [client] {
        auto *record = static_cast<DeleteWindowRecord *>(client);
        if (record->handler != nullptr) {
            record->handler(record->argument, record);
        }
    });
}

} // namespace

DeleteWindowRecord *InstallDeleteWindowHandler(Widget shell, WMDeleteWindowHandler handler, void *argument)
{
    if (shell == nullptr) {
        shell = baseshell;
    }
    if (shell == nullptr || !XtIsVendorShell(shell)) {
        return nullptr;
    }
    XtVaSetValues(shell, XmNdeleteResponse, XmDO_NOTHING, nullptr);
    DeleteWindowRecord &record = Records().emplace_back(DeleteWindowRecord{handler, argument});
    Atom deleteWindow = XmInternAtom(XtDisplay(shell), const_cast<char *>("WM_DELETE_WINDOW"), False);
    XmAddWMProtocolCallback(shell, deleteWindow, DeleteWindowProtocolCB, &record);
    return &record;
}

} // namespace lx::wm

extern "C" int AddDeleteWindowHandler(Widget shell, WMDeleteWindowHandler handler, void *argument)
{
    int installed = 0;
    lx::wm::GuardCallback(
        __func__, [&] { installed = lx::wm::InstallDeleteWindowHandler(shell, handler, argument) != nullptr ? 1 : 0; });
    return installed;
}
