// Time comes from the kernel's monotonic clock: setting the time of day must not fire, or hold up,
// a protocol timer.

#include <ctime>

#include "platform/timer.h"

uint64_t platformClock() {
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000000U +
           static_cast<uint64_t>(now.tv_nsec) / 1000U;
}
