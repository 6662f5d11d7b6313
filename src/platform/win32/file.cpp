#include "platform/file.h"

#include <algorithm>
#include <atomic>

#include "base/error.h"
#include "base/text.h"
#include "platform/win32/windows_header.h"

namespace velor {

namespace fs = std::filesystem;

namespace {

HANDLE asHandle(std::intptr_t handle) {
    return reinterpret_cast<HANDLE>(handle);
}

OVERLAPPED at(std::uint64_t offset) {
    OVERLAPPED place{};
    place.Offset = static_cast<DWORD>(offset);
    place.OffsetHigh = static_cast<DWORD>(offset >> 32);
    return place;
}

// A name beside `path` that nobody else uses.
fs::path besideName(const fs::path& path, const wchar_t* word) {
    static std::atomic<unsigned> serial{0};
    fs::path name = path;
    name += word + std::to_wstring(::GetCurrentProcessId()) + L"-" + std::to_wstring(serial.fetch_add(1));
    return name;
}

// Gives a finished file its name. Windows does not replace a file that somebody reads, and waveforms keep the
// file they came from open; but File::open() lets it be renamed, so the old one steps aside and goes away when
// its last reader does.
bool moveOver(const fs::path& from, const fs::path& to) {
    if (::MoveFileExW(from.c_str(), to.c_str(), MOVEFILE_REPLACE_EXISTING))
        return true;
    const DWORD attributes = ::GetFileAttributesW(to.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES ||
        (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)))
        return false;
    const fs::path aside = besideName(to, L".old");
    if (!::MoveFileExW(to.c_str(), aside.c_str(), 0))
        return false;
    if (!::MoveFileExW(from.c_str(), to.c_str(), 0)) {
        ::MoveFileExW(aside.c_str(), to.c_str(), 0);
        return false;
    }
    ::DeleteFileW(aside.c_str());
    return true;
}

}  // namespace

std::shared_ptr<File> File::open(const fs::path& path) {
    const HANDLE handle =
        ::CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                      FILE_ATTRIBUTE_NORMAL, nullptr);
    LARGE_INTEGER size{};
    if (handle == INVALID_HANDLE_VALUE) {
        fail("Could not open file");
        return nullptr;
    }
    std::shared_ptr<File> file(new File);
    file->handle_ = reinterpret_cast<std::intptr_t>(handle);
    file->size_ = ::GetFileSizeEx(handle, &size) ? static_cast<std::uint64_t>(size.QuadPart) : 0;
    file->path_ = path;
    return file;
}

File::~File() {
    if (handle_ != -1)
        ::CloseHandle(asHandle(handle_));
}

std::size_t File::readPiece(std::uint64_t offset, std::span<Byte> to) const {
    OVERLAPPED place = at(offset);
    DWORD got = 0;
    return ::ReadFile(asHandle(handle_), to.data(), static_cast<DWORD>(to.size()), &got, &place) ? got : 0;
}

std::unique_ptr<OutputFile> OutputFile::create(const fs::path& path) {
    std::unique_ptr<OutputFile> file(new OutputFile);
    file->target_ = path;
    const DWORD attributes = ::GetFileAttributesW(path.c_str());
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY)) {
        fail("Could not create file");
        return nullptr;
    }
    HANDLE handle = INVALID_HANDLE_VALUE;
    for (int attempt = 0; attempt < 100 && handle == INVALID_HANDLE_VALUE; ++attempt) {
        file->temporary_ = besideName(path, L".part");
        handle = ::CreateFileW(file->temporary_.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                               FILE_ATTRIBUTE_NORMAL, nullptr);
        if (handle == INVALID_HANDLE_VALUE && ::GetLastError() != ERROR_FILE_EXISTS)
            break;
    }
    if (handle == INVALID_HANDLE_VALUE) {
        file->temporary_.clear();
        fail("Could not create file");
        return nullptr;
    }
    file->handle_ = reinterpret_cast<std::intptr_t>(handle);
    return file;
}

std::unique_ptr<OutputFile> OutputFile::standardOutput() {
    std::unique_ptr<OutputFile> file(new OutputFile);
    file->handle_ = reinterpret_cast<std::intptr_t>(::GetStdHandle(STD_OUTPUT_HANDLE));
    file->keepOpen_ = true;
    return file;
}

OutputFile::~OutputFile() {
    if (handle_ != -1 && !keepOpen_)
        ::CloseHandle(asHandle(handle_));
    if (!temporary_.empty())
        ::DeleteFileW(temporary_.c_str());
}

bool OutputFile::write(std::span<const Byte> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        DWORD wrote = 0;
        const auto piece = static_cast<DWORD>(std::min(bytes.size() - done, kFilePiece));
        if (!::WriteFile(asHandle(handle_), bytes.data() + done, piece, &wrote, nullptr) || wrote == 0) {
            failed_ = true;
            return fail(kWriteFailed);
        }
        done += wrote;
    }
    size_ += done;
    return true;
}

bool OutputFile::rewrite(std::uint64_t offset, std::span<const Byte> bytes) {
    OVERLAPPED place = at(offset);
    DWORD wrote = 0;
    if (!::WriteFile(asHandle(handle_), bytes.data(), static_cast<DWORD>(bytes.size()), &wrote, &place) ||
        wrote != bytes.size()) {
        failed_ = true;
        return fail(kWriteFailed);
    }
    LARGE_INTEGER end{};
    end.QuadPart = static_cast<LONGLONG>(size_);
    ::SetFilePointerEx(asHandle(handle_), end, nullptr, FILE_BEGIN);
    return true;
}

bool OutputFile::sync() {
    const bool onDisk = ::GetFileType(asHandle(handle_)) == FILE_TYPE_DISK;
    if (failed_ || (onDisk && !::FlushFileBuffers(asHandle(handle_))))
        return fail(kWriteFailed);
    return true;
}

bool OutputFile::commit() {
    if (failed_)
        return fail(kWriteFailed);
    if (keepOpen_)
        return true;
    const bool closed = ::CloseHandle(asHandle(handle_)) != 0;
    handle_ = -1;
    if (!closed)
        return fail(kWriteFailed);
    if (!temporary_.empty()) {
        if (!moveOver(temporary_, target_))
            return fail(kWriteFailed);
        temporary_.clear();
    }
    return true;
}

bool sameFile(const fs::path& a, const fs::path& b) {
    std::error_code error;
    return fs::equivalent(a, b, error) && !error;
}

std::string utf8FromPath(const fs::path& path) {
    const std::u16string wide = path.u16string();
    return utf8FromUtf16(wide);
}

fs::path pathFromUtf8(std::string_view text) {
    return fs::path(utf16FromUtf8(text));
}

}  // namespace velor
