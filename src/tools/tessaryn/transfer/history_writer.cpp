// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/history_writer.h"

#include "command_error.h"
#include "storage/history_exception.h"
#include "terminal/message.h"
#include "text/escaped_text.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

namespace velmora::tool {

namespace fs = std::filesystem;

HistoryFileWriter::HistoryFileWriter(const std::string& file) : file(file), part(file + ".part") {
    if (fs::exists(fs::symlink_status(file))) {
        throw CommandError(Quoted(file) + " exists already; tessaryn record adds to a history");
    }
    RemovePart();
    storage::HistoryWriterOptions options;
    options.isSynced = true;
    try {
        writer = std::make_unique<storage::HistoryWriter>(part, std::move(options));
    } catch (...) {
        RemovePart();
        throw;
    }
}

HistoryFileWriter::~HistoryFileWriter() {
    if (!part.empty()) {
        writer.reset();
        RemovePart();
    }
}

void HistoryFileWriter::RemovePart() const {
    for (const char* const ending : {"", "-wal", "-shm"}) {
        std::error_code ignored;
        fs::remove(part + ending, ignored);
    }
}

void HistoryFileWriter::Write(const std::string& path, const core::tessaryn::Sample& sample) {
    const std::int64_t time = sample.GetTimeStamp().epochMicroseconds();
    const auto [place, isFirst] = newest.emplace(path, time);
    outOfOrder += time < place->second ? 1U : 0U;
    place->second = std::max(place->second, time);
    writer->Write(path, sample);
}

void HistoryFileWriter::Finish() {
    writer->Close();
    const storage::HistoryWriterStatistics statistics = writer->GetStatistics();
    if (statistics.lost > 0) {
        throw CommandError("cannot write " + Quoted(file) + ": " + statistics.lastError);
    }
    std::error_code error;
    fs::rename(part, file, error);
    if (error) {
        throw CommandError("cannot write " + Quoted(file) + ": " + error.message());
    }
    part.clear();
}

std::vector<std::string> HistoryFileWriter::GetLosses() const {
    if (outOfOrder == 0) {
        return {};
    }
    return {"a history is read in the order of time: " + Counted(outOfOrder, "sample") +
            " came later than that"};
}

}  // namespace velmora::tool
