#include "apply.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "model.h"
#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "reasons.h"
#include "words.h"

static constexpr uint32_t HUNDREDTHS = 100;
// The daemon's loop does posted work at the next tick of 10 ms, before it takes another request.
static constexpr std::chrono::milliseconds MOMENT(50);
static constexpr size_t MIRROR_HEADER_SIZE = 12;

uint32_t unitOf(const std::string& interface) {
    uint32_t unit = interfaceUnit(interface);
    if (unit == 0) {
        unit = parseNumber(interface).value_or(0);
    }
    if (unit == 0) {
        throw Refused("there is no interface \"" + interface + "\" here");
    }
    return unit;
}

std::pair<uint32_t, Keys> addressOf(const Target& target) {
    switch (target.object) {
    case Object::Port:
        return {MSTP_PORT_GETAPI, {unitOf(target.interface)}};
    case Object::Instance:
        return {MSTP_XST_GETAPI, {target.instance}};
    case Object::InstancePort:
        return {MSTP_XSTPORT_GETAPI, {target.instance, unitOf(target.interface)}};
    default:
        return {MSTP_GEN_GETAPI, {}};
    }
}

static uint32_t setSelector(const Target& target) {
    switch (target.object) {
    case Object::Port:
        return MSTP_PORT_SETAPI;
    case Object::Instance:
        return MSTP_XST_SETAPI;
    case Object::InstancePort:
        return MSTP_XSTPORT_SETAPI;
    default:
        return MSTP_GEN_SETAPI;
    }
}

void checkInterface(const Command& command) {
    std::string name;
    if (const auto* set = std::get_if<SetCommand>(&command)) {
        name = set->target.interface;
    } else if (const auto* port = std::get_if<PortCommand>(&command)) {
        name = port->interface;
    } else if (const auto* mirror = std::get_if<MirrorCommand>(&command)) {
        name = mirror->interface;
    } else {
        return;
    }
    const auto* set = std::get_if<SetCommand>(&command);
    const bool named = set == nullptr || set->target.object == Object::Port ||
                       set->target.object == Object::InstancePort;
    if (named) {
        unitOf(name);
    }
}

// ---- times

BridgeTimes BridgeTimes::read(const Daemon& daemon) {
    const auto seconds = [&](uint32_t attribute) {
        return readNumber(daemon, MSTP_GEN_GETAPI, {}, attribute).value_or(0) / HUNDREDTHS;
    };
    return {seconds(MSTP_GEN_BRIDGEMAXAGE), seconds(MSTP_GEN_BRIDGEHELLOTIME),
            seconds(MSTP_GEN_BRIDGEFORWARDDELAY)};
}

bool BridgeTimes::take(const Command& command) {
    const auto* set = std::get_if<SetCommand>(&command);
    if (set == nullptr || set->target.object != Object::Bridge) {
        return false;
    }
    const auto* value = std::get_if<uint32_t>(&set->value);
    const uint32_t seconds = value != nullptr ? *value / HUNDREDTHS : 0;
    switch (set->setting->attribute) {
    case MSTP_GEN_BRIDGEMAXAGE:
        maxAge = seconds;
        return true;
    case MSTP_GEN_BRIDGEHELLOTIME:
        helloTime = seconds;
        return true;
    case MSTP_GEN_BRIDGEFORWARDDELAY:
        forwardDelay = seconds;
        return true;
    default:
        return false;
    }
}

std::string BridgeTimes::brokenRule() const {
    const std::string age = std::to_string(maxAge);
    if (2 * (forwardDelay - std::min(forwardDelay, 1U)) < maxAge) {
        return "2 x (forward-delay - 1) must not be less than max-age, but 2 x (" +
               std::to_string(forwardDelay) + " - 1) is less than " + age;
    }
    if (maxAge < 2 * (helloTime + 1)) {
        return "max-age must not be less than 2 x (hello-time + 1), but " + age +
               " is less than 2 x (" + std::to_string(helloTime) + " + 1)";
    }
    return "";
}

// ---- sending

static std::vector<uint8_t> usedPart(std::vector<uint8_t> list) {
    list.resize(bitListUsedBytes(list.data(), static_cast<uint32_t>(list.size())));
    return list;
}

static bool any(const std::vector<uint8_t>& list) {
    return bitListUsedBytes(list.data(), static_cast<uint32_t>(list.size())) != 0;
}

static std::vector<uint8_t> without(std::vector<uint8_t> list, const std::vector<uint8_t>& taken) {
    for (size_t i = 0; i < std::min(list.size(), taken.size()); i++) {
        list[i] = static_cast<uint8_t>(list[i] & ~taken[i]);
    }
    return list;
}

namespace {

class Sender {
  public:
    explicit Sender(const Daemon& daemon, std::string what)
        : m_daemon(daemon), m_what(std::move(what)) {}

    void operator()(const SetCommand& c) const {
        const uint32_t selector = setSelector(c.target);
        const Keys keys = addressOf(c.target).second;
        const auto* octets = std::get_if<std::vector<uint8_t>>(&c.value);
        const Reply reply = octets != nullptr
                                ? m_daemon.setOctets(selector, keys, c.setting->attribute, *octets)
                                : m_daemon.setNumber(selector, keys, c.setting->attribute,
                                                     std::get<uint32_t>(c.value));
        expect(reply, [&] { return settingRefusal(m_daemon, c); });
    }

