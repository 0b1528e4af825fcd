// The kernel turns its MST mode on only while no port has VLANs, but a bridge that the daemon finds
// mostly has its VLANs already. So they are read, taken off, and put back as they were: which are
// untagged, which one is a port's own, and the options of each on the port. The bridge's own VLANs
// stay. A VLAN that only ports have vanishes with the last of them, and with it the options that it
// has on the bridge as a whole: they are put back, too.
//
// The daemon may be killed in between. A file in the daemon's folder holds what is off, from before
// the first VLAN goes until the last is back; the next start puts it back. It names the boot of the
// system and the bridge, since a file of another day would give ports VLANs that they must not
// have.

#include "kept_vlans.h"

#include <fcntl.h>
#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "bridge_vlans.h"
#include "kernel_bridge.h"
#include "netlink_request.h"
#include "platform/interfaces.h"
#include "process.h"

namespace {

using platform::Bytes;
using platform::kernelBridge;
using platform::NetlinkRequest;
using platform::VLAN_MAX;

constexpr uint32_t kRangesMax = 32768;
constexpr uint32_t kGlobalsMax = VLAN_MAX;
constexpr uint32_t kOptionsMax = 192; // bytes of attributes
constexpr uint32_t kRoomOfEntry = 64;
constexpr size_t kBootIdSize = 36;

// Options that a stock kernel tells and takes, by number: later ones are not in every header.
constexpr uint16_t kEntryMaxGroups = 8;
constexpr uint16_t kEntryNeighSuppress = 9;

struct Option {
    bool is;
    uint32_t value;
};

// VLANs of a port that have the same flags and options.
struct Range {
    uint32_t ifindex;
    uint16_t first;
    uint16_t last;
    uint16_t flags;
    Option router;
    Option groups;
    Option suppress;
    Option tunnel; // of the first, the others' follow
};

// VLANs that have the same options on the bridge as a whole: the kernel's own attributes.
struct Global {
    uint16_t first;
    uint16_t last;
    uint16_t length;
    uint8_t options[kOptionsMax];
};

struct Header {
    char magic[8];
    char boot[kBootIdSize];
    uint32_t bridge;
    uint32_t ranges;
    uint32_t globals;
};

constexpr char kMagic[8] = {'M', 'S', 'T', 'P', 'V', 'L', 'N', '1'};

Range gRanges[kRangesMax];
Global gGlobals[kGlobalsMax];
uint32_t gRangeCount;
uint32_t gGlobalCount;
bool gTooMany;
NetlinkRequest gRequest;

// ---- reading

template <class T> T valueOf(const Bytes& value) {
    T number = 0;
    if (value.length >= sizeof number) {
        memcpy(&number, value.data, sizeof number);
    }
    return number;
}

Option tunnelOf(Bytes data) {
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == BRIDGE_VLANDB_TINFO_ID) {
            return {true, valueOf<uint32_t>(value)};
        }
    }
    return {};
}

void readPart(uint16_t type, const Bytes& value, Range* range) {
    switch (type) {
    case BRIDGE_VLANDB_ENTRY_INFO: {
        bridge_vlan_info info = {};
        memcpy(&info, value.data, std::min<size_t>(value.length, sizeof info));
        range->first = info.vid;
        range->flags = info.flags & (BRIDGE_VLAN_INFO_PVID | BRIDGE_VLAN_INFO_UNTAGGED);
        return;
    }
    case BRIDGE_VLANDB_ENTRY_RANGE:
        range->last = valueOf<uint16_t>(value);
        return;
    case BRIDGE_VLANDB_ENTRY_TUNNEL_INFO:
        range->tunnel = tunnelOf(value);
        return;
    case BRIDGE_VLANDB_ENTRY_MCAST_ROUTER:
        range->router = {true, valueOf<uint8_t>(value)};
        return;
    case kEntryMaxGroups:
        range->groups = {true, valueOf<uint32_t>(value)};
        return;
    case kEntryNeighSuppress:
        range->suppress = {true, valueOf<uint8_t>(value)};
        return;
    default:
        return;
    }
}

bool isSound(uint32_t first, uint32_t last) {
    return first >= 1 && first <= last && last <= VLAN_MAX;
}

void keepRange(uint32_t ifindex, Bytes data) {
    Range range = {};
    range.ifindex = ifindex;
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        readPart(type, value, &range);
    }
    range.last = range.last == 0 ? range.first : range.last;
    gTooMany = gTooMany || gRangeCount == kRangesMax;
    if (isSound(range.first, range.last) && !gTooMany) {
        gRanges[gRangeCount++] = range;
    }
}

