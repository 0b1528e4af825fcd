#pragma once

/// Plays the kernel to platform/linux: a bridge with ports, VLANs and instances that obeys the
/// kernel's rules, as far as requests go. What it was told is written down.

#include <linux/if_bridge.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "netlink_request.h"

class FakeBridge {
  public:
    static constexpr uint32_t kIfindex = 1'000'000;

    struct Port {
        bool up = true;
        bool offloads = false; // a switching chip is behind it
        uint8_t state = BR_STATE_BLOCKING;
        std::map<uint32_t, uint8_t> vlans;  // states
        std::map<uint32_t, uint16_t> flags; // of VLANs that have any
    };

    FakeBridge() {
        s_fake = this;
        platform::setNetlinkPeer(answer);
    }
    ~FakeBridge() { platform::setNetlinkPeer(nullptr); }
    FakeBridge(const FakeBridge&) = delete;
    FakeBridge& operator=(const FakeBridge&) = delete;

    void addVlan(uint32_t ifindex, uint32_t vlan) {
        instances.emplace(vlan, 0);
        ports[ifindex].vlans[vlan] = ports[ifindex].state;
    }

    /// A message of the kernel about VLANs @p first to @p last of the port.
    static platform::NetlinkRequest vlanMessage(uint16_t type, uint32_t ifindex, uint32_t first,
                                                uint32_t last, uint16_t flags = 0) {
        platform::NetlinkRequest message;
        br_vlan_msg body = {};
        body.family = AF_BRIDGE;
        body.ifindex = ifindex;
        begin(&message, type, &body, sizeof body);
        putEntry(&message, first, last, flags);
        return message;
    }

    /// A message of the kernel about the state of the port.
    platform::NetlinkRequest portMessage(uint32_t ifindex) const {
        const Port& port = ports.at(ifindex);
        platform::NetlinkRequest message;
        ifinfomsg body = {};
        body.ifi_family = AF_BRIDGE;
        body.ifi_index = static_cast<int>(ifindex);
        body.ifi_flags = port.up ? 0x1003 | 0x40 : 0x1003;
        begin(&message, RTM_NEWLINK, &body, sizeof body);
        platform::requestPutValue(&message, IFLA_MASTER, kIfindex);
        if (port.offloads) {
            platform::requestPutValue(&message, IFLA_PHYS_SWITCH_ID, uint32_t{1});
        }
        platform::requestPutValue(&message, IFLA_OPERSTATE, static_cast<uint8_t>(port.up ? 6 : 2));
        const uint32_t nest = platform::requestNest(&message, IFLA_PROTINFO);
        platform::requestPutValue(&message, IFLA_BRPORT_STATE, port.state);
        platform::requestEndNest(&message, nest);
        return message;
    }

    /// The bytes of a message, with its length filled in.
    static platform::Bytes bytes(platform::NetlinkRequest* message) {
        memcpy(message->data, &message->length, sizeof message->length);
        return {message->data, message->length};
    }

    std::map<uint32_t, Port> ports;
    std::map<uint32_t, uint16_t> instances; // of the VLANs that there are
    std::vector<std::string> told;
    bool knowsBulk = true;
    bool mst = true;
    bool mstKnown = true;
    int32_t mstRefusal = 0;
    int32_t refusal = 0; // for all changes
    uint32_t dumpsToRefuse = 0;

  private:
    static inline FakeBridge* s_fake;

    static void begin(platform::NetlinkRequest* message, uint16_t type, const void* body,
                      uint32_t length) {
        platform::requestBegin(message, type, 0, body, length);
    }

    static void putEntry(platform::NetlinkRequest* message, uint32_t first, uint32_t last,
                         uint16_t flags) {
        const uint32_t nest = platform::requestNest(message, BRIDGE_VLANDB_ENTRY);
        const bridge_vlan_info info = {flags, static_cast<uint16_t>(first)};
        platform::requestPutValue(message, BRIDGE_VLANDB_ENTRY_INFO, info);
        if (last != first) {
            platform::requestPutValue(message, BRIDGE_VLANDB_ENTRY_RANGE,
                                      static_cast<uint16_t>(last));
        }
        platform::requestEndNest(message, nest);
    }

