// The completion scripts in their shells, on the built client.

#include "daemon_test.h"

using testing::HasSubstr;
using testing::IsEmpty;

class CompletionTest : public DaemonTest {
  protected:
    // What bash offers when the last of @p words is being typed.
    static std::string bash(const std::string& words) {
        return run("bash -c 'source " MSTP_COMPLETIONS "/mstp.bash; COMP_WORDS=(" MSTP_CLIENT " " +
                   words +
                   "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _mstp " MSTP_CLIENT
                   "; printf \"%s\\n\" \"${COMPREPLY[@]}\"'")
            .output;
    }

    // What zsh hands on; it picks what matches by itself.
    static std::string zsh(const std::string& words) {
        return run("zsh -fc 'compadd() { shift; print -l -- \"$@\"; }; _files() { print files; }; "
                   "words=(" MSTP_CLIENT " " +
                   words + "); CURRENT=${#words}; source " MSTP_COMPLETIONS "/_mstp'")
            .output;
    }
};

TEST_F(CompletionTest, BashCompletesACommandFromItsBeginning) {
    EXPECT_EQ(bash("inst"), "instance\n");
}

TEST_F(CompletionTest, BashCompletesASettingFromItsBeginning) {
    EXPECT_EQ(bash("set bridge forw"), "forward-delay\n");
}

TEST_F(CompletionTest, BashOffersTheInstancesOfTheDaemon) {
    start();
    client("instance add 0");
    client("instance add 3");

    EXPECT_EQ(bash("set instance \"\""), "0\n3\n");
}

TEST_F(CompletionTest, BashOffersFilesWhereAFileStands) {
    run("touch " + m_folder + "/saved.conf");

    EXPECT_EQ(bash("restore " + m_folder + "/sav"), m_folder + "/saved.conf\n");
}

TEST_F(CompletionTest, AnInterfacesNameIsNotExecutedByBash) {
    run("ip link add '$(>pwned)' type veth peer name peer0");

    EXPECT_THAT(bash("port add \"\""), HasSubstr("$(>pwned)"));
    EXPECT_NE(access("pwned", F_OK), 0);
    run("ip link del '$(>pwned)'");
}

TEST_F(CompletionTest, ZshIsOfferedTheSettings) {
    EXPECT_THAT(zsh("set region \"\""), HasSubstr("revision\nformat-selector\n"));
}

TEST_F(CompletionTest, ZshOffersFilesWhereAFileStands) {
    EXPECT_EQ(zsh("restore \"\""), "files\n");
}

TEST_F(CompletionTest, ZshIsOfferedNothingBehindAValue) {
    EXPECT_THAT(zsh("set bridge max-age 20 \"\""), IsEmpty());
}

TEST_F(CompletionTest, EveryCommandOfTheHelpIsOffered) {
    const std::string offered = client("--complete-words").output;
    for (const char* name : {"show", "instance", "port", "set", "map", "mirror", "get", "save",
                             "restore", "watch", "--run-dir", "--file"}) {
        EXPECT_THAT(client("--help").output, HasSubstr(name));
        EXPECT_THAT(offered, HasSubstr(std::string(name) + "\n"));
    }
}

TEST_F(CompletionTest, WithoutADaemonNothingIsSaid) {
    EXPECT_THAT(client("--complete-words set instance").output, IsEmpty());
}
