// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serve/config_section_reader.h"
#include "serve/serve_config.h"

namespace velmora::tool {

/// Reads a section [source.NAME].
SourceConfig ReadSourceSection(const ConfigSection& section, ConfigSectionReader& reader,
                               ConfigMistakes& mistakes);

/// Reads a section [stream.NAME].
/// \param capacity the stream's capacity unless the section gives one
StreamConfig ReadStreamSection(const ConfigSection& section, ConfigSectionReader& reader,
                               long capacity, ConfigMistakes& mistakes);

}  // namespace velmora::tool
