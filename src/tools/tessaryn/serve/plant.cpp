// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/plant.h"

#include "command_error.h"
#include "common/version.h"
#include "delivery/stream_pattern.h"
#include "storage/document.h"
#include "storage/history.h"
#include "storage/history_reader.h"
#include "storage/storage_exception.h"
#include "terminal/message.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"
#include "text/escaped_text.h"
#include "transfer/copy_entry.h"

#include <Poco/Environment.h>
#include <Poco/File.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::int64_t GetNewestTime(const tsn::Stream& stream) {
    std::int64_t newest = INT64_MIN;
    stream.GetAll([&](const std::vector<tsn::Sample*>& samples) {
        for (const tsn::Sample* const sample : samples) {
            newest = std::max(newest, sample->GetTimeStamp().epochMicroseconds());
        }
    });
    return newest;
}

// Converts a sample to another type, with the entries that both types have.
std::unique_ptr<tsn::Sample> Converted(const tsn::Sample& sample, tsn::StreamType& target) {
    auto converted = std::make_unique<tsn::Sample>(&target, sample.GetTimeStamp());
    CopyEntries(sample, *converted);
    return converted;
}

// Adds a stream with its own type. `storage::OpenStream` compares it with all existing types, which
// takes too long for thousands of streams.
tsn::Stream& AddNewStream(tsn::Document& document, const std::string& path,
                          const tsn::StreamType& layout, long capacity) {
    std::string fullName = path;
    std::replace(fullName.begin(), fullName.end(), '/', '.');
    const tsn::StreamTypeCollection* const same = document.types->ResolvePtr(fullName);
    if (same != nullptr && same != document.types->GetPtr(path)) {
        throw std::invalid_argument("a stream cannot have the name " + Quoted(path) +
                                    ": another one has a type of the name " + Quoted(fullName));
    }
    tsn::StreamTypeCollection& versions = *document.types->Add(path);
    tsn::StreamType* type = versions.GetLatestPtr();
    if (type == nullptr || !type->HasSameLayout(layout) ||
        type->GetMemOffsetLookup() != layout.GetMemOffsetLookup()) {
        type = &versions.PushCopy(layout, utils::Version(1, 0, 0));
    }
    return *document.streams->AddStream(path, type, capacity);
}

// A document cannot keep a stream with an empty name.
void CheckPath(const std::string& path) {
    if (path.empty() || path.front() == '/' || path.back() == '/' ||
        path.find("//") != std::string::npos) {
        throw std::invalid_argument("a stream cannot have the name " + Quoted(path));
    }
}

}  // namespace

std::string InStateFolder(const std::string& path) {
    const std::string folder = Poco::Environment::get("STATE_DIRECTORY", "");
    return path.empty() || path.starts_with('/') || folder.empty() ? path : folder + "/" + path;
}

Plant::Plant(const ServeConfig& config, ServiceLog& log)
    : config(config),
      log(log),
      historyFile(config.history ? InStateFolder(config.history->file) : ""),
      checkpointFile(config.checkpoint ? InStateFolder(config.checkpoint->file) : ""),
      document(storage::NewDocument()) {}

Plant::~Plant() = default;

void Plant::Open() {
    LoadCheckpoint();
    if (config.history) {
        storage::HistoryWriterOptions options = config.history->options;
        options.onError = [this](const std::exception& error) {
            log.WriteLimited(LogLevel::error, "history", error.what());
        };
        history = std::make_unique<storage::HistoryWriter>(historyFile, std::move(options));
        ContinueFromHistory();
    }
    for (const StreamConfig& stream : config.streams) {
        if (!stream.entries.empty()) {
            OpenStream(stream.path, {}, {});
        }
    }
    // The streams of the checkpoint.
    std::vector<std::pair<std::string, tsn::Stream*>> found;
    document.streams->ForEachStream(
        [&](const std::string& path, tsn::Stream& stream) { found.emplace_back(path, &stream); });
    for (const auto& [path, stream] : found) {
        OpenStream(path, *stream->GetStreamType(), {});
    }
}

