// Writes the seed corpora of the fuzzers: make_corpus FOLDER. The same program writes the same
// bytes; run it again after a change and commit what it wrote.

#include <linux/if.h>
#include <linux/if_bridge.h>
#include <linux/rtnetlink.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "datagrams.h"
#include "management_request.h"
#include "mstp/management.h"
#include "requests.h"
#include "steps.h"
#include "test_bpdu.h"

using testbpdu::Bytes;
using testbpdu::put;
using testbpdu::put16;

static std::string root;

static void write(const std::string& fuzzer, const std::string& name, const Bytes& bytes) {
    const std::string folder = root + "/" + fuzzer;
    mkdir(root.c_str(), 0777);
    mkdir(folder.c_str(), 0777);
    FILE* file = fopen((folder + "/" + name).c_str(), "wb");
    if (file == nullptr || fwrite(bytes.data(), 1, bytes.size(), file) != bytes.size()) {
        perror(name.c_str());
        exit(1);
    }
    fclose(file);
}

static Bytes resized(Bytes bytes, size_t size) {
    bytes.resize(size);
    return bytes;
}

static Bytes with(Bytes bytes, size_t offset, std::initializer_list<int> values) {
    put(bytes, offset, values);
    return bytes;
}

// ---- BPDUs alone

static void writeBpdus(const std::string& fuzzer) {
    write(fuzzer, "tcn", testbpdu::tcn());
    write(fuzzer, "config", testbpdu::config());
    write(fuzzer, "config-short", resized(testbpdu::config(), 34));
    write(fuzzer, "rst", testbpdu::rst());
    write(fuzzer, "rst-padded", resized(testbpdu::rst(), 43));
    write(fuzzer, "rst-version3-length", with(resized(testbpdu::rst(), 102), 37, {1}));
    write(fuzzer, "version-1", with(testbpdu::rst(), 2, {1}));
    for (const uint32_t mstis : {0U, 1U, 3U, 63U, 64U}) {
        write(fuzzer, "mst-" + std::to_string(mstis), testbpdu::mst(mstis));
    }
    write(fuzzer, "mst-short", resized(testbpdu::mst(0), 101));
    write(fuzzer, "mst-version1-length", with(testbpdu::mst(1), 35, {1}));
    write(fuzzer, "mst-odd-length", with(testbpdu::mst(1), 37, {72}));
    write(fuzzer, "mst-small-length", with(testbpdu::mst(1), 37, {48}));
    write(fuzzer, "mst-announces-more", with(testbpdu::mst(0), 37, {112}));
    for (const uint32_t mstis : {0U, 1U, 2U, 54U}) {
        write(fuzzer, "legacy-" + std::to_string(mstis), testbpdu::legacyMst(mstis));
    }
}

static void writeLengths() {
    write("fuzz_legacy", "legacy-121", testbpdu::legacyMst(121));
    write("fuzz_legacy", "legacy-122", testbpdu::legacyMst(122));
    write("fuzz_legacy", "legacy-short", resized(testbpdu::legacyMst(2), 154));
    write("fuzz_legacy", "legacy-length-16", with(testbpdu::legacyMst(0), 38, {16}));
    write("fuzz_legacy", "legacy-length-42", with(testbpdu::legacyMst(0), 38, {42}));
    write("fuzz_legacy", "mst-74", testbpdu::mst(74));
    write("fuzz_legacy", "mst-75", testbpdu::mst(75));
}

// ---- conversations

// Waits by their number in steps::WAITS.
enum : uint32_t { AT_ONCE = 0, ONE_SECOND = 3, TWO_SECONDS = 4, LONGEST = 7 };

static Bytes frame(const Bytes& bpdu) {
    Bytes bytes = {0x01, 0x80, 0xC2, 0, 0, 0, 0x02, 0, 0, 0, 0, 0x03, 0, 0, 0x42, 0x42, 0x03};
    put16(bytes, 12, static_cast<uint32_t>(bpdu.size()) + 3);
    bytes.insert(bytes.end(), bpdu.begin(), bpdu.end());
    return bytes;
}

// Into the region that the bridge is in.
static Bytes inRegion(Bytes bytes) {
    memcpy(&bytes[73], steps::DIGEST, sizeof steps::DIGEST);
    return bytes;
}

// From a bridge that is worse than ours.
static Bytes inferior(Bytes bytes) {
    put(bytes, 5, {0xF0});
    put(bytes, 17, {0xF0});
    return bytes;
}

