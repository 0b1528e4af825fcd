// The hardware half of the simulated platform: interfaces, groups, scalars, notifications, debug
// channel and clock. Every call that changes something is recorded as one line of text.

#include "sim_platform.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "mstp/bit_list.h"
#include "mstp/records.h"
#include "platform/debug.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"
#include "platform/joined_ports.h"
#include "platform/notify.h"
#include "platform/signals.h"
#include "platform/stg.h"
#include "platform/take_over.h"

namespace sim {

static Switch* current;
static uint64_t clockMicroseconds = 1'000'000'000;

Switch& here() {
    static Switch nowhere;
    return current != nullptr ? *current : nowhere;
}

void swapIn(Switch* sw) {
    current = sw;
}

uint64_t now() {
    return clockMicroseconds;
}

void setNow(uint64_t microseconds) {
    clockMicroseconds = microseconds;
}

Interface& Switch::add(uint32_t unit) {
    Interface& interface = interfaces[unit];
    if (interface.name.empty()) {
        interface.name = "port" + std::to_string(unit);
        interface.number = unit;
    }
    return interface;
}

bool Switch::traced(const std::string& text) const {
    return std::find(traces.begin(), traces.end(), text) != traces.end();
}

uint32_t Switch::count(const std::string& call) const {
    return static_cast<uint32_t>(std::count(calls.begin(), calls.end(), call));
}

void Switch::forget() {
    calls.clear();
    traces.clear();
    debugOutput.clear();
    sent.clear();
}

std::string vlanText(const uint8_t* list, uint32_t length) {
    std::string text;
    for (uint32_t bit = 0; bit < length * 8; bit++) {
        if (!bitListTst(list, bit)) {
            continue;
        }
        uint32_t last = bit;
        while (last + 1 < length * 8 && bitListTst(list, last + 1)) {
            last++;
        }
        text += (text.empty() ? "" : ",") + std::to_string(bit + 1);
        if (last > bit) {
            text += "-" + std::to_string(last + 1);
        }
        bit = last;
    }
    return text;
}

static int32_t resultOf(const std::string& name) {
    const auto result = here().results.find(name);
    return result != here().results.end() ? result->second : 0;
}

// Records one call and gives the result that the test asked for.
__attribute__((format(printf, 2, 3))) static int32_t record(const std::string& name,
                                                            const char* format, ...) {
    if (here().recordCalls) {
        char text[2048];
        va_list arguments;
        va_start(arguments, format);
        vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        here().calls.push_back(name + text);
    }
    return resultOf(name);
}

// VLANs as text, for a call that is recorded; nothing where none is.
static std::string recordedVlans(const uint8_t* list, uint32_t length) {
    return here().recordCalls ? vlanText(list, length) : std::string();
}

static Interface* find(uint32_t unit) {
    const auto found = here().interfaces.find(unit);
    return found != here().interfaces.end() ? &found->second : nullptr;
}

} // namespace sim

using sim::here;
using sim::record;
using sim::recordedVlans;
using sim::resultOf;

uint64_t platformClock() {
    return sim::now();
}

// No signal reaches a simulated daemon; a test calls what it would set off.
int32_t platformOnSignal(int32_t number, void (*callBack)()) {
    here().signals[number] = callBack;
    return 0;
}

// Nobody else runs spanning tree, unless a test says so.
int32_t platformTakeOver() {
    return resultOf("platformTakeOver");
}

// Nobody but management gives ports to a simulated bridge; a test plays the somebody.
void platformOnPortJoined(int32_t (*callBack)(uint32_t unit)) {
    here().portJoined = callBack;
}

void platformOfferPortAgain(uint32_t unit) {
    here().offeredAgain.push_back(unit);
}

// ---- interfaces
// ----------------------------------------------------------------------------------

int32_t kelIfUnit2Name(uint32_t unit, char* name) {
    const sim::Interface* interface = sim::find(unit);
    if (interface == nullptr) {
        snprintf(name, 64, "%u", unit);
        return -1;
    }
    snprintf(name, 64, "%s", interface->name.c_str());
    return 0;
}

int32_t kelIfGetApi(uint32_t unit, uint32_t attribute, void* value) {
    const int32_t result = resultOf("kelIfGetApi:" + std::to_string(attribute));
    const sim::Interface* interface = sim::find(unit);
    if (result != 0 || interface == nullptr) {
        return result != 0 ? result : -1;
    }
    switch (attribute) {
    case KEL_IF_SPEED:
        if (interface->speed == 0) {
            return -1;
        }
        *static_cast<uint32_t*>(value) = interface->speed;
        return 0;
    case KEL_IF_OPER_STATUS:
        *static_cast<uint32_t*>(value) = interface->up ? 1 : 2;
        return 0;
    case KEL_IF_PROTOCOL_USE:
        if (interface->protocolUse.empty()) {
            return -1;
        }
        memcpy(value, interface->protocolUse.data(),
               std::min<size_t>(interface->protocolUse.size(), KEL_IF_PROTOCOL_USE_SIZE));
        return 0;
    default:
        return -1;
    }
}

