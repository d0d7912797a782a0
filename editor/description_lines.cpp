#include "description_lines.h"

namespace lx::editor {

bool DescriptionLines::next(char (&text)[256])
{
    if (!error_.empty())
        return false;
    std::size_t length = 0;
    int c = EOF;
    while (length < sizeof text - 1 && (c = std::getc(file_)) != EOF) {
        if (length == 0 && atLineStart_)
            ++lineNumber_;
        if (c == '\0') {
            error_ = "Description file line " + std::to_string(lineNumber_) + " contains a NUL byte.";
            return false;
        }
        if (c == '\n' && lastWasCR_) {
            error_ = "Description file line " + std::to_string(lineNumber_) +
                     " ends in CR-LF; save the file with plain newline line ends.";
            return false;
        }
        lastWasCR_ = c == '\r';
        text[length++] = static_cast<char>(c);
        if (c == '\n')
            break;
    }
    if (length == 0) {
        if (std::ferror(file_))
            error_ = "Couldn't read Description File.";
        return false;
    }
    text[length] = '\0';
    atLineStart_ = text[length - 1] == '\n';
    return true;
}

} // namespace lx::editor
