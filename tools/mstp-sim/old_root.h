#pragma once

/// Watches for bridges that follow a root which is gone: one that is not there any more, or that
/// calls itself by another priority now. What it has said may go round for long
/// (docs/known-results.md).

#include <set>

#include "lab.h"

namespace simtool {

class OldRoot {
  public:
    /// Looks once a second from now on.
    explicit OldRoot(Lab& lab) : m_lab(lab) { look(); }

    /// True if somebody followed such a root in an instance so long before that time, or later.
    bool followed(Microseconds time, Microseconds before) const {
        const auto first = m_seen.lower_bound(time - std::min(time, before));
        return first != m_seen.end() && *first <= time + SECOND;
    }

  private:
    void look();

    Lab& m_lab;
    std::set<Microseconds> m_seen;
};

} // namespace simtool
