#pragma once

/// Dumps of the daemon's objects on standard output, for an operator at a serial console: every
/// item begins a line with "\r\n". Nothing is shown of an object that does not exist.

#include <cstdint>

#include "mstp/records.h"

/// The resource table: record sizes in bytes, capacity and use of the pools, and their total bytes.
void mstpRscShow();

/// Every bridge.
void mstpBridgeShow();

/// One instance, one port, one instance port of bridge 1.
void mstpXstShow(uint32_t xstId);
void mstpPortShow(uint32_t unit);
void mstpXstPortShow(uint32_t xstId, uint32_t unit);

/// Everything: bridges, instances, ports, and instance ports by instance, then by unit.
void mstpInfoShow();

/// Test hook: runs the machines of bridge 1 once with BEGIN, with every port's link taken as up
/// since now.
void mstpTst();

/// "32768.0011-2233-4455": the priority without the system ID extension, and the address.
void mstpBridgeIdPrint(const tMstpBridgeId* id);

/// "128.291": the priority and the port number.
void mstpPortIdPrint(const tMstpPortId* id);

void mstpTimePrint(const tMstpTime* time);
void mstpVectorPrint(const tMstpPriorityVector* vector);
