// The parser over raw bytes, under four instance limits. The input and the record lie in memory of
// their exact size, so that the address sanitizer sees every access outside of them.

#include <algorithm>
#include <memory>
#include <vector>

#include "check.h"
#include "mstp/context.h"
#include "mstp_bpdu.h"
#include "sim_platform.h"

static constexpr uint32_t WIRE_SIZE = MSTP_MST_BPDU_SIZE + MSTP_MSTI_BPDU_MAX * 16;

static void checkTimes(const tMstpBpdu& bpdu) {
    CHECK(mstpBig16(bpdu.messageAge) < 256);
    CHECK(mstpBig16(bpdu.maxAge) < 256);
    CHECK(mstpBig16(bpdu.helloTime) < 256);
    CHECK(mstpBig16(bpdu.forwardDelay) < 256);
}

static void checkKind(const tMstpBpdu& bpdu, uint32_t received) {
    switch (mstpBig16(bpdu.protocolType)) {
    case MSTP_PROTOCOL_TYPE_TCN:
        CHECK(bpdu.bpduType == MSTP_BPDU_TCN && received >= 4);
        return;
    case MSTP_PROTOCOL_TYPE_CONFIG:
        CHECK(bpdu.bpduType == MSTP_BPDU_CONFIG && received >= 35);
        break;
    case MSTP_PROTOCOL_TYPE_RSTP:
        CHECK(bpdu.bpduType == MSTP_BPDU_RST && received >= 36);
        CHECK(bpdu.protocolVersionId >= 2);
        break;
    case MSTP_PROTOCOL_TYPE_MSTP:
        CHECK(bpdu.bpduType == MSTP_BPDU_RST && received >= 102);
        CHECK(bpdu.protocolVersionId >= 3 && bpdu.version1Length == 0);
        CHECK(mstpBig16(bpdu.version3Length) == 64 + 16 * mstpBig16(bpdu.mstiCount));
        break;
    default:
        CHECK(mstpBig16(bpdu.protocolType) <= MSTP_PROTOCOL_TYPE_TCN);
    }
    checkTimes(bpdu);
}

// What was not received reads as zero, and nothing but MST BPDUs has MSTI messages.
static void checkRest(const tMstpBpdu& bpdu, uint32_t received) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(&bpdu);
    CHECK(std::all_of(bytes + std::max(received, 35U), bytes + WIRE_SIZE,
                      [](uint8_t byte) { return byte == 0; }));
    CHECK(mstpBig16(bpdu.mstiCount) < MSTP_MSTI_BPDU_MAX);
    CHECK(bpdu.mstiCount == 0 || bpdu.protocolType == mstpBig16(MSTP_PROTOCOL_TYPE_MSTP));
}

static void parse(const std::vector<uint8_t>& input, uint8_t xstLimit, uint32_t debug) {
    gMstp.xstLimit = xstLimit;
    gMstp.debug = debug;
    const auto bpdu = std::make_unique<tMstpBpdu>();
    const auto length = static_cast<uint32_t>(input.size());
    const uint32_t received = std::min({length, 16U * xstLimit + 102U, WIRE_SIZE});
    const int32_t result = mstpParse(bpdu.get(), input.data(), length);
    CHECK(result == 0 || result == -1);
    if (result == 0) {
        CHECK(bpdu->protocolId == 0);
        checkKind(*bpdu, received);
    }
    checkRest(*bpdu, received);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static sim::Switch sw;
    sim::swapIn(&sw);
    std::vector<uint8_t> input(data, data + size);
    input.shrink_to_fit();
    if (input.empty()) {
        return 0;
    }
    parse(input, 64, 0);
    parse(input, 0, MSTP_DEBUG_REFUSAL);
    parse(input, 3, 0);
    parse(input, 255, 0);
    sw.forget();
    return 0;
}
