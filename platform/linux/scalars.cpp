// Scalars of a switch that is one Linux system: one control unit, which is always the active one,
// no peer to keep in step, every VLAN there is, and nobody who would refuse a management change.

#include "kernel_bridge.h"
#include "platform/hardware.h"

namespace {

constexpr uint32_t kUnitActive = 1;
constexpr uint32_t kVlanMin = 1;
constexpr uint32_t kVlanMax = 4094;

} // namespace

// The two tests for a peer unit (KEL_HW_PEER_SYNC, KEL_HW_PEER_ABSENT) both fail: nothing is
// mirrored. The daemon asks for the unit's role whenever it is about to send a frame: the kernel is
// brought in step first, so that no agreement leaves before the ports that it speaks for discard.
int32_t kelHwScalarGet(uint32_t /*index*/, uint32_t attribute, void* value) {
    if (attribute != KEL_HW_UNIT_ROLE) {
        return -1;
    }
    platform::settleBridge();
    *static_cast<uint32_t*>(value) = kUnitActive;
    return 0;
}

int32_t kelVlanGetApi(uint32_t vlan, uint32_t attribute, void* /*value*/) {
    return attribute == KEL_VLAN_EXISTS && vlan >= kVlanMin && vlan <= kVlanMax ? 0 : -1;
}

int32_t kelHwScalarSync(uint32_t /*index*/, uint32_t /*attribute*/, void* /*value*/,
                        uint32_t /*flag*/) {
    return 0;
}

int32_t kelHwIfSync(uint32_t /*unit*/, uint32_t /*attribute*/, void* /*value*/, uint32_t /*flag*/) {
    return 0;
}

int32_t kelHwMstpXstSync(uint32_t /*xstId*/, uint32_t /*attribute*/, void* /*value*/,
                         uint32_t /*flag*/) {
    return 0;
}

int32_t kelHwMstpXstPortSync(tMstpXstPortIndex* /*index*/, uint32_t /*attribute*/, void* /*value*/,
                             uint32_t /*flag*/) {
    return 0;
}