int32_t kelIfSetApi(uint32_t unit, uint32_t attribute, void* value) {
    const std::string name = "kelIfSetApi:" + std::to_string(attribute);
    if (attribute >= KEL_IF_FLUSH_MAC && attribute <= KEL_IF_FLUSH_ARL) {
        const auto* list = static_cast<const octetstring*>(value);
        if (here().onFlush) {
            here().onFlush(unit, attribute, {octetBytes(list), octetBytes(list) + list->len});
        }
        return record(name, " unit=%u vlans=%s", unit,
                      recordedVlans(octetBytes(list), list->len).c_str());
    }
    sim::Interface* interface = sim::find(unit);
    if (interface != nullptr) {
        interface->attached = attribute == KEL_IF_BPDU_ATTACH;
    }
    return record(name, " unit=%u kind=%u", unit, *static_cast<uint32_t*>(value));
}

static int32_t position(uint32_t unit, tPhyIfIndex* result) {
    const sim::Interface* interface = sim::find(unit);
    if (interface == nullptr) {
        return -1;
    }
    *result = {};
    result->unit = interface->positionUnit;
    result->slot = interface->slot;
    result->port = interface->positionPort;
    result->virtualnum = interface->number;
    result->endType = interface->endType;
    return 0;
}

int32_t kelIndexTrans(uint32_t ifindex, uint32_t kind, void* result) {
    const int32_t failure = resultOf("kelIndexTrans");
    if (failure != 0) {
        return failure;
    }
    return kind == KEL_INDEX_POSITION ? position(ifindex, static_cast<tPhyIfIndex*>(result)) : -1;
}

int32_t sysIndexTrans(uint32_t unit, uint32_t kind, void* result) {
    const int32_t failure = resultOf("sysIndexTrans");
    if (failure != 0) {
        return failure;
    }
    if (kind == KEL_INDEX_IFINDEX) {
        *static_cast<uint32_t*>(result) = unit;
        return 0;
    }
    return kind == KEL_INDEX_POSITION ? position(unit, static_cast<tPhyIfIndex*>(result)) : -1;
}

int32_t sysIFGet(uint32_t ifindex, uint32_t attribute, uint32_t* value) {
    const int32_t failure = resultOf("sysIFGet:" + std::to_string(attribute));
    const sim::Interface* interface = sim::find(ifindex);
    if (failure != 0 || interface == nullptr || interface->ownerUnit == 0) {
        return failure != 0 ? failure : -1;
    }
    *value = attribute == KEL_IF_OWNER_UNIT ? interface->ownerUnit : 1;
    return 0;
}

// ---- scalars and synchronisation
// -----------------------------------------------------------------

int32_t kelHwScalarGet(uint32_t index, uint32_t attribute, void* value) {
    const int32_t failure = resultOf("kelHwScalarGet:" + std::to_string(attribute));
    if (failure != 0 || index != 0) {
        return failure != 0 ? failure : -1;
    }
    if (attribute == KEL_HW_UNIT_ROLE) {
        *static_cast<uint32_t*>(value) = here().unitRole;
        return 0;
    }
    return here().peerUnit ? 0 : -1;
}

int32_t kelScalarGetApi(uint32_t index, uint32_t attribute, void* value) {
    const int32_t failure = resultOf("kelScalarGetApi:" + std::to_string(attribute));
    if (failure != 0 || index != 0 || attribute != KEL_SCALAR_SYSTEM_MAC) {
        return failure != 0 ? failure : -1;
    }
    auto* octets = static_cast<octetstring*>(value);
    memcpy(octets->pBuf, here().systemMac.data(), 6);
    octets->len = 6;
    return 0;
}

int32_t kelVlanGetApi(uint32_t vlan, uint32_t attribute, void* /*value*/) {
    if (attribute != KEL_VLAN_EXISTS) {
        return -1;
    }
    return here().missingVlans.count(vlan) != 0 ? -1 : 0;
}

static std::string valueText(const void* value, uint32_t flag) {
    if (value == nullptr) {
        return "none";
    }
    if ((flag & KEL_SYNC_OCTETS) == 0) {
        return std::to_string(*static_cast<const uint32_t*>(value));
    }
    const auto* octets = static_cast<const octetstring*>(value);
    std::string text;
    for (uint32_t i = 0; i < octets->len; i++) {
        char byte[4];
        snprintf(byte, sizeof byte, "%02x", octetBytes(octets)[i]);
        text += byte;
    }
    return text;
}

int32_t kelHwScalarSync(uint32_t index, uint32_t attribute, void* value, uint32_t flag) {
    return record("kelHwScalarSync", " index=%u attribute=0x%x value=%s flag=0x%x", index,
                  attribute, valueText(value, flag).c_str(), flag);
}

int32_t kelHwIfSync(uint32_t unit, uint32_t attribute, void* value, uint32_t flag) {
    return record("kelHwIfSync", " unit=%u attribute=0x%x value=%s flag=0x%x", unit, attribute,
                  valueText(value, flag).c_str(), flag);
}