void Plant::LoadCheckpoint() {
    if (checkpointFile.empty()) {
        return;
    }
    try {
        document = storage::OpenDocument(checkpointFile);
    } catch (const std::exception& error) {
        const std::string aside = checkpointFile + ".bad";
        log.Write(LogLevel::error, std::string(error.what()) + "; the file becomes " + aside +
                                       ", and the streams begin without it");
        Poco::File(checkpointFile).renameTo(aside);
        document = storage::NewDocument();
    }
}

void Plant::ContinueFromHistory() {
    const storage::History stored(historyFile);
    for (const storage::HistoryStream& stream : stored.GetStreams()) {
        try {
            ContinueStream(stored, stream);
        } catch (const std::exception& error) {
            log.Write(LogLevel::warning,
                      "stream " + Quoted(stream.path) +
                          " does not continue from the history: " + error.what());
        }
    }
}

// Pushes the newest samples of the history that the checkpoint lacks.
void Plant::ContinueStream(const storage::History& stored, const storage::HistoryStream& stream) {
    tsn::StreamType type;
    for (const storage::HistoryEntry& entry : stream.layouts.back().entries) {
        type.Add(entry.name, entry.type, entry.initialSize);
    }
    tsn::Stream& target = MakeStream(stream.path, type);
    storage::HistoryQuery query;
    query.streams = stream.path;
    query.newest = static_cast<std::uint64_t>(target.GetMaxSize());
    const std::int64_t newest = GetNewestTime(target);
    if (newest != INT64_MIN) {
        query.from = Poco::Timestamp(newest + 1);
    }
    storage::HistoryReader reader(stored, query);
    while (reader.Next()) {
        target.PushNew(Converted(reader.GetSample(), *target.GetStreamType()).release());
    }
}

const StreamConfig* Plant::FindConfig(const std::string& path) const {
    for (const StreamConfig& stream : config.streams) {
        if (delivery::StreamPattern(stream.path, '/').Matches(path)) {
            return &stream;
        }
    }
    return nullptr;
}

long Plant::GetCapacity(const std::string& path) const {
    const StreamConfig* const found = FindConfig(path);
    return found == nullptr ? config.capacity : found->capacity;
}

// Finds a stream to continue, or adds one. Called with the mutex held, or before threads start.
tsn::Stream& Plant::MakeStream(const std::string& path, const tsn::StreamType& entries) {
    const StreamConfig* const declared = FindConfig(path);
    tsn::StreamType declaredType;
    for (const ColumnType& entry :
         declared == nullptr ? std::vector<ColumnType>() : declared->entries) {
        declaredType.Add(entry.name, entry.type, entry.type == tsn::String ? 0 : entry.count);
    }
    tsn::Stream* const old = document.streams->GetStreamPtr(path);
    const bool isDeclared = declaredType.GetNumEntries() > 0;
    const tsn::StreamType& wanted =
        isDeclared ? declaredType : (old == nullptr ? entries : *old->GetStreamType());
    if (old != nullptr && !old->GetStreamType()->HasSameLayout(wanted)) {
        log.Write(LogLevel::warning, "stream " + Quoted(path) +
                                         " begins anew, as the configuration has other entries "
                                         "than it had");
        document.streams->Remove(path);
    }
    if (document.streams->GetStreamPtr(path) == nullptr) {
        CheckPath(path);
        return AddNewStream(document, path, wanted, GetCapacity(path));
    }
    return storage::OpenStream(document, path, wanted, GetCapacity(path));
}

const PlantStream& Plant::OpenStream(const std::string& path, const tsn::StreamType& entries,
                                     const std::vector<std::string>& units) {
    const std::lock_guard lock(mutex);
    auto place = streams.find(path);
    if (place == streams.end()) {
        if (streams.size() >= config.maxStreams) {
            throw CommandError("stream " + Quoted(path) + " would be one more than max-streams, " +
                               std::to_string(config.maxStreams));
        }
        AddStream(path, MakeStream(path, entries));
        place = streams.find(path);
    }
    for (unsigned short id = 0; id < entries.GetNumEntries() && id < units.size(); ++id) {
        if (!units[id].empty()) {
            place->second.units.emplace(entries.GetEntry(id).key, units[id]);
        }
    }
    return place->second;
}

