#pragma once

/// Two daemons, each in a network namespace of its own, and a third party on one of the two wires
/// between them. The third party, in the test's namespace, passes on what the daemons say and says
/// what it likes.

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/time.h>

#include <atomic>
#include <mutex>

#include "daemon_test.h"
#include "hostile_frames.h"
#include "management_request.h"
#include "mstp/management.h"

using Clock = std::chrono::steady_clock;

/// A daemon with ports "port1" and "port2" in a namespace of its own.
class Neighbour {
  public:
    /// Makes the namespace; the daemon waits for launch(), so that it can be wired first.
    explicit Neighbour(const std::string& folder) : m_folder(folder) {
        int made[2];
        EXPECT_EQ(pipe(made), 0);
        EXPECT_EQ(pipe(m_go), 0);
        EXPECT_EQ(mkdir(folder.c_str(), 0700), 0);
        m_pid = fork();
        if (m_pid == 0) {
            runChild(made[1]);
        }
        char byte = 0;
        EXPECT_EQ(read(made[0], &byte, 1), 1);
        close(made[0]);
        close(made[1]);
    }

    ~Neighbour() {
        kill(m_pid, SIGKILL);
        waitpid(m_pid, nullptr, 0);
        close(m_go[0]);
        close(m_go[1]);
    }

    Neighbour(const Neighbour&) = delete;
    Neighbour& operator=(const Neighbour&) = delete;

    pid_t pid() const { return m_pid; }

    /// Interface indices of port1 and port2.
    uint32_t units[2] = {};

