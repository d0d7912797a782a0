// The variable description file: keywords, type rules, choice and help lines.
#include "description_parser.h"

#include "description_lines.h"
#include "lumarix/editor.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <string>

namespace lx::editor {
namespace {

bool equalsNoCase(const char *a, const char *b) { return strcasecmp(a, b) == 0; }

// Splits a line in place the way the file's grammar does: each call takes the next token
// ended by any of `delimiters`, skipping delimiters in front of it.
class Tokens {
public:
    explicit Tokens(char *line) : next_(line) {}

    char *take(const char *delimiters)
    {
        next_ += std::strspn(next_, delimiters);
        if (*next_ == '\0')
            return nullptr;
        char *token = next_;
        next_ += std::strcspn(next_, delimiters);
        if (*next_ != '\0')
            *next_++ = '\0';
        return token;
    }

    // A space-delimited word with a trailing newline removed; null when there is none.
    char *word()
    {
        char *token = take(" ");
        if (!token)
            return nullptr;
        stripNewline(token);
        return *token ? token : nullptr;
    }

    static void stripNewline(char *text)
    {
        const std::size_t length = std::strlen(text);
        if (length > 0 && text[length - 1] == '\n')
            text[length - 1] = '\0';
    }

private:
    char *next_;
};

void copyField(char (&field)[256], const char *text) { std::snprintf(field, sizeof field, "%s", text); }

// atoi's reading of a count, without its overflow.
int countOf(const char *token)
{
    errno = 0;
    const long value = std::strtol(token, nullptr, 10);
    if (value > INT_MAX)
        return INT_MAX;
    if (value < INT_MIN)
        return INT_MIN;
    return static_cast<int>(value);
}

class Parser {
public:
    Parser(FILE *file, const ErrorSink &report) : lines_(file), report_(report) {}

    bool run()
    {
        gNumVars = 0;
        char line[256];
        while (lines_.next(line)) {
            if (line[0] == '#')
                continue;
            for (char *c = line; *c; ++c)
                if (*c == '\t')
                    *c = ' ';
            Tokens tokens(line);
            const char *keyword = tokens.take(" ");
            if (keyword && !handle(keyword, tokens))
                return false;
        }
        if (!lines_.error().empty())
            return fail(lines_.error());
        return CheckDependsOn(report_);
    }

private:
    DescriptionLines lines_;
    const ErrorSink &report_;

    ConfigVar &current() { return gVarList[gNumVars > 0 ? gNumVars - 1 : 0]; }

    bool fail(std::string_view message)
    {
        report_(message);
        return false;
    }

    std::string at() const { return " (line " + std::to_string(lines_.lineNumber()) + ")"; }

    // Reads a line that belongs to the keyword before it (a choice or help line).
    bool nextOwnLine(char (&line)[256], const char *endOfFileMessage)
    {
        if (lines_.next(line))
            return true;
        fail(lines_.error().empty() ? std::string_view(endOfFileMessage) : std::string_view(lines_.error()));
        return false;
    }

    static bool isFlag(const char *keyword, const char *name)
    {
        const std::string glued = std::string(name) + "\n";
        return equalsNoCase(keyword, name) || equalsNoCase(keyword, glued.c_str());
    }

    bool handle(const char *keyword, Tokens &tokens)
    {
        if (equalsNoCase(keyword, "TITLE:")) {
            const char *text = tokens.take("\n");
            if (!text)
                return fail("TITLE: line incomplete!");
            copyField(gcMainTitle, text);
        } else if (equalsNoCase(keyword, "VARIABLE:")) {
            const char *name = tokens.word();
            if (!name)
                return fail("VARIABLE: line incomplete!");
            if (gNumVars >= MAX_VARS)
                return fail("Too many variables" + at() + ": at most " + std::to_string(MAX_VARS) +
                            " can be described.");
            startRecord(name);
        } else if (equalsNoCase(keyword, "SHORTDESC:")) {
            const char *text = tokens.take("\n");
            if (!text)
                return fail("SHORTDESC: line incomplete!");
            copyField(current().shortDesc, text);
        } else if (equalsNoCase(keyword, "TYPE:")) {
            return type(tokens);
        } else if (isFlag(keyword, "MUSTBESET:")) {
            current().optional = 0;
        } else if (isFlag(keyword, "CHECKREAD:")) {
            current().checkRead = 1;
        } else if (isFlag(keyword, "CHECKWRITE:")) {
            current().checkWrite = 1;
        } else if (isFlag(keyword, "CANSETLIVE:")) {
            current().canSetLive = 1;
        } else if (isFlag(keyword, "HELP:")) {
            return help(tokens);
        }
        return true;
    }

