// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "transfer/sample_filter.h"

#include "command_error.h"
#include "tessaryn/rule_check.h"
#include "tessaryn/rule_syntax_exception.h"
#include "tessaryn/subscription_args.h"
#include "text/escaped_text.h"
#include "text/rule_excerpt.h"
#include "text/time_text.h"
#include "transfer/copy_entry.h"
#include "transfer/named_type.h"

#include <Poco/Exception.h>
#include <Poco/StringTokenizer.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::int64_t ParseTimeOption(const char* option, const std::string& text, std::int64_t otherwise) {
    if (text.empty()) {
        return otherwise;
    }
    const std::optional<std::int64_t> time = ParseIsoTime(text);
    if (!time) {
        throw CommandError(std::string(option) + " " + Quoted(text) +
                           " is not a time such as 2020-01-01T00:00:00Z or 2020-01-01");
    }
    return *time;
}

delivery::Rule ParseRule(const std::string& text) {
    try {
        if (tsn::DescribeRule(text).empty()) {
            throw CommandError("rule " + Quoted(text) + " is empty");
        }
        return {text};
    } catch (const tsn::RuleSyntaxException& error) {
        throw CommandError("rule " + Quoted(text) + ": " + error.message(),
                           MarkInRule(text, error.GetSpan(), error.GetHint()));
    }
}

}  // namespace

// Some of the entries of a type, in an order of their own.
class SampleFilter::Projection {
  public:
    Projection(const tsn::StreamType& from, const std::vector<std::string>& columns)
        : type(from.GetFullName(), from.GetVersion()) {
        for (const std::string& column : columns) {
            if (from.EntryExists(column) && !GetType().EntryExists(column)) {
                entries.push_back(from.EntryId(column));
                const tsn::SampleEntry entry = from.GetEntry(entries.back());
                GetType().Add(entry.key, entry.type, entry.initialSize);
            }
        }
    }

    tsn::StreamType& GetType() { return type.Get(); }

    const tsn::Sample& Apply(const tsn::Sample& from) {
        tsn::Sample to(&GetType(), Poco::Timestamp());
        unsigned short id = 0;
        for (const unsigned short entry : entries) {
            CopyEntry(from, entry, to, id++);
        }
        sample = Restamped(std::move(to), from.GetTimeStamp());
        return sample;
    }

  private:
    NamedType type;
    std::vector<unsigned short> entries;
    tsn::Sample sample;
};

void AddFilterOptions(CLI::App& command, FilterOptions& options) {
    command
        .add_option("--stream", options.stream, "Streams to take, such as plant/line1 or 'plant/>'")
        ->type_name("PATTERN");
    command.add_option("--since", options.since, "Take samples from this time on")
        ->type_name("TIME");
    command.add_option("--until", options.until, "Take samples before this time")
        ->type_name("TIME");
    command
        .add_option_function<std::string>(
            "--columns",
            [&options](const std::string& list) {
                constexpr int flags = Poco::StringTokenizer::TOK_TRIM;
                for (const std::string& name : Poco::StringTokenizer(list, ",", flags)) {
                    options.columns.push_back(name);
                }
            },
            "Entries to take, with commas between them")
        ->trigger_on_parse()
        ->type_name("NAME,...");
    command.add_option("--rule", options.rule, "Take samples that match a rule")->type_name("RULE");
}

SampleFilter::SampleFilter(const FilterOptions& options, SampleReader& reader)
    : reader(reader),
      since(ParseTimeOption("--since", options.since, INT64_MIN)),
      until(ParseTimeOption("--until", options.until, INT64_MAX)),
      columns(options.columns),
      ruleText(options.rule) {
    if (!options.stream.empty()) {
        try {
            pattern.emplace(options.stream, reader.GetSeparator());
        } catch (const std::invalid_argument& error) {
            throw CommandError("--stream " + Quoted(options.stream) + ": " + error.what());
        }
    }
    if (!ruleText.empty()) {
        rule = ParseRule(ruleText);
    }
    reader.Restrict(options.stream, since, until);
    bool canMatch = !rule;
    for (const StreamLayout& stream : reader.GetStreams()) {
        if (!pattern || pattern->Matches(stream.path)) {
            selected.push_back(stream);
            canMatch = canMatch || rule->CanApplyTo(*stream.type);
        }
    }
    if (selected.empty() && pattern) {
        throw CommandError("there is no stream " + Quoted(options.stream));
    }
    if (!canMatch && !selected.empty()) {
        throw CommandError("rule " + Quoted(ruleText) + " names an entry that no stream has");
    }
    if (!columns.empty()) {
        SelectColumns();
    }
}

SampleFilter::~SampleFilter() = default;

SampleFilter::Projection& SampleFilter::ProjectionOf(const tsn::StreamType& type) {
    std::unique_ptr<Projection>& projection = projections[&type];
    if (projection == nullptr) {
        projection = std::make_unique<Projection>(type, columns);
    }
    return *projection;
}

void SampleFilter::SelectColumns() {
    for (const std::string& column : columns) {
        if (std::none_of(selected.begin(), selected.end(), [&](const StreamLayout& stream) {
                return stream.type->EntryExists(column);
            })) {
            throw CommandError("no stream has the entry " + Quoted(column));
        }
    }
    for (StreamLayout& stream : selected) {
        tsn::StreamType& type = ProjectionOf(*stream.type).GetType();
        std::vector<std::string> units;
        for (unsigned short id = 0; id < type.GetNumEntries() && !stream.units.empty(); ++id) {
            units.push_back(stream.units[stream.type->EntryId(type.GetEntry(id).key)]);
        }
        stream.type = &type;
        stream.units = std::move(units);
    }
    std::erase_if(selected,
                  [](const StreamLayout& stream) { return stream.type->GetNumEntries() == 0; });
}

bool SampleFilter::Next() {
    while (reader.Next()) {
        const tsn::Sample& candidate = reader.GetSample();
        if ((pattern && !pattern->Matches(reader.GetPath())) || !Matches(candidate)) {
            continue;
        }
        if (columns.empty()) {
            sample = &candidate;
            return true;
        }
        Projection& projection = ProjectionOf(*candidate.GetStreamType());
        if (projection.GetType().GetNumEntries() > 0) {
            sample = &projection.Apply(candidate);
            return true;
        }
    }
    return false;
}

bool SampleFilter::Matches(const tsn::Sample& candidate) const {
    const std::int64_t time = candidate.GetTimeStamp().epochMicroseconds();
    if (time < since || time >= until) {
        return false;
    }
    if (!rule) {
        return true;
    }
    try {
        tsn::Sample copy(candidate);
        tsn::SubscriptionArgs args{tsn::pushed, &copy, nullptr};
        return rule->Applies(args);
    } catch (const Poco::Exception& error) {
        throw CommandError("rule " + Quoted(ruleText) +
                           " cannot be evaluated: " + error.displayText());
    } catch (const std::exception& error) {
        throw CommandError("rule " + Quoted(ruleText) + " cannot be evaluated: " + error.what());
    }
}

}  // namespace velmora::tool