    /// Starts the daemon and waits until it answers.
    void launch() {
        EXPECT_EQ(write(m_go[1], "x", 1), 1);
        Request hello = Request(MSTP_GEN_GETAPI, MSTP_GEN_CAPABLE).index({}).int32(0);
        for (int i = 0; i < 500 && !exchange(hello); i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    }

    /// One request and its reply, which replaces it. @return false when none came
    bool exchange(Request& request) const {
        const int fd = socket(AF_UNIX, SOCK_STREAM, 0);
        const timeval patience = {10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        sockaddr_un address = {};
        address.sun_family = AF_UNIX;
        strncpy(address.sun_path, (m_folder + "/mstpCmd.socket").c_str(),
                sizeof address.sun_path - 1);
        const Bytes bytes = request.framed();
        Bytes reply(bytes.size());
        const bool answered =
            connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
            send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
                static_cast<ssize_t>(bytes.size()) &&
            recv(fd, reply.data(), reply.size(), MSG_WAITALL) == static_cast<ssize_t>(reply.size());
        close(fd);
        if (answered) {
            request.bytes().assign(reply.begin() + 4, reply.end());
        }
        return answered;
    }

    void set(Request request) const {
        ASSERT_TRUE(exchange(request));
        EXPECT_EQ(request.result(), 0);
    }

    uint32_t get(Request request) const {
        EXPECT_TRUE(exchange(request));
        EXPECT_EQ(request.result(), 0);
        return request.value();
    }

    uint32_t unitOf(const std::string& interface) const {
        return static_cast<uint32_t>(atoi(inside("ip -o link show " + interface).c_str()));
    }

    /// Runs a command in the namespace. @return its output
    std::string inside(const std::string& command) const {
        const std::string enter = "nsenter -n -t " + std::to_string(m_pid) + " ";
        FILE* output = popen((enter + command).c_str(), "r");
        char text[512] = "";
        const size_t count = fread(text, 1, sizeof text - 1, output);
        EXPECT_EQ(pclose(output), 0) << command;
        return {text, count};
    }

    std::string log() const {
        std::ifstream file(m_folder + "/log");
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

  private:
    [[noreturn]] void runChild(int made) const {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        char byte = 'x';
        if (unshare(CLONE_NEWNET) != 0 || write(made, &byte, 1) != 1 ||
            read(m_go[0], &byte, 1) != 1) {
            _exit(127);
        }
        const int fd = open((m_folder + "/log").c_str(), O_CREAT | O_WRONLY | O_APPEND, 0600);
        dup2(fd, 1);
        dup2(fd, 2);
        setenv("MSTP_RUN_DIR", m_folder.c_str(), 1);
        execl(MSTP_DAEMON, MSTP_DAEMON, "br0", "0", "0", "0", "1", "8", "16", nullptr);
        _exit(127);
    }

    std::string m_folder;
    int m_go[2] = {-1, -1};
    pid_t m_pid = -1;
};

/// The third party: two interfaces, what comes in at one goes out at the other, and more.
class ThirdParty {
  public:
    ThirdParty(const std::string& first, const std::string& second)
        : m_sockets{open(first), open(second)}, m_relay([this] { relay(); }) {}

    ~ThirdParty() {
        m_stop = true;
        m_relay.join();
        close(m_sockets[0]);
        close(m_sockets[1]);
    }

    ThirdParty(const ThirdParty&) = delete;
    ThirdParty& operator=(const ThirdParty&) = delete;

    /// Says every frame once to both sides, not faster than a daemon can take them in.
    void sayOnce(const std::vector<Bytes>& frames) const {
        uint32_t said = 0;
        for (const Bytes& frame : frames) {
            say(frame);
            if (++said % BATCH == 0) {
                std::this_thread::sleep_for(std::chrono::milliseconds(2));
            }
        }
    }

    /// Says all frames again and again, as fast as it can. @return frames said to each side
    uint32_t flood(const std::vector<Bytes>& frames, std::chrono::milliseconds duration) const {
        const Clock::time_point end = Clock::now() + duration;
        uint32_t said = 0;
        while (Clock::now() < end) {
            for (const Bytes& frame : frames) {
                say(frame);
                said++;
                if (said % BATCH == 0 && Clock::now() >= end) {
                    break;
                }
            }
        }
        return said;
    }

    /// The first frames that the daemons said, of both.
    std::vector<Bytes> overheard() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_overheard;
    }

  private:
    static constexpr uint32_t BATCH = 16;
    static constexpr size_t OVERHEARD_MAX = 64;

    static int open(const std::string& name) {
        const int fd = socket(AF_PACKET, SOCK_RAW, htons(ETH_P_802_2));
        const int on = 1;
        EXPECT_EQ(setsockopt(fd, SOL_PACKET, PACKET_IGNORE_OUTGOING, &on, sizeof on), 0);
        sockaddr_ll address = {};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_802_2);
        address.sll_ifindex = static_cast<int>(if_nametoindex(name.c_str()));
        EXPECT_EQ(bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        packet_mreq everything = {};
        everything.mr_ifindex = address.sll_ifindex;
        everything.mr_type = PACKET_MR_PROMISC;
        setsockopt(fd, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &everything, sizeof everything);
        return fd;
    }

    // A full queue drops the frame, as a wire would.
    void say(const Bytes& frame) const {
        for (const int fd : m_sockets) {
            [[maybe_unused]] const ssize_t sent =
                send(fd, frame.data(), frame.size(), MSG_DONTWAIT);
        }
    }

    void relay() {
        while (!m_stop) {
            pollfd waiting[2] = {{m_sockets[0], POLLIN, 0}, {m_sockets[1], POLLIN, 0}};
            poll(waiting, 2, 100);
            pass(m_sockets[0], m_sockets[1]);
            pass(m_sockets[1], m_sockets[0]);
        }
    }

    void pass(int from, int to) {
        uint8_t frame[2048];
        ssize_t length = 0;
        while ((length = recv(from, frame, sizeof frame, MSG_DONTWAIT)) > 0) {
            [[maybe_unused]] const ssize_t sent = send(to, frame, static_cast<size_t>(length), 0);
            const std::lock_guard<std::mutex> guard(m_mutex);
            if (m_overheard.size() < OVERHEARD_MAX) {
                m_overheard.emplace_back(frame, frame + length);
            }
        }
    }

    int m_sockets[2];
    std::mutex m_mutex;
    std::vector<Bytes> m_overheard;
    std::atomic<bool> m_stop = false;
    std::thread m_relay; // last: it uses the others
};
