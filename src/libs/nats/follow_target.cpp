// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "nats/follow_target.h"

#include "exchange/exchange_exception.h"
#include "exchange/type_description.h"
#include "nats/loop_guard.h"
#include "nats/subject.h"
#include "tessaryn/stream.h"
#include "tessaryn/stream_repository.h"
#include "tessaryn/stream_type.h"
#include "tessaryn/stream_type_collection.h"
#include "tessaryn/stream_type_repository.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <memory>
#include <vector>

namespace velmora::nats {

using core::tessaryn::Sample;
using core::tessaryn::Stream;
using core::tessaryn::StreamType;
using core::tessaryn::StreamTypeCollection;

FollowTarget::FollowTarget(core::tessaryn::StreamTypeRepository& types,
                           core::tessaryn::StreamRepository& streams, const JetStream& jetStream,
                           const FollowerOptions& options)
    : types(types), streams(streams), jetStream(jetStream), options(options) {}

FollowTarget::~FollowTarget() = default;

char FollowTarget::GetSeparator() const {
    return streams.groupSeparator();
}

StreamType* FollowTarget::FindType(const exchange::Fingerprint& fingerprint) {
    const std::lock_guard lock(mutex);
    if (const auto place = known.find(fingerprint); place != known.end()) {
        return place->second;
    }
    const std::string subject = ToTypeSubject(jetStream.GetName(), fingerprint.ToString());
    const Message message = jetStream.GetLast(subject);
    const auto frame =
        message == nullptr ? std::nullopt : FrameOf(message.get(), options.limits.maxPayload);
    if (!frame || frame->header.kind != exchange::FrameKind::type) {
        return nullptr;
    }
    const auto described = exchange::ReadDescription(frame->payload, options.descriptions);
    if (exchange::FingerprintOf(described->GetType()) != fingerprint) {
        throw exchange::ExchangeException("The description at '" + subject +
                                          "' is one of another layout.");
    }
    StreamType& type = AddType(*described);
    known.emplace(fingerprint, &type);
    return &type;
}

StreamType& FollowTarget::AddType(const exchange::DescribedType& described) {
    const StreamType& layout = described.GetType();
    StreamTypeCollection* collection = types.FindByFullName(described.GetFullName());
    if (collection == nullptr) {
        std::string path = described.GetFullName();
        std::replace(path.begin(), path.end(), '.', types.groupSeparator());
        collection = types.Add(path);
    }
    if (collection == nullptr) {
        throw exchange::ExchangeException("A type without a name cannot be added.");
    }
    if (StreamType* const there = collection->GetPtr(layout.GetVersion())) {
        if (!there->HasSameLayout(layout)) {
            throw exchange::ExchangeException("Version " + layout.GetVersion().ToString() +
                                              " of type '" + described.GetFullName() +
                                              "' has another layout here than at the publisher.");
        }
        return *there;
    }
    StreamType& type = collection->Add(layout.GetVersion());
    for (unsigned short id = 0; id < layout.GetNumEntries(); ++id) {
        const core::tessaryn::SampleEntry entry = layout.GetEntry(id);
        type.Add(entry.key, entry.type, entry.initialSize);
    }
    return type;
}

FollowTarget::Applied FollowTarget::Apply(const std::string& path, std::span<Numbered> changes) {
    if (options.takeSample) {
        return Take(path, changes);
    }
    Applied applied;
    const FollowScope scope;
    std::vector<std::unique_ptr<Sample>> samples;
    for (std::size_t next = 0; next != changes.size();) {
        // Consecutive pushes are pushed together.
        std::size_t end = next;
        samples.clear();
        while (end != changes.size() && changes[end].header.changeType == core::tessaryn::pushed) {
            samples.push_back(std::move(changes[end++].sample));
        }
        try {
            if (samples.empty()) {
                ++end;
                Change(path, changes[next].header.changeType, std::move(*changes[next].sample));
                ++applied.pushed;
            } else {
                PushAll(path, samples);
                applied.pushed += samples.size();
            }
        } catch (const std::exception& exception) {
            // Thrown by a rule or a delegate of the host, for an invalid path, or for a type that
            // does not fit. The samples that the stream has taken were pushed, except for the last
            // one, which failed.
            const auto taken =
                static_cast<std::size_t>(std::count(samples.begin(), samples.end(), nullptr));
            const std::size_t done = taken == 0 ? 0 : taken - 1;
            applied.pushed += done;
            ++applied.refused;
            Poco::Logger::get("velmora.nats")
                .warning("A sample of '" + path + "': " + exception.what());
            for (std::size_t i = done + 1; i < samples.size(); ++i) {
                changes[next + i].sample = std::move(samples[i]);
            }
            end = next + done + 1;
        }
        next = end;
    }
    return applied;
}

FollowTarget::Applied FollowTarget::Take(const std::string& path,
                                         std::span<Numbered> changes) const {
    Applied applied;
    const FollowScope scope;
    for (Numbered& change : changes) {
        if (change.header.changeType != core::tessaryn::pushed) {
            continue;
        }
        try {
            options.takeSample(path, change.header, std::move(change.sample));
            ++applied.pushed;
        } catch (const std::exception& exception) {
            ++applied.refused;
            Poco::Logger::get("velmora.nats")
                .warning("A sample of '" + path + "': " + exception.what());
        }
    }
    return applied;
}

void FollowTarget::PushAll(const std::string& path, std::span<std::unique_ptr<Sample>> samples) {
    Stream& stream = FindStream(path, samples.front()->GetStreamType());
    StreamType& type = *stream.GetStreamType();
    for (const std::unique_ptr<Sample>& sample : samples) {
        if (sample->GetStreamType() != &type) {
            Adapt(*sample, type);
        }
    }
    stream.PushMany(samples);
}

void FollowTarget::Change(const std::string& path, core::tessaryn::StreamChangeType changeType,
                          Sample&& sample) {
    Stream& stream = FindStream(path, sample.GetStreamType());
    if (sample.GetStreamType() != stream.GetStreamType()) {
        Adapt(sample, *stream.GetStreamType());
    }
    if (changeType == core::tessaryn::popped) {
        stream.PopLatest();
    } else if (stream.GetNumSamples() == 0) {
        stream.PushNew(new Sample(std::move(sample)));
    } else {
        stream.ChangeLatest([&](Sample& latest) { latest = sample; }, true);
    }
}

Stream& FollowTarget::FindStream(const std::string& path, StreamType* type) {
    Stream* const stream = streams.AddStream(path, type, options.maxSize);
    if (stream == nullptr) {
        throw exchange::ExchangeException("The path '" + path + "' cannot have a stream.");
    }
    return *stream;
}

void FollowTarget::Adapt(Sample& sample, StreamType& target) {
    const std::lock_guard lock(mutex);
    const StreamType& source = *sample.GetStreamType();
    auto adapter = adapters.find({&source, &target});
    if (adapter == adapters.end()) {
        adapter = adapters.try_emplace({&source, &target}, exchange::Adapter(source, target)).first;
        for (const std::string& loss : adapter->second.GetLosses()) {
            Poco::Logger::get("velmora.nats")
                .warning("Type '" + target.GetFullName() + "': " + loss);
        }
    }
    sample = adapter->second.Adapt(sample);
}

}  // namespace velmora::nats
