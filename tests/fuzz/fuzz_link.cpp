// Link messages to a running bridge: in the platform's numbering, straight to the core, and as a
// stock kernel sends them, by way of the Linux platform's translation. Datagrams and translations
// lie in memory of their exact size. See datagrams.h for the input's form.
//
// The translation is the Linux platform's own; the interfaces it knows are this program's.

#include <linux/rtnetlink.h>

#include <cstring>

#include "check.h"
#include "datagrams.h"
#include "invariants.h"
#include "link_translate.h"
#include "mstp_link_events.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "platform/seam.h"
#include "port_table.h"
#include "running_bridge.h"
#include "steps.h"

using Bytes = std::vector<uint8_t>;

static constexpr uint64_t MAX_TICKS = 5'000;
static constexpr uint32_t MAX_STEPS = 200;
static constexpr uint32_t MAX_DATAGRAM = 2048;
static constexpr uint32_t PORTS = 2;
static constexpr uint32_t MEMBER = 40;
static constexpr uint32_t VLAN_INTERFACE = 50;

// ---- the interfaces that the translation knows: the bridge's two ports

static platform::PortEntry ports[PORTS + 1];

namespace platform {

PortEntry* findPort(uint32_t ifindex) {
    return ifindex >= 1 && ifindex <= PORTS ? &ports[ifindex] : nullptr;
}

void portVanished(PortEntry* port) {
    port->vanished = true;
}

} // namespace platform

static void restore(RunningBridge& running) {
    for (uint32_t unit = 1; unit <= PORTS; unit++) {
        ports[unit] = {};
        ports[unit].ifindex = unit;
        ports[unit].kind = 1;
        ports[unit].joined = true;
        uint32_t on = MSTP_FALSE;
        if (mstpBridgePortGet(running.bridge, unit) == nullptr) {
            CHECK(mstpPortSetApi(unit, MSTP_PORT_ADMINNONSTP, &on) == 0);
        }
    }
}

// ---- datagrams

static void process(Bytes datagram) {
    datagram.shrink_to_fit();
    CHECK(mstpRtmProcess(datagram.data(), static_cast<int32_t>(datagram.size())) == 0);
}

static void checkAttribute(uint16_t type, const platform::Bytes& value) {
    switch (type) {
    case PLATFORM_LINK_OPERSTATE:
        CHECK(value.length == 1);
        CHECK(value.data[0] == PLATFORM_LINK_OPER_UP || value.data[0] == PLATFORM_LINK_OPER_DOWN);
        return;
    case PLATFORM_LINK_VLAN:
        CHECK(value.length == 2);
        return;
    default:
        CHECK(type == PLATFORM_LINK_SYSTEM_MAC && value.length == MSTP_MAC_SIZE);
    }
}

// A translation is whole messages with nothing but what the platform's numbering knows.
static void checkTranslation(const Bytes& translation) {
    platform::Bytes rest = {translation.data(), static_cast<uint32_t>(translation.size())};
    platform::Bytes message;
    while (platform::nextMessage(&rest, &message)) {
        const uint16_t type = platform::messageHeader(message).nlmsg_type;
        CHECK(type == RTM_NEWLINK || type == RTM_DELLINK);
        const uint32_t headers = NLMSG_HDRLEN + sizeof(ifinfomsg);
        CHECK(message.length >= headers);
        platform::Bytes attributes = {message.data + headers, message.length - headers};
        platform::Bytes value;
        uint16_t attribute = 0;
        while (platform::nextAttribute(&attributes, &attribute, &value)) {
            checkAttribute(attribute, value);
        }
        CHECK(attributes.length == 0);
    }
    CHECK(rest.length == 0);
}

static void hand(Bytes& translation, platform::LinkOutput* output) {
    translation.resize(output->used);
    checkTranslation(translation);
    process(translation);
    translation.assign(output->room, 0);
    *output = {translation.data(), output->room, 0};
}

// A message that does not fit must fit once the room is empty.
static void translate(Bytes datagram, uint32_t room) {
    datagram.shrink_to_fit();
    Bytes translation(room);
    platform::LinkOutput output = {translation.data(), room, 0};
    platform::Bytes rest = {datagram.data(), static_cast<uint32_t>(datagram.size())};
    platform::Bytes message;
    while (platform::nextMessage(&rest, &message)) {
        if (!platform::translateMessage(message, &output)) {
            CHECK(output.used != 0);
            hand(translation, &output);
            CHECK(platform::translateMessage(message, &output));
        }
    }
    hand(translation, &output);
}

static void step(RunningBridge& running, steps::Reader& input) {
    const uint8_t first = input.byte();
    if (first >= datagrams::FIRST_RESTORE) {
        restore(running);
        return;
    }
    if (first >= datagrams::FIRST_WAIT) {
        running.wait(steps::WAITS[first % 8]);
        return;
    }
    const uint32_t high = input.byte();
    const Bytes datagram = input.bytes((high << 8 | input.byte()) % (MAX_DATAGRAM + 1));
    if (first < datagrams::FIRST_STOCK) {
        process(datagram);
    } else {
        translate(datagram, platform::LINK_OUTPUT_MIN + first % datagrams::FIRST_STOCK);
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    RunningBridge running;
    running.sw.add(MEMBER).ownerUnit = 1;
    running.sw.add(VLAN_INTERFACE).endType = 3;
    running.sw.interfaces[VLAN_INTERFACE].number = 10;
    restore(running);
    steps::Reader input(data, size);
    for (uint32_t i = 0; i < MAX_STEPS && !input.done() && running.elapsed() < MAX_TICKS; i++) {
        running.sw.forget();
        step(running, input);
        checkEverything(running);
    }
    return 0;
}
