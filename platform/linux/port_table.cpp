// Port identifiers have 12 bits for the port number, kernel interface indices have 31 and grow with
// every interface ever made. The table gives each interface that becomes a port a number of its
// own, which lasts as long as the interface does: a number that changed would change the port
// identifier, and with it the tree. Small indices are their own numbers, so that the numbers are
// the same after a restart.
//
// A vanished interface keeps its entry while it is a port, since the daemon has yet to be told, and
// then translates the index once more in order to delete the port.

#include "port_table.h"

#include <algorithm>

#include "groups.h"
#include "interface_request.h"

namespace {

platform::PortEntry gPorts[platform::PORT_NUMBER_MAX + 1]; // element n is number n, 0 is unused
uint32_t gReach = 1; // numbers to look at for an interface, from the one that it would have first

uint32_t preferredNumber(uint32_t ifindex) {
    return (ifindex - 1) % platform::PORT_NUMBER_MAX + 1;
}

uint32_t nextNumber(uint32_t number) {
    return number % platform::PORT_NUMBER_MAX + 1;
}

// The entry that holds @p content as its interface, among the first @p reach.
platform::PortEntry* search(uint32_t content, uint32_t ifindex, uint32_t reach) {
    uint32_t number = preferredNumber(ifindex);
    for (uint32_t i = 0; i < reach; i++) {
        if (gPorts[number].ifindex == content) {
            return &gPorts[number];
        }
        number = nextNumber(number);
    }
    return nullptr;
}

// A free entry for the interface. How far from its first choice an interface ever was bounds the
// search for any: link messages ask for interfaces that are no ports all the time.
platform::PortEntry* takeFree(uint32_t ifindex) {
    platform::PortEntry* port = search(0, ifindex, platform::PORT_NUMBER_MAX);
    if (port != nullptr) {
        const auto number = static_cast<uint32_t>(port - gPorts);
        const uint32_t beyond = number + platform::PORT_NUMBER_MAX - preferredNumber(ifindex);
        gReach = std::max(gReach, beyond % platform::PORT_NUMBER_MAX + 1);
    }
    return port;
}

void freeNumber(platform::PortEntry* port) {
    platform::forgetGroupPort(platform::portNumber(port));
    *port = {};
}

} // namespace

namespace platform {

PortEntry* findPort(uint32_t ifindex) {
    return ifindex == 0 ? nullptr : search(ifindex, ifindex, gReach);
}

PortEntry* obtainPort(uint32_t ifindex) {
    PortEntry* port = findPort(ifindex);
    if (port != nullptr && !port->vanished) {
        return port;
    }
    if (ifindex == 0 || !interfaceExists(ifindex)) {
        return nullptr;
    }
    if (port == nullptr) {
        port = takeFree(ifindex);
    }
    if (port != nullptr) {
        port->ifindex = ifindex;
        port->vanished = false;
    }
    return port;
}

PortEntry* portOfNumber(uint32_t number) {
    return gPorts[number].ifindex != 0 ? &gPorts[number] : nullptr;
}

uint32_t portNumber(const PortEntry* port) {
    return static_cast<uint32_t>(port - gPorts);
}

void portVanished(PortEntry* port) {
    port->vanished = true;
    port->joined = false;
    if (!portAttached(port)) {
        freeNumber(port);
    }
}

void portReleased(PortEntry* port) {
    port->kind = 0;
    port->left = false;
    port->up = false;
    port->speed = 0;
    if (port->vanished) {
        freeNumber(port);
    }
}

} // namespace platform
