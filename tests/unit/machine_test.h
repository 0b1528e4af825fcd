#pragma once

/// For tests of one machine: a bridge whose driver keeps still, with one enabled port, so that
/// nothing but the test runs a machine.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "mstp_port_timers_state_machine.h"
#include "test_bridge.h"

class MachineTest : public testing::Test {
  protected:
    MachineTest() : port(bridge.addUpPort(1)), cist(mstpCistPort(port)) { keepStill(); }

    /// Stops every timer that would run the driver while a test moves time. A counter that the test
    /// itself loads still runs out, and posts the driver for the tick after.
    void keepStill() {
        stop({&bridge.bridge->oneSecondTimer, &gMstp.msgTimer});
        for (tMstpPort* each : portsOf(bridge.bridge)) {
            stop({&each->helloWhenTimer, &each->mdelayWhileTimer, &each->edgeDelayWhileTimer});
            for (tMstpXstPort* xstPort : xstPortsOf(each)) {
                stop({&xstPort->tcWhileTimer, &xstPort->fdWhileTimer, &xstPort->rcvdInfoWhileTimer,
                      &xstPort->rrWhileTimer, &xstPort->rbWhileTimer});
            }
        }
        bridge.bridge->event = 0;
    }

    /// Adds an instance that the port takes part in. @return the port's record in it
    tMstpXstPort* addInstance(uint32_t xstId) {
        bridge.addInstance(xstId);
        keepStill();
        return bridge.xstPort(xstId, port->unit);
    }

    tMstpPort* addPort(uint32_t unit) {
        tMstpPort* added = bridge.addUpPort(unit);
        keepStill();
        return added;
    }

    /// What @p run traces under the bits of @p mask.
    std::vector<std::string> traced(uint32_t mask, const std::function<void()>& run) {
        bridge.trace(mask);
        run();
        gMstp.debug = 0;
        return bridge.sw.traces;
    }

    TestBridge bridge;
    tMstpPort* port;
    tMstpXstPort* cist;

  private:
    static void stop(std::initializer_list<tTimerNode*> timers) {
        for (tTimerNode* timer : timers) {
            timerStop(&gMstp.timerList, timer);
        }
    }
};

/// A record byte for byte, to see whether anything in it has changed.
template <typename Record> std::string bytesOf(const Record& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

/// A counter and its node as mstpLoadCounter leaves them: @p seconds to go, then 0 and @p event.
inline void expectLoaded(TestBridge& bridge, const uint8_t& counter, const tTimerNode& node,
                         uint8_t seconds, uint32_t event) {
    EXPECT_EQ(counter, seconds);
    EXPECT_EQ(timerRemain(&node), seconds * 100);
    bridge.bridge->event = 0;
    bridge.advance(seconds * 100U - 1);
    EXPECT_EQ(counter, seconds);
    bridge.advance(1);
    EXPECT_EQ(counter, 0);
    EXPECT_EQ(bridge.bridge->event, event);
}
