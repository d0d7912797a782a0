// lxconf: the configuration editor. Start-up: command line, arena attach, description file,
// then the window (RunEditorWindow), whose event loop ends the program in Done.
#include "lumarix/editor.h"
#include "lumarix/settings.h"
#include "editor_window.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

bool copyPath(char (&target)[256], const char *path)
{
    if (std::strlen(path) >= sizeof target) {
        std::fprintf(stderr, "Path too long (at most 255 characters): %s\n", path);
        return false;
    }
    std::snprintf(target, sizeof target, "%s", path);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    int first = 1;
    if (argc == 4) {
        if (std::strcmp(argv[1], "-f") != 0) {
            PrintUsage(argv[0]);
            return 1;
        }
        giConfigOnlyFromFile = 1;
        first = 2;
    } else if (argc != 3) {
        PrintUsage(argv[0]);
        return 1;
    }
    if (!copyPath(gDescriptionFile, argv[first]) || !copyPath(gConfigFile, argv[first + 1]))
        return 1;

    // A person who started the editor from a desktop menu sees no terminal: start-up errors
    // stay on the screen until dismissed, then the program ends with status 1.
    ShowErrorWaitsDuringStartUp(1);
    if (IWAttach() != -1)
        giRunningWithSHM = 1;
    std::snprintf(gcMainTitle, sizeof gcMainTitle, "%s", "Lumarix User Parameters");
    if (!ReadDescriptionFile())
        return 1;
    return RunEditorWindow();
}
