// The command server: every selector, every text, every way to ask wrongly.

#include "mstp_command_server.h"

#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <csignal>

#include "management_request.h"
#include "management_values.h"
#include "mstp/enums.h"
#include "mstp_nm.h"
#include "restore_file.h"
#include "test_bridge.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr uint32_t UNIT = 7;
constexpr uint32_t MSTI = 2;

/// Runs @p request in its own buffer. @return the reply's length
int32_t process(Request& request, void* flag = nullptr) {
    return mstpCmdProcess(request.bytes().data(), static_cast<int32_t>(request.bytes().size()),
                          flag);
}

std::string printed(Request& request, void* flag = nullptr) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(process(request, flag), 0);
    return testing::internal::GetCapturedStdout();
}

/// A bridge with the CIST, one MSTI and two ports; no restore file.
class Command : public testing::Test {
  protected:
    Command() {
        bridge.addInstance(MSTI);
        bridge.addUpPort(UNIT);
        bridge.addUpPort(UNIT + 4);
        bridge.sw.forget();
        unlink(restorePath().c_str());
    }
    ~Command() override { unlink(restorePath().c_str()); }

    TestBridge bridge;
};

// ---- get, set, sync

TEST_F(Command, GeneralGetRewritesTheValueInPlace) {
    bridge.bridge->bridgeMaxAge = 25;
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_BRIDGEMAXAGE);
    request.index({}).int32(0);
    const std::vector<uint8_t> before = request.bytes();
    EXPECT_EQ(process(request), static_cast<int32_t>(before.size()));
    EXPECT_EQ(request.result(), 0);
    EXPECT_EQ(request.value(), 2500U);
    std::vector<uint8_t> expected = before;
    expected[before.size() - 2] = 0x09;
    expected[before.size() - 1] = 0xC4;
    EXPECT_EQ(request.bytes(), expected);
}

TEST_F(Command, FailedGetChangesOnlyTheResult) {
    Request request(MSTP_GEN_GETAPI, 99);
    request.index({}).int32(0x11223344);
    std::vector<uint8_t> expected = request.bytes();
    memset(expected.data() + 12, 0xFF, 4);
    EXPECT_EQ(process(request), static_cast<int32_t>(expected.size()));
    EXPECT_EQ(request.bytes(), expected);
}

TEST_F(Command, GeneralSetAndSyncReachTheirEntries) {
    Request set(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    set.index({}).int32(9);
    process(set);
    Request sync(MSTP_GEN_SYNCAPI, MSTP_GEN_HOLDTIME);
    sync.index({}).int32(4);
    process(sync);
    EXPECT_EQ(set.result(), 0);
    EXPECT_EQ(sync.result(), 0);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwScalarSync index=0 attribute=0x50009 value=9 flag=0x3",
                            "kelHwScalarSync index=0 attribute=0x50009 value=4 flag=0x1"));
}

TEST_F(Command, PortGetSetAndSyncReachTheirEntries) {
    Request get(MSTP_PORT_GETAPI, MSTP_PORT_BPDUSNOOPINGENABLE);
    get.index({UNIT}).int32(0);
    process(get);
    EXPECT_EQ(get.value(), 2U);
    Request set(MSTP_PORT_SETAPI, MSTP_PORT_ADMINMACENABLE);
    set.index({UNIT}).int32(5);
    process(set);
    Request sync(MSTP_PORT_SYNCAPI, MSTP_PORT_ADMINMACENABLE);
    sync.index({UNIT}).int32(6);
    process(sync);
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("kelHwIfSync unit=7 attribute=0x4040002 value=5 flag=0x3",
                            "kelHwIfSync unit=7 attribute=0x4040002 value=6 flag=0x1"));
}

TEST_F(Command, XstGetSetAndSyncReachTheirEntries) {
    Request get(MSTP_XST_GETAPI, MSTP_XST_BRIDGEPRIORITY);
    get.index({MSTI}).int32(0);
    process(get);
    EXPECT_EQ(get.value(), 32768U);
    Request set(MSTP_XST_SETAPI, MSTP_XST_BRIDGEPRIORITY);
    set.index({MSTI}).int32(4096);
    process(set);
    EXPECT_EQ(bridge.sw.calls.at(0),
              "kelHwMstpXstSync xst=2 attribute=0x6dcc002 value=4096 flag=0x3");
    bridge.sw.forget();
    Request sync(MSTP_XST_SYNCAPI, MSTP_XST_BRIDGEPRIORITY);
    sync.index({MSTI}).int32(8192);
    process(sync);
    EXPECT_EQ(bridge.sw.calls.at(0),
              "kelHwMstpXstSync xst=2 attribute=0x6dcc002 value=8192 flag=0x1");
}

