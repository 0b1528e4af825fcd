// The packet socket, set up as the daemon does it: which frames it delivers, and with what.

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cstring>
#include <fstream>
#include <sstream>

#include "linux_test.h"
#include "platform/seam.h"

namespace {

using testing::HasSubstr;
using testing::Not;

using Frame = std::vector<uint8_t>;

constexpr char kCustomerGroup[] = "0180c2000000";
constexpr char kProviderGroup[] = "0180c2000008";

// A configuration BPDU of 35 bytes in its frame, padded like any frame of that size.
Frame bpdu(uint8_t lastOctet = 0x00) {
    Frame frame = {0x01, 0x80, 0xC2, 0, 0, lastOctet, 2, 0, 0, 0, 0, 0x77, 0, 38, 0x42, 0x42, 3};
    frame.resize(60, 0x00);
    return frame;
}

class PacketSocket : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        m_fd = socket(AF_PACKET, SOCK_RAW, htons(0x0042));
        const int every = 65535;
        setsockopt(m_fd, SOL_PACKET, 20, &every, sizeof every);
        ASSERT_EQ(platformPktSocketSetup(m_fd), 0);
    }

    void TearDown() override {
        LinuxTest::TearDown();
        close(m_fd);
    }

    // Puts a frame on the wire at its other end.
    static void sendFrom(const std::string& interface, const Frame& frame) {
        const int fd = socket(AF_PACKET, SOCK_RAW, 0);
        send(fd, indexOf(interface), frame);
        close(fd);
    }

    static void send(int fd, uint32_t unit, const Frame& frame) {
        sockaddr_ll address = {};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(0x0042);
        address.sll_ifindex = static_cast<int>(unit);
        address.sll_halen = ETH_ALEN;
        memcpy(address.sll_addr, frame.data(), ETH_ALEN);
        ASSERT_EQ(sendto(fd, frame.data(), frame.size(), 0, reinterpret_cast<sockaddr*>(&address),
                         sizeof address),
                  static_cast<ssize_t>(frame.size()));
    }

    // A frame that the socket must not deliver is followed by one that it must, so that its
    // absence is seen without waiting.
    bool delivers(const Frame& frame) {
        m_frame = {};
        Frame mark = bpdu();
        mark[59] = 0xAA;
        sendFrom("wirep", frame);
        sendFrom("wirep", mark);
        const bool delivered = receive() > 0 && m_frame[59] != 0xAA;
        while (m_frame[59] != 0xAA && receive() >= 0) {
        }
        return delivered;
    }

    // True if the daemon's loop would serve the packet socket, which it waits for.
    bool readable(time_t seconds) const {
        fd_set set;
        FD_ZERO(&set);
        FD_SET(m_fd, &set);
        timeval timeout = {seconds, 0};
        return platformSelect(m_fd + 1, &set, nullptr, nullptr, &timeout) == 1 &&
               FD_ISSET(m_fd, &set);
    }

    // One call; waits a second at most for a frame that the kernel lets through.
    int32_t receive() {
        readable(1);
        return receiveNow();
    }

    int32_t receiveNow() {
        m_vector = {m_frame.data(), m_frame.size()};
        m_message = {};
        m_message.msg_name = &m_address;
        m_message.msg_namelen = sizeof m_address;
        m_message.msg_iov = &m_vector;
        m_message.msg_iovlen = 1;
        m_message.msg_control = m_control.data();
        m_message.msg_controllen = m_control.size();
        return platformPktRecv(m_fd, &m_message);
    }

    packet_rxpktinfo packetInfo() {
        packet_rxpktinfo info = {};
        const cmsghdr* control = CMSG_FIRSTHDR(&m_message);
        if (control == nullptr || control->cmsg_level != SOL_PACKET ||
            control->cmsg_type != MSTP_PACKET_RXPKTINFO ||
            control->cmsg_len != CMSG_LEN(sizeof info)) {
            ADD_FAILURE() << "no packet information";
            return info;
        }
        memcpy(&info, CMSG_DATA(control), sizeof info);
        return info;
    }

    int m_fd = -1;
    std::array<uint8_t, 1522> m_frame = {};
    alignas(8) std::array<uint8_t, 2048> m_control = {};
    sockaddr_ll m_address = {};
    iovec m_vector = {};
    msghdr m_message = {};
};

