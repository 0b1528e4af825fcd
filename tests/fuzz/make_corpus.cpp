// Writes the seed corpora of the fuzzers: make_corpus FOLDER. The same program writes the same
// bytes; run it again after a change and commit what it wrote.

#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <string>

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
    return 0;
}
