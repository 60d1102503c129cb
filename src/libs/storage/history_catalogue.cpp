// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_catalogue.h"

#include "storage/history_schema.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <stdexcept>
#include <utility>

namespace velmora::storage {

using core::tessaryn::BaseType;
using core::tessaryn::SampleEntry;
using core::tessaryn::StreamType;
using core::tessaryn::StreamTypeCollection;

namespace {

void BindName(Statement& statement, int index, const std::string& name) {
    if (IsText(name)) {
        statement.BindText(index, name);
    } else {
        statement.BindBlob(index, name);
    }
}

HistoryLayout LayoutOf(const StreamType& type) {
    if (type.GetNumEntries() > Catalogue::maxEntries) {
        throw std::length_error(
            "Stream type '" + type.GetFullName() + "' has " + std::to_string(type.GetNumEntries()) +
            " entries: a history keeps up to " + std::to_string(Catalogue::maxEntries) + ".");
    }
    if (type.GetExactMemSizeInBytes() > Catalogue::maxInitialBytes) {
        throw std::length_error(
            "Samples of stream type '" + type.GetFullName() + "' have initial sizes of " +
            std::to_string(type.GetExactMemSizeInBytes()) + " bytes: a history keeps up to " +
            std::to_string(Catalogue::maxInitialBytes) + ".");
    }
    HistoryLayout layout;
    layout.typeName = type.GetFullName();
    layout.version = type.GetVersion();
    const std::vector<std::string> columns = ColumnNames(type.GetEntryNames());
    for (unsigned short i = 0; i < type.GetNumEntries(); ++i) {
        const SampleEntry entry = type.GetEntry(i);
        layout.entries.push_back({entry.key, entry.type, entry.initialSize, columns[i]});
    }
    return layout;
}

bool IsSameEntry(const HistoryEntry& entry, const SampleEntry& other) {
    return entry.name == other.key && entry.type == other.type &&
           entry.initialSize == other.initialSize;
}

}  // namespace

StoredLayout::StoredLayout(HistoryLayout layout)
    : layout(std::move(layout)),
      name(std::make_unique<StreamTypeCollection>(this->layout.typeName, nullptr)),
      type(std::make_unique<StreamType>(this->layout.version, name.get())) {
    for (const HistoryEntry& entry : this->layout.entries) {
        type->Add(entry.name, entry.type, entry.initialSize);
    }
    if (type->GetExactMemSizeInBytes() > Catalogue::maxInitialBytes) {
        throw std::length_error("the initial sizes are too large");
    }
}

bool StoredLayout::IsOf(const StreamType& other) const {
    if (other.GetNumEntries() != layout.entries.size() || other.GetVersion() != layout.version ||
        other.GetFullName() != layout.typeName) {
        return false;
    }
    for (unsigned short i = 0; i < other.GetNumEntries(); ++i) {
        if (!IsSameEntry(layout.entries[i], other.GetEntry(i))) {
            return false;
        }
    }
    return true;
}

void Catalogue::Refresh() {
    const std::int64_t present = database.GetSchemaVersion();
    if (present == schemaVersion) {
        return;
    }
    CheckTables();
    ReadStreams();
    ReadLayouts();
    schemaVersion = present;
}

void Catalogue::Forget() {
    schemaVersion = -1;
    streams.clear();
    idsByPath.clear();
}

const StoredStream* Catalogue::Find(const std::string& path) const {
    const auto id = idsByPath.find(path);
    return id == idsByPath.end() ? nullptr : &streams.at(id->second);
}

const StoredStream& Catalogue::Get(const std::string& path) const {
    const StoredStream* const found = Find(path);
    if (found == nullptr) {
        throw HistoryException(HistoryException::Reason::failed, database.GetPath(),
                               "it has no stream '" + path + "'.");
    }
    return *found;
}

void Catalogue::SetText(const std::string& path, const std::string& text) {
    Transaction transaction(database, Transaction::Kind::write);
    Refresh();
    Statement update = database.Prepare("UPDATE velmora_stream SET text = ? WHERE id = ?");
    BindName(update, 0, text);
    update.Bind(1, Get(path).stream.id);
    update.Run();
    transaction.Commit();
}

void Catalogue::SetEntryText(const std::string& path, const std::string& entry,
                             const std::string& unit, const std::string& text) {
    Transaction transaction(database, Transaction::Kind::write);
    Refresh();
    Statement update = database.Prepare(
        "UPDATE velmora_entry SET unit = ?, text = ? WHERE name = ? AND layout IN"
        " (SELECT id FROM velmora_layout WHERE stream = ?)");
    BindName(update, 0, unit);
    BindName(update, 1, text);
    BindName(update, 2, entry);
    update.Bind(3, Get(path).stream.id);
    update.Run();
    if (database.GetNumber("SELECT changes()") == 0) {
        throw HistoryException(HistoryException::Reason::failed, database.GetPath(),
                               "stream '" + path + "' has no entry '" + entry + "'.");
    }
    transaction.Commit();
}

// Names and statements are enough to check: a virtual table of the same name has another statement.
void Catalogue::CheckTables() {
    tables.clear();
    Statement statement = database.Prepare(
        "SELECT name, sql FROM sqlite_schema WHERE type = 'table' AND name GLOB 'velmora_*'");
    while (statement.Step()) {
        tables[statement.GetText(0)] = statement.GetText(1);
    }
    for (const SchemaTable& table : catalogueTables) {
        if (tables[table.name] != table.sql) {
            database.ThrowCorrupt("table " + std::string(table.name) +
                                  " of the catalogue is missing or was changed.");
        }
    }
}

void Catalogue::ReadStreams() {
    Statement statement = database.Prepare("SELECT id, path, view, text FROM velmora_stream");
    while (statement.Step()) {
        const std::int64_t id = statement.GetInt(0);
        StoredStream& stored = streams[id];
        stored.stream.id = id;
        stored.stream.path = statement.GetText(1);
        stored.stream.view = statement.GetText(2);
        stored.stream.text = statement.GetText(3);
        const auto [place, isNew] = idsByPath.emplace(stored.stream.path, id);
        if (!isNew && place->second != id) {
            database.ThrowCorrupt("the catalogue lists a stream twice.");
        }
    }
}

void Catalogue::ReadLayouts() {
    Statement statement =
        database.Prepare("SELECT id, stream, type, version FROM velmora_layout ORDER BY id");
    while (statement.Step()) {
        HistoryLayout layout;
        layout.id = statement.GetInt(0);
        layout.typeName = statement.GetText(2);
        layout.table = RowTable(layout.id);
        const auto stored = streams.find(statement.GetInt(1));
        if (stored == streams.end()) {
            database.ThrowCorrupt("layout " + std::to_string(layout.id) + " is of no stream.");
        }
        auto& known = stored->second.layouts;
        if (!known.empty() && known.back()->GetId() >= layout.id) {
            continue;
        }
        try {
            layout.version = utils::Version(statement.GetText(3));
            layout.entries = ReadEntries(layout.id);
            known.push_back(std::make_shared<StoredLayout>(std::move(layout)));
        } catch (const HistoryException&) {
            throw;
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception& error) {
            database.ThrowCorrupt("layout " + std::to_string(statement.GetInt(0)) +
                                  " is not that of a stream type: " + error.what());
        }
        const HistoryLayout& added = known.back()->Get();
        if (tables[added.table] != CreateRowTable(added)) {
            database.ThrowCorrupt("table " + added.table +
                                  " is missing or has other columns than the catalogue lists.");
        }
    }
}

std::vector<HistoryEntry> Catalogue::ReadEntries(std::int64_t layout) {
    Statement statement = database.Prepare(
        "SELECT id, name, type, size, column_name, unit, text FROM velmora_entry"
        " WHERE layout = ? ORDER BY id");
    statement.Bind(0, layout);
    std::vector<HistoryEntry> entries;
    while (statement.Step()) {
        const std::int64_t size = statement.GetInt(3);
        const BaseType type = core::tessaryn::GetTypeFromString(statement.GetText(2));
        if (statement.GetInt(0) != static_cast<std::int64_t>(entries.size()) ||
            entries.size() == maxEntries || size < 0 ||
            size > std::numeric_limits<unsigned int>::max()) {
            throw std::invalid_argument("its entries are not numbered, or too many or too large");
        }
        entries.push_back({statement.GetText(1), type, static_cast<unsigned int>(size),
                           statement.GetText(4), statement.GetText(5), statement.GetText(6)});
    }
    return entries;
}

std::shared_ptr<const StoredLayout> Catalogue::FindOrAdd(const std::string& path,
                                                         const StreamType& type) {
    const StoredStream* const found = Find(path);
    if (found != nullptr) {
        for (const auto& layout : found->layouts) {
            if (layout->IsOf(type)) {
                return layout;
            }
        }
    }
    HistoryLayout layout = LayoutOf(type);
    StoredStream& stream = found != nullptr ? streams.at(found->stream.id) : AddStream(path);
    AddLayout(stream, std::move(layout));
    schemaVersion = database.GetSchemaVersion();
    return stream.layouts.back();
}

StoredStream& Catalogue::AddStream(const std::string& path) {
    NameSet taken;
    Statement names = database.Prepare("SELECT name FROM sqlite_schema");
    while (names.Step()) {
        taken.Add(names.GetText(0));
    }
    HistoryStream stream;
    stream.path = path;
    stream.view = taken.AddUnique(path);
    Statement insert =
        database.Prepare("INSERT INTO velmora_stream(path, view, text) VALUES(?, ?, '')");
    BindName(insert, 0, path);
    insert.BindText(1, stream.view);
    insert.Run();
    stream.id = database.GetNumber("SELECT last_insert_rowid()");
    idsByPath[path] = stream.id;
    return streams[stream.id] = {stream};
}

void Catalogue::AddLayout(StoredStream& stream, HistoryLayout layout) {
    const bool isFirst = stream.layouts.empty();
    if (!isFirst) {
        // Another connection may have set texts meanwhile.
        const auto former = ReadEntries(stream.layouts.back()->GetId());
        for (HistoryEntry& entry : layout.entries) {
            const auto same =
                std::find_if(former.begin(), former.end(),
                             [&](const HistoryEntry& other) { return other.name == entry.name; });
            if (same != former.end()) {
                entry.unit = same->unit;
                entry.text = same->text;
            }
        }
    }
    Statement insert = database.Prepare(
        "INSERT INTO velmora_layout(stream, type, version, row_count, in_order)"
        " VALUES(?, ?, ?, 0, 1)");
    insert.Bind(0, stream.stream.id);
    BindName(insert, 1, layout.typeName);
    const std::string version = layout.version.ToString();
    insert.BindText(2, version);
    insert.Run();
    layout.id = database.GetNumber("SELECT last_insert_rowid()");
    layout.table = RowTable(layout.id);
    InsertEntries(layout);
    database.Run(CreateRowTable(layout));
    database.Run(CreateTimeIndex(layout));
    if (!isFirst) {
        database.Run("DROP VIEW IF EXISTS " + QuoteName(stream.stream.view));
    }
    stream.layouts.push_back(std::make_shared<StoredLayout>(std::move(layout)));
    std::vector<const HistoryLayout*> all;
    for (const auto& each : stream.layouts) {
        all.push_back(&each->Get());
    }
    database.Run(CreateView(stream.stream.view, all));
}

void Catalogue::InsertEntries(const HistoryLayout& layout) {
    Statement insert = database.Prepare(
        "INSERT INTO velmora_entry(layout, id, name, type, size, column_name, unit, text)"
        " VALUES(?, ?, ?, ?, ?, ?, ?, ?)");
    for (std::size_t i = 0; i < layout.entries.size(); ++i) {
        const HistoryEntry& entry = layout.entries[i];
        const std::string type = ToString(entry.type);
        insert.Bind(0, layout.id);
        insert.Bind(1, static_cast<std::int64_t>(i));
        BindName(insert, 2, entry.name);
        insert.BindText(3, type);
        insert.Bind(4, std::int64_t{entry.initialSize});
        insert.BindText(5, entry.column);
        BindName(insert, 6, entry.unit);
        BindName(insert, 7, entry.text);
        insert.Run();
    }
}

}  // namespace velmora::storage
