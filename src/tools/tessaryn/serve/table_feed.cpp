// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/table_feed.h"

#include "command_error.h"
#include "serve/row_pump.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <utility>

namespace velmora::tool {

namespace {

// The kind of a file; none if it does not exist.
mode_t GetKind(const std::string& path) {
    struct stat status {};
    return stat(path.c_str(), &status) == 0 ? status.st_mode & S_IFMT : 0;
}

// The name of a stream: the file's name without folders and ending.
std::string GetDefaultStream(const std::string& path) {
    return std::filesystem::path(path).stem().string();
}

}  // namespace

void TableFeed::Run() {
    const std::string& from = context.config.from;
    SignalWatcher signals(context.endDescriptor);
    const mode_t kind = from == "-" || from == "host" ? 0 : GetKind(from);
    for (NamedSource& named : Open(signals, kind == S_IFIFO)) {
        Read(named, signals, kind == S_IFREG);
    }
}

std::vector<NamedSource> TableFeed::Open(SignalWatcher& signals, bool isFifo) const {
    const std::string& from = context.config.from;
    SourceSettings settings = MakeSourceSettings(context);
    settings.table.likelyTypes = context.plant.GetLikelyTypes(
        settings.streamName.empty() ? GetDefaultStream(from) : settings.streamName);
    if (!isFifo) {
        return OpenSources(from, {from}, settings, signals);
    }
    // Also opened for writing, so that the FIFO does not end with its writer, and nothing is lost
    // between two writers.
    const int descriptor = open(from.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0) {
        throw CommandError("cannot open " + Quoted(from) + ": " + std::strerror(errno));
    }
    std::vector<NamedSource> sources;
    sources.push_back(OpenTable(std::make_unique<InputFile>(descriptor, from, signals),
                                GetDefaultStream(from), settings));
    return sources;
}

void TableFeed::Read(NamedSource& named, const SignalWatcher& signals, bool isRegular) const {
    SampleSource& source = *named.source;
    RowPump pump(context, named.stream, isRegular);
    if (!pump.Open(source)) {
        return;
    }
    bool isOld = isRegular && context.config.onlyNew;
    std::uint64_t oldRows = 0;
    // From here on the source waits only after all rows in the file have been read.
    source.BeforeWait([&](const SourceProgress& read) {
        if (isOld && read.bytesRead >= read.bytes) {
            isOld = false;
            context.log.Write(LogLevel::info, "source " + Quoted(context.config.name) + ": " +
                                                  Counted(oldRows, "row") +
                                                  " left out that the file had already");
        }
    });
    while (!signals.IsStopped() && source.Next()) {
        if (isOld) {
            ++oldRows;
        } else {
            pump.Push(source.GetTime());
        }
    }
}

}  // namespace velmora::tool