static Bytes withFlags(Bytes bytes, int flags) {
    put(bytes, 4, {flags});
    for (size_t msti = 102; msti < bytes.size(); msti += 16) {
        put(bytes, msti, {flags});
    }
    return bytes;
}

static Bytes fromOtherPeer(Bytes bytes) {
    put(bytes, bytes.size() > 101 ? 100 : 24, {0x77});
    return bytes;
}

static Bytes conversation(const Bytes& bpdu) {
    steps::Writer writer;
    for (uint32_t i = 0; i < 4; i++) {
        writer.frame(1, i == 0 ? AT_ONCE : TWO_SECONDS, frame(bpdu));
    }
    writer.frame(2, AT_ONCE, frame(bpdu)).wait(LONGEST);
    return writer.bytes();
}

static Bytes handshake(const Bytes& bpdu) {
    steps::Writer writer;
    for (const int flags : {0x0E, 0x4E, 0x7C, 0x7D, 0x48, 0x44, 0x3C, 0x10}) {
        writer.frame(1, ONE_SECOND, frame(withFlags(bpdu, flags)));
        writer.frame(2, AT_ONCE, frame(withFlags(inferior(bpdu), flags)));
    }
    return writer.wait(LONGEST).bytes();
}

// A setting between two turns of talk on both ports, and the same turns after it.
static Bytes underSetting(uint8_t kind, uint32_t attribute, uint32_t target, uint32_t value) {
    const Bytes talk = frame(inRegion(testbpdu::mst(2)));
    steps::Writer writer;
    writer.frame(1, AT_ONCE, talk).wait(TWO_SECONDS);
    writer.setting(kind, attribute, target, value);
    writer.frame(1, ONE_SECOND, talk);
    writer.frame(2, AT_ONCE, frame(fromOtherPeer(inferior(testbpdu::rst()))));
    writer.frame(1, ONE_SECOND, frame(testbpdu::tcn()));
    writer.frame(2, ONE_SECOND, frame(testbpdu::legacyMst(2)));
    writer.frame(1, ONE_SECOND, frame(fromOtherPeer(inRegion(testbpdu::mst(2)))));
    return writer.wait(LONGEST).bytes();
}

static void writeConversations() {
    const Bytes mst = inRegion(testbpdu::mst(2));
    write("fuzz_input", "tcn", conversation(testbpdu::tcn()));
    write("fuzz_input", "config", conversation(testbpdu::config()));
    write("fuzz_input", "rst", conversation(testbpdu::rst()));
    write("fuzz_input", "mst", conversation(mst));
    write("fuzz_input", "mst-other-region", conversation(testbpdu::mst(2)));
    write("fuzz_input", "mst-inferior", conversation(inferior(mst)));
    write("fuzz_input", "handshake-rst", handshake(testbpdu::rst()));
    write("fuzz_input", "handshake-mst", handshake(mst));
    write("fuzz_input", "handshake-other-region", handshake(testbpdu::mst(2)));
    write("fuzz_input", "silence", steps::Writer().wait(LONGEST).wait(LONGEST).bytes());
}

// Attributes by their numbers in the management interface.
static void writeSettings() {
    using namespace steps;
    const struct {
        const char* name;
        uint8_t kind;
        uint32_t attribute;
        uint32_t target;
        uint32_t value;
    } settings[] = {
        {"max-hops", GENERAL, 4, 0, 1},       {"force-rstp", GENERAL, 13, 0, 2},
        {"force-stp", GENERAL, 13, 0, 1},     {"provider", GENERAL, 22, 0, 1},
        {"debug", GENERAL, 24, 0, 255},       {"trap", GENERAL, 27, 0, 1},
        {"bpdu-guard", GENERAL, 28, 0, 1},    {"loop-protection", GENERAL, 29, 0, 1},
        {"tc-protection", GENERAL, 30, 0, 1}, {"no-p2p-detection", GENERAL, 32, 0, 2},
        {"fast-map", GENERAL, 36, 0, 1},      {"edge", PORT, 7, 0, 1},
        {"shared", PORT, 10, 0, 2},           {"remove-port", PORT, 13, 0, 1},
        {"mcheck", PORT, 14, 0, 1},           {"snooping", PORT, 25, 1, 1},
        {"filter", PORT, 26, 0, 1},           {"priority", XST, 2, 1, 0x10},
        {"destroy-msti", XST, 17, 1, 6},      {"destroy-cist", XST, 17, 0, 6},
        {"root-protection", XST, 18, 0, 1},   {"port-priority", XST_PORT, 11, 2, 0x20},
        {"port-cost", XST_PORT, 12, 0, 5},    {"link-down", LINK, 0, 0, 0},
    };
    for (const auto& each : settings) {
        write("fuzz_input", std::string("set-") + each.name,
              underSetting(each.kind, each.attribute, each.target, each.value));
    }
}