TEST_F(PacketSocket, DeliversABpduOfAPort) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    sendFrom("wirep", bpdu());
    EXPECT_EQ(receive(), 60);
    EXPECT_EQ(m_address.sll_ifindex, static_cast<int>(unit));
    EXPECT_EQ(Frame(m_frame.begin(), m_frame.begin() + 60), bpdu());
}

TEST_F(PacketSocket, TellsTheOffsetOfTheByteAfterTheLlcHeader) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    sendFrom("wirep", bpdu());
    ASSERT_EQ(receive(), 60);
    const packet_rxpktinfo info = packetInfo();
    EXPECT_EQ(info.pkt_dataoffset, 17);
    EXPECT_EQ(info.pkt_inport, unit);
    EXPECT_EQ(memcmp(info.pkt_srcaddr, &m_frame[6], 6), 0);
    EXPECT_EQ(info.pkt_outervid, 0);
}

TEST_F(PacketSocket, GivesNothingWhenNothingIsThere) {
    EXPECT_LE(receiveNow(), 0);
}

TEST_F(PacketSocket, GivesNothingWithoutRoomForThePacketInformation) {
    attach(addWire("wire"));
    sendFrom("wirep", bpdu());
    pollfd wait = {m_fd, POLLIN, 0};
    ASSERT_EQ(poll(&wait, 1, 1000), 1);
    m_vector = {m_frame.data(), m_frame.size()};
    m_message = {};
    m_message.msg_name = &m_address;
    m_message.msg_namelen = sizeof m_address;
    m_message.msg_iov = &m_vector;
    m_message.msg_iovlen = 1;
    m_message.msg_control = m_control.data();
    m_message.msg_controllen = CMSG_SPACE(sizeof(packet_rxpktinfo)) - 1;
    EXPECT_LE(platformPktRecv(m_fd, &m_message), 0);
}

TEST_F(PacketSocket, DropsFrameThatDoesNotFitWhole) {
    attach(addWire("wire", "mtu 9000"));
    ip("link set wirep mtu 9000");
    Frame frame = bpdu();
    frame.resize(3000);
    EXPECT_FALSE(delivers(frame));
}

TEST_F(PacketSocket, DeliversTheLongestFrame) {
    attach(addWire("wire"));
    Frame frame = bpdu();
    frame[12] = 1500 >> 8;
    frame[13] = 1500 & 0xFF;
    frame.resize(1514);
    sendFrom("wirep", frame);
    EXPECT_EQ(receive(), 1514);
}

