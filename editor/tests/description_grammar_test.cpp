// The description file grammar: keywords, records, types, choices, help.
#include "parse_fixture.h"

using Grammar = DescriptionParse;

TEST_F(Grammar, EmptyFileHasNoVariables)
{
    EXPECT_TRUE(parse(""));
    EXPECT_EQ(gNumVars, 0);
    EXPECT_STREQ(gcMainTitle, "Lumarix User Parameters");
}

TEST_F(Grammar, FullRecordInAnyCase)
{
    ASSERT_TRUE(parse("# comment\ntitle: My  Setup\nvariable:\tLX_DATA extra words\nShortDesc: Data folder\n"
                      "type: simple\nmustbeset:\ncheckread: anything\nCHECKWRITE:\ncansetlive:\n"
                      "stray text is ignored\n\nVARIABLE: SECOND\n"));
    EXPECT_STREQ(gcMainTitle, "My  Setup");
    ASSERT_EQ(gNumVars, 2);
    const ConfigVar &v = var(0);
    EXPECT_STREQ(v.name, "LX_DATA");
    EXPECT_STREQ(v.shortDesc, "Data folder");
    EXPECT_EQ(v.type, VAR_SIMPLE);
    EXPECT_EQ(v.numValues, 1);
    EXPECT_EQ(v.optional, 0);
    EXPECT_EQ(v.checkRead, 1);
    EXPECT_EQ(v.checkWrite, 1);
    EXPECT_EQ(v.canSetLive, 1);
    EXPECT_EQ(var(1).optional, 1);
    EXPECT_EQ(var(1).type, 0);
    EXPECT_EQ(var(1).checkRead, 0);
}

TEST_F(Grammar, TextOperandsKeepSpacesAfterTheFirst)
{
    ASSERT_TRUE(parse("TITLE:   spaced\nVARIABLE: A\nSHORTDESC:  two\n"));
    EXPECT_STREQ(gcMainTitle, "  spaced");
    EXPECT_STREQ(var(0).shortDesc, " two");
}

TEST_F(Grammar, KeywordAsymmetryAtTheEndOfALine)
{
    // Flags and HELP: alone on their line count; TITLE:, VARIABLE:, SHORTDESC:, TYPE: do not.
    ASSERT_TRUE(parse("TITLE:\nVARIABLE: A\nSHORTDESC:\nTYPE:\nMUSTBESET:\nCANSETLIVE:\nVARIABLE:\n"));
    EXPECT_EQ(gNumVars, 1);
    EXPECT_STREQ(gcMainTitle, "Lumarix User Parameters");
    EXPECT_EQ(var(0).optional, 0);
    EXPECT_EQ(var(0).canSetLive, 1);
    EXPECT_EQ(var(0).type, 0);
}

TEST_F(Grammar, LinesBeforeTheFirstVariableLeaveOnlyChoiceTexts)
{
    ASSERT_TRUE(parse("SHORTDESC: early\nMUSTBESET:\nTYPE: BOOLEAN\nyes\nno\nVARIABLE: A\n"));
    EXPECT_EQ(gNumVars, 1);
    EXPECT_STREQ(var(0).shortDesc, "");
    EXPECT_EQ(var(0).optional, 1);
    EXPECT_EQ(var(0).numChoices, 0);
    EXPECT_STREQ(var(0).choices[0], "yes");
}

TEST_F(Grammar, BooleanTakesTheNextTwoLinesVerbatim)
{
    ASSERT_TRUE(parse("VARIABLE: B\nTYPE: Boolean\n# on\n\tOff  \n"));
    EXPECT_EQ(var(0).type, VAR_BOOLEAN);
    EXPECT_EQ(var(0).numValues, 1);
    EXPECT_EQ(var(0).numChoices, 2);
    EXPECT_STREQ(var(0).choices[0], "# on");
    EXPECT_STREQ(var(0).choices[1], "\tOff  ");
}

TEST_F(Grammar, MultiValueCounts)
{
    ASSERT_TRUE(parse("VARIABLE: N\nTYPE: SIMPLE\nVARIABLE: A\nTYPE: MULTIVALUE 3 ignored\nVARIABLE: B\n"
                      "TYPE: MULTIVALUE\nVARIABLE: C\nTYPE: MULTIVALUE $N\nVARIABLE: D\nTYPE: MULTIVALUE abc\n"
                      "VARIABLE: E\nTYPE: MULTIVALUE 99999999999\n"));
    EXPECT_EQ(var(1).type, VAR_MULTIVALUE);
    EXPECT_EQ(var(1).numValues, 3);
    EXPECT_EQ(var(2).numValues, VALUES_ANY);
    EXPECT_EQ(var(3).numValues, VALUES_FROM_DEPENDS);
    EXPECT_STREQ(var(3).dependsOn, "N");
    EXPECT_EQ(var(4).numValues, 0);
    EXPECT_EQ(var(5).numValues, 2147483647);
}

