// Every way a description file is refused, with its message.
#include "parse_fixture.h"

using namespace std::string_literals;

using Messages = DescriptionParse;

TEST_F(Messages, IncompleteKeywordLines)
{
    EXPECT_EQ(failure("TITLE: \n"), "TITLE: line incomplete!");
    EXPECT_EQ(failure("VARIABLE: \n"), "VARIABLE: line incomplete!");
    EXPECT_EQ(failure("VARIABLE: A\nSHORTDESC: \n"), "SHORTDESC: line incomplete!");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE:   \n"), "TYPE: line incomplete!");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: ONEOFMANY\n"), "Type ONEOFMANY requires a number!");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: ONEOFMANY \n"), "Type ONEOFMANY requires a number!");
}

TEST_F(Messages, EndOfFileInsideChoicesOrHelp)
{
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: BOOLEAN\nyes\n"), "Expected Boolean Choices!");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: ONEOFMANY 3\na\nb\n"), "Expected OneOfMany Choices!");
    EXPECT_EQ(failure("VARIABLE: A\nHELP: text\nmore\n"), "Expected Help Lines or Terminator!");
    EXPECT_EQ(failure("VARIABLE: A\nHELP:"), "Expected Help Lines or Terminator!");
}

TEST_F(Messages, UnknownDependencyIsFoundAfterTheWholeFile)
{
    const std::string message = failure("VARIABLE: A\nTYPE: MULTIVALUE $n\nVARIABLE: N\nVARIABLE: B\nTYPE: SIMPLE\n");
    EXPECT_EQ(message, "MultiValue Variable A depends on simple Variable n\n"
                       "which is not defined in configuration file /etc/test.vars\n");
    EXPECT_EQ(gNumVars, 3); // parsed to the end before the check
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: ONEOFMANY $X\n"),
              "MultiValue Variable A depends on simple Variable X\n"
              "which is not defined in configuration file /etc/test.vars\n");
}

TEST_F(Messages, ParserStopsAtTheFirstError)
{
    EXPECT_EQ(failure("VARIABLE: A\nVARIABLE: B\nTITLE: \nVARIABLE: C\nTYPE: \n"), "TITLE: line incomplete!");
    EXPECT_EQ(gNumVars, 2);
}

using Capacities = DescriptionParse;

TEST_F(Capacities, TwoHundredVariablesFitTheTwoHundredFirstIsRefused)
{
    std::string text;
    for (int i = 0; i < 200; ++i)
        text += "VARIABLE: V" + std::to_string(i) + "\nTYPE: SIMPLE\n";
    ASSERT_TRUE(parse(text));
    EXPECT_EQ(gNumVars, 200);
    EXPECT_EQ(failure(text + "# one more\nVARIABLE: V200\n"),
              "Too many variables (line 402): at most 200 can be described.");
    EXPECT_EQ(gNumVars, 200);
}

TEST_F(Capacities, ChoiceCountMustLieBetweenZeroAndTwenty)
{
    std::string twenty;
    for (int i = 0; i < 20; ++i)
        twenty += "c" + std::to_string(i) + "\n";
    ASSERT_TRUE(parse("VARIABLE: A\nTYPE: ONEOFMANY 20\n" + twenty));
    EXPECT_STREQ(var(0).choices[19], "c19");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: ONEOFMANY 21\n" + twenty + "x\n"),
              "Type ONEOFMANY (line 2) asks for 21 choices: between 0 and 20 are allowed.");
    EXPECT_EQ(failure("VARIABLE: A\n\nTYPE: ONEOFMANY -1\n"),
              "Type ONEOFMANY (line 3) asks for -1 choices: between 0 and 20 are allowed.");
}

TEST_F(Capacities, HelpTextStopsAt1599Characters)
{
    // HELP line: 200 characters and a newline; then lines of 99 characters and a newline.
    const std::string top = "HELP: " + std::string(200, 'h') + "\n";
    std::string body;
    for (int i = 0; i < 13; ++i)
        body += std::string(99, 'b') + "\n";               // 201 + 1300 = 1501 characters
    const std::string exact = std::string(97, 'e') + "\n"; // 1599
    ASSERT_TRUE(parse("VARIABLE: A\n" + top + body + exact + "%%\n"));
    EXPECT_EQ(std::string(var(0).help).size(), 1599u);
    EXPECT_EQ(failure("VARIABLE: A\n" + top + body + "e" + exact + "%%\n"),
              "Help text of variable A is too long (line 16): at most 1599 characters are allowed.");
}

using BadInput = DescriptionParse;

TEST_F(BadInput, NulBytesAndCrLfLineEndsAreRefusedWithTheirLine)
{
    EXPECT_EQ(failure("VARIABLE: A\nSHORTDESC: a\0b\n"s), "Description file line 2 contains a NUL byte.");
    EXPECT_EQ(failure("VARIABLE: A\r\nTYPE: SIMPLE\r\n"),
              "Description file line 1 ends in CR-LF; save the file with plain newline line ends.");
    // A CR-LF split across two 255-byte reads is still one line end.
    EXPECT_EQ(failure("SHORTDESC: " + std::string(243, 's') + "\r\nx\n"),
              "Description file line 1 ends in CR-LF; save the file with plain newline line ends.");
    EXPECT_EQ(failure("VARIABLE: A\nTYPE: BOOLEAN\nyes\r\nno\n"),
              "Description file line 3 ends in CR-LF; save the file with plain newline line ends.");
}

TEST_F(BadInput, LineNumbersCountFileLinesNotReads)
{
    EXPECT_EQ(failure(std::string(600, 'x') + "\nVARIABLE: A\n\0"s), "Description file line 3 contains a NUL byte.");
}

TEST_F(BadInput, BinaryNoiseIsIgnoredLikeStrayText)
{
    std::string noise;
    for (int i = 1; i < 256; ++i)
        noise += static_cast<char>(i == '\r' || i == '\n' ? 'x' : i);
    EXPECT_TRUE(parse(noise + "\n" + noise + noise + "\nVARIABLE: A\n"));
    EXPECT_EQ(gNumVars, 1);
}
