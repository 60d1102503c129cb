// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_summary.h"

#include "terminal/message.h"
#include "text/escaped_text.h"

#include <cstdio>

namespace velmora::tool {

namespace {

constexpr std::size_t maxStreams = 20;

void AppendOrder(std::string& text, const TimeOrder& order) {
    if (order.late > 0) {
        text += ", " + Counted(order.late, "time") + " out of order";
    }
    if (order.repeated > 0) {
        text += ", " + Counted(order.repeated, "time") + " repeated";
    }
}

void AppendStream(std::string& text, const WatchedStream& stream, bool isKept) {
    text += "stream ";
    AppendWord(text, stream.GetName());
    text += ": " + Counted(stream.GetSamples(), "sample") + " read";
    AppendOrder(text, stream.GetOrder());
    if (isKept && stream.GetDropped() > 0) {
        text += ", " + std::to_string(stream.GetDropped()) + " dropped from the ring";
    }
    text += '\n';
}

void AppendCounts(std::string& text, const SourceCounts& counts) {
    if (counts.missingValues > 0) {
        text += Counted(counts.missingValues, "missing value") + '\n';
    }
    if (counts.missingTimes > 0) {
        text += Counted(counts.missingTimes, "row") + " without a time left out\n";
    }
    if (counts.skipped > 0) {
        text += Counted(counts.skipped, "bad row") + " skipped, the first: " + counts.firstSkipped +
                '\n';
    }
}

}  // namespace

void PrintSummary(const WatchSession& session, bool isKept, double seconds) {
    std::string text;
    std::uint64_t samples = 0;
    std::size_t shown = 0;
    for (const auto& [name, stream] : session.GetStreams()) {
        samples += stream->GetSamples();
        if (++shown <= maxStreams) {
            AppendStream(text, *stream, isKept);
        }
    }
    if (shown > maxStreams) {
        text += Counted(shown - maxStreams, "further stream") + '\n';
    }
    for (const NamedRule& rule : session.GetRules()) {
        text += "rule [";
        AppendEscaped(text, rule.label);
        text += "]: " + Counted(rule.matches, "match", "matches") + '\n';
    }
    AppendCounts(text, session.GetCounts());
    if (session.IsInterrupted()) {
        text += "interrupted\n";
    } else if (session.IsOutputClosed()) {
        text += "output closed\n";
    }
    std::fprintf(stderr, "%s%.3f seconds, %.0f samples per second\n", text.c_str(), seconds,
                 seconds > 0 ? static_cast<double>(samples) / seconds : 0.0);
}

}  // namespace velmora::tool
