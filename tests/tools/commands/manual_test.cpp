// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "process.h"

#include <Poco/String.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace velmora::tool {
namespace {

// The command lines of the examples.
std::vector<std::string> ReadExamples() {
    std::vector<std::string> lines;
    std::ifstream page(MANUAL_SOURCE);
    bool isExample = false;
    for (std::string line; std::getline(page, line);) {
        if (line == ".EX" || line == ".EE") {
            isExample = line == ".EX";
        } else if (isExample) {
            Poco::replaceInPlace(line, "\\-", "-");
            Poco::replaceInPlace(line, "\\(aq", "'");
            lines.push_back(line);
        }
    }
    return lines;
}

// Changes to a separate folder while it exists.
class Workplace {
  public:
    Workplace() { std::filesystem::current_path(folder.PathOf("")); }
    Workplace(const Workplace&) = delete;
    Workplace& operator=(const Workplace&) = delete;
    ~Workplace() { std::filesystem::current_path(former); }

    Folder folder;

  private:
    std::filesystem::path former = std::filesystem::current_path();
};

TEST(Manual, ExamplesWork) {
    const Workplace place;
    std::filesystem::copy_file(EXAMPLE_RECORDING, "store.csv");
    const std::string program = "tessaryn ";
    const std::vector<std::string> lines = ReadExamples();
    EXPECT_GT(lines.size(), 10U);
    for (std::string line : lines) {
        SCOPED_TRACE(line);
        ASSERT_TRUE(line.starts_with(program));
        // Makes examples independent of the machine's load, and short.
        Poco::replaceInPlace(line, "load > 2.0", "load >= 0");
        Poco::replaceInPlace(line, "--for 8h", "--for 1.5s");
        Poco::replaceInPlace(line, "--for 1m", "--for 0.2s");
        const bool hasWarning = line.find(" check ") != std::string::npos;
        const Outcome run = RunTool(line.substr(program.size()));
        EXPECT_EQ(run.status, hasWarning ? 1 : 0) << run.err;
        const bool writesFile = line.find(" --to ") != std::string::npos ||
                                line.find(" --save ") != std::string::npos ||
                                line.find(" convert ") != std::string::npos;
        EXPECT_EQ(run.out.empty(), writesFile && line.find(" watch ") == std::string::npos)
            << run.out;
    }
    for (const char* const file :
         {"report.html", "store.xml", "host.db", "warm.csv", "means.csv"}) {
        EXPECT_TRUE(std::filesystem::exists(file)) << file;
    }
}

}  // namespace
}  // namespace velmora::tool
