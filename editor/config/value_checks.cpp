#include "value_checks.h"

#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "config_file.h"
#include "messages.h"
#include "text_rules.h"

namespace lx {

namespace {

FormReader &installedReader()
{
    static FormReader reader;
    return reader;
}

bool readValue(const FormReader &reader, ConfigVar &var, std::string &text)
{
    bool changed = false;
    return reader.widgetValue && reader.widgetValue(var, text, changed);
}

CheckOutcome fail(std::string message) { return CheckOutcome{false, std::move(message)}; }

} // namespace

void installFormReader(FormReader reader) { installedReader() = std::move(reader); }
const FormReader &formReader() { return installedReader(); }

int countSpaceSeparated(std::string_view text)
{
    int count = 0;
    bool inWord = false;
    for (char c : text) {
        if (c == ' ') {
            inWord = false;
        } else if (!inWord) {
            inWord = true;
            ++count;
        }
    }
    return count;
}

CheckOutcome checkMultiValue(ConfigVar &var, std::span<ConfigVar> table, const std::string &descriptionFile,
                             const FormReader &reader)
{
    if (var.type != VAR_MULTIVALUE || var.numValues == -1)
        return {};

    int required = var.numValues;
    if (var.numValues == -2) {
        ConfigVar *source = nullptr;
        for (ConfigVar &candidate : table)
            if (std::strcmp(candidate.name, var.dependsOn) == 0) {
                source = &candidate;
                break;
            }
        if (source == nullptr)
            return fail(msg::dependencyUndefined(var.shortDesc, var.dependsOn, descriptionFile));
        // The count is what the form shows now, saved or not.
        std::string countText;
        if (!readValue(reader, *source, countText))
            return fail(msg::dependencyWithoutValue(var.shortDesc, var.dependsOn));
        required = std::atoi(countText.c_str());
    }

    std::optional<std::string> text = reader.fieldText ? reader.fieldText(var) : std::nullopt;
    if (!text)
        return var.optional ? CheckOutcome{} : CheckOutcome{false, {}};
    int count = countSpaceSeparated(*text);
    if ((count == 0 && var.optional) || count == required)
        return {};
    return fail(msg::wrongValueCount(var.shortDesc, required));
}

CheckOutcome checkPathValue(ConfigVar &var, const FormReader &reader)
{
    if (var.type != VAR_SIMPLE)
        return {};
    std::string path;
    if (!readValue(reader, var, path))
        return var.optional ? CheckOutcome{} : fail(msg::mustHaveValue(var.shortDesc));
    if (!var.checkRead && !var.checkWrite)
        return {};
    if (::access(path.c_str(), F_OK) != 0)
        return fail(msg::pathMissing(var.shortDesc, path));
    if (var.checkRead && ::access(path.c_str(), R_OK) != 0)
        return fail(msg::pathNotReadable(var.shortDesc, path));
    if (var.checkWrite && ::access(path.c_str(), W_OK) != 0)
        return fail(msg::pathNotWritable(var.shortDesc, path));
    int kind = ClassifyPathChars(path.c_str());
    if (kind == 1 || kind == 2)
        return fail(msg::pathStrangeCharacters(var.shortDesc));
    return {};
}

} // namespace lx

namespace {

// Shows a failed check's message; a silent failure shows nothing.
int report(const lx::CheckOutcome &outcome)
{
    if (!outcome.pass && !outcome.message.empty())
        ShowError(outcome.message.c_str());
    return outcome.pass ? 1 : 0;
}

} // namespace

extern "C" int ClassifyPathChars(const char *text)
{
    if (text == nullptr || *text == '\0')
        return 3;
    for (const char *c = text; *c != '\0'; ++c) {
        if (lx::isWhiteSpace(*c))
            return 1;
        if (!lx::isPathCharacter(*c))
            return 2;
    }
    return 0;
}

extern "C" int CheckMultiValue(ConfigVar *var)
{
    if (var == nullptr)
        return 1;
    try {
        std::span<ConfigVar> table(gVarList, static_cast<size_t>(gNumVars > 0 ? gNumVars : 0));
        return report(lx::checkMultiValue(*var, table, gDescriptionFile, lx::formReader()));
    } catch (...) {
        ShowError("Checking the values failed: out of memory.");
        return 0;
    }
}

extern "C" int CheckPathValue(ConfigVar *var)
{
    if (var == nullptr)
        return 1;
    try {
        return report(lx::checkPathValue(*var, lx::formReader()));
    } catch (...) {
        ShowError("Checking the values failed: out of memory.");
        return 0;
    }
}
