// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/document.h"

#include "common/split.h"
#include "storage/document_file.h"
#include "storage/document_io.h"
#include "storage/storage_exception.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_type.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <cerrno>
#include <sstream>
#include <stdexcept>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace velmora::storage {

namespace ser = core::serialization;
namespace tsn = core::tessaryn;

namespace {

// Not ".", which a stream that is named after a file may contain.
constexpr char newSeparator = '/';

// The collection that every new repository has.
constexpr const char* reservedType = "Any";

const utils::Version nextVersion(1, 0, 0);

std::string Quoted(const std::string& text) {
    return "'" + text + "'";
}

std::string Describe(const tsn::SampleEntry& entry) {
    return entry.key + ":" + ToString(entry.type);
}

// The first difference between two lists of entries.
std::string DifferenceBetween(const tsn::StreamType& kept, const tsn::StreamType& layout) {
    const unsigned short shared = std::min(kept.GetNumEntries(), layout.GetNumEntries());
    for (unsigned short id = 0; id < shared; ++id) {
        const tsn::SampleEntry oldEntry = kept.GetEntry(id);
        const tsn::SampleEntry newEntry = layout.GetEntry(id);
        if (oldEntry.key != newEntry.key || oldEntry.type != newEntry.type) {
            return "has " + Describe(oldEntry) + " where the layout has " + Describe(newEntry);
        }
    }
    if (kept.GetNumEntries() > shared) {
        return "has " + Describe(kept.GetEntry(shared)) + ", which the layout does not have";
    }
    return "does not have " + Describe(layout.GetEntry(shared)) + ", which the layout has";
}

// Whether new samples of the two types have the same layout and sizes.
bool AreAlike(const tsn::StreamType& one, const tsn::StreamType& other) {
    return one.HasSameLayout(other) && one.GetMemOffsetLookup() == other.GetMemOffsetLookup();
}

// Empty names in a path are lost when the document is read.
void CheckPath(const std::string& path, char separator) {
    const std::vector<std::string> names = utils::Split(path + separator, separator);
    if (std::any_of(names.begin(), names.end(), [](auto& name) { return name.empty(); })) {
        throw std::invalid_argument("A stream cannot have the name " + Quoted(path) + ".");
    }
}

// A document refers to a type by full name and version.
bool IsFound(const tsn::StreamTypeRepository& types, const tsn::StreamType& type) {
    const tsn::StreamTypeCollection* const found = types.ResolvePtr(type.GetFullName());
    return found != nullptr && found->GetPtr(type.GetVersion()) == &type;
}

// The path of a stream whose type would not be found again; empty when there is none.
std::string FindLostType(const tsn::StreamTypeRepository& types,
                         const tsn::StreamRepository& streams) {
    std::string lost;
    streams.ForEachStream([&](const std::string& path, const tsn::Stream& stream) {
        if (lost.empty() && !IsFound(types, *stream.GetStreamType())) {
            lost = path;
        }
    });
    return lost;
}

tsn::StreamType& NewestLike(tsn::StreamTypeCollection& versions, const tsn::StreamType& layout) {
    tsn::StreamType* const newest = versions.GetLatestPtr();
    return newest != nullptr && AreAlike(*newest, layout) ? *newest
                                                          : versions.PushCopy(layout, nextVersion);
}

// A copy of a sample for a type that has the same layout.
std::unique_ptr<tsn::Sample> CopyFor(tsn::StreamType& type, const tsn::Sample& sample) {
    if (sample.GetStreamType() == &type) {
        return std::make_unique<tsn::Sample>(sample);
    }
    auto copy = std::make_unique<tsn::Sample>(&type, sample.GetTimeStamp());
    std::stringstream bytes;
    sample.Serialize(bytes);
    copy->Deserialize(bytes);
    return copy;
}

// A copy of a stream with other sizes.
std::unique_ptr<tsn::Stream> Resize(const tsn::Stream& stream, tsn::StreamType& type,
                                    long maxSize) {
    auto resized = std::make_unique<tsn::Stream>(&type, maxSize);
    stream.GetAllInPushOrder([&](const std::vector<tsn::Sample*>& samples) {
        for (const tsn::Sample* const sample : samples) {
            resized->PushNew(CopyFor(type, *sample).release());
        }
    });
    return resized;
}

// Whether a new type of this path could take the place of another one when a document is read.
bool CouldHideAnother(const tsn::StreamTypeRepository& types, const std::string& path) {
    std::string fullName = path;
    std::replace(fullName.begin(), fullName.end(), types.groupSeparator(), '.');
    return types.FindByFullName(path) != nullptr || types.FindByFullName(fullName) != nullptr;
}

tsn::Stream& AddStream(tsn::Document& document, const std::string& path,
                       const tsn::StreamType& layout, long maxSize) {
    if (path == reservedType) {
        throw std::invalid_argument(
            "A stream cannot have the name 'Any', which is reserved for a type.");
    }
    tsn::StreamTypeRepository& types = *document.types;
    const bool isNewType = types.GetPtr(path) == nullptr;
    const bool couldHide = isNewType && CouldHideAnother(types, path);
    try {
        tsn::StreamType& type = NewestLike(*types.Add(path), layout);
        std::string lost = couldHide ? FindLostType(types, *document.streams) : std::string();
        if (lost.empty() && !IsFound(types, type)) {
            lost = path;
        }
        if (!lost.empty()) {
            throw std::invalid_argument("Two types would have the full name of that of stream " +
                                        Quoted(lost) + ".");
        }
        return *document.streams->AddStream(path, &type, maxSize);
    } catch (...) {
        if (isNewType) {
            types.Remove(path);
        }
        throw;
    }
}

}  // namespace

