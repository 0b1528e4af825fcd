#include "trial.h"

#include "parse.h"

Trial::Trial(const std::string& text)
    : scenario(simtool::parseScenario(text, "test.yaml")), lab(scenario) {
    lab.run();
}

std::vector<std::string> Trial::failures() const {
    std::vector<std::string> lines;
    for (const simtool::Failure& failure : lab.failures()) {
        lines.push_back(failure.expected + "; found: " + failure.found);
    }
    return lines;
}

std::string twoBridges(const std::string& rest) {
    return R"(
name: two bridges
duration: 60s
bridges:
  sw1: {priority: 0, instances: {1: 10}}
  sw2: {instances: {1: 10}}
hosts: {h1: sw1, h2: sw2}
links: [sw1-sw2]
)" + rest;
}
