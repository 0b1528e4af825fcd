// Reports: keys and values, files that other programs read, and that nothing depends on chance.

#include "report.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <sstream>

#include "parse.h"
#include "pcap.h"
#include "trial.h"
#include "yaml_reader.h"

using namespace simtool;
using testing::HasSubstr;

namespace {

const char* const LOSSY = R"(
duration: 40s
seed: 5
defaults: {bridge: {region: lab, instances: {1: 10, 2: 20}}, link: {loss: 10%, jitter: 1ms, duplication: 5%}}
generate: {kind: random, bridges: 6, degree: 4}
bridges: {sw2: {instances: {1: {priority: 0}}}}
hosts: {h1: sw1, h2: sw5}
events:
  - {at: 10s, send: {from: h1, to: h2, vlan: 10, every: 50ms, for: 20s}}
  - {at: 20s, crash: sw1}
  - {at: 25s, restart: sw2}
)";

using Writer = void (*)(std::ostream&, Lab&);

void writeWhole(std::ostream& out, Lab& lab) {
    writeText(out, lab, Detail::Whole);
}

std::string report(const std::string& scenario, Writer write) {
    Trial run(scenario);
    std::ostringstream out;
    write(out, run.lab);
    return out.str();
}

// Every tag is closed in its order, every attribute is quoted.
std::string markupError(const std::string& text) {
    std::vector<std::string> open;
    for (size_t at = text.find('<'); at != std::string::npos; at = text.find('<', at + 1)) {
        const size_t end = text.find('>', at);
        if (end == std::string::npos) {
            return "unfinished tag";
        }
        const std::string tag = text.substr(at + 1, end - at - 1);
        if (std::count(tag.begin(), tag.end(), '"') % 2 != 0) {
            return "quotes in " + tag;
        }
        const std::string name = tag.substr(0, tag.find_first_of(" /", 1));
        if (tag[0] == '/') {
            if (open.empty() || open.back() != tag.substr(1)) {
                return "closes " + tag;
            }
            open.pop_back();
        } else if (tag.back() != '/') {
            open.push_back(name);
        }
    }
    return open.empty() ? "" : "never closes " + open.back();
}

class Folder {
  public:
    Folder() {
        char name[] = "/tmp/mstp-sim-test-XXXXXX";
        m_path = mkdtemp(name);
    }
    ~Folder() { std::filesystem::remove_all(m_path); }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

std::string bytesOf(const std::string& file) {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

uint32_t littleEndian(const std::string& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = 4; i > 0; i--) {
        value = (value << 8) | static_cast<uint8_t>(bytes[at + i - 1]);
    }
    return value;
}

struct Captured {
    Scenario scenario = parseScenario(
        "bridges: {a: {priority: 0}, b: }\nlinks: [a-b]\nduration: 10s\n", "captured.yaml");
    Folder folder;
};

} // namespace

class Deterministic : public testing::TestWithParam<Writer> {};

TEST_P(Deterministic, ReportsAreTheSameToTheByte) {
    const std::string first = report(LOSSY, GetParam());
    EXPECT_FALSE(first.empty());
    EXPECT_TRUE(report(LOSSY, GetParam()) == first);
}

INSTANTIATE_TEST_SUITE_P(All, Deterministic,
                         testing::Values(Writer(writeWhole), Writer(writeJson), Writer(writeDot),
                                         Writer(writeSvg)));

TEST(Reports, OfOtherSeedsDiffer) {
    std::string other = LOSSY;
    other.replace(other.find("seed: 5"), 7, "seed: 6");
    EXPECT_NE(report(other, writeJson), report(LOSSY, writeJson));
}

TEST(Json, HasTheDocumentedKeys) {
    const auto document = nlohmann::json::parse(
        report(twoBridges("events: [{at: 30s, cut: sw1-sw2}]\nexpect: [{root: sw2}]"), writeJson));
    EXPECT_EQ(document["format"], 1);
    EXPECT_EQ(document["scenario"], "two bridges");
    EXPECT_EQ(document["passed"], false);
    EXPECT_EQ(document["failures"][0]["expected"], "{root: sw2}");
    EXPECT_EQ(document["events"][1]["event"], "cut sw1-sw2");
    EXPECT_EQ(document["events"][1]["at_us"], 30'000'000);
    EXPECT_EQ(document["instances"][1]["instance"], 1);
    EXPECT_EQ(document["instances"][0]["bridges"][0]["root"], "sw1");
    EXPECT_EQ(document["instances"][0]["bridges"][0]["ports"][0]["role"], "disabled");
    EXPECT_EQ(document["instances"][0]["links"][0]["up"], false);
    EXPECT_EQ(document["timeline"][0]["kind"], "event");
}

TEST(Text, ShowsTheTreeAndTheBlockedPort) {
    const std::string text =
        report("bridges: {a: {priority: 0}, b: , c: }\nlinks: [a-b, b-c, c-a]\nduration: 20s\n",
               writeWhole);
    EXPECT_THAT(text, HasSubstr("a (root)\n|- b  (1 -> 1)\n`- c  (2 -> 2)\n"
                                "blocked: c.1 alternate on b-c\n"));
}

TEST(Text, TellsWhatHappenedToInstancesAtOnceOnOneLine) {
    const std::string text = report(twoBridges("events: [{at: 30s, cut: sw1-sw2}]"), writeWhole);
    EXPECT_THAT(text, HasSubstr("30.000000   sw2.1       CIST,1       root -> disabled          "
                                "forwarding -> discarding\n"));
}

