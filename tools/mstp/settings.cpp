#include "settings.h"

#include <sys/sysinfo.h>

#include <algorithm>
#include <cstring>

#include "model.h"
#include "words.h"

static constexpr size_t MAC_SIZE = 6;
static constexpr size_t HELP_WIDTH = 96;

bool Setting::octets() const {
    switch (kind) {
    case Kind::Text:
    case Kind::Mac:
    case Kind::Vlans:
    case Kind::Hex:
    case Kind::BridgeId:
    case Kind::PortId:
        return true;
    default:
        return false;
    }
}

static bool offers(const Setting& setting, Access access) {
    return access == Access::Read ? setting.readable() : setting.settable();
}

const Setting& findSetting(Object object, const std::string& name, Access access) {
    std::string known;
    bool otherwise = false;
    for (const Setting& setting : settings()) {
        if (setting.object != object) {
            continue;
        }
        if (offers(setting, access)) {
            if (name == setting.name) {
                return setting;
            }
            known += (known.empty() ? "" : ", ") + std::string(setting.name);
        }
        otherwise = otherwise || name == setting.name;
    }
    if (otherwise) {
        throw Refused(name + (access == Access::Read ? " can only be set" : " can only be read"));
    }
    throw Refused("there is no setting \"" + name + "\" here; there are: " + known);
}

// ---- values as people write them

static std::string wordChoice(const Setting& setting) {
    std::string text;
    for (const Word& word : setting.words) {
        if (word.settable) {
            text += (text.empty() ? "" : "|") + std::string(word.word);
        }
    }
    return text;
}

std::string rangeText(const Setting& setting) {
    switch (setting.kind) {
    case Kind::OnOff:
        return "on|off";
    case Kind::Text:
        return "up to " + std::to_string(setting.maximum) + " characters";
    case Kind::Mac:
        return "xx:xx:xx:xx:xx:xx of a station";
    case Kind::Vlans:
        return "[+|-]LIST like 10-19,100";
    case Kind::Word:
        return wordChoice(setting);
    default:
        break;
    }
    std::string text = std::to_string(setting.minimum) + "-" + std::to_string(setting.maximum);
    if (setting.step > 1) {
        text += " in steps of " + std::to_string(setting.step);
    }
    return text + (setting.kind == Kind::Seconds ? " seconds" : "");
}

[[noreturn]] static void refuseValue(const Setting& setting, const std::string& value) {
    throw Refused(std::string(setting.name) + " takes " + rangeText(setting) + ", not \"" + value +
                  "\"");
}

static std::optional<uint32_t> numberOf(const Setting& setting, const std::string& text) {
    if (setting.kind == Kind::OnOff) {
        return text == "on" ? std::optional(1U) : text == "off" ? std::optional(2U) : std::nullopt;
    }
    if (setting.kind == Kind::Word) {
        for (const Word& word : setting.words) {
            if (word.settable && text == word.word) {
                return word.value;
            }
        }
        return std::nullopt;
    }
    const auto number = parseNumber(text);
    if (!number || *number < setting.minimum || *number > setting.maximum ||
        *number % setting.step != 0) {
        return std::nullopt;
    }
    return setting.kind == Kind::Seconds ? *number * HUNDREDTHS : *number;
}

static std::optional<std::vector<uint8_t>> macOf(const std::string& text) {
    static constexpr size_t LENGTH = MAC_SIZE * 3 - 1;
    std::vector<uint8_t> mac;
    for (size_t i = 0; i < LENGTH && text.size() == LENGTH; i += 3) {
        const auto byte = parseNumber("0x" + text.substr(i, 2));
        if (!byte || (i > 0 && text[i - 1] != ':')) {
            return std::nullopt;
        }
        mac.push_back(static_cast<uint8_t>(*byte));
    }
    // Identifiers of bridges hold addresses of stations, not of groups.
    const bool group = !mac.empty() && (mac[0] & 0x01) != 0;
    return mac.size() == MAC_SIZE && !group ? std::optional(mac) : std::nullopt;
}

Value parseValue(const Setting& setting, const std::string& text) {
    if (setting.kind == Kind::Text && text.size() <= setting.maximum) {
        return std::vector<uint8_t>(text.begin(), text.end());
    }
    if (setting.kind == Kind::Mac) {
        if (const auto mac = macOf(text)) {
            return *mac;
        }
    }
    if (!setting.octets()) {
        if (const auto number = numberOf(setting, text)) {
            return *number;
        }
    }
    refuseValue(setting, text);
}

static std::string formatOctets(const Setting& setting, const std::vector<uint8_t>& octets) {
    switch (setting.kind) {
    case Kind::Mac:
        return macWord(octets);
    case Kind::Vlans:
        return vlanWord(octets);
    case Kind::Hex:
        return hexWord(octets);
    case Kind::BridgeId:
        return bridgeIdWord(octets);
    case Kind::PortId:
        return portIdWord(octets);
    default:
        return {octets.begin(), octets.end()};
    }
}

static std::string formatUptime(uint32_t moment) {
    struct sysinfo now = {};
    if (moment == 0 || sysinfo(&now) != 0) {
        return "none";
    }
    const auto seconds = static_cast<uint32_t>(now.uptime);
    return std::to_string(seconds - std::min(seconds, moment));
}

static std::string formatWord(const Setting& setting, uint32_t number) {
    for (const Word& word : setting.words) {
        if (word.value == number) {
            return word.word;
        }
    }
    return std::to_string(number);
}

static std::string formatNumber(const Setting& setting, uint32_t number) {
    switch (setting.kind) {
    case Kind::Seconds:
        return std::to_string(number / HUNDREDTHS);
    case Kind::OnOff:
        return number == 1 ? "on" : "off";
    case Kind::Word:
        return formatWord(setting, number);
    case Kind::Interface:
        return number == 0 ? "none" : interfaceName(number);
    case Kind::Uptime:
        return formatUptime(number);
    case Kind::State:
        return stateWord(number);
    case Kind::Role:
        return roleWord(number);
    case Kind::Holds:
        return protectionWord(number);
    default:
        return std::to_string(number);
    }
}

std::string formatValue(const Setting& setting, const Value& value) {
    if (const auto* octets = std::get_if<std::vector<uint8_t>>(&value)) {
        return formatOctets(setting, *octets);
    }
    return formatNumber(setting, std::get<uint32_t>(value));
}

// ---- help

static std::string padded(std::string text, size_t width) {
    text.resize(std::max(text.size() + 2, width), ' ');
    return text;
}

std::string settingsHelp(Object object) {
    std::string text;
    for (const Setting& setting : settings()) {
        if (setting.object != object || !setting.settable()) {
            continue;
        }
        text += "  " + padded(setting.name, 23) + padded(rangeText(setting), 29) + setting.help;
        if (setting.initial) {
            text += " (" + formatValue(setting, *setting.initial) + ")";
        }
        text += "\n";
    }
    return text;
}

std::string readingsHelp(Object object) {
    std::string text;
    std::string line = " ";
    for (const Setting& setting : settings()) {
        if (setting.object != object || !setting.readable()) {
            continue;
        }
        if (line.size() + strlen(setting.name) + 1 > HELP_WIDTH) {
            text += line + "\n";
            line = " ";
        }
        line += " " + std::string(setting.name);
    }
    return text + line + "\n";
}
