// What an operator asks of the daemon with kill.

#include "daemon_test.h"

class SignalTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        start();
        EXPECT_EQ(client("instance add 0").status, 0);
    }

    uint32_t countInLog(const std::string& text) const {
        const std::string whole = log();
        uint32_t count = 0;
        for (size_t at = whole.find(text); at != std::string::npos; at = whole.find(text, at + 1)) {
            count++;
        }
        return count;
    }

    /// How often everything was printed.
    uint32_t shows() const { return countInLog("\r\nbridge[1]\r\n"); }

    void awaitShows(uint32_t count) const {
        for (int i = 0; i < 500 && shows() < count; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(shows(), count);
    }

    /// A client that has sent the first @p count bytes of its request.
    int connectAndSend(const std::vector<uint8_t>& bytes, size_t count) const {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        EXPECT_EQ(send(fd, bytes.data(), count, MSG_NOSIGNAL), static_cast<ssize_t>(count));
        return fd;
    }

    /// A whole request, its length before it: the debug mask, please.
    static std::vector<uint8_t> request() {
        return {37, 0, 0,  0, 'A', 'D', 'R', '1', 0, 0, 0, 7, 0, 0, 0, 1, 0, 0, 0, 0, 0,
                0,  0, 24, 1, 0,   2,   0,   4,   0, 0, 0, 0, 3, 2, 0, 4, 0, 0, 0, 0};
    }

    /// Asks for the debug mask until it is @p expected, big-endian.
    void awaitMask(const std::vector<uint8_t>& expected) const {
        std::vector<uint8_t> mask;
        for (int i = 0; i < 500 && mask != expected; i++) {
            const std::vector<uint8_t> reply = raw(request());
            ASSERT_EQ(reply.size(), request().size());
            mask.assign(reply.end() - 4, reply.end());
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        EXPECT_EQ(mask, expected);
    }
};

TEST_F(SignalTest, Usr1PrintsEverythingOnce) {
    kill(m_pid, SIGUSR1);

    awaitShows(1);
    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_EQ(shows(), 1U);
    EXPECT_EQ(countInLog("\r\nxstId:0\r\n"), 1U);
    EXPECT_EQ(countInLog("\r\n" + std::string(48, '-')), 3U);
}

TEST_F(SignalTest, Usr1WaitsUntilTheClientAtHandIsServed) {
    const std::vector<uint8_t> bytes = request();
    const int fd = connectAndSend(bytes, 20);
    kill(m_pid, SIGUSR1);
    ASSERT_EQ(send(fd, bytes.data() + 20, bytes.size() - 20, MSG_NOSIGNAL),
              static_cast<ssize_t>(bytes.size() - 20));

    std::vector<uint8_t> reply(bytes.size());
    EXPECT_EQ(recv(fd, reply.data(), reply.size(), MSG_WAITALL),
              static_cast<ssize_t>(reply.size()));
    EXPECT_EQ(reply, bytes);
    close(fd);
    awaitShows(1);
}

TEST_F(SignalTest, Usr2TwiceEndsWithoutTraces) {
    kill(m_pid, SIGUSR2);
    awaitMask({0xFF, 0xFF, 0xFF, 0xFF});

    kill(m_pid, SIGUSR2);
    awaitMask({0, 0, 0, 0});
}

TEST_F(SignalTest, ThousandsOfSignalsInARowCostNothingElse) {
    for (int i = 0; i < 5000; i++) {
        kill(m_pid, i % 2 == 0 ? SIGUSR1 : SIGUSR2);
    }

    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_TRUE(alive());
}

TEST_F(SignalTest, TermEndsTheDaemon) {
    kill(m_pid, SIGTERM);
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = 0;

    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM) << status;
}
