#include "platform/console.h"

#include <fcntl.h>
#include <io.h>

#include <atomic>
#include <cstdio>

#include "base/text.h"
#include "platform/command_line.h"
#include "platform/win32/windows_header.h"

namespace velor {

namespace {

std::atomic<bool> interruptFlag{false};

HANDLE handleOf(StandardStream stream) {
    return ::GetStdHandle(stream == StandardStream::Input    ? STD_INPUT_HANDLE
                          : stream == StandardStream::Output ? STD_OUTPUT_HANDLE
                                                             : STD_ERROR_HANDLE);
}

// Runs on a thread of the system's own.
BOOL WINAPI onInterrupt(DWORD event) {
    if (interruptFlag.exchange(true))
        return FALSE;  // the next handler ends the program
    // The program ends when this returns from a closing console or session: give the work time to wind up.
    if (event == CTRL_CLOSE_EVENT || event == CTRL_LOGOFF_EVENT || event == CTRL_SHUTDOWN_EVENT)
        ::Sleep(4500);
    return TRUE;
}

}  // namespace

bool isTerminal(StandardStream stream) {
    DWORD mode = 0;
    return ::GetConsoleMode(handleOf(stream), &mode) != 0;
}

int terminalWidth() {
    for (const StandardStream stream : {StandardStream::Errors, StandardStream::Output}) {
        CONSOLE_SCREEN_BUFFER_INFO info{};
        if (::GetConsoleScreenBufferInfo(handleOf(stream), &info) &&
            info.srWindow.Right >= info.srWindow.Left)
            return info.srWindow.Right - info.srWindow.Left + 1;
    }
    return 80;
}

std::vector<std::string> commandLine(int, char**) {
    const std::wstring line = ::GetCommandLineW();
    std::vector<std::string> texts;
    for (const CommandArgument& argument : splitWindowsCommandLine(
             utf8FromUtf16({reinterpret_cast<const char16_t*>(line.data()), line.size()}))) {
        std::vector<std::string> files;
        if (argument.wildcard && !texts.empty() && argument.text.front() != '-')
            files = expandWildcards(argument.text);
        if (files.empty())
            files.push_back(argument.text);
        texts.insert(texts.end(), files.begin(), files.end());
    }
    return texts;
}

void useUtf8Console() {
    ::SetConsoleOutputCP(CP_UTF8);
}

void useBinaryStream(StandardStream stream) {
    std::FILE* file = stream == StandardStream::Input    ? stdin
                      : stream == StandardStream::Output ? stdout
                                                         : stderr;
    std::fflush(file);
    ::_setmode(::_fileno(file), _O_BINARY);
}

void installInterruptHandler() {
    ::SetConsoleCtrlHandler(onInterrupt, TRUE);
}

bool interruptRequested() noexcept {
    return interruptFlag.load(std::memory_order_relaxed);
}

void setInterruptRequested(bool requested) noexcept {
    interruptFlag.store(requested, std::memory_order_relaxed);
}

}  // namespace velor