TEST_F(Grammar, OneOfManyChoices)
{
    ASSERT_TRUE(parse("VARIABLE: M\nTYPE: ONEOFMANY 3\nred\n VARIABLE: green\n%%\nVARIABLE: Z\nTYPE: oneofmany 0\n"
                      "VARIABLE: D\nTYPE: ONEOFMANY $M\nnot a choice\n"));
    ASSERT_EQ(gNumVars, 3);
    EXPECT_EQ(var(0).type, VAR_ONEOFMANY);
    EXPECT_EQ(var(0).numChoices, 3);
    EXPECT_STREQ(var(0).choices[1], " VARIABLE: green");
    EXPECT_STREQ(var(0).choices[2], "%%");
    EXPECT_EQ(var(1).numChoices, 0);
    EXPECT_EQ(var(2).numChoices, VALUES_FROM_DEPENDS);
    EXPECT_STREQ(var(2).dependsOn, "M");
}

TEST_F(Grammar, UnknownTypeWordKeepsTheType)
{
    ASSERT_TRUE(parse("VARIABLE: A\nTYPE: SIMPLE\nTYPE: FANCY\n"));
    EXPECT_EQ(var(0).type, VAR_SIMPLE);
}

TEST_F(Grammar, HelpTextAndItsTerminator)
{
    ASSERT_TRUE(parse("VARIABLE: A\nHELP: First line\n# kept\nTYPE:\tSIMPLE\n%%% ends too\nTYPE: BOOLEAN\nx\ny\n"));
    EXPECT_STREQ(var(0).help, "First line\n# kept\nTYPE:\tSIMPLE\n");
    EXPECT_EQ(var(0).type, VAR_BOOLEAN);
    ASSERT_TRUE(parse("VARIABLE: A\nHELP: kept\n%%\nHELP:\nmore\n%%\n"));
    EXPECT_STREQ(var(0).help, "kept\nmore\n");
}

TEST_F(Grammar, HelpAllowsEighteenContinuationLines)
{
    std::string eighteen;
    for (int i = 0; i < 18; ++i)
        eighteen += "line\n";
    ASSERT_TRUE(parse("VARIABLE: A\nHELP: top\n" + eighteen + "%%\n"));
    EXPECT_EQ(std::string(var(0).help), "top\n" + eighteen);
    EXPECT_EQ(failure("VARIABLE: A\nHELP: top\n" + eighteen + "line\n%%\n"), "More Help Lines than allowed!");
}

TEST_F(Grammar, LongLinesContinueAsTheNextLine)
{
    // 255 bytes are read at a time: the rest of a long SHORTDESC line becomes a line of its own.
    const std::string text = "VARIABLE: A\nSHORTDESC: " + std::string(244, 'd') + "MUSTBESET: x\n";
    ASSERT_TRUE(parse(text));
    EXPECT_EQ(std::string(var(0).shortDesc), std::string(244, 'd'));
    EXPECT_EQ(var(0).optional, 0);
}

TEST_F(Grammar, DependencyMayNameAnyVariableInAnyPlace)
{
    EXPECT_TRUE(parse("VARIABLE: A\nTYPE: MULTIVALUE $B\nVARIABLE: B\nTYPE: BOOLEAN\ny\nn\n"));
    EXPECT_TRUE(parse("VARIABLE: A\nTYPE: MULTIVALUE $A\n"));
}

TEST_F(Grammar, ExampleInstallationFileParses)
{
    FILE *file = std::fopen(EXAMPLES_DIR "/lumarix.vars", "r");
    ASSERT_NE(file, nullptr);
    const bool ok = lx::editor::ParseDescription(file, [this](std::string_view m) { messages.emplace_back(m); });
    std::fclose(file);
    ASSERT_TRUE(ok) << (messages.empty() ? "" : messages.front());
    EXPECT_STREQ(gcMainTitle, "Lumarix Installation Settings");
    ASSERT_GT(gNumVars, 10);
    EXPECT_STREQ(var(0).name, "LX_BASE");
    EXPECT_EQ(var(0).optional, 0);
    EXPECT_EQ(var(0).checkRead, 1);
    EXPECT_EQ(std::string(var(0).help).rfind("The folder the Lumarix suite is installed in.\n", 0), 0u);
}