TEST_F(PacketSocket, DropsOtherFrames) {
    attach(addWire("wire"));
    const struct {
        const char* what;
        size_t offset;
        std::vector<uint8_t> bytes;
    } kChanges[] = {
        {"another first octet of the destination", 0, {0x03}},
        {"a reserved address that is no bridge group", 5, {0x0E}},
        {"another fifth octet of the destination", 4, {0x01}},
        {"broadcast", 0, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
        {"another DSAP", 14, {0xAA}},
        {"another SSAP", 15, {0x43}},
        {"another control field", 16, {0x13}},
        {"an Ethernet type", 12, {0x88, 0xCC}},
        {"a length beyond 1500", 12, {0x05, 0xDD}},
        {"a raw 802.3 frame", 14, {0xFF, 0xFF}},
    };
    for (const auto& change : kChanges) {
        Frame frame = bpdu();
        std::copy(change.bytes.begin(), change.bytes.end(),
                  frame.begin() + static_cast<ptrdiff_t>(change.offset));
        EXPECT_FALSE(delivers(frame)) << change.what;
    }
}

TEST_F(PacketSocket, DropsFrameThatEndsInsideTheLlcHeader) {
    attach(addWire("wire"));
    Frame frame = bpdu();
    frame.resize(16);
    EXPECT_FALSE(delivers(frame));
}

TEST_F(PacketSocket, DropsVlanTaggedFrames) {
    attach(addWire("wire"));
    for (const int type : {0x8100, 0x88A8}) {
        Frame frame = bpdu();
        const Frame tag = {static_cast<uint8_t>(type >> 8), static_cast<uint8_t>(type & 0xFF), 0,
                           5};
        frame.insert(frame.begin() + 12, tag.begin(), tag.end());
        EXPECT_FALSE(delivers(frame)) << type;
    }
}

TEST_F(PacketSocket, DropsItsOwnCopies) {
    const uint32_t unit = addWire("wire");
    const uint32_t peer = indexOf("wirep");
    attach(unit);
    attach(peer);
    send(m_fd, unit, bpdu());
    EXPECT_EQ(receive(), 60);
    EXPECT_EQ(m_address.sll_ifindex, static_cast<int>(peer));
    EXPECT_LE(receiveNow(), 0);
}

TEST_F(PacketSocket, DropsBpduForTheOtherKindOfBridge) {
    attach(addWire("wire"));
    EXPECT_FALSE(delivers(bpdu(0x08)));
}

TEST_F(PacketSocket, DeliversProviderBpduOfAProviderPort) {
    attach(addWire("wire"), KEL_KIND_PROVIDER);
    sendFrom("wirep", bpdu(0x00));
    sendFrom("wirep", bpdu(0x08));
    EXPECT_EQ(receive(), 60);
    EXPECT_EQ(m_frame[5], 0x08);
}

TEST_F(PacketSocket, DropsBpduOfInterfaceThatIsNoPort) {
    const uint32_t unit = addWire("wire");
    sendFrom("wirep", bpdu());
    EXPECT_LE(receive(), 0);
    attach(unit);
    sendFrom("wirep", bpdu());
    EXPECT_EQ(receive(), 60);
    detach(unit);
    sendFrom("wirep", bpdu());
    EXPECT_LE(receive(), 0);
}

TEST_F(PacketSocket, SendsThroughTheQueues) {
    int bypass = 77;
    socklen_t size = sizeof bypass;
    ASSERT_EQ(getsockopt(m_fd, SOL_PACKET, PACKET_QDISC_BYPASS, &bypass, &size), 0);
    EXPECT_EQ(bypass, 0);
}

TEST_F(PacketSocket, SetupOfAnotherKindOfSocketFails) {
    const int other = socket(AF_UNIX, SOCK_DGRAM, 0);
    EXPECT_EQ(platformPktSocketSetup(other), -1);
    close(other);
}

// ---- many frames

class PacketQueues : public PacketSocket {
  protected:
    void SetUp() override {
        PacketSocket::SetUp();
        if (IsSkipped()) {
            return;
        }
        m_flooded = addWire("wa");
        m_quiet = addWire("wb");
        attach(m_flooded);
        attach(m_quiet);
        m_floodedEnd = indexOf("wap");
        m_sender = socket(AF_PACKET, SOCK_RAW, 0);
    }

    void TearDown() override {
        close(m_sender);
        PacketSocket::TearDown();
    }

    static Frame numbered(uint8_t number) {
        Frame frame = bpdu();
        frame[59] = number;
        return frame;
    }

    void flood(int frames) const {
        for (int i = 0; i < frames; i++) {
            send(m_sender, m_floodedEnd, bpdu());
        }
    }

    // Turns of the loop until the quiet port is heard, @p most at most, while the flood goes on.
    int turnsUntilHeard(int most) {
        for (int turn = 1; turn <= most; turn++) {
            flood(64);
            if (receive() > 0 && m_address.sll_ifindex == static_cast<int>(m_quiet)) {
                return turn;
            }
        }
        return most + 1;
    }

    int m_sender = -1;
    uint32_t m_flooded = 0;
    uint32_t m_floodedEnd = 0;
    uint32_t m_quiet = 0;
};

TEST_F(PacketQueues, PortIsHeardWhileAnotherIsFlooded) {
    for (int turn = 0; turn < 200; turn++) {
        flood(64);
        receive();
    }
    sendFrom("wbp", bpdu());
    EXPECT_LE(turnsUntilHeard(50), 3);
}

TEST_F(PacketQueues, SurplusOfAFloodIsDropped) {
    flood(1000);
    int delivered = 0;
    while (readable(0)) {
        delivered += receiveNow() > 0 ? 1 : 0;
    }
    EXPECT_GT(delivered, 0);
    EXPECT_LT(delivered, 50);
}

TEST_F(PacketQueues, BurstOfANeighbourComesWholeAndInItsOrder) {
    for (uint8_t number = 1; number <= 10; number++) {
        sendFrom("wap", numbered(number));
    }
    for (uint8_t number = 1; number <= 10; number++) {
        ASSERT_EQ(receive(), 60);
        EXPECT_EQ(m_frame[59], number);
    }
}

TEST_F(PacketQueues, FramesThatWaitKeepTheSocketReadable) {
    flood(2);
    ASSERT_EQ(receive(), 60);
    EXPECT_TRUE(readable(0));
    ASSERT_EQ(receive(), 60);
    EXPECT_FALSE(readable(0));
}

TEST_F(PacketQueues, FrameThatWaitsForAPortThatIsNoneAnyMoreIsDropped) {
    flood(2);
    ASSERT_EQ(receive(), 60);
    detach(m_flooded);
    EXPECT_LE(receive(), 0);
    EXPECT_FALSE(readable(0));
}

TEST_F(PacketQueues, FramesOfAnEarlierSocketAreForgotten) {
    flood(2);
    ASSERT_EQ(receive(), 60);
    ASSERT_EQ(platformPktSocketSetup(m_fd), 0);
    attach(m_flooded);
    EXPECT_FALSE(readable(0));
}

class Membership : public PacketSocket {
  protected:
    // The group addresses that the interface has been asked for.
    static std::string groupsOf(const std::string& interface) {
        std::ifstream file("/proc/self/net/dev_mcast");
        std::string groups;
        std::string line;
        while (std::getline(file, line)) {
            std::istringstream words(line);
            std::string index, name, count, global, address;
            words >> index >> name >> count >> global >> address;
            if (name == interface) {
                groups += address + "x" + count + " ";
            }
        }
        return groups;
    }
};

TEST_F(Membership, BeginsWithTheAttachAndEndsWithTheDetach) {
    const uint32_t unit = addWire("wire");
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kCustomerGroup)));
    EXPECT_EQ(attach(unit), 0);
    EXPECT_THAT(groupsOf("wire"), HasSubstr(kCustomerGroup));
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kProviderGroup)));
    EXPECT_EQ(detach(unit), 0);
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kCustomerGroup)));
}

