// Configuring as a whole: files of commands, what is saved and replayed, single readings.

#include <nlohmann/json.hpp>

#include "daemon_test.h"
#include "get.h"
#include "mstp/management.h"
#include "script.h"

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

namespace {

class ConfigTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        for (const char* port : {"port1", "port2", "port3", "port4"}) {
            run(std::string("ip link add ") + port + " type veth peer name " + port +
                "p; ip link set " + port + " up; ip link set " + port + "p up");
        }
    }

    void TearDown() override {
        run("for port in port1 port2 port3 port4; do ip link del $port; done");
        DaemonTest::TearDown();
    }

    std::string path(const std::string& name) const { return m_folder + "/" + name; }

    std::string write(const std::string& name, const std::string& text) const {
        std::ofstream(path(name), std::ios::binary) << text;
        return path(name);
    }

    static std::string read(const std::string& path) {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }

    static std::string got(const std::string& what) {
        const Ended ended = client("get " + what);
        return ended.output.substr(0, ended.output.find('\n'));
    }

    static void expectDone(const std::string& arguments) {
        const Ended ended = client(arguments);
        EXPECT_EQ(ended.status, 0) << arguments << ": " << ended.output;
    }

    // A daemon that knows nothing, where the last one was.
    void startAnew(const char* instances = "8", const char* ports = "16") {
        stop();
        run("rm -f " + path("mstpCmd.restore"));
        start(instances, ports);
    }

    // The links have been up for a while, the ports forward, nothing is held.
    static json settled() {
        json shown;
        for (int i = 0; i < 600; i++) {
            const std::string text = client("show --json").output;
            if (text.find("\"linkUp\": false") == std::string::npos &&
                text.find("\"discarding\"") == std::string::npos &&
                text.find("\"learning\"") == std::string::npos &&
                text.find("\"protection\": \"topology-change\"") == std::string::npos) {
                return json::parse(text);
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        ADD_FAILURE() << "never settled:\n" << client("show").output;
        return shown;
    }

    // Counters and times are all that may differ.
    static json stripped(json shown) {
        for (json& instance : shown["instances"]) {
            instance.erase("topologyChanges");
            instance.erase("topologyChange"); // once there was one, it stays
            instance.erase("sinceTopologyChange");
        }
        for (json& port : shown["ports"]) {
            port.erase("upSeconds");
            port.erase("counters");
        }
        return shown;
    }

    // Only the difference is worth reading.
    static void expectSame(const json& before, const json& after) {
        EXPECT_EQ(json::diff(before, after).dump(2), "[]");
    }

    // Eight instances besides the CIST, VLANs dealt over them, four ports, a bit of everything.
    static std::string largeConfiguration() {
        std::string text = "set region name \"my \\\"lab\\\" #1\"\n"
                           "set region revision 77\n"
                           "set bridge forward-delay 4\n"
                           "set bridge max-age 6\n"
                           "set bridge hello-time 1\n"
                           "set bridge max-hops 33\n"
                           "set bridge hold-count 9\n"
                           "set bridge migrate-time 2\n"
                           "set bridge mac 02:00:00:00:0a:0b\n"
                           "set bridge bpdu-guard on\n"
                           "set bridge loop-protection on\n"
                           "set bridge tc-protection on\n"
                           "set bridge tc-hold-off 2\n"
                           "set bridge p2p-detection off\n"
                           "set bridge tc-flushes-neighbours off\n"
                           "set bridge notifications on\n"
                           "set bridge debug 0x80\n"
                           "set bridge debug-priority 3\n"
                           "instance add 0\n"
                           "set instance 0 priority 8192\n";
        for (int i = 1; i <= 8; i++) {
            const std::string number = std::to_string(i);
            text += "instance add " + number + "\nset instance " + number + " vlans " + number +
                    "," + number + "00-" + number + "49\nset instance " + number + " priority " +
                    std::to_string(4096 * i) + "\n";
        }
        text += "set instance 3 root-protection on\n";
        for (const char* port : {"port1", "port2", "port3", "port4"}) {
            text += std::string("port add ") + port + "\n";
        }
        return text + "set port port1 edge on\n"
                      "set port port2 point-to-point off\n"
                      "set port port3 bpdu-filter on\n"
                      "set port port4 pre-standard on\n"
                      "set port port2 cost 4711\n"
                      "set instance 1 port port1 cost 1001\n"
                      "set instance 8 port port4 cost 200000000\n"
                      "set instance 5 port port3 priority 16\n"
                      "set instance 0 port port4 priority 240\n";
    }
};

} // namespace

