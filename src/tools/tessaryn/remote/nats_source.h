// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "remote/nats_settings.h"
#include "source/sample_source.h"
#include "terminal/signal_watcher.h"

#include <memory>
#include <string>

namespace velmora::tool {

/// Whether the program was built with NATS; if not, the functions that need it throw CommandError.
bool HasNats();

/// Follows the streams of a NATS server, each with its own type, until the run ends.
/// \param url see `ParseNatsAddress`; all subjects where it names none
/// \param signals \ownership observes
/// \throws CommandError when URL or settings are bad
std::unique_ptr<SampleSource> OpenNatsSource(const std::string& url, const NatsSettings& settings,
                                             SignalWatcher& signals);

}  // namespace velmora::tool
