// What one daemon costs: a pass of its machines, a BPDU, a timer, a digest, its memory.

#include <benchmark/benchmark.h>

#include <cstring>

#include "bench_bridge.h"
#include "mstp/bpdu.h"
#include "mstp_bpdu.h"
#include "mstp_bridge.h"
#include "mstp_io.h"
#include "mstp_xst.h"
#include "platform/timer.h"
#include "test_bpdu.h"

namespace {

uint32_t argument(const benchmark::State& state, size_t number) {
    return static_cast<uint32_t>(state.range(number));
}

void grid(benchmark::internal::Benchmark* benchmark) {
    benchmark->ArgNames({"ports", "instances"});
    for (const int64_t ports : {4, 16, 64, 256}) {
        for (const int64_t instances : {1, 8, 64}) {
            benchmark->Args({ports, instances});
        }
    }
    benchmark->Unit(benchmark::kMicrosecond);
}

// One pass of the driver over a bridge on which nothing changes.
void driverPassAtRest(benchmark::State& state) {
    BenchBridge bench(argument(state, 0), argument(state, 1));
    for (auto _ : state) {
        mstpBridgeFSM(bench.bridge);
    }
    state.counters["pool bytes"] =
        static_cast<double>(poolBytes(argument(state, 0), argument(state, 1)));
}
BENCHMARK(driverPassAtRest)->Apply(grid);

testbpdu::Bytes bpduFor(const benchmark::State& state) {
    return testbpdu::mst(argument(state, 1) - 1);
}

// The same BPDU of the root port's neighbour over and over, and the pass that follows it.
void bpduThatChangesNothing(benchmark::State& state) {
    BenchBridge bench(argument(state, 0), argument(state, 1));
    const testbpdu::Bytes bpdu = bpduFor(state);
    tMstpPort* port = bench.port(BenchBridge::FIRST_UNIT);
    for (auto _ : state) {
        mstpInput(port, bpdu.data(), static_cast<uint32_t>(bpdu.size()));
        mstpBridgeFSM(bench.bridge);
    }
}
BENCHMARK(bpduThatChangesNothing)->Apply(grid);

// BPDUs that name one root and another by turns, and the pass that follows each.
void bpduThatChangesTheRoot(benchmark::State& state) {
    BenchBridge bench(argument(state, 0), argument(state, 1));
    testbpdu::Bytes bpdus[] = {bpduFor(state), bpduFor(state)};
    static constexpr size_t ROOT_PRIORITY = 5;
    bpdus[1][ROOT_PRIORITY] = 0x10;
    tMstpPort* port = bench.port(BenchBridge::FIRST_UNIT);
    const auto receive = [&](const testbpdu::Bytes& bpdu) {
        mstpInput(port, bpdu.data(), static_cast<uint32_t>(bpdu.size()));
        mstpBridgeFSM(bench.bridge);
    };
    // To that of the BPDU, or to the bridge's own where the neighbour has become worse.
    const tMstpXst* cist = mstpXstGet(bench.bridge, 0);
    for (const testbpdu::Bytes& bpdu : {bpdus[0], bpdus[1], bpdus[0], bpdus[1], bpdus[0]}) {
        const tMstpBridgeId before = cist->rootPriority.rootId;
        receive(bpdu);
        if (memcmp(&cist->rootPriority.rootId, &before, sizeof before) == 0) {
            state.SkipWithError("a BPDU did not change the root");
            return;
        }
    }
    size_t turn = 1;
    for (auto _ : state) {
        receive(bpdus[turn++ % 2]);
    }
}
BENCHMARK(bpduThatChangesTheRoot)->Apply(grid);

void parse(benchmark::State& state) {
    const testbpdu::Bytes bytes = testbpdu::mst(argument(state, 0));
    tMstpBpdu bpdu;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            mstpParse(&bpdu, bytes.data(), static_cast<uint32_t>(bytes.size())));
        benchmark::ClobberMemory();
    }
}
BENCHMARK(parse)->ArgName("mstis")->Arg(0)->Arg(7)->Arg(63);

void digest(benchmark::State& state) {
    BenchBridge bench(1, argument(state, 0));
    for (auto _ : state) {
        mstpBridgeDigest(bench.bridge);
    }
}
BENCHMARK(digest)->ArgName("instances")->Arg(1)->Arg(64);

void nothing(void*, void*, void*) {}

// Starts and stops one timer while others are armed, spread over a minute.
void timerStartAndStop(benchmark::State& state) {
    static constexpr uint32_t SPREAD = 6000;
    tTimerLst list = {};
    if (timerListInit(&list) != 0) {
        state.SkipWithError("no timer list");
        return;
    }
    std::vector<tTimerNode> armed(argument(state, 0));
    for (size_t i = 0; i < armed.size(); i++) {
        timerStart(&list, &armed[i], static_cast<uint32_t>(i * 7919 % SPREAD) + 1, nothing, nullptr,
                   nullptr, nullptr);
    }
    tTimerNode node = {};
    uint32_t ticks = 0;
    for (auto _ : state) {
        ticks = ticks % SPREAD + 1;
        timerStart(&list, &node, ticks, nothing, nullptr, nullptr, nullptr);
        timerStop(&list, &node);
    }
    timerListRelease(&list);
}
BENCHMARK(timerStartAndStop)->ArgName("armed")->Arg(100)->Arg(1000)->Arg(10000)->Arg(65000);

} // namespace
