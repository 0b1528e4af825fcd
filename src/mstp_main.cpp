// Start-up and the main loop.
//
// The daemon is one thread. It waits on three sockets (BPDUs, link messages, commands) and on its
// timer list; an iteration runs the due timers and then serves at most one frame, one command and
// one link datagram, so that no source can starve another. Work that wants the machines to run is
// not done where it arises: it sets bits in the bridge's event word and posts a message, a timer of
// one tick, so that a burst of changes is handled by one pass.
//
// Every pool is allocated here, once; nothing is allocated afterwards.

#include "mstp_main.h"

#include <linux/netlink.h>
#include <netinet/in.h>
#include <netpacket/packet.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysinfo.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "mstp_bridge.h"
#include "mstp_command_server.h"
#include "mstp_debug.h"
#include "mstp_io.h"
#include "mstp_link_events.h"
#include "mstp_nm.h"
#include "mstp_port.h"
#include "mstp_show.h"
#include "mstp_xst.h"
#include "platform/debug.h"
#include "platform/hardware.h"
#include "platform/interfaces.h"
#include "platform/joined_ports.h"
#include "platform/seam.h"
#include "platform/signals.h"
#include "platform/take_over.h"

tMstp gMstp;
int32_t mstpTimeProcessEnable;
uint32_t mstpRestoring;

static constexpr uint32_t DEFAULT_PRIORITY = 50;
static constexpr uint32_t DEFAULT_STACK_SIZE = 32768;
static constexpr uint8_t DEFAULT_QUEUE_DEPTH = 128;
static constexpr uint8_t DEFAULT_BRIDGE_LIMIT = 1;
static constexpr uint8_t DEFAULT_XST_LIMIT = 64;
static constexpr uint16_t DEFAULT_PORT_LIMIT = 64;
static constexpr uint16_t BPDU_LINK_PROTOCOL = 0x0042;
static constexpr int32_t RXPKTINFO_ALL = 65535;
static constexpr int32_t COMMAND_BACKLOG = 10;
static constexpr uint32_t MINIMUM_WAIT_MS = 17;
static constexpr uint32_t MSG_TICKS = 1;

// ---- small services
// ------------------------------------------------------------------------------

// One thread does everything: the brackets that management puts around its work do nothing.
void mstpLock() {}

void mstpUnLock() {}

uint32_t mstpGetSysUpTime() {
    struct sysinfo info = {};
    if (sysinfo(&info) != 0) {
        return 0;
    }
    return static_cast<uint32_t>(info.uptime);
}

int32_t mstpRunPath(char* path, const char* name) {
    const char* folder = getenv("MSTP_RUN_DIR");
    if (folder == nullptr || folder[0] == '\0') {
        folder = "/tmp";
    }
    const int32_t length = snprintf(path, MSTP_PATH_SIZE, "%s/%s", folder, name);
    if (length < 0 || static_cast<uint32_t>(length) >= MSTP_PATH_SIZE) {
        path[0] = '\0';
        return -1;
    }
    return 0;
}

// ---- start-up
// ------------------------------------------------------------------------------------

// A missing argument counts as 0, also the seventh, which the count test lets be absent. One that
// is no number is read as atoi reads it, but not without a word.
static uint32_t numberArgument(int32_t argc, char** argv, int32_t which) {
    if (which >= argc) {
        return 0;
    }
    const char* text = argv[which];
    errno = 0;
    const long number = strtol(text, nullptr, 10);
    const auto value = static_cast<int32_t>(number);
    const char* fault = nullptr;
    if (text[0] == '\0' || text[strspn(text, "0123456789")] != '\0') {
        fault = "is not a decimal number";
    } else if (errno != 0 || value != number) {
        fault = "is too great";
    }
    if (fault != nullptr) {
        fprintf(stderr, "%s: argument %d, \"%s\", %s; taken as %d\n", argv[0], which, text, fault,
                value);
    }
    return static_cast<uint32_t>(value);
}

static void toggleDebug() {
    gMstp.debug == 0 ? mstpDebugOn() : mstpDebugOff();
}

