#include "platform/process.h"

#include <algorithm>
#include <array>
#include <future>
#include <map>
#include <thread>

#include "base/error.h"
#include "base/text.h"
#include "platform/child_state.h"
#include "platform/command_line.h"
#include "platform/file.h"
#include "platform/win32/windows_header.h"

namespace velor {

namespace {

class Handle {
  public:
    explicit Handle(HANDLE value = nullptr) : value_(value == INVALID_HANDLE_VALUE ? nullptr : value) {}
    Handle(Handle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    Handle& operator=(Handle&& other) noexcept {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Handle() {
        if (value_)
            ::CloseHandle(value_);
    }
    HANDLE get() const { return value_; }
    explicit operator bool() const { return value_ != nullptr; }

  private:
    HANDLE value_;
};

std::wstring wide(std::string_view text) {
    const std::u16string units = utf16FromUtf8(text);
    return std::wstring(units.begin(), units.end());
}

std::string systemMessage(DWORD error) {
    std::array<wchar_t, 512> text{};
    const DWORD length = ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                                          error, 0, text.data(), static_cast<DWORD>(text.size()), nullptr);
    if (length == 0)
        return formatText("system error %lu", static_cast<unsigned long>(error));
    return std::string(trim(utf8FromUtf16({reinterpret_cast<const char16_t*>(text.data()), length})));
}

// The stream that a child inherits: the writing end of a pipe when captured, else our own stream.
struct ChildStream {
    Handle from, to;

    bool openPipe() {
        SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
        HANDLE reading = nullptr, writing = nullptr;
        if (!::CreatePipe(&reading, &writing, &inherit, 0))
            return false;
        from = Handle(reading);
        to = Handle(writing);
        return ::SetHandleInformation(reading, HANDLE_FLAG_INHERIT, 0) != 0;
    }
    // A copy that can be inherited; without a stream of our own the child has none either.
    void copyOurs(DWORD which) {
        HANDLE copy = nullptr;
        const HANDLE ours = ::GetStdHandle(which);
        if (ours && ours != INVALID_HANDLE_VALUE &&
            ::DuplicateHandle(::GetCurrentProcess(), ours, ::GetCurrentProcess(), &copy, 0, TRUE,
                              DUPLICATE_SAME_ACCESS))
            to = Handle(copy);
    }
};

template <typename Sink>
void gatherPipe(const Handle& from, Sink sink) {
    std::array<char, 65536> piece;
    DWORD got = 0;
    while (::ReadFile(from.get(), piece.data(), static_cast<DWORD>(piece.size()), &got, nullptr))
        sink(std::string_view(piece.data(), got));
}

// Names compare without regard to case here, and the system wants the block sorted by them.
struct LessNoCase {
    bool operator()(const std::wstring& a, const std::wstring& b) const {
        return ::CompareStringOrdinal(a.c_str(), -1, b.c_str(), -1, TRUE) == CSTR_LESS_THAN;
    }
};

std::wstring environmentWith(const std::vector<std::pair<std::string, std::string>>& added) {
    std::map<std::wstring, std::wstring, LessNoCase> values;
    wchar_t* ours = ::GetEnvironmentStringsW();
    for (const wchar_t* entry = ours; entry && *entry; entry += std::wstring_view(entry).size() + 1) {
        const std::wstring_view text = entry;
        const std::size_t at = text.find(L'=', 1);  // names such as "=C:" begin with one
        if (at != std::wstring_view::npos)
            values[std::wstring(text.substr(0, at))] = text.substr(at + 1);
    }
    ::FreeEnvironmentStringsW(ours);
    for (const auto& [name, value] : added)
        values[wide(name)] = wide(value);
    std::wstring block;
    for (const auto& [name, value] : values)
        block += name + L'=' + value + L'\0';
    return block + L'\0';
}

// Names the handles that the child gets, so that children started at the same time do not inherit each
// other's pipes, which would then never close.
class AttributeList {
  public:
    explicit AttributeList(std::vector<HANDLE>& handles) {
        SIZE_T size = 0;
        ::InitializeProcThreadAttributeList(nullptr, 1, 0, &size);
        bytes_.resize(size);
        valid_ = ::InitializeProcThreadAttributeList(get(), 1, 0, &size) != 0;
        if (valid_ && !handles.empty())
            ::UpdateProcThreadAttribute(get(), 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles.data(),
                                        handles.size() * sizeof(HANDLE), nullptr, nullptr);
    }
    ~AttributeList() {
        if (valid_)
            ::DeleteProcThreadAttributeList(get());
    }
    AttributeList(const AttributeList&) = delete;
    AttributeList& operator=(const AttributeList&) = delete;
    LPPROC_THREAD_ATTRIBUTE_LIST get() {
        return reinterpret_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(bytes_.data());
    }

  private:
    std::vector<Byte> bytes_;
    bool valid_ = false;
};

// A thread that gathers one pipe. Its system handle is its own doing: std::thread does not always give it.
class PipeReader {
  public:
    template <typename Sink>
    void start(const Handle& from, Sink sink) {
        std::promise<HANDLE> own;
        std::future<HANDLE> told = own.get_future();
        thread_ = std::thread([&from, sink, answer = std::move(own)]() mutable {
            HANDLE copy = nullptr;
            ::DuplicateHandle(::GetCurrentProcess(), ::GetCurrentThread(), ::GetCurrentProcess(), &copy, 0,
                              FALSE, DUPLICATE_SAME_ACCESS);
            answer.set_value(copy);
            gatherPipe(from, sink);
        });
        handle_ = Handle(told.get());
    }
    // After the child's end. It has closed its end of the pipe by now, but a grandchild may hold it open for
    // as long as it likes.
    void finish() {
        if (!thread_.joinable())
            return;
        if (::WaitForSingleObject(handle_.get(), 500) == WAIT_TIMEOUT)
            while (::WaitForSingleObject(handle_.get(), 20) == WAIT_TIMEOUT)
                ::CancelSynchronousIo(handle_.get());
        thread_.join();
    }

