#pragma once

/// The frames of the fuzzing corpora, in order of how a bridge has to take them.

#include <cstdint>
#include <vector>

using Bytes = std::vector<uint8_t>;

/// Those that are BPDUs (IEEE 802.1D-2004 9.3.4).
std::vector<Bytes> validFrames();

/// Of @p frames those that speak RSTP or MSTP. To one that spoke STP both ends go on speaking STP.
std::vector<Bytes> onlyRapid(std::vector<Bytes> frames);

/// Of @p frames those that speak STP, from bridges that would not become the root.
std::vector<Bytes> worseStp(std::vector<Bytes> frames);

/// Those that are none, and every valid one spoilt in several ways.
std::vector<Bytes> invalidFrames();
