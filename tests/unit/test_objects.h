#pragma once

/// What the tests of bridges, instances and ports share.

#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "test_bridge.h"

namespace objects {

using Bytes = std::vector<uint8_t>;

template <class Record> Bytes bytesOf(const Record& record) {
    Bytes bytes(sizeof record);
    memcpy(bytes.data(), &record, sizeof record);
    return bytes;
}

/// The instance's VLANs become exactly these.
inline void setVlans(tMstpXst* xst, std::initializer_list<uint32_t> vlans) {
    memset(xst->vlanList, 0, sizeof xst->vlanList);
    for (const uint32_t vlan : vlans) {
        bitListSet(xst->vlanList, vlan - 1);
    }
    xst->vlanLen = bitListUsedBytes(xst->vlanList, sizeof xst->vlanList);
}

inline std::string vlansOf(const tMstpXst* xst) {
    return sim::vlanText(xst->vlanList, sizeof xst->vlanList);
}

/// Numbers of the bridge's instances in list order.
inline std::vector<uint32_t> xstIdsOf(tMstpBridge* bridge) {
    std::vector<uint32_t> ids;
    for (const tMstpXst* xst : xstsOf(bridge)) {
        ids.push_back(xst->xstId);
    }
    return ids;
}

/// Units of the bridge's ports in list order.
inline std::vector<uint32_t> unitsOf(tMstpBridge* bridge) {
    std::vector<uint32_t> units;
    for (const tMstpPort* port : portsOf(bridge)) {
        units.push_back(port->unit);
    }
    return units;
}

/// Units of the instance's ports in list order.
inline std::vector<uint32_t> unitsOf(tMstpXst* xst) {
    std::vector<uint32_t> units;
    for (const tMstpXstPort* xstPort : xstPortsOf(xst)) {
        units.push_back(xstPort->host->unit);
    }
    return units;
}

/// Numbers of the instances that the port is a member of, in list order.
inline std::vector<uint32_t> xstIdsOf(tMstpPort* port) {
    std::vector<uint32_t> ids;
    for (const tMstpXstPort* xstPort : xstPortsOf(port)) {
        ids.push_back(xstPort->xst->xstId);
    }
    return ids;
}

/// The traces that end with @p ending, in order.
inline std::vector<std::string> tracesEnding(const TestBridge& bridge, const std::string& ending) {
    std::vector<std::string> found;
    for (const std::string& line : bridge.sw.traces) {
        if (line.size() >= ending.size() &&
            line.compare(line.size() - ending.size(), ending.size(), ending) == 0) {
            found.push_back(line);
        }
    }
    return found;
}

/// How ports were disabled and deleted, in order; needs MSTP_DEBUG_OBJECT and MSTP_DEBUG_ACTIVITY.
inline std::vector<std::string> portRemovals(const TestBridge& bridge) {
    std::vector<std::string> found;
    for (const std::string& line : bridge.sw.traces) {
        const bool disabled =
            line.rfind("mstp port ", 0) == 0 && line.find(" disable") != line.npos;
        const bool deleted = line.rfind("bridge ", 0) == 0 && line.find(" del port ") != line.npos;
        if (disabled || deleted) {
            found.push_back(line);
        }
    }
    return found;
}

/// The banners of the machines that ran, in order; needs MSTP_DEBUG_MACHINE.
inline std::vector<std::string> machinesRun(const TestBridge& bridge) {
    return tracesEnding(bridge, " state machine");
}

/// The flushes that the platform was asked for, in order.
inline std::vector<std::string> flushes(const TestBridge& bridge) {
    std::vector<std::string> found;
    for (const std::string& call : bridge.sw.calls) {
        if (call.find(" vlans=") != std::string::npos && call.rfind("kelIfSetApi:", 0) == 0) {
            found.push_back(call);
        }
    }
    return found;
}

/// The flushes of learnt MAC addresses alone.
inline std::vector<std::string> macFlushes(const TestBridge& bridge) {
    std::vector<std::string> found;
    for (const std::string& call : flushes(bridge)) {
        if (call.rfind("kelIfSetApi:98 ", 0) == 0) {
            found.push_back(call);
        }
    }
    return found;
}

inline bool armed(const tTimerNode& timer) {
    return listLinked(&timer.node);
}

inline std::vector<tTimerNode*> timersOf(tMstpXstPort* xstPort) {
    return {&xstPort->tcWhileTimer,     &xstPort->fdWhileTimer, &xstPort->rcvdInfoWhileTimer,
            &xstPort->rrWhileTimer,     &xstPort->rbWhileTimer, &xstPort->tcHoldoffTimer,
            &xstPort->rootHoldoffTimer, &xstPort->loopHoldTimer};
}

inline std::vector<tTimerNode*> timersOf(tMstpPort* port) {
    return {&port->mdelayWhileTimer, &port->helloWhenTimer, &port->edgeDelayWhileTimer,
            &port->bpduGuardTimer, &port->p2pHoldTimer};
}

/// Arms a timer whose expiry does nothing.
inline void arm(tTimerNode& timer, uint32_t ticks = 1000) {
    timerStart(
        &gMstp.timerList, &timer, ticks, [](void*, void*, void*) {}, nullptr, nullptr, nullptr);
}

/// Arms every timer of a port or an instance port.
template <class Record> void armAll(Record* record) {
    for (tTimerNode* timer : timersOf(record)) {
        arm(*timer);
    }
}

/// How many timers of a port or an instance port are armed.
template <class Record> size_t armedOf(Record* record) {
    size_t count = 0;
    for (const tTimerNode* timer : timersOf(record)) {
        count += armed(*timer) ? 1 : 0;
    }
    return count;
}

} // namespace objects
