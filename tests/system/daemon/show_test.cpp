// The showing half of the client on a running daemon: every form as JSON, colours, the drawing, and
// what watch tells of links, roots and the daemon itself.

#include <nlohmann/json.hpp>

#include "daemon_test.h"

using testing::HasSubstr;
using testing::Not;

// "mstp watch" in the background, its lines in a file. It never outlives its test.
class Watch {
  public:
    Watch(std::string file, const std::vector<std::string>& options) : m_file(std::move(file)) {
        std::vector<std::string> words = {MSTP_CLIENT, "watch"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char*> arguments;
        for (std::string& word : words) {
            arguments.push_back(word.data());
        }
        arguments.push_back(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            const int fd = open(m_file.c_str(), O_CREAT | O_WRONLY | O_TRUNC, 0600);
            dup2(fd, 1);
            dup2(fd, 2);
            execv(MSTP_CLIENT, arguments.data());
            _exit(127);
        }
    }

    ~Watch() {
        if (m_pid > 0) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
    }

    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    std::string output() const {
        std::ifstream file(m_file);
        std::stringstream text;
        text << file.rdbuf();
        return text.str();
    }

    // The output once @p text is in it, or after twenty seconds.
    std::string eventually(const std::string& text) const {
        for (int i = 0; i < 400 && output().find(text) == std::string::npos; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return output();
    }

    // Ends it by a signal. @return the exit code, or 128 + the signal that killed it
    int end(int signal) {
        kill(m_pid, signal);
        int status = 0;
        waitpid(m_pid, &status, 0);
        m_pid = 0;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    std::string m_file;
    pid_t m_pid = 0;
};

class ShowTest : public DaemonTest {
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

    // The CIST and a port that is designated in it. The region's name makes the bridge start anew,
    // which on a loaded machine may come after the port and drop it: it is added until it stays.
    static void configure() {
        client("instance add 0");
        client("set region name lab");
        std::string shown;
        for (int i = 0; i < 200 && shown.find("port1         0  designated") == shown.npos; i++) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            client("port add port1");
            shown = client("show ports").output;
        }
        ASSERT_THAT(shown, HasSubstr("port1         0  designated"));
    }

    static nlohmann::json json(const std::string& form) {
        return nlohmann::json::parse(client("show " + form + " --json").output);
    }

    // Runs the client on a terminal of its own.
    static std::string onTerminal(const std::string& environment, const std::string& arguments) {
        return run("TERM=xterm " + environment + " script -qec '" MSTP_CLIENT " " + arguments +
                   "' /dev/null")
            .output;
    }

    std::string watchFile() const { return m_folder + "/watch"; }
};

TEST_F(ShowTest, EveryFormIsValidJsonOfItsPart) {
    configure();

    EXPECT_TRUE(json("bridge").contains("bridge"));
    EXPECT_TRUE(json("region").contains("region"));
    EXPECT_EQ(json("instances")["instances"].size(), 1U);
    EXPECT_EQ(json("ports")["ports"].size(), 1U);
    EXPECT_EQ(json("port port1")["ports"][0]["name"], "port1");
    EXPECT_TRUE(json("counters")["ports"][0].contains("counters"));
    EXPECT_EQ(json("").size(), 4U);
}

TEST_F(ShowTest, TheOverviewTellsThatThisBridgeIsTheRoot) {
    configure();

    EXPECT_THAT(client("show").output, HasSubstr("0 (CIST)  this bridge"));
}

TEST_F(ShowTest, APortsSettingsAreShownAsTheyAreSet) {
    configure();
    client("set port port1 edge on");
    client("set port port1 bpdu-filter on");
    client("set port port1 cost 4242");

    const nlohmann::json port = json("port port1")["ports"][0];
    EXPECT_EQ(port["adminEdge"], true);
    EXPECT_EQ(port["bpduFilter"], true);
    EXPECT_EQ(port["adminCost"], 4242);
}

TEST_F(ShowTest, ABridgesProtectionsAreShownAsTheyAreSet) {
    client("set bridge loop-protection on");
    client("set bridge tc-hold-off 33");

    const nlohmann::json bridge = json("bridge")["bridge"];
    EXPECT_EQ(bridge["loopProtection"], true);
    EXPECT_EQ(bridge["tcHoldOff"], 33);
}

TEST_F(ShowTest, WithoutACistTheTimesInForceAreUnknown) {
    EXPECT_TRUE(json("bridge")["bridge"]["rootTimes"]["maxAge"].is_null());
}

TEST_F(ShowTest, ColoursAreForATerminalAlone) {
    EXPECT_THAT(onTerminal("", "show"), HasSubstr("\x1b["));
    EXPECT_THAT(client("show").output, Not(HasSubstr("\x1b")));
}

TEST_F(ShowTest, ATerminalWithoutColoursGetsNone) {
    EXPECT_THAT(onTerminal("NO_COLOR=1", "show"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(onTerminal("TERM=dumb", "show"), Not(HasSubstr("\x1b")));
    EXPECT_THAT(onTerminal("", "show --color never"), Not(HasSubstr("\x1b")));
}

TEST_F(ShowTest, ColoursThatAreAskedForComeAlways) {
    EXPECT_THAT(client("show --color always").output, HasSubstr("\x1b["));
}

TEST_F(ShowTest, TheDrawingIsAcceptedByGraphviz) {
    configure();

    const Ended drawn = run(MSTP_CLIENT " show --dot --instance 0 | dot -Tplain");
    EXPECT_EQ(drawn.status, 0);
    EXPECT_THAT(drawn.output, HasSubstr("port1"));
}

TEST_F(ShowTest, AnInstanceThatIsNotThereIsNotDrawn) {
    const Ended refused = client("show --dot --instance 5");

    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, HasSubstr("there is no instance 5"));
}

TEST_F(ShowTest, FormsThatMakeNoSenseAreWrongCommandLines) {
    EXPECT_EQ(client("show bridge port1").status, 2);
    EXPECT_EQ(client("show port").status, 2);
    EXPECT_EQ(client("show trees").status, 2);
    EXPECT_EQ(client("show --dot --json").status, 2);
    EXPECT_EQ(client("show ports --dot").status, 2);
    EXPECT_EQ(client("show --instance 0").status, 2);
    EXPECT_EQ(client("show --color sometimes").status, 2);
}

TEST_F(ShowTest, WatchTellsALinkThatGoesDownAndItsRole) {
    configure();
    Watch watch(watchFile(), {});
    watch.eventually("port1  instance 0  designated");
    run("ip link set port1p down");

    EXPECT_THAT(watch.eventually("port1  instance 0  disabled discarding  (was "),
                HasSubstr("port1  instance 0  disabled discarding  (was "));
    EXPECT_THAT(watch.output(), HasSubstr("port1  link down\n"));
}

TEST_F(ShowTest, WatchTellsANewRoot) {
    configure();
    Watch watch(watchFile(), {"--interval", "5"});
    watch.eventually("instance 0  root this bridge");
    client("set instance 0 priority 4096");

    EXPECT_THAT(watch.eventually("root this bridge  (was 32768."),
                HasSubstr("instance 0  root this bridge  (was 32768."));
}

TEST_F(ShowTest, WatchTellsATopologyChangeOfItsInstance) {
    configure();
    client("set bridge max-age 6");
    client("set bridge forward-delay 4");
    eventually("show ports", "port1         0  designated  forwarding");
    Watch watch(watchFile(), {});
    watch.eventually("port1  instance 0  designated");
    run("ip link set port1p down");
    watch.eventually("link down");
    run("ip link set port1p up");

    // The port has to learn before it forwards.
    EXPECT_THAT(watch.eventually("topology change"),
                HasSubstr("instance 0  topology change, number "));
}

TEST_F(ShowTest, WatchGoesOnWhenTheDaemonIsRestarted) {
    Watch watch(watchFile(), {});
    client("instance add 0");
    watch.eventually("instance 0  root");
    stop();
    EXPECT_THAT(watch.eventually("daemon gone"), HasSubstr("  daemon gone\n"));
    start();

    // The new daemon knows nothing of the old one's instance.
    const std::string output = watch.eventually("instance 0  gone");
    EXPECT_LT(output.find("  daemon back\n"), output.find("instance 0  gone\n"));
}

TEST_F(ShowTest, WatchPrintsAnObjectALineAsJson) {
    configure();
    Watch watch(watchFile(), {"--json"});
    std::istringstream lines(watch.eventually("\"role\":\"designated\""));

    size_t count = 0;
    for (std::string line; std::getline(lines, line); count++) {
        EXPECT_TRUE(nlohmann::json::accept(line)) << line;
    }
    EXPECT_GE(count, 3U);
}

TEST_F(ShowTest, WatchEndsWellOnCtrlC) {
    configure();
    Watch watch(watchFile(), {"--interval", "60000"});
    watch.eventually("port1  instance 0");

    EXPECT_EQ(watch.end(SIGINT), 0);
}

TEST_F(ShowTest, WatchEndsAfterTheTimeItWasGiven) {
    EXPECT_EQ(client("watch --for 0.2").status, 0);
}

TEST_F(ShowTest, WatchNeedsADaemonToBeginWith) {
    stop();

    EXPECT_EQ(client("watch --for 1").status, 3);
}
