// Crafted link messages, as a stock kernel sends them and as it does not, through the translation.
// The loopback stands for a port.

#include "link_translate.h"

#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <array>
#include <cstring>

#include "linux_test.h"
#include "platform/seam.h"
#include "port_table.h"

namespace {

using platform::Bytes;
using testing::IsEmpty;

constexpr uint32_t kAllChanged = 0xFFFFFFFF;
constexpr uint8_t kUnknown = 0;
constexpr uint8_t kLowerLayerDown = 3;
constexpr uint8_t kDormant = 5;
constexpr uint8_t kUp = 6;

// A message under construction.
struct Message {
    Message(uint16_t type, uint32_t ifindex, uint32_t flags = IFF_UP | IFF_RUNNING,
            uint8_t family = AF_UNSPEC) {
        nlmsghdr header = {};
        header.nlmsg_type = type;
        header.nlmsg_len = sizeof header + sizeof(ifinfomsg);
        ifinfomsg body = {};
        body.ifi_family = family;
        body.ifi_index = static_cast<int>(ifindex);
        body.ifi_flags = flags;
        body.ifi_change = kAllChanged;
        append(&header, sizeof header);
        append(&body, sizeof body);
    }

    Message& attribute(uint16_t type, const std::vector<uint8_t>& value) {
        const rtattr header = {static_cast<unsigned short>(sizeof(rtattr) + value.size()), type};
        append(&header, sizeof header);
        bytes.insert(bytes.end(), value.begin(), value.end());
        bytes.resize((bytes.size() + 3) / 4 * 4, 0xEE);
        return setLength(static_cast<uint32_t>(bytes.size()));
    }

    Message& setLength(uint32_t length) {
        memcpy(bytes.data(), &length, sizeof length);
        return *this;
    }

    void append(const void* data, size_t length) {
        const auto* from = static_cast<const uint8_t*>(data);
        bytes.insert(bytes.end(), from, from + length);
    }

    std::vector<uint8_t> bytes;
};

// What the core reads in a translated message.
struct Told {
    uint16_t type;
    uint32_t ifindex;
    uint32_t change;
    int attribute; // -1: none
    int value;

    bool operator==(const Told&) const = default;
};

Told stateTold(uint32_t ifindex, int state) {
    return {RTM_NEWLINK, ifindex, 0, 16, state};
}

Told vanishedTold(uint32_t ifindex) {
    return {RTM_DELLINK, ifindex, 0, -1, 0};
}

void PrintTo(const Told& told, std::ostream* stream) {
    *stream << "type " << told.type << " ifindex " << told.ifindex << " change " << told.change
            << " attribute " << told.attribute << " value " << told.value;
}

class LinkTranslation : public LinuxTest {
  protected:
    void SetUp() override {
        LinuxTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        m_port = indexOf("lo");
        attach(m_port);
    }

    // Feeds a datagram, message by message.
    std::vector<Told> translate(const std::vector<uint8_t>& datagram) {
        // On the heap and of exact size, so that a memory checker sees a read beyond it.
        const std::vector<uint8_t> copy(datagram);
        Bytes rest = {copy.data(), static_cast<uint32_t>(copy.size())};
        Bytes message;
        m_output = {m_buffer.data(), m_room, 0};
        m_taken = true;
        while (m_taken && platform::nextMessage(&rest, &message)) {
            m_taken = platform::translateMessage(message, &m_output);
        }
        return told();
    }

    std::vector<Told> translate(const Message& message) { return translate(message.bytes); }

