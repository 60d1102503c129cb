// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "document/document_reader.h"

#include "command_error.h"
#include "common/split.h"
#include "serializer/error_handlers.h"
#include "serializer/rules.h"
#include "serializer/serialization_exception.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <Poco/Exception.h>
#include <Poco/Logger.h>

#include <charconv>
#include <cmath>
#include <exception>

namespace velmora::tool {

namespace ser = core::serialization;
namespace tsn = core::tessaryn;

namespace {

// The program prints what it throws; nobody wants to read it twice.
ser::ThrowErrorHandler Raise() {
    return ser::Throw(false, Poco::Logger::root());
}

// Sets the elements whose texts are NaN or an infinity, for which a sample reads 0.
void RestoreNoNumbers(tsn::Sample& sample, const std::string& key, const std::string& value) {
    // No text of a number has the letter.
    if (value.find('n') == std::string::npos) {
        return;
    }
    const unsigned short id = sample.EntryId(key);
    const tsn::BaseType type = sample.GetStreamType()->GetType(id);
    if (type != tsn::Double && type != tsn::Float) {
        return;
    }
    unsigned int index = 0;
    for (const std::string& text : utils::Split(value, ';')) {
        double number = 0;
        std::from_chars(text.data(), text.data() + text.size(), number);
        if (!std::isfinite(number) && type == tsn::Double) {
            sample.Set(id, index, number);
        } else if (!std::isfinite(number)) {
            sample.Set(id, index, static_cast<float>(number));
        }
        ++index;
    }
}

}  // namespace

DocumentReader::DocumentReader(const std::string& file, const ser::NodeTree& tree)
    : file(file),
      typesNode(tree.GetRoot()["StreamTypeRepository"]),
      streamsNode(tree.GetRoot()["StreamRepository"]) {
    if (!typesNode.Exists() && !streamsNode.Exists()) {
        throw CommandError(file +
                           ": /: there is neither StreamTypeRepository nor StreamRepository");
    }
}

std::unique_ptr<tsn::StreamTypeRepository> DocumentReader::ReadTypes() const {
    auto types =
        std::make_unique<tsn::StreamTypeRepository>(Poco::Logger::root(), GetTypeSeparator());
    ReadGroup(types->GetGroup(""), typesNode["Group"], "TypeCollections",
              [this](tsn::StreamTypeCollectionGroup& group, const NodeRef& node) {
                  group.Add(serializer, node);
              });
    return types;
}

std::unique_ptr<tsn::StreamRepository> DocumentReader::ReadStreams(
    const tsn::StreamTypeRepository& types) {
    auto streams =
        std::make_unique<tsn::StreamRepository>(Poco::Logger::root(), GetStreamSeparator());
    ReadGroup(streams->GetRoot(), streamsNode["Group"], "Streams",
              [this, &types](tsn::StreamGroup& group, const NodeRef& node) {
                  ReadStream(group, node, types);
              });
    return streams;
}

char DocumentReader::SeparatorOf(const NodeRef& repository) const {
    char separator = '.';
    serializer.Deserialize(repository["GroupSeparator"], separator, ser::Mandatory(), '.');
    return separator;
}

// Reads a group's sub-groups, then its items; those of a name that is taken are merged, or passed
// over, as the repositories do.
template <class Group, class ReadItem>
void DocumentReader::ReadGroup(Group& group, const NodeRef& node, const char* items,
                               ReadItem readItem) const {
    for (const NodeRef& child : node["Groups"].GetNodes()) {
        ReadGroup(*group.AddGroup(NameOf(child)), child, items, readItem);
    }
    for (const NodeRef& child : node[items].GetNodes()) {
        At(child, [&] { readItem(group, child); });
    }
}

// Does something for a node; an error that doesn't say where it is, is there.
template <class Action>
void DocumentReader::At(const NodeRef& node, Action action) const {
    try {
        action();
    } catch (const CommandError&) {
        throw;
    } catch (const ser::SerializationException& error) {
        throw CommandError(file + ": " + error.what());
    } catch (const Poco::Exception& error) {
        throw CommandError(file + ": " + node.GetPosition() + ": " + error.displayText());
    } catch (const std::exception& error) {
        throw CommandError(file + ": " + node.GetPosition() + ": " + error.what());
    }
}

std::string DocumentReader::NameOf(const NodeRef& node) const {
    std::string name;
    At(node, [&] { serializer.Deserialize(node["Name"], name, ser::Mandatory(), Raise()); });
    return name;
}

void DocumentReader::ReadStream(tsn::StreamGroup& group, const NodeRef& node,
                                const tsn::StreamTypeRepository& types) {
    const std::string name = NameOf(node);
    int maxSize = 0;
    serializer.Deserialize(node["MaxSize"], maxSize, ser::GreaterThan(0), Raise());
    auto stream = std::make_unique<tsn::Stream>(&TypeOf(node, types), maxSize);
    for (const NodeRef& sample : node["Samples"].GetNodes()) {
        At(sample,
           [&] { stream->PushNew(ReadSample(*stream->GetStreamType(), sample).release()); });
    }
    group.AddItemMove(name, std::move(stream));
}

tsn::StreamType& DocumentReader::TypeOf(const NodeRef& node,
                                        const tsn::StreamTypeRepository& types) const {
    std::string name;
    serializer.Deserialize(node["Type"], name, ser::Mandatory(), Raise());
    utils::Version version;
    serializer.Deserialize(node["TypeVersion"], version, ser::Mandatory(),
                           utils::Version::Latest());
    const tsn::StreamTypeCollection* collection = types.GetPtr(name);
    if (collection == nullptr) {
        collection = types.FindByFullName(name);
    }
    return (collection != nullptr ? *collection : types[name]).Get(version);
}

std::unique_ptr<tsn::Sample> DocumentReader::ReadSample(tsn::StreamType& type,
                                                        const NodeRef& node) {
    auto sample = std::make_unique<tsn::Sample>(&type, serializer, node);
    const long long read = sample->GetTimeStamp().epochMicroseconds();
    long long time = 0;
    serializer.Deserialize(node["TimeStamp"], time, ser::Mandatory(), read);
    for (const NodeRef& entry : node["Entries"].GetNodes()) {
        RestoreNoNumbers(*sample, entry["Key"].GetValue(), entry["Value"].GetValue());
    }
    if (time == sample->GetTimeStamp().epochMicroseconds()) {
        return sample;
    }
    binary.str({});
    binary.clear();
    sample->Serialize(binary);
    auto stamped = std::make_unique<tsn::Sample>(&type, Poco::Timestamp(time));
    stamped->Deserialize(binary);
    return stamped;
}

}  // namespace velmora::tool
