// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "storage/history_queue.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace velmora::storage {

using core::tessaryn::Sample;

namespace {

void CheckOptions(const HistoryWriterOptions& options) {
    if (options.maxBatch == 0 || options.capacity == 0 || options.interval.count() < 0 ||
        options.retryInterval.count() <= 0 || options.retention.stepSize == 0) {
        throw std::invalid_argument(
            "A history's writer needs a batch, a capacity, a step and intervals above 0.");
    }
}

bool HasLimits(const HistoryRetention& retention) {
    return retention.maxAge.count() > 0 || retention.maxRows > 0 || retention.maxBytes > 0;
}

// Whether the error may pass, so that the same connection can be used for another attempt.
bool IsPassing(const std::exception& error) {
    const auto* const known = dynamic_cast<const HistoryException*>(&error);
    return known == nullptr || known->GetReason() == HistoryException::Reason::full ||
           known->GetReason() == HistoryException::Reason::locked;
}

}  // namespace

HistoryQueue::HistoryQueue(const std::string& file, HistoryWriterOptions options)
    : file(file), options(std::move(options)) {
    CheckOptions(this->options);
    GetWriter();
    thread = std::thread([this] { Run(); });
}

HistoryQueue::~HistoryQueue() {
    try {
        Close();
    } catch (const std::exception&) {
        // The failure was reported to `onError`.
    }
}

BatchWriter& HistoryQueue::GetWriter() {
    if (!writer) {
        writer = std::make_unique<BatchWriter>(file, options.lockTimeout, options.isSynced);
    }
    return *writer;
}

void HistoryQueue::BeginPush(Lock& lock) {
    if (!isStopping) {
        ++counts.accepted;
        if (WaitForRoom(lock)) {
            return;
        }
        ++counts.lost;
        if (failure) {
            std::rethrow_exception(failure);
        }
    }
    throw std::logic_error("The writer of history '" + file + "' is closed.");
}

void HistoryQueue::TryPush(const std::string& path, Sample&& sample, bool isOnlyIfNew) {
    Lock lock(mutex);
    ++counts.accepted;
    if (isStopping || !WaitForRoom(lock)) {
        ++counts.lost;
        return;
    }
    GetChunk(path).emplace_back(std::move(sample), lastPath, isOnlyIfNew);
    EndPush();
}

// Returns whether there is room. Does not wait while writing fails or ends.
bool HistoryQueue::WaitForRoom(Lock& lock) {
    const auto isFull = [&] { return appended - processed >= options.capacity; };
    workDone.wait(lock, [&] { return !isFull() || failure || isStopping; });
    return !isFull() && !isStopping;
}

// The chunk for the next sample; sets `lastPath` to the stored copy of the path.
std::vector<QueuedSample>& HistoryQueue::GetChunk(const std::string& path) {
    constexpr std::size_t maxReserved = 16384;
    if (lastPath == nullptr || *lastPath != path) {
        lastPath = &*paths.insert(path).first;
    }
    if (chunks.empty() || chunks.back().samples.size() == options.maxBatch) {
        chunks.push_back({{}, Clock::now()});
        chunks.back().samples.reserve(std::min(options.maxBatch, maxReserved));
    }
    return chunks.back().samples;
}

void HistoryQueue::EndPush() {
    ++appended;
    const std::size_t size = chunks.back().samples.size();
    if (size == 1 || size == options.maxBatch) {
        workAdded.notify_one();
    }
}

void HistoryQueue::Flush() {
    Lock lock(mutex);
    if (isStopping) {
        return;
    }
    const std::uint64_t target = appended;
    const std::uint64_t failures = counts.failures;
    isFlushing = !IsEmpty();
    hasSurplus = HasLimits(options.retention);
    retentionTime = {};
    workAdded.notify_one();
    const auto isDone = [&] { return processed >= target && !hasSurplus; };
    workDone.wait(lock, [&] { return isDone() || counts.failures > failures || isStopped; });
    if (!isDone() && failure) {
        std::rethrow_exception(failure);
    }
}

void HistoryQueue::Close() {
    {
        const Lock lock(mutex);
        isStopping = true;
    }
    workAdded.notify_all();
    workDone.notify_all();
    if (!thread.joinable()) {
        return;
    }
    thread.join();
    writer.reset();
    inHand.samples.clear();
    const Lock lock(mutex);
    chunks.clear();
    counts.lost += appended - processed;
    const bool isComplete = appended == processed;
    processed = appended;
    if (!isComplete) {
        std::rethrow_exception(failure);
    }
}

