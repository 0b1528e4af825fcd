#pragma once

#include <cstdint>

#include "mstp/values.h"

/// Stores five times in whole seconds (hops for the last); the reserved bytes keep what they held.
void mstpTimeCreate(tMstpTime* time, uint8_t messageAge, uint8_t maxAge, uint8_t forwardDelay,
                    uint8_t helloTime, uint8_t remainingHops);