TEST_F(Command, XstPortGetSetAndSyncReachTheirEntries) {
    Request get(MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_PRIORITY);
    get.index({MSTI, UNIT}).int32(0);
    process(get);
    EXPECT_EQ(get.value(), 128U);
    Request set(MSTP_XSTPORT_SETAPI, MSTP_XSTPORT_PRIORITY);
    set.index({MSTI, UNIT}).int32(16);
    process(set);
    EXPECT_EQ(bridge.sw.calls.at(0),
              "kelHwMstpXstPortSync xst=2 unit=7 attribute=0x8d0800b value=16 flag=0x3");
    bridge.sw.forget();
    Request sync(MSTP_XSTPORT_SYNCAPI, MSTP_XSTPORT_PRIORITY);
    sync.index({MSTI, UNIT}).int32(32);
    process(sync);
    EXPECT_EQ(bridge.sw.calls.at(0),
              "kelHwMstpXstPortSync xst=2 unit=7 attribute=0x8d0800b value=32 flag=0x1");
}

TEST_F(Command, PlatformsRefusalTravelsAsTheResult) {
    bridge.sw.results["kelHwScalarSync"] = 0x1234;
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(9);
    process(request);
    EXPECT_EQ(request.result(), 0x1234);
    EXPECT_EQ(request.value(), 9U);
}

// ---- walks

TEST_F(Command, WalksOverPortsAnswerWithTheUnit) {
    Request first(MSTP_PORT_GETFIRST, 0);
    first.index({0}).int32(0);
    process(first);
    EXPECT_EQ(first.value(), UNIT);
    Request next(MSTP_PORT_GETNEXT, 0);
    next.index({UNIT}).int32(0);
    process(next);
    EXPECT_EQ(next.value(), UNIT + 4);
    EXPECT_EQ(next.numberAt(25), UNIT); // the request's own index stays
}

TEST_F(Command, WalksOverInstancesAnswerWithTheNumber) {
    Request first(MSTP_XST_GETFIRST, 0);
    first.index({0}).int32(77);
    process(first);
    EXPECT_EQ(first.value(), 0U);
    Request next(MSTP_XST_GETNEXT, 0);
    next.index({0}).int32(0);
    process(next);
    EXPECT_EQ(next.value(), MSTI);
}

TEST_F(Command, WalksOverInstancePortsAnswerWithTwoItems) {
    Request first(MSTP_XSTPORT_GETFIRST, 0);
    first.index({0, 0}).int32(0).room(8);
    process(first);
    EXPECT_EQ(first.value(), 0U);
    EXPECT_EQ(first.numberAt(first.valueOffset() + 8), 0x03020004U);
    EXPECT_EQ(first.numberAt(first.valueOffset() + 12), UNIT);
    Request next(MSTP_XSTPORT_GETNEXT, 0);
    next.index({0, UNIT + 4}).int32(0).room(8);
    process(next);
    EXPECT_EQ(next.value(), MSTI);
    EXPECT_EQ(next.numberAt(next.valueOffset() + 12), UNIT);
}

TEST_F(Command, SecondItemOfAWalkThatDoesNotFitIsDropped) {
    Request request(MSTP_XSTPORT_GETFIRST, 0);
    request.index({0, 0}).int32(0).room(7);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_THAT(std::vector<uint8_t>(request.bytes().end() - 7, request.bytes().end()),
                testing::Each(0xEE));
}

TEST_F(Command, EndOfAWalkChangesOnlyTheResult) {
    Request request(MSTP_PORT_GETNEXT, 0);
    request.index({UNIT + 4}).int32(0x55667788);
    process(request);
    EXPECT_EQ(request.result(), -1);
    EXPECT_EQ(request.value(), 0x55667788U);
}

