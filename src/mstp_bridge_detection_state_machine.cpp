// Bridge Detection, IEEE 802.1Q-2005 13.30. A port with no bridge behind it, an edge port, may
// forward at once: it cannot close a loop. The machine keeps that verdict in operEdge. Management
// may declare a port an edge; an automatic one is found when the port proposes in the newer
// protocol and hears nothing for edgeDelayWhile. Port Receive clears operEdge with the first BPDU.

#include "mstp_bridge_detection_state_machine.h"

#include "mstp/context.h"
#include "mstp_passes.h"
#include "mstp_trace.h"

void mstpBridgeDetectionEdge(tMstpPort* port) {
    port->operEdge = 1;
    port->fsmState[MSTP_BRIDGE_DETECTION_FSM] = MSTP_BRIDGE_DETECTION_EDGE;
}

void mstpBridgeDetectionNotEdge(tMstpPort* port) {
    port->operEdge = 0;
    port->fsmState[MSTP_BRIDGE_DETECTION_FSM] = MSTP_BRIDGE_DETECTION_NOT_EDGE;
}

static void begin(tMstpPort* port) {
    if (port->adminEdge != 0) {
        traceTransition("BEGIN && AdminEdge", "EDGE");
        mstpBridgeDetectionEdge(port);
        return;
    }
    traceTransition("BEGIN && !AdminEdge", "NOT_EDGE");
    mstpBridgeDetectionNotEdge(port);
}

static bool staysEdge(const tMstpPort* port) {
    return (port->adminEdge != 0 || port->portEnabled != 0) && port->operEdge != 0;
}

static bool isEdge(const tMstpPort* port) {
    bool declared = port->portEnabled == 0 && port->adminEdge != 0;
    bool detected = port->edgeDelayWhile == 0 && port->autoEdge != 0 && port->sendRSTP != 0 &&
                    mstpCistPort(port)->proposing != 0;
    return declared || detected;
}

static bool evaluate(tMstpPort* port) {
    bool moved = false;
    if (port->fsmState[MSTP_BRIDGE_DETECTION_FSM] == MSTP_BRIDGE_DETECTION_EDGE) {
        if (staysEdge(port)) {
            return false;
        }
        traceTransition("(!portEnabled && !AdminEdge) || !operEdge", "NOT_EDGE");
        mstpBridgeDetectionNotEdge(port);
        moved = true;
    }
    // The state is NOT_EDGE here, whichever way the pass came.
    if (isEdge(port)) {
        traceTransition("(!portEnabled && AdminEdge) ||((edgeDelayWhile == 0) && AutoEdge && "
                        "sendRstp && proposing)",
                        "EDGE");
        mstpBridgeDetectionEdge(port);
        moved = true;
    }
    return moved;
}

void mstpBridgeDetectionFSM(tMstpPort* port) {
    tracePort(MSTP_DEBUG_MACHINE, "mstp port %s Bridge Detection state machine", port);
    if (port->bridge->begin != 0) {
        begin(port);
    }
    mstpRunPasses(port, evaluate);
}
