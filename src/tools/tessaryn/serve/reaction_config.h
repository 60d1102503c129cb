// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_section_reader.h"
#include "serve/serve_config.h"

namespace velmora::tool {

/// Reads a section [rule.NAME].
RuleConfig ReadRuleSection(const ConfigSection& section, ConfigSectionReader& reader,
                           ConfigMistakes& mistakes);

/// Reads a section [command.NAME].
CommandConfig ReadCommandSection(const ConfigSection& section, ConfigSectionReader& reader,
                                 ConfigMistakes& mistakes);

/// Reads a section [webhook.NAME].
WebhookConfig ReadWebhookSection(const ConfigSection& section, ConfigSectionReader& reader,
                                 ConfigMistakes& mistakes);

/// Checks that the actions of rules exist, and that their names are different.
void CheckActions(const RulesConfig& reactions, ConfigMistakes& mistakes);

}  // namespace velmora::tool
