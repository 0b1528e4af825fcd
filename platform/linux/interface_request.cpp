// Device requests go through one socket that is opened with the first of them and stays. Its family
// does not matter, as every socket passes requests that it does not know to the network devices of
// its namespace; a local socket is there on every system.

#include "interface_request.h"

#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstring>

namespace {

int32_t gDeviceSocket = -1;

} // namespace

namespace platform {

int32_t deviceRequest(unsigned long request, ifreq* argument) {
    if (gDeviceSocket < 0) {
        gDeviceSocket = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    }
    return ioctl(gDeviceSocket, request, argument);
}

bool interfaceName(uint32_t ifindex, char (&name)[IFNAMSIZ]) {
    ifreq request = {};
    request.ifr_ifindex = static_cast<int>(ifindex);
    if (deviceRequest(SIOCGIFNAME, &request) != 0) {
        return false;
    }
    memcpy(name, request.ifr_name, IFNAMSIZ);
    name[IFNAMSIZ - 1] = '\0';
    return true;
}

bool interfaceExists(uint32_t ifindex) {
    char name[IFNAMSIZ];
    return interfaceName(ifindex, name);
}

} // namespace platform