    std::vector<Told> told() {
        std::vector<Told> list;
        Bytes rest = {m_buffer.data(), m_output.used};
        Bytes message;
        while (platform::nextMessage(&rest, &message)) {
            ifinfomsg body;
            memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
            Told one = {platform::messageHeader(message).nlmsg_type,
                        static_cast<uint32_t>(body.ifi_index), body.ifi_change, -1, 0};
            Bytes attributes = {message.data + NLMSG_HDRLEN + sizeof body,
                                static_cast<uint32_t>(message.length - NLMSG_HDRLEN - sizeof body)};
            uint16_t type;
            Bytes value;
            while (platform::nextAttribute(&attributes, &type, &value)) {
                EXPECT_EQ(one.attribute, -1) << "two attributes";
                EXPECT_EQ(value.length, type == PLATFORM_LINK_PORT_CHANGED ? 0U : 1U);
                one.attribute = type;
                one.value = value.length != 0 ? value.data[0] : 0;
            }
            list.push_back(one);
        }
        EXPECT_EQ(rest.length, 0U);
        return list;
    }

    Message newLink(uint8_t state, uint32_t flags = IFF_UP | IFF_RUNNING) {
        return Message(RTM_NEWLINK, m_port, flags).attribute(IFLA_OPERSTATE, {state});
    }

    uint32_t m_port = 0;
    uint32_t m_room = 2048;
    bool m_taken = true;
    alignas(8) std::array<uint8_t, 2048> m_buffer = {};
    platform::LinkOutput m_output = {};
};

TEST_F(LinkTranslation, PortThatIsUpIsToldAsUp) {
    EXPECT_THAT(translate(newLink(kUp)), testing::ElementsAre(stateTold(m_port, 6)));
}

TEST_F(LinkTranslation, EveryOtherStateIsToldAsDown) {
    for (const uint8_t state : {uint8_t{1}, uint8_t{2}, kLowerLayerDown, uint8_t{4}, kDormant,
                                uint8_t{7}, uint8_t{255}}) {
        EXPECT_THAT(translate(newLink(state)), testing::ElementsAre(stateTold(m_port, 2)))
            << int{state};
    }
}

TEST_F(LinkTranslation, UnknownStateIsUpOnlyWhileTheInterfaceRuns) {
    EXPECT_THAT(translate(newLink(kUnknown, IFF_UP | IFF_RUNNING)),
                testing::ElementsAre(stateTold(m_port, 6)));
    EXPECT_THAT(translate(newLink(kUnknown, IFF_UP)), testing::ElementsAre(stateTold(m_port, 2)));
    EXPECT_THAT(translate(newLink(kUnknown, IFF_RUNNING)),
                testing::ElementsAre(stateTold(m_port, 2)));
}

TEST_F(LinkTranslation, InterfaceThatIsSetDownIsDown) {
    EXPECT_THAT(translate(newLink(kUp, 0)), testing::ElementsAre(stateTold(m_port, 2)));
}

class LinkTranslationOfSpeed : public LinkTranslation {
  protected:
    void SetUp() override {
        LinkTranslation::SetUp();
        m_port = addWire("wire"); // at a speed that its driver tells
        attach(m_port);
        uint32_t value = 0;
        ASSERT_EQ(kelIfGetApi(m_port, KEL_IF_OPER_STATUS, &value), 0);
        ASSERT_EQ(kelIfGetApi(m_port, KEL_IF_SPEED, &value), 0);
    }

