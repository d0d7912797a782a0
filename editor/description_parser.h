// The description file parser behind ReadDescriptionFile, reachable with any open file and any
// error sink so that it can be driven by tests and the fuzzer.
#pragma once

#include <cstdio>
#include <functional>
#include <string_view>

namespace lx::editor {

using ErrorSink = std::function<void(std::string_view message)>;

// Fills gVarList/gNumVars (and gcMainTitle) from `file`; runs the dependency check at the end.
// Returns true, or false after exactly one message went to `report`.
bool ParseDescription(FILE *file, const ErrorSink &report);

// The dependency check with its message sent to `report`.
bool CheckDependsOn(const ErrorSink &report);

} // namespace lx::editor
