#pragma once

/// Tests of platform/linux on the running kernel. The test process moves into a network namespace
/// of its own, which vanishes with it and everything in it. Each test makes the interfaces that it
/// needs and has them removed at its end.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "platform/interfaces.h"

class LinuxTest : public testing::Test {
  protected:
    void SetUp() override {
        if (!ownNamespace()) {
            GTEST_SKIP() << "needs root, or user namespaces, for a network namespace of its own";
        }
    }

    void TearDown() override {
        for (const uint32_t unit : m_attached) {
            kelIfSetApi(unit, KEL_IF_BPDU_DETACH, &m_kind);
        }
        for (const std::string& name : m_interfaces) {
            runQuietly("ip link del " + name);
        }
    }

    /// Runs "ip ARGUMENTS".
    static void ip(const std::string& arguments) {
        ASSERT_EQ(system(("ip " + arguments).c_str()), 0) << "ip " << arguments;
    }

    /// Makes an interface that is removed after the test. @return its index
    uint32_t addInterface(const std::string& name, const std::string& arguments) {
        ip("link add " + arguments);
        m_interfaces.push_back(name);
        return indexOf(name);
    }

    /// Makes @p name and "@p name p", the two ends of a wire, both up. @return the index of @p name
    uint32_t addWire(const std::string& name, const std::string& options = "") {
        const uint32_t unit =
            addInterface(name, name + " " + options + " type veth peer name " + name + "p");
        ip("link set " + name + "p up");
        ip("link set " + name + " up");
        waitUntilUp(name);
        waitUntilUp(name + "p");
        return unit;
    }

    /// A busy kernel takes its time to notice that a wire is up, and passes no frames before.
    static void waitUntilUp(const std::string& name) {
        runQuietly("for i in $(seq 600); do ip -o link show " + name +
                   " | grep -q 'state UP' && break; sleep 0.05; done");
    }

    static uint32_t indexOf(const std::string& name) { return if_nametoindex(name.c_str()); }

    /// Makes the interface a port of the daemon.
    int32_t attach(uint32_t unit, uint32_t kind = KEL_KIND_CUSTOMER) {
        m_attached.push_back(unit);
        return kelIfSetApi(unit, KEL_IF_BPDU_ATTACH, &kind);
    }

    static int32_t detach(uint32_t unit, uint32_t kind = KEL_KIND_CUSTOMER) {
        return kelIfSetApi(unit, KEL_IF_BPDU_DETACH, &kind);
    }

    static void runQuietly(const std::string& command) {
        [[maybe_unused]] const int status = system((command + " 2>/dev/null").c_str());
    }

  private:
    static bool ownNamespace() {
        static const bool moved =
            unshare(CLONE_NEWNET) == 0 || unshare(CLONE_NEWUSER | CLONE_NEWNET) == 0;
        return moved;
    }

    uint32_t m_kind = KEL_KIND_CUSTOMER;
    std::vector<std::string> m_interfaces;
    std::vector<uint32_t> m_attached;
};
