// The window-manager close handler records, shared with the blocking dialogs.
#pragma once

#include <lumarix/wm.h>

namespace lx::wm {

// Lives for the rest of the run: the protocol callback keeps a pointer to it.
struct DeleteWindowRecord {
    WMDeleteWindowHandler handler = nullptr;
    void *argument = nullptr;
};

// Installs the handler and returns its record, or NULL (see AddDeleteWindowHandler).
DeleteWindowRecord *InstallDeleteWindowHandler(Widget shell, WMDeleteWindowHandler handler, void *argument);

} // namespace lx::wm