// What an operator without a client can ask for: a dump of everything, and traces on and off.
static void takeSignals() {
    if (platformOnSignal == nullptr) {
        return;
    }
    if (platformOnSignal(SIGUSR1, mstpInfoShow) != 0 ||
        platformOnSignal(SIGUSR2, toggleDebug) != 0) {
        perror("the signals USR1 and USR2 are not served");
    }
}

// As if management had asked for it. Before its first initialisation, and before a fast map that is
// pending, a bridge would only have to drop the port again.
static int32_t takeJoinedPort(uint32_t unit) {
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (bridge == nullptr || bridge->inited == 0 || bridge->isFastMapVlan == 1 ||
        mstpXstGet(bridge, 0) == nullptr) {
        return PLATFORM_PORT_LATER;
    }
    uint32_t nonStp = MSTP_FALSE;
    return mstpPortSetApi(unit, MSTP_PORT_ADMINNONSTP, &nonStp) == 0 ? PLATFORM_PORT_TAKEN
                                                                     : PLATFORM_PORT_REFUSED;
}

int32_t mstpStart(int32_t argc, char** argv) {
    kelCatchSegFault(argc, argv);
    // Most texts end without a line break and must be seen where standard output is a pipe, too.
    setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc < 7) {
        fprintf(stderr,
                "usage: %s BRIDGE PRIORITY STACK-SIZE QUEUE-DEPTH BRIDGE-LIMIT INSTANCE-LIMIT "
                "PORT-LIMIT\n",
                argc > 0 ? argv[0] : "mstp-daemon");
        return -1;
    }
    takeSignals();
    if (platformTakeOver != nullptr && platformTakeOver() != 0) {
        return -1;
    }
    if (platformOnPortJoined != nullptr) {
        platformOnPortJoined(takeJoinedPort);
    }
    const int32_t result =
        mstpInit(argv[1], numberArgument(argc, argv, 2), numberArgument(argc, argv, 3),
                 numberArgument(argc, argv, 4), numberArgument(argc, argv, 5) & 0xFF,
                 numberArgument(argc, argv, 6) & 0xFF, numberArgument(argc, argv, 7) & 0xFFFF);
    if (result == 0) {
        mstpMain();
    }
    return 0;
}

static void setBridgeName(const char* bridgeName) {
    // The length is kept in 8 bits: a name of 256 characters counts as empty.
    const uint32_t length = strlen(bridgeName) % 256;
    if (length == 0) {
        memcpy(gMstp.bridgeName, "region", 6);
        gMstp.bridgeLen = 6;
        return;
    }
    gMstp.bridgeLen = static_cast<uint8_t>(length < 33 ? length : 32);
    memcpy(gMstp.bridgeName, bridgeName, gMstp.bridgeLen);
}

static void setLimits(uint32_t priority, uint32_t stackSize, uint32_t msgQDeepth,
                      uint8_t bridgeLimit, uint8_t xstLimit, uint16_t portLimit) {
    // The queue depth's zero test is on the whole argument: 256 is cut to 0 and stays 0.
    gMstp.msgQDeepth =
        msgQDeepth == 0 ? DEFAULT_QUEUE_DEPTH : static_cast<uint8_t>(msgQDeepth & 0xFF);
    gMstp.priority = priority == 0 ? DEFAULT_PRIORITY : priority;
    gMstp.stackSize = stackSize == 0 ? DEFAULT_STACK_SIZE : stackSize;
    gMstp.bridgeLimit = bridgeLimit == 0 ? DEFAULT_BRIDGE_LIMIT : bridgeLimit;
    gMstp.xstLimit = xstLimit == 0 ? DEFAULT_XST_LIMIT : xstLimit;
    gMstp.portLimit = portLimit == 0 ? DEFAULT_PORT_LIMIT : portLimit;
}

