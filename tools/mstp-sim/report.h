#pragma once

/// What a run came to, for people and for programs.

#include <ostream>
#include <set>

#include "lab.h"

namespace simtool {

enum class Detail {
    Whole,    ///< the time line, figures for each event, the final trees, what failed
    Brief,    ///< figures for each event, what failed
    Failures, ///< what failed
};
void writeText(std::ostream& out, Lab& lab, Detail detail);

/// Two runs side by side.
void writeComparison(std::ostream& out, Lab& one, Lab& other);

/// One JSON document, described in docs/sim-json.md.
void writeJson(std::ostream& out, Lab& lab);

/// A graph for Graphviz.
void writeDot(std::ostream& out, Lab& lab);

/// A drawing, a panel for each instance.
void writeSvg(std::ostream& out, Lab& lab);

/// Rows as columns of their own width, the first row above them; those in @p left begin at the
/// left, the others end at the right.
void writeColumns(std::ostream& out, const std::vector<std::vector<std::string>>& rows,
                  const std::set<size_t>& left);

/// "CIST" or "MSTI 2".
std::string instanceName(uint32_t instance);

} // namespace simtool
