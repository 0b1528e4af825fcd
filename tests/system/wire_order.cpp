// Identifiers, flags and BPDU records are overlaid on frames, so their bytes must stand in wire
// order whatever order the machine has. This program needs nothing but the headers of the records,
// so that it can be compiled for, and run on, a machine of either byte order.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "mstp/bpdu.h"
#include "mstp/values.h"

static int failures;

// Compares the bytes of a record with those that belong on the wire.
template <size_t Size>
static void expectBytes(const char* what, const void* record, const uint8_t (&wire)[Size]) {
    const auto* bytes = static_cast<const uint8_t*>(record);
    for (size_t i = 0; i < Size; i++) {
        if (bytes[i] != wire[i]) {
            printf("%s: byte %zu is %02x, not %02x\n", what, i, bytes[i], wire[i]);
            failures++;
        }
    }
}

static void expectNumber(const char* what, uint32_t value, uint32_t expected) {
    if (value != expected) {
        printf("%s: %u, not %u\n", what, value, expected);
        failures++;
    }
}

// What the compiler can tell without running: layout has no padding and no alignment.
static_assert(offsetof(tMstpBridgeId, systemL) == 1 && offsetof(tMstpBridgeId, mac) == 2);
static_assert(offsetof(tMstpPortId, portNumberL) == 1);
static_assert(offsetof(tMstpTime, messageAge) == 0 && offsetof(tMstpTime, maxAge) == 1);
static_assert(offsetof(tMstpTime, forwardDelay) == 2 && offsetof(tMstpTime, helloTime) == 3);
static_assert(offsetof(tMstpTime, remainingHops) == 4 && offsetof(tMstpTime, reserved) == 5);
static_assert(offsetof(tMstpPriorityVector, extRootPathCost) == 8);
static_assert(offsetof(tMstpPriorityVector, rRootId) == 12);
static_assert(offsetof(tMstpPriorityVector, intRootPathCost) == 20);
static_assert(offsetof(tMstpPriorityVector, designatedBridgeId) == 24);
static_assert(offsetof(tMstpPriorityVector, designatedPortId) == 32);
static_assert(offsetof(tMstpPriorityVector, rcvPortId) == 34);
static_assert(alignof(tMstpBpdu) == 1 && alignof(tMstiBpdu) == 1);
static_assert(alignof(tMstpLegacyBpdu) == 1 && alignof(tMstiLegacyBpdu) == 1);

// The bytes of a constant are known to the compiler in the order of the machine compiled for.
struct tTwoBytes {
    uint8_t bytes[2];
};
static_assert(std::bit_cast<tTwoBytes>(mstpBig16(0x8001)).bytes[0] == 0x80);
static_assert(std::bit_cast<tTwoBytes>(mstpBig16(0x8001)).bytes[1] == 0x01);

struct tFourBytes {
    uint8_t bytes[4];
};
static_assert(std::bit_cast<tFourBytes>(mstpBig32(0x01020304)).bytes[0] == 0x01);
static_assert(std::bit_cast<tFourBytes>(mstpBig32(0x01020304)).bytes[1] == 0x02);
static_assert(std::bit_cast<tFourBytes>(mstpBig32(0x01020304)).bytes[2] == 0x03);
static_assert(std::bit_cast<tFourBytes>(mstpBig32(0x01020304)).bytes[3] == 0x04);
static_assert(mstpBig16(mstpBig16(0x1234)) == 0x1234);
static_assert(mstpBig32(mstpBig32(0x12345678)) == 0x12345678);

static tMstpBridgeId bridgeId(uint8_t priority, uint32_t extension) {
    tMstpBridgeId id = {};
    id.priority = priority & 0x0F;
    mstpBridgeIdSetExtension(&id, extension);
    const uint8_t mac[MSTP_MAC_SIZE] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    memcpy(id.mac, mac, MSTP_MAC_SIZE);
    return id;
}

static tMstpPortId portId(uint8_t priority, uint32_t number) {
    tMstpPortId id = {};
    id.priority = priority & 0x0F;
    mstpPortIdSetNumber(&id, number);
    return id;
}

static void checkIdentifiers() {
    const tMstpBridgeId bridge = bridgeId(8, 5);
    expectBytes("bridge identifier", &bridge, {0x80, 0x05, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55});
    const tMstpBridgeId extended = bridgeId(1, 0xABC);
    expectBytes("system ID extension", &extended, {0x1A, 0xBC, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55});
    expectNumber("system ID extension read", mstpBridgeIdExtension(&extended), 0xABC);
    const tMstpBridgeId cut = bridgeId(15, 0x1002);
    expectBytes("system ID extension cut", &cut, {0xF0, 0x02});

    const tMstpPortId port = portId(8, 0x123);
    expectBytes("port identifier", &port, {0x81, 0x23});
    const tMstpPortId high = portId(15, 0xFFFF);
    expectBytes("port number cut", &high, {0xFF, 0xFF});
    expectNumber("port number read", mstpPortIdNumber(&high), 0xFFF);
    const tMstpPortId wrapped = portId(0, 0x1001);
    expectBytes("port number wrapped", &wrapped, {0x00, 0x01});
}

