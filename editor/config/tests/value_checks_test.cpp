// The checks a save runs on the values typed into the form: value counts, required values and
// paths. The form is replaced by a reader over the typed texts.
#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <optional>
#include <vector>

#include <unistd.h>

#include "config_file.h"
#include "lx_testing.h"
#include "value_checks.h"

namespace {

using Failure = std::optional<std::string>; // nullopt: the check passes; "": it fails silently

ConfigVar makeVar(const char *name, int type, int numValues = 1)
{
    ConfigVar var{};
    std::strcpy(var.name, name);
    std::strcpy(var.shortDesc, "Data");
    var.type = type;
    var.numValues = numValues;
    var.optional = 1;
    return var;
}

// What the user typed, per variable name; a missing entry is a field that yields no text.
lx::FormReader reader(std::map<std::string, std::string> &typed)
{
    lx::FormReader r;
    r.widgetValue = [&typed](ConfigVar &var, std::string &text, bool &changed) {
        auto it = typed.find(var.name);
        text = it == typed.end() ? "" : it->second;
        changed = text != var.value;
        return !text.empty();
    };
    r.fieldText = [&typed](ConfigVar &var) -> std::optional<std::string> {
        auto it = typed.find(var.name);
        return it == typed.end() ? std::nullopt : std::optional(it->second);
    };
    return r;
}

Failure failure(const lx::CheckOutcome &outcome) { return outcome.pass ? Failure() : Failure(outcome.message); }

} // namespace

TEST(ValueChecks, MultiValueCounts)
{
    const std::string three = "Variable \"Data\" must have 3 Values.", four = "Variable \"Data\" must have 4 Values.";
    const std::string dependency = "MultiValue Variable \"Data\" depends on simple Variable ";
    struct Case {
        int numValues, optional;
        std::optional<std::string> typed;
        Failure expected;
        std::string channels = "4", dependsOn = "LX_NUM";
    };
    for (const Case &c : std::vector<Case>{
             {3, 1, "  1 2   3  ", {}},
             {3, 1, "1 2", three},
             {3, 1, "1\t2\t3", three}, // only spaces separate values
             {3, 1, "   ", {}},
             {3, 0, "   ", three},
             {3, 0, std::nullopt, ""},
             {3, 1, std::nullopt, {}},
             {-1, 0, "405 488 561 640 730", {}},
             // The count comes from what the form shows for LX_NUM (saved: 2), by exact name.
             {-2, 1, "457 528 617 685", {}},
             {-2, 1, "457 528", four},
             {-2, 1, "457", dependency + "\"LX_NUM\"\nwhich is must be given a valid value.\n", ""},
             {-2, 1, "457", dependency + "\"lx_num\"\nwhich is not defined in configuration file /etc/x.vars\n", "4",
              "lx_num"},
         }) {
        std::vector<ConfigVar> table{makeVar("LX_NUM", VAR_SIMPLE), makeVar("LX_WAVES", VAR_MULTIVALUE, c.numValues)};
        std::strcpy(table[0].value, "2");
        std::strcpy(table[1].dependsOn, c.dependsOn.c_str());
        table[1].optional = c.optional;
        std::map<std::string, std::string> typed{{"LX_NUM", c.channels}};
        if (c.typed)
            typed["LX_WAVES"] = *c.typed;
        EXPECT_EQ(failure(lx::checkMultiValue(table[1], table, "/etc/x.vars", reader(typed))), c.expected)
            << c.numValues << " '" << c.typed.value_or("(none)") << "'";
        // A SIMPLE variable has no count.
        table[1].type = VAR_SIMPLE;
        EXPECT_EQ(failure(lx::checkMultiValue(table[1], table, "/etc/x.vars", reader(typed))), Failure());
    }
}

TEST(ValueChecks, RequiredValuesAndPaths)
{
    lxtest::TempDir dir;
    for (const char *name : {"with space", "c++", "plain-dir_1.0"})
        std::filesystem::create_directory(dir / name);
    const std::string invalid = "Invalid value specified for Data.\n\n";
    const std::string strange = invalid + "File or Directory (Folder) names can not\ncontain spaces or strange "
                                          "characters.";
    // Whether optional, checked for reading, for writing; the text typed; the failure.
    for (const auto &[optional, checkRead, checkWrite, typed, expected] :
         std::vector<std::tuple<int, int, int, std::string, Failure>>{
             {0, 0, 0, "", "Parameter \"Data\" must\n have a value supplied for it."},
             {1, 1, 1, "", {}},
             {1, 0, 0, "Imaging Core + friends", {}},
             {1, 1, 0, dir / "with space", strange},
             {1, 0, 1, dir / "c++", strange},
             {1, 1, 1, dir / "plain-dir_1.0", {}},
             {1, 0, 1, dir / "no such+dir",
              invalid + "File or Directory: \"" + dir / "no such+dir" + "\" doesn't exist."},
         }) {
        ConfigVar var = makeVar("LX_DIR", VAR_SIMPLE);
        var.optional = optional;
        var.checkRead = checkRead;
        var.checkWrite = checkWrite;
        std::map<std::string, std::string> form{{"LX_DIR", typed}};
        EXPECT_EQ(failure(lx::checkPathValue(var, reader(form))), expected) << typed;
        var.type = VAR_MULTIVALUE;
        EXPECT_EQ(failure(lx::checkPathValue(var, reader(form))), Failure());
    }
}

// Permissions are those of the user: a child running as "nobody" checks a folder only root may use.
TEST(ValueChecks, PermissionsAreThoseOfTheUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "switching to nobody needs root";
    lxtest::TempDir dir;
    std::filesystem::create_directory(dir / "locked");
    std::filesystem::permissions(dir.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(dir / "locked", std::filesystem::perms(0700));
    std::map<std::string, std::string> typed{{"LX_DIR", dir / "locked"}};
    ConfigVar readable = makeVar("LX_DIR", VAR_SIMPLE), writable = readable;
    readable.checkRead = writable.checkWrite = 1;
    const std::string where = " Permission for\nFile or Directory: \"" + dir / "locked" + "\".";
    EXPECT_TRUE(lxtest::inChild([&] {
        return ::setgid(65534) == 0 && ::setuid(65534) == 0 &&
               failure(lx::checkPathValue(readable, reader(typed))) ==
                   "Invalid value specified for Data.\n\nYou don't have Read" + where &&
               failure(lx::checkPathValue(writable, reader(typed))) ==
                   "Invalid value specified for Data.\n\nYou don't have Write" + where;
    }));
}

TEST(ValueChecks, ClassifyPathCharsFirstOffendingCharacterDecides)
{
    // 0: plain; 1: white space first; 2: another character first; 3: empty.
    const std::vector<std::vector<const char *>> byKind{{"/usr/local/Lumarix-2.1_b/x.y"},
                                                        {"/data/a\tb", "/data/a\rb", "/a b+c"},
                                                        {"/data/$HOME", "/data/caf\xc3\xa9", "/a+b c"},
                                                        {""}};
    for (int kind = 0; kind < 4; ++kind)
        for (const char *text : byKind[kind])
            EXPECT_EQ(ClassifyPathChars(text), kind) << text;
}
