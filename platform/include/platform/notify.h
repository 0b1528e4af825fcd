#pragma once

/// Notifications to network management. The caller has checked that they are switched on.

#include <cstdint>

/// This bridge is about to follow another root in instance @p xstId. @p rootId is the 8-byte
/// identifier of the root that the instance has had until now.
int32_t sendStpNewRootTrap(uint32_t xstId, const uint8_t* rootId);

/// Interface @p unit became the root port of instance @p xstId.
int32_t sendStpNewRootPortTrap(uint32_t xstId, uint32_t unit);

/// Interface @p unit changed its state in instance @p xstId to @p state (MSTP_PORT_STATE_*).
int32_t sendStpTopoChgTrap(uint32_t xstId, uint32_t unit, uint32_t state);
