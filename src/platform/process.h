// Other programs, started and watched: workers of a batch, the user's external editors.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace velor {

// Processors this program may use; at least 1.
unsigned processorCount();
std::uint32_t processId();

struct ChildOptions {
    std::filesystem::path program;       // a bare name is looked up in the system's search path
    std::vector<std::string> arguments;  // UTF-8, without the program itself
    std::filesystem::path folder;        // its current folder; empty: ours
    std::vector<std::pair<std::string, std::string>> environment;  // variables set on top of ours, UTF-8
    bool captureOutput = false;                                    // else it writes where we do
    bool captureErrors = false;
};

// A started program. Its input is empty. What it writes to a captured stream is gathered in the background,
// so it never stands still because nobody reads; unread text beyond 64 MiB a stream is dropped. Every
// function may be called from any thread; the object itself belongs to one owner.
class ChildProcess {
  public:
    // nullptr with "Could not start NAME: REASON".
    static std::unique_ptr<ChildProcess> start(const ChildOptions& options);

    // Ends the program if it still runs, and waits for its end.
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    std::uint32_t id() const;
    // True once the program has ended and all that it wrote has been gathered. Waits up to `milliseconds` for
    // that; 0 only asks, a negative number waits for as long as it takes.
    bool wait(int milliseconds = -1);
    bool ended() { return wait(0); }

    // After the end: the exit code; nothing when the program crashed, was killed or still runs.
    std::optional<int> exitCode() const;
    // After the end: "exit code 3", "crashed (signal 11)", on Windows "crashed (exception 0xC0000005)".
    std::string outcome() const;

    // Takes what has arrived since the last call; empty when nothing has.
    std::string readOutput();
    std::string readErrors();

    // Ends the program at once, without a chance to tidy up. Nothing when it has ended.
    void kill();

    // Waits until one of them has ended or has unread text, and returns its index; -1 when `milliseconds`
    // pass (negative: never) or the list is empty.
    static std::ptrdiff_t waitForAny(std::span<ChildProcess* const> children, int milliseconds = -1);

  private:
    struct State;
    explicit ChildProcess(std::unique_ptr<State> state);

    std::unique_ptr<State> state_;
};

}  // namespace velor
