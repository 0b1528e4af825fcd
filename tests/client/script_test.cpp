// Files of commands: all that is wrong is found before anything is sent.

#include "script.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

static std::vector<size_t> numbersOf(const std::vector<ScriptError>& errors) {
    std::vector<size_t> numbers;
    for (const ScriptError& error : errors) {
        numbers.push_back(error.number);
    }
    return numbers;
}

static Expected freshDaemon() {
    Expected state;
    state.highestInstance = 7;
    state.times = {20, 2, 15};
    return state;
}

static std::vector<ScriptError> tried(const std::string& text) {
    const Script script = parseScript(text);
    EXPECT_THAT(script.errors, IsEmpty());
    return tryScript(script, freshDaemon());
}

TEST(ParseScript, EmptyLinesAndCommentsAreNoCommands) {
    const Script script = parseScript("# a bridge\n\n  \t\ninstance add 0 # the CIST\n");

    ASSERT_EQ(script.lines.size(), 1U);
    EXPECT_EQ(script.lines[0].number, 4U);
    EXPECT_THAT(script.errors, IsEmpty());
}

TEST(ParseScript, TheLastLineNeedsNoEnd) {
    EXPECT_EQ(parseScript("instance add 0\ninstance add 1").lines.size(), 2U);
}

TEST(ParseScript, LinesOfAnotherSystemEndWithACarriageReturn) {
    EXPECT_EQ(parseScript("instance add 0\r\ninstance add 1\r\n").lines.size(), 2U);
}

TEST(ParseScript, EveryErrorIsToldWithItsLine) {
    const Script script = parseScript("instance add 0\n"
                                      "set bridge max-age 99\n"
                                      "frobnicate\n"
                                      "port add no-such-interface\n"
                                      "set region name \"open\n"
                                      "instance add 1\n");

    EXPECT_THAT(numbersOf(script.errors), ElementsAre(2, 3, 4, 5));
    EXPECT_THAT(script.errors[2].text, HasSubstr("there is no interface \"no-such-interface\""));
    EXPECT_EQ(script.lines.size(), 2U);
}

TEST(TryScript, AFileThatBuildsOnItselfIsTaken) {
    EXPECT_THAT(tried("instance add 0\n"
                      "instance add 1\n"
                      "set instance 1 vlans 10-19\n"
                      "port add 901\n"
                      "set instance 1 port 901 cost 5\n"),
                IsEmpty());
}

TEST(TryScript, ALineBeforeTheOneItNeedsIsRefused) {
    const auto errors = tried("set instance 1 vlans 10-19\ninstance add 1\n");

    ASSERT_THAT(numbersOf(errors), ElementsAre(1));
    EXPECT_THAT(errors[0].text, HasSubstr("set instance 1 vlans 10-19: there is no instance 1"));
}

TEST(TryScript, TwoLinesThatWantOneVlanAreFound) {
    EXPECT_THAT(numbersOf(tried("instance add 1\ninstance add 2\n"
                                "set instance 1 vlans 10\nset instance 2 vlans 10\n")),
                ElementsAre(4));
}

TEST(TryScript, TimesMayBreakTheirRuleOnTheWay) {
    EXPECT_THAT(tried("set bridge max-age 40\nset bridge forward-delay 30\n"), IsEmpty());
}

TEST(TryScript, TimesThatBreakTheirRuleInTheEndAreToldWithTheLastLine) {
    const auto errors = tried("set bridge forward-delay 30\n"
                              "set bridge max-age 40\n"
                              "set bridge forward-delay 20\n"
                              "set region revision 1\n");

    ASSERT_THAT(numbersOf(errors), ElementsAre(3));
    EXPECT_THAT(errors[0].text, HasSubstr("2 x (20 - 1) is less than 40"));
}

TEST(TryScript, TimesThatTheFileDoesNotSetAreNotItsFault) {
    Expected state = freshDaemon();
    state.times = {40, 2, 4};

    EXPECT_THAT(tryScript(parseScript("set region revision 1\n"), state), IsEmpty());
}

// Words that the commands know, with what they do not know strewn in.
static std::string randomScript(std::mt19937& random) {
    static const std::vector<std::string> PIECES = {"set",
                                                    "bridge",
                                                    "port",
                                                    "instance",
                                                    "region",
                                                    "map",
                                                    "mirror",
                                                    "add",
                                                    "del",
                                                    "vlans",
                                                    "max-age",
                                                    "priority",
                                                    "cost",
                                                    "name",
                                                    "0",
                                                    "1",
                                                    "4094",
                                                    "-",
                                                    "+",
                                                    "1-4094",
                                                    "\"",
                                                    "'",
                                                    "\\x",
                                                    "#",
                                                    "edge",
                                                    "on",
                                                    "instances",
                                                    "4096",
                                                    "99999999999999999999",
                                                    "version",
                                                    "rstp",
                                                    "mstp",
                                                    "forward-delay",
                                                    "7",
                                                    "30",
                                                    "row-status",
                                                    "destroy"};
    std::string text;
    const size_t count = random() % 40;
    for (size_t i = 0; i < count; i++) {
        text += random() % 16 == 0 ? std::string(1, static_cast<char>(random()))
                                   : PIECES[random() % PIECES.size()];
        text += random() % 6 == 0 ? "\n" : " ";
    }
    return text;
}

TEST(ParseScript, NoTextIsTooStrange) {
    std::mt19937 random(7);
    size_t commands = 0;
    for (int i = 0; i < 3000; i++) {
        const std::string text = randomScript(random);
        const Script script = parseScript(text);
        const auto lines = static_cast<size_t>(std::count(text.begin(), text.end(), '\n')) + 1;
        EXPECT_LE(script.lines.size() + script.errors.size(), lines);
        tryScript(script, freshDaemon());
        commands += script.lines.size();
    }
    EXPECT_GT(commands, 0U);
}
