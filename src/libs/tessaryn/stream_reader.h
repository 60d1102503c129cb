// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#pragma once

#include "serializer/element_consumer.h"
#include "serializer/error_handlers.h"
#include "serializer/serialization_exception.h"
#include "serializer/serializer.h"
#include "tessaryn/document_exception.h"
#include "tessaryn/document_limits.h"
#include "tessaryn/sample_node.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Exception.h>

#include <cstdint>
#include <deque>
#include <exception>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <utility>
#include <vector>

/// \file
/// Reads what `document_form.h` describes. Internal to this library.

namespace velmora::core::tessaryn {

/// Failures go to the caller alone.
serialization::ThrowErrorHandler Raise();

/// Runs a function that reads a node, and adds the node's position to its exceptions, except for
/// std::bad_alloc.
/// \throws DocumentException
template <class Read>
auto ReadAt(const serialization::INode& node, Read read) {
    const auto fail = [&node](const std::string& reason) {
        const std::string position = node.GetPosition();
        return DocumentException(position, position + ": " + reason);
    };
    try {
        return read();
    } catch (const DocumentException&) {
        throw;
    } catch (const std::bad_alloc&) {
        throw;
    } catch (const serialization::SerializationException& error) {
        // Names the exact node.
        throw DocumentException(node.GetPosition(), error.what());
    } catch (const Poco::Exception& error) {
        throw fail(error.displayText());
    } catch (const std::exception& error) {
        throw fail(error.what());
    }
}

/// The "Name" of a node.
/// \throws DocumentException when it is missing
std::string NameOf(const serialization::INode& node);

/// Reads a group's sub-groups, then its items.
template <class Group, class ReadItem>
void ReadGroup(Group& group, const serialization::INode& node, const char* items,
               ReadItem readItem) {
    for (const serialization::NodeRef& child : node["Groups"].GetNodes()) {
        ReadGroup(*group.AddGroup(NameOf(child)), child, items, readItem);
    }
    for (const serialization::NodeRef& child : node[items].GetNodes()) {
        readItem(group, child);
    }
}

/// Memory that samples may still take.
class MemoryBudget {
  public:
    explicit MemoryBudget(std::uint64_t limit) : limit(limit), left(limit) {}

    /// \throws std::length_error when there is not so much left
    void Take(std::uint64_t bytes);
    void GiveBack(std::uint64_t bytes) { left += bytes; }

  private:
    std::uint64_t limit;
    std::uint64_t left;
};

/// Bytes of memory of a sample with these element counts.
std::uint64_t MemoryOf(const StreamType& type, const std::vector<unsigned int>& sizes);

class SampleReader {
  public:
    explicit SampleReader(const DocumentLimits& limits) : budget(limits.maxSampleMemory) {}

    /// The sample, and the memory that it takes.
    /// \throws DocumentException
    std::pair<Sample, std::uint64_t> Read(StreamType& type, const serialization::INode& node);

    void GiveBack(std::uint64_t memory) { budget.GiveBack(memory); }

  private:
    // An entry that the node names again has the elements of the last time.
    static void SetValue(Sample& sample, const EntryValue& value, unsigned int size);

    serialization::NodeSerializer serializer;
    MemoryBudget budget;
};

/// A stream that is being read, and the memory of the samples in it, the oldest first.
struct PartialStream {
    std::unique_ptr<Stream> stream;
    std::deque<std::uint64_t> memory;
};

/// Reads streams, whose samples may have been taken out of the document before.
class StreamReader {
  public:
    StreamReader(const StreamTypeRepository& types, const DocumentLimits& limits)
        : types(types), samples(limits) {}

    /// Continues a stream that was begun.
    /// \throws DocumentException
    std::unique_ptr<Stream> Read(const serialization::NodeRef& node);
    /// \throws DocumentException
    std::unique_ptr<Stream> ReadWhole(const serialization::INode& node);
    /// Reads a stream's node without its samples. `Read` continues it.
    /// \throws DocumentException
    PartialStream& Begin(const serialization::NodeRef& node);
    /// Reads and pushes a sample.
    /// \throws DocumentException
    void Push(PartialStream& partial, const serialization::NodeRef& node);

  private:
    std::unique_ptr<Stream> Complete(PartialStream partial, const serialization::INode& node);
    PartialStream MakeStream(const serialization::INode& node);
    StreamType& TypeOf(const serialization::INode& node);

    const StreamTypeRepository& types;
    SampleReader samples;
    serialization::NodeSerializer serializer;
    std::map<std::string, const StreamTypeCollection*> collections;
    // By the numbers of their nodes.
    std::map<std::uint64_t, PartialStream> begun;
};

/// The nodes of a document's repositories.
constexpr const char* typesName = "StreamTypeRepository";
constexpr const char* streamsName = "StreamRepository";

/// Reads the node of a repository of types.
/// \throws DocumentException
std::unique_ptr<StreamTypeRepository> ReadTypeNodes(const serialization::INode& node);

/// Reads the node of a repository of streams.
/// \throws DocumentException
std::unique_ptr<StreamRepository> ReadStreamNodes(StreamReader& reader,
                                                  const serialization::INode& node);

/// Reads the samples of a document while that is read.
class SampleConsumer : public serialization::ElementConsumer {
  public:
    explicit SampleConsumer(const DocumentLimits& limits) : limits(limits) {}

    bool Consume(const serialization::NodeRef& element) override;

    /// The types, from the complete document unless they were needed before.
    std::unique_ptr<StreamTypeRepository> TakeTypes(const serialization::NodeRef& root);
    /// The streams, from the complete document.
    std::unique_ptr<StreamRepository> ReadStreams(const StreamTypeRepository& allTypes,
                                                  const serialization::NodeRef& root);

  private:
    PartialStream* FindStream(const serialization::NodeRef& list);

    DocumentLimits limits;
    std::unique_ptr<StreamTypeRepository> types;
    std::unique_ptr<StreamReader> reader;
    // The list whose samples are being read, and their stream.
    std::uint64_t currentList = 0;
    PartialStream* current = nullptr;
};

}  // namespace velmora::core::tessaryn