TEST_F(Command, GetNextWithAnotherValueTypeComesBackUnchangedButForTheResult) {
    Request request(MSTP_PORT_GETNEXT, 0);
    request.index({UNIT}).octets({1, 2, 3, 4});
    memset(request.bytes().data() + 12, 0x99, 4);
    std::vector<uint8_t> expected = request.bytes();
    memset(expected.data() + 12, 0, 4);
    process(request);
    EXPECT_EQ(request.bytes(), expected);
}

struct WalkRow {
    const char* name;
    Request request;
};

class CommandWalk : public Command, public testing::WithParamInterface<WalkRow> {
  protected:
    /// Expects that serving @p request changes nothing in it but the result, which becomes 0.
    static void expectOnlyTheResult(Request request) {
        memset(request.bytes().data() + 12, 0x99, 4);
        std::vector<uint8_t> expected = request.bytes();
        memset(expected.data() + 12, 0, 4);
        process(request);
        EXPECT_EQ(request.bytes(), expected);
    }
};

TEST_P(CommandWalk, WithOctetsForAValueEncodesNothing) {
    expectOnlyTheResult(Request(GetParam().request).octets({1, 2, 3, 4}).room(8));
}

TEST_P(CommandWalk, WithAPairForAValueEncodesNothing) {
    expectOnlyTheResult(Request(GetParam().request).pair(0x11111111, 0x22222222).room(8));
}

TEST_P(CommandWalk, WithAnUnknownTypeOfValueEncodesNothing) {
    expectOnlyTheResult(Request(GetParam().request).valueHeader(7, 4).room(12));
}

const WalkRow WALKS[] = {
    {"PortFirst", Request(MSTP_PORT_GETFIRST, 0).index({0})},
    {"PortNext", Request(MSTP_PORT_GETNEXT, 0).index({UNIT})},
    {"XstFirst", Request(MSTP_XST_GETFIRST, 0).index({0})},
    {"XstNext", Request(MSTP_XST_GETNEXT, 0).index({0})},
    {"XstPortFirst", Request(MSTP_XSTPORT_GETFIRST, 0).index({0, 0})},
    {"XstPortNext", Request(MSTP_XSTPORT_GETNEXT, 0).index({0, UNIT})},
};

INSTANTIATE_TEST_SUITE_P(Tables, CommandWalk, testing::ValuesIn(WALKS), RowName());

// ---- indices

TEST_F(Command, BytesBeforeAnIndexDoNotMatter) {
    Request request(MSTP_PORT_GETAPI, MSTP_PORT_BPDUSNOOPINGENABLE);
    request.index({UNIT}).int32(0);
    memset(request.bytes().data() + 22, 0xAB, 3);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_EQ(request.value(), 2U);
}

TEST_F(Command, BytesBeforeEachOfTwoIndicesDoNotMatter) {
    Request request(MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_PRIORITY);
    request.index({MSTI, UNIT}).int32(0);
    memset(request.bytes().data() + 22, 0xAB, 3);
    memset(request.bytes().data() + 29, 0xCD, 3);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_EQ(request.value(), 128U);
}

TEST_F(Command, BytesOfTheIndexThatIsNoneDoNotMatter) {
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(0);
    memset(request.bytes().data() + 22, 0xAB, 7);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_EQ(request.value(), 6U);
}

// ---- values

TEST_F(Command, OctetsAnswerWithTheirOwnLength) {
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_CFGIDNAME);
    request.index({}).octets(std::vector<uint8_t>(32, 0xEE));
    process(request);
    const auto value = request.bytes().begin() + static_cast<long>(request.valueOffset());
    EXPECT_THAT(std::vector<uint8_t>(value, value + 8),
                ElementsAre(3, 0, 0, 3, 's', 'w', '1', 0xEE));
}

TEST_F(Command, OctetsMayUseTheRoomBehindAShorterValue) {
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_CFGIDDIGEST);
    request.index({}).octets({}).room(16);
    process(request);
    EXPECT_EQ(request.result(), 0);
    const auto value = request.bytes().begin() + static_cast<long>(request.valueOffset());
    EXPECT_THAT(std::vector<uint8_t>(value, value + 4), ElementsAre(3, 0, 0, 16));
    EXPECT_THAT(std::vector<uint8_t>(value + 4, value + 20),
                testing::ElementsAreArray(bridge.bridge->cfgIdDigest));
}

