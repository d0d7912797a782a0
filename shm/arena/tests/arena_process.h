// Runs arena_helper as a real process for the arena tests and cleans the user's arena away.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace arena_test {

// One arena_helper process; stdout is read line by line,
// stderr is collected in a file. The destructor kills a process still running.
class Helper {
public:
    explicit Helper(const std::vector<std::string> &commands, const std::vector<std::string> &extra_env = {});
    ~Helper();
    Helper(const Helper &) = delete;
    Helper &operator=(const Helper &) = delete;

    std::string line(std::chrono::seconds timeout = std::chrono::seconds(20)); // "" at the end
    void send(const std::string &text);
    int finish(std::chrono::seconds timeout = std::chrono::seconds(60)); // exit status; output drained
    std::string output() const { return out_; }  // everything read from stdout so far
    std::string errors() const;
    pid_t pid() const { return pid_; }
    void kill(int signal);

private:
    pid_t pid_ = -1;
    int out_fd_ = -1, in_fd_ = -1;
    std::string buffer_, out_, err_path_;
    int status_ = -1;
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
