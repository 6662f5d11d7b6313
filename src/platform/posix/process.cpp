#include "platform/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>

#include "base/error.h"
#include "platform/child_state.h"
#include "platform/file.h"

extern char** environ;

namespace velor {

namespace {

class Descriptor {
  public:
    explicit Descriptor(int number = -1) : number_(number) {}
    Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~Descriptor() {
        if (number_ >= 0)
            ::close(number_);
    }
    int get() const { return number_; }
    explicit operator bool() const { return number_ >= 0; }

  private:
    int number_;
};

struct Pipe {
    Descriptor from, to;

    bool open() {
        std::array<int, 2> ends{};
#ifdef __linux__
        if (::pipe2(ends.data(), O_CLOEXEC) != 0)
            return false;
#else
        if (::pipe(ends.data()) != 0)
            return false;
        for (const int end : ends)
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
#endif
        from = Descriptor(ends[0]);
        to = Descriptor(ends[1]);
        return true;
    }
};

// Reads until the pipe closes. Once `ended` closes too, takes what is still there and leaves: a grandchild
// may hold the pipe open for as long as it likes.
template <typename Sink>
void gatherPipe(const Descriptor& from, const Descriptor& ended, Sink sink) {
    std::array<char, 65536> piece;
    bool over = false;
    for (;;) {
        std::array<pollfd, 2> wanted{{{from.get(), POLLIN, 0}, {over ? -1 : ended.get(), POLLIN, 0}}};
        const int ready = ::poll(wanted.data(), wanted.size(), over ? 0 : -1);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0 || (over && ready == 0))
            return;
        if (wanted[0].revents != 0) {
            const ssize_t got = ::read(from.get(), piece.data(), piece.size());
            if (got == 0 || (got < 0 && errno != EINTR))
                return;
            if (got > 0)
                sink(std::string_view(piece.data(), static_cast<std::size_t>(got)));
        } else if (wanted[1].revents != 0) {
            over = true;
        }
    }
}

std::vector<std::string> environmentWith(const std::vector<std::pair<std::string, std::string>>& added) {
    std::vector<std::string> entries;
    for (const auto& [name, value] : added)
        entries.push_back(name + '=' + value);
    for (char** entry = environ; entry && *entry; ++entry) {
        const std::string_view text = *entry;
        const std::string_view name = text.substr(0, text.find('='));
        if (std::ranges::none_of(added, [&](const auto& one) { return one.first == name; }))
            entries.emplace_back(text);
    }
    return entries;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

// The attributes and file actions of one start, freed together.
struct SpawnPlan {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;

    SpawnPlan() {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawnattr_init(&attributes);
        // The child starts with the usual answers to signals, whatever this program does with them.
        sigset_t none, usual;
        ::sigemptyset(&none);
        ::sigemptyset(&usual);
        for (const int signal : {SIGINT, SIGTERM, SIGPIPE})
            ::sigaddset(&usual, signal);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setsigdefault(&attributes, &usual);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~SpawnPlan() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
};

}  // namespace

unsigned processorCount() {
#ifdef __linux__
    // The processors this program is allowed on, which a container or taskset may have narrowed.
    cpu_set_t allowed;
    if (::sched_getaffinity(0, sizeof allowed, &allowed) == 0 && CPU_COUNT(&allowed) > 0)
        return static_cast<unsigned>(CPU_COUNT(&allowed));
#endif
    const unsigned count = std::thread::hardware_concurrency();
    return count > 0 ? count : 1;
}

std::uint32_t processId() {
    return static_cast<std::uint32_t>(::getpid());
}

std::unique_ptr<ChildProcess> ChildProcess::start(const ChildOptions& options) {
    const auto failed = [&](int reason) {
        fail("Could not start " + utf8FromPath(options.program) + ": " + std::strerror(reason));
        return nullptr;
    };
    Pipe output, errors, end;
    if (!end.open() || (options.captureOutput && !output.open()) || (options.captureErrors && !errors.open()))
        return failed(errno);

    SpawnPlan plan;
    ::posix_spawn_file_actions_addopen(&plan.actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (output.to)
        ::posix_spawn_file_actions_adddup2(&plan.actions, output.to.get(), STDOUT_FILENO);
    if (errors.to)
        ::posix_spawn_file_actions_adddup2(&plan.actions, errors.to.get(), STDERR_FILENO);
    if (!options.folder.empty())
        ::posix_spawn_file_actions_addchdir_np(&plan.actions, options.folder.c_str());

    std::vector<std::string> arguments{options.program.native()};
    arguments.insert(arguments.end(), options.arguments.begin(), options.arguments.end());
    std::vector<std::string> environment = environmentWith(options.environment);
    pid_t id = 0;
    const int error = ::posix_spawnp(&id, options.program.c_str(), &plan.actions, &plan.attributes,
                                     pointersTo(arguments).data(), pointersTo(environment).data());
    if (error != 0)
        return failed(error);

    auto owned = std::make_unique<State>();
    State* state = owned.get();
    state->id = static_cast<std::uint32_t>(id);
    state->watcher = std::thread([state, id, out = std::move(output.from), err = std::move(errors.from),
                                  over = std::move(end.from), closeOver = std::move(end.to)]() mutable {
        std::thread outputReader, errorReader;
        if (out)
            outputReader = std::thread([&] {
                gatherPipe(out, over, [&](std::string_view more) { state->gather(state->output, more); });
            });
        if (err)
            errorReader = std::thread([&] {
                gatherPipe(err, over, [&](std::string_view more) { state->gather(state->errors, more); });
            });
        // Waits without collecting the child, so that its number cannot be given to another program between
        // its end and the moment kill() knows of it.
        siginfo_t info{};
        while (::waitid(P_PID, static_cast<id_t>(id), &info, WEXITED | WNOWAIT) != 0 && errno == EINTR) {
        }
        {
            const std::scoped_lock lock(childLock());
            int status = 0;
            pid_t collected = 0;
            while ((collected = ::waitpid(id, &status, 0)) < 0 && errno == EINTR) {
            }
            state->running = false;
            // Somebody else may have collected it (a program that ignores SIGCHLD): never taken for success.
            state->crashed = collected != id || WIFSIGNALED(status);
            state->code = static_cast<std::uint32_t>(state->crashed ? WTERMSIG(status) : WEXITSTATUS(status));
        }
        closeOver = Descriptor();
        for (std::thread* reader : {&outputReader, &errorReader})
            if (reader->joinable())
                reader->join();
        state->finish();
    });
    return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(owned)));
}

std::string ChildProcess::outcome() const {
    const std::scoped_lock lock(childLock());
    if (!state_->ended)
        return "still running";
    return formatText(state_->crashed ? "crashed (signal %u)" : "exit code %u", state_->code);
}

void ChildProcess::kill() {
    const std::scoped_lock lock(childLock());
    if (state_->running)
        ::kill(static_cast<pid_t>(state_->id), SIGKILL);
}

}  // namespace velor