// Called with the mutex held.
const PlantStream& Plant::AddStream(const std::string& path, tsn::Stream& stream) {
    PlantStream& added = streams[path];
    added = {path, &stream, GetNewestTime(stream)};
    if (const StreamConfig* const declared = FindConfig(path)) {
        added.units.insert(declared->units.begin(), declared->units.end());
    }
    if (onNewStream) {
        onNewStream(added);
    }
    return added;
}

std::vector<ColumnType> Plant::GetLikelyTypes(const std::string& path) const {
    const std::lock_guard lock(mutex);
    const tsn::Stream* const stream = document.streams->GetStreamPtr(path);
    std::vector<ColumnType> types;
    if (stream == nullptr) {
        const StreamConfig* const declared = FindConfig(path);
        return declared == nullptr ? types : declared->entries;
    }
    const tsn::StreamType& type = *stream->GetStreamType();
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        const bool isSingle = entry.type == tsn::String || entry.initialSize == 1;
        types.push_back({entry.key, entry.type, isSingle ? 1U : 0U});
    }
    return types;
}

void Plant::Push(const PlantStream& target, std::unique_ptr<tsn::Sample> sample, bool resumes) {
    const bool isKnown = resumes && sample->GetTimeStamp().epochMicroseconds() <= target.known;
    std::unique_ptr<tsn::Sample> kept;
    if (history) {
        kept = isKnown ? std::move(sample) : std::make_unique<tsn::Sample>(*sample);
    }
    if (!isKnown) {
        ++pushed;
        try {
            target.stream->PushNew(sample.release());
        } catch (const std::exception& error) {
            // The sample was stored; a rule could not be evaluated.
            log.WriteLimited(LogLevel::error, "push " + target.path,
                             "stream " + Quoted(target.path) + ": " + error.what());
        }
    }
    if (kept) {
        WriteToHistory(target.path, std::move(*kept), resumes);
    }
}

void Plant::WriteToHistory(const std::string& path, tsn::Sample&& sample, bool ifNew) {
    try {
        if (ifNew) {
            history->WriteIfNew(path, std::move(sample));
        } else {
            history->Write(path, std::move(sample));
        }
    } catch (const storage::StorageException& error) {
        log.WriteLimited(LogLevel::error, "history lost",
                         std::string("a sample was lost for the history: ") + error.what());
    }
}

void Plant::Commit() {
    if (history) {
        history->Flush();
    }
}

void Plant::Save() {
    if (checkpointFile.empty()) {
        return;
    }
    try {
        const std::lock_guard lock(mutex);
        storage::SaveDocument(checkpointFile, document);
    } catch (const std::exception& error) {
        log.WriteLimited(LogLevel::error, "checkpoint", error.what());
    }
}

void Plant::Close(std::chrono::milliseconds timeout) {
    if (!history) {
        return;
    }
    try {
        history->Close(timeout);
    } catch (const std::exception& error) {
        log.Write(LogLevel::error, error.what());
    }
    const storage::HistoryWriterStatistics statistics = history->GetStatistics();
    if (statistics.lost > 0) {
        log.Write(LogLevel::error,
                  Counted(statistics.lost, "sample") + " could not be written to the history");
    }
}

storage::HistoryWriterStatistics Plant::GetHistoryStatistics() const {
    return history ? history->GetStatistics() : storage::HistoryWriterStatistics{};
}

std::size_t Plant::GetNumStreams() const {
    const std::lock_guard lock(mutex);
    return streams.size();
}

std::string Plant::GetUnit(const std::string& path, const std::string& entry) const {
    const std::lock_guard lock(mutex);
    const auto place = streams.find(path);
    if (place == streams.end()) {
        return {};
    }
    const auto unit = place->second.units.find(entry);
    return unit == place->second.units.end() ? std::string() : unit->second;
}

}  // namespace velmora::tool
