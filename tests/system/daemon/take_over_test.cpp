// Who runs spanning tree on a kernel bridge. These tests have a network namespace of their own, in
// which the kernel leaves it to nobody.

#include "daemon_test.h"

using testing::HasSubstr;

namespace {

class TakeOverTest : public DaemonTest {
  protected:
    void SetUp() override {
        DaemonTest::SetUp();
        ASSERT_EQ(run("ip link add br0 type bridge").status, 0);
    }

    void TearDown() override {
        run("ip link del br0");
        DaemonTest::TearDown();
    }

    static Ended daemon() { return run("timeout -s KILL 20 " MSTP_DAEMON " br0 0 0 0 1 8 16"); }

    // 0 off, 1 the kernel's own, 2 left to user space.
    static std::string stpState() {
        return run("ip -d link show br0 | grep -o 'stp_state [0-9]'").output;
    }
};

} // namespace

TEST_F(TakeOverTest, ABridgeWhoseSpanningTreeTheKernelKeepsIsRefusedWithOneLine) {
    const Ended ended = daemon();

    EXPECT_EQ(ended.status, 255);
    EXPECT_THAT(ended.output, HasSubstr("bridge br0: the kernel keeps spanning tree to itself"));
    EXPECT_EQ(std::count(ended.output.begin(), ended.output.end(), '\n'), 1);
}

TEST_F(TakeOverTest, ARefusedBridgeIsLeftAsItWas) {
    daemon();

    EXPECT_EQ(stpState(), "stp_state 0\n");
}

TEST_F(TakeOverTest, ABridgeThatRunsTheKernelsOwnSpanningTreeIsRefused) {
    run("ip link set br0 type bridge stp_state 1");

    const Ended ended = daemon();

    EXPECT_EQ(ended.status, 255);
    EXPECT_THAT(ended.output,
                HasSubstr("the kernel runs spanning tree on it; turn that off first"));
    EXPECT_EQ(stpState(), "stp_state 1\n");
}

TEST_F(TakeOverTest, AnInterfaceOfTheBridgesNameThatIsNoBridgeIsNoHindrance) {
    run("ip link del br0; ip link add br0 type dummy");
    start();

    EXPECT_EQ(client("show bridge").status, 0);
}
