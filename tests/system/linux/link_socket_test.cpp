// The link socket, opened as the daemon does it, on real events: links that go down and up,
// interfaces that vanish, more events than the socket's buffer holds.

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <map>

#include "linux_test.h"
#include "netlink.h"
#include "netlink_request.h"
#include "platform/seam.h"

namespace {

using platform::Bytes;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

constexpr int kDown = 2;
constexpr int kUp = 6;
constexpr int kVanished = -1;

// What one call told, in order: interface and state.
using Told = std::vector<std::pair<uint32_t, int>>;

class LinkSocket : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        m_fd = socket(AF_NETLINK, SOCK_DGRAM, NETLINK_ROUTE);
        sockaddr_nl address = {};
        address.nl_family = AF_NETLINK;
        ASSERT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
        std::array<uint32_t, PLATFORM_LINK_GROUPS_MAX> groups = {};
        const uint32_t count = platformLinkGroups(groups.data());
        for (uint32_t i = 0; i < count; i++) {
            ASSERT_EQ(
                setsockopt(m_fd, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &groups[i], sizeof groups[i]),
                0);
        }
    }

    void TearDown() override {
        LinuxTest::TearDown();
        close(m_fd);
    }

    // True if the daemon's loop would serve the link socket now, as it waits for it.
    bool readable(int milliseconds = 0) {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(m_fd, &set);
        timeval timeout = {milliseconds / 1000, milliseconds % 1000 * 1000};
        const int32_t ready = platformSelect(m_fd + 1, &set, nullptr, nullptr, &timeout);
        EXPECT_EQ(ready, FD_ISSET(m_fd, &set) ? 1 : 0);
        return FD_ISSET(m_fd, &set);
    }

    // One call of the daemon's loop.
    Told receive() {
        const int32_t length = platformLinkRecv(m_fd, m_buffer.data(), m_room);
        EXPECT_GE(length, 16);
        m_lastLength = length;
        Told told;
        Bytes rest = {m_buffer.data(), static_cast<uint32_t>(std::max(length, 0))};
        Bytes message;
        while (platform::nextMessage(&rest, &message)) {
            platform::LinkInfo link;
            const uint16_t type = platform::messageHeader(message).nlmsg_type;
            if (type == NLMSG_NOOP) {
                continue;
            }
            EXPECT_TRUE(platform::readLink(message, &link));
            told.emplace_back(link.ifindex, type == RTM_DELLINK ? kVanished : link.operState);
        }
        EXPECT_EQ(rest.length, 0U);
        return told;
    }

    // What is told until nothing more comes.
    Told receiveAll() {
        Told all;
        while (readable()) {
            const Told told = receive();
            all.insert(all.end(), told.begin(), told.end());
        }
        return all;
    }

    // The last that was told of each interface.
    static std::map<uint32_t, int> lastOf(const Told& told) {
        std::map<uint32_t, int> last;
        for (const auto& [ifindex, state] : told) {
            last[ifindex] = state;
        }
        return last;
    }

    // The last that was told of the interface once it is @p expected, or when patience ends: the
    // kernel takes its time to notice that a link has come up.
    int stateOnceTold(uint32_t unit, int expected) {
        int last = 0;
        for (int i = 0; i < 600 && last != expected; i++) {
            const std::map<uint32_t, int> told = lastOf(receiveAll());
            last = told.contains(unit) ? told.at(unit) : last;
            if (last != expected) {
                readable(100);
            }
        }
        return last;
    }

    // Makes the kernel send more than the socket takes.
    void overflow() {
        const int smallest = 1;
        setsockopt(m_fd, SOL_SOCKET, SO_RCVBUF, &smallest, sizeof smallest);
        for (int i = 0; i < 6; i++) {
            ip("link set lo up && ip link set lo down");
        }
    }

    int m_fd = -1;
    uint32_t m_room = 2048;
    int32_t m_lastLength = 0;
    alignas(8) std::array<uint8_t, 2048> m_buffer = {};
};

TEST_F(LinkSocket, JoinsTheLinkGroupFirst) {
    std::array<uint32_t, PLATFORM_LINK_GROUPS_MAX> groups = {};
    EXPECT_GE(platformLinkGroups(groups.data()), 1U);
    EXPECT_EQ(groups[0], static_cast<uint32_t>(RTNLGRP_LINK));
}

TEST_F(LinkSocket, TellsThatALinkGoesDownAndUp) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    ip("link set wirep down");
    EXPECT_EQ(stateOnceTold(unit, kDown), kDown);
    ip("link set wirep up");
    EXPECT_EQ(stateOnceTold(unit, kUp), kUp);
    ip("link set wire down");
    EXPECT_EQ(stateOnceTold(unit, kDown), kDown);
}

TEST_F(LinkSocket, TellsThatAPortHasVanished) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    ip("link del wire");
    EXPECT_THAT(receiveAll(), Contains(Pair(unit, kVanished)));
}

