#pragma once

/// Numbers and the words that people use for them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

std::string roleWord(uint32_t role);
std::string stateWord(uint32_t state);
std::string versionWord(uint32_t version);
std::string capableWord(uint32_t capable);
std::string bridgeTypeWord(uint32_t type);
std::string pathCostWord(uint32_t method);
std::string rowStatusWord(uint32_t status);

/// "root,loop": the holds of MSTP_PROTECTION_* bits; "-" for none.
std::string protectionWord(uint32_t protection);

/// "5s", "3m20s", "5h12m", "2d03h": the two largest units.
std::string durationWord(uint32_t seconds);

/// "32768.0011-2233-4455": priority with the instance, then the MAC address.
std::string bridgeIdWord(const std::vector<uint8_t>& id);

/// "128.3": priority, then port number; "-" for none.
std::string portIdWord(const std::vector<uint8_t>& id);

std::string macWord(const std::vector<uint8_t>& mac);
std::string hexWord(const std::vector<uint8_t>& bytes);

/// "1-9,20" of a VLAN list; "none" of an empty one.
std::string vlanWord(const std::vector<uint8_t>& list);

/// A bit list from "1-9,20", bit 0 standing for @p least. @return none if it is malformed or leaves
/// @p least..@p most
std::optional<std::vector<uint8_t>> parseList(const std::string& text, uint32_t least,
                                              uint32_t most);

/// A VLAN list of 512 bytes from "1-9,20". @return none if it is malformed or leaves 1..4094
std::optional<std::vector<uint8_t>> parseVlans(const std::string& text);

/// A decimal number, or one with 0x before it. @return none for anything else
std::optional<uint32_t> parseNumber(const std::string& text);
