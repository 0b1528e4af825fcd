#pragma once

/// The daemon's own record of set requests: each with its length before it, in host byte order.

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "daemon.h"

/// The requests of a record. @throws Refused, naming the offset, if any of it is damaged
std::vector<std::vector<uint8_t>> splitRecord(const std::string& bytes);

/// Sends the requests of the file @p path again, in order, and tells how many were refused: what
/// was refused then is refused again. Nothing is sent of a damaged file.
void restoreFile(std::ostream& out, const Daemon& daemon, const std::string& path);
