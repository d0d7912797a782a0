// The checks run on the form's values before a save, and the seam through which they read the
// form. The form installs a reader over its widgets; tests install their own.
#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>

#include <lumarix/editor.h>

namespace lx {

struct FormReader {
    // GetWidgetValue's contract: true and the text when the row holds a value; `changed` when
    // that text differs from the variable's saved value.
    std::function<bool(ConfigVar &var, std::string &text, bool &changed)> widgetValue;
    // The text field's current string exactly as typed; nullopt when it cannot be read.
    std::function<std::optional<std::string>(ConfigVar &var)> fieldText;
};

// The reader used by CheckMultiValue and CheckPathValue.
void installFormReader(FormReader reader);
const FormReader &formReader();

struct CheckOutcome {
    bool pass = true;
    std::string message; // empty for a silent failure
};

CheckOutcome checkMultiValue(ConfigVar &var, std::span<ConfigVar> table, const std::string &descriptionFile,
                             const FormReader &reader);
CheckOutcome checkPathValue(ConfigVar &var, const FormReader &reader);

// Number of words in `text` split at spaces, runs of spaces counting as one separator.
int countSpaceSeparated(std::string_view text);

} // namespace lx
