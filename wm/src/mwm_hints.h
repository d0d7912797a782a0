// The window-manager decorations and functions a new shell asks for.
#pragma once

namespace lx::wm {

// Bits of the Motif window-manager hints.
enum MwmDecoration : long {
    kDecorAll = 1,
    kDecorBorder = 2,
    kDecorResizeH = 4,
    kDecorTitle = 8,
    kDecorMenu = 16,
    kDecorMinimize = 32,
};
enum MwmFunction : long { kFuncAll = 1, kFuncMove = 4, kFuncMinimize = 8, kFuncClose = 32 };

struct MwmHints {
    long decorations;
    long functions;
};

// Only a shell the caller asked to be resizable gets resize handles and a maximise button.
constexpr MwmHints HintsForShell(bool titled, bool resizable)
{
    if (titled) {
        return resizable ? MwmHints{kDecorAll, kFuncAll}
                         : MwmHints{kDecorBorder | kDecorTitle | kDecorMenu | kDecorMinimize,
                                    kFuncMove | kFuncMinimize | kFuncClose};
    }
    return resizable ? MwmHints{kDecorBorder | kDecorResizeH, kFuncAll}
                     : MwmHints{kDecorBorder, kFuncMove | kFuncMinimize | kFuncClose};
}

static_assert(HintsForShell(true, false).decorations == 58 && HintsForShell(true, false).functions == 44);
static_assert(HintsForShell(false, true).decorations == 6 && HintsForShell(false, false).decorations == 2);

} // namespace lx::wm
