// What is typed behind mstp-sim, and what is wrong with it, in one line.

#include "command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "yaml_reader.h"

using namespace simtool;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

std::optional<Arguments> readWords(std::vector<const char*> words) {
    words.insert(words.begin(), "mstp-sim");
    return readCommandLine(static_cast<int>(words.size()), words.data());
}

std::string complaintOf(const std::vector<const char*>& words) {
    try {
        readWords(words);
    } catch (const BadInput& error) {
        return error.what();
    }
    return "";
}

struct WrongLine {
    const char* name;
    std::vector<const char*> words;
    const char* says;
    const char* help;
};

void PrintTo(const WrongLine& wrong, std::ostream* out) {
    *out << wrong.name;
}

class WrongWords : public testing::TestWithParam<WrongLine> {};

TEST_P(WrongWords, AreToldInOneLineWithWhereTheHelpIs) {
    const std::string text = complaintOf(GetParam().words);
    EXPECT_THAT(text, AllOf(StartsWith("mstp-sim: "), HasSubstr(GetParam().says),
                            EndsWith("; see \"" + std::string(GetParam().help) + " --help\"\n")));
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1);
}

const WrongLine WRONG_LINES[] = {
    {"NoCommand", {}, "subcommand is required", "mstp-sim"},
    {"UnknownCommand", {"walk"}, "required", "mstp-sim"},
    {"NoFile", {"check"}, "FILE is required", "mstp-sim check"},
    {"UnknownOption", {"run", "x.yaml", "--fast"}, "--fast", "mstp-sim run"},
    {"TooManyFiles", {"run", "a", "b"}, "b", "mstp-sim run"},
    {"NotANumber", {"run", "x.yaml", "--seed", "x"}, "--seed = x", "mstp-sim run"},
    {"OptionsThatExclude",
     {"run", "x", "--json", "--why"},
     "--json excludes --why",
     "mstp-sim run"},
    {"UnknownKind", {"generate", "hexagon"}, "hexagon not in", "mstp-sim generate"},
    {"OutOfRange", {"generate", "ring", "--bridges", "0"}, "not in range", "mstp-sim generate"},
    {"OneFileOfTwo", {"compare", "a"}, "B is required", "mstp-sim compare"},
    {"NoFolder", {"campaign", "--out", "/nonexistent"}, "/nonexistent", "mstp-sim campaign"},
};

INSTANTIATE_TEST_SUITE_P(All, WrongWords, testing::ValuesIn(WRONG_LINES),
                         [](const auto& test) { return test.param.name; });

TEST(CommandLine, TellsWhatIsToBeDone) {
    const auto arguments = readWords({"compare", "a.yaml", "b.yaml", "--seed", "7"});
    ASSERT_TRUE(arguments);
    EXPECT_EQ(arguments->job, Job::Compare);
    EXPECT_EQ(arguments->file, "a.yaml");
    EXPECT_EQ(arguments->other, "b.yaml");
    EXPECT_EQ(arguments->seed, 7U);
}

TEST(CommandLine, LeavesNothingToDoAfterTheHelp) {
    testing::internal::CaptureStdout();
    EXPECT_FALSE(readWords({"run", "--help"}));
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("--verify"));
}

} // namespace