    static int32_t answer(const platform::Bytes& request, platform::MessageVisitor visit,
                          void* context) {
        const nlmsghdr header = platform::messageHeader(request);
        switch (header.nlmsg_type) {
        case RTM_GETLINK:
            return s_fake->tellLinks(request, visit, context);
        case RTM_GETVLAN:
            return s_fake->tellVlans(request, visit, context);
        default:
            break;
        }
        if (s_fake->refusal != 0) {
            return s_fake->refusal;
        }
        switch (header.nlmsg_type) {
        case RTM_SETLINK:
            return s_fake->changePort(request);
        case RTM_NEWLINK:
            return s_fake->changeBridge();
        case RTM_DELLINK:
            return s_fake->removeVlans(request);
        case RTM_NEWVLAN:
            return bodyOf<br_vlan_msg>(request).ifindex == kIfindex
                       ? s_fake->changeInstances(request)
                       : s_fake->addVlans(request);
        case RTM_DELNEIGH:
            return s_fake->flush(request);
        default:
            return EOPNOTSUPP;
        }
    }

    int32_t tellLinks(const platform::Bytes& request, platform::MessageVisitor visit,
                      void* context) {
        if (dumpsToRefuse > 0) {
            dumpsToRefuse--;
            return EBUSY;
        }
        const auto body = bodyOf<ifinfomsg>(request);
        if (body.ifi_family == AF_BRIDGE) {
            for (const auto& [ifindex, port] : ports) {
                platform::NetlinkRequest message = portMessage(ifindex);
                visit(bytes(&message), context);
            }
            return 0;
        }
        if (ports.contains(static_cast<uint32_t>(body.ifi_index))) {
            platform::NetlinkRequest message = portMessage(static_cast<uint32_t>(body.ifi_index));
            visit(bytes(&message), context);
            return 0;
        }
        platform::NetlinkRequest message = bridgeMessage();
        visit(bytes(&message), context);
        return 0;
    }

    platform::NetlinkRequest bridgeMessage() const {
        platform::NetlinkRequest message;
        ifinfomsg body = {};
        body.ifi_index = kIfindex;
        begin(&message, RTM_NEWLINK, &body, sizeof body);
        platform::requestPut(&message, IFLA_IFNAME, "fake", sizeof "fake");
        const uint32_t info = platform::requestNest(&message, IFLA_LINKINFO);
        platform::requestPut(&message, IFLA_INFO_KIND, "bridge", sizeof "bridge");
        const uint32_t data = platform::requestNest(&message, IFLA_INFO_DATA);
        platform::requestPutValue(&message, IFLA_BR_STP_STATE, uint32_t{2});
        platform::requestPutValue(&message, IFLA_BR_VLAN_FILTERING, uint8_t{1});
        constexpr uint32_t kMst = 1U << BR_BOOLOPT_MST_ENABLE;
        const br_boolopt_multi options = {mst ? kMst : 0, mstKnown ? 0xFF : 0xFF & ~kMst};
        platform::requestPutValue(&message, IFLA_BR_MULTI_BOOLOPT, options);
        platform::requestEndNest(&message, data);
        platform::requestEndNest(&message, info);
        return message;
    }

    int32_t tellVlans(const platform::Bytes& request, platform::MessageVisitor visit,
                      void* context) {
        const uint32_t wanted = bodyOf<br_vlan_msg>(request).ifindex;
        if (wanted == kIfindex) {
            for (const auto& [vlan, instance] : instances) {
                platform::NetlinkRequest message = optionsMessage(vlan, instance);
                visit(bytes(&message), context);
            }
        }
        for (const auto& [ifindex, port] : ports) {
            for (const auto& [vlan, state] : port.vlans) {
                if (wanted == 0 || wanted == ifindex) {
                    const auto flags = port.flags.find(vlan);
                    platform::NetlinkRequest message =
                        vlanMessage(RTM_NEWVLAN, ifindex, vlan, vlan,
                                    flags != port.flags.end() ? flags->second : uint16_t{0});
                    visit(bytes(&message), context);
                }
            }
        }
        return 0;
    }

