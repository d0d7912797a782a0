// Runs arena_helper as a real process for the arena tests and cleans the user's arena away.
#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <vector>

#include "child_process.h"

namespace arena_test {

// One arena_helper process running the given commands. extra_env: "NAME=value" sets, a bare
// "NAME" unsets; wrapper: a command that runs the helper (e.g. unshare --pid --fork). A helper
// still running at destruction gets end of input, so a waiting one goes on to its last command.
class Helper : public lx::test::Child {
public:
    explicit Helper(const std::vector<std::string> &commands, const std::vector<std::string> &extra_env = {},
                    const std::vector<std::string> &wrapper = {});
    std::string line() { return read_line_starting(""); } // "" at the end
    void send(const std::string &text) { send_line(text.substr(0, text.find('\n'))); }
    int finish(); // exit status (-1 after a signal); output and errors are kept
    void kill(int signal) { ::kill(pid(), signal); }
    const std::string &output() const { return result_.out; }
    const std::string &errors() const { return result_.err; }

private:
    lx::test::ChildResult result_;
};

std::string userName();
std::string idFile();
int controlSegment();  // the control segment under our key, or -1
int dataSegment();     // the data segment under our key, or -1
std::string semaphoreName();
void removeArena();    // removes segments, id file and semaphore of this user
bool exists(const std::string &path);
std::string readFile(const std::string &path);

constexpr const char *kCreate = "create:16777216";

// Every arena test starts and ends with no arena of this user (also when it fails half-way).
class ArenaTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override { removeArena(); }
};

} // namespace arena_test
