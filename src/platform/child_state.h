// What both systems' ChildProcess share: the text gathered so far, the end, and the news of either. One lock
// and one condition serve all children, so that a caller can wait for whichever has news first.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "platform/process.h"

namespace velor {

struct ChildProcess::State {
    std::uint32_t id = 0;
    std::intptr_t handle = 0;  // the system's own, where it has one

    // Under childLock().
    std::string output;
    std::string errors;
    bool running = true;  // can still be killed
    bool ended = false;   // and everything is gathered
    bool crashed = false;
    std::uint32_t code = 0;  // exit code, signal or exception

    std::thread watcher;  // lives until everything is gathered

    bool hasNews() const { return ended || !output.empty() || !errors.empty(); }
    // Adds to one of the texts above and wakes whoever waits.
    void gather(std::string& text, std::string_view more);
    // Called by the watcher last of all.
    void finish();
};

std::mutex& childLock();
std::condition_variable& childNews();

}  // namespace velor
