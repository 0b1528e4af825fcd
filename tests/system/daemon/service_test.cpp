// What the daemon tells a service manager that started it.

#include <poll.h>

#include "daemon_test.h"

namespace {

class ServiceTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        const std::string path = m_folder + "/notify";
        m_fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        ASSERT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }

    void TearDown() override {
        unsetenv("NOTIFY_SOCKET");
        unsetenv("WATCHDOG_USEC");
        close(m_fd);
        DaemonTest::TearDown();
    }

    /// The next message, within ten seconds; empty for none.
    std::string told() const {
        pollfd waiting = {m_fd, POLLIN, 0};
        char text[256];
        if (poll(&waiting, 1, 10'000) != 1) {
            return "";
        }
        const ssize_t count = recv(m_fd, text, sizeof text, 0);
        return std::string(text, count > 0 ? static_cast<size_t>(count) : 0);
    }

    bool silent() const {
        pollfd waiting = {m_fd, POLLIN, 0};
        return poll(&waiting, 1, 0) == 0;
    }

    int m_fd = -1;
};

} // namespace

TEST_F(ServiceTest, IsToldThatTheDaemonIsReadyOnceItAnswers) {
    start();

    EXPECT_EQ(told(), "READY=1\n");
    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(ServiceTest, IsGivenSignsOfLifeAsOftenAsItWants) {
    setenv("WATCHDOG_USEC", "400000", 1);
    start();

    EXPECT_EQ(told(), "READY=1\n");
    EXPECT_EQ(told(), "WATCHDOG=1\n");
    EXPECT_EQ(told(), "WATCHDOG=1\n");
}

TEST_F(ServiceTest, IsNotBotheredWithSignsOfLifeThatItDoesNotWant) {
    start();
    told();
    client("show"); // many turns of the loop

    EXPECT_TRUE(silent());
}

TEST_F(ServiceTest, ThatIsNotThereIsNoHindrance) {
    setenv("NOTIFY_SOCKET", "/nonexistent/notify", 1);
    start();

    EXPECT_EQ(client("show bridge").status, 0);
}
