// Management requests to a running bridge, one after another, with time passing between them. Each
// lies in memory of its exact size; its reply must have its length and leave alone whatever a reply
// does not rewrite, and afterwards the bridge must make sense. See requests.h for the input's form.

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "check.h"
#include "invariants.h"
#include "mstp_command_server.h"
#include "platform/adr.h"
#include "requests.h"
#include "running_bridge.h"
#include "steps.h"

using Bytes = std::vector<uint8_t>;

static constexpr uint64_t MAX_TICKS = 5'000;
static constexpr uint32_t MAX_REQUESTS = 200;
static constexpr size_t HEADER_SIZE = 20; // up to the index section
static constexpr size_t RETCODE_END = ADR_OFFSET_RETCODE + 4;

static uint32_t big32(const Bytes& bytes, size_t offset) {
    return static_cast<uint32_t>(bytes[offset]) << 24 |
           static_cast<uint32_t>(bytes[offset + 1]) << 16 |
           static_cast<uint32_t>(bytes[offset + 2]) << 8 | bytes[offset + 3];
}

static bool same(const Bytes& first, const Bytes& second, size_t begin, size_t end) {
    return std::equal(first.begin() + static_cast<ptrdiff_t>(begin),
                      first.begin() + static_cast<ptrdiff_t>(end),
                      second.begin() + static_cast<ptrdiff_t>(begin));
}

static bool isGet(uint32_t function) {
    return function == MSTP_GEN_GETAPI || function == MSTP_PORT_GETAPI ||
           function == MSTP_XST_GETAPI || function == MSTP_XSTPORT_GETAPI;
}

// Removing VLANs strikes those that the instance does not hold from the request's own list.
static bool strikesVlans(const Bytes& request) {
    const uint32_t function = big32(request, 8);
    return (function == MSTP_XST_SETAPI || function == MSTP_XST_SYNCAPI) &&
           big32(request, 16) == MSTP_XST_VLANLISTDEL;
}

static size_t valueOffset(const Bytes& request) {
    return request[21] == 2 ? 36 : 29;
}

// The reply repeats the request but for the result, and on success the value that was asked for.
static void checkReply(const Bytes& request, const Bytes& reply) {
    const uint32_t function = big32(request, 8);
    CHECK(function >= MSTP_GEN_GETAPI && function <= MSTP_XSTPORT_GETNEXT);
    CHECK(same(request, reply, 0, ADR_OFFSET_RETCODE));
    CHECK(same(request, reply, RETCODE_END, valueOffset(request)));
    const bool answers = isGet(function) || function >= MSTP_PORT_GETFIRST;
    const bool rewritten = answers ? big32(reply, ADR_OFFSET_RETCODE) == 0 : strikesVlans(request);
    CHECK(rewritten || same(request, reply, valueOffset(request), request.size()));
}

static void serve(Bytes request) {
    request.shrink_to_fit();
    const Bytes before = request;
    const auto length = static_cast<int32_t>(request.size());
    const int32_t replied = mstpCmdProcess(request.data(), length, nullptr);
    CHECK(replied == 0 || replied == length);
    if (replied == 0) {
        CHECK(request == before);
    } else {
        CHECK(request.size() >= HEADER_SIZE);
        checkReply(before, request);
    }
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    // What the daemon says of bad requests would fill the log.
    CHECK(freopen("/dev/null", "w", stdout) != nullptr);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    RunningBridge running;
    steps::Reader input(data, size);
    for (uint32_t i = 0; i < MAX_REQUESTS && !input.done() && running.elapsed() < MAX_TICKS; i++) {
        running.sw.forget();
        const uint32_t high = input.byte();
        if (high >= requests::FIRST_WAIT) {
            running.wait(steps::WAITS[high % 8]);
        } else {
            serve(input.bytes((high << 8 | input.byte()) % (MSTP_CMD_SIZE + 1)));
        }
        checkEverything(running);
    }
    return 0;
}
