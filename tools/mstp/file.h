#pragma once

/// Whole files, read at once and written at once.

#include <string>

/// @param path   "-" is standard input
/// @param limit  bytes that it may have
/// @throws Refused
std::string readFile(const std::string& path, size_t limit);

/// Replaces @p path in one step: whoever reads it meanwhile has the old or the new text.
/// @throws Refused
void replaceFile(const std::string& path, const std::string& text);
