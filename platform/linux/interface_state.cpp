// The operational state comes from the same kind of message that announces its changes, and is
// judged by the same rule, so that a question and an event never disagree.

#include "interface_state.h"

#include "netlink.h"

namespace platform {

int32_t interfaceOperState(uint32_t ifindex, uint32_t* state) {
    LinkInfo link;
    if (queryLink(ifindex, &link) != 0) {
        return -1;
    }
    *state = linkIsUp(link) ? OPER_STATE_UP : OPER_STATE_DOWN;
    return 0;
}

} // namespace platform
