#include "bench_bridge.h"

#include <cstdio>
#include <cstdlib>

#include "mstp_bridge.h"
#include "mstp_main.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "platform/timer.h"

static constexpr uint64_t TICK = 10'000; // microseconds

// Long enough for two forward delays on every port.
static constexpr uint32_t SETTLING_TICKS = 4000;

static void expect(bool held, const char* what) {
    if (!held) {
        fprintf(stderr, "bench: %s failed\n", what);
        abort();
    }
}

static void set(int32_t (*api)(uint32_t, uint32_t, void*), uint32_t key, uint32_t attribute,
                uint32_t value) {
    expect(api(key, attribute, &value) == 0, "a setting");
}

BenchBridge::BenchBridge(uint32_t ports, uint32_t instances) {
    setenv("MSTP_RUN_DIR", "/nonexistent", 1);
    sim::swapIn(&sw);
    sim::setNow(1'000'000'000);
    sw.recordCalls = false;
    sw.onSend = [](const sim::Frame&) {};
    expect(mstpInit("sw1", 0, 0, 0, 1, static_cast<uint8_t>(instances),
                    static_cast<uint16_t>(ports)) == 0,
           "the start");
    bridge = mstpBridgeGet(1);
    for (uint32_t instance = 0; instance < instances; instance++) {
        set(mstpXstSetApi, instance, MSTP_XST_ROWSTATUS, MSTP_CREATEANDGO);
    }
    mstpBridgeReset(bridge);
    advance(2);
    for (uint32_t i = 0; i < ports; i++) {
        sw.add(FIRST_UNIT + i);
        set(mstpPortSetApi, FIRST_UNIT + i, MSTP_PORT_ADMINNONSTP, MSTP_FALSE);
    }
    advance(SETTLING_TICKS);
}

BenchBridge::~BenchBridge() {
    mstpRelease();
    sim::swapIn(nullptr);
}

void BenchBridge::advance(uint32_t ticks) {
    const uint64_t end = sim::now() + ticks * TICK;
    while (true) {
        const uint32_t next = timerListNextTimeout(&gMstp.timerList);
        const uint64_t due = sim::now() + next * TICK;
        if (next == TIMER_NO_TIMEOUT || due > end) {
            break;
        }
        sim::setNow(due);
        timerListCheck(&gMstp.timerList);
    }
    sim::setNow(end);
}

tMstpPort* BenchBridge::port(uint32_t unit) {
    tMstpPort* found = mstpBridgePortGet(bridge, unit);
    expect(found != nullptr, "finding a port");
    return found;
}

uint64_t poolBytes(uint32_t ports, uint32_t instances) {
    return sizeof(tMstp) + sizeof(tMstpBridge) + ports * sizeof(tMstpPort) +
           instances * sizeof(tMstpXst) + uint64_t{ports} * instances * sizeof(tMstpXstPort);
}
