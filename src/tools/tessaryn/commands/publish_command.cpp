// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/publish_command.h"

#include "terminal/message.h"

#include <cstdio>
#include <string>

namespace velmora::tool {

namespace {

constexpr const char* details =
    R"(SOURCE and how it is read are as for "tessaryn watch". The samples of each stream
become messages of a JetStream stream of the NATS server, in their order, below the
stream's name: plant/tank is the subject plant.tank. The JetStream stream is made where
there is none. "tessaryn watch nats://HOST:PORT/plant.>" reads them.

The command ends when the server has acknowledged all. While there is no server, or after
the connection was lost, it tries on; what was not acknowledged is sent again, and the
server drops what it has.

Where all sources are files, the command can be repeated, after it was killed, too, and as
the files grow: it goes on after the last sample of each stream that is known to have
arrived. It knows its own by number and time; of other samples of the same stream, all are
published. What comes from standard input, a pipe, a server or "host" is always published.

A signal (SIGINT, SIGTERM, SIGHUP) ends reading; what was read is sent for up to 10 s.

Exit status: 0 when all that was read was acknowledged, also when interrupted; 2 when the
command line or a source is bad, the server has no JetStream, or something was not
acknowledged.)";

void PrintReport(const PublishReport& report) {
    PrintRowSummary(report.read);
    std::string text = std::to_string(report.acknowledged) + " acknowledged, " +
                       Counted(report.duplicates, "duplicate") + ", " +
                       std::to_string(report.repeated) + " repeated";
    if (report.before > 0) {
        text += "; " + std::to_string(report.before) + " published before";
    }
    text += report.isInterrupted ? "; interrupted" : "";
    std::fprintf(stderr, "%s\n", text.c_str());
}

}  // namespace

CLI::App* AddPublishCommand(CLI::App& app, PublishOptions& options) {
    CLI::App* const publish = app.add_subcommand("publish", "Send samples to a NATS server");
    AddSourceOptions(*publish, options.source, "--every");
    publish->add_option("--to", options.to, "NATS server, with commas between several of a cluster")
        ->required()
        ->type_name("nats://HOST:PORT,...");
    publish->add_option("--prefix", options.prefix, "Groups to put in front of the streams' names")
        ->type_name("PATH");
    publish->add_option("--for", options.duration, "End after that time")->type_name("DURATION");
    publish->footer(details);
    return publish;
}

int RunPublish(const PublishOptions& options) {
    constexpr int failure = 2;
    const PublishReport report = PublishSources(options);
    if (!options.source.quiet) {
        PrintReport(report);
    }
    if (report.unsent > 0) {
        PrintMessage("", Counted(report.unsent, "sample") +
                             (report.isInterrupted ? " that had been read was not acknowledged"
                                                   : " larger than the server allows, not sent"));
        return failure;
    }
    return 0;
}

}  // namespace velmora::tool
