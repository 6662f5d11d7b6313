#include "formats/sampler/riff_chunks.h"

#include <algorithm>
#include <array>

namespace velor {

namespace {

constexpr std::size_t kHeader = 8;
constexpr std::size_t kMostText = 65536;

bool looksLikeId(std::uint32_t id) {
    for (int shift = 0; shift < 32; shift += 8) {
        const std::uint32_t c = id >> shift & 0xFF;
        if (c < ' ' || c > '~')
            return false;
    }
    return true;
}

}  // namespace

RiffChunks::RiffChunks(const File& file, std::uint64_t begin, std::uint64_t end)
    : file_(file), next_(begin), end_(std::min(end, file.size())) {}

bool RiffChunks::next(RiffChunk& chunk) {
    std::array<Byte, kHeader + 4> header{};
    if (next_ >= end_ || end_ - next_ < kHeader)
        return false;
    const std::size_t there = std::min<std::uint64_t>(header.size(), end_ - next_);
    if (file_.readSome(next_, std::span(header).first(there)) < kHeader)
        return false;
    chunk.id = loadLe<std::uint32_t>(header.data());
    const std::uint32_t size = loadLe<std::uint32_t>(header.data() + 4);
    chunk.start = next_;
    chunk.payload = next_ + kHeader;
    // Streamed files never came back to fill in the size of the whole.
    const bool open = chunk.id == fourCc("RIFF") && size == 0;
    const std::uint64_t wanted = open ? end_ : chunk.payload + size;
    truncated_ = truncated_ || wanted > end_;
    chunk.end = std::min(wanted, end_);
    next_ = chunk.end;
    chunk.form = 0;
    if ((chunk.id == fourCc("LIST") || chunk.id == fourCc("RIFF")) && chunk.size() >= 4) {
        chunk.form = loadLe<std::uint32_t>(header.data() + kHeader);
        chunk.payload += 4;
    }
    if (size & 1) {
        // Some writers forget the pad byte: then the next id begins right here.
        std::array<Byte, 5> after{};
        const bool whole = file_.readSome(next_, after) == after.size();
        const bool padded = !whole || after[0] == 0 || !looksLikeId(loadLe<std::uint32_t>(after.data())) ||
                            loadLe<std::uint32_t>(after.data() + 1) == fourCc("LIST");
        next_ += padded;
    }
    return true;
}

std::vector<Byte> readChunk(const File& file, const RiffChunk& chunk, std::size_t most) {
    std::vector<Byte> bytes(static_cast<std::size_t>(std::min<std::uint64_t>(chunk.size(), most)));
    bytes.resize(file.readSome(chunk.payload, bytes));
    return bytes;
}

std::string readChunkText(const File& file, const RiffChunk& chunk) {
    const auto bytes = readChunk(file, chunk, kMostText);
    return {bytes.begin(), std::find(bytes.begin(), bytes.end(), Byte{0})};
}

}  // namespace velor