TEST_F(Command, OctetsThatWouldOutgrowTheRequestAreDroppedWhole) {
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_CFGIDDIGEST);
    request.index({}).octets(std::vector<uint8_t>(15, 0xAB));
    const std::vector<uint8_t> expected = request.bytes();
    process(request);
    EXPECT_EQ(request.bytes(), expected);
}

TEST_F(Command, SetOctetsAreTakenFromTheRequest) {
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_CFGIDNAME);
    request.index({}).octets({'a', 'b'});
    process(request);
    EXPECT_EQ(request.result(), 0);
    EXPECT_EQ(bridge.bridge->nameLen, 2);
}

TEST_F(Command, PairServesANumberWithItsFirstHalf) {
    Request request(MSTP_GEN_GETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).pair(1, 0x0A0B0C0D);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_EQ(request.value(), 6U);
    EXPECT_EQ(request.numberAt(request.valueOffset() + 8), 0x0A0B0C0DU);
}

TEST_F(Command, PairSetsANumberWithItsFirstHalf) {
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).pair(9, 3);
    EXPECT_EQ(process(request), static_cast<int32_t>(request.bytes().size()));
    EXPECT_EQ(request.result(), 0);
    EXPECT_EQ(bridge.bridge->txHoldCount, 9);
}

TEST_F(Command, NumberForAnOctetsAttributeIsRefused) {
    for (const uint32_t function : {MSTP_GEN_GETAPI, MSTP_GEN_SETAPI}) {
        Request request(function, MSTP_GEN_CFGIDNAME);
        request.index({}).int32(5).room(40);
        process(request);
        EXPECT_EQ(request.result(), -1);
    }
    EXPECT_EQ(bridge.bridge->nameLen, 3);
}

TEST_F(Command, OctetsForANumberAttributeAreRefused) {
    for (const uint32_t function : {MSTP_GEN_GETAPI, MSTP_GEN_SETAPI}) {
        Request request(function, MSTP_GEN_HOLDTIME);
        request.index({}).octets({0, 0, 0, 1});
        process(request);
        EXPECT_EQ(request.result(), -1);
        EXPECT_EQ(request.value(), 1U);
    }
    EXPECT_EQ(bridge.bridge->txHoldCount, 6);
}

class CommandTable : public Command, public testing::WithParamInterface<Request> {};

TEST_P(CommandTable, OctetsAndNumbersAreToldApart) {
    Request request = GetParam();
    process(request);
    EXPECT_EQ(request.result(), -1);
}

INSTANTIATE_TEST_SUITE_P(
    Mismatches, CommandTable,
    testing::Values(
        Request(MSTP_PORT_GETAPI, MSTP_PORT_UPTIME).index({UNIT}).octets({1, 2, 3, 4}),
        Request(MSTP_XST_GETAPI, MSTP_XST_BRIDGEID).index({MSTI}).int32(0).room(8),
        Request(MSTP_XST_GETAPI, MSTP_XST_ROWSTATUS).index({MSTI}).octets({1, 2, 3, 4}),
        Request(MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_DESIGNATEDPORT).index({MSTI, UNIT}).int32(0),
        Request(MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_ROLE).index({MSTI, UNIT}).octets({1, 2, 3, 4})));

TEST_F(Command, OtherValueTypesPassNoValue) {
    Request get(MSTP_GEN_GETAPI, MSTP_GEN_HOLDTIME);
    get.index({}).valueHeader(7, 4).room(4);
    process(get);
    EXPECT_EQ(get.result(), -1);
    Request map(MSTP_GEN_SETAPI, MSTP_GEN_FASTMAPENABLE);
    map.index({}).valueHeader(7, 0);
    process(map);
    EXPECT_EQ(map.result(), 0);
}

// ---- decoding errors

TEST_F(Command, RequestOf25BytesIsTooShort) {
    Request request(MSTP_GEN_GETAPI, 1);
    request.append({1, 0, 2, 0, 4});
    ASSERT_EQ(request.bytes().size(), 25U);
    EXPECT_EQ(printed(request), "\r\n len 25 err!");
}

TEST_F(Command, NegativeLengthIsTooShort) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(mstpCmdProcess(nullptr, -5, nullptr), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r\n len -5 err!");
}

