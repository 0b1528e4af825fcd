// The writers by themselves.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "json_writer.h"
#include "text_writer.h"

// A writer's public face is Writer; that of an entry is told through it.
static std::string table(const std::string& last) {
    std::ostringstream out;
    TextWriter text(out, false, false);
    Writer& writer = text;
    writer.table("things", "Things", "none", Detail::Glance, [&] {
        writer.row([&] {
            writer.field("name", "name", wordValue("a"));
            writer.field("rest", "rest", wordValue(last));
        });
    });
    return out.str();
}

TEST(TextTable, PartsALongLastColumnAtCommasBelowItself) {
    std::string list;
    for (int i = 1000; i < 1040; i++) {
        list += (i == 1000 ? "" : ",") + std::to_string(i);
    }
    const std::string shown = table(list);

    std::istringstream lines(shown);
    std::string line;
    std::getline(lines, line);
    std::getline(lines, line);
    std::getline(lines, line);
    EXPECT_EQ(line.substr(0, 13), "  a     1000,");
    EXPECT_LE(line.size(), TEXT_WIDTH);
    std::getline(lines, line);
    EXPECT_EQ(line.substr(0, 9), "        1");
}

TEST(TextTable, LeavesAWordThatHasNoCommaWhole) {
    const std::string word(200, 'x');

    EXPECT_NE(table(word).find("  a     " + word + "\n"), std::string::npos);
}

TEST(TextTable, HasNoBlanksAtTheEndOfALine) {
    EXPECT_EQ(table(""), "Things\n  name  rest\n  a\n");
}

TEST(TextTable, CountsLettersNotBytes) {
    EXPECT_EQ(textWidth("Br\xC3\xBC"), 3U);
}

TEST(TextTable, PutsNumbersToTheRightAlsoBesideWhatIsUnknown) {
    std::ostringstream out;
    TextWriter text(out, false, false);
    Writer& writer = text;
    writer.table("things", "Things", "none", Detail::Glance, [&] {
        for (const Shown& value : {noValue(), numberValue(12345)}) {
            writer.row([&] {
                writer.field("count", "n", value);
                writer.field("x", "x", wordValue("y"));
            });
        }
    });

    EXPECT_EQ(out.str(), "Things\n      n  x\n      -  y\n  12345  y\n");
}

TEST(TextWriter, UnfoldsATableWithinARow) {
    std::ostringstream out;
    TextWriter text(out, false, false);
    Writer& writer = text;
    writer.table("outer", "Outer", "none", Detail::Glance, [&] {
        writer.row([&] {
            writer.field("name", "name", wordValue("a"));
            writer.table("inner", "", "", Detail::Glance, [&] {
                for (const uint32_t number : {1U, 2U}) {
                    writer.row([&] { writer.field("n", "n", numberValue(number)); });
                }
            });
        });
    });

    EXPECT_EQ(out.str(), "Outer\n  name  n\n  a     1\n  a     2\n");
}

TEST(TextWriter, PartsALongLineBetweenItsFields) {
    std::ostringstream out;
    TextWriter text(out, false, false);
    Writer& writer = text;
    writer.object("thing", "Thing", [&] {
        writer.line("set");
        for (int i = 0; i < 3; i++) {
            writer.field("k" + std::to_string(i), "", wordValue(std::string(50, 'x')));
        }
    });

    const std::string word(50, 'x');
    EXPECT_EQ(out.str(), "Thing\n  set  " + word + ", " + word + ",\n       " + word + "\n");
}

TEST(TextWriter, AtAGlanceAFlagIsItsLabelAndOnlyWhenItIsOn) {
    std::ostringstream out;
    TextWriter text(out, false, false);
    Writer& writer = text;
    writer.object("thing", "Thing", [&] {
        writer.flag("a", "alpha", true);
        writer.flag("b", "beta", false);
    });

    EXPECT_EQ(out.str(), "Thing alpha\n");
}

TEST(TextWriter, InFullAFlagIsOnOrOff) {
    std::ostringstream out;
    TextWriter text(out, true, false);
    Writer& writer = text;
    writer.object("thing", "Thing", [&] {
        writer.flag("a", "alpha", true);
        writer.flag("b", "beta", false, Detail::Full);
    });

    EXPECT_EQ(out.str(), "Thing alpha on, beta off\n");
}

TEST(JsonWriter, GoesOnWithAListThatIsOpenedAgain) {
    JsonWriter json;
    Writer& writer = json;
    for (const std::string key : {"a", "b"}) {
        writer.table("things", "", "", Detail::Glance, [&] {
            for (const uint32_t number : {1U, 2U}) {
                writer.row([&] { writer.field(key, "", numberValue(number)); });
            }
        });
    }
    std::ostringstream out;
    json.print(out);

    EXPECT_EQ(nlohmann::json::parse(out.str()),
              nlohmann::json::parse(R"({"things": [{"a": 1, "b": 1}, {"a": 2, "b": 2}]})"));
}

TEST(JsonWriter, HasFieldsThatTextDoesNotShow) {
    JsonWriter json;
    Writer& writer = json;
    writer.field("secret", "", noValue(), Detail::Data);
    std::ostringstream out;
    json.print(out);

    EXPECT_EQ(nlohmann::json::parse(out.str()), nlohmann::json::parse(R"({"secret": null})"));
}
