#include "synth/worker_pool.h"

#include <algorithm>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#endif

namespace velor {

namespace {

// Looks before a waiting thread gives way: some ten to some hundred microseconds, several blocks' worth.
constexpr int kSpins = 10000;

void pause() {
#if defined(__x86_64__) || defined(__i386__)
    _mm_pause();
#endif
}

}  // namespace

WorkerPool::WorkerPool(std::uint32_t workers) {
    const std::uint32_t processors = std::max(1u, std::thread::hardware_concurrency());
    workers = std::clamp(workers, 1u, processors);
    for (std::uint32_t i = 1; i < workers; ++i) {
        threads_.push_back(std::make_unique<Worker>());
        Worker& worker = *threads_.back();
        worker.thread = std::thread([this, &worker] { loop(worker); });
    }
}

WorkerPool::~WorkerPool() {
    for (const auto& worker : threads_)
        worker->quit.store(1);
    epoch_.fetch_add(1);
    epoch_.notify_all();
    for (const auto& worker : threads_)
        worker->thread.join();
}

void WorkerPool::loop(Worker& self) {
    std::uint32_t seen = 0;
    for (;;) {
        std::uint32_t epoch = epoch_.load(std::memory_order_acquire);
        for (int i = 0; epoch == seen && i < kSpins; ++i) {
            pause();
            epoch = epoch_.load(std::memory_order_acquire);
        }
        while (epoch == seen) {
            sleeping_.fetch_add(1);
            epoch_.wait(seen);
            sleeping_.fetch_sub(1);
            epoch = epoch_.load(std::memory_order_acquire);
        }
        seen = epoch;
        if (self.quit.load())
            return;
        work(epoch, false);
    }
}

void WorkerPool::work(std::uint32_t epoch, bool fromFront) noexcept {
    for (;;) {
        std::uint64_t jobs = jobs_.load(std::memory_order_acquire);
        std::uint32_t first;
        std::uint32_t end;
        std::uint64_t rest;
        do {
            first = jobs & 0xFFFF;
            end = jobs >> 16 & 0xFFFF;
            if (static_cast<std::uint32_t>(jobs >> 32) != epoch || first >= end)
                return;
            rest = fromFront ? jobs + 1 : jobs - 0x10000;
        } while (!jobs_.compare_exchange_weak(jobs, rest, std::memory_order_acq_rel));
        job_(context_, fromFront ? first : end - 1);
        done_.fetch_add(1, std::memory_order_release);
    }
}

void WorkerPool::run(Job job, void* context, std::uint32_t count) noexcept {
    if (threads_.empty() || count < 2) {
        for (std::uint32_t i = 0; i < count; ++i)
            job(context, i);
        return;
    }
    // Every job of the block before is done, so nobody reads these but workers that will see the new epoch.
    job_ = job;
    context_ = context;
    done_.store(0, std::memory_order_relaxed);
    const std::uint32_t epoch = epoch_.load(std::memory_order_relaxed) + 1;
    jobs_.store(std::uint64_t{epoch} << 32 | std::uint64_t{count} << 16, std::memory_order_release);
    epoch_.store(epoch);
    if (sleeping_.load() != 0)
        epoch_.notify_all();
    work(epoch, true);
    // Usually a matter of a microsecond. Where other programs hold the processors, the worker that is missing
    // may need this one.
    for (int spins = 0; done_.load(std::memory_order_acquire) != count; ++spins) {
        if (spins < kSpins)
            pause();
        else
            std::this_thread::yield();
    }
}

}  // namespace velor
