#pragma once

/// A daemon on the simulated platform, for unit tests: started through mstpInit, with the CIST
/// running, instances and ports added as a test needs them. Time is virtual and stands still until
/// a test moves it. What start-up recorded is forgotten, so tests see only their own calls.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "mstp/bpdu.h"
#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_main.h"
#include "mstp_port.h"
#include "mstp_xst.h"
#include "sim_platform.h"

struct TestBridgeOptions {
    const char* name = "sw1";
    uint8_t bridgeLimit = 1;
    uint8_t xstLimit = 8;
    uint16_t portLimit = 8;
    bool withCist = true;
};

class TestBridge {
  public:
    explicit TestBridge(TestBridgeOptions options = {}) {
        static const std::string folder = makeRunFolder();
        setenv("MSTP_RUN_DIR", folder.c_str(), 1);
        sim::swapIn(&sw);
        sim::setNow(1'000'000'000);
        mstpTimeProcessEnable = 0;
        mstpRestoring = 0;
        const int32_t result = mstpInit(options.name, 0, 0, 0, options.bridgeLimit,
                                        options.xstLimit, options.portLimit);
        EXPECT_EQ(result, 0);
        bridge = mstpBridgeGet(1);
        if (options.withCist && bridge != nullptr) {
            addInstance(0);
        }
        sw.forget();
    }

    ~TestBridge() {
        mstpRelease();
        sim::swapIn(nullptr);
    }

    TestBridge(const TestBridge&) = delete;
    TestBridge& operator=(const TestBridge&) = delete;

    /// Adds and initialises an instance; ports that exist become members.
    tMstpXst* addInstance(uint32_t xstId) {
        tMstpXst* xst = mstpXstAdd(bridge, xstId);
        xst->rowStatus = MSTP_ACTIVE;
        mstpXstInit(xst);
        return xst;
    }

    /// Adds an interface whose link is up and makes it a port, enabled and initialised.
    tMstpPort* addUpPort(uint32_t unit) {
        sw.add(unit).up = true;
        return addPort(unit);
    }

    tMstpPort* addDownPort(uint32_t unit) {
        sw.add(unit).up = false;
        return addPort(unit);
    }

    tMstpXst* xst(uint32_t xstId) { return mstpXstGet(bridge, xstId); }
    tMstpPort* port(uint32_t unit) { return mstpBridgePortGet(bridge, unit); }
    tMstpXstPort* xstPort(uint32_t xstId, uint32_t unit) {
        return mstpXstPortGet(xst(xstId), unit);
    }

    /// Moves time and runs the timers that come due, each at its own time.
    void advance(uint32_t ticks) {
        const uint64_t end = sim::now() + static_cast<uint64_t>(ticks) * 10'000;
        while (true) {
            const uint32_t next = timerListNextTimeout(&gMstp.timerList);
            const uint64_t due = sim::now() + static_cast<uint64_t>(next) * 10'000;
            if (next == TIMER_NO_TIMEOUT || due > end) {
                break;
            }
            sim::setNow(due);
            timerListCheck(&gMstp.timerList);
        }
        sim::setNow(end);
    }

    /// Sets the debug mask and forgets what was traced before.
    void trace(uint32_t bits) {
        gMstp.debug = bits;
        sw.traces.clear();
        sw.debugOutput.clear();
    }

    sim::Switch sw;
    tMstpBridge* bridge = nullptr;

  private:
    static std::string makeRunFolder() {
        char folder[] = "/tmp/mstp-test-XXXXXX";
        const char* made = mkdtemp(folder);
        static std::string path = made != nullptr ? made : "/tmp";
        atexit([] {
            unlink((path + "/mstpCmd.restore").c_str());
            rmdir(path.c_str());
        });
        return path;
    }

    tMstpPort* addPort(uint32_t unit) {
        tMstpPort* added = mstpBridgePortAdd(bridge, unit);
        if (added != nullptr) {
            added->portEnabled = 1;
            mstpBridgePortInit(added);
        }
        return added;
    }
};
