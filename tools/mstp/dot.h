#pragma once

/// A drawing of what the bridge sees of its trees, in the language of Graphviz.

#include <optional>
#include <ostream>

#include "model.h"

/// Draws this bridge with its ports, the bridges that its ports hear and the roots, a box an
/// instance. Ports are coloured by their state.
///
/// @param instance  the only one to draw; none = all
void drawDot(std::ostream& out, const Snapshot& snapshot, std::optional<uint32_t> instance);
