// Every test process that links the X harness gets an X server of its own, so that tests that
// type, click, move the pointer or time tooltips can neither disturb nor be disturbed by tests
// running at the same time, and need no outer DISPLAY. The server chooses a free display number
// and reports it (-displayfd); it dies with the process, however the process ends.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

class PrivateXServer : public ::testing::Environment {
public:
    void SetUp() override
    {
        int report[2];
        ASSERT_EQ(::pipe(report), 0);
        server_ = ::fork();
        if (server_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGTERM);
            ::close(report[0]);
            if (std::freopen("/dev/null", "w", stderr) == nullptr)
                ::_exit(126);
            std::string fd = std::to_string(report[1]);
            // -noreset: the helper programs a test starts connect and leave; the server keeps its
            // state between them.
            ::execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", "1280x1024x24", "-nolisten", "tcp",
                     "-noreset", static_cast<char *>(nullptr));
            ::_exit(127);
        }
        ::close(report[1]);
        std::string number;
        char c = 0;
        while (::read(report[0], &c, 1) == 1 && c != '\n')
            number += c;
        ::close(report[0]);
        ASSERT_FALSE(number.empty()) << "Xvfb did not start";
        ::setenv("DISPLAY", (":" + number).c_str(), 1);
    }

    void TearDown() override
    {
        if (server_ > 0) {
            ::kill(server_, SIGTERM);
            ::waitpid(server_, nullptr, 0);
        }
    }

private:
    pid_t server_ = -1;
};

const auto *const registered = ::testing::AddGlobalTestEnvironment(new PrivateXServer);

} // namespace
