// The checks a save runs on the values typed into the form: value counts, required values and
// paths. The form is replaced by a reader over a map of typed texts.
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <vector>

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "config_file.h"
#include "test_files.h"
#include "value_checks.h"

namespace {

ConfigVar makeVar(const char *name, const char *shortDesc, int type, int numValues = 1)
{
    ConfigVar var;
    std::memset(&var, 0, sizeof var);
    std::strncpy(var.name, name, sizeof var.name - 1);
    std::strncpy(var.shortDesc, shortDesc, sizeof var.shortDesc - 1);
    var.type = type;
    var.numValues = numValues;
    var.optional = 1;
    return var;
}

// What the user typed, per variable name; a missing entry is a field that yields no text.
class TypedForm {
public:
    std::map<std::string, std::string> typed;

    lx::FormReader reader()
    {
        lx::FormReader r;
        r.widgetValue = [this](ConfigVar &var, std::string &text, bool &changed) {
            changed = false;
            auto it = typed.find(var.name);
            if (it == typed.end() || it->second.empty())
                return false;
            text = it->second;
            changed = text != var.value;
            return true;
        };
        r.fieldText = [this](ConfigVar &var) -> std::optional<std::string> {
            auto it = typed.find(var.name);
            if (it == typed.end())
                return std::nullopt;
            return it->second;
        };
        return r;
    }
};

class MultiValueCheck : public ::testing::Test {
protected:
    lx::CheckOutcome check(size_t index)
    {
        return lx::checkMultiValue(table_[index], table_, "/etc/lumarix.vars", form_.reader());
    }
    std::vector<ConfigVar> table_;
    TypedForm form_;
};

TEST_F(MultiValueCheck, FixedCountIgnoresRunsOfSpaces)
{
    table_.push_back(makeVar("LX_RGB", "Colour triple", VAR_MULTIVALUE, 3));
    form_.typed["LX_RGB"] = "1  2 3";
    EXPECT_TRUE(check(0).pass);
    form_.typed["LX_RGB"] = "  1 2   3  ";
    EXPECT_TRUE(check(0).pass);

    form_.typed["LX_RGB"] = "1 2";
    auto outcome = check(0);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "Variable \"Colour triple\" must have 3 Values.");

    form_.typed["LX_RGB"] = "1\t2\t3"; // only spaces separate values
    EXPECT_FALSE(check(0).pass);
}

TEST_F(MultiValueCheck, EmptyFieldPassesOnlyWhenOptional)
{
    table_.push_back(makeVar("LX_RGB", "Colour triple", VAR_MULTIVALUE, 3));
    form_.typed["LX_RGB"] = "   ";
    EXPECT_TRUE(check(0).pass);

    table_[0].optional = 0;
    auto outcome = check(0);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "Variable \"Colour triple\" must have 3 Values.");

    // A field that yields no text at all fails a required variable without a message.
    form_.typed.erase("LX_RGB");
    outcome = check(0);
    EXPECT_FALSE(outcome.pass);
    EXPECT_TRUE(outcome.message.empty());
    table_[0].optional = 1;
    EXPECT_TRUE(check(0).pass);
}

TEST_F(MultiValueCheck, AnyCountAndOtherTypesPass)
{
    table_.push_back(makeVar("LX_LINES", "Laser lines", VAR_MULTIVALUE, -1));
    table_.push_back(makeVar("LX_SIZE", "Size", VAR_SIMPLE));
    form_.typed["LX_LINES"] = "405 488 561 640 730";
    form_.typed["LX_SIZE"] = "1 2 3 4";
    EXPECT_TRUE(check(0).pass);
    EXPECT_TRUE(check(1).pass);
}

TEST_F(MultiValueCheck, DependentCountComesFromTheFormNotTheSavedValue)
{
    table_.push_back(makeVar("LX_NUM_CHANNELS", "Channels", VAR_SIMPLE));
    table_.push_back(makeVar("LX_WAVES", "Wavelengths", VAR_MULTIVALUE, -2));
    std::strcpy(table_[1].dependsOn, "LX_NUM_CHANNELS");
    std::strcpy(table_[0].value, "2");    // saved: 2 channels
    form_.typed["LX_NUM_CHANNELS"] = "4"; // typed, not yet saved: 4
    form_.typed["LX_WAVES"] = "457 528 617 685";
    EXPECT_TRUE(check(1).pass);

    form_.typed["LX_WAVES"] = "457 528";
    auto outcome = check(1);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "Variable \"Wavelengths\" must have 4 Values.");
}

TEST_F(MultiValueCheck, DependencyWithoutValueOrUndefined)
{
    table_.push_back(makeVar("LX_NUM_CHANNELS", "Channels", VAR_SIMPLE));
    table_.push_back(makeVar("LX_WAVES", "Wavelengths", VAR_MULTIVALUE, -2));
    std::strcpy(table_[1].dependsOn, "LX_NUM_CHANNELS");
    form_.typed["LX_WAVES"] = "457";
    form_.typed["LX_NUM_CHANNELS"] = "";
    auto outcome = check(1);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "MultiValue Variable \"Wavelengths\" depends on simple Variable "
                               "\"LX_NUM_CHANNELS\"\nwhich is must be given a valid value.\n");

    std::strcpy(table_[1].dependsOn, "lx_num_channels"); // names compare exactly
    outcome = check(1);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "MultiValue Variable \"Wavelengths\" depends on simple Variable "
                               "\"lx_num_channels\"\nwhich is not defined in configuration file "
                               "/etc/lumarix.vars\n");
}

