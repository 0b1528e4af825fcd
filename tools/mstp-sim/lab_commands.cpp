// Commands of the client, given to the daemon that is swapped in: what its command server would do
// with the requests.

#include <algorithm>

#include "lab.h"
#include "mstp/enums.h"
#include "mstp/management.h"
#include "mstp_nm.h"
#include "rules.h"
#include "words.h"

namespace simtool {

static constexpr size_t LONGEST_VALUE = 1024;

static uint32_t portOf(const Target& target) {
    return parseNumber(target.interface).value_or(0);
}

static int32_t setRaw(const Target& target, uint32_t attribute, void* value) {
    switch (target.object) {
    case Object::Port:
        return mstpPortSetApi(portOf(target), attribute, value);
    case Object::Instance:
        return mstpXstSetApi(target.instance, attribute, value);
    case Object::InstancePort: {
        tMstpXstPortIndex index = {target.instance, portOf(target)};
        return mstpXstPortSetApi(&index, attribute, value);
    }
    default:
        return mstpGeneralSetApi(0, attribute, value);
    }
}

static int32_t getRaw(const Target& target, uint32_t attribute, void* value) {
    switch (target.object) {
    case Object::Port:
        return mstpPortGetApi(portOf(target), attribute, value);
    case Object::Instance:
        return mstpXstGetApi(target.instance, attribute, value);
    case Object::InstancePort: {
        tMstpXstPortIndex index = {target.instance, portOf(target)};
        return mstpXstPortGetApi(&index, attribute, value);
    }
    default:
        return mstpGeneralGetApi(0, attribute, value);
    }
}

static int32_t setOctets(const Target& target, uint32_t attribute, std::vector<uint8_t> bytes) {
    const auto length = static_cast<uint32_t>(bytes.size());
    bytes.resize(std::max<size_t>(bytes.size(), 1));
    octetstring octets = {reinterpret_cast<int8_t*>(bytes.data()), length};
    return setRaw(target, attribute, &octets);
}

static std::optional<std::vector<uint8_t>> getOctets(const Target& target, uint32_t attribute) {
    std::vector<uint8_t> bytes(LONGEST_VALUE);
    octetstring octets = {reinterpret_cast<int8_t*>(bytes.data()), LONGEST_VALUE};
    if (getRaw(target, attribute, &octets) != 0 || octets.len > LONGEST_VALUE) {
        return std::nullopt;
    }
    bytes.resize(octets.len);
    return bytes;
}

static int32_t setNumber(const Target& target, uint32_t attribute, uint32_t number) {
    return setRaw(target, attribute, &number);
}

namespace {

struct Applier {
    int32_t operator()(const SetCommand& command) const {
        if (const auto* bytes = std::get_if<std::vector<uint8_t>>(&command.value)) {
            return setOctets(command.target, command.setting->attribute, *bytes);
        }
        return setNumber(command.target, command.setting->attribute,
                         std::get<uint32_t>(command.value));
    }

    int32_t operator()(const VlansCommand& command) const {
        const Target target = {Object::Instance, command.instance, ""};
        const auto held = getOctets(target, MSTP_XST_VLANLIST);
        if (!held) {
            return -1;
        }
        const VlanDifference difference = vlanDifference(command, *held);
        const auto any = [](const std::vector<uint8_t>& list) {
            return std::any_of(list.begin(), list.end(), [](uint8_t byte) { return byte != 0; });
        };
        if (any(difference.remove) &&
            setOctets(target, MSTP_XST_VLANLISTDEL, difference.remove) != 0) {
            return -1;
        }
        return any(difference.add) ? setOctets(target, MSTP_XST_VLANLIST, difference.add) : 0;
    }

    int32_t operator()(const PortCommand& command) const {
        return setNumber({Object::Port, 0, command.interface}, MSTP_PORT_ADMINNONSTP,
                         command.add ? MSTP_FALSE : MSTP_TRUE);
    }

    int32_t operator()(const InstanceCommand& command) const {
        return setNumber({Object::Instance, command.instance, ""}, MSTP_XST_ROWSTATUS,
                         command.add ? MSTP_CREATEANDGO : MSTP_DESTORY);
    }

    int32_t operator()(const MapCommand& /*command*/) const { return -1; }
    int32_t operator()(const MirrorCommand& /*command*/) const { return -1; }
};

} // namespace

bool applyHere(const Command& command) {
    return std::visit(Applier{}, command) == 0;
}

std::optional<std::string> readValue(const Target& target, const Setting& setting) {
    if (setting.octets()) {
        const auto bytes = getOctets(target, setting.attribute);
        return bytes ? std::optional(formatValue(setting, *bytes)) : std::nullopt;
    }
    uint32_t number = 0;
    if (getRaw(target, setting.attribute, &number) != 0) {
        return std::nullopt;
    }
    // Interfaces have numbers here, not the names of this machine's.
    if (setting.kind == ::Kind::Interface) {
        return number == 0 ? "none" : std::to_string(number);
    }
    return formatValue(setting, number);
}

} // namespace simtool
