#pragma once

/// What the client prints of a snapshot.

#include <ostream>
#include <string>
#include <vector>

#include "model.h"

/// A table whose columns are as wide as what stands in them.
class Table {
  public:
    explicit Table(std::vector<std::string> heads) : m_heads(std::move(heads)) {}
    void add(std::vector<std::string> row) { m_rows.push_back(std::move(row)); }
    void print(std::ostream& out, const std::string& indent = "  ") const;

  private:
    std::vector<std::string> m_heads;
    std::vector<std::vector<std::string>> m_rows;
};

void showBridge(std::ostream& out, const Snapshot& snapshot);
void showRegion(std::ostream& out, const Snapshot& snapshot);
void showInstances(std::ostream& out, const Snapshot& snapshot);
void showPorts(std::ostream& out, const Snapshot& snapshot);
void showCounters(std::ostream& out, const Snapshot& snapshot);

/// One port in every instance. @return false if it is none of the bridge's ports
bool showPort(std::ostream& out, const Snapshot& snapshot, uint32_t unit);

/// All of it at a glance.
void showAll(std::ostream& out, const Snapshot& snapshot);

/// The same as JSON; the keys are stable.
void showJson(std::ostream& out, const Snapshot& snapshot);