// ---- there and back

TEST_F(ConfigTest, ASavedConfigurationBringsAFreshDaemonToTheSameState) {
    start("16");
    expectDone("-f " + write("large.conf", largeConfiguration()));
    const json before = stripped(settled());
    expectDone("save " + path("saved.conf"));

    startAnew("16");
    expectDone("-f " + path("saved.conf"));

    expectSame(before, stripped(settled()));
}

TEST_F(ConfigTest, ARecordOfRequestsBringsAFreshDaemonToTheSameState) {
    start("16");
    expectDone("-f " + write("large.conf", largeConfiguration()));
    const json before = stripped(settled());
    run("cp " + path("mstpCmd.restore") + " " + path("record"));

    startAnew("16");
    EXPECT_THAT(client("restore " + path("record")).output,
                HasSubstr(" requests replayed, 0 refused"));

    expectSame(before, stripped(settled()));
}

TEST_F(ConfigTest, WhatIsSavedTwiceIsTheSame) {
    start("16");
    expectDone("-f " + write("large.conf", largeConfiguration()));
    const std::string saved = client("save").output;

    startAnew("16");
    expectDone("-f " + write("saved.conf", saved));

    EXPECT_EQ(client("save").output, saved);
}

TEST_F(ConfigTest, AMacThatIsTurnedOffStaysSoInTheSavedConfiguration) {
    start();
    expectDone("instance add 0");
    expectDone("port add port1");
    eventually("show --json", "\"linkUp\": true");
    expectDone("set port port1 point-to-point off");
    expectDone("set port port1 mac-enabled off");
    expectDone("save " + path("saved.conf"));

    startAnew();
    expectDone("-f " + path("saved.conf"));

    EXPECT_EQ(got("port port1 mac-enabled"), "off");
    EXPECT_EQ(got("port port1 point-to-point-in-force"), "off");
}

TEST_F(ConfigTest, ASavedBridgeOfAnOlderVersionComesBackAsOne) {
    start();
    expectDone("-f " + write("rstp.conf", "set region name old\ninstance add 0\n"
                                          "set bridge version rstp\nport add port1\n"
                                          "set instance 0 port port1 priority 32\n"));
    expectDone("save " + path("saved.conf"));

    startAnew();
    expectDone("-f " + path("saved.conf"));

    EXPECT_EQ(got("bridge version"), "rstp");
    EXPECT_EQ(got("instance 0 port port1 priority"), "32");
}

TEST_F(ConfigTest, AFreshDaemonHasNothingToSaveButItsNames) {
    start();

    const std::string saved = client("save").output;

    EXPECT_THAT(saved, HasSubstr("\nset region name br0\n"));
    EXPECT_THAT(saved, Not(HasSubstr("instance add")));
    EXPECT_THAT(saved, Not(HasSubstr("max-age")));
}

TEST_F(ConfigTest, AValueThatNoFileMaySayIsLeftOutOfTheSavedOneWithAWarning) {
    start();
    const Daemon daemon(m_folder);
    EXPECT_EQ(daemon.setNumber(MSTP_GEN_SETAPI, {}, MSTP_GEN_HOLDTIME, 77).result, 0);

    const Ended saved = client("save " + path("saved.conf"));

    EXPECT_THAT(saved.output, HasSubstr("left out: set bridge hold-count 77"));
    expectDone("-f " + path("saved.conf"));
}

TEST_F(ConfigTest, ASavedFileIsReplacedInOneStep) {
    start();
    write("saved.conf", "old");
    expectDone("save " + path("saved.conf"));

    EXPECT_THAT(read(path("saved.conf")), HasSubstr("set region name"));
    EXPECT_EQ(run("ls " + m_folder + " | grep -c saved.conf").output, "1\n");
}

// ---- files

