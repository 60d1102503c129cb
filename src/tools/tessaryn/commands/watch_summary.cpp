// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watch_summary.h"

#include "terminal/message.h"
#include "text/escaped_text.h"

#include <cstdio>

namespace velmora::tool {

void PrintSummary(const WatchSession& session, double seconds) {
    const WatchedStream& stream = session.GetStream();
    const std::uint64_t samples = session.GetSamples();
    std::string text = "stream ";
    AppendWord(text, stream.GetName());
    text += ": " + Counted(samples, "sample") + " read";
    if (session.IsInterrupted()) {
        text += ", interrupted";
    } else if (session.IsOutputClosed()) {
        text += ", output closed";
    }
    if (stream.IsOpen()) {
        text += ", " + std::to_string(stream.CountDropped(samples)) + " dropped from the ring of " +
                std::to_string(stream.Get().GetMaxSize());
    }
    for (const RuleWatch& rule : session.GetRules()) {
        text += "\nrule [";
        AppendEscaped(text, rule.GetText());
        text += "]: " + Counted(rule.GetMatches(), "match", "matches");
    }
    if (const std::uint64_t skipped = session.GetSource().GetSkipped(); skipped > 0) {
        text += "\n" + Counted(skipped, "bad row") +
                " skipped, the first: " + session.GetSource().GetFirstSkipped();
    }
    std::fprintf(stderr, "%s\n%.3f seconds, %.0f samples per second\n", text.c_str(), seconds,
                 seconds > 0 ? static_cast<double>(samples) / seconds : 0.0);
}

}  // namespace velmora::tool
