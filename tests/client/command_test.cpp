// Lines of a file and words of a command line become commands, or are refused with the form.

#include "command.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "words.h"

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

static Command parsed(const std::string& line) {
    return parseCommand(splitWords(line));
}

// ---- lines

TEST(SplitWords, BlanksPartWords) {
    EXPECT_THAT(splitWords("  set\tbridge  max-age 20\r"),
                ElementsAre("set", "bridge", "max-age", "20"));
}

TEST(SplitWords, ANumberSignAtTheBeginningOfAWordEndsTheLine) {
    EXPECT_THAT(splitWords("port add eth1 # the uplink"), ElementsAre("port", "add", "eth1"));
    EXPECT_THAT(splitWords("#port add eth1"), IsEmpty());
}

TEST(SplitWords, ANumberSignWithinAWordBelongsToIt) {
    EXPECT_THAT(splitWords("a#b \"#c\""), ElementsAre("a#b", "#c"));
}

TEST(SplitWords, QuotesHoldBlanks) {
    EXPECT_THAT(splitWords("name \"my lab\" 'my \\ own'"),
                ElementsAre("name", "my lab", "my \\ own"));
}

TEST(SplitWords, QuotesMayHoldNothing) {
    EXPECT_THAT(splitWords("name \"\""), ElementsAre("name", ""));
}

TEST(SplitWords, EscapesStandForQuotesBackslashesAndBytes) {
    EXPECT_THAT(splitWords(R"("a\"b\\c\x01\xfF")"), ElementsAre("a\"b\\c\x01\xFF"));
}

TEST(SplitWords, AnOpenQuoteIsRefused) {
    EXPECT_THAT([] { splitWords("name \"my lab"); },
                ThrowsMessage<WrongForm>("a quote is not closed"));
}

TEST(SplitWords, AnUnknownEscapeIsRefused) {
    for (const char* line : {R"("\n")", R"("\x1")", R"("\xg0")", R"("\x)"}) {
        EXPECT_THROW(splitWords(line), WrongForm) << line;
    }
}

TEST(SplitWords, AControlCharacterIsRefused) {
    EXPECT_THROW(splitWords(std::string("set\0 bridge", 11)), WrongForm);
    EXPECT_THROW(splitWords("set \x1b[2J"), WrongForm);
}

TEST(QuoteWord, WhatIsQuotedIsReadBack) {
    std::mt19937 random(1);
    for (int i = 0; i < 2000; i++) {
        std::string word(random() % 12, '\0');
        for (char& c : word) {
            c = static_cast<char>(random());
        }
        EXPECT_THAT(splitWords(quoteWord(word)), ElementsAre(word)) << quoteWord(word);
    }
}

TEST(QuoteWord, APlainWordStaysAsItIs) {
    EXPECT_EQ(quoteWord("+10-19,100"), "+10-19,100");
    EXPECT_EQ(quoteWord("02:00:00:00:00:01"), "02:00:00:00:00:01");
}

// ---- commands

TEST(ParseCommand, WhatIsWrittenIsWhatWasRead) {
    for (const char* line : {
             "set bridge forward-delay 20",
             "set region name \"my lab\"",
             "set port eth1 edge on",
             "set instance 2 priority 4096",
             "set instance 2 port eth1 cost 20000",
             "set instance 2 vlans +10-19,100",
             "set instance 2 vlans -10",
             "set instance 2 vlans 1-4094",
             "set instance 2 row-status destroy",
             "port add eth1",
             "port del eth1",
             "instance add 0",
             "instance del 254",
         }) {
        EXPECT_EQ(commandWords(parsed(line)), line);
    }
}

TEST(ParseCommand, SpanningTreeOnAndOffOfAPortBringItInAndTakeItOut) {
    EXPECT_EQ(commandWords(parsed("set port eth1 stp on")), "port add eth1");
    EXPECT_EQ(commandWords(parsed("set port eth1 stp off")), "port del eth1");
}

TEST(ParseCommand, AMapHoldsItsInstancesAndVlans) {
    const auto map = std::get<MapCommand>(parsed("map instances 0-3,63 vlans 1-8"));

    EXPECT_THAT(map.instances, ElementsAre(0xF0, 0, 0, 0, 0, 0, 0, 0x01));
    EXPECT_EQ(vlanWord(map.vlans), "1-8");
}

TEST(ParseCommand, AMirroredBpduIsGivenInHexadecimal) {
    const auto mirror = std::get<MirrorCommand>(parsed("mirror eth1 0000fF"));

    EXPECT_EQ(mirror.interface, "eth1");
    EXPECT_THAT(mirror.bpdu, ElementsAre(0x00, 0x00, 0xFF));
}

TEST(ParseCommand, WhatHasNoFormIsAnsweredWithTheForms) {
    for (const char* line : {"",
                             "frobnicate",
                             "set",
                             "set bridge",
                             "set bridge max-age",
                             "set bridge max-age 20 30",
                             "set port eth1 edge",
                             "set instance",
                             "set instance two priority 0",
                             "set instance 2 port eth1 cost",
                             "set ports eth1 edge on",
                             "port",
                             "port add",
                             "port add eth1 eth2",
                             "port remove eth1",
                             "instance add",
                             "instance add many",
                             "map",
                             "map vlans 1 instances 0",
                             "mirror eth1",
                             "show",
                             "get bridge"}) {
        EXPECT_THROW(parsed(line), WrongForm) << line;
    }
}

TEST(ParseCommand, AValueThatIsNoneIsRefused) {
    for (const char* line :
         {"set bridge max-age 100", "set bridge speed 3", "set instance 2 vlans +",
          "set instance 2 vlans 0", "set instance 2 vlans 4095", "set instance 2 vlans 5-4",
          "set instance 2 vlans 1,,2", "set instance 255 priority 0", "instance add 255",
          "map instances 64 vlans 1", "map instances 0 vlans none", "mirror eth1 000",
          "mirror eth1 zz", "mirror eth1 \"\""}) {
        EXPECT_THROW(parsed(line), Refused) << line;
    }
}

TEST(ParseCommand, ALongBpduIsRefused) {
    EXPECT_NO_THROW(parsed("mirror eth1 " + std::string(2800, '0')));
    EXPECT_THROW(parsed("mirror eth1 " + std::string(2802, '0')), Refused);
}