TEST_F(Command, SomethingThatIsNoMessageFailsAtTheFunction) {
    Request request(MSTP_GEN_SETAPI, 1);
    request.index({}).int32(0);
    request.bytes()[0] = 0x42;
    EXPECT_EQ(printed(request), "\r\n ADR_DECODE_FUNC failed ");
    EXPECT_THAT(restoreFile(), IsEmpty());
}

TEST_F(Command, IndexSectionMustBeginWithItsTag) {
    Request request(MSTP_GEN_GETAPI, 1);
    request.append({9, 0}).room(20);
    EXPECT_EQ(printed(request), "\r\n charVal 9 err");
}

TEST_F(Command, UnknownSelectorsAreNamedByTheirNumber) {
    for (const uint32_t function : {0U, 19U, 4294967295U}) {
        Request request(function, 1);
        request.index({}).int32(0);
        EXPECT_EQ(printed(request), "\r\n func " + std::to_string(function) + " err !");
    }
}

TEST_F(Command, EverySelectorAsksForItsNumberOfIndices) {
    for (uint32_t function = 1; function <= 18; function++) {
        const bool none = function <= 3;
        const bool two = (function >= 10 && function <= 12) || function >= 17;
        const int expected = none ? 0 : two ? 2 : 1;
        for (const int count : {0, 1, 2, 3, 255}) {
            Request request(function, 0xFFFF);
            request.index({MSTI, UNIT}).int32(0).room(8);
            if (expected < 2) {
                request = Request(function, 0xFFFF).index({UNIT}).int32(0).room(8);
            }
            request.bytes()[21] = static_cast<uint8_t>(count);
            testing::internal::CaptureStdout();
            const int32_t length = process(request);
            const std::string text = testing::internal::GetCapturedStdout();
            if (count == expected) {
                EXPECT_EQ(length, static_cast<int32_t>(request.bytes().size())) << function;
                EXPECT_EQ(text, "") << function;
            } else {
                EXPECT_EQ(length, 0) << function;
                EXPECT_EQ(text, "\r\n indexNum " + std::to_string(count) + " err !") << function;
            }
        }
    }
}

TEST_F(Command, ValueMustBeginWithItsTag) {
    Request request(MSTP_GEN_GETAPI, 1);
    request.index({}).append({8, 2, 0, 4, 0, 0, 0, 0});
    EXPECT_EQ(printed(request), "");
    EXPECT_TRUE(bridge.sw.traced("\r\n charVal 8 err !"));
}

TEST_F(Command, NumbersAndPairsMustHaveTheirLength) {
    Request number(MSTP_GEN_GETAPI, 1);
    number.index({}).valueHeader(2, 8).room(8);
    EXPECT_EQ(printed(number), "");
    Request pair(MSTP_GEN_GETAPI, 1);
    pair.index({}).valueHeader(4, 4).room(8);
    EXPECT_EQ(printed(pair), "");
    EXPECT_THAT(bridge.sw.traces, ElementsAre("\r\n shortVal 8 err !", "\r\n shortVal 4 err !"));
}

TEST_F(Command, OctetsBeyondTheMessageAreADecodingError) {
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_CFGIDNAME);
    request.index({}).valueHeader(0, 5).append({1, 2, 3, 4});
    EXPECT_EQ(printed(request), "");
    EXPECT_EQ(bridge.bridge->nameLen, 3);
}

TEST_F(Command, EveryPrefixOfARequestIsADecodingErrorAtItsEnd) {
    Request whole(MSTP_XSTPORT_GETAPI, MSTP_XSTPORT_ROLE);
    whole.index({MSTI, UNIT}).int32(0);
    for (size_t length = 26; length < whole.bytes().size(); length++) {
        // A buffer of exactly that size, so that a read beyond it is a read beyond the memory.
        std::vector<uint8_t> prefix(whole.bytes().begin(),
                                    whole.bytes().begin() + static_cast<long>(length));
        testing::internal::CaptureStdout();
        EXPECT_EQ(mstpCmdProcess(prefix.data(), static_cast<int32_t>(length), nullptr), 0);
        EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    }
}

// ---- the restore file

/// What the file holds after @p request was appended: length in host byte order, request.
std::vector<uint8_t> appended(const Request& request) {
    return request.framed();
}