TEST(Text, HasTheFiguresAloneWhereItIsBrief) {
    const std::string text =
        report(twoBridges("events: [{at: 30s, cut: sw1-sw2}]"),
               [](std::ostream& out, Lab& lab) { writeText(out, lab, Detail::Brief); });
    EXPECT_THAT(text, HasSubstr("settled after"));
    EXPECT_THAT(text, testing::Not(HasSubstr("->")));
}

TEST(Svg, IsWellFormed) {
    EXPECT_EQ(markupError(report(LOSSY, writeSvg)), "");
}

TEST(Svg, HasAGroupForEachInstance) {
    const std::string svg = report(LOSSY, writeSvg);
    EXPECT_THAT(svg, HasSubstr("<g id=\"instance-0\""));
    EXPECT_THAT(svg, HasSubstr("<g id=\"instance-2\""));
}

TEST(Svg, EscapesTheScenariosName) {
    const std::string svg = report("name: a <b> & \"c\"\nbridges: {a: }\nduration: 1s", writeSvg);
    EXPECT_THAT(svg, HasSubstr("<title>a &lt;b&gt; &amp; &quot;c&quot;</title>"));
    EXPECT_EQ(markupError(svg), "");
}

TEST(Dot, NamesBridgesPortsAndTheRoot) {
    const std::string dot = report(twoBridges(""), writeDot);
    EXPECT_THAT(dot, HasSubstr("i0_sw1 [label=\"sw1\", style=filled"));
    EXPECT_THAT(dot, HasSubstr("i0_sw1 -- i0_sw2 [style=solid"));
}

TEST(Comparison, ShowsBothRunsOfAnEvent) {
    Trial slow("bridges: {a: {priority: 0, version: stp}, b: }\nlinks: [a-b]\nduration: 60s\n");
    Trial fast("bridges: {a: {priority: 0}, b: }\nlinks: [a-b]\nduration: 60s\n");
    std::ostringstream out;
    writeComparison(out, slow.lab, fast.lab);
    EXPECT_THAT(out.str(), HasSubstr("start a b"));
    EXPECT_THAT(out.str(), HasSubstr("settled A"));
}

static std::string comparison(const std::string& eventsOfA, const std::string& eventsOfB) {
    Trial a(twoBridges("events: " + eventsOfA));
    Trial b(twoBridges("events: " + eventsOfB));
    std::ostringstream out;
    writeComparison(out, a.lab, b.lab);
    return out.str();
}

TEST(Comparison, TellsWhatOnlyOneRunHas) {
    const std::string text = comparison("[{at: 20s, cut: sw1-sw2}, {at: 30s, mend: sw1-sw2}]",
                                        "[{at: 20s, cut: sw1-sw2}, {at: 40s, crash: sw1}]");
    EXPECT_THAT(text, HasSubstr("20.000000  cut sw1-sw2  "));
    EXPECT_THAT(text, HasSubstr("30.000000  mend sw1-sw2 (only in A)"));
    EXPECT_THAT(text, HasSubstr("40.000000  crash sw1 (only in B)"));
}

TEST(Comparison, FindsTheSameEventAtAnotherTime) {
    const std::string text =
        comparison("[{at: 30s, cut: sw1-sw2}]", "[{at: 20s, crash: sw2}, {at: 40s, cut: sw1-sw2}]");
    EXPECT_THAT(text, HasSubstr("30.000000  cut sw1-sw2 (B: at 40.000000)"));
    EXPECT_THAT(text, HasSubstr("20.000000  crash sw2 (only in B)"));
}

TEST(Comparison, PutsOtherEventsOfOneKindAndMomentTogether) {
    EXPECT_THAT(comparison("[{at: 30s, crash: sw1}]", "[{at: 30s, crash: sw2}]"),
                HasSubstr("30.000000  crash sw1 / crash sw2"));
}

TEST(Capture, IsAPcapFileOfTheLinksFrames) {
    Captured captured;
    Lab lab(captured.scenario);
    Capture capture(captured.scenario, lab.network());
    const std::string file = captured.folder.path() + "/one.pcap";
    capture.open(0, file);
    lab.network().addObserver(&capture);
    lab.run();
    capture.close();

    const std::string bytes = bytesOf(file);
    ASSERT_GT(bytes.size(), 24U + 16U + 14U);
    EXPECT_EQ(littleEndian(bytes, 0), 0xA1B2C3D4U);
    EXPECT_EQ(littleEndian(bytes, 4), 0x00040002U);
    EXPECT_EQ(littleEndian(bytes, 20), 1U);
    EXPECT_LT(littleEndian(bytes, 24), 10U);
    EXPECT_LT(littleEndian(bytes, 28), 1'000'000U);
    EXPECT_EQ(littleEndian(bytes, 32), littleEndian(bytes, 36));
    EXPECT_EQ(bytes.substr(40, 6), std::string("\x01\x80\xC2\0\0\0", 6));
    size_t at = 24;
    while (at + 16 <= bytes.size()) {
        at += 16 + littleEndian(bytes, at + 8);
    }
    EXPECT_EQ(at, bytes.size());
}

TEST(Capture, OfAFolderHasAFileForEachLink) {
    Captured captured;
    Lab lab(captured.scenario);
    Capture capture(captured.scenario, lab.network());
    capture.openAll(captured.folder.path() + "/new");
    capture.close();
    EXPECT_TRUE(std::filesystem::exists(captured.folder.path() + "/new/a-b.pcap"));
}

TEST(Capture, ThatCannotBeWrittenIsAnError) {
    Captured captured;
    Lab lab(captured.scenario);
    Capture capture(captured.scenario, lab.network());
    EXPECT_THROW(capture.open(0, "/nonexistent/x.pcap"), BadInput);
}
