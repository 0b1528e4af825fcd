// Who runs spanning tree on the kernel's bridge. Turned on, the kernel asks /sbin/bridge-stp
// whether user space does (in its first network namespace only), and keeps the answer: 1 the
// kernel, 2 user space. Left to user space, it delivers BPDUs and leaves the ports' states alone;
// ports that come up start blocked.
//
// A clean stop gives back what was taken. Whoever turned spanning tree on before the daemon came
// keeps it: the ports stay as they are, and those that come up stay blocked. If the daemon turned
// it on, it turns it off: the kernel leaves ports in the state that they are in, so that what was
// blocked stays blocked. A file remembers who it was, for a daemon that is started again after a
// crash; a crash itself changes nothing in the kernel.

#include "platform/take_over.h"

#include <fcntl.h>
#include <linux/if_link.h>
#include <linux/rtnetlink.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "interface_request.h"
#include "netlink_request.h"
#include "platform/signals.h"
#include "process.h"
#include "service_manager.h"

namespace {

enum StpState : uint32_t { STP_OFF = 0, STP_KERNEL = 1, STP_USER = 2 };

uint32_t gIfindex; // of the bridge, once it is taken over

// Where the daemon keeps that it was the one to turn spanning tree on.
platform::RunPath markPath() {
    return platform::runPath("mstpStp");
}

void setMark() {
    const int fd = open(markPath().text, O_CREAT | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd >= 0) {
        close(fd);
    }
}

// Only a file of the daemon's own user counts: the folder may be everybody's.
bool isMarked() {
    struct stat status = {};
    return lstat(markPath().text, &status) == 0 && S_ISREG(status.st_mode) &&
           status.st_uid == geteuid();
}

bool findBridge(platform::LinkInfo* link) {
    ifreq request = {};
    const char* name = platform::bridgeName();
    const size_t length = strlen(name);
    if (length == 0 || length >= IFNAMSIZ) {
        return false;
    }
    memcpy(request.ifr_name, name, length);
    return platform::deviceRequest(SIOCGIFINDEX, &request) == 0 &&
           platform::queryLink(static_cast<uint32_t>(request.ifr_ifindex), link) == 0 &&
           link->kind == platform::LinkKind::BRIDGE;
}

int32_t setStpState(uint32_t ifindex, uint32_t state) {
    platform::NetlinkRequest request;
    ifinfomsg body = {};
    body.ifi_index = static_cast<int>(ifindex);
    platform::requestBegin(&request, RTM_NEWLINK, 0, &body, sizeof body);
    const uint32_t info = platform::requestNest(&request, IFLA_LINKINFO);
    platform::requestPut(&request, IFLA_INFO_KIND, "bridge", sizeof "bridge");
    const uint32_t data = platform::requestNest(&request, IFLA_INFO_DATA);
    platform::requestPutValue(&request, IFLA_BR_STP_STATE, state);
    platform::requestEndNest(&request, data);
    platform::requestEndNest(&request, info);
    return platform::netlinkRequest(&request, nullptr, nullptr);
}

int32_t refuse(const char* reason) {
    fprintf(stderr, "mstp-daemon: bridge %s: %s\n", platform::bridgeName(), reason);
    return -1;
}

int32_t turnOn(uint32_t ifindex) {
    const int32_t error = setStpState(ifindex, STP_KERNEL);
    platform::LinkInfo link = {};
    if (error != 0 || platform::queryLink(ifindex, &link) != 0) {
        fprintf(stderr, "mstp-daemon: bridge %s: spanning tree cannot be turned on: %s\n",
                platform::bridgeName(), strerror(error != 0 ? error : ENODEV));
        return -1;
    }
    if (link.stpState == STP_USER) {
        setMark();
        return 0;
    }
    setStpState(ifindex, STP_OFF);
    return refuse(
        "the kernel keeps spanning tree to itself. It leaves it to the daemon when "
        "/sbin/bridge-stp answers \"BRIDGE start\" with exit code 0, in the first network "
        "namespace only.");
}

[[noreturn]] void endInGoodOrder() {
    platform::serviceStopping();
    if (isMarked()) {
        setStpState(gIfindex, STP_OFF);
        unlink(markPath().text);
    }
    exit(EXIT_SUCCESS);
}

} // namespace

int32_t platformTakeOver() {
    platform::LinkInfo link = {};
    if (!findBridge(&link)) {
        return 0;
    }
    if (link.stpState == STP_KERNEL) {
        return refuse("the kernel runs spanning tree on it; turn that off first: "
                      "ip link set BRIDGE type bridge stp_state 0");
    }
    gIfindex = link.ifindex;
    platformOnSignal(SIGTERM, endInGoodOrder);
    platformOnSignal(SIGINT, endInGoodOrder);
    return link.stpState == STP_OFF ? turnOn(link.ifindex) : 0;
}
