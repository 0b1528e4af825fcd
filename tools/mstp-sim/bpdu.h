#pragma once

/// BPDUs as fields with names (IEEE 802.1Q-2005 clause 14): what is on a simulated wire, decoded
/// apart from the daemon's own parser, and frames composed for a neighbour that is none.
///
/// Fields of an MSTI's message have "msti.N." before their names.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace simtool {

using Bytes = std::vector<uint8_t>;
using BpduFields = std::map<std::string, std::string>;

inline constexpr size_t LLC_OFFSET = 14;
inline constexpr size_t BPDU_OFFSET = 17;

/// The frame's fields; empty if it is no BPDU. What lies behind its end is left out.
BpduFields decodeBpdu(const Bytes& frame);

/// One line: "MST  root 32768.0200-0000-0001  cost 0  port 128.1  designated, proposal".
std::string describeBpdu(const Bytes& frame);

/// @param fields   "type" (config, tcn, rst, mst) and what differs from a designated port of the
///                 best bridge that there can be
/// @param source   the sender's address
Bytes composeBpdu(const BpduFields& fields, const std::array<uint8_t, 6>& source);

/// What is wrong with a field; empty if nothing is.
/// @param compose  it is to be sent, not only compared
std::string checkBpduField(const std::string& name, const std::string& value, bool compose);

/// True if @p actual is what @p expected asks for: "*.MAC" asks for the address alone.
bool bpduFieldMatches(const std::string& expected, const std::string& actual);

/// The names that there are, those of an MSTI without what is before them behind a blank.
const std::vector<std::string>& bpduFieldNames();
const std::vector<std::string>& mstiFieldNames();
bool isBridgeIdField(const std::string& name);

/// "0200-0000-0001"
std::string macText(const uint8_t* mac);
/// From six bytes in hexadecimal with "-" or ":" anywhere between.
std::optional<Bytes> parseMac(const std::string& text);
std::optional<Bytes> parseHex(const std::string& text);

} // namespace simtool