int32_t kelHwMstpXstSync(uint32_t xstId, uint32_t attribute, void* value, uint32_t flag) {
    return record("kelHwMstpXstSync", " xst=%u attribute=0x%x value=%s flag=0x%x", xstId, attribute,
                  valueText(value, flag).c_str(), flag);
}

int32_t kelHwMstpXstPortSync(tMstpXstPortIndex* index, uint32_t attribute, void* value,
                             uint32_t flag) {
    return record("kelHwMstpXstPortSync", " xst=%u unit=%u attribute=0x%x value=%s flag=0x%x",
                  index->xstId, index->unit, attribute, valueText(value, flag).c_str(), flag);
}

// ---- spanning tree groups
// ------------------------------------------------------------------------

int32_t stgShrProtocolAdd(uint32_t* stgId, uint32_t kind) {
    const int32_t result = record("stgShrProtocolAdd", " kind=%u", kind);
    if (result != 0) {
        return result;
    }
    if (*stgId == 0 || !here().groups.contains(*stgId)) {
        *stgId = here().nextGroup++;
    }
    here().groups[*stgId].kind = kind;
    return 0;
}

int32_t stgShrProtocolDel(uint32_t stgId) {
    const int32_t result = record("stgShrProtocolDel", " stg=%u", stgId);
    if (result == 0) {
        here().groups.erase(stgId);
    }
    return result;
}

static uint32_t& groupOf(uint32_t vlan) {
    std::vector<uint32_t>& groups = here().groupOfVlan;
    if (groups.size() <= vlan) {
        groups.resize(vlan + 1);
    }
    return groups[vlan];
}

static int32_t changeVlans(const char* name, uint32_t stgId, const uint8_t* bitmap, uint32_t length,
                           bool add) {
    const int32_t result = record(name, " stg=%u vlans=%s length=%u", stgId,
                                  recordedVlans(bitmap, length).c_str(), length);
    if (result != 0) {
        return result;
    }
    std::vector<uint8_t>& vlans = here().groups[stgId].vlans;
    for (uint32_t bit = 0; bit < length * 8; bit++) {
        if (!bitListTst(bitmap, bit)) {
            continue;
        }
        uint32_t& holder = groupOf(bit + 1);
        if (add) {
            bitListSet(vlans.data(), bit);
            holder = stgId;
        } else {
            bitListClr(vlans.data(), bit);
            holder = holder == stgId ? 0 : holder;
        }
    }
    return 0;
}

int32_t stgShrProtocolVlanAdd(uint32_t stgId, const uint8_t* bitmap, uint32_t length) {
    return changeVlans("stgShrProtocolVlanAdd", stgId, bitmap, length, true);
}

int32_t stgShrProtocolVlanDel(uint32_t stgId, const uint8_t* bitmap, uint32_t length) {
    return changeVlans("stgShrProtocolVlanDel", stgId, bitmap, length, false);
}

int32_t stgShrProtocolPortStateSet(uint32_t stgId, uint32_t unit, uint32_t state) {
    const int32_t result =
        record("stgShrProtocolPortStateSet", " stg=%u unit=%u state=%u", stgId, unit, state);
    if (result != 0) {
        return result;
    }
    uint32_t& held = here().groups[stgId].states[unit];
    const uint32_t before = held;
    held = state;
    if (before != state && here().onState) {
        here().onState(stgId, unit, before);
    }
    return 0;
}

// ---- notifications and the debug channel
// ---------------------------------------------------------

int32_t sendStpNewRootTrap(uint32_t xstId, const uint8_t* rootId) {
    const octetstring root = {reinterpret_cast<int8_t*>(const_cast<uint8_t*>(rootId)), 8};
    return record("sendStpNewRootTrap", " xst=%u root=%s", xstId,
                  valueText(&root, KEL_SYNC_OCTETS).c_str());
}

int32_t sendStpNewRootPortTrap(uint32_t xstId, uint32_t unit) {
    return record("sendStpNewRootPortTrap", " xst=%u unit=%u", xstId, unit);
}

int32_t sendStpTopoChgTrap(uint32_t xstId, uint32_t unit, uint32_t state) {
    return record("sendStpTopoChgTrap", " xst=%u unit=%u state=%u", xstId, unit, state);
}

void NM_DEBUG_OUTPUT(const char* text) {
    std::string line = text;
    static const std::string prefix = "[MSTP]:info=";
    if (line.compare(0, prefix.size(), prefix) == 0) {
        line.erase(0, prefix.size());
    }
    if (line.size() >= 2 && line.compare(line.size() - 2, 2, "\n\r") == 0) {
        line.erase(line.size() - 2);
    }
    if (here().onTrace) {
        here().onTrace(line);
        return;
    }
    here().debugOutput += text;
    here().traces.push_back(line);
}

void kelCatchSegFault(int32_t argc, char** /*argv*/) {
    record("kelCatchSegFault", " argc=%d", argc);
}
