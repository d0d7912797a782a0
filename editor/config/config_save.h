// Writing the configuration file back: the dated backup, the temporary file and the rename.
// Nothing here knows about widgets: the caller says, per variable, whether it changed and to what.
#pragma once

#include <ctime>
#include <span>
#include <string>

namespace lx {

struct SaveEntry {
    std::string name;     // the variable's name, as in the description file
    bool changed = false; // the form holds a value for it that differs from the saved one
    std::string newText;  // that value (used only when changed)
};

struct SaveResult {
    bool ok = false;
    std::string message;    // on failure: what failed and that nothing was changed
    std::string backupPath; // the backup made, or empty when there was no old file
};

// "<path>.<MMDDYYYY_HHMM>" in local time.
std::string backupPathFor(const std::string &path, std::time_t now);

// Rewrites `path`: a byte copy of the old file goes to backupPathFor(path, now); every old line
// is kept except those that belong to a changed variable (the first variable, in table order,
// whose name occurs in the line; lines starting with '#' or '!' always stay); one "name value"
// line per changed variable is appended. The new text is written completely to "<path>_tmp",
// flushed to disk and renamed over the old file, so the file is always either the complete old or
// the complete new one (a symbolic link is followed and stays a link). On failure the old file is
// untouched and the temporary file removed.
SaveResult saveConfigurationFile(const std::string &path, std::span<const SaveEntry> entries, std::time_t now);

} // namespace lx
