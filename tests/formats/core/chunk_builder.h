// Builds chunk files byte by byte, apart from the code under test.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <string>
#include <vector>

#include "base/byte_order.h"
#include "test_tools.h"

namespace velor::test {

class Bytes {
  public:
    std::vector<Byte> data;

    Bytes& u8(unsigned value) { return number(value, 1, false); }
    Bytes& u16(unsigned value) { return number(value, 2, false); }
    Bytes& u32(std::uint64_t value) { return number(value, 4, false); }
    Bytes& be16(unsigned value) { return number(value, 2, true); }
    Bytes& be32(std::uint64_t value) { return number(value, 4, true); }
    Bytes& text(const std::string& value) {
        for (const char c : value)
            data.push_back(static_cast<Byte>(c));
        return *this;
    }
    Bytes& zeros(std::size_t count) { return fill(count, 0); }
    Bytes& add(const Bytes& other) {
        for (const Byte byte : other.data)
            data.push_back(byte);
        return *this;
    }
    Bytes& fill(std::size_t count, unsigned value) {
        data.insert(data.end(), count, static_cast<Byte>(value));
        return *this;
    }
    std::size_t size() const { return data.size(); }

  private:
    Bytes& number(std::uint64_t value, int bytes, bool big) {
        for (int i = 0; i < bytes; ++i)
            data.push_back(static_cast<Byte>(value >> (8 * (big ? bytes - 1 - i : i))));
        return *this;
    }
};

// A RIFF chunk with its pad byte; `pad` is the value of that byte.
inline Bytes chunk(const std::string& id, const Bytes& payload, unsigned pad = 0) {
    Bytes bytes;
    bytes.text(id).u32(payload.size()).add(payload);
    if (payload.size() % 2)
        bytes.u8(pad);
    return bytes;
}
// The same for IFF.
inline Bytes iffChunk(const std::string& id, const Bytes& payload) {
    Bytes bytes;
    bytes.text(id).be32(payload.size()).add(payload);
    if (payload.size() % 2)
        bytes.u8(0);
    return bytes;
}
inline Bytes form(const std::string& id, const std::string& type, std::initializer_list<Bytes> chunks,
                  bool iff = false) {
    Bytes content;
    content.text(type);
    for (const Bytes& each : chunks)
        content.add(each);
    return iff ? iffChunk(id, content) : chunk(id, content);
}
inline Bytes riff(std::initializer_list<Bytes> chunks) {
    return form("RIFF", "WAVE", chunks);
}
inline Bytes list(const std::string& type, std::initializer_list<Bytes> chunks) {
    return form("LIST", type, chunks);
}

inline Bytes fmtPayload(unsigned tag, unsigned channels, unsigned rate, unsigned bits,
                        unsigned blockAlign = 0, unsigned bytesPerSecond = 0) {
    if (blockAlign == 0)
        blockAlign = channels * ((bits + 7) / 8);
    if (bytesPerSecond == 0)
        bytesPerSecond = rate * blockAlign;
    return Bytes().u16(tag).u16(channels).u32(rate).u32(bytesPerSecond).u16(blockAlign).u16(bits);
}
inline Bytes fmt(unsigned tag, unsigned channels, unsigned rate, unsigned bits) {
    return chunk("fmt ", fmtPayload(tag, channels, rate, bits));
}
inline Bytes extensibleFmt(unsigned tag, unsigned channels, unsigned rate, unsigned container, unsigned valid,
                           unsigned mask) {
    return chunk("fmt ", fmtPayload(0xFFFE, channels, rate, container)
                             .u16(22)
                             .u16(valid)
                             .u32(mask)
                             .u16(tag)
                             .add({{0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71}}));
}
struct SamplerLoop {
    std::uint32_t type, start, end, fraction;
};
inline Bytes smplPayload(std::uint32_t unity, std::uint32_t fraction,
                         std::initializer_list<SamplerLoop> loops, std::uint32_t rate = 0,
                         std::uint32_t samplerData = 0) {
    Bytes bytes;
    bytes.zeros(8).u32(rate ? (1000000000u + rate / 2) / rate : 0).u32(unity).u32(fraction).zeros(8);
    bytes.u32(loops.size()).u32(samplerData);
    for (const SamplerLoop& loop : loops)
        bytes.u32(0).u32(loop.type).u32(loop.start).u32(loop.end).u32(loop.fraction).u32(0);
    return bytes;
}
inline Bytes cue(std::initializer_list<std::pair<std::uint32_t, std::uint32_t>> points) {
    Bytes bytes;
    bytes.u32(points.size());
    for (const auto& [id, position] : points)
        bytes.u32(id).u32(position).text("data").zeros(8).u32(position);
    return chunk("cue ", bytes);
}
inline Bytes label(std::uint32_t id, const std::string& text) {
    return chunk("labl", Bytes().u32(id).text(text).u8(0));
}
inline Bytes regionText(std::uint32_t id, std::uint32_t length, const std::string& purpose) {
    return chunk("ltxt", Bytes().u32(id).u32(length).text(purpose).zeros(8));
}

// Replaces a file's content in place, for tests that do so thousands of times: truncating a file to nothing
// and writing it again waits for the disk on some file systems. Windows allows that only while nobody has the
// file open, so there it becomes a new file each time.
inline void rewriteFile(const std::filesystem::path& path, const Bytes& bytes) {
#ifdef _WIN32
    writeFile(path, bytes.data);
    return;
#endif
    if (!std::filesystem::exists(path))
        std::ofstream(path, std::ios::binary).put('x');
    std::fstream(path, std::ios::binary | std::ios::in | std::ios::out)
        .write(reinterpret_cast<const char*>(bytes.data.data()), static_cast<std::streamsize>(bytes.size()));
    if (std::filesystem::file_size(path) != bytes.size())
        std::filesystem::resize_file(path, bytes.size());
}

}  // namespace velor::test