    static platform::NetlinkRequest optionsMessage(uint32_t vlan, uint16_t instance) {
        platform::NetlinkRequest message;
        br_vlan_msg body = {};
        body.family = AF_BRIDGE;
        body.ifindex = kIfindex;
        begin(&message, RTM_NEWVLAN, &body, sizeof body);
        const uint32_t nest = platform::requestNest(&message, BRIDGE_VLANDB_GLOBAL_OPTIONS);
        platform::requestPutValue(&message, BRIDGE_VLANDB_GOPTS_ID, static_cast<uint16_t>(vlan));
        platform::requestPutValue(&message, BRIDGE_VLANDB_GOPTS_MSTI, instance);
        platform::requestEndNest(&message, nest);
        return message;
    }

    int32_t changePort(const platform::Bytes& request) {
        const auto ifindex = static_cast<uint32_t>(bodyOf<ifinfomsg>(request).ifi_index);
        Port& port = ports.at(ifindex);
        for (const auto& [type, value] : attributes<ifinfomsg>(request)) {
            if (type == IFLA_PROTINFO) {
                return changePortState(ifindex, &port, value);
            }
            if (type == IFLA_AF_SPEC) {
                changeInstanceStates(ifindex, &port, attributesIn(attributesIn(value)[0].second));
            }
        }
        return 0;
    }

    int32_t changePortState(uint32_t ifindex, Port* port, const platform::Bytes& data) {
        const auto [type, value] = attributesIn(data)[0];
        if (type == IFLA_BRPORT_FLUSH) {
            told.push_back("flush " + std::to_string(ifindex));
            return 0;
        }
        if (!port->up) {
            return ENETDOWN;
        }
        port->state = value.data[0];
        told.push_back("port " + std::to_string(ifindex) + " " + std::to_string(port->state));
        setStates(port, 0, port->state);
        return 0;
    }

    using Attributes = std::vector<std::pair<uint16_t, platform::Bytes>>;

    void changeInstanceStates(uint32_t ifindex, Port* port, const Attributes& entries) {
        std::string text = "states " + std::to_string(ifindex);
        for (const auto& [type, entry] : entries) {
            uint16_t instance = 0;
            const Attributes parts = attributesIn(entry);
            memcpy(&instance, parts[0].second.data, sizeof instance);
            const uint8_t state = parts[1].second.data[0];
            text += " " + std::to_string(instance) + "=" + std::to_string(state);
            setStates(port, instance, state);
        }
        told.push_back(text);
    }

    void setStates(Port* port, uint16_t instance, uint8_t state) {
        for (auto& [vlan, kept] : port->vlans) {
            if (instances.at(vlan) == instance) {
                kept = state;
            }
        }
    }

    // The daemon asks for nothing but MST mode.
    int32_t changeBridge() {
        for (const auto& [ifindex, port] : ports) {
            if (!port.vlans.empty()) {
                return EBUSY;
            }
        }
        told.emplace_back("mst");
        mst = mst || mstRefusal == 0;
        return mstRefusal;
    }

    int32_t addVlans(const platform::Bytes& request) {
        const uint32_t ifindex = bodyOf<br_vlan_msg>(request).ifindex;
        for (const auto& [type, entry] : attributes<br_vlan_msg>(request)) {
            bridge_vlan_info info = {};
            uint16_t last = 0;
            for (const auto& [part, value] : attributesIn(entry)) {
                memcpy(part == BRIDGE_VLANDB_ENTRY_INFO ? static_cast<void*>(&info) : &last,
                       value.data, value.length);
            }
            told.push_back("on " + std::to_string(ifindex) + " " + std::to_string(info.vid));
            for (uint32_t vlan = info.vid; vlan <= std::max(info.vid, last); vlan++) {
                changeVlan(ifindex, vlan, true, info.flags);
            }
        }
        return 0;
    }