  private:
    std::thread thread_;
    Handle handle_;
};

}  // namespace

unsigned processorCount() {
    DWORD_PTR allowed = 0, present = 0;
    unsigned count = 0;
    if (::GetProcessAffinityMask(::GetCurrentProcess(), &allowed, &present))
        for (; allowed != 0; allowed &= allowed - 1)
            ++count;
    if (count == 0)  // in several processor groups the mask says nothing
        count = std::thread::hardware_concurrency();
    return count > 0 ? count : 1;
}

std::uint32_t processId() {
    return ::GetCurrentProcessId();
}

std::unique_ptr<ChildProcess> ChildProcess::start(const ChildOptions& options) {
    const std::string program = utf8FromPath(options.program);
    const auto failed = [&](const std::string& reason) {
        fail("Could not start " + program + ": " + reason);
        return nullptr;
    };
    // The command interpreter would read the arguments of a batch file as commands.
    const std::string extension = lowerAscii(utf8FromPath(options.program.extension()));
    if (extension == ".bat" || extension == ".cmd")
        return failed("it is a batch file, not a program");
    if (program.find('"') != std::string::npos)
        return failed("a program's name has no quotation marks");

    ChildStream input, output, errors;
    SECURITY_ATTRIBUTES inherit{sizeof inherit, nullptr, TRUE};
    input.to = Handle(::CreateFileW(L"NUL", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                                    OPEN_EXISTING, 0, nullptr));
    if ((options.captureOutput && !output.openPipe()) || (options.captureErrors && !errors.openPipe()))
        return failed(systemMessage(::GetLastError()));
    if (!options.captureOutput)
        output.copyOurs(STD_OUTPUT_HANDLE);
    if (!options.captureErrors)
        errors.copyOurs(STD_ERROR_HANDLE);

    std::vector<HANDLE> inherited;
    for (const ChildStream* stream : {&input, &output, &errors})
        if (stream->to)
            inherited.push_back(stream->to.get());
    AttributeList attributes(inherited);
    STARTUPINFOEXW start{};
    start.StartupInfo.cb = sizeof start;
    start.StartupInfo.dwFlags = STARTF_USESTDHANDLES;
    start.StartupInfo.hStdInput = input.to.get();
    start.StartupInfo.hStdOutput = output.to.get();
    start.StartupInfo.hStdError = errors.to.get();
    start.lpAttributeList = attributes.get();

    std::wstring line = L"\"" + options.program.native() + L"\"";
    for (const std::string& argument : options.arguments)
        line += L' ' + wide(quoteWindowsArgument(argument));
    std::wstring environment = environmentWith(options.environment);
    PROCESS_INFORMATION process{};
    // A name with a folder is the file itself; only a bare one is searched for.
    const bool bare = !options.program.has_parent_path();
    if (!::CreateProcessW(bare ? nullptr : options.program.c_str(), line.data(), nullptr, nullptr, TRUE,
                          CREATE_UNICODE_ENVIRONMENT | EXTENDED_STARTUPINFO_PRESENT, environment.data(),
                          options.folder.empty() ? nullptr : options.folder.c_str(), &start.StartupInfo,
                          &process))
        return failed(systemMessage(::GetLastError()));
    ::CloseHandle(process.hThread);

    auto owned = std::make_unique<State>();
    State* state = owned.get();
    state->id = process.dwProcessId;
    state->handle = reinterpret_cast<std::intptr_t>(process.hProcess);
    state->watcher = std::thread([state, own = Handle(process.hProcess), out = std::move(output.from),
                                  err = std::move(errors.from)]() mutable {
        PipeReader outputReader, errorReader;
        if (out)
            outputReader.start(out, [state](std::string_view more) { state->gather(state->output, more); });
        if (err)
            errorReader.start(err, [state](std::string_view more) { state->gather(state->errors, more); });
        ::WaitForSingleObject(own.get(), INFINITE);
        {
            const std::scoped_lock lock(childLock());
            DWORD code = 0;
            ::GetExitCodeProcess(own.get(), &code);
            state->running = false;
            // An unhandled exception ends a program with its number, which has both top bits set.
            state->crashed = code >= 0xC0000000;
            state->code = code;
        }
        outputReader.finish();
        errorReader.finish();
        state->finish();
    });
    return std::unique_ptr<ChildProcess>(new ChildProcess(std::move(owned)));
}

std::string ChildProcess::outcome() const {
    const std::scoped_lock lock(childLock());
    if (!state_->ended)
        return "still running";
    return state_->crashed ? formatText("crashed (exception 0x%08X)", state_->code)
                           : formatText("exit code %u", state_->code);
}

void ChildProcess::kill() {
    const std::scoped_lock lock(childLock());
    // The number a debugger uses for Ctrl-C: counted as a crash, as a killed program is elsewhere.
    if (state_->running)
        ::TerminateProcess(reinterpret_cast<HANDLE>(state_->handle), 0xC000013A);
}

}  // namespace velor
