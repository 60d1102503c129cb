// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "terminal/standard_output.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace velmora::tool {

/// Position of a group, type or stream in its tree.
struct TreePosition {
    /// Names from the root on, joined by the repository's separator.
    std::string path;
    /// Name to print.
    std::string name;
    /// Number of groups around it that are printed, too.
    std::size_t depth = 0;
};

/// Prints groups, types and streams of a document.
class DocumentPrinter {
  public:
    enum class Tree { types, streams };

    DocumentPrinter() = default;
    DocumentPrinter(const DocumentPrinter&) = delete;
    DocumentPrinter& operator=(const DocumentPrinter&) = delete;
    virtual ~DocumentPrinter() = default;

    /// Begins one of the trees.
    virtual void Begin(Tree tree) = 0;
    /// A group; its content follows.
    virtual void PrintGroup(const TreePosition& position, char separator) = 0;
    /// All versions of a type.
    virtual void PrintType(const TreePosition& position,
                           const core::tessaryn::StreamTypeCollection& versions) = 0;
    /// A stream.
    /// \param stream the stream, locked
    /// \param samples all its samples, in the order of their times
    virtual void PrintStream(const TreePosition& position, const core::tessaryn::Stream& stream,
                             const std::vector<core::tessaryn::Sample*>& samples) = 0;
};

/// An indented tree.
/// \param output \ownership observes
std::unique_ptr<DocumentPrinter> MakeTextPrinter(StandardOutput& output);

/// One JSON object per line.
/// \param output \ownership observes
std::unique_ptr<DocumentPrinter> MakeJsonPrinter(StandardOutput& output);

/// A type's hash in hexadecimal.
std::string FormatHash(const core::tessaryn::StreamType& type);

/// A time in UTC; microseconds since 1970, such as "-1us", outside the years 1 to 9999.
std::string FormatTime(const Poco::Timestamp& time);

/// The maximum number of elements that one of the samples has in an entry.
unsigned int GetMaxElements(const std::vector<core::tessaryn::Sample*>& samples,
                            unsigned short entry);

}  // namespace velmora::tool
