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

/// Where something stands in its tree.
struct Place {
    /// The names from the root down, with the repository's separator between them.
    std::string path;
    /// What is to be called by at its level.
    std::string name;
    /// Levels of groups above it that are printed, too.
    std::size_t depth = 0;
};

/// Writes down what a document holds, in the order of the calls.
class DocumentPrinter {
  public:
    enum class Tree { types, streams };

    DocumentPrinter() = default;
    DocumentPrinter(const DocumentPrinter&) = delete;
    DocumentPrinter& operator=(const DocumentPrinter&) = delete;
    virtual ~DocumentPrinter() = default;

    /// What follows is of this tree.
    virtual void Begin(Tree tree) = 0;
    /// A group; what it holds follows, one level deeper.
    virtual void PrintGroup(const Place& place, char separator) = 0;
    /// All versions of a type.
    virtual void PrintType(const Place& place,
                           const core::tessaryn::StreamTypeCollection& versions) = 0;
    /// A stream.
    /// \param place where it stands
    /// \param stream the stream, locked
    /// \param samples all its samples, in the order of their times
    virtual void PrintStream(const Place& place, const core::tessaryn::Stream& stream,
                             const std::vector<core::tessaryn::Sample*>& samples) = 0;
};

/// An indented tree for people.
/// \param output \ownership observes
std::unique_ptr<DocumentPrinter> MakeTextPrinter(StandardOutput& output);

/// One JSON object a line.
/// \param output \ownership observes
std::unique_ptr<DocumentPrinter> MakeJsonPrinter(StandardOutput& output);

/// The bytes of a type's hash in their order, two hexadecimal digits each.
std::string HashText(const core::tessaryn::StreamType& type);

/// A time in UTC; microseconds from 1970 where the year has no four digits.
std::string TimeText(const Poco::Timestamp& time);

/// The most elements that a sample has for an entry.
unsigned int GetMaxElements(const std::vector<core::tessaryn::Sample*>& samples,
                            unsigned short entry);

}  // namespace velmora::tool
