// The variable description file: its grammar, and every way a file is refused, with its message.
#include "description_parser.h"
#include "lumarix/editor.h"

#include <gtest/gtest.h>
#include <span>
#include <string>
#include <vector>

using namespace std::string_literals;

namespace {

// The messages, each followed by "|": "" for a file that is accepted, and exactly one for a file
// that is refused.
std::string parse(const std::string &text)
{
    std::snprintf(gcMainTitle, sizeof gcMainTitle, "%s", "Lumarix User Parameters");
    std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", "/etc/test.vars");
    std::string messages;
    FILE *file = fmemopen(const_cast<char *>(text.data()), text.size(), "r");
    const bool ok = lx::editor::ParseDescription(file, [&](std::string_view m) { messages += std::string(m) + "|"; });
    std::fclose(file);
    return ok == messages.empty() ? messages : (ok ? "accepted after " : "refused without a message ") + messages;
}

// The records a file gives, each in one line: name|shortDesc|dependsOn|type numValues numChoices,
// then the flags optional, checkRead, checkWrite and canSetLive as digits; or its refusal.
std::vector<std::string> records(const std::string &text)
{
    if (std::string refusal = parse(text); !refusal.empty())
        return {refusal};
    std::vector<std::string> all;
    for (const ConfigVar &v : std::span(gVarList, static_cast<size_t>(gNumVars))) {
        char line[1024];
        std::snprintf(line, sizeof line, "%.255s|%.255s|%.255s|%d %d %d %d%d%d%d", v.name, v.shortDesc, v.dependsOn,
                      v.type, v.numValues, v.numChoices, v.optional, v.checkRead, v.checkWrite, v.canSetLive);
        all.push_back(line);
    }
    return all;
}

// `count` numbered lines: prefix0, prefix1, ...
std::string lines(int count, const std::string &prefix)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += prefix + std::to_string(i) + "\n";
    return text;
}

} // namespace

TEST(Description, RecordsTypesChoicesAndHelp)
{
    using Records = std::vector<std::string>;
    // Keywords in any case; TITLE:, SHORTDESC:, TYPE: and VARIABLE: alone at a line's end are ignored, flags are not.
    EXPECT_EQ(
        records("# comment\ntitle:   My  Setup\nvariable:\tLX_DATA extra words\nShortDesc:  Data\n"
                "type: simple\nmustbeset:\ncheckread: anything\nCHECKWRITE:\ncansetlive:\nstray text\n\n"
                "VARIABLE: SECOND\nTYPE: SIMPLE\nTYPE: FANCY\nTITLE:\nSHORTDESC:\nTYPE:\nVARIABLE:\nCANSETLIVE:\n"),
        Records({"LX_DATA| Data||1 1 0 0111", "SECOND|||1 1 0 1001"}));
    EXPECT_STREQ(gcMainTitle, "  My  Setup");

    EXPECT_EQ(
        records("VARIABLE: N\nTYPE: Boolean\n# on\n\tOff  \nVARIABLE: A\nTYPE: MULTIVALUE 3 ignored\n"
                "VARIABLE: B\nTYPE: MULTIVALUE\nVARIABLE: C\nTYPE: MULTIVALUE $N\nVARIABLE: D\nTYPE: MULTIVALUE abc\n"
                "VARIABLE: E\nTYPE: MULTIVALUE 99999999999\nVARIABLE: M\nTYPE: oneofmany 3\nred\n VARIABLE: g\n%%\n"
                "VARIABLE: Z\nTYPE: ONEOFMANY 0\nVARIABLE: F\nTYPE: ONEOFMANY $M\nnot a choice\n"),
        Records({"N|||2 1 2 1000", "A|||4 3 0 1000", "B|||4 -1 0 1000", "C||N|4 -2 0 1000", "D|||4 0 0 1000",
                 "E|||4 2147483647 0 1000", "M|||3 0 3 1000", "Z|||3 0 0 1000", "F||M|3 0 -2 1000"}));
    EXPECT_EQ(Records({gVarList[0].choices[0], gVarList[0].choices[1], gVarList[6].choices[1], gVarList[6].choices[2]}),
              Records({"# on", "\tOff  ", " VARIABLE: g", "%%"}));
    EXPECT_EQ(CheckDependencies(), 1);

    // 255 bytes are read at a time: the rest of a long line is a line of its own.
    EXPECT_EQ(records("VARIABLE: A\nHELP: First\n# kept\n% kept\nTYPE:\tSIMPLE\n%%% ends too\nTYPE: BOOLEAN\nx\ny\n"
                      "VARIABLE: B\nHELP: kept\n%%\nHELP:\n" +
                      lines(18, "l") + "%%\nVARIABLE: C\nSHORTDESC: " + std::string(244, 'd') + "MUSTBESET: x\n"),
              Records({"A|||2 1 2 1000", "B|||0 0 0 1000", "C|" + std::string(244, 'd') + "||0 0 0 0000"}));
    EXPECT_EQ(Records({gVarList[0].help, gVarList[1].help}),
              Records({"First\n# kept\n% kept\nTYPE:\tSIMPLE\n", "kept\n" + lines(18, "l")}));
}

