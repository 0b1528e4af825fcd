#pragma once

/// Traces and dumps on the platform's debug channel, and the switches that select them.

#include <cstdint>

/// One trace line on the debug channel: the prefix "[MSTP]:info=", the formatted text, "\n\r".
/// Callers test their bit of the debug mask (MSTP_DEBUG_*) themselves. A text of more than 1023
/// characters is cut.
__attribute__((format(printf, 1, 2))) void mstpDebug(const char* format, ...);

/// A hex dump of @p length bytes on the debug channel: each line begins with "\n\r" and holds up to
/// 16 bytes as "%02x "; the last line ends with "\n\r" only if it is not full.
void mstpPktPrint(const uint8_t* data, uint32_t length);

/// Sets onlyFlushMac to 1 if @p flag is not 0, else to 0: whether a received topology change leaves
/// ARP and neighbour entries alone.
void mstpPortFlushDebug(uint32_t flag);

/// Sets every bit of the debug mask, or none.
void mstpDebugOn();
void mstpDebugOff();