TEST_F(ConfigTest, NothingIsSentOfAFileWithErrors) {
    start();
    const std::string file = write("wrong.conf", "set bridge max-hops 30\n"
                                                 "set bridge max-age 99\n"
                                                 "port add nowhere9\n"
                                                 "set instance 1 priority 0\n");

    const Ended ended = client("-f " + file);

    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr(file + ":2: max-age takes 6-40 seconds, not \"99\"\n"));
    EXPECT_THAT(ended.output, HasSubstr(file + ":3: there is no interface \"nowhere9\" here\n"));
    EXPECT_THAT(ended.output, HasSubstr(file + ":4: set instance 1 priority 0: there is no inst"));
    EXPECT_EQ(got("bridge max-hops"), "20");
}

TEST_F(ConfigTest, ARefusalOnTheWayStopsTheFileAndIsToldWithItsLine) {
    start("8", "1");
    const std::string file =
        write("ports.conf", "port add port1\nport add port2\nport add port3\n");

    const Ended ended = client("-f " + file);

    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output,
                HasSubstr(file + ":2: port add port2: either the daemon has no room"));
    EXPECT_THAT(ended.output, HasSubstr("what stands before this line is in force"));
    EXPECT_THAT(ended.output, Not(HasSubstr(":3:")));
    EXPECT_EQ(got("port port1 stp"), "on");
}

TEST_F(ConfigTest, StandardInputIsAFileToo) {
    start();

    EXPECT_EQ(run("echo 'set bridge max-hops 30' | " MSTP_CLIENT " -f -").status, 0);

    EXPECT_EQ(got("bridge max-hops"), "30");
}

TEST_F(ConfigTest, AFileStandsAlone) {
    start();
    const std::string file = write("a.conf", "set bridge max-hops 30\n");

    EXPECT_EQ(client("-f " + file + " set bridge max-hops 31").status, 2);

    EXPECT_EQ(got("bridge max-hops"), "20");
}

TEST_F(ConfigTest, AFileThatCannotBeReadIsNamed) {
    start();

    EXPECT_THAT(client("-f /nonexistent").output, HasSubstr("cannot read /nonexistent: No such"));
}

// ---- records

TEST_F(ConfigTest, TheRecordThatTheDaemonWritesCanBeReplayed) {
    start();
    expectDone("instance add 0");
    expectDone("set bridge max-hops 30");

    EXPECT_EQ(client("restore " + path("mstpCmd.restore")).output,
              "2 requests replayed, 0 refused\n");
    EXPECT_EQ(client("restore " + path("mstpCmd.restore")).output,
              "4 requests replayed, 0 refused\n");
}

TEST_F(ConfigTest, WhatWasRefusedIsRefusedAgainAndCounted) {
    start();
    client("set instance 5 priority 0");
    expectDone("set bridge max-hops 30");
    run("cp " + path("mstpCmd.restore") + " " + path("record"));

    startAnew();
    const Ended ended = client("restore " + path("record"));

    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "2 requests replayed, 1 refused\n");
    EXPECT_EQ(got("bridge max-hops"), "30");
}

TEST_F(ConfigTest, NothingIsSentOfADamagedRecord) {
    start();
    expectDone("set bridge max-hops 30");
    const std::string record = read(path("mstpCmd.restore"));

    startAnew();
    const Ended ended = client("restore " + write("record", record + "abc"));

    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr("offset " + std::to_string(record.size())));
    EXPECT_EQ(got("bridge max-hops"), "20");
}

// ---- single commands

TEST_F(ConfigTest, EverythingThatTheDaemonAnswersHasAName) {
    start();
    expectDone("instance add 0");
    expectDone("instance add 1");
    expectDone("port add port1");
    const Daemon daemon(m_folder);
    for (const Target& target : std::initializer_list<Target>{{Object::Bridge, 0, ""},
                                                              {Object::Port, 0, "port1"},
                                                              {Object::Instance, 1, ""},
                                                              {Object::InstancePort, 1, "port1"}}) {
        const auto [selector, keys] = addressOf(target);
        for (uint32_t attribute = 0; attribute <= 64; attribute++) {
            bool named = false;
            for (const Setting& setting : settings()) {
                const Object object =
                    setting.object == Object::Region ? Object::Bridge : setting.object;
                named = named || (object == target.object && setting.attribute == attribute &&
                                  setting.readable() && readValue(daemon, target, setting));
            }
            const bool answered = daemon.getNumber(selector, keys, attribute).result == 0 ||
                                  daemon.getOctets(selector, keys, attribute).result == 0;
            EXPECT_EQ(named, answered) << targetWords(target) << " attribute " << attribute;
        }
    }
}

