// Priority vectors: what makes one better than another, and how one is built.

#include "mstp_vector.h"

#include <gtest/gtest.h>

#include <cstring>

#include "receive_test.h"

namespace {

auto ROOT = idFromBytes<tMstpBridgeId>({0x80, 5, 1, 2, 3, 4, 5, 6});
auto REGIONAL = idFromBytes<tMstpBridgeId>({0x41, 2, 7, 8, 9, 10, 11, 12});
auto SENDER = idFromBytes<tMstpBridgeId>({0xC0, 0, 13, 14, 15, 16, 17, 18});
auto SENDING_PORT = idFromBytes<tMstpPortId>({0x81, 0x23});
auto RECEIVING_PORT = idFromBytes<tMstpPortId>({0x42, 0x56});

tMstpPriorityVector vectorOfAll() {
    tMstpPriorityVector vector = {};
    mstpVectorCreate(&vector, &ROOT, 1000, &REGIONAL, 2000, &SENDER, &SENDING_PORT,
                     &RECEIVING_PORT);
    return vector;
}

int32_t compare(tMstpPriorityVector a, tMstpPriorityVector b) {
    return mstpVectorCmp(&a, &b, MSTP_VECTOR_SIZE);
}

// Of two vectors where @p worsen was applied to one, the untouched one is better, from both sides.
template <class Worsen> void expectWorse(Worsen worsen) {
    const tMstpPriorityVector better = vectorOfAll();
    tMstpPriorityVector worse = better;
    worsen(worse);
    EXPECT_LT(compare(better, worse), 0);
    EXPECT_GT(compare(worse, better), 0);
}

// @p ahead decides although every component after it says the opposite. The opposite is applied
// first, by @p behind.
template <class Ahead, class Behind> void expectDecides(Ahead ahead, Behind behind) {
    tMstpPriorityVector better = vectorOfAll();
    tMstpPriorityVector worse = better;
    behind(better);
    ahead(worse);
    EXPECT_LT(compare(better, worse), 0);
    EXPECT_GT(compare(worse, better), 0);
}

// ---- Building

TEST(PriorityVector, EveryComponentIsStoredInItsPlace) {
    const tMstpPriorityVector vector = vectorOfAll();

    EXPECT_TRUE(mstpSameBridgeId(&vector.rootId, &ROOT));
    EXPECT_EQ(vector.extRootPathCost, 1000U);
    EXPECT_TRUE(mstpSameBridgeId(&vector.rRootId, &REGIONAL));
    EXPECT_EQ(vector.intRootPathCost, 2000U);
    EXPECT_TRUE(mstpSameBridgeId(&vector.designatedBridgeId, &SENDER));
    EXPECT_TRUE(mstpSamePortId(&vector.designatedPortId, &SENDING_PORT));
    EXPECT_TRUE(mstpSamePortId(&vector.rcvPortId, &RECEIVING_PORT));
}

TEST(PriorityVector, BytesOfABuiltVectorAreTheComponentsInOrder) {
    const tMstpPriorityVector vector = vectorOfAll();

    uint8_t bytes[MSTP_VECTOR_SIZE];
    memcpy(bytes, &vector, sizeof bytes);
    const uint8_t root[] = {0x80, 5, 1, 2, 3, 4, 5, 6};
    const uint8_t regional[] = {0x41, 2, 7, 8, 9, 10, 11, 12};
    const uint8_t tail[] = {0xC0, 0, 13, 14, 15, 16, 17, 18, 0x81, 0x23, 0x42, 0x56};
    EXPECT_EQ(memcmp(bytes, root, sizeof root), 0);
    EXPECT_EQ(memcmp(bytes + 12, regional, sizeof regional), 0);
    EXPECT_EQ(memcmp(bytes + 24, tail, sizeof tail), 0);
}

TEST(PriorityVector, CostsAreHostOrderIntegers) {
    const tMstpPriorityVector vector = vectorOfAll();

    uint32_t external;
    uint32_t internal;
    memcpy(&external, reinterpret_cast<const uint8_t*>(&vector) + 8, sizeof external);
    memcpy(&internal, reinterpret_cast<const uint8_t*>(&vector) + 20, sizeof internal);
    EXPECT_EQ(external, 1000U);
    EXPECT_EQ(internal, 2000U);
}

TEST(PriorityVector, OneIdentifierMayServeForAllOfItsKind) {
    tMstpPriorityVector own = {};
    mstpVectorCreate(&own, &ROOT, 0, &ROOT, 0, &ROOT, &SENDING_PORT, &SENDING_PORT);

    EXPECT_TRUE(mstpSameBridgeId(&own.rootId, &ROOT));
    EXPECT_EQ(own.extRootPathCost, 0U);
    EXPECT_TRUE(mstpSameBridgeId(&own.rRootId, &ROOT));
    EXPECT_EQ(own.intRootPathCost, 0U);
    EXPECT_TRUE(mstpSameBridgeId(&own.designatedBridgeId, &ROOT));
    EXPECT_TRUE(mstpSamePortId(&own.designatedPortId, &SENDING_PORT));
    EXPECT_TRUE(mstpSamePortId(&own.rcvPortId, &SENDING_PORT));
}

TEST(PriorityVector, BuildingReplacesWhatWasThere) {
    tMstpPriorityVector vector;
    memset(&vector, 0xFF, sizeof vector);
    mstpVectorCreate(&vector, &ROOT, 1000, &REGIONAL, 2000, &SENDER, &SENDING_PORT,
                     &RECEIVING_PORT);

    EXPECT_EQ(compare(vector, vectorOfAll()), 0);
}

// ---- Comparing one component

TEST(PriorityVector, EqualVectorsCompareAsZero) {
    EXPECT_EQ(compare(vectorOfAll(), vectorOfAll()), 0);
}

TEST(PriorityVector, SmallerRootIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.rootId.mac[5]++; });
}