// Instances in the pool: bridgeLimit x xstLimit, and never fewer than the slices reach. Slices
// start bridgeLimit records apart and hold xstLimit each.
static uint32_t xstPoolSize() {
    const uint32_t whole = static_cast<uint32_t>(gMstp.bridgeLimit) * gMstp.xstLimit;
    const uint32_t reach =
        (gMstp.bridgeLimit - 1U) * gMstp.bridgeLimit + static_cast<uint32_t>(gMstp.xstLimit);
    return whole > reach ? whole : reach;
}

template <class T> static bool allocatePool(T** pool, uint32_t count, const char* failure) {
    *pool = static_cast<T*>(calloc(count, sizeof(T)));
    if (*pool == nullptr) {
        printf("%s", failure);
        return false;
    }
    return true;
}

static bool allocatePools() {
    const uint32_t xstCount = xstPoolSize();
    const uint32_t xstPortCount = static_cast<uint32_t>(gMstp.portLimit) * gMstp.xstLimit;
    if (!allocatePool(&gMstp.bridges, gMstp.bridgeLimit,
                      "bridge malloc failed,mstp init failed\n\r") ||
        !allocatePool(&gMstp.ports, gMstp.portLimit, "ports malloc failed,mstp init failed\n\r") ||
        !allocatePool(&gMstp.xsts, xstCount, "xsts malloc failed,mstp init failed\n\r") ||
        !allocatePool(&gMstp.xstPorts, xstPortCount,
                      "xstPorts malloc failed,mstp init failed\n\r")) {
        return false;
    }

    for (uint32_t i = 0; i < gMstp.bridgeLimit; i++) {
        // Deliberately bridgeLimit and not xstLimit apart, in agreement with mstpBridgeAdd.
        gMstp.bridges[i].xsts = gMstp.xsts + static_cast<size_t>(i) * gMstp.bridgeLimit;
        listInit(&gMstp.bridges[i].portsList);
        listInit(&gMstp.bridges[i].xstList);
    }
    for (uint32_t i = 0; i < xstCount; i++) {
        listInit(&gMstp.xsts[i].xstPortList);
    }
    for (uint32_t i = 0; i < gMstp.portLimit; i++) {
        gMstp.ports[i].xstPorts = gMstp.xstPorts + static_cast<size_t>(i) * gMstp.xstLimit;
        listInit(&gMstp.ports[i].xstPortList);
    }
    return true;
}

// A descriptor of 0 counts as a failed socket, here and below, deliberately.
static bool openPacketSocket() {
    gMstp.pktSocketFd = socket(AF_PACKET, SOCK_RAW, htons(BPDU_LINK_PROTOCOL));
    if (gMstp.pktSocketFd <= 0) {
        printf("pktSocketFd failed\n\r");
        return false;
    }
    const int32_t every = RXPKTINFO_ALL;
    setsockopt(gMstp.pktSocketFd, SOL_PACKET, MSTP_PACKET_RXPKTINFO, &every, sizeof every);
    if (platformPktSocketSetup(gMstp.pktSocketFd) != 0) {
        printf("pktSocketFd failed\n\r");
        return false;
    }
    return true;
}

