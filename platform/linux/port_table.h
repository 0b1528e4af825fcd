#pragma once

/// The interfaces that the daemon has taken notice of, each under its port number.

#include <cstdint>

namespace platform {

inline constexpr uint32_t PORT_NUMBER_MAX = 4095;

struct PortEntry {
    uint32_t ifindex; ///< 0: the number is free
    uint32_t kind;    ///< BPDUs that the daemon wants of the interface, KEL_KIND_*; 0: no port
    bool joined;      ///< the packet socket is a member of that kind's group
    bool vanished;    ///< the kernel has deleted the interface
    bool left;        ///< it has left the bridge, and the daemon is still to be told
    bool up;          ///< the operational state that the daemon has read last
    uint32_t speed;   ///< the speed that the daemon has read last, 0 for none
};

/// The entry of an interface, also of one that vanished while it was a port. @return null for none
PortEntry* findPort(uint32_t ifindex);

/// The entry of an interface, made if it is new. The number is the interface index where that fits
/// and is free, else the next free one, counted round.
/// @return null when the kernel knows no such interface, or no number is free
PortEntry* obtainPort(uint32_t ifindex);

/// The entry of number @p number, 1 to PORT_NUMBER_MAX. @return null when the number is free
PortEntry* portOfNumber(uint32_t number);

uint32_t portNumber(const PortEntry* port);

/// The interface is gone: a port keeps its entry until the daemon lets go of it, others lose it.
void portVanished(PortEntry* port);

/// The daemon runs no port on the interface any more.
void portReleased(PortEntry* port);

/// True while the daemon runs a port on the interface.
inline bool portAttached(const PortEntry* port) {
    return port->kind != 0;
}

} // namespace platform