    int32_t removeVlans(const platform::Bytes& request) {
        const auto ifindex = static_cast<uint32_t>(bodyOf<ifinfomsg>(request).ifi_index);
        uint32_t first = 0;
        for (const auto& [type, value] : attributesIn(attributes<ifinfomsg>(request)[0].second)) {
            bridge_vlan_info info = {};
            memcpy(&info, value.data, sizeof info);
            if ((info.flags & BRIDGE_VLAN_INFO_RANGE_BEGIN) != 0) {
                first = info.vid;
                continue;
            }
            first = (info.flags & BRIDGE_VLAN_INFO_RANGE_END) != 0 ? first : info.vid;
            told.push_back("off " + std::to_string(ifindex) + " " + std::to_string(first));
            for (uint32_t vlan = first; vlan <= info.vid; vlan++) {
                changeVlan(ifindex, vlan, false, 0);
            }
        }
        return 0;
    }

    void changeVlan(uint32_t ifindex, uint32_t vlan, bool member, uint16_t flags) {
        Port& port = ports.at(ifindex);
        if (!member) {
            port.vlans.erase(vlan);
            port.flags.erase(vlan);
            return;
        }
        addVlan(ifindex, vlan);
        if (flags != 0) {
            port.flags[vlan] = flags;
        }
    }

    int32_t changeInstances(const platform::Bytes& request) {
        for (const auto& [type, value] : attributes<br_vlan_msg>(request)) {
            uint16_t first = 0;
            uint16_t last = 0;
            uint16_t instance = 0;
            for (const auto& [part, number] : attributesIn(value)) {
                uint16_t* to = part == BRIDGE_VLANDB_GOPTS_ID      ? &first
                               : part == BRIDGE_VLANDB_GOPTS_RANGE ? &last
                                                                   : &instance;
                memcpy(to, number.data, sizeof *to);
            }
            last = last == 0 ? first : last;
            told.push_back("map " + std::to_string(first) + "-" + std::to_string(last) + " " +
                           std::to_string(instance));
            for (uint32_t vlan = first; vlan <= last; vlan++) {
                if (!instances.contains(vlan)) {
                    return ENOENT;
                }
                mapVlan(vlan, instance);
            }
        }
        messages++;
        return 0;
    }

    void mapVlan(uint32_t vlan, uint16_t instance) {
        instances[vlan] = instance;
        for (auto& [ifindex, port] : ports) {
            if (!port.vlans.contains(vlan)) {
                continue;
            }
            uint8_t state = BR_STATE_DISABLED;
            for (const auto& [other, kept] : port.vlans) {
                state = other != vlan && instances.at(other) == instance ? kept : state;
            }
            port.vlans[vlan] = state;
        }
    }

    int32_t flush(const platform::Bytes& request) {
        if (!knowsBulk) {
            return EINVAL;
        }
        std::string text = "bulk " + std::to_string(bodyOf<ndmsg>(request).ndm_ifindex);
        for (const auto& [type, value] : attributes<ndmsg>(request)) {
            uint16_t vlan = 0;
            if (type == NDA_VLAN) {
                memcpy(&vlan, value.data, sizeof vlan);
                text += " vlan " + std::to_string(vlan);
            }
        }
        told.push_back(text);
        return 0;
    }

    template <class T> static T bodyOf(const platform::Bytes& message) {
        T body;
        memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
        return body;
    }

    template <class T> static Attributes attributes(const platform::Bytes& message) {
        constexpr uint32_t kHeaders = NLMSG_HDRLEN + sizeof(T);
        return attributesIn({message.data + kHeaders, message.length - kHeaders});
    }

    static Attributes attributesIn(platform::Bytes rest) {
        Attributes all;
        uint16_t type = 0;
        platform::Bytes value;
        while (platform::nextAttribute(&rest, &type, &value)) {
            all.emplace_back(type, value);
        }
        return all;
    }

  public:
    uint32_t messages = 0; // that mapped VLANs
};
