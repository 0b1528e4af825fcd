// What the shells are offered, on a parser with a few of the client's options.

#include "complete.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "settings.h"
#include "show_command.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Not;

using Words = std::vector<std::string>;

class Complete : public testing::Test {
  protected:
    Complete() {
        m_app.add_option("--run-dir", m_text);
        m_app.add_option("-f,--file", m_text);
        for (const char* name : {"set", "get", "port", "instance", "map", "mirror", "save"}) {
            m_app.add_subcommand(name)->prefix_command();
        }
        CLI::App* show = m_app.add_subcommand("show");
        show->add_option("what", m_text);
        show->add_flag("--json", m_flag);
        show->add_option("--instance", m_text);
        show->add_option("--color", m_text);
        m_known.interfaces = [] { return Words{"eth1", "eth2", "lo"}; };
        m_known.ports = [] { return Words{"eth1"}; };
        m_known.instances = [] { return Words{"0", "7"}; };
    }

    Words after(const Words& words) const { return completions(m_app, words, m_known); }

    // Names of the table, in its order.
    static Words names(Object object, Access access) {
        Words names;
        for (const Setting& setting : settings()) {
            if (setting.object == object &&
                (access == Access::Read ? setting.readable() : setting.settable())) {
                names.emplace_back(setting.name);
            }
        }
        return names;
    }

  private:
    CLI::App m_app;
    Known m_known;
    std::string m_text;
    bool m_flag = false;
};

TEST_F(Complete, ALineBeginsWithACommandOrAnOption) {
    EXPECT_THAT(after({}), ElementsAre("set", "get", "port", "instance", "map", "mirror", "save",
                                       "show", "--help", "--run-dir", "--file"));
}

TEST_F(Complete, OptionsOfTheProgramDoNotHideTheCommand) {
    EXPECT_EQ(after({"--run-dir", "/x", "port"}), after({"port"}));
}

TEST_F(Complete, AFolderIsAFile) {
    EXPECT_THAT(after({"--run-dir"}), ElementsAre(COMPLETE_FILES));
    EXPECT_THAT(after({"-f"}), ElementsAre(COMPLETE_FILES));
    EXPECT_THAT(after({"save"}), ElementsAre(COMPLETE_FILES));
}

TEST_F(Complete, SetOffersTheTableOfSettings) {
    EXPECT_THAT(after({"set", "bridge"}), ElementsAreArray(names(Object::Bridge, Access::Write)));
    EXPECT_THAT(after({"set", "region"}), ElementsAreArray(names(Object::Region, Access::Write)));
    EXPECT_THAT(after({"set", "port", "eth1"}),
                ElementsAreArray(names(Object::Port, Access::Write)));
    EXPECT_THAT(after({"set", "instance", "7", "port", "eth1"}),
                ElementsAreArray(names(Object::InstancePort, Access::Write)));
}

TEST_F(Complete, GetOffersWhatCanBeRead) {
    EXPECT_THAT(after({"get", "bridge"}), ElementsAreArray(names(Object::Bridge, Access::Read)));
    EXPECT_THAT(after({"get", "port", "eth1"}),
                ElementsAreArray(names(Object::Port, Access::Read)));
}

TEST_F(Complete, AnInstanceHasNamesAndPorts) {
    Words expected = names(Object::Instance, Access::Write);
    expected.emplace_back("port");

    EXPECT_EQ(after({"set", "instance", "7"}), expected);
    EXPECT_THAT(after({"set", "instance", "7", "port"}), ElementsAre("eth1"));
}

TEST_F(Complete, ASettingOffersTheWordsThatCanBeSet) {
    EXPECT_THAT(after({"set", "bridge", "version"}), ElementsAre("none", "stp", "rstp", "mstp"));
    EXPECT_THAT(after({"set", "bridge", "bpdu-guard"}), ElementsAre("on", "off"));
    EXPECT_THAT(after({"set", "instance", "7", "row-status"}), Not(Contains("not-ready")));
}

TEST_F(Complete, ANumberIsTheUsersToType) {
    EXPECT_THAT(after({"set", "bridge", "max-age"}), IsEmpty());
}

TEST_F(Complete, NothingFollowsAValue) {
    EXPECT_THAT(after({"set", "bridge", "bpdu-guard", "on"}), IsEmpty());
    EXPECT_THAT(after({"get", "bridge", "max-age"}), IsEmpty());
}

TEST_F(Complete, AnInterfaceIsAddedAndAPortRemoved) {
    EXPECT_THAT(after({"port"}), ElementsAre("add", "del"));
    EXPECT_THAT(after({"port", "add"}), ElementsAre("eth1", "eth2", "lo"));
    EXPECT_THAT(after({"port", "del"}), ElementsAre("eth1"));
}

TEST_F(Complete, AnInstanceThatIsThereIsRemoved) {
    EXPECT_THAT(after({"instance", "add"}), IsEmpty());
    EXPECT_THAT(after({"instance", "del"}), ElementsAre("0", "7"));
}

TEST_F(Complete, ShowOffersItsFormsThenItsOptions) {
    Words expected = showForms();
    for (const char* option : {"--help", "--json", "--instance", "--color"}) {
        expected.emplace_back(option);
    }

    EXPECT_EQ(after({"show"}), expected);
    EXPECT_THAT(after({"show", "bridge"}),
                ElementsAre("--help", "--json", "--instance", "--color"));
    EXPECT_THAT(after({"show", "port"}), ElementsAre("eth1"));
}

TEST_F(Complete, AnOptionOffersItsValues) {
    EXPECT_THAT(after({"show", "--color"}), ElementsAre("auto", "always", "never"));
    EXPECT_THAT(after({"show", "--instance"}), ElementsAre("0", "7"));
}

TEST_F(Complete, MapsWordsStandBetweenItsLists) {
    EXPECT_THAT(after({"map"}), ElementsAre("instances"));
    EXPECT_THAT(after({"map", "instances"}), IsEmpty());
    EXPECT_THAT(after({"map", "instances", "1-3"}), ElementsAre("vlans"));
}

TEST_F(Complete, NothingFollowsWhatIsNoCommand) {
    EXPECT_THAT(after({"bogus"}), IsEmpty());
    EXPECT_THAT(after({"set", "bogus"}), IsEmpty());
    EXPECT_THAT(after({"set", "instance", "many"}), IsEmpty());
}