    void startRecord(const char *name)
    {
        ++gNumVars;
        ConfigVar &var = current();
        var.shortDesc[0] = var.dependsOn[0] = var.help[0] = var.value[0] = '\0';
        var.type = var.numValues = var.numChoices = var.reserved = 0;
        var.optional = 1;
        var.checkRead = var.checkWrite = var.canSetLive = 0;
        copyField(var.name, name); // choice texts stay: they are read only up to numChoices
    }

    bool type(Tokens &tokens)
    {
        const char *word = tokens.word();
        if (!word)
            return fail("TYPE: line incomplete!");
        ConfigVar &var = current();
        if (equalsNoCase(word, "SIMPLE")) {
            var.type = VAR_SIMPLE;
            var.numValues = 1;
        } else if (equalsNoCase(word, "BOOLEAN")) {
            var.type = VAR_BOOLEAN;
            var.numValues = 1;
            var.numChoices = 2;
            return choices(var, 2, "Expected Boolean Choices!");
        } else if (equalsNoCase(word, "MULTIVALUE")) {
            var.type = VAR_MULTIVALUE;
            const char *count = tokens.word();
            if (!count) {
                var.numValues = VALUES_ANY;
            } else if (count[0] == '$') {
                copyField(var.dependsOn, count + 1);
                var.numValues = VALUES_FROM_DEPENDS;
            } else {
                var.numValues = countOf(count);
            }
        } else if (equalsNoCase(word, "ONEOFMANY")) {
            var.type = VAR_ONEOFMANY;
            const char *count = tokens.word();
            if (!count)
                return fail("Type ONEOFMANY requires a number!");
            if (count[0] == '$') {
                copyField(var.dependsOn, count + 1);
                var.numChoices = VALUES_FROM_DEPENDS;
                return true;
            }
            const int wanted = countOf(count);
            if (wanted < 0 || wanted > MAX_CHOICES)
                return fail("Type ONEOFMANY" + at() + " asks for " + std::to_string(wanted) +
                            " choices: between 0 and " + std::to_string(MAX_CHOICES) + " are allowed.");
            var.numChoices = wanted;
            return choices(var, wanted, "Expected OneOfMany Choices!");
        }
        return true; // an unknown type word leaves the type as it was
    }

    bool choices(ConfigVar &var, int count, const char *endOfFileMessage)
    {
        for (int i = 0; i < count; ++i) {
            char line[256];
            if (!nextOwnLine(line, endOfFileMessage))
                return false;
            Tokens::stripNewline(line);
            copyField(var.choices[i], line);
        }
        return true;
    }

    bool help(Tokens &tokens)
    {
        ConfigVar &var = current();
        std::string text = var.help;
        if (const char *first = tokens.take("\n"))
            text = std::string(first) + "\n";
        constexpr int kMaxHelpReads = 19;
        for (int read = 1; read <= kMaxHelpReads; ++read) {
            char line[256];
            if (!nextOwnLine(line, "Expected Help Lines or Terminator!"))
                return false;
            if (line[0] == '%' && line[1] == '%') {
                copyHelp(var, text);
                return true;
            }
            text += line;
            if (text.size() > MAX_HELP_CHARS)
                return fail("Help text of variable " + std::string(var.name) + " is too long" + at() + ": at most " +
                            std::to_string(MAX_HELP_CHARS) + " characters are allowed.");
        }
        return fail("More Help Lines than allowed!");
    }

    static void copyHelp(ConfigVar &var, const std::string &text)
    {
        std::snprintf(var.help, sizeof var.help, "%s", text.c_str());
    }
};

} // namespace

bool CheckDependsOn(const ErrorSink &report)
{
    for (int i = 0; i < gNumVars; ++i) {
        const ConfigVar &var = gVarList[i];
        if (var.dependsOn[0] == '\0')
            continue;
        bool found = false;
        for (int j = 0; j < gNumVars && !found; ++j)
            found = std::strcmp(gVarList[j].name, var.dependsOn) == 0;
        if (!found) {
            report("MultiValue Variable " + std::string(var.name) + " depends on simple Variable " + var.dependsOn +
                   "\nwhich is not defined in configuration file " + gDescriptionFile + "\n");
            return false;
        }
    }
    return true;
}

bool ParseDescription(FILE *file, const ErrorSink &report)
{
    Parser parser(file, report);
    return parser.run();
}

} // namespace lx::editor
