#include "rules.h"

#include <algorithm>

#include "model.h"
#include "mstp/bit_list.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "settings.h"
#include "words.h"

using List = std::vector<uint8_t>;

static bool interfacesHaveNames = true;

void forgetInterfaceNames() {
    interfacesHaveNames = false;
}

uint32_t unitOf(const std::string& interface) {
    uint32_t unit = interfacesHaveNames ? interfaceUnit(interface) : 0;
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

std::optional<uint32_t> readNumber(const Daemon& daemon, uint32_t selector, const Keys& keys,
                                   uint32_t attribute) {
    const Reply reply = daemon.getNumber(selector, keys, attribute);
    return reply.result == 0 && !reply.numbers.empty() ? std::optional(reply.numbers[0])
                                                       : std::nullopt;
}

std::string interfaceOf(const Command& command) {
    if (const auto* set = std::get_if<SetCommand>(&command)) {
        return set->target.interface;
    }
    if (const auto* port = std::get_if<PortCommand>(&command)) {
        return port->interface;
    }
    const auto* mirror = std::get_if<MirrorCommand>(&command);
    return mirror != nullptr ? mirror->interface : "";
}

// ---- times

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

// ---- lists

static List whole(List list) {
    list.resize(MSTP_VLAN_LIST_SIZE);
    return list;
}

static bool any(const List& list) {
    return std::any_of(list.begin(), list.end(), [](uint8_t byte) { return byte != 0; });
}

static List both(List one, const List& other) {
    std::transform(one.begin(), one.end(), other.begin(), one.begin(),
                   [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & b); });
    return one;
}

static List without(List list, const List& taken) {
    std::transform(list.begin(), list.end(), taken.begin(), list.begin(),
                   [](uint8_t a, uint8_t b) { return static_cast<uint8_t>(a & ~b); });
    return list;
}

static void merge(List& list, const List& more) {
    bitListOr(list.data(), more.data(), MSTP_VLAN_LIST_SIZE);
}

VlanDifference vlanDifference(const VlansCommand& command, List held) {
    held = whole(std::move(held));
    switch (command.change) {
    case VlanChange::Add:
        return {List(MSTP_VLAN_LIST_SIZE), command.vlans};
    case VlanChange::Remove:
        return {command.vlans, List(MSTP_VLAN_LIST_SIZE)};
    default:
        return {without(held, command.vlans), without(command.vlans, held)};
    }
}

// ---- what the daemon knows

Expected Expected::read(const Daemon& daemon) {
    const auto general = [&](uint32_t attribute) {
        return readNumber(daemon, MSTP_GEN_GETAPI, {}, attribute).value_or(0);
    };
    Expected state;
    state.version = general(MSTP_GEN_FORCEVERSION);
    state.highestInstance = general(MSTP_GEN_MAXMSTID);
    state.times = {general(MSTP_GEN_BRIDGEMAXAGE) / HUNDREDTHS,
                   general(MSTP_GEN_BRIDGEHELLOTIME) / HUNDREDTHS,
                   general(MSTP_GEN_BRIDGEFORWARDDELAY) / HUNDREDTHS};
    Reply reply = daemon.walk(MSTP_XST_GETFIRST, {0}, 1);
    for (; reply.result == 0; reply = daemon.walk(MSTP_XST_GETNEXT, reply.numbers, 1)) {
        state.vlans[reply.numbers[0]] =
            whole(daemon.getOctets(MSTP_XST_GETAPI, reply.numbers, MSTP_XST_VLANLIST).octets);
    }
    reply = daemon.walk(MSTP_PORT_GETFIRST, {0}, 1);
    for (; reply.result == 0; reply = daemon.walk(MSTP_PORT_GETNEXT, reply.numbers, 1)) {
        state.ports.insert(reply.numbers[0]);
    }
    return state;
}

// ---- refusals

static const char* const NO_MSTIS =
    "only version mstp has instances above 0 (mstp set bridge version mstp)";

static std::string noRoom(uint32_t highest) {
    return "this daemon has room for the instances 0-" + std::to_string(highest) +
           "; the sixth argument on its command line says for how many";
}

std::string Expected::missing(const Target& target) const {
    const bool ofInstance =
        target.object == Object::Instance || target.object == Object::InstancePort;
    if (ofInstance && target.instance != 0 && version < MSTP_FORCE_ATUODOT1S) {
        return NO_MSTIS;
    }
    if (ofInstance && vlans.count(target.instance) == 0) {
        const std::string number = std::to_string(target.instance);
        return (target.instance == 0 ? "there is no CIST, which is instance 0"
                                     : "there is no instance " + number) +
               " (mstp instance add " + number + ")";
    }
    const bool ofPort = target.object == Object::Port || target.object == Object::InstancePort;
    if (ofPort && ports.count(unitOf(target.interface)) == 0) {
        return "\"" + target.interface + "\" is no port of the bridge (mstp port add " +
               target.interface + ")";
    }
    return "";
}

std::string Expected::refusalOfLife(uint32_t instance, bool add) const {
    std::string reason = missing({Object::Instance, instance, ""});
    if (!add || reason == NO_MSTIS) {
        return reason;
    }
    return instance > highestInstance ? noRoom(highestInstance) : "";
}

static std::string heldElsewhere(const List& list, uint32_t instance) {
    const std::string vlans = vlanWord(list);
    const std::string number = std::to_string(instance);
    return "VLAN " + vlans + " belongs to another instance, " + number + " (mstp set instance " +
           number + " vlans -" + vlans + ")";
}