TEST(PriorityVector, SmallerExternalCostIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.extRootPathCost++; });
}

TEST(PriorityVector, SmallerRegionalRootIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.rRootId.mac[5]++; });
}

TEST(PriorityVector, SmallerInternalCostIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.intRootPathCost++; });
}

TEST(PriorityVector, SmallerDesignatedBridgeIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.designatedBridgeId.mac[5]++; });
}

TEST(PriorityVector, SmallerDesignatedPortIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.designatedPortId.portNumberL++; });
}

TEST(PriorityVector, VectorsThatDifferOnlyInReceivingPortAreNotEqualAndTheSmallerPortIsBetter) {
    expectWorse([](tMstpPriorityVector& vector) { vector.rcvPortId.portNumberL++; });
}

// ---- Order of the components

TEST(PriorityVector, RootDecidesBeforeExternalCost) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.mac[5]++; },
                  [](tMstpPriorityVector& vector) { vector.extRootPathCost++; });
}

TEST(PriorityVector, ExternalCostDecidesBeforeRegionalRoot) {
    expectDecides([](tMstpPriorityVector& vector) { vector.extRootPathCost++; },
                  [](tMstpPriorityVector& vector) { vector.rRootId.mac[5]++; });
}

TEST(PriorityVector, RegionalRootDecidesBeforeInternalCost) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rRootId.mac[5]++; },
                  [](tMstpPriorityVector& vector) { vector.intRootPathCost++; });
}

TEST(PriorityVector, InternalCostDecidesBeforeDesignatedBridge) {
    expectDecides([](tMstpPriorityVector& vector) { vector.intRootPathCost++; },
                  [](tMstpPriorityVector& vector) { vector.designatedBridgeId.mac[5]++; });
}

TEST(PriorityVector, DesignatedBridgeDecidesBeforeDesignatedPort) {
    expectDecides([](tMstpPriorityVector& vector) { vector.designatedBridgeId.mac[5]++; },
                  [](tMstpPriorityVector& vector) { vector.designatedPortId.portNumberL++; });
}

TEST(PriorityVector, DesignatedPortDecidesBeforeReceivingPort) {
    expectDecides([](tMstpPriorityVector& vector) { vector.designatedPortId.portNumberL++; },
                  [](tMstpPriorityVector& vector) { vector.rcvPortId.portNumberL++; });
}

// ---- Order inside a component

TEST(PriorityVector, SmallerBridgePriorityIsBetterWhateverTheMac) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.priority++; },
                  [](tMstpPriorityVector& vector) { memset(vector.rootId.mac, 0xFF, 6); });
}

