#include "platform/file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>

#include "base/error.h"

namespace velor {

namespace fs = std::filesystem;

std::shared_ptr<File> File::open(const fs::path& path) {
    const int handle = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    struct stat info {};
    if (handle < 0 || ::fstat(handle, &info) != 0 || S_ISDIR(info.st_mode)) {
        if (handle >= 0)
            ::close(handle);
        fail("Could not open file");
        return nullptr;
    }
    std::shared_ptr<File> file(new File);
    file->handle_ = handle;
    file->size_ = static_cast<std::uint64_t>(std::max<off_t>(info.st_size, 0));
    file->path_ = path;
    return file;
}

File::~File() {
    if (handle_ >= 0)
        ::close(static_cast<int>(handle_));
}

std::size_t File::readPiece(std::uint64_t offset, std::span<Byte> to) const {
    for (;;) {
        const ssize_t got =
            ::pread(static_cast<int>(handle_), to.data(), to.size(), static_cast<off_t>(offset));
        if (got >= 0)
            return static_cast<std::size_t>(got);
        if (errno != EINTR)
            return 0;
    }
}

std::unique_ptr<OutputFile> OutputFile::create(const fs::path& path) {
    std::unique_ptr<OutputFile> file(new OutputFile);
    file->target_ = path;
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0 && !S_ISREG(info.st_mode)) {
        if (S_ISDIR(info.st_mode)) {
            fail("Could not create file");
            return nullptr;
        }
        file->handle_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        // Through a symbolic link the file it points at is replaced, not the link.
        std::error_code ignored;
        if (fs::is_symlink(path, ignored)) {
            const fs::path resolved = fs::weakly_canonical(path, ignored);
            if (!ignored)
                file->target_ = resolved;
        }
        static std::atomic<unsigned> serial{0};
        for (int attempt = 0; attempt < 100 && file->handle_ < 0; ++attempt) {
            file->temporary_ = file->target_;
            file->temporary_ +=
                ".part" + std::to_string(::getpid()) + "-" + std::to_string(serial.fetch_add(1));
            file->handle_ = ::open(file->temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (file->handle_ < 0 && errno != EEXIST)
                break;
        }
        if (file->handle_ >= 0 && ::stat(path.c_str(), &info) == 0)
            ::fchmod(static_cast<int>(file->handle_), info.st_mode & 07777);
    }
    if (file->handle_ < 0) {
        file->temporary_.clear();
        fail("Could not create file");
        return nullptr;
    }
    return file;
}

std::unique_ptr<OutputFile> OutputFile::standardOutput() {
    std::unique_ptr<OutputFile> file(new OutputFile);
    file->handle_ = STDOUT_FILENO;
    file->keepOpen_ = true;
    return file;
}

OutputFile::~OutputFile() {
    if (handle_ >= 0 && !keepOpen_)
        ::close(static_cast<int>(handle_));
    if (!temporary_.empty())
        ::unlink(temporary_.c_str());
}

bool OutputFile::write(std::span<const Byte> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const std::size_t piece = std::min(bytes.size() - done, kFilePiece);
        const ssize_t wrote = ::write(static_cast<int>(handle_), bytes.data() + done, piece);
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0) {
            failed_ = true;
            return fail(kWriteFailed);
        }
        done += static_cast<std::size_t>(wrote);
    }
    size_ += done;
    return true;
}

bool OutputFile::rewrite(std::uint64_t offset, std::span<const Byte> bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t wrote = ::pwrite(static_cast<int>(handle_), bytes.data() + done, bytes.size() - done,
                                       static_cast<off_t>(offset + done));
        if (wrote < 0 && errno == EINTR)
            continue;
        if (wrote <= 0) {
            failed_ = true;
            return fail(kWriteFailed);
        }
        done += static_cast<std::size_t>(wrote);
    }
    return true;
}

bool OutputFile::sync() {
    // A pipe or a device cannot be synchronised and needs none.
    if (failed_ || (::fsync(static_cast<int>(handle_)) != 0 && errno != EINVAL && errno != ENOTSUP))
        return fail(kWriteFailed);
    return true;
}

bool OutputFile::commit() {
    if (failed_)
        return fail(kWriteFailed);
    if (keepOpen_)
        return true;
    const bool closed = ::close(static_cast<int>(handle_)) == 0;
    handle_ = -1;
    if (!closed)
        return fail(kWriteFailed);
    if (!temporary_.empty()) {
        if (std::rename(temporary_.c_str(), target_.c_str()) != 0)
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
    return path.native();
}

fs::path pathFromUtf8(std::string_view text) {
    return fs::path(std::string(text));
}

}  // namespace velor
