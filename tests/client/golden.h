#pragma once

/// Texts that are compared to the last blank with a file in golden/. After a change that is meant,
/// MSTP_WRITE_GOLDEN=1 in the environment writes the files anew.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

inline std::string fileText(const std::string& path) {
    std::ifstream file(path);
    EXPECT_TRUE(file.good()) << path;
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

inline void expectGolden(const std::string& name, const std::string& text) {
    const std::string path = std::string(MSTP_GOLDEN_FOLDER) + "/" + name;
    if (getenv("MSTP_WRITE_GOLDEN") != nullptr) {
        std::ofstream(path) << text;
    }
    EXPECT_EQ(text, fileText(path)) << "see tests/client/golden.h";
}