tsn::Document NewDocument() {
    return {std::make_unique<tsn::StreamTypeRepository>(Poco::Logger::root(), newSeparator),
            std::make_unique<tsn::StreamRepository>(Poco::Logger::root(), newSeparator)};
}

tsn::Document LoadDocument(const std::string& path, const ser::ReadLimits& limits,
                           const tsn::DocumentLimits& sampleLimits) {
    return ReadFile(path, [&](std::istream& in, bool json) {
        try {
            return json ? tsn::ReadJsonDocument(in, limits, sampleLimits)
                        : tsn::ReadXmlDocument(in, limits, sampleLimits);
        } catch (const tsn::DocumentException& error) {
            throw StorageException(path, path + ": " + error.what());
        }
    });
}

tsn::Document OpenDocument(const std::string& path, const ser::ReadLimits& limits,
                           const tsn::DocumentLimits& sampleLimits) {
    struct stat status {};
    const bool isNew = IsDocumentPath(path) && stat(path.c_str(), &status) != 0 && errno == ENOENT;
    return isNew ? NewDocument() : LoadDocument(path, limits, sampleLimits);
}

tsn::Stream& OpenStream(tsn::Document& document, const std::string& path,
                        const tsn::StreamType& layout, long maxSize) {
    tsn::StreamRepository& streams = *document.streams;
    CheckPath(path, streams.groupSeparator());
    tsn::Stream* const stream = streams.GetStreamPtr(path);
    if (stream == nullptr) {
        return AddStream(document, path, layout, maxSize);
    }
    tsn::StreamType* type = stream->GetStreamType();
    if (!type->HasSameLayout(layout)) {
        throw std::invalid_argument("Stream " + Quoted(path) + " cannot continue: it " +
                                    DifferenceBetween(*type, layout) + ".");
    }
    if (!AreAlike(*type, layout)) {
        type = &NewestLike(document.types->Resolve(type->GetFullName()), layout);
    } else if (maxSize == stream->GetMaxSize()) {
        return *stream;
    }
    std::unique_ptr<tsn::Stream> resized = Resize(*stream, *type, maxSize);
    streams.Remove(path);
    return *streams.AddStream(path, std::move(resized));
}

void SaveDocument(const std::string& path, const tsn::StreamTypeRepository& types,
                  const tsn::StreamRepository& streams) {
    const std::string lost = FindLostType(types, streams);
    if (!lost.empty()) {
        throw StorageException(path, "cannot write " + path + ": the type of stream " +
                                         Quoted(lost) +
                                         " would not be found again by full name and version");
    }
    WriteFile(path, [&](std::ostream& out, bool json) {
        json ? tsn::WriteJsonDocument(types, streams, out)
             : tsn::WriteXmlDocument(types, streams, out);
    });
}

void SaveDocument(const std::string& path, const tsn::Document& document) {
    SaveDocument(path, *document.types, *document.streams);
}

}  // namespace velmora::storage
