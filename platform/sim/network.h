#pragma once

/// A network of daemons in one process and in virtual time. Each daemon's whole state is swapped in
/// when its turn comes and runs its real loop; wires carry its frames with a delay. The same calls
/// in the same order give the same run, to the byte.

#include <cstdint>
#include <functional>
#include <memory>
#include <queue>
#include <string>
#include <vector>

#include "mstp/context.h"
#include "mstp_main.h"
#include "sim_platform.h"

namespace sim {

struct NodeOptions {
    std::string name;
    std::vector<uint8_t> mac; ///< 6 bytes
    uint8_t xstLimit = 8;
    uint16_t portLimit = 32;
};

/// One daemon: what the core keeps while another daemon runs, and the switch it runs on.
struct Node {
    NodeOptions options;
    Switch sw;
    tMstp context = {};
    int32_t timeProcessEnable = 0;
    uint32_t restoring = 0;
    std::unique_ptr<tMstpLoop> loop = std::make_unique<tMstpLoop>();
    uint64_t wakeGeneration = 0; ///< wakes of an older generation are void
    bool running = false;
};

struct LinkEnd {
    uint32_t node = 0;
    uint32_t unit = 0;
};

struct Link {
    LinkEnd ends[2];
    uint64_t delay = 0; ///< microseconds
    bool up = true;
    uint64_t generation = 0; ///< frames on the wire when it is cut are lost
};

class Network {
  public:
    Network();
    ~Network();
    Network(const Network&) = delete;
    Network& operator=(const Network&) = delete;

    /// Starts a daemon. @return its number
    uint32_t addNode(const NodeOptions& options);

    /// Joins two interfaces, which come into being with the link. They are not ports yet.
    /// @param speed  Mb/s @param delay  microseconds @return the link's number
    uint32_t addLink(LinkEnd a, LinkEnd b, uint32_t speed = 1000, uint64_t delay = 100);

    /// Cuts or mends a link; both ends learn of it through their link sockets.
    void setLink(uint32_t link, bool up);

    /// Stops a daemon for good without a word to its neighbours: its links stay up.
    void kill(uint32_t node);

    /// Runs @p work with the daemon of @p node swapped in, then lets its loop look around.
    void on(uint32_t node, const std::function<void()>& work);

    /// Runs events until @p microseconds have passed.
    void run(uint64_t microseconds);

    uint64_t framesCarried() const { return m_carried; }
    Node& node(uint32_t number) { return *m_nodes[number]; }
    const Link& link(uint32_t number) const { return m_links[number]; }
    uint32_t nodes() const { return static_cast<uint32_t>(m_nodes.size()); }
    uint32_t links() const { return static_cast<uint32_t>(m_links.size()); }

  private:
    struct Event {
        uint64_t time;
        uint64_t order;
        std::function<void()> work;
    };
    struct Later {
        bool operator()(const Event& a, const Event& b) const {
            return a.time != b.time ? a.time > b.time : a.order > b.order;
        }
    };

    void at(uint64_t time, std::function<void()> work);
    void swapIn(Node& node);
    void swapOut(Node& node);
    void iterate(uint32_t number);
    void sleep(uint32_t number);
    void wake(uint32_t number);
    void send(uint32_t from, const Frame& frame);
    void tellLink(LinkEnd end, bool up);

    std::vector<std::unique_ptr<Node>> m_nodes;
    std::vector<Link> m_links;
    std::priority_queue<Event, std::vector<Event>, Later> m_events;
    uint64_t m_order = 0;
    uint64_t m_carried = 0;
};

} // namespace sim
