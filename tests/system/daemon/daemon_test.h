#pragma once

/// The built programs in a network namespace and a run folder of their own. Both vanish with the
/// test process; a daemon never outlives its test.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

struct Ended {
    int status = -1;    ///< exit code, or 128 + signal
    std::string output; ///< standard output and standard error
};

class DaemonTest : public testing::Test {
  protected:
    void SetUp() override {
        static const bool moved = unshare(CLONE_NEWNET) == 0;
        ASSERT_TRUE(moved) << "needs root, for a network namespace of its own";
        char folder[] = "/tmp/mstp-daemon-test-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_folder = folder;
        setenv("MSTP_RUN_DIR", folder, 1);
        setenv("ASAN_OPTIONS", "detect_leaks=0", 1);
    }

    void TearDown() override {
        stop();
        EXPECT_THAT(log(), testing::Not(testing::HasSubstr("Sanitizer")));
        EXPECT_THAT(log(), testing::Not(testing::HasSubstr("runtime error")));
        run("rm -rf " + m_folder);
    }

    /// Runs a shell command to its end.
    static Ended run(const std::string& command) {
        Ended ended;
        FILE* pipe = popen((command + " 2>&1").c_str(), "r");
        char buffer[4096];
        size_t count = 0;
        while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0) {
            ended.output.append(buffer, count);
        }
        const int status = pclose(pipe);
        ended.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        return ended;
    }

    static Ended client(const std::string& arguments) { return run(MSTP_CLIENT " " + arguments); }

    /// Repeats a client command until its output has @p text in it, for ten seconds at most.
    /// @return the last output
    static std::string eventually(const std::string& arguments, const std::string& text) {
        std::string output;
        for (int i = 0; i < 200; i++) {
            output = client(arguments).output;
            if (output.find(text) != std::string::npos) {
                break;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return output;
    }

    /// Starts the daemon and waits until its socket listens.
    void start(const char* instances = "8", const char* ports = "16") {
        m_pid = fork();
        if (m_pid == 0) {
            const int fd = open((m_folder + "/log").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
            dup2(fd, 1);
            dup2(fd, 2);
            execl(MSTP_DAEMON, MSTP_DAEMON, "br0", "0", "0", "0", "1", instances, ports, nullptr);
            _exit(127);
        }
        for (int i = 0; i < 200 && client("show bridge").status != 0; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    void stop() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
            m_pid = 0;
        }
    }

    bool alive() const { return m_pid > 0 && waitpid(m_pid, nullptr, WNOHANG) == 0; }

    std::string log() const {
        std::ifstream file(m_folder + "/log");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    std::string socketPath() const { return m_folder + "/mstpCmd.socket"; }

    /// Sends raw bytes to the daemon's socket and closes. @return what came back
    std::vector<uint8_t> raw(const std::vector<uint8_t>& bytes, bool readReply = true) const {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, socketPath().c_str(), sizeof address.sun_path - 1);
        std::vector<uint8_t> reply;
        if (connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) {
            if (!bytes.empty()) {
                EXPECT_EQ(send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL),
                          static_cast<ssize_t>(bytes.size()));
            }
            shutdown(fd, SHUT_WR);
            uint8_t buffer[4096];
            ssize_t count = 0;
            while (readReply && (count = recv(fd, buffer, sizeof buffer, 0)) > 0) {
                reply.insert(reply.end(), buffer, buffer + count);
            }
        }
        close(fd);
        return reply;
    }

    std::string m_folder;
    pid_t m_pid = 0;
};
