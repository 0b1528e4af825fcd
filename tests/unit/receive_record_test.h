#pragma once

/// For tests of what a port adopts from a message: a point-to-point port that hears from outside.

#include <vector>

#include "machine_test.h"

/// A port in the CIST and in instances 1 and 2, and another port in the same instances.
class ReceiveRecordTest : public MachineTest {
  protected:
    ReceiveRecordTest() {
        msti1 = addInstance(1);
        msti2 = addInstance(2);
        others = addPort(2);
        port->rcvdInternal = 0;
        port->operPointToPointMAC = 1;
        port->rstpVersion = 1;
    }

    static void hear(tMstpXstPort* xstPort, uint8_t flags) {
        xstPort->msgFlag = mstpFlagFromByte(flags);
    }

    /// A flag of the CIST's record and of the two MSTIs'.
    std::vector<int> all(uint8_t tMstpXstPort::*flag) const {
        return {cist->*flag, msti1->*flag, msti2->*flag};
    }

    /// The same on the other port, of which nothing is said.
    std::vector<int> allOfOther(uint8_t tMstpXstPort::*flag) const {
        const tMstpXstPort* records = others->xstPorts;
        return {records[0].*flag, records[1].*flag, records[2].*flag};
    }

    /// Gives a flag the same value in all records of both ports.
    void setAll(uint8_t tMstpXstPort::*flag, uint8_t value) {
        for (tMstpPort* each : {port, others}) {
            for (uint32_t i = 0; i < 3; i++) {
                each->xstPorts[i].*flag = value;
            }
        }
    }

    tMstpXstPort* msti1;
    tMstpXstPort* msti2;
    tMstpPort* others;
};