TEST_F(Command, SetSelectorsAndUnknownOnesAreRecorded) {
    for (uint32_t function = 0; function <= 20; function++) {
        unlink(restorePath().c_str());
        Request request(function, 0xFFFF);
        request.index({UNIT}).int32(0);
        const std::vector<uint8_t> expected = appended(request);
        testing::internal::CaptureStdout();
        process(request);
        testing::internal::GetCapturedStdout();
        const bool recorded = function == 0 || function == 2 || function == 5 || function == 8 ||
                              function == 11 || function >= 19;
        EXPECT_EQ(restoreFile(), recorded ? expected : std::vector<uint8_t>()) << function;
    }
}

TEST_F(Command, SetThatThenFailsItsIndexCheckIsRecordedAllTheSame) {
    Request request(MSTP_PORT_SETAPI, MSTP_PORT_ADMINEDGE);
    request.index({}).int32(1);
    const std::vector<uint8_t> expected = appended(request);
    EXPECT_EQ(printed(request), "\r\n indexNum 0 err !");
    EXPECT_EQ(restoreFile(), expected);
}

TEST_F(Command, RequestIsRecordedAsItCameBeforeItIsServed) {
    Request add(MSTP_XST_SETAPI, MSTP_XST_VLANLISTDEL);
    add.index({MSTI}).octets({0xFF, 0xFF}); // the served request's list is cleared in place
    const std::vector<uint8_t> expected = appended(add);
    process(add);
    EXPECT_EQ(add.result(), 0);
    EXPECT_EQ(restoreFile(), expected);
}

