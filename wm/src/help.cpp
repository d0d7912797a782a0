// The Help button: finds the topic's help page and runs the suite's help viewer on it.
#include "layer_state.h"
#include "toolkit_verbs.h"

#include <lumarix/settings.h>
#include <lumarix/wm.h>

#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

namespace lx::wm {
namespace {

std::string FirstWord(const char *topic)
{
    std::string word(topic);
    const auto space = word.find(' ');
    return space == std::string::npos ? word : word.substr(0, space);
}

std::optional<std::string> BaseDirectory()
{
    std::array<char, 256> base{};
    if (!GetBaseDirectory(base.data())) {
        return std::nullopt;
    }
    return std::string(base.data());
}

std::optional<std::string> FindHelpPage(const std::string &base, const char *topic)
{
    const std::string page = base + "/help/" + FirstWord(topic) + ".htm";
    for (const std::string &candidate : {page, page + "l"}) {
        if (access(candidate.c_str(), F_OK) == 0) {
            return candidate;
        }
    }
    return std::nullopt;
}

// No shell is involved: the page's path reaches the viewer as one argument, whatever it holds.
void RunHelpViewer(const char *caller, const std::string &base, const std::string &page)
{
    const std::string viewer = base + "/bin/WMShowHelp";
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) {
        std::fprintf(stderr, "%s: cannot start %s: %s\n", caller, viewer.c_str(), std::strerror(errno));
        return;
    }
    if (child == 0) {
        execl(viewer.c_str(), viewer.c_str(), page.c_str(), static_cast<char *>(nullptr));
        std::fprintf(stderr, "%s: cannot run %s: %s\n", caller, viewer.c_str(), std::strerror(errno));
        _exit(127);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
}

void PresentHelp(const char *caller, const char *topic)
{
    if (topic == nullptr || topic[0] == '\0') {
        WMShowInfo("There is no help available for this subject", 4);
        return;
    }
    std::optional<std::string> base = BaseDirectory();
    std::optional<std::string> page = base ? FindHelpPage(*base, topic) : std::nullopt;
    if (!page) {
        WMShowWarning("Sorry, no help available for topic \"%s\" ", topic);
        return;
    }
    RunHelpViewer(caller, *base, *page);
}

} // namespace
} // namespace lx::wm

extern "C" void WMPresentHelp(const char *topic)
{
    const char *caller = __func__;
    lx::wm::GuardCallback(caller, [caller, topic] { lx::wm::PresentHelp(caller, topic); });
}

extern "C" void WMHelpCB(Widget, XtPointer topic, XtPointer call_data)
{
    const char *caller = __func__;
    lx::wm::GuardCallback(caller, [caller, topic, call_data] {
        if (auto *cbs = static_cast<XmAnyCallbackStruct *>(call_data); cbs != nullptr && cbs->event != nullptr) {
            lx::wm::LayerState &s = lx::wm::State();
            s.helpEvent = *cbs->event;
            s.haveHelpEvent = true;
        }
        lx::wm::PresentHelp(caller, static_cast<const char *>(topic));
    });
}