TEST_F(Membership, OfProviderPortIsInTheProviderGroup) {
    const uint32_t unit = addWire("wire");
    EXPECT_EQ(attach(unit, KEL_KIND_PROVIDER), 0);
    EXPECT_THAT(groupsOf("wire"), HasSubstr(kProviderGroup));
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kCustomerGroup)));
    EXPECT_EQ(detach(unit, KEL_KIND_PROVIDER), 0);
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kProviderGroup)));
}

TEST_F(Membership, IsTakenOnceHoweverOftenThePortIsAttached) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    EXPECT_EQ(attach(unit), 0);
    EXPECT_EQ(detach(unit), 0);
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kCustomerGroup)));
}

TEST_F(Membership, MovesWithTheKindOfTheBridge) {
    const uint32_t unit = addWire("wire");
    attach(unit, KEL_KIND_CUSTOMER);
    EXPECT_EQ(attach(unit, KEL_KIND_PROVIDER), 0);
    EXPECT_THAT(groupsOf("wire"), HasSubstr(kProviderGroup));
    EXPECT_THAT(groupsOf("wire"), Not(HasSubstr(kCustomerGroup)));
}

TEST_F(Membership, OfUnknownKindIsRefused) {
    EXPECT_NE(attach(addWire("wire"), 9), 0);
}

TEST_F(Membership, OnUnknownInterfaceIsRefused) {
    EXPECT_NE(attach(12345), 0);
    EXPECT_NE(detach(12345), 0);
}

TEST_F(Membership, OnVanishedInterfaceEndsWithoutComplaint) {
    const uint32_t unit = addWire("wire");
    attach(unit);
    ip("link del wire");
    EXPECT_EQ(detach(unit), 0);
}

} // namespace
