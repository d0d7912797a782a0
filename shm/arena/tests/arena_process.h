// Runs arena_helper as a real process for the arena tests and cleans the user's arena away.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "lx_testing.h"

namespace arena_test {

using lxtest::exists;

// One arena_helper process running the given commands, mapping the arena where every other
// helper does unless `env` says otherwise. At destruction a waiting helper gets end of input.
class Helper : public lxtest::Process {
public:
    explicit Helper(const std::vector<std::string> &commands, const lxtest::Env &env = {},
                    const std::vector<std::string> &wrapper = {});
    int finish(); // exit status; output() and errors() stay readable
    const std::string &output() const { return result_.out; }
    const std::string &errors() const { return result_.err; }

private:
    lxtest::Result result_;
};

std::string idFile();
int controlSegment(); // the control segment under our key, or -1
int dataSegment();    // the data segment under our key, or -1
std::string semaphoreName();

constexpr const char *kCreate = "create:16777216";

// A suite process that made the arena (with `create`) and put alpha = value; it exits when sent a line.
std::unique_ptr<Helper> creatorOf(const std::string &value, const std::string &create = kCreate,
                                  const lxtest::Env &env = {});
// What another process finds: its attach result and alpha's value, e.g. "0 one" or "3 null".
std::string alphaSeenBy(const lxtest::Env &env = {}, const std::vector<std::string> &wrapper = {});

// Every arena test starts and ends with no arena of this user (also when it fails half-way).
class ArenaTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

} // namespace arena_test
