// The chunks of a little-endian RIFF list, one after the other, straight from a file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "base/byte_reader.h"
#include "platform/file.h"

namespace velor {

struct RiffChunk {
    std::uint32_t id = 0;     // in fourCc() form
    std::uint32_t form = 0;   // of RIFF and LIST chunks, which `payload` then starts behind
    std::uint64_t start = 0;  // file position of the id
    std::uint64_t payload = 0;
    std::uint64_t end = 0;  // of the payload, no further than the list

    std::uint64_t size() const { return end - payload; }
    bool isList(std::uint32_t type) const { return id == fourCc("LIST") && form == type; }
};

class RiffChunks {
  public:
    // Chunks between two positions of the file.
    RiffChunks(const File& file, std::uint64_t begin, std::uint64_t end);
    // The chunks inside a list.
    RiffChunks(const File& file, const RiffChunk& list) : RiffChunks(file, list.payload, list.end) {}

    // The next chunk; false at the end. A chunk that claims more bytes than its list has is cut, and
    // truncated() is true from then on.
    bool next(RiffChunk& chunk);
    bool truncated() const { return truncated_; }

  private:
    const File& file_;
    std::uint64_t next_;
    std::uint64_t end_;
    bool truncated_ = false;
};

// The payload of a chunk: no more than `most` bytes, and what the file really holds.
std::vector<Byte> readChunk(const File& file, const RiffChunk& chunk, std::size_t most);
// A text chunk up to its first NUL.
std::string readChunkText(const File& file, const RiffChunk& chunk);

}  // namespace velor