HistoryWriterStatistics HistoryQueue::GetStatistics() const {
    const Lock lock(mutex);
    HistoryWriterStatistics statistics = counts;
    statistics.waiting = appended - processed;
    if (statistics.waiting > 0) {
        const bool isInHand = firstInHand != Clock::time_point();
        const Clock::time_point begin = isInHand ? firstInHand : chunks.front().begin;
        statistics.behind =
            std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
    }
    return statistics;
}

void HistoryQueue::Run() {
    Lock lock(mutex);
    // After `Close`, the first failure ends the loop.
    while (!isStopping || !(IsEmpty() || (failure && retryTime == Clock::time_point::max()))) {
        const Clock::time_point next = std::min(NextWrite(), NextRetention());
        if (next == Clock::time_point::max()) {
            workAdded.wait(lock);
        } else if (next > Clock::now()) {
            workAdded.wait_until(lock, next);
        } else {
            if (NextWrite() <= Clock::now()) {
                WriteBatch(lock);
            }
            if (NextRetention() <= Clock::now()) {
                Retain(lock);
            }
        }
    }
    isStopped = true;
    workDone.notify_all();
}

HistoryQueue::Clock::time_point HistoryQueue::NextWrite() const {
    if (IsEmpty()) {
        return Clock::time_point::max();
    }
    if (isFlushing || isStopping) {
        return {};
    }
    if (failure) {
        return retryTime;
    }
    const bool isFull = chunks.front().samples.size() >= options.maxBatch;
    return isFull ? Clock::time_point() : chunks.front().begin + options.interval;
}

HistoryQueue::Clock::time_point HistoryQueue::NextRetention() const {
    const bool isNeeded = HasLimits(options.retention) && !failure && !isStopping;
    return isNeeded ? retentionTime : Clock::time_point::max();
}

void HistoryQueue::WriteBatch(Lock& lock) {
    if (inHand.samples.empty()) {
        inHand = std::move(chunks.front());
        chunks.pop_front();
        firstInHand = inHand.begin;
    }
    lock.unlock();
    const std::size_t size = inHand.samples.size();
    BatchWriter::Result result;
    std::exception_ptr error;
    std::string message;
    try {
        result = GetWriter().Write(inHand.samples);
        inHand.samples = {};
    } catch (const std::exception& exception) {
        error = std::current_exception();
        message = exception.what();
        if (!IsPassing(exception)) {
            writer.reset();
        }
        Report(exception);
    }
    if (result.refused > 0) {
        Report(std::length_error(result.refusal));
    }
    lock.lock();
    if (error) {
        Fail(error, message);
    } else {
        Finish(result, size);
    }
    workDone.notify_all();
}

void HistoryQueue::Finish(const BatchWriter::Result& result, std::size_t size) {
    counts.written += result.written;
    counts.skipped += result.skipped;
    counts.lost += result.refused;
    ++counts.commits;
    counts.lastError.clear();
    failure = nullptr;
    processed += size;
    firstInHand = {};
    isFlushing = isFlushing && !IsEmpty();
    lastBatch = size;
    hasSurplus = HasLimits(options.retention);
    retentionTime = {};
}

void HistoryQueue::Fail(const std::exception_ptr& error, const std::string& message) {
    ++counts.failures;
    counts.lastError = message;
    failure = error;
    retryTime = isStopping ? Clock::time_point::max() : Clock::now() + options.retryInterval;
    isFlushing = false;
}

// Deletes one step only, so that samples do not wait long.
void HistoryQueue::Retain(Lock& lock) {
    const std::uint64_t maxRows = std::max(options.retention.stepSize, lastBatch);
    lock.unlock();
    std::uint64_t deleted = 0;
    bool hasFailed = false;
    try {
        const Poco::Timestamp now = options.now ? options.now() : Poco::Timestamp();
        deleted = GetWriter().Retain(options.retention, now, maxRows);
    } catch (const std::exception& exception) {
        hasFailed = true;
        Report(exception);
    }
    lock.lock();
    counts.deleted += deleted;
    hasSurplus = deleted >= maxRows;
    const auto pause = std::max(hasFailed ? options.retryInterval : options.interval,
                                std::chrono::milliseconds(100));
    retentionTime = hasSurplus ? Clock::time_point() : Clock::now() + pause;
    workDone.notify_all();
}

void HistoryQueue::Report(const std::exception& error) const noexcept {
    try {
        if (options.onError) {
            options.onError(error);
        }
    } catch (...) {
        // An exception of the host's function must not stop the writer.
    }
}

}  // namespace velmora::storage
