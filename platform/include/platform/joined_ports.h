#pragma once

/// Ports that somebody else gives to the bridge.

#include <cstdint>

enum : int32_t {
    PLATFORM_PORT_TAKEN = 0,
    PLATFORM_PORT_REFUSED = -1,
    PLATFORM_PORT_LATER = 1, ///< the bridge is not running yet
};

/// Has @p callBack called for each interface that is a port of the bridge outside the daemon, at
/// the start and whenever one joins; it answers with one of PLATFORM_PORT_*, and is called again
/// later if it says so. An interface that management takes out of the daemon stays out until it
/// leaves the bridge and joins it again.
///
/// The call comes from within platformSelect, like a timer's call-back from its check. Called by
/// mstpStart. A platform on which management alone says what is a port leaves the function out.
void platformOnPortJoined(int32_t (*callBack)(uint32_t unit)) __attribute__((weak));

/// The daemon is about to let go of the port on interface @p unit in order to take it anew: it is
/// offered once more, as if it had joined, and discards until it is taken. An interface that nobody
/// else gave to the bridge is left alone. Left out like platformOnPortJoined.
void platformOfferPortAgain(uint32_t unit) __attribute__((weak));
