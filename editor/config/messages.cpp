#include "messages.h"

#include <cstring>

namespace lx::msg {

namespace {
std::string quoted(std::string_view text) { return "\"" + std::string(text) + "\""; }
} // namespace

std::string dependencyUndefined(std::string_view shortDesc, std::string_view dependsOn,
                                std::string_view descriptionFile)
{
    return "MultiValue Variable " + quoted(shortDesc) + " depends on simple Variable " + quoted(dependsOn) +
           "\nwhich is not defined in configuration file " + std::string(descriptionFile) + "\n";
}

std::string dependencyWithoutValue(std::string_view shortDesc, std::string_view dependsOn)
{
    // "which is must" is the wording users of this program have always seen; it stays.
    return "MultiValue Variable " + quoted(shortDesc) + " depends on simple Variable " + quoted(dependsOn) +
           "\nwhich is must be given a valid value.\n";
}

std::string wrongValueCount(std::string_view shortDesc, int required)
{
    return "Variable " + quoted(shortDesc) + " must have " + std::to_string(required) + " Values.";
}

std::string mustHaveValue(std::string_view shortDesc)
{
    return "Parameter " + quoted(shortDesc) + " must\n have a value supplied for it.";
}

static std::string invalidValue(std::string_view shortDesc)
{
    return "Invalid value specified for " + std::string(shortDesc) + ".\n\n";
}

std::string pathMissing(std::string_view shortDesc, std::string_view path)
{
    return invalidValue(shortDesc) + "File or Directory: " + quoted(path) + " doesn't exist.";
}

std::string pathNotReadable(std::string_view shortDesc, std::string_view path)
{
    return invalidValue(shortDesc) + "You don't have Read Permission for\nFile or Directory: " + quoted(path) + ".";
}

std::string pathNotWritable(std::string_view shortDesc, std::string_view path)
{
    return invalidValue(shortDesc) + "You don't have Write Permission for\nFile or Directory: " + quoted(path) + ".";
}

std::string pathStrangeCharacters(std::string_view shortDesc)
{
    return invalidValue(shortDesc) + "File or Directory (Folder) names can not\ncontain spaces or strange characters.";
}

std::string saveFailed(std::string_view what, std::string_view file, int error, bool oldFileExists)
{
    std::string text(what);
    text += "\n" + std::string(file) + ": " + std::strerror(error) + "\n\n";
    text += oldFileExists ? "Nothing was changed: the configuration file is as it was."
                          : "Nothing was changed: no configuration file was written.";
    return text;
}

std::string saved(std::string_view path) { return "Saved options to file " + std::string(path) + "\n"; }

std::string savedRestartNeeded(std::string_view path)
{
    return "Saved options to file " + std::string(path) +
           "\n\nNOTE: Some changed values will not take effect until Lumarix is restarted.";
}

} // namespace lx::msg
