// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "tessaryn/snapshot.h"

#include "serializer/json_format.h"
#include "serializer/serialization_exception.h"
#include "tessaryn/document_form.h"
#include "tessaryn/sample_access.h"
#include "tessaryn/sample_batch.h"
#include "tessaryn/snapshot_block.h"
#include "tessaryn/stream_reader.h"
#include "tessaryn/value_traits.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <deque>
#include <limits>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <utility>
#include <vector>

namespace velmora::core::tessaryn {

using serialization::NodeTree;
using serialization::ReadLimits;
using utils::Version;

namespace {

class SnapshotWriter {
  public:
    explicit SnapshotWriter(std::ostream& out) : block(out) {}

    void WriteTypes(const StreamTypeRepository& types) {
        const NodeTree tree;
        serialization::NodeRef root = tree.GetRoot();
        WriteStreamTypes(types, root);
        std::ostringstream text;
        WriteJson(tree, text);
        const std::string_view view = text.view();
        for (std::size_t at = 0; at < view.size(); at += maxBlockLength) {
            const std::string_view part = view.substr(at, maxBlockLength);
            block.AddBytes(part.data(), part.size());
            block.End(BlockKind::Types);
        }
    }

    void WriteStreams(const StreamRepository& streams) {
        block.AddByte(static_cast<unsigned char>(streams.groupSeparator()));
        block.End(BlockKind::Streams);
        WriteGroup(streams.GetRoot());
        block.AddNumber(streamCount);
        block.AddNumber(sampleCount);
        block.End(BlockKind::End);
    }

  private:
    void WriteGroup(StreamGroup& group) {
        group.AtomicExecute([&] {
            for (StreamGroup* const child : group.GetAllGroupPtrs()) {
                path.push_back(child->GetName());
                AddPath();
                block.End(BlockKind::Group);
                WriteGroup(*child);
                path.pop_back();
            }
            for (const std::string& name : group.GetItemNames()) {
                path.push_back(name);
                WriteStream(group.GetStream(name));
                path.pop_back();
            }
        });
    }

    void AddPath() {
        if (path.size() > maxSnapshotDepth) {
            throw serialization::SerializationException("Cannot write groups of more than " +
                                                        std::to_string(maxSnapshotDepth) +
                                                        " levels.");
        }
        block.AddNumber(path.size());
        for (const std::string& name : path) {
            block.AddText(name);
        }
    }

    void WriteStream(const Stream& stream) {
        ++streamCount;
        const StreamType& type = *stream.GetStreamType();
        const Version version = type.GetVersion();
        AddPath();
        block.AddText(type.GetFullName());
        block.AddText(version.ToString());
        block.AddNumber(static_cast<std::uint64_t>(stream.GetMaxSize()));
        block.End(BlockKind::Stream);
        stream.GetAllInPushOrder([&](const std::vector<Sample*>& samples) {
            BeginSamples(type);
            for (const Sample* const sample : samples) {
                AddSample(type, *sample);
                if (block.GetLength() >= maxBlockLength) {
                    block.End(BlockKind::Samples);
                    BeginSamples(type);
                }
            }
            if (block.GetLength() != 0) {
                block.End(BlockKind::Samples);
            }
        });
    }

    // Each block can be read by itself.
    void BeginSamples(const StreamType& type) {
        lastTime = 0;
        lastBytes.assign(type.GetNumEntries(), 0);
        for (std::size_t entry = 0; entry < lastBytes.size(); ++entry) {
            const SampleEntry declared = type.GetEntry(static_cast<unsigned short>(entry));
            lastBytes[entry] =
                std::size_t{traits::ElementSize(declared.type)} * declared.initialSize;
        }
    }