// ---- management requests

// The tables of the management interface: their functions are get, set and sync from the first on.
struct Table {
    const char* name;
    uint32_t firstFunction;
    uint32_t lastAttribute;
    std::vector<uint32_t> index;
};

static const Table TABLES[] = {
    {"general", MSTP_GEN_GETAPI, MSTP_GEN_RCVTCFLUSHARP, {}},
    {"port", MSTP_PORT_GETAPI, MSTP_PORT_BPDUFILTERING, {1}},
    {"xst", MSTP_XST_GETAPI, MSTP_XST_REMAININGHOPS, {1}},
    {"xst-port", MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_FROMSAMEREGION, {1, 2}},
};

static Request started(uint32_t function, uint32_t attribute, const std::vector<uint32_t>& index) {
    Request request(function, attribute);
    switch (index.size()) {
    case 0:
        return request.index({});
    case 1:
        return request.index({index[0]});
    default:
        return request.index({index[0], index[1]});
    }
}

static bool isOctets(const Table& table, uint32_t attribute) {
    switch (table.firstFunction) {
    case MSTP_GEN_GETAPI:
        return attribute == MSTP_GEN_CFGIDNAME || attribute == MSTP_GEN_CFGIDDIGEST ||
               attribute == MSTP_GEN_BRIDGEMAC || attribute == MSTP_GEN_FASTMAPSETVLANS ||
               attribute == MSTP_GEN_FASTMAPSETXSTS;
    case MSTP_XST_GETAPI:
        return attribute == MSTP_XST_BRIDGEID || attribute == MSTP_XST_DESIGNATEDROOT ||
               attribute == MSTP_XST_REGIONALROOT || attribute == MSTP_XST_MASTERPORT ||
               attribute == MSTP_XST_DESIGNATEDBRIDGE || attribute == MSTP_XST_DESIGNATEDPORT ||
               attribute == MSTP_XST_VLANLIST || attribute == MSTP_XST_VLANLISTDEL;
    case MSTP_XSTPORT_GETAPI:
        return attribute == MSTP_XSTPORT_DESIGNATEDROOT || attribute == MSTP_XSTPORT_REGIONALROOT ||
               attribute == MSTP_XSTPORT_DESIGNATEDBRIDGE ||
               attribute == MSTP_XSTPORT_DESIGNATEDPORT;
    default:
        return false;
    }
}

static Bytes request(const Table& table, uint32_t function, uint32_t attribute, uint32_t value) {
    Request made = started(function, attribute, table.index);
    if (isOctets(table, attribute)) {
        return made.octets({0x00, 0x50, 0x08, 0x00, 0x00, 0x01, 0x00, 0x00}).bytes();
    }
    return made.int32(value).bytes();
}

static void writeTables() {
    static const char* const FUNCTIONS[] = {"get-", "set-", "sync-"};
    for (const Table& table : TABLES) {
        for (uint32_t function = 0; function < 3; function++) {
            requests::Writer writer;
            for (uint32_t attribute = 0; attribute <= table.lastAttribute + 1; attribute++) {
                writer.request(request(table, table.firstFunction + function, attribute, 2));
            }
            write("fuzz_request", FUNCTIONS[function] + std::string(table.name),
                  writer.wait(LONGEST).bytes());
        }
    }
}

static void writeWalks() {
    static const char* const NAMES[] = {"port-first", "port-next",      "xst-first",
                                        "xst-next",   "xst-port-first", "xst-port-next"};
    for (uint32_t i = 0; i < 6; i++) {
        const std::vector<uint32_t> index(i < 4 ? 1 : 2, i % 2);
        const uint32_t function = MSTP_PORT_GETFIRST + i;
        requests::Writer writer;
        writer.request(started(function, 0, index).int32(0).room(16).bytes());
        writer.request(started(function, 0, index).int32(0).bytes());
        writer.request(started(function, 0, index).octets({1, 2, 3, 4}).bytes());
        write("fuzz_request", std::string("walk-") + NAMES[i], writer.bytes());
    }
}

static void writeRequest(const std::string& name, const Bytes& bytes) {
    write("fuzz_request", name, requests::Writer().request(bytes).bytes());
}

