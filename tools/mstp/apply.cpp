#include "apply.h"

#include <algorithm>
#include <chrono>
#include <thread>

#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "rules.h"

// Posted work is due a tick of 10 ms after the request, and in every turn the daemon's loop does
// what is due before it takes a request. So one that is sent a few ticks after the reply comes to a
// daemon that has done the work, however busy the machine is: no longer wait is needed, and none
// that asks.
static constexpr std::chrono::milliseconds MOMENT(50);
static constexpr size_t MIRROR_HEADER_SIZE = 12;

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

// ---- sending

static std::vector<uint8_t> usedPart(std::vector<uint8_t> list) {
    list.resize(bitListUsedBytes(list.data(), static_cast<uint32_t>(list.size())));
    return list;
}

namespace {

// The requests of a command; the reply to the one that decides, the last or the first refused.
class Sender {
  public:
    /// @param state  null: not known
    Sender(const Daemon& daemon, const Expected* state) : m_daemon(daemon), m_state(state) {}

    Reply operator()(const SetCommand& c) const {
        const uint32_t selector = setSelector(c.target);
        const Keys keys = addressOf(c.target).second;
        if (const auto* octets = std::get_if<std::vector<uint8_t>>(&c.value)) {
            return m_daemon.setOctets(selector, keys, c.setting->attribute, *octets);
        }
        return m_daemon.setNumber(selector, keys, c.setting->attribute,
                                  std::get<uint32_t>(c.value));
    }

    // A VLAN of another instance would make the daemon stop half-way through the list, and one
    // cannot be taken from the CIST: both are known before anything is sent.
    Reply operator()(const VlansCommand& c) const {
        const std::string reason =
            m_state != nullptr ? m_state->refusal(c) : Expected::read(m_daemon).refusal(c);
        if (!reason.empty()) {
            throw Refused(commandWords(c) + ": " + reason);
        }
        const Reply held = m_daemon.getOctets(MSTP_XST_GETAPI, {c.instance}, MSTP_XST_VLANLIST);
        const VlanDifference difference = vlanDifference(c, held.octets);
        Reply reply = sendVlans(c.instance, MSTP_XST_VLANLISTDEL, difference.remove);
        return reply.result != 0 ? reply : sendVlans(c.instance, MSTP_XST_VLANLIST, difference.add);
    }

    Reply operator()(const PortCommand& c) const {
        return m_daemon.setNumber(MSTP_PORT_SETAPI, {unitOf(c.interface)}, MSTP_PORT_ADMINNONSTP,
                                  c.add ? MSTP_FALSE : MSTP_TRUE);
    }

    // Creating an instance that runs would start it afresh, without its ports' costs: it is left
    // as it is.
    Reply operator()(const InstanceCommand& c) const {
        const auto status = readNumber(m_daemon, MSTP_XST_GETAPI, {c.instance}, MSTP_XST_ROWSTATUS);
        if (c.add && status == MSTP_ACTIVE) {
            return SERVED;
        }
        return m_daemon.setNumber(MSTP_XST_SETAPI, {c.instance}, MSTP_XST_ROWSTATUS,
                                  c.add ? MSTP_CREATEANDGO : MSTP_DESTORY);
    }

    Reply operator()(const MapCommand& c) const {
        Reply reply = setBridge(MSTP_GEN_FASTMAPSETVLANS, usedPart(c.vlans));
        if (reply.result != 0) {
            return reply;
        }
        const Reply second = setBridge(MSTP_GEN_FASTMAPSETXSTS, c.instances);
        return second.result != 0
                   ? second
                   : m_daemon.setNumber(MSTP_GEN_SETAPI, {}, MSTP_GEN_FASTMAPENABLE, MSTP_TRUE);
    }

    // The message of a standby unit: the bridge, the port's unit, a reserved number, the BPDU.
    Reply operator()(const MirrorCommand& c) const {
        std::vector<uint8_t> message(MIRROR_HEADER_SIZE);
        message[3] = 1;
        const uint32_t unit = unitOf(c.interface);
        for (uint32_t i = 0; i < 4; i++) {
            message[4 + i] = static_cast<uint8_t>(unit >> (24 - 8 * i));
        }
        message.insert(message.end(), c.bpdu.begin(), c.bpdu.end());
        return setBridge(MSTP_GEN_SYNC, message);
    }

  private:
    static inline const Reply SERVED = {0, {}, {}};

    Reply setBridge(uint32_t attribute, const std::vector<uint8_t>& octets) const {
        return m_daemon.setOctets(MSTP_GEN_SETAPI, {}, attribute, octets);
    }

    Reply sendVlans(uint32_t instance, uint32_t attribute, const std::vector<uint8_t>& list) const {
        const std::vector<uint8_t> used = usedPart(list);
        return used.empty() ? SERVED
                            : m_daemon.setOctets(MSTP_XST_SETAPI, {instance}, attribute, used);
    }

    const Daemon& m_daemon;
    const Expected* m_state;
};

} // namespace

static std::string reasonOf(const Daemon& daemon, const Command& command, int32_t result) {
    if (result != -1) {
        return "refused by the platform with code " + std::to_string(result);
    }
    const Expected state = Expected::read(daemon);
    std::string reason = state.refusal(command);
    if (!reason.empty()) {
        return reason;
    }
    if (std::holds_alternative<PortCommand>(command)) {
        return "either the daemon has no room for more than its " +
               std::to_string(state.ports.size()) +
               " ports (the last argument on its command line says for how many), or another "
               "protocol owns the interface";
    }
    return "refused by the daemon";
}

static void apply(const Daemon& daemon, const Command& command, const Expected* state) {
    const Reply reply = std::visit(Sender(daemon, state), command);
    if (reply.result != 0) {
        throw Refused(commandWords(command) + ": " + reasonOf(daemon, command, reply.result));
    }
}

void applyCommand(const Daemon& daemon, const Command& command) {
    apply(daemon, command, nullptr);
}

void applyCommand(const Daemon& daemon, const Command& command, const Expected& state) {
    apply(daemon, command, &state);
}

static void checkTimes(const Daemon& daemon, const Command& command) {
    if (!BridgeTimes().take(command)) {
        return;
    }
    BridgeTimes times = Expected::read(daemon).times;
    times.take(command);
    const std::string rule = times.brokenRule();
    if (!rule.empty()) {
        throw Refused(commandWords(command) + ": " + rule + "; change another of the times first");
    }
}

void applyAlone(const Daemon& daemon, const Command& command) {
    checkTimes(daemon, command);
    Pacer pacer;
    pacer.before(Pacer::workOf(command));
    applyCommand(daemon, command);
    pacer.end();
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