static bool openLinkSocket() {
    gMstp.rtSocketFd = socket(AF_NETLINK, SOCK_DGRAM, NETLINK_ROUTE);
    if (gMstp.rtSocketFd <= 0) {
        printf("rtSocketFd failed\n\r");
        return false;
    }
    sockaddr_nl address = {};
    address.nl_family = AF_NETLINK;
    if (bind(gMstp.rtSocketFd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        printf("rtSocketFd bind failed\n\r");
        return false;
    }
    uint32_t groups[PLATFORM_LINK_GROUPS_MAX] = {};
    const uint32_t count = platformLinkGroups(groups);
    for (uint32_t i = 0; i < count && i < PLATFORM_LINK_GROUPS_MAX; i++) {
        if (setsockopt(gMstp.rtSocketFd, SOL_NETLINK, NETLINK_ADD_MEMBERSHIP, &groups[i],
                       sizeof groups[i]) != 0) {
            printf("rtSocketFd setsockopt failed\n\r");
            return false;
        }
    }
    return true;
}

static bool openCommandSocket() {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    static_assert(sizeof address.sun_path == MSTP_PATH_SIZE);
    if (mstpRunPath(address.sun_path, "mstpCmd.socket") != 0) {
        errno = ENAMETOOLONG;
        perror("bind failed!\n\r");
        return false;
    }
    // What cannot be removed makes the bind fail, which says so.
    unlink(address.sun_path);
    gMstp.cmdSocketFd = socket(AF_UNIX, SOCK_STREAM, 0);
    if (gMstp.cmdSocketFd <= 0) {
        printf("cmdSocketFd failed\n\r");
        return false;
    }
    // Whoever may connect may configure: the socket is its owner's alone from its first moment.
    const mode_t mask = umask(0177);
    const int32_t bound =
        bind(gMstp.cmdSocketFd, reinterpret_cast<sockaddr*>(&address), sizeof address);
    const int32_t reason = errno;
    umask(mask);
    if (bound != 0) {
        errno = reason;
        perror("bind failed!\n\r");
        return false;
    }
    if (listen(gMstp.cmdSocketFd, COMMAND_BACKLOG) != 0) {
        perror("listen failed!\n\r");
        return false;
    }
    return true;
}

static bool addFirstBridge() {
    tMstpBridge* bridge = mstpBridgeAdd(1);
    if (bridge == nullptr) {
        printf("bridge Create failed,mstp init failed\n\r");
        return false;
    }
    mstpBridgeDigest(bridge);
    return true;
}

static void closeSocket(int32_t* fd) {
    if (*fd > 0) {
        close(*fd);
    }
    *fd = -1;
}

template <class T> static void freePool(T** pool) {
    free(*pool);
    *pool = nullptr;
}

void mstpRelease() {
    if (gMstp.timerList.next != nullptr) {
        timerListRelease(&gMstp.timerList);
    }
    freePool(&gMstp.xstPorts);
    freePool(&gMstp.xsts);
    freePool(&gMstp.ports);
    freePool(&gMstp.bridges);
    closeSocket(&gMstp.pktSocketFd);
    closeSocket(&gMstp.rtSocketFd);
    closeSocket(&gMstp.cmdSocketFd);
    if (gMstp.taskId != 0 && kelTaskDelete != nullptr) {
        kelTaskDelete(gMstp.taskId);
    }
}

int32_t mstpInit(const char* bridgeName, uint32_t priority, uint32_t stackSize, uint32_t msgQDeepth,
                 uint8_t bridgeLimit, uint8_t xstLimit, uint16_t portLimit) {
    memset(static_cast<void*>(&gMstp), 0, sizeof gMstp);
    gMstp.pktSocketFd = -1;
    gMstp.rtSocketFd = -1;
    gMstp.cmdSocketFd = -1;
    gMstp.taskLen = 5;
    memcpy(gMstp.taskName, "tMstp", 5);
    setBridgeName(bridgeName);
    setLimits(priority, stackSize, msgQDeepth, bridgeLimit, xstLimit, portLimit);
    gMstp.busyDoing = MSTP_BUSY_NULL;
    listInit(&gMstp.bridgeList);

    if (!allocatePools() || !openPacketSocket() || !openLinkSocket() || !openCommandSocket()) {
        mstpRelease();
        return -1;
    }
    if (timerListInit(&gMstp.timerList) != 0) {
        fprintf(stderr, "no memory for the timer list,mstp init failed\n");
        mstpRelease();
        return -1;
    }
    if (!addFirstBridge()) {
        mstpRelease();
        return -1;
    }
    return 0;
}

// ---- posted work
// ---------------------------------------------------------------------------------

static void msgTimerExpired(void* type, void* /*arg2*/, void* /*arg3*/) {
    mstpProcessMsg(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(type)));
}

int32_t mstpSendMsg(uint32_t type) {
    timerStop(&gMstp.timerList, &gMstp.msgTimer);
    timerStart(&gMstp.timerList, &gMstp.msgTimer, MSG_TICKS, msgTimerExpired,
               reinterpret_cast<void*>(static_cast<uintptr_t>(type)), nullptr, nullptr);
    return 0;
}

