#pragma once

/// A network of daemons in one process and in virtual time. Each daemon's whole state is swapped in
/// when its turn comes and runs its real loop; wires carry its frames with a delay. The same calls
/// in the same order with the same seed give the same run, to the byte.
///
/// All times are microseconds since the network was made.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "learning_table.h"
#include "mstp/context.h"
#include "mstp_main.h"
#include "observer.h"
#include "random.h"
#include "sim_platform.h"

namespace sim {

class Network;

struct NodeOptions {
    std::string name;
    std::vector<uint8_t> mac; ///< 6 bytes
    uint8_t xstLimit = 8;
    uint16_t portLimit = 32;
    uint32_t receiveQueue = 256; ///< frames that wait for the daemon; one more is lost
    uint32_t ageingSeconds = 300;

    /// Configures the daemon, each time it has started. Called with the daemon swapped in; what
    /// must wait for the daemon's loop goes through later().
    std::function<void(Network& network, uint32_t node)> configure;
};

struct LinkOptions {
    uint32_t speed = 1000;  ///< Mb/s, as the daemon is told
    uint64_t delay = 100;   ///< microseconds
    uint64_t jitter = 0;    ///< up to so many more, each frame for itself: frames overtake
    uint64_t bandwidth = 0; ///< kb/s that frames take turns for, each direction; 0 = endless
    uint32_t queueBytes = 1U << 19; ///< that wait for their turn; what comes then is lost
    double loss = 0;                ///< probabilities, 0 to 1
    double duplication = 0;
};

enum class NodeState : uint8_t { Off, Running, Hung };

struct NodeCounters {
    uint64_t iterations = 0; ///< of the loop
    uint64_t passes = 0;     ///< of the driver
    uint64_t posts = 0;      ///< messages posted to the loop
    uint64_t framesSent = 0;
    uint64_t framesReceived = 0;
    uint64_t framesDropped = 0; ///< the socket buffer was full
    uint64_t allocations = 0;   ///< of the core after its start: 0, or something is wrong
};

/// Where an interface is plugged in.
struct Plug {
    uint32_t link = 0;
    uint32_t end = 0;
};

/// One daemon: what the core keeps while another daemon runs, and the switch it runs on.
struct Node {
    NodeOptions options;
    Switch sw;
    LearningTable addresses;
    tMstp context = {};
    int32_t timeProcessEnable = 0;
    uint32_t restoring = 0;
    std::unique_ptr<tMstpLoop> loop;
    uint64_t wakeGeneration = 0; ///< wakes of an older generation are void
    uint64_t incarnation = 0;    ///< counts the starts
    NodeState state = NodeState::Off;
    std::map<uint32_t, Plug> plugs; ///< by unit
    std::vector<uint8_t> roles;     ///< last told of: by port slot, then instance
    bool rolesMayDiffer = false;    ///< something ran since
    int32_t ready = 0;              ///< what its wait returned
    bool lookAgain = false;         ///< something became readable since that wait
    uint64_t hungUntil = 0;
    std::vector<std::function<void(const std::vector<uint8_t>&)>>
        waiting; ///< for replies, in order
    NodeCounters counters;
};

/// A wire with two ends, or a hub: a segment that all its ends share.
struct Link {
    struct End {
        LinkEnd at;
        bool up = true;          ///< plugged in
        bool sends = true;       ///< false: what is sent here is lost without a word
        uint64_t busyUntil = 0;  ///< serialisation
        uint64_t generation = 0; ///< frames under way to an end that is unplugged are lost
    };
    std::vector<End> ends;
    LinkOptions options;
    bool up = true;

    bool isHub() const { return ends.size() != 2; }
};

struct Host {
    std::string name;
    std::vector<uint8_t> mac; ///< 6 bytes
    Plug plug;
};

class Network {
  public:
    explicit Network(uint64_t seed = 1);
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    // ---- building

    /// Adds a switch whose daemon does not run yet; its ports discard. @return its number
    uint32_t declareNode(const NodeOptions& options);
    /// Adds a switch and starts its daemon now. @return its number
    uint32_t addNode(const NodeOptions& options);

