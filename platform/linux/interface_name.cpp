// Interfaces are named by the kernel. The name is asked for afresh each time, since an interface
// may be renamed while it is a port.

#include <cstdio>

#include "interface_request.h"
#include "platform/interfaces.h"

int32_t kelIfUnit2Name(uint32_t unit, char* name) {
    char found[IFNAMSIZ];
    if (!platform::interfaceName(unit, found)) {
        snprintf(name, KEL_IF_NAME_SIZE, "%u", unit);
        return -1;
    }
    snprintf(name, KEL_IF_NAME_SIZE, "%s", found);
    return 0;
}
