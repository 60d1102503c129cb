// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/serve_command.h"

#include "remote/nats_address.h"
#include "serve/config_reader.h"
#include "serve/service.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <Poco/Exception.h>

#include <cstdio>
#include <exception>
#include <string>
#include <utility>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(The service reads the sources that FILE names into streams, reports what its rules
select, keeps a history and checkpoints, and shows all of it on a page. The example of a
configuration, with a comment on each key, is plant.toml in
/usr/share/doc/tessaryn-server/examples. Paths of histories and checkpoints are relative
to $STATE_DIRECTORY, where systemd gives one.

A source that fails is opened again; it is logged, and counted. Bad rows are skipped.
What a followed file gives again after a restart goes to the history only, unless it is
there.

SIGHUP reads rules, commands and webhooks again, without losing a sample; where FILE is
wrong, they stay as they were. SIGTERM and SIGINT end the service in order: sources,
rules with their actions, history, checkpoint.

Messages go to standard error, with the levels of the journal where it reads them.

Exit status: 0 after a signal; 2 when the configuration is bad or the service cannot
begin.)";

// Prints all mistakes; false when there are none.
bool PrintMistakes(const ConfigMistakes& mistakes, ServiceLog* log) {
    for (const auto& [sentence, excerpt] : mistakes.GetSentences()) {
        if (log != nullptr) {
            log->Write(LogLevel::error, sentence);
            continue;
        }
        std::string line;
        AppendEscaped(line, WithoutCredentials(sentence));
        std::fprintf(stderr, "%s\n%s", line.c_str(), WithoutCredentials(excerpt).c_str());
    }
    return !mistakes.IsEmpty();
}

}  // namespace

CLI::App* AddServeCommand(CLI::App& app, ServeOptions& options) {
    CLI::App* const serve =
        app.add_subcommand("serve", "Watch sources as a service, with a page to look at them");
    serve->add_option("--config", options.config, "Configuration of the service")
        ->type_name("FILE")
        ->capture_default_str();
    serve->add_flag("--check-config", options.checkOnly,
                    "Print what is wrong with the configuration, and end");
    serve->footer(details);
    return serve;
}

int RunServe(const ServeOptions& options) {
    constexpr int failure = 2;
    ServiceLog log;
    ConfigMistakes mistakes(options.config);
    ServeConfig config = ReadServeConfig(options.config, mistakes);
    if (PrintMistakes(mistakes, options.checkOnly ? nullptr : &log)) {
        return failure;
    }
    if (options.checkOnly) {
        std::printf("%s: %s and %s, no mistakes\n", options.config.c_str(),
                    Counted(config.sources.size(), "source").c_str(),
                    Counted(config.reactions.rules.size(), "rule").c_str());
        return 0;
    }
    try {
        Service(options.config, std::move(config)).Run();
        return 0;
    } catch (const Poco::Exception& error) {
        log.Write(LogLevel::error, error.displayText());
    } catch (const std::exception& error) {
        log.Write(LogLevel::error, error.what());
    }
    return failure;
}

}  // namespace velmora::tool
