// A running bridge that hears frames, is configured and sees time pass, as the input says; after
// every step its records, its timers, its hardware and what it sent must make sense. See steps.h
// for the input's form.

#include <cstring>

#include "check.h"
#include "invariants.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "running_bridge.h"
#include "steps.h"

// Enough for every timer to expire several times; an input that waits on and on finds nothing new.
static constexpr uint64_t MAX_TICKS = 20'000;

static constexpr uint32_t HUNDREDTHS = 100;

// Attributes whose value is a number, by kind.
static bool isNumber(uint8_t kind, uint32_t attribute) {
    if (kind == steps::GENERAL) {
        return attribute != MSTP_GEN_CFGIDNAME && attribute != MSTP_GEN_CFGIDDIGEST &&
               attribute != MSTP_GEN_BRIDGEMAC &&
               (attribute < MSTP_GEN_SYNC || attribute > MSTP_GEN_FASTMAPSETXSTS);
    }
    return kind != steps::XST ||
           (attribute != MSTP_XST_VLANLIST && attribute != MSTP_XST_VLANLISTDEL);
}

static uint32_t scaled(uint8_t kind, uint32_t attribute, uint32_t value) {
    if (kind == steps::GENERAL) {
        switch (attribute) {
        case MSTP_GEN_BRIDGEMAXAGE:
        case MSTP_GEN_BRIDGEHELLOTIME:
        case MSTP_GEN_BRIDGEFORWARDDELAY:
        case MSTP_GEN_MIGRATETIME:
        case MSTP_GEN_TCHOLDOFFTIMER:
            return value * HUNDREDTHS;
        case MSTP_GEN_DEBUG:
            return value * 0x01010101U;
        case MSTP_GEN_FORCEVERSION:
            return value % MSTP_FORCE_UNKNOWN;
        default:
            return value;
        }
    }
    return kind == steps::XST && attribute == MSTP_XST_BRIDGEPRIORITY ? value << 8 : value;
}

static void setLink(RunningBridge& running, uint32_t unit, bool up) {
    running.sw.add(unit).up = up;
    tMstpPort* port = mstpBridgePortGet(running.bridge, unit);
    if (port != nullptr) {
        up ? mstpPortLinkUp(port) : mstpPortLinkDown(port);
    }
}

static void change(RunningBridge& running, uint8_t kind, steps::Reader& input) {
    const uint32_t attribute = input.byte();
    const uint8_t target = input.byte();
    const uint32_t unit = 1 + target % 2;
    uint32_t value = scaled(kind, attribute, input.byte());
    if (!isNumber(kind, attribute)) {
        return;
    }
    switch (kind) {
    case steps::GENERAL:
        mstpGeneralSetApi(0, attribute, &value);
        return;
    case steps::PORT:
        mstpPortSetApi(unit, attribute, &value);
        return;
    case steps::XST:
        mstpXstSetApi(target % 4, attribute, &value);
        return;
    case steps::XST_PORT: {
        tMstpXstPortIndex index = {static_cast<uint32_t>(target / 2 % 4), unit};
        mstpXstPortSetApi(&index, attribute, &value);
        return;
    }
    default:
        setLink(running, unit, value % 2 != 0);
    }
}

static void step(RunningBridge& running, steps::Reader& input) {
    const uint8_t first = input.byte();
    if (first >= steps::FIRST_WAIT) {
        running.wait(steps::WAITS[first % 8]);
        return;
    }
    if (first >= steps::FIRST_SETTING) {
        change(running, first % 8, input);
        return;
    }
    running.wait(steps::WAITS[first / 2 % 8]);
    const uint32_t high = input.byte();
    const uint32_t length = high << 8 | input.byte();
    const ReceivedBefore before = countReceived(running);
    running.receive(1 + first % 2, input.bytes(length));
    checkReceived(running, before);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    RunningBridge running;
    CHECK(memcmp(running.bridge->cfgIdDigest, steps::DIGEST, sizeof steps::DIGEST) == 0);
    checkEverything(running);
    steps::Reader input(data, size);
    while (!input.done() && running.elapsed() < MAX_TICKS) {
        running.sw.forget();
        step(running, input);
        checkEverything(running);
    }
    return 0;
}
