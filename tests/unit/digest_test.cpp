// The test vectors of RFC 2202, section 2, and the digest of an MST region without VLANs.

#include "platform/digest.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<uint8_t>;

Bytes bytesOf(const char* text) {
    return Bytes(text, text + strlen(text));
}

Bytes counting(uint8_t first, uint8_t last) {
    Bytes bytes;
    for (uint32_t value = first; value <= last; value++) {
        bytes.push_back(static_cast<uint8_t>(value));
    }
    return bytes;
}

std::string digestOf(const Bytes& text, const Bytes& key) {
    uint8_t digest[16];
    hmac_md5(text.data(), static_cast<uint32_t>(text.size()), key.data(),
             static_cast<uint32_t>(key.size()), digest);
    std::string hex;
    for (uint8_t byte : digest) {
        char pair[3];
        snprintf(pair, sizeof(pair), "%02x", byte);
        hex += pair;
    }
    return hex;
}

TEST(Digest, MatchesVectorOfSixteenByteKey) {
    EXPECT_EQ(digestOf(bytesOf("Hi There"), Bytes(16, 0x0b)), "9294727a3638bb1c13f48ef8158bfc9d");
}

TEST(Digest, MatchesVectorOfShortTextKey) {
    EXPECT_EQ(digestOf(bytesOf("what do ya want for nothing?"), bytesOf("Jefe")),
              "750c783e6ab0b503eaa86e310a5db738");
}

TEST(Digest, MatchesVectorOfFiftyRepeatedBytes) {
    EXPECT_EQ(digestOf(Bytes(50, 0xdd), Bytes(16, 0xaa)), "56be34521d144c88dbb8c733f0e8b3f6");
}

TEST(Digest, MatchesVectorOfCountingKey) {
    EXPECT_EQ(digestOf(Bytes(50, 0xcd), counting(0x01, 0x19)), "697eaf0aca3a3aea3a75164746ffaa79");
}

TEST(Digest, MatchesVectorOfTruncationText) {
    EXPECT_EQ(digestOf(bytesOf("Test With Truncation"), Bytes(16, 0x0c)),
              "56461ef2342edc00f9bab995690efd4c");
}

TEST(Digest, HashesKeyLongerThanOneBlockFirst) {
    EXPECT_EQ(digestOf(bytesOf("Test Using Larger Than Block-Size Key - Hash Key First"),
                       Bytes(80, 0xaa)),
              "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd");
}

TEST(Digest, HashesTextLongerThanOneBlockUnderLongKey) {
    EXPECT_EQ(
        digestOf(bytesOf("Test Using Larger Than Block-Size Key and Larger Than One Block-Size "
                         "Data"),
                 Bytes(80, 0xaa)),
        "6f630fad67cda0ee1fb1f562db3aa53e");
}

TEST(Digest, OfEmptyTextIsDefined) {
    EXPECT_EQ(digestOf(Bytes(), Bytes()), "74e6f7298a9c2d168935f58c001bad88");
}

TEST(Digest, OfRegionWithoutVlansIsThatOfTheStandard) {
    const Bytes key = {0x13, 0xac, 0x06, 0xa6, 0x2e, 0x47, 0xfd, 0x51,
                       0xf9, 0x5d, 0x2b, 0xa2, 0x43, 0xcd, 0x03, 0x46};
    EXPECT_EQ(digestOf(Bytes(8192, 0), key), "ac36177f50283cd4b83821d8ab26de62");
}

} // namespace
