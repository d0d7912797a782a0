#include "help_page_text.h"

#include <array>
#include <cctype>
#include <cstdlib>

namespace lx::wm {
namespace {

bool IsSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v'; }

std::string Lower(std::string_view text)
{
    std::string out(text);
    for (char &c : out) {
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    }
    return out;
}

// "&amp;" and friends; returns the decoded character and how much input it used (0: not an entity).
std::pair<char, size_t> Entity(std::string_view at)
{
    static const std::array<std::pair<std::string_view, char>, 6> named{
        {{"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}, {"nbsp", ' '}}};
    const size_t semicolon = at.find(';');
    if (semicolon == std::string_view::npos || semicolon < 2 || semicolon > 10) {
        return {'&', 0};
    }
    const std::string_view name = at.substr(1, semicolon - 1);
    if (name[0] == '#') {
        const bool hex = name.size() > 1 && (name[1] == 'x' || name[1] == 'X');
        const std::string digits(name.substr(hex ? 2 : 1));
        if (digits.empty() ||
            digits.find_first_not_of(hex ? "0123456789abcdefABCDEF" : "0123456789") != std::string::npos) {
            return {'&', 0};
        }
        const long code = std::strtol(digits.c_str(), nullptr, hex ? 16 : 10);
        return {code >= 32 && code < 127 ? static_cast<char>(code) : (code == 10 ? '\n' : '?'), semicolon + 1};
    }
    for (const auto &[word, c] : named) {
        if (Lower(name) == word) {
            return {c, semicolon + 1};
        }
    }
    return {'&', 0};
}

class TextBuilder {
public:
    void Char(char c, bool keepSpaces)
    {
        if (!keepSpaces && IsSpace(c)) {
            pendingSpace_ = !text_.empty() && text_.back() != '\n';
            return;
        }
        if (pendingSpace_) {
            text_ += ' ';
            pendingSpace_ = false;
        }
        text_ += c;
    }
    // Ends the current line; `blank` also leaves an empty line (a new paragraph).
    void Break(bool blank)
    {
        pendingSpace_ = false;
        while (!text_.empty() && text_.back() == ' ') {
            text_.pop_back();
        }
        if (text_.empty()) {
            return;
        }
        if (text_.back() != '\n') {
            text_ += '\n';
        }
        if (blank && (text_.size() < 2 || text_[text_.size() - 2] != '\n')) {
            text_ += '\n';
        }
    }
    // Underlines the current line with dashes (a heading) and ends the paragraph.
    void Underline()
    {
        Break(false);
        if (text_.empty()) {
            return;
        }
        const size_t end = text_.size() - 1; // the line's '\n'
        const size_t previous = end == 0 ? std::string::npos : text_.rfind('\n', end - 1);
        const size_t begin = previous == std::string::npos ? 0 : previous + 1;
        text_.append(end - begin, '-');
        Break(true);
    }
    std::string Take()
    {
        Break(false);
        while (text_.size() >= 2 && text_[text_.size() - 2] == '\n') {
            text_.pop_back();
        }
        return std::move(text_);
    }

private:
    std::string text_;
    bool pendingSpace_ = false;
};

std::string TagName(std::string_view tag)
{
    size_t start = tag.starts_with('/') ? 1 : 0;
    size_t end = start;
    while (end < tag.size() && std::isalnum(static_cast<unsigned char>(tag[end]))) {
        ++end;
    }
    return Lower(tag.substr(start, end - start));
}

bool OneOf(const std::string &name, std::initializer_list<std::string_view> names)
{
    for (std::string_view n : names) {
        if (name == n) {
            return true;
        }
    }
    return false;
}

// Where "</name" (any case) starts at or after `from`, or the end of the text.
size_t FindEndTag(std::string_view html, size_t from, const std::string &name)
{
    for (size_t at = html.find("</", from); at != std::string_view::npos; at = html.find("</", at + 2)) {
        if (Lower(html.substr(at + 2, name.size())) == name) {
            return at;
        }
    }
    return html.size();
}

} // namespace

HelpPageText PlainTextOfHelpPage(std::string_view html)
{
    HelpPageText page;
    TextBuilder body;
    std::string title;
    bool inTitle = false, inPre = false;
    size_t i = 0;
    while (i < html.size()) {
        const char c = html[i];
        if (c == '&') {
            const auto [decoded, used] = Entity(html.substr(i));
            if (inTitle) {
                title += decoded;
            } else {
                body.Char(decoded, inPre || decoded == ' ');
            }
            i += used > 0 ? used : 1;
            continue;
        }
        if (c != '<') {
            if (inTitle) {
                title += c;
            } else {
                body.Char(c, inPre);
            }
            ++i;
            continue;
        }
        if (html.substr(i).starts_with("<!--")) {
            const size_t end = html.find("-->", i + 4);
            i = end == std::string_view::npos ? html.size() : end + 3;
            continue;
        }
        const size_t close = html.find('>', i);
        if (close == std::string_view::npos) {
            break;
        }
        const std::string_view tag = html.substr(i + 1, close - i - 1);
        const std::string name = TagName(tag);
        const bool ending = tag.starts_with('/');
        i = close + 1;
        if (!ending && OneOf(name, {"script", "style"})) {
            i = FindEndTag(html, i, name);
        } else if (name == "title") {
            inTitle = !ending;
        } else if (name == "pre") {
            inPre = !ending;
            body.Break(true);
        } else if (name == "br") {
            body.Break(false);
        } else if (name == "li" && !ending) {
            body.Break(false);
            body.Char('-', true);
            body.Char(' ', true);
        } else if (ending && OneOf(name, {"h1", "h2", "h3"})) {
            body.Underline();
        } else if (OneOf(name, {"p", "h1", "h2", "h3", "h4", "h5", "h6", "ul", "ol", "dl", "table", "div", "blockquote",
                                "hr"})) {
            body.Break(true);
        } else if (OneOf(name, {"li", "tr", "dt", "dd"})) {
            body.Break(false);
        } else if (OneOf(name, {"td", "th"}) && ending) {
            body.Char(' ', true);
        }
    }
    TextBuilder titleText;
    for (char t : title) {
        titleText.Char(t, false);
    }
    page.title = titleText.Take();
    if (!page.title.empty()) {
        page.title.pop_back(); // the line end Take() adds
    }
    page.body = body.Take();
    return page;
}

} // namespace lx::wm
