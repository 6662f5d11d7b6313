// The parts of file access that need no operating system.
#include "platform/file.h"

#include <algorithm>

#include "base/error.h"

namespace velor {

std::shared_ptr<File> File::fromBytes(std::vector<Byte> bytes, const std::filesystem::path& name) {
    std::shared_ptr<File> file(new File);
    file->memory_ = std::move(bytes);
    file->size_ = file->memory_.size();
    file->path_ = name;
    return file;
}

std::size_t File::readSome(std::uint64_t offset, std::span<Byte> to) const {
    if (offset >= size_)
        return 0;
    to = to.first(static_cast<std::size_t>(std::min<std::uint64_t>(to.size(), size_ - offset)));
    if (handle_ == -1) {
        std::copy_n(memory_.begin() + static_cast<std::ptrdiff_t>(offset), to.size(), to.begin());
        return to.size();
    }
    std::size_t done = 0;
    while (done < to.size()) {
        const std::size_t got =
            readPiece(offset + done, to.subspan(done, std::min(to.size() - done, kFilePiece)));
        if (got == 0)
            break;
        done += got;
    }
    return done;
}

bool File::read(std::uint64_t offset, std::span<Byte> to) const {
    return readSome(offset, to) == to.size() || fail(kReadFailed);
}

}  // namespace velor
