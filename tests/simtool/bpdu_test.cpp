// BPDUs as fields: what is composed is decoded to the same, and other frames are no BPDUs.

#include "bpdu.h"

#include <gtest/gtest.h>

using namespace simtool;

namespace {

constexpr std::array<uint8_t, 6> SOURCE = {2, 0, 0, 0, 0, 9};

std::string roundTrip(const BpduFields& fields, const std::string& name) {
    BpduFields decoded = decodeBpdu(composeBpdu(fields, SOURCE));
    return decoded[name];
}

} // namespace

TEST(Bpdu, OfEachTypeHasItsLength) {
    EXPECT_EQ(roundTrip({{"type", "tcn"}}, "length"), "4");
    EXPECT_EQ(roundTrip({{"type", "config"}}, "length"), "35");
    EXPECT_EQ(roundTrip({{"type", "rst"}}, "length"), "36");
    EXPECT_EQ(roundTrip({{"type", "mst"}}, "length"), "102");
    EXPECT_EQ(roundTrip({{"type", "mst"}, {"msti.3.role", "root"}}, "length"), "118");
}

struct FieldCase {
    const char* type;
    const char* name;
    const char* value;
};

class BpduField : public testing::TestWithParam<FieldCase> {};

TEST_P(BpduField, ComesBackAsItWasGiven) {
    const FieldCase& field = GetParam();
    EXPECT_EQ(roundTrip({{"type", field.type}, {field.name, field.value}}, field.name),
              field.value);
}

INSTANTIATE_TEST_SUITE_P(
    All, BpduField,
    testing::Values(FieldCase{"rst", "root", "4096.0200-0000-0001"},
                    FieldCase{"rst", "bridge", "32768.0200-0000-0002"},
                    FieldCase{"mst", "bridge", "32768.0200-0000-0002"},
                    FieldCase{"mst", "regional-root", "32768.0200-0000-0003"},
                    FieldCase{"rst", "external-cost", "4294967295"},
                    FieldCase{"rst", "port", "240.4095"}, FieldCase{"rst", "message-age", "1.5"},
                    FieldCase{"rst", "max-age", "40"}, FieldCase{"rst", "role", "alternate"},
                    FieldCase{"rst", "proposal", "on"}, FieldCase{"rst", "acknowledgement", "on"},
                    FieldCase{"mst", "region-name", "lab"}, FieldCase{"mst", "revision", "65535"},
                    FieldCase{"mst", "digest", "00112233445566778899AABBCCDDEEFF"},
                    FieldCase{"mst", "internal-cost", "7"}, FieldCase{"mst", "remaining-hops", "3"},
                    FieldCase{"mst", "msti.2.remaining-hops", "5"},
                    FieldCase{"mst", "msti.2.agreement", "on"},
                    FieldCase{"mst", "msti.2.internal-cost", "20000"}));

TEST(Bpdu, CarriesAnMstisNumberInItsRegionalRoot) {
    EXPECT_EQ(roundTrip({{"type", "mst"}, {"msti.2.regional-root", "4096.0200-0000-0001"}},
                        "msti.2.regional-root"),
              "4098.0200-0000-0001");
}

TEST(Bpdu, EndsWhereItsLengthSaysAndNotWithThePadding) {
    Bytes frame = composeBpdu({{"type", "tcn"}}, SOURCE);
    frame.resize(60);
    EXPECT_EQ(decodeBpdu(frame)["length"], "4");
}

TEST(Bpdu, IsNoOtherFrame) {
    EXPECT_TRUE(decodeBpdu({}).empty());
    EXPECT_TRUE(decodeBpdu(Bytes(60)).empty());
    Bytes cut = composeBpdu({{"type", "rst"}}, SOURCE);
    cut.resize(BPDU_OFFSET + 3);
    EXPECT_TRUE(decodeBpdu(cut).empty());
}

TEST(Bpdu, OfEveryShorterLengthIsDecodedAsFarAsItGoes) {
    const Bytes whole =
        composeBpdu({{"type", "mst"}, {"msti.1.role", "root"}, {"msti.2.role", "root"}}, SOURCE);
    for (size_t length = 0; length < whole.size(); length++) {
        const Bytes part(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_EQ(decodeBpdu(part).empty(), length < BPDU_OFFSET + 4) << length;
    }
}

TEST(BpduFieldMatch, TakesAnAddressAloneAndNumbersInEitherForm) {
    EXPECT_TRUE(bpduFieldMatches("*.0200-0000-0001", "4096.0200-0000-0001"));
    EXPECT_FALSE(bpduFieldMatches("*.0200-0000-0002", "4096.0200-0000-0001"));
    EXPECT_TRUE(bpduFieldMatches("0x80", "128"));
    EXPECT_FALSE(bpduFieldMatches("on", "off"));
}
