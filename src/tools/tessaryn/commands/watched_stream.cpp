// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "commands/watched_stream.h"

#include "command_error.h"
#include "common/version.h"
#include "tessaryn/sample_time.h"
#include "tessaryn/stream_repository.h"
#include "text/escaped_text.h"

#include <sstream>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

constexpr long defaultMaxSize = 1000;
// The capacity of streams that hold only selected samples.
constexpr long defaultMaxSelected = 1'000'000;
// Of many rules, a stream finds those that a sample may satisfy. A few rules are evaluated one by
// one, without a stream.
constexpr std::size_t maxDirectRules = 8;

std::uint64_t CountSamples(const tsn::Stream& stream) {
    std::uint64_t count = 0;
    stream.GetAll([&](const std::vector<tsn::Sample*>& all) { count = all.size(); });
    return count;
}

// A stream of the document; a new one has the given size.
tsn::Stream& OpenKept(tsn::Document& document, const std::string& path, const tsn::StreamType& type,
                      const std::optional<long>& maxSize, long defaultSize) {
    const tsn::Stream* const found = document.streams->GetStreamPtr(path);
    const long size = found == nullptr ? defaultSize : found->GetMaxSize();
    return storage::OpenStream(document, path, type, maxSize.value_or(size));
}

}  // namespace

WatchedStream::WatchedStream(const std::string& name, const tsn::StreamType& entries,
                             const std::vector<std::string>& units, WatchRun& run)
    : name(name), type(utils::Version(1, 0, 0), &this->name), run(run) {
    for (unsigned short id = 0; id < entries.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = entries.GetEntry(id);
        type.Add(entry.key, entry.type, entry.initialSize);
    }
    CheckRules(run.rules, type, run.options.allowUnknown, run.options.source.quiet);
    for (const std::string& entry : {run.filter.changed, run.filter.moved}) {
        if (!entry.empty() && !type.EntryExists(entry) && !run.options.allowUnknown) {
            throw CommandError("stream " + Quoted(name) + " has no entry " + Quoted(entry));
        }
    }
    const LineSettings settings{name, units, run.columns, &run.times};
    reporter = run.options.output == "ndjson" ? MakeJsonReporter(settings, type)
                                              : MakeTextReporter(settings, type);
    Open();
    for (NamedRule& rule : run.rules) {
        AddRule(rule);
    }
}

void WatchedStream::Open() {
    const bool keepsAll = run.document != nullptr && run.options.keep == "all";
    if (keepsAll) {
        stream = &OpenKept(*run.document, GetName(), type, run.options.maxSize, defaultMaxSize);
        keptBefore = CountSamples(*stream);
        keptStreams.push_back(stream);
        return;
    }
    if (run.document != nullptr && run.options.keep == "matches") {
        keptStreams.push_back(
            &OpenKept(*run.document, GetName(), type, run.options.maxSize, defaultMaxSelected));
        keptBefore = CountSamples(*keptStreams.front());
    }
    // Rules see a sample only when it is pushed, so a capacity of one is enough.
    temporary = std::make_unique<tsn::Stream>(
        &type, run.document == nullptr ? run.options.maxSize.value_or(1) : 1);
    stream = temporary.get();
    isDirect = run.rules.size() <= maxDirectRules;
    newest = tsn::Sample(&type, Poco::Timestamp());
}

void WatchedStream::AddRule(NamedRule& rule) {
    RuleWatch::Target target{reporter.get(), &run.output};
    if (run.document != nullptr && run.options.keep == "matches") {
        target.keep = [this](const tsn::Sample& sample, std::uintptr_t row) {
            KeepRow(sample, row);
        };
    }
    RuleWatch* watch = nullptr;
    if (run.document == nullptr || run.options.keep != "events") {
        watch = &rules.emplace_back(rule, run.filter, type, std::move(target));
    } else {
        const std::size_t index = keptStreams.size();
        target.keep = [this, index](const tsn::Sample& sample, std::uintptr_t /*row*/) {
            Keep(*keptStreams[index], sample);
        };
        watch = &rules.emplace_back(rule, run.filter, type, std::move(target));
        std::string label = rule.label;
        std::replace(label.begin(), label.end(), '/', '_');
        keptStreams.push_back(&OpenKept(*run.document, GetName() + "/" + label,
                                        *watch->GetEventType(), run.options.maxSize,
                                        defaultMaxSelected));
    }
    if (!isDirect) {
        watch->Subscribe(*stream);
    }
}

