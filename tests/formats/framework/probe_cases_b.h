// Minimal files of the sampler, bank, disk and voice formats, and what identification must make of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/byte_order.h"

namespace velor::test {

// A file under construction; writing past the end makes it longer.
class FileBytes {
  public:
    explicit FileBytes(std::size_t size = 0, Byte fill = 0) : bytes_(size, fill) {}

    FileBytes& text(std::size_t offset, std::string_view value);
    FileBytes& number(std::size_t offset, std::uint64_t value, std::size_t width, ByteOrder order);
    FileBytes& le16(std::size_t o, unsigned v) { return number(o, v, 2, ByteOrder::Little); }
    FileBytes& le32(std::size_t o, std::uint32_t v) { return number(o, v, 4, ByteOrder::Little); }
    FileBytes& be16(std::size_t o, unsigned v) { return number(o, v, 2, ByteOrder::Big); }
    FileBytes& be32(std::size_t o, std::uint32_t v) { return number(o, v, 4, ByteOrder::Big); }
    FileBytes& u8(std::size_t o, unsigned v) { return number(o, v, 1, ByteOrder::Little); }
    FileBytes& fill(std::size_t offset, std::size_t count, Byte value);
    FileBytes& resize(std::size_t size);
    // Appends a RIFF (little-endian) or IFF (big-endian) chunk with its padding.
    FileBytes& chunk(std::string_view id, std::string_view data, ByteOrder order = ByteOrder::Little);

    const std::vector<Byte>& bytes() const { return bytes_; }
    std::string string() const { return {bytes_.begin(), bytes_.end()}; }

  private:
    std::vector<Byte> bytes_;
};

// A RIFF or FORM file of one form type around the given chunks.
FileBytes riff(std::string_view form, std::string_view chunks);
FileBytes iff(std::string_view form, std::string_view chunks);
// Chunks as text, for nesting.
std::string chunkText(std::string_view id, std::string_view data, ByteOrder order = ByteOrder::Little);
std::string listText(std::string_view form, std::string_view chunks);

struct ProbeCase {
    const char* extension;
    int row;    // with that extension
    int score;  // 6, 4 or 2, before the bonus of the extension
    FileBytes file;
    std::uint64_t fileSize = 0;  // of the whole file; 0: as long as `file`
    int bareRow = -1;            // a signature under an unknown extension; -1: the same row
};

std::vector<ProbeCase> samplerCases();
std::vector<ProbeCase> bankCases();
std::vector<ProbeCase> softwareCases();
std::vector<ProbeCase> diskCases();
std::vector<ProbeCase> voiceCases();
std::vector<ProbeCase> allProbeCases();

}  // namespace velor::test
