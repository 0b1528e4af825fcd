// A third party on the wire: two daemons go on with their work whatever a neighbour says.
//
//         +--- port1 -- the third party -- port1 ---+
//   first |                                         | second
//         +--- port2 ------------------------ port2-+
//
// The first is the root of every instance; the second blocks its port2. The daemons are in the
// region that the frames of the fuzzing corpora come from, where those come from a region at all.

#include <future>
#include <set>

#include "hostile_frames.h"
#include "hostile_link.h"

using namespace std::chrono_literals;

namespace {

constexpr uint32_t INSTANCES = 3;

enum : uint32_t { ALTERNATE = 2, ROOT = 4, DESIGNATED = 5 }; // roles
enum : uint32_t { DISCARDING = 1, FORWARDING = 3 };          // states

class HostileTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        m_first = std::make_unique<Neighbour>(m_folder + "/first");
        m_second = std::make_unique<Neighbour>(m_folder + "/second");
        wire();
        m_first->launch();
        m_second->launch();
        m_thirdParty = std::make_unique<ThirdParty>("first1", "second1");
        configure(*m_first, 1, 0x8000);
        configure(*m_second, 2, 0x9000);
        ASSERT_EQ(awaitTree(picture()), picture());
    }

    void TearDown() override {
        m_thirdParty.reset();
        for (const Neighbour* each : {m_first.get(), m_second.get()}) {
            EXPECT_THAT(each->log(), testing::Not(testing::HasSubstr("Sanitizer")));
            EXPECT_THAT(each->log(), testing::Not(testing::HasSubstr("runtime error")));
        }
        m_first.reset();
        m_second.reset();
        run("ip link del first1");
        run("ip link del second1");
        DaemonTest::TearDown();
    }

    static std::string line(const char* where, uint32_t xst, uint32_t role, uint32_t state) {
        return std::string(where) + " instance " + std::to_string(xst) + " role " +
               std::to_string(role) + " state " + std::to_string(state) + "\n";
    }

    /// The tree that the picture above shows.
    static std::string picture() {
        std::string text;
        for (uint32_t xst = 0; xst < INSTANCES; xst++) {
            text += line("first port1", xst, DESIGNATED, FORWARDING);
            text += line("first port2", xst, DESIGNATED, FORWARDING);
            text += line("second port1", xst, ROOT, FORWARDING);
            text += line("second port2", xst, ALTERNATE, DISCARDING);
        }
        return text;
    }

    /// Role and state of every port in every instance, a line each.
    std::string tree() const {
        std::string text;
        for (uint32_t xst = 0; xst < INSTANCES; xst++) {
            text += line("first port1", xst, role(*m_first, xst, 0), state(*m_first, xst, 0));
            text += line("first port2", xst, role(*m_first, xst, 1), state(*m_first, xst, 1));
            text += line("second port1", xst, role(*m_second, xst, 0), state(*m_second, xst, 0));
            text += line("second port2", xst, role(*m_second, xst, 1), state(*m_second, xst, 1));
        }
        return text;
    }

    /// Topology changes that both bridges counted in all instances.
    uint32_t topologyChanges() const {
        uint32_t total = 0;
        for (const Neighbour* each : {m_first.get(), m_second.get()}) {
            for (uint32_t xst = 0; xst < INSTANCES; xst++) {
                total += each->get(
                    Request(MSTP_XST_GETAPI, MSTP_XST_TOPOLOGYCHANGESCOUNT).index({xst}).int32(0));
            }
        }
        return total;
    }

    /// Waits until the news of the tree's last change have gone round: for longer than a port tells
    /// of a change, no bridge counts one.
    void awaitQuiet() const {
        uint32_t quiet = 0;
        uint32_t changes = topologyChanges();
        for (int i = 0; i < 600 && quiet < 40; i++) {
            std::this_thread::sleep_for(100ms);
            const uint32_t now = topologyChanges();
            quiet = now == changes ? quiet + 1 : 0;
            changes = now;
        }
        EXPECT_EQ(quiet, 40U);
    }

    /// Lets @p attack run and looks at the tree meanwhile. @return the trees that were seen
    template <class Attack> std::set<std::string> treesDuring(Attack attack) const {
        std::set<std::string> trees;
        auto attacking = std::async(std::launch::async, attack);
        while (attacking.wait_for(20ms) != std::future_status::ready) {
            trees.insert(tree());
        }
        return trees;
    }

    /// Lets @p attack run and asks both daemons meanwhile. @return how long the slowest answer took
    template <class Attack> Clock::duration slowestAnswerDuring(Attack attack) const {
        Clock::duration slowest = {};
        auto attacking = std::async(std::launch::async, attack);
        while (attacking.wait_for(10ms) != std::future_status::ready) {
            for (const Neighbour* each : {m_first.get(), m_second.get()}) {
                const Clock::time_point asked = Clock::now();
                role(*each, 0, 0);
                slowest = std::max(slowest, Clock::now() - asked);
            }
        }
        return slowest;
    }

    /// What a counter of BPDUs says of both daemons' ends of the wire with the third party.
    uint32_t counted(uint32_t attribute) const {
        uint32_t total = 0;
        for (const Neighbour* each : {m_first.get(), m_second.get()}) {
            total +=
                each->get(Request(MSTP_PORT_GETAPI, attribute).index({each->units[0]}).int32(0));
        }
        return total;
    }

    /// Asks the bridges to find out anew how their neighbours speak: a neighbour that once spoke
    /// STP is spoken to in STP until somebody asks (IEEE 802.1D-2004 17.19.13).
    void askForMigration() const {
        for (const Neighbour* each : {m_first.get(), m_second.get()}) {
            each->set(Request(MSTP_PORT_SETAPI, MSTP_PORT_PROTOCOLMIGRATION)
                          .index({each->units[0]})
                          .int32(1));
        }
    }

    /// Waits until the tree is @p expected again. @return the last tree seen
    std::string awaitTree(const std::string& expected) const {
        std::string seen = tree();
        for (int i = 0; i < 600 && seen != expected; i++) {
            std::this_thread::sleep_for(100ms);
            seen = tree();
        }
        return seen;
    }

    std::unique_ptr<Neighbour> m_first;
    std::unique_ptr<Neighbour> m_second;
    std::unique_ptr<ThirdParty> m_thirdParty;

  private:
    static uint32_t ask(const Neighbour& daemon, uint32_t attribute, uint32_t xst, uint32_t port) {
        return daemon.get(
            Request(MSTP_XSTPORT_GETAPI, attribute).index({xst, daemon.units[port]}).int32(0));
    }
    static uint32_t role(const Neighbour& daemon, uint32_t xst, uint32_t port) {
        return ask(daemon, MSTP_XSTPORT_ROLE, xst, port);
    }
    static uint32_t state(const Neighbour& daemon, uint32_t xst, uint32_t port) {
        return ask(daemon, MSTP_XSTPORT_STATE, xst, port);
    }

    void wire() {
        const std::string first = std::to_string(m_first->pid());
        const std::string second = std::to_string(m_second->pid());
        const Ended wired =
            run("ip link add first1 type veth peer name port1 netns " + first +
                " && ip link add second1 type veth peer name port1 netns " + second +
                " && ip link add port2 netns " + first + " type veth peer name port2 netns " +
                second + " && ip link set first1 up && ip link set second1 up");
        ASSERT_EQ(wired.status, 0) << wired.output;
        for (Neighbour* each : {m_first.get(), m_second.get()}) {
            each->inside("ip link set port1 up");
            each->inside("ip link set port2 up");
            each->units[0] = each->unitOf("port1");
            each->units[1] = each->unitOf("port2");
        }
    }

    /// Region "sw1" with VLAN 10 in instance 1 and VLAN 20 in instance 2, and the shortest times.
    static void configure(const Neighbour& daemon, uint8_t number, uint32_t priority) {
        const auto general = [&](uint32_t attribute, uint32_t value) {
            daemon.set(Request(MSTP_GEN_SETAPI, attribute).index({}).int32(value));
        };
        const auto instance = [&](uint32_t xst, uint32_t attribute, uint32_t value) {
            daemon.set(Request(MSTP_XST_SETAPI, attribute).index({xst}).int32(value));
        };
        for (uint32_t xst = 0; xst < INSTANCES; xst++) {
            instance(xst, MSTP_XST_ROWSTATUS, 4);
            instance(xst, MSTP_XST_BRIDGEPRIORITY, priority);
        }
        daemon.set(Request(MSTP_XST_SETAPI, MSTP_XST_VLANLIST).index({1}).octets({0, 0x40}));
        daemon.set(Request(MSTP_XST_SETAPI, MSTP_XST_VLANLIST).index({2}).octets({0, 0, 0x10}));
        daemon.set(Request(MSTP_GEN_SETAPI, MSTP_GEN_BRIDGEMAC)
                       .index({})
                       .octets({0x02, 0, 0, 0, 0, number}));
        daemon.set(Request(MSTP_GEN_SETAPI, MSTP_GEN_CFGIDNAME).index({}).octets({'s', 'w', '1'}));
        general(MSTP_GEN_BRIDGEFORWARDDELAY, 400);
        general(MSTP_GEN_BRIDGEMAXAGE, 600);
        for (const uint32_t unit : daemon.units) {
            daemon.set(Request(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP).index({unit}).int32(2));
        }
    }
};

} // namespace

