// Why a request was refused. The daemon answers a refusal with a bare -1; what it would have said
// is found by asking it more.

#include "reasons.h"

#include <algorithm>

#include "apply.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "words.h"

std::optional<uint32_t> readNumber(const Daemon& daemon, uint32_t selector, const Keys& keys,
                                   uint32_t attribute) {
    const Reply reply = daemon.getNumber(selector, keys, attribute);
    return reply.result == 0 && !reply.numbers.empty() ? std::optional(reply.numbers[0])
                                                       : std::nullopt;
}

static bool hasMstis(const Daemon& daemon) {
    return readNumber(daemon, MSTP_GEN_GETAPI, {}, MSTP_GEN_FORCEVERSION).value_or(0) >=
           MSTP_FORCE_ATUODOT1S;
}

static std::string missingInstance(const Daemon& daemon, uint32_t instance) {
    if (instance != 0 && !hasMstis(daemon)) {
        return "only version mstp has instances above 0 (mstp set bridge version mstp)";
    }
    if (readNumber(daemon, MSTP_XST_GETAPI, {instance}, MSTP_XST_ROWSTATUS)) {
        return "";
    }
    const std::string number = std::to_string(instance);
    return (instance == 0 ? "there is no CIST, which is instance 0"
                          : "there is no instance " + number) +
           " (mstp instance add " + number + ")";
}

static std::string missingPort(const Daemon& daemon, const std::string& interface) {
    if (readNumber(daemon, MSTP_PORT_GETAPI, {unitOf(interface)}, MSTP_PORT_UPTIME)) {
        return "";
    }
    return "\"" + interface + "\" is no port of the bridge (mstp port add " + interface + ")";
}

std::string missing(const Daemon& daemon, const Target& target) {
    std::string reason;
    if (target.object == Object::Instance || target.object == Object::InstancePort) {
        reason = missingInstance(daemon, target.instance);
    }
    if (reason.empty() &&
        (target.object == Object::Port || target.object == Object::InstancePort)) {
        reason = missingPort(daemon, target.interface);
    }
    return reason;
}

std::string instanceRefusal(const Daemon& daemon, const InstanceCommand& command) {
    const std::string reason = missingInstance(daemon, command.instance);
    if (!command.add || (command.instance != 0 && !hasMstis(daemon))) {
        return reason;
    }
    const auto highest = readNumber(daemon, MSTP_GEN_GETAPI, {}, MSTP_GEN_MAXMSTID);
    if (!highest || command.instance <= *highest) {
        return "";
    }
    return "this daemon has room for the instances 0-" + std::to_string(*highest) +
           "; the sixth argument on its command line says for how many";
}

static size_t countPorts(const Daemon& daemon) {
    size_t count = 0;
    Reply reply = daemon.walk(MSTP_PORT_GETFIRST, {0}, 1);
    for (; reply.result == 0; count++) {
        reply = daemon.walk(MSTP_PORT_GETNEXT, {reply.numbers.at(0)}, 1);
    }
    return count;
}

std::string portRefusal(const Daemon& daemon) {
    return "either the daemon has no room for more than its " + std::to_string(countPorts(daemon)) +
           " ports (the last argument on its command line says for how many), or another protocol "
           "owns the interface";
}

std::string vlanConflict(const Daemon& daemon, uint32_t instance,
                         const std::vector<uint8_t>& vlans) {
    Reply reply = daemon.walk(MSTP_XST_GETFIRST, {0}, 1);
    for (; reply.result == 0; reply = daemon.walk(MSTP_XST_GETNEXT, {reply.numbers.at(0)}, 1)) {
        const uint32_t other = reply.numbers.at(0);
        if (other == 0 || other == instance) {
            continue;
        }
        std::vector<uint8_t> held =
            daemon.getOctets(MSTP_XST_GETAPI, {other}, MSTP_XST_VLANLIST).octets;
        held.resize(std::min(held.size(), vlans.size()));
        bool any = false;
        for (size_t i = 0; i < held.size(); i++) {
            held[i] = static_cast<uint8_t>(held[i] & vlans[i]);
            any = any || held[i] != 0;
        }
        if (any) {
            const std::string list = vlanWord(held);
            return "VLAN " + list + " belongs to another instance, " + std::to_string(other) +
                   " (mstp set instance " + std::to_string(other) + " vlans -" + list + ")";
        }
    }
    return "";
}

std::string settingRefusal(const Daemon& daemon, const SetCommand& command) {
    const std::string reason = missing(daemon, command.target);
    if (reason.empty() && command.target.object == Object::Port &&
        command.setting->attribute == MSTP_PORT_PROTOCOLMIGRATION) {
        return "only the versions rstp and mstp have a newer version to try";
    }
    return reason;
}

void expectServed(const Reply& reply, const std::string& what, const std::string& reason) {
    if (reply.result == 0) {
        return;
    }
    if (reply.result != -1) {
        throw Refused(what + ": refused by the platform with code " + std::to_string(reply.result));
    }
    throw Refused(what + ": " + (reason.empty() ? "refused by the daemon" : reason));
}
