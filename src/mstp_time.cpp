// Times, IEEE 802.1Q-2005 13.23 and 13.24. Times travel with the priority vectors: the root's times
// rule the whole tree, and within a region the hop count does what the message age does outside.
// Two records of times are compared as bytes, so the reserved bytes must stay what they were.

#include "mstp_time.h"

void mstpTimeCreate(tMstpTime* time, uint8_t messageAge, uint8_t maxAge, uint8_t forwardDelay,
                    uint8_t helloTime, uint8_t remainingHops) {
    time->messageAge = messageAge;
    time->maxAge = maxAge;
    time->forwardDelay = forwardDelay;
    time->helloTime = helloTime;
    time->remainingHops = remainingHops;
}
