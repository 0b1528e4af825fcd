#include "mstp_trace.h"

#include "mstp/context.h"
#include "mstp_debug.h"

// The texts come from the callers, which the compiler checks nowhere else.
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"

tMstpName mstpNameOf(uint32_t unit) {
    tMstpName name = {};
    kelIfUnit2Name(unit, name.text);
    return name;
}

void reportPort(const char* format, const tMstpPort* port) {
    mstpDebug(format, mstpNameOf(port->unit).text);
}

void tracePort(uint32_t bit, const char* format, const tMstpPort* port) {
    if (mstpTracing(bit)) {
        reportPort(format, port);
    }
}

void reportXstPort(const char* format, const tMstpXstPort* xstPort) {
    mstpDebug(format, xstPort->xst->xstId, mstpNameOf(xstPort->host->unit).text);
}

void traceXstPort(uint32_t bit, const char* format, const tMstpXstPort* xstPort) {
    if (mstpTracing(bit)) {
        reportXstPort(format, xstPort);
    }
}

void traceXst(uint32_t bit, const char* format, const tMstpXst* xst) {
    if (mstpTracing(bit)) {
        mstpDebug(format, xst->xstId);
    }
}

void traceBridge(uint32_t bit, const char* format, const tMstpBridge* bridge) {
    if (mstpTracing(bit)) {
        mstpDebug(format, bridge->index);
    }
}

void traceTransition(const char* condition, const char* target) {
    if (!mstpTracing(MSTP_DEBUG_MACHINE)) {
        return;
    }
    mstpDebug("%s", condition);
    mstpDebug("jump to %s", target);
}