static void writeMalformed() {
    const Bytes whole = request(TABLES[3], MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_ROLE, 0);
    writeRequest("bad-25-bytes", resized(whole, 25));
    writeRequest("bad-26-bytes", resized(whole, 26));
    writeRequest("bad-cut-value", resized(whole, whole.size() - 1));
    writeRequest("bad-no-message", with(whole, 0, {0x58}));
    writeRequest("bad-function-0", with(whole, 11, {0}));
    writeRequest("bad-function-19", with(whole, 11, {19}));
    writeRequest("bad-index-tag", with(whole, 20, {2}));
    writeRequest("bad-index-count", with(whole, 21, {1}));
    writeRequest("bad-value-tag", with(whole, 36, {4}));
    writeRequest("bad-int-length", with(whole, 39, {8}));
    writeRequest("bad-octets-beyond", with(whole, 37, {0, 0xFF, 0xFF}));
    writeRequest("value-none", with(whole, 37, {9}));
    writeRequest("value-pair",
                 started(MSTP_GEN_SETAPI, MSTP_GEN_BRIDGEMAXHOPS, {}).pair(7, 8).bytes());
    writeRequest("octets-no-room",
                 started(MSTP_GEN_GETAPI, MSTP_GEN_CFGIDDIGEST, {}).octets({0}).bytes());
    writeRequest("octets-of-513",
                 started(MSTP_XST_SETAPI, MSTP_XST_VLANLIST, {1}).octets(Bytes(513)).bytes());
    writeRequest(
        "longest",
        resized(started(MSTP_XST_GETAPI, MSTP_XST_VLANLIST, {1}).octets(Bytes(512)).bytes(),
                MSTP_CMD_SIZE));
}

static Bytes setting(uint32_t function, uint32_t attribute, const std::vector<uint32_t>& index,
                     uint32_t value) {
    return started(function, attribute, index).int32(value).bytes();
}

static Bytes vlans(uint32_t attribute, uint32_t xstId, const Bytes& list) {
    return started(MSTP_XST_SETAPI, attribute, {xstId}).octets(list).bytes();
}

// What a day at the console brings, step by step.
static void writeSessions() {
    const Bytes create = setting(MSTP_XST_SETAPI, MSTP_XST_ROWSTATUS, {3}, 4);
    const Bytes destroy = setting(MSTP_XST_SETAPI, MSTP_XST_ROWSTATUS, {3}, 6);
    const Bytes list = {0x0F, 0, 0, 0x80};
    write("fuzz_request", "session-instance",
          requests::Writer()
              .request(create)
              .request(vlans(MSTP_XST_VLANLIST, 3, list))
              .wait(TWO_SECONDS)
              .request(vlans(MSTP_XST_VLANLISTDEL, 3, list))
              .request(create)
              .request(destroy)
              .wait(LONGEST)
              .bytes());
    write("fuzz_request", "session-port",
          requests::Writer()
              .request(setting(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP, {2}, 1))
              .wait(TWO_SECONDS)
              .request(setting(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP, {2}, 2))
              .request(setting(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP, {9}, 2))
              .wait(LONGEST)
              .bytes());
    write("fuzz_request", "session-versions",
          requests::Writer()
              .request(setting(MSTP_GEN_SETAPI, MSTP_GEN_FORCEVERSION, {}, 1))
              .wait(TWO_SECONDS)
              .request(setting(MSTP_XST_GETAPI, MSTP_XST_ROWSTATUS, {1}, 0))
              .request(setting(MSTP_GEN_SETAPI, MSTP_GEN_FORCEVERSION, {}, 3))
              .wait(LONGEST)
              .bytes());
    write("fuzz_request", "session-fast-map",
          requests::Writer()
              .request(started(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPSETVLANS, {}).octets(list).bytes())
              .request(started(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPSETXSTS, {}).octets({0xE0}).bytes())
              .request(setting(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPENABLE, {}, 1))
              .request(setting(MSTP_GEN_GETAPI, MSTP_GEN_CURRENTMSTNUM, {}, 0))
              .wait(TWO_SECONDS)
              .request(setting(MSTP_PORT_SETAPI, MSTP_PORT_ADMINNONSTP, {1}, 2))
              .wait(LONGEST)
              .bytes());
}

// ---- link messages

static void append(Bytes& bytes, const void* data, size_t size) {
    const auto* from = static_cast<const uint8_t*>(data);
    bytes.insert(bytes.end(), from, from + size);
}