void WatchedStream::CheckEntries(const tsn::StreamType& entries) const {
    const unsigned short count = std::max(type.GetNumEntries(), entries.GetNumEntries());
    for (unsigned short id = 0; id < count; ++id) {
        if (id >= type.GetNumEntries() || id >= entries.GetNumEntries()) {
            const tsn::StreamType& more = id < type.GetNumEntries() ? type : entries;
            throw CommandError("the entry " + Quoted(more.GetEntry(id).key) + " is in one of the " +
                               "sources of stream " + Quoted(GetName()) + " only");
        }
        const tsn::SampleEntry own = type.GetEntry(id);
        const tsn::SampleEntry other = entries.GetEntry(id);
        if (own.key != other.key || own.type != other.type) {
            throw CommandError("entry " + std::to_string(id + 1) + " is " + Quoted(other.key) +
                               " of type " + ToString(other.type) + ", but in stream " +
                               Quoted(GetName()) + " " + Quoted(own.key) + " of type " +
                               ToString(own.type) + "; --type NAME:TYPE gives all sources a type");
        }
    }
}

void WatchedStream::Push(SampleSource& source) {
    const std::int64_t time = source.GetTime();
    order.Add(time);
    void* const row = RuleWatch::ToSender(samples + 1);
    if (isDirect) {
        source.Fill(newest);
        tsn::SetTimeStamp(newest, Poco::Timestamp(time));
        tsn::SubscriptionArgs args{tsn::pushed, &newest, row};
        for (RuleWatch& rule : rules) {
            rule.See(args);
        }
    } else {
        auto pushed = std::make_unique<tsn::Sample>(stream->GetStreamType(), Poco::Timestamp(time));
        source.Fill(*pushed);
        tsn::SetTimeStamp(*pushed, Poco::Timestamp(time));
        stream->PushMany({&pushed, 1}, row);
    }
    ++samples;
}

void WatchedStream::Flush() {
    for (RuleWatch& rule : rules) {
        rule.Flush();
    }
}

void WatchedStream::KeepRow(const tsn::Sample& sample, std::uintptr_t row) {
    tsn::Stream& target = *keptStreams.front();
    if (keptRows.insert(row).second) {
        Keep(target, sample);
    }
    if (keptRows.size() > static_cast<std::size_t>(target.GetMaxSize())) {
        keptRows.erase(keptRows.begin());
    }
}

// Pushes a copy, of the type of the kept stream.
void WatchedStream::Keep(tsn::Stream& target, const tsn::Sample& sample) {
    auto copy = std::make_unique<tsn::Sample>(target.GetStreamType(), sample.GetTimeStamp());
    std::stringstream binary;
    sample.Serialize(static_cast<std::ostream&>(binary));
    copy->Deserialize(binary);
    target.PushNew(copy.release());
    ++kept;
}

std::uint64_t WatchedStream::GetDropped() const {
    const bool keepsAll = stream != temporary.get();
    std::uint64_t have = 0;
    for (const tsn::Stream* const each : keptStreams) {
        have += CountSamples(*each);
    }
    return keptBefore + (keepsAll ? samples : kept) - have;
}

std::string WatchedStream::DescribeFailure() const {
    tsn::Sample failed(newest);
    if (!isDirect) {
        stream->TryGetLatest([&](const tsn::Sample& latest) { failed = latest; });
    }
    for (const RuleWatch& rule : rules) {
        std::string failure = rule.DescribeFailure(failed);
        if (!failure.empty()) {
            return failure;
        }
    }
    return {};
}

}  // namespace velmora::tool
