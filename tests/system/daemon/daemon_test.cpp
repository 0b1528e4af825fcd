// Bad input at every door of the daemon: its command line, its socket, its permissions.

#include "daemon_test.h"

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

static std::vector<uint8_t> framed(uint32_t length, const std::vector<uint8_t>& message) {
    std::vector<uint8_t> bytes(sizeof length + message.size());
    memcpy(bytes.data(), &length, sizeof length);
    std::copy(message.begin(), message.end(), bytes.begin() + sizeof length);
    return bytes;
}

TEST_F(DaemonTest, TooFewArgumentsAreRefusedWithOneLine) {
    const Ended ended = run(MSTP_DAEMON " br0 0 0");

    EXPECT_EQ(ended.status, 255);
    EXPECT_THAT(ended.output, HasSubstr("usage: "));
    EXPECT_EQ(std::count(ended.output.begin(), ended.output.end(), '\n'), 1);
}

TEST_F(DaemonTest, AnArgumentThatIsNoNumberIsNamed) {
    const Ended ended = run("timeout -s KILL 1 " MSTP_DAEMON " br0 0 many 0 1 8 16");

    EXPECT_THAT(ended.output, HasSubstr("\"many\", is not a decimal number"));
}

TEST_F(DaemonTest, ASocketPathThatCannotBeRemovedEndsTheStart) {
    mkdir(socketPath().c_str(), 0700);

    const Ended ended = run(MSTP_DAEMON " br0 0 0 0 1 8 16");

    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("bind failed!\n\r: Address already in use"));
}

TEST_F(DaemonTest, ARunFolderThatDoesNotExistEndsTheStart) {
    const Ended ended = run("MSTP_RUN_DIR=/nonexistent " MSTP_DAEMON " br0 0 0 0 1 8 16");

    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("bind failed!\n\r: No such file or directory"));
}

TEST_F(DaemonTest, ARunFolderWhoseNameIsTooLongEndsTheStart) {
    const Ended ended =
        run("MSTP_RUN_DIR=/tmp/" + std::string(120, 'x') + " " MSTP_DAEMON " br0 0 0 0 1 8 16");

    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("bind failed!\n\r: File name too long"));
}

TEST_F(DaemonTest, WithoutPermissionForAPacketSocketTheStartEnds) {
    chmod(m_folder.c_str(), 0777);

    const Ended ended = run("setpriv --reuid 65534 --regid 65534 --clear-groups "
                            "--bounding-set -all " MSTP_DAEMON " br0 0 0 0 1 8 16");

    EXPECT_EQ(ended.status, 0);
    EXPECT_THAT(ended.output, HasSubstr("pktSocketFd failed\n\r"));
}

TEST_F(DaemonTest, TheCommandSocketIsItsOwnersAlone) {
    start();

    struct stat status = {};
    ASSERT_EQ(stat(socketPath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(DaemonTest, ARequestThatIsCutShortCostsNothingButItsConnection) {
    start();

    EXPECT_THAT(raw(framed(40, {'A', 'D', 'R', '1', 0, 0})), IsEmpty());

    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_THAT(log(), HasSubstr("mstpCmdServer recv buf failed!"));
}

TEST_F(DaemonTest, ALengthOfTwoGigabytesCostsNothingButItsConnection) {
    start();

    EXPECT_THAT(raw(framed(0x80000000, std::vector<uint8_t>(64))), IsEmpty());

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, ALengthThatIsCutShortCostsNothingButItsConnection) {
    start();

    EXPECT_THAT(raw({41, 0}), IsEmpty());

    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_THAT(log(), HasSubstr("mstpCmdServer recv buflen failed!"));
}

TEST_F(DaemonTest, ALengthOfOneByteMoreThanIsServedCostsNothingButItsConnection) {
    start();

    EXPECT_THAT(raw(framed(1521, std::vector<uint8_t>(1521))), IsEmpty());

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, ALengthOfZeroGetsAnEmptyReply) {
    start();

    EXPECT_EQ(raw(framed(0, {})), std::vector<uint8_t>(4));

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, WhatFollowsARequestIsNotTakenForAnother) {
    start();

    EXPECT_EQ(raw(framed(26, std::vector<uint8_t>(500))), std::vector<uint8_t>(4));

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, AClientThatLeavesBeforeItsReplyCostsNothingButItsConnection) {
    start();

    raw(framed(64, std::vector<uint8_t>(64, 0xFF)), false);

    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_TRUE(alive());
}

TEST_F(DaemonTest, ManyBadClientsInARowCostNothingButTheirConnections) {
    start();
    for (uint32_t i = 0; i < 100; i++) {
        raw(framed(0xFFFFFF00 + i, std::vector<uint8_t>(i)), i % 2 == 0);
    }

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, AClientThatClosesAtOnceCostsNothingButItsConnection) {
    start();

    raw({}, false);

    EXPECT_EQ(client("show bridge").status, 0);
    EXPECT_THAT(log(), HasSubstr("mstpCmdServer recv buflen failed!"));
}

TEST_F(DaemonTest, ARequestTooShortForAHeaderGetsAnEmptyReply) {
    start();

    EXPECT_EQ(raw(framed(25, std::vector<uint8_t>(25))), std::vector<uint8_t>(4));

    EXPECT_THAT(log(), HasSubstr("len 25 err!"));
}

TEST_F(DaemonTest, ABytesThatAreNoMessageGetAnEmptyReply) {
    start();

    EXPECT_EQ(raw(framed(64, std::vector<uint8_t>(64, 0xFF))), std::vector<uint8_t>(4));

    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, AStaleSocketFileDoesNotKeepTheNextDaemonFromStarting) {
    start();
    stop();
    start();

    EXPECT_TRUE(alive());
    EXPECT_EQ(client("show bridge").status, 0);
}

TEST_F(DaemonTest, ACrashPutsABacktraceOnStandardErrorAndEndsByItsSignal) {
    // A sanitizer that takes the signal for itself would leave nothing to the daemon's handler.
    setenv("ASAN_OPTIONS", "detect_leaks=0:handle_segv=0", 1);
    start();
    kill(m_pid, SIGSEGV);
    int status = 0;
    waitpid(m_pid, &status, 0);
    m_pid = 0;

    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGSEGV) << status;
    EXPECT_THAT(log(), HasSubstr("mstpLoopWait"));
}

TEST_F(DaemonTest, EverySetRequestIsAppendedToTheRestoreFile) {
    start();
    client("instance add 0");
    client("set region name lab");

    struct stat status = {};
    ASSERT_EQ(stat((m_folder + "/mstpCmd.restore").c_str(), &status), 0);
    EXPECT_GT(status.st_size, 60);
}

TEST_F(DaemonTest, ARestoreFileThatIsALinkIsNotFollowed) {
    start();
    ASSERT_EQ(symlink("/tmp/mstp-must-not-exist", (m_folder + "/mstpCmd.restore").c_str()), 0);

    EXPECT_EQ(client("instance add 0").status, 0);

    EXPECT_NE(access("/tmp/mstp-must-not-exist", F_OK), 0);
}
