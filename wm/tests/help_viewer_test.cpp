// The help viewer WMShowHelp: a browser first (xdg-open, then x-www-browser), else a window of
// its own, else plain text without a display.
#include "wm_test_support.h"
#include "x_session.h"

#include <sys/stat.h>

using namespace lxtest;

// Browsers are scripts on a PATH of the test's own that record the page they were given.
TEST(HelpViewer, BrowserFirstThenAWindowOfItsOwnThenPlainTextWithoutADisplay)
{
    TempDir bin;
    const std::string page = bin / "Parm set.htm", opened = bin / "opened";
    writeFile(page, "<title>Saving</title><p>Checks every value.</p>");
    const Env path = {"PATH=" + bin.path(), "HOME=" + HomeDir()};
    auto browser = [&](const char *name, int status) {
        writeFile(bin / name, "#!/bin/sh\necho \"" + std::string(name) + " $*\" >> '" + opened + "'\nexit " +
                                  std::to_string(status) + "\n");
        ::chmod((bin / name).c_str(), 0755);
    };
    EXPECT_EQ(run({SHOW_HELP}).err, "Usage: WMShowHelp help_page\n");
    const Result missing = run({SHOW_HELP, bin / "none.htm"}, path);
    EXPECT_EQ(std::to_string(missing.status) + " " + missing.err,
              "1 WMShowHelp: cannot read " + bin / "none.htm" + ": No such file or directory\n");

    Result text = run({SHOW_HELP, page}, {"PATH=" + bin.path(), "-DISPLAY"});
    EXPECT_EQ(std::to_string(text.status) + " " + text.out, "0 Checks every value.\n");

    // It returns at once; the window lives on, away from the test's output pipe.
    EXPECT_EQ(run({SHOW_HELP, page}, path, {"/bin/sh", "-c", "\"$0\" \"$@\" > /dev/null"}).status, 0);
    XSession x;
    Window shown = x.waitForTopLevel("Lumarix Help: Saving", 5000);
    ASSERT_NE(shown, 0u);
    const std::vector<Box> form = x.children(shown), parts = x.children(form.at(0).window);
    ASSERT_EQ(parts.size(), 2u) << "the text and Close";
    EXPECT_EQ(std::pair(parts[0].x - form[0].x, parts[0].y - form[0].y), std::pair(8, 8));
    x.closeWindow(shown);
    EXPECT_TRUE(x.waitUntilGone("Lumarix Help: Saving", 3000));

    browser("xdg-open", 1);
    browser("x-www-browser", 0);
    EXPECT_EQ(run({SHOW_HELP, page}, path).status, 0);
    browser("xdg-open", 0);
    EXPECT_EQ(run({SHOW_HELP, page}, path).status, 0);
    EXPECT_EQ(readFile(opened), "xdg-open " + page + "\nx-www-browser " + page + "\nxdg-open " + page + "\n");
    // A browser still running after three seconds has the page open.
    writeFile(bin / "xdg-open", "#!/bin/sh\nexec /bin/sleep 4 > /dev/null\n");
    browser("x-www-browser", 1);
    text = run({SHOW_HELP, page}, {"PATH=" + bin.path(), "-DISPLAY"});
    EXPECT_EQ(std::to_string(text.status) + " " + text.out, "0 ") << "no plain-text fallback";
}
