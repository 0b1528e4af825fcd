#pragma once

/// The platform contract in virtual time. A Switch is everything outside the core that one daemon
/// touches: its interfaces, its hardware groups, its sockets, its debug channel. It does what it is
/// told, records it, and fails where a test asks it to. One Switch is swapped in at a time.

#include <netpacket/packet.h>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace sim {

struct Interface {
    std::string name;
    bool up = true;
    uint32_t speed = 1000; ///< Mb/s, 0 = the read fails
    uint32_t number = 0;   ///< port number (virtualnum)
    uint32_t slot = 0;     ///< with slot != 0: position unit/slot/port
    uint32_t positionUnit = 0;
    uint32_t positionPort = 0;
    int32_t endType = 2;
    uint32_t ownerUnit = 0;           ///< of an interface that belongs to a port
    std::vector<uint8_t> protocolUse; ///< empty = the read fails
    bool attached = false;
};

struct Group {
    uint32_t kind = 0;
    std::vector<uint8_t> vlans = std::vector<uint8_t>(512);
    std::map<uint32_t, uint32_t> states; ///< STG_PORT_* by unit
};

struct Frame {
    uint32_t unit = 0;
    std::vector<uint8_t> bytes;
    sockaddr_ll address = {};
    int flags = 0;     ///< of the sendmsg
    size_t pieces = 0; ///< of the gathered send
};

/// What a daemon turns to. A turn of its loop begins with the timers that are due and goes on with
/// at most one of each of the next three; management acts from outside the loop.
enum class Source : uint8_t { Timers, Frame, Command, Link, Management };

struct Switch {
    std::map<uint32_t, Interface> interfaces; ///< by unit
    std::vector<uint8_t> systemMac = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    std::set<uint32_t> missingVlans;
    std::map<uint32_t, Group> groups; ///< by stgId
    uint32_t nextGroup = 1;
    uint32_t unitRole = 1;
    bool peerUnit = false;
    int32_t (*portJoined)(uint32_t unit) = nullptr; ///< to be told of ports that join
    std::vector<uint32_t> offeredAgain;             ///< ports that the daemon wants back
    std::map<std::string, int32_t> results;         ///< result of a call by name; absent = success

    bool recordCalls = true;
    std::vector<std::string> calls;  ///< what the core told the platform, in order
    std::vector<std::string> traces; ///< debug lines without prefix and line break
    std::string debugOutput;         ///< the debug channel, byte for byte

    std::vector<Frame> sent;                   ///< frames sent, unless onSend takes them
    std::function<void(const Frame&)> onSend;  ///< takes a sent frame
    std::deque<Frame> received;                ///< frames that wait on the packet socket
    uint8_t dataOffset = 17;                   ///< of received frames
    bool withPacketInfo = true;                ///< received frames carry packet information
    std::deque<std::vector<uint8_t>> requests; ///< bytes that each waiting client sends
    std::vector<std::vector<uint8_t>> replies; ///< bytes that each served client got
    std::deque<std::vector<uint8_t>> linkMessages;
    std::map<int32_t, void (*)()> signals; ///< what the daemon does on a signal, by its number
    int64_t waitMicroseconds = 0;          ///< time-out of the last select

    std::vector<uint32_t> groupOfVlan; ///< by VLAN: the group that holds it, 0 = none

    // Whoever watches the switch; all may be empty.
    std::function<void(uint32_t group, uint32_t unit, uint32_t before)> onState;
    std::function<void(uint32_t unit, uint32_t attribute, const std::vector<uint8_t>& vlans)>
        onFlush;
    std::function<void(const std::string& line)> onTrace; ///< takes a debug line
    std::function<void(uint32_t events)> onPass;          ///< a driver pass begins
    std::function<void(uint32_t events)> onPost;          ///< work was posted to the loop
    std::function<void(Source source)> onTake;            ///< the loop turns to what waits there

    /// Adds (or finds) an interface; its name is "port" and the unit, its number the unit.
    Interface& add(uint32_t unit);

    /// True if @p text is one of the debug lines.
    bool traced(const std::string& text) const;

    /// How often @p call was recorded.
    uint32_t count(const std::string& call) const;

    /// Forgets what was recorded: calls, traces, debug output and sent frames.
    void forget();
};

/// The switch that the daemon in gMstp runs on.
Switch& here();
void swapIn(Switch* sw);

/// Virtual time, microseconds.
uint64_t now();
void setNow(uint64_t microseconds);

/// The @p nth allocation from now on fails once (1 = the next); 0 = none does.
void failAllocation(uint32_t nth);

/// Allocations made by the core since the process started.
uint64_t allocations();

/// VLANs of a list as text: "1-3,5".
std::string vlanText(const uint8_t* list, uint32_t length);

} // namespace sim