    void AddSample(const StreamType& type, const Sample& sample) {
        const auto widthOf = [&type](std::size_t entry) {
            const BaseType declared = type.GetType(static_cast<unsigned short>(entry));
            return std::max(std::size_t{traits::ElementSize(declared)}, std::size_t{1});
        };
        ++sampleCount;
        const std::int64_t time = SampleAccess::TimeOf(sample).epochMicroseconds();
        block.AddSigned(static_cast<std::int64_t>(static_cast<std::uint64_t>(time) -
                                                  static_cast<std::uint64_t>(lastTime)));
        lastTime = time;
        bool isSame = true;
        std::size_t total = 0;
        for (std::size_t entry = 0; entry < lastBytes.size(); ++entry) {
            // Only complete elements: nothing can read other bytes that a host has put into a
            // sample.
            const std::size_t width = widthOf(entry);
            const std::size_t bytes =
                SampleAccess::BytesOf(sample, static_cast<unsigned short>(entry)).second / width *
                width;
            isSame = isSame && bytes == lastBytes[entry];
            lastBytes[entry] = bytes;
            total += bytes;
        }
        block.AddByte(isSame ? 0 : 1);
        for (std::size_t entry = 0; !isSame && entry < lastBytes.size(); ++entry) {
            block.AddNumber(lastBytes[entry] / widthOf(entry));
        }
        AddElements(sample, total);
    }

    void AddElements(const Sample& sample, std::size_t total) {
        const auto last = static_cast<unsigned short>(lastBytes.size() - 1);
        const auto [begin, length] = lastBytes.empty() ? std::pair<std::size_t, std::size_t>()
                                                       : SampleAccess::BytesOf(sample, last);
        if (begin + length == total) {
            block.AddBytes(SampleAccess::DataOf(sample), total);
            return;
        }
        for (std::size_t entry = 0; entry < lastBytes.size(); ++entry) {
            const std::size_t at =
                SampleAccess::BytesOf(sample, static_cast<unsigned short>(entry)).first;
            block.AddBytes(SampleAccess::DataOf(sample) + at, lastBytes[entry]);
        }
    }

    BlockWriter block;
    std::vector<std::string> path;
    std::uint64_t streamCount = 0;
    std::uint64_t sampleCount = 0;
    std::int64_t lastTime = 0;
    // The bytes of each entry in the sample before.
    std::vector<std::size_t> lastBytes;
};

class SnapshotReader {
  public:
    SnapshotReader(std::istream& in, const ReadLimits& limits, const DocumentLimits& sampleLimits)
        : block(in, limits.maxBytes, sampleLimits.maxSampleMemory),
          limits(limits),
          budget(sampleLimits.maxSampleMemory) {}

    Document Read() {
        block.Begin();
        BlockKind kind = block.Next();
        std::string text;
        for (; kind == BlockKind::Types; kind = block.Next()) {
            text += block.TakeRest();
        }
        if (kind != BlockKind::Streams) {
            block.Fail("The block of the streams is missing.");
        }
        std::istringstream json(std::move(text));
        document.types = ReadTypeNodes(ReadJson(json, limits).GetRoot());
        const char separator = static_cast<char>(block.TakeByte());
        document.streams = std::make_unique<StreamRepository>(Poco::Logger::root(), separator);
        while ((kind = block.Next()) != BlockKind::End) {
            ReadBlock(kind);
        }
        if (block.TakeNumber() != streamCount || block.TakeNumber() != sampleCount) {
            block.Fail("There are streams or samples too few or too many.");
        }
        return std::move(document);
    }

  private:
    void ReadBlock(BlockKind kind) {
        try {
            if (kind == BlockKind::Group) {
                TakePath(document.streams->GetRoot(), block.TakeNumber());
            } else if (kind == BlockKind::Stream) {
                ReadStream();
            } else if (kind == BlockKind::Samples && stream != nullptr) {
                ReadSamples();
            } else {
                block.Fail("The block is not expected here.");
            }
        } catch (const DocumentException&) {
            throw;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const Poco::Exception& error) {
            block.Fail(error.displayText());
        } catch (const std::exception& error) {
            block.Fail(error.what());
        }
    }

    // Gets or makes the groups of a path.
    StreamGroup& TakePath(StreamGroup& root, std::uint64_t count) {
        StreamGroup* group = &root;
        if (count > maxSnapshotDepth) {
            block.Fail("The groups are nested too deeply.");
        }
        for (; count > 0; --count) {
            group = group->AddGroup(std::string(block.TakeText()));
        }
        return *group;
    }

