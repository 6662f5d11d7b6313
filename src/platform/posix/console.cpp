#include "platform/console.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <atomic>
#include <csignal>

namespace velor {

namespace {

std::atomic<bool> interruptFlag{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

int descriptorOf(StandardStream stream) {
    switch (stream) {
        case StandardStream::Input:
            return STDIN_FILENO;
        case StandardStream::Output:
            return STDOUT_FILENO;
        case StandardStream::Errors:
            break;
    }
    return STDERR_FILENO;
}

extern "C" void onInterrupt(int signal) {
    if (interruptFlag.exchange(true)) {
        std::signal(signal, SIG_DFL);
        ::raise(signal);
    }
}

}  // namespace

bool isTerminal(StandardStream stream) {
    return ::isatty(descriptorOf(stream)) == 1;
}

int terminalWidth() {
    for (const int descriptor : {STDERR_FILENO, STDOUT_FILENO}) {
        winsize size{};
        if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0)
            return size.ws_col;
    }
    return 80;
}

std::vector<std::string> commandLine(int argc, char** argv) {
    return std::vector<std::string>(argv, argv + argc);
}

void useUtf8Console() {}

void useBinaryStream(StandardStream) {}

void installInterruptHandler() {
    struct sigaction action {};
    action.sa_handler = onInterrupt;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        // Started with the signal ignored (nohup, a background job of a plain shell): it stays ignored.
        struct sigaction before {};
        if (::sigaction(signal, nullptr, &before) == 0 && before.sa_handler != SIG_IGN)
            ::sigaction(signal, &action, nullptr);
    }
}

bool interruptRequested() noexcept {
    return interruptFlag.load(std::memory_order_relaxed);
}

void setInterruptRequested(bool requested) noexcept {
    interruptFlag.store(requested, std::memory_order_relaxed);
}

}  // namespace velor