std::string Expected::refusalOfVlans(const VlansCommand& command) const {
    std::string reason = missing({Object::Instance, command.instance, ""});
    if (!reason.empty()) {
        return reason;
    }
    const VlanDifference difference = vlanDifference(command, vlans.at(command.instance));
    if (command.instance == 0 && any(difference.remove)) {
        return "VLANs leave the CIST by being added to another instance";
    }
    if (version < MSTP_FORCE_ATUODOT1S && any(difference.add)) {
        return "only version mstp maps VLANs to instances (mstp set bridge version mstp)";
    }
    for (const auto& [other, held] : vlans) {
        const List taken = both(held, difference.add);
        if (other != 0 && other != command.instance && any(taken)) {
            return heldElsewhere(taken, other);
        }
    }
    return "";
}

std::string Expected::refusalOfMap(const MapCommand& command) const {
    const int32_t highest =
        bitListMaxBit(command.instances.data(), static_cast<uint32_t>(command.instances.size()));
    if (highest > static_cast<int32_t>(highestInstance)) {
        return noRoom(highestInstance);
    }
    return highest > 0 && version < MSTP_FORCE_ATUODOT1S ? NO_MSTIS : "";
}

static bool setsLife(const SetCommand& command) {
    return command.target.object == Object::Instance &&
           command.setting->attribute == MSTP_XST_ROWSTATUS;
}

static bool creates(const SetCommand& command) {
    const uint32_t status = std::get<uint32_t>(command.value);
    return status == MSTP_CREATEANDGO || status == MSTP_CREATEANDWAIT;
}

std::string Expected::refusal(const Command& command) const {
    if (const auto* life = std::get_if<InstanceCommand>(&command)) {
        return refusalOfLife(life->instance, life->add);
    }
    if (const auto* change = std::get_if<VlansCommand>(&command)) {
        return refusalOfVlans(*change);
    }
    if (const auto* map = std::get_if<MapCommand>(&command)) {
        return refusalOfMap(*map);
    }
    if (const auto* mirror = std::get_if<MirrorCommand>(&command)) {
        return missing({Object::Port, 0, mirror->interface});
    }
    const auto* set = std::get_if<SetCommand>(&command);
    if (set == nullptr) {
        return "";
    }
    if (setsLife(*set)) {
        return refusalOfLife(set->target.instance, creates(*set));
    }
    const bool migrates = set->target.object == Object::Port &&
                          set->setting->attribute == MSTP_PORT_PROTOCOLMIGRATION;
    if (migrates && version < MSTP_FORCE_DOT1W) {
        return "only the versions rstp and mstp have a newer version to try";
    }
    return missing(set->target);
}

// ---- changes

// Whenever instances come and go, the CIST takes every VLAN that no other has.
void Expected::refillCist() {
    const auto cist = vlans.find(0);
    if (cist == vlans.end()) {
        return;
    }
    cist->second = *parseVlans("1-4094");
    for (const auto& [instance, held] : vlans) {
        if (instance != 0) {
            cist->second = without(cist->second, held);
        }
    }
}

void Expected::takeLife(uint32_t instance, bool add) {
    if (add) {
        vlans.try_emplace(instance, MSTP_VLAN_LIST_SIZE);
    } else {
        vlans.erase(instance);
    }
    refillCist();
    // With its last instance a bridge loses its ports.
    if (vlans.empty()) {
        ports.clear();
    }
}

void Expected::takeVlans(const VlansCommand& command) {
    List& own = vlans[command.instance];
    const VlanDifference difference = vlanDifference(command, own);
    const List returned = both(difference.remove, whole(own));
    own = without(whole(own), difference.remove);
    const auto cist = vlans.find(0);
    if (cist != vlans.end()) {
        merge(cist->second, returned);
        cist->second = without(cist->second, difference.add);
    }
    merge(own, difference.add);
}

void Expected::takeMap(const MapCommand& command) {
    vlans.clear();
    ports.clear();
    const auto bits = static_cast<uint32_t>(command.instances.size() * 8);
    for (uint32_t instance = 0; instance < bits; instance++) {
        if (bitListTst(command.instances.data(), instance)) {
            takeLife(instance, true);
        }
    }
    auto taker = vlans.begin();
    for (uint32_t bit = 0; bit < MSTP_VLAN_ID_MAX && !vlans.empty(); bit++) {
        if (bitListTst(command.vlans.data(), bit)) {
            bitListSet(taker->second.data(), bit);
            taker = std::next(taker) == vlans.end() ? vlans.begin() : std::next(taker);
        }
    }
    refillCist();
}

void Expected::takeVersion(uint32_t newVersion) {
    version = newVersion;
    if (version < MSTP_FORCE_ATUODOT1S) {
        vlans.erase(vlans.upper_bound(0), vlans.end());
        refillCist();
    }
}

void Expected::take(const Command& command) {
    times.take(command);
    if (const auto* life = std::get_if<InstanceCommand>(&command)) {
        takeLife(life->instance, life->add);
    } else if (const auto* change = std::get_if<VlansCommand>(&command)) {
        takeVlans(*change);
    } else if (const auto* map = std::get_if<MapCommand>(&command)) {
        takeMap(*map);
    } else if (const auto* port = std::get_if<PortCommand>(&command)) {
        const uint32_t unit = unitOf(port->interface);
        port->add ? void(ports.insert(unit)) : void(ports.erase(unit));
    } else if (const auto* set = std::get_if<SetCommand>(&command)) {
        if (setsLife(*set) && std::get<uint32_t>(set->value) != MSTP_ACTIVE) {
            takeLife(set->target.instance, creates(*set));
        } else if (set->target.object == Object::Bridge &&
                   set->setting->attribute == MSTP_GEN_FORCEVERSION) {
            takeVersion(std::get<uint32_t>(set->value));
        }
    }
}
