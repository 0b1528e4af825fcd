#pragma once

/// A command of the configuring half: what stands on the command line or on a line of a file,
/// parsed and checked as far as that is possible without the daemon.

#include "settings.h"

/// The words are no command: the text says which forms there are.
class WrongForm : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

struct Target {
    Object object = Object::Bridge;
    uint32_t instance = 0;
    std::string interface;
};

/// set TARGET NAME VALUE
struct SetCommand {
    Target target;
    const Setting* setting;
    Value value;
};

enum class VlanChange { Add, Remove, Replace };

/// set instance N vlans [+|-]LIST
struct VlansCommand {
    uint32_t instance;
    VlanChange change;
    std::vector<uint8_t> vlans; ///< a whole VLAN list
};

/// port add|del IFACE
struct PortCommand {
    std::string interface;
    bool add;
};

/// instance add|del N
struct InstanceCommand {
    uint32_t instance;
    bool add;
};

/// map instances LIST vlans LIST
struct MapCommand {
    std::vector<uint8_t> instances; ///< 8 bytes
    std::vector<uint8_t> vlans;     ///< a whole VLAN list
};

/// mirror IFACE HEX
struct MirrorCommand {
    std::string interface;
    std::vector<uint8_t> bpdu; ///< from behind the LLC header
};

using Command =
    std::variant<SetCommand, VlansCommand, PortCommand, InstanceCommand, MapCommand, MirrorCommand>;

/// @throws WrongForm if the words have no command's form, Refused for a value that is none
Command parseCommand(const std::vector<std::string>& words);

/// @throws WrongForm with the forms of the command named
[[noreturn]] void refuseForm(const std::string& command);

/// The words of a line. Blanks part them; "..." and '...' hold them together, and within "..." \",
/// \\ and \xHH stand for what they cannot hold. A '#' at the beginning of a word ends the line.
/// @throws WrongForm for what is no such line
std::vector<std::string> splitWords(const std::string& line);

/// @p text so that splitWords() makes it one word again.
std::string quoteWord(const std::string& text);

/// What stands in front of a name: "bridge", "port IFACE", "instance N port IFACE" and so on.
/// @param[in,out] position  where it begins; where the name is
/// @throws WrongForm if it is none of these
Target parseTarget(const std::vector<std::string>& words, size_t& position);

/// "instance 2 port eth1", as it is written.
std::string targetWords(const Target& target);

/// The command as it is written; the lists and bytes of map and mirror are left out.
std::string commandWords(const Command& command);