TEST_F(Command, RestoreFileOnlyGrows) {
    Request first(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    first.index({}).int32(5);
    Request second(MSTP_GEN_SETAPI, MSTP_GEN_CFGIDNAME);
    second.index({}).octets({'x'}).room(9);
    std::vector<uint8_t> expected = appended(first);
    const std::vector<uint8_t> more = appended(second);
    expected.insert(expected.end(), more.begin(), more.end());
    process(first);
    process(second);
    EXPECT_EQ(restoreFile(), expected);
}

TEST_F(Command, RestoreFileIsMadeWithMode0644) {
    const mode_t mask = umask(0);
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(5);
    process(request);
    umask(mask);
    struct stat status = {};
    ASSERT_EQ(stat(restorePath().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0644U);
}

TEST_F(Command, SetThatIsTooShortIsNotRecorded) {
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.append({1, 0, 2, 0, 4});
    ASSERT_EQ(request.bytes().size(), 25U);
    EXPECT_EQ(printed(request), "\r\n len 25 err!");
    EXPECT_THAT(restoreFile(), IsEmpty());
}

TEST_F(Command, ReplayedRequestIsNotRecorded) {
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(5);
    int replay = 0;
    process(request, &replay);
    EXPECT_EQ(request.result(), 0);
    EXPECT_THAT(restoreFile(), IsEmpty());
}

TEST_F(Command, LinkInPlaceOfTheRestoreFileIsNotFollowed) {
    const std::string target = restorePath() + ".target";
    ASSERT_EQ(symlink(target.c_str(), restorePath().c_str()), 0);
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(5);
    process(request);
    EXPECT_EQ(request.result(), 0);
    EXPECT_NE(access(target.c_str(), F_OK), 0);
}

TEST_F(Command, RequestThatDoesNotFitOnTheDiskIsNotRecordedInPart) {
    Request first(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    first.index({}).int32(5);
    process(first);
    const std::vector<uint8_t> expected = restoreFile();
    rlimit before = {};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit tight = {expected.size() + 10, before.rlim_max};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &tight);
    Request second(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    second.index({}).int32(6);
    process(second);
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
    EXPECT_EQ(second.result(), 0);
    EXPECT_EQ(restoreFile(), expected);
}

TEST_F(Command, RestoreFileThatCannotBeOpenedIsIgnored) {
    ASSERT_EQ(mkdir(restorePath().c_str(), 0700), 0);
    Request request(MSTP_GEN_SETAPI, MSTP_GEN_HOLDTIME);
    request.index({}).int32(5);
    process(request);
    rmdir(restorePath().c_str());
    EXPECT_EQ(request.result(), 0);
    EXPECT_EQ(bridge.bridge->txHoldCount, 5);
}

// ---- the connection

class Connection : public Command {
  protected:
    /// Serves one client that sends @p bytes. @return what mstpCmdServer returned
    int32_t serve(std::vector<uint8_t> bytes) {
        bridge.sw.requests.push_back(std::move(bytes));
        testing::internal::CaptureStderr();
        const int32_t result = mstpCmdServer();
        errors = testing::internal::GetCapturedStderr();
        return result;
    }

    static Request holdTime() {
        Request request(MSTP_GEN_GETAPI, MSTP_GEN_HOLDTIME);
        return request.index({}).int32(0);
    }

    std::string errors;
};

TEST_F(Connection, RequestIsAnsweredWithLengthAndReply) {
    Request request = holdTime();
    EXPECT_EQ(serve(request.framed()), 0);
    process(request);
    EXPECT_EQ(bridge.sw.replies.at(0), request.framed());
    EXPECT_EQ(errors, "");
}

TEST_F(Connection, StepsComeInTheirOrder) {
    serve(holdTime().framed());
    EXPECT_THAT(bridge.sw.calls,
                ElementsAre("accept:command", "setsockopt:client level=1 option=18 value=30",
                            "recv:client", "recv:client", "close:client"));
}

TEST_F(Connection, FailedAcceptIsReported) {
    bridge.sw.results["accept:command"] = -1;
    EXPECT_EQ(serve({}), -1);
    EXPECT_EQ(errors, "\r\n mstpCmdServer accept failed!: Input/output error\n");
}

TEST_F(Connection, FailedOptionIsReportedAndTheConnectionClosed) {
    bridge.sw.results["setsockopt:client"] = -1;
    EXPECT_EQ(serve(holdTime().framed()), -1);
    EXPECT_EQ(errors, "\r\n mstpCmdServer setsockopt failed!: Input/output error\n");
    EXPECT_EQ(bridge.sw.calls.back(), "close:client");
}

TEST_F(Connection, LengthThatDoesNotComeIsReportedAndTheConnectionClosed) {
    for (const size_t sent : {0U, 1U, 3U}) {
        EXPECT_EQ(serve(std::vector<uint8_t>(sent, 1)), -1);
        EXPECT_THAT(errors, testing::StartsWith("\r\n mstpCmdServer recv buflen failed!: "));
        EXPECT_EQ(bridge.sw.calls.back(), "close:client");
    }
}

TEST_F(Connection, HalfARequestIsReportedAndTheConnectionClosed) {
    std::vector<uint8_t> half = holdTime().framed();
    half.resize(half.size() / 2);
    EXPECT_EQ(serve(half), -1);
    EXPECT_THAT(errors, testing::StartsWith("\r\n mstpCmdServer recv buf failed!: "));
    EXPECT_EQ(bridge.sw.calls.back(), "close:client");
}

TEST_F(Connection, LengthThatCannotBeReceivedIsReportedAndTheConnectionClosed) {
    bridge.sw.results["recv:client:1"] = -1;
    EXPECT_EQ(serve(holdTime().framed()), -1);
    EXPECT_EQ(errors, "\r\n mstpCmdServer recv buflen failed!: Input/output error\n");
    EXPECT_EQ(bridge.sw.calls.back(), "close:client");
}

TEST_F(Connection, RequestThatCannotBeReceivedIsReportedAndTheConnectionClosed) {
    bridge.sw.results["recv:client:2"] = -1;
    EXPECT_EQ(serve(holdTime().framed()), -1);
    EXPECT_EQ(errors, "\r\n mstpCmdServer recv buf failed!: Input/output error\n");
    EXPECT_EQ(bridge.sw.calls.back(), "close:client");
}

TEST_F(Connection, LengthAboveTheLimitIsRefusedBeforeAnythingIsRead) {
    for (const uint32_t length : {MSTP_CMD_SIZE + 1, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        bridge.sw.forget();
        EXPECT_EQ(serve(Request(MSTP_GEN_GETAPI, 9).room(2000).frame(length)), -1);
        EXPECT_THAT(errors, testing::StartsWith("\r\n mstpCmdServer recv buf failed!: "));
        EXPECT_EQ(bridge.sw.count("recv:client"), 1U);
        EXPECT_EQ(bridge.sw.calls.back(), "close:client");
    }
}

TEST_F(Connection, LongestRequestIsServed) {
    Request request = holdTime();
    request.room(MSTP_CMD_SIZE - request.bytes().size());
    EXPECT_EQ(serve(request.framed()), 0);
    EXPECT_EQ(bridge.sw.replies.at(0).size(), MSTP_CMD_SIZE + 4);
}

TEST_F(Connection, LengthZeroIsAnsweredWithLengthZeroAndReadsNothing) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(serve({0, 0, 0, 0}), 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "\r\n len 0 err!");
    EXPECT_EQ(bridge.sw.replies.at(0), std::vector<uint8_t>(4, 0));
    EXPECT_EQ(bridge.sw.count("recv:client"), 1U);
}

TEST_F(Connection, DecodingErrorIsReportedAndAnsweredWithLengthZero) {
    testing::internal::CaptureStdout();
    EXPECT_EQ(serve(Request(99, 0).index({}).int32(0).framed()), 0);
    testing::internal::GetCapturedStdout();
    EXPECT_THAT(errors, testing::StartsWith("\r\n mstpCmdProcess failed!: "));
    EXPECT_EQ(bridge.sw.replies.at(0), std::vector<uint8_t>(4, 0));
}

TEST_F(Connection, ReplyThatDoesNotGoOutIsReportedAndTheConnectionClosed) {
    bridge.sw.results["sendmsg:client"] = -1;
    EXPECT_EQ(serve(holdTime().framed()), -1);
    EXPECT_EQ(errors, "\r\n mstpCmdServer sendto failed!: Input/output error\n");
    EXPECT_EQ(bridge.sw.calls.back(), "close:client");
}

TEST_F(Connection, ReplyThatGoesOutInPartIsReported) {
    bridge.sw.results["sendmsg:client"] = 10;
    EXPECT_EQ(serve(holdTime().framed()), -1);
    EXPECT_THAT(errors, testing::StartsWith("\r\n mstpCmdServer sendto failed!"));
}

TEST_F(Connection, NextClientIsServedAfterABadOne) {
    serve({1, 2});
    EXPECT_EQ(serve(holdTime().framed()), 0);
    EXPECT_EQ(bridge.sw.replies.at(1).size(), holdTime().framed().size());
}

TEST_F(Connection, BytesAfterTheRequestAreLeftUnread) {
    std::vector<uint8_t> bytes = holdTime().framed();
    bytes.insert(bytes.end(), 100, 0xAA);
    EXPECT_EQ(serve(bytes), 0);
    EXPECT_EQ(bridge.sw.replies.at(0).size(), holdTime().framed().size());
}

volatile sig_atomic_t pipeSignals;

/// A stream socket of the kernel's and not of the simulated platform.
int kernelSocket() {
    return static_cast<int>(syscall(SYS_socket, AF_UNIX, SOCK_STREAM, 0));
}

/// The daemon listens on a socket of the kernel's, to which one client has connected.
class KernelConnection : public Connection {
  protected:
    KernelConnection() {
        mstpRunPath(m_address.sun_path, "test.socket");
        unlink(m_address.sun_path);
        const auto* address = reinterpret_cast<const sockaddr*>(&m_address);
        gMstp.cmdSocketFd = kernelSocket();
        EXPECT_EQ(bind(gMstp.cmdSocketFd, address, sizeof m_address), 0);
        EXPECT_EQ(listen(gMstp.cmdSocketFd, 1), 0);
        m_client = kernelSocket();
        EXPECT_EQ(connect(m_client, address, sizeof m_address), 0);
    }
    ~KernelConnection() override { unlink(m_address.sun_path); }

    sockaddr_un m_address = {AF_UNIX, {}};
    int m_client = -1;
};

TEST_F(KernelConnection, ClientThatLeavesBeforeTheReplyCostsNoSignal) {
    pipeSignals = 0;
    const auto handler = signal(SIGPIPE, [](int) { pipeSignals = 1; });
    const std::vector<uint8_t> request = holdTime().framed();
    EXPECT_EQ(send(m_client, request.data(), request.size(), 0),
              static_cast<ssize_t>(request.size()));
    close(m_client);
    testing::internal::CaptureStderr();
    EXPECT_EQ(mstpCmdServer(), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "\r\n mstpCmdServer sendto failed!: Broken pipe\n");
    signal(SIGPIPE, handler);
    EXPECT_EQ(pipeSignals, 0);
}

} // namespace
