// The parameter form as built and loaded: widget names and layout, values from the
// configuration file, and what counts as a value and as a change.
#include "window_fixture.h" // first: gtest must come before the X headers

#include <cstring>
#include <tuple>

#include <Xm/Form.h>
#include <Xm/RowColumn.h>
#include <Xm/TextF.h>

#include "test_description.h"

namespace {

using namespace lx::test;

class ParameterForm : public EditorWindowTest {
protected:
    void SetUp() override { open(standardDescription(), standardConfig(dir_.path())); }
};

TEST_F(ParameterForm, WidgetTree)
{
    EXPECT_STREQ(XtName(frame_), "frame");
    ASSERT_NE(XtNameToWidget(frame_, "swindow"), nullptr);
    // The grid: a row-column whose "columns" are the rows, filled two cells at a time.
    Widget grid = XtNameToWidget(frame_, "*main_grid");
    ASSERT_NE(grid, nullptr);
    short rows = 0;
    unsigned char orientation = 0, packing = 0;
    XtVaGetValues(grid, XmNnumColumns, &rows, XmNorientation, &orientation, XmNpacking, &packing, nullptr);
    EXPECT_EQ(std::tuple(rows, orientation, packing), std::tuple(short(gNumVars + 1), XmHORIZONTAL, XmPACK_COLUMN));
    // Title row, then per variable the help button and the value widget.
    WidgetList cells = nullptr;
    Cardinal count = 0;
    XtVaGetValues(grid, XmNchildren, &cells, XmNnumChildren, &count, nullptr);
    std::vector<std::string> names;
    for (Cardinal i = 0; i < count; ++i)
        if (XtIsManaged(cells[i]))
            names.push_back(XtName(cells[i]));
    std::vector<std::string> expected = {"frame", "frame",      "info", "Label",      "info", "Label",
                                         "info",  "Label",      "info", "optionMenu", "info", "optionMenu",
                                         "info",  "optionMenu", "info", "Label"};
    EXPECT_EQ(names, expected);

    // Choice buttons are named by their text; the pulldown is "pd".
    Widget pulldown = nullptr;
    XtVaGetValues(var("LX_SPEED").valueWidget, XmNsubMenuId, &pulldown, nullptr);
    ASSERT_NE(pulldown, nullptr);
    EXPECT_STREQ(XtName(pulldown), "pd");
    EXPECT_NE(XtNameToWidget(pulldown, "normal"), nullptr);
}

TEST_F(ParameterForm, ChoicesMatchIgnoringCaseAndKeepTheirSpelling)
{
    EXPECT_STREQ(var("LX_MODE").value, "Yes");
    EXPECT_EQ(chosen("LX_MODE"), "Yes");
    EXPECT_STREQ(var("LX_SPEED").value, "fast");
    EXPECT_EQ(chosen("LX_SPEED"), "fast");
    char text[256];
    int changed = 1;
    EXPECT_EQ(GetWidgetValue(&var("LX_MODE"), text, &changed), 1);
    EXPECT_STREQ(text, "Yes");
    EXPECT_EQ(changed, 0);

    // Once a value is known the "no value" entry is hidden; a required menu never had one.
    ASSERT_NE(unsetEntry("LX_MODE"), nullptr);
    EXPECT_FALSE(XtIsManaged(unsetEntry("LX_MODE")));
    EXPECT_EQ(unsetEntry("LX_SPEED"), nullptr);
}

TEST_F(ParameterForm, OptionalMenuWithoutValueShowsTheUnsetEntry)
{
    // 20 choices and the unset entry as a 21st.
    Widget unset = unsetEntry("LX_LETTER");
    ASSERT_NE(unset, nullptr);
    EXPECT_TRUE(XtIsManaged(unset));
    EXPECT_EQ(chosen("LX_LETTER"), "-----");
    char text[256];
    int changed = 1;
    EXPECT_EQ(GetWidgetValue(&var("LX_LETTER"), text, &changed), 0);
    EXPECT_EQ(changed, 0);

    choose("LX_LETTER", "T");
    EXPECT_EQ(GetWidgetValue(&var("LX_LETTER"), text, &changed), 1);
    EXPECT_STREQ(text, "T");
    EXPECT_EQ(changed, 1);
}

TEST_F(ParameterForm, EmptyFieldIsNoValueAndNoChange)
{
    EXPECT_EQ(fieldText("LX_NUM"), "2");
    char text[256];
    int changed = 1;
    type("LX_NUM", "");
    EXPECT_EQ(GetWidgetValue(&var("LX_NUM"), text, &changed), 0);
    EXPECT_EQ(changed, 0);
    type("LX_NUM", "2");
    EXPECT_EQ(GetWidgetValue(&var("LX_NUM"), text, &changed), 1);
    EXPECT_EQ(changed, 0);
    type("LX_NUM", "3");
    EXPECT_EQ(GetWidgetValue(&var("LX_NUM"), text, &changed), 1);
    EXPECT_STREQ(text, "3");
    EXPECT_EQ(changed, 1);
    // A variable with no stored value keeps an empty field and an empty baseline.
    EXPECT_EQ(fieldText("LX_NOTE"), "");
    EXPECT_STREQ(var("LX_NOTE").value, "");
}

class ValuesFromSettings : public EditorWindowTest {};

TEST_F(ValuesFromSettings, WithoutDashFTheSettingsLookupAnswers)
{
    // The environment is one of the lookup's sources; the configuration file is not read.
    ::setenv("LX_NUM", "6", 1);
    ::setenv("LX_MODE", "NO", 1);
    open(standardDescription(), "LX_NUM 2\nLX_NOTE from-file\n", false);
    EXPECT_EQ(fieldText("LX_NUM"), "6");
    EXPECT_EQ(chosen("LX_MODE"), "No");
    EXPECT_EQ(fieldText("LX_NOTE"), "");
    ::unsetenv("LX_NUM");
    ::unsetenv("LX_MODE");
}

} // namespace
