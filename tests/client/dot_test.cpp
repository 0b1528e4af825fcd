// The drawing; Graphviz has the last word on its syntax.

#include "dot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "golden.h"
#include "sample_snapshot.h"

using testing::HasSubstr;
using testing::Not;

static std::string drawing(const Snapshot& snapshot, std::optional<uint32_t> instance = {}) {
    std::ostringstream out;
    drawDot(out, snapshot, instance);
    return out.str();
}

static int statusOfDot(const std::string& text) {
    FILE* pipe = popen("dot -Tcanon >/dev/null", "w");
    fwrite(text.data(), 1, text.size(), pipe);
    return pclose(pipe);
}

TEST(Dot, DrawsTheSampleAsAgreed) {
    expectGolden("drawing.dot", drawing(sampleSnapshot()));
}

TEST(Dot, DrawsOneInstanceAlone) {
    const std::string drawn = drawing(sampleSnapshot(), 1);

    EXPECT_THAT(drawn, HasSubstr("instance 1, VLANs 10-19"));
    EXPECT_THAT(drawn, Not(HasSubstr("CIST")));
}

TEST(Dot, DrawsABridgeThatTwoPortsHearOnce) {
    const std::string drawn = drawing(sampleSnapshot(), 0);
    const std::string bridge = "\"0 8192.0200-0000-0005\" [shape=box";

    ASSERT_THAT(drawn, HasSubstr(bridge));
    EXPECT_EQ(drawn.find(bridge), drawn.rfind(bridge));
}

TEST(Dot, QuotesWhatARegionsNameMayHold) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.region.name = "a\"];\\\n}";

    EXPECT_THAT(drawing(snapshot), HasSubstr("region a\\\"];\\\\\\\\x0a} revision 7\";"));
}

TEST(Dot, IsAcceptedByGraphviz) {
    Snapshot snapshot = sampleSnapshot();
    snapshot.region.name = "a\"];\\\n}";

    EXPECT_EQ(statusOfDot(drawing(snapshot)), 0);
    EXPECT_EQ(statusOfDot(drawing(Snapshot())), 0);
}
