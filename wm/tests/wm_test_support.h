// The toolkit layer's own test setting, over the X harness (lx_testing_x.h): a private suite
// base directory and HOME, and main forms made for a test.
#pragma once

#include "lx_testing.h"
#include "lx_testing_x.h"

#include <string>
#include <vector>

namespace lxtest {

// The suite base directory of the test run (with spaces and shell characters in its name),
// holding config/pixmaps/lx_app_icon.xpm, help pages and a recording bin/WMShowHelp.
const std::string &BaseDir();
// HOME of the test run (application logs land under it).
const std::string &HomeDir();

// Sets up the run's directories, opens the application (once) and returns the display.
Display *Dpy();

// A fresh, realized main form; its shell becomes baseshell.
Widget NewMainForm(const char *title = "Test window");

// Every shell NewMainForm made that still exists.
const std::vector<Widget> &ShellsMade();

} // namespace lxtest