TEST(Description, RefusedFilesSayWhyOnce)
{
    const std::string vars200 = lines(200, "VARIABLE: V"), twenty = lines(20, "c");
    const std::string help1501 = "VARIABLE: A\nHELP: " + std::string(197, 'h') + "\n" + lines(13, std::string(98, 'b'));
    const std::string choices = " choices: between 0 and 20 are allowed.|";
    const std::string crlf = " ends in CR-LF; save the file with plain newline line ends.|";
    const std::string undefined = " depends on simple Variable X\nwhich is not defined in configuration file "
                                  "/etc/test.vars\n|";
    // The file, its message, and the records in the table afterwards.
    for (const auto &[text, message, parsed] : std::vector<std::tuple<std::string, std::string, int>>{
             {"VARIABLE: \n", "VARIABLE: line incomplete!|", 0},
             {"VARIABLE: A\nSHORTDESC: \n", "SHORTDESC: line incomplete!|", 1},
             {"VARIABLE: A\nTYPE:   \n", "TYPE: line incomplete!|", 1},
             {"VARIABLE: A\nTYPE: ONEOFMANY \n", "Type ONEOFMANY requires a number!|", 1},
             {"VARIABLE: A\nTYPE: BOOLEAN\nyes\n", "Expected Boolean Choices!|", 1},
             {"VARIABLE: A\nTYPE: ONEOFMANY 3\na\nb\n", "Expected OneOfMany Choices!|", 1},
             {"VARIABLE: A\nHELP:", "Expected Help Lines or Terminator!|", 1},
             {"VARIABLE: A\nHELP: top\n" + lines(19, "l") + "%%\n", "More Help Lines than allowed!|", 1},
             {"VARIABLE: A\nVARIABLE: B\nTITLE: \nVARIABLE: C\nTYPE: \n", "TITLE: line incomplete!|", 2},
             {"VARIABLE: A\nTYPE: MULTIVALUE $X\nVARIABLE: x\nVARIABLE: B\n", "MultiValue Variable A" + undefined, 3},
             {"VARIABLE: A\nVARIABLE: X\n", "", 2}, // leaves X behind the next row's table
             {"VARIABLE: A\nTYPE: ONEOFMANY $X\n", "MultiValue Variable A" + undefined, 1},
             {vars200 + "# more\nVARIABLE: V200\n", "Too many variables (line 202): at most 200 can be described.|",
              200},
             {"VARIABLE: A\nTYPE: ONEOFMANY 21\n" + twenty + "x\n", "Type ONEOFMANY (line 2) asks for 21" + choices, 1},
             {"VARIABLE: A\n\nTYPE: ONEOFMANY -1\n", "Type ONEOFMANY (line 3) asks for -1" + choices, 1},
             {help1501 + std::string(98, 'e') + "\n%%\n", // 1600 characters
              "Help text of variable A is too long (line 16): at most 1599 characters are allowed.|", 1},
             {std::string(600, 'x') + "\nVARIABLE: A\n\0"s, "Description file line 3 contains a NUL byte.|", 1},
             {"VARIABLE: A\nTYPE: BOOLEAN\nyes\r\nno\n", "Description file line 3" + crlf, 1},
             {"SHORTDESC: " + std::string(243, 's') + "\r\nx\n", "Description file line 1" + crlf, 0},
             // At the limits each still fits, whole (checked below for the last row).
             {vars200, "", 200},
             {"VARIABLE: A\nTYPE: ONEOFMANY 20\n" + twenty + help1501 + std::string(97, 'e') + "\n%%\n", "", 2},
         }) {
        EXPECT_EQ(parse(text), message) << text.substr(0, 80);
        EXPECT_EQ(gNumVars, parsed) << message;
    }
    EXPECT_EQ(std::pair(std::string(gVarList[1].help).size(), std::string(gVarList[0].choices[19])),
              std::pair(size_t{1599}, std::string("c19")));
}
