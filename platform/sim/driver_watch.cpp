// Tells whoever watches a switch of its daemon's driver passes and of the work posted to its loop.
// The linker's --wrap hands the core's calls here; what the core does stays the same.

#include "mstp/context.h"
#include "sim_platform.h"

extern "C" {

void __real__Z13mstpBridgeFSMP11tMstpBridge(tMstpBridge* bridge);
int32_t __real__Z11mstpSendMsgj(uint32_t type);

void __wrap__Z13mstpBridgeFSMP11tMstpBridge(tMstpBridge* bridge) {
    if (sim::here().onPass) {
        sim::here().onPass(bridge->event);
    }
    __real__Z13mstpBridgeFSMP11tMstpBridge(bridge);
}

int32_t __wrap__Z11mstpSendMsgj(uint32_t type) {
    if (sim::here().onPost) {
        sim::here().onPost(gMstp.bridges != nullptr ? gMstp.bridges[0].event : 0);
    }
    return __real__Z11mstpSendMsgj(type);
}
}