// Those that can be set: the others tell what the bridge has found out. The instance is the
// daemon's.
bool isSetting(uint16_t type) {
    return type >= BRIDGE_VLANDB_GOPTS_MCAST_SNOOPING &&
           type <= BRIDGE_VLANDB_GOPTS_MCAST_QUERIER && type != BRIDGE_VLANDB_GOPTS_PAD;
}

void keepGlobal(Bytes data) {
    gTooMany = gTooMany || gGlobalCount == kGlobalsMax;
    if (gTooMany) {
        return;
    }
    Global* global = &gGlobals[gGlobalCount];
    *global = {};
    NetlinkRequest* text = &gRequest;
    platform::requestBegin(text, 0, 0, nullptr, 0);
    const uint32_t begin = text->length;
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&data, &type, &value)) {
        if (type == BRIDGE_VLANDB_GOPTS_ID) {
            global->first = valueOf<uint16_t>(value);
        } else if (type == BRIDGE_VLANDB_GOPTS_RANGE) {
            global->last = valueOf<uint16_t>(value);
        } else if (isSetting(type)) {
            platform::requestPut(text, type, value.data, value.length);
        }
    }
    global->last = global->last == 0 ? global->first : global->last;
    const uint32_t length = text->length - begin;
    if (isSound(global->first, global->last) && length != 0 && length <= kOptionsMax) {
        memcpy(global->options, text->data + begin, length);
        global->length = static_cast<uint16_t>(length);
        gGlobalCount++;
    }
}

void keepMessage(const Bytes& message, void* /*context*/) {
    br_vlan_msg body;
    if (platform::messageHeader(message).nlmsg_type != RTM_NEWVLAN ||
        message.length < NLMSG_HDRLEN + sizeof body) {
        return;
    }
    memcpy(&body, message.data + NLMSG_HDRLEN, sizeof body);
    const bool ofPort = platform::findBridgePort(body.ifindex) != nullptr;
    const bool ofBridge = body.ifindex == kernelBridge()->ifindex;
    Bytes rest = {message.data + NLMSG_HDRLEN + sizeof body,
                  message.length - static_cast<uint32_t>(NLMSG_HDRLEN + sizeof body)};
    uint16_t type;
    Bytes value;
    while (platform::nextAttribute(&rest, &type, &value)) {
        if (type == BRIDGE_VLANDB_ENTRY && ofPort) {
            keepRange(body.ifindex, value);
        } else if (type == BRIDGE_VLANDB_GLOBAL_OPTIONS && ofBridge) {
            keepGlobal(value);
        }
    }
}

int32_t readAll() {
    gRangeCount = 0;
    gGlobalCount = 0;
    gTooMany = false;
    int32_t error = platform::dumpVlans(0, 0, keepMessage, nullptr);
    if (error == 0) {
        error = platform::dumpVlans(kernelBridge()->ifindex, BRIDGE_VLANDB_DUMPF_GLOBAL,
                                    keepMessage, nullptr);
    }
    return error == 0 && gTooMany ? ENOSPC : error;
}

// ---- writing

void putRangeOf(const Range& range, uint16_t flags) {
    const bridge_vlan_info info = {flags, range.first};
    platform::requestPutValue(&gRequest, BRIDGE_VLANDB_ENTRY_INFO, info);
    if (range.last != range.first) {
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_ENTRY_RANGE, range.last);
    }
}

void putMembership(const Range& range) {
    putRangeOf(range, range.flags);
}

void putOptions(const Range& range) {
    putRangeOf(range, range.flags | BRIDGE_VLAN_INFO_ONLY_OPTS);
    if (range.router.is) {
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_ENTRY_MCAST_ROUTER,
                                  static_cast<uint8_t>(range.router.value));
    }
    if (range.groups.is) {
        platform::requestPutValue(&gRequest, kEntryMaxGroups, range.groups.value);
    }
    if (range.suppress.is) {
        platform::requestPutValue(&gRequest, kEntryNeighSuppress,
                                  static_cast<uint8_t>(range.suppress.value));
    }
    if (range.tunnel.is) {
        const uint32_t nest = platform::requestNest(&gRequest, BRIDGE_VLANDB_ENTRY_TUNNEL_INFO);
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_TINFO_CMD, uint32_t{RTM_SETLINK});
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_TINFO_ID, range.tunnel.value);
        platform::requestEndNest(&gRequest, nest);
    }
}

// A port may have left the bridge since it was read, and even be another's.
bool isOnBridge(const Range& range) {
    return platform::findBridgePort(range.ifindex) != nullptr;
}

// What every VLAN has unless somebody changes it is there already.
bool hasOptions(const Range& range) {
    constexpr uint32_t kRouterByQuery = 1;
    const bool changed = (range.router.is && range.router.value != kRouterByQuery) ||
                         (range.groups.is && range.groups.value != 0) ||
                         (range.suppress.is && range.suppress.value != 0) || range.tunnel.is;
    return changed && isOnBridge(range);
}

