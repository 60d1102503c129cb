// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watched_stream.h"

#include "common/version.h"
#include "tessaryn/stream_repository.h"

#include <vector>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr long defaultMaxSize = 1000;

}  // namespace

WatchedStream::WatchedStream(const std::string& name)
    : name(name), type(utils::Version(1, 0, 0), &this->name) {}

void WatchedStream::Open(tsn::Document* document, std::optional<long> maxSize) {
    if (document == nullptr) {
        temporary = std::make_unique<tsn::Stream>(&type, maxSize.value_or(defaultMaxSize));
        stream = temporary.get();
    } else {
        const tsn::Stream* const kept = document->streams->GetStreamPtr(GetName());
        const long size = kept == nullptr ? defaultMaxSize : kept->GetMaxSize();
        stream = &storage::OpenStream(*document, GetName(), type, maxSize.value_or(size));
    }
    samplesAtOpening = CountSamples();
}

std::uint64_t WatchedStream::CountSamples() const {
    std::uint64_t count = 0;
    stream->GetAll([&](const std::vector<tsn::Sample*>& all) { count = all.size(); });
    return count;
}

std::uint64_t WatchedStream::CountDropped(std::uint64_t pushed) const {
    return samplesAtOpening + pushed - CountSamples();
}

}  // namespace velmora::tool
