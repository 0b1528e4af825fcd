#pragma once

#include <cstdint>

#include "mstp/bpdu.h"

/// Checks and decodes a BPDU (14.4 of IEEE 802.1Q-2005).
///
/// The record takes what was received, zeros stand for the rest. Its four times then hold whole
/// seconds as 16-bit values, `protocolType` tells the kind and `mstiCount` how many MSTI messages
/// an MST BPDU announces (0 to 63, whatever was received); all are big-endian like the rest of the
/// record. An RST BPDU's designated bridge identifier is in `regionalRootId`, also where a BPDU of
/// the MST form is taken as RST.
///
/// A refusal is traced under MSTP_DEBUG_REFUSAL and leaves the record partly converted.
///
/// @param buf  first byte after the LLC header
/// @param len  bytes available there, padding included
/// @return 0, -1 for an invalid BPDU
int32_t mstpParse(tMstpBpdu* bpdu, const uint8_t* buf, uint32_t len);
