// Done, Save, Revert and the rows' help: what the editor's buttons do.
#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include "config_file.h"
#include "config_save.h"
#include "editor_window.h"
#include "messages.h"

namespace {

// Checks every variable in table order; the first failure stops the save.
bool checkAll()
{
    for (int i = 0; i < gNumVars; ++i)
        if (!CheckMultiValue(&gVarList[i]) || !CheckPathValue(&gVarList[i]))
            return false;
    return true;
}

struct RowState {
    bool changed;
    std::string text;
};

std::vector<RowState> readRows()
{
    std::vector<RowState> rows;
    for (int i = 0; i < gNumVars; ++i) {
        char text[256] = "";
        int changed = 0;
        bool has = GetWidgetValue(&gVarList[i], text, &changed) == 1;
        rows.push_back({has && changed != 0, has ? text : ""});
    }
    return rows;
}

void save()
{
    if (!checkAll())
        return;
    std::vector<RowState> rows = readRows();
    std::vector<lx::SaveEntry> entries;
    for (int i = 0; i < gNumVars; ++i)
        entries.push_back({gVarList[i].name, rows[static_cast<size_t>(i)].changed, rows[static_cast<size_t>(i)].text});

    lx::SaveResult result = lx::saveConfigurationFile(gConfigFile, entries, std::time(nullptr));
    if (!result.ok) {
        ShowError(result.message.c_str());
        return; // nothing delivered live either
    }

    bool restartNeeded = false;
    for (int i = 0; i < gNumVars; ++i) {
        const RowState &row = rows[static_cast<size_t>(i)];
        if (!row.changed)
            continue;
        ConfigVar &var = gVarList[i];
        std::snprintf(var.value, sizeof var.value, "%s", row.text.c_str());
        if (!giRunningWithSHM)
            continue;
        if (var.canSetLive)
            SetSetting(var.name, var.value);
        else
            restartNeeded = true;
    }
    if (restartNeeded)
        WMShowInfo(lx::msg::savedRestartNeeded(gConfigFile).c_str(), 0);
    else
        WMShowInfo(lx::msg::saved(gConfigFile).c_str(), 2);
}

bool anyRowChanged()
{
    for (int i = 0; i < gNumVars; ++i) {
        char text[256];
        int changed = 0;
        GetWidgetValue(&gVarList[i], text, &changed);
        if (changed)
            return true;
    }
    return false;
}

} // namespace

extern "C" void DoneCB(Widget, XtPointer, XtPointer)
{
    if (anyRowChanged() && !WMAskQuestion("%s", "You have made changes.\nAre you sure you want to quit?"))
        return;
    std::exit(0);
}

extern "C" void SaveCB(Widget, XtPointer, XtPointer)
{
    try {
        save();
    } catch (...) {
        ShowError("The options could not be saved: out of memory.\nNothing was changed.");
    }
}

extern "C" void RevertCB(Widget, XtPointer, XtPointer) { LoadValues(); }

extern "C" void ShowHelp(Widget, XtPointer clientData, XtPointer)
{
    auto index = static_cast<int>(reinterpret_cast<intptr_t>(clientData));
    if (index < 0 || index >= gNumVars)
        return;
    const ConfigVar &var = gVarList[index];
    if (var.help[0] == '\0')
        WMShowInfo("No Help information provided for this variable", 2);
    else
        WMShowInfo(var.help, 0);
}