    void operator()(const VlansCommand& c) const {
        const std::vector<uint8_t> nothing(c.vlans.size());
        const Reply held = m_daemon.getOctets(MSTP_XST_GETAPI, {c.instance}, MSTP_XST_VLANLIST);
        expect(held, [&] { return missing(m_daemon, {Object::Instance, c.instance, ""}); });
        const bool replaces = c.change == VlanChange::Replace;
        std::vector<uint8_t> remove = c.change == VlanChange::Remove ? c.vlans : nothing;
        if (replaces) {
            remove = without(held.octets, c.vlans);
        }
        const std::vector<uint8_t> add = c.change == VlanChange::Remove ? nothing
                                         : replaces ? without(c.vlans, held.octets)
                                                    : c.vlans;
        changeVlans(c.instance, remove, add);
    }

    void operator()(const PortCommand& c) const {
        const Reply reply =
            m_daemon.setNumber(MSTP_PORT_SETAPI, {unitOf(c.interface)}, MSTP_PORT_ADMINNONSTP,
                               c.add ? MSTP_FALSE : MSTP_TRUE);
        expect(reply, [&] { return portRefusal(m_daemon); });
    }

    // Creating an instance that runs would start it afresh, without its ports' costs: it is left
    // as it is.
    void operator()(const InstanceCommand& c) const {
        const auto status = readNumber(m_daemon, MSTP_XST_GETAPI, {c.instance}, MSTP_XST_ROWSTATUS);
        if (c.add && status == MSTP_ACTIVE) {
            return;
        }
        const Reply reply = m_daemon.setNumber(MSTP_XST_SETAPI, {c.instance}, MSTP_XST_ROWSTATUS,
                                               c.add ? MSTP_CREATEANDGO : MSTP_DESTORY);
        expect(reply, [&] { return instanceRefusal(m_daemon, c); });
    }

    void operator()(const MapCommand& c) const {
        setBridge(MSTP_GEN_FASTMAPSETVLANS, usedPart(c.vlans));
        setBridge(MSTP_GEN_FASTMAPSETXSTS, c.instances);
        expect(m_daemon.setNumber(MSTP_GEN_SETAPI, {}, MSTP_GEN_FASTMAPENABLE, MSTP_TRUE),
               [] { return std::string(); });
    }

    // The message of a standby unit: the bridge, the port's unit, a reserved number, the BPDU.
    void operator()(const MirrorCommand& c) const {
        std::vector<uint8_t> message(MIRROR_HEADER_SIZE);
        message[3] = 1;
        const uint32_t unit = unitOf(c.interface);
        for (uint32_t i = 0; i < 4; i++) {
            message[4 + i] = static_cast<uint8_t>(unit >> (24 - 8 * i));
        }
        message.insert(message.end(), c.bpdu.begin(), c.bpdu.end());
        expect(m_daemon.setOctets(MSTP_GEN_SETAPI, {}, MSTP_GEN_SYNC, message), [&] {
            return missing(m_daemon, {Object::Port, 0, c.interface});
        });
    }

  private:
    template <class Reason> void expect(const Reply& reply, Reason reason) const {
        expectServed(reply, m_what, reply.result == -1 ? reason() : "");
    }

    void setBridge(uint32_t attribute, const std::vector<uint8_t>& octets) const {
        expect(m_daemon.setOctets(MSTP_GEN_SETAPI, {}, attribute, octets),
               [] { return std::string(); });
    }

    void changeVlans(uint32_t instance, const std::vector<uint8_t>& remove,
                     const std::vector<uint8_t>& add) const {
        if (instance == 0 && any(remove)) {
            throw Refused(m_what + ": VLANs leave the CIST by being added to another instance");
        }
        // Asked before, as the daemon stops half-way through the list.
        const std::string conflict = vlanConflict(m_daemon, instance, add);
        if (any(add) && !conflict.empty()) {
            throw Refused(m_what + ": " + conflict);
        }
        sendVlans(instance, MSTP_XST_VLANLISTDEL, remove);
        sendVlans(instance, MSTP_XST_VLANLIST, add);
    }

    void sendVlans(uint32_t instance, uint32_t attribute, const std::vector<uint8_t>& list) const {
        if (any(list)) {
            const Reply reply =
                m_daemon.setOctets(MSTP_XST_SETAPI, {instance}, attribute, usedPart(list));
            expect(reply, [] { return std::string("only version mstp maps VLANs to instances"); });
        }
    }

    const Daemon& m_daemon;
    std::string m_what;
};

} // namespace

void applyCommand(const Daemon& daemon, const Command& command) {
    std::visit(Sender(daemon, commandWords(command)), command);
}

// ---- pace

Pacer::Work Pacer::workOf(uint32_t selector, uint32_t attribute) {
    if (selector == MSTP_GEN_SETAPI) {
        return attribute == MSTP_GEN_FORCEVERSION || attribute == MSTP_GEN_FASTMAPENABLE
                   ? Work::Alone
                   : Work::Merges;
    }
    const bool port = selector == MSTP_PORT_SETAPI && attribute == MSTP_PORT_ADMINNONSTP;
    return port ? Work::Merges : Work::None;
}

Pacer::Work Pacer::workOf(const Command& command) {
    if (const auto* set = std::get_if<SetCommand>(&command)) {
        return workOf(setSelector(set->target), set->setting->attribute);
    }
    if (std::holds_alternative<MapCommand>(command)) {
        return Work::Alone;
    }
    return std::holds_alternative<PortCommand>(command) ? Work::Merges : Work::None;
}

void Pacer::before(Work work) {
    if (m_pending == Work::Alone || (m_pending == Work::Merges && work != Work::Merges)) {
        std::this_thread::sleep_for(MOMENT);
        m_pending = Work::None;
    }
    m_pending = std::max(m_pending, work);
}
