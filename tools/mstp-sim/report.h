#pragma once

/// What a run came to, for people and for programs.

#include <ostream>

#include "lab.h"

namespace simtool {

/// The time line, figures for each event, the final trees, what failed.
void writeText(std::ostream& out, Lab& lab, bool withTimeline);

/// Two runs side by side.
void writeComparison(std::ostream& out, Lab& one, Lab& other);

/// One JSON document, described in docs/sim-json.md.
void writeJson(std::ostream& out, Lab& lab);

/// A graph for Graphviz.
void writeDot(std::ostream& out, Lab& lab);

/// A drawing, a panel for each instance.
void writeSvg(std::ostream& out, Lab& lab);

/// "CIST" or "MSTI 2".
std::string instanceName(uint32_t instance);

} // namespace simtool
