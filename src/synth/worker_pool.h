// Threads that share the work of one block.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

namespace velor {

// Worker 0 is the thread that calls run(); the others wait, first busily and then asleep, because a block
// takes only some ten microseconds.
class WorkerPool {
  public:
    using Job = void (*)(void* context, std::uint32_t job);

    // The number of workers is limited to the number of processors, and to at least one.
    explicit WorkerPool(std::uint32_t workers);
    ~WorkerPool();
    WorkerPool(const WorkerPool&) = delete;
    WorkerPool& operator=(const WorkerPool&) = delete;

    std::uint32_t workers() const { return static_cast<std::uint32_t>(threads_.size()) + 1; }
    // Runs jobs 0 to count - 1 (at most 65535), each once, and returns when all are done. Allocates nothing
    // and takes no lock.
    void run(Job job, void* context, std::uint32_t count) noexcept;

  private:
    struct Worker {
        std::thread thread;
        std::atomic<std::uint8_t> quit{0};
    };
    void loop(Worker& self);
    void work(std::uint32_t epoch, bool fromFront) noexcept;

    std::vector<std::unique_ptr<Worker>> threads_;
    Job job_ = nullptr;
    void* context_ = nullptr;
    // Each on a cache line of its own, as several processors look at them all the time.
    // Epoch (32 bits), end of the jobs (16) and first job (16) in one word: a worker that wakes late takes no
    // job of a later block. Worker 0 takes jobs from the front, the others from the back, so that a job
    // mostly stays with the processor whose cache holds its data.
    alignas(64) std::atomic<std::uint64_t> jobs_{0};
    alignas(64) std::atomic<std::uint32_t> done_{0};
    alignas(64) std::atomic<std::uint32_t> epoch_{0};
    alignas(64) std::atomic<std::uint32_t> sleeping_{0};
};

}  // namespace velor
