// Copyright (c) 2026 The Velmora Tessaryn authors
// SPDX-License-Identifier: BSL-1.0

#include "inspector/worker_pool.h"

#include "inspector/background.h"

#include <pthread.h>
#include <utility>

namespace velmora::inspector {

WorkerPool::WorkerPool(std::size_t threads) {
    try {
        for (std::size_t i = 0; i < threads; ++i) {
            workers.emplace_back([this] { Run(); });
            pthread_setname_np(workers.back().native_handle(), "inspector-work");
        }
    } catch (...) {
        Stop();
        throw;
    }
}

WorkerPool::~WorkerPool() {
    Stop();
}

void WorkerPool::Post(std::function<void()> job) {
    const std::lock_guard<std::mutex> lock(mutex);
    jobs.push_back(std::move(job));
    added.notify_one();
}

void WorkerPool::Run() {
    RunInBackground();
    std::unique_lock<std::mutex> lock(mutex);
    for (;;) {
        added.wait(lock, [this] { return isStopping || !jobs.empty(); });
        if (jobs.empty()) {
            return;
        }
        std::function<void()> job = std::move(jobs.front());
        jobs.pop_front();
        lock.unlock();
        job();
        job = nullptr;
        lock.lock();
    }
}

void WorkerPool::Stop() {
    {
        const std::lock_guard<std::mutex> lock(mutex);
        isStopping = true;
        added.notify_all();
    }
    for (std::thread& worker : workers) {
        worker.join();
    }
    workers.clear();
}

}  // namespace velmora::inspector
