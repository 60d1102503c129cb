// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "delivery/scheduler.h"

#include "delivery/job.h"

#include <Poco/Logger.h>

#include <algorithm>
#include <pthread.h>
#include <utility>

namespace velmora::delivery {

namespace {

// How often, and how many times, a worker polls for work before it sleeps.
constexpr auto lookInterval = std::chrono::microseconds(100);
constexpr int maxLooks = 20;

// The system limits names of threads to 15 characters.
std::string ThreadName(const std::string& name, std::size_t number) {
    const std::string suffix = "-" + std::to_string(number);
    return name.substr(0, 15 - std::min<std::size_t>(suffix.size(), 15)) + suffix;
}

thread_local const Scheduler* schedulerOfThread = nullptr;

}  // namespace

std::shared_ptr<Scheduler> Scheduler::Start(const DispatcherOptions& options) {
    auto scheduler = std::make_shared<Scheduler>(options.interval);
    try {
        for (std::size_t i = 0; i < options.workers; ++i) {
            scheduler->workers.emplace_back(
                [scheduler, onStart = options.onStart] { scheduler->Run(onStart); });
            pthread_setname_np(scheduler->workers.back().native_handle(),
                               ThreadName(options.name, i).c_str());
        }
    } catch (...) {
        scheduler->Stop();
        throw;
    }
    return scheduler;
}

Scheduler::~Scheduler() = default;

void Scheduler::Schedule(std::shared_ptr<Job> job) {
    const Lock lock(mutex);
    if (isStopping) {
        return;
    }
    Job* const added = job.get();
    (lastReady == nullptr ? firstReady : lastReady->nextReady) = std::move(job);
    lastReady = added;
    if (lookers == 0 && sleepers > 0) {
        workAdded.notify_one();
    }
}

void Scheduler::Hurry() {
    if (Gathers()) {
        const Lock lock(mutex);
        isHurried = true;
        workAdded.notify_one();
    }
}

void Scheduler::AddTimer(std::chrono::milliseconds pause, std::function<bool()> task) {
    const Lock lock(mutex);
    timers.push_back({Clock::now() + pause, pause, std::move(task)});
    workAdded.notify_one();
}

void Scheduler::Stop() {
    for (const std::shared_ptr<Job>& job : GetJobs()) {
        job->Stop();
    }
    std::vector<std::thread> ended;
    std::shared_ptr<Job> dropped;
    std::vector<Timer> droppedTimers;
    {
        const Lock lock(mutex);
        isStopping = true;
        ended.swap(workers);
        dropped.swap(firstReady);
        lastReady = nullptr;
        droppedTimers.swap(timers);
        workAdded.notify_all();
    }
    // One by one: destroying the list as a whole would recurse once for each job.
    while (dropped) {
        dropped = std::exchange(dropped->nextReady, nullptr);
    }
    for (std::thread& worker : ended) {
        if (worker.get_id() == std::this_thread::get_id()) {
            worker.detach();
        } else {
            worker.join();
        }
    }
}

bool Scheduler::IsWorker() const {
    return schedulerOfThread == this;
}

void Scheduler::Register(Job& job) {
    const Lock lock(mutex);
    job.nextRegistered = registered;
    if (registered != nullptr) {
        registered->previousRegistered = &job;
    }
    registered = &job;
    if (Gathers()) {
        workAdded.notify_all();
    }
}

void Scheduler::Unregister(Job& job, const DeliveryStatistics& counts) {
    const Lock lock(mutex);
    (job.previousRegistered == nullptr ? registered : job.previousRegistered->nextRegistered) =
        job.nextRegistered;
    if (job.nextRegistered != nullptr) {
        job.nextRegistered->previousRegistered = job.previousRegistered;
    }
    past += counts;
}

std::vector<std::shared_ptr<Job>> Scheduler::GetJobs() const {
    std::vector<std::shared_ptr<Job>> jobs;
    const Lock lock(mutex);
    for (Job* job = registered; job != nullptr; job = job->nextRegistered) {
        // A job that is being destroyed is about to unregister.
        if (std::shared_ptr<Job> alive = job->weak_from_this().lock()) {
            jobs.push_back(std::move(alive));
        }
    }
    return jobs;
}

DeliveryStatistics Scheduler::GetStatistics() const {
    const std::vector<std::shared_ptr<Job>> jobs = GetJobs();
    DeliveryStatistics sum;
    {
        const Lock lock(mutex);
        sum = past;
    }
    for (const std::shared_ptr<Job>& job : jobs) {
        sum += job->GetStatistics();
    }
    return sum;
}

void Scheduler::Run(const std::function<void()>& onStart) {
    schedulerOfThread = this;
    if (onStart) {
        onStart();
    }
    Batch batch;
    while (std::shared_ptr<Job> job = TakeReady()) {
        if (job->Work(batch)) {
            Schedule(std::move(job));
        }
    }
}

// Takes the first job of the list; null when the scheduler stops.
std::shared_ptr<Job> Scheduler::TakeReady() {
    Lock lock(mutex);
    int looks = 0;
    for (;;) {
        if (isStopping) {
            return nullptr;
        }
        RunDueTimer(lock);
        if (firstReady) {
            std::shared_ptr<Job> job = std::move(firstReady);
            firstReady = std::move(job->nextReady);
            if (!firstReady) {
                lastReady = nullptr;
            } else if (sleepers > 0) {
                workAdded.notify_one();
            }
            return job;
        }
        WaitForWork(lock, looks);
    }
}

void Scheduler::WaitForWork(Lock& lock, int& looks) {
    if (isStopping || firstReady) {
        return;
    }
    if (Gathers()) {
        LookForWork(lock);
        return;
    }
    if (looks < maxLooks) {
        ++looks;
        ++lookers;
        workAdded.wait_for(lock, lookInterval);
        --lookers;
        return;
    }
    ++sleepers;
    if (timers.empty()) {
        workAdded.wait(lock);
    } else {
        workAdded.wait_until(lock, NextTimer());
    }
    --sleepers;
    looks = 0;
}

void Scheduler::LookForWork(Lock& lock) {
    const auto isCalled = [this] { return isHurried || isStopping; };
    // While there are no jobs, workers sleep.
    workAdded.wait(lock, [&] { return isCalled() || registered != nullptr || !timers.empty(); });
    workAdded.wait_for(lock, interval, isCalled);
    isHurried = false;
    lock.unlock();
    for (const std::shared_ptr<Job>& job : GetJobs()) {
        job->Look();
    }
    lock.lock();
}

Scheduler::Clock::time_point Scheduler::NextTimer() const {
    const auto next = std::min_element(
        timers.begin(), timers.end(), [](const Timer& a, const Timer& b) { return a.due < b.due; });
    return next->due;
}

// Runs a timer that is due, if any, without holding the lock.
void Scheduler::RunDueTimer(Lock& lock) {
    if (timers.empty()) {
        return;
    }
    const Clock::time_point now = Clock::now();
    const auto due = std::find_if(timers.begin(), timers.end(),
                                  [&](const Timer& timer) { return timer.due <= now; });
    if (due == timers.end()) {
        return;
    }
    Timer timer = std::move(*due);
    timers.erase(due);
    lock.unlock();
    bool goesOn = true;
    try {
        goesOn = timer.task();
    } catch (const std::exception& error) {
        Poco::Logger::get("velmora.delivery")
            .warning("A timer failed: " + std::string(error.what()));
    }
    timer.due = Clock::now() + timer.pause;
    lock.lock();
    if (goesOn && !isStopping) {
        timers.push_back(std::move(timer));
        return;
    }
    // The task's destructor may call the host, so the lock is released.
    lock.unlock();
    timer.task = nullptr;
    lock.lock();
}

}  // namespace velmora::delivery