TEST(PriorityVector, SmallerBridgePriorityIsBetterWhateverTheInstance) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.priority++; },
                  [](tMstpPriorityVector& vector) { vector.rootId.systemH = 15; });
}

TEST(PriorityVector, HighInstanceNibbleDecidesBeforeTheLowInstanceByte) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.systemH++; },
                  [](tMstpPriorityVector& vector) { vector.rootId.systemL = 0xFF; });
}

TEST(PriorityVector, InstanceNumberDecidesBeforeTheMac) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.systemL++; },
                  [](tMstpPriorityVector& vector) { memset(vector.rootId.mac, 0xFF, 6); });
}

TEST(PriorityVector, FirstByteOfAMacDecidesBeforeTheOthers) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rootId.mac[0]++; },
                  [](tMstpPriorityVector& vector) { memset(vector.rootId.mac + 1, 0xFF, 5); });
}

TEST(PriorityVector, BytesOfIdentifiersCompareAsUnsigned) {
    tMstpPriorityVector small = vectorOfAll();
    tMstpPriorityVector large = small;
    small.rRootId.mac[0] = 0x7F;
    large.rRootId.mac[0] = 0x80;
    EXPECT_LT(compare(small, large), 0);
    EXPECT_GT(compare(large, small), 0);
}

TEST(PriorityVector, PortPriorityDecidesBeforeThePortNumber) {
    expectDecides([](tMstpPriorityVector& vector) { vector.designatedPortId.priority++; },
                  [](tMstpPriorityVector& vector) {
                      vector.designatedPortId.portNumberH = 15;
                      vector.designatedPortId.portNumberL = 0xFF;
                  });
}

TEST(PriorityVector, HighPortNumberNibbleDecidesBeforeTheLowByte) {
    expectDecides([](tMstpPriorityVector& vector) { vector.rcvPortId.portNumberH++; },
                  [](tMstpPriorityVector& vector) { vector.rcvPortId.portNumberL = 0xFF; });
}

// ---- Costs

TEST(PriorityVector, LargestExternalCostIsTheWorstAndNeverNegative) {
    expectWorse([](tMstpPriorityVector& vector) { vector.extRootPathCost = 0xFFFFFFFF; });
}

TEST(PriorityVector, LargestInternalCostIsTheWorstAndNeverNegative) {
    expectWorse([](tMstpPriorityVector& vector) { vector.intRootPathCost = 0xFFFFFFFF; });
}

TEST(PriorityVector, CostsCompareAsNumbersAndNotAsBytes) {
    tMstpPriorityVector small = vectorOfAll();
    tMstpPriorityVector large = small;
    small.extRootPathCost = 0x000000FF;
    large.extRootPathCost = 0x00000100;
    EXPECT_LT(compare(small, large), 0);
    small.extRootPathCost = large.extRootPathCost = 0;
    small.intRootPathCost = 0x000000FF;
    large.intRootPathCost = 0x00000100;
    EXPECT_LT(compare(small, large), 0);
}

TEST(PriorityVector, CostsThatDifferGiveOneUp) {
    tMstpPriorityVector small = vectorOfAll();
    tMstpPriorityVector large = small;
    large.extRootPathCost = small.extRootPathCost + 0x80000000;
    EXPECT_EQ(compare(small, large), -1);
    EXPECT_EQ(compare(large, small), 1);
    large = small;
    large.intRootPathCost = small.intRootPathCost + 0x80000000;
    EXPECT_EQ(compare(small, large), -1);
    EXPECT_EQ(compare(large, small), 1);
}

// ---- The length

TEST(PriorityVector, OtherLengthThanThatOfAVectorChangesNothing) {
    tMstpPriorityVector better = vectorOfAll();
    tMstpPriorityVector worse = better;
    worse.rcvPortId.portNumberL++;
    for (const int32_t length : {-1, 0, 1, 8, 34, 37, 1000}) {
        EXPECT_LT(mstpVectorCmp(&better, &worse, length), 0) << length;
        EXPECT_GT(mstpVectorCmp(&worse, &better, length), 0) << length;
        EXPECT_EQ(mstpVectorCmp(&better, &better, length), 0) << length;
    }
}

} // namespace