    void ReadStream() {
        const std::uint64_t count = block.TakeNumber();
        if (count == 0) {
            block.Fail("The stream has no name.");
        }
        StreamGroup& group = TakePath(document.streams->GetRoot(), count - 1);
        const std::string name(block.TakeText());
        const std::string typeName(block.TakeText());
        const Version version{std::string(block.TakeText())};
        const std::uint64_t maxSize = block.TakeNumber();
        if (maxSize == 0 || maxSize > std::numeric_limits<int>::max()) {
            block.Fail("The stream has a size of " + std::to_string(maxSize) + ".");
        }
        if (group.GetStreamPtr(name) != nullptr) {
            block.Fail("The stream '" + name + "' is there twice.");
        }
        stream = group.AddStream(name, &document.types->Resolve(typeName).Get(version),
                                 static_cast<long>(maxSize));
        ++streamCount;
        memory.clear();
    }

    void ReadSamples() {
        StreamType& type = *stream->GetStreamType();
        offsets = type.GetMemOffsetLookup();
        std::uint64_t bytes = type.GetExactMemSizeInBytes();
        std::uint64_t time = 0;
        while (!block.IsAtEnd()) {
            time += static_cast<std::uint64_t>(block.TakeSigned());
            if (block.TakeByte() != 0) {
                bytes = TakeSizes(type);
            }
            AddSample(type, static_cast<std::int64_t>(time), block.TakeBytes(bytes));
        }
        PushSamples();
    }

    // Reads the element counts of all entries, for this sample and those that follow.
    std::uint64_t TakeSizes(const StreamType& type) {
        std::uint64_t bytes = 0;
        for (std::size_t i = 1; i < offsets.size(); ++i) {
            const std::uint64_t number = block.TakeNumber();
            if (number > std::numeric_limits<unsigned int>::max()) {
                block.Fail("An entry has " + std::to_string(number) + " elements.");
            }
            const BaseType element = type.GetType(static_cast<unsigned short>(i - 1));
            bytes += traits::ElementSize(element) * number;
            offsets[i] = static_cast<unsigned int>(bytes);
        }
        return bytes;
    }

    void AddSample(StreamType& type, std::int64_t time, std::string_view elements) {
        const std::string_view table(reinterpret_cast<const char*>(offsets.data()),
                                     offsets.size() * sizeof(unsigned int));
        const std::uint64_t taken = sizeof(Sample) + table.size() + elements.size();
        budget.Take(taken);
        SampleAccess::CheckTotal(elements.size());
        batch.push_back(SampleAccess::Decode(type, Poco::Timestamp(time), table, elements));
        ++sampleCount;
        memory.push_back(taken);
        const auto maxSize = static_cast<std::size_t>(stream->GetMaxSize());
        if (memory.size() > maxSize) {
            budget.GiveBack(memory.front());
            memory.pop_front();
        }
        // One that overwrites another is pushed at once: only so does the budget hold.
        constexpr std::size_t maxBatch = 64;
        if (batch.size() == maxBatch || memory.size() == maxSize) {
            PushSamples();
        }
    }

    void PushSamples() {
        stream->PushMany(batch);
        batch.clear();
    }

    BlockReader block;
    ReadLimits limits;
    MemoryBudget budget;
    Document document;
    std::uint64_t streamCount = 0;
    std::uint64_t sampleCount = 0;
    // The stream of the samples that follow, and the memory of those in it.
    Stream* stream = nullptr;
    std::deque<std::uint64_t> memory;
    // Those that were read last, and the offsets of the last one.
    SampleBatch batch;
    std::vector<unsigned int> offsets;
};

}  // namespace

void WriteSnapshot(const StreamTypeRepository& types, const StreamRepository& streams,
                   std::ostream& out) {
    out << snapshotMagic;
    for (unsigned shift = 0; shift < 32; shift += 8) {
        out.put(static_cast<char>(snapshotVersion >> shift));
    }
    SnapshotWriter writer(out);
    writer.WriteTypes(types);
    writer.WriteStreams(streams);
    out.flush();
    if (!out) {
        throw serialization::SerializationException(
            "Cannot write the snapshot: the stream failed.");
    }
}

Document ReadSnapshot(std::istream& in, const ReadLimits& limits,
                      const DocumentLimits& sampleLimits) {
    return SnapshotReader(in, limits, sampleLimits).Read();
}

}  // namespace velmora::core::tessaryn