void putVlanInfo(uint16_t flags, uint16_t vlan) {
    const bridge_vlan_info info = {flags, vlan};
    platform::requestPutValue(&gRequest, IFLA_BRIDGE_VLAN_INFO, info);
}

// To be taken off, in the older form: for the newer the kernel announces that the port has left.
void putRemoval(const Range& range) {
    if (range.last == range.first) {
        putVlanInfo(0, range.first);
        return;
    }
    putVlanInfo(BRIDGE_VLAN_INFO_RANGE_BEGIN, range.first);
    putVlanInfo(BRIDGE_VLAN_INFO_RANGE_END, range.last);
}

void putNested(void (*put)(const Range& range), const Range& range) {
    const uint32_t nest = platform::requestNest(&gRequest, BRIDGE_VLANDB_ENTRY);
    put(range);
    platform::requestEndNest(&gRequest, nest);
}

void putMembershipEntry(const Range& range) {
    putNested(putMembership, range);
}

void putOptionsEntry(const Range& range) {
    putNested(putOptions, range);
}

void beginVlans(uint32_t ifindex) {
    br_vlan_msg body = {};
    body.family = AF_BRIDGE;
    body.ifindex = ifindex;
    platform::requestBegin(&gRequest, RTM_NEWVLAN, 0, &body, sizeof body);
}

uint32_t gRemovals; // the attribute that holds them

void beginRemovals(uint32_t ifindex) {
    ifinfomsg body = {};
    body.ifi_family = AF_BRIDGE;
    body.ifi_index = static_cast<int>(ifindex);
    platform::requestBegin(&gRequest, RTM_DELLINK, 0, &body, sizeof body);
    gRemovals = platform::requestNest(&gRequest, IFLA_AF_SPEC);
}

void endRemovals() {
    platform::requestEndNest(&gRequest, gRemovals);
}

void endVlans() {}

// One kind of request about ranges of one port.
struct Work {
    const char* what; // that cannot be done
    bool (*wants)(const Range& range);
    void (*begin)(uint32_t ifindex);
    void (*put)(const Range& range);
    void (*end)();
};

constexpr Work kTakeOff = {"taken off", isOnBridge, beginRemovals, putRemoval, endRemovals};
constexpr Work kPutBack = {"put back", isOnBridge, beginVlans, putMembershipEntry, endVlans};
constexpr Work kPutOptionsBack = {"given their options again", hasOptions, beginVlans,
                                  putOptionsEntry, endVlans};

int32_t sendSingly(const Work& work, uint32_t first, uint32_t end) {
    int32_t result = 0;
    for (uint32_t i = first; i < end; i++) {
        const Range& range = gRanges[i];
        if (!work.wants(range)) {
            continue;
        }
        work.begin(range.ifindex);
        work.put(range);
        work.end();
        const int32_t error = platform::netlinkRequest(&gRequest, nullptr, nullptr);
        // A port that has left meanwhile has taken its VLANs along.
        if (error == 0 || !platform::isStillPortOfBridge(range.ifindex)) {
            continue;
        }
        char name[KEL_IF_NAME_SIZE];
        kelIfUnit2Name(range.ifindex, name);
        fprintf(stderr, "mstp: bridge %s: VLANs %u-%u of port %s cannot be %s: %s\n",
                platform::bridgeName(), range.first, range.last, name, work.what, strerror(error));
        result = error;
    }
    return result;
}

int32_t send(const Work& work, uint32_t first, uint32_t end) {
    work.end();
    const int32_t error = platform::netlinkRequest(&gRequest, nullptr, nullptr);
    return error == 0 ? 0 : sendSingly(work, first, end);
}

// As many ranges of a port in a message as it takes. @return 0 or the last failure
int32_t doForAll(const Work& work) {
    int32_t result = 0;
    uint32_t begun = gRangeCount; // first range of the message
    for (uint32_t i = 0; i < gRangeCount; i++) {
        if (!work.wants(gRanges[i])) {
            continue;
        }
        const bool fits = begun != gRangeCount && gRanges[begun].ifindex == gRanges[i].ifindex &&
                          platform::requestRoom(&gRequest) >= kRoomOfEntry;
        if (!fits) {
            const int32_t error = begun != gRangeCount ? send(work, begun, i) : 0;
            result = error != 0 ? error : result;
            work.begin(gRanges[i].ifindex);
            begun = i;
        }
        work.put(gRanges[i]);
    }
    const int32_t error = begun != gRangeCount ? send(work, begun, gRangeCount) : 0;
    return error != 0 ? error : result;
}

