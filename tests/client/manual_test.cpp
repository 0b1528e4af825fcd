// The manual pages: their source is right, and mstp(8) has the settings that there are.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "golden.h"
#include "settings.h"

using testing::HasSubstr;

static std::string pagePath(const char* page) {
    return std::string(MSTP_SOURCE_FOLDER) + "/docs/man/" + page;
}

static std::string sectionOf(Object object) {
    static const char* const titles[] = {"Bridge", "Region", "Port", "Instance",
                                         "Port in an instance"};
    const std::string page = fileText(pagePath("mstp.8"));
    const size_t start =
        page.find(std::string(".SS ") + titles[static_cast<size_t>(object)] + "\n");
    EXPECT_NE(start, std::string::npos);
    return page.substr(start,
                       std::min(page.find(".SS ", start + 1), page.find(".SH ", start)) - start);
}

// As the source of a page has it.
static std::string escaped(const std::string& text) {
    std::string escaped;
    for (const char byte : text) {
        escaped += byte == '-' ? "\\-" : std::string(1, byte);
    }
    return escaped;
}

static const Object OBJECTS[] = {Object::Bridge, Object::Region, Object::Port, Object::Instance,
                                 Object::InstancePort};

TEST(Manual, HasEverySettingWithItsRange) {
    for (const Setting& setting : settings()) {
        if (setting.settable()) {
            EXPECT_THAT(sectionOf(setting.object),
                        HasSubstr(".BR " + escaped(setting.name) + " \" (" +
                                  escaped(rangeText(setting)) + ")\"\n"));
        }
    }
}

TEST(Manual, HasNoSettingThatThereIsNot) {
    size_t entries = 0;
    for (const Object object : OBJECTS) {
        const std::string section = sectionOf(object);
        for (size_t at = 0; (at = section.find(".TP\n", at)) != std::string::npos; at++) {
            entries++;
        }
    }

    EXPECT_EQ(entries, std::count_if(settings().begin(), settings().end(),
                                     [](const Setting& each) { return each.settable(); }));
}

TEST(Manual, PagesAreAcceptedWithoutAWarning) {
    for (const char* page : {"mstp.8", "mstp-daemon.8", "mstp.conf.5"}) {
        EXPECT_EQ(system(("mandoc -T lint -W style " + pagePath(page)).c_str()), 0) << page;
    }
}
