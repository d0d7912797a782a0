// Reads the description file the way the parser needs it: 255 bytes at most per read (a longer
// line goes on as the next read), refusing NUL bytes and CR-LF line ends.
#pragma once

#include <cstdio>
#include <string>

namespace lx::editor {

class DescriptionLines {
public:
    explicit DescriptionLines(FILE *file) : file_(file) {}

    // Reads the next piece into `text` (terminated, newline kept). False at the end of the file
    // or on bad input; then error() says which (empty at a plain end of file).
    bool next(char (&text)[256]);

    const std::string &error() const { return error_; }
    int lineNumber() const { return lineNumber_; } // the file line the last piece belongs to

private:
    FILE *file_;
    std::string error_;
    int lineNumber_ = 0;
    bool atLineStart_ = true;
    bool lastWasCR_ = false;
};

} // namespace lx::editor
