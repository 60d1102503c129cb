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

void FollowTarget::Apply(const std::string& path, const exchange::FrameHeader& header,
                         Sample&& sample) {
    Stream* const stream = streams.AddStream(path, sample.GetStreamType(), options.maxSize);
    if (stream == nullptr) {
        throw exchange::ExchangeException("The path '" + path + "' cannot have a stream.");
    }
    StreamType* const type = stream->GetStreamType();
    if (type != sample.GetStreamType()) {
        sample = Adapt(std::move(sample), *type);
    }
    const FollowScope scope;
    switch (header.changeType) {
        case core::tessaryn::pushed:
            stream->PushNew(new Sample(std::move(sample)));
            break;
        case core::tessaryn::changed:
            if (stream->GetNumSamples() == 0) {
                stream->PushNew(new Sample(std::move(sample)));
            } else {
                stream->ChangeLatest([&](Sample& latest) { latest = sample; }, true);
            }
            break;
        case core::tessaryn::popped:
            stream->PopLatest();
            break;
    }
}

Sample FollowTarget::Adapt(Sample&& sample, StreamType& target) {
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
    return adapter->second.Adapt(sample);
}

}  // namespace velmora::nats
