// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "command_error.h"
#include "commands/check_command.h"
#include "commands/convert_command.h"
#include "commands/plot_command.h"
#include "commands/publish_command.h"
#include "commands/record_command.h"
#include "commands/replay_command.h"
#include "commands/serve_command.h"
#include "commands/show_command.h"
#include "commands/stats_command.h"
#include "commands/watch_command.h"
#include "program_version.h"
#include "terminal/message.h"
#include "terminal/standard_output.h"
#include "text/escaped_text.h"
#include "text/nearest.h"

#include <CLI/CLI.hpp>
#include <Poco/Exception.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <type_traits>
#include <unistd.h>
#include <utility>
#include <vector>

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

// Whether the command is "serve", which has its own option --config.
bool IsServe(const std::vector<std::string>& arguments) {
    auto argument = arguments.begin();
    while (argument != arguments.end() && argument->starts_with('-')) {
        const bool hasValue = *argument == "--config" && argument + 1 != arguments.end();
        argument += hasValue ? 2 : 1;
    }
    return argument != arguments.end() && *argument == "serve";
}

// The arguments, with --config moved to the front, where the parser expects it. "help" and "help
// watch" become "--help" and "watch --help"; no arguments become "--help".
std::vector<std::string> GetArguments(int argc, char** argv) {
    std::vector<std::string> arguments(argv + 1, argv + argc);
    if (arguments.empty()) {
        return {"--help"};
    }
    if (arguments.front() == "help") {
        arguments.erase(arguments.begin());
        arguments.emplace_back("--help");
        return arguments;
    }
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    const auto config = std::find_if(arguments.begin(), end, [](const std::string& argument) {
        return argument == "--config" || argument.starts_with("--config=");
    });
    if (config != end && !IsServe(arguments)) {
        const bool hasValue = *config == "--config" && config + 1 != end;
        std::rotate(arguments.begin(), config, config + (hasValue ? 2 : 1));
    }
    return arguments;
}

// Refuses "--option=", for which the parser would take the next argument as the value, and commands
// and options that do not exist, with the nearest ones.
void CheckNames(const CLI::App& app, const std::vector<std::string>& arguments) {
    std::vector<std::string> commands{"help"};
    for (const CLI::App* const command : app.get_subcommands({})) {
        commands.push_back(command->get_name());
    }
    std::vector<std::string> options;
    const auto addOptions = [&options](const CLI::App& owner) {
        for (const CLI::Option* const option : owner.get_options()) {
            for (const std::string& name : option->get_lnames()) {
                options.push_back("--" + name);
            }
        }
    };
    addOptions(app);
    const CLI::App* command = nullptr;
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    for (auto argument = arguments.begin(); argument != end; ++argument) {
        const std::string name = argument->substr(0, argument->find('='));
        if (name == "--config" && name == *argument && argument + 1 != end) {
            ++argument;
        } else if (!argument->starts_with('-') && command == nullptr) {
            const auto found = app.get_subcommands(
                [&](const CLI::App* each) { return each->get_name() == *argument; });
            command = found.empty() ? nullptr : found.front();
            if (command == nullptr) {
                throw CommandError("there is no command " + Quoted(*argument) +
                                   SuggestNearest(*argument, commands) +
                                   "; tessaryn --help lists them");
            }
            addOptions(*command);
        } else if (argument->starts_with("--") && argument->size() == name.size() + 1) {
            throw CommandError(*argument + " has no value");
        } else if (argument->starts_with("--") &&
                   std::find(options.begin(), options.end(), name) == options.end()) {
            throw CommandError("there is no option " + Quoted(name) +
                               SuggestNearest(name, options) + "; tessaryn " +
                               (command == nullptr ? "" : command->get_name() + " ") +
                               "--help lists them");
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

// A command of the program.
struct Command {
    const CLI::App* parser;
    std::function<int()> run;
};

// Adds a command to the parser. The result of `run` determines the exit status.
template <class Options, class Result>
Command MakeCommand(CLI::App& app, CLI::App* (*add)(CLI::App&, Options&),
                    Result (*run)(const Options&)) {
    const auto options = std::make_shared<Options>();
    return {add(app, *options), [options, run] {
                if constexpr (std::is_void_v<Result>) {
                    run(*options);
                    return success;
                } else if constexpr (std::is_same_v<Result, bool>) {
                    return run(*options) ? hasFindings : success;
                } else {
                    return run(*options);
                }
            }};
}

std::vector<Command> AddCommands(CLI::App& app) {
    return {MakeCommand(app, &AddWatchCommand, &RunWatch),
            MakeCommand(app, &AddRecordCommand, &RunRecord),
            MakeCommand(app, &AddPublishCommand, &RunPublish),
            MakeCommand(app, &AddReplayCommand, &RunReplay),
            MakeCommand(app, &AddStatsCommand, &RunStats),
            MakeCommand(app, &AddPlotCommand, &RunPlot),
            MakeCommand(app, &AddShowCommand, &RunShow),
            MakeCommand(app, &AddConvertCommand, &RunConvert),
            MakeCommand(app, &AddCheckCommand, &RunCheck),
            MakeCommand(app, &AddServeCommand, &RunServe)};
}

int Run(int argc, char** argv) {
    CLI::App app("Watch streams of timestamped, typed samples", "tessaryn");
    app.set_version_flag("--version", GetProgramVersion());
    app.set_config("--config", "", "Read options from a file: a section for each command")
        ->type_name("FILE");
    app.allow_config_extras(CLI::config_extras_mode::error);
    app.require_subcommand(1);
    const std::vector<Command> commands = AddCommands(app);
    std::vector<std::string> arguments = GetArguments(argc, argv);
    CheckNames(app, arguments);
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        return error.get_exit_code() == success ? PrintAnswer(app, error) : Fail(error.what());
    }
    const auto chosen = std::find_if(commands.begin(), commands.end(), [](const Command& command) {
        return command.parser->parsed();
    });
    return chosen->run();
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