TEST_F(ConfigTest, WhatIsReadIsInPeoplesUnits) {
    start();
    expectDone("instance add 0");
    expectDone("instance add 2");
    expectDone("set instance 2 vlans 10-19");
    expectDone("port add port1");

    EXPECT_EQ(got("bridge forward-delay"), "15");
    EXPECT_EQ(got("bridge capability"), "802.1Q");
    EXPECT_EQ(got("port port1 edge"), "off");
    EXPECT_EQ(got("instance 2 vlans"), "10-19");
    EXPECT_EQ(got("instance 2 root-port"), "none");
    EXPECT_EQ(got("instance 2 row-status"), "active");
    EXPECT_THAT(eventually("get instance 2 port port1 role", "designated"),
                HasSubstr("designated\n"));
}

TEST_F(ConfigTest, AReadingThatTheDaemonDoesNotHaveIsExplained) {
    start();

    EXPECT_THAT(client("get bridge max-age-in-force").output, HasSubstr("there is no CIST"));
    EXPECT_THAT(client("get port port1 edge").output, HasSubstr("is no port of the bridge"));
    EXPECT_EQ(client("get port port1 edge").status, 1);
    EXPECT_EQ(client("get port").status, 2);
}

// A reset of the bridge is still to come when its request is answered, and would drop the cost.
TEST_F(ConfigTest, CommandsThatFollowEachOtherAtOnceDoNotUndoEachOther) {
    start();

    run(MSTP_CLIENT " set bridge version rstp; " MSTP_CLIENT
                    " set bridge version mstp; " MSTP_CLIENT " instance add 0; " MSTP_CLIENT
                    " port add port1; " MSTP_CLIENT " set instance 0 port port1 cost 7");

    expectDone("set region name lab");
    EXPECT_EQ(got("instance 0 port port1 cost"), "7");
}

TEST_F(ConfigTest, AddingAnInstanceThatExistsLeavesItAsItIs) {
    start();
    expectDone("instance add 0");
    expectDone("port add port1");
    expectDone("set instance 0 port port1 cost 7");

    expectDone("instance add 0");

    EXPECT_EQ(got("instance 0 port port1 cost"), "7");
}

TEST_F(ConfigTest, ATimeThatBreaksTheRuleOfThePresentTimesIsRefusedWithTheRule) {
    start();

    const Ended ended = client("set bridge forward-delay 10");

    EXPECT_EQ(ended.status, 1);
    EXPECT_THAT(ended.output, HasSubstr("2 x (forward-delay - 1) must not be less than max-age"));
    EXPECT_EQ(got("bridge forward-delay"), "15");
}

TEST_F(ConfigTest, AVlanListThatIsRefusedTakesNothingFromTheCist) {
    start();
    expectDone("instance add 0");
    expectDone("instance add 1");
    expectDone("instance add 2");
    expectDone("set instance 1 vlans 20");

    EXPECT_EQ(client("set instance 2 vlans +10-30").status, 1);

    EXPECT_EQ(got("instance 0 vlans"), "1-19,21-4094");
}

TEST_F(ConfigTest, AMapDealsVlansOutAndTakesThePortsOut) {
    start();
    expectDone("instance add 0");
    expectDone("port add port1");

    expectDone("map instances 0-2 vlans 1-6");

    EXPECT_EQ(got("instance 1 vlans"), "2,5");
    EXPECT_EQ(got("instance 2 vlans"), "3,6");
    EXPECT_EQ(got("port port1 stp"), "off");
}

TEST_F(ConfigTest, AMirroredBpduIsCountedAsHeard) {
    start();
    expectDone("instance add 0");
    expectDone("port add port1");

    // A topology change notification.
    expectDone("mirror port1 00000080");

    EXPECT_EQ(got("port port1 received-tcn"), "1");
}

TEST_F(ConfigTest, HelpOfEverySubcommandNeedsNoDaemon) {
    for (const char* command : {"", "set", "get", "port", "instance", "map", "mirror", "save",
                                "restore", "show", "watch"}) {
        const Ended ended = client(std::string(command) + " --help");
        EXPECT_EQ(ended.status, 0) << command;
        EXPECT_THAT(ended.output, HasSubstr("Usage: ")) << command;
    }
}
