#pragma once

/// Why a network needed so long to settle: the chain of causes that leads from an event to the last
/// change of a role or state that followed it, and what every link of that chain waited for.
///
/// What a daemon does falls into acts: a timer that runs out, a frame that is taken, a pass for
/// posted work. Each act remembers when it became due, and what made it so: the frame, the act that
/// posted the work, the act that started the timer. The chain is found backwards from the last
/// change. Every microsecond between the event and that change belongs to exactly one wait.

#include <deque>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "lab.h"
#include "platform/timer.h"

namespace simtool {

/// What a step of the chain waited for.
enum class Wait : uint8_t {
    Link,         ///< a frame's way over a link
    Queue,        ///< a daemon that was busy or hung
    Tick,         ///< work posted to the loop is done a tick later
    Loop,         ///< the loop's wait ends later than what is due
    Pass,         ///< what one pass of the driver left over is done by the next
    Hold,         ///< TxHoldCount BPDUs had been sent in this second
    Hello,        ///< the neighbour's, or the own, next periodic BPDU
    MessageAge,   ///< what a neighbour said last has to age out
    ForwardDelay, ///< fdWhile, rrWhile, rbWhile
    Detection,    ///< edge detection and protocol migration
    Protection,   ///< a protection's hold
    Management,   ///< a later command, a later start
};

struct Waited {
    Wait what;
    Microseconds length;
};

/// A step of the chain: an act, and what was waited for between the step before and it.
struct Step {
    Microseconds time = 0;
    uint32_t node = 0;
    std::string what;
    std::vector<Waited> waited;
    uint32_t passes = 0; ///< of the driver, in this act
};

/// The chain of an event. Its waits add up to the time that the event took to settle.
struct Chain {
    size_t period = 0; ///< of the recorder's
    std::string change;
    Microseconds time = 0; ///< of that change
    std::vector<Step> steps;
};

class Causes : public sim::Observer {
  public:
    explicit Causes(Lab& lab);
    ~Causes() override;
    Causes(const Causes&) = delete;
    Causes& operator=(const Causes&) = delete;

    /// At the end of the run.
    void finish();
    const std::vector<Chain>& chains() const { return m_chains; }

    void frameSent(const sim::FrameEvent& event) override;
    void frameDelivered(const sim::FrameEvent& event) override;
    void stateChanged(const sim::StateEvent& event) override;
    void roleChanged(const sim::RoleEvent& event) override;
    void linkChanged(uint64_t time, uint32_t link, bool up) override;
    void endChanged(uint64_t time, uint32_t link, uint32_t end, bool up) override;
    void nodeChanged(uint64_t time, uint32_t node, sim::NodeChange change) override;
    void workPosted(const sim::PassEvent& event) override;
    void driverPassed(const sim::PassEvent& event) override;
    void served(uint64_t time, uint32_t node, sim::Source source) override;
    void turned(uint64_t time, uint32_t node) override;

  private:
    static constexpr int32_t NONE = -1;
    enum class Kind : uint8_t { Management, Command, Link, Frame, Repeat, Posted, Second, Counter };
    struct Act {
        Microseconds time = 0;
        Microseconds due = 0;
        Kind kind = Kind::Management;
        Wait wait = Wait::Pass;    ///< for what, where a timer ran out or a BPDU was repeated
        bool news = false;         ///< it brought something new, or changed something
        uint32_t passes = 0;       ///< of the driver
        uint64_t transmission = 0; ///< of the frame
        int32_t from = NONE;       ///< the act of the same daemon that made it due
        std::string what;
    };
    struct Sent {
        Microseconds time = 0;
        uint32_t node = 0;
        int32_t act = NONE;
        bool held = false; ///< it would have gone out earlier but for the hold count
    };
    /// A timer that is due in this turn.
    struct Due {
        const tTimerNode* timer;
        const uint8_t* counter; ///< that it stands for; none for some
        uint64_t expiry;        ///< of the platform's clock
        Microseconds time;
        Microseconds armed;
        Kind kind;
        Wait wait;
        std::string what;
        bool claimed = false; ///< its act has begun
    };
    using Bytes = std::vector<uint8_t>;
    struct Waiting {
        uint64_t transmission;
        Microseconds time;
        uint32_t unit;
        bool repeated; ///< the same bytes as the frame before
        std::string what;
    };
    struct Port {
        Bytes heard;
        Bytes said;
        bool held = false; ///< has news that the hold count keeps back
    };
    struct Daemon {
        std::vector<Act> acts;
        std::vector<Due> due;
        std::deque<Waiting> frames;
        std::deque<std::pair<Microseconds, std::string>> links;
        std::map<uint32_t, Port> ports;
        int32_t poster = NONE;
        uint32_t heardOn = 0; ///< the port whose frame of this turn said nothing new
        bool inTurn = false;
        bool timers = false; ///< the loop is at its timers
        bool acting = false; ///< an act of this turn has begun
    };

    void look();
    void close();
    void forget();
    void linkNews(Microseconds time, const sim::LinkEnd& at, bool up);
    void collectDue(uint32_t node);
    void addDue(Daemon& daemon, const tTimerNode& timer, const uint8_t* counter, Kind kind,
                Wait wait, const std::string& what);
    void addCounters(Daemon& daemon, uint32_t node);
    static bool hasRunOut(const Due& due, bool posting);
    void claim(uint32_t node, bool posting);
    Act& act(uint32_t node, bool posting = false);
    Act& begin(uint32_t node, Kind kind, Microseconds due, const std::string& what);
    void takeFrame(Daemon& daemon, uint32_t node);
    void changed(uint32_t node, const std::string& what);
    int32_t newsBefore(uint32_t node, int32_t index) const;
    static int32_t actAt(const Daemon& daemon, Microseconds time);
    Step stepOf(uint32_t& node, int32_t& index) const;
    Step stepOfFrame(const Act& found, uint32_t& node, int32_t& index) const;
    std::string portName(uint32_t node, uint32_t unit) const;

    Lab& m_lab;
    std::vector<Daemon> m_daemons;
    std::unordered_map<uint64_t, Sent> m_sent;
    std::vector<Chain> m_chains;
    size_t m_period = 0; ///< how many have begun
    Microseconds m_start = 0;
    uint32_t m_lastNode = 0;
    int32_t m_lastAct = NONE;
    Microseconds m_lastTime = 0;
    std::string m_lastChange;
};

/// What was waited for after each event, in sums. @param withSteps  and the chains themselves
void writeWhy(std::ostream& out, const Lab& lab, const Causes& causes, bool withSteps);

} // namespace simtool