TEST_F(LinkSocket, TellsThatAPortHasLeftForAnotherNamespace) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t elsewhere = fork();
    if (elsewhere == 0) {
        const char done = unshare(CLONE_NEWNET) == 0 ? 'y' : 'n';
        _exit(write(ready[1], &done, 1) == 1 ? pause() : 1);
    }
    char done = 'n';
    EXPECT_EQ(read(ready[0], &done, 1), 1);
    EXPECT_EQ(done, 'y');
    ip("link set wire netns " + std::to_string(elsewhere));
    EXPECT_THAT(receiveAll(), Contains(Pair(unit, kVanished)));
    kill(elsewhere, SIGKILL);
    waitpid(elsewhere, nullptr, 0);
    close(ready[0]);
    close(ready[1]);
}

TEST_F(LinkSocket, TellsNothingOfOtherInterfaces) {
    addWire("wire");
    ip("link set wire down");
    EXPECT_TRUE(readable());
    EXPECT_THAT(receiveAll(), IsEmpty());
}

TEST_F(LinkSocket, DatagramThatMeansNothingIsAnEmptyMessage) {
    addWire("wire");
    ASSERT_TRUE(readable());
    receive();
    EXPECT_EQ(m_lastLength, 16);
}

TEST_F(LinkSocket, CallWithoutADatagramIsAnEmptyMessage) {
    EXPECT_THAT(receive(), IsEmpty());
    EXPECT_EQ(m_lastLength, 16);
}

TEST_F(LinkSocket, BufferWithoutRoomForAMessageIsRefused) {
    EXPECT_EQ(platformLinkRecv(m_fd, m_buffer.data(), 63), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(LinkSocket, BrokenSocketIsAFailure) {
    EXPECT_EQ(platformLinkRecv(-1, m_buffer.data(), m_room), -1);
    EXPECT_EQ(errno, EBADF);
}

TEST_F(LinkSocket, MessageOfAnotherProcessIsIgnored) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    sockaddr_nl address = {};
    socklen_t size = sizeof address;
    getsockname(m_fd, reinterpret_cast<sockaddr*>(&address), &size);
    struct {
        nlmsghdr header;
        ifinfomsg body;
    } forged = {};
    forged.header.nlmsg_len = sizeof forged;
    forged.header.nlmsg_type = RTM_DELLINK;
    forged.body.ifi_index = static_cast<int>(unit);
    const int other = socket(AF_NETLINK, SOCK_RAW, NETLINK_ROUTE);
    ASSERT_EQ(sendto(other, &forged, sizeof forged, 0, reinterpret_cast<sockaddr*>(&address), size),
              static_cast<ssize_t>(sizeof forged));
    close(other);
    EXPECT_TRUE(readable(1000));
    EXPECT_THAT(receiveAll(), IsEmpty());
}

TEST_F(LinkSocket, LostMessagesLeadToAReportOfEveryPort) {
    const uint32_t upper = addWire("upper");
    const uint32_t lower = addWire("lower");
    const uint32_t gone = addWire("gone");
    attach(upper);
    attach(lower);
    attach(gone);
    receiveAll();
    overflow();
    ip("link set lowerp down");
    ip("link del gone");
    EXPECT_THAT(receiveAll(), testing::UnorderedElementsAre(Pair(upper, kUp), Pair(lower, kDown),
                                                            Pair(gone, kVanished)));
}

TEST_F(LinkSocket, LostMessagesLeaveNoOldNewsBehind) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    ip("link set wirep down");
    overflow();
    ip("link set wirep up");
    EXPECT_EQ(stateOnceTold(unit, kUp), kUp);
}

TEST_F(LinkSocket, LostMessagesFreeTheNumberOfAVanishedInterfaceThatWasNoPort) {
    const uint32_t first = addWire("first", "index 700");
    tPhyIfIndex position = {};
    ASSERT_EQ(sysIndexTrans(first, KEL_INDEX_POSITION, &position), 0);
    receiveAll();
    overflow();
    ip("link del first");
    EXPECT_THAT(receiveAll(), IsEmpty());
    const uint32_t second = addWire("second", "index 4795");
    ASSERT_EQ(sysIndexTrans(second, KEL_INDEX_POSITION, &position), 0);
    EXPECT_EQ(position.virtualnum, 700U);
}

TEST_F(LinkSocket, EventsAfterALossAreToldAsEver) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    overflow();
    EXPECT_THAT(receiveAll(), ElementsAre(Pair(unit, kUp)));
    ip("link set wirep down");
    EXPECT_EQ(stateOnceTold(unit, kDown), kDown);
}

// A kernel that answers no question about a single interface.
uint32_t gRefusals;

int32_t refuseSingleQuestions(const Bytes& request, platform::MessageVisitor /*visit*/,
                              void* /*context*/) {
    if ((platform::messageHeader(request).nlmsg_flags & NLM_F_DUMP) == NLM_F_DUMP) {
        return 0;
    }
    gRefusals++;
    return ENOBUFS;
}

int32_t refuseAll(const Bytes& /*request*/, platform::MessageVisitor /*visit*/, void* /*context*/) {
    gRefusals++;
    return ENOBUFS;
}

