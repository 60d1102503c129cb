// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "command_error.h"
#include "commands/check_command.h"
#include "commands/convert_command.h"
#include "commands/show_command.h"
#include "commands/watch_command.h"
#include "program_version.h"
#include "text/escaped_text.h"

#include <CLI/CLI.hpp>
#include <Poco/Exception.h>

#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace {

constexpr int found = 1;
constexpr int failure = 2;

int Fail(const std::string& sentence) {
    std::string line = "tessaryn: ";
    // What a file holds may be quoted as it is.
    velmora::tool::AppendEscaped(line, sentence);
    std::fprintf(stderr, "%s\n", line.c_str());
    return failure;
}

// Keeps a file that is opened later from taking the place of a standard descriptor that the
// caller closed; using that one stays an error.
void HoldStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

int Run(int argc, char** argv) {
    CLI::App app("Watches streams of timestamped, typed samples.", "tessaryn");
    app.set_version_flag("--version", velmora::tool::GetProgramVersion());
    app.require_subcommand(1);
    velmora::tool::WatchOptions watchOptions;
    velmora::tool::ShowOptions showOptions;
    velmora::tool::ConvertOptions convertOptions;
    velmora::tool::CheckOptions checkOptions;
    velmora::tool::AddWatchCommand(app, watchOptions);
    const CLI::App* const show = velmora::tool::AddShowCommand(app, showOptions);
    const CLI::App* const convert = velmora::tool::AddConvertCommand(app, convertOptions);
    const CLI::App* const check = velmora::tool::AddCheckCommand(app, checkOptions);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        const bool asked = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        return asked ? app.exit(error) : Fail(error.what());
    }
    if (check->parsed()) {
        return velmora::tool::RunCheck(checkOptions) ? 0 : found;
    }
    if (show->parsed()) {
        velmora::tool::RunShow(showOptions);
    } else if (convert->parsed()) {
        velmora::tool::RunConvert(convertOptions);
    } else {
        velmora::tool::RunWatch(watchOptions);
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    HoldStandardDescriptors();
    try {
        return Run(argc, argv);
    } catch (const Poco::Exception& error) {
        return Fail(error.displayText());
    } catch (const std::exception& error) {
        return Fail(error.what());
    }
}