// One message about interface @p ifindex, in host byte order.
static Bytes linkMessage(uint16_t type, int ifindex, uint32_t change = 1) {
    nlmsghdr header = {};
    header.nlmsg_len = sizeof header + sizeof(ifinfomsg);
    header.nlmsg_type = type;
    ifinfomsg body = {};
    body.ifi_index = ifindex;
    body.ifi_flags = IFF_UP | IFF_RUNNING;
    body.ifi_change = change;
    Bytes bytes;
    append(bytes, &header, sizeof header);
    append(bytes, &body, sizeof body);
    return bytes;
}

static Bytes withAttribute(Bytes bytes, uint16_t type, const Bytes& data) {
    const rtattr header = {static_cast<uint16_t>(sizeof(rtattr) + data.size()), type};
    append(bytes, &header, sizeof header);
    append(bytes, data.data(), data.size());
    bytes.resize((bytes.size() + 3) / 4 * 4);
    const auto length = static_cast<uint32_t>(bytes.size());
    memcpy(bytes.data(), &length, sizeof length);
    return bytes;
}

static Bytes newLink(int ifindex, uint16_t type, const Bytes& data) {
    return withAttribute(linkMessage(RTM_NEWLINK, ifindex), type, data);
}

static Bytes together(std::initializer_list<Bytes> messages) {
    Bytes bytes;
    for (const Bytes& each : messages) {
        append(bytes, each.data(), each.size());
    }
    return bytes;
}

static void writeLink(const std::string& name, const Bytes& datagram) {
    write("fuzz_link", name,
          datagrams::Writer()
              .wait(TWO_SECONDS)
              .translated(datagram)
              .wait(TWO_SECONDS)
              .stock(0, datagram)
              .restore()
              .wait(LONGEST)
              .bytes());
}

static void writeLinkMessages() {
    const Bytes vlan10 = {10, 0};
    const Bytes down = newLink(1, 16, {2});
    const Bytes up = newLink(1, 16, {6});
    writeLink("state-down", down);
    writeLink("state-up", up);
    writeLink("state-unknown", newLink(1, 16, {0}));
    writeLink("state-empty", newLink(1, 16, {}));
    writeLink("state-member", newLink(40, 16, {6}));
    writeLink("flaps", together({down, up, down, up, down}));
    writeLink("port-gone", newLink(2, 38, {}));
    writeLink("vlan", newLink(1, 40, vlan10));
    writeLink("vlan-4095", newLink(1, 40, {0xFF, 0x0F}));
    writeLink("vlan-short", newLink(1, 40, {10}));
    writeLink("address", newLink(1, 48, {2, 0, 0, 0, 0, 9}));
    writeLink("address-of-4", newLink(1, 48, {2, 0, 0, 0}));
    writeLink("port-changed", newLink(1, 52, {}));
    writeLink("port-reset", newLink(2, 53, {}));
    writeLink("hardware-address", withAttribute(up, IFLA_ADDRESS, {2, 0, 0, 0, 0, 9}));
    writeLink("registered", linkMessage(RTM_NEWLINK, 50, 0xFFFFFFFF));
    writeLink("vanished-port", linkMessage(RTM_DELLINK, 1));
    writeLink("vanished-vlan", linkMessage(RTM_DELLINK, 50));
    writeLink("vanished-unknown", linkMessage(RTM_DELLINK, 77));
    writeLink("vanished-both",
              together({linkMessage(RTM_DELLINK, 1), linkMessage(RTM_DELLINK, 2)}));
    writeLink("nested-vlans", withAttribute(up, IFLA_AF_SPEC | NLA_F_NESTED,
                                            {8, 0, IFLA_BRIDGE_VLAN_INFO, 0, 0, 0, 10, 0}));
    writeLink("other-type", linkMessage(RTM_NEWADDR, 1));
    writeLink("bad-15-bytes", resized(up, 15));
    writeLink("bad-short-link", resized(with(up, 0, {24}), 24));
    writeLink("bad-length-15", with(up, 0, {15}));
    writeLink("bad-length-beyond", with(up, 0, {0xFF}));
    writeLink("bad-attribute-3", with(up, 32, {3}));
    writeLink("bad-attribute-beyond", with(up, 32, {0xFF}));
    writeLink("bad-interface-0", linkMessage(RTM_NEWLINK, 0));
    writeLink("unaligned", together({with(newLink(1, 52, {1}), 0, {37}), up}));
}

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: make_corpus FOLDER\n");
        return 2;
    }
    root = argv[1];
    writeBpdus("fuzz_parse");
    writeBpdus("fuzz_legacy");
    writeLengths();
    writeConversations();
    writeSettings();
    writeTables();
    writeWalks();
    writeMalformed();
    writeSessions();
    writeLinkMessages();
    return 0;
}