// An option that the kernel tells and does not take is none that somebody could have set.
void putGlobalsBack() {
    for (uint32_t i = 0; i < gGlobalCount; i++) {
        const Global& global = gGlobals[i];
        beginVlans(kernelBridge()->ifindex);
        const uint32_t nest = platform::requestNest(&gRequest, BRIDGE_VLANDB_GLOBAL_OPTIONS);
        platform::requestPutValue(&gRequest, BRIDGE_VLANDB_GOPTS_ID, global.first);
        if (global.last != global.first) {
            platform::requestPutValue(&gRequest, BRIDGE_VLANDB_GOPTS_RANGE, global.last);
        }
        platform::requestPutAll(&gRequest, global.options, global.length);
        platform::requestEndNest(&gRequest, nest);
        platform::netlinkRequest(&gRequest, nullptr, nullptr);
    }
}

int32_t putAllBack() {
    const int32_t error = doForAll(kPutBack);
    doForAll(kPutOptionsBack);
    putGlobalsBack();
    return error;
}

// ---- the file

platform::RunPath keptPath() {
    return platform::runPath("mstpVlans");
}

bool readWhole(int fd, void* data, size_t length) {
    return read(fd, data, length) == static_cast<ssize_t>(length);
}

bool writeWhole(int fd, const void* data, size_t length) {
    return write(fd, data, length) == static_cast<ssize_t>(length);
}

// What names this boot of the system; zeros where the kernel does not tell.
void readBoot(char (&boot)[kBootIdSize]) {
    memset(boot, 0, sizeof boot);
    const int fd = open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC);
    if (fd >= 0) {
        if (!readWhole(fd, boot, sizeof boot)) {
            memset(boot, 0, sizeof boot);
        }
        close(fd);
    }
}

Header headerNow() {
    Header header = {};
    memcpy(header.magic, kMagic, sizeof header.magic);
    readBoot(header.boot);
    header.bridge = kernelBridge()->ifindex;
    header.ranges = gRangeCount;
    header.globals = gGlobalCount;
    return header;
}

bool writeTo(int fd) {
    const Header header = headerNow();
    return writeWhole(fd, &header, sizeof header) &&
           writeWhole(fd, gRanges, gRangeCount * sizeof(Range)) &&
           writeWhole(fd, gGlobals, gGlobalCount * sizeof(Global)) && fsync(fd) == 0;
}

// A file of another name becomes the file at once, when it is whole.
int32_t writeFile() {
    const platform::RunPath path = keptPath();
    const platform::RunPath part = platform::runPath("mstpVlansNew");
    unlink(part.text);
    const int fd = open(part.text, O_CREAT | O_EXCL | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return errno;
    }
    const bool written = writeTo(fd);
    const int32_t error = written ? 0 : errno != 0 ? errno : EIO;
    close(fd);
    if (written && rename(part.text, path.text) == 0) {
        return 0;
    }
    unlink(part.text);
    return error != 0 ? error : errno;
}

// Only a file of the daemon's own user counts: the folder may be everybody's.
bool isOwn(int fd) {
    struct stat status = {};
    return fstat(fd, &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == geteuid();
}

bool isOfNow(const Header& header) {
    const Header now = headerNow();
    return memcmp(header.magic, now.magic, sizeof now.magic) == 0 &&
           memcmp(header.boot, now.boot, sizeof now.boot) == 0 && header.bridge == now.bridge &&
           header.ranges <= kRangesMax && header.globals <= kGlobalsMax;
}

bool allSound() {
    return std::all_of(gRanges, gRanges + gRangeCount,
                       [](const Range& range) { return isSound(range.first, range.last); }) &&
           std::all_of(gGlobals, gGlobals + gGlobalCount, [](const Global& global) {
               return isSound(global.first, global.last) && global.length <= kOptionsMax;
           });
}

bool readFrom(int fd) {
    Header header = {};
    if (!isOwn(fd) || !readWhole(fd, &header, sizeof header) || !isOfNow(header) ||
        !readWhole(fd, gRanges, header.ranges * sizeof(Range)) ||
        !readWhole(fd, gGlobals, header.globals * sizeof(Global))) {
        return false;
    }
    gRangeCount = header.ranges;
    gGlobalCount = header.globals;
    return allSound();
}

} // namespace

namespace platform {

int32_t keepPortVlans() {
    const int32_t error = readAll();
    return error != 0 ? error : writeFile();
}

int32_t takePortVlansOff() {
    return doForAll(kTakeOff);
}

void putPortVlansBack() {
    if (putAllBack() == 0) {
        unlink(keptPath().text);
    }
}

bool putBackVlansOfEarlierLife() {
    const RunPath path = keptPath();
    const int fd = open(path.text, O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    const bool mine = readFrom(fd);
    close(fd);
    if (mine) {
        putPortVlansBack();
    } else {
        unlink(path.text);
    }
    return mine;
}

} // namespace platform