TEST_F(HostileTest, InvalidFramesLeaveTheTreeAlone) {
    const std::vector<Bytes> frames = invalidFrames();
    awaitQuiet();
    const uint32_t changes = topologyChanges();

    const std::set<std::string> seen = treesDuring([&] {
        m_thirdParty->sayOnce(frames);
        m_thirdParty->flood(frames, 2s);
    });

    EXPECT_THAT(seen, testing::ElementsAre(picture()));
    EXPECT_EQ(tree(), picture());
    EXPECT_EQ(topologyChanges(), changes);
}

TEST_F(HostileTest, ManagementIsAnsweredWithinASecondUnderAFlood) {
    const std::vector<Bytes> invalid = invalidFrames();
    const std::vector<Bytes> valid = validFrames();
    uint32_t said = 0;

    const Clock::duration slowest = slowestAnswerDuring([&] {
        said += m_thirdParty->flood(invalid, 1500ms);
        said += m_thirdParty->flood(valid, 1500ms);
        said += m_thirdParty->flood(m_thirdParty->overheard(), 1500ms);
    });

    EXPECT_LT(slowest, 1s);
    RecordProperty("frames", static_cast<int>(said));
}

TEST_F(HostileTest, ReplaysAndBetterRootsAreForgottenOnceTheyStop) {
    const std::vector<Bytes> frames = onlyRapid(validFrames());

    const std::set<std::string> seen = treesDuring([&] {
        m_thirdParty->sayOnce(m_thirdParty->overheard());
        m_thirdParty->sayOnce(frames);
        m_thirdParty->flood(frames, 1s);
    });

    EXPECT_GT(seen.size(), 1U) << "no frame had an effect";
    EXPECT_EQ(awaitTree(picture()), picture());
}

TEST_F(HostileTest, DaemonsTalkedDownToStpReturnToMstpAfterAMigrationCheck) {
    const std::vector<Bytes> frames = worseStp(validFrames());
    for (int i = 0; i < 600 && counted(MSTP_PORT_TXCFGBPDUCOUNTER) == 0; i++) {
        m_thirdParty->sayOnce(frames);
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_GT(counted(MSTP_PORT_TXCFGBPDUCOUNTER), 0U) << "no frame had an effect";

    askForMigration();

    const uint32_t before = counted(MSTP_PORT_RXMSTBPDUCOUNTER);
    for (int i = 0; i < 600 && counted(MSTP_PORT_RXMSTBPDUCOUNTER) == before; i++) {
        std::this_thread::sleep_for(50ms);
    }
    EXPECT_GT(counted(MSTP_PORT_RXMSTBPDUCOUNTER), before);
    EXPECT_EQ(awaitTree(picture()), picture());
}
