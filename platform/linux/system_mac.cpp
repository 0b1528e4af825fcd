// The bridge's address is that of the kernel device that bears the bridge's name. Without such a
// device it is the lowest address among the Ethernet interfaces of the network namespace, a choice
// that does not depend on the order in which they came up.

#include "system_mac.h"

#include <net/if_arp.h>
#include <sys/ioctl.h>

#include <cstring>

#include "interface_request.h"
#include "netlink.h"
#include "platform/hardware.h"
#include "platform/octets.h"
#include "process.h"

namespace {

constexpr uint32_t kMacSize = platform::LINK_ADDRESS_SIZE;

uint8_t gTold[kMacSize];
bool gIsTold;

struct Candidate {
    uint8_t address[kMacSize];
    bool found;
};

// A group address or none at all identifies no bridge.
bool isStationAddress(const uint8_t* address) {
    static constexpr uint8_t kNone[kMacSize] = {};
    return (address[0] & 0x01) == 0 && memcmp(address, kNone, kMacSize) != 0;
}

bool addressOfDevice(const char* name, Candidate* candidate) {
    ifreq request = {};
    const size_t length = strlen(name);
    if (length == 0 || length >= IFNAMSIZ) {
        return false;
    }
    memcpy(request.ifr_name, name, length);
    if (platform::deviceRequest(SIOCGIFHWADDR, &request) != 0 ||
        request.ifr_hwaddr.sa_family != ARPHRD_ETHER) {
        return false;
    }
    memcpy(candidate->address, request.ifr_hwaddr.sa_data, kMacSize);
    return isStationAddress(candidate->address);
}

// The loopback has a type of its own and is no Ethernet interface.
void keepLowest(const platform::LinkInfo& link, void* context) {
    auto* lowest = static_cast<Candidate*>(context);
    if (link.type != ARPHRD_ETHER || (link.flags & IFF_LOOPBACK) != 0 || !link.hasAddress ||
        !isStationAddress(link.address)) {
        return;
    }
    if (!lowest->found || memcmp(link.address, lowest->address, kMacSize) < 0) {
        memcpy(lowest->address, link.address, kMacSize);
        lowest->found = true;
    }
}

int32_t readSystemMac(octetstring* mac) {
    Candidate candidate = {};
    if (!addressOfDevice(platform::bridgeName(), &candidate)) {
        candidate = {};
        platform::visitLinks(keepLowest, &candidate);
        if (!candidate.found) {
            return -1;
        }
    }
    memcpy(mac->pBuf, candidate.address, kMacSize);
    mac->len = kMacSize;
    platform::noteSystemMac(candidate.address);
    return 0;
}

} // namespace

namespace platform {

bool systemMacDiffers(const uint8_t* address) {
    return gIsTold && isStationAddress(address) && memcmp(address, gTold, kMacSize) != 0;
}

void noteSystemMac(const uint8_t* address) {
    memcpy(gTold, address, kMacSize);
    gIsTold = true;
}

} // namespace platform

int32_t kelScalarGetApi(uint32_t /*index*/, uint32_t attribute, void* value) {
    if (attribute != KEL_SCALAR_SYSTEM_MAC) {
        return -1;
    }
    return readSystemMac(static_cast<octetstring*>(value));
}
