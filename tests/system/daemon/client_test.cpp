// The client as an operator meets it: what it sets is there, what is refused is explained.

#include "daemon_test.h"

using testing::HasSubstr;

class ClientTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        run("ip link add port1 type veth peer name port1p; ip link set port1 up; "
            "ip link set port1p up");
        start();
    }

    void TearDown() override {
        run("ip link del port1");
        DaemonTest::TearDown();
    }

    // The CIST, and a reset that starts the bridge: the client waits for it.
    static void configure() {
        EXPECT_EQ(client("instance add 0").status, 0);
        EXPECT_EQ(client("set region name lab").status, 0);
    }

    static void expectRefused(const std::string& arguments, int status, const std::string& reason) {
        const Ended ended = client(arguments);
        EXPECT_EQ(ended.status, status) << ended.output;
        EXPECT_THAT(ended.output, HasSubstr(reason));
    }
};

TEST_F(ClientTest, ShowsTheRegionThatWasSet) {
    configure();
    EXPECT_EQ(client("set region revision 7").status, 0);

    EXPECT_THAT(client("show region").output, HasSubstr("Region \"lab\", revision 7"));
}

TEST_F(ClientTest, ShowsTheDigestOfNoMappedVlan) {
    configure();

    EXPECT_THAT(client("show region").output, HasSubstr("AC36177F50283CD4B83821D8AB26DE62"));
}

TEST_F(ClientTest, ShowsAPortThatWasAdded) {
    configure();
    EXPECT_EQ(client("port add port1").status, 0);

    // The kernel may take a second to call a fresh link up.
    EXPECT_THAT(eventually("show port port1", "Port port1: link up"),
                HasSubstr("Port port1: link up"));
}

TEST_F(ClientTest, APortThatWasRemovedIsNoLongerShown) {
    configure();
    client("port add port1");
    EXPECT_EQ(client("port del port1").status, 0);

    expectRefused("show port port1", 1, "is no port of the bridge");
}

TEST_F(ClientTest, SetsAnInstancesVlansPriorityAndPorts) {
    configure();
    client("port add port1");
    EXPECT_EQ(client("instance add 2").status, 0);
    EXPECT_EQ(client("set instance 2 vlans +10-19,100").status, 0);
    EXPECT_EQ(client("set instance 2 vlans -12").status, 0);
    EXPECT_EQ(client("set instance 2 priority 4096").status, 0);
    EXPECT_EQ(client("set instance 2 port port1 cost 1234").status, 0);

    const Ended shown = client("show --json");
    EXPECT_THAT(shown.output, HasSubstr("\"vlans\": \"10-11,13-19,100\""));
    EXPECT_THAT(shown.output, HasSubstr("\"priority\": 4096"));
    EXPECT_THAT(shown.output, HasSubstr("\"cost\": 1234"));
}

TEST_F(ClientTest, ABareVlanListReplacesTheInstancesVlans) {
    configure();
    client("instance add 1");
    client("set instance 1 vlans 10-19");
    EXPECT_EQ(client("set instance 1 vlans 15-24").status, 0);

    EXPECT_THAT(client("show instances").output, HasSubstr(" 15-24"));
}

TEST_F(ClientTest, SetsVersionAndDebugMask) {
    configure();
    EXPECT_EQ(client("set bridge version rstp").status, 0);
    EXPECT_EQ(client("set bridge debug 0x81").status, 0);

    const Ended shown = client("show bridge");
    EXPECT_THAT(shown.output, HasSubstr("version rstp"));
    EXPECT_THAT(shown.output, HasSubstr("debug mask 129"));
}

TEST_F(ClientTest, AValueOutOfRangeIsRefusedWithItsRange) {
    expectRefused("set bridge forward-delay 60", 1, "forward-delay takes 4-30 seconds, not \"60\"");
}

TEST_F(ClientTest, APriorityOffItsStepsIsRefusedWithItsSteps) {
    expectRefused("set instance 0 priority 100", 1, "0-61440 in steps of 4096");
}

TEST_F(ClientTest, AVlanOfAnotherInstanceIsRefusedWithTheRule) {
    configure();
    client("instance add 1");
    client("instance add 2");
    client("set instance 1 vlans +10");

    expectRefused("set instance 2 vlans +10", 1, "belongs to another instance");
}

TEST_F(ClientTest, AnInstanceUnderAnOldVersionIsRefusedWithTheRule) {
    configure();
    client("set bridge version rstp");

    expectRefused("set instance 1 priority 4096", 1, "only version mstp has instances above 0");
}

TEST_F(ClientTest, AnUnknownInterfaceIsNamed) {
    expectRefused("port add nowhere9", 1, "there is no interface \"nowhere9\"");
}

TEST_F(ClientTest, AnUnknownSettingIsAnsweredWithTheKnownOnes) {
    expectRefused("set bridge speed 3", 1, "there are: max-age, hello-time");
}

TEST_F(ClientTest, AWrongCommandLineEndsWithCodeTwo) {
    EXPECT_EQ(client("set bridge").status, 2);
    EXPECT_EQ(client("instance add many").status, 2);
    EXPECT_EQ(client("").status, 2);
}

TEST_F(ClientTest, AWrongOptionIsNamedInOneLineOnStandardError) {
    EXPECT_EQ(run("(" MSTP_CLIENT " --bogus 2>&1 >/dev/null)").output,
              "mstp: The following argument was not expected: --bogus; see \"mstp --help\"\n");
}

TEST_F(ClientTest, WithoutADaemonItSaysWhatToDo) {
    stop();

    expectRefused("show", 3, "start mstp-daemon again");
    expectRefused("--run-dir /nonexistent show", 3, "name its folder with --run-dir");
}
