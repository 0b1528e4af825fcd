#pragma once

/// What happens in a simulated network, told as it happens. All times are microseconds since the
/// network was made.

#include <cstdint>
#include <string>
#include <vector>

namespace sim {

enum class Source : uint8_t; // sim_platform.h

/// An interface of a switch, or a host: then @c node is HOST plus the host's number.
struct LinkEnd {
    uint32_t node = 0;
    uint32_t unit = 0;
};

inline constexpr uint32_t HOST = 0x80000000;

inline bool isHost(const LinkEnd& end) {
    return end.node >= HOST;
}

/// Why a frame did not arrive.
enum class Loss : uint8_t {
    LinkDown,      ///< the link was cut while the frame was on it, or before
    Silent,        ///< that direction of the link has failed without a word
    Impairment,    ///< the link's random loss
    TransmitQueue, ///< too much was waiting for the link already
    ReceiveQueue,  ///< the daemon's socket buffer was full
    NotListening,  ///< no daemon there, or the port does not listen for BPDUs
};

inline constexpr uint32_t NO_END = 0xFFFFFFFF;

struct FrameEvent {
    uint64_t time = 0;
    uint64_t transmission = 0; ///< the same in all that is told of one frame on one link
    uint32_t link = 0;
    uint32_t from = 0;    ///< the link's end that sent it
    uint32_t to = NO_END; ///< the end that it is for; NO_END where it is told of as sent
    LinkEnd sender;
    LinkEnd receiver;
    const std::vector<uint8_t>* bytes = nullptr; ///< the whole frame, without its check sequence
    uint64_t test = 0;                           ///< the test frame's number; 0 = a BPDU
};

/// A hardware spanning tree group's state on a port.
struct StateEvent {
    uint64_t time = 0;
    uint32_t node = 0;
    uint32_t unit = 0;
    uint32_t group = 0;
    uint32_t instance = 0; ///< that the group belongs to
    uint32_t before = 0;   ///< STG_PORT_*, 0 = never told
    uint32_t after = 0;
};

struct RoleEvent {
    uint64_t time = 0;
    uint32_t node = 0;
    uint32_t unit = 0;
    uint32_t instance = 0;
    uint32_t before = 0; ///< MSTP_PORT_ROLE_*, 0 = the port was not there
    uint32_t after = 0;
};

struct FlushEvent {
    uint64_t time = 0;
    uint32_t node = 0;
    uint32_t unit = 0;
    uint32_t attribute = 0;                      ///< KEL_IF_FLUSH_*
    const std::vector<uint8_t>* vlans = nullptr; ///< bit n = VLAN n + 1; may be short
    uint32_t forgotten = 0;                      ///< learnt addresses that went
};

enum class NodeChange : uint8_t { Started, Hung, Resumed, Crashed };

/// One pass of the driver of the state machines, or the posting of work to it.
struct PassEvent {
    uint64_t time = 0;
    uint32_t node = 0;
    uint32_t events = 0; ///< MSTP_EVENT_* that are pending
};

/// A test frame: what a host sent into a VLAN, and what became of it.
struct TestFrame {
    uint64_t number = 0; ///< from 1
    uint64_t sent = 0;
    uint32_t from = 0; ///< host
    uint32_t to = 0;   ///< host, or EVERYBODY
    uint32_t vlan = 0;
    uint32_t copies = 0;              ///< under way now
    std::vector<uint32_t> deliveries; ///< by host: how often it arrived there
    uint32_t looped = 0;              ///< copies that came to a port that they had come to before
    uint32_t longestPath = 0;         ///< bridges passed

    bool unicast() const;
    /// Hosts that should have got it and did not, hosts that got it more than once. Every other
    /// host counts, reachable or not.
    uint32_t missed() const;
    uint32_t duplicated() const;
};

inline constexpr uint32_t EVERYBODY = 0xFFFFFFFF;

class Observer {
  public:
    virtual ~Observer() = default;

    virtual void frameSent(const FrameEvent& /*event*/) {}
    virtual void frameDelivered(const FrameEvent& /*event*/) {}
    virtual void frameLost(const FrameEvent& /*event*/, Loss /*why*/) {}
    /// The link makes two of it: a second frameDelivered (or frameLost) will follow.
    virtual void frameDuplicated(const FrameEvent& /*event*/) {}

    virtual void stateChanged(const StateEvent& /*event*/) {}
    virtual void roleChanged(const RoleEvent& /*event*/) {}
    virtual void flushed(const FlushEvent& /*event*/) {}

    virtual void linkChanged(uint64_t /*time*/, uint32_t /*link*/, bool /*up*/) {}
    /// One end of a hub was plugged in or out.
    virtual void endChanged(uint64_t /*time*/, uint32_t /*link*/, uint32_t /*end*/, bool /*up*/) {}
    virtual void nodeChanged(uint64_t /*time*/, uint32_t /*node*/, NodeChange /*change*/) {}

    /// Work was posted to the loop: a pass, or whatever the bits say, follows a tick later.
    virtual void workPosted(const PassEvent& /*event*/) {}
    virtual void driverPassed(const PassEvent& /*event*/) {}
    /// A daemon turns to something. It is swapped in; what it does comes after this, in order.
    virtual void served(uint64_t /*time*/, uint32_t /*node*/, Source /*source*/) {}
    /// A daemon's loop has made a turn, or management has acted on it: its records are at rest.
    virtual void turned(uint64_t /*time*/, uint32_t /*node*/) {}
    /// A line on the daemon's debug channel, without prefix and line break.
    virtual void traced(uint64_t /*time*/, uint32_t /*node*/, const std::string& /*line*/) {}

    virtual void testFrameSent(const TestFrame& /*frame*/) {}
    virtual void testFrameDelivered(const TestFrame& /*frame*/, uint32_t /*host*/) {}
    /// A copy came back to a port that it had passed in the same direction; it goes no further.
    virtual void testFrameLooped(const TestFrame& /*frame*/, LinkEnd /*at*/) {}
    /// The last copy has arrived or is gone.
    virtual void testFrameFinished(const TestFrame& /*frame*/) {}
};

} // namespace sim