class PathCheck : public ::testing::Test {
protected:
    lx::CheckOutcome check(ConfigVar &var) { return lx::checkPathValue(var, form_.reader()); }
    TypedForm form_;
    lx::test::TempDir dir_;
};

TEST_F(PathCheck, RequiredValueMustBeTyped)
{
    ConfigVar var = makeVar("LX_BASE", "Suite folder", VAR_SIMPLE);
    var.optional = 0;
    form_.typed["LX_BASE"] = "";
    auto outcome = check(var);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message, "Parameter \"Suite folder\" must\n have a value supplied for it.");
    var.optional = 1;
    EXPECT_TRUE(check(var).pass);
}

TEST_F(PathCheck, PlainTextIsNotAPath)
{
    ConfigVar var = makeVar("LX_FACILITY", "Facility", VAR_SIMPLE);
    form_.typed["LX_FACILITY"] = "Imaging Core + friends";
    EXPECT_TRUE(check(var).pass);
}

TEST_F(PathCheck, ExistingPathsWithSpaceOrPlusAreRefused)
{
    std::filesystem::create_directory(dir_ / "with space");
    std::filesystem::create_directory(dir_ / "c++");
    std::filesystem::create_directory(dir_ / "plain-dir_1.0");
    ConfigVar var = makeVar("LX_OTF_DIR", "OTF folder", VAR_SIMPLE);
    var.checkRead = 1;
    const std::string strange = "Invalid value specified for OTF folder.\n\nFile or Directory (Folder) names can not\n"
                                "contain spaces or strange characters.";
    for (const char *name : {"with space", "c++"}) {
        form_.typed["LX_OTF_DIR"] = dir_ / name;
        auto outcome = check(var);
        EXPECT_FALSE(outcome.pass) << name;
        EXPECT_EQ(outcome.message, strange) << name;
    }
    form_.typed["LX_OTF_DIR"] = dir_ / "plain-dir_1.0";
    EXPECT_TRUE(check(var).pass);
}

TEST_F(PathCheck, MissingPathIsReportedBeforeItsCharacters)
{
    ConfigVar var = makeVar("LX_DECONV_DIR", "Results", VAR_SIMPLE);
    var.checkWrite = 1;
    std::string missing = dir_ / "no such+dir";
    form_.typed["LX_DECONV_DIR"] = missing;
    auto outcome = check(var);
    EXPECT_FALSE(outcome.pass);
    EXPECT_EQ(outcome.message,
              "Invalid value specified for Results.\n\nFile or Directory: \"" + missing + "\" doesn't exist.");
}

// Permission refusals, checked by a child running as the unprivileged user "nobody".
TEST_F(PathCheck, PermissionsAreThoseOfTheUser)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "switching to nobody needs root";
    std::string locked = dir_ / "locked";
    std::filesystem::create_directory(locked);
    ::chmod(dir_.path().c_str(), 0755);
    ::chmod(locked.c_str(), 0700); // owned by root: nobody can neither read nor write it

    int pipeFds[2];
    ASSERT_EQ(::pipe(pipeFds), 0);
    pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        ::close(pipeFds[0]);
        if (::setgid(65534) != 0 || ::setuid(65534) != 0)
            ::_exit(3);
        std::string report;
        for (int write = 0; write < 2; ++write) {
            ConfigVar var = makeVar("LX_DIR", "Data", VAR_SIMPLE);
            (write ? var.checkWrite : var.checkRead) = 1;
            form_.typed["LX_DIR"] = locked;
            report += check(var).message + "|";
        }
        if (::write(pipeFds[1], report.data(), report.size()) < 0)
            ::_exit(4);
        ::_exit(0);
    }
    ::close(pipeFds[1]);
    std::string report;
    char buffer[1024];
    ssize_t n;
    while ((n = ::read(pipeFds[0], buffer, sizeof buffer)) > 0)
        report.append(buffer, static_cast<size_t>(n));
    ::close(pipeFds[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(report, "Invalid value specified for Data.\n\nYou don't have Read Permission for\nFile or Directory: \"" +
                          locked +
                          "\".|Invalid value specified for Data.\n\nYou don't have Write Permission for\n"
                          "File or Directory: \"" +
                          locked + "\".|");
}

TEST(ClassifyPathCharsTest, FirstOffendingCharacterDecides)
{
    EXPECT_EQ(ClassifyPathChars(""), 3);
    EXPECT_EQ(ClassifyPathChars("/usr/local/Lumarix-2.1_b/x.y"), 0);
    EXPECT_EQ(ClassifyPathChars("/data/my scans"), 1);
    EXPECT_EQ(ClassifyPathChars("/data/a\tb"), 1);
    EXPECT_EQ(ClassifyPathChars("/data/a\rb"), 1);
    EXPECT_EQ(ClassifyPathChars("/data/c++"), 2);
    EXPECT_EQ(ClassifyPathChars("/data/$HOME"), 2);
    EXPECT_EQ(ClassifyPathChars("/data/caf\xc3\xa9"), 2);
    EXPECT_EQ(ClassifyPathChars("/a b+c"), 1);
    EXPECT_EQ(ClassifyPathChars("/a+b c"), 2);
}

} // namespace
