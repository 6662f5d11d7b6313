#include "platform/process.h"

#include <algorithm>
#include <chrono>

#include "platform/child_state.h"

namespace velor {

namespace {

constexpr std::size_t kMostUnread = std::size_t{64} << 20;

template <typename Condition>
bool waitForNews(std::unique_lock<std::mutex>& lock, int milliseconds, Condition condition) {
    if (milliseconds >= 0)
        return childNews().wait_for(lock, std::chrono::milliseconds(milliseconds), condition);
    childNews().wait(lock, condition);
    return true;
}

}  // namespace

std::mutex& childLock() {
    static std::mutex lock;
    return lock;
}

std::condition_variable& childNews() {
    static std::condition_variable news;
    return news;
}

void ChildProcess::State::gather(std::string& text, std::string_view more) {
    {
        const std::scoped_lock lock(childLock());
        text.append(more.substr(0, kMostUnread - std::min(kMostUnread, text.size())));
    }
    childNews().notify_all();
}

void ChildProcess::State::finish() {
    {
        const std::scoped_lock lock(childLock());
        ended = true;
    }
    childNews().notify_all();
}

ChildProcess::ChildProcess(std::unique_ptr<State> state) : state_(std::move(state)) {}

ChildProcess::~ChildProcess() {
    kill();
    if (state_->watcher.joinable())
        state_->watcher.join();
}

std::uint32_t ChildProcess::id() const {
    return state_->id;
}

bool ChildProcess::wait(int milliseconds) {
    std::unique_lock lock(childLock());
    return waitForNews(lock, milliseconds, [&] { return state_->ended; });
}

std::optional<int> ChildProcess::exitCode() const {
    const std::scoped_lock lock(childLock());
    if (!state_->ended || state_->crashed)
        return std::nullopt;
    return static_cast<int>(state_->code);
}

std::string ChildProcess::readOutput() {
    const std::scoped_lock lock(childLock());
    return std::exchange(state_->output, {});
}

std::string ChildProcess::readErrors() {
    const std::scoped_lock lock(childLock());
    return std::exchange(state_->errors, {});
}

std::ptrdiff_t ChildProcess::waitForAny(std::span<ChildProcess* const> children, int milliseconds) {
    if (children.empty())
        return -1;
    std::unique_lock lock(childLock());
    std::ptrdiff_t first = -1;
    waitForNews(lock, milliseconds, [&] {
        const auto found = std::ranges::find_if(
            children, [](const ChildProcess* child) { return child->state_->hasNews(); });
        first = found == children.end() ? -1 : found - children.begin();
        return first >= 0;
    });
    return first;
}

}  // namespace velor