    // As if the daemon had read the speed before it changed.
    void changeSpeed() const { platform::findPort(m_port)->speed /= 10; }
};

TEST_F(LinkTranslationOfSpeed, PortWhoseSpeedChangesWhileItIsUpIsToBeInitialisedAnew) {
    changeSpeed();
    EXPECT_THAT(translate(newLink(kUp)),
                testing::ElementsAre(Told{RTM_NEWLINK, m_port, 0, PLATFORM_LINK_PORT_CHANGED, 0}));
}

TEST_F(LinkTranslationOfSpeed, ChangeIsToldUntilTheDaemonHasReadTheSpeed) {
    changeSpeed();
    translate(newLink(kUp));
    uint32_t speed = 0;
    ASSERT_EQ(kelIfGetApi(m_port, KEL_IF_SPEED, &speed), 0);
    EXPECT_THAT(translate(newLink(kUp)), testing::ElementsAre(stateTold(m_port, 6)));
}

TEST_F(LinkTranslationOfSpeed, PortThatComesUpAtAnotherSpeedIsToldAsUp) {
    changeSpeed();
    platform::findPort(m_port)->up = false;
    EXPECT_THAT(translate(newLink(kUp)), testing::ElementsAre(stateTold(m_port, 6)));
}

TEST_F(LinkTranslationOfSpeed, PortThatGoesDownIsToldAsDownWhateverItsSpeed) {
    changeSpeed();
    EXPECT_THAT(translate(newLink(kLowerLayerDown)), testing::ElementsAre(stateTold(m_port, 2)));
}

TEST_F(LinkTranslation, MessageWithoutStateTellsNothing) {
    EXPECT_THAT(translate(Message(RTM_NEWLINK, m_port)), IsEmpty());
}

TEST_F(LinkTranslation, EmptyStateTellsNothing) {
    EXPECT_THAT(translate(Message(RTM_NEWLINK, m_port).attribute(IFLA_OPERSTATE, {})), IsEmpty());
}

TEST_F(LinkTranslation, AttributesOfOtherMeaningNeverComeThrough) {
    Message message(RTM_NEWLINK, m_port);
    for (const uint16_t type : std::array<uint16_t, 5>{38, 40, 48, 52, 53}) {
        message.attribute(type, {0, 1, 2, 3, 4, 5});
    }
    EXPECT_THAT(translate(message), IsEmpty());
    message.attribute(IFLA_OPERSTATE, {kUp});
    EXPECT_THAT(translate(message), testing::ElementsAre(stateTold(m_port, 6)));
}

TEST_F(LinkTranslation, FlagsInAnAttributeTypeAreIgnored) {
    const Message message =
        Message(RTM_NEWLINK, m_port).attribute(IFLA_OPERSTATE | NLA_F_NESTED, {kUp});
    EXPECT_THAT(translate(message), testing::ElementsAre(stateTold(m_port, 6)));
}

TEST_F(LinkTranslation, InterfaceThatIsNoPortTellsNothing) {
    EXPECT_THAT(translate(Message(RTM_NEWLINK, 4711).attribute(IFLA_OPERSTATE, {kUp})), IsEmpty());
    EXPECT_THAT(translate(Message(RTM_DELLINK, 4711)), IsEmpty());
    detach(m_port);
    EXPECT_THAT(translate(newLink(kUp)), IsEmpty());
}

TEST_F(LinkTranslation, ImpossibleInterfaceIndexTellsNothing) {
    EXPECT_THAT(translate(Message(RTM_NEWLINK, 0).attribute(IFLA_OPERSTATE, {kUp})), IsEmpty());
    EXPECT_THAT(translate(Message(RTM_DELLINK, 0xFFFFFFFF)), IsEmpty());
}

TEST_F(LinkTranslation, VanishedPortIsToldAsDeleted) {
    EXPECT_THAT(translate(Message(RTM_DELLINK, m_port)),
                testing::ElementsAre(vanishedTold(m_port)));
}

TEST_F(LinkTranslation, VanishedPortIsStillTranslatedAsAPort) {
    translate(Message(RTM_DELLINK, m_port));
    tPhyIfIndex position = {};
    EXPECT_EQ(kelIndexTrans(m_port, KEL_INDEX_POSITION, &position), 0);
    EXPECT_EQ(position.endType, KEL_END_PORT);
    EXPECT_EQ(position.virtualnum, m_port);
}

TEST_F(LinkTranslation, VanishedPortTellsNoMoreStates) {
    translate(Message(RTM_DELLINK, m_port));
    EXPECT_THAT(translate(newLink(kUp)), IsEmpty());
}

TEST_F(LinkTranslation, NumberOfVanishedPortIsFreeOnceItIsDetached) {
    const uint32_t other = addWire("wire", "index 4096"); // its number would be 1, that of lo
    tPhyIfIndex position = {};
    translate(Message(RTM_DELLINK, m_port));
    detach(m_port);
    EXPECT_EQ(sysIndexTrans(other, KEL_INDEX_POSITION, &position), 0);
    EXPECT_EQ(position.virtualnum, 1U);
}

TEST_F(LinkTranslation, BridgesViewOfItsPortsTellsNothing) {
    const uint32_t flags = IFF_UP | IFF_RUNNING;
    EXPECT_THAT(translate(Message(RTM_NEWLINK, m_port, flags, AF_BRIDGE)
                              .attribute(IFLA_OPERSTATE, {kLowerLayerDown})),
                IsEmpty());
    EXPECT_THAT(translate(Message(RTM_DELLINK, m_port, flags, AF_BRIDGE)), IsEmpty());
}

TEST_F(LinkTranslation, OtherMessagesTellNothing) {
    for (const uint16_t type :
         std::array<uint16_t, 5>{NLMSG_NOOP, NLMSG_ERROR, NLMSG_DONE, RTM_NEWADDR, 112}) {
        EXPECT_THAT(translate(Message(type, m_port).attribute(IFLA_OPERSTATE, {kUp})), IsEmpty());
    }
}

TEST_F(LinkTranslation, EachMessageOfADatagramIsTranslated) {
    std::vector<uint8_t> datagram = newLink(kLowerLayerDown).bytes;
    const Message second = newLink(kUp);
    datagram.insert(datagram.end(), second.bytes.begin(), second.bytes.end());
    EXPECT_THAT(translate(datagram),
                testing::ElementsAre(stateTold(m_port, 2), stateTold(m_port, 6)));
}

TEST_F(LinkTranslation, DatagramCutAtAnyByteIsReadNoFurther) {
    Message message = newLink(kUp);
    message.attribute(IFLA_ADDRESS, {2, 0, 0, 0, 0, 1});
    for (size_t length = 0; length < message.bytes.size(); length++) {
        const std::vector<uint8_t> cut(message.bytes.begin(),
                                       message.bytes.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_THAT(translate(cut), IsEmpty()) << length;
    }
}

TEST_F(LinkTranslation, MessageCutAtAnyByteIsReadNoFurther) {
    const Message whole = newLink(kUp);
    for (uint32_t length = 0; length < whole.bytes.size(); length++) {
        Message cut = whole;
        cut.setLength(length);
        cut.bytes.resize(std::max<size_t>(length, sizeof(nlmsghdr)));
        const size_t enough = whole.bytes.size() - 3; // without the padding of the last attribute
        EXPECT_EQ(translate(cut).size(), length >= enough ? 1U : 0U) << length;
    }
}

TEST_F(LinkTranslation, AttributeThatClaimsTooMuchEndsTheWalk) {
    for (const uint16_t claimed : std::array<uint16_t, 6>{0, 1, 3, 6, 100, 0xFFFF}) {
        Message message = newLink(kUp);
        memcpy(&message.bytes[32], &claimed, sizeof claimed);
        message.bytes.resize(37);
        message.setLength(37);
        EXPECT_THAT(translate(message), IsEmpty()) << claimed;
    }
}

TEST_F(LinkTranslation, WhatDoesNotFitIsNotWritten) {
    m_room = 39;
    EXPECT_THAT(translate(newLink(kUp)), IsEmpty());
    EXPECT_FALSE(m_taken);
    m_room = 40;
    EXPECT_THAT(translate(newLink(kUp)), testing::SizeIs(1));
    EXPECT_TRUE(m_taken);
}

TEST_F(LinkTranslation, VanishedPortThatDoesNotFitIsToldLater) {
    m_room = 31;
    EXPECT_THAT(translate(Message(RTM_DELLINK, m_port)), IsEmpty());
    EXPECT_FALSE(m_taken);
    m_room = 32;
    EXPECT_THAT(translate(Message(RTM_DELLINK, m_port)),
                testing::ElementsAre(vanishedTold(m_port)));
}

TEST_F(LinkTranslation, NothingIsAMessageToo) {
    m_output = {m_buffer.data(), 2048, 0};
    ASSERT_TRUE(platform::putNothing(&m_output));
    EXPECT_EQ(m_output.used, 16U);
    EXPECT_EQ(platform::messageHeader({m_buffer.data(), 16}).nlmsg_type, NLMSG_NOOP);
}

} // namespace
