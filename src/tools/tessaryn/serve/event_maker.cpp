// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "serve/event_maker.h"

#include "text/value_text.h"

namespace velmora::tool {

namespace tsn = core::tessaryn;

namespace {

std::string ValueText(const tsn::Sample& sample, unsigned short id, tsn::BaseType type) {
    std::string text;
    if (type == tsn::String) {
        AppendEscaped(text, sample.GetString(id));
        return text;
    }
    for (unsigned int i = 0; i < sample.GetSize(id); ++i) {
        text += i == 0 ? "" : ";";
        VisitGetter(type, [&](auto getter) {
            AppendValue(text, (sample.*getter)(id, i), ValueForm::text);
        });
    }
    return text;
}

std::string WithoutEnd(std::string line) {
    if (line.ends_with('\n')) {
        line.pop_back();
    }
    return line;
}

}  // namespace

EventMaker::EventMaker(const std::string& rule, const std::string& stream,
                       const tsn::StreamType& type)
    : rule(rule), stream(stream) {
    const LineSettings settings{stream, {}, {}, &times};
    textReporter = MakeTextReporter(settings, type);
    jsonReporter = MakeJsonReporter(settings, type);
}

std::shared_ptr<const Event> EventMaker::Make(const tsn::Sample& sample) const {
    auto event = std::make_shared<Event>();
    event->rule = rule;
    event->stream = stream;
    event->time = sample.GetTimeStamp().epochMicroseconds();
    textReporter->Report(event->text, {rule}, sample);
    jsonReporter->Report(event->json, {rule}, sample);
    event->text = WithoutEnd(std::move(event->text));
    event->json = WithoutEnd(std::move(event->json));
    const tsn::StreamType& type = *sample.GetStreamType();
    for (unsigned short id = 0; id < type.GetNumEntries(); ++id) {
        const tsn::SampleEntry entry = type.GetEntry(id);
        event->values.emplace_back(entry.key, ValueText(sample, id, entry.type));
    }
    return event;
}

}  // namespace velmora::tool
