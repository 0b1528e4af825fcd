#pragma once

/// The restore file of the daemon under test.

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "mstp_main.h"

inline std::string restorePath() {
    char path[MSTP_PATH_SIZE];
    mstpRunPath(path, "mstpCmd.restore");
    return path;
}

inline std::vector<uint8_t> restoreFile() {
    std::ifstream file(restorePath(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
