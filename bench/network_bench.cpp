// What a network of daemons costs: wall time for a virtual second of a ring at rest.

#include <benchmark/benchmark.h>

#include <cstdlib>

#include "mstp_nm.h"
#include "network.h"

namespace {

constexpr uint64_t SECOND = 1'000'000;

void set(int32_t (*api)(uint32_t, uint32_t, void*), uint32_t key, uint32_t attribute,
         uint32_t value) {
    if (api(key, attribute, &value) != 0) {
        abort();
    }
}

// A ring is longer than the default ages allow, so hops and age are at their greatest; beyond that
// each half has a root of its own, which costs the same.
void configure() {
    set(mstpXstSetApi, 0, MSTP_XST_ROWSTATUS, MSTP_CREATEANDGO);
    set(mstpGeneralSetApi, 0, MSTP_GEN_BRIDGEMAXAGE, 4000);
    set(mstpGeneralSetApi, 0, MSTP_GEN_BRIDGEMAXHOPS, 40);
}

void makeRing(sim::Network& network, uint32_t bridges) {
    for (uint32_t i = 0; i < bridges; i++) {
        sim::NodeOptions options;
        options.name = "ring";
        options.mac = {2, 0, 0, 0, static_cast<uint8_t>(i >> 8), static_cast<uint8_t>(i)};
        options.xstLimit = 1;
        options.portLimit = 2;
        network.addNode(options);
    }
    for (uint32_t i = 0; i < bridges; i++) {
        network.addLink({i, 1}, {(i + 1) % bridges, 2});
    }
    for (uint32_t i = 0; i < bridges; i++) {
        network.on(i, [] { configure(); });
    }
    network.run(SECOND);
    for (uint32_t i = 0; i < bridges; i++) {
        network.on(i, [] {
            for (const uint32_t unit : {1U, 2U}) {
                set(mstpPortSetApi, unit, MSTP_PORT_ADMINNONSTP, MSTP_FALSE);
            }
        });
    }
    network.run(60 * SECOND);
}

void virtualSecondOfARing(benchmark::State& state) {
    setenv("MSTP_RUN_DIR", "/nonexistent", 1);
    sim::Network network;
    makeRing(network, static_cast<uint32_t>(state.range(0)));
    for (auto _ : state) {
        network.run(SECOND);
    }
}
BENCHMARK(virtualSecondOfARing)
    ->ArgName("bridges")
    ->Arg(20)
    ->Arg(200)
    ->Arg(1000)
    ->Unit(benchmark::kMillisecond);

} // namespace
