// The help presenter, and the viewer's text of a page. The test base directory's name holds
// spaces and shell characters.
#include "help_page_text.h"
#include "wm_test_support.h"

#include <unistd.h>

#include <array>

using namespace lxtest;

class Help : public ::testing::Test {
protected:
    void SetUp() override
    {
        NewMainForm("Help");
        ::unlink(ArgsFile().c_str());
    }
    static std::string ArgsFile() { return BaseDir() + "/viewer-args"; }
    static std::string Page(const std::string &leaf) { return BaseDir() + "/help/" + leaf; }
};

TEST_F(Help, ViewerGetsThePagePathAsOneArgumentAndIsWaitedFor)
{
    writeFile(Page("Parmset.htm"), "<html>help</html>");
    writeFile(Page("Acquisition.html"), "<html>help</html>");
    XEvent event{};
    event.type = ButtonRelease;
    XmAnyCallbackStruct cbs{XmCR_ACTIVATE, &event};
    WMHelpCB(current_form, const_cast<char *>("Parmset"), &cbs);
    EXPECT_EQ(readFile(ArgsFile()), "1\n" + Page("Parmset.htm") + "\n") << "the viewer had finished";
    EXPECT_FALSE(exists("injected")) << "nothing in the base directory's name ran";
    WMHelpCB(current_form, const_cast<char *>("Acquisition settings page"), nullptr); // its first word names the page
    EXPECT_EQ(readFile(ArgsFile()), "1\n" + Page("Acquisition.html") + "\n");
}

TEST_F(Help, MissingPageAndAViewerThatCannotRunAreReported)
{
    WMPresentHelp("Nowhere at all");
    EXPECT_FALSE(exists(ArgsFile()));
    Widget warning = findDialog("warning");
    ASSERT_NE(warning, nullptr);
    EXPECT_EQ(xmText(warning), "Sorry, no help available for topic \"Nowhere at all\" ");
    writeFile(Page("Parmset.htm"), "<html>help</html>");
    const std::string viewer = BaseDir() + "/bin/WMShowHelp";
    ::rename(viewer.c_str(), (viewer + ".away").c_str());
    CaptureFd err(2);
    WMPresentHelp("Parmset");
    const std::string reported = err.text();
    ::rename((viewer + ".away").c_str(), viewer.c_str());
    EXPECT_NE(reported.find(viewer), std::string::npos) << reported;
}

// The viewer's text of a page when no browser is available: blocks, lists, entities, <pre>.
TEST(HelpPageText, ShowsWhatABrowserShowsAsPlainText)
{
    for (const auto &[html, title, body] : std::initializer_list<std::array<const char *, 3>>{
             {"<html><head><TITLE> User\n Parameters </TITLE><style>p{x:1}</style></head><body><h1>Save</h1>"
              "<p>Checks   every\nvalue.<br>Then writes.</p><ul><li>one</li><LI>two &amp; &lt;3&gt;</ul></body>",
              "User Parameters", "Save\n----\n\nChecks every value.\nThen writes.\n\n- one\n- two & <3>\n"},
             {"<pre>LX_SIZE  2000\n  LX_TMP /t</pre>after<!-- <p>hidden</p> -->&#65;&#x42;&#8364;&bogus; &", "",
              "LX_SIZE  2000\n  LX_TMP /t\n\nafterAB?&bogus; &\n"},
             {"<p>a</p><h2>Next</h2><table><tr><td>a</td><td>b</td></tr><tr><td>c</td></tr></table>&#12345678;"
              "text<script>if (a < b) x();</SCRIPT>more<p unclosed",
              "", "a\n\nNext\n----\n\na b\nc\n\n?textmore\n"}}) {
        const lx::wm::HelpPageText text = lx::wm::PlainTextOfHelpPage(html);
        EXPECT_EQ(text.title, title) << html;
        EXPECT_EQ(text.body, body) << html;
    }
}
