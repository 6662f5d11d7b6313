// Files: positional reading of any size, and output that appears under its name only when it is complete.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_order.h"

namespace velor {

// An open file for reading. Reading is positional, so one handle can serve many readers at once; nothing
// outside this class moves a file position. Other programs may read the file meanwhile.
class File {
  public:
    // nullptr with "Could not open file" (also for folders).
    static std::shared_ptr<File> open(const std::filesystem::path& path);
    // A file that lives in memory, for data that come from a pipe, the clipboard or inside another file.
    static std::shared_ptr<File> fromBytes(std::vector<Byte> bytes, const std::filesystem::path& name);

    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    std::uint64_t size() const { return size_; }
    const std::filesystem::path& path() const { return path_; }
    // Reads up to to.size() bytes at `offset`; returns how many there were. Large reads go to the system in
    // pieces of at most 256 MiB.
    std::size_t readSome(std::uint64_t offset, std::span<Byte> to) const;
    // Reads exactly to.size() bytes, else fails with "Reading from file failed".
    bool read(std::uint64_t offset, std::span<Byte> to) const;

  private:
    File() = default;
    // One read from the system, of at most kFilePiece bytes; 0 at the end or on failure.
    std::size_t readPiece(std::uint64_t offset, std::span<Byte> to) const;

    std::intptr_t handle_ = -1;  // -1: in memory
    std::uint64_t size_ = 0;
    std::filesystem::path path_;
    std::vector<Byte> memory_;
};

// A file being written. It grows under a temporary name in the folder of its target and takes the target's
// name, replacing an older file, in commit(). Without commit() nothing is left behind and an older file is
// untouched. Targets that are not regular files (a pipe, a device) are written directly.
class OutputFile {
  public:
    // nullptr with "Could not create file".
    static std::unique_ptr<OutputFile> create(const std::filesystem::path& path);
    // Writes to the standard output.
    static std::unique_ptr<OutputFile> standardOutput();

    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Appends bytes; fails with "Writing to file failed". Goes to the system in pieces of at most 256 MiB.
    bool write(std::span<const Byte> bytes);
    // Overwrites bytes written before, for sizes known late. Not for targets that are no regular files.
    bool rewrite(std::uint64_t offset, std::span<const Byte> bytes);
    std::uint64_t size() const { return size_; }
    const std::filesystem::path& path() const { return target_; }
    // Has the system put what was written on the disk, for files whose loss by a power failure would hurt.
    bool sync();
    // Finishes the file. Fails with "Writing to file failed" and then removes what was written.
    bool commit();

  private:
    OutputFile() = default;

    std::intptr_t handle_ = -1;
    std::uint64_t size_ = 0;
    std::filesystem::path target_;
    std::filesystem::path temporary_;  // empty when the target is written directly
    bool failed_ = false;
    bool keepOpen_ = false;  // the handle is not ours to close
};

// Largest piece handed to the system in one call.
inline constexpr std::size_t kFilePiece = 0x10000000;

// True when both names reach the same existing file, also through links.
bool sameFile(const std::filesystem::path& a, const std::filesystem::path& b);

// The path as UTF-8 text, with the system's own separators, and back.
std::string utf8FromPath(const std::filesystem::path& path);
std::filesystem::path pathFromUtf8(std::string_view text);

}  // namespace velor