static uint8_t flagByte(void (*set)(tMstpBpduFlag*)) {
    tMstpBpduFlag flag = {};
    set(&flag);
    return mstpFlagByte(flag);
}

static void checkFlags() {
    expectNumber("topologyChange", flagByte([](tMstpBpduFlag* f) { f->topologyChange = 1; }), 0x01);
    expectNumber("proposal", flagByte([](tMstpBpduFlag* f) { f->proposal = 1; }), 0x02);
    expectNumber("portRole 1", flagByte([](tMstpBpduFlag* f) { f->portRole = 1; }), 0x04);
    expectNumber("portRole 2", flagByte([](tMstpBpduFlag* f) { f->portRole = 2; }), 0x08);
    expectNumber("learning", flagByte([](tMstpBpduFlag* f) { f->learning = 1; }), 0x10);
    expectNumber("forwarding", flagByte([](tMstpBpduFlag* f) { f->forwarding = 1; }), 0x20);
    expectNumber("agreement", flagByte([](tMstpBpduFlag* f) { f->agreement = 1; }), 0x40);
    expectNumber("master", flagByte([](tMstpBpduFlag* f) { f->master = 1; }), 0x80);
    expectNumber("portRole read", mstpFlagFromByte(MSTP_FLAG_ROLE_DESIGNATED).portRole, 3);
}

static void checkMstBpdu() {
    static tMstpBpdu bpdu;
    bpdu.protocolVersionId = 3;
    bpdu.bpduType = 0x02;
    bpdu.flag = mstpFlagFromByte(0x7C);
    bpdu.rootId = bridgeId(4, 0);
    bpdu.externalPathCost = mstpBig32(200000);
    bpdu.portId = portId(8, 1);
    bpdu.maxAge = mstpBig16(0x1400);
    bpdu.version3Length = mstpBig16(80);
    bpdu.interalPathCost = mstpBig32(0x01020304);
    bpdu.bridgeId = bridgeId(8, 0);
    bpdu.remainingHops = 20;
    bpdu.mstiBpdus[0].flag = mstpFlagFromByte(0x80);
    bpdu.mstiBpdus[0].regionalRootId = bridgeId(2, 1);
    bpdu.mstiBpdus[0].internalRootPathCost = mstpBig32(0xA0B0C0D0);
    bpdu.mstiBpdus[0].bridgePriority = 0x20;
    bpdu.mstiBpdus[0].portPriority = 0x80;
    bpdu.mstiBpdus[0].remainingHops = 19;

    const auto* bytes = reinterpret_cast<const uint8_t*>(&bpdu);
    expectBytes(
        "MST BPDU head", bytes,
        {0, 0, 3, 2, 0x7C, 0x40, 0, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x00, 0x03, 0x0D, 0x40});
    expectBytes("MST BPDU port", bytes + 25, {0x80, 0x01, 0, 0, 0x14, 0x00});
    expectBytes("MST BPDU version 3 length", bytes + 36, {0, 80});
    expectBytes("MST BPDU internal cost", bytes + 89, {1, 2, 3, 4, 0x80, 0, 0, 0x11});
    expectBytes("MST BPDU hops", bytes + 101,
                {20, 0x80, 0x20, 0x01, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0xA0, 0xB0, 0xC0, 0xD0,
                 0x20, 0x80, 19});
}

static void checkLegacyBpdu() {
    static tMstpLegacyBpdu bpdu;
    bpdu.portId = portId(8, 2);
    bpdu.version3Length = mstpBig16(0x1234);
    bpdu.interalPathCost = mstpBig32(0x01020304);
    bpdu.remainingHops = 20;
    bpdu.mstiBpdus[0].mstiId = 7;
    bpdu.mstiBpdus[0].internalRootPathCost = mstpBig32(5);
    bpdu.mstiBpdus[0].bridgeId = bridgeId(8, 7);
    bpdu.mstiBpdus[0].portId = portId(4, 3);

    const auto* bytes = reinterpret_cast<const uint8_t*>(&bpdu);
    expectBytes("pre-standard port", bytes + 25, {0x80, 0x02});
    expectBytes("pre-standard length", bytes + 37, {0x12, 0x34});
    expectBytes("pre-standard cost", bytes + 97, {1, 2, 3, 4, 20});
    expectBytes("pre-standard record", bytes + 103, {7});
    expectBytes("pre-standard record cost", bytes + 113,
                {0, 0, 0, 5, 0x80, 7, 0, 0x11, 0x22, 0x33, 0x44, 0x55, 0x40, 3});
}

int main() {
    checkIdentifiers();
    checkFlags();
    checkMstBpdu();
    checkLegacyBpdu();
    const bool little = std::endian::native == std::endian::little;
    printf("%s-endian: %s\n", little ? "little" : "big", failures == 0 ? "passed" : "FAILED");
    return failures == 0 ? 0 : 1;
}
