#include "words.h"

#include <cstdio>
#include <limits>

#include "mstp/bit_list.h"
#include "mstp/enums.h"

static std::string wordOf(const std::vector<const char*>& words, uint32_t number) {
    return number < words.size() ? words[number] : std::to_string(number);
}

std::string roleWord(uint32_t role) {
    return wordOf({"-", "disabled", "alternate", "backup", "root", "designated", "master",
                   "non-stp", "unknown"},
                  role);
}

std::string stateWord(uint32_t state) {
    return wordOf({"disabled", "discarding", "learning", "forwarding", "unknown"}, state);
}

std::string versionWord(uint32_t version) {
    return wordOf({"none", "stp", "rstp", "mstp"}, version);
}

std::string capableWord(uint32_t capable) {
    return wordOf({"none", "802.1D-1998", "802.1w", "802.1D-2004", "802.1s", "802.1Q", "unknown"},
                  capable);
}

std::string bridgeTypeWord(uint32_t type) {
    return wordOf({"customer", "provider"}, type);
}

std::string pathCostWord(uint32_t method) {
    return wordOf({"-", "short", "long"}, method);
}

std::string rowStatusWord(uint32_t status) {
    return wordOf({"-", "active", "not-in-service", "not-ready"}, status);
}

std::string protectionWord(uint32_t protection) {
    static const char* const words[] = {"bpdu-guard", "root", "loop", "topology-change"};
    std::string text;
    for (uint32_t bit = 0; bit < 4; bit++) {
        if ((protection & (1U << bit)) != 0) {
            text += (text.empty() ? "" : ",") + std::string(words[bit]);
        }
    }
    return text.empty() ? "-" : text;
}

template <class... Values> static std::string format(const char* text, Values... values) {
    char buffer[64];
    snprintf(buffer, sizeof buffer, text, values...);
    return buffer;
}

std::string durationWord(uint32_t seconds) {
    const uint32_t minutes = seconds / 60;
    const uint32_t hours = minutes / 60;
    if (hours >= 24) {
        return format("%ud%02uh", hours / 24, hours % 24);
    }
    if (hours > 0) {
        return format("%uh%02um", hours, minutes % 60);
    }
    if (minutes > 0) {
        return format("%um%02us", minutes, seconds % 60);
    }
    return format("%us", seconds);
}

std::string bridgeIdWord(const std::vector<uint8_t>& id) {
    if (id.size() != 8) {
        return "-";
    }
    return format("%d.%02x%02x-%02x%02x-%02x%02x", (id[0] << 8) | id[1], id[2], id[3], id[4], id[5],
                  id[6], id[7]);
}

std::string portIdWord(const std::vector<uint8_t>& id) {
    if (id.size() != 2 || (id[0] == 0 && id[1] == 0)) {
        return "-";
    }
    return format("%d.%d", id[0] & 0xF0, ((id[0] & 0x0F) << 8) | id[1]);
}

std::string macWord(const std::vector<uint8_t>& mac) {
    std::string text;
    for (const uint8_t byte : mac) {
        text += (text.empty() ? "" : ":") + format("%02x", byte);
    }
    return text;
}

std::string hexWord(const std::vector<uint8_t>& bytes) {
    std::string text;
    for (const uint8_t byte : bytes) {
        text += format("%02X", byte);
    }
    return text;
}

std::string vlanWord(const std::vector<uint8_t>& list) {
    std::string text;
    const auto bits = static_cast<uint32_t>(list.size() * 8);
    for (uint32_t bit = 0; bit < bits; bit++) {
        if (!bitListTst(list.data(), bit)) {
            continue;
        }
        uint32_t last = bit;
        while (last + 1 < bits && bitListTst(list.data(), last + 1)) {
            last++;
        }
        text += (text.empty() ? "" : ",") + std::to_string(bit + 1);
        if (last > bit) {
            text += "-" + std::to_string(last + 1);
        }
        bit = last;
    }
    return text.empty() ? "none" : text;
}

std::optional<uint32_t> parseNumber(const std::string& text) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string digits = hex ? text.substr(2) : text;
    const char* const allowed = hex ? "0123456789abcdefABCDEF" : "0123456789";
    if (digits.empty() || digits.size() > 10 ||
        digits.find_first_not_of(allowed) != std::string::npos) {
        return std::nullopt;
    }
    const unsigned long long value = strtoull(digits.c_str(), nullptr, hex ? 16 : 10);
    if (value > std::numeric_limits<uint32_t>::max()) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(value);
}

std::optional<std::vector<uint8_t>> parseList(const std::string& text, uint32_t least,
                                              uint32_t most) {
    std::vector<uint8_t> list((most - least) / 8 + 1);
    size_t start = 0;
    while (start <= text.size()) {
        const size_t comma = std::min(text.find(',', start), text.size());
        const std::string range = text.substr(start, comma - start);
        const size_t dash = range.find('-');
        const auto first = parseNumber(range.substr(0, dash));
        const auto last = dash == std::string::npos ? first : parseNumber(range.substr(dash + 1));
        if (!first || !last || *first < least || *last > most || *first > *last) {
            return std::nullopt;
        }
        for (uint32_t number = *first; number <= *last; number++) {
            bitListSet(list.data(), number - least);
        }
        start = comma + 1;
    }
    return list;
}

std::optional<std::vector<uint8_t>> parseVlans(const std::string& text) {
    return parseList(text, 1, MSTP_VLAN_ID_MAX);
}
