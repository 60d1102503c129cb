// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "support/folder.h"

#include <Poco/Pipe.h>
#include <Poco/PipeStream.h>
#include <Poco/Process.h>
#include <Poco/StreamCopier.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <iomanip>
#include <sstream>
#include <string>
#include <sys/resource.h>
#include <sys/wait.h>
#include <utility>
#include <vector>

namespace velmora::tool {

using test::Folder;

/// The result of a run of the program.
struct Outcome {
    int status = -1;  ///< the exit code; -1 when a signal ended the program
    std::string out;
    std::string err;
};

/// The program tessaryn, running with pipes to its three standard descriptors.
class Process {
  public:
    /// \param line the arguments with blanks between them; single quotes keep blanks in one
    explicit Process(const std::string& line) {
        // The closed pipe of a program that has ended must not kill the test, and the program must
        // not inherit that the test's runner ignores interrupts.
        std::signal(SIGPIPE, SIG_IGN);
        std::signal(SIGINT, SIG_DFL);
        // Lowers the limit of descriptors, since starting a program closes all possible ones.
        rlimit files{};
        getrlimit(RLIMIT_NOFILE, &files);
        files.rlim_cur = std::min<rlim_t>(files.rlim_cur, 256);
        setrlimit(RLIMIT_NOFILE, &files);
        std::istringstream words(line);
        Poco::Process::Args arguments;
        for (std::string word; words >> std::quoted(word, '\'');) {
            arguments.push_back(word);
        }
        child = Poco::Process::launch(TESSARYN_PROGRAM, arguments, &input, &output, &errors).id();
    }
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;
    /// Kills the program if it still runs.
    ~Process() {
        if (child > 0) {
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
        }
    }

    pid_t GetId() const { return child; }

    void Write(const std::string& text) { in << text << std::flush; }

    /// The next line of the program's output, without its end; waits for it.
    std::string ReadLine() {
        std::string line;
        std::getline(out, line);
        return line;
    }

    /// As `ReadLine`, of standard error.
    std::string ReadErrorLine() {
        std::string line;
        std::getline(err, line);
        return line;
    }

    void CloseOutput() {
        output.close(Poco::Pipe::CLOSE_READ);
        out.setstate(std::ios::eofbit);
    }

    /// Closes the input and reads the remaining output.
    Outcome Wait() {
        input.close(Poco::Pipe::CLOSE_WRITE);
        Outcome outcome;
        Poco::StreamCopier::copyToString(out, outcome.out);
        Poco::StreamCopier::copyToString(err, outcome.err);
        int status = 0;
        waitpid(std::exchange(child, -1), &status, 0);
        outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        return outcome;
    }

  private:
    Poco::Pipe input;
    Poco::Pipe output;
    Poco::Pipe errors;
    Poco::PipeOutputStream in{input};
    Poco::PipeInputStream out{output};
    Poco::PipeInputStream err{errors};
    pid_t child = -1;
};

/// Runs the program with a text as its standard input.
inline Outcome RunTool(const std::string& line, const std::string& input = {}) {
    Process process(line);
    process.Write(input);
    return process.Wait();
}

/// Expects the program to fail with one sentence, which indented lines may follow.
/// \param reason a part of the sentence
inline void ExpectFailure(const std::string& line, const std::string& reason,
                          const std::string& input = {}) {
    SCOPED_TRACE(line);
    const Outcome run = RunTool(line, input);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::MatchesRegex("tessaryn: [^\n]*\n(  [^\n]*\n)*"));
    EXPECT_THAT(run.err, testing::HasSubstr(reason));
}

}  // namespace velmora::tool