static void finishFastMap(tMstpBridge* bridge) {
    mstpBridgeFastMapVlan(bridge);
    bridge->isFastMapVlan = 0;
    bridge->inited = 0;
    mstpBridgeInit(bridge);
    mstpDebug("Vlan fastMap finished!");
}

static void reinitBridge(tMstpBridge* bridge) {
    if (bridge->inited == 0) {
        mstpBridgeInit(bridge);
        return;
    }
    mstpBridgeDigest(bridge);
    for (tMstpPort* port : portsOf(bridge)) {
        mstpBridgePortInit(port);
    }
    for (tMstpXst* xst : xstsOf(bridge)) {
        if (xst->rowStatus == MSTP_ACTIVE) {
            mstpXstReset(xst);
        }
    }
    bridge->begin = 1;
    mstpBridgeFSM(bridge);
    bridge->begin = 0;
}

// Each step reads the event word afresh: what an earlier step posts in this pass, a later step does
// in this pass. What is still set at the end is dropped, deliberately.
static void processBridge(tMstpBridge* bridge) {
    if (bridge->isFastMapVlan == 1) {
        if ((bridge->event & MSTP_EVENT_FASTMAP_DONE) == 0) {
            bridge->event = 0;
            return;
        }
        finishFastMap(bridge);
    }
    if ((bridge->event & MSTP_EVENT_FSM) != 0) {
        mstpBridgeFSM(bridge);
    }
    if ((bridge->event & MSTP_EVENT_TICK) != 0) {
        mstpBridgeIntervalTx(bridge);
        if (mstpTimeProcessEnable != 0) {
            mstpBridgeTimerProcess(bridge);
        }
    }
    if ((bridge->event & MSTP_EVENT_INIT_PORTS) != 0) {
        mstpBridgeInitPorts(bridge);
    }
    if ((bridge->event & MSTP_EVENT_REINIT) != 0) {
        reinitBridge(bridge);
    }
    bridge->event = 0;
}

void mstpProcessMsg(uint32_t /*type*/) {
    for (tMstpBridge* bridge : bridges()) {
        processBridge(bridge);
    }
}

// ---- the loop
// ------------------------------------------------------------------------------------

void mstpLoopTimeout(uint32_t ticks, timeval* timeout) {
    if (ticks == TIMER_NO_TIMEOUT) {
        timeout->tv_sec = 1;
        timeout->tv_usec = 0;
        return;
    }
    const uint32_t rest = ticks % TIMER_TICKS_PER_SECOND;
    timeout->tv_sec = ticks / TIMER_TICKS_PER_SECOND;
    timeout->tv_usec = (rest > MINIMUM_WAIT_MS ? rest : MINIMUM_WAIT_MS) * 1000;
}

void mstpLoopInit(tMstpLoop* loop) {
    memset(static_cast<void*>(loop), 0, sizeof *loop);
}

static void watch(tMstpLoop* loop, int32_t fd) {
    FD_SET(fd, &loop->readSet);
    if (fd > loop->maxFd) {
        loop->maxFd = fd;
    }
}

int32_t mstpLoopWait(tMstpLoop* loop) {
    FD_ZERO(&loop->readSet);
    watch(loop, gMstp.pktSocketFd);
    watch(loop, gMstp.rtSocketFd);
    watch(loop, gMstp.cmdSocketFd);
    timeval timeout;
    mstpLoopTimeout(timerListNextTimeout(&gMstp.timerList), &timeout);
    return platformSelect(loop->maxFd + 1, &loop->readSet, nullptr, nullptr, &timeout);
}

static const packet_rxpktinfo* findPacketInfo(msghdr* message) {
    if (message->msg_controllen < 12) {
        return nullptr;
    }
    for (cmsghdr* c = CMSG_FIRSTHDR(message); c != nullptr; c = CMSG_NXTHDR(message, c)) {
        if (c->cmsg_level == SOL_PACKET && c->cmsg_type == MSTP_PACKET_RXPKTINFO &&
            c->cmsg_len >= CMSG_LEN(sizeof(packet_rxpktinfo))) {
            return reinterpret_cast<const packet_rxpktinfo*>(CMSG_DATA(c));
        }
    }
    return nullptr;
}

