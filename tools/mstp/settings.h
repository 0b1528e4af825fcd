#pragma once

/// What can be read and set, by the names that a network engineer would guess. One row an
/// attribute: the name, where it goes, what it takes. Help texts, checks, error messages and saved
/// configurations all come from the rows.

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

/// The request is not one: the text says which rule it breaks.
class Refused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Of a second, as times travel.
constexpr uint32_t HUNDREDTHS = 100;

enum class Object { Bridge, Region, Port, Instance, InstancePort };

enum class Kind {
    Number,  ///< minimum..maximum in steps
    Seconds, ///< minimum..maximum, travels in hundredths
    OnOff,   ///< 1 is on, whatever else comes is off; off is set as 2
    Word,    ///< one of `words`
    Text,    ///< up to maximum bytes
    Mac,
    Vlans, ///< a VLAN list; set by changes
    // Read only:
    Hex,
    BridgeId,
    PortId,
    Interface, ///< an interface index, 0 for none
    Uptime,    ///< a moment as the system's up-time, 0 for none; shown as seconds since then
    State,     ///< of a port in an instance
    Role,
    Holds, ///< bits MSTP_PROTECTION_*
};

enum class Access { Read, Write, ReadWrite };

struct Word {
    const char* word;
    uint32_t value;
    bool settable = true;
};

struct Setting {
    Object object;
    const char* name;
    uint32_t attribute;
    Kind kind;
    Access access;
    const char* help;
    uint32_t minimum = 0;
    uint32_t maximum = 0;
    uint32_t step = 1;
    std::vector<Word> words = {};
    std::optional<uint32_t> initial = {}; ///< a fresh daemon's value, as it travels

    bool readable() const { return access != Access::Write; }
    bool settable() const { return access != Access::Read; }
    bool octets() const;
};

/// As it travels: a number or octets.
using Value = std::variant<uint32_t, std::vector<uint8_t>>;

/// In the order of the help.
const std::vector<Setting>& settings();

/// @param access  Read or Write: what is wanted of it
/// @throws Refused with the names that there are
const Setting& findSetting(Object object, const std::string& name, Access access);

/// @throws Refused with the range
Value parseValue(const Setting& setting, const std::string& text);

/// What parseValue() takes, where the setting can be set.
std::string formatValue(const Setting& setting, const Value& value);

/// "4-30 seconds".
std::string rangeText(const Setting& setting);

/// A line "forward-delay  4-30 seconds  time in ... (15)" for each that can be set.
std::string settingsHelp(Object object);

/// The names of all that can be read, in lines.
std::string readingsHelp(Object object);
