// The description and configuration most window tests work on.
#pragma once

#include <string>

namespace lx::test {

inline std::string letters20()
{
    std::string text;
    for (char c = 'A'; c < 'A' + 20; ++c)
        text += std::string(1, c) + "\n";
    return text;
}

inline const std::string &standardDescription()
{
    static const std::string text =
        "TITLE: Test installation\n"
        "VARIABLE: LX_BASE\nSHORTDESC: Suite folder\nTYPE: SIMPLE\nMUSTBESET:\nCHECKREAD:\n"
        "HELP: Where the suite lives.\nSecond line.\n%%\n"
        "VARIABLE: LX_NUM\nSHORTDESC: Channels\nTYPE: SIMPLE\n"
        "VARIABLE: LX_WAVES\nSHORTDESC: Wavelengths\nTYPE: MULTIVALUE $LX_NUM\nCANSETLIVE:\n"
        "VARIABLE: LX_MODE\nSHORTDESC: Fast mode\nTYPE: BOOLEAN\nYes\nNo\nCANSETLIVE:\n"
        "VARIABLE: LX_SPEED\nSHORTDESC: Stage speed\nTYPE: ONEOFMANY 3\nslow\nnormal\nfast\n"
        "MUSTBESET:\n"
        "VARIABLE: LX_LETTER\nSHORTDESC: Letter\nTYPE: ONEOFMANY 20\n" +
        letters20() + "VARIABLE: LX_NOTE\nSHORTDESC: Note\nTYPE: SIMPLE\nCANSETLIVE:\n";
    return text;
}

inline std::string standardConfig(const std::string &base)
{
    return "# test configuration\nLX_BASE " + base + "\nLX_NUM 2\nLX_WAVES 457 528\nLX_MODE yes\nLX_SPEED FAST\n";
}

} // namespace lx::test
