// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "command_error.h"
#include "commands/check_command.h"
#include "commands/convert_command.h"
#include "commands/plot_command.h"
#include "commands/record_command.h"
#include "commands/replay_command.h"
#include "commands/show_command.h"
#include "commands/stats_command.h"
#include "commands/watch_command.h"
#include "program_version.h"
#include "terminal/message.h"
#include "terminal/standard_output.h"

#include <CLI/CLI.hpp>
#include <Poco/Exception.h>

#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace velmora::tool {

namespace {

constexpr int success = 0;
constexpr int hasFindings = 1;
constexpr int failure = 2;

int Fail(const std::string& message) {
    PrintMessage("", message);
    return failure;
}

// Opens standard descriptors that the caller closed, so that no file opened later takes their
// place; reading or writing them remains an error.
void ReserveStandardDescriptors() {
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) {
            static_cast<void>(open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

// Refuses "--option=", for which the parser would take the next argument as the value.
void CheckOptionValues(int argc, char** argv) {
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        const std::string_view argument = argv[i];
        if (argument.starts_with("--") && argument.find('=') == argument.size() - 1) {
            throw CommandError(std::string(argument) + " has no value");
        }
    }
}

// Prints help or version, which the parser reports as an "error" of exit code 0.
int PrintAnswer(const CLI::App& app, const CLI::ParseError& answer) {
    std::ostringstream text;
    app.exit(answer, text, text);
    StandardOutput output;
    output.GetBuffer() = text.str();
    output.Flush();
    return success;
}

int Run(int argc, char** argv) {
    CLI::App app("Watch streams of timestamped, typed samples", "tessaryn");
    app.set_version_flag("--version", GetProgramVersion());
    app.require_subcommand(1);
    WatchOptions watchOptions;
    RecordOptions recordOptions;
    ReplayOptions replayOptions;
    StatsOptions statsOptions;
    PlotOptions plotOptions;
    ShowOptions showOptions;
    ConvertOptions convertOptions;
    CheckOptions checkOptions;
    AddWatchCommand(app, watchOptions);
    const CLI::App* const record = AddRecordCommand(app, recordOptions);
    const CLI::App* const replay = AddReplayCommand(app, replayOptions);
    const CLI::App* const stats = AddStatsCommand(app, statsOptions);
    const CLI::App* const plot = AddPlotCommand(app, plotOptions);
    const CLI::App* const show = AddShowCommand(app, showOptions);
    const CLI::App* const convert = AddConvertCommand(app, convertOptions);
    const CLI::App* const check = AddCheckCommand(app, checkOptions);
    CheckOptionValues(argc, argv);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == success ? PrintAnswer(app, error) : Fail(error.what());
    }
    if (check->parsed()) {
        return RunCheck(checkOptions) ? hasFindings : success;
    }
    if (record->parsed()) {
        return RunRecord(recordOptions);
    }
    if (replay->parsed()) {
        return RunReplay(replayOptions);
    }
    if (stats->parsed()) {
        RunStats(statsOptions);
    } else if (plot->parsed()) {
        RunPlot(plotOptions);
    } else if (show->parsed()) {
        RunShow(showOptions);
    } else if (convert->parsed()) {
        RunConvert(convertOptions);
    } else {
        return RunWatch(watchOptions);
    }
    return success;
}

}  // namespace

}  // namespace velmora::tool

int main(int argc, char** argv) {
    velmora::tool::ReserveStandardDescriptors();
    try {
        return velmora::tool::Run(argc, argv);
    } catch (const velmora::tool::CommandError& error) {
        const int status = velmora::tool::Fail(error.what());
        std::fputs(error.GetDetails().c_str(), stderr);
        return status;
    } catch (const Poco::Exception& error) {
        return velmora::tool::Fail(error.displayText());
    } catch (const std::exception& error) {
        return velmora::tool::Fail(error.what());
    }
}
