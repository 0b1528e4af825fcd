#pragma once

/// Traces that every machine makes, written once. Those that take a bit print only while it is set
/// in the debug mask.

#include <cstdint>

#include "mstp/records.h"
#include "platform/interfaces.h"

/// An interface's name, to be printed within the expression that asks for it:
/// mstpNameOf(unit).text.
struct tMstpName {
    char text[KEL_IF_NAME_SIZE];
};

tMstpName mstpNameOf(uint32_t unit);

/// A text with one %s for the port's name, printed whatever the mask says.
void reportPort(const char* format, const tMstpPort* port);

/// A text with one %s for the port's name.
void tracePort(uint32_t bit, const char* format, const tMstpPort* port);

/// A text with %d for the instance and %s for the port's name, printed whatever the mask says.
void reportXstPort(const char* format, const tMstpXstPort* xstPort);

/// A text with %d for the instance and %s for the port's name.
void traceXstPort(uint32_t bit, const char* format, const tMstpXstPort* xstPort);

/// A text with one %d for the instance.
void traceXst(uint32_t bit, const char* format, const tMstpXst* xst);

/// A text with one %d for the bridge's index.
void traceBridge(uint32_t bit, const char* format, const tMstpBridge* bridge);

/// A machine's transition (bit MSTP_DEBUG_MACHINE): a line with the condition as it stands, then a
/// line "jump to " and the target.
void traceTransition(const char* condition, const char* target);