    /// Joins two interfaces, which come into being with the link. They are not ports yet.
    /// @return the link's number
    uint32_t addLink(LinkEnd a, LinkEnd b, const LinkOptions& options = {});
    /// Joins any number of interfaces (and hosts) to a segment that they share.
    /// @return the segment's number among the links
    uint32_t addHub(const std::vector<LinkEnd>& ends, const LinkOptions& options = {});
    /// Adds a host: plug it in as LinkEnd{HOST + number, 0}. @return its number
    uint32_t addHost(const std::string& name);

    // ---- life of a daemon

    /// Starts a daemon that is off and configures it. @return false when its start-up failed
    bool start(uint32_t node);
    /// The loop stands still for so long; frames wait in the socket buffer.
    void hang(uint32_t node, uint64_t microseconds);
    /// The daemon is gone at once. Its ports stay as the hardware was told, its links stay up.
    void crash(uint32_t node);
    /// Crashes a daemon that runs, then starts a fresh one.
    bool restart(uint32_t node);

    // ---- links at run time

    /// Cuts or mends a link; all ends learn of it through their link sockets.
    void setLink(uint32_t link, bool up);
    /// Plugs one end of a hub in or out; only that end learns of it.
    void setEnd(uint32_t link, uint32_t end, bool up);
    /// What @p end sends is lost from now on (or no more), and nobody is told.
    void setSending(uint32_t link, uint32_t end, bool works);
    /// Changes delay, jitter, bandwidth, loss and duplication. The daemons are told nothing.
    void impair(uint32_t link, const LinkOptions& options);

    // ---- management

    /// Runs @p work with the daemon of @p node swapped in, then lets its loop look around.
    /// @return false when no daemon runs there
    bool on(uint32_t node, const std::function<void()>& work);
    /// The same for what only reads: the daemon does not notice.
    void peek(uint32_t number, const std::function<void()>& look);
    /// Runs @p work with the daemon swapped in, so much later, unless that daemon is gone by then.
    void later(uint32_t node, uint64_t microseconds, std::function<void()> work);
    /// Sends a request through the command socket, where it waits for its turn: the 4-byte length
    /// is put before @p message here and taken off the reply, which is empty where the daemon gave
    /// none.
    void request(uint32_t node, const std::vector<uint8_t>& message,
                 std::function<void(const std::vector<uint8_t>& reply)> done);
    /// The same, and lets the daemon's loop turn until it has answered. No time passes.
    /// @return the reply; empty also where no daemon runs or it is hung
    std::vector<uint8_t> exchange(uint32_t node, const std::vector<uint8_t>& message);

    // ---- traffic

    /// A host sends a test frame. @param to  a host, or EVERYBODY @return the frame's number
    uint64_t sendTestFrame(uint32_t from, uint32_t to, uint32_t vlan);
    /// Puts a frame on a link as if the device at that end had sent it.
    void inject(uint32_t link, uint32_t end, const std::vector<uint8_t>& bytes);

    // ---- time

    uint64_t time() const { return m_time; }
    /// Runs @p work at @p time; work for the same moment in the order of these calls.
    void at(uint64_t time, std::function<void()> work);
    /// Runs events until so many microseconds have passed.
    void run(uint64_t microseconds);
    /// Runs until no role and no port state has changed for @p quiet microseconds.
    /// @return false when @p limit microseconds passed first
    bool runUntilSettled(uint64_t quiet, uint64_t limit);
    /// When a role or a port state changed last.
    uint64_t lastChange() const { return m_lastChange; }

    // ---- looking

    void addObserver(Observer* observer);
    void removeObserver(Observer* observer);

    /// A port's record, to look at; none where the daemon has no such port.
    const tMstpPort* port(uint32_t node, uint32_t unit) const;
    /// Role (MSTP_PORT_ROLE_*) of a port in an instance; 0 where there is none.
    uint32_t role(uint32_t node, uint32_t instance, uint32_t unit) const;
    /// True if the hardware lets frames of @p vlan in and out at the port, and it has a link.
    bool forwards(uint32_t node, uint32_t unit, uint32_t vlan) const;