class LinkSocketUnanswered : public LinkSocket,
                             public testing::WithParamInterface<platform::NetlinkPeer> {
  protected:
    void TearDown() override {
        platform::setNetlinkPeer(nullptr);
        LinkSocket::TearDown();
    }

    // What the loop is made to serve while the kernel refuses, @p turns at most.
    int serve(int turns) {
        gRefusals = 0;
        platform::setNetlinkPeer(GetParam());
        int served = 0;
        while (served < turns && readable()) {
            receive();
            served++;
        }
        platform::setNetlinkPeer(nullptr);
        return served;
    }
};

TEST_P(LinkSocketUnanswered, ReportIsNotAskedForWithoutAPause) {
    attach(addWire("wire"));
    receiveAll();
    overflow();
    EXPECT_LT(serve(1000), 1000);
    EXPECT_GT(gRefusals, 0U);
}

TEST_P(LinkSocketUnanswered, ReportComesOnceTheKernelAnswers) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    receiveAll();
    overflow();
    serve(10);
    EXPECT_EQ(stateOnceTold(unit, kUp), kUp);
}

INSTANTIATE_TEST_SUITE_P(Kernels, LinkSocketUnanswered,
                         testing::Values(refuseSingleQuestions, refuseAll), [](const auto& kernel) {
                             return kernel.param == refuseAll ? "Silent" : "ShortOfMemory";
                         });

TEST_F(LinkSocket, LongReportIsContinuedAndKeepsTheSocketReadable) {
    const uint32_t one = addWire("one");
    const uint32_t two = addWire("two");
    const uint32_t three = addWire("three");
    attach(one);
    attach(two);
    attach(three);
    receiveAll();
    overflow();
    m_room = 64; // one message
    ASSERT_TRUE(readable());
    EXPECT_THAT(receive(), ElementsAre(Pair(one, kUp)));
    ASSERT_TRUE(readable(60000));
    EXPECT_THAT(receive(), ElementsAre(Pair(two, kUp)));
    ASSERT_TRUE(readable(60000));
    EXPECT_THAT(receive(), ElementsAre(Pair(three, kUp)));
    EXPECT_THAT(receiveAll(), IsEmpty());
}

TEST_F(LinkSocket, LongDatagramIsContinuedAndKeepsTheSocketReadable) {
    const uint32_t one = addWire("one");
    const uint32_t two = addWire("two");
    attach(one);
    attach(two);
    receiveAll();
    // The answer to this question comes on the link socket: one datagram with many links.
    struct {
        nlmsghdr header;
        ifinfomsg body;
    } question = {};
    question.header.nlmsg_len = sizeof question;
    question.header.nlmsg_type = RTM_GETLINK;
    question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    ASSERT_GT(send(m_fd, &question, sizeof question, 0), 0);
    m_room = 64;
    Told all;
    int32_t calls = 0;
    while (readable() && calls < 20) {
        const Told told = receive();
        EXPECT_LE(told.size(), 1U);
        all.insert(all.end(), told.begin(), told.end());
        calls++;
    }
    EXPECT_THAT(all, testing::UnorderedElementsAre(Pair(one, kUp), Pair(two, kUp)));
}

TEST_F(LinkSocket, WaitReportsOtherSocketsBesidesThePendingOne) {
    const uint32_t one = addWire("one");
    const uint32_t two = addWire("two");
    attach(one);
    attach(two);
    receiveAll();
    overflow();
    m_room = 64;
    receive();
    while (recv(m_fd, m_buffer.data(), m_buffer.size(), MSG_DONTWAIT) > 0) {
    }
    int pair[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, pair), 0);
    ASSERT_EQ(write(pair[1], "x", 1), 1);
    fd_set set;
    FD_ZERO(&set);
    FD_SET(m_fd, &set);
    FD_SET(pair[0], &set);
    timeval timeout = {60, 0};
    EXPECT_EQ(platformSelect(std::max(m_fd, pair[0]) + 1, &set, nullptr, nullptr, &timeout), 2);
    EXPECT_TRUE(FD_ISSET(m_fd, &set));
    EXPECT_TRUE(FD_ISSET(pair[0], &set));
    close(pair[0]);
    close(pair[1]);
}

TEST_F(LinkSocket, WaitThatFailsStillReportsThePendingSocket) {
    attach(addWire("one"));
    attach(addWire("two"));
    receiveAll();
    overflow();
    m_room = 64;
    receive();
    fd_set set;
    FD_ZERO(&set);
    FD_SET(m_fd, &set);
    FD_SET(m_fd + 50, &set); // not open: select fails
    timeval timeout = {60, 0};
    EXPECT_EQ(platformSelect(m_fd + 51, &set, nullptr, nullptr, &timeout), 1);
    EXPECT_TRUE(FD_ISSET(m_fd, &set));
    EXPECT_FALSE(FD_ISSET(m_fd + 50, &set));
}

TEST_F(LinkSocket, WaitWithoutPendingMessagesIsSelect) {
    receiveAll();
    fd_set set;
    FD_ZERO(&set);
    FD_SET(m_fd, &set);
    timeval timeout = {0, 20000};
    EXPECT_EQ(platformSelect(m_fd + 1, &set, nullptr, nullptr, &timeout), 0);
    EXPECT_FALSE(FD_ISSET(m_fd, &set));
}

} // namespace
