#include "window_fixture.h"

#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>

#include <fcntl.h>
#include <unistd.h>

#include <X11/IntrinsicP.h>
#include <X11/CoreP.h>
#include <Xm/Form.h>
#include <Xm/MessageB.h>
#include <Xm/RowColumn.h>
#include <Xm/TextF.h>

#include <lumarix/wm.h>

namespace lx::test {

void spinFor(int ms)
{
    spinUntil([] { return false; }, ms);
}

bool spinUntil(const std::function<bool()> &done, int ms)
{
    XtAppContext app = WMGetAppContext();
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
    while (!done()) {
        if (std::chrono::steady_clock::now() >= end)
            return false;
        XFlush(WMGetDisplay());
        while (XtAppPending(app) != 0)
            XtAppProcessEvent(app, XtIMAll);
        usleep(2000);
    }
    return true;
}

namespace {
void runLater(XtPointer closure, XtIntervalId *)
{
    std::unique_ptr<std::function<void()>> action(static_cast<std::function<void()> *>(closure));
    (*action)();
}
} // namespace

void after(int ms, std::function<void()> action)
{
    XtAppAddTimeOut(WMGetAppContext(), static_cast<unsigned long>(ms), runLater,
                    new std::function<void()>(std::move(action)));
}

Widget findDialog(const char *name)
{
    if (baseshell == nullptr)
        return nullptr;
    WidgetList popups = baseshell->core.popup_list;
    for (Cardinal i = baseshell->core.num_popups; i-- > 0;) {
        WidgetList children = nullptr;
        Cardinal count = 0;
        XtVaGetValues(popups[i], XmNchildren, &children, XmNnumChildren, &count, nullptr);
        for (Cardinal c = 0; c < count; ++c)
            if (!children[c]->core.being_destroyed && std::strcmp(XtName(children[c]), name) == 0 &&
                XtIsManaged(children[c]))
                return children[c];
    }
    return nullptr;
}

std::string messageText(Widget dialog)
{
    XmString value = nullptr;
    XtVaGetValues(dialog, XmNmessageString, &value, nullptr);
    if (value == nullptr)
        return {};
    // Component by component, so that every line break comes back as "\n".
    std::string text;
    XmStringContext context = nullptr;
    if (XmStringInitContext(&context, value)) {
        unsigned int length = 0;
        XtPointer data = nullptr;
        XmStringComponentType type;
        while ((type = XmStringGetNextTriple(context, &length, &data)) != XmSTRING_COMPONENT_END) {
            if (type == XmSTRING_COMPONENT_SEPARATOR)
                text += "\n";
            else if ((type == XmSTRING_COMPONENT_TEXT || type == XmSTRING_COMPONENT_LOCALE_TEXT) && data != nullptr)
                text.append(static_cast<const char *>(data), length);
            XtFree(static_cast<char *>(data));
            data = nullptr;
        }
        XmStringFreeContext(context);
    }
    XmStringFree(value);
    return text;
}

void answerDialog(Widget dialog, bool ok)
{
    XmAnyCallbackStruct cbs{};
    cbs.reason = ok ? XmCR_OK : XmCR_CANCEL;
    XtCallCallbacks(dialog, ok ? XmNokCallback : XmNcancelCallback, &cbs);
}

void sendDeleteWindow(Widget shell)
{
    Display *d = XtDisplay(shell);
    XEvent event{};
    event.xclient.type = ClientMessage;
    event.xclient.window = XtWindow(shell);
    event.xclient.message_type = XInternAtom(d, "WM_PROTOCOLS", False);
    event.xclient.format = 32;
    event.xclient.data.l[0] = static_cast<long>(XInternAtom(d, "WM_DELETE_WINDOW", False));
    event.xclient.data.l[1] = CurrentTime;
    XSendEvent(d, XtWindow(shell), False, NoEventMask, &event);
    XFlush(d);
}

CaptureStderr::CaptureStderr()
{
    char pattern[] = "/tmp/lxform-stderr-XXXXXX";
    int fd = ::mkstemp(pattern);
    path_ = pattern;
    std::fflush(stderr);
    saved_ = ::dup(2);
    ::dup2(fd, 2);
    ::close(fd);
}

std::string CaptureStderr::text()
{
    if (saved_ >= 0) {
        std::fflush(stderr);
        ::dup2(saved_, 2);
        ::close(saved_);
        saved_ = -1;
    }
    return readFile(path_);
}

CaptureStderr::~CaptureStderr()
{
    text();
    ::unlink(path_.c_str());
}

void EditorWindowTest::open(const std::string &description, const std::string &config, bool onlyFromFile)
{
    writeFile(descriptionPath_, description);
    writeFile(configPath_, config);
    std::snprintf(gDescriptionFile, sizeof gDescriptionFile, "%s", descriptionPath_.c_str());
    std::snprintf(gConfigFile, sizeof gConfigFile, "%s", configPath_.c_str());
    giConfigOnlyFromFile = onlyFromFile ? 1 : 0;
    giRunningWithSHM = 0;
    gNumVars = 0;
    ASSERT_EQ(ReadDescriptionFile(), 1);

    WMSetResizable(1);
    form_ = CreateMainForm("Editor test");
    ASSERT_NE(form_, nullptr) << "no display";
    shell_ = XtParent(form_);
    frame_ = BuildEditorWindow(form_);
    ASSERT_NE(frame_, nullptr);
    actionArea_ = XtNameToWidget(form_, "action_area");
    RealizeEditorWindow(shell_);
    spinUntil([this] { return XtIsRealized(shell_); }, 2000);
    spinFor(100);
}

void EditorWindowTest::TearDown()
{
    if (shell_ != nullptr) {
        XtDestroyWidget(shell_);
        spinFor(20);
    }
}

ConfigVar &EditorWindowTest::var(const char *name)
{
    for (int i = 0; i < gNumVars; ++i)
        if (std::strcmp(gVarList[i].name, name) == 0)
            return gVarList[i];
    ADD_FAILURE() << "no variable " << name;
    return gVarList[0];
}

void EditorWindowTest::type(const char *name, const char *text)
{
    XmTextFieldSetString(var(name).valueWidget, const_cast<char *>(text));
}

std::string EditorWindowTest::fieldText(const char *name)
{
    char *text = XmTextFieldGetString(var(name).valueWidget);
    std::string copy = text != nullptr ? text : "";
    XtFree(text);
    return copy;
}

void EditorWindowTest::choose(const char *name, const char *choice)
{
    ConfigVar &v = var(name);
    for (int i = 0; i < v.numChoices; ++i)
        if (std::strcmp(v.choices[i], choice) == 0) {
            XtVaSetValues(v.valueWidget, XmNmenuHistory, v.choiceWidgets[i], nullptr);
            return;
        }
    ADD_FAILURE() << name << " has no choice " << choice;
}

std::string EditorWindowTest::chosen(const char *name)
{
    Widget current = nullptr;
    XtVaGetValues(var(name).valueWidget, XmNmenuHistory, &current, nullptr);
    return current != nullptr ? XtName(current) : "";
}

Widget EditorWindowTest::unsetEntry(const char *name)
{
    Widget pulldown = nullptr;
    XtVaGetValues(var(name).valueWidget, XmNsubMenuId, &pulldown, nullptr);
    return pulldown != nullptr ? XtNameToWidget(pulldown, "-----") : nullptr;
}

} // namespace lx::test