    Node& node(uint32_t number) { return *m_nodes[number]; }
    const Node& node(uint32_t number) const { return *m_nodes[number]; }
    const Link& link(uint32_t number) const { return m_links[number]; }
    const Host& host(uint32_t number) const { return m_hosts[number]; }
    uint32_t nodes() const { return static_cast<uint32_t>(m_nodes.size()); }
    uint32_t links() const { return static_cast<uint32_t>(m_links.size()); }
    uint32_t hosts() const { return static_cast<uint32_t>(m_hosts.size()); }
    /// Frames that arrived at their other end, BPDUs and test frames.
    uint64_t framesCarried() const { return m_carried; }
    Random& random() { return m_random; }

  private:
    enum class EventKind : uint8_t { Wake, Arrival, Work };
    struct Event {
        uint64_t time;
        uint64_t order;
        uint64_t generation; ///< of a wake
        uint32_t index;      ///< node, flight or work
        EventKind kind;
    };
    /// A frame on its way to one end of a link.
    struct Flight {
        std::shared_ptr<const std::vector<uint8_t>> bytes;
        uint64_t transmission = 0;
        uint64_t generation = 0; ///< of the end that it goes to
        uint64_t test = 0;
        uint32_t hop = 0; ///< of a test frame: the step before
        uint32_t link = 0;
        uint32_t from = 0;
        uint32_t to = 0;
    };
    /// A step of a test frame's copy: it came in here.
    struct Hop {
        LinkEnd at;
        uint32_t before = 0; ///< index of the step before, 0 = the host
        uint32_t length = 0;
    };
    struct Traffic {
        TestFrame frame;
        std::vector<Hop> hops;
        std::map<std::pair<uint32_t, uint32_t>, uint32_t> visits; ///< by node and unit
    };

    // events
    void push(const Event& event);
    bool runNext(uint64_t end);
    uint64_t nextTime() const;
    void pass(const Event& event);

    // daemons
    void swapIn(Node& node);
    void swapOut(Node& node);
    void watchSwitch(uint32_t number);
    void iterate(uint32_t number);
    void sleep(uint32_t number);
    void wake(uint32_t number);
    void answerRequests(uint32_t number);
    void compareRoles(uint32_t number);
    void stateChanged(uint32_t number, uint32_t group, uint32_t unit, uint32_t before);
    void flushed(uint32_t number, uint32_t unit, uint32_t attribute,
                 const std::vector<uint8_t>& vlans);

    // links
    void tellLink(LinkEnd end, bool up);
    void transmit(Flight flight);
    void travel(const Flight& flight, uint64_t departure);
    void arrive(uint32_t index);
    void deliver(const Flight& flight);
    void lose(const Flight& flight, Loss why);
    FrameEvent eventOf(const Flight& flight) const;
    bool endUp(const Plug& plug) const;

    // test frames
    void takeTestFrame(const Flight& flight);
    bool loops(Traffic& traffic, const Flight& flight, LinkEnd at) const;
    void forwardTestFrame(Traffic& traffic, LinkEnd in, const Flight& flight, uint32_t hop);
    void copyGone(uint64_t number);
    uint32_t portState(const Node& node, uint32_t unit, uint32_t vlan) const;

    template <class Tell> void tell(Tell call) {
        for (Observer* observer : m_observers) {
            call(*observer);
        }
    }

    Random m_random;
    uint64_t m_time = 0;
    uint64_t m_lastChange = 0;
    uint64_t m_order = 0;
    uint64_t m_carried = 0;
    uint64_t m_transmissions = 0;
    uint64_t m_testFrames = 0;
    std::vector<Event> m_events; ///< a heap
    std::vector<std::function<void()>> m_work;
    std::vector<uint32_t> m_freeWork;
    std::vector<Flight> m_flights;
    std::vector<uint32_t> m_freeFlights;
    std::vector<std::unique_ptr<Node>> m_nodes;
    std::vector<Link> m_links;
    std::vector<Host> m_hosts;
    std::map<uint64_t, Traffic> m_traffic;
    std::vector<Observer*> m_observers;
};

} // namespace sim
