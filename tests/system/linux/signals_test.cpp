// Signals reach the daemon through its wait, and only there.

#include "platform/signals.h"

#include <csignal>

#include "linux_test.h"
#include "platform/seam.h"

namespace {

int32_t served[2];

void first() {
    served[0]++;
}

void second() {
    served[1]++;
}

class Signals : public testing::Test {
  protected:
    Signals() {
        EXPECT_EQ(pipe(m_pipe), 0);
        EXPECT_EQ(platformOnSignal(SIGUSR1, first), 0);
        EXPECT_EQ(platformOnSignal(SIGUSR2, second), 0);
        served[0] = 0;
        served[1] = 0;
    }

    ~Signals() override {
        close(m_pipe[0]);
        close(m_pipe[1]);
    }

    // One wait on the pipe.
    int32_t wait(int32_t seconds = 0) {
        FD_ZERO(&m_readable);
        FD_SET(m_pipe[0], &m_readable);
        timeval timeout = {seconds, 0};
        return platformSelect(m_pipe[0] + 1, &m_readable, nullptr, nullptr, &timeout);
    }

    int m_pipe[2] = {};
    fd_set m_readable = {};
};

} // namespace

TEST_F(Signals, NothingIsCalledBeforeTheWait) {
    raise(SIGUSR1);
    EXPECT_EQ(served[0], 0);
    wait();
    EXPECT_EQ(served[0], 1);
}

TEST_F(Signals, ASignalThatCameBeforeTheWaitEndsItAtOnce) {
    raise(SIGUSR1);
    EXPECT_EQ(wait(1000), 0);
    EXPECT_EQ(served[0], 1);
}

TEST_F(Signals, AWaitThatASignalEndsHasNothingReadable) {
    raise(SIGUSR1);
    wait();
    for (int fd = 0; fd < FD_SETSIZE; fd++) {
        EXPECT_FALSE(FD_ISSET(fd, &m_readable)) << fd;
    }
}

TEST_F(Signals, ASignalDuringTheWaitEndsIt) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) {
        usleep(100'000);
        kill(parent, SIGUSR2);
        _exit(0);
    }
    EXPECT_EQ(wait(1000), 0);
    EXPECT_EQ(served[1], 1);
    waitpid(child, nullptr, 0);
}

TEST_F(Signals, AReadableSocketIsToldOfAndTheSignalServed) {
    raise(SIGUSR1);
    ASSERT_EQ(write(m_pipe[1], "x", 1), 1);
    EXPECT_EQ(wait(), 1);
    EXPECT_TRUE(FD_ISSET(m_pipe[0], &m_readable));
    EXPECT_EQ(served[0], 1);
}

TEST_F(Signals, EachSignalCallsItsOwn) {
    raise(SIGUSR2);
    wait();
    EXPECT_EQ(served[0], 0);
    EXPECT_EQ(served[1], 1);
}

TEST_F(Signals, TwoOfAKindBeforeOneWaitCountAsOne) {
    raise(SIGUSR1);
    raise(SIGUSR1);
    wait();
    wait();
    EXPECT_EQ(served[0], 1);
}

TEST_F(Signals, ASecondRegistrationReplacesTheFirst) {
    platformOnSignal(SIGUSR1, second);
    raise(SIGUSR1);
    wait();
    EXPECT_EQ(served[0], 0);
    EXPECT_EQ(served[1], 1);
}

TEST_F(Signals, ASignalThatNobodyCanHoldIsRefused) {
    EXPECT_EQ(platformOnSignal(SIGKILL, first), -1);
    EXPECT_EQ(platformOnSignal(SIGSTOP, first), -1);
    EXPECT_EQ(platformOnSignal(0, first), -1);
    EXPECT_EQ(platformOnSignal(-1, first), -1);
    EXPECT_EQ(platformOnSignal(1000, first), -1);
}

TEST_F(Signals, OthersKeepTheirEffect) {
    const pid_t child = fork();
    if (child == 0) {
        wait(1000);
        _exit(0);
    }
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM);
}
