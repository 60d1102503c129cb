// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "column_reader.h"

#include "column_buffer.h"
#include "tessaryn/sample.h"
#include "tessaryn/stream.h"
#include "tessaryn/subscription_args.h"
#include "tessaryn/subscription_rule.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

namespace velmora::python {

using core::tessaryn::Sample;
using core::tessaryn::Stream;

namespace {

using Samples = std::vector<Sample*>;

std::int64_t TimeOf(const Sample* sample) {
    return EntryAccess::TimeOf(*sample);
}

bool IsEarlier(const Sample* left, const Sample* right) {
    return TimeOf(left) < TimeOf(right);
}

// Collects the times first, since samples are scattered in memory.
void SortByTime(Samples& samples) {
    if (std::is_sorted(samples.begin(), samples.end(), IsEarlier)) {
        return;
    }
    std::vector<std::pair<std::int64_t, Sample*>> ordered;
    ordered.reserve(samples.size());
    for (Sample* const sample : samples) {
        ordered.emplace_back(TimeOf(sample), sample);
    }
    std::stable_sort(ordered.begin(), ordered.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::transform(ordered.begin(), ordered.end(), samples.begin(),
                   [](const auto& each) { return each.second; });
}

// Samples in the order of time, those of equal times in the order of pushing.
class OrderedSamples {
  public:
    OrderedSamples(const Stream& stream, const Selection& selection)
        : stream(stream), selection(selection) {}

    // Calls a function object with the samples, under the stream's lock.
    template <class Visit>
    void Use(Visit visit) {
        const Poco::Timestamp since(
            selection.since.value_or(std::numeric_limits<std::int64_t>::min()));
        bool isDone = false;
        if (selection.until) {
            // Found by a search, in the order of storage, which is that of pushing except for equal
            // times.
            stream.GetBetween(since, Poco::Timestamp(*selection.until), [&](const Samples& found) {
                Samples samples = found;
                SortByTime(samples);
                const auto equal = [](const Sample* left, const Sample* right) {
                    return TimeOf(left) == TimeOf(right);
                };
                isDone = std::adjacent_find(samples.begin(), samples.end(), equal) == samples.end();
                if (isDone) {
                    visit(Filtered(std::move(samples)));
                }
            });
        }
        if (!isDone) {
            stream.GetSinceInPushOrder(since, [&](const Samples& found) { UseAll(found, visit); });
        }
    }

  private:
    template <class Visit>
    void UseAll(const Samples& found, Visit& visit) const {
        const bool isSelected = !selection.until && selection.rule == nullptr;
        if (isSelected && std::is_sorted(found.begin(), found.end(), IsEarlier)) {
            visit(found);
            return;
        }
        Samples samples = found;
        if (selection.until) {
            std::erase_if(samples,
                          [&](const Sample* sample) { return TimeOf(sample) > *selection.until; });
        }
        SortByTime(samples);
        visit(Filtered(std::move(samples)));
    }

    Samples Filtered(Samples samples) const {
        if (selection.rule != nullptr) {
            std::erase_if(samples, [&](Sample* sample) {
                core::tessaryn::SubscriptionArgs args{core::tessaryn::pushed, sample, nullptr};
                return !selection.rule->Applies(args);
            });
        }
        return samples;
    }

    const Stream& stream;
    const Selection& selection;
};

}  // namespace

py::object ReadColumns(const StreamHandle& handle, const Selection& selection) {
    std::unique_ptr<ColumnBuffer> buffer;
    handle.Use([&](Stream& stream) {
        stream.AtomicExecute([&] {
            OrderedSamples(stream, selection).Use([&](const Samples& samples) {
                buffer = std::make_unique<ColumnBuffer>(*stream.GetStreamType(), samples);
            });
        });
    });
    return buffer->ToPython(handle.GetLink()->GetPath());
}

}  // namespace velmora::python