static void traceFrame(const tMstpLoop* loop, const tMstpPort* port, uint32_t length) {
    if (!mstpTracing(MSTP_DEBUG_RECEIVE)) {
        return;
    }
    char name[KEL_IF_NAME_SIZE] = "";
    kelIfUnit2Name(port->unit, name);
    mstpDebug("received pkt from port %s,len %d", name, static_cast<int32_t>(length));
    if (mstpTracing(MSTP_DEBUG_DUMP)) {
        mstpPktPrint(loop->frame, length);
    }
}

// True when the frame, converted from the pre-standard format, ended the iteration.
static bool takeFrame(tMstpLoop* loop, tMstpPort* port, uint32_t length, uint32_t dataOffset) {
    traceFrame(loop, port, length);
    if (dataOffset > length) {
        return false;
    }
    const uint8_t* data = loop->frame + dataOffset;
    const uint32_t dataLength = length - dataOffset;
    if (kelHwScalarGet(0, KEL_HW_PEER_SYNC, nullptr) == 0 ||
        kelHwScalarGet(0, KEL_HW_PEER_ABSENT, nullptr) == 0) {
        mstpRxSync(port->bridge->index, port->unit, data, dataLength);
    }
    if (port->snoopingEnable == 1) {
        const int32_t converted = mstpLegacyBpduToStandard(
            reinterpret_cast<tMstpBpdu*>(loop->converted), data, dataLength);
        if (converted != 0) {
            mstpInput(port, loop->converted, static_cast<uint32_t>(converted));
            return true;
        }
    }
    // Deliberately not asked for a converted frame.
    if (port->bridge->isFastMapVlan != 1) {
        mstpInput(port, data, dataLength);
    }
    return false;
}

static bool receiveFrame(tMstpLoop* loop) {
    sockaddr_ll address = {};
    iovec vector = {loop->frame, sizeof loop->frame};
    msghdr message = {};
    message.msg_name = &address;
    message.msg_namelen = sizeof address;
    message.msg_iov = &vector;
    message.msg_iovlen = 1;
    message.msg_control = loop->control;
    message.msg_controllen = sizeof loop->control;
    const int32_t length = platformPktRecv(gMstp.pktSocketFd, &message);
    if (length <= 0) {
        return false;
    }
    const packet_rxpktinfo* info = findPacketInfo(&message);
    tMstpBridge* bridge = mstpBridgeGet(1);
    if (info == nullptr || bridge == nullptr) {
        return false;
    }
    tMstpPort* port = mstpBridgePortGet(bridge, static_cast<uint32_t>(address.sll_ifindex));
    if (port == nullptr) {
        return false;
    }
    return takeFrame(loop, port, static_cast<uint32_t>(length), info->pkt_dataoffset);
}

static void receiveLinkMessages(tMstpLoop* loop) {
    const int32_t length = platformLinkRecv(gMstp.rtSocketFd, loop->rtm, sizeof loop->rtm);
    if (length < 1) {
        perror("recvfrom error");
        return;
    }
    mstpRtmProcess(loop->rtm, length);
}

void mstpLoopServe(tMstpLoop* loop, int32_t ready) {
    timerListCheck(&gMstp.timerList);
    if (ready < 1) {
        return;
    }
    if (FD_ISSET(gMstp.pktSocketFd, &loop->readSet) && receiveFrame(loop)) {
        return;
    }
    if (FD_ISSET(gMstp.cmdSocketFd, &loop->readSet)) {
        mstpCmdServer();
    }
    if (FD_ISSET(gMstp.rtSocketFd, &loop->readSet)) {
        receiveLinkMessages(loop);
    }
}

void mstpMain() {
    tMstpLoop loop;
    mstpLoopInit(&loop);
    while (true) {
        const int32_t ready = mstpLoopWait(&loop);
        mstpLoopServe(&loop, ready);
    }
}
