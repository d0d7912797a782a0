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

// Variables are written with designated initializers; the members they leave out are zero.
#pragma GCC diagnostic ignored "-Wmissing-field-initializers"

namespace {

using Failure = std::optional<std::string>; // nullopt: the check passes; "": it fails silently

// What the user typed, per variable name; a missing entry is a field that yields no text.
lx::FormReader reader(const std::map<std::string, std::string> &typed)
{
    auto field = [&typed](ConfigVar &var) {
        auto it = typed.find(var.name);
        return it == typed.end() ? std::nullopt : std::optional(it->second);
    };
    return {[field](ConfigVar &var, std::string &text, bool &) { return !(text = field(var).value_or("")).empty(); },
            field};
}

Failure failure(const lx::CheckOutcome &outcome) { return outcome.pass ? Failure() : Failure(outcome.message); }

} // namespace

TEST(ValueChecks, MultiValueCounts)
{
    const std::string three = "Variable \"Data\" must have 3 Values.", four = "Variable \"Data\" must have 4 Values.";
    const std::string dependency = "MultiValue Variable \"Data\" depends on simple Variable ";
    // The count (-1: any, -2: what the form shows for LX_NUM, saved as 2), whether optional, the
    // text typed (none: no field), the failure; then what LX_NUM shows and the name depended on.
    struct Case {
        int count, opt;
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
             {-2, 1, "457 528", four},
             {-2, 1, "457", dependency + "\"LX_NUM\"\nwhich is must be given a valid value.\n", ""},
             {-2, 1, "457", dependency + "\"lx_num\"\nwhich is not defined in configuration file /etc/x.vars\n", "4",
              "lx_num"}, // found by exact name only
         }) {
        std::vector<ConfigVar> table{
            {.name = "LX_NUM", .type = VAR_SIMPLE, .value = "2"},
            {.name = "LX_WAVES", .shortDesc = "Data", .type = VAR_MULTIVALUE, .numValues = c.count, .optional = c.opt}};
        std::strcpy(table[1].dependsOn, c.dependsOn.c_str());
        std::map<std::string, std::string> typed{{"LX_NUM", c.channels}};
        if (c.typed)
            typed["LX_WAVES"] = *c.typed;
        EXPECT_EQ(failure(lx::checkMultiValue(table[1], table, "/etc/x.vars", reader(typed))), c.expected)
            << c.count << " '" << c.typed.value_or("(none)") << "'";
        table[1].type = VAR_SIMPLE; // no count
        EXPECT_EQ(failure(lx::checkMultiValue(table[1], table, "/etc/x.vars", reader(typed))), Failure());
    }
}

// Permissions are those of the user: the rows on a folder only root may use are checked by a
// child running as "nobody".
TEST(ValueChecks, RequiredValuesAndPaths)
{
    lxtest::TempDir dir;
    for (const char *name : {"with space", "c++", "plain-dir_1.0", "locked"})
        std::filesystem::create_directory(dir / name);
    std::filesystem::permissions(dir.path(), std::filesystem::perms(0755));
    std::filesystem::permissions(dir / "locked", std::filesystem::perms(0700));
    const std::string invalid = "Invalid value specified for Data.\n\n", locked = dir / "locked";
    const std::string strange = invalid + "File or Directory (Folder) names can not\ncontain spaces or strange "
                                          "characters.";
    const std::string denied = " Permission for\nFile or Directory: \"" + locked + "\".";
    // Whether optional, checked for reading, for writing; the text typed; the failure.
    for (const auto &[opt, rd, wr, typed, expected] : std::vector<std::tuple<int, int, int, std::string, Failure>>{
             {0, 0, 0, "", "Parameter \"Data\" must\n have a value supplied for it."},
             {1, 1, 1, "", {}},
             {1, 0, 0, "Imaging Core + friends", {}},
             {1, 1, 0, dir / "with space", strange},
             {1, 0, 1, dir / "c++", strange},
             {1, 1, 1, dir / "plain-dir_1.0", {}},
             {1, 0, 1, dir / "no such+dir",
              invalid + "File or Directory: \"" + dir / "no such+dir" + "\" doesn't exist."},
             {1, 1, 0, locked, invalid + "You don't have Read" + denied},
             {1, 0, 1, locked, invalid + "You don't have Write" + denied},
         }) {
        ConfigVar var{
            .name = "D", .shortDesc = "Data", .type = VAR_SIMPLE, .optional = opt, .checkRead = rd, .checkWrite = wr};
        const std::map<std::string, std::string> form{{"D", typed}};
        auto check = [&] { return failure(lx::checkPathValue(var, reader(form))); };
        if (typed != locked) {
            EXPECT_EQ(check(), expected) << typed;
        } else if (::geteuid() == 0) { // checked as nobody: root may use any folder
            EXPECT_TRUE(lxtest::inChild([&] {
                return ::setgid(65534) == 0 && ::setuid(65534) == 0 && check() == expected;
            })) << *expected;
        }
        var.type = VAR_MULTIVALUE;
        EXPECT_EQ(check(), Failure());
    }
}

// 0: plain; 1: white space first; 2: a character other than a letter, digit or "-_./" first; 3: empty.
TEST(ValueChecks, ClassifyPathCharsFirstOffendingCharacterDecides)
{
    const std::vector<std::vector<const char *>> byKind{{"/usr/local/Lumarix-2.1_b/x.y"},
                                                        {"/data/a\rb", "/a b+c"},
                                                        {"/data/$HOME", "/data/caf\xc3\xa9", "/a+b c"},
                                                        {""}};
    for (int kind = 0; kind < 4; ++kind)
        for (const char *text : byKind[kind])
            EXPECT_EQ(ClassifyPathChars(text), kind) << text;
}
