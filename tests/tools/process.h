// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace velmora::tool {

/// What a run of the program left behind.
struct Outcome {
    int status = -1;  ///< the exit code; -1 when a signal ended the program
    std::string out;
    std::string err;
};

/// The program tessaryn, running with pipes to its three standard descriptors.
class Process {
  public:
    explicit Process(const std::vector<std::string>& arguments);
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /// Kills the program if it still runs.
    ~Process();

    void Write(const std::string& text) const;
    void CloseInput();
    /// The next line of the program's output, without its end; waits for it.
    std::string ReadLine();
    void CloseOutput();
    void Signal(int signal) const;
    /// Peak of the memory that is the program's own, in KiB, so far.
    long PeakMemory() const;
    /// Closes the input and collects the rest.
    Outcome Wait();

  private:
    pid_t child = -1;
    int input = -1;
    int output = -1;
    int errors = -1;
    std::string pending;
};

/// Runs the program with a text as its standard input.
Outcome RunTool(const std::vector<std::string>& arguments, const std::string& input = {});

}  // namespace velmora::tool
