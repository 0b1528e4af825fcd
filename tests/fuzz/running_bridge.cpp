#include "running_bridge.h"

#include <cstdlib>

#include "check.h"
#include "mstp/context.h"
#include "mstp_bridge.h"
#include "mstp_nm.h"
#include "mstp_xst.h"

static constexpr uint64_t TICK = 10'000; // microseconds

// Zero-tick timers make the loop go round without time passing. It must not go on like that.
static constexpr uint32_t MAX_ROUNDS_AT_ONE_TIME = 1000;

static void set(int32_t (*api)(uint32_t, uint32_t, void*), uint32_t key, uint32_t attribute,
                uint32_t value) {
    CHECK(api(key, attribute, &value) == 0);
}

static void addInstance(tMstpBridge* bridge, uint32_t xstId, uint32_t vlan) {
    set(mstpXstSetApi, xstId, MSTP_XST_ROWSTATUS, MSTP_CREATEANDGO);
    if (vlan != 0) {
        uint8_t list[MSTP_VLAN_LIST_SIZE] = {};
        bitListSet(list, vlan - 1);
        octetstring octets = {reinterpret_cast<int8_t*>(list), (vlan + 7) / 8};
        CHECK(mstpXstSetApi(xstId, MSTP_XST_VLANLIST, &octets) == 0);
    }
    CHECK(mstpXstGet(bridge, xstId) != nullptr);
}

RunningBridge::RunningBridge() {
    setenv("MSTP_RUN_DIR", "/nonexistent", 1);
    sim::swapIn(&sw);
    sim::setNow(1'000'000'000);
    m_start = sim::now();
    mstpTimeProcessEnable = 0;
    mstpRestoring = 0;
    sw.recordCalls = false;
    CHECK(mstpInit("sw1", 0, 0, 0, 1, 8, 4) == 0);
    mstpLoopInit(m_loop.get());
    bridge = mstpBridgeGet(1);
    addInstance(bridge, 0, 0);
    addInstance(bridge, 1, 10);
    addInstance(bridge, 2, 20);
    for (const uint32_t unit : {1U, 2U}) {
        sw.add(unit);
        set(mstpPortSetApi, unit, MSTP_PORT_ADMINNONSTP, MSTP_FALSE);
    }
    mstpBridgeReset(bridge);
    wait(10);
}

RunningBridge::~RunningBridge() {
    mstpRelease();
    sim::swapIn(nullptr);
}

void RunningBridge::iterate() {
    const int32_t ready = mstpLoopWait(m_loop.get());
    mstpLoopServe(m_loop.get(), ready);
}

void RunningBridge::wait(uint32_t ticks) {
    const uint64_t end = sim::now() + ticks * TICK;
    uint32_t rounds = 0;
    while (true) {
        const uint32_t next = timerListNextTimeout(&gMstp.timerList);
        const uint64_t due = sim::now() + next * TICK;
        if (next == TIMER_NO_TIMEOUT || due > end) {
            break;
        }
        rounds = next == 0 ? rounds + 1 : 0;
        CHECK(rounds < MAX_ROUNDS_AT_ONE_TIME);
        sim::setNow(due);
        iterate();
    }
    sim::setNow(end);
}

void RunningBridge::receive(uint32_t unit, std::vector<uint8_t> frame) {
    sim::Frame received;
    received.unit = unit;
    received.bytes = std::move(frame);
    sw.received.push_back(std::move(received));
    iterate();
}

uint64_t RunningBridge::elapsed() const {
    return (sim::now() - m_start) / TICK;
}
